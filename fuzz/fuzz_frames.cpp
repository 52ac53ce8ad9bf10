// libFuzzer harness of the frame assembler, checked against a model of the stream: the input
// describes frames (payload length, command, payload bytes) and the cuts of the stream into reads.
// Every frame must come out once, whole and in order, whatever the cuts. A second mode feeds the
// input as raw bytes: nothing delivered may be shorter than a head or differ from its Size, and the
// buffer never holds more than what arrived.
#include "link/FrameAssembler.h"

#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace ferro;
    if (size < 2) return 0;
    TFrameAssembler a;
    std::vector<std::vector<uint8_t>> got;
    a.FOnFrame = [&](const uint8_t* f, size_t n) { got.emplace_back(f, f + n); };
    a.FOnNtp = a.FOnFrame;
    if (data[0] & 1) {
        size_t fed = 0;
        for (size_t at = 1; at < size;) {
            const size_t n = std::min<size_t>(size - at, 1 + data[at] % 64);
            a.Append(data + at, n);
            at += n;
            fed += n;
            while (a.ReadData()) {
            }
            if (a.Buffered() > fed) std::abort();
        }
        for (const auto& f : got)
            if (f.size() < CHeadSize || ccc_head_t::decode(f.data()).Size != f.size()) std::abort();
        return 0;
    }
    // The model: frames built from the input, then cut by the rest of it.
    std::vector<std::vector<uint8_t>> sent;
    std::vector<uint8_t> stream;
    size_t at = 1;
    while (at + 2 <= size && sent.size() < 64) {
        const size_t len = data[at];
        ccc_head_t h;
        h.Cmd = data[at + 1];
        h.ExtCmd = uint16_t(data[at + 1] >> 4);
        h.Ver = 5;
        h.FTPNAK = 4;
        h.Size = uint32_t(CHeadSize + len);
        at += 2;
        std::vector<uint8_t> f(CHeadSize + len);
        h.encode(f.data());
        for (size_t i = 0; i < len; ++i)
            f[CHeadSize + i] = data[(at + i) % size];
        at += len / 4; // some payload bytes double as the cuts
        sent.push_back(f);
        stream.insert(stream.end(), f.begin(), f.end());
    }
    size_t cut = at;
    for (size_t pos = 0; pos < stream.size();) {
        const size_t n = std::min<size_t>(stream.size() - pos, 1 + (cut < size ? data[cut++] : 255));
        a.Append(stream.data() + pos, n);
        pos += n;
        while (a.ReadData()) {
        }
    }
    if (got != sent || a.Buffered() != 0) std::abort();
    return 0;
}
