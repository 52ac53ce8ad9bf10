#include "calib/FrmCalib.h"

#include "calib/CalibReport.h"
#include "forms/MessageDialog.h"
#include "foundation/Clock.h"
#include "foundation/Format.h"
#include "foundation/MainThread.h"
#include "link/ComUnit.h"

#include <QDate>
#include <QEvent>
#include <QFormLayout>
#include <QGraphicsOpacityEffect>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPropertyAnimation>
#include <QPushButton>
#include <QRadioButton>
#include <QStackedWidget>
#include <QTabBar>
#include <QTabWidget>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace ferro {

namespace {

constexpr int CIdleDurationMs = 3000;
constexpr int CTickMs = 40;

const char* const CLampNames[7] = {"rrsrc", "rrFrequ", "rrNull", "rrSrcCon", "rrRef", "rrCheck", "rrFinal"};
const char* const CLampTexts[7] = {"Quelle trennen",         "Frequenz wählen",      "Nullpunkt messen",
                                   "Quelle verbinden",       "Referenz vergleichen", "Status prüfen",
                                   "Kalibration abschließen"};
const char* const CPageNames[4] = {"Anforderungen", "Einrichtung", "Testbedingungen", "Kalibration"};

QString LampColour(int State) {
    switch (State) {
    case 0:
        return "#E0E0E0";
    case 1:
        return "#FFFF00";
    case 2:
        return "#32CD32";
    default:
        return "#FF0000";
    }
}

QLabel* Text(const QString& t, QWidget* parent, bool big = false) {
    auto* l = new QLabel(t, parent);
    l->setWordWrap(true);
    if (big) l->setStyleSheet("font-size: 12pt;");
    return l;
}

// The wiring of the calibrator to the inputs: voltages in parallel, currents in series.
class TWiringPicture : public QWidget {
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        p.fillRect(rect(), Qt::white);
        p.setPen(QPen(Qt::black, 1.5));
        const QRectF cal(10, 20, 110, 150), dev(width() - 170, 20, 160, 150);
        p.drawRoundedRect(cal, 6, 6);
        p.drawRoundedRect(dev, 6, 6);
        p.drawText(cal.adjusted(0, 4, 0, 0), Qt::AlignHCenter | Qt::AlignTop, "Kalibrator");
        p.drawText(dev.adjusted(0, 4, 0, 0), Qt::AlignHCenter | Qt::AlignTop, "Ferro Recorder");
        const char* in[8] = {"U1", "U2", "U3", "U4", "I1", "I2", "I3", "I4"};
        for (int k = 0; k < 8; ++k) {
            const double y = 40 + k * 15;
            p.drawText(QPointF(dev.left() + 10, y + 4), in[k]);
        }
        // Voltage: one pair of lines along all four inputs.
        p.setPen(QPen(QColor("#C00000"), 1.5));
        p.drawText(QPointF(cal.left() + 8, 64), "U 100 V");
        p.drawLine(QPointF(cal.right(), 60), QPointF(dev.left() - 20, 60));
        p.drawLine(QPointF(dev.left() - 20, 36), QPointF(dev.left() - 20, 84));
        for (int k = 0; k < 4; ++k)
            p.drawLine(QPointF(dev.left() - 20, 36 + k * 15), QPointF(dev.left() + 8, 36 + k * 15));
        // Current: through every input in turn.
        p.setPen(QPen(QColor("#0040C0"), 1.5));
        p.drawText(QPointF(cal.left() + 8, 124), "I 5 A");
        p.drawLine(QPointF(cal.right(), 120), QPointF(dev.left() - 35, 120));
        p.drawLine(QPointF(dev.left() - 35, 96), QPointF(dev.left() - 35, 120));
        for (int k = 0; k < 4; ++k)
            p.drawLine(QPointF(dev.left() - 35, 96 + k * 15), QPointF(dev.left() + 8, 96 + k * 15));
    }
};

} // namespace

