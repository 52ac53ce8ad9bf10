#include "charts/FFTClass.h"

#include <kissfft/kiss_fft.h>

#include <cmath>

namespace ferro {

static_assert(sizeof(kiss_fft_cpx) == sizeof(std::complex<float>), "kissfft's complex must match");

TFFTClass::TFFTClass() = default;

TFFTClass::~TFFTClass() {
    FreePlan();
}

void TFFTClass::FreePlan() {
    if (FPlan) kiss_fft_free(FPlan);
    FPlan = nullptr;
}

void TFFTClass::SetSampleNum(int Count, int Periods) {
    FreePlan();
    FCount = Count >= 2 && Periods > 0 ? Count : 0;
    FFreqDif = FCount ? 50.0 / Periods : 0;
    FIn.assign(size_t(FCount), {});
    FOut.assign(size_t(FCount), {});
    if (FCount) FPlan = kiss_fft_alloc(FCount, 0, nullptr, nullptr);
    if (!FPlan) FCount = 0;
}

void TFFTClass::SetSampleRate(double SamplesPerSecond) {
    if (FCount && std::isfinite(SamplesPerSecond) && SamplesPerSecond > 0)
        FFreqDif = SamplesPerSecond / FCount;
}

void TFFTClass::DoFFT() {
    if (!FPlan || !FGetData) return;
    for (int i = 0; i < FCount; ++i) {
        std::complex<float> v;
        FGetData(i, v);
        // A sample that is not a number would spread over every line; it counts as zero.
        if (!std::isfinite(v.real()) || !std::isfinite(v.imag())) v = {};
        FIn[size_t(i)] = v;
    }
    kiss_fft(FPlan, reinterpret_cast<const kiss_fft_cpx*>(FIn.data()),
             reinterpret_cast<kiss_fft_cpx*>(FOut.data()));
}

std::complex<float> TFFTClass::GetTransformedData(int Index) const {
    if (Index < 0 || Index >= GetSpecNum()) return {};
    return FOut[size_t(Index)];
}

} // namespace ferro
