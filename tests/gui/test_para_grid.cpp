// The parameter grid on the fixture's setup, driven by object names, and the two review dialogs'
// tick rules; screenshots of both levels with a selection list open and of both dialogs.
#include "GuiSupport.h"
#include "ParaGridSupport.h"
#include "forms/FerroGrid.h"
#include "forms/FrmParaChanged.h"
#include "forms/FrmParaSelect.h"
#include "para/XMLLangu.h"

#include <QCheckBox>
#include <QClipboard>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

#include <gtest/gtest.h>

using namespace ferro;
using namespace ferro::guitest;

namespace {

const std::string kData = FERRO_SOURCE_DIR "/fixtures/instrument/flashdrive0/data";

struct GridRig {
    TSetupDocument doc;
    TXMLLangu lang;
    QWidget window;
    TFerroGrid* grid = new TFerroGrid(&window);
    std::vector<std::string> changes;

    explicit GridRig(int level) {
        EXPECT_TRUE(doc.LoadFromFile(kData + "/setup/setup.xml")) << doc.LastError();
        EXPECT_TRUE(lang.SetLangFile(kData + "/ccci/scratchpad/lang/lang_de.xml"));
        window.setObjectName("ParaWindow");
        grid->SetLanguage(&lang);
        grid->SetVisibility(level);
        grid->Model().FOnGridRowChange = [this](QObject*, pugi::xml_node node, const std::string& v,
                                                bool equal, TGridRowTyp typ) {
            doc.ChangeCell(node, v, equal, typ);
            changes.push_back(std::string(node.attribute("id").value()) + "=" + v);
        };
        window.resize(level >= 2 ? 1180 : 900, 330);
        grid->resize(window.size());
        window.show();
    }
    void Show(uint32_t id) { ASSERT_TRUE(ShowItem(*grid, doc, id, lang)); }
    int RowOf(const std::string& id) {
        const int r = guitest::RowOf(*grid, id);
        EXPECT_GE(r, 0) << "no row " << id;
        return r;
    }
    void Click(int row, int col, Qt::MouseButton b = Qt::LeftButton) { ClickCell(*grid, row, col, b); }
    void Type(int row, const QString& text) { ASSERT_TRUE(TypeValue(*grid, row, text)); }
    // The window with the open choice menu painted where it stands.
    void Screenshot(const char* name) {
        QPixmap pm = window.grab();
        QMenu* menu = grid->FPopup;
        if (menu->isVisible()) {
            const QPoint at = window.mapFromGlobal(menu->pos());
            QPixmap both(
                pm.size().expandedTo(QSize(at.x() + menu->width() + 8, at.y() + menu->height() + 8)));
            both.fill(Qt::white);
            QPainter p(&both);
            p.drawPixmap(0, 0, pm);
            p.drawPixmap(at, menu->grab());
            pm = both;
        }
        QDir().mkpath(FERRO_BINARY_DIR "/screenshots");
        EXPECT_TRUE(pm.save(QString(FERRO_BINARY_DIR "/screenshots/") + name));
    }
};

} // namespace

TEST(ParaGrid, LevelOneShowsNamesValuesAndDefaultsAndAChoiceComesFromTheMenu) {
    GridRig rig(1);
    rig.Show(4261413901u); // Grundeinstellungen
    TFerroGrid* grid = rig.window.findChild<TFerroGrid*>("FGrd");
    ASSERT_EQ(grid, rig.grid);
    EXPECT_EQ(grid->model()->headerData(0, Qt::Horizontal).toString(), "Parametername");
    EXPECT_EQ(grid->model()->headerData(2, Qt::Horizontal).toString(), "Werkseinstellung");
    EXPECT_TRUE(grid->isColumnHidden(3) && grid->isColumnHidden(4)) << "no limits below the service level";
    const int freq = rig.RowOf("218103808");
    EXPECT_EQ(grid->GetValue(0, freq), "Nennfrequenz");
    EXPECT_EQ(grid->GetValue(1, freq), "50 Hz");
    EXPECT_EQ(grid->GetValue(5, freq), "NaN");
    EXPECT_FALSE(grid->model()->flags(grid->model()->index(freq, 1)) & Qt::ItemIsEditable)
        << "a choice is clicked";
    EXPECT_FALSE(grid->model()->flags(grid->model()->index(freq, 0)) & Qt::ItemIsSelectable);

    rig.Click(freq, 1);
    QMenu* menu = rig.window.findChild<QMenu*>("FPopup");
    ASSERT_TRUE(menu && menu->isVisible());
    ASSERT_EQ(menu->actions().size(), 2);
    EXPECT_EQ(menu->actions()[1]->text(), "60 Hz");
    rig.Screenshot("para_grid_level1.png");
    menu->actions()[1]->trigger();
    menu->hide();
    EXPECT_EQ(grid->GetValue(1, freq), "60 Hz");
    EXPECT_EQ(grid->model()->data(grid->model()->index(freq, 1), Qt::BackgroundRole).value<QBrush>().color(),
              QColor(0xFFFF0000u))
        << "a changed value shows red";
    EXPECT_EQ(rig.changes, (std::vector<std::string>{"218103808=1"}));
    menu->actions()[0]->trigger(); // back to the instrument's value
    EXPECT_TRUE(rig.doc.ChangeList().empty());
}

