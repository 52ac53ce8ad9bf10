#include "forms/FrmMemo.h"

#include <QApplication>
#include <QClipboard>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace ferro {

TFrmMemo::TFrmMemo(QWidget* Parent) : QDialog(Parent) {
    setObjectName("FrmMemo");
    setWindowTitle("Text");
    auto* root = new QVBoxLayout(this);
    root->setContentsMargins(10, 10, 10, 10);
    Memo1 = new QPlainTextEdit(this);
    Memo1->setObjectName("Memo1");
    Memo1->setReadOnly(true);
    Memo1->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    root->addWidget(Memo1, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    auto* copy = new QPushButton("Kopieren", this);
    copy->setObjectName("btnCopy");
    auto* close = new QPushButton("Schließen", this);
    close->setObjectName("btnClose");
    buttons->addWidget(copy);
    buttons->addWidget(close);
    root->addLayout(buttons);
    connect(copy, &QPushButton::clicked, this, [this] { CopyToClipboard(); });
    connect(close, &QPushButton::clicked, this, &QDialog::accept);
    resize(640, 420);
}

void TFrmMemo::SetText(const std::string& Text) {
    Memo1->setPlainText(QString::fromStdString(Text));
}

void TFrmMemo::AddLine(const std::string& Line) {
    Memo1->appendPlainText(QString::fromStdString(Line));
}

std::string TFrmMemo::Text() const {
    return Memo1->toPlainText().toStdString();
}

void TFrmMemo::CopyToClipboard() const {
    QApplication::clipboard()->setText(Memo1->toPlainText());
}

} // namespace ferro
