#include "forms/FormVisu.h"

#include "charts/ClipLst.h"
#include "charts/PQPaintBoxCrvTime.h"
#include "charts/PQPaintBoxHarm.h"
#include "charts/PQPaintBoxLoadFlow.h"
#include "charts/PQPaintBoxVecDiag.h"
#include "forms/PaintBoxWidget.h"
#include "foundation/Clock.h"
#include "foundation/records/Units.h"
#include "link/CommandTable.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QSlider>
#include <QStackedWidget>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace ferro {

namespace {

// From this version word on the instrument has binary inputs and streams them with the panel.
constexpr uint32_t CBinaryStreamVer = 0x02010200;
constexpr int64_t CStreamWatchMs = 10000;
// The mirror asks for the next picture this long after one arrived; the watchdog's backstop is 1 s.
constexpr int CPictureGapMs = 500;

} // namespace

TFormVisu::TFormVisu(QWidget* Parent) : TFormBasic(Parent) {
    setObjectName("FormVisu");
    FFrmCapt = "Live-Ansicht";
    ColArr.assign(CColArr.begin(), CColArr.end());
    auto* lay = new QVBoxLayout(lytBase);
    lay->setContentsMargins(4, 4, 4, 0);
    BuildToolRow();
    BuildColorButtons();
    TabCtrlStream = new QStackedWidget(lytBase);
    TabCtrlStream->setObjectName("TabCtrlStream");
    lay->addWidget(TabCtrlStream, 1);
    BuildStartPage();
    for (auto [page, name] : {std::pair{&TabItmOszi, "TabItmOszi"},
                              {&TabItmZeiger, "TabItmZeiger"},
                              {&TabItmHrms, "TabItmHrms"}}) {
        *page = new QWidget(TabCtrlStream);
        (*page)->setObjectName(name);
        auto* l = new QVBoxLayout(*page);
        l->setContentsMargins(0, 0, 0, 0);
        TabCtrlStream->addWidget(*page);
    }
    BuildPanelPage();
    BuildDisplayPage();
    TabCtrlStream->setCurrentWidget(TabItmStart);

    FReaders.Log = [this](const std::string& t) { LogPrepare(this, t, false); };
    FReaders.PanelChanged = [this](const TPanelTexts& t) { ShowPanelTexts(t); };

    // The FFT's vertical zoom: the base form's track bar, 1 to 20, 10 neutral.
    tbZoom->setObjectName("tbFFTZoom");
    tbZoom->setRange(1, 20);
    tbZoom->setValue(10);
    connect(tbZoom, &QSlider::valueChanged, this, [this](int v) {
        if (FZoomGuard) return;
        SetZoomText(v);
        if (FReaders.FFT) FReaders.FFT->ZoomFFT(v);
    });

    tmrDispTimer = new QTimer(this);
    tmrDispTimer->setObjectName("tmrDispTimer");
    tmrDispTimer->setInterval(1000);
    connect(tmrDispTimer, &QTimer::timeout, this, [this] { DispTimer(); });

    // Hidden until the link says what it is.
    BtnFFT->hide();
    BtnOsci->hide();
    btnDisplay->hide();
    btnIR->hide();
    LytColors->hide();
    lytTrackZoom->hide();
    UpdateActions();
}

TFormVisu::~TFormVisu() {
    FDisplayActive = false;
    if (FComUnit) {
        FComUnit->FUpdateGrid = nullptr;
        FComUnit->FBinInCB = nullptr;
    }
    LogPrepare(this, "Start:TFormVisu", false);
    tmrDispTimer->stop();
    DestroyCharts();
    LogPrepare(this, "End:TFormVisu", false);
}

int64_t TFormVisu::Now() const {
    return clock().nowMs();
}

QStringList TFormVisu::Pages() const {
    return {"Start",          "Messwerte",         "Oszilloskop",  "FFT",
            "Zeigerdiagramm", "Harmonische U L-E", "Gerätedisplay"};
}

void TFormVisu::ShowPage(int Index) {
    MenuBack();
    static const TFerroDisp disps[] = {sdPanel, sdOsziTime, sdOsziFFT, sdVecDiag, sdHrmULE};
    if (Index >= 1 && Index <= 5) OpenDisplay(disps[Index - 1]);
    if (Index == 6) btnDisplayClick();
}

// ---- Connection ----

