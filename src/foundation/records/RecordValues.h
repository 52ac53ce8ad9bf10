#pragma once
// The values of one record, field by field, as the generic decoder gives them and the encoder takes them.

#include "foundation/TimeRecords.h"
#include "foundation/records/FieldTable.h"

#include <cstddef>
#include <string>
#include <vector>

namespace ferro {

// One element of a field. Numbers of every kind fit a double exactly (singles, doubles, words, bytes);
// stamps and the stamp of an extreme value go to `ts`.
struct TFieldElem {
    tmStamp_t ts{};
    double val = 0.0;
};

class TRecordValues {
public:
    // All values zero; the header's object id is the record's own.
    explicit TRecordValues(const TRecordDef& def);

    const TRecordDef& Def() const { return *def_; }

    // Elements of a field of a fixed member, by member type name and field name; nullptr if unknown.
    std::vector<TFieldElem>* Field(const std::string& member, const std::string& field);
    const std::vector<TFieldElem>* Field(const std::string& member, const std::string& field) const;
    // By index into Def().Members and the member's Fields.
    std::vector<TFieldElem>& FieldAt(size_t member, size_t field) { return fixed_[member][field]; }
    const std::vector<TFieldElem>& FieldAt(size_t member, size_t field) const {
        return fixed_[member][field];
    }

    // Element access; an unknown name or index reads 0 and does not write.
    double Get(const std::string& member, const std::string& field, size_t idx = 0) const;
    bool Set(const std::string& member, const std::string& field, double v, size_t idx = 0);
    tmStamp_t GetStamp(const std::string& member, const std::string& field, size_t idx = 0) const;
    bool SetStamp(const std::string& member, const std::string& field, const tmStamp_t& ts, size_t idx = 0);

    // Repeated tail elements (oscilloscope samples, half periods, binary inputs).
    size_t TailCount() const { return tail_.size(); }
    void SetTailCount(size_t n);
    std::vector<TFieldElem>& TailFieldAt(size_t k, size_t field) { return tail_[k][field]; }
    const std::vector<TFieldElem>& TailFieldAt(size_t k, size_t field) const { return tail_[k][field]; }
    double TailGet(size_t k, const std::string& field, size_t idx = 0) const;
    bool TailSet(size_t k, const std::string& field, double v, size_t idx = 0);

private:
    using SubValues = std::vector<std::vector<TFieldElem>>; // per field, its elements
    SubValues makeSub(const TSubRecDef& s) const;
    std::vector<TFieldElem>* find(const std::string& member, const std::string& field);

    const TRecordDef* def_;
    std::vector<SubValues> fixed_; // per member
    std::vector<SubValues> tail_;  // per tail element
};

} // namespace ferro
