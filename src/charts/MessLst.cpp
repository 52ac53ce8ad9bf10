#include "charts/MessLst.h"

#include "foundation/HugePages.h"

#include <algorithm>

namespace ferro {

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
    std::unique_ptr<uint64_t[]> block(new uint64_t[cap + (floats + 1) / 2]);
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
    FBlock.reset(new uint64_t[words]);
    AdviseHugePages(FBlock.get(), words * sizeof(uint64_t));
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
