// The offline archive: what ferrosim handed to `ferroctl sync` is browsed with the simulator
// stopped, by plant and field; a recording opens on the chart; three files go out by export, the
// station is deleted, the export is imported and the files are back byte for byte. Then the
// archive's edge cases: an empty data root, a station without folders, export onto the source.
#include "GuiSupport.h"
#include "MainWindow.h"
#include "forms/FormOffline.h"
#include "support/Ports.h"

#include <QAction>
#include <QCryptographicHash>
#include <QToolButton>
#include <QTreeWidget>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

using namespace ferro;
using namespace ferro::guitest;
using ferro::test::RunCtl;
using ferro::test::SimProcess;
namespace fs = std::filesystem;

namespace {

QByteArray Sha256(const fs::path& p) {
    QFile f(QString::fromStdString(p.string()));
    return f.open(QIODevice::ReadOnly) ? QCryptographicHash::hash(f.readAll(), QCryptographicHash::Sha256)
                                       : QByteArray();
}

std::vector<QTreeWidgetItem*> Items(QTreeWidget* t, int Tag) {
    std::vector<QTreeWidgetItem*> out;
    for (QTreeWidgetItemIterator it(t); *it; ++it)
        if ((*it)->data(0, TFormLayout::CTagRole).toInt() == Tag) out.push_back(*it);
    return out;
}

bool Idle(TFormOffline& v, int ms = 30000) {
    return WaitFor([&] { return !v.Busy(); }, ms);
}

// What the popup offers on an item, by object name.
QStringList Offered(TFormOffline& v, QTreeWidgetItem* it) {
    v.OfflineRecMouseDown(it);
    QStringList on;
    for (QAction* a : {v.actDelOfflineRekorder, v.actDelOfflineEvent, v.actDelClass, v.actDelOfflineAllFiles})
        if (a->isEnabled()) on << a->objectName();
    return on;
}

} // namespace

