#include "InstrumentDialog.h"

#include "InstrumentStore.h"
#include "forms/MessageDialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace ferro {

TInstrumentDialog::TInstrumentDialog(const TInstrument& Entry, QWidget* Parent) : QDialog(Parent) {
    setObjectName("InstrumentDialog");
    setWindowTitle(Entry.Name.empty() ? "Gerät hinzufügen" : "Gerät bearbeiten");
    auto* root = new QVBoxLayout(this);
    root->setContentsMargins(14, 14, 14, 10);
    root->setSpacing(10);

    auto* general = new QFormLayout;
    edtName = new QLineEdit(QString::fromStdString(Entry.Name), this);
    edtName->setObjectName("edtName");
    edtName->setPlaceholderText("z. B. Umspannwerk Nord, Feld 3");
    cbTransport = new QComboBox(this);
    cbTransport->setObjectName("cbTransport");
    cbTransport->addItem("TCP (CCCI)");
    cbTransport->addItem("SSH");
    cbTransport->addItem("Seriell / USB");
    cbTransport->setCurrentIndex(int(Entry.Transport));
    general->addRow("Name:", edtName);
    general->addRow("Verbindung:", cbTransport);
    root->addLayout(general);

    auto* net = new QGroupBox("Netzwerk", this);
    auto* netForm = new QFormLayout(net);
    edtAddress = new QLineEdit(QString::fromStdString(Entry.Address), net);
    edtAddress->setObjectName("edtAddress");
    edtAddress->setPlaceholderText("Hostname oder IP-Adresse");
    edtPort = new QLineEdit(QString::number(Entry.Port), net);
    edtPort->setObjectName("edtPort");
    cbIpVer = new QComboBox(net);
    cbIpVer->setObjectName("cbIpVer");
    cbIpVer->addItem("IPv4");
    cbIpVer->addItem("IPv6");
    cbIpVer->setCurrentIndex(Entry.IpVer == ipverV6 ? 1 : 0);
    edtUser = new QLineEdit(QString::fromStdString(Entry.SshUser), net);
    edtUser->setObjectName("edtUser");
    edtPassword = new QLineEdit(QString::fromStdString(Entry.SshPassword), net);
    edtPassword->setObjectName("edtPassword");
    edtPassword->setEchoMode(QLineEdit::Password);
    netForm->addRow("Adresse:", edtAddress);
    netForm->addRow("Port:", edtPort);
    netForm->addRow("Protokoll:", cbIpVer);
    netForm->addRow("SSH-Benutzer:", edtUser);
    netForm->addRow("SSH-Passwort:", edtPassword);
    root->addWidget(net);

    auto* serial = new QGroupBox("Serielle Schnittstelle", this);
    auto* serialForm = new QFormLayout(serial);
    edtSerial = new QLineEdit(QString::fromStdString(Entry.SerialDevice), serial);
    edtSerial->setObjectName("edtSerial");
    edtSerial->setPlaceholderText("/dev/ttyUSB0");
    serialForm->addRow("Gerätedatei:", edtSerial);
    root->addWidget(serial);

    btnBox = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    btnBox->setObjectName("btnBox");
    btnBox->button(QDialogButtonBox::Ok)->setText("Übernehmen");
    btnBox->button(QDialogButtonBox::Cancel)->setText("Abbrechen");
    root->addWidget(btnBox);
    connect(btnBox, &QDialogButtonBox::accepted, this, [this] { TryAccept(); });
    connect(btnBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(cbTransport, qOverload<int>(&QComboBox::currentIndexChanged), this, [this] {
        // The port of the other network transport's default is swapped for this one's; a port the
        // user typed stays.
        const bool ssh = TTransport(cbTransport->currentIndex()) == TTransport::Ssh;
        const QString port = edtPort->text().trimmed();
        if (ssh && port == QString::number(CDefaultCcciPort))
            edtPort->setText(QString::number(CDefaultSshPort));
        if (!ssh && port == QString::number(CDefaultSshPort))
            edtPort->setText(QString::number(CDefaultCcciPort));
        UpdateFieldStates();
    });
    UpdateFieldStates();
    setMinimumWidth(440);
}

void TInstrumentDialog::UpdateFieldStates() {
    const auto t = TTransport(cbTransport->currentIndex());
    const bool network = t != TTransport::Serial;
    edtAddress->setEnabled(network);
    edtPort->setEnabled(network);
    cbIpVer->setEnabled(network);
    edtUser->setEnabled(t == TTransport::Ssh);
    edtPassword->setEnabled(t == TTransport::Ssh);
    edtSerial->setEnabled(!network);
}

TInstrument TInstrumentDialog::Entry() const {
    TInstrument e;
    e.Name = edtName->text().trimmed().toStdString();
    e.Transport = TTransport(cbTransport->currentIndex());
    e.Address = edtAddress->text().trimmed().toStdString();
    bool ok = false;
    int port = edtPort->text().trimmed().toInt(&ok);
    e.Port = ok ? port : 0;
    e.IpVer = cbIpVer->currentIndex() == 1 ? ipverV6 : ipverV4;
    e.SshUser = edtUser->text().trimmed().toStdString();
    e.SshPassword = edtPassword->text().toStdString();
    e.SerialDevice = edtSerial->text().trimmed().toStdString();
    return e;
}

void TInstrumentDialog::TryAccept() {
    FLastError = TInstrumentStore::Validate(Entry());
    if (FLastError.empty()) {
        accept();
        return;
    }
    OpenMessageBox(this, FLastError, mtWarning, Buttons({mbOK}), mbOK, nullptr);
}

} // namespace ferro
