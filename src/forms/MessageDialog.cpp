#include "forms/MessageDialog.h"

#include <QAbstractButton>
#include <QPointer>

namespace ferro {

int ModalResultOf(QMessageBox::StandardButton Button) {
    switch (Button) {
    case QMessageBox::Ok:
        return mrOk;
    case QMessageBox::Cancel:
        return mrCancel;
    case QMessageBox::Abort:
        return mrAbort;
    case QMessageBox::Retry:
        return mrRetry;
    case QMessageBox::Ignore:
        return mrIgnore;
    case QMessageBox::Yes:
        return mrYes;
    case QMessageBox::No:
        return mrNo;
    default:
        return mrNone;
    }
}

QMessageBox::StandardButton StandardButtonOf(TMsgDlgBtn Button) {
    switch (Button) {
    case mbYes:
        return QMessageBox::Yes;
    case mbNo:
        return QMessageBox::No;
    case mbOK:
        return QMessageBox::Ok;
    case mbCancel:
        return QMessageBox::Cancel;
    case mbAbort:
        return QMessageBox::Abort;
    case mbRetry:
        return QMessageBox::Retry;
    case mbIgnore:
        return QMessageBox::Ignore;
    }
    return QMessageBox::NoButton;
}

QMessageBox::StandardButtons StandardButtonsOf(TMsgDlgButtons Buttons) {
    QMessageBox::StandardButtons result;
    for (int b = mbYes; b <= mbIgnore; ++b)
        if (Buttons & (1u << b)) result |= StandardButtonOf(TMsgDlgBtn(b));
    if (!result) result = QMessageBox::Ok;
    return result;
}

namespace {

QMessageBox::Icon IconOf(TMsgDlgType Type) {
    switch (Type) {
    case mtWarning:
        return QMessageBox::Warning;
    case mtError:
        return QMessageBox::Critical;
    case mtInformation:
        return QMessageBox::Information;
    case mtConfirmation:
        return QMessageBox::Question;
    case mtCustom:
        return QMessageBox::NoIcon;
    }
    return QMessageBox::NoIcon;
}

QString TitleOf(TMsgDlgType Type) {
    switch (Type) {
    case mtWarning:
        return QStringLiteral("Warnung");
    case mtError:
        return QStringLiteral("Fehler");
    case mtInformation:
        return QStringLiteral("Information");
    case mtConfirmation:
        return QStringLiteral("Bestätigung");
    case mtCustom:
        break;
    }
    return QStringLiteral("Marlin Lite");
}

// Qt's own button texts are English.
const char* GermanText(QMessageBox::StandardButton Button) {
    switch (Button) {
    case QMessageBox::Yes:
        return "Ja";
    case QMessageBox::No:
        return "Nein";
    case QMessageBox::Cancel:
    case QMessageBox::Abort:
        return "Abbrechen";
    case QMessageBox::Retry:
        return "Wiederholen";
    case QMessageBox::Ignore:
        return "Ignorieren";
    default:
        return "OK";
    }
}

} // namespace

QMessageBox* OpenMessageBox(QWidget* Parent, const std::string& Text, TMsgDlgType Type,
                            TMsgDlgButtons Buttons, TMsgDlgBtn DefaultButton,
                            std::function<void(int Result)> Done) {
    auto* box = new QMessageBox(Parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIcon(IconOf(Type));
    box->setWindowTitle(TitleOf(Type));
    // The instrument's texts carry Windows line ends.
    box->setText(QString::fromStdString(Text).replace(QLatin1String("\r\n"), QLatin1String("\n")));
    const QMessageBox::StandardButtons buttons = StandardButtonsOf(Buttons);
    box->setStandardButtons(buttons);
    for (QAbstractButton* b : box->buttons())
        b->setText(GermanText(box->standardButton(b)));
    if (buttons.testFlag(StandardButtonOf(DefaultButton)))
        box->setDefaultButton(StandardButtonOf(DefaultButton));
    QObject::connect(box, &QMessageBox::finished, box, [box, buttons, Done = std::move(Done)](int) {
        QAbstractButton* clicked = box->clickedButton();
        int result = clicked ? ModalResultOf(box->standardButton(clicked)) : mrNone;
        if (result == mrNone) result = buttons.testFlag(QMessageBox::Cancel) ? mrCancel : mrNo;
        if (Done) Done(result);
    });
    box->open();
    return box;
}

} // namespace ferro
