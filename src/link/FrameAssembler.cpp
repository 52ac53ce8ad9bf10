#include "link/FrameAssembler.h"

#include "foundation/Format.h"

#include <algorithm>
#include <cstring>

namespace ferro {

void TFrameAssembler::Append(const uint8_t* data, size_t len) {
    if (len == 0) return;
    std::memcpy(Reserve(len), data, len);
    Commit(len);
}

uint8_t* TFrameAssembler::Reserve(size_t len) {
    // Compact lazily: only when the consumed prefix outweighs the live bytes, so that each byte is
    // moved at most once on average however many frames wait in the buffer.
    if (start_ > 0 && (start_ == buf_.size() || start_ >= buf_.size() - start_)) {
        size_t live = buf_.size() - start_;
        if (live) std::memmove(buf_.data(), buf_.data() + start_, live);
        buf_.resize(live);
        start_ = 0;
    }
    size_t used = buf_.size();
    // Growth follows the bytes that arrive (doubling), never the size a head announces.
    if (buf_.capacity() < used + len) buf_.reserve(std::max(used + len, buf_.capacity() * 2));
    buf_.resize(used + len);
    reserved_ = len;
    return buf_.data() + used;
}

void TFrameAssembler::Commit(size_t got) {
    if (got > reserved_) got = reserved_;
    buf_.resize(buf_.size() - (reserved_ - got));
    reserved_ = 0;
}

bool TFrameAssembler::CheckHead() {
    if (FHeadRead) return true;
    if (Buffered() < CHeadSize) return false;
    FHead = ccc_head_t::decode(buf_.data() + start_);
    if (FHead.Size < CHeadSize) {
        dropGarbage("size below the head");
        return false;
    }
    if (FHead.Size > CMaxFrameSize) {
        dropGarbage("size beyond any frame");
        return false;
    }
    // Version and flags are small numbers in every real head; anything else is text or noise.
    if (FHead.Ver > 0xFF || FHead.FTPNAK > 0xFF) {
        dropGarbage("not a head");
        return false;
    }
    FHeadRead = true;
    if (FBeginWork) FBeginWork(FHead.Size);
    log(Fmt("ComUnit: BeginWork 0/%d - %x %x %x", int(FHead.Size), FHead.Cmd, FHead.Priv, FHead.ExtCmd));
    return true;
}

bool TFrameAssembler::ReadData() {
    if (!FHeadRead && !CheckHead()) return false;
    if (Buffered() < FHead.Size) return false;
    const uint8_t* frame = buf_.data() + start_;
    size_t size = FHead.Size;
    if (FHead.Cmd == 9 && FHead.ExtCmd == 2) {
        log("NTP Begin");
        if (FOnNtp) FOnNtp(frame, size);
        log("NTP End");
    } else if (FOnFrameOwned && start_ == 0 && buf_.size() == size) {
        // The frame is all there is: hand the buffer itself over.
        std::vector<uint8_t> whole;
        whole.swap(buf_);
        start_ = 0;
        FHeadRead = false;
        FHead = ccc_head_t{};
        FOnFrameOwned(std::move(whole));
        if (FEndWork) FEndWork();
        log("ReadEnd");
        return true;
    } else if (FOnFrame) {
        FOnFrame(frame, size);
    }
    CheckReadStreamForMore(size);
    FHeadRead = false;
    FHead = ccc_head_t{};
    if (FEndWork) FEndWork();
    log("ReadEnd");
    return true;
}

void TFrameAssembler::CheckReadStreamForMore(size_t frameSize) {
    start_ += frameSize;
    if (start_ >= buf_.size()) {
        buf_.clear();
        start_ = 0;
    }
}

void TFrameAssembler::Clear() {
    buf_.clear();
    start_ = 0;
    FHeadRead = false;
    FHead = ccc_head_t{};
}

void TFrameAssembler::dropGarbage(const char* why) {
    // Without a start marker there is no way to find the next head inside garbage: drop it all.
    log(Fmt("ComUnit: invalid head (%s): Size=%u Cmd=%x, %zu bytes dropped", why, FHead.Size, FHead.Cmd,
            Buffered()));
    Clear();
}

} // namespace ferro