void TFormVisu::ConnEst(TSender Sender, bool Success) {
    TFormBasic::ConnEst(Sender, Success);
    if (!Success || !FComUnit) return;
    const TIdentity& id = FComUnit->Identity();
    FReaders.Gen = id.Rev.Gen;
    btnIR->setVisible(id.DevType == devtypFerroDE && id.Rev.Gen > 1);
    // The oscilloscope's blocks are too large for the serial line.
    const bool tcp = FRSComUnit == nullptr;
    BtnFFT->setVisible(tcp);
    BtnOsci->setVisible(tcp);
    btnDisplay->setVisible(id.DevType == devtypFerro || id.DevType == devtypFerroNimbus);
    FComUnit->FBinInCB = [this](TSender S, uint32_t n, const std::vector<uint8_t>& b) { SetBinary(S, n, b); };
    tmrDispTimer->start();
    UpdateActions();
}

void TFormVisu::ConnectionLost(const std::string& Reason) {
    TFormBasic::ConnectionLost(Reason);
    UpdateActions();
}

void TFormVisu::PrepareShutdown() {
    TFormBasic::PrepareShutdown();
    FDisplayActive = false;
    StopStreamProc();
}

// ---- Views ----

bool TFormVisu::OpenDisplay(TFerroDisp Disp) {
    if (actMenuBack->isEnabled() && Disp != sdLoadFlow) return false;
    if (!Established()) return false;
    if (actMenuBack->isEnabled()) MenuBack();
    FReaders.FStrucInf = StrucInfoFor(Disp, FReaders.Gen);
    if (Disp != sdPanel) CreateChart(Disp);
    actMenuBack->setEnabled(true);
    switch (Disp) {
    case sdPanel:
        TabCtrlStream->setCurrentWidget(TabItmPanel);
        grpBoxBinary->setVisible(FComUnit && FComUnit->Identity().Rev.Rev >= CBinaryStreamVer);
        for (int i = 2; i < 8; ++i)
            FBinCircles[size_t(i)]->parentWidget()->setVisible(FComUnit &&
                                                               FComUnit->Identity().DevType == devtypFerroDE);
        break;
    case sdOsziTime:
    case sdOsziFFT:
        TabCtrlStream->setCurrentWidget(TabItmOszi);
        break;
    case sdVecDiag:
    case sdLoadFlow:
        TabCtrlStream->setCurrentWidget(TabItmZeiger);
        break;
    default:
        TabCtrlStream->setCurrentWidget(TabItmHrms);
        break;
    }
    StartStreamProc();
    UpdateActions();
    return true;
}

void TFormVisu::CreateChart(TFerroDisp Disp) {
    std::unique_ptr<TPQPaintBox> box;
    QWidget* page = TabItmHrms;
    switch (Disp) {
    case sdOsziTime: {
        auto c = std::make_unique<TPQPaintBoxCrvTime>();
        FReaders.Oszi = c.get();
        box = std::move(c);
        page = TabItmOszi;
        break;
    }
    case sdOsziFFT: {
        auto c = std::make_unique<TPQPaintBoxCrvFFT>();
        c->SetUpdateTrackBar([this](int v) {
            FZoomGuard = true;
            tbZoom->setValue(v);
            FZoomGuard = false;
            SetZoomText(v);
        });
        FReaders.FFT = c.get();
        box = std::move(c);
        page = TabItmOszi;
        FZoomGuard = true;
        tbZoom->setValue(10);
        FZoomGuard = false;
        SetZoomText(10);
        break;
    }
    case sdVecDiag: {
        auto c = std::make_unique<TPQPaintBoxVecDiag>();
        FReaders.Vect = c.get();
        box = std::move(c);
        page = TabItmZeiger;
        break;
    }
    case sdLoadFlow: {
        auto c = std::make_unique<TPQPaintBoxLoadFlow>();
        c->SetFerroDisp(sdHrmULE);
        FReaders.Load = c.get();
        box = std::move(c);
        page = TabItmZeiger;
        break;
    }
    default: {
        auto c = std::make_unique<TPQPaintBoxHarm>();
        c->SetFerroDisp(Disp);
        for (int i = 0; i < 51; ++i)
            c->SetHarmLim(i, CDefHrms[size_t(i)]);
        FReaders.Hrm = c.get();
        box = std::move(c);
        break;
    }
    }
    auto* w = new PaintBoxWidget(std::move(box), page);
    w->setObjectName(Disp == sdOsziTime || Disp == sdOsziFFT ? "ScrollBoxOszi" : "PaintBox");
    w->setMinimumSize(320, 200);
    page->layout()->addWidget(w);
    FChartWidget = w;
    w->Box().SetRepaintRequest([this, w] {
        w->update();
        emit PageUpdated();
    });
    if (Disp == sdOsziTime || Disp == sdOsziFFT) {
        auto& crv = static_cast<TPQPaintBoxCrvFFT&>(w->Box());
        LytColors->show();
        lytTrackZoom->setVisible(Disp == sdOsziFFT);
        SelectOsciValues(crv);
        SetColumnColors(crv);
        FReaders.FAutoScl = true;
    }
}

