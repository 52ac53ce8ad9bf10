// Recordings large enough to be spooled to disk while they arrive: byte-identical over TCP and SSH,
// appended to an existing file, and nothing left behind (no local change, no spool) when the line
// breaks in the middle.
#include "link/DeviceSession.h"
#include "link/FrameAssembler.h"
#include "link/RSComUnit.h"
#include "link/ReadThreadTCP.h"
#include "link/TCPComUnit.h"
#include "support/Files.h"
#include "support/SimProcess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <mutex>

using namespace ferro;
using namespace ferro::test;
namespace fs = std::filesystem;

namespace {

const char* kName = "sync/big-0-1763769600.rec";
const char* kLocalName = "big-0-1763769600.rec";
// Above the size from which file replies go to disk while they arrive.
const size_t kBytes = TFrameAssembler::CSpoolFrom + 1234567;

std::string bigRecording() {
    std::string s(kBytes, '\0');
    for (size_t i = 0; i < s.size(); ++i)
        s[i] = char(i * 131 + i / 4093);
    return s;
}

struct Download {
    SimProcess& sim;
    std::string data;
    std::unique_ptr<TDeviceSession> session;

    // `beforeOpen` may hook into the link before its threads run.
    enum Line { Tcp, Ssh, Serial };
    Download(SimProcess& s, Line line, const std::function<void(TComUnit&)>& beforeOpen = {})
        : sim(s), data(s.tempDir() + "/data/") {
        TConnectionRec o;
        o.Port = line == Ssh ? sim.sshPort() : sim.port();
        o.Transport = line == Ssh ? TTransport::Ssh : TTransport::Tcp;
        if (line == Serial) {
            o.Transport = TTransport::Serial;
            o.SerialDevice = sim.serial();
        }
        o.SshUser = o.SshPassword = "admin";
        o.Folders.Data = data;
        o.Folders.Tmp = sim.tempDir() + "/";
        o.Folders.Ini = sim.tempDir() + "/ini/";
        fs::create_directories(o.Folders.Ini);
        session = std::make_unique<TDeviceSession>(o);
        session->DefaultAnswer = mrYes;
        if (beforeOpen) beforeOpen(session->Link());
        EXPECT_TRUE(session->OpenAndWait(40000)) << session->LastError().Text;
    }
    std::string local() const { return session->Link().FRecDir + kLocalName; }
    // Reads the recording from `pos` on; true when the table callback came.
    bool get(uint32_t pos = 0) {
        bool done = false;
        TComUnit& l = session->Link();
        l.FRecToTable = [&](TSender, const std::string& path) {
            EXPECT_EQ(path, local());
            done = true;
        };
        l.SendCommand("CCC_READOUT_REC_RD", CmdReadout, 0, 1, kName, pos, false);
        session->WaitFor([&] { return done; }, 30000);
        return done;
    }
    // Files in the instrument's data folder that are not where they belong.
    std::vector<std::string> strays() const {
        std::vector<std::string> out;
        std::error_code ec;
        for (auto& e : fs::recursive_directory_iterator(data, ec))
            if (e.is_regular_file() && e.path().filename().string().find(".part") != std::string::npos)
                out.push_back(e.path().string());
        return out;
    }
};

void putOnInstrument(const SimProcess& sim, const std::string& content) {
    writeFile(sim.root() + "/flashdrive0/data/rec/" + kName, content);
}

} // namespace