TEST(ParaGrid, TypedValuesPassTheValidatorAndACorrectionIsToldInGerman) {
    GridRig rig(1);
    rig.Show(4261413901u);
    const int sek = rig.RowOf("235667456"); // Sekundäre Nennspannung, 50 .. 500
    rig.Type(sek, "2ä31");
    EXPECT_EQ(rig.changes.back(), "235667456=231") << "the editor drops keys beyond 'z'";
    rig.Type(sek, "zwei");
    EXPECT_EQ(rig.changes.back(), "235667456=231") << "no number: the old value stays, no message";
    EXPECT_EQ(BoxContaining("ungültigen Bereich"), nullptr);
    rig.Type(sek, "900");
    QMessageBox* box =
        WaitForBox("Der eingegebene Wert für Sekundäre Nennspannung liegt im ungültigen Bereich.");
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(
        box->text().contains("Maximaler Wert: 500\nStandard Wert: 230\n\nDer Parameter wird auf den Wert "
                             "500 gesetzt!"))
        << box->text().toStdString();
    CloseAllBoxes();
    EXPECT_EQ(rig.grid->GetValue(1, sek), "500");
    EXPECT_EQ(rig.changes.back(), "235667456=500");

    rig.Show(4261413888u); // the device module: a switch and texts
    const int light = rig.RowOf("4261413895");
    rig.Click(light, 1);
    EXPECT_EQ(rig.changes.back(), "4261413895=0");
    rig.Type(rig.RowOf("4261413892"), "Umspannwerk Ost");
    EXPECT_EQ(rig.changes.back(), "4261413892=UmspannwerkOst") << "blanks dropped silently";
    const QString clip = rig.grid->CopyToClip();
    EXPECT_EQ(QApplication::clipboard()->text(), clip);
    EXPECT_TRUE(clip.contains("Anlage\tUmspannwerkOst\tAnlage\t0\t127\r\n")) << clip.toStdString();
    EXPECT_TRUE(clip.contains("Anzeige beleuchtet\t0\t1\t0\t1\r\n")) << clip.toStdString();
}

TEST(ParaGrid, ServiceLevelShowsIdsAndLimitsAndDataPointsToggleAtAnyLevel) {
    GridRig rig(2);
    rig.Show(4261413901u);
    EXPECT_FALSE(rig.grid->isColumnHidden(3));
    const int freq = rig.RowOf("218103808");
    EXPECT_EQ(rig.grid->GetValue(0, freq), "(218103808/D000000) Nennfrequenz");
    EXPECT_TRUE(rig.grid->model()->flags(rig.grid->model()->index(freq, 0)) & Qt::ItemIsSelectable);
    rig.Click(rig.RowOf("234946560"), 1); // the secondary range: five choices
    ASSERT_TRUE(rig.grid->FPopup->isVisible());
    rig.Screenshot("para_grid_level2.png");
    rig.grid->FPopup->hide();

    GridRig basic(0);
    basic.Show(0x0AF00100u); // Spannungen (10 Minuten)
    basic.Click(0, 1);
    EXPECT_EQ(basic.changes, (std::vector<std::string>{"168820736=0"}));
    int filled = -1;
    basic.grid->FRMBDataPointCB = [&](int row) { filled = row; };
    basic.Click(2, 1, Qt::RightButton);
    EXPECT_EQ(filled, 2);
    basic.grid->FillColumn(0);
    EXPECT_EQ(basic.changes.back(), "168820742=0") << "the fill runs every row below through the validator";
}

