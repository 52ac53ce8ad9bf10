#pragma once
// The live view: a start page with one button per view; each view asks the instrument for one
// stream object and shows every object that arrives on its chart or on the value panel. The
// display page mirrors the instrument's screen and keys. A watchdog restarts a silent stream.

#include "forms/FormBasic.h"
#include "live/LiveReaders.h"

#include <QStringList>

#include <array>
#include <memory>

class QAction;
class QFrame;
class QLabel;
class QLineEdit;
class QStackedWidget;
class QTimer;
class QToolButton;

namespace ferro {

class PaintBoxWidget;

class TFormVisu : public TFormBasic {
    Q_OBJECT
public:
    explicit TFormVisu(QWidget* Parent = nullptr);
    ~TFormVisu() override;

    QStringList Pages() const override;
    void ShowPage(int Index) override;

    void ConnEst(TSender Sender, bool Success) override;
    void UpdateGrid() override;
    void SetNewDisplayImage(TSender Sender, MemStream& Stream) override;
    void PrepareShutdown() override;
    void NewOnKeyDown(TSender Sender, int& Key, QChar& KeyChar, Qt::KeyboardModifiers Shift) override;
    void ConnectionLost(const std::string& Reason) override;

    // Opens the view of a display (panel, oscilloscope, ... interharmonics I); false while another
    // view is open (the load flow alone may replace one).
    bool OpenDisplay(TFerroDisp Disp);
    void StartStreamProc();
    void StopStreamProc();
    // The watchdog's step, once a second.
    void DispTimer();
    void btnDisplayClick();
    void SelectOsciValues(TPQPaintBoxCrvFFT& Chart);
    void SetColumnColors(TPQPaintBoxCrvFFT& Chart);
    void SetBinary(TSender Sender, uint32_t Count, const std::vector<uint8_t>& Bytes);

    TLiveReaders FReaders;
    bool FDisplayActive = false;
    int64_t FLastStream = 0; // clock milliseconds: the stream watch's limit, the next picture's time
    // The open view's chart widget, if any.
    PaintBoxWidget* FChartWidget = nullptr;
    // The picture requests answered so far (the display page).
    int FPictures = 0;

    // ---- Actions, by the names the controls carry ----
    QAction* actMenuBack = nullptr;
    QAction* actSoftTrigg = nullptr;
    QAction* actAutoScale = nullptr;
    QAction* actStack = nullptr;
    QAction* actCopyData = nullptr;
    QAction* actCopyImage = nullptr;

signals:
    // A page's content changed (a chart repainted, the panel refilled, a picture arrived).
    void PageUpdated();

private:
    void BuildToolRow();
    void BuildStartPage();
    void BuildPanelPage();
    void BuildDisplayPage();
    void BuildColorButtons();
    QToolButton* ViewButton(QWidget* Parent, const QString& Name, const QString& Text, TFerroDisp Disp);
    // Creates the chart of a display on its page and hands it to the readers.
    void CreateChart(TFerroDisp Disp);
    void DestroyCharts();
    void ShowPanelTexts(const TPanelTexts& Texts);
    void MenuBack();
    void CopyData();
    void CopyImage();
    void ChangeStack();
    void AutoScale();
    void UpdateActions();
    void SetZoomText(int Value);
    void GetNewDispThread();
    int64_t Now() const;

    QStackedWidget* TabCtrlStream = nullptr;
    QWidget* TabItmStart = nullptr;
    QWidget* TabItmOszi = nullptr;
    QWidget* TabItmZeiger = nullptr;
    QWidget* TabItmHrms = nullptr;
    QWidget* TabItmPanel = nullptr;
    QWidget* TabItmDisp = nullptr;
    QWidget* LytColors = nullptr;
    QToolButton* BtnOsci = nullptr;
    QToolButton* BtnFFT = nullptr;
    QToolButton* btnDisplay = nullptr;
    QToolButton* btnIR = nullptr;
    std::array<QToolButton*, COsciChannels> FColButtons{};
    QWidget* grpBoxBinary = nullptr;
    std::array<QLabel*, 8> FBinCircles{};
    QLabel* imgDisp = nullptr;
    QFrame* imgDev = nullptr;
    QTimer* tmrDispTimer = nullptr;
    bool FZoomGuard = false;
    bool FWaitingForPicture = false;
};

} // namespace ferro
