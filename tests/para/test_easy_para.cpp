// The logic of the basic settings and time pages on the instrument's own setup: transformer
// arithmetic and its plausibility, display units against stored units, and the time zone's ids.
#include "para/EasyPara.h"
#include "para/ParaHelper.h"
#include "para/SetupDocument.h"
#include "para/XMLLangu.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace ferro;

namespace {

struct Rig {
    TSetupDocument doc;
    TXMLLangu lang;
    TEasyPara easy;
    std::vector<std::string> messages;
    Rig() {
        EXPECT_TRUE(
            doc.LoadFromFile(FERRO_SOURCE_DIR "/fixtures/instrument/flashdrive0/data/setup/setup.xml"));
        EXPECT_TRUE(lang.SetLangFile(
            FERRO_SOURCE_DIR "/fixtures/instrument/flashdrive0/data/ccci/scratchpad/lang/lang_de.xml"));
        easy.Reset(&doc, &lang, 0, 2, ',');
        easy.FMessage = [this](const std::string& m) { messages.push_back(m); };
        for (uint32_t id : {easyid::OsciRate, easyid::Frequency, easyid::OsciMin, easyid::OsciMax,
                            easyid::OsciPre, easyid::TrmsMin, easyid::TrmsMax, easyid::TrmsPre,
                            easyid::SekNennStrom, easyid::WLFU, easyid::WLFI, easyid::NormLLSp,
                            easyid::SekNennSpannung, easyid::Netzform, easyid::CurrentFirst})
            easy.Bind(id);
        for (uint32_t i = 0; i < 4; ++i) {
            easy.Bind(easyid::WLKFU1 + 256 * i);
            easy.Bind(easyid::WLKFI1 + 256 * i);
        }
        for (uint32_t id : tzid::All)
            easy.Bind(id);
        easy.FillWandler();
    }
    std::string Stored(uint32_t Id) {
        pugi::xml_node n;
        std::string parent;
        return doc.GetNode(Id, n, parent) ? GetNodeValue(n, ".//value") : "?";
    }
    void Set(uint32_t Id, const std::string& V) {
        bool corrected = false;
        ASSERT_TRUE(easy.SetStoredVal(V, Id, corrected));
    }
};

} // namespace

TEST(EasyPara, TransformerFactorsCorrectionsAndTheOnePlausibilityWarning) {
    TWandlerRec w;
    float ratios[] = {100, 100, 100, 50};
    std::copy(ratios, ratios + 4, w.WFU);
    w.WFI[0] = -200;
    w.WFI[1] = 100;
    w.CalcInputs();
    EXPECT_EQ(w.WLFU, 100);
    EXPECT_EQ(w.WLKFU[0], 1);
    EXPECT_EQ(w.WLKFU[3], 0.5f);
    EXPECT_EQ(w.WLFI, 200) << "the absolute value leads";
    EXPECT_EQ(w.WLKFI[0], -1) << "the sign stays in the correction";
    EXPECT_EQ(w.WLKFI[1], 0.5f);

    // Three wires: ratios back to 1 and 100 V; four wires again: 230 V.
    EXPECT_EQ(w.ChangeNetzform(nf3L), 4);
    EXPECT_EQ(w.WFU[3], 1);
    EXPECT_EQ(w.WLFU, 1);
    EXPECT_EQ(w.NennSpannungLL, 100);
    EXPECT_EQ(w.SekNennSpannung, 100);
    EXPECT_EQ(w.ChangeNetzform(nf4L3Pf), 0);
    EXPECT_EQ(w.NennSpannungLE, 230);
    EXPECT_EQ(w.NormLLSp, 100);
    EXPECT_EQ(w.ChangeNetzform(nf4L1ph), -1);

    // A voltage transformer 20000/100 V at 20 kV between lines: stored as factor and corrections.
    Rig r;
    r.easy.FWandlerRec.ChangeNetzform(nf3L);
    for (float& f : r.easy.FWandlerRec.WFU)
        f = 200;
    r.easy.FWandlerRec.CalcInputs();
    ASSERT_TRUE(r.easy.WriteWandler(nullptr, "20000"));
    EXPECT_EQ(r.Stored(easyid::WLFU), "200");
    EXPECT_EQ(r.Stored(easyid::WLKFU1 + 768), "1");
    EXPECT_EQ(r.Stored(easyid::NormLLSp), "100");
    EXPECT_EQ(r.Stored(easyid::SekNennSpannung), "100");
    // 20 kV on 230 V secondaries is below NormLLSp's 50 %: clipped, the secondary voltage worked back.
    r.easy.FWandlerRec.SekNennSpannung = 230;
    ASSERT_TRUE(r.easy.WriteWandler(nullptr, "20000"));
    EXPECT_EQ(r.Stored(easyid::NormLLSp), "50");
    EXPECT_EQ(r.Stored(easyid::SekNennSpannung), "200");
    EXPECT_TRUE(r.messages.empty());

    // All four factors 0: refused with one warning, the document as it was.
    const size_t changes = r.doc.ChangeList().size();
    for (float& f : r.easy.FWandlerRec.WFU)
        f = 0;
    r.easy.FWandlerRec.CalcInputs();
    EXPECT_EQ(r.easy.FWandlerRec.WLFU, 0);
    EXPECT_TRUE(std::isnan(r.easy.FWandlerRec.WLKFU[0]));
    EXPECT_FALSE(r.easy.WriteWandler(nullptr, "20000"));
    ASSERT_EQ(r.messages.size(), 1u);
    EXPECT_NE(r.messages[0].find("unplausibel"), std::string::npos);
    EXPECT_EQ(r.Stored(easyid::WLFU), "200");
    EXPECT_EQ(r.doc.ChangeList().size(), changes);
}

