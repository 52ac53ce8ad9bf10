#pragma once
// Unit texts, phase captions, small value lists and the default harmonic limits.

#include "foundation/records/FerroTypes.h"

#include <array>

namespace ferro {

constexpr const char* CVolt = "V";
constexpr const char* CAmpere = "A";
constexpr const char* CHertz = "Hz";
constexpr const char* CPercent = "%";
constexpr const char* CWatt = "W";
constexpr const char* CVoltAmpere = "VA";
constexpr const char* CVoltAmpRea = "var";
constexpr const char* CGrad = "\u00B0";
// Units of the energy counters and the temperature, and the empty unit of ratios.
constexpr const char* CWattHour = "Wh";
constexpr const char* CVoltAmpHour = "VAh";
constexpr const char* CVoltAmpReaHour = "varh";
constexpr const char* CCelsius = "\u00B0C";
constexpr const char* CNoUnit = "";

constexpr char CTab = '\t';
// Text of a boolean setup value, indexed by the boolean.
constexpr std::array<const char*, 2> CBoolValue = {"0", "1"};
// The character that shows a bit, indexed by the bit's value.
constexpr char CEnum_0_1[] = "01";
// Phase captions of events, indexed 1 to 7; index 0 means no phase and has no text.
constexpr std::array<const char*, 8> CPhaseTxt = {"", "L1", "L2", "L3", "N", "L12", "L23", "L31"};

namespace detail {
// Compatibility levels for harmonic voltages in low-voltage public networks, IEC 61000-2-2:2002
// table 1 (the same levels as EN 50160 up to order 25), in % of the fundamental. Order 0 (DC) has
// no level and stays 0; order 1 is the reference itself.
constexpr float defHrm(int h) {
    if (h == 0) return 0.0f;
    if (h == 1) return 100.0f;
    if (h % 2 == 0) {
        if (h == 2) return 2.0f;
        if (h == 4) return 1.0f;
        if (h <= 8) return 0.5f;
        return float(0.25 * 10.0 / h + 0.25);
    }
    if (h % 3 == 0) {
        if (h == 3) return 5.0f;
        if (h == 9) return 1.5f;
        if (h == 15) return 0.4f;
        if (h == 21) return 0.3f;
        return 0.2f;
    }
    if (h == 5) return 6.0f;
    if (h == 7) return 5.0f;
    if (h == 11) return 3.5f;
    if (h == 13) return 3.0f;
    return float(2.27 * 17.0 / h - 0.27);
}
constexpr THrm makeDefHrms() {
    THrm a{};
    for (int h = 0; h < 51; ++h)
        a[size_t(h)] = defHrm(h);
    return a;
}
} // namespace detail

// Default harmonic limits by order 0 to 50, in % of the fundamental.
constexpr THrm CDefHrms = detail::makeDefHrms();

} // namespace ferro