TFrmCalib::TFrmCalib(QWidget* Parent) : TFormBasic(Parent) {
    setObjectName("FrmCalib");
    FAniClock = &clock();
    FClose = [this](TSender) { CloseView(); };
    auto* root = new QVBoxLayout(lytBase);
    root->setContentsMargins(12, 12, 12, 8);
    auto* title = new QLabel("Kalibrierung", lytBase);
    title->setStyleSheet("font-size: 14pt; font-weight: bold;");
    root->addWidget(title);

    tbcCalib = new QTabWidget(lytBase);
    tbcCalib->setObjectName("tbcCalib");
    tbcCalib->tabBar()->hide(); // the run leads from page to page
    tbcCalib->setDocumentMode(true);
    tbtmStart = BuildStart();
    TbtmEinrichtung = BuildSetup();
    tbtmBedingungen = BuildConditions();
    tbtmKailb = BuildCalibration();
    tbcCalib->addTab(tbtmStart, CPageNames[0]);
    tbcCalib->addTab(TbtmEinrichtung, CPageNames[1]);
    tbcCalib->addTab(tbtmBedingungen, CPageNames[2]);
    tbcCalib->addTab(tbtmKailb, CPageNames[3]);
    root->addWidget(tbcCalib, 1);
    root->addWidget(BuildButtons());

    fltnmtnProgress = new QTimer(this);
    fltnmtnProgress->setObjectName("fltnmtnProgress");
    fltnmtnIdle = new QTimer(this);
    fltnmtnIdle->setObjectName("fltnmtnIdle");
    for (QTimer* t : {fltnmtnProgress, fltnmtnIdle}) {
        t->setInterval(CTickMs);
        connect(t, &QTimer::timeout, this, [this] { AnimationTick(); });
    }
    tbcCalib->setCurrentWidget(tbtmStart);
    rctnglAni->hide();
    lytbcknxt->hide();
    SetButtons(TCalibRun::ButtonsFor(TCalibRun::CStepError), false);
}

TFrmCalib::~TFrmCalib() {
    FClose = nullptr;
}

QLineEdit* TFrmCalib::AddEdit(QWidget* Parent, const char* Name, const QString& Text) {
    auto* e = new QLineEdit(Text, Parent);
    e->setObjectName(Name);
    return e;
}

QWidget* TFrmCalib::BuildStart() {
    auto* page = new QWidget;
    page->setObjectName("tbtmStart");
    auto* l = new QVBoxLayout(page);
    l->addWidget(Text("Anforderungen an die Kalibrierung", page, true));
    l->addWidget(Text(
        "Das Gerät wird gegen einen Kalibrator und ein Multimeter abgeglichen. Damit es danach die "
        "Genauigkeit der Klasse A nach IEC 61000-4-30 einhält, gilt:\n\n"
        "•  Kalibrator: Spannung 100 V und Strom 5 A bei 50 Hz oder 60 Hz, Abweichung höchstens 0,02 %.\n"
        "•  Multimeter zur Kontrollmessung: Abweichung höchstens 0,01 % im Bereich 100 V und 5 A.\n"
        "•  Das Gerät ist mindestens 30 Minuten eingeschaltet; die Umgebung liegt bei 15 °C bis 35 °C, "
        "25 % bis 75 % relativer Luftfeuchte und 86 kPa bis 106 kPa.\n"
        "•  Während der Kalibrierung bezieht das Gerät seine Zeit vom Computer.\n\n"
        "Die Kalibrierung dauert etwa fünf Minuten. Sie kann jederzeit abgebrochen werden; gespeichert "
        "wird erst mit „Speichern und Beenden“.",
        page));
    txtError = new QLabel(page);
    txtError->setObjectName("txtError");
    txtError->setWordWrap(true);
    txtError->setStyleSheet("color: #C00000; font-weight: bold; font-size: 11pt;");
    l->addWidget(txtError);
    sbtnStart = new QPushButton("Kalibrierung starten", page);
    sbtnStart->setObjectName("sbtnStart");
    sbtnStart->setEnabled(false);
    sbtnStart->setToolTip("Wartet auf die Verbindung zum Gerät");
    connect(sbtnStart, &QPushButton::clicked, this, [this] { sbtnStartClick(); });
    auto* row = new QHBoxLayout;
    row->addWidget(sbtnStart);
    row->addStretch(1);
    l->addLayout(row);
    l->addStretch(1);
    return page;
}

