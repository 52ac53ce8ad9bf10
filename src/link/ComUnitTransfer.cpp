// File-carrying replies of TComUnit: setup, scratchpad, readout, file text and the NTP tunnel.
// The full file handling (archives, version check, FTP) builds on these entry points.
#include "link/ComUnit.h"

#include "foundation/Clock.h"
#include "foundation/Format.h"

namespace ferro {

void TComUnit::ReadoutCommand(MemStream& Stream) {
    WriteLog(Fmt("%lld: ReadOut=%d", static_cast<long long>(clock().nowMs()), FHead.ExtCmd));
    Stream.setPosition(FHead.Size);
}

void TComUnit::FileStream(MemStream& Stream) {
    Stream.setPosition(CHeadSize);
    size_t len = FHead.Size - CHeadSize;
    WriteLog(Fmt("FS: StreamPos: %d, sz: %d", int(Stream.position()), int(len)));
    if (FHead.ExtCmd == 5) WriteLog(Stream.readText(len), true);
    Stream.setPosition(FHead.Size);
}

void TComUnit::NTPCommand(MemStream& Stream) {
    switch (FHead.ExtCmd) {
    case 0:
        FNTPTunnelActive = true;
        WriteLog("NTP Tunnel Open", true);
        break;
    case 1:
        FNTPTunnelActive = false;
        WriteLog("NTP TUNNEL Close", true);
        break;
    default: break;
    }
    Stream.setPosition(FHead.Size);
}

} // namespace ferro
