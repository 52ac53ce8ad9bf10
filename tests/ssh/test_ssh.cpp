// The SSH link against the simulator's SSH service: login, channel, shell, host keys.
#include "SshServer.h"
#include "support/Lines.h"

#include "foundation/Clock.h"
#include "foundation/Format.h"
#include "link/HashManager.h"
#include "link/ReadThreadTCPSSH.h"
#include "link/TCPComUnit.h"
#include "support/FakeInstrument.h"
#include <libssh/libssh.h>

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include <chrono>
#include <filesystem>
#include <fstream>

using namespace ferro;
using namespace ferro::test;
namespace fs = std::filesystem;

namespace {

struct SshRig {
    QTemporaryDir dir;
    std::string root;
    FakeInstrument dev;
    std::unique_ptr<ferrosim::SshServer> server;
    std::vector<std::string> luaLines;

    SshRig() {
        root = dir.path().toStdString() + "/";
        start();
    }
    void start() {
        ferrosim::SshServer::Config cfg;
        cfg.hostKeyFile = root + "ssh_host_ecdsa_key";
        cfg.framePort = dev.port();
        server = std::make_unique<ferrosim::SshServer>(
            cfg, [](const std::string& u, const std::string& p) { return u == "admin" && p == "admin"; },
            [this](const std::string&, const std::string& line) {
                luaLines.push_back(line);
                return line == "print(1+1)" ? std::string("2\n") : std::string();
            });
        std::string error;
        EXPECT_TRUE(server->Start(error)) << error;
    }
};

struct Client {
    TTCPComUnit link{true};
    std::vector<std::string> log, shown, asked;
    bool done = false;
    int answer = mrYes;
    Client(const std::string& iniDir, int port, const std::string& user, const std::string& pass) {
        link.FOnLogCallBack = [this](TSender, const std::string& s, bool) { log.push_back(s); };
        link.FDisplayConnMessage = [this](const std::string& t, TMsgDlgType type, TThreadedMessageCallBack cb,
                                          TMsgDlgButtons, TMsgDlgBtn) {
            if (type == mtConfirmation) {
                asked.push_back(t);
                if (cb) cb(nullptr, answer);
            } else {
                shown.push_back(t);
                if (cb) cb(nullptr, mrOk); // read and confirmed
            }
        };
        link.FOnConnDone = [this](TSender, bool ok) { done = ok; };
        link.FIniFolder = iniDir;
        link.SetSSHUserPass(user, pass);
        link.SetIPAndPort("127.0.0.1", port, 0);
    }
    bool logged(const std::string& part) const { return AnyContains(log, part); }
};

} // namespace

TEST(SshLink, SessionReachesTheFullIdentityAndOpensWithTheLongStart) {
    SshRig rig;
    Client c(rig.root, rig.server->Port(), "admin", "admin");
    c.link.DoConnect();
    ASSERT_TRUE(c.link.IsConnected());
    ASSERT_TRUE(WaitFor([&] { return c.done; }));
    EXPECT_EQ(c.link.FSN, 777u);
    EXPECT_EQ(c.link.Identity().Device, "PQ1");
    auto frames = rig.dev.received();
    ASSERT_GE(frames.size(), 2u);
    ASSERT_EQ(frames[0].size(), 160u);
    EXPECT_EQ(frames[0][4], 5) << "SSH keeps protocol 5";
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&frames[0][24])), "admin");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&frames[0][88])), "admin");
    ASSERT_EQ(c.asked.size(), 1u) << "a new instrument asks once";
    EXPECT_EQ(c.asked[0].rfind("Dieses Gerät ist nicht bekannt", 0), 0u);
    EXPECT_NE(c.asked[0].find("folgenden ECDSA-Schlüssels"), std::string::npos) << "the key's real type";
    EXPECT_NE(c.asked[0].find("MD5: " + rig.server->Fingerprint()), std::string::npos);
    const size_t sha = c.asked[0].find("\r\nSHA256:");
    ASSERT_NE(sha, std::string::npos) << c.asked[0];
    EXPECT_EQ(c.asked[0].find("\r\n", sha + 2), sha + 2 + 7 + 43) << "43 base64 digits of SHA-256";
}

