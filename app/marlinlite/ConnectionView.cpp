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
    btnIdentify = new QPushButton("Identität neu lesen", lytBase);
    btnIdentify->setObjectName("btnIdentify");
    btnIdentify->setEnabled(false);
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

void TConnectionView::Open(const TInstrument& Entry, const TFolders& Folders) {
    FEntry = Entry;
    const bool serial = Entry.Transport == TTransport::Serial;
    const bool ssh = Entry.Transport == TTransport::Ssh;
    SetComUnit(serial, ssh, Entry.IpVer);
    FComUnit->FDatadir = Folders.Data;
    FComUnit->FIniFolder = Folders.Ini;
    FComUnit->FTmpDir = Folders.Tmp;
    FComUnit->SetSSHUserPass(Entry.SshUser, Entry.SshPassword);
    // The line asks to close (USB pulled, session ended by the instrument): the view goes.
    FComUnit->FRequestClose = [this](TSender) { Postpone(this, [this] { Finish(); }); };
    FHostConnectThreadEnd = std::move(FConnectThreadEnd);
    FConnectThreadEnd = [this](TSender Sender, bool Success, bool AuthError) {
        ConnectAttemptEnded(Success, AuthError);
        if (FHostConnectThreadEnd) FHostConnectThreadEnd(Sender, Success, AuthError);
    };
    SetCapt(Entry.Name);
    const std::string where =
        serial ? Entry.SerialDevice
               : Fmt("%s:%d (%s)", Entry.Address.c_str(), Entry.Port, TransportText(Entry.Transport));
    lblAddress->setText(QString::fromStdString(where));
    SetState("Verbinde …", "#1F5FA8");
    StartWork("Verbinde mit " + Entry.Name);
    const bool setFolders = !Folders.Data.empty();
    if (serial)
        SetSerialComUnit(Entry.SerialDevice, true, setFolders, true, false, false);
    else
        SetTCPCommUnit(Entry.Address, Entry.Port, false, true, setFolders, true, false, 0);
}

void TConnectionView::ConnectAttemptEnded(bool Success, bool AuthError) {
    if (Success) return;
    EndWork();
    SetState("Keine Verbindung", "#B03A2E");
    // A wrong password and a lost line are told by the link itself.
    if (!AuthError && !FFinished) {
        const std::string where = FEntry.Transport == TTransport::Serial
                                      ? FEntry.SerialDevice
                                      : Fmt("%s:%d", FEntry.Address.c_str(), FEntry.Port);
        DisplayMessage(Fmt("Keine Verbindung zu %s möglich.", where.c_str()), mtError, Buttons({mbOK}), mbOK,
                       nullptr);
    }
}

void TConnectionView::ConnEst(TSender Sender, bool Success) {
    TFormBasic::ConnEst(Sender, Success);
    EndWork();
    if (!Success || !FComUnit) return;
    FEstablished = true;
    SetState(FSecureConnection ? "Verbunden (verschlüsselt)" : "Verbunden", "#2E7D32");
    btnIdentify->setEnabled(true);
    ShowIdentity();
    emit EstablishedChanged(true);
}

void TConnectionView::ShowIdentity() {
    const TComUnit& l = *FComUnit;
    FSN = std::to_string(l.FSN);
    lblSerial->setText(QString::number(l.FSN));
    lblArticle->setText(l.FArticle ? QString::number(l.FArticle) : QString("–"));
    lblDevType->setText(DevTypeText(l.FDevType));
    lblFirmware->setText(QString::fromStdString(l.FRev.VerAsStr()));
    QStringList station;
    for (const std::string& s : {l.FPlant, l.FField, l.FDevice})
        station << (s.empty() ? QString("–") : QString::fromStdString(s));
    lblStation->setText(station.join(" / "));
    FClockBaseUtc = l.FConTime;
    FClockBaseMs = clock().nowMs();
    UpdateClock();
    FClockTimer->start();
}

std::string TConnectionView::DeviceClockText() const {
    if (!FEstablished || !FComUnit) return "";
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

void TConnectionView::CloseView() {
    if (FClosing) return;
    FClosing = true;
    FClockTimer->stop();
    PrepareShutdown();
    if (!FComUnit || !FComUnit->IsConnected()) {
        Finish();
        return;
    }
    SetState("Trenne …", "#666666");
    FComUnit->ShutDown(this, [this](TSender) { Postpone(this, [this] { Finish(); }); });
    // The link closes within five seconds; the view does not wait longer than that.
    QTimer::singleShot(6000, this, [this] { Finish(); });
}

void TConnectionView::Finish() {
    if (FFinished) return;
    FFinished = true;
    FClockTimer->stop();
    if (FEstablished) {
        FEstablished = false;
        emit EstablishedChanged(false);
    }
    SetState("Getrennt", "#666666");
    emit ViewFinished();
}

} // namespace ferro