TEST(EasyPara, PageUnitsAgainstDocumentUnits) {
    Rig r;
    EXPECT_EQ(HarmonicLimitId(50), 0x0D143000u);
    EXPECT_EQ(HarmonicLimitId(2), 0x0D140000u);

    // Half periods: 40 are 400 ms at 50 Hz and 333 ms at 60 Hz; the stored count stays.
    r.Set(easyid::TrmsMin, "40");
    EXPECT_EQ(r.easy.GetSpecialVal(easyid::TrmsMin), "400");
    r.Set(easyid::Frequency, "1"); // the list's "60 Hz"
    EXPECT_EQ(r.easy.GetSpecialVal(easyid::TrmsMin), "333");
    std::string shown;
    bool corrected = false;
    ASSERT_TRUE(r.easy.SetSpecialVal("500", easyid::TrmsMin, shown, corrected));
    EXPECT_EQ(r.Stored(easyid::TrmsMin), "60");

    // Samples: the rate changes the ms shown, not the samples stored.
    EXPECT_EQ(r.easy.GetSpecialVal(easyid::OsciMin), "100"); // 1024 at 10240/s
    r.Set(easyid::OsciRate, "20480");
    EXPECT_EQ(r.easy.GetSpecialVal(easyid::OsciMin), "50");
    EXPECT_EQ(r.Stored(easyid::OsciMin), "1024");
    // Out of limits in ms: the message tells the limits in ms, the corrected value is stored.
    ASSERT_TRUE(r.easy.SetSpecialVal("1", easyid::OsciMin, shown, corrected));
    EXPECT_TRUE(corrected);
    EXPECT_EQ(r.Stored(easyid::OsciMin), "256");
    EXPECT_EQ(shown, "12"); // 256 samples at 20480/s are 12.5 ms: half to even
    ASSERT_EQ(r.messages.size(), 1u);
    EXPECT_NE(r.messages[0].find("Minimaler Wert: 12\n"), std::string::npos) << r.messages[0];
    // Pre-history above the minimum: warned, kept.
    ASSERT_TRUE(r.easy.SetSpecialVal("20", easyid::OsciPre, shown, corrected));
    EXPECT_FALSE(r.easy.CheckLengths(easyid::OsciPre));
    EXPECT_EQ(r.Stored(easyid::OsciPre), "410");
    EXPECT_NE(r.messages.back().find("nicht Schlüssig"), std::string::npos);

    // Percent thresholds in amperes follow the nominal current; the stored percent does not move.
    r.easy.FAmpDisplay = true;
    r.easy.UpdateNennStrom(); // 5 A secondary, factor 1
    EXPECT_EQ(r.easy.GetSpecialVal(easyid::CurrentFirst), "0,5");
    r.easy.FWandlerRec.WLFI = 100;
    r.easy.UpdateNennStrom();
    EXPECT_EQ(r.easy.GetSpecialVal(easyid::CurrentFirst), "50");
    ASSERT_TRUE(r.easy.SetSpecialVal("125", easyid::CurrentFirst, shown, corrected));
    EXPECT_EQ(r.Stored(easyid::CurrentFirst), "25");
    EXPECT_EQ(r.doc.ChangeList().count(ChangeKey("253165568", "4261413904")), 1u);
}

