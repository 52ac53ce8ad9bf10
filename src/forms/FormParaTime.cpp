#include "forms/FormParaTime.h"

#include "forms/ParaPageRows.h"

#include "foundation/Format.h"
#include "foundation/MainThread.h"
#include "para/EasyPara.h"

#include <QComboBox>
#include <QDateTime>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace ferro {

using parapage::AddRow;
using parapage::Name;

namespace {

constexpr uint32_t CSetTimeRevision = 10106; // the first firmware that takes the PC's time
constexpr int CSecondStepMs = 5000;          // older firmware: the time follows the date after this

struct TFrameDef {
    const char* Class;
    const char* Caption;
};
const TFrameDef CFrames[] = {
    {"TtimeControlframe_MANUAL", "Zeiteinstellung Manuell"},
    {"TtimeControlframe_DCF77", "Zeiteinstellungen DCF 77 mit Artikel 100.2000.01"},
    {"TtimeControlframe_IEEE1344", "Zeiteinstellungen IEEE 1344"},
    {"TtimeControlframe_IRIGB03", "Zeiteinstellungen IRIG-B Formate 0 bis 3"},
    {"TtimeControlframe_IRIGB47", "Zeiteinstellungen IRIG-B Formate 4 bis 7"},
    {"TtimeControlframe_NMEARMC", "Zeiteinstellungen NMEA RMC mit GPS-Uhr 100.3000"},
    {"TtimeControlframe_NMEAZDA", "Zeiteinstellungen NMEA ZDA"},
    {"TtimeControlframe_NTP", "Zeiteinstellung NTP"},
};

QLineEdit* ReadOnly(QWidget* Parent, const char* Name) {
    auto* e = new QLineEdit(Parent);
    e->setObjectName(Name);
    e->setReadOnly(true);
    e->setMaximumWidth(140);
    return e;
}

} // namespace

TParaTimePage::TParaTimePage(TEasyPara& Easy, QWidget* Parent) : QWidget(Parent), FEasy(Easy) {
    auto* lay = new QVBoxLayout(this);
    auto* method = new QGroupBox("Zeitsynchronisation", this);
    auto* mg = new QGridLayout(method);
    CmbBox_4261413634 = AddRow<QComboBox>(mg, method, "CmbBox", 4261413634u);
    CmbBox_4261413634->setMinimumWidth(220);
    mg->setColumnStretch(3, 1);
    lay->addWidget(method);

    auto* zone = new QGroupBox("Zeitzone", this);
    auto* zg = new QGridLayout(zone);
    cbbZeitzone = new QComboBox(zone);
    cbbZeitzone->setObjectName("cbbZeitzone");
    cbbZeitzone->setMinimumWidth(460);
    cbbZeitzone->setMaxVisibleItems(20);
    cbbZeitzone->setToolTip("Die Zeitzone des Geräts; Sommerzeitregeln nach der Zonendatenbank des PCs");
    zg->addWidget(new QLabel("Zeitzone", zone), 0, 0);
    zg->addWidget(cbbZeitzone, 0, 1);
    lblZoneInfo = new QLabel(zone);
    lblZoneInfo->setObjectName("lblZoneInfo");
    zg->addWidget(lblZoneInfo, 1, 1);
    zg->setColumnStretch(2, 1);
    connect(cbbZeitzone, qOverload<int>(&QComboBox::activated), this,
            [this](int i) { cbbZeitzoneChange(i); });
    lay->addWidget(zone);

    FFrameLay = new QVBoxLayout;
    lay->addLayout(FFrameLay);
    lay->addStretch(1);
}

TParaTimePage::~TParaTimePage() = default;

