// ferroctl flash against ferrosim, and the instrument's check of an image against its manifest.
#include "FlashFiles.h"
#include "ferrosim/FirmwareImage.h"
#include "support/SimProcess.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace ferro::test;
namespace fs = std::filesystem;

TEST(FlashImage, TheInstrumentTakesAMadeImageAndRefusesADamagedOne) {
    QTemporaryDir dir;
    const std::string good = ImageOf(MakeUpdate(dir, "2.3.1", "12"));
    ASSERT_FALSE(good.empty());
    ferro::sim::ImageCheck ok =
        ferro::sim::CheckFirmwareImage(ferro::sim::Bytes(good.begin(), good.end()), 1);
    EXPECT_EQ(ok.code, 0) << ok.reason;
    EXPECT_EQ(ok.word, 0x0203010Cu);
    QTemporaryDir other;
    const std::string bad = ImageOf(MakeUpdate(other, "2.3.1", "12", true));
    ferro::sim::ImageCheck refused =
        ferro::sim::CheckFirmwareImage(ferro::sim::Bytes(bad.begin(), bad.end()), 1);
    EXPECT_EQ(refused.code, 13);
    EXPECT_NE(refused.reason.find("rootfs.img"), std::string::npos);
    ferro::TUpdateArchive a;
    std::string error;
    EXPECT_FALSE(ferro::UnpackUpdateArchive(dir.filePath("keine.zip").toStdString(),
                                            dir.filePath("x").toStdString(), a, error));
    EXPECT_NE(error.find("kann nicht gelesen werden"), std::string::npos);
}

TEST(CtlFlash, UpdatesWithBackupAndTellsAHangingRebootAndACutUpload) {
    SimProcess ok({"--reboot-ms", "300", "--ftp-port", "0"}), hang({"--faults", "reboot-hang"}),
        cut({"--faults", "cutup:200000"});
    ASSERT_TRUE(ok.ok() && hang.ok() && cut.ok());
    QTemporaryDir dir;
    const std::string zip = MakeUpdate(dir, "2.3.1", "12");
    const std::string backups = dir.filePath("b").toStdString();
    CtlResult asked = RunCtl({"flash", zip, "--port", std::to_string(ok.port())});
    EXPECT_EQ(asked.code, 1) << "without --yes and without a terminal nothing is updated";
    EXPECT_NE(asked.err.find("Abgebrochen."), std::string::npos);

    // The files go up by FTP here.
    CtlResult r = RunCtl({"flash", zip, "--backup", backups, "--yes", "--port", std::to_string(ok.port()),
                          "--ftp", "--ftp-port", std::to_string(ok.ftpPort())});
    EXPECT_EQ(r.code, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("Ferro Recorder Firmware 2.3.1 (Build 12)"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("OK – Firmware 2.3.1.12"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("1 von 1 Geräten aktualisiert."), std::string::npos);
    EXPECT_FALSE(fs::is_empty(backups));
    EXPECT_TRUE(fs::exists(ok.root() + "/flashdrive0/data/ccci/scratchpad/ferro-fw-2.3.1-12.sha256"));

    const std::string hangAt = "127.0.0.1:" + std::to_string(hang.port());
    const std::string cutAt = "tcp://127.0.0.1:" + std::to_string(cut.port());
    CtlResult bad = RunCtl({"flash", zip, "--yes", "--reboot-timeout", "3", hangAt, cutAt}, 120000);
    EXPECT_EQ(bad.code, 1);
    EXPECT_NE(
        bad.out.find(
            hangAt +
            ": Fehler – Update fehlgeschlagen: Das Gerät hat sich nach dem Neustart nicht innerhalb von 3 s"),
        std::string::npos)
        << bad.out;
    EXPECT_NE(bad.out.find(cutAt + ": Fehler – Verbindung während des Updates unterbrochen"),
              std::string::npos)
        << bad.out;
    EXPECT_NE(bad.out.find("0 von 2 Geräten aktualisiert."), std::string::npos);
    CtlResult id = RunCtl({"identify", "--port", std::to_string(cut.port())});
    EXPECT_NE(id.out.find("V2.2.1.5"), std::string::npos) << "the old firmware runs on: " << id.out;
}
