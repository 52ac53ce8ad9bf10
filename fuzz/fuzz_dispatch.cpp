// libFuzzer harness of the link's dispatcher: one request of each kind goes out (a table row, a
// recording or event read under a name from the input, the setup, a scratchpad file, Lua), then
// the rest of the input comes back as the instrument's bytes, with the clock moving on between
// pieces. Whatever the replies say, every file lands inside the link's folders: the folders sit
// deep in a box, and a box level that holds anything but the next level is a finding.
#include "foundation/Clock.h"
#include "link/ComUnit.h"
#include "link/CommandTable.h"
#include "link/FrameAssembler.h"

#include <QCoreApplication>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// Frames go nowhere; what comes in is assembled as a link thread does.
class TBoxLink : public ferro::TComUnit {
public:
    TBoxLink() {
        SetRealTimer(false);
        assembler_.FOnFrame = [this](const uint8_t* f, size_t n) {
            ferro::MemStream copy(f, n);
            ReadData(copy);
        };
    }
    void Feed(const uint8_t* data, size_t len) {
        assembler_.Append(data, len);
        for (int i = 0; i < 64 && assembler_.ReadData(); ++i) {
        }
    }
    void CreateThread(bool) override {}
    void CloseConnection(bool) override { FireShutDownComplete(); }
    void WorkEvent(ferro::TWorkMode, uint64_t, ferro::TWorkStatus) override {}
    void ReadData(ferro::MemStream& Stream) override {
        if (Stream.size() >= ferro::CHeadSize) Evaluate(Stream);
    }
    bool SendCommandStream(ferro::MemStream&, bool) override {
        SendQueueActive = false;
        return true;
    }
    void ReConnect() override {}
    bool IsConnected() const override { return true; }
    void DoConnect() override {}
    void DoDisconnect(bool) override {}

private:
    ferro::TFrameAssembler assembler_;
};

const std::vector<std::string> CLevels = {"box", "a", "b", "c"};

std::string Inside() {
    std::string p;
    for (const auto& l : CLevels)
        p += l + "/";
    return p + "in/";
}

// Each box level holds the next level only; the innermost "in" may hold anything.
void CheckBox() {
    std::string at;
    for (size_t i = 0; i < CLevels.size(); ++i) {
        at += CLevels[i] + "/";
        const std::string next = i + 1 < CLevels.size() ? CLevels[i + 1] : "in";
        for (const auto& e : fs::directory_iterator(at)) {
            if (e.path().filename() != next) {
                std::fprintf(stderr, "written outside the link's folders: %s\n", e.path().c_str());
                std::abort();
            }
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace ferro;
    static int argc = 1;
    static char arg0[] = "fuzz_dispatch";
    static char* argv[] = {arg0, nullptr};
    static QCoreApplication app(argc, argv);
    static ManualClock clock(0);
    setClock(&clock);
    if (size < 2) return 0;
    std::error_code ec;
    fs::remove_all(CLevels[0], ec);
    const std::string in = Inside();
    for (const char* d : {"data/", "tmp/", "ini/", "tpl/"})
        fs::create_directories(in + d, ec);

    {
        TBoxLink link;
        link.FDatadir = in + "data/";
        link.FTmpDir = in + "tmp/";
        link.FIniFolder = in + "ini/";
        link.FTemplateFolder = link.FOwnTemplateFolder = in + "tpl/";
        link.SetDataFolders();
        const auto ignore = [](const TReply&) {};

        // The first byte picks the request, a name of up to 32 bytes may follow it (ended by a 0).
        const uint8_t pick = data[0];
        size_t at = 1;
        std::string name;
        while (at < size && at < 33 && data[at] != 0)
            name += char(data[at++]);
        if (at < size) ++at;
        const auto& table = CommandTable();
        switch (pick % 6) {
        case 0:
            link.ReadFile(false, name.empty() ? "rec.dat" : name, 0, ignore);
            break;
        case 1:
            link.ReadFile(true, name.empty() ? "evt.dat" : name, 0, ignore);
            break;
        case 2:
            link.ReadSetup(ignore);
            break;
        case 3:
            link.ScratchpadGet(name.empty() ? "a.txt" : name, ignore);
            break;
        case 4:
            link.Lua("print(1)", ignore);
            break;
        default: {
            const TCommandDef& d = table[(pick / 6) % table.size()];
            link.SendCommand(d.Name, d.Cmd, d.Priv, d.ExtCmd);
        }
        }
        // The replies, in pieces of up to 256 bytes with a second of clock and a timer turn between.
        while (at < size) {
            const size_t n = std::min<size_t>(size - at, 1 + data[at - 1]);
            link.Feed(data + at, n);
            at += n;
            clock.advance(1000);
            link.OnTimer();
            QCoreApplication::processEvents();
        }
        link.FailPendingReplies("end");
        QCoreApplication::processEvents();
    }
    CheckBox();
    setClock(nullptr);
    return 0;
}
