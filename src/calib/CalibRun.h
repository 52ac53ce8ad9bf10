#pragma once
// The calibration run without its window: the step counter, what each step does, which buttons a
// step shows, and how the instrument's Lua replies are judged. The instrument decides every
// tolerance; the run only reads its words.

#include <array>
#include <string>

namespace ferro {

// The four pages of the wizard, in the order of the run.
enum class TCalibTab { Start, Einrichtung, Bedingungen, Kalibration };

struct TCalibButtons {
    bool Back = false, Next = false, SaveExit = false, Restart = false;
    bool operator==(const TCalibButtons& o) const {
        return Back == o.Back && Next == o.Next && SaveExit == o.SaveExit && Restart == o.Restart;
    }
};

// Verdict of one of the 16 channel checks.
enum class TChannelVerdict { Open, Ok, Failed };

// What the run asks of its window. Commands and waits end by the window calling
// TCalibRun::Reply / AnimationFinished, and the window then calls NextStep on the main thread.
class TCalibRunView {
public:
    virtual ~TCalibRunView() = default;
    virtual void ShowTab(TCalibTab Tab) = 0;
    virtual void ShowFrame(int Frame) = 0; // 1 to 5 on the calibration page
    virtual void SetStat(int Lamp, int State) = 0;
    virtual void SetButtons(const TCalibButtons& Buttons, bool SaveEnabled) = 0;
    virtual void SendCalibCommand(const std::string& Lua) = 0;
    virtual void WaitProc(int Seconds) = 0;
    virtual void ShowError(const std::string& Text) = 0; // "" clears it
    virtual void ShowErrorBar() = 0;                     // the red bar of a failed run
    virtual void MarkChannel(int Item, bool Ok) = 0;
    virtual void ShowResult(bool Ok) = 0;
    virtual void FillIdentity() = 0; // serial number, date and time of the check
    virtual bool Use60Hz() const = 0;
    virtual void References(std::string& Volts, std::string& Amps) const = 0;
    virtual void InvalidInput() = 0;
    virtual void MakeCertificate() = 0;
    virtual void Finished() = 0; // the host may take the wizard away
    virtual void Log(const std::string& Text) = 0;
};

class TCalibRun {
public:
    static constexpr int CStepError = -1, CStepRestart = 1000, CLastStep = 32, CChannels = 16;

    // One row of the reply table: the instrument's word, our text and its number.
    struct TResult {
        bool Good = true;
        std::string Text;
        int Id = 0;
    };
    static TResult Classify(const std::string& Reply);
    static TCalibButtons ButtonsFor(int Step);
    // The three texts of an empty reference field set, as the "Standardwerte" button fills them.
    static const char* const CDefaultAirTemp;
    static const char* const CDefaultHumidity;
    static const char* const CDefaultPressure;

    explicit TCalibRun(TCalibRunView& View) : FView(View) {}

    int Step() const { return FStep; }
    bool Status() const { return FStatus; }
    const std::string& RefU() const { return FRefU; }
    const std::string& RefI() const { return FRefI; }
    const std::string& Frequency() const { return FFrequency; }
    const std::string& ErrorText() const { return FError; }
    TChannelVerdict Verdict(int Item) const { return FVerdicts[size_t(Item)]; }

    // Shows the page of the next step and does what it asks.
    void NextStep();
    // A reply of the instrument (Ok false: the link gave none, Text says why).
    void Reply(bool Ok, const std::string& Text);
    void CheckLUAResult(const std::string& Text);
    void CheckStatus(const std::string& Text);
    bool ConvertReferenz();

    // The buttons of the window.
    void Start();    // start and "Kalibration wiederholen": end any open calibration first
    void Next();     // "Weiter"
    void Back();     // "Zurück"
    void SaveExit(); // "Speichern und Beenden"

private:
    void Send(const std::string& Lua);
    void Act(int NewStep);

    TCalibRunView& FView;
    int FStep = 0;
    bool FStatus = true, FSaving = false;
    std::string FRefU, FRefI, FFrequency = "50.000", FError;
    std::array<TChannelVerdict, CChannels> FVerdicts{};
};

} // namespace ferro
