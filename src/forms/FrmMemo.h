#pragma once
// A window with a text: logs, Lua output and listings that a person wants to read or copy.

#include <QDialog>

#include <string>

class QPlainTextEdit;

namespace ferro {

class TFrmMemo : public QDialog {
    Q_OBJECT
public:
    explicit TFrmMemo(QWidget* Parent = nullptr);

    void SetText(const std::string& Text);
    void AddLine(const std::string& Line);
    std::string Text() const;
    void CopyToClipboard() const;

    QPlainTextEdit* Memo1 = nullptr;
};

} // namespace ferro
