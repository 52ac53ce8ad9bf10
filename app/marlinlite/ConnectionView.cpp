#include "ConnectionView.h"

#include "foundation/Clock.h"
#include "foundation/Format.h"
#include "foundation/MainThread.h"
#include "link/CommandTable.h"
#include "link/RSComUnit.h"
#include "link/TCPComUnit.h"

#include <QCheckBox>
#include <QDateTime>
#include <QFontDatabase>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimeZone>
#include <QTimer>
#include <QVBoxLayout>

namespace ferro {

namespace {
QString DevTypeText(TDevType t) {
    switch (t) {
    case devtypFerro:
        return "Ferro Recorder";
    case devtypFerroDE:
        return "Ferro Recorder DE";
    case devtypQuartz:
        return "Quartz";
    case devtypFerroNimbus:
        return "Ferro Nimbus";
    case devtypNone:
        break;
    }
    return "unbekannt";
}

// Lines of the link that tell a person how the connection goes, besides those meant for the memo.
bool IsStepLine(const std::string& s) {
    // The socket's inner steps are a developer's trace.
    if (s.rfind("Status: Connected1", 0) == 0 || s.rfind("Status: Connected2", 0) == 0) return false;
    for (const char* p : {"Status: ", "IN: IdendityAll: SerNum", "IN: IdendityAll: Time", "Show Message",
                          "RSUnit Error", "Connect Error"})
        if (s.rfind(p, 0) == 0) return true;
    return false;
}

QLabel* ValueLabel(QWidget* parent, const char* name) {
    auto* l = new QLabel("–", parent);
    l->setObjectName(name);
    l->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return l;
}
} // namespace

TConnectionView::TConnectionView(QWidget* Parent) : TFormBasic(Parent) {
    FVerInfo = "Verbindung";
    auto* root = new QVBoxLayout(lytBase);
    root->setContentsMargins(12, 12, 12, 8);
    root->setSpacing(10);

    auto* head = new QHBoxLayout;
    lblState = new QLabel(lytBase);
    lblState->setObjectName("lblState");
    QFont big = lblState->font();
    big.setPointSizeF(big.pointSizeF() * 1.25);
    big.setBold(true);
    lblState->setFont(big);
    lblAddress = new QLabel(lytBase);
    lblAddress->setObjectName("lblAddress");
    lblAddress->setStyleSheet("color: #555555;");
    head->addWidget(lblState);
    head->addSpacing(12);
    head->addWidget(lblAddress, 1);
    btnReconnect = new QPushButton("Erneut verbinden", lytBase);
    btnReconnect->setObjectName("btnReconnect");
    btnReconnect->setVisible(false);
    head->addWidget(btnReconnect);
    btnIdentify = new QPushButton("Identität neu lesen", lytBase);
    btnIdentify->setObjectName("btnIdentify");
    btnIdentify->setEnabled(false);
    btnIdentify->setToolTip("Erst wenn das Gerät verbunden ist");
    head->addWidget(btnIdentify);
    root->addLayout(head);

    auto* ident = new QGroupBox("Gerät", lytBase);
    auto* form = new QFormLayout(ident);
    form->setHorizontalSpacing(18);
    form->setVerticalSpacing(6);
    lblSerial = ValueLabel(ident, "lblSerial");
    lblArticle = ValueLabel(ident, "lblArticle");
    lblDevType = ValueLabel(ident, "lblDevType");
    lblFirmware = ValueLabel(ident, "lblFirmware");
    lblStation = ValueLabel(ident, "lblStation");
    lblClock = ValueLabel(ident, "lblClock");
    QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    lblClock->setFont(mono);
    form->addRow("Seriennummer:", lblSerial);
    form->addRow("Artikelnummer:", lblArticle);
    form->addRow("Gerätetyp:", lblDevType);
    form->addRow("Firmware:", lblFirmware);
    form->addRow("Anlage / Feld / Gerät:", lblStation);
    form->addRow("Gerätezeit:", lblClock);
    root->addWidget(ident);

    auto* logBox = new QGroupBox("Protokoll der Verbindung", lytBase);
    auto* logLayout = new QVBoxLayout(logBox);
    memLog = new QPlainTextEdit(logBox);
    memLog->setObjectName("memLog");
    memLog->setReadOnly(true);
    memLog->setMaximumBlockCount(5000);
    memLog->setFont(mono);
    chkAllLines = new QCheckBox("Alle Meldungen der Verbindung anzeigen", logBox);
    chkAllLines->setObjectName("chkAllLines");
    logLayout->addWidget(memLog, 1);
    logLayout->addWidget(chkAllLines);
    root->addWidget(logBox, 1);

    connect(btnIdentify, &QPushButton::clicked, this,
            [this] { SendCommandToCom("CCC_IDENTIFY_ALL", CmdIdentify, 0, 1); });
    connect(btnReconnect, &QPushButton::clicked, this, [this] { Reconnect(); });
    connect(this, &TFormBasic::EstablishedChanged, this, [this](bool On) {
        btnIdentify->setEnabled(On);
        btnIdentify->setToolTip(On ? QString() : QString("Erst wenn das Gerät verbunden ist"));
    });
    FClockTimer = new QTimer(this);
    FClockTimer->setInterval(1000);
    connect(FClockTimer, &QTimer::timeout, this, [this] { UpdateClock(); });
    SetState("Nicht verbunden", "#666666");
}

TConnectionView::~TConnectionView() = default;

void TConnectionView::SetState(const QString& Text, const QString& Color) {
    lblState->setText(Text);
    lblState->setStyleSheet(QString("color: %1;").arg(Color));
}

void TConnectionView::SessionStateChanged(TSessionState State) {
    switch (State) {
    case TSessionState::Connecting: {
        const TConnectionRec& r = Connection();
        lblAddress->setText(QString::fromStdString(
            r.IsSerial() ? r.SerialDevice : Fmt("%s (%s)", r.Where().c_str(), TransportText(r.Transport))));
        SetState("Verbinde …", "#1F5FA8");
        break;
    }
    case TSessionState::Closing:
        FClockTimer->stop();
        SetState("Trenne …", "#666666");
        break;
    case TSessionState::Closed:
        FClockTimer->stop();
        SetState("Getrennt", "#666666");
        break;
    default:
        break;
    }
}

void TConnectionView::ConnectionFailed(const std::string& Reason) {
    TFormBasic::ConnectionFailed(Reason);
    SetState("Keine Verbindung", "#B03A2E");
    btnReconnect->setVisible(!Closing());
}

void TConnectionView::ConnectionLost(const std::string& Reason) {
    TFormBasic::ConnectionLost(Reason);
    FClockTimer->stop();
    SetState("Verbindung verloren", "#B03A2E");
    btnReconnect->setVisible(!Closing());
}

void TConnectionView::Reconnect() {
    if (!Session() || Closing()) return;
    btnReconnect->setVisible(false);
    StartWork("Verbinde mit " + Connection().Where());
    Session()->Open();
}

void TConnectionView::ConnEst(TSender Sender, bool Success) {
    TFormBasic::ConnEst(Sender, Success);
    EndWork();
    if (!Success || !FComUnit) return;
    btnReconnect->setVisible(false);
    SetState(FSecureConnection ? "Verbunden (verschlüsselt)" : "Verbunden", "#2E7D32");
    ShowIdentity();
}

void TConnectionView::ShowIdentity() {
    const TIdentity& id = FComUnit->Identity();
    FSN = std::to_string(id.SN);
    lblSerial->setText(QString::number(id.SN));
    lblArticle->setText(id.Article ? QString::number(id.Article) : QString("–"));
    lblDevType->setText(DevTypeText(id.DevType));
    lblFirmware->setText(QString::fromStdString(id.Rev.VerAsStr()));
    QStringList station;
    for (const std::string& s : {id.Plant, id.Field, id.Device})
        station << (s.empty() ? QString("–") : QString::fromStdString(s));
    lblStation->setText(station.join(" / "));
    FClockBaseUtc = id.ConTime;
    FClockBaseMs = clock().nowMs();
    UpdateClock();
    FClockTimer->start();
}

std::string TConnectionView::DeviceClockText() const {
    if (!Established() || !FComUnit) return "";
    const int64_t elapsed = (clock().nowMs() - FClockBaseMs) / 1000;
    // The instrument's zone and its summer-time rules, as the link applies them everywhere.
    const uint32_t utc = uint32_t(int64_t(FClockBaseUtc) + elapsed);
    const tmStamp_t local = FComUnit->CorrectUTCtoLocal({utc, 0});
    const QDateTime t = QDateTime::fromSecsSinceEpoch(local.sec, QTimeZone::utc());
    return Fmt("%s  (UTC%s)", t.toString("dd.MM.yyyy HH:mm:ss").toStdString().c_str(),
               UtcOffsetText(int(int64_t(local.sec) - int64_t(utc))).c_str());
}

void TConnectionView::UpdateClock() {
    lblClock->setText(QString::fromStdString(DeviceClockText()));
}

void TConnectionView::LogPrepare(TSender Sender, const std::string& Text, bool ToMemo) {
    TFormBasic::LogPrepare(Sender, Text, ToMemo);
    if (ToMemo || IsStepLine(Text) || chkAllLines->isChecked())
        memLog->appendPlainText(QDateTime::currentDateTime().toString("HH:mm:ss.zzz  ") +
                                QString::fromStdString(Text));
}

} // namespace ferro
