#pragma once
// Everything needed to reach one instrument: the line, the login, the local folders and the
// choices of the transfer. The host's instrument list stores these; ferroctl builds one from its
// command line; a device session takes one.

#include "foundation/Sammler.h"

#include <string>

namespace ferro {

enum class TTransport { Tcp, Ssh, Serial };

// Where the link keeps its files (each with a trailing separator; empty: none are made).
// The instrument's ports as delivered.
constexpr int CDefaultCcciPort = 5040;
constexpr int CDefaultSshPort = 22;

struct TFolders {
    std::string Data, Ini, Tmp;
};

struct TConnectionRec {
    std::string Name;
    TTransport Transport = TTransport::Tcp;
    std::string Address = "127.0.0.1";
    int Port = CDefaultCcciPort;
    TIpVer IpVer = ipverV4;
    std::string SshUser, SshPassword;
    std::string SshPublicKey, SshPrivateKey; // key login (OpenSSH texts) when both are set
    std::string SerialDevice;
    bool SerialUseStart = false; // open the serial session with the long start frame

    bool Ftp = false;
    int FtpPort = 21;
    bool GZ = true;
    bool CheckXML = false;
    int ConnectTimeoutMs = 10000;
    int Visibility = 0; // the user level: 0 basic, 1 expert, 2 service
    TFolders Folders;

    bool IsSerial() const { return Transport == TTransport::Serial; }
    bool IsSsh() const { return Transport == TTransport::Ssh; }
    // "HOST:PORT" or the serial device, as messages name the instrument.
    std::string Where() const;

    // The fields the instrument list keeps (folders and choices of a run are not part of an entry).
    bool SameEntry(const TConnectionRec& o) const {
        return Name == o.Name && Address == o.Address && Port == o.Port && Transport == o.Transport &&
               IpVer == o.IpVer && SshUser == o.SshUser && SshPassword == o.SshPassword &&
               SerialDevice == o.SerialDevice;
    }
    bool operator==(const TConnectionRec& o) const { return SameEntry(o); }
};

// "TCP", "SSH", "Seriell"
const char* TransportText(TTransport t);
// "IPv4"/"IPv6"
const char* IpVerText(TIpVer v);

} // namespace ferro
