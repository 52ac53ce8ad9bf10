// The FTP road: with the FTP bit a request answers with a path, and the FTP server that ferrosim
// starts serves exactly the tree's bytes under it; setup uploads through FTP; the server goes with us.
#include "SimHarness.h"
#include "ferrosim/Compression.h"

#include <curl/curl.h>

#include <filesystem>
#include <gtest/gtest.h>

#include <sstream>

#include <unistd.h>

using namespace simtest;

namespace {

constexpr uint16_t kFtp = 1, kGz = 4;

size_t collect(char* data, size_t size, size_t n, void* out) {
    static_cast<Bytes*>(out)->insert(static_cast<Bytes*>(out)->end(), data, data + size * n);
    return size * n;
}

size_t supply(char* buf, size_t size, size_t n, void* in) {
    auto* up = static_cast<std::pair<const Bytes*, size_t>*>(in);
    size_t take = std::min(size * n, up->first->size() - up->second);
    std::memcpy(buf, up->first->data() + up->second, take);
    up->second += take;
    return take;
}

// Anonymous, passive, binary, as the client does it; a get fills `data`, a put sends it. False on
// any FTP error.
bool ftp(uint16_t port, const std::string& path, Bytes& data, bool put = false) {
    std::pair<const Bytes*, size_t> up{&data, 0};
    CURL* curl = curl_easy_init();
    curl_easy_setopt(curl, CURLOPT_URL, ("ftp://127.0.0.1:" + std::to_string(port) + "/" + path).c_str());
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 20L);
    if (put) {
        curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(curl, CURLOPT_READFUNCTION, supply);
        curl_easy_setopt(curl, CURLOPT_READDATA, &up);
        curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, curl_off_t(data.size()));
    } else {
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collect);
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, &data);
    }
    CURLcode rc = curl_easy_perform(curl);
    curl_easy_cleanup(curl);
    return rc == CURLE_OK;
}

class FtpSim {
public:
    explicit FtpSim(const std::function<void(const std::string&)>& prepare = nullptr)
        : sim("", prepare ? prepare : [](const std::string&) {}, {"--ftp-port", "0"}), port(sim.ftpPort()) {}
    Sim sim;
    uint16_t port = 0;
};

} // namespace

TEST(SimFtp, ListingsAndFilesArriveAsPathsServedByteForByte) {
    FtpSim f([](const std::string& root) {
        writeBytes(root + "/flashdrive0/data/rec/sync/10min-0-1700000000.rec", Bytes(300000, 0x5A));
        std::filesystem::create_directories(root + "/ssh"); // as the SSH service leaves it
    });
    ASSERT_NE(f.port, 0);
    RawClient c(f.sim.port());
    c.openPlain();

    const std::string plainListing = str(c.request(plain(5, 0, 0)).bytes);
    const std::string lsPath = str(c.request(plain(5, 0, 0, kFtp | kGz)).bytes);
    EXPECT_EQ(lsPath, "ramdrive0/ccci/rec-listing.txt");
    Bytes fetched;
    ASSERT_TRUE(ftp(f.port, lsPath, fetched));
    // The recorder's open files (".log") grow between the two listings; the rest is the same.
    auto fixed = [](const std::string& listing) {
        std::string out;
        std::istringstream in(listing);
        for (std::string line; std::getline(in, line);)
            if (line.find(".log;") == std::string::npos) out += line + "\n";
        return out;
    };
    EXPECT_EQ(fixed(str(fetched, 0)), fixed(plainListing));

    EXPECT_EQ(str(c.request(plain(5, 0, 0x10, kFtp)).bytes), "ramdrive0/ccci/evt-listing.txt");

    const std::string recPath =
        str(c.request(named(5, 1, "sync/10min-0-1700000000.rec", 0, kFtp | kGz)).bytes);
    EXPECT_EQ(recPath, "flashdrive0/data/rec/sync/10min-0-1700000000.rec");
    Bytes rec;
    ASSERT_TRUE(ftp(f.port, recPath, rec));
    EXPECT_EQ(rec, fileBytes(f.sim.data() + "/rec/sync/10min-0-1700000000.rec"));

    EXPECT_EQ(str(c.request(plain(5, 0, 0x22, kFtp)).bytes), "flashdrive0/data/logd.log");
    Bytes png;
    ASSERT_TRUE(ftp(f.port, str(c.request(plain(5, 0, 0x21, kFtp)).bytes), png));
    EXPECT_EQ(Bytes(png.begin(), png.begin() + 4), (Bytes{0x89, 'P', 'N', 'G'}));

    // Bad names and missing files are refused as without FTP; a wrong path gets nothing from FTP.
    EXPECT_EQ(c.request(named(5, 1, "../setup/setup.xml", 0, kFtp)).code(), 3u);
    EXPECT_EQ(c.request(named(5, 1, "sync/none.rec", 0, kFtp)).code(), 2u);
    Bytes none;
    EXPECT_FALSE(ftp(f.port, "flashdrive0/data/rec/none.rec", none));
    EXPECT_TRUE(none.empty());

    // The simulator's own files in the tree are no instrument files: FTP neither gives nor takes them.
    Bytes secret;
    EXPECT_FALSE(ftp(f.port, "profile.json", secret));
    EXPECT_TRUE(secret.empty());
    Bytes key = {'k', 'e', 'y', '\n'};
    EXPECT_FALSE(ftp(f.port, "ssh/authorized_keys", key, true));
    EXPECT_FALSE(std::filesystem::exists(f.sim.root() + "/ssh/authorized_keys"));
    Bytes listing;
    ASSERT_TRUE(ftp(f.port, "", listing));
    EXPECT_EQ(str(listing).find("profile.json"), std::string::npos) << str(listing);
    EXPECT_NE(str(listing).find("flashdrive0"), std::string::npos) << str(listing);
}

