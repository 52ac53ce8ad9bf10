#include "Instrument.h"

namespace ferro {

const char* TransportText(TTransport t) {
    switch (t) {
    case TTransport::Tcp:
        return "TCP";
    case TTransport::Ssh:
        return "SSH";
    case TTransport::Serial:
        return "Seriell";
    }
    return "";
}

const char* IpVerText(TIpVer v) {
    return v == ipverV6 ? "IPv6" : "IPv4";
}

} // namespace ferro
