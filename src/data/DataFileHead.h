#pragma once
// The head that recording, event and binary-input files share, and the column and group entries
// of a recording: their byte layout in one place for the readers and for the simulator that writes
// the files. Offsets are those of docs/recording-format.md.

#include "data/DataFileTypes.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ferro {

enum class TFileKind : uint8_t { Recording, Events, BinaryInputs };

struct TDataFileHead {
    static constexpr size_t FixedSize = 680;
    static constexpr size_t ColumnSize = 32;
    static constexpr size_t GroupSize = 8;
    static constexpr size_t MaxInputs = 16;
    static constexpr uint16_t CurrentVersion = 1;
    // Bounds that keep a damaged head from asking for much: no real file comes near them.
    static constexpr uint32_t MaxHeadLen = 16u << 20;
    static constexpr uint32_t MaxEntrySize = 1u << 20;
    static constexpr uint32_t MaxColumns = 65535;
    static constexpr uint32_t MaxGroups = 256;
    // Smallest entries of the two fixed-entry kinds; a newer version may append fields.
    static constexpr uint32_t EventEntrySize = 72;
    static constexpr uint32_t AsyncEntrySize = 12;

    TFileKind Kind = TFileKind::Recording;
    uint16_t Version = CurrentVersion;
    uint32_t HeadLen = FixedSize; // bytes before the first entry
    envMan_usrDat_t Env;
    pq_context_t Context;
    time_tz_t Tz;
    uint32_t EntrySize = 0; // record, event or binary-input entry
    uint32_t Count1 = 0;    // recording: columns; binary inputs: inputs
    uint32_t Count2 = 0;    // recording: groups

    static const char* Magic(TFileKind kind); // 8 characters
    // Decodes FixedSize bytes and checks what the fixed part alone can tell; `fileSize` bounds the
    // head length. False with a German reason.
    bool Decode(const uint8_t* p, uint64_t fileSize, std::string& reason);
    void Encode(uint8_t* p) const;

    static void EncodeColumn(uint8_t* p, const TTblStrc& c);
    static void DecodeColumn(const uint8_t* p, TTblStrc& c);
    // A column whose bytes lie inside a record of `recordSize` and whose size fits its kind.
    static bool CheckColumn(const TTblStrc& c, uint32_t recordSize, std::string& reason);
};

// The bytes of a whole head: fixed part, then columns and groups (recording) or data-point ids
// (binary inputs). Sets HeadLen, Count1 and Count2 from the tables.
std::vector<uint8_t> EncodeDataFileHead(TDataFileHead head, const std::vector<TTblStrc>& columns,
                                        const std::vector<TVecIdxStruct>& groups,
                                        const std::vector<uint32_t>& dataPoints);

} // namespace ferro
