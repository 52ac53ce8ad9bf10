// End to end against ferrosim: read the setup, change three values of different types in the grid,
// review the modules, send; the instrument's document then differs in exactly those three values.
#include "GuiSupport.h"
#include "ParaGridSupport.h"
#include "forms/FerroGrid.h"
#include "forms/FrmParaSelect.h"
#include "link/DeviceSession.h"
#include "para/XMLLangu.h"

#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

#include <sstream>

using namespace ferro;
using namespace ferro::guitest;
using ferro::test::CtlResult;
using ferro::test::RunCtl;
using ferro::test::SimProcess;

namespace {

std::string ReadAll(const std::string& path) {
    QFile f(QString::fromStdString(path));
    return f.open(QIODevice::ReadOnly) ? f.readAll().toStdString() : std::string();
}

std::vector<std::string> ChangedLines(const std::string& a, const std::string& b) {
    std::istringstream ia(a), ib(b);
    std::vector<std::string> out;
    for (std::string la, lb; std::getline(ia, la) && std::getline(ib, lb);)
        if (la != lb) out.push_back(lb);
    EXPECT_EQ(std::count(a.begin(), a.end(), '\n'), std::count(b.begin(), b.end(), '\n'));
    return out;
}

} // namespace

TEST(ParaE2E, ThreeChangesInTheGridReachTheInstrumentAndNothingElseMoves) {
    SimProcess sim;
    ASSERT_TRUE(sim.ok());
    QTemporaryDir dir;
    TConnectionRec rec;
    rec.Port = sim.port();
    rec.Folders = FoldersIn(dir);
    for (const std::string& f : {rec.Folders.Data, rec.Folders.Ini, rec.Folders.Tmp})
        QDir().mkpath(QString::fromStdString(f));
    TDeviceSession session(rec);
    ASSERT_TRUE(session.OpenAndWait(20000)) << session.LastError().Text;
    bool done = false;
    TReply reply;
    session.Link().ReadSetup([&](const TReply& r) {
        reply = r;
        done = true;
    });
    ASSERT_TRUE(session.WaitFor([&] { return done; }, 30000) && reply.Ok) << reply.Text;
    const std::string original = ReadAll(reply.File);

    TSetupDocument doc;
    ASSERT_TRUE(doc.LoadFromFile(reply.File)) << doc.LastError();
    TXMLLangu lang;
    ASSERT_TRUE(lang.SetLangFile(FERRO_SOURCE_DIR
                                 "/fixtures/instrument/flashdrive0/data/ccci/scratchpad/lang/lang_de.xml"));
    QWidget window;
    auto* grid = new TFerroGrid(&window);
    grid->SetLanguage(&lang);
    grid->SetVisibility(1);
    grid->Model().FOnGridRowChange = [&](QObject*, pugi::xml_node n, const std::string& v, bool eq,
                                         TGridRowTyp t) { doc.ChangeCell(n, v, eq, t); };
    window.resize(900, 400);
    grid->resize(window.size());
    window.show();
    auto row = [&](const char* id) { return RowOf(*grid, id); };
    ASSERT_TRUE(ShowItem(*grid, doc, 4261413901u, lang)); // Grundeinstellungen: a choice and a float
    const int freq = row("218103808");
    ClickCell(*grid, freq, 1);
    QMenu* menu = window.findChild<QMenu*>("FPopup");
    ASSERT_TRUE(menu->isVisible());
    menu->actions()[1]->trigger();
    menu->hide();
    ASSERT_TRUE(TypeValue(*grid, row("235667456"), "231"));
    ASSERT_TRUE(ShowItem(*grid, doc, 4261413888u, lang)); // the device module: a text
    ASSERT_TRUE(TypeValue(*grid, row("4261413892"), "Umspannwerk_Ost"));
    ASSERT_EQ(doc.ChangeList().size(), 3u);

    TModulList moduls;
    doc.BuildTree(1, &lang, moduls);
    TFrmParaSelect select(moduls, &window);
    select.CreateSelect("FR-042");
    select.open();
    EXPECT_GT(select.findChild<QListWidget*>("lstSel")->count(), 5);
    select.findChild<QPushButton*>("btnOk")->click();
    ASSERT_EQ(select.result(), QDialog::Accepted);

    const std::string temp = dir.filePath("tmp/TempPara.XML").toStdString();
    ASSERT_TRUE(doc.SaveForSend(temp, moduls, &lang));
    done = false;
    session.Link().WriteSetup(temp, [&](const TReply& r) {
        reply = r;
        done = true;
    });
    ASSERT_TRUE(session.WaitFor([&] { return done; }, 30000) && reply.Ok) << reply.Text;
    session.CloseAndWait();

    const std::string got = dir.filePath("got.xml").toStdString();
    CtlResult r = RunCtl({"--port", std::to_string(sim.port()), "setup-get", got});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(
        ChangedLines(original, ReadAll(got)),
        (std::vector<std::string>{"            <value>Umspannwerk_Ost</value>",
                                  "              <value>1</value>", "              <value>231</value>"}));
}
