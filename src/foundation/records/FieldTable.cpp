#include "foundation/records/FieldTable.h"

#include "foundation/records/FieldTableBuilder.h"

namespace ferro {

size_t FieldKindSize(TFieldKind k) {
    switch (k) {
    case fkF32:
    case fkU32:
        return 4;
    case fkF64:
    case fkStamp:
        return 8;
    case fkU8:
        return 1;
    case fkExtrem:
        return 12;
    }
    return 0;
}

const char* FieldKindName(TFieldKind k) {
    switch (k) {
    case fkF32:
        return "f32";
    case fkF64:
        return "f64";
    case fkU32:
        return "u32";
    case fkU8:
        return "u8";
    case fkStamp:
        return "stamp";
    case fkExtrem:
        return "extrem";
    }
    return "";
}

int FieldTypeKind(TFieldKind k) {
    switch (k) {
    case fkU32:
    case fkU8:
        return 1;
    case fkF32:
    case fkF64:
        return 4;
    case fkStamp:
    case fkExtrem:
        return 14;
    }
    return 0;
}

int TSubRecDef::FieldIndex(const std::string& name) const {
    for (size_t i = 0; i < Fields.size(); ++i)
        if (Fields[i].Name == name) return int(i);
    return -1;
}

const TFieldDef* TSubRecDef::Field(const std::string& name) const {
    int i = FieldIndex(name);
    return i < 0 ? nullptr : &Fields[size_t(i)];
}

const TMemberDef* TRecordDef::Member(const std::string& typeName) const {
    for (const auto& m : Members)
        if (m.Type->TypeName == typeName) return &m;
    return TailType && TailType->TypeName == typeName ? &TailMember : nullptr;
}

const TMemberDef* TRecordDef::Member(TFerroStruct s) const {
    for (const auto& m : Members)
        if (m.Type->Struct == int(s)) return &m;
    return TailType && TailType->Struct == int(s) ? &TailMember : nullptr;
}

long TRecordDef::AbsOffset(const std::string& member, const std::string& field) const {
    const TMemberDef* m = Member(member);
    if (!m) return -1;
    const TFieldDef* f = m->Type->Field(field);
    return f ? long(m->Offs + f->Offs) : -1;
}

const TFieldTable& TFieldTable::Instance() {
    static const TFieldTable table;
    return table;
}

TFieldTable::TFieldTable() {
    TFieldTableBuilder::Build(*this);
}

const TRecordDef* TFieldTable::Record(const std::string& name) const {
    for (const auto& r : records_)
        if (r->Name == name) return r.get();
    return nullptr;
}

const TSubRecDef* TFieldTable::SubRecord(const std::string& typeName) const {
    for (const auto& s : subRecords_)
        if (s->TypeName == typeName) return s.get();
    return nullptr;
}

const TRecordDef* TFieldTable::RecordFor(TDataObj d, uint8_t gen) const {
    const bool v22 = gen >= 2;
    switch (d) {
    case do10T:
        return Record(v22 ? "c_10t_t_V2_2" : "c_10t_t_V1_0");
    case do150T:
        return Record(v22 ? "c_150t_t_V2_2" : "c_150t_t_V1_0");
    case do10min:
        return Record(v22 ? "c_10min_t_V2_2" : "c_10min_t_V1_0");
    case do2h:
        return Record(v22 ? "c_2h_t_V2_2" : "c_2h_t_V1_0");
    case do1s:
    case doNs:
    case doMmin:
        return Record(v22 ? "c_s_t_V2_2" : "c_s_t_V1_0");
    case do10s:
        return Record("c_10s_t");
    case doOsc:
        return Record(gen == 0 ? "c_osc_dta_t_V1_0" : gen == 1 ? "c_osc_dta_t_V2_0" : "c_osc_dta_t_V2_2");
    case doBin:
        return Record("c_bin_in_t");
    }
    return nullptr;
}

} // namespace ferro
