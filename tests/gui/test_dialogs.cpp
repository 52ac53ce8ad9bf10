// The small dialogs: message boxes, password boxes, new password, colour picker, the pop-up menu,
// the instrument's web page.
#include "GuiSupport.h"
#include "forms/FormColPic.h"
#include "forms/FormMSPara.h"
#include "forms/FrmNewPass.h"
#include "forms/MessageDialog.h"
#include "forms/PlatformHelpers.h"
#include "forms/VRXPopupMenu.h"
#include "link/Messages.h"

#include <QAction>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace ferro;
using namespace ferro::guitest;

TEST(NewPassword, OnlyEqualNonEmptyFieldsAreAccepted) {
    TFrmNewPass dlg;
    dlg.show();
    EXPECT_EQ(dlg.edtNewPW->echoMode(), QLineEdit::Password);
    EXPECT_EQ(dlg.edtNewPWConf->echoMode(), QLineEdit::Password);
    for (const char* confirm : {"", "geheim-2024"}) {
        dlg.edtNewPW->setText(*confirm ? "Geheim-2024" : "");
        dlg.edtNewPWConf->setText(confirm);
        dlg.btnOK->click();
        ASSERT_NE(WaitForBox(_SEingabePruefen), nullptr) << confirm;
        EXPECT_TRUE(dlg.isVisible());
        EXPECT_TRUE(dlg.FNewPW.empty());
        CloseAllBoxes();
    }
    dlg.edtNewPWConf->setText("Geheim-2024");
    dlg.btnOK->click();
    EXPECT_EQ(dlg.result(), QDialog::Accepted);
    EXPECT_EQ(dlg.FNewPW, "Geheim-2024");
}

TEST(NewPassword, EnterMovesOnAndThenConfirms) {
    TFrmNewPass dlg;
    dlg.show();
    dlg.activateWindow();
    dlg.edtNewPW->setFocus();
    QTest::keyClicks(dlg.edtNewPW, "abcdef");
    QTest::keyClick(dlg.edtNewPW, Qt::Key_Return);
    EXPECT_EQ(dlg.focusWidget(), dlg.edtNewPWConf);
    EXPECT_TRUE(dlg.isVisible()) << "Enter in the first field must not confirm";
    QTest::keyClicks(dlg.edtNewPWConf, "abcdef");
    QTest::keyClick(dlg.edtNewPWConf, Qt::Key_Return);
    EXPECT_EQ(dlg.result(), QDialog::Accepted);
    EXPECT_EQ(dlg.FNewPW, "abcdef");
}

TEST(ColourPicker, ReturnsThePickedColourAndIgnoresIndicesOutsideThePalette) {
    TFormColPic dlg;
    ASSERT_EQ(dlg.Colors().size(), TColArr.size());
    TAlphaColor told = 0;
    dlg.FOnColorSelected = [&](TAlphaColor c) { told = c; };
    dlg.findChild<QToolButton*>("btnColor4")->click();
    EXPECT_EQ(dlg.SelectedColor(), 0xFFFF8C00u);
    EXPECT_EQ(told, 0xFFFF8C00u);
    EXPECT_EQ(dlg.SelectedIndex(), 4);
    EXPECT_EQ(dlg.result(), QDialog::Accepted);

    TFormColPic two({0xFF123456, 0xFF654321});
    EXPECT_EQ(two.findChildren<QToolButton*>().size(), 2);
    for (int outside : {5, -1, 2})
        two.SelectIndex(outside);
    EXPECT_EQ(two.SelectedIndex(), -1);
    EXPECT_NE(two.result(), QDialog::Accepted);
}

TEST(WebPage, TheAddressFollowsTheSchemeHostPortAndPage) {
    TFormMSPara page;
    std::vector<std::string> opened;
    page.FOpener = [&](const std::string& url) {
        opened.push_back(url);
        return true;
    };
    EXPECT_FALSE(page.OpenPage()) << "without a host nothing is opened";
    page.SetPage(false, "192.168.1.20", 80, "index.html");
    EXPECT_EQ(page.PageUrl(), "http://192.168.1.20:80/index.html");
    page.SetPage(true, "fe80::1", 8443, "para");
    EXPECT_EQ(page.PageUrl(), "https://[fe80::1]:8443/para");
    EXPECT_EQ(page.findChild<QLabel*>("lblUrl")->text(), "https://[fe80::1]:8443/para");
    page.findChild<QPushButton*>("btnOpen")->click();
    EXPECT_EQ(opened, std::vector<std::string>{"https://[fe80::1]:8443/para"});
}

