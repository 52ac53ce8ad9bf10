#include "charts/MessLst.h"

#include "foundation/HugePages.h"

#include <algorithm>
#include <mutex>

namespace ferro {

namespace {

// One spare block: charts come and go one at a time, and a view shows one recording after another.
struct TSpare {
    std::mutex Lock;
    uint64_t* Block = nullptr;
    size_t Words = 0;
};

TSpare& Spare() {
    static TSpare s;
    return s;
}

constexpr size_t CKeepMinWords = (size_t(4) << 20) / 8;   // smaller blocks come cheap
constexpr size_t CKeepMaxWords = (size_t(512) << 20) / 8; // not held for nothing beyond this

} // namespace

void TMessBlockReturn::operator()(uint64_t* Block) const {
    if (!Block) return;
    if (!Keep || Words < CKeepMinWords || Words > CKeepMaxWords) {
        delete[] Block;
        return;
    }
    TSpare& s = Spare();
    uint64_t* old = nullptr;
    {
        std::lock_guard<std::mutex> g(s.Lock);
        old = s.Block;
        s.Block = Block;
        s.Words = Words;
    }
    delete[] old;
}

TMessLst::TBlock TMessLst::TakeBlock(size_t Words, bool Keep) {
    if (Keep && Words >= CKeepMinWords) {
        TSpare& s = Spare();
        std::lock_guard<std::mutex> g(s.Lock);
        // Taken when it fits without wasting more than a third of itself.
        if (s.Block && s.Words >= Words && s.Words - Words <= s.Words / 3) {
            TBlock b(s.Block, TMessBlockReturn{s.Words, true});
            s.Block = nullptr;
            s.Words = 0;
            return b;
        }
    }
    TBlock b(new uint64_t[Words], TMessBlockReturn{Words, Keep});
    AdviseHugePages(b.get(), Words * sizeof(uint64_t));
    return b;
}

void TMessLst::SetCrvCnt(int CrvCnt) {
    CrvCnt = std::max(0, CrvCnt);
    if (CrvCnt == FCrvCnt) return;
    FCrvCnt = CrvCnt;
    FBlock.reset();
    FTsl = nullptr;
    FXX = FVal = nullptr;
    FCap = FStart = FCount = 0;
}

void TMessLst::Delete0() {
    if (!FCount) return;
    FStart = FStart + 1 == FCap ? 0 : FStart + 1;
    --FCount;
}

void TMessLst::Grow(size_t Limit) {
    size_t cap = std::max<size_t>(1024, FCap * 2);
    if (Limit && cap > Limit) cap = std::max(Limit, FCount + 1);
    // Times first, then positions and values as floats, all in 8-byte words.
    const size_t floats = cap * size_t(1 + FCrvCnt);
    // A growing ring's block is not kept: it is half of the next one.
    TBlock block = TakeBlock(cap + (floats + 1) / 2, false);
    uint64_t* tsl = block.get();
    float* xx = reinterpret_cast<float*>(tsl + cap);
    float* val = xx + cap;
    // The ring in order: from the start to the block's end, then the part that wrapped round.
    const size_t head = std::min(FCount, FCap - FStart), tail = FCount - head;
    auto unroll = [&](auto* to, const auto* from) {
        std::copy(from + FStart, from + FStart + head, to);
        std::copy(from, from + tail, to + head);
    };
    unroll(tsl, FTsl);
    unroll(xx, FXX);
    for (int c = 0; c < FCrvCnt; ++c)
        unroll(val + size_t(c) * cap, FVal + size_t(c) * FCap);
    FBlock = std::move(block);
    FTsl = tsl;
    FXX = xx;
    FVal = val;
    FCap = cap;
    FStart = 0;
}

void TMessLst::Allocate(int CrvCnt, size_t Count) {
    FCrvCnt = std::max(0, CrvCnt);
    const size_t floats = Count * size_t(1 + FCrvCnt);
    const size_t words = Count + (floats + 1) / 2;
    FBlock = TakeBlock(words, true);
    FTsl = FBlock.get();
    FXX = reinterpret_cast<float*>(FTsl + Count);
    FVal = FXX + Count;
    std::fill(FXX, FXX + Count, 0.0f);
    FCap = FCount = Count;
    FStart = 0;
}

void TMessLst::Swap(TMessLst& Other) noexcept {
    std::swap(FBlock, Other.FBlock);
    std::swap(FTsl, Other.FTsl);
    std::swap(FXX, Other.FXX);
    std::swap(FVal, Other.FVal);
    std::swap(FCap, Other.FCap);
    std::swap(FStart, Other.FStart);
    std::swap(FCount, Other.FCount);
    std::swap(FCrvCnt, Other.FCrvCnt);
}

void TMessLst::Add(uint64_t Ts, const float* Vals, size_t Limit) {
    if (FCount == FCap) Grow(Limit);
    const size_t p = Phys(int(FCount));
    FTsl[p] = Ts;
    FXX[p] = 0;
    for (int c = 0; c < FCrvCnt; ++c)
        FVal[size_t(c) * FCap + p] = Vals ? Vals[c] : 0.0f;
    ++FCount;
}

} // namespace ferro
