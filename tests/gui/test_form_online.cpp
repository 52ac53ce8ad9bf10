// The stored-data view against ferrosim: the tree of recordings and events, bulk downloads with
// their progress, a recording on the time chart with markers that agree with `ferroctl export`,
// the event table with its detail dialog, a file it cannot read, and a download cut by the line.
#include "GuiSupport.h"
#include "MainWindow.h"
#include "charts/DateText.h"
#include "forms/FormOnline.h"
#include "forms/FrmMemo.h"
#include "forms/PaintBoxWidget.h"
#include "foundation/Format.h"
#include "support/Ports.h"

#include <QCryptographicHash>
#include <QLabel>
#include <QTableView>
#include <QTreeWidget>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

using namespace ferro;
using namespace ferro::guitest;
using ferro::test::RunCtl;
using ferro::test::SimProcess;
namespace fs = std::filesystem;

namespace {

struct OnlineRig {
    // Before the window: a form being torn down still reports to them.
    std::vector<std::string> progress, log;
    QTemporaryDir dir;
    TMainWindow w{SettingsIn(dir), FoldersIn(dir)};
    QPointer<TFormOnline> v;

    explicit OnlineRig(int port) {
        w.resize(1280, 800);
        w.show();
        w.AddInstruments({Entry("ferrosim", "127.0.0.1", port)});
        w.SelectInstrument(0);
        v = dynamic_cast<TFormOnline*>(w.OpenDirect(dkdata));
        if (!v) return;
        v->FSetGlobalProg = [this](TSender, bool on, const std::string& t) {
            if (on) progress.push_back(t);
        };
        auto hostLog = v->FOnLogCallBack;
        v->FOnLogCallBack = [this, hostLog](TSender s, const std::string& l, bool memo) {
            log.push_back(l);
            if (hostLog) hostLog(s, l, memo);
        };
    }
    ~OnlineRig() { CloseAllBoxes(); }
    // Both listings arrived.
    bool listed(int ms = 30000) {
        return WaitFor(
            [&] {
                return v && v->FRecTreeView && v->FRecTreeView->childCount() == 10 && v->FEvtTreeView &&
                       v->FEvtTreeView->childCount() > 0;
            },
            ms);
    }
    TRecTreeViewItem* item(const std::string& name) const {
        std::function<TRecTreeViewItem*(QTreeWidgetItem*)> find =
            [&](QTreeWidgetItem* it) -> TRecTreeViewItem* {
            auto* f = dynamic_cast<TRecTreeViewItem*>(it);
            if (f && f->HelpKeyword == name) return f;
            for (int i = 0; i < it->childCount(); ++i)
                if (auto* r = find(it->child(i))) return r;
            return nullptr;
        };
        for (int i = 0; i < v->TreeViewOpti->topLevelItemCount(); ++i)
            if (auto* r = find(v->TreeViewOpti->topLevelItem(i))) return r;
        return nullptr;
    }
    // The last lines of the view's log, for a failure message.
    std::string tail() const {
        std::string t;
        for (size_t i = log.size() > 30 ? log.size() - 30 : 0; i < log.size(); ++i)
            t += log[i] + "\n";
        return t;
    }
    bool logged(const std::string& piece) const {
        return std::any_of(log.begin(), log.end(),
                           [&](const std::string& l) { return l.find(piece) != std::string::npos; });
    }
};

QByteArray Sha256(const std::string& path, qint64 length = -1) {
    QFile f(QString::fromStdString(path));
    if (!f.open(QIODevice::ReadOnly)) return {};
    return QCryptographicHash::hash(length < 0 ? f.readAll() : f.read(length), QCryptographicHash::Sha256);
}

std::vector<std::vector<std::string>> ReadCsv(const std::string& path) {
    std::vector<std::vector<std::string>> rows;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::vector<std::string> cells;
        std::stringstream s(line);
        std::string c;
        while (std::getline(s, c, ','))
            cells.push_back(c);
        rows.push_back(cells);
    }
    return rows;
}

} // namespace

