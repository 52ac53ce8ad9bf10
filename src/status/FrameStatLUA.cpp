#include "status/FrameStatLUA.h"

#include <QComboBox>
#include <QEvent>
#include <QFontDatabase>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTextBlock>
#include <QTextCursor>
#include <QVBoxLayout>

namespace ferro {

const char* const TFrameLUA::CStoredCommands[9] = {
    "pq.getEvtOscHpCnt()",
    "if (log) then log.setLog(\"FILE\", \"SYSLOG\") else uti.setLog(\"FILE\", \"SYSLOG\") end",
    "ips.ftpOpen()",
    "ips.ftpClose()",
    "fs.du(\"/mnt/flashdrive0\")",
    "fs.du(\"/mnt/flashdrive0/data/srb/\")",
    "fs.du(\"/mnt/flashdrive0/data/eventRec/\")",
    "uti.softreset()",
    "omap.reset()",
};

TFrameLUA::TFrameLUA(QWidget* Parent) : QWidget(Parent) {
    setObjectName("FrameLUA");
    auto* outer = new QVBoxLayout(this);
    auto* g = new QGridLayout;
    cbbCommands = new QComboBox(this);
    cbbCommands->setObjectName("cbbCommands");
    cbbCommands->setPlaceholderText("Gespeicherte Befehle");
    // The long stored lines must not widen the window.
    cbbCommands->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    cbbCommands->setMinimumContentsLength(24);
    for (const char* c : CStoredCommands)
        cbbCommands->addItem(c);
    cbbCommands->setCurrentIndex(-1);
    edtCommand = new QLineEdit(this);
    edtCommand->setObjectName("edtCommand");
    edtCommand->setPlaceholderText("Lua-Befehl");
    edtCommand->installEventFilter(this);
    btnSend = new QPushButton("Senden", this);
    btnSend->setObjectName("btnSend");
    g->addWidget(new QLabel("Gespeichert", this), 0, 0);
    g->addWidget(cbbCommands, 0, 1, 1, 2);
    g->addWidget(new QLabel("Befehl", this), 1, 0);
    g->addWidget(edtCommand, 1, 1);
    g->addWidget(btnSend, 1, 2);
    g->setColumnStretch(1, 1);
    outer->addLayout(g);

    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    auto* split = new QSplitter(Qt::Vertical, this);
    mmoOutput = new QPlainTextEdit(split);
    mmoOutput->setObjectName("mmoOutput");
    mmoOutput->setReadOnly(true);
    mmoOutput->setFont(fixed);
    mmoOutput->setToolTip("Doppelklick leert die Ausgabe");
    mmoOutput->viewport()->installEventFilter(this);
    mmoLog = new QPlainTextEdit(split);
    mmoLog->setObjectName("mmoLog");
    mmoLog->setReadOnly(true);
    mmoLog->setFont(fixed);
    mmoLog->setMaximumBlockCount(2000);
    split->setStretchFactor(0, 3);
    split->setStretchFactor(1, 1);
    outer->addWidget(split, 1);

    connect(cbbCommands, &QComboBox::currentIndexChanged, this, [this](int i) {
        if (i >= 0) edtCommand->setText(cbbCommands->itemText(i));
    });
    connect(btnSend, &QPushButton::clicked, this, [this] { btnSendClick(); });
}

bool TFrameLUA::eventFilter(QObject* Watched, QEvent* Event) {
    if (Watched == edtCommand && Event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(Event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            if (btnSend->isEnabled()) btnSendClick();
            return true;
        }
    }
    if (Watched == mmoOutput->viewport() && Event->type() == QEvent::MouseButtonDblClick) {
        mmoOutput->clear();
        return true;
    }
    return QWidget::eventFilter(Watched, Event);
}

void TFrameLUA::btnSendClick() {
    const std::string text = edtCommand->text().toStdString();
    btnSend->setEnabled(false);
    mmoOutput->appendPlainText("");
    mmoOutput->appendPlainText("Send: " + edtCommand->text());
    mmoOutput->appendPlainText("");
    SendCommand(text);
}

void TFrameLUA::SendCommand(const std::string& Text) {
    if (FSendCmd) FSendCmd(Text);
}

void TFrameLUA::WriteToMemo(const std::string& Text) {
    if (mmoOutput->document()->isEmpty()) return;
    QTextCursor c(mmoOutput->document());
    c.beginEditBlock();
    c.movePosition(QTextCursor::End);
    c.insertText(QString::fromStdString(Text));
    c.endEditBlock();
    mmoOutput->moveCursor(QTextCursor::End);
    mmoOutput->ensureCursorVisible();
}

void TFrameLUA::WriteToLog(const std::string& Text) {
    mmoLog->appendPlainText(QString::fromStdString(Text));
}

} // namespace ferro
