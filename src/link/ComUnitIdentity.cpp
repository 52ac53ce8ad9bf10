// Session reply, identity, local data folders and the device clock of TComUnit.
#include "link/ComUnit.h"

#include "foundation/Format.h"
#include "link/IdentityLayout.h"

#include <cmath>
#include <ctime>
#include <filesystem>

namespace ferro {

namespace {

int64_t daysFromCivil(int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = unsigned(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + int64_t(doe) - 719468;
}

const int64_t kDateTimeZeroDays = daysFromCivil(1899, 12, 30);

double encodeDate(int y, unsigned m, unsigned d) {
    return double(daysFromCivil(y, m, d) - kDateTimeZeroDays);
}

bool isLeap(int y) {
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

unsigned daysInMonth(int y, unsigned m) {
    static const unsigned dm[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && isLeap(y) ? 29 : dm[m - 1];
}

// The date-time 0 (1899-12-30) moved on by whole years or months, day clamped to the month's end.
double incYearFromZero(int years) {
    return encodeDate(1899 + years, 12, 30);
}
double incMonthFromZero(int months) {
    int total = 11 + months; // December 1899 is month index 11
    int y = 1899 + total / 12;
    unsigned m = unsigned(total % 12) + 1;
    unsigned d = 30 < daysInMonth(y, m) ? 30 : daysInMonth(y, m);
    return encodeDate(y, m, d);
}

int yearOf(double dateTime) {
    std::time_t t = std::time_t(std::floor(DateTimeToUnix(dateTime)));
    std::tm tm{};
    gmtime_r(&t, &tm);
    return tm.tm_year + 1900;
}

std::string dateText(uint32_t secs) {
    std::time_t t = std::time_t(secs);
    std::tm tm{};
    gmtime_r(&t, &tm);
    char buf[32];
    std::strftime(buf, sizeof buf, "%d.%m.%Y %H:%M:%S", &tm);
    return buf;
}

double ruleDate(int y, const time_rule_t& r) {
    return incYearFromZero(y) + incMonthFromZero(r.mon) + double(r.day) + double(r.hour) / 24.0;
}

} // namespace

TDevType TComUnit::DevTypeFromArticle(uint32_t a) {
    if (a >= 2400500 && a <= 2400599) return devtypFerro;
    if (a >= 2400600 && a <= 2400699) return devtypFerroNimbus;
    if (a >= 2400800 && a <= 2400899) return devtypFerroDE;
    if (a == 810000101) return devtypQuartz;
    return devtypFerro;
}

void TComUnit::SessionCommand(MemStream& Stream) {
    FVer = FHead.Ver;
    Stream.setPosition(CHeadSize);
    if (FVer < 5) {
        FUser = Stream.readFixedText(64);
        FPAss = Stream.readFixedText(64);
        WriteLog(Fmt("ComUnit User: %s Pass: %s", FUser.c_str(), FPAss.c_str()));
    }
    Stream.setPosition(FHead.Size);
    ClearStreamAndBuffer();
    if (FHead.ExtCmd == CExtStop) {
        // The instrument ended the session: nothing more goes out. On a serial line a request
        // now would reach it outside any session and be refused.
        WriteLog("Session stopped");
        return;
    }
    SendNamed("CCC_IDENTIFY_ALL");
    SetTimerEnabled(true);
}

void TComUnit::IdentityCommand(MemStream& Stream) {
    if (FNAK) {
        Stream.setPosition(FHead.Size);
        return;
    }
    WriteLog(Fmt("Identity=%d", FHead.ExtCmd));
    Stream.setPosition(CHeadSize);
    if (FHead.ExtCmd == 0) {
        uint32_t sn = Stream.readU32();
        uint32_t art = Stream.readU32();
        uint32_t prod = Stream.readU32();
        FIdentity.DevType = DevTypeFromArticle(art);
        WriteLog(Fmt("IN: Idendity: SerNum=%u ArtNum=%u ProdDate=%s", sn, art, dateText(prod).c_str()));
        WriteLog("ConnDone");
        Stream.setPosition(FHead.Size);
        return;
    }
    if (FHead.ExtCmd != 1) {
        Stream.setPosition(FHead.Size);
        return;
    }
    if (FHead.Size < CIdentityAllSize) {
        // A short identity cannot be read field by field; the session goes on without names.
        WriteLog(Fmt("IN: IdendityAll: %u<>%zu", FHead.Size, CIdentityAllSize));
        Stream.setPosition(FHead.Size);
        return;
    }
    const uint8_t* p = Stream.data();
    WriteLog("IN: IdendityAll ----------- Start --------");
    TIdentity& id = FIdentity;
    uint32_t sn = MemStream::peekU32(p + CIdentitySerialAt);
    uint32_t art = MemStream::peekU32(p + CIdentityArticleAt);
    uint32_t prod = MemStream::peekU32(p + CIdentityProdDateAt);
    id.SN = sn;
    id.DevType = DevTypeFromArticle(art);
    id.Article = art;
    id.ProdDate = prod;
    WriteLog(Fmt("IN: IdendityAll: SerNum=%u ArtNum=%u ProdDate=%s", sn, art, dateText(prod).c_str()));

    id.ConTime = MemStream::peekU32(p + CIdentityClockAt);
    id.TimeSet = time_set_t::decode(p + CIdentityTimeSetAt);
    // The instrument's wall clock by its own summer-time rules, as the device clock shows it.
    const tmStamp_t local = CorrectUTCtoLocal({id.ConTime, 0});
    WriteLog(Fmt("IN: IdendityAll: Time=%s", dateText(local.sec).c_str()));

    const time_set_t& t = id.TimeSet;
    WriteLog(Fmt("IN: IdendityAll: Std=%u", t.Std));
    WriteLog(Fmt("IN: IdendityAll tmeeSet.Stdtz Vorzeichen=%u Hour=%u Min=%u", t.Stdtz.signHours & 1u,
                 t.Stdtz.signHours & ~1u, t.Stdtz.minutes));
    WriteLog(Fmt("IN: IdendityAll tmeSet.tz Vorzeichen=%u Hour=%u Min=%u", t.tz.signHours & 1u,
                 unsigned(t.tz.signHours >> 1), t.tz.minutes));
    WriteLog(Fmt("IN: IdendityAll tmeSet.dstmode dstmode=%u", t.dstmode));
    WriteLog(Fmt("IN: IdendityAll tmeSet.ws mon=%u day=%u hour=%u dow=%u", t.ws.mon, t.ws.day, t.ws.hour,
                 t.ws.dow));
    WriteLog(Fmt("IN: IdendityAll tmeSet.sw mon=%u day=%u hour=%u dow=%u", t.sw.mon, t.sw.day, t.sw.hour,
                 t.sw.dow));
    WriteLog(Fmt("IN: IdendityAll tmeSet.ls year=%u mon=%u day=%u sgn=%u", t.ls.year, t.ls.mon, t.ls.day,
                 t.ls.sgn));
    WriteLog(Fmt("IN: IdendityAll tmeSet.ntpcycle ntpcycle=%u", t.ntpcycle));
    for (int i = 0; i < 4; ++i)
        WriteLog(Fmt("IN: IdendityAll tmeSet.ntpip ntpip%d=%s", i, t.ntpip[i].c_str()));
    for (int i = 0; i < 4; ++i)
        WriteLog(Fmt("IN: IdendityAll tmeSet.ntpport ntpip%d=%u", i, unsigned(t.ntpport[i])));
    WriteLog(Fmt("IN: IdendityAll tmeSet.bdnmea bdnmea=%u", t.bdnmea));
    WriteLog(Fmt("IN: IdendityAll tmeSet.rsnmea rsnmea=%u", t.rsnmea));
    WriteLog(Fmt("IN: IdendityAll tmeSet.rspcm rspcm=%u", t.rspcm));
    WriteLog("IN: IdendityAll tmeeSet ----------- Ende--------");

    id.Rev.Rev = MemStream::peekU32(p + CIdentityFirmwareAt);
    id.Rev.CalcVer();
    WriteLog(id.Rev.VerAsStr());
    FHeartBeatDisabled = id.Rev.Rev > 13685 || id.Rev.Gen > 0;

    auto text = [p](size_t off) {
        const char* s = reinterpret_cast<const char*>(p + off);
        return std::string(s, strnlen(s, CIdentityNameWidth));
    };
    id.Plant = text(CIdentityPlantAt);
    id.Field = text(CIdentityBayAt);
    id.Device = text(CIdentityDeviceAt);
    WriteLog("ConnDone");
    Stream.setPosition(FHead.Size);

    if (FOnComNewSNCallBack) FOnComNewSNCallBack(this, sn, id.DevType, id.Plant, id.Field, id.Device);
    if (FOnConCallack)
        FOnConCallack(this, Fmt("%s - %s %s %s (%s)", LineName().c_str(), id.Plant.c_str(), id.Field.c_str(),
                                id.Device.c_str(), id.Rev.VerAsStr().c_str()));
    if (FSN != sn) FSN = sn;
    WriteLog("Before Connection Done Assigend");
    if (FSetFolders) {
        SetDataFolders();
    } else if (FCheckXMLFileVersions) {
        CheckFileVersions();
    } else if (FOnConnDone && !FFTP) {
        WriteLog("Connection Done Assigned without Folder");
        FOnConnDone(this, true);
    }
    if (FFTP && FOnConnDone) FOnConnDone(this, true);
}

void TComUnit::SetDataFolders() {
    namespace fs = std::filesystem;
    const std::string sep(1, char(fs::path::preferred_separator));
    // Once per link: a second full identity (a view reading it again) must not nest the folder.
    if (!foldersMade_) FDatadir = FDatadir + std::to_string(FSN) + sep;
    foldersMade_ = true;
    FRecDir = FDatadir + "Recorder" + sep;
    FEvtDir = FDatadir + "Event" + sep;
    std::error_code ec;
    fs::create_directories(FRecDir, ec);
    if (ec) WriteLog("Create folder failed: " + FRecDir + " " + ec.message());
    fs::create_directories(FEvtDir, ec);
    if (ec) WriteLog("Create folder failed: " + FEvtDir + " " + ec.message());
    {
        std::lock_guard<std::mutex> lk(spoolMutex_);
        spoolFolder_ = FDatadir;
    }
    if (FCheckXMLFileVersions && FIdentity.DevType != devtypQuartz)
        CheckFileVersions();
    else if (FOnConnDone)
        FOnConnDone(this, true);
}

tmStamp_t TComUnit::CorrectUTCtoLocal(const tmStamp_t& TimeStamp) const {
    tmStamp_t copy = TimeStamp;
    double D = UnixToDateTime(double(TStoLinear(copy)) / 1e9);
    int Y = yearOf(D) - 1900;
    double W = ruleDate(Y, FIdentity.TimeSet.ws);
    double S = ruleDate(Y, FIdentity.TimeSet.sw);
    if (FIdentity.TimeSet.ws.dow > 0) {
        auto shift = [this](double v) {
            long d = ((long(std::trunc(v)) - 1) % 7 + 7) % 7;
            return v + double((FIdentity.TimeSet.ws.dow + 7 - d) % 7);
        };
        W = shift(W);
        S = shift(S);
    }
    // Compared in whole milliseconds: a stamp exactly at the change must not fall out by rounding.
    auto ms = [](double dateTime) { return std::llround(DateTimeToUnix(dateTime) * 1000.0); };
    const long long d = (long long)(TStoLinear(copy) / 1000000ull);
    if (d >= ms(W) && d <= ms(S)) copy.frac |= CSummerTimeFlag;
    tmStamp_t out;
    UTCtoLocal(copy, FIdentity.TimeSet.tz, out);
    return out;
}

} // namespace ferro