QWidget* TFrmCalib::BuildSetup() {
    auto* page = new QWidget;
    page->setObjectName("TbtmEinrichtung");
    auto* grid = new QGridLayout(page);
    auto* dev = new QGroupBox("Gerät und Prüfung", page);
    auto* f = new QFormLayout(dev);
    f->addRow("Gerätetyp", AddEdit(dev, "edtDeviceType", "Ferro Recorder"));
    f->addRow("Seriennummer", AddEdit(dev, "edtSN"));
    f->addRow("Name des Prüfers", AddEdit(dev, "edtUser"));
    f->addRow("Datum der Prüfung", AddEdit(dev, "edtDate"));
    f->addRow("Beginn der Prüfung", AddEdit(dev, "edtTime"));
    f->addRow("Programm", AddEdit(dev, "edtSW"));
    mmoVorschrift = new QPlainTextEdit(dev);
    mmoVorschrift->setObjectName("mmoVorschrift");
    mmoVorschrift->setPlainText(
        "IEC 61000-4-30 Klasse A; Abgleich von Spannung und Strom gegen Kalibrator und "
        "Kontrollmessung.");
    mmoVorschrift->setMaximumHeight(70);
    f->addRow("Vorschriften und Prüfungstexte", mmoVorschrift);
    f->addRow("Anmerkungen (Optional)", AddEdit(dev, "edtannotation"));
    grid->addWidget(dev, 0, 0, 2, 1);
    for (int k = 1; k <= 2; ++k) {
        auto* box = new QGroupBox(k == 1 ? "Prüfmittel 1" : "Prüfmittel 2", page);
        auto* bf = new QFormLayout(box);
        const std::string n = std::to_string(k);
        bf->addRow("Model", AddEdit(box, ("edtModel" + n).c_str()));
        bf->addRow("Seriennummer", AddEdit(box, ("edtSerNum" + n).c_str()));
        bf->addRow("Pürfmittel Nr.", AddEdit(box, ("edtChkNum" + n).c_str()));
        bf->addRow("Kalibriert bis", AddEdit(box, ("edtCalTo" + n).c_str()));
        bf->addRow("Zertifikat Nr.", AddEdit(box, ("edtCert" + n).c_str()));
        grid->addWidget(box, k - 1, 1);
    }
    auto* free = new QGroupBox("Weitere Angaben", page);
    auto* ff = new QGridLayout(free);
    const char* names[4] = {"edtFrei1", "EdtFrei1Val", "EdtFrei2", "EdtFrei2Val"};
    for (int i = 0; i < 4; ++i) {
        QLineEdit* e = AddEdit(free, names[i]);
        e->setPlaceholderText(i % 2 ? "Wert" : "Bezeichnung");
        ff->addWidget(e, i / 2, i % 2);
    }
    grid->addWidget(free, 2, 0, 1, 2);
    grid->setRowStretch(3, 1);
    grid->setColumnStretch(0, 3);
    grid->setColumnStretch(1, 2);
    return page;
}

QWidget* TFrmCalib::BuildConditions() {
    auto* page = new QWidget;
    page->setObjectName("tbtmBedingungen");
    auto* l = new QVBoxLayout(page);
    auto* box = new QGroupBox("Umgebung während der Prüfung", page);
    auto* f = new QFormLayout(box);
    f->addRow("Lufttemperatur", AddEdit(box, "edtAirTemp"));
    f->addRow("relative Luftfeuchte", AddEdit(box, "edtRelAirHum"));
    f->addRow("Luftdruck", AddEdit(box, "edtPressure"));
    auto* defaults = new QPushButton("Standardwerte", box);
    defaults->setObjectName("btnStandardwerte");
    connect(defaults, &QPushButton::clicked, this, [this] { StandardwerteClick(); });
    f->addRow("", defaults);
    l->addWidget(box);
    l->addStretch(1);
    return page;
}

QWidget* TFrmCalib::BuildCalibration() {
    auto* page = new QWidget;
    page->setObjectName("tbtmKailb");
    auto* h = new QHBoxLayout(page);
    auto* lamps = new QWidget(page);
    auto* ll = new QVBoxLayout(lamps);
    for (int i = 0; i < 7; ++i) {
        auto* row = new QHBoxLayout;
        Lamps[i] = new QFrame(lamps);
        Lamps[i]->setObjectName(CLampNames[i]);
        Lamps[i]->setFixedSize(22, 22);
        row->addWidget(Lamps[i]);
        auto* t = new QLabel(CLampTexts[i], lamps);
        t->setObjectName(QString(CLampNames[i]) + "Text");
        row->addWidget(t, 1);
        ll->addLayout(row);
        SetStat(i, 0);
    }
    ll->addStretch(1);
    lamps->setFixedWidth(230);
    h->addWidget(lamps);
    lytframe = new QStackedWidget(page);
    lytframe->setObjectName("lytframe");
    h->addWidget(lytframe, 1);
    return page;
}

