#include "foundation/records/RecordValues.h"

namespace ferro {

TRecordValues::TRecordValues(const TRecordDef& def) : def_(&def) {
    for (const auto& m : def.Members)
        fixed_.push_back(makeSub(*m.Type));
    if (!def.Members.empty()) {
        const TSubRecDef& hdr = *def.Members.front().Type;
        int id = hdr.FieldIndex(hdr.FieldIndex("ObjID") >= 0 ? "ObjID" : "id");
        if (id >= 0) fixed_[0][size_t(id)][0].val = def.ObjID;
    }
}

TRecordValues::SubValues TRecordValues::makeSub(const TSubRecDef& s) const {
    SubValues v(s.Fields.size());
    for (size_t i = 0; i < s.Fields.size(); ++i)
        v[i].resize(s.Fields[i].Count);
    return v;
}

std::vector<TFieldElem>* TRecordValues::find(const std::string& member, const std::string& field) {
    for (size_t m = 0; m < def_->Members.size(); ++m) {
        const TSubRecDef& s = *def_->Members[m].Type;
        if (s.TypeName != member) continue;
        int f = s.FieldIndex(field);
        return f < 0 ? nullptr : &fixed_[m][size_t(f)];
    }
    return nullptr;
}

std::vector<TFieldElem>* TRecordValues::Field(const std::string& member, const std::string& field) {
    return find(member, field);
}

const std::vector<TFieldElem>* TRecordValues::Field(const std::string& member,
                                                    const std::string& field) const {
    return const_cast<TRecordValues*>(this)->find(member, field);
}

double TRecordValues::Get(const std::string& member, const std::string& field, size_t idx) const {
    const auto* f = Field(member, field);
    return f && idx < f->size() ? (*f)[idx].val : 0.0;
}

bool TRecordValues::Set(const std::string& member, const std::string& field, double v, size_t idx) {
    auto* f = Field(member, field);
    if (!f || idx >= f->size()) return false;
    (*f)[idx].val = v;
    return true;
}

tmStamp_t TRecordValues::GetStamp(const std::string& member, const std::string& field, size_t idx) const {
    const auto* f = Field(member, field);
    return f && idx < f->size() ? (*f)[idx].ts : tmStamp_t{};
}

bool TRecordValues::SetStamp(const std::string& member, const std::string& field, const tmStamp_t& ts,
                             size_t idx) {
    auto* f = Field(member, field);
    if (!f || idx >= f->size()) return false;
    (*f)[idx].ts = ts;
    return true;
}

void TRecordValues::SetTailCount(size_t n) {
    if (!def_->TailType) return;
    tail_.resize(n, makeSub(*def_->TailType));
}

double TRecordValues::TailGet(size_t k, const std::string& field, size_t idx) const {
    if (!def_->TailType || k >= tail_.size()) return 0.0;
    int f = def_->TailType->FieldIndex(field);
    if (f < 0 || idx >= tail_[k][size_t(f)].size()) return 0.0;
    return tail_[k][size_t(f)][idx].val;
}

bool TRecordValues::TailSet(size_t k, const std::string& field, double v, size_t idx) {
    if (!def_->TailType || k >= tail_.size()) return false;
    int f = def_->TailType->FieldIndex(field);
    if (f < 0 || idx >= tail_[k][size_t(f)].size()) return false;
    tail_[k][size_t(f)][idx].val = v;
    return true;
}

} // namespace ferro
