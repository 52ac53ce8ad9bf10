#pragma once
// Walks the records of a read recording in order: the time of each record by the kind of the
// first column, and the value of any column. Nothing is copied; the cursor reads the stream.

#include "data/DataFileReader.h"

#include <cstdint>

namespace ferro {

class TRecCursor {
public:
    explicit TRecCursor(const TRecData& data) : d_(data) {}

    // Moves to the next record; false after the last.
    bool Next();
    uint64_t Row() const { return row_ - 1; }
    // Linear UTC time of the record in nanoseconds: its stamp (first column of kind 0), the tick
    // counter that restarts each second (kind 3), otherwise the start plus row over sample rate.
    uint64_t TimeNs() const { return time_; }
    // The column's value as a chart takes it; NaN for a stamp column.
    double Value(const TTblStrc& c) const;
    // The stamp of a stamp column or of an extreme value (kind 6); zero for other kinds.
    tmStamp_t Stamp(const TTblStrc& c) const;

    // Times of the first and last record, without walking every record where the kind allows it.
    static void Span(const TRecData& data, tmStamp_t& first, tmStamp_t& last);

private:
    const uint8_t* record() const { return d_.Stream.data() + (row_ - 1) * d_.RecMemSize; }

    const TRecData& d_;
    uint64_t row_ = 0;
    uint64_t time_ = 0;
    int64_t lastTick_ = -1;
    uint64_t seconds_ = 0;
};

} // namespace ferro