void TFormVisu::DestroyCharts() {
    FReaders.Oszi = nullptr;
    FReaders.FFT = nullptr;
    FReaders.Vect = nullptr;
    FReaders.Hrm = nullptr;
    FReaders.Load = nullptr;
    delete FChartWidget;
    FChartWidget = nullptr;
}

void TFormVisu::MenuBack() {
    if (!actMenuBack->isEnabled()) return;
    FDisplayActive = false;
    StopStreamProc();
    DestroyCharts();
    TabCtrlStream->setCurrentWidget(TabItmStart);
    actMenuBack->setEnabled(false);
    LytColors->hide();
    lytTrackZoom->hide();
    UpdateActions();
}

void TFormVisu::SelectOsciValues(TPQPaintBoxCrvFFT& Chart) {
    FReaders.FOsziArrNumbers.clear();
    std::vector<TYBaseRec> recs;
    for (int i = 0; i < COsciChannels; ++i) {
        if (!FColButtons[size_t(i)]->isChecked()) continue;
        FReaders.FOsziArrNumbers.push_back(i);
        recs.push_back(OsciChannelRec(i));
    }
    Chart.SetCrvCnt(int(recs.size()));
    for (size_t k = 0; k < recs.size(); ++k)
        Chart.SetBaseRec(int(k), recs[k]);
}

void TFormVisu::SetColumnColors(TPQPaintBoxCrvFFT& Chart) {
    int k = 0;
    for (int i = 0; i < COsciChannels; ++i)
        if (FColButtons[size_t(i)]->isChecked()) Chart.SetLnColor(k++, TAlphaColor(ColArr[size_t(i)]));
}

// ---- Streams ----

void TFormVisu::StartStreamProc() {
    FLastStream = Now() + CStreamWatchMs;
    const TStrucInfo& s = FReaders.FStrucInf;
    if (s.FerroDataObj == do1s && FComUnit && FComUnit->Identity().Rev.Rev >= CBinaryStreamVer)
        StartStreamWithBinary(this, s.FerroDataObj);
    else
        StartStream(this, s.FerroDataObj);
}

void TFormVisu::StopStreamProc() {
    if (FComUnit && FComUnit->FStreamRec.Active) StopStream(this);
}

void TFormVisu::UpdateGrid() {
    FLastStream = Now() + CStreamWatchMs;
    if (!FComUnit || !actMenuBack->isEnabled() || TabCtrlStream->currentWidget() == TabItmDisp) return;
    FReaders.Gen = FComUnit->Identity().Rev.Gen;
    if (FReaders.UpdateGrid(FComUnit->FBytes) && FReaders.FStrucInf.FerroDisp == sdPanel) emit PageUpdated();
}

void TFormVisu::DispTimer() {
    if (!FComUnit) return;
    const bool connected = FComUnit->IsConnected();
    const bool idle = FComUnit->SendList().empty();
    // The backstop: a second without a picture or a request asks again, so a lost answer costs a second.
    if (FDisplayActive && !FComUnit->FTHreadExcept && connected && idle && Now() > FLastStream) {
        FWaitingForPicture = true;
        GetNewDisplayImage(this);
        FLastStream = Now() + 1000;
        return;
    }
    if (FStreamRunning && !FComUnit->FTHreadExcept && !FComUnit->FShutDown && connected && idle &&
        FComUnit->CheckTransferTimeout() && Now() > FLastStream) {
        LogPrepare(this, "Trying to restart Stream", true);
        // The link forgets the block it waits for; the stream is stopped and, a second later, asked for anew.
        FComUnit->FNextStreamBool = false;
        StopStream(this);
        FLastStream = Now() + CStreamWatchMs;
        QTimer::singleShot(1000, this, [this] {
            if (actMenuBack->isEnabled() && !FDisplayActive && Established()) StartStreamProc();
        });
        return;
    }
    if (!connected) {
        LogPrepare(this, "Connection lost", true);
        tmrDispTimer->stop();
    }
}

