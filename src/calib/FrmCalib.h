#pragma once
// The calibration wizard: requirements, set-up, test conditions and the guided run against a
// calibrator, ending in a stored calibration, a certificate and a restart of the instrument.

#include "calib/CalibRun.h"
#include "forms/FormBasic.h"

#include <functional>
#include <map>
#include <memory>

class QFrame;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QRadioButton;
class QStackedWidget;
class QTabWidget;
class QTimer;
class QTreeWidget;

namespace ferro {

class Clock;

class TFrmCalib : public TFormBasic, public TCalibRunView {
    Q_OBJECT
public:
    explicit TFrmCalib(QWidget* Parent = nullptr);
    ~TFrmCalib() override;

    QStringList Pages() const override;
    void ShowPage(int Index) override;
    void ConnEst(TSender Sender, bool Success) override;
    void ConnectionLost(const std::string& Reason) override;

    TCalibRun& Run() { return FRun; }
    // The clock the progress animations read; a test moves its own.
    void SetAnimationClock(Clock* C);
    // The certificate written last ("" until one is).
    const std::string& CertificateFile() const { return FCertificate; }

    // The button handlers.
    void sbtnStartClick();
    void btnNextClick();
    void rctgnlBackClick();
    void rctnglRestartCalibClick();
    void rctglAbortClick();
    void rctngSaveExitClick();
    void StandardwerteClick();

    std::string FSWVer;
    // The host's "the wizard is finished"; closes the view unless set otherwise.
    std::function<void(TSender)> FClose;
    std::map<std::string, std::string> FReportDict;

    // TCalibRunView
    void ShowTab(TCalibTab Tab) override;
    void ShowFrame(int Frame) override;
    void SetStat(int Lamp, int State) override;
    void SetButtons(const TCalibButtons& Buttons, bool SaveEnabled) override;
    void SendCalibCommand(const std::string& Lua) override;
    void WaitProc(int Seconds) override;
    void ShowError(const std::string& Text) override;
    void ShowErrorBar() override;
    void MarkChannel(int Item, bool Ok) override;
    void ShowResult(bool Ok) override;
    void FillIdentity() override;
    bool Use60Hz() const override;
    void References(std::string& Volts, std::string& Amps) const override;
    void InvalidInput() override;
    void MakeCertificate() override;
    void Finished() override;
    void Log(const std::string& Text) override;

protected:
    bool eventFilter(QObject* Watched, QEvent* Event) override;
    void resizeEvent(QResizeEvent* Event) override;

private:
    QWidget* BuildStart();
    QWidget* BuildSetup();
    QWidget* BuildConditions();
    QWidget* BuildCalibration();
    QWidget* BuildFrame(int Frame);
    QWidget* BuildButtons();
    QLineEdit* AddEdit(QWidget* Parent, const char* Name, const QString& Text = {});
    void StartWaitAni(int Seconds);
    void StartIdleAni();
    void StopAnimation();
    void AnimationTick();
    void fltnmtnProgressFinish();
    void CommandDone(const std::string& Text, bool Ok);
    void FillReportDict();
    int PanelWidth() const;

    TCalibRun FRun{*this};
    Clock* FAniClock = nullptr;
    int64_t FAniStartMs = 0, FAniDurationMs = 0;
    std::string FCertificate;
    bool FCommandRunning = false;
    bool FUse60 = false; // the choice of the frequency page, kept when the page goes

    QTabWidget* tbcCalib = nullptr;
    QWidget *tbtmStart = nullptr, *TbtmEinrichtung = nullptr, *tbtmBedingungen = nullptr,
            *tbtmKailb = nullptr;
    QLabel* txtError = nullptr;
    QPushButton* sbtnStart = nullptr;
    QFrame* Lamps[7] = {};
    QStackedWidget* lytframe = nullptr;
    QWidget* FActiveFrame = nullptr;
    QWidget* lytbcknxt = nullptr;
    QPushButton *rctnglNext = nullptr, *rctgnlBack = nullptr, *rctnglRestartCalib = nullptr,
                *rctngSaveExit = nullptr, *rctglAbort = nullptr;
    QFrame* lytAni = nullptr;
    QFrame* rctnglAni = nullptr;
    QTimer *fltnmtnProgress = nullptr, *fltnmtnIdle = nullptr;
    QRadioButton *rb50hz = nullptr, *rb60hz = nullptr;
    QLineEdit *edtSpannung = nullptr, *edtStrom = nullptr;
    QLabel* txtFrequency = nullptr;
    QWidget* imgAnschluss = nullptr;
    QPushButton* rctgnlShowAnschluss = nullptr;
    QTreeWidget* LBStatus = nullptr;
    QFrame* rctnglSucc = nullptr;
    QLabel* txtSucc = nullptr;
    QPlainTextEdit* mmoVorschrift = nullptr;
};

} // namespace ferro