TEST(SshLink, LuaGoesToTheShellAndTheAnswerComesBack) {
    SshRig rig;
    Client c(rig.root, rig.server->Port(), "admin", "admin");
    c.link.DoConnect();
    ASSERT_TRUE(WaitFor([&] { return c.done; }));
    std::string result;
    bool got = false;
    c.link.Lua("print(1+1)", [&](const TReply& r) {
        result = r.Text;
        got = r.Ok;
    });
    ASSERT_TRUE(WaitFor([&] { return got; }));
    EXPECT_EQ(result, "2\n");
    ASSERT_FALSE(rig.luaLines.empty());
    EXPECT_EQ(rig.luaLines.back(), "print(1+1)");
    for (const auto& f : rig.dev.received())
        EXPECT_NE(f[0], 6) << "Lua never travels in a frame over SSH";
}

TEST(SshLink, WrongPasswordSaysAuthenticationFailed) {
    SshRig rig;
    Client c(rig.root, rig.server->Port(), "admin", "wrong");
    c.link.DoConnect();
    EXPECT_FALSE(c.link.IsConnected());
    ASSERT_TRUE(WaitFor([&] { return !c.shown.empty(); }, 3000));
    EXPECT_EQ(c.shown[0], "Authentifizierung fehlgeschlagen");
    EXPECT_TRUE(c.link.FAuthError);
    WaitFor([] { return false; }, 700);
    for (const auto& s : c.shown)
        EXPECT_NE(s, "Verbindungsabbruch");
    EXPECT_EQ(rig.dev.framesReceived(), 0u);
}

TEST(SshHostKey, RefusingANewKeySendsNoFrameAndAcceptingStoresIt) {
    SshRig rig;
    {
        Client c(rig.root, rig.server->Port(), "admin", "admin");
        c.answer = mrNo;
        c.link.DoConnect();
        EXPECT_FALSE(c.link.IsConnected());
        EXPECT_EQ(c.asked.size(), 1u);
        WaitFor([] { return false; }, 200);
        EXPECT_EQ(rig.dev.framesReceived(), 0u) << "nothing goes out to an untrusted instrument";
        EXPECT_FALSE(fs::exists(rig.root + "Hash"));
    }
    {
        Client c(rig.root, rig.server->Port(), "admin", "admin");
        c.link.DoConnect();
        ASSERT_TRUE(WaitFor([&] { return c.done; }));
        EXPECT_EQ(c.asked.size(), 1u);
        c.link.DoDisconnect(false);
    }
    std::ifstream store(rig.root + "Hash");
    std::string line;
    std::getline(store, line);
    EXPECT_EQ(line, Fmt("127.0.0.1:%d=%s", rig.server->Port(), rig.server->Fingerprint().c_str()));
    {
        Client c(rig.root, rig.server->Port(), "admin", "admin");
        c.link.DoConnect();
        ASSERT_TRUE(WaitFor([&] { return c.done; }));
        EXPECT_TRUE(c.asked.empty()) << "a known key is not asked about again";
    }
}

TEST(SshHostKey, AQuestionLeftOpenEndsWithNoWhenTheLinkIsCanceled) {
    SshRig rig;
    Client c(rig.root, rig.server->Port(), "admin", "admin");
    TThreadedMessageCallBack pending; // the view shows the question; nobody answers it
    c.link.FDisplayConnMessage = [&](const std::string& t, TMsgDlgType type, TThreadedMessageCallBack cb,
                                     TMsgDlgButtons, TMsgDlgBtn) {
        if (type != mtConfirmation) return;
        c.asked.push_back(t);
        pending = cb;
    };
    std::atomic<bool> ended{false};
    std::thread worker([&] {
        c.link.DoConnect(); // the view's connect worker
        ended = true;
    });
    ASSERT_TRUE(WaitFor([&] { return !c.asked.empty(); }, 5000));
    c.link.CancelConnect(); // the view closes
    const bool quick = WaitFor([&] { return ended.load(); }, 2000);
    if (!quick && pending) pending(nullptr, mrNo); // never leave the worker behind
    worker.join();
    EXPECT_TRUE(quick) << "the worker does not wait for an answer that will not come";
    EXPECT_FALSE(c.link.IsConnected());
    EXPECT_FALSE(fs::exists(rig.root + "Hash"));
}

