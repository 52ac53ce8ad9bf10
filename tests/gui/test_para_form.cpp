// The parameter form in the host against ferrosim: read at level 1, values changed in three modules,
// one module unticked in the send dialog; a reset sent; a factory template compared and taken over.
#include "GuiSupport.h"
#include "MainWindow.h"
#include "ParaGridSupport.h"
#include "forms/FormPara.h"
#include "forms/FrmParaChanged.h"
#include "forms/FrmParaSelect.h"
#include "forms/XMLTreeViewItem.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QSettings>
#include <QToolBar>
#include <QToolButton>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

using namespace ferro;
using namespace ferro::guitest;
using ferro::test::CtlResult;
using ferro::test::RunCtl;
using ferro::test::SimProcess;

namespace {

constexpr int kWaitMs = 30000;

bool ShowTreeItem(TFormPara& Form, uint32_t Id) {
    for (QTreeWidgetItemIterator it(Form.TreeViewOpti); *it; ++it)
        if (static_cast<TXMLTreeViewItem*>(*it)->ID == Id) {
            Form.TreeViewOpti->setCurrentItem(*it);
            return true;
        }
    return false;
}

// The dialog on show (one closed before may still wait for its deletion).
template <class T> T* Visible(QWidget& Parent) {
    for (T* d : Parent.findChildren<T*>())
        if (d->isVisible()) return d;
    return nullptr;
}

template <class T> T* WaitForDialog(QWidget& Parent) {
    WaitFor([&] { return Visible<T>(Parent) != nullptr; }, 5000);
    return Visible<T>(Parent);
}

// The instrument's setup now, as ferroctl reads it: the value of the first node with `Id`.
struct Stored {
    pugi::xml_document doc;
    explicit Stored(const std::string& File) { doc.load_file(File.c_str()); }
    Stored(int Port, const QTemporaryDir& Dir) {
        const std::string file = Dir.filePath("got.xml").toStdString();
        CtlResult r = RunCtl({"--port", std::to_string(Port), "setup-get", file});
        EXPECT_EQ(r.code, 0) << r.err;
        doc.load_file(file.c_str());
    }
    std::string operator[](uint32_t Id) const {
        const std::string id = std::to_string(Id);
        return doc.find_node([&](const pugi::xml_node& n) { return id == n.attribute("id").value(); })
            .child("value")
            .text()
            .get();
    }
};

bool Send(TFormPara& Form, const QString& Untick = {}) {
    Form.btnSend->click();
    auto* select = WaitForDialog<TFrmParaSelect>(Form);
    if (!select) return false;
    for (int i = 0; i < select->lstSel->count(); ++i)
        if (select->lstSel->item(i)->text() == Untick) select->lstSel->item(i)->setCheckState(Qt::Unchecked);
    if (!Untick.isEmpty()) SaveScreenshot(*select, "para_send_dialog.png");
    select->btnOk->click();
    const bool done = WaitForBox("Übertragung abgeschlossen", kWaitMs) != nullptr;
    CloseAllBoxes();
    return done;
}

} // namespace