QWidget* TFrmCalib::BuildFrame(int Frame) {
    auto* w = new QWidget;
    w->setObjectName(QString("TFrame%1").arg(Frame));
    auto* l = new QVBoxLayout(w);
    switch (Frame) {
    case 1:
        l->addWidget(
            Text("Alle Spannungsmesseingänge auf Erdpotential legen und alle Strommesseingänge von der "
                 "Quelle trennen.",
                 w, true));
        l->addWidget(Text("Spannung = 0 V", w, true));
        l->addWidget(Text("Strom = 0 A", w, true));
        break;
    case 2: {
        l->addWidget(Text("Bitte wählen Sie die Referenzfrequenz für die Kalibrierung:", w, true));
        rb50hz = new QRadioButton("50 Hz", w);
        rb50hz->setObjectName("rb50hz");
        rb50hz->setChecked(true);
        rb60hz = new QRadioButton("60 Hz", w);
        rb60hz->setObjectName("rb60hz");
        l->addWidget(rb50hz);
        l->addWidget(rb60hz);
        break;
    }
    case 3: {
        l->addWidget(
            Text("Bitte alle Spannungsmesseingänge mit der Spannungsquelle (alle Eingänge parallel) und "
                 "alle Strommesseingänge mit der Stromquelle (alle 4 Eingänge seriell) verbinden. ",
                 w, true));
        l->addWidget(Text("Am Kalibrator folgende Werte einstellen:", w, true));
        l->addWidget(Text("Spannung = 100.00 V", w, true));
        l->addWidget(Text("Strom = 5.000 A", w, true));
        txtFrequency = Text(Use60Hz() ? "Frequenz = 60.000 Hz" : "Frequenz = 50.000 Hz", w, true);
        l->addWidget(txtFrequency);
        rctgnlShowAnschluss = new QPushButton("Anschluss zeigen", w);
        rctgnlShowAnschluss->setObjectName("rctgnlShowAnschluss");
        rctgnlShowAnschluss->setToolTip("Zeigt die Verdrahtung, solange der Mauszeiger darauf steht");
        rctgnlShowAnschluss->installEventFilter(this);
        auto* row = new QHBoxLayout;
        row->addWidget(rctgnlShowAnschluss);
        row->addStretch(1);
        l->addLayout(row);
        imgAnschluss = new TWiringPicture(w);
        imgAnschluss->setObjectName("imgAnschluss");
        imgAnschluss->setMinimumSize(420, 190);
        auto* fade = new QGraphicsOpacityEffect(imgAnschluss);
        fade->setOpacity(0.0);
        imgAnschluss->setGraphicsEffect(fade);
        l->addWidget(imgAnschluss);
        break;
    }
    case 4: {
        l->addWidget(
            Text("Die eingestellten Referenzwerte sollten mit einem Multimeter zur Kontrolle abgeglichen "
                 "werden. ",
                 w, true));
        l->addWidget(Text("Werte der Kontrollmessung eingeben:", w, true));
        auto* f = new QFormLayout;
        edtSpannung = AddEdit(w, "edtSpannung", "100.000");
        edtStrom = AddEdit(w, "edtStrom", "5.000");
        edtSpannung->setMaximumWidth(160);
        edtStrom->setMaximumWidth(160);
        f->addRow("Spannung (V)", edtSpannung);
        f->addRow("Strom (A)", edtStrom);
        l->addLayout(f);
        break;
    }
    case 5: {
        l->addWidget(Text("Kalibrationsstatus überprüfen:", w, true));
        LBStatus = new QTreeWidget(w);
        LBStatus->setObjectName("LBStatus");
        LBStatus->setColumnCount(2);
        LBStatus->setHeaderLabels({"Kanal", "Ergebnis"});
        LBStatus->setRootIsDecorated(false);
        const char* groups[2] = {"Verstärkung", "Nullpunkt"};
        for (const char* g : groups) {
            auto* group = new QTreeWidgetItem(LBStatus, {g});
            group->setFirstColumnSpanned(true);
            group->setFlags(Qt::ItemIsEnabled);
            QFont bold = group->font(0);
            bold.setBold(true);
            group->setFont(0, bold);
            for (int c = 0; c < 8; ++c)
                new QTreeWidgetItem(group, {QString::fromStdString(TCalibReport::ChannelName(c)), "–"});
            group->setExpanded(true);
        }
        LBStatus->setColumnWidth(0, 160);
        l->addWidget(LBStatus, 1);
        auto* row = new QHBoxLayout;
        row->addWidget(new QLabel("Ergebnis:", w));
        rctnglSucc = new QFrame(w);
        rctnglSucc->setObjectName("rctnglSucc");
        rctnglSucc->setFixedSize(22, 22);
        rctnglSucc->setStyleSheet("background: #E0E0E0; border-radius: 5px;");
        row->addWidget(rctnglSucc);
        txtSucc = new QLabel(w);
        txtSucc->setObjectName("txtSucc");
        txtSucc->setStyleSheet("font-size: 12pt; font-weight: bold;");
        row->addWidget(txtSucc, 1);
        l->addLayout(row);
        break;
    }
    }
    if (Frame != 5) l->addStretch(1);
    return w;
}

