// The charts on values the simulated instrument streams: 3-second blocks (c_150t_t), one
// 1-second block (c_s_t) and one oscilloscope block taken over loopback, decoded by the record readers and
// drawn. The phasors of a balanced supply are checked on the recorder; every chart is also rendered to a PNG
// in build/screenshots at 1200x500 and at 640x320 for a person to look at.
#include "charts/NumFormat.h"
#include "charts/PQPaintBoxCrvFFT.h"
#include "charts/PQPaintBoxCrvTime.h"
#include "charts/PQPaintBoxHarm.h"
#include "charts/PQPaintBoxLoadFlow.h"
#include "charts/PQPaintBoxVecDiag.h"
#include "charts/PainterCanvas.h"
#include "charts/RecordingCanvas.h"
#include "foundation/records/CsRecord.h"
#include "foundation/records/HarmRecord.h"
#include "foundation/records/OscRecord.h"
#include "link/CccHead.h"
#include "link/CommandTable.h"
#include "link/DeviceSession.h"
#include "support/SimProcess.h"

#include <QDir>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>

using namespace ferro;
using namespace ferro::test;
namespace fs = std::filesystem;

namespace {

constexpr double kPowerFactor = 0.9;

struct Block {
    THarmValues Harm;
    tmStamp_t TS; // local, as the link hands it over
};

struct Capture {
    std::vector<Block> Harm;
    TCsValues Cs;
    bool HasCs = false;
};

// The fixture instrument with a balanced supply: no unbalance, no drift, no dips or swells.
std::string PrepareRoot(const std::string& dir) {
    const std::string root = dir + "/instrument";
    fs::copy(FERRO_SOURCE_DIR "/fixtures/instrument", root, fs::copy_options::recursive);
    QFile f(QString::fromStdString(root + "/profile.json"));
    if (!f.open(QIODevice::ReadOnly)) return std::string();
    QJsonObject profile = QJsonDocument::fromJson(f.readAll()).object();
    f.close();
    QJsonObject supply = profile.value("supply").toObject();
    supply["unbalancePercent"] = 0;
    supply["driftHz"] = 0;
    supply["powerFactor"] = kPowerFactor;
    supply["events"] = QJsonArray();
    profile["supply"] = supply;
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) return std::string();
    f.write(QJsonDocument(profile).toJson());
    return root;
}

// One session that takes `Count` blocks of a class and hands each to `Take`.
bool Stream(const SimProcess& sim, const std::string& dir, TDataObj Obj, int Count,
            const std::function<bool(const TByteTransport&, uint8_t Gen)>& Take) {
    TConnectionRec o;
    o.Port = sim.port();
    o.Folders.Tmp = dir + "/tmp/";
    o.Folders.Ini = dir + "/ini/";
    fs::create_directories(o.Folders.Tmp);
    fs::create_directories(o.Folders.Ini);
    TDeviceSession s(o);
    s.DefaultAnswer = mrYes;
    if (!s.OpenAndWait(30000)) return false;
    TComUnit& l = s.Link();
    int taken = 0;
    l.FUpdateGrid = [&](TSender) {
        const auto& b = l.FBytes.FBytes;
        if (b.size() >= 4 &&
            uint32_t(b[0] | b[1] << 8 | b[2] << 16 | uint32_t(b[3]) << 24) == CDataObj[Obj] &&
            Take(l.FBytes, l.Identity().Rev.Gen))
            ++taken;
    };
    l.SendCommand("CCC_STREAM_START", CmdStream, 0, 1, CDataObj[Obj]);
    l.ManualTimer(nullptr);
    const bool ok = s.WaitFor([&] { return taken >= Count; }, 5000 + 3000 * Count);
    l.FUpdateGrid = nullptr;
    s.CloseAndWait();
    return ok;
}

Capture Take(int HarmBlocks, bool WithCs) {
    Capture cap;
    QTemporaryDir tmp;
    const std::string dir = tmp.path().toStdString();
    SimProcess sim({}, PrepareRoot(dir));
    EXPECT_TRUE(sim.ok());
    if (!sim.ok()) return cap;
    EXPECT_TRUE(Stream(sim, dir, do150T, HarmBlocks, [&](const TByteTransport& t, uint8_t gen) {
        Block b;
        if (!THarmRecord::DecodeInto(t.FBytes.data(), t.FBytes.size(), gen, b.Harm)) return false;
        b.TS = t.TS_Mess;
        cap.Harm.push_back(b);
        return true;
    }));
    if (WithCs) {
        EXPECT_TRUE(Stream(sim, dir, do1s, 1, [&](const TByteTransport& t, uint8_t gen) {
            auto cs = TCsRecord::Decode(t.FBytes.data(), t.FBytes.size(), gen);
            if (cs) cap.Cs = *cs;
            cap.HasCs = cs.has_value();
            return cap.HasCs;
        }));
    }
    return cap;
}

