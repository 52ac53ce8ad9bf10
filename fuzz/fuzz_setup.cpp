// libFuzzer harness of the setup XML reader and what reads the loaded document: the module tree at
// every level, the rows of every module with their texts, each row's validator fed its own default,
// the reset to defaults and a save that must load again. A TParaError (an id that is no number) is
// the reader's way of refusing a file.
#include "para/SetupDocument.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

using namespace ferro;

void Visit(TSetupDocument& doc, const std::vector<TParaTreeItem>& items, int level) {
    for (const TParaTreeItem& item : items) {
        for (TGridRow& row : doc.Rows(item.Node, level, nullptr)) {
            (void)(row.ValText(',') + row.DefText() + row.MinText() + row.MaxText() +
                   row.ListText(row.ValText()));
            bool corrected = false;
            std::string out;
            row.CheckValue(row.DefText(), nullptr, corrected, out);
        }
        Visit(doc, item.Children, level);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string in = "setup-" + std::to_string(getpid()) + ".xml";
    const std::string out = "saved-" + std::to_string(getpid()) + ".xml";
    FILE* f = std::fopen(in.c_str(), "wb");
    if (!f) return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);
    TSetupDocument doc;
    if (doc.LoadFromFile(in)) {
        try {
            for (int level = 0; level <= 2; ++level) {
                TModulList moduls;
                Visit(doc, doc.BuildTree(level, nullptr, moduls), level);
            }
            doc.ResetToDefaults();
        } catch (const TParaError&) {
        }
        if (doc.SaveToFile(out)) {
            TSetupDocument again;
            if (!again.LoadFromFile(out)) {
                std::fprintf(stderr, "a saved setup does not load again: %s\n", again.LastError().c_str());
                std::abort();
            }
        }
    }
    std::remove(in.c_str());
    std::remove(out.c_str());
    return 0;
}
