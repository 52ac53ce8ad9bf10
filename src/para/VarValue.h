#pragma once
// The value of a grid row: a text, a signed or unsigned integer or a float, converted on demand,
// and the number texts of the setup document.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace ferro {

class TVarValue {
public:
    TVarValue() = default;
    TVarValue(std::string S) : FV(std::move(S)) {}
    TVarValue(const char* S) : FV(std::string(S)) {}
    TVarValue(int64_t I) : FV(I) {}
    TVarValue(int I) : FV(int64_t(I)) {}
    TVarValue(uint64_t U) : FV(U) {}
    TVarValue(double D) : FV(D) {}

    bool IsString() const { return std::holds_alternative<std::string>(FV); }
    bool IsFloat() const { return std::holds_alternative<double>(FV); }
    bool IsUnsigned() const { return std::holds_alternative<uint64_t>(FV); }
    // Integers in decimal, floats as "0.#####" with `DecimalSep`.
    std::string AsString(char DecimalSep = '.') const;
    // A text that is no number gives 0; a float is rounded toward zero for the integer forms.
    int64_t AsInt() const;
    uint64_t AsUInt64() const;
    double AsFloat() const;
    bool operator==(const TVarValue& O) const { return FV == O.FV; }

private:
    std::variant<std::string, int64_t, uint64_t, double> FV;
};

// "0.#####": at most five decimals, no trailing zeros, never an exponent.
std::string FormatFloat(double V, char DecimalSep = '.');
// A signed 32-bit number (blanks around it allowed); nothing for anything else, 2^31 included.
std::optional<int32_t> ParseInt32(std::string_view S);
// An unsigned 64-bit number without sign.
std::optional<uint64_t> ParseUInt64(std::string_view S);
// A float with "." or "," as decimal point; nothing for anything else (also inf and nan).
std::optional<double> ParseFloat(std::string_view S);

} // namespace ferro