TEST(FormOnline, TreeBulkDownloadChartMarkersAndEvents) {
    SimProcess sim({"--history-days", "1"});
    ASSERT_TRUE(sim.ok()) << sim.output();
    OnlineRig rig(sim.port());
    ASSERT_NE(rig.v, nullptr);
    TFormOnline& v = *rig.v;
    ASSERT_TRUE(rig.listed());
    ASSERT_TRUE(WaitFor([&] { return v.FLangXML.Count() > 0; }, 10000)) << "the instrument's language file";

    // The tree: eight classes, "Async" and the disturbance recorders with their two folders.
    QStringList folders;
    for (int i = 0; i < v.FRecTreeView->childCount(); ++i)
        folders << v.FRecTreeView->child(i)->text(0);
    EXPECT_EQ(folders.join("|"),
              "200ms TRMS|3s TRMS|10min TRMS|2h TRMS|1s TRMS|10s TRMS|Variables "
              "Sekundenintervall TRMS|Variables Minutenintervall TRMS|Async|Störschrieb Rekorder");
    QTreeWidgetItem* stoer = v.FRecTreeView->child(9);
    ASSERT_EQ(stoer->childCount(), 2);
    EXPECT_EQ(stoer->child(0)->text(0), "Oszilloskop Rekorder");
    EXPECT_GT(stoer->child(0)->childCount(), 0);
    QTreeWidgetItem* tenMin = v.FRecTreeView->child(2);
    ASSERT_EQ(tenMin->childCount(), 2) << "the fixture's placeholder and the recorder's file";
    auto* placeholder = dynamic_cast<TRecTreeViewItem*>(tenMin->child(0));
    auto* real = dynamic_cast<TRecTreeViewItem*>(tenMin->child(1));
    ASSERT_TRUE(placeholder && real);
    ASSERT_EQ(placeholder->HelpKeyword, "sync/10min-0-1763769600.rec");
    EXPECT_TRUE(real->text(0).endsWith(QString("%1Kb").arg(real->FileSize / 1024)))
        << real->text(0).toStdString();
    EXPECT_EQ(real->data(0, TFormLayout::CImageRole).toInt(), 0);
    const std::string realName = real->HelpKeyword;
    const uint64_t listed = real->FileSize;

    // The popups' rules.
    v.RecMouseDown(real);
    EXPECT_TRUE(v.actDownLoadClsRecorder->isEnabled() && v.actDelAllRecorder->isEnabled());
    EXPECT_FALSE(v.actDownLoadAllEvent->isEnabled() || v.actDelEvent->isEnabled());
    v.EvtAllMouseDown();
    EXPECT_FALSE(v.actDownLoadClsRecorder->isEnabled() || v.actDelEvent->isEnabled());
    EXPECT_TRUE(v.actDownloadSelectedRec->isEnabled()) << "left as it was";
    EXPECT_TRUE(v.actDownLoadAllEvent->isEnabled() && v.actDelAllEvent->isEnabled());

    // The class in bulk: last first, counted, then a fresh listing marks both complete.
    v.RecMouseDown(real);
    v.actDownLoadClsRecorder->trigger();
    ASSERT_TRUE(WaitFor([&] { return !v.FDLClassRec && rig.progress.size() == 2; }, 60000));
    EXPECT_EQ(rig.progress, (std::vector<std::string>{"1 / 2", "2 / 2"}));
    const std::string local = v.FComUnit->FRecDir + LocalFileName(realName);
    ASSERT_TRUE(fs::exists(local));
    EXPECT_GE(fs::file_size(local), listed);
    ASSERT_TRUE(WaitFor(
        [&] { return rig.item(realName) && rig.item(realName)->data(0, TFormLayout::CImageRole) == 3; },
        20000));

    // The placeholder cannot be read: a clear message, and the view goes on.
    QString refused;
    QObject::connect(&v, &TFormLayout::FileRefused, [&](const QString& t) { refused = t; });
    v.RecordClick(rig.item("sync/10min-0-1763769600.rec"));
    ASSERT_TRUE(WaitFor([&] { return !refused.isEmpty(); }, 10000));
    EXPECT_EQ(refused.toStdString(), "Die Datei 10min-0-1763769600.rec kann nicht angezeigt werden: keine "
                                     "Datei im Aufzeichnungsformat (Kennung fehlt)");
    EXPECT_EQ(v.tvSelect->topLevelItemCount(), 0);

    // The recording: several groups wait for a check; a voltage and a current curve stacked.
    bool shown = false;
    QObject::connect(&v, &TFormLayout::RecordingShown, [&](bool ok) { shown = ok; });
    v.RecordClick(rig.item(realName));
    ASSERT_TRUE(WaitFor([&] { return shown; }, 20000));
    EXPECT_FALSE(v.findChild<QLabel*>("LabSBar")->text().contains("kann nicht angezeigt"))
        << "the refusal of the file before does not stay in the footer";
    EXPECT_TRUE(rig.logged("File " + local + " Exists")) << "complete, no request";
    EXPECT_FALSE(rig.logged("Resuming"));
    ASSERT_GT(v.tvSelect->topLevelItemCount(), 1);
    EXPECT_EQ(v.Chart(), nullptr);
    std::vector<QTreeWidgetItem*> picks;
    for (const char* unit : {"[V]", "[A]"})
        for (int g = 0; g < v.tvSelect->topLevelItemCount() && picks.size() < (unit[1] == 'V' ? 1u : 2u);
             ++g) {
            QTreeWidgetItem* grp = v.tvSelect->topLevelItem(g);
            if (grp->childCount() && grp->child(0)->text(0).endsWith(unit)) picks.push_back(grp->child(0));
        }
    ASSERT_EQ(picks.size(), 2u);
    for (QTreeWidgetItem* p : picks)
        p->setCheckState(0, Qt::Checked);
    TPQPaintBoxCrvTime* chart = v.Chart();
    ASSERT_NE(chart, nullptr);
    EXPECT_EQ(chart->GetCrvCnt(), 2);
    ASSERT_EQ(uint64_t(chart->GetMessCnt()), v.FRec.Records());
    EXPECT_GT(chart->GetMessCnt(), 140) << "a day of 10-minute values";
    auto* widget = v.findChild<PaintBoxWidget*>("PQPaintBoxCrvTime");
    ASSERT_NE(widget, nullptr);
    widget->grab();
    EXPECT_EQ(chart->SubRegionNumber(), 2) << "stacked by group";

    // The same columns from ferroctl: times in the instrument's zone and the values at the markers.
    const std::string csv = rig.dir.filePath("day.csv").toStdString();
    const uint32_t id0 = v.FRec.RecDataLst[size_t(picks[0]->data(0, TFormLayout::CTagRole).toInt())].ObjId;
    const uint32_t id1 = v.FRec.RecDataLst[size_t(picks[1]->data(0, TFormLayout::CTagRole).toInt())].ObjId;
    const auto r =
        RunCtl({"export", local, "--csv", csv, "--columns", std::to_string(id0) + "," + std::to_string(id1)});
    ASSERT_EQ(r.code, 0) << r.err;
    const auto rows = ReadCsv(csv);
    ASSERT_EQ(rows.size(), size_t(chart->GetMessCnt()) + 1);
    const std::string iso = rows[1][0]; // yyyy-mm-ddThh:mm:ss+hh:mm
    const std::string firstTime = StampToText(LinearToTS(chart->MessLst().Tsl(0)));
    EXPECT_EQ(firstTime,
              iso.substr(8, 2) + "." + iso.substr(5, 2) + "." + iso.substr(0, 4) + " " + iso.substr(11, 8));

    const double w = widget->width(), h = widget->height();
    chart->MouseUp(mbLeft, ssShift, w * 0.3, h / 2);
    chart->MouseUp(mbLeft, ssCtrl, w * 0.7, h / 2);
    ASSERT_GE(chart->MarkIdx1(), 0);
    ASSERT_GT(chart->MarkIdx2(), chart->MarkIdx1());
    ASSERT_EQ(v.FMarkerList.size(), 2u);
    for (int curve = 0; curve < 2; ++curve)
        for (int m = 0; m < 2; ++m) {
            const int row = (m == 0 ? chart->MarkIdx1() : chart->MarkIdx2()) + 1;
            const double want = std::stod(rows[size_t(row)][size_t(curve) + 1]);
            const double got = QLocale().toDouble(QString::fromStdString(v.grdMarkerGetValue(m + 1, curve)));
            EXPECT_NEAR(got, want, 0.0006) << curve << "/" << m;
        }
    EXPECT_EQ(v.tbcSettings->currentWidget()->objectName(), "tbtmMarker");
    widget->update();
    SaveScreenshot(rig.w, "online_recording.png");

    // All events in bulk, then one of them as a table with its detail dialog.
    const std::vector<std::string> events = v.FAllEvtLst;
    v.EvtAllMouseDown();
    rig.progress.clear();
    v.actDownLoadAllEvent->trigger();
    ASSERT_TRUE(WaitFor([&] { return !v.FDLAllEvt; }, 60000));
    EXPECT_EQ(rig.progress.back(), Fmt("%d / %d", int(events.size()), int(events.size())));
    const std::string evName = events.back().substr(0, events.back().find('='));
    EXPECT_TRUE(fs::exists(v.FComUnit->FEvtDir + evName));
    ASSERT_TRUE(WaitFor([&] { return rig.item(evName) != nullptr; }, 20000));
    v.EventClick(rig.item(evName));
    ASSERT_EQ(v.GridData->model()->columnCount(), 6);
    QStringList heads;
    for (int c = 0; c < 6; ++c)
        heads << v.GridData->model()->headerData(c, Qt::Horizontal).toString();
    EXPECT_EQ(heads.join("|"), "Ereignis|Zeit|Maxwert|Einheit|Harmonische|Dauer [s]");
    ASSERT_GT(v.GridData->model()->rowCount(), 0);
    EXPECT_NE(v.EvtGetValue(1, 0), "--");
    EXPECT_EQ(v.EvtGetValue(1, 99999), "");
    SaveScreenshot(rig.w, "online_events.png");

    // A file with the recorder's service entry (type 33): hidden below service mode, shown in it;
    // the voltage events in volts of the transformer-corrected nominal voltage.
    std::string serviceFile;
    TEvtData file;
    for (const std::string& l : events) {
        const std::string n = l.substr(0, l.find('='));
        TEvtData d;
        if (AnalyseEventData(v.FComUnit->FEvtDir + n, d, nullptr) &&
            std::any_of(d.EvtLst.begin(), d.EvtLst.end(), [](const TEvtStrc& e) { return e.EvtType > 31; })) {
            serviceFile = n;
            file = d;
        }
    }
    ASSERT_FALSE(serviceFile.empty());
    const auto user = std::count_if(file.EvtLst.begin(), file.EvtLst.end(),
                                    [](const TEvtStrc& e) { return e.EvtType <= 31; });
    ASSERT_TRUE(WaitFor([&] { return rig.item(serviceFile) != nullptr; }, 5000));
    v.EventClick(rig.item(serviceFile));
    ASSERT_EQ(v.GridData->model()->rowCount(), int(user));
    EXPECT_EQ(v.EvtGetValue(3, 0), "[V]");
    EXPECT_EQ(v.EvtGetValue(2, 0),
              Fmt("%.4f", double(file.EvtLst[0].MaxVal) * file.Context.VoltageFactor() / 100.0 / 100.0));
    v.FVisibility = 2;
    v.EventClick(rig.item(serviceFile));
    EXPECT_EQ(v.GridData->model()->rowCount(), int(file.EvtLst.size()));
    v.FVisibility = 0;
    v.EvtOnMouseDown(0, Qt::RightButton);
    auto* memo = v.findChild<TFrmMemo*>("FrmEventDetail");
    ASSERT_NE(memo, nullptr);
    EXPECT_TRUE(memo->isVisible());
    EXPECT_FALSE(memo->Text().empty());
    memo->close();
}

