#include "flash/FrmMassFlash.h"

#include "forms/Icons.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QDateTime>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace ferro {

namespace {
enum Column { ColName, ColAddress, ColResult, ColBackup, ColCount };
} // namespace

TFrmMassFlash::TFrmMassFlash(std::vector<TConnectionRec> Instruments, TFolders Folders, QWidget* Parent)
    : QDialog(Parent), FInstruments(std::move(Instruments)), FFolders(std::move(Folders)) {
    setObjectName("TFrmMassFlash");
    setWindowTitle("Firmware-Update mehrerer Geräte");
    auto* lay = new QVBoxLayout(this);
    auto* grid = new QGridLayout;
    grid->setColumnStretch(1, 1);
    grid->addWidget(new QLabel("Updatedatei", this), 0, 0);
    edtArchive = new QLineEdit(this);
    edtArchive->setObjectName("edtArchive");
    edtArchive->setPlaceholderText("Firmware-Update (*.zip) wählen");
    grid->addWidget(edtArchive, 0, 1);
    btnArchive = new QPushButton("Wählen …", this);
    btnArchive->setObjectName("btnArchive");
    grid->addWidget(btnArchive, 0, 2);
    chkBackup = new QCheckBox("Parametersicherung vorher, in den Ordner", this);
    chkBackup->setObjectName("chkBackup");
    chkBackup->setChecked(true);
    grid->addWidget(chkBackup, 1, 0);
    edtBackupDir = new QLineEdit(QString::fromStdString(FFolders.Data + "Sicherungen"), this);
    edtBackupDir->setObjectName("edtBackupDir");
    grid->addWidget(edtBackupDir, 1, 1);
    btnBackupDir = new QPushButton("Wählen …", this);
    btnBackupDir->setObjectName("btnBackupDir");
    grid->addWidget(btnBackupDir, 1, 2);
    lay->addLayout(grid);

    lstTargets = new QTableWidget(int(FInstruments.size()), ColCount, this);
    lstTargets->setObjectName("lstTargets");
    lstTargets->setHorizontalHeaderLabels({"Gerät", "Adresse", "Ergebnis", "Sicherung"});
    lstTargets->verticalHeader()->setVisible(false);
    lstTargets->setSelectionMode(QAbstractItemView::NoSelection);
    lstTargets->setEditTriggers(QAbstractItemView::NoEditTriggers);
    lstTargets->setWordWrap(false);
    lstTargets->horizontalHeader()->setSectionResizeMode(ColResult, QHeaderView::Stretch);
    for (int r = 0; r < int(FInstruments.size()); ++r) {
        const TConnectionRec& e = FInstruments[size_t(r)];
        auto* name = new QTableWidgetItem(QString::fromStdString(e.Name.empty() ? e.Where() : e.Name));
        name->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        name->setCheckState(Qt::Checked);
        lstTargets->setItem(r, ColName, name);
        lstTargets->setItem(
            r, ColAddress,
            new QTableWidgetItem(QString::fromStdString(e.Where()) + "  " + TransportText(e.Transport)));
        lstTargets->setItem(r, ColResult, new QTableWidgetItem("–"));
        lstTargets->setItem(r, ColBackup, new QTableWidgetItem(""));
    }
    lstTargets->resizeColumnsToContents();
    lstTargets->horizontalHeader()->setSectionResizeMode(ColResult, QHeaderView::Stretch);
    lay->addWidget(lstTargets, 1);

    lblSummary = new QLabel("Geräte ankreuzen, Updatedatei wählen und das Update starten. Die Geräte starten "
                            "danach neu; bis zu " +
                                QString::number(TMassFlash::CParallel) + " werden gleichzeitig aktualisiert.",
                            this);
    lblSummary->setObjectName("lblSummary");
    lblSummary->setWordWrap(true);
    lay->addWidget(lblSummary);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    btnStart = new QPushButton(FerroIcon(TIconKind::Firmware), "Update starten", this);
    btnStart->setObjectName("btnStart");
    btnClose = new QPushButton("Schließen", this);
    btnClose->setObjectName("btnClose");
    buttons->addWidget(btnStart);
    buttons->addWidget(btnClose);
    lay->addLayout(buttons);

    connect(btnArchive, &QPushButton::clicked, this, [this] {
        const QString f =
            QFileDialog::getOpenFileName(this, "Updatedatei wählen", QString(), "Firmware-Update (*.zip)");
        if (!f.isEmpty()) edtArchive->setText(f);
    });
    connect(btnBackupDir, &QPushButton::clicked, this, [this] {
        const QString d =
            QFileDialog::getExistingDirectory(this, "Ordner der Sicherungen", edtBackupDir->text());
        if (!d.isEmpty()) edtBackupDir->setText(d);
    });
    connect(btnStart, &QPushButton::clicked, this, [this] { StartRun(); });
    connect(btnClose, &QPushButton::clicked, this, &QDialog::close);
    connect(edtArchive, &QLineEdit::textChanged, this, [this] { UpdateStart(); });
    connect(lstTargets, &QTableWidget::itemChanged, this, [this] { UpdateStart(); });
    UpdateStart();
    resize(900, 480);
}

