#pragma once
// The sample records of a curve chart: per record a linear time, a drawing position and one value
// per curve. All of it lives in one block per chart (times, positions, then one column of values
// per curve), 12 bytes per record and 4 per value, and no record has an allocation of its own.
// The list is a ring: dropping the oldest record is a step of the start index.

#include <cstddef>
#include <cstdint>
#include <memory>

namespace ferro {

// Gives a large block of a whole recording back for the next chart of about its size: a block the
// kernel hands out anew is cleared page by page on first touch, which for a week of records costs
// as much as filling it.
struct TMessBlockReturn {
    size_t Words = 0;
    bool Keep = false;
    void operator()(uint64_t* Block) const;
};

class TMessLst {
public:
    // Clears the list when the number of curves changes.
    void SetCrvCnt(int CrvCnt);
    int CrvCnt() const { return FCrvCnt; }
    int Count() const { return int(FCount); }
    void Clear() { FStart = FCount = 0; }
    // Drops the oldest record.
    void Delete0();
    // Appends a record; Vals holds CrvCnt values. The block grows by doubling, never beyond Limit
    // records when that is given, so that a long recording is not held twice while it grows.
    void Add(uint64_t Ts, const float* Vals, size_t Limit = 0);
    // A block of exactly Count records in order, for a list filled elsewhere (a worker) through
    // Times() and Values() and then handed to a chart whole by Swap. Positions start at 0.
    void Allocate(int CrvCnt, size_t Count);
    uint64_t* Times() { return FTsl + FStart; }
    float* Values(int Crv) { return FVal + size_t(Crv) * FCap + FStart; }
    void Swap(TMessLst& Other) noexcept;

    uint64_t Tsl(int i) const { return FTsl[Phys(i)]; }
    float XX(int i) const { return FXX[Phys(i)]; }
    void SetXX(int i, float X) { FXX[Phys(i)] = X; }
    float Val(int i, int Crv) const { return FVal[size_t(Crv) * FCap + Phys(i)]; }
    void SetVal(int i, int Crv, float V) { FVal[size_t(Crv) * FCap + Phys(i)] = V; }

    // The records First..Last as at most two runs that lie one after the other in memory, for the
    // loops over millions of records. Fn(time*, x*, values of curve Crv*, count).
    template <class F> void ForRuns(int First, int Last, int Crv, F&& Fn) const {
        if (First > Last || First < 0 || Last >= Count()) return;
        size_t p = Phys(First), n = size_t(Last - First + 1);
        while (n) {
            const size_t run = p + n > FCap ? FCap - p : n;
            Fn(FTsl + p, FXX + p, Crv >= 0 ? FVal + size_t(Crv) * FCap + p : nullptr, run);
            n -= run;
            p = 0;
        }
    }
    // Bytes held by the block.
    size_t Bytes() const { return FCap * (sizeof(uint64_t) + sizeof(float) * size_t(1 + FCrvCnt)); }

private:
    size_t Phys(int i) const {
        const size_t p = FStart + size_t(i);
        return p >= FCap ? p - FCap : p;
    }
    void Grow(size_t Limit);

    using TBlock = std::unique_ptr<uint64_t[], TMessBlockReturn>;
    static TBlock TakeBlock(size_t Words, bool Keep);

    TBlock FBlock;
    uint64_t* FTsl = nullptr;
    float* FXX = nullptr;
    float* FVal = nullptr;
    size_t FCap = 0;
    size_t FStart = 0;
    size_t FCount = 0;
    int FCrvCnt = 0;
};

} // namespace ferro