TEST(FormOnline, ADownloadCutByTheLineResumesOnTheNextClickByteForByte) {
    const int port = ferro::test::FreeLoopbackPort();
    QTemporaryDir rootDir;
    const std::string root = rootDir.filePath("instrument").toStdString();
    auto sim =
        std::make_unique<SimProcess>(std::vector<std::string>{"--history-days", "1", "--port",
                                                              std::to_string(port), "--faults", "cut:60000"},
                                     root);
    ASSERT_TRUE(sim->ok()) << sim->output();
    OnlineRig rig(port);
    ASSERT_TRUE(rig.listed());
    TFormOnline& v = *rig.v;
    std::string name;
    for (const std::string& l : v.FAllRecLst)
        if (l.rfind("sync/2h-", 0) == 0 && l.find(".log=") != std::string::npos)
            name = l.substr(0, l.find('='));
    ASSERT_FALSE(name.empty());
    const std::string remote = root + "/flashdrive0/data/rec/" + name;
    const std::string local = v.FComUnit->FRecDir + LocalFileName(name);

    v.RecordClick(rig.item(name));
    ASSERT_TRUE(WaitFor([&] { return !v.Established(); }, 20000)) << "the line is cut inside the file";
    EXPECT_FALSE(fs::exists(local) && fs::file_size(local) >= fs::file_size(remote))
        << "nothing looks complete";
    CloseAllBoxes();

    // The instrument is back without the fault: the next click reconnects, the one after fetches.
    sim->stop();
    sim = std::make_unique<SimProcess>(std::vector<std::string>{"--port", std::to_string(port)}, root);
    ASSERT_TRUE(sim->ok());
    v.RecordClick(rig.item(name));
    ASSERT_TRUE(WaitFor([&] { return v.Established(); }, 20000));
    ASSERT_TRUE(rig.listed());
    v.RecordClick(rig.item(name));
    ASSERT_TRUE(WaitFor([&] { return fs::exists(local) && fs::file_size(local) >= rig.item(name)->FileSize; },
                        30000));
    EXPECT_EQ(Sha256(local), Sha256(remote, qint64(fs::file_size(local))));

    // A local prefix resumes at its length.
    fs::resize_file(local, 30000);
    rig.log.clear();
    v.RecordClick(rig.item(name));
    EXPECT_TRUE(rig.logged(Fmt("File %s Exists 30000/", local.c_str()))) << "asked from 30000 on";
    EXPECT_TRUE(rig.logged(" - Resuming"));
    ASSERT_TRUE(WaitFor([&] { return fs::file_size(local) > 30000; }, 30000));
    EXPECT_EQ(Sha256(local), Sha256(remote, qint64(fs::file_size(local))));
}

