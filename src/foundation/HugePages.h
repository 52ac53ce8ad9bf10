#pragma once
// Large buffers of records ask for huge pages before they are first touched: hundreds of
// megabytes touched 4 KiB at a time cost more than reading them. Only advice: where the system
// has no huge pages, nothing changes.
#include <cstddef>
#include <cstdint>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace ferro {

inline void AdviseHugePages(void* Data, size_t Bytes) {
#ifdef __linux__
    constexpr uintptr_t CHuge = uintptr_t(2) << 20;
    if (Bytes < 4 * CHuge) return;
    const uintptr_t from = (reinterpret_cast<uintptr_t>(Data) + CHuge - 1) & ~(CHuge - 1);
    const uintptr_t to = (reinterpret_cast<uintptr_t>(Data) + Bytes) & ~(CHuge - 1);
    if (to > from) madvise(reinterpret_cast<void*>(from), to - from, MADV_HUGEPAGE);
#else
    (void)Data;
    (void)Bytes;
#endif
}

} // namespace ferro