QWidget* TFrmCalib::BuildButtons() {
    auto* bottom = new QWidget(lytBase);
    auto* v = new QVBoxLayout(bottom);
    v->setContentsMargins(0, 4, 0, 0);
    lytAni = new QFrame(bottom);
    lytAni->setObjectName("lytAni");
    lytAni->setFixedHeight(14);
    lytAni->setStyleSheet("#lytAni { background: #F0F0F0; border-radius: 3px; }");
    rctnglAni = new QFrame(lytAni);
    rctnglAni->setObjectName("rctnglAni");
    rctnglAni->setGeometry(0, 0, 0, 14);
    v->addWidget(lytAni);
    auto* row = new QHBoxLayout;
    rctglAbort = new QPushButton("Abbrechen", bottom);
    rctglAbort->setObjectName("rctglAbort");
    rctglAbort->setToolTip("Beendet den Assistenten; nichts wird gespeichert");
    row->addWidget(rctglAbort);
    row->addStretch(1);
    lytbcknxt = new QWidget(bottom);
    lytbcknxt->setObjectName("lytbcknxt");
    auto* b = new QHBoxLayout(lytbcknxt);
    b->setContentsMargins(0, 0, 0, 0);
    rctgnlBack = new QPushButton("Zurück", lytbcknxt);
    rctgnlBack->setObjectName("rctgnlBack");
    rctnglRestartCalib = new QPushButton("Kalibration wiederholen", lytbcknxt);
    rctnglRestartCalib->setObjectName("rctnglRestartCalib");
    rctngSaveExit = new QPushButton("Speichern und Beenden", lytbcknxt);
    rctngSaveExit->setObjectName("rctngSaveExit");
    rctnglNext = new QPushButton("Weiter", lytbcknxt);
    rctnglNext->setObjectName("rctnglNext");
    rctnglNext->setDefault(true);
    for (QPushButton* p : {rctgnlBack, rctnglRestartCalib, rctngSaveExit, rctnglNext})
        b->addWidget(p);
    row->addWidget(lytbcknxt);
    v->addLayout(row);
    connect(rctnglNext, &QPushButton::clicked, this, [this] { btnNextClick(); });
    connect(rctgnlBack, &QPushButton::clicked, this, [this] { rctgnlBackClick(); });
    connect(rctnglRestartCalib, &QPushButton::clicked, this, [this] { rctnglRestartCalibClick(); });
    connect(rctngSaveExit, &QPushButton::clicked, this, [this] { rctngSaveExitClick(); });
    connect(rctglAbort, &QPushButton::clicked, this, [this] { rctglAbortClick(); });
    return bottom;
}

QStringList TFrmCalib::Pages() const {
    return {"start", "einrichtung", "bedingungen", "kalibration"};
}

void TFrmCalib::ShowPage(int Index) {
    if (Index < 0 || Index > 3) return;
    ShowTab(TCalibTab(Index));
    if (Index == 3 && !FActiveFrame) ShowFrame(3);
}

void TFrmCalib::SetAnimationClock(Clock* C) {
    FAniClock = C ? C : &clock();
}

void TFrmCalib::ConnEst(TSender Sender, bool Success) {
    TFormBasic::ConnEst(Sender, Success);
    if (!Success || !FComUnit) return;
    FSWVer = GetAppVersionStr();
    sbtnStart->setEnabled(true);
    sbtnStart->setToolTip("");
    // The instrument takes its time from this computer while it is calibrated.
    FComUnit->SendNamed("CCC_TUNNEL_NTP_OPEN");
    if (FSecureConnection) {
        QPointer<TFrmCalib> self(this);
        CheckSSHRight("lua.pq.calClose", nullptr, [self] {
            if (self && self->FClose) self->FClose(self.data());
        });
    }
}

void TFrmCalib::ConnectionLost(const std::string& Reason) {
    TFormBasic::ConnectionLost(Reason);
    sbtnStart->setEnabled(false);
    sbtnStart->setToolTip("Keine Verbindung zum Gerät");
}

// ---- Buttons ----

void TFrmCalib::sbtnStartClick() {
    findChild<QLineEdit*>("edtSW")->setText(QString::fromStdString(FSWVer));
    FRun.Start();
}

void TFrmCalib::btnNextClick() {
    FRun.Next();
}

void TFrmCalib::rctgnlBackClick() {
    FRun.Back();
}

void TFrmCalib::rctnglRestartCalibClick() {
    FRun.Start();
}

void TFrmCalib::rctglAbortClick() {
    // No Lua call: the instrument keeps an open calibration until the next start discards it.
    if (FClose) FClose(this);
}

