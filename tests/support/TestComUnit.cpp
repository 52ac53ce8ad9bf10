#include "support/TestComUnit.h"

namespace ferro {

TTestComUnit::TTestComUnit() {
    SetRealTimer(false);
    assembler_.Flog = [this](const std::string& s, bool memo) { WriteLog(s, memo); };
    assembler_.FOnFrame = [this](const uint8_t* f, size_t n) {
        MemStream copy(f, n);
        ReadData(copy);
    };
}

void TTestComUnit::Feed(const uint8_t* data, size_t len) {
    assembler_.Append(data, len);
    while (assembler_.ReadData()) {
    }
}

void TTestComUnit::ReadData(MemStream& Stream) {
    if (Stream.size() < CHeadSize) return;
    if (!Evaluate(Stream)) ++ClearBufferRequests;
}

bool TTestComUnit::SendCommandStream(MemStream& Stream, bool IsLua) {
    if (!connected_) return true; // queued and dropped, as a link thread does when the line is down
    Sent.push_back({Stream.bytes(), IsLua});
    SendQueueActive = false;
    return true;
}

void TTestComUnit::CloseConnection(bool) {
    ++CloseConnectionCalls;
    connected_ = false;
    FireShutDownComplete();
}

void TTestComUnit::DoDisconnect(bool) {
    ++DisconnectCalls;
    connected_ = false;
}

} // namespace ferro