TEST(FormPara, EditSendResetAndCompareWithAFactoryTemplate) {
    SimProcess sim;
    ASSERT_TRUE(sim.ok()) << sim.output();
    QTemporaryDir dir;
    TMainWindow w(SettingsIn(dir), FoldersIn(dir));
    QPointer<TFormPara> f = OpenParaOn(w, sim.port());
    ASSERT_TRUE(f);
    int templates = -1;
    f->FTemplatesArrived = [&](int n) { templates = n; };
    ASSERT_TRUE(
        WaitFor([&] { return f->Document().Loaded() && f->TreeViewOpti->topLevelItemCount() > 0; }, kWaitMs))
        << w.LogText().toStdString() << "|" << f->Document().Loaded();
    f->cbbVisibility->setCurrentIndex(1);
    EXPECT_TRUE(f->TreeViewOpti->currentItem()) << "the first item is chosen at level 1";

    // One value in each of three modules, then the third module unticked before sending.
    TFerroGrid& grid = *f->Grid();
    ASSERT_TRUE(ShowTreeItem(*f, 4261413901u));
    ASSERT_TRUE(TypeValue(grid, RowOf(grid, "218300416"), "110"));
    ASSERT_TRUE(ShowTreeItem(*f, 4261414160u));
    ASSERT_TRUE(TypeValue(grid, RowOf(grid, "301989889"), "85"));
    ASSERT_TRUE(ShowTreeItem(*f, 4261414403u));
    ASSERT_TRUE(TypeValue(grid, RowOf(grid, "320864257"), "20"));
    EXPECT_EQ(f->Document().ChangeList().size(), 3u);
    EXPECT_EQ(f->lblChanges->text().trimmed(), "3 geänderte Werte");
    ASSERT_TRUE(ShowTreeItem(*f, 4261413901u));
    SaveScreenshot(w, "para_form_level1.png");
    ASSERT_TRUE(Send(*f, QString::fromStdString(f->FLangXML.IdToText(4261414400u))));
    EXPECT_EQ(f->btnSend->text(), "Reload");
    EXPECT_TRUE(f->Document().ChangeList().empty());
    {
        Stored got(sim.port(), dir);
        EXPECT_EQ(got[218300416], "110");
        EXPECT_EQ(got[301989889], "85");
        EXPECT_EQ(got[320864257], "15") << "the unticked module keeps the instrument's values";
    }

    // Reload, reset to defaults, send: the protected module keeps its values.
    f->btnSend->click();
    ASSERT_TRUE(WaitFor([&] { return f->btnSend->text() == "Senden"; }, kWaitMs));
    f->findChild<QToolButton*>("spdbtnResetToDefault")->click();
    QMessageBox* ask = WaitForBox("Defaultwert");
    ASSERT_TRUE(ask);
    ask->button(QMessageBox::Yes)->click();
    ASSERT_TRUE(
        WaitFor([&] { return f->Document().ChangeList().size() >= 2 && f->tbPara->isEnabled(); }, kWaitMs));
    ASSERT_TRUE(Send(*f));
    {
        Stored got(sim.port(), dir);
        EXPECT_EQ(got[218300416], "100");
        EXPECT_EQ(got[301989889], "90");
        EXPECT_EQ(got[4261413634u], "7") << "protected module";
    }

    // A factory template compared with what the form holds, reviewed and taken over.
    f->btnSend->click();
    ASSERT_TRUE(WaitFor([&] { return f->btnSend->text() == "Senden" && templates == 2; }, kWaitMs));
    std::string asked;
    f->FChooseFile = [&](const std::string& folder, const std::string&, const std::string&, bool) {
        asked = folder;
        return folder + "Mittelspannung_20kV.xml";
    };
    grid.Model().FDecimalSep = ','; // as a German desktop has it
    f->findChild<QToolButton*>("btnTempl")->click();
    EXPECT_EQ(asked, f->TemplateFolder());
    auto* review = WaitForDialog<TFrmParaChanged>(*f);
    ASSERT_TRUE(review);
    EXPECT_TRUE(review->ParaChangedDesc->text().contains("[FR-042]"));
    review->TreeView1->expandAll();
    QStringList texts;
    for (QTreeWidgetItemIterator it(review->TreeView1); *it; ++it)
        texts << (*it)->text(0);
    EXPECT_TRUE(texts.join('\n').contains(": 112,5 [110]")) << texts.join('\n').toStdString();
    SaveScreenshot(*review, "para_import_review.png");
    review->btnOK->click();
    EXPECT_EQ(f->Document().ChangeList().size(), 4u);
    pugi::xml_node node;
    std::string parent;
    ASSERT_TRUE(f->Document().GetNode(218300416u, node, parent));
    EXPECT_EQ(GetNodeValue(node, ".//value"), "105");

    // The same template for another device type: refused, the document untouched.
    std::ifstream in(f->TemplateFolder() + "Mittelspannung_20kV.xml");
    std::string text((std::istreambuf_iterator<char>(in)), {});
    text.replace(text.find("FerroRecorder"), 13, "FerroQuartz");
    std::ofstream(dir.filePath("fremd.xml").toStdString()) << text;
    f->FChooseFile = [&](const std::string&, const std::string&, const std::string&, bool) {
        return dir.filePath("fremd.xml").toStdString();
    };
    f->findChild<QToolButton*>("btnTemplOwn")->click();
    EXPECT_TRUE(WaitForBox("Gerätetyp FerroQuartz", kWaitMs));
    CloseAllBoxes();
    EXPECT_EQ(f->Document().ChangeList().size(), 4u);
}