TEST(FormOnline, EmptyAndUnknownListingsAndEventRules) {
    TFormOnline v;
    v.FRecTreeView = nullptr;
    // Without a session the view still lists what it is given.
    QTreeWidgetItem* root = new QTreeWidgetItem(v.TreeViewOpti, {"Rekorder Daten"});
    v.FRecTreeView = root;
    v.RecOverView({});
    EXPECT_EQ(root->childCount(), 10) << "an empty list gives all folders";
    EXPECT_TRUE(root->isExpanded());
    EXPECT_TRUE(v.FAllRecLst.empty());
    v.RecOverView({"sync/7x-0-100.log;200;5", "other/a;1;1", "sync/10s-0-100.log;200;0"});
    EXPECT_EQ(v.FAllRecLst, (std::vector<std::string>{"sync/7x-0-100.log=5", "sync/10s-0-100.log=0"}))
        << "an unknown class is counted, a foreign folder is not";
    int items = 0;
    for (int i = 0; i < root->childCount(); ++i)
        items += root->child(i)->childCount();
    EXPECT_EQ(items, 2 + 1) << "the two disturbance folders and the 10s file";

    // Event rules: types above 31 only in service mode, "--" for zero values.
    v.FEvtLst = {{0x1000, {0, 0}, etDip, 0.0f, 0.0f, 0, 2, "V", "1"},
                 {0x1000, {100, 0}, 40, 1.5f, 3.0f, 5, 0, "%", "1"}};
    EXPECT_EQ(v.EvtGetValue(1, 0), "--");
    EXPECT_EQ(v.EvtGetValue(2, 0), "--");
    EXPECT_EQ(v.EvtGetValue(4, 0), "--");
    EXPECT_EQ(v.EvtGetValue(5, 0), "--");
    EXPECT_EQ(v.EvtGetValue(0, 0), "1 L2");
    EXPECT_EQ(v.EvtGetValue(2, 1), "3.0000");
    EXPECT_EQ(v.EvtGetValue(3, 1), "[%]");
    EXPECT_EQ(v.EvtGetValue(4, 1), "5");
}

