// The FTP road of TComUnit: files move by FTP while the frames carry only paths.
#include "link/ComUnit.h"
#include "link/FtpClient.h"

#include "foundation/Format.h"

namespace ferro {

bool TComUnit::PrepareFTP() {
    WriteLog("FTP Connecting");
    FFTPClient->Host = FIP.empty() ? "127.0.0.1" : FIP;
    FFTPClient->Port = FFtpPort;
    FFTPClient->Log = [this](const std::string& s, bool memo) { WriteLog(s, memo); };
    FFTPClient->OnWork = [this](TWorkStatus st, TWorkMode m, uint64_t c) {
        if (FFtpWork) FFtpWork(st, m, c);
    };
    // Each transfer connects anew; the probe tells whether the server answers at all.
    if (!FFTPClient->Probe()) {
        WriteLog("FTP Connect Error: " + FFTPClient->LastError());
        return false;
    }
    return true;
}

bool TComUnit::GetFTPFile(const std::string& Remote, MemStream& Stream) {
    if (FFtpGet) return FFtpGet(Remote, Stream);
    if (!PrepareFTP()) return false;
    std::string remote = "/" + ExtractUnixFilePath(Remote) + ExtractUnixFileName(Remote);
    bool ok = FFTPClient->Get(remote, Stream);
    DisconnectFTP();
    return ok;
}

bool TComUnit::GetFTPFile(const std::string& Remote, const std::string& Local, bool Overwrite, bool Resume) {
    if (FFtpGet) {
        MemStream s;
        return FFtpGet(Remote, s) && s.saveToFile(Local);
    }
    if (!PrepareFTP()) return false;
    bool ok = FFTPClient->Get("/" + Remote, Local, Overwrite, Resume);
    DisconnectFTP();
    return ok;
}

bool TComUnit::SendFTPFile(const std::string& File, const std::string& RemoteDir) {
    if (FFtpPut) return FFtpPut(File, RemoteDir);
    if (!PrepareFTP()) return false;
    bool ok = FFTPClient->Put(File, RemoteDir);
    DisconnectFTP();
    return ok;
}

bool TComUnit::SendFTPFiles(const std::vector<std::string>& Files, const std::string& RemoteDir) {
    if (!PrepareFTP()) return false;
    bool ok = FFTPClient->Put(Files, RemoteDir);
    DisconnectFTP();
    return ok;
}

void TComUnit::DisconnectFTP() {
    // Connections live only as long as one transfer; nothing stays open between calls.
}

} // namespace ferro
