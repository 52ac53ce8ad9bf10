#pragma once
// The instrument's own web page, opened in the desktop's browser.

#include <QWidget>

#include <functional>
#include <string>

class QLabel;

namespace ferro {

class TFormMSPara : public QWidget {
    Q_OBJECT
public:
    explicit TFormMSPara(QWidget* Parent = nullptr);

    // "%s://%s:%d/%s": http or https, host, port, page.
    void SetPage(bool UseHTTPS, const std::string& Host, int Port, const std::string& Page);
    std::string PageUrl() const;
    // Hands the address to the opener; false when there is no host or the opener refused.
    bool OpenPage();

    // Opens an address; the desktop's browser unless replaced (tests replace it).
    std::function<bool(const std::string& Url)> FOpener;

private:
    bool FUseHTTPS = false;
    std::string FHost, FPage;
    int FPort = 80;
    QLabel* FUrlLabel = nullptr;
};

} // namespace ferro
