#pragma once
// The Lua console: one command at a time, the instrument's answer below it, and a list of stored
// commands to pick from. It never touches the link: the view hands it FSendCmd.

#include <QWidget>

#include <functional>
#include <string>

class QComboBox;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;

namespace ferro {

class TFrameLUA : public QWidget {
    Q_OBJECT
public:
    explicit TFrameLUA(QWidget* Parent = nullptr);

    // Appends `Text` to the last line of the output, so that a reply arrives as one piece; with no
    // line at all nothing is written.
    void WriteToMemo(const std::string& Text);
    // A line of the link's log, below the output.
    void WriteToLog(const std::string& Text);
    void btnSendClick();
    static const char* const CStoredCommands[9];

    std::function<void(const std::string&)> FSendCmd;

    QLineEdit* edtCommand;
    QPushButton* btnSend;
    QComboBox* cbbCommands;
    QPlainTextEdit *mmoOutput, *mmoLog;

protected:
    bool eventFilter(QObject* Watched, QEvent* Event) override;

private:
    void SendCommand(const std::string& Text);
};

} // namespace ferro
