// The FTP road: with the FTP bit a request answers with a path, and the FTP server that ferrosim
// starts serves exactly the tree's bytes under it; setup uploads through FTP; the server goes with us.
#include "SimHarness.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace simtest;

namespace {

constexpr uint16_t kFtp = 1, kGz = 4;

size_t collect(char* data, size_t size, size_t n, void* out) {
    auto* bytes = static_cast<Bytes*>(out);
    bytes->insert(bytes->end(), data, data + size * n);
    return size * n;
}

struct Upload {
    const Bytes* bytes;
    size_t at = 0;
};

size_t supply(char* buf, size_t size, size_t n, void* in) {
    auto* up = static_cast<Upload*>(in);
    size_t take = std::min(size * n, up->bytes->size() - up->at);
    std::memcpy(buf, up->bytes->data() + up->at, take);
    up->at += take;
    return take;
}

std::string url(uint16_t port, const std::string& path) {
    return "ftp://127.0.0.1:" + std::to_string(port) + "/" + path;
}

// Anonymous, passive, binary, as the client does it; false on any FTP error.
bool ftpGet(uint16_t port, const std::string& path, Bytes& out) {
    CURL* curl = curl_easy_init();
    curl_easy_setopt(curl, CURLOPT_URL, url(port, path).c_str());
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collect);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &out);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 20L);
    CURLcode rc = curl_easy_perform(curl);
    curl_easy_cleanup(curl);
    return rc == CURLE_OK;
}

bool ftpPut(uint16_t port, const std::string& path, const Bytes& bytes) {
    Upload up{&bytes};
    CURL* curl = curl_easy_init();
    curl_easy_setopt(curl, CURLOPT_URL, url(port, path).c_str());
    curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(curl, CURLOPT_READFUNCTION, supply);
    curl_easy_setopt(curl, CURLOPT_READDATA, &up);
    curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, curl_off_t(bytes.size()));
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 20L);
    CURLcode rc = curl_easy_perform(curl);
    curl_easy_cleanup(curl);
    return rc == CURLE_OK;
}

bool accepts(uint16_t port) {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool ok = ::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) == 0;
    ::close(fd);
    return ok;
}

class FtpSim {
public:
    explicit FtpSim(const std::function<void(const std::string&)>& prepare = nullptr)
        : sim("", prepare ? prepare : [](const std::string&) {}, {"--ftp-port", "0"}) {
        const std::string line = sim.stdoutLine();
        const std::string prefix = "ftp on 127.0.0.1:";
        if (line.rfind(prefix, 0) == 0) port = uint16_t(std::stoi(line.substr(prefix.size())));
    }
    Sim sim;
    uint16_t port = 0;
};

Bytes pattern(size_t n) {
    Bytes b(n);
    for (size_t i = 0; i < n; ++i)
        b[i] = uint8_t((i * 7 + i / 301) & 0xFF);
    return b;
}

} // namespace

TEST(SimFtp, ListingsAndFilesArriveAsPathsServedByteForByte) {
    FtpSim f([](const std::string& root) {
        writeBytes(root + "/flashdrive0/data/rec/sync/10min-0-1700000000.rec", pattern(300000));
    });
    ASSERT_NE(f.port, 0);
    RawClient c(f.sim.port());
    c.openPlain();

    const std::string plainListing = str(c.request(plain(5, 0, 0)).bytes);
    Frame ls = c.request(plain(5, 0, 0, kFtp | kGz));
    ASSERT_FALSE(ls.nak());
    const std::string lsPath = str(ls.bytes);
    EXPECT_EQ(lsPath, "ramdrive0/ccci/rec-listing.txt");
    Bytes fetched;
    ASSERT_TRUE(ftpGet(f.port, lsPath, fetched));
    EXPECT_EQ(std::string(fetched.begin(), fetched.end()), plainListing);

    Frame evt = c.request(plain(5, 0, 0x10, kFtp));
    EXPECT_EQ(str(evt.bytes), "ramdrive0/ccci/evt-listing.txt");

    Frame file = c.request(named(5, 1, "sync/10min-0-1700000000.rec", 0, kFtp | kGz));
    ASSERT_FALSE(file.nak());
    EXPECT_EQ(str(file.bytes), "flashdrive0/data/rec/sync/10min-0-1700000000.rec");
    Bytes rec;
    ASSERT_TRUE(ftpGet(f.port, str(file.bytes), rec));
    EXPECT_EQ(rec, fileBytes(f.sim.data() + "/rec/sync/10min-0-1700000000.rec"));

    const std::string evtName = "Dip-1763772600-250000000.evt";
    Bytes ev;
    ASSERT_TRUE(ftpGet(f.port, str(c.request(named(5, 0x11, evtName, 0, kFtp)).bytes), ev));
    EXPECT_EQ(ev, fileBytes(f.sim.data() + "/evt/" + evtName));

    EXPECT_EQ(str(c.request(plain(5, 0, 0x22, kFtp)).bytes), "flashdrive0/data/logd.log");
    Bytes png;
    ASSERT_TRUE(ftpGet(f.port, str(c.request(plain(5, 0, 0x21, kFtp)).bytes), png));
    EXPECT_EQ(Bytes(png.begin(), png.begin() + 4), (Bytes{0x89, 'P', 'N', 'G'}));

    // Bad names and missing files are refused as without FTP; a wrong path gets nothing from FTP.
    EXPECT_EQ(c.request(named(5, 1, "../setup/setup.xml", 0, kFtp)).code(), 3u);
    EXPECT_EQ(c.request(named(5, 1, "sync/none.rec", 0, kFtp)).code(), 2u);
    Bytes none;
    EXPECT_FALSE(ftpGet(f.port, "flashdrive0/data/rec/none.rec", none));
    EXPECT_TRUE(none.empty());
}

