#include "forms/FrmParaSelect.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QMouseEvent>
#include <QPushButton>
#include <QVBoxLayout>

namespace ferro {

TFrmParaSelect::TFrmParaSelect(TModulList& List, QWidget* Parent) : QDialog(Parent), FSL(List) {
    setObjectName("FrmParaSelect");
    setWindowTitle("Parameter auswählen");
    TxtDescSelect = new QLabel(this);
    TxtDescSelect->setObjectName("TxtDescSelect");
    TxtDescSelect->setWordWrap(true);
    lstSel = new QListWidget(this);
    lstSel->setObjectName("lstSel");
    lstSel->viewport()->installEventFilter(this);
    auto* hint = new QLabel("Rechtsklick auf ein Modul: nur dieses Modul auswählen", this);
    hint->setObjectName("lblHint");
    hint->setStyleSheet("color: palette(mid);");
    auto* buttons = new QDialogButtonBox(this);
    btnOk = buttons->addButton("OK", QDialogButtonBox::AcceptRole);
    btnOk->setObjectName("btnOk");
    btnAbort = buttons->addButton("Abbrechen", QDialogButtonBox::RejectRole);
    btnAbort->setObjectName("btnAbort");
    connect(btnOk, &QPushButton::clicked, this, [this] { FCopy ? btnCopyOkClick() : btnOkClick(); });
    connect(btnAbort, &QPushButton::clicked, this, &QDialog::reject);
    auto* lay = new QVBoxLayout(this);
    lay->addWidget(TxtDescSelect);
    lay->addWidget(lstSel, 1);
    lay->addWidget(hint);
    lay->addWidget(buttons);
    resize(460, 420);
}

void TFrmParaSelect::SetImages(const QIcon& Ok, const QIcon& Abort) {
    btnOk->setIcon(Ok);
    btnAbort->setIcon(Abort);
}

void TFrmParaSelect::CreateSelect(const std::string& DeviceName) {
    FCopy = false;
    TxtDescSelect->setText(
        QString("Wählen Sie die Parameter aus, die an das Ferro_Recorder [%1] gesendet werden sollen.")
            .arg(QString::fromStdString(DeviceName)));
    lstSel->clear();
    for (const auto& [name, flag] : FSL) {
        if (flag != "1") continue; // hidden modules are sent without being offered
        auto* item = new QListWidgetItem(QString::fromStdString(name), lstSel);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        item->setCheckState(Qt::Checked);
    }
}

void TFrmParaSelect::CreateCopySelect() {
    FCopy = true;
    TxtDescSelect->setText("Wählen Sie die Parameter aus, die in die CSV-Datei exportiert werden sollen.");
    lstSel->clear();
    for (const auto& line : FSL) {
        auto* item = new QListWidgetItem(QString::fromStdString(line.second), lstSel);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        item->setCheckState(Qt::Checked);
    }
}

void TFrmParaSelect::btnOkClick() {
    for (int i = 0; i < lstSel->count(); ++i) {
        if (lstSel->item(i)->checkState() == Qt::Checked) continue;
        const std::string name = lstSel->item(i)->text().toStdString();
        for (auto it = FSL.begin(); it != FSL.end(); ++it)
            if (it->first == name) {
                FSL.erase(it);
                break;
            }
        FSL.emplace_back(name, "0");
    }
    accept();
}

void TFrmParaSelect::btnCopyOkClick() {
    // One item per line, in the same order: an item's index is its line's.
    for (int i = lstSel->count() - 1; i >= 0; --i)
        if (lstSel->item(i)->checkState() != Qt::Checked && i < int(FSL.size())) FSL.erase(FSL.begin() + i);
    accept();
}

bool TFrmParaSelect::eventFilter(QObject* Watched, QEvent* Event) {
    if (Watched == lstSel->viewport() && Event->type() == QEvent::MouseButtonPress) {
        auto* m = static_cast<QMouseEvent*>(Event);
        if (m->button() == Qt::RightButton) {
            if (QListWidgetItem* hit = lstSel->itemAt(m->position().toPoint())) {
                for (int i = 0; i < lstSel->count(); ++i)
                    lstSel->item(i)->setCheckState(lstSel->item(i) == hit ? Qt::Checked : Qt::Unchecked);
                return true;
            }
        }
    }
    return QDialog::eventFilter(Watched, Event);
}

} // namespace ferro