void FeedVec(TPQPaintBoxVecDiag& b, const THarmValues& h) {
    for (int k = 0; k < 7; ++k)
        b.SetMagAngle(TVecPointer(vpU1E + k), {h.VecU[size_t(k)].Mag, h.VecU[size_t(k)].Ang});
    for (int k = 0; k < 3; ++k)
        b.SetMagAngle(TVecPointer(vpI1 + k), {h.VecI[size_t(k)].Mag, h.VecI[size_t(k)].Ang});
}

double LineAngle(const TCanvasCall& l) {
    return std::atan2(l.P1.Y - l.P2.Y, l.P2.X - l.P1.X) * 180 / M_PI;
}

double Diff180(double a) {
    a = std::fmod(a, 360);
    return a > 180 ? a - 360 : a <= -180 ? a + 360 : a;
}

} // namespace

TEST(ChartsOnSim, PhasorsOfABalancedSupply) {
    const Capture cap = Take(1, false);
    ASSERT_EQ(cap.Harm.size(), 1u);
    TPQPaintBoxVecDiag b;
    FeedVec(b, cap.Harm[0].Harm);
    b.SetSize(1200, 500);
    TRecordingCanvas c;
    c.Font.Size = 12;
    b.Paint(c);

    // Voltages are drawn 1.5 thick, currents 1.3, each phase in its colour.
    auto vector = [&](int phase, double thickness) {
        for (const auto& l : c.Of(TCanvasOp::DrawLine))
            if (l.Stroke.Color == CVecPhaseColors[size_t(phase)] && l.Stroke.Thickness == thickness &&
                l.P1 == b.Center())
                return l;
        ADD_FAILURE() << "no vector of phase " << phase + 1;
        return TCanvasCall{};
    };
    const double phi = std::acos(kPowerFactor) * 180 / M_PI;
    EXPECT_NEAR(LineAngle(vector(0, 1.5)), 90, 0.01);
    for (int p = 0; p < 3; ++p) {
        SCOPED_TRACE(p);
        const auto u = vector(p, 1.5), i = vector(p, 1.3);
        EXPECT_NEAR(Diff180(LineAngle(u) - LineAngle(vector((p + 1) % 3, 1.5))), 120, 0.5);
        EXPECT_NEAR(Diff180(LineAngle(u) - LineAngle(i)), phi, 0.5);
        EXPECT_NEAR(std::hypot(u.P2.X - u.P1.X, u.P2.Y - u.P1.Y), std::sqrt(3.0) * 230 / 500 * b.Radius(),
                    0.02 * b.Radius());
    }
    // The table reads the same shift of I1 against U1E.
    auto texts = c.Texts();
    EXPECT_NE(std::find(texts.begin(), texts.end(), "I1=100.0 A Phi=" + FltToStrShrt(phi, 1, buPlain, CGrad)),
              texts.end());
}

namespace {

int CountNear(const QImage& img, QRgb want, int tol = 24) {
    int n = 0;
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x) {
            const QRgb p = img.pixel(x, y);
            n += std::abs(qRed(p) - qRed(want)) <= tol && std::abs(qGreen(p) - qGreen(want)) <= tol &&
                 std::abs(qBlue(p) - qBlue(want)) <= tol;
        }
    return n;
}

QImage Render(TPQPaintBox& b, int w, int h) {
    QImage img(w, h, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::black); // the chart must paint its own background
    TPainterCanvas c(img);
    c.Font.Size = w >= 1000 ? 13 : 11;
    b.SetSize(w, h);
    b.Paint(c);
    return img;
}

} // namespace

