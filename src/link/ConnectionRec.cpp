#include "link/ConnectionRec.h"

#include "foundation/Format.h"

namespace ferro {

std::string TConnectionRec::Where() const {
    if (IsSerial()) return SerialDevice;
    return Fmt("%s:%d", Address.c_str(), Port);
}

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