TEST(EasyPara, TimeZonesAndTheirSetupIds) {
    auto value = [](const std::vector<std::pair<uint32_t, uint32_t>>& V, uint32_t Id) -> int {
        for (const auto& [id, v] : V)
            if (id == Id) return int(v);
        return -1;
    };
    TTZI india;
    ASSERT_TRUE(ZoneToTZI("Asia/Kolkata", 2026, india));
    EXPECT_EQ(india.Bias, -330);
    auto v = ZoneSettingValues(india);
    EXPECT_EQ(value(v, tzid::Sign), 0);
    EXPECT_EQ(value(v, tzid::Hours), 5);
    EXPECT_EQ(value(v, tzid::Minutes), 30);
    EXPECT_EQ(value(v, tzid::Dst), 0) << "no daylight saving";
    EXPECT_EQ(value(v, tzid::EndMonth), -1) << "the months are left as they were";
    EXPECT_EQ(value(v, tzid::StartMonth), -1);
    TTZI west;
    west.Bias = 60;
    v = ZoneSettingValues(west);
    EXPECT_EQ(value(v, tzid::Sign), 1);
    EXPECT_EQ(value(v, tzid::Hours), 1);
    EXPECT_EQ(value(v, tzid::Minutes), 0);

    TTZI berlin;
    ASSERT_TRUE(ZoneToTZI("Europe/Berlin", 2026, berlin));
    EXPECT_EQ(berlin.Bias, -60);
    EXPECT_EQ(berlin.daylightDate.Month, 3);
    EXPECT_EQ(berlin.daylightDate.Day, 5);
    EXPECT_EQ(berlin.daylightDate.Hour, 2);
    EXPECT_EQ(berlin.Standarddate.Hour, 3);
    v = ZoneSettingValues(berlin);
    EXPECT_EQ(value(v, tzid::EndDay), 25) << "the last week of a 31-day month";
    EXPECT_EQ(value(v, tzid::EndWeekday), 7) << "Sunday";
    EXPECT_EQ(DayCodeOfWeek(5, 2), 22u);
    EXPECT_EQ(WeekOfDayCode(14), 3);
    EXPECT_EQ(WeekOfDayCode(25), 5);
    TTZI sydney;
    ASSERT_TRUE(ZoneToTZI("Australia/Sydney", 2026, sydney));
    EXPECT_EQ(sydney.daylightDate.Month, 10);
    EXPECT_EQ(sydney.Standarddate.Month, 4);

    // Two zones with the same Bias: the full match wins; without one the first stays.
    std::vector<TTimeZoneSettings> zones(3);
    zones[0].Settings.Bias = -60; // no daylight saving
    zones[1].Settings = berlin;
    zones[2].Settings.Bias = 0;
    bool full = false;
    EXPECT_EQ(FindZone(zones, berlin, &full), 1);
    EXPECT_TRUE(full);
    TTZI other = berlin;
    other.daylightDate.Month = 4;
    EXPECT_EQ(FindZone(zones, other, &full), 0);
    EXPECT_FALSE(full);

    // Written into the setup and read back as the instrument's zone.
    Rig r;
    r.easy.WriteZone(berlin);
    EXPECT_EQ(r.Stored(tzid::Sign), "0");
    EXPECT_EQ(r.Stored(tzid::EndDay), "25");
    const TTZI device = r.easy.DeviceZone();
    EXPECT_EQ(device.Bias, -60);
    EXPECT_EQ(FindZone(zones, device, &full), 1);
    r.easy.WriteZone(india);
    EXPECT_EQ(r.Stored(tzid::Dst), "0");
    EXPECT_EQ(r.Stored(tzid::EndMonth), "10");
    const std::vector<TTimeZoneSettings> all = ReadTimeZones(2026);
    ASSERT_GT(all.size(), 300u);
    const auto berlinAt =
        std::find_if(all.begin(), all.end(), [](auto& z) { return z.Name == "Europe/Berlin"; });
    ASSERT_NE(berlinAt, all.end());
    EXPECT_NE(berlinAt->Display.find("(UTC+01:00) Europe/Berlin - Mitteleuropäische"), std::string::npos)
        << berlinAt->Display;
}