QGroupBox* TParaTimePage::MakeFrame(int Index) {
    const TFrameDef& def = CFrames[Index];
    auto* f = new QGroupBox(def.Caption, this);
    f->setObjectName(def.Class);
    auto* g = new QGridLayout(f);
    g->setColumnStretch(3, 1);
    if (Index == 0) {
        g->addWidget(new QLabel("", f), 0, 0);
        g->addWidget(new QLabel("Datum", f), 0, 1);
        g->addWidget(new QLabel("Uhrzeit", f), 0, 2);
        edtPCDate = ReadOnly(f, "edtPCDate");
        edtPCTime = ReadOnly(f, "edtPCTime");
        edtDeviceDate = ReadOnly(f, "edtDeviceDate");
        edtDeviceTime = ReadOnly(f, "edtDeviceTime");
        g->addWidget(new QLabel("PC", f), 1, 0);
        g->addWidget(edtPCDate, 1, 1);
        g->addWidget(edtPCTime, 1, 2);
        g->addWidget(new QLabel("Gerät (Ortszeit des Geräts)", f), 2, 0);
        g->addWidget(edtDeviceDate, 2, 1);
        g->addWidget(edtDeviceTime, 2, 2);
        btnSendPCTime = new QPushButton("Zeit synchronisieren", f);
        btnSendPCTime->setObjectName("btnSendPCTime");
        andctrTime = new QProgressBar(f);
        andctrTime->setObjectName("andctrTime");
        andctrTime->setRange(0, 0); // spins while shown
        andctrTime->setMaximumWidth(120);
        andctrTime->setVisible(false);
        g->addWidget(btnSendPCTime, 3, 1);
        g->addWidget(andctrTime, 3, 2);
        connect(btnSendPCTime, &QPushButton::clicked, this, [this] { SendTimeToDevice(); });
    } else if (Index <= 4) {
        AddRow<QComboBox>(g, f, "CmbBox", 4261413665u);
        AddRow<QComboBox>(g, f, "CmbBox", 4261413635u);
        AddRow<QLineEdit>(g, f, "edt", 4261413636u, "µs")->setMaximumWidth(140);
        AddRow<QLineEdit>(g, f, "edt", 4261413637u)->setMaximumWidth(140);
        auto* port = ReadOnly(f, "edtAnschluss");
        port->setText("COM2");
        const int r = g->rowCount();
        g->addWidget(new QLabel("Anschluss", f), r, 0);
        g->addWidget(port, r, 1);
    } else if (Index <= 6) {
        AddRow<QComboBox>(g, f, "CmbBox", 4261413664u);
        AddRow<QComboBox>(g, f, "CmbBox", 4261413665u);
        auto* info =
            new QLabel("Die GPS-Uhr wird an die serielle Schnittstelle COM2 des Geräts angeschlossen; "
                       "Baudrate und Zeitbezug müssen mit der Einstellung der Uhr übereinstimmen.",
                       f);
        info->setWordWrap(true);
        g->addWidget(info, g->rowCount(), 0, 1, 4);
    } else {
        g->addWidget(new QLabel("Server", f), 0, 1);
        g->addWidget(new QLabel("Port", f), 0, 2);
        for (uint32_t k = 0; k < 4; ++k) {
            auto* cap = new QLabel(QString::number(4261413655u + k), f);
            cap->setObjectName(Name("txt", 4261413655u + k));
            auto* ip = new QLineEdit(f);
            ip->setObjectName(Name("edt", 4261413655u + k));
            ip->setMaximumWidth(160);
            auto* port = new QLineEdit(f);
            port->setObjectName(Name("edt", 4261413659u + k));
            port->setMaximumWidth(80);
            g->addWidget(cap, int(k) + 1, 0);
            g->addWidget(ip, int(k) + 1, 1);
            g->addWidget(port, int(k) + 1, 2);
        }
    }
    return f;
}

// ---------------------------------------------------------------- zones

void TParaTimePage::ReadTimeZones() {
    FTimeZonesList = ferro::ReadTimeZones(QDate::currentDate().year());
    FZonesRead = true;
    const QSignalBlocker b(cbbZeitzone);
    cbbZeitzone->clear();
    for (const TTimeZoneSettings& z : FTimeZonesList)
        cbbZeitzone->addItem(QString::fromStdString(z.Display), QString::fromStdString(z.Name));
    DocumentRead();
}

void TParaTimePage::DocumentRead() {
    if (!FZonesRead) return;
    bool full = false;
    const int at = FindZone(FTimeZonesList, FEasy.DeviceZone(), &full);
    const QSignalBlocker b(cbbZeitzone);
    cbbZeitzone->setCurrentIndex(at);
    ShowZoneInfo();
}

void TParaTimePage::ShowZoneInfo() {
    const TTZI z = FEasy.DeviceZone();
    const int east = -z.Bias;
    QString text = QString("Gerät: UTC%1%2:%3")
                       .arg(east < 0 ? '-' : '+')
                       .arg(std::abs(east) / 60, 2, 10, QChar('0'))
                       .arg(std::abs(east) % 60, 2, 10, QChar('0'));
    if (z.daylightDate.Month == 0) {
        text += ", ohne Sommerzeit";
    } else {
        static const char* const days[] = {"Sonntag",    "Montag",  "Dienstag", "Mittwoch",
                                           "Donnerstag", "Freitag", "Samstag"};
        static const char* const weeks[] = {"", "1.", "2.", "3.", "4.", "letzter"};
        auto rule = [&](const TSystemTime& t) {
            return QString("%1 %2 im Monat %3, %4 Uhr")
                .arg(weeks[std::min<int>(t.Day, 5)])
                .arg(days[t.DayOfWeek % 7])
                .arg(t.Month)
                .arg(t.Hour);
        };
        text += ", Sommerzeit vom " + rule(z.daylightDate) + " bis " + rule(z.Standarddate);
    }
    lblZoneInfo->setText(text);
}

