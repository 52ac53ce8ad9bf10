// libFuzzer harness of the complete value table: whatever object the instrument streams, every
// leaf of every generation counts its rows and reads its cells within the object's bytes.
#include "live/CompleteTable.h"

#include <cstdint>
#include <string>
#include <vector>

namespace {

void Leaves(const ferro::TCompleteNode& Node, std::vector<ferro::TFerroTag>& Out) {
    if (Node.Leaf) Out.push_back(Node.Tag);
    for (const auto& c : Node.Children)
        Leaves(c, Out);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace ferro;
    if (size < 1) return 0;
    const uint8_t gen = data[0] % 3;
    const std::vector<uint8_t> obj(data + 1, data + size);
    std::vector<TFerroTag> tags;
    Leaves(TCompleteTable::FillTreeView(gen), tags);
    std::string text;
    for (const TFerroTag& tag : tags) {
        TCompleteTable t;
        t.Select(tag, gen);
        const int rows = t.RowCount(obj);
        const int cols = int(t.Cols().size());
        // The first rows, the last one and two beyond: enough to meet every bound, cheap per input.
        for (int r : {0, 1, 2, 3, rows - 1, rows, rows + 1, 1 << 30})
            for (int c = -1; c <= cols; ++c)
                t.GetValueFromBytes(obj, r, c, text);
    }
    return 0;
}