TEST(SshHostKey, ChangedKeyAsksWithTheChangedText) {
    SshRig rig;
    THashManager store;
    store.SetHashStore(rig.root + "Hash");
    store.StoreFingerprint("127.0.0.1", rig.server->Port(),
                           "00:11:22:33:44:55:66:77:88:99:AA:BB:CC:DD:EE:FF");
    Client c(rig.root, rig.server->Port(), "admin", "admin");
    c.answer = mrNo;
    c.link.DoConnect();
    ASSERT_EQ(c.asked.size(), 1u);
    EXPECT_EQ(c.asked[0].rfind("Der ECDSA-Schlüssel dieses Gerätes hat sich geändert", 0), 0u);
    EXPECT_FALSE(c.link.IsConnected());
}

TEST(HashStore, FingerprintsCompareByValueAndKeysByHostAndPort) {
    EXPECT_TRUE(compareHash("aa:BB", "AA:bb"));
    EXPECT_FALSE(compareHash("AA:BB", "AA:BB:CC"));
    EXPECT_FALSE(compareHash("zz:BB", "zz:BB")) << "two bad parts never match";
    EXPECT_TRUE(compareHash("0a:b", "A:0B"));
    QTemporaryDir dir;
    std::string file = dir.path().toStdString() + "/Hash";
    THashManager m;
    m.SetHashStore(file);
    m.StoreFingerprint("10.0.0.5", 22, "AA:BB");
    EXPECT_EQ(m.GetFingerprint("10.0.0.5", 22), "AA:BB");
    EXPECT_EQ(m.GetFingerprint("10.0.0.5", 2222), "") << "another port is another device";
    m.StoreFingerprint("10.0.0.5", 22, "CC:DD");
    THashManager reread;
    reread.SetHashStore(file);
    EXPECT_EQ(reread.GetFingerprint("10.0.0.5", 22), "CC:DD");
    EXPECT_FALSE(reread.RemoveFingerprint("10.0.0.5", 22, "AA:BB"));
    EXPECT_TRUE(reread.RemoveFingerprint("10.0.0.5", 22, "cc:dd"));
    EXPECT_EQ(reread.GetFingerprint("10.0.0.5", 22), "");
}

TEST(HashStore, EmptyStoreNameNeverWritesAFile) {
    QTemporaryDir dir;
    const fs::path before = fs::current_path();
    fs::current_path(dir.path().toStdString());
    THashManager m;
    m.SetHashStore("");
    m.StoreFingerprint("h", 1, "AA");
    EXPECT_EQ(m.GetFingerprint("h", 1), "AA") << "kept for the run";
    EXPECT_FALSE(m.SaveHashStore());
    EXPECT_TRUE(fs::is_empty(dir.path().toStdString()));
    fs::current_path(before);
}

TEST(SshBadServer, APeerThatClosesOrTalksGarbageFailsCleanlyWithAReason) {
    for (auto mode : {FakeInstrument::Mode::CloseAtOnce, FakeInstrument::Mode::Garbage}) {
        FakeInstrument bad(false, mode);
        QTemporaryDir dir;
        Client c(dir.path().toStdString() + "/", bad.port(), "admin", "admin");
        auto t0 = std::chrono::steady_clock::now();
        c.link.DoConnect();
        EXPECT_FALSE(c.link.IsConnected());
        EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(7));
        WaitFor([] { return false; }, 100);
        EXPECT_TRUE(c.logged("DoConnectExcept: "));
        EXPECT_TRUE(c.asked.empty());
    }
}

TEST(SshBadServer, NoHostKeyAlgorithmWeAcceptEndsBeforeAnyQuestion) {
    FakeInstrument dev;
    QTemporaryDir dir;
    ferrosim::SshServer::Config cfg;
    cfg.hostKeyFile = dir.path().toStdString() + "/rsa_key";
    cfg.framePort = dev.port();
    cfg.rsaKey = true;
    ferrosim::SshServer server(
        cfg, [](const std::string&, const std::string&) { return true; }, nullptr);
    std::string error;
    ASSERT_TRUE(server.Start(error)) << error;
    Client c(dir.path().toStdString() + "/", server.Port(), "admin", "admin");
    c.link.DoConnect();
    EXPECT_FALSE(c.link.IsConnected());
    WaitFor([] { return false; }, 100);
    EXPECT_TRUE(c.logged("DoConnectExcept: "));
    EXPECT_TRUE(c.asked.empty()) << "no key was offered that could be asked about";
    EXPECT_EQ(dev.framesReceived(), 0u);
}