TEST(ChartsOnSim, ScreenshotsOfEveryChartAtTwoSizes) {
    const Capture cap = Take(4, true);
    ASSERT_EQ(cap.Harm.size(), 4u);
    ASSERT_TRUE(cap.HasCs);
    const THarmValues& h = cap.Harm.back().Harm;
    const tmStamp_t ts = cap.Harm.back().TS;

    TPQPaintBoxHarm hu, hi, ihu, bands, stat;
    hu.SetFerroDisp(chartdefs::sdHrmULE);
    hi.SetFerroDisp(chartdefs::sdHrmIL);
    ihu.SetFerroDisp(chartdefs::sdIHrmULE);
    bands.SetFerroDisp(chartdefs::sdFrqBandULE);
    stat.SetFerroDisp(chartdefs::sdHrmULE);
    for (int ch = 0; ch < 4; ++ch) {
        hu.SetHrmVal(ch, h.HrmULE[size_t(ch)]);
        hi.SetHrmVal(ch, h.HrmIL[size_t(ch)]);
        ihu.SetIHrmVal(ch, h.IHrmULE[size_t(ch)]);
        bands.SetFrqBVal(ch, cap.Cs.FbU[size_t(ch)]);
        // Statistics over the blocks taken: with four blocks the 95 % value by nearest rank is the
        // maximum itself (and the simulated supply is steady anyway).
        THrm mx{}, p95{};
        for (size_t i = 0; i < mx.size(); ++i)
            for (const auto& b : cap.Harm)
                p95[i] = mx[i] = std::max(mx[i], b.Harm.HrmULE[size_t(ch)][i]);
        stat.SetHrmVal(ch, mx);
        stat.SetHrmVal95p(ch, p95);
    }
    stat.SetStatistic(true);
    stat.SetNormalization(true);
    stat.SetTSStart(cap.Harm.front().TS);
    stat.SetTSStop(ts);
    bands.SetHrmActIdx(11); // the band of the emission at 4.1 kHz

    TPQPaintBoxLoadFlow flow;
    flow.SetFerroDisp(chartdefs::sdHrmULE);
    for (int p = 0; p < 3; ++p) {
        const size_t s = size_t(p);
        THrm u = h.HrmULE[s];
        // Voltage harmonics arrive in % of the fundamental, which order 1 carries in volts.
        for (size_t i = 0; i < u.size(); ++i)
            if (i != 1) u[i] = h.HrmULE[s][i] * h.HrmULE[s][1] / 100;
        flow.SetHarmUMag(p, u);
        flow.SetHarmIMag(p, h.HrmIL[s]);
        flow.SetHrmVal(p, h.HrmULE[s]);
    }
    flow.SetBasicAngle(h.VecU[0].Ang - h.VecI[0].Ang, h.VecU[1].Ang - h.VecI[1].Ang,
                       h.VecU[2].Ang - h.VecI[2].Ang);

    TPQPaintBoxVecDiag vec;
    FeedVec(vec, h);

    struct Shot {
        const char* name;
        TPQPaintBox* box;
        std::vector<QRgb> colours; // must show
    };
    const std::vector<Shot> shots = {
        {"harm_u", &hu, {0xFFFFA500, 0xFFADFF2F}},
        {"harm_i", &hi, {0xFFFFA500, 0xFF800080}},
        {"ihrm_u", &ihu, {0xFFADFF2F}},
        {"bands_u", &bands, {0xFF008000}},
        {"harm_u_statistic", &stat, {0xFFFF0000}},
        {"load_flow", &flow, {0xFFFFA500, 0xFFADFF2F}},
        {"vector_diagram", &vec, {0xFFFFA500, 0xFF008000, 0xFF800080}},
    };
    for (auto* b : {&hu, &hi, &ihu, &bands, &stat, static_cast<TPQPaintBoxHarm*>(&flow)}) {
        if (b != &stat) b->SetTSStart(ts);
        b->HrmRescale();
        if (b != &bands) b->SetHrmActIdx(5);
    }
    vec.SetTSStart(ts);

    const QString dir = QStringLiteral(FERRO_BINARY_DIR "/screenshots");
    QDir().mkpath(dir);
    for (const auto& s : shots)
        for (auto [w, hgt] : {std::pair{1200, 500}, {640, 320}}) {
            SCOPED_TRACE(std::string(s.name) + " " + std::to_string(w));
            const QImage img = Render(*s.box, w, hgt);
            ASSERT_TRUE(img.save(dir + QString("/chart_%1_%2x%3.png").arg(s.name).arg(w).arg(hgt)));
            EXPECT_GT(CountNear(img, 0xFFFFFFFF, 0), w * hgt / 3); // white ground
            for (QRgb col : s.colours)
                EXPECT_GT(CountNear(img, col), 20) << std::hex << col;
        }
}

namespace {

// Channels 0..11 of the oscilloscope; the chart shows phases 1 to 3 and current 1.
constexpr size_t COscShown[] = {0, 1, 2, 7};

QImage SaveShot(TPQPaintBox& b, const char* name, int w, int h) {
    const QString dir = QStringLiteral(FERRO_BINARY_DIR "/screenshots");
    QDir().mkpath(dir);
    const QImage img = Render(b, w, h);
    EXPECT_TRUE(img.save(dir + QString("/chart_%1_%2x%3.png").arg(name).arg(w).arg(h)));
    return img;
}

} // namespace

