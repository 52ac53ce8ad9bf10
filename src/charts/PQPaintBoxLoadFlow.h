#pragma once
// Load-flow chart: the harmonic bars with the voltage and current magnitude of every order and the
// phase shift of the fundamental per phase, so that the direction of harmonic power can be told
// apart per order and phase.

#include "charts/PQPaintBoxHarm.h"

#include <array>

namespace ferro {

using T3LeiterVal = std::array<float, 3>;

class TPQPaintBoxLoadFlow : public TPQPaintBoxHarm {
public:
    // Always captioned as load flow, whatever harmonic display lays out its slots.
    std::string GetCaption() const override;
    // The bars' axis as the harmonic chart takes it, and the tops of the magnitudes of U and I.
    void HrmRescale() override;

    // Voltage angle minus current angle of the fundamental, per phase, in degrees.
    void SetBasicAngle(float A1, float A2, float A3);
    // Magnitudes of one phase (0..2) by order, in V and A; the slots in use stay as they are.
    void SetHarmUMag(int Channel, const THrm& V);
    void SetHarmIMag(int Channel, const THrm& V);

    float HrmMaxU() const { return FHrmMaxU; }
    float HrmMaxI() const { return FHrmMaxI; }
    const T3LeiterVal& BasicAngle() const { return FBasicAngle; }

protected:
    void PaintStatic(TCanvas& Canvas) override;
    void PaintInner(TCanvas& Canvas) override;

private:
    float FHrmMaxU = 0;
    float FHrmMaxI = 0;
    std::array<THrm, 3> FHrmUMag{};
    std::array<THrm, 3> FHrmIMag{};
    T3LeiterVal FBasicAngle{};
};

} // namespace ferro
