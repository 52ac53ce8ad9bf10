#pragma once
// Collects the bytes of a link into frames. Shared by the TCP, SSH and serial link threads; it knows
// no transport. One complete frame is taken off per ReadData pass.

#include "link/CccHead.h"
#include "link/FrameSpool.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ferro {

class TFrameAssembler {
public:
    // A file comes in one frame; a head announcing more than this is taken for garbage. Memory grows
    // only with the bytes that really arrive, never with the announced size.
    static constexpr uint32_t CMaxFrameSize = 1024u * 1024u * 1024u;

    using LogFn = std::function<void(const std::string& text, bool toMemo)>;
    using FrameFn = std::function<void(const uint8_t* frame, size_t size)>;
    using BeginWorkFn = std::function<void(uint32_t size)>;
    using EndWorkFn = std::function<void()>;

    LogFn Flog;
    FrameFn FOnFrame; // every complete frame but an NTP request
    // Frames from this size on that fill the whole buffer are handed over without a copy; smaller
    // ones are copied so that the buffer keeps its capacity.
    static constexpr size_t CHandOverSize = 1u << 20;
    // When set, a large frame that fills the whole buffer is handed over without a copy.
    std::function<void(std::vector<uint8_t>&& frame)> FOnFrameOwned;
    FrameFn FOnNtp; // Cmd 9 / ExtCmd 2, served where the bytes arrive
    // Large frames can go to disk while they arrive instead of into memory: asked once for each head
    // of at least FSpoolFrom bytes, FOpenSpool returns an open spool, or null to keep the frame in
    // memory. A spooled frame is delivered through FOnSpooled with its head.
    static constexpr uint32_t CSpoolFrom = 4u << 20;
    uint32_t FSpoolFrom = CSpoolFrom;
    std::function<std::unique_ptr<TFrameSpool>(const ccc_head_t& head)> FOpenSpool;
    std::function<void(const ccc_head_t& head, std::unique_ptr<TFrameSpool> spool)> FOnSpooled;
    BeginWorkFn FBeginWork;
    EndWorkFn FEndWork;

    // Appends received bytes to the read stream.
    void Append(const uint8_t* data, size_t len);
    // Room for `len` bytes at the end, to receive into directly; Commit tells how many came.
    uint8_t* Reserve(size_t len);
    void Commit(size_t got);
    // Reads the head when none is held and 20 bytes are there. True if a head is held afterwards.
    bool CheckHead();
    // The common pass: takes off one complete frame, if there is one. True if a frame was delivered.
    bool ReadData();
    // Drops everything buffered and any head held.
    void Clear();
    // Drops a frame that has begun but is not complete (with a log line); false when none waits.
    bool DropHalfFrame();
    // True when the frame of the head held is all there (in memory or in its spool).
    bool FrameComplete() const;
    // Bytes of the frame under way that have arrived (for progress), head included.
    size_t FrameArrived() const;
    // While a frame is spooled: its spool and the payload bytes still to come. A transport that moves
    // bytes into the spool itself reports them with SpoolReceived.
    TFrameSpool* Spool() const { return spool_.get(); }
    size_t SpoolLeft() const { return spoolLeft_; }
    void SpoolReceived(size_t n) { spoolLeft_ -= n < spoolLeft_ ? n : spoolLeft_; }

    size_t Buffered() const { return buf_.size() - start_; }
    bool HeadRead() const { return FHeadRead; }
    const ccc_head_t& Head() const { return FHead; }
    // Bytes of the buffer in front of the current frame that are already consumed (kept small).
    size_t ConsumedPrefix() const { return start_; }

private:
    // Drops the frame just delivered; the next head is then at the start of the readable bytes.
    void CheckReadStreamForMore(size_t frameSize);
    void dropGarbage(const char* why);
    // Moves payload bytes that arrived into the buffer behind a spooled frame's head to the spool.
    void drainIntoSpool();
    void endFrame(size_t size);
    void log(const std::string& s) const {
        if (Flog) Flog(s, false);
    }

    std::vector<uint8_t> buf_;
    size_t start_ = 0; // offset of the first unconsumed byte
    size_t reserved_ = 0;
    bool FHeadRead = false;
    ccc_head_t FHead{};
    std::unique_ptr<TFrameSpool> spool_;
    size_t spoolLeft_ = 0;
};

} // namespace ferro
