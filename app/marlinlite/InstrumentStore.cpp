#include "InstrumentStore.h"

#include "foundation/Format.h"

#include <QSettings>

#include <algorithm>
#include <cctype>

namespace ferro {

namespace {

bool ParsePort(const std::string& text, int& port) {
    if (text.empty() || text.size() > 6 || !std::all_of(text.begin(), text.end(), ::isdigit)) return false;
    port = std::stoi(text);
    return port >= 1 && port <= 65535;
}

} // namespace

std::string TInstrumentStore::Validate(const TInstrument& e) {
    if (Trim(e.Name).empty()) return "Bitte geben Sie einen Namen für das Gerät ein.";
    if (e.Transport == TTransport::Serial) {
        if (Trim(e.SerialDevice).empty())
            return "Bitte geben Sie die serielle Schnittstelle an (z. B. /dev/ttyUSB0).";
        return "";
    }
    const std::string addr = Trim(e.Address);
    if (addr.empty()) return "Bitte geben Sie die Adresse des Gerätes ein.";
    if (std::any_of(addr.begin(), addr.end(),
                    [](char c) { return std::isspace(static_cast<unsigned char>(c)); }))
        return "Die Adresse des Gerätes darf keine Leerzeichen enthalten.";
    if (e.Port < 1 || e.Port > 65535) return "Der Port muss zwischen 1 und 65535 liegen.";
    if (e.Transport == TTransport::Ssh && Trim(e.SshUser).empty())
        return "Für eine SSH-Verbindung wird ein Benutzername benötigt.";
    return "";
}

bool TInstrumentStore::Add(const TInstrument& Entry, std::string& Error) {
    Error = Validate(Entry);
    if (!Error.empty()) return false;
    FItems.push_back(Entry);
    return true;
}

bool TInstrumentStore::Update(size_t Index, const TInstrument& Entry, std::string& Error) {
    if (Index >= FItems.size()) {
        Error = "Das Gerät ist nicht mehr in der Liste.";
        return false;
    }
    Error = Validate(Entry);
    if (!Error.empty()) return false;
    FItems[Index] = Entry;
    return true;
}

bool TInstrumentStore::Remove(size_t Index) {
    if (Index >= FItems.size()) return false;
    FItems.erase(FItems.begin() + long(Index));
    return true;
}

void TInstrumentStore::AddOrReplace(const TInstrument& Entry) {
    auto it = std::find_if(FItems.begin(), FItems.end(),
                           [&](const TInstrument& i) { return i.Name == Entry.Name; });
    if (it != FItems.end())
        *it = Entry;
    else
        FItems.push_back(Entry);
}

void TInstrumentStore::Load(QSettings& s) {
    FItems.clear();
    const int n = s.beginReadArray("instruments");
    for (int i = 0; i < n; ++i) {
        s.setArrayIndex(i);
        TInstrument e;
        e.Name = s.value("name").toString().toStdString();
        e.Address = s.value("address").toString().toStdString();
        e.Port = s.value("port", 5040).toInt();
        const QString t = s.value("transport", "tcp").toString();
        e.Transport = t == "ssh" ? TTransport::Ssh : t == "serial" ? TTransport::Serial : TTransport::Tcp;
        e.IpVer = s.value("ipv6", false).toBool() ? ipverV6 : ipverV4;
        e.SshUser = s.value("sshUser").toString().toStdString();
        e.SshPassword = s.value("sshPassword").toString().toStdString();
        e.SerialDevice = s.value("serialDevice").toString().toStdString();
        if (Validate(e).empty()) FItems.push_back(e);
    }
    s.endArray();
}

void TInstrumentStore::Save(QSettings& s) const {
    s.remove("instruments");
    s.beginWriteArray("instruments", int(FItems.size()));
    for (size_t i = 0; i < FItems.size(); ++i) {
        const TInstrument& e = FItems[i];
        s.setArrayIndex(int(i));
        s.setValue("name", QString::fromStdString(e.Name));
        s.setValue("address", QString::fromStdString(e.Address));
        s.setValue("port", e.Port);
        s.setValue("transport", e.Transport == TTransport::Ssh      ? "ssh"
                                : e.Transport == TTransport::Serial ? "serial"
                                                                    : "tcp");
        s.setValue("ipv6", e.IpVer == ipverV6);
        s.setValue("sshUser", QString::fromStdString(e.SshUser));
        // Kept as the settings keep everything else: the file lies in the user's own folder.
        s.setValue("sshPassword", QString::fromStdString(e.SshPassword));
        s.setValue("serialDevice", QString::fromStdString(e.SerialDevice));
    }
    s.endArray();
    s.sync();
}

bool TInstrumentStore::ParseDemo(const std::string& Arg, std::vector<TInstrument>& Out, std::string& Error) {
    std::vector<std::string> parts;
    size_t from = 0;
    while (from <= Arg.size()) {
        size_t comma = Arg.find(',', from);
        parts.push_back(
            Trim(Arg.substr(from, comma == std::string::npos ? std::string::npos : comma - from)));
        if (comma == std::string::npos) break;
        from = comma + 1;
    }
    const std::string hostPort = parts.empty() ? std::string() : parts.front();
    std::string host, portText;
    if (!hostPort.empty() && hostPort.front() == '[') {
        size_t close = hostPort.find(']');
        if (close == std::string::npos || close + 1 >= hostPort.size() || hostPort[close + 1] != ':') {
            Error = "--demo: erwartet HOST:PORT, z. B. 127.0.0.1:5040 oder [::1]:5040";
            return false;
        }
        host = hostPort.substr(1, close - 1);
        portText = hostPort.substr(close + 2);
    } else {
        size_t colon = hostPort.rfind(':');
        if (colon == std::string::npos) {
            Error = "--demo: erwartet HOST:PORT, z. B. 127.0.0.1:5040";
            return false;
        }
        host = hostPort.substr(0, colon);
        portText = hostPort.substr(colon + 1);
    }
    TInstrument tcp;
    tcp.Name = "ferrosim (TCP)";
    tcp.Address = host;
    tcp.IpVer = host.find(':') != std::string::npos ? ipverV6 : ipverV4;
    if (host.empty() || !ParsePort(portText, tcp.Port)) {
        Error = "--demo: ungültige Adresse oder ungültiger Port in \"" + hostPort + "\"";
        return false;
    }
    std::string user = "admin", password = "admin";
    int sshPort = 0;
    std::string serial;
    for (size_t i = 1; i < parts.size(); ++i) {
        const std::string& p = parts[i];
        size_t eq = p.find('=');
        std::string key = p.substr(0, eq), value = eq == std::string::npos ? std::string() : p.substr(eq + 1);
        if (key == "ssh" && ParsePort(value, sshPort)) continue;
        if (key == "serial" && !value.empty()) {
            serial = value;
            continue;
        }
        if (key == "user" && !value.empty()) {
            user = value;
            continue;
        }
        if (key == "password") {
            password = value;
            continue;
        }
        Error = "--demo: unbekannte oder ungültige Angabe \"" + p + "\"";
        return false;
    }
    Out.push_back(tcp);
    if (sshPort > 0) {
        TInstrument ssh = tcp;
        ssh.Name = "ferrosim (SSH)";
        ssh.Transport = TTransport::Ssh;
        ssh.Port = sshPort;
        ssh.SshUser = user;
        ssh.SshPassword = password;
        Out.push_back(ssh);
    }
    if (!serial.empty()) {
        TInstrument rs;
        rs.Name = "ferrosim (seriell)";
        rs.Transport = TTransport::Serial;
        rs.SerialDevice = serial;
        Out.push_back(rs);
    }
    return true;
}

} // namespace ferro
