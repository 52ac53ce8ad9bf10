#include "ferrosim/SetupCheck.h"

#include <pugixml.hpp>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace ferro::sim {

namespace {

std::string Text(const pugi::xml_node& Node, const char* Name) {
    return Node.child(Name).text().get();
}

bool Number(const std::string& S, double& V) {
    if (S.empty()) return false;
    char* end = nullptr;
    errno = 0;
    V = std::strtod(S.c_str(), &end);
    return errno == 0 && *end == '\0' && std::isfinite(V);
}

size_t Chars(const std::string& S) {
    size_t n = 0;
    for (char c : S)
        n += (uint8_t(c) & 0xC0) != 0x80;
    return n;
}

bool CheckParameter(const pugi::xml_node& P, std::string& Reason) {
    const std::string id = P.attribute("id").value(), type = Text(P, "type");
    if (type.empty() || !P.child("value")) return true;
    const std::string value = Text(P, "value"), low = Text(P, "low"), high = Text(P, "high");
    const pugi::xml_node range = P.child("range");
    if (range && std::strcmp(range.attribute("list").value(), "true") == 0) {
        for (const pugi::xml_node& item : range.children("item"))
            if (value == item.attribute("id").value()) return true;
        Reason = "parameter " + id + ": " + value + " is not in its list";
        return false;
    }
    double lo = 0, hi = 0;
    const bool hasLo = Number(low, lo), hasHi = Number(high, hi);
    if (type == "text") {
        const double n = double(Chars(value));
        if ((hasLo && n < lo) || (hasHi && n > hi)) {
            Reason = "parameter " + id + ": text length " + std::to_string(Chars(value)) + " outside " + low +
                     ".." + high;
            return false;
        }
        return true;
    }
    if (type != "float" && type != "integer" && type != "uint32" && type != "boolean") return true;
    double v = 0;
    const bool integral = type != "float";
    if (!Number(value, v) || (integral && v != std::floor(v)) || (type == "uint32" && value[0] == '-')) {
        Reason = "parameter " + id + ": \"" + value + "\" is no " + type;
        return false;
    }
    const bool boolean = type == "boolean";
    if (boolean && !hasLo) lo = 0;
    if (boolean && !hasHi) hi = 1;
    // The document keeps five decimals: a value on its limit may differ from it in the sixth.
    const double slack = integral ? 0 : 1e-5;
    if (((hasLo || boolean) && v < lo - slack) || ((hasHi || boolean) && v > hi + slack)) {
        Reason = "parameter " + id + ": " + value + " outside " + (hasLo ? low : "0") + ".." +
                 (hasHi ? high : "1");
        return false;
    }
    return true;
}

} // namespace

bool SetupWithinLimits(const std::vector<uint8_t>& Xml, std::string& Reason) {
    pugi::xml_document doc;
    if (!doc.load_buffer(Xml.data(), Xml.size())) {
        Reason = "setup is not well-formed XML";
        return false;
    }
    for (const pugi::xpath_node& x : doc.select_nodes("//parameter"))
        if (!CheckParameter(x.node(), Reason)) return false;
    for (const pugi::xpath_node& x : doc.select_nodes("//datapoint/rec")) {
        const std::string rec = x.node().text().get();
        if (!rec.empty() && rec != "0" && rec != "1") {
            Reason = "datapoint " + std::string(x.node().parent().attribute("id").value()) + ": rec \"" +
                     rec + "\" is neither 0 nor 1";
            return false;
        }
    }
    return true;
}

} // namespace ferro::sim
