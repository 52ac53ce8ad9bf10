// File-carrying replies of TComUnit: setup, scratchpad, readout, file text and the NTP tunnel.
// The full file handling (archives, version check, FTP) builds on these entry points.
#include "link/ComUnit.h"

#include "foundation/Clock.h"
#include "foundation/Format.h"
#include "link/Ntp.h"
#include "link/XmlNames.h"

#include <cstdio>
#include <ctime>
#include <filesystem>

namespace ferro {

void TComUnit::ReadoutCommand(MemStream& Stream) {
    WriteLog(Fmt("%s: ReadOut=%d", ClockText(clock().nowMs()).c_str(), FHead.ExtCmd));
    const size_t end = FHead.Size;
    try {
        Stream.setPosition(CHeadSize);
        switch (FHead.ExtCmd) {
        case 0x00:
        case 0x10:
        case 0x21:
        case 0x22: {
            MemStream data;
            if (FFTP) {
                std::string remote = Stream.readText(end - CHeadSize);
                if (!GetFTPFile(remote, data)) data.clear();
            } else {
                data = MemStream(Stream.data() + CHeadSize, end - CHeadSize);
            }
            data.setPosition(0);
            if (FHead.ExtCmd == 0x00 && FRecOverview) FRecOverview(this, data);
            if (FHead.ExtCmd == 0x10 && FEvtOverview) FEvtOverview(this, data);
            if (FHead.ExtCmd == 0x21 && FSetNewDisplayImage) FSetNewDisplayImage(this, data);
            if (FHead.ExtCmd == 0x22) {
                std::string path = FTmpDir + "Dlog.log";
                data.saveToFile(path);
                if (FOpenWithViewer) FOpenWithViewer(path);
            }
            break;
        }
        case 0x01:
        case 0x11: {
            if (FNAK) break;
            const bool rec = FHead.ExtCmd == 0x01;
            // The name the request carried, never a path from the instrument.
            FFileName = LocalFileName(FFileName);
            if (FFileName.empty()) {
                WriteLog("Error with Readout no file name", true);
                FReplyError = "Der Name der Datei fehlt.";
                break;
            }
            std::string folder = rec ? FRecDir : FEvtDir;
            std::error_code ec;
            std::filesystem::create_directories(folder, ec);
            std::string local = folder + FFileName;
            if (FFTP) {
                // A short FTP file still reaches the callback: the view compares sizes.
                GetFTPFile(Stream.readText(end - CHeadSize), local);
            } else {
                // The payload is in the frame, or on disk when it was spooled as it arrived.
                const bool stored = FSpooled
                                        ? FSpooled->MoveInto(local)
                                        : AppendToFile(local, Stream.data() + CHeadSize, end - CHeadSize);
                if (!stored) {
                    WriteLog("Error with Readout cannot write " + local, true);
                    FReplyError = "Die Datei " + local + " kann nicht geschrieben werden.";
                    break;
                }
            }
            FReplyFile = local;
            if (FMassDLNext)
                FMassDLNext(this);
            else if (rec && FRecToTable)
                FRecToTable(this, local);
            else if (!rec && FEvtToTable)
                FEvtToTable(this, local);
            break;
        }
        default:
            break;
        }
    } catch (const std::exception& e) {
        WriteLog(std::string("Error with Readout ") + e.what(), true);
    }
    Stream.setPosition(end);
}

void TComUnit::ReadSpooled(const ccc_head_t& Head, std::unique_ptr<TFrameSpool> Spool) {
    MemStream head;
    head.resize(CHeadSize);
    Head.encode(head.data());
    FSpooled = std::move(Spool);
    ReadData(head);
    FSpooled.reset(); // a spool no handler took is removed
}

std::string TComUnit::SpoolFolderFor(const ccc_head_t& Head) const {
    const bool fileReply = Head.Cmd == CmdReadout && (Head.ExtCmd == 0x01 || Head.ExtCmd == 0x11);
    if (!fileReply || (Head.FTPNAK & (CFlagNAK | CFlagFTP))) return std::string();
    std::lock_guard<std::mutex> lk(spoolMutex_);
    return spoolFolder_;
}

bool TComUnit::AppendToFile(const std::string& path, const uint8_t* data, size_t len) {
    std::FILE* f = std::fopen(path.c_str(), "ab");
    if (!f) return false;
    constexpr size_t block = 1u << 20;
    bool ok = true;
    for (size_t off = 0; off < len && ok; off += block) {
        size_t n = len - off < block ? len - off : block;
        ok = std::fwrite(data + off, 1, n, f) == n;
    }
    return std::fclose(f) == 0 && ok;
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
    case 2: {
        // The road of a request that the link thread did not answer itself (SSH).
        WriteLog("NTP Request");
        uint8_t packet[CNtpPacketSize] = {};
        if (FHead.Size >= CHeadSize + CNtpPacketSize) {
            Stream.setPosition(CHeadSize);
            Stream.read(packet, CNtpPacketSize);
        }
        FillNTP(packet);
        ccc_head_t h = MakeHead(CmdNTP, 1, 3);
        MemStream reply = frames::NtpReply(h, packet);
        WriteLog(Fmt("Sending %s CMD: %x Priv: %x ExtCmd: %x NAK: %x", "CCC_TUNNEL_NTP_REPLY", h.Cmd, h.Priv,
                     h.ExtCmd, h.FTPNAK),
                 true);
        SendCommandStream(reply, false);
        // The request is no answer: a command under way keeps waiting for its own.
        FReplyNotFinal = true;
        FLastCmd = clock().nowMs();
        WriteLog("NTP Answer");
        break;
    }
    default:
        break;
    }
    Stream.setPosition(FHead.Size);
}

} // namespace ferro
