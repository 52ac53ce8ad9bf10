// libFuzzer harness of the record codec. The first byte picks a record layout of the field table,
// the rest is the object. What decodes must be as long as the layout says, and encoding its values
// must be stable: the bytes of encode(decode(encode(values))) are those of encode(values).
#include "foundation/records/FieldTable.h"
#include "foundation/records/RecordCodec.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace ferro;
    if (size < 1) return 0;
    const auto& records = TFieldTable::Instance().Records();
    const TRecordDef& def = *records[data[0] % records.size()];
    const uint8_t* obj = data + 1;
    const size_t len = size - 1;
    const size_t expected = TRecordCodec::ExpectedLength(obj, len, def);
    const auto values = TRecordCodec::Decode(obj, len, def);
    if (!values) return 0;
    if (expected != len) {
        std::fprintf(stderr, "%s decoded from %zu bytes, expected %zu\n", def.Name.c_str(), len, expected);
        std::abort();
    }
    const std::vector<uint8_t> once = TRecordCodec::Encode(*values);
    const auto again = TRecordCodec::Decode(once, def);
    if (!again || TRecordCodec::Encode(*again) != once) {
        std::fprintf(stderr, "%s: encoding its own values is not stable\n", def.Name.c_str());
        std::abort();
    }
    return 0;
}
