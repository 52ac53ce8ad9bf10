// Live stream replies of TComUnit: handles, data blocks, binary inputs, stop acknowledgement.
#include "link/ComUnit.h"

#include "foundation/Clock.h"
#include "foundation/Format.h"

#include <ctime>

namespace ferro {

void TComUnit::StreamCommand(MemStream& Stream) {
    const size_t end = FHead.Size;
    if (FNAK) {
        Stream.setPosition(end);
        return;
    }
    Stream.setPosition(CHeadSize);
    switch (FHead.ExtCmd) {
    case 1: {
        uint32_t hdl = Stream.readU32();
        if (FStreamRec.ObjHdl > 1 && FStreamRec.BinaryHdl == 1 && FStreamRec.WithBinary) {
            FStreamRec.BinaryHdl = hdl;
            WriteLog(Fmt("New Binary Stream Obj Handle: %x", hdl));
        } else {
            FStreamRec.Active = true;
            FStreamRec.ObjHdl = 1;
            FStreamRec.ObjHdl = hdl;
        }
        WriteLog(Fmt("IN: Stream_%x ObjHdl=%x", FHead.ExtCmd, FStreamRec.ObjHdl));
        if (FStreamRec.BinaryHdl == 0 && FStreamRec.WithBinary) {
            SendCommand("CCC_STREAM_START", CmdStream, 0, 1, CBinaryObjID);
            FStreamRec.BinaryHdl = 1;
        }
        break;
    }
    case 3: {
        if (FStreamRec.ObjHdl <= 1) break; // stopped or not yet started: the block is dropped
        WriteLog(Fmt("ComUnit Stream IN: Readout ExcCmd = %d: Stream_Size=%d Stream_Position=%d HeadSize=%d",
                     FHead.ExtCmd, int(Stream.size()), int(Stream.position()), int(CHeadSize)));
        uint32_t id = Stream.readU32();
        tmStamp_t ts;
        ts.sec = Stream.readU32();
        ts.frac = Stream.readU32();
        UTCtoLocal(ts, FIdentity.TimeSet.tz, FBytes.TS_Mess);
        WriteLog(Fmt("TS: %u:%u ", FBytes.TS_Mess.sec, FBytes.TS_Mess.frac));
        bool copy = true;
        bool binary = false;
        if (id == 0x00FFFFFF || id == 0x01FFFFFF) {
            Stream.readU32();
            Stream.readU32();
        } else if (id >= 0x02FFFFFF && id <= 0x07FFFFFF) {
            Stream.readU32();
        } else if (id == 0x08FFFFFF) {
            size_t gap = FIdentity.Rev.Gen == 0                               ? 20
                         : (FIdentity.Rev.Gen == 1 || FIdentity.Rev.Gen == 2) ? 40
                                                                              : 0;
            Stream.setPosition(Stream.position() + gap);
            FBytes.SmplCnt = Stream.readU32();
            FBytes.smplrte = Stream.readU32();
        } else if (id == CBinaryObjID) {
            binary = true;
        } else {
            copy = false;
        }
        if (binary) {
            WriteLog("BinInStream");
            Stream.setPosition(CHeadSize);
            uint32_t bid = Stream.readU32();
            uint32_t sec = Stream.readU32();
            uint32_t frac = Stream.readU32();
            uint8_t ver = Stream.readU8();
            uint8_t cnt = Stream.readU8();
            // A block that was under way when the stream stopped asks for no further one.
            if (FStreamRec.BinaryHdl > 1)
                SendCommand("CCC_STREAM_GET_NXT", CmdStream, 0, 2, FStreamRec.BinaryHdl);
            size_t avail = end > Stream.position() ? end - Stream.position() : 0;
            size_t n = cnt < avail ? cnt : avail;
            std::vector<uint8_t> status(n);
            uint32_t sum = 0;
            for (size_t i = 0; i < n; ++i) {
                status[i] = Stream.readU8();
                sum += uint32_t(i) + status[i];
            }
            if (FBinInCB) FBinInCB(this, uint32_t(n), status);
            WriteLog(Fmt("BinaryStream: id: %u | sec: %u | frac: %u | Ver: %u | inputCnt: %u | input: %u",
                         bid, sec, frac, ver, cnt, sum));
        } else if (copy) {
            size_t len = end - CHeadSize;
            // Reused while the block size stays the same: a steady stream does not allocate.
            if (FBytes.FBytes.size() != len) FBytes.FBytes.resize(len);
            std::memcpy(FBytes.FBytes.data(), Stream.data() + CHeadSize, len);
        }
        Stream.setPosition(end);
        if (FUpdateGrid) FUpdateGrid(this);
        if (id != CBinaryObjID && FStreamRec.ObjHdl > 1) {
            FNextStreamBool = true;
            FNextStreamDT = clock().nowMs() + 1000;
            WriteLog("GetNextStream @ " + ClockText(FNextStreamDT, ':'));
        }
        break;
    }
    case CExtStop:
        FBytes.FBytes.clear();
        FBytes.FBytes.shrink_to_fit();
        FStreamRec.ObjHdl = 0;
        FStreamRec.Active = false;
        break;
    default:
        break;
    }
    Stream.setPosition(end);
}

} // namespace ferro
