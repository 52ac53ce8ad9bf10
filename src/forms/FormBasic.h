#pragma once
// The base of every device view: it owns the link, turns the link's callbacks into the view's
// virtual operations, shows messages from any thread, shows progress and owns the status bar.

#include "data/DataFileTypes.h"
#include "foundation/Sammler.h"
#include "foundation/TimeRecords.h"
#include "link/ComUnit.h"
#include "link/DeviceSession.h"
#include "para/XMLLangu.h"

#include <QPointer>
#include <QStringList>
#include <QWidget>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class QFrame;
class QLabel;
class QMessageBox;
class QProgressBar;
class QSlider;
class QTimer;

namespace pugi {
class xml_document;
}

namespace ferro {

class TTCPComUnit;
class TRSComUnit;

class TFormBasic : public QWidget {
    Q_OBJECT
public:
    explicit TFormBasic(QWidget* Parent = nullptr);
    ~TFormBasic() override;

    // ---- The view's life: open on one instrument, close in order ----
    // Makes the session for `Rec` and starts connecting; returns at once. ConnEst follows when the
    // session stands, EstablishedChanged(true) with it.
    void Open(const TConnectionRec& Rec);
    // Ends the session in order; ViewFinished follows when the line is down (at the latest after
    // the session's close limit).
    void CloseView();
    TDeviceSession* Session() const { return FSession.get(); }
    bool Established() const { return FSession && FSession->Established(); }
    bool Closing() const { return FClosing; }
    const TConnectionRec& Connection() const { return FRec; }
    // Pages a view shows one after the other (the screenshot run walks them); none by default.
    virtual QStringList Pages() const { return {}; }
    virtual void ShowPage(int) {}

    // ---- Entry points of the host ----
    void SetComUnit(bool IsSerial, bool IsSSH, TIpVer IpVer);
    // Takes a link that is already made (an in-memory one in tests) and connects its callbacks.
    void AdoptComUnit(std::unique_ptr<TComUnit> Unit, bool IsSSH);
    void SetTCPCommUnit(const std::string& IP, int Port, bool FTP, bool Connect, bool SetFolders, bool GZ,
                        bool CheckXML, int BoundPort);
    void SetSerialComUnit(const std::string& Port, bool Connect, bool SetFolders, bool GZ, bool CheckXML,
                          bool UseStart);
    void ConnEnd(TSender Sender);

    // ---- Virtual operations ----
    virtual void ConnEst(TSender Sender, bool Success);
    virtual void LogPrepare(TSender Sender, const std::string& Text, bool ToMemo);
    virtual void StartWork(const std::string& Text);
    virtual void EndWork();
    virtual void StopWork();
    virtual void ClearWork();
    // The end of a piece of work that a sender (a thread, a dialog) reports; the base ends the work.
    virtual void EndWork(TSender Sender);
    virtual void ParaToTable(const std::string&) {}
    virtual void EvtOverView(const std::vector<std::string>&) {}
    virtual void EvtToTable(const std::string&) {}
    virtual void RecOverView(const std::vector<std::string>&) {}
    virtual void RecToTable(const std::string&) {}
    virtual void AsyncToTable(const std::string&) {}
    virtual void ThreadExceptCallBack(TSender) {}
    virtual void UpdateMIColor() {}
    virtual void UpdateGrid() {}
    virtual void SetNewDisplayImage(TSender, MemStream&) {}
    virtual void PrepareShutdown();
    virtual void CheckData() {}
    // A key pressed in the view; a handler that used it sets `Key` to 0.
    virtual void NewOnKeyDown(TSender, int& /*Key*/, QChar& /*KeyChar*/, Qt::KeyboardModifiers /*Shift*/) {}
    // The session fell (line lost, refused); the view shows it and may offer to reconnect.
    virtual void ConnectionLost(const std::string& Reason);
    // The connect attempt failed; the session has told the user why.
    virtual void ConnectionFailed(const std::string& Reason);
    // Every step of the session (connecting, standing, closing ...), for views that show it.
    virtual void SessionStateChanged(TSessionState) {}

