#include "forms/PlatformHelpers.h"

#include "forms/Icons.h"

#include <QDir>
#include <QFileDialog>
#include <QInputDialog>
#include <QLineEdit>
#include <QPointer>
#include <QStandardPaths>

#include <map>

namespace ferro {

std::string GetSpecialFolder(TSpecialFolder Id) {
    QStandardPaths::StandardLocation where = QStandardPaths::DocumentsLocation;
    switch (Id) {
    case TSpecialFolder::Documents:
        where = QStandardPaths::DocumentsLocation;
        break;
    case TSpecialFolder::AppData:
        where = QStandardPaths::AppDataLocation;
        break;
    case TSpecialFolder::Temp:
        where = QStandardPaths::TempLocation;
        break;
    case TSpecialFolder::Home:
        where = QStandardPaths::HomeLocation;
        break;
    case TSpecialFolder::Desktop:
        where = QStandardPaths::DesktopLocation;
        break;
    }
    const QString path = QStandardPaths::writableLocation(where);
    if (path.isEmpty()) return std::string();
    return QDir::toNativeSeparators(path + "/").toStdString();
}

bool GetImageFromRessource(const std::string& Name, QImage& Bitmap, int Size) {
    static const std::map<std::string, TIconKind> pictures = {
        {"secure", TIconKind::Secure}, {"unsecure", TIconKind::Unsecure}, {"ok", TIconKind::Add},
        {"abort", TIconKind::Remove},  {"connect", TIconKind::Connect},   {"key", TIconKind::Key},
        {"user", TIconKind::User},     {"status", TIconKind::Status},     {"firmware", TIconKind::Firmware}};
    auto it = pictures.find(Name);
    if (it == pictures.end() || Size <= 0 || Size > 1024) return false;
    Bitmap = DrawnIcon(it->second, Size).toImage();
    return !Bitmap.isNull();
}

bool SelectDirFMX(const std::string& Caption, std::string& Dir, QWidget* Parent) {
    const QString chosen = QFileDialog::getExistingDirectory(Parent, QString::fromStdString(Caption),
                                                             QString::fromStdString(Dir));
    if (chosen.isEmpty()) return false;
    Dir = QDir::toNativeSeparators(chosen).toStdString();
    return true;
}

namespace {
QInputDialog* PasswordDialog(QWidget* Parent, const std::string& Caption, const std::string& Prompt) {
    auto* dlg = new QInputDialog(Parent);
    dlg->setObjectName("dlgPassword");
    dlg->setWindowTitle(QString::fromStdString(Caption));
    dlg->setLabelText(QString::fromStdString(Prompt));
    dlg->setTextEchoMode(QLineEdit::Password);
    dlg->setOkButtonText("OK");
    dlg->setCancelButtonText("Abbrechen");
    return dlg;
}
} // namespace

void showPasswortBox(QWidget* Parent, const std::string& Caption, const std::string& Prompt,
                     std::function<void(bool Ok, const std::string& Text)> Callback) {
    QInputDialog* dlg = PasswordDialog(Parent, Caption, Prompt);
    dlg->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(dlg, &QDialog::finished, dlg, [dlg, Callback = std::move(Callback)](int result) {
        const bool ok = result == QDialog::Accepted;
        if (Callback) Callback(ok, ok ? dlg->textValue().toStdString() : std::string());
    });
    dlg->open();
}

bool showPasswortBox(QWidget* Parent, const std::string& Caption, const std::string& Prompt,
                     const std::string& Expected) {
    QPointer<QInputDialog> dlg = PasswordDialog(Parent, Caption, Prompt);
    const bool ok =
        dlg->exec() == QDialog::Accepted && dlg && PasswordMatches(dlg->textValue().toStdString(), Expected);
    delete dlg.data();
    return ok;
}

bool PasswordMatches(const std::string& Entered, const std::string& Expected) {
    return QString::fromStdString(Entered).compare(QString::fromStdString(Expected), Qt::CaseInsensitive) ==
           0;
}

} // namespace ferro