TEST(SimFtp, SetupsAreStagedUploadedAndTheServerStopsWithTheSimulator) {
    uint16_t port = 0;
    {
        FtpSim f;
        ASSERT_NE(f.port, 0);
        RawClient c(f.sim.port());
        c.openPlain();
        const std::string setupPath = str(c.request(plain(3, 0, 1, kFtp | kGz)).bytes);
        EXPECT_EQ(setupPath, "ramdrive0/ccci/setup.xml.gz");
        Bytes packed;
        ASSERT_TRUE(ftp(f.port, setupPath, packed));
        EXPECT_EQ(gunzip(packed), fileBytes(f.sim.data() + "/setup/setup.xml"));
        EXPECT_EQ(str(c.request(plain(3, 0, 0, kFtp)).bytes), "ramdrive0/ccci/setup-listing.xml");

        // The client puts the file into /ramdrive0/ccci, then names it in a setup write with the FTP bit.
        const std::string xml = "<usrMan><appl name=\"pqAppl\"/><!-- via ftp --></usrMan>";
        Bytes upload = ferro::sim::Compression::gzip(Bytes(xml.begin(), xml.end()));
        ASSERT_TRUE(ftp(f.port, "ramdrive0/ccci/MySetup.xml.gz", upload, true));
        Bytes wr = named(3, 3, "MySetup.xml.gz", 0, kFtp | kGz);
        wr[1] = 1; // privileged
        Frame ack = c.request(wr);
        EXPECT_TRUE(ack.ack());
        EXPECT_EQ(ack.ext(), 3);
        EXPECT_EQ(str(fileBytes(f.sim.data() + "/setup/setup.xml"), 0), xml);

        // Only names in the staging folder count: a path is cut off, ".." refused, a missing file too.
        Bytes bad = wr;
        std::memcpy(bad.data() + 20, "..\0", 3);
        EXPECT_EQ(c.request(bad).code(), 3u);
        std::memcpy(bad.data() + 20, "../data/setup/setup.xml\0", 24);
        EXPECT_EQ(c.request(bad).code(), 2u);
        std::memcpy(bad.data() + 20, "missing.xml\0", 12);
        EXPECT_EQ(c.request(bad).code(), 2u);
        EXPECT_EQ(str(fileBytes(f.sim.data() + "/setup/setup.xml"), 0), xml);
        port = f.port;
    }
    bool gone = false;
    for (int k = 0; k < 50 && !gone; ++k) {
        gone = !RawClient(port).connected();
        if (!gone) ::usleep(100000);
    }
    EXPECT_TRUE(gone);
}