TEST(SimFtp, SetupReadsAreStagedAndUploadedSetupsAreApplied) {
    FtpSim f;
    ASSERT_NE(f.port, 0);
    RawClient c(f.sim.port());
    c.openPlain();
    Frame rd = c.request(plain(3, 0, 1, kFtp | kGz));
    ASSERT_FALSE(rd.nak());
    EXPECT_EQ(str(rd.bytes), "ramdrive0/ccci/setup.xml.gz");
    Bytes packed;
    ASSERT_TRUE(ftpGet(f.port, str(rd.bytes), packed));
    EXPECT_EQ(gunzip(packed), fileBytes(f.sim.data() + "/setup/setup.xml"));
    EXPECT_EQ(str(c.request(plain(3, 0, 0, kFtp)).bytes), "ramdrive0/ccci/setup-listing.xml");

    // The client puts the file into /ramdrive0/ccci, then names it in a setup write with the FTP bit.
    const std::string xml = "<usrMan><appl name=\"pqAppl\"/><!-- via ftp --></usrMan>";
    ASSERT_TRUE(ftpPut(f.port, "ramdrive0/ccci/MySetup.xml.gz", gzipBytes(Bytes(xml.begin(), xml.end()))));
    Bytes wr = head(3, 1, 3, 88, kFtp | kGz);
    const std::string name = "MySetup.xml.gz";
    for (size_t i = 0; i < 64; ++i)
        wr.push_back(i < name.size() ? uint8_t(name[i]) : 0);
    put32(wr, 0);
    Frame ack = c.request(wr);
    EXPECT_FALSE(ack.nak());
    EXPECT_EQ(ack.ext(), 3);
    Bytes now = fileBytes(f.sim.data() + "/setup/setup.xml");
    EXPECT_EQ(std::string(now.begin(), now.end()), xml);

    // Only names in the staging folder count: a path is cut off, ".." refused, a missing file too.
    Bytes bad = wr;
    std::memcpy(bad.data() + 20, "..\0", 3);
    EXPECT_EQ(c.request(bad).code(), 3u);
    std::memcpy(bad.data() + 20, "../data/setup/setup.xml\0", 24);
    EXPECT_EQ(c.request(bad).code(), 2u);
    std::memcpy(bad.data() + 20, "missing.xml\0", 12);
    EXPECT_EQ(c.request(bad).code(), 2u);
    now = fileBytes(f.sim.data() + "/setup/setup.xml");
    EXPECT_EQ(std::string(now.begin(), now.end()), xml);
}

TEST(SimFtp, TheServerStopsWithTheSimulator) {
    uint16_t port = 0;
    {
        FtpSim f;
        port = f.port;
        ASSERT_NE(port, 0);
        EXPECT_TRUE(accepts(port));
    }
    bool gone = false;
    for (int k = 0; k < 50 && !gone; ++k) {
        gone = !accepts(port);
        if (!gone) ::usleep(100000);
    }
    EXPECT_TRUE(gone);
}
