#include "forms/FrmNewPass.h"

#include "forms/MessageDialog.h"
#include "link/Messages.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace ferro {

TFrmNewPass::TFrmNewPass(QWidget* Parent) : QDialog(Parent) {
    setWindowTitle("Renew Password");
    setObjectName("FrmNewPass");
    auto* root = new QVBoxLayout(this);
    root->setContentsMargins(16, 16, 16, 12);
    root->setSpacing(10);

    auto* text =
        new QLabel("Das bisherige Passwort ist abgelaufen, bitte vergeben Sie ein neues Passwort.", this);
    text->setObjectName("lblText");
    text->setWordWrap(true);
    root->addWidget(text);

    auto* form = new QFormLayout;
    edtNewPW = new QLineEdit(this);
    edtNewPW->setObjectName("edtNewPW");
    edtNewPW->setEchoMode(QLineEdit::Password);
    edtNewPWConf = new QLineEdit(this);
    edtNewPWConf->setObjectName("edtNewPWConf");
    edtNewPWConf->setEchoMode(QLineEdit::Password);
    form->addRow("Neues Passwort:", edtNewPW);
    form->addRow("Wiederholung:", edtNewPWConf);
    root->addLayout(form);

    auto* note =
        new QLabel("Hinweis: Das neue Passwort muss sich in 5 Stellen zum alten Passwort unterscheiden. "
                   "Zusätzlich ist die parametrierte Passwortrichtlinie zu beachten.",
                   this);
    note->setObjectName("lblHinweis");
    note->setWordWrap(true);
    QFont small = note->font();
    small.setPointSizeF(small.pointSizeF() * 0.9);
    note->setFont(small);
    root->addWidget(note);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    btnOK = new QPushButton("Übernehmen", this);
    btnOK->setObjectName("btnOK");
    btnAbort = new QPushButton("Abbrechen", this);
    btnAbort->setObjectName("btnAbort");
    // Enter is handled per field below, never by a default button.
    btnOK->setAutoDefault(false);
    btnAbort->setAutoDefault(false);
    buttons->addWidget(btnOK);
    buttons->addWidget(btnAbort);
    root->addLayout(buttons);

    connect(btnOK, &QPushButton::clicked, this, [this] { btnOKClick(); });
    connect(btnAbort, &QPushButton::clicked, this, [this] { btnAbortClick(); });
    connect(edtNewPW, &QLineEdit::returnPressed, edtNewPWConf, qOverload<>(&QWidget::setFocus));
    connect(edtNewPWConf, &QLineEdit::returnPressed, this, [this] { btnOKClick(); });
    setMinimumWidth(420);
}

void TFrmNewPass::btnOKClick() {
    const QString pw = edtNewPW->text();
    if (!pw.isEmpty() && pw == edtNewPWConf->text()) {
        FNewPW = pw.toStdString();
        accept();
        return;
    }
    OpenMessageBox(this, _SEingabePruefen, mtError, Buttons({mbOK}), mbOK, nullptr);
}

void TFrmNewPass::btnAbortClick() {
    reject();
}

} // namespace ferro
