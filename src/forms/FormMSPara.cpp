#include "forms/FormMSPara.h"

#include "foundation/Format.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

namespace ferro {

TFormMSPara::TFormMSPara(QWidget* Parent) : QWidget(Parent) {
    setObjectName("FormMSPara");
    setWindowTitle("Webseite des Gerätes");
    FOpener = [](const std::string& Url) {
        return QDesktopServices::openUrl(QUrl(QString::fromStdString(Url)));
    };
    auto* root = new QVBoxLayout(this);
    root->setContentsMargins(12, 12, 12, 12);
    auto* info =
        new QLabel("Die Parametrierung über die Webseite des Gerätes wird im Browser geöffnet:", this);
    info->setWordWrap(true);
    root->addWidget(info);
    FUrlLabel = new QLabel(this);
    FUrlLabel->setObjectName("lblUrl");
    FUrlLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    root->addWidget(FUrlLabel);
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    auto* open = new QPushButton("Im Browser öffnen", this);
    open->setObjectName("btnOpen");
    row->addWidget(open);
    root->addLayout(row);
    connect(open, &QPushButton::clicked, this, [this] { OpenPage(); });
}

void TFormMSPara::SetPage(bool UseHTTPS, const std::string& Host, int Port, const std::string& Page) {
    FUseHTTPS = UseHTTPS;
    FHost = Host;
    FPort = Port;
    FPage = Page;
    FUrlLabel->setText(QString::fromStdString(PageUrl()));
}

std::string TFormMSPara::PageUrl() const {
    // An IPv6 address needs brackets before the port.
    std::string host =
        FHost.find(':') != std::string::npos && FHost.front() != '[' ? "[" + FHost + "]" : FHost;
    return Fmt("%s://%s:%d/%s", FUseHTTPS ? "https" : "http", host.c_str(), FPort, FPage.c_str());
}

bool TFormMSPara::OpenPage() {
    if (FHost.empty() || !FOpener) return false;
    return FOpener(PageUrl());
}

} // namespace ferro