TEST(FormOffline, DownloadedArchiveOpensExportsDeletesAndImportsBack) {
    QTemporaryDir dir;
    const TFolders folders = FoldersIn(dir);
    {
        SimProcess sim({"--history-days", "1"});
        ASSERT_TRUE(sim.ok()) << sim.output();
        auto run =
            RunCtl({"--data-dir", folders.Data, "--ini-dir", folders.Ini, "--yes", "--timeout", "60000",
                    "sync", "--class", "10min,2h", "--events", "127.0.0.1:" + std::to_string(sim.port())},
                   180000);
        ASSERT_EQ(run.code, 0) << run.out << run.err;
        EXPECT_EQ(sim.stop(), 0);
    }
    // Without any instrument in the list the archive opens.
    TMainWindow w(SettingsIn(dir), folders);
    w.resize(1280, 800);
    w.show();
    auto* button = w.findChild<QToolButton*>("btn_dkoffline");
    ASSERT_TRUE(button && button->isEnabled());
    QPointer<TFormOffline> view = dynamic_cast<TFormOffline*>(w.OpenDirect(dkoffline));
    ASSERT_TRUE(view);
    TFormOffline& v = *view;
    ASSERT_TRUE(WaitFor([&] { return !v.Busy() && v.TreeViewOpti->topLevelItemCount() > 0; }, 30000));

    // Plant, field, station.
    ASSERT_EQ(v.TreeViewOpti->topLevelItemCount(), 1);
    QTreeWidgetItem* plant = v.TreeViewOpti->topLevelItem(0);
    EXPECT_EQ(plant->text(0), "Umspannwerk Nord");
    ASSERT_EQ(plant->childCount(), 1);
    EXPECT_EQ(plant->child(0)->text(0), "Feld 3");
    ASSERT_EQ(Items(v.TreeViewOpti, otStation).size(), 1u);
    QTreeWidgetItem* station = Items(v.TreeViewOpti, otStation)[0];
    const std::string key = station->text(0).section(':', 0, 0).toStdString();
    EXPECT_EQ(station->text(0).toStdString(), key + ": FR-042");
    EXPECT_EQ(station->parent(), plant->child(0));

    // The station opens on its click; a recording opens on the chart.
    emit v.TreeViewOpti->itemClicked(station, 0);
    ASSERT_TRUE(WaitFor([&] { return !v.Busy() && station->childCount() > 0; }, 30000));
    const auto recs = Items(v.TreeViewOpti, otRecording);
    const auto evts = Items(v.TreeViewOpti, otEvent);
    ASSERT_GE(recs.size(), 2u);
    ASSERT_GE(evts.size(), 1u);
    EXPECT_TRUE(recs[0]->text(0).contains(" - ")) << recs[0]->text(0).toStdString();
    bool shown = false;
    QObject::connect(&v, &TFormLayout::RecordingShown, [&](bool ok) { shown = ok; });
    emit v.TreeViewOpti->itemClicked(recs[0], 0);
    ASSERT_TRUE(WaitFor([&] { return shown; }, 30000));
    ASSERT_GT(v.tvSelect->topLevelItemCount(), 0);
    v.tvSelect->topLevelItem(0)->setCheckState(0, Qt::Checked);
    EXPECT_TRUE(WaitFor([&] { return v.Chart() != nullptr; }, 5000));
    QApplication::processEvents();
    SaveScreenshot(w, "offline_tree.png");

    // The popup by kind of item.
    EXPECT_EQ(Offered(v, station), QStringList{"actDelOfflineAllFiles"});
    EXPECT_EQ(Offered(v, recs[0]->parent()), QStringList{"actDelClass"});
    EXPECT_EQ(Offered(v, recs[0]), (QStringList{"actDelOfflineRekorder", "actDelClass"}));
    EXPECT_EQ(Offered(v, evts[0]), (QStringList{"actDelOfflineEvent", "actDelClass"}));
    EXPECT_EQ(Offered(v, recs[0]->parent()->parent()), QStringList{});

    // Export three files.
    v.actMultiSelect->trigger();
    std::vector<fs::path> chosen;
    for (QTreeWidgetItem* it : {recs[0], recs[1], evts[0]}) {
        it->setCheckState(0, Qt::Checked);
        chosen.push_back(dynamic_cast<TRecTreeViewItem*>(it)->HelpKeyword);
    }
    std::vector<QByteArray> sums;
    for (const fs::path& p : chosen)
        sums.push_back(Sha256(p));
    const std::string out = dir.filePath("export").toStdString();
    fs::create_directories(out);
    v.FSelectDir = [&](const std::string&, const std::string&) { return out; };
    int exported = -1;
    QObject::connect(&v, &TFormOffline::ExportFinished, [&](int n) { exported = n; });
    v.actOfflineExport->trigger();
    ASSERT_TRUE(WaitFor([&] { return exported >= 0; }, 30000));
    EXPECT_EQ(exported, 3);
    EXPECT_TRUE(WaitForBox(QString::fromStdString("Es wurden 3 Dateien nach " + out + " exportiert.")));
    CloseAllBoxes();
    EXPECT_TRUE(fs::exists(fs::path(out) / "scratchpad" / "xml-versions.txt"));

    // Delete the station: its folder goes, the tree is empty.
    v.OfflineRecMouseDown(station);
    v.actDelOfflineAllFiles->trigger();
    ASSERT_TRUE(Idle(v));
    EXPECT_FALSE(fs::exists(fs::path(folders.Data) / key));
    EXPECT_EQ(v.TreeViewOpti->topLevelItemCount(), 0);

    // Import the export: the three files are back, byte for byte, and the station with them.
    v.actImportFromSD->trigger();
    EXPECT_TRUE(WaitForBox("Es wurden 3 Dateien importiert", 30000));
    CloseAllBoxes();
    ASSERT_TRUE(Idle(v));
    for (size_t i = 0; i < chosen.size(); ++i) {
        EXPECT_TRUE(fs::exists(chosen[i])) << chosen[i];
        EXPECT_EQ(Sha256(chosen[i]), sums[i]) << chosen[i];
    }
    ASSERT_TRUE(WaitFor([&] { return Items(v.TreeViewOpti, otStation).size() == 1; }, 10000));

    // "Alle Dateien dieser Klasse" on a recording empties its class folder.
    QTreeWidgetItem* back = Items(v.TreeViewOpti, otStation)[0];
    emit v.TreeViewOpti->itemClicked(back, 0);
    ASSERT_TRUE(WaitFor([&] { return !v.Busy() && back->childCount() > 0; }, 30000));
    QTreeWidgetItem* first = Items(v.TreeViewOpti, otRecording)[0];
    std::vector<fs::path> sameClass;
    for (int i = 0; i < first->parent()->childCount(); ++i)
        sameClass.push_back(dynamic_cast<TRecTreeViewItem*>(first->parent()->child(i))->HelpKeyword);
    v.OfflineRecMouseDown(first);
    v.actDelClass->trigger();
    ASSERT_TRUE(Idle(v));
    for (const fs::path& p : sameClass)
        EXPECT_FALSE(fs::exists(p)) << p;
    EXPECT_TRUE(fs::exists(chosen[2])) << "the event file stays";
    w.CloseViewAt(w.Tabs()->indexOf(view));
    EXPECT_TRUE(WaitFor([&] { return view.isNull(); }, 10000));
}