TEST(FormOnline, DeletesAskNothingAndKeepTheLocalCopies) {
    const int port = ferro::test::FreeLoopbackPort();
    QTemporaryDir rootDir;
    const std::string root = rootDir.filePath("instrument").toStdString();
    SimProcess sim({"--history-days", "1", "--port", std::to_string(port)}, root);
    ASSERT_TRUE(sim.ok()) << sim.output();
    OnlineRig rig(port);
    ASSERT_NE(rig.v, nullptr);
    TFormOnline& v = *rig.v;
    QApplication::processEvents();
    EXPECT_LE(rig.w.width(), 1280) << "the view fits a window of 1280 x 800";
    auto* hint = v.findChild<QLabel*>("lblHint");
    ASSERT_NE(hint, nullptr);
    EXPECT_TRUE(hint->isVisible() && hint->text().contains("vom Gerät heruntergeladen"));
    ASSERT_TRUE(rig.listed());
    SaveScreenshot(rig.w, "online_hint.png");
    auto listedName = [&](const std::string& prefix) {
        for (const std::string& l : v.FAllRecLst)
            if (l.rfind(prefix, 0) == 0 && l.find(".log=") != std::string::npos)
                return l.substr(0, l.find('='));
        return std::string();
    };
    const std::string rec = listedName("sync/2h-");
    ASSERT_FALSE(rec.empty());
    const std::string recRemote = root + "/flashdrive0/data/rec/" + rec;
    const std::string recLocal = v.FComUnit->FRecDir + LocalFileName(rec);
    v.RecordClick(rig.item(rec));
    ASSERT_TRUE(WaitFor(
        [&] { return fs::exists(recLocal) && fs::file_size(recLocal) >= fs::file_size(recRemote); }, 30000));
    EXPECT_FALSE(hint->isVisible()) << "the file took the hint's place";
    QApplication::processEvents();
    EXPECT_LE(rig.w.width(), 1280) << "listed and shown, the window keeps its width";

    // One recording: gone from the tree at once, from the instrument after the command, listed
    // again only by the next overview; the downloaded copy stays.
    const uint64_t localSize = fs::file_size(recLocal);
    v.RecMouseDown(rig.item(rec));
    v.actDelRecorder->trigger();
    EXPECT_EQ(rig.item(rec), nullptr);
    EXPECT_FALSE(v.actDelRecorder->isEnabled() || v.actDownloadAllRecorder->isEnabled());
    ASSERT_TRUE(WaitFor([&] { return !fs::exists(recRemote); }, 20000)) << rig.tail();
    v.actRefresh->trigger();
    ASSERT_TRUE(WaitFor([&] { return listedName("sync/2h-") != rec && rig.listed(); }, 20000));
    EXPECT_TRUE(fs::exists(recLocal) && fs::file_size(recLocal) == localSize);

    // Checked events, then all events: nothing asked, the downloaded one stays on this PC.
    std::vector<std::string> withData;
    for (const std::string& l : v.FAllEvtLst)
        if (l.substr(l.find('=') + 1) != "0") withData.push_back(l.substr(0, l.find('=')));
    ASSERT_GE(withData.size(), 2u);
    const std::string first = withData.back(), second = withData.front();
    const std::string evLocal = v.FComUnit->FEvtDir + first;
    v.EventClick(rig.item(first));
    ASSERT_TRUE(WaitFor([&] { return v.GridData->model()->columnCount() == 6; }, 20000));
    v.actMultiSelect->setChecked(true);
    rig.item(first)->setCheckState(0, Qt::Checked);
    rig.item(second)->setCheckState(0, Qt::Checked);
    v.EvtMouseDown(rig.item(first));
    v.actDelSelectedEvt->trigger();
    const std::string evDir = root + "/flashdrive0/data/evt/";
    ASSERT_TRUE(WaitFor([&] { return !fs::exists(evDir + first) && !fs::exists(evDir + second); }, 20000));
    ASSERT_TRUE(WaitFor([&] { return rig.item(first) == nullptr && rig.item(second) == nullptr; }, 20000));
    const std::vector<std::string> rest = v.FAllEvtLst;
    ASSERT_FALSE(rest.empty());
    v.EvtAllMouseDown();
    v.actDelAllEvent->trigger();
    ASSERT_TRUE(WaitFor(
        [&] {
            return std::none_of(rest.begin(), rest.end(), [&](const std::string& l) {
                return std::find(v.FAllEvtLst.begin(), v.FAllEvtLst.end(), l) != v.FAllEvtLst.end();
            });
        },
        20000));
    EXPECT_TRUE(fs::exists(evLocal));
    EXPECT_EQ(BoxContaining(""), nullptr) << "no question was asked";
}