TEST(ChartsOnSim, OscilloscopeSpectrumAndADayOfValuesAsScreenshots) {
    QTemporaryDir tmp;
    const std::string dir = tmp.path().toStdString();
    SimProcess sim({}, PrepareRoot(dir));
    ASSERT_TRUE(sim.ok());
    std::optional<TOscCurves> osc;
    ASSERT_TRUE(Stream(sim, dir, doOsc, 1, [&](const TByteTransport& t, uint8_t gen) {
        osc = TOscRecord::Decode(t, gen);
        return osc.has_value() && osc->SmplCnt > 0;
    }));
    ASSERT_EQ(osc->Ch.size(), 12u);

    TPQPaintBoxCrvTime scope;
    TPQPaintBoxCrvFFT spectrum;
    for (TPQPaintBoxCrvFFT* b : {static_cast<TPQPaintBoxCrvFFT*>(&scope), &spectrum}) {
        b->SetCrvCnt(4);
        for (int c = 0; c < 4; ++c)
            b->SetBaseRec(c, BaseRect(TOscRecord::ChannelName(COscShown[c]), c < 3 ? "ULE" : "I",
                                      c < 3 ? "V" : "A", buAuto));
        b->SetMaxRecs(int(osc->SmplCnt));
        for (uint32_t k = 0; k < osc->SmplCnt; ++k) {
            TSingleArray v;
            for (size_t ch : COscShown)
                v.push_back(osc->Ch[ch][k]);
            b->NewValues(v, osc->Time[k]);
        }
    }
    scope.ResetZoom();
    scope.AutoScaleAll();
    spectrum.SetTSStart(LinearToTS(osc->Time[0]));
    spectrum.FFTCls().SetSampleNum(int(osc->SmplCnt), 1);
    spectrum.FFTCls().SetSampleRate(osc->smplrte);
    spectrum.DoFFT();
    spectrum.AutoScaleAll();
    // The mains line is left out of the scale, so it runs off the top: the harmonics stay readable.
    const int l50 = int(std::lround(50 / spectrum.FFTCls().GetFreqDif()));
    EXPECT_GT(spectrum.MessLst().Val(l50, 0), 200);
    EXPECT_LT(spectrum.YRec(0).FSclMax, spectrum.MessLst().Val(l50, 0));

    // A day of 1-second values, stacked by group, both markers set and a zoom frame being dragged.
    TPQPaintBoxCrvTime day;
    day.SetCrvCnt(6);
    const char* names[] = {"U1", "U2", "U3", "I1", "I2", "I3"};
    for (int c = 0; c < 6; ++c)
        day.SetBaseRec(c, BaseRect(names[c], c < 3 ? "ULE" : "I", c < 3 ? "V" : "A", buAuto));
    day.SetMaxRecs(86400);
    const uint64_t t0 = 1700000000ull * 1000000000ull - 1700000000ull % 86400 * 1000000000ull;
    for (int s = 0; s < 86400; ++s) {
        const double load = 0.5 + 0.4 * std::sin((s - 21600) / 86400.0 * 2 * M_PI);
        TSingleArray v;
        for (int p = 0; p < 3; ++p)
            v.push_back(float(231 - 4 * load + 0.8 * std::sin(s / 700.0 + p)));
        for (int p = 0; p < 3; ++p)
            v.push_back(float(100 * load * (1 + 0.05 * p) + 3 * std::sin(s / 53.0 + p)));
        day.NewValues(v, t0 + uint64_t(s) * 1000000000ull);
    }
    day.ResetZoom();
    day.AutoScaleAll();
    day.SetMouseNotify([](TPQPaintBox*, const TPointF&, const TPointF&, TMouseButton, TShiftState) {});

    for (auto [w, h] : {std::pair{1200, 500}, {640, 320}}) {
        SCOPED_TRACE(w);
        const QImage s = SaveShot(scope, "oscilloscope", w, h);
        EXPECT_GT(CountNear(s, 0xFF0000FF, 0), 50);
        EXPECT_GT(CountNear(s, 0xFFFF0000, 0), 50);
        EXPECT_GT(CountNear(SaveShot(spectrum, "spectrum", w, h), 0xFF0000FF, 60), 20);
        day.ForceRepaint();
        Render(day, w, h); // lays the records out for the mouse
        day.MouseUp(mbLeft, ssShift, w * 0.3, h / 2.0);
        day.MouseUp(mbLeft, ssCtrl, w * 0.8, h / 2.0);
        day.MouseDown(mbLeft, ssLeft, w * 0.45, h * 0.3);
        Render(day, w, h);
        day.MouseMove(ssLeft, w * 0.65, h * 0.7);
        EXPECT_GT(CountNear(SaveShot(day, "day_of_values", w, h), 0xFF0000FF, 0), 50);
        day.MouseUp(mbLeft, 0, w * 0.3, h / 2.0); // leftward: the whole day again
    }
    EXPECT_GE(day.MarkIdx1(), 0);
    EXPECT_GT(day.MarkIdx2(), day.MarkIdx1());
}
