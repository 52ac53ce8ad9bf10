// The small dialogs: new password, colour picker, the instrument's web page.
#include "GuiSupport.h"
#include "forms/FormColPic.h"
#include "forms/FormMSPara.h"
#include "forms/FrmNewPass.h"
#include "link/Messages.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
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
