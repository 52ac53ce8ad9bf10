#pragma once
// Number texts and tidy rounding for axes, panels and clipboard exports.

#include <cstdint>
#include <string>

namespace ferro {

// Digits after the decimal point, 0 to 5.
using TAftPoint = uint8_t;

// How a value's unit is prefixed.
enum TBaseUnit : uint8_t {
    buPlain = 0, // the number as it is, unit appended unchanged
    buAuto = 1,  // k, M or G chosen by the size of the value (volt and ampere curves use this)
    buKilo = 2   // always shown in kilo (frequency band labels)
};

// Region layout of the curve charts: all curves in one region, one region per group, one per curve.
enum TStackTyp : uint8_t { stkNone, stkGroup, stkCurve };

// "<number> <prefix><unit>" with exactly AftPoint digits after the point. Units that make no sense
// with a prefix ("%", degrees, none) are never prefixed.
std::string FltToStrShrt(double Value, TAftPoint AftPoint, TBaseUnit BaseUnit, const std::string& Unit);
// Prefix chosen automatically.
std::string FltToStrShrt(double Value, TAftPoint AftPoint, const std::string& Unit);
// Two digits, prefix chosen automatically.
std::string FltToStrShrt(double Value, const std::string& Unit);
// No unit.
std::string FltToStrShrt(double Value, TAftPoint AftPoint);

// A single as the clipboard writes it: enough digits to read back the same value, "." as the point,
// "NaN", "INF" and "-INF" for the values that are not numbers.
std::string FloatToStr(float v);

// Decimal exponent: the n with 10^n <= |Value| < 10^(n+1); 0 for zero and for values that are not finite.
int8_t DecimalPower(double Value);

// Outward rounding of a value range's limits to a multiple of a tenth of the span's decade. A span of
// zero or less takes its grain from the value itself and moves the limit one grain further out, so a
// constant curve still gets a range.
double RoundMaxValue(double Span, double MaxVal);
double RoundMinValue(double Span, double MinVal);

// The next of 1, 2, 2.5, 5 times a power of ten at or above Value; 1 for zero and negative values, so
// that a scale top derived from it can always be divided by.
double RoundUp(double Value);

// Angle in degrees brought into the range above -180 up to and including 180.
double Correct180(double Angle);

// "hh:nn:ss.zzz", with "<d>d " in front from one day on.
std::string MilliSecToDuration(uint64_t MilliSecs);

} // namespace ferro
