#include "flash/FrmChangelog.h"

#include <QFile>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace ferro {

namespace {
// A change log is a short text; a huge file is not one.
constexpr qint64 CMaxChangelog = 4 << 20;
} // namespace

TFrmChangelog::TFrmChangelog(QWidget* Parent) : QDialog(Parent) {
    setObjectName("TFrmChangelog");
    setWindowTitle("Firmware-Update: Änderungen");
    auto* lay = new QVBoxLayout(this);
    auto* caption = new QLabel("Änderungen der neuen Firmware. Mit „Update Starten“ wird sie auf das Gerät "
                               "übertragen; das Gerät startet danach neu.",
                               this);
    caption->setWordWrap(true);
    lay->addWidget(caption);
    mmoChangelog = new QPlainTextEdit(this);
    mmoChangelog->setObjectName("mmoChangelog");
    mmoChangelog->setReadOnly(true);
    mmoChangelog->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    mmoChangelog->setLineWrapMode(QPlainTextEdit::NoWrap);
    lay->addWidget(mmoChangelog, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    btnok = new QPushButton("Update Starten", this);
    btnok->setObjectName("btnok");
    btnAbort = new QPushButton("Abbrechen", this);
    btnAbort->setObjectName("btnAbort");
    btnAbort->setDefault(true);
    buttons->addWidget(btnok);
    buttons->addWidget(btnAbort);
    lay->addLayout(buttons);
    connect(btnok, &QPushButton::clicked, this, [this] { btnOkClick(); });
    connect(btnAbort, &QPushButton::clicked, this, [this] { btnAbortClick(); });
    resize(640, 460);
}

void TFrmChangelog::SetImages(const QIcon& Ok, const QIcon& Abort) {
    btnok->setIcon(Ok);
    btnAbort->setIcon(Abort);
}

void TFrmChangelog::showEvent(QShowEvent* Event) {
    QDialog::showEvent(Event);
    FormShow();
}

void TFrmChangelog::FormShow() {
    mmoChangelog->clear();
    QFile f(QString::fromStdString(FFN));
    if (FFN.empty() || !f.open(QIODevice::ReadOnly)) return;
    const QByteArray data = f.read(CMaxChangelog);
    // Change logs come as UTF-8 or, from older tools, as Latin-1.
    QString text = QString::fromUtf8(data);
    if (text.contains(QChar::ReplacementCharacter)) text = QString::fromLatin1(data);
    mmoChangelog->setPlainText(text);
}

void TFrmChangelog::btnOkClick() {
    done(1);
}

void TFrmChangelog::btnAbortClick() {
    done(3);
}

} // namespace ferro
