#include "link/FrameAssembler.h"

#include "foundation/Format.h"

#include <algorithm>
#include <cstring>

#include <sys/mman.h>

namespace ferro {

namespace {
// A large receive buffer is backed by huge pages where the system allows: a big file arrives with
// far fewer page faults, which otherwise cost more than the copying itself.
void adviseHugePages(void* data, size_t bytes) {
    constexpr uintptr_t huge = 2u << 20;
    if (bytes < 4 * huge) return;
    uintptr_t from = (reinterpret_cast<uintptr_t>(data) + huge - 1) & ~(huge - 1);
    uintptr_t to = (reinterpret_cast<uintptr_t>(data) + bytes) & ~(huge - 1);
    if (to > from) ::madvise(reinterpret_cast<void*>(from), to - from, MADV_HUGEPAGE);
}
} // namespace

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
    if (buf_.capacity() < used + len) {
        buf_.reserve(std::max(used + len, buf_.capacity() * 2));
        adviseHugePages(buf_.data(), buf_.capacity());
    }
    buf_.resize(used + len);
    reserved_ = len;
    return buf_.data() + used;
}

void TFrameAssembler::Commit(size_t got) {
    if (got > reserved_) got = reserved_;
    buf_.resize(buf_.size() - (reserved_ - got));
    reserved_ = 0;
    if (spool_) drainIntoSpool();
}

void TFrameAssembler::drainIntoSpool() {
    const size_t payloadAt = start_ + CHeadSize;
    const size_t avail = buf_.size() - payloadAt;
    const size_t n = avail < spoolLeft_ ? avail : spoolLeft_;
    if (n == 0) return;
    spool_->Write(buf_.data() + payloadAt, n);
    spoolLeft_ -= n;
    // What follows the frame (the next head) moves up behind the held head.
    const size_t rest = avail - n;
    if (rest) std::memmove(buf_.data() + payloadAt, buf_.data() + payloadAt + n, rest);
    buf_.resize(payloadAt + rest);
}

size_t TFrameAssembler::FrameArrived() const {
    if (!FHeadRead) return Buffered();
    if (spool_) return FHead.Size - spoolLeft_;
    return std::min<size_t>(Buffered(), FHead.Size);
}

bool TFrameAssembler::FrameComplete() const {
    if (!FHeadRead) return false;
    return spool_ ? spoolLeft_ == 0 : Buffered() >= FHead.Size;
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
    if (FOpenSpool && FHead.Size >= FSpoolFrom) {
        spool_ = FOpenSpool(FHead);
        if (spool_) {
            spoolLeft_ = FHead.Size - CHeadSize;
            drainIntoSpool();
        }
    }
    return true;
}

bool TFrameAssembler::ReadData() {
    if (!FHeadRead && !CheckHead()) return false;
    if (!FrameComplete()) return false;
    if (spool_) {
        // Only the head is in memory; the payload waits in its spool.
        ccc_head_t head = FHead;
        std::unique_ptr<TFrameSpool> spool = std::move(spool_);
        if (FOnSpooled) FOnSpooled(head, std::move(spool));
        endFrame(CHeadSize);
        return true;
    }
    const uint8_t* frame = buf_.data() + start_;
    size_t size = FHead.Size;
    if (FHead.Cmd == 9 && FHead.ExtCmd == 2) {
        log("NTP Begin");
        if (FOnNtp) FOnNtp(frame, size);
        log("NTP End");
    } else if (FOnFrameOwned && start_ == 0 && buf_.size() == size && size >= CHandOverSize) {
        // A large frame that is all there is: hand the buffer itself over instead of copying it.
        std::vector<uint8_t> whole;
        whole.swap(buf_); // the buffer is empty now: the common tail below finds nothing behind it
        FOnFrameOwned(std::move(whole));
    } else if (FOnFrame) {
        FOnFrame(frame, size);
    }
    endFrame(size);
    return true;
}

void TFrameAssembler::endFrame(size_t size) {
    CheckReadStreamForMore(size);
    FHeadRead = false;
    FHead = ccc_head_t{};
    if (FEndWork) FEndWork();
    log("ReadEnd");
}

void TFrameAssembler::CheckReadStreamForMore(size_t frameSize) {
    start_ += frameSize;
    if (start_ >= buf_.size()) {
        buf_.clear();
        start_ = 0;
    }
}

void TFrameAssembler::Clear() {
    spool_.reset(); // a frame cut short never reaches its file
    spoolLeft_ = 0;
    buf_.clear();
    start_ = 0;
    FHeadRead = false;
    FHead = ccc_head_t{};
}

bool TFrameAssembler::DropHalfFrame() {
    if (Buffered() == 0 && !spool_) return false;
    if (FrameComplete()) return false;
    log(Fmt("ComUnit: half frame dropped after the time-out: Size=%u Cmd=%x, %zu bytes", FHead.Size,
            FHead.Cmd, FrameArrived()));
    Clear();
    return true;
}

void TFrameAssembler::dropGarbage(const char* why) {
    // Without a start marker there is no way to find the next head inside garbage: drop it all.
    log(Fmt("ComUnit: invalid head (%s): Size=%u Cmd=%x, %zu bytes dropped", why, FHead.Size, FHead.Cmd,
            Buffered()));
    Clear();
}

} // namespace ferro
