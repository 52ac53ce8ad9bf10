// The small dialogs: new password, colour picker, the instrument's web page, the text window.
#include "GuiSupport.h"
#include "forms/FormColPic.h"
#include "forms/FormMSPara.h"
#include "forms/FrmMemo.h"
#include "forms/FrmNewPass.h"

#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace ferro;
using namespace ferro::guitest;

TEST(NewPassword, CaptionTextsAndButtons) {
    TFrmNewPass dlg;
    EXPECT_EQ(dlg.windowTitle(), "Renew Password");
    EXPECT_EQ(dlg.findChild<QPushButton*>("btnOK")->text(), "Übernehmen");
    EXPECT_EQ(dlg.findChild<QPushButton*>("btnAbort")->text(), "Abbrechen");
    EXPECT_EQ(dlg.findChild<QLabel*>("lblText")->text(),
              "Das bisherige Passwort ist abgelaufen, bitte vergeben Sie ein neues Passwort.");
    EXPECT_TRUE(
        dlg.findChild<QLabel*>("lblHinweis")->text().startsWith("Hinweis: Das neue Passwort muss sich in 5"));
    EXPECT_EQ(dlg.findChild<QLineEdit*>("edtNewPW")->echoMode(), QLineEdit::Password);
    EXPECT_EQ(dlg.findChild<QLineEdit*>("edtNewPWConf")->echoMode(), QLineEdit::Password);
}

TEST(NewPassword, EqualFieldsAreAcceptedCaseSensitively) {
    TFrmNewPass dlg;
    dlg.show();
    dlg.edtNewPW->setText("Geheim-2024");
    dlg.edtNewPWConf->setText("geheim-2024");
    dlg.btnOK->click();
    ASSERT_TRUE(
        WaitUntil([] { return BoxContaining("Bitte Überprüfen Sie Ihre Eingabe!") != nullptr; }, 3000));
    EXPECT_TRUE(dlg.isVisible());
    EXPECT_TRUE(dlg.FNewPW.empty());
    CloseAllBoxes();

    dlg.edtNewPWConf->setText("Geheim-2024");
    dlg.btnOK->click();
    EXPECT_EQ(dlg.result(), QDialog::Accepted);
    EXPECT_EQ(dlg.FNewPW, "Geheim-2024");
}

TEST(NewPassword, AnEmptyPasswordIsRefused) {
    TFrmNewPass dlg;
    dlg.show();
    dlg.btnOK->click();
    ASSERT_TRUE(
        WaitUntil([] { return BoxContaining("Bitte Überprüfen Sie Ihre Eingabe!") != nullptr; }, 3000));
    EXPECT_NE(dlg.result(), QDialog::Accepted);
    CloseAllBoxes();
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

TEST(NewPassword, AbortCancels) {
    TFrmNewPass dlg;
    dlg.show();
    dlg.edtNewPW->setText("x");
    dlg.edtNewPWConf->setText("x");
    dlg.btnAbort->click();
    EXPECT_EQ(dlg.result(), QDialog::Rejected);
    EXPECT_TRUE(dlg.FNewPW.empty());
}

TEST(ColourPicker, OffersTheCurveColoursAndReturnsThePickedOne) {
    TFormColPic dlg;
    ASSERT_EQ(dlg.Colors().size(), TColArr.size());
    TAlphaColor told = 0;
    dlg.FOnColorSelected = [&](TAlphaColor c) { told = c; };
    dlg.findChild<QToolButton*>("btnColor4")->click();
    EXPECT_EQ(dlg.SelectedColor(), 0xFFFF8C00u);
    EXPECT_EQ(told, 0xFFFF8C00u);
    EXPECT_EQ(dlg.SelectedIndex(), 4);
    EXPECT_EQ(dlg.result(), QDialog::Accepted);
}

TEST(ColourPicker, AnIndexOutsideThePaletteChangesNothing) {
    TFormColPic dlg({0xFF123456, 0xFF654321});
    EXPECT_EQ(dlg.findChildren<QToolButton*>().size(), 2);
    dlg.SelectIndex(5);
    dlg.SelectIndex(-1);
    EXPECT_EQ(dlg.SelectedIndex(), -1);
    EXPECT_NE(dlg.result(), QDialog::Accepted);
    dlg.SelectIndex(1);
    EXPECT_EQ(dlg.SelectedColor(), 0xFF654321u);
}

TEST(WebPage, TheAddressFollowsTheSchemeHostPortAndPage) {
    TFormMSPara page;
    std::vector<std::string> opened;
    page.FOpener = [&](const std::string& url) {
        opened.push_back(url);
        return true;
    };
    page.SetPage(false, "192.168.1.20", 80, "index.html");
    EXPECT_EQ(page.PageUrl(), "http://192.168.1.20:80/index.html");
    page.SetPage(true, "fe80::1", 8443, "para");
    EXPECT_EQ(page.PageUrl(), "https://[fe80::1]:8443/para");
    EXPECT_EQ(page.findChild<QLabel*>("lblUrl")->text(), "https://[fe80::1]:8443/para");
    page.findChild<QPushButton*>("btnOpen")->click();
    EXPECT_EQ(opened, std::vector<std::string>{"https://[fe80::1]:8443/para"});
}

TEST(WebPage, WithoutAHostNothingIsOpened) {
    TFormMSPara page;
    int calls = 0;
    page.FOpener = [&](const std::string&) {
        ++calls;
        return true;
    };
    EXPECT_FALSE(page.OpenPage());
    EXPECT_EQ(calls, 0);
}

TEST(TextWindow, KeepsAndExtendsItsText) {
    TFrmMemo memo;
    memo.SetText("Zeile 1");
    memo.AddLine("Zeile 2");
    EXPECT_EQ(memo.Text(), "Zeile 1\nZeile 2");
    EXPECT_TRUE(memo.findChild<QPlainTextEdit*>("Memo1")->isReadOnly());
}
