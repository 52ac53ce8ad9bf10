// The reports of the stored-data view against ferrosim: a 10-minute recording turns the report
// actions on, the statistic charts show maximum and 95 % values against the normalised limits,
// the PDF report is written, and an event turns the actions off again.
#include "GuiSupport.h"
#include "MainWindow.h"
#include "charts/ClipLst.h"
#include "charts/PQPaintBoxHarm.h"
#include "forms/FormOnline.h"
#include "forms/PaintBoxWidget.h"
#include "support/Files.h"

#include <QAction>
#include <QTest>
#include <QTreeWidget>

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

using namespace ferro;
using namespace ferro::guitest;
using ferro::test::SimProcess;

namespace {

// Order 5 of a clipboard row of the harmonic chart ("L1 (95%)", "Limit", ...).
double Order5(TPQPaintBoxHarm& chart, const std::string& row) {
    TClipLst clip;
    chart.CopyToClip(clip);
    for (const std::string& line : clip.Lines()) {
        std::vector<std::string> cells;
        std::stringstream s(line);
        for (std::string c; std::getline(s, c, '\t');)
            cells.push_back(c);
        if (cells.size() > 6 && cells[0] == row) return std::stod(cells[6]);
    }
    return -1;
}

} // namespace

TEST(FormReports, StatisticChartsPdfReportAndActionRules) {
    SimProcess sim({"--history-days", "2", "--supply", "h5=7"});
    ASSERT_TRUE(sim.ok()) << sim.output();
    QTemporaryDir dir;
    TMainWindow w{SettingsIn(dir), FoldersIn(dir)};
    w.resize(1700, 1000);
    w.show();
    w.AddInstruments({Entry("ferrosim", "127.0.0.1", sim.port())});
    w.SelectInstrument(0);
    QPointer<TFormOnline> view = dynamic_cast<TFormOnline*>(w.OpenDirect(dkdata));
    ASSERT_NE(view, nullptr);
    TFormOnline& v = *view;
    ASSERT_TRUE(WaitFor(
        [&] {
            return v.FRecTreeView && v.FRecTreeView->childCount() == 10 && v.FEvtTreeView &&
                   v.FEvtTreeView->childCount() > 0;
        },
        30000));
    TRecTreeViewItem* tenMin = nullptr;
    QTreeWidgetItem* cls = v.FRecTreeView->child(2);
    for (int i = 0; i < cls->childCount(); ++i)
        if (auto* f = dynamic_cast<TRecTreeViewItem*>(cls->child(i));
            f && f->HelpKeyword.find(".log") != std::string::npos)
            tenMin = f;
    ASSERT_NE(tenMin, nullptr);
    for (QAction* a : {v.actReport, v.ActRepHrmsSpannung, v.ActRepFrqBndStrom})
        EXPECT_FALSE(a->isEnabled()) << a->objectName().toStdString() << " before a 10-minute recording";

    bool shown = false;
    QObject::connect(&v, &TFormLayout::RecordingShown, [&](bool ok) { shown = ok; });
    v.RecordClick(tenMin);
    ASSERT_TRUE(WaitFor([&] { return shown; }, 30000));
    for (QAction* a : {v.actReport, v.ActRepHrmsSpannung, v.ActRepHrmsStrom, v.ActRepIntHrmsSpannung,
                       v.actRepIntHrmsStrom, v.ActRepFrqBndSpannung, v.ActRepFrqBndStrom})
        EXPECT_TRUE(a->isEnabled()) << a->objectName().toStdString();
    EXPECT_EQ(v.ActRepHrmsSpannung->text(), "Statistik Harmonische");
    EXPECT_EQ(v.actRepIntHrmsStrom->text(), "Statistik Zwischenharmonische");
    EXPECT_EQ(v.ActRepFrqBndStrom->text(), "Statistik 2,0 - 9,0 kHz");

    // Voltage harmonics: 7 % at order 5 against its limit of 6 %, normalised.
    int disp = -1;
    QObject::connect(&v, &TFormLayout::StatisticShown, [&](int d, bool ok) { disp = ok ? d : -2; });
    v.ActRepHrmsSpannung->trigger();
    ASSERT_TRUE(WaitFor([&] { return disp != -1; }, 30000));
    ASSERT_EQ(disp, int(sdHrmULE));
    TPQPaintBoxHarm* chart = v.HarmChart();
    ASSERT_NE(chart, nullptr);
    EXPECT_TRUE(chart->Statistic() && chart->Normalization());
    EXPECT_NEAR(Order5(*chart, "L1 (95%)"), 7.0, 0.05);
    EXPECT_NEAR(Order5(*chart, "L3 (Max)"), 7.0, 0.05);
    EXPECT_EQ(Order5(*chart, "Limit"), 6.0);
    auto* widget = v.findChild<PaintBoxWidget*>("PQPaintBoxHarm");
    ASSERT_TRUE(widget && widget->isVisible());
    QTest::qWait(100);
    EXPECT_TRUE(SaveScreenshot(v, "stored_statistic_harmonics.png"));

    // Current harmonics: 10 % of 100 A at order 5, in amperes, not normalised.
    disp = -1;
    v.ActRepHrmsStrom->trigger();
    ASSERT_TRUE(WaitFor([&] { return disp != -1; }, 30000));
    ASSERT_EQ(disp, int(sdHrmIL));
    EXPECT_FALSE(chart->Normalization());
    EXPECT_NEAR(Order5(*chart, "L1 (Max)"), 10.0, 0.1);

    // The PDF report of the recording.
    const std::string pdf = dir.filePath("bericht.pdf").toStdString();
    std::string suggested;
    v.FAskReportPath = [&](const std::string& s) {
        suggested = s;
        return pdf;
    };
    bool written = false;
    QString status;
    QObject::connect(&v, &TFormLayout::ReportWritten, [&](bool ok, const QString&, const QString& text) {
        written = ok;
        status = text;
    });
    v.actReport->trigger();
    ASSERT_TRUE(WaitFor([&] { return !status.isEmpty(); }, 60000));
    EXPECT_TRUE(written) << status.toStdString();
    EXPECT_TRUE(QString::fromStdString(suggested).endsWith("-EN50160.pdf")) << suggested;
    EXPECT_EQ(ferro::test::readFile(pdf).substr(0, 5), "%PDF-");
    EXPECT_EQ(status.toStdString(), "Bericht gespeichert: " + pdf);

    // An event turns the reports off.
    TRecTreeViewItem* evt = nullptr;
    for (int i = 0; i < v.FEvtTreeView->childCount() && !evt; ++i)
        evt = dynamic_cast<TRecTreeViewItem*>(v.FEvtTreeView->child(i));
    ASSERT_NE(evt, nullptr);
    v.EventClick(evt);
    for (QAction* a : {v.actReport, v.ActRepHrmsSpannung, v.actRepIntHrmsStrom})
        EXPECT_FALSE(a->isEnabled()) << a->objectName().toStdString() << " on an event";
    CloseAllBoxes();
}