TEST(FormPara, ServiceQuestionIcdFileCsvListingAndSendingAtLevelZero) {
    SimProcess sim;
    ASSERT_TRUE(sim.ok()) << sim.output();
    QTemporaryDir dir;
    TMainWindow w(SettingsIn(dir), FoldersIn(dir));
    w.show();
    w.AddInstruments({Entry("ferrosim", "127.0.0.1", sim.port())});
    w.SelectInstrument(0);
    QPointer<TFormPara> f = qobject_cast<TFormPara*>(w.OpenDirect(dkpara));
    ASSERT_TRUE(f);
    ASSERT_TRUE(
        WaitFor([&] { return f->Document().Loaded() && f->TreeViewOpti->topLevelItemCount() > 0; }, kWaitMs));
    EXPECT_FALSE(f->actICDLoad->isVisible()) << "above level 0 only";

    // The service level asks first; "Nein" stays where it was.
    f->cbbVisibility->setCurrentIndex(2);
    QMessageBox* ask = WaitForBox("Servicemodus");
    ASSERT_TRUE(ask);
    ask->button(QMessageBox::No)->click();
    EXPECT_EQ(f->cbbVisibility->currentIndex(), 0);
    f->cbbVisibility->setCurrentIndex(1);
    f->Grid()->setColumnWidth(TFerroGridModel::ColCap, 333); // as the user drags it

    // The ICD file: its values into the setup, a copy beside it, the IED name kept in step.
    const std::string icd = dir.filePath("station.icd").toStdString();
    QFile::copy(FERRO_SOURCE_DIR "/fixtures/instrument/flashdrive0/data/setup/ferro.icd",
                dir.filePath("station.icd"));
    f->FChooseFile = [&](const std::string&, const std::string&, const std::string&, bool) { return icd; };
    f->findChild<QToolButton*>("btnICDImport")->click();
    const size_t changes = f->Document().ChangeList().size();
    EXPECT_GE(changes, 3u) << "file name, Header version and id differ from the setup";
    f->findChild<QToolButton*>("btnICDImport")->click();
    EXPECT_EQ(f->Document().ChangeList().size(), changes) << "the same file twice";
    const QString copy =
        QString::fromStdString(std::filesystem::path(f->Document().FileName()).parent_path().string()) +
        "/station.icd";
    ASSERT_TRUE(QFile::exists(copy));
    ASSERT_TRUE(ShowTreeItem(*f, 4261413840u));
    TFerroGrid& grid = *f->Grid();
    ASSERT_TRUE(TypeValue(grid, RowOf(grid, "4278190467"), "FR043"));
    QFile c(copy);
    ASSERT_TRUE(c.open(QIODevice::ReadOnly));
    const QByteArray renamed = c.readAll();
    EXPECT_TRUE(renamed.contains("iedName=\"FR043\"") && renamed.contains("<IED name=\"FR043\""));

    // The further saves: the ICD copy or the setup wherever the user says, a template at once.
    auto choose = [&](const char* name) {
        f->FChooseFile = [&dir, name](const std::string&, const std::string&, const std::string&, bool) {
            return dir.filePath(name).toStdString();
        };
    };
    choose("export.icd");
    f->actRundsteuer->trigger();
    QFile exported(dir.filePath("export.icd"));
    ASSERT_TRUE(exported.open(QIODevice::ReadOnly));
    EXPECT_EQ(exported.readAll(), renamed);
    choose("export.xml");
    f->actRundsteuer->trigger();
    EXPECT_EQ(Stored(dir.filePath("export.xml").toStdString())[4278190467u], "FR043");
    f->actSaveTemplate->trigger();
    const QStringList own = QDir(QString::fromStdString(f->OwnTemplateFolder())).entryList({"Ferro_*.xml"});
    EXPECT_EQ(own.size(), 1) << f->OwnTemplateFolder();

    // The counting group's members count their recording points; a data point fills the rows below.
    for (QTreeWidgetItemIterator it(f->TreeViewOpti); *it; ++it)
        if (static_cast<TXMLTreeViewItem*>(*it)->ID == 4278190097u) {
            for (QTreeWidgetItem* p = (*it)->parent(); p; p = p->parent())
                p->setExpanded(true);
            f->TreeViewOpti->scrollToItem(*it);
            QApplication::processEvents();
            emit f->TreeViewOpti->customContextMenuRequested(f->TreeViewOpti->visualItemRect(*it).center());
        }
    ASSERT_TRUE(f->pmAufzeichnungspunkte->isVisible());
    f->actCountAufzeichnungspunkte->trigger();
    EXPECT_TRUE(WaitForBox("Items: 54"));
    CloseAllBoxes();
    ASSERT_TRUE(ShowTreeItem(*f, 183500801u));
    ClickCell(grid, 1, 1);
    ClickCell(grid, 1, 1, Qt::RightButton);
    ASSERT_TRUE(f->pmGrid->isVisible());
    f->actFuellen->trigger();
    for (const TGridRow& r : grid.Model().Rows())
        EXPECT_EQ(r.RowVal.AsInt(), r.IDStr == "168886272" ? 0 : 1) << r.IDStr;
    f->pmGrid->hide();

    // The CSV listing of the chosen modules; a folder that cannot take it is told.
    std::string opened;
    f->FOpenFile = [&](const std::string& path) { opened = path; };
    auto listing = [&] {
        f->findChild<QToolButton*>("btnCSVExport")->click();
        auto* select = WaitForDialog<TFrmParaSelect>(*f);
        ASSERT_TRUE(select);
        select->btnOk->click();
    };
    listing();
    QFile csv(QString::fromStdString(opened));
    ASSERT_TRUE(csv.open(QIODevice::ReadOnly));
    EXPECT_TRUE(
        QString::fromUtf8(csv.readAll()).contains("\r\nGrundeinstellungen\r\n\r\nNennfrequenz;0\r\n"));
    const std::string tmp = f->FComUnit->FTmpDir;
    f->FComUnit->FTmpDir = dir.filePath("fehlt/").toStdString();
    listing();
    EXPECT_TRUE(WaitForBox("kann nicht geschrieben werden"));
    CloseAllBoxes();
    f->FComUnit->FTmpDir = tmp;

    // Level 0 sends without asking, and the unoffered modules go along.
    f->cbbVisibility->setCurrentIndex(0);
    f->btnSend->click();
    EXPECT_TRUE(WaitForBox("Übertragung abgeschlossen", kWaitMs));
    EXPECT_EQ(Visible<TFrmParaSelect>(*f), nullptr);
    CloseAllBoxes();
    Stored got(sim.port(), dir);
    EXPECT_EQ(got[4278190467u], "FR043");
    EXPECT_EQ(got[4278190468u], "station.icd");
    // The renamed copy went along and took the place of the instrument's own ICD file.
    const QString setupDir = QString::fromStdString(sim.root()) + "/flashdrive0/data/setup/";
    QFile onDevice(setupDir + "station.icd");
    ASSERT_TRUE(onDevice.open(QIODevice::ReadOnly));
    EXPECT_EQ(onDevice.readAll(), renamed);
    EXPECT_FALSE(QFile::exists(setupDir + "ferro.icd"));

    // The dragged width is in the host's settings, and the next parameter form starts with it.
    EXPECT_EQ(QSettings(dir.filePath("marlinlite.ini"), QSettings::IniFormat).value("Para/ParaInfo").toInt(),
              333);
    QPointer<TFormPara> again = qobject_cast<TFormPara*>(w.OpenDirect(dkpara));
    ASSERT_TRUE(again);
    EXPECT_EQ(again->Grid()->ColumnWidths()[TFerroGridModel::ColCap], 333);
}