void TFrmCalib::rctngSaveExitClick() {
    auto* user = findChild<QLineEdit*>("edtUser");
    if (!user->text().trimmed().isEmpty()) {
        FRun.SaveExit();
        return;
    }
    // The certificate names the technician: ask when the set-up page left the name empty.
    auto* ask = new QInputDialog(window());
    ask->setObjectName("dlgUser");
    ask->setAttribute(Qt::WA_DeleteOnClose);
    ask->setWindowTitle("Kalibrierschein");
    ask->setLabelText("Name des Prüfers:");
    ask->setOkButtonText("OK");
    ask->setCancelButtonText("Abbrechen");
    ask->setWindowModality(Qt::WindowModal);
    QPointer<TFrmCalib> self(this);
    connect(ask, &QInputDialog::textValueSelected, this, [self, user](const QString& name) {
        if (!self || name.trimmed().isEmpty()) return;
        user->setText(name.trimmed());
        self->FRun.SaveExit();
    });
    ask->open();
}

void TFrmCalib::StandardwerteClick() {
    findChild<QLineEdit*>("edtAirTemp")->setText(QString::fromUtf8(TCalibRun::CDefaultAirTemp));
    findChild<QLineEdit*>("edtRelAirHum")->setText(QString::fromUtf8(TCalibRun::CDefaultHumidity));
    findChild<QLineEdit*>("edtPressure")->setText(QString::fromUtf8(TCalibRun::CDefaultPressure));
    for (const char* name : {"edtannotation", "edtModel1", "edtSerNum1", "edtChkNum1", "edtCalTo1",
                             "edtCert1", "edtModel2", "edtSerNum2", "edtChkNum2", "edtCalTo2", "edtCert2"})
        findChild<QLineEdit*>(name)->clear();
}

// ---- What the run asks ----

void TFrmCalib::ShowTab(TCalibTab Tab) {
    QWidget* pages[4] = {tbtmStart, TbtmEinrichtung, tbtmBedingungen, tbtmKailb};
    tbcCalib->setCurrentWidget(pages[int(Tab)]);
}

void TFrmCalib::ShowFrame(int Frame) {
    // The frame is made anew each time, as a fresh page of instructions.
    const bool use60 = Use60Hz();
    if (FActiveFrame) {
        lytframe->removeWidget(FActiveFrame);
        FActiveFrame->deleteLater();
        FActiveFrame = nullptr;
        rb50hz = rb60hz = nullptr;
        edtSpannung = edtStrom = nullptr;
        LBStatus = nullptr;
        rctnglSucc = nullptr;
        txtSucc = nullptr;
        imgAnschluss = nullptr;
        rctgnlShowAnschluss = nullptr;
        txtFrequency = nullptr;
    }
    FActiveFrame = BuildFrame(Frame);
    lytframe->addWidget(FActiveFrame);
    lytframe->setCurrentWidget(FActiveFrame);
    if (rb60hz) rb60hz->setChecked(use60);
    if (txtFrequency) txtFrequency->setText(use60 ? "Frequenz = 60.000 Hz" : "Frequenz = 50.000 Hz");
    FUse60 = use60;
}

void TFrmCalib::SetStat(int Lamp, int State) {
    if (Lamp < 0 || Lamp > 6) return;
    Lamps[Lamp]->setProperty("state", State);
    Lamps[Lamp]->setStyleSheet(
        QString("background: %1; border: 1px solid #A0A0A0; border-radius: 6px;").arg(LampColour(State)));
    if (State == 2 && Lamp < 6) SetStat(Lamp + 1, 1);
}

void TFrmCalib::SetButtons(const TCalibButtons& B, bool SaveEnabled) {
    rctgnlBack->setVisible(B.Back);
    rctnglNext->setVisible(B.Next);
    rctngSaveExit->setVisible(B.SaveExit);
    rctngSaveExit->setEnabled(SaveEnabled);
    rctngSaveExit->setToolTip(
        SaveEnabled ? "" : "Nicht alle Kanäle sind in Ordnung: wiederholen Sie die Kalibration");
    rctnglRestartCalib->setVisible(B.Restart);
}

void TFrmCalib::SendCalibCommand(const std::string& Lua) {
    WaitProc(0);
    Log("Kalibrierung Send:" + Lua);
    if (!FComUnit) {
        CommandDone("Keine Verbindung zum Gerät", false);
        return;
    }
    const std::string line = FSecureConnection ? Fmt("print(uti.err2ascii(%s))", Lua.c_str()) : Lua;
    QPointer<TFrmCalib> self(this);
    FCommandRunning = true;
    FComUnit->Lua(line, [self](const TReply& R) {
        if (self)
            self->CommandDone(R.Ok ? R.Text : (R.Text.empty() ? "Keine Antwort vom Gerät" : R.Text), R.Ok);
    });
}

void TFrmCalib::CommandDone(const std::string& Text, bool Ok) {
    Log("Kalibrierung CommandDone");
    FCommandRunning = false;
    StopAnimation(); // its end advances the run by one step, after the reply is judged
    FRun.Reply(Ok, Text);
}