    // ---- Sending (each form first checks the line) ----
    bool SendCommandToCom(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd);
    bool SendCommandToCom(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                          const std::string& txt, bool LUA);
    bool SendCommandToCom(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd, uint32_t ID);
    bool SendCommandToCom(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                          const std::string& txt);
    bool SendCommandToCom(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                          const std::string& txt, uint32_t Pos, bool LUA);
    bool SendCommandToCom(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                          const std::string& txt, const std::string& ccciFileName);
    bool CheckConnection();

    void StartStream(TSender Sender, int Kind);
    void StartStreamWithBinary(TSender Sender, int Kind);
    void StopStream(TSender Sender);
    void GetPara(TSender Sender);
    void RecUebClick(TSender Sender);
    void EvtUebClick(TSender Sender);
    void RecClick(TSender Sender, const std::string& Name);
    void RecClick(TSender Sender, const std::string& Name, uint32_t Pos);
    void EvtClick(TSender Sender, const std::string& Name);
    void EvtClick(TSender Sender, const std::string& Name, uint32_t Pos);
    void RecDel(TSender Sender, const std::string& Name);
    void RecDelAll(TSender Sender);
    void EvtDel(TSender Sender, const std::string& Name);
    void EvtDelAll(TSender Sender);
    void GetNewDisplayImage(TSender Sender);
    void ControlDevice(TSender Sender, TBtnControlDevice Btn);
    // The Lua line that presses a front-panel key.
    static const char* ControlDeviceLua(TBtnControlDevice Btn);

    // Asks the instrument whether the SSH user holds `Right`; exactly one of the two runs.
    void CheckSSHRight(const std::string& Right, TProc Allowed, TProc Denied);
    // Whether a rights reply grants the right: "true" anywhere, in any case.
    static bool RightGranted(const std::string& Output);
    void CallBackXML(TSender Sender, const std::string& FileName, int XMLType);
    // The name and unit of a measured object id, from FMGFerroCls.
    TMGFerroRec GetMGFerroPtr(TSender Sender, uint32_t Id) const;

    // The link's file callbacks, forwarded to the virtual operations.
    void FileRecOverView(TSender Sender, MemStream& Stream);
    void FileEvtOverView(TSender Sender, MemStream& Stream);
    void FileRecToTable(TSender Sender, const std::string& FileName);
    void FileEvtToTable(TSender Sender, const std::string& FileName);
    void FileAsyncToTable(TSender Sender, const std::string& FileName);
    void FileUpdateGrid(TSender Sender);

    // ---- Messages ----
    void DisplayConnMessage(const std::string& Text, TMsgDlgType MsgType, TThreadedMessageCallBack Callback,
                            TMsgDlgButtons Buttons, TMsgDlgBtn DefaultButton);
    // Callable from any thread.
    void DisplayMessage(const std::string& Text, TMsgDlgType MsgType, TMsgDlgButtons Buttons,
                        TMsgDlgBtn DefaultButton, TThreadedMessageCallBack Callback);
    // Straight to the dialog service: no identity added, not counted by the host.
    void DisplayAsyncConnMessage(const std::string& Text, TMsgDlgType MsgType, TMsgDlgButtons Buttons,
                                 TMsgDlgBtn DefaultButton, TThreadedMessageCallBack Callback);
    void ShowDLG(const std::string& Text, TMsgDlgType MsgType, TMsgDlgButtons Buttons,
                 TMsgDlgBtn DefaultButton, TThreadedMessageCallBack Callback);
    void SetLabConText(TSender Sender, const std::string& Text);
    void SetCapt(const std::string& Text);
    std::string GetAppVersionStr() const;

    // ---- Transfer progress ----
    void WorkBegin(TWorkMode Mode, uint64_t Max);
    void SetWorkProg(TWorkMode Mode, uint64_t Count);
    void WorkEnd(TWorkMode Mode);
    // The same from the link's threads: they hop to the main thread first.
    void ComUnitOnWorkBegin(TWorkMode Mode, uint64_t Max);
    void ComUnitOnWork(TWorkMode Mode, uint64_t Count);
    void ComUnitOnWorkEnd(TWorkMode Mode);
    void SynchStartProgress(uint64_t Total);
    void SynchSendProgress();
    void SynchStoppProgress();

