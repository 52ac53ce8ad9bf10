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
    // FTP runs on the main thread, inside the dispatcher: its progress goes the same way as the line's.
    FFTPClient->OnWork = [this](TWorkStatus st, TWorkMode m, uint64_t c) { TransferWork(st, m, c); };
    // A connection that stands is dropped first; the probe logs in anew and the transfer uses it.
    FFTPClient->Disconnect();
    if (!FFTPClient->Probe()) {
        WriteLog("FTP Connect Error: " + FFTPClient->LastError());
        return false;
    }
    return true;
}

bool TComUnit::GetFTPFile(const std::string& Remote, MemStream& Stream) {
    if (!PrepareFTP()) return false;
    std::string remote = "/" + ExtractUnixFilePath(Remote) + ExtractUnixFileName(Remote);
    bool ok = FFTPClient->Get(remote, Stream);
    DisconnectFTP();
    return ok;
}

bool TComUnit::GetFTPFile(const std::string& Remote, const std::string& Local, bool Overwrite, bool Resume) {
    if (!PrepareFTP()) return false;
    bool ok = FFTPClient->Get("/" + Remote, Local, Overwrite, Resume);
    DisconnectFTP();
    return ok;
}

bool TComUnit::SendFTPFile(const std::string& File, const std::string& RemoteDir) {
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
    FFTPClient->Disconnect();
}

} // namespace ferro
