#include "charts/ChartTexts.h"

#include <array>

namespace ferro::chartdefs {

namespace {

std::array<std::string, CFerroDispCount>& Captions() {
    static std::array<std::string, CFerroDispCount> texts = {
        "Messwerte",
        "Oszilloskop",
        "Oszilloskop FFT",
        "Zeigerdiagramm",
        "Lastfluss",
        "Frequenzbänder U L-E",
        "Frequenzbänder U L-L",
        "Frequenzbänder I",
        "Harmonische U L-E",
        "Harmonische U L-L",
        "Harmonische I",
        "Zwischenharmonische U L-E",
        "Zwischenharmonische U L-L",
        "Zwischenharmonische I",
    };
    return texts;
}

} // namespace

const std::string& DispCaption(TFerroDisp Disp) {
    static const std::string none;
    return Disp < CFerroDispCount ? Captions()[Disp] : none;
}

void SetDispCaption(TFerroDisp Disp, const std::string& Text) {
    if (Disp < CFerroDispCount) Captions()[Disp] = Text;
}

} // namespace ferro::chartdefs
