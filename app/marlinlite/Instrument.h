#pragma once
// One entry of the host's instrument list.

#include "foundation/Sammler.h"

#include <string>

namespace ferro {

enum class TTransport { Tcp, Ssh, Serial };

struct TInstrument {
    std::string Name;
    std::string Address;
    int Port = 5040;
    TTransport Transport = TTransport::Tcp;
    TIpVer IpVer = ipverV4;
    std::string SshUser, SshPassword;
    std::string SerialDevice;

    bool operator==(const TInstrument& o) const {
        return Name == o.Name && Address == o.Address && Port == o.Port && Transport == o.Transport &&
               IpVer == o.IpVer && SshUser == o.SshUser && SshPassword == o.SshPassword &&
               SerialDevice == o.SerialDevice;
    }
};

const char* TransportText(TTransport t);
// "IPv4"/"IPv6"
const char* IpVerText(TIpVer v);

} // namespace ferro