TEST(SshLink, DisconnectEndsTheLinkAndSendsNothingMore) {
    SshRig rig;
    Client c(rig.root, rig.server->Port(), "admin", "admin");
    c.link.DoConnect();
    ASSERT_TRUE(WaitFor([&] { return c.done; }));
    size_t before = rig.dev.framesReceived();
    int closeRequests = 0;
    c.link.FRequestClose = [&](TSender) { ++closeRequests; };
    c.link.DoDisconnect(false);
    EXPECT_FALSE(c.link.IsConnected());
    EXPECT_TRUE(c.logged("SSH DoDisconnect 2"));
    // Our own close comes back to the disconnect handling, which asks the view to close.
    EXPECT_TRUE(WaitFor([&] { return closeRequests == 1; }, 3000));
    EXPECT_TRUE(c.logged("Wanted: True"));
    EXPECT_TRUE(c.shown.empty()) << "a close of our own is no line break";
    c.link.SendNamed("CCC_IDENTIFY_BASIC");
    WaitFor([] { return false; }, 200);
    EXPECT_EQ(rig.dev.framesReceived(), before);
}

TEST(SshLink, ALineLossIsToldAndTheViewAskedToCloseOnceTheUserReadIt) {
    SshRig rig;
    Client c(rig.root, rig.server->Port(), "admin", "admin");
    c.link.DoConnect();
    ASSERT_TRUE(WaitFor([&] { return c.done; }));
    int closeRequests = 0;
    c.link.FRequestClose = [&](TSender) { ++closeRequests; };
    rig.dev.dropLine();
    ASSERT_TRUE(WaitFor([&] { return closeRequests > 0; }, 5000));
    EXPECT_EQ(c.shown, std::vector<std::string>{"Verbindungsabbruch"});
    EXPECT_TRUE(c.logged("Terminating RedThread"));
    EXPECT_TRUE(c.logged("Wanted: False"));
    EXPECT_FALSE(c.link.IsConnected());
    EXPECT_EQ(closeRequests, 1);
}

TEST(SshLink, ASilentLineGetsAServerAliveMessageAfter25Seconds) {
    ManualClock clock;
    struct Installed {
        explicit Installed(Clock* c) { setClock(c); }
        ~Installed() { setClock(nullptr); }
    } installed(&clock);
    SshRig rig;
    Client c(rig.root, rig.server->Port(), "admin", "admin");
    c.link.DoConnect();
    ASSERT_TRUE(WaitFor([&] { return c.done; }));
    TSSHUnit& ssh = static_cast<TIdReadThreadTCPSSH*>(c.link.ReadThread())->SSH();
    WaitFor([] { return false; }, 200);
    const uint64_t before = ssh.BytesSent();
    clock.advance(20000);
    WaitFor([] { return false; }, 200);
    EXPECT_EQ(ssh.BytesSent(), before) << "not silent long enough";
    clock.advance(6000);
    EXPECT_TRUE(WaitFor([&] { return ssh.BytesSent() > before; }, 3000));
    const uint64_t after = ssh.BytesSent();
    WaitFor([] { return false; }, 200);
    EXPECT_EQ(ssh.BytesSent(), after) << "once per silent interval";
    EXPECT_TRUE(c.link.IsConnected());
}

TEST(SshUnit, ConnectAsyncAnswersOnItsWorkerAndARefusedLoginIsNotRetried) {
    SshRig rig;
    for (bool right : {true, false}) {
        TSSHUnit u;
        u.SetHost("127.0.0.1");
        u.SetPort(rig.server->Port());
        u.SetUsername("admin");
        u.SetPassword(right ? "admin" : "wrong");
        std::vector<std::string> log;
        u.FLogCB = [&](TSSHUnit*, const std::string& s) { log.push_back(s); };
        int asked = 0;
        u.FOnAuthFail = [&](TSSHUnit*, bool& cont) {
            ++asked;
            cont = false;
        };
        std::atomic<int> result{-1};
        std::thread::id where;
        u.ConnectAsync([&](bool ok) {
            where = std::this_thread::get_id();
            result = ok ? 1 : 0;
        });
        ASSERT_TRUE(WaitFor([&] { return result >= 0; }, 10000));
        EXPECT_EQ(result == 1, right);
        EXPECT_NE(where, std::this_thread::get_id());
        EXPECT_EQ(u.isConnected(), right);
        EXPECT_EQ(asked, right ? 0 : 1);
        EXPECT_EQ(bool(u.FCanceled), !right);
        EXPECT_EQ(AnyContains(log, "SSH Connect Exception: authentication failed"), !right);
    }
}

