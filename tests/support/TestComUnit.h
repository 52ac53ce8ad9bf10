#pragma once
// An in-memory transport: bytes fed in are assembled into frames exactly as a link thread does,
// frames sent are kept for inspection. Used by tests and by anything that replays a capture.

#include "link/ComUnit.h"
#include "link/FrameAssembler.h"

#include <vector>

namespace ferro {

class TTestComUnit : public TComUnit {
    Q_OBJECT
public:
    struct SentFrame {
        std::vector<uint8_t> bytes;
        bool isLua = false;
        ccc_head_t head() const { return ccc_head_t::decode(bytes.data()); }
    };

    TTestComUnit();

    // Bytes as they would come off the line; complete frames are evaluated at once.
    void Feed(const uint8_t* data, size_t len);
    void Feed(const MemStream& frame) { Feed(frame.data(), frame.size()); }
    void SetConnected(bool on) { connected_ = on; }
    // What a full identity would have told, without feeding one.
    TIdentity& MutableIdentity() { return FIdentity; }

    std::vector<SentFrame> Sent;
    int ClearBufferRequests = 0;
    int CloseConnectionCalls = 0;
    int DisconnectCalls = 0;
    int StreamErrorsSearchCalls = 0;
    TFrameAssembler& Assembler() { return assembler_; }

    void CreateThread(bool) override {}
    void CloseConnection(bool Value) override;
    void WorkEvent(TWorkMode, uint64_t, TWorkStatus) override {}
    void ReadData(MemStream& Stream) override;
    bool SendCommandStream(MemStream& Stream, bool IsLua) override;
    void ReConnect() override {}
    bool IsConnected() const override { return connected_; }
    void DoConnect() override { connected_ = true; }
    void DoDisconnect(bool Value) override;
    void StreamErrorsSearch() override { ++StreamErrorsSearchCalls; }

private:
    TFrameAssembler assembler_;
    bool connected_ = true;
};

} // namespace ferro
