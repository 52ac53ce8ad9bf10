#pragma once
// What every harness shares: the input becomes a file (the readers take names), either as it is or
// as byte patches on a valid file of the reader's kind, so that the fuzzer reaches the tables and
// entries behind a head it would seldom guess.

#include "data/DataFileHead.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace ferro::fuzz {

// A small valid file of `kind`: a recording with a column of every kind, two events, two changes.
inline std::vector<uint8_t> Template(TFileKind kind) {
    TDataFileHead h;
    h.Kind = kind;
    h.Context.Valid = 1;
    h.Context.Start = {1700000000, 0};
    std::vector<uint8_t> f;
    if (kind == TFileKind::Recording) {
        h.Context.DataClass = dcHp;
        h.EntrySize = 36;
        f = EncodeDataFileHead(h,
                               {{CTimeColumnId, "", 0, psTick, 0, 4, 0},
                                {1, "V", 1, psSingle, 4, 4, 1},
                                {2, "Wh", 6, psFloat, 8, 8, 1},
                                {3, "V", 1, psExtrem, 16, 12, 1},
                                {CBinaryStateId, "", 0, psTick, 28, 4, 1}},
                               {{0, 0xFFFF}, {1, 0x0B01FFFF}}, {});
    } else {
        h.Context.DataClass = kind == TFileKind::Events ? dcEvent : dcBinIn;
        h.EntrySize =
            kind == TFileKind::Events ? TDataFileHead::EventEntrySize : TDataFileHead::AsyncEntrySize;
        f = EncodeDataFileHead(h, {}, {}, {0x150D00, 0x150D01});
    }
    f.resize(f.size() + 2 * h.EntrySize + h.EntrySize / 2, 0x11);
    return f;
}

// Input starting with 'P': (offset u16, byte) patches on the template; anything else: the file.
inline std::string WriteInput(TFileKind kind, const uint8_t* data, size_t size) {
    std::vector<uint8_t> file;
    if (size > 0 && data[0] == 'P') {
        file = Template(kind);
        for (size_t i = 1; i + 3 <= size; i += 3) {
            const size_t at = size_t(data[i] | (data[i + 1] << 8));
            if (at < file.size())
                file[at] = data[i + 2];
            else if (at == 0xFFFF)
                file.resize(file.size() / 2);
        }
    } else {
        file.assign(data, data + size);
    }
    static const std::string path = [] {
        std::string p = "/tmp/ferro-fuzz-" + std::to_string(getpid()) + ".log";
        // The run's one file goes with the run.
        std::atexit([] { std::remove(("/tmp/ferro-fuzz-" + std::to_string(getpid()) + ".log").c_str()); });
        return p;
    }();
    if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
        std::fwrite(file.data(), 1, file.size(), f);
        std::fclose(f);
    }
    return path;
}

} // namespace ferro::fuzz