TEST(FormOffline, EmptyRootStationWithoutFoldersAndExportOntoTheSource) {
    QTemporaryDir dir;
    const TFolders folders = FoldersIn(dir);
    fs::create_directories(folders.Data);
    // The form logs while it goes: what it logs into outlives it.
    std::vector<std::string> log;
    bool working = false;
    TFormOffline v;
    v.FOnLogCallBack = [&](TSender, const std::string& l, bool) { log.push_back(l); };
    v.FWorkCallback = [&](TSender, const std::string&, bool start, bool) { working = start; };
    auto logged = [&](const std::string& piece) {
        return std::any_of(log.begin(), log.end(),
                           [&](const std::string& l) { return l.find(piece) != std::string::npos; });
    };

    // An empty root: an empty tree and the work ended.
    v.SetFolders(folders);
    ASSERT_TRUE(Idle(v));
    QApplication::processEvents();
    EXPECT_EQ(v.TreeViewOpti->topLevelItemCount(), 0);
    EXPECT_FALSE(working);
    EXPECT_TRUE(logged("Offline: Check Data end"));

    // A station folder without "Recorder" and "Event" counts 0 files and opens onto nothing; "tmp"
    // and "log" are never stations.
    for (const char* d : {"4711", "tmp", "log"})
        fs::create_directories(fs::path(folders.Data) / d);
    v.actRefresh->trigger();
    ASSERT_TRUE(Idle(v));
    EXPECT_TRUE(logged("Found 0 rekords in " + folders.Data + "4711/Recorder/"));
    EXPECT_TRUE(logged("Found 0 eventfiles in " + folders.Data + "4711/Event/"));
    ASSERT_EQ(v.TreeViewOpti->topLevelItemCount(), 1);
    QTreeWidgetItem* station = v.TreeViewOpti->topLevelItem(0);
    EXPECT_EQ(station->text(0), "4711: Ferro Recorder");
    v.CheckTreeViewOfflineData(station);
    ASSERT_TRUE(Idle(v));
    ASSERT_EQ(station->childCount(), 1);
    EXPECT_EQ(station->child(0)->text(0), "Keine Dateien");

    // Export onto the source: every file counts, none changes, nothing half-written stays.
    const fs::path src = fs::path(folders.Data) / "4711" / "Recorder";
    fs::create_directories(src);
    const fs::path file = src / "10min-0-1763769600.log";
    std::ofstream(file, std::ios::binary) << std::string(5000, 'x');
    const QByteArray before = Sha256(file);
    EXPECT_EQ(ExportOfflineFiles({file.string()}, src.string(), folders.Ini, nullptr), 1);
    EXPECT_EQ(Sha256(file), before);
    EXPECT_FALSE(fs::exists(file.string() + ".part"));

    // The item without text only ends the work: nothing is deleted.
    station->setText(0, "");
    v.OfflineRecMouseDown(station);
    v.actDelOfflineAllFiles->trigger();
    EXPECT_FALSE(v.Busy());
    EXPECT_FALSE(working);
    EXPECT_TRUE(fs::exists(file));
}
