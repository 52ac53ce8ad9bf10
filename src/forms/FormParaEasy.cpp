// The parameter form's level 0: the basic settings pages in place of tree and grid, and their link
// to the instrument (the time page's stream and "set from PC").
#include "forms/FerroGrid.h"
#include "forms/FerroGridModel.h"
#include "forms/FormPara.h"
#include "forms/FormParaSettings.h"
#include "forms/FormParaTime.h"
#include "foundation/records/FerroTypes.h"
#include "link/ComUnit.h"

namespace ferro {

void TFormPara::WireSettings() {
    FSettings->FMessage = [this](const std::string& T) { Message(T, mtWarning); };
    FSettings->FLog = [this](const std::string& T) { LogPrepare(this, T, false); };
    connect(FSettings, &TParaSettings::Changed, this, [this] { UpdateChangeCount(); });
    TParaTimePage* time = FSettings->TimePage();
    connect(FSettings, &TParaSettings::PageChanged, time, &TParaTimePage::HandleTimeStream);
    // The device clock comes with the one-second values; their stamp is all the page shows.
    time->FStartStream = [this] { StartStream(this, do1s); };
    time->FStopStream = [this] { StopStream(this); };
    time->FStreamRunning = [this] { return FStreamRunning; };
    time->FOnShow = [this] {
        return FVisibility == 0 && FSettings->isVisible() && FSettings->currentWidget() &&
               FSettings->currentWidget()->objectName() == "tbtmZeiteinstellungen";
    };
    time->FFirmware = [this] { return FComUnit ? FComUnit->Identity().Rev : TFerroFW(); };
    time->FSendLua = [this](const std::string& Line, std::function<void(bool, const std::string&)> Done) {
        if (!FComUnit || !Established()) {
            Message("Keine Verbindung zum Gerät: die Zeit wurde nicht gesetzt.", mtError);
            return Done(false, "");
        }
        LogPrepare(this, Line, false);
        FComUnit->Lua(Line, [this, Done](const TReply& r) {
            if (!r.Ok)
                Message("Das Gerät hat die Zeit nicht übernommen: " + r.Text + "\nBitte erneut versuchen.",
                        mtError);
            Done(r.Ok, r.Text);
        });
    };
    ShowSettings();
}

void TFormPara::ShowSettings() {
    if (!Fxf.Loaded()) FSettings->setEnabled(false); // until the setup is read
    const bool basic = FVisibility == 0;
    lytAdvanced->setVisible(!basic);
    FSettings->setVisible(basic);
    if (!basic || !Fxf.Loaded()) return;
    const uint8_t gen = FComUnit ? FComUnit->Identity().Rev.Gen : 0;
    FSettings->ReadEasyPara(&Fxf, &FLangXML, gen, FGrd->Model().FDecimalSep);
}

void TFormPara::UpdateGrid() {
    if (FComUnit) FSettings->TimePage()->UpdateGrid(FComUnit->FBytes.TS_Mess);
}

} // namespace ferro