TFrmMassFlash::~TFrmMassFlash() = default;

void TFrmMassFlash::UpdateStart() {
    int ticked = 0;
    for (int r = 0; r < lstTargets->rowCount(); ++r)
        ticked += lstTargets->item(r, ColName)->checkState() == Qt::Checked ? 1 : 0;
    const bool archive = QFileInfo(edtArchive->text()).isFile();
    const bool can = !Running() && ticked > 0 && archive;
    btnStart->setEnabled(can);
    btnStart->setToolTip(Running()     ? "Das Update läuft"
                         : ticked == 0 ? "Bitte mindestens ein Gerät ankreuzen"
                         : !archive    ? "Bitte eine vorhandene Updatedatei wählen"
                                       : QString("Update auf %1 Geräte übertragen").arg(ticked));
}

bool TFrmMassFlash::StartRun() {
    if (Running()) return false;
    std::vector<TConnectionRec> targets;
    FRows.clear();
    for (int r = 0; r < lstTargets->rowCount(); ++r) {
        if (lstTargets->item(r, ColName)->checkState() != Qt::Checked) continue;
        TConnectionRec rec = FInstruments[size_t(r)];
        rec.Folders = FFolders;
        targets.push_back(rec);
        FRows.push_back(r);
        lstTargets->item(r, ColResult)->setText("wartet …");
        lstTargets->item(r, ColResult)->setForeground(palette().text());
        lstTargets->item(r, ColBackup)->setText("");
    }
    if (targets.empty() || !QFileInfo(edtArchive->text()).isFile()) {
        lblSummary->setText("Bitte Geräte ankreuzen und eine vorhandene Updatedatei wählen.");
        return false;
    }
    const std::string backup = chkBackup->isChecked() ? edtBackupDir->text().toStdString() : std::string();
    FRun = std::make_unique<TMassFlash>(targets, edtArchive->text().toStdString(), backup);
    FRun->FRebootTimeoutMs = FRebootTimeoutMs;
    FRun->FRetryMs = FRetryMs;
    FRun->FLog = [this](const std::string& Name, const std::string& Text) {
        if (FLog) FLog(QString::fromStdString(Name + ": " + Text));
    };
    connect(FRun.get(), &TMassFlash::LineDone, this, [this](int i) { ShowLine(i); });
    connect(FRun.get(), &TMassFlash::AllDone, this, [this] {
        lblSummary->setText(QString::fromStdString(FRun->Summary()));
        lblSummary->setStyleSheet(FRun->Succeeded() == int(FRun->Lines().size())
                                      ? "color: #1b7f2a; font-weight: 600;"
                                      : "color: #b00020; font-weight: 600;");
        UpdateStart();
        if (FLog) FLog(QString::fromStdString(FRun->Summary()));
        emit RunFinished();
    });
    for (int r : FRows)
        lstTargets->item(r, ColResult)->setText("läuft …");
    lblSummary->setStyleSheet("");
    lblSummary->setText(QString("Update läuft auf %1 Geräten (höchstens %2 gleichzeitig) …")
                            .arg(targets.size())
                            .arg(TMassFlash::CParallel));
    FRun->Start();
    UpdateStart();
    return true;
}

void TFrmMassFlash::ShowLine(int Index) {
    const TMassLine& l = FRun->Lines()[size_t(Index)];
    const int r = FRows[size_t(Index)];
    auto* item = lstTargets->item(r, ColResult);
    item->setText(QString::fromStdString((l.Ok ? "OK – " : "Fehler – ") + l.Text));
    item->setForeground(l.Ok ? QColor("#1b7f2a") : QColor("#b00020"));
    item->setToolTip(item->text());
    lstTargets->item(r, ColBackup)->setText(QFileInfo(QString::fromStdString(l.Backup)).fileName());
    lstTargets->item(r, ColBackup)->setToolTip(QString::fromStdString(l.Backup));
    lstTargets->resizeColumnToContents(ColBackup);
}

void TFrmMassFlash::closeEvent(QCloseEvent* Event) {
    // An update under way is not cut off: the instruments would be left half updated.
    if (Running()) {
        lblSummary->setText("Das Update läuft noch; bitte warten Sie, bis alle Geräte fertig sind.");
        Event->ignore();
        return;
    }
    QDialog::closeEvent(Event);
}

void TFrmMassFlash::reject() {
    if (Running()) {
        lblSummary->setText("Das Update läuft noch; bitte warten Sie, bis alle Geräte fertig sind.");
        return;
    }
    QDialog::reject();
}

} // namespace ferro