    // ---- Fields the host and the descendants use ----
    std::string FVerInfo, FFrmCapt;
    int FVisibility = 0;
    int FWIP = 0, FWorkCnt = 0;
    TWorkCallback FWorkCallback;
    std::function<void(bool Open)> FCntDlgBoxes;
    TFerroLogNotify FOnLogCallBack;
    TProgressCallBack FSetProg;
    TGlobalProgressCallBack FSetGlobalProg;
    TEnableDisableBar FEnableDisableBar;
    TConnectThreadEnd FConnectThreadEnd;
    TChangeLoadText FChangeLoadText;
    TXMLVersionCallback FXMLVersionCallback;
    std::function<void(bool Success)> FConnestCB;
    bool FStreamRunning = false, FConnSucces = false, FAuthError = false;
    std::string FIP, FPort, FSN;
    TGetMGFerroPtr FOnGetFerroPtr;
    // The instrument's language file: FLangXML names groups and columns, FLangXMLFN the event texts.
    TXMLLangu FLangXML, FLangXMLFN;
    // The setup document a view works on, and the known measured objects.
    std::unique_ptr<pugi::xml_document> FXML;
    std::map<uint32_t, TMGFerroRec> FMGFerroCls;
    // The column groups of the recording a view shows.
    std::vector<TVecIdxStruct> FGrpLst;
    uint64_t FGesamtCount = 0, FCnt = 0;
    time_tz_t Ftme;
    bool FSecureConnection = false;
    bool OfflineMode = false;
    std::vector<TAlphaColor> ColArr;

    // Whichever of the two transports was made; owned through the two fields below.
    TComUnit* FComUnit = nullptr;
    TTCPComUnit* FTCPComUnit = nullptr;
    TRSComUnit* FRSComUnit = nullptr;

    // The area a descendant fills; the status bar sits below it.
    QWidget* lytBase = nullptr;

signals:
    // The host may take the view away now (closed on request, or never opened).
    void ViewFinished();
    void EstablishedChanged(bool Established);

protected:
    void closeEvent(QCloseEvent* Event) override;
    void keyPressEvent(QKeyEvent* Event) override;
    void LogCallBack(const std::string& Text, bool ToMemo);

    QFrame* StatBar = nullptr;
    QProgressBar* ProgressBar1 = nullptr;
    QLabel* txtProgress = nullptr;
    QLabel* LabSBar = nullptr;
    QFrame* PanelBack = nullptr;
    QProgressBar* AniIndi = nullptr;
    QLabel* lblCon = nullptr;
    QWidget* lytTrackZoom = nullptr;
    QSlider* tbZoom = nullptr;
    QLabel* txtZoomNeg = nullptr;
    QLabel* txtZoomPos = nullptr;
    QLabel* txtZoomPerc = nullptr;
    QLabel* imgSecure = nullptr;

private:
    // Every SendCommandToCom form: connects first if needed, then queues the command.
    template <class... Args> bool SendChecked(Args&&... args) {
        if (!CheckConnection()) return false;
        FComUnit->SendCommand(std::forward<Args>(args)...);
        return true;
    }
    // Settings both transports share; false when no connection is wanted (the work ends here).
    bool PrepareLink(bool FTP, bool GZ, bool SetFolders, bool Connect, bool CheckXML);
    void BuildStatusBar();
    void MakeSession(std::unique_ptr<TComUnit> Unit);
    void WireCallbacks();
    void WireSession();
    void FinishPendingDialogs();
    void ShowProgressPercent(int Percent);
    void Finish();

    TConnectionRec FRec;
    std::unique_ptr<TDeviceSession> FSession;
    bool FClosing = false, FFinished = false;
    uint64_t FWorkMax = 0;
    std::vector<QPointer<QMessageBox>> FOpenBoxes;
};

} // namespace ferro
