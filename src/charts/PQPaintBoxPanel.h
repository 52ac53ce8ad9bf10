#pragma once
// Value panel: measured values written as text columns (mains, voltages, currents, power factors).

#include "charts/PQPaintBox.h"

#include <cstdint>
#include <string>

namespace ferro {

enum TPanDispType : uint8_t { pdtMains, pdtHarms, pdtFrqBand };
enum TPanDispCols : uint8_t { pdcMains, pdcVolt, pdcCurrent, pdcFact, pdcHrmU, pdcHrmI, pdcFrqBand };
constexpr int CPanDispColCount = 7;
// Set of TPanDispCols as bits.
using TPanDispColSet = uint8_t;
constexpr TPanDispColSet PanCol(TPanDispCols c) {
    return TPanDispColSet(1u << c);
}

class TPQPaintBoxPanel : public TPQPaintBox {
public:
    TPQPaintBoxPanel();

    void Paint(TCanvas& Canvas) override;
    // The panel has nothing to export: the list is emptied and false reported.
    bool CopyToClip(TClipLst& List) override;

    void SetPanDispType(TPanDispType t);
    TPanDispColSet PanDispColSet() const { return FPanDispColSet; }
    void SetMains(float F, float P, float Q, float D, float S);
    void SetVoltage(float U1E, float U2E, float U3E, float UNE, float U12, float U23, float U31);
    void SetCurrent(float I1, float I2, float I3, float I0);
    // The first value is the total.
    void SetCosPhi(float Cos, float Cos1, float Cos2, float Cos3);

    // Caption and value lines of one column, as painted; empty for the kinds without values of their own.
    std::string ColumnText(TPanDispCols Col) const;

private:
    float FF = 0, FP = 0, FQ = 0, FD = 0, FS = 0;
    float FU1E = 0, FU2E = 0, FU3E = 0, FUNE = 0, FU12 = 0, FU23 = 0, FU31 = 0;
    float FI1 = 0, FI2 = 0, FI3 = 0, FI0 = 0;
    float FCosPhi = 0, FCosPhi1 = 0, FCosPhi2 = 0, FCosPhi3 = 0;
    TPanDispColSet FPanDispColSet = 0;
};

} // namespace ferro