void TFormVisu::SetBinary(TSender, uint32_t Count, const std::vector<uint8_t>& Bytes) {
    for (uint32_t i = 0; i < Count && i < Bytes.size() && i < 8; ++i)
        FBinCircles[i]->setStyleSheet(
            QString("background:%1; border-radius:9px;").arg(Bytes[i] ? "#F28E00" : "#92959B"));
    emit PageUpdated();
}

// ---- Display mirror ----

void TFormVisu::btnDisplayClick() {
    if (actMenuBack->isEnabled() || !Established()) return;
    actMenuBack->setEnabled(true);
    FDisplayActive = true;
    GetNewDisplayImage(this);
    FWaitingForPicture = true;
    FLastStream = Now() + 1000;
    TabCtrlStream->setCurrentWidget(TabItmDisp);
    UpdateActions();
}

void TFormVisu::SetNewDisplayImage(TSender, MemStream& Stream) {
    FLastStream = Now() + 1000;
    FWaitingForPicture = false;
    QPixmap pic;
    if (pic.loadFromData(Stream.data(), uint(Stream.size())))
        imgDisp->setPixmap(pic);
    else
        LogPrepare(this, "Das Bild des Gerätedisplays ist nicht lesbar.", false);
    ++FPictures;
    emit PageUpdated();
    // The next picture half a second after this one, unless the page was left meanwhile.
    QTimer::singleShot(CPictureGapMs, this, [this] { GetNewDispThread(); });
}

void TFormVisu::GetNewDispThread() {
    // A late wait (a busy machine) finds the backstop's request already on its way: one is enough.
    if (!FDisplayActive || FWaitingForPicture) return;
    FWaitingForPicture = true;
    FLastStream = Now() + 1000;
    GetNewDisplayImage(this);
}

void TFormVisu::NewOnKeyDown(TSender Sender, int& Key, QChar& KeyChar, Qt::KeyboardModifiers Shift) {
    TFormBasic::NewOnKeyDown(Sender, Key, KeyChar, Shift);
    if (TabCtrlStream->currentWidget() != TabItmDisp || !FDisplayActive) return;
    switch (Key) {
    case Qt::Key_Left:
        ControlDevice(this, BtnLeft);
        break;
    case Qt::Key_Up:
        ControlDevice(this, BtnTop);
        break;
    case Qt::Key_Right:
        ControlDevice(this, BtnRight);
        break;
    case Qt::Key_Down:
        ControlDevice(this, BtnDown);
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        ControlDevice(this, BtnEnter);
        break;
    default:
        return;
    }
    Key = 0;
}

// ---- Tool actions ----

void TFormVisu::AutoScale() {
    if (FReaders.Oszi)
        FReaders.Oszi->AutoScaleAll();
    else if (FReaders.FFT)
        FReaders.FFT->AutoScaleAll();
    if (FChartWidget) FChartWidget->update();
}

void TFormVisu::ChangeStack() {
    TPQPaintBoxCrvFFT* c = FReaders.Oszi ? FReaders.Oszi : FReaders.FFT;
    if (!c) return;
    c->SetStack(TStackTyp((int(c->Stack()) + 1) % 3));
    if (FReaders.Oszi) FReaders.Oszi->ForceRepaint();
    if (FChartWidget) FChartWidget->update();
}

void TFormVisu::CopyData() {
    if (!FChartWidget) return;
    TClipLst list;
    if (FChartWidget->Box().CopyToClip(list)) list.CopyToClip();
}

void TFormVisu::CopyImage() {
    QWidget* w = FChartWidget ? static_cast<QWidget*>(FChartWidget) : TabCtrlStream->currentWidget();
    QApplication::clipboard()->setPixmap(w->grab());
}

void TFormVisu::SetZoomText(int Value) {
    txtZoomPerc->setText(QString::asprintf("%d%%", Value * 10));
}

void TFormVisu::UpdateActions() {
    const bool open = actMenuBack->isEnabled();
    const bool curves = FReaders.Oszi || FReaders.FFT;
    const bool online = Established();
    actAutoScale->setEnabled(curves);
    actStack->setEnabled(curves);
    actCopyData->setEnabled(FChartWidget != nullptr);
    actCopyImage->setEnabled(open);
    actSoftTrigg->setEnabled(online);
    for (auto* b : TabItmStart->findChildren<QToolButton*>())
        b->setEnabled(online && !open);
    const QString why = online ? QString() : QStringLiteral("Keine Verbindung zum Gerät");
    TabItmStart->setToolTip(why);
}

} // namespace ferro