TEST(ParaSelect, TicksDecideWhichModulesAreSent) {
    TModulList list{{"Gerät", "1"}, {"Service", "2"}, {"Rekorder", "1"}, {"Zeit und Netzwerk", "0"}};
    TFrmParaSelect dlg(list);
    dlg.CreateSelect("FR-042");
    auto* lst = dlg.findChild<QListWidget*>("lstSel");
    ASSERT_EQ(lst->count(), 2) << "only modules flagged 1 are offered";
    EXPECT_EQ(dlg.findChild<QLabel*>("TxtDescSelect")->text(),
              "Wählen Sie die Parameter aus, die an das Ferro_Recorder [FR-042] gesendet werden sollen.");
    dlg.show();
    QApplication::processEvents();
    QTest::mouseClick(lst->viewport(), Qt::RightButton, {}, lst->visualItemRect(lst->item(1)).center());
    EXPECT_EQ(lst->item(0)->checkState(), Qt::Unchecked) << "a right click keeps just that module";
    EXPECT_EQ(lst->item(1)->checkState(), Qt::Checked);
    SaveScreenshot(dlg, "para_select.png");
    dlg.findChild<QPushButton*>("btnAbort")->click();
    EXPECT_EQ(list[0].second, "1") << "cancel leaves the list alone";
    dlg.CreateSelect("FR-042");
    lst->item(0)->setCheckState(Qt::Unchecked);
    dlg.findChild<QPushButton*>("btnOk")->click();
    EXPECT_EQ(dlg.result(), QDialog::Accepted);
    EXPECT_EQ(list,
              (TModulList{{"Service", "2"}, {"Rekorder", "1"}, {"Zeit und Netzwerk", "0"}, {"Gerät", "0"}}));

    TModulList csv{{"a", "Netz"}, {"b", "Rekorder"}, {"c", "Service"}};
    TFrmParaSelect copy(csv);
    copy.CreateCopySelect();
    copy.lstSel->item(1)->setCheckState(Qt::Unchecked);
    copy.btnOk->click();
    EXPECT_EQ(csv, (TModulList{{"a", "Netz"}, {"c", "Service"}}));
}

TEST(ParaChanged, TicksSpreadToEnabledMembersAndUpToTheTop) {
    auto item = [](QTreeWidgetItem* parent, const char* text, uint32_t id, int vis, bool value,
                   bool module = false) {
        auto* i = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem;
        i->setText(0, text);
        i->setData(0, TFrmParaChanged::RoleId, id);
        i->setData(0, TFrmParaChanged::RoleVisibility, vis);
        i->setData(0, TFrmParaChanged::RoleHasValue, value);
        i->setData(0, TFrmParaChanged::RoleModule, module);
        return i;
    };
    QTreeWidgetItem* netz = item(nullptr, "Netz und Wandler", 4261413900u, 0, false, true);
    QTreeWidgetItem* grund = item(netz, "Grundeinstellungen", 4261413901u, 0, false);
    QTreeWidgetItem* freq = item(grund, "Nennfrequenz: 60 Hz (50 Hz)", 218103808u, 0, true);
    QTreeWidgetItem* korr = item(grund, "Korrektur Spannungskanal 1: 0,99 (1)", 235601920u, 2, true);
    item(netz, "Wandler", 4261413902u, 0, false); // nothing changed in it
    QTreeWidgetItem* zeit = item(nullptr, "Zeit und Netzwerk", 4261413829u, 0, false, true);
    item(item(zeit, "Netzwerk", 4261413832u, 0, false), "IP-Adresse: 10.0.0.2 (127.0.0.1)", 4261413834u, 0,
         true);
    QTreeWidgetItem* empty = item(nullptr, "Service", 4261413950u, 0, false, true);

    TFrmParaChanged dlg;
    dlg.SetText("FR-042");
    dlg.InsertTV({netz, zeit, empty});
    auto* tree = dlg.findChild<QTreeWidget*>("TreeView1");
    ASSERT_EQ(tree->topLevelItemCount(), 2) << "a module without changes is not offered";
    EXPECT_EQ(netz->childCount(), 1) << "the group without changes is gone";
    EXPECT_EQ(netz->checkState(0), Qt::Checked);
    EXPECT_EQ(zeit->checkState(0), Qt::Unchecked) << "protected modules only when asked for";
    EXPECT_FALSE(korr->flags() & Qt::ItemIsEnabled) << "service values follow only the box";
    tree->expandAll();
    dlg.show();
    SaveScreenshot(dlg, "para_changed.png");

    auto* service = dlg.findChild<QCheckBox*>("chkService");
    service->setChecked(true);
    service->setChecked(false);
    EXPECT_EQ(korr->checkState(0), Qt::Unchecked);
    EXPECT_EQ(grund->checkState(0), Qt::Checked) << "the frequency is still ticked";
    freq->setCheckState(0, Qt::Unchecked);
    EXPECT_EQ(grund->checkState(0), Qt::Unchecked) << "the last member unticked unticks up to the top";
    EXPECT_EQ(netz->checkState(0), Qt::Unchecked);
    grund->setCheckState(0, Qt::Checked);
    EXPECT_EQ(freq->checkState(0), Qt::Checked) << "ticking a group ticks its enabled members";
    EXPECT_EQ(korr->checkState(0), Qt::Unchecked) << "not the service ones";
    EXPECT_EQ(netz->checkState(0), Qt::Checked);
    EXPECT_TRUE(dlg.findChild<QLabel*>("ParaChangedDesc")->text().contains("vom Gerät [FR-042] übernehmen"));
}
