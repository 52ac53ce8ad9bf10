#include "calib/CalibRun.h"

#include "foundation/Format.h"

#include <cerrno>
#include <cstdlib>

namespace ferro {

namespace {

struct TReplyRow {
    const char* Word;
    const char* Text;
    int Id;
};

// First match wins; the two good words come first, so a reply that holds one of them is good.
constexpr TReplyRow CReplies[] = {
    {"No Error", "", 0},
    {"Calibration ok", "", 0},
    {"Calibration todo", "Kaliebrierung noch nicht gestartet", 65402},
    {"Frequency tolerance violation", "Frequenz außer Toleranz", 65403},
    {"Frequency fluctuation", "Frequenz instabil", 65404},
    {"Magnitude out of range", "Amplitudenberechsverletzung", 65405},
    {"Distortion", "Verzerrung", 65406},
    {"Calibration tolerance violation", "Kalibriergröße ausser Toleranz", 65407},
    {"Calibration quantity fluctuation", "Kalibriergröße instabil", 65376},
    {"Permission denied", "Zugriff verweigert", 65377},
    {"Device or resource busy", "Laufende Kalibrierung", 65378},
    {"No such device", "Ungültiger Messkanal", 65379},
    {"Invalid argument", "Ungültiger Parameter", 65380},
    {"Timer expired", "Timeout, Kalibrierung fehlgeschlagen", 65381},
};

// A number as the user typed it, with a comma or a point; nothing else may follow it.
bool ParseReference(std::string Text, double& Value) {
    for (char& c : Text)
        if (c == ',') c = '.';
    Text = Trim(Text);
    if (Text.empty()) return false;
    char* end = nullptr;
    errno = 0;
    Value = std::strtod(Text.c_str(), &end);
    return errno == 0 && end && *end == '\0';
}

} // namespace

const char* const TCalibRun::CDefaultAirTemp = "15 °C ... 35 °C";
const char* const TCalibRun::CDefaultHumidity = "25 % ... 75 %";
const char* const TCalibRun::CDefaultPressure = "86 kPa ... 106 kPa";

TCalibRun::TResult TCalibRun::Classify(const std::string& Reply) {
    for (const TReplyRow& row : CReplies)
        if (ContainsNoCase(Reply, row.Word)) return {row.Id == 0, row.Text, row.Id};
    return {}; // an unknown reply never stops a run
}

TCalibButtons TCalibRun::ButtonsFor(int Step) {
    TCalibButtons b;
    if (Step == 0) b.Next = true;
    if (Step == 1 || Step == 2) b.Back = b.Next = true;
    if (Step >= 3 && Step <= 30) b.Next = b.Restart = true;
    if (Step == 31) b.SaveExit = b.Restart = true;
    return b;
}

void TCalibRun::Send(const std::string& Lua) {
    FView.SendCalibCommand(Lua);
}

void TCalibRun::NextStep() {
    FView.Log(Fmt("Kalibrierung Next: %d", FStep));
    FView.SetButtons(ButtonsFor(FStep), FStatus);
    if (FStep < CLastStep) Act(FStep + 1);
}

void TCalibRun::Act(int NewStep) {
    switch (NewStep) {
    case 0:
        FStep = 0;
        FView.ShowTab(TCalibTab::Start);
        if (!FError.empty()) FView.ShowErrorBar();
        return;
    case 1:
        FStep = 1;
        FView.SetStat(0, 1);
        for (int lamp = 1; lamp < 7; ++lamp)
            FView.SetStat(lamp, 0);
        FView.FillIdentity();
        FStatus = true;
        FVerdicts.fill(TChannelVerdict::Open);
        FView.ShowTab(TCalibTab::Einrichtung);
        return;
    case 2:
        FStep = 2;
        FView.ShowTab(TCalibTab::Bedingungen);
        return;
    case 3:
        FStep = 3;
        FView.ShowTab(TCalibTab::Kalibration);
        FView.ShowFrame(1);
        return;
    case 4:
        FStep = 4;
        FView.SetStat(0, 2);
        FView.ShowFrame(2);
        return;
    case 5:
        FStep = 5;
        FFrequency = FView.Use60Hz() ? "60.000" : "50.000";
        Send(Fmt("pq.calOpen(%s)", FFrequency.c_str()));
        return;
    case 6:
        FStep = 6;
        FView.SetStat(1, 2);
        FView.WaitProc(15);
        return;
    case 7:
        FStep = 7;
        Send("pq.calU(0)");
        return;
    case 8:
        FStep = 8;
        Send("pq.calI(0)");
        return;
    case 9:
        FStep = 9;
        FView.SetStat(2, 2);
        FView.ShowFrame(3);
        return;
    case 10:
        FStep = 10;
        FView.WaitProc(15);
        return;
    case 11:
        FStep = 11;
        FView.SetStat(3, 2);
        FView.ShowFrame(4);
        return;
    case 12:
        // A wrong input keeps the user on the page of step 11.
        if (!ConvertReferenz()) return;
        FStep = 12;
        Send(Fmt("pq.calU(%s)", FRefU.c_str()));
        return;
    case 13:
        FStep = 13;
        Send(Fmt("pq.calI(%s)", FRefI.c_str()));
        return;
    case 14:
        FStep = 14;
        FView.SetStat(4, 2);
        FView.WaitProc(30);
        return;
    case 15:
        FStep = 15;
        FView.ShowFrame(5);
        NextStep();
        return;
    case CLastStep:
        FView.SetStat(5, 2);
        FView.SetButtons(ButtonsFor(31), FStatus);
        FView.ShowResult(FStatus);
        return;
    default:
        if (NewStep >= 16 && NewStep <= 31) {
            FStep = NewStep;
            if (NewStep == 16) FView.ShowFrame(5);
            const int kind = NewStep <= 23 ? 0 : 1;
            Send(Fmt("pq.calState(%d,%d)", NewStep - (kind ? 23 : 15), kind));
        }
        return;
    }
}

void TCalibRun::Reply(bool Ok, const std::string& Text) {
    FView.Log("Kalibrierung recieve: " + Text);
    if (FStep == CStepRestart) {
        // The instrument restarts: its reply, or the line it drops, ends the wizard.
        FView.Finished();
        return;
    }
    if (!Ok) {
        FStep = CStepError;
        FError = Text;
        FView.ShowError(FError);
        FSaving = false;
        return;
    }
    if (FSaving) {
        FSaving = false;
        const TResult r = Classify(Text);
        if (!r.Good) {
            FStep = CStepError;
            FError = r.Text;
            FView.ShowError(FError);
            return;
        }
        // Stored: the certificate, then the restart, whose reply ends the wizard.
        FView.SetStat(6, 2);
        FView.MakeCertificate();
        FStep = CStepRestart;
        Send("uti.softreset()");
        return;
    }
    CheckLUAResult(Text);
}

void TCalibRun::CheckLUAResult(const std::string& Text) {
    if (FStep <= 0 || Trim(Text).empty()) return;
    const TResult r = Classify(Text);
    if (!r.Good) {
        FStep = CStepError;
        FError = r.Text;
        FView.ShowError(FError);
    }
    FStatus = FStatus && r.Good;
    FView.Log(std::string("Kalibrierung Status: ") + (FStatus ? "True" : "False"));
    if (r.Good && FStep >= 16 && FStep <= 31) CheckStatus(Text);
}

void TCalibRun::CheckStatus(const std::string& Text) {
    const int item = FStep - 16;
    if (item < 0 || item >= CChannels) return;
    const bool ok = ContainsNoCase(Text, "Calibration ok");
    if (!ok) FStatus = false;
    FVerdicts[size_t(item)] = ok ? TChannelVerdict::Ok : TChannelVerdict::Failed;
    FView.MarkChannel(item, ok);
}

bool TCalibRun::ConvertReferenz() {
    std::string u, i;
    FView.References(u, i);
    double vu = 0, vi = 0;
    if (!ParseReference(u, vu) || !ParseReference(i, vi)) {
        FView.InvalidInput();
        return false;
    }
    FRefU = Fmt("%.3f", vu);
    FRefI = Fmt("%.3f", vi);
    return true;
}

void TCalibRun::Start() {
    FStep = 0;
    FError.clear();
    FView.ShowError("");
    FSaving = false;
    Send("pq.calClose(0)");
}

void TCalibRun::Next() {
    FError.clear();
    FView.ShowError("");
    NextStep();
}

void TCalibRun::Back() {
    FStep -= 2;
    NextStep();
}

void TCalibRun::SaveExit() {
    if (FStep != 31 || !FStatus) return;
    FSaving = true;
    Send("pq.calClose(1)");
}

} // namespace ferro