void TParaTimePage::cbbZeitzoneChange(int Index) {
    if (Index < 0 || Index >= int(FTimeZonesList.size())) return;
    FEasy.WriteZone(FTimeZonesList[size_t(Index)].Settings);
    ShowZoneInfo();
    if (FChanged) FChanged();
}

// ---------------------------------------------------------------- frames and stream

void TParaTimePage::Entered() {
    if (!FZonesRead) ReadTimeZones();
    ChangeTimeFrame();
}

void TParaTimePage::ChangeTimeFrame() {
    HandleTimeStream();
    if (FactiveTimeFrame) FactiveTimeFrame->hide();
    const int index = std::clamp(CmbBox_4261413634->currentIndex(), 0, 7);
    auto it = FFrames.find(index);
    if (it == FFrames.end()) {
        QGroupBox* f = MakeFrame(index);
        if (FBind) FBind(f);
        FFrameLay->addWidget(f);
        it = FFrames.emplace(index, f).first;
    }
    FactiveTimeFrame = it->second;
    FactiveTimeFrame->show();
    if (index != 0) return;
    const TFerroFW fw = FFirmware ? FFirmware() : TFerroFW();
    btnSendPCTime->setEnabled(fw.Rev >= CSetTimeRevision && !andctrTime->isVisible());
    btnSendPCTime->setToolTip(fw.Rev >= CSetTimeRevision
                                  ? "Die Uhr des Geräts auf die Zeit des PCs stellen"
                                  : "Erst ab Firmware-Revision 10106 kann die Zeit vom PC gesetzt werden");
    if (FOnShow && FOnShow() && !(FStreamRunning && FStreamRunning())) {
        if (FStartStream) FStartStream();
    }
    FStreamActive = true;
}

void TParaTimePage::HandleTimeStream() {
    const bool running = FStreamRunning && FStreamRunning();
    const bool here = FOnShow && FOnShow();
    const bool manual = CmbBox_4261413634->currentIndex() <= 0;
    if (running && here && manual) return;
    if (!running && here) return;
    if (running && FStopStream) FStopStream();
    FStreamActive = false;
}

void TParaTimePage::UpdateGrid(const tmStamp_t& Local) {
    if (!FStreamActive || !edtDeviceDate || andctrTime->isVisible()) return;
    // The stamp is the instrument's local time already: shown as it stands, without the PC's zone.
    const QDateTime device = QDateTime::fromSecsSinceEpoch(qint64(Local.sec), Qt::UTC);
    const QDateTime pc = QDateTime::currentDateTime();
    // The locale's short date with the full year (23.11.2026), as everywhere on screen.
    QString format = QLocale().dateFormat(QLocale::ShortFormat);
    if (!format.contains("yyyy")) format.replace("yy", "yyyy");
    edtDeviceDate->setText(device.date().toString(format));
    edtDeviceTime->setText(device.time().toString("HH:mm:ss"));
    edtPCDate->setText(pc.date().toString(format));
    edtPCTime->setText(pc.time().toString("HH:mm:ss"));
}

void TParaTimePage::SendTimeToDevice() {
    if (!FSendLua) return;
    btnSendPCTime->setEnabled(false);
    const TFerroFW fw = FFirmware ? FFirmware() : TFerroFW();
    andctrTime->setVisible(true);
    if (fw.Gen >= 2) {
        const QString now = QDateTime::currentDateTime().toString("dd.MM.yyyy HH:mm:ss");
        FSendLua(Fmt("uti.setDateTime(\"%s\")", now.toStdString().c_str()),
                 [this](bool Ok, const std::string& Text) { SendDone(Ok, Text); });
        return;
    }
    // This generation takes the date and the time in two steps; each goes with the PC's clock of its moment.
    const QString date = QDateTime::currentDateTime().toString("dd.MM.yyyy");
    FSendLua(Fmt("uti.setDate(\"%s\")", date.toStdString().c_str()),
             [this](bool Ok, const std::string& Text) {
                 if (!Ok) return SendDone(Ok, Text);
                 Postpone(
                     this,
                     [this] {
                         const QString time = QDateTime::currentDateTime().toString("HH:mm:ss");
                         FSendLua(Fmt("uti.setTime(\"%s\")", time.toStdString().c_str()),
                                  [this](bool Ok2, const std::string& Text2) { SendDone(Ok2, Text2); });
                     },
                     CSecondStepMs);
             });
}

void TParaTimePage::SendDone(bool Ok, const std::string&) {
    andctrTime->setVisible(false);
    const TFerroFW fw = FFirmware ? FFirmware() : TFerroFW();
    btnSendPCTime->setEnabled(fw.Rev >= CSetTimeRevision);
    (void)Ok;
}

} // namespace ferro