TEST(MessageBoxes, SpeakGermanAndAnswerWithTheButtonPressed) {
    int answer = -1;
    QMessageBox* box = OpenMessageBox(nullptr, "Weiter?", mtConfirmation, Buttons({mbYes, mbNo, mbCancel}),
                                      mbNo, [&](int r) { answer = r; });
    QStringList texts;
    for (QAbstractButton* b : box->buttons())
        texts << b->text();
    texts.sort();
    EXPECT_EQ(texts, (QStringList{"Abbrechen", "Ja", "Nein"}));
    box->button(QMessageBox::No)->click();
    EXPECT_EQ(answer, mrNo);
}

TEST(PasswordBox, HidesTheTextTheWaitingFormComparesWithoutCaseTheOtherHandsItOver) {
    // The waiting form: the box is answered from the event loop it runs.
    for (const auto& [typed, expected] : {std::pair{"GeHeim", true}, std::pair{"anders", false}}) {
        QTimer::singleShot(0, [typed = typed] {
            QInputDialog* dlg = nullptr;
            for (QWidget* w : QApplication::topLevelWidgets())
                if (auto* d = qobject_cast<QInputDialog*>(w); d && d->isVisible()) dlg = d;
            ASSERT_NE(dlg, nullptr);
            EXPECT_EQ(dlg->textEchoMode(), QLineEdit::Password);
            dlg->setTextValue(typed);
            dlg->accept();
        });
        EXPECT_EQ(showPasswortBox(nullptr, "Service", "Passwort:", "geheim"), expected) << typed;
    }
    std::vector<std::string> got;
    for (bool accept : {true, false}) {
        showPasswortBox(nullptr, "Service", "Passwort:", [&](bool ok, const std::string& text) {
            got.push_back(ok ? text : "abgebrochen");
        });
        QInputDialog* dlg = nullptr;
        ASSERT_TRUE(WaitFor(
            [&] {
                for (QWidget* w : QApplication::topLevelWidgets())
                    if (auto* d = qobject_cast<QInputDialog*>(w); d && d->isVisible()) dlg = d;
                return dlg != nullptr;
            },
            3000));
        dlg->setTextValue("x1");
        accept ? dlg->accept() : dlg->reject();
    }
    EXPECT_EQ(got, (std::vector<std::string>{"x1", "abgebrochen"}));
}

TEST(PopupMenu, OpensWithOneButtonPerActionRunsTheActionAndClosesOnAClickOutside) {
    QWidget host;
    host.resize(400, 300);
    auto* menu = new TVRXPopupMenu(&host);
    auto* outside = new QPushButton("daneben", &host);
    outside->move(300, 250);
    menu->AnimationMs = 10;
    int resized = 0, triggered = 0;
    menu->FOnResize = [&](TSender) { ++resized; };
    QAction copy("Kopieren", &host), gone("Löschen", &host);
    QObject::connect(&copy, &QAction::triggered, [&] { ++triggered; });
    QPushButton* b1 = menu->AddButton(&copy);
    menu->AddButton(&gone);
    gone.setEnabled(false);
    EXPECT_EQ(host.findChildren<QPushButton*>("btnmenustyle").size(), 2);
    menu->PopUpSetParent(&host, nullptr, 40);
    host.show();
    EXPECT_FALSE(menu->DropDown()->isVisible());
    menu->click();
    EXPECT_EQ(resized, 1);
    ASSERT_TRUE(WaitFor([&] { return menu->DropDown()->y() == 40; }, 2000))
        << "it slides to its start height";
    EXPECT_TRUE(menu->Expanded());
    EXPECT_FALSE(host.findChildren<QPushButton*>("btnmenustyle").at(1)->isEnabled()) << "follows the action";
    b1->click();
    EXPECT_EQ(triggered, 1);
    ASSERT_TRUE(WaitFor([&] { return !menu->DropDown()->isVisible(); }, 2000)) << "a chosen entry closes it";
    menu->PopUpClick();
    ASSERT_TRUE(WaitFor([&] { return menu->DropDown()->y() == 40; }, 2000));
    QTest::mouseClick(outside, Qt::LeftButton);
    EXPECT_FALSE(menu->Expanded());
    EXPECT_TRUE(WaitFor([&] { return !menu->DropDown()->isVisible(); }, 2000));
}