void TFrmCalib::WaitProc(int Seconds) {
    tbcCalib->setEnabled(false);
    if (Seconds == 0)
        StartIdleAni();
    else
        StartWaitAni(Seconds);
}

int TFrmCalib::PanelWidth() const {
    return lytAni->width();
}

void TFrmCalib::StartWaitAni(int Seconds) {
    lytbcknxt->hide();
    rctglAbort->hide();
    rctnglAni->setStyleSheet("background: #006400; border-radius: 3px;");
    rctnglAni->setGeometry(0, 0, 0, lytAni->height());
    rctnglAni->show();
    fltnmtnIdle->stop();
    FAniStartMs = FAniClock->nowMs();
    FAniDurationMs = int64_t(Seconds) * 1000;
    fltnmtnProgress->start();
}

void TFrmCalib::StartIdleAni() {
    lytbcknxt->hide();
    rctglAbort->hide();
    rctnglAni->setStyleSheet("background: #FF4500; border-radius: 3px;");
    rctnglAni->setGeometry(100, 0, 50, lytAni->height());
    rctnglAni->show();
    fltnmtnProgress->stop();
    FAniStartMs = FAniClock->nowMs();
    FAniDurationMs = CIdleDurationMs;
    fltnmtnIdle->start();
}

void TFrmCalib::AnimationTick() {
    const int64_t elapsed = FAniClock->nowMs() - FAniStartMs;
    if (fltnmtnProgress->isActive()) {
        if (elapsed >= FAniDurationMs) {
            StopAnimation();
            return;
        }
        rctnglAni->setGeometry(0, 0, int(PanelWidth() * double(elapsed) / double(FAniDurationMs)),
                               lytAni->height());
    } else if (fltnmtnIdle->isActive()) {
        // Back and forth until the reply comes.
        const double span = std::max(1, PanelWidth() - 150 - 100);
        const double phase = std::fmod(double(elapsed) / CIdleDurationMs, 2.0);
        const double x = 100 + span * (phase <= 1.0 ? phase : 2.0 - phase);
        rctnglAni->setGeometry(int(x), 0, 50, lytAni->height());
    }
}

void TFrmCalib::StopAnimation() {
    if (!fltnmtnProgress->isActive() && !fltnmtnIdle->isActive()) return;
    fltnmtnProgress->stop();
    fltnmtnIdle->stop();
    fltnmtnProgressFinish();
}

void TFrmCalib::fltnmtnProgressFinish() {
    tbcCalib->setEnabled(true);
    lytbcknxt->show();
    rctglAbort->show();
    rctnglAni->hide();
    Postpone(this, [this] { FRun.NextStep(); });
}

void TFrmCalib::ShowError(const std::string& Text) {
    txtError->setText(QString::fromStdString(Text));
}

void TFrmCalib::ShowErrorBar() {
    rctnglAni->setStyleSheet("background: #FF0000; border-radius: 3px;");
    rctnglAni->setGeometry(0, 0, PanelWidth(), lytAni->height());
    rctnglAni->show();
    lytbcknxt->hide();
}

void TFrmCalib::MarkChannel(int Item, bool Ok) {
    if (!LBStatus || Item < 0 || Item >= TCalibRun::CChannels) return;
    QTreeWidgetItem* it = LBStatus->topLevelItem(Item / 8)->child(Item % 8);
    it->setText(1, Ok ? "✓ in Ordnung" : "fehlerhaft");
    it->setForeground(1, QColor(Ok ? "#1E7B1E" : "#C00000"));
    it->setData(0, Qt::UserRole, Ok ? 3 : 0); // the check-mark accessory, or the plain one
    LBStatus->scrollToItem(it);
}

void TFrmCalib::ShowResult(bool Ok) {
    if (!rctnglSucc) return;
    rctnglSucc->setStyleSheet(QString("background: %1; border-radius: 5px;").arg(Ok ? "#32CD32" : "#FF0000"));
    txtSucc->setText(Ok ? "Kalibration erfolgreich!" : "Kalibration nicht erfolgreich!");
}

void TFrmCalib::FillIdentity() {
    const QDateTime now = QDateTime::fromMSecsSinceEpoch(clock().nowMs());
    findChild<QLineEdit*>("edtSN")->setText(
        QString::fromStdString(FComUnit ? std::to_string(FComUnit->FSN) : FSN));
    // German dates whatever the system's language: the certificate is a German document.
    findChild<QLineEdit*>("edtDate")->setText(now.date().toString("dd.MM.yyyy"));
    findChild<QLineEdit*>("edtTime")->setText(now.time().toString("HH:mm:ss"));
}

