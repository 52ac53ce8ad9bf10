#pragma once
// The field table: for every measurement record the sub-records it is made of, and for every
// sub-record its fields by name, offset and kind. Decoders, the value table and the simulator
// all read the layouts from here.

#include "foundation/records/FerroTypes.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ferro {

enum TFieldKind : uint8_t {
    fkF32,    // single
    fkF64,    // double (energy counters)
    fkU32,    // unsigned 32-bit word
    fkU8,     // byte
    fkStamp,  // tmStamp_t, sec then frac
    fkExtrem, // extreme value: tmStamp_t of its occurrence, then the single
};

// Bytes of one element of a kind.
size_t FieldKindSize(TFieldKind k);
const char* FieldKindName(TFieldKind k);
// Type kind as the value table tells integers (1), floats (4) and records (14) apart.
int FieldTypeKind(TFieldKind k);

struct TFieldDef {
    std::string Name;  // caption for a table: "U1E", "THD U1E", "P total"
    uint32_t Offs = 0; // from the start of the sub-record
    TFieldKind Kind = fkF32;
    uint32_t Count = 1; // elements; polar pairs are two singles (magnitude, angle)
    std::string Unit;
    TFerroStrucTyp StrucTyp = stMesswerte;

    size_t ByteSize() const { return FieldKindSize(Kind) * Count; }
};

struct TSubRecDef {
    std::string TypeName; // "u_s_t"
    uint32_t Size = 0;
    int Struct = -1; // TFerroStruct that names it, -1 if none does
    std::vector<TFieldDef> Fields;

    const TFieldDef* Field(const std::string& name) const;
    int FieldIndex(const std::string& name) const;
};

// A sub-record placed in a record.
struct TMemberDef {
    const TSubRecDef* Type = nullptr;
    uint32_t Offs = 0; // from the start of the object
};

struct TRecordDef {
    std::string Name; // "c_s_t_V1_0"
    int DataObj = -1; // TDataObj that delivers it first, -1 for records outside the streams
    uint32_t ObjID = 0;
    uint32_t Size = 0; // whole length of a fixed record; fixed part of one with a tail
    std::vector<TMemberDef> Members;
    // Optional tail: `TailType` repeated as often as the count word at `TailCountOffs` says,
    // starting right after the fixed part.
    const TSubRecDef* TailType = nullptr;
    uint32_t TailCountOffs = 0;
    TFieldKind TailCountKind = fkU32;

    // The tail's first element as a member (offset Size), so that it is found like the others.
    TMemberDef TailMember;

    bool HasTail() const { return TailType != nullptr; }
    // A fixed member or the tail, by type name or by the TFerroStruct that names it.
    const TMemberDef* Member(const std::string& typeName) const;
    const TMemberDef* Member(TFerroStruct s) const;
    // Length of a whole object with `tailCount` tail elements.
    size_t LengthFor(size_t tailCount) const { return Size + (TailType ? tailCount * TailType->Size : 0); }
    // Offset of a field from the start of the object, or -1 if the member or field is unknown.
    long AbsOffset(const std::string& member, const std::string& field) const;
};

class TFieldTable {
public:
    // The one table of the program, built on first use.
    static const TFieldTable& Instance();

    const std::vector<std::unique_ptr<TRecordDef>>& Records() const { return records_; }
    const std::vector<std::unique_ptr<TSubRecDef>>& SubRecords() const { return subRecords_; }
    const TRecordDef* Record(const std::string& name) const;
    const TSubRecDef* SubRecord(const std::string& typeName) const;
    // The record a data class delivers with firmware generation `gen` (0 and 1 the V1_0 forms,
    // 2 the V2_2 forms; the oscilloscope has its own form for generation 1). The instrument has no
    // other layouts, so a higher byte reads the newest ones.
    const TRecordDef* RecordFor(TDataObj d, uint8_t gen) const;

    TFieldTable(const TFieldTable&) = delete;
    TFieldTable& operator=(const TFieldTable&) = delete;

private:
    TFieldTable();
    friend class TFieldTableBuilder;
    std::vector<std::unique_ptr<TSubRecDef>> subRecords_;
    std::vector<std::unique_ptr<TRecordDef>> records_;
};

} // namespace ferro
