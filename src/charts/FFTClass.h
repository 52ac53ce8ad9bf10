#pragma once
// Spectrum engine of the curve charts, on kissfft. The input arrives sample by sample through a
// callback, so the chart keeps its own storage. No taper (a rectangular window): the instrument's
// blocks span whole mains periods, so every harmonic sits on a line and reads A * n / 2 there (n the
// number of samples) without leaking into its neighbours; a taper would smear the fundamental into
// the lines beside it, and those would then set the autoscale that leaves out only 50.0 Hz.

#include <complex>
#include <functional>
#include <vector>

struct kiss_fft_state;

namespace ferro {

class TFFTClass {
public:
    using TGetData = std::function<void(int Index, std::complex<float>& Out)>;

    TFFTClass();
    ~TFFTClass();
    TFFTClass(const TFFTClass&) = delete;
    TFFTClass& operator=(const TFFTClass&) = delete;

    void SetOnGetData(TGetData Get) { FGetData = std::move(Get); }
    // Count samples that span Periods periods of the 50 Hz mains: the line spacing is 50 / Periods
    // Hz. A count below 2 or a period count of 0 or less leaves no line.
    void SetSampleNum(int Count, int Periods);
    // Spacing from a known sampling rate instead (samples per second), for a block that does not
    // span whole mains periods.
    void SetSampleRate(double SamplesPerSecond);

    // Reads the samples through the callback and transforms them.
    void DoFFT();
    double GetFreqDif() const { return FFreqDif; }
    // Lines from 0 Hz up to below half the sampling rate: half the samples.
    int GetSpecNum() const { return FCount / 2; }
    // Line Index of the last transform; 0 outside the lines.
    std::complex<float> GetTransformedData(int Index) const;
    int SampleCount() const { return FCount; }

private:
    void FreePlan();

    TGetData FGetData;
    kiss_fft_state* FPlan = nullptr;
    int FCount = 0;
    double FFreqDif = 0;
    std::vector<std::complex<float>> FIn;
    std::vector<std::complex<float>> FOut;
};

} // namespace ferro
