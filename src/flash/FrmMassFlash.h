#pragma once
// The host's mass update: the instruments of the list with a tick each, one update archive, an
// optional backup folder, and a table that fills with one result line per instrument while the
// run goes on, then a summary. No question is asked during the run.

#include "flash/MassFlash.h"

#include <QDialog>

#include <memory>
#include <vector>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTableWidget;

namespace ferro {

class TFrmMassFlash : public QDialog {
    Q_OBJECT
public:
    TFrmMassFlash(std::vector<TConnectionRec> Instruments, TFolders Folders, QWidget* Parent = nullptr);
    ~TFrmMassFlash() override;

    // Starts the run over the ticked instruments; false (with the reason in lblSummary) when it cannot.
    bool StartRun();
    bool Running() const { return FRun && !FRun->Finished(); }
    const TMassFlash* Run() const { return FRun.get(); }
    // For tests: how long an instrument may take to come back, and how often it is asked.
    int FRebootTimeoutMs = 180000;
    int FRetryMs = 1000;
    // Log lines of the run ("name: text").
    std::function<void(const QString& Line)> FLog;

    QTableWidget* lstTargets = nullptr;
    QLineEdit* edtArchive = nullptr;
    QPushButton* btnArchive = nullptr;
    QCheckBox* chkBackup = nullptr;
    QLineEdit* edtBackupDir = nullptr;
    QPushButton* btnBackupDir = nullptr;
    QPushButton* btnStart = nullptr;
    QPushButton* btnClose = nullptr;
    QLabel* lblSummary = nullptr;

signals:
    void RunFinished();

protected:
    void closeEvent(QCloseEvent* Event) override;
    void reject() override;

private:
    void UpdateStart();
    void ShowLine(int Index);

    std::vector<TConnectionRec> FInstruments;
    TFolders FFolders;
    std::unique_ptr<TMassFlash> FRun;
    std::vector<int> FRows; // table row of each instrument of the run
};

} // namespace ferro