TEST(SshLink, PublicKeyLoginFromMemory) {
    SshRig rig;
    // A key pair made here; the public half goes to the instrument's authorized keys.
    ssh_key key = nullptr;
    ASSERT_EQ(ssh_pki_generate(SSH_KEYTYPE_ECDSA_P256, 256, &key), SSH_OK);
    char* pub = nullptr;
    char* priv = nullptr;
    ASSERT_EQ(ssh_pki_export_pubkey_base64(key, &pub), SSH_OK);
    ASSERT_EQ(ssh_pki_export_privkey_base64(key, nullptr, nullptr, nullptr, &priv), SSH_OK);
    std::string pubText = std::string("ecdsa-sha2-nistp256 ") + pub + " test@ferro";
    std::string privText = priv;
    ssh_string_free_char(pub);
    ssh_string_free_char(priv);
    ssh_key_free(key);
    rig.server->Stop();
    {
        std::ofstream(rig.root + "authorized_keys") << pubText << "\n";
        ferrosim::SshServer::Config cfg;
        cfg.hostKeyFile = rig.root + "ssh_host_ecdsa_key";
        cfg.authorizedKeys = rig.root + "authorized_keys";
        cfg.framePort = rig.dev.port();
        cfg.knownUser = [](const std::string& user) { return user == "admin"; };
        rig.server = std::make_unique<ferrosim::SshServer>(
            cfg, [](const std::string&, const std::string&) { return false; }, nullptr);
        std::string error;
        ASSERT_TRUE(rig.server->Start(error)) << error;
    }
    Client c(rig.root, rig.server->Port(), "admin", "");
    c.link.FSSHPublicKey = pubText;
    c.link.FSSHPrivateKey = privText;
    c.link.DoConnect();
    ASSERT_TRUE(c.link.IsConnected()) << "passwords are refused by this server: only the key can log in";
    ASSERT_TRUE(WaitFor([&] { return c.done; }));
    EXPECT_EQ(c.link.FSN, 777u);

    // The right key for a user the instrument does not have logs nobody in.
    Client stranger(rig.root, rig.server->Port(), "nobody", "");
    stranger.link.FSSHPublicKey = pubText;
    stranger.link.FSSHPrivateKey = privText;
    stranger.link.DoConnect();
    EXPECT_FALSE(stranger.link.IsConnected());
}

TEST(SshLink, QueuedFramesWakeTheLinkThread) {
    SshRig rig;
    Client c(rig.root, rig.server->Port(), "admin", "admin");
    c.link.DoConnect();
    ASSERT_TRUE(WaitFor([&] { return c.done; }));
    // A thread that let a queued frame wait out its 10 ms idle turn would take about that long for
    // every exchange: count the exchanges that took half of it, not the time of all fifty, so a
    // busy machine's odd stall does not fail the test.
    auto accepted = [&] {
        return std::count_if(c.log.begin(), c.log.end(),
                             [](const std::string& l) { return l.rfind("ComUnit Accept Cmd=2 ", 0) == 0; });
    };
    const auto before = accepted();
    int slow = 0;
    for (int i = 0; i < 50; ++i) {
        auto t0 = std::chrono::steady_clock::now();
        c.link.SendNamed("CCC_IDENTIFY_BASIC");
        ASSERT_TRUE(WaitFor([&] { return !c.link.FWaitForAnswer; }, 2000));
        slow += std::chrono::steady_clock::now() - t0 >= std::chrono::milliseconds(5);
    }
    EXPECT_LT(slow, 25) << "exchanges that waited half an idle turn or more";
    EXPECT_EQ(accepted(), before + 50) << "every exchange really went over the line";
}