bool TFrmCalib::Use60Hz() const {
    return rb60hz ? rb60hz->isChecked() : FUse60;
}

void TFrmCalib::References(std::string& Volts, std::string& Amps) const {
    Volts = edtSpannung ? edtSpannung->text().toStdString() : std::string();
    Amps = edtStrom ? edtStrom->text().toStdString() : std::string();
}

void TFrmCalib::InvalidInput() {
    OpenMessageBox(window(), "Ungültige Eingabe!", mtWarning, Buttons({mbOK}), mbOK, nullptr);
}

void TFrmCalib::FillReportDict() {
    const std::pair<const char*, const char*> fields[] = {
        {"DeviceType", "edtDeviceType"}, {"DeviceNumber", "edtSN"},   {"UserName", "edtUser"},
        {"CheckDate", "edtDate"},        {"CheckTime", "edtTime"},    {"AirTemp", "edtAirTemp"},
        {"AitHum", "edtRelAirHum"},      {"Pressure", "edtPressure"}, {"Programm", "edtSW"},
        {"Annotation", "edtannotation"}, {"Model1", "edtModel1"},     {"Serial1", "edtSerNum1"},
        {"CheckNr1", "edtChkNum1"},      {"CalTo1", "edtCalTo1"},     {"CertNr1", "edtCert1"},
        {"Model2", "edtModel2"},         {"Serial2", "edtSerNum2"},   {"CheckNr2", "edtChkNum2"},
        {"CalTo2", "edtCalTo2"},         {"CertNr2", "edtCert2"},     {"Frei1", "edtFrei1"},
        {"Frei1Val", "EdtFrei1Val"},     {"Frei2", "EdtFrei2"},       {"Frei2Val", "EdtFrei2Val"}};
    FReportDict.clear();
    for (const auto& [key, control] : fields)
        FReportDict[key] = findChild<QLineEdit*>(control)->text().toStdString();
    FReportDict["Prescription"] = mmoVorschrift->toPlainText().toStdString();
}

void TFrmCalib::MakeCertificate() {
    FillReportDict();
    TCalibCertificate cert;
    cert.Fields = FReportDict;
    cert.Frequency = FRun.Frequency();
    cert.RefU = FRun.RefU();
    cert.RefI = FRun.RefI();
    cert.Passed = FRun.Status();
    for (int i = 0; i < TCalibRun::CChannels; ++i)
        cert.Verdicts[size_t(i)] = FRun.Verdict(i);
    if (FComUnit) {
        const TFerroFW& fw = FComUnit->Identity().Rev;
        cert.Firmware = fw.VerAsStr();
    }
    cert.Number = TCalibReport::NewNumber(FReportDict["DeviceNumber"], clock().nowMs());
    std::string folder = FComUnit && !FComUnit->FDatadir.empty() ? FComUnit->FDatadir : std::string();
    if (folder.empty() && FComUnit) folder = FComUnit->FTmpDir;
    std::string error;
    FCertificate = TCalibReport::Write(cert, folder, error);
    if (FCertificate.empty()) {
        Log(Fmt("ReportError: %s_%s", FReportDict["DeviceNumber"].c_str(), error.c_str()));
        DisplayMessage("Der Kalibrierschein konnte nicht geschrieben werden: " + error +
                           "\nDie Kalibrierung ist im Gerät gespeichert.",
                       mtError, Buttons({mbOK}), mbOK, nullptr);
    } else {
        Log("Kalibrierschein: " + FCertificate);
    }
}

void TFrmCalib::Finished() {
    if (FClose) FClose(this);
}

void TFrmCalib::Log(const std::string& Text) {
    LogCallBack(Text, false);
}

bool TFrmCalib::eventFilter(QObject* Watched, QEvent* Event) {
    if (Watched == rctgnlShowAnschluss && imgAnschluss &&
        (Event->type() == QEvent::Enter || Event->type() == QEvent::Leave)) {
        auto* effect = static_cast<QGraphicsOpacityEffect*>(imgAnschluss->graphicsEffect());
        auto* fade = new QPropertyAnimation(effect, "opacity", effect);
        fade->setDuration(300);
        fade->setEndValue(Event->type() == QEvent::Enter ? 1.0 : 0.0);
        fade->start(QAbstractAnimation::DeleteWhenStopped);
    }
    return TFormBasic::eventFilter(Watched, Event);
}

void TFrmCalib::resizeEvent(QResizeEvent* Event) {
    TFormBasic::resizeEvent(Event);
    if (FRun.Step() == 0 && !FRun.ErrorText().empty() && rctnglAni->isVisible())
        rctnglAni->setGeometry(0, 0, PanelWidth(), lytAni->height());
}

} // namespace ferro