TEST(LargeDownload, ByteIdenticalOverTcpAndSshAndASecondReadAppends) {
    const std::string original = bigRecording();
    for (bool ssh : {false, true}) {
        SimProcess sim(ssh ? std::vector<std::string>{"--ssh-port", "0"} : std::vector<std::string>{});
        putOnInstrument(sim, original);
        // Progress of the frame under way comes from the link thread while the file arrives.
        std::mutex m;
        std::vector<uint64_t> progress;
        Download d(sim, ssh ? Download::Ssh : Download::Tcp, [&](TComUnit& l) {
            auto* tcp = dynamic_cast<TTCPComUnit*>(&l);
            ASSERT_NE(tcp, nullptr);
            tcp->ReadThread()->FOnWork = [&](TWorkMode mode, uint64_t n) {
                std::lock_guard<std::mutex> lk(m);
                if (mode == wmRead) progress.push_back(n);
            };
        });
        std::unique_lock<std::mutex> before(m);
        progress.clear(); // what the session's own frames reported
        before.unlock();
        ASSERT_TRUE(d.get()) << (ssh ? "ssh" : "tcp");
        {
            std::lock_guard<std::mutex> lk(m);
            EXPECT_GE(progress.size(), 3u) << (ssh ? "ssh" : "tcp");
            EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
            EXPECT_LE(progress.back(), kBytes + 20);
        }
        EXPECT_TRUE(readFile(d.local()) == original) << (ssh ? "ssh" : "tcp");
        EXPECT_TRUE(d.strays().empty());
        if (ssh) continue;
        ASSERT_TRUE(d.get());
        EXPECT_TRUE(readFile(d.local()) == original + original) << "without Pos the file is appended to";
        EXPECT_TRUE(d.strays().empty());
    }
}

TEST(LargeDownload, ABrokenLineLeavesTheLocalFileAsItWasAndAResumeCompletesIt) {
    const std::string original = bigRecording();
    const size_t have = original.size() / 5;
    for (bool ssh : {false, true}) {
        std::vector<std::string> args = {"--faults", "cut:3000000"};
        if (ssh) args.insert(args.end(), {"--ssh-port", "0"});
        SimProcess sim(args);
        putOnInstrument(sim, original);
        Download d(sim, ssh ? Download::Ssh : Download::Tcp);
        fs::create_directories(d.session->Link().FRecDir);
        writeFile(d.local(), original.substr(0, have));
        EXPECT_FALSE(d.get(uint32_t(have))) << "the line breaks before the frame is complete";
        EXPECT_TRUE(d.session->WaitFor([&] { return !d.session->Link().IsConnected(); }, 5000));
        EXPECT_EQ(fs::file_size(d.local()), have) << "half a frame never reaches the file";
        EXPECT_TRUE(d.strays().empty()) << (ssh ? "ssh" : "tcp");
    }
    SimProcess sim;
    putOnInstrument(sim, original);
    Download d(sim, Download::Tcp);
    fs::create_directories(d.session->Link().FRecDir);
    writeFile(d.local(), original.substr(0, have));
    ASSERT_TRUE(d.get(uint32_t(have)));
    EXPECT_TRUE(readFile(d.local()) == original);
}

TEST(LargeDownload, OverASerialLineTheProgressOfTheFrameIsReported) {
    SimProcess sim({"--serial"});
    ASSERT_FALSE(sim.serial().empty());
    const std::string original = bigRecording().substr(0, 200000);
    putOnInstrument(sim, original);
    std::mutex m;
    std::vector<uint64_t> working;
    uint64_t begun = 0;
    Download d(sim, Download::Serial, [&](TComUnit& l) {
        l.FOnTransferWork = [&](TWorkStatus st, TWorkMode mode, uint64_t n) {
            std::lock_guard<std::mutex> lk(m);
            if (mode != wmRead) return;
            if (st == WorkBegin) {
                begun = n;
                working.clear();
            }
            if (st == WorkWorking) working.push_back(n);
        };
    });
    ASSERT_TRUE(d.get());
    EXPECT_TRUE(readFile(d.local()) == original);
    std::lock_guard<std::mutex> lk(m);
    EXPECT_EQ(begun, original.size() + 20) << "the frame's size when its head arrives";
    ASSERT_GE(working.size(), 4u);
    EXPECT_TRUE(std::is_sorted(working.begin(), working.end()));
    EXPECT_LT(working.front(), original.size()) << "reported while the frame arrives";
}
