// The calibration run without a window: what a step sends and shows, how replies are judged, and
// where the user may go back.
#include "calib/CalibRun.h"

#include <gtest/gtest.h>

#include <vector>

using namespace ferro;

namespace {

// Notes what the run asks; a command or wait is "finished" by the test calling Reply/NextStep.
struct Recorder : TCalibRunView {
    std::vector<std::string> Sent;
    std::vector<int> Waits;
    std::string Error, U = "100.000", I = "5.000";
    TCalibTab Tab = TCalibTab::Start;
    TCalibButtons Buttons;
    int Frame = 0, Invalid = 0, Certificates = 0, Finishes = 0;
    std::vector<std::pair<int, bool>> Marks;
    bool Result = false, Sixty = false;

    void ShowTab(TCalibTab T) override { Tab = T; }
    void ShowFrame(int F) override { Frame = F; }
    void SetStat(int, int) override {}
    void SetButtons(const TCalibButtons& B, bool) override { Buttons = B; }
    void SendCalibCommand(const std::string& L) override { Sent.push_back(L); }
    void WaitProc(int S) override { Waits.push_back(S); }
    void ShowError(const std::string& T) override { Error = T; }
    void ShowErrorBar() override {}
    void MarkChannel(int Item, bool Ok) override { Marks.push_back({Item, Ok}); }
    void ShowResult(bool Ok) override { Result = Ok; }
    void FillIdentity() override {}
    bool Use60Hz() const override { return Sixty; }
    void References(std::string& V, std::string& A) const override { V = U, A = I; }
    void InvalidInput() override { ++Invalid; }
    void MakeCertificate() override { ++Certificates; }
    void Finished() override { ++Finishes; }
    void Log(const std::string&) override {}
};

// Runs to step `Target` with good replies: a command or wait ends as the window would end it.
void RunTo(TCalibRun& run, Recorder& v, int Target) {
    while (run.Step() < Target) {
        const size_t sent = v.Sent.size();
        run.NextStep();
        if (v.Sent.size() > sent) run.Reply(true, run.Step() >= 16 ? "Calibration ok" : "No Error");
    }
}

} // namespace

TEST(CalibRun, AGoodRunSendsTheWholeSequenceAndEndsInCertificateAndRestart) {
    Recorder v;
    v.Sixty = true;
    v.U = "100,02";
    TCalibRun run(v);
    run.Start();
    run.Reply(true, "No Error");
    RunTo(run, v, 31);
    run.NextStep();
    EXPECT_TRUE(v.Result);
    EXPECT_EQ(v.Buttons, (TCalibButtons{false, false, true, true}));
    const std::vector<std::string> head = {"pq.calClose(0)",  "pq.calOpen(60.000)", "pq.calU(0)",
                                           "pq.calI(0)",      "pq.calU(100.020)",   "pq.calI(5.000)",
                                           "pq.calState(1,0)"};
    ASSERT_EQ(v.Sent.size(), 7u + 15u);
    EXPECT_EQ(std::vector<std::string>(v.Sent.begin(), v.Sent.begin() + 7), head);
    EXPECT_EQ(v.Sent[13], "pq.calState(8,0)");
    EXPECT_EQ(v.Sent[14], "pq.calState(1,1)");
    EXPECT_EQ(v.Sent.back(), "pq.calState(8,1)");
    EXPECT_EQ(v.Waits, (std::vector<int>{15, 15, 30}));
    EXPECT_EQ(v.Marks.size(), 16u);

    run.SaveExit();
    EXPECT_EQ(v.Sent.back(), "pq.calClose(1)");
    run.Reply(true, "No Error");
    EXPECT_EQ(v.Certificates, 1);
    EXPECT_EQ(v.Sent.back(), "uti.softreset()");
    EXPECT_EQ(run.Step(), TCalibRun::CStepRestart);
    run.Reply(false, "Verbindung unterbrochen"); // the restart drops the line
    EXPECT_EQ(v.Finishes, 1);
}

TEST(CalibRun, RepliesAreJudgedByTheirWordsAndEmptyOnesAreIgnored) {
    EXPECT_TRUE(TCalibRun::Classify("Calibration ok; Distortion").Good) << "the good words are tested first";
    EXPECT_TRUE(TCalibRun::Classify("something new").Good) << "an unknown reply never stops a run";
    const auto bad = TCalibRun::Classify("error: FREQUENCY TOLERANCE VIOLATION\n");
    EXPECT_FALSE(bad.Good);
    EXPECT_EQ(bad.Text, "Frequenz außer Toleranz");
    EXPECT_EQ(bad.Id, 65403);

    Recorder v;
    TCalibRun run(v);
    run.Start();
    run.Reply(true, "");
    RunTo(run, v, 5);
    run.Reply(true, "  \n");
    EXPECT_EQ(run.Step(), 5);
    EXPECT_TRUE(run.Status());
    run.Reply(true, "Device or resource busy");
    EXPECT_EQ(run.Step(), TCalibRun::CStepError);
    EXPECT_EQ(v.Error, "Laufende Kalibrierung");
    run.NextStep(); // the end of the animation leads back to the start page
    EXPECT_EQ(v.Tab, TCalibTab::Start);
    EXPECT_EQ(v.Buttons, TCalibButtons{});
    EXPECT_EQ(run.Step(), 0);
}

TEST(CalibRun, BackOnlyOnTheSetupPagesAndAWrongReferenceKeepsStepEleven) {
    Recorder v;
    TCalibRun run(v);
    for (int step : {-1, 0, 3, 11, 30, 31, 1000})
        EXPECT_FALSE(TCalibRun::ButtonsFor(step).Back) << step;
    EXPECT_TRUE(TCalibRun::ButtonsFor(1).Back && TCalibRun::ButtonsFor(2).Back);
    run.Start();
    run.Reply(true, "No Error");
    run.NextStep();
    run.NextStep();
    EXPECT_EQ(v.Tab, TCalibTab::Bedingungen);
    run.Back();
    EXPECT_EQ(v.Tab, TCalibTab::Einrichtung);
    EXPECT_EQ(run.Step(), 1);

    RunTo(run, v, 11);
    const size_t sent = v.Sent.size();
    v.U = "10O";
    run.NextStep();
    EXPECT_EQ(run.Step(), 11);
    EXPECT_EQ(v.Invalid, 1);
    EXPECT_EQ(v.Sent.size(), sent);
    EXPECT_EQ(v.Buttons, TCalibRun::ButtonsFor(11));
    v.U = " 99,5 ";
    run.NextStep();
    EXPECT_EQ(v.Sent.back(), "pq.calU(99.500)");
}

TEST(CalibRun, AChannelOutsideItsLimitLetsTheRunEndRedWithoutSaving) {
    Recorder v;
    TCalibRun run(v);
    run.Start();
    run.Reply(true, "No Error");
    RunTo(run, v, 18);
    run.NextStep();
    run.Reply(true, "Calibration failed");
    EXPECT_EQ(run.Step(), 19) << "the run goes on";
    RunTo(run, v, 31);
    run.NextStep();
    EXPECT_FALSE(v.Result);
    EXPECT_EQ(run.Verdict(3), TChannelVerdict::Failed);
    EXPECT_EQ(run.Verdict(4), TChannelVerdict::Ok);
    const size_t sent = v.Sent.size();
    run.SaveExit();
    EXPECT_EQ(v.Sent.size(), sent) << "nothing is stored after a failed channel";
}
