// The complete value table against ferrosim: a leaf of each group shows the supply's values, a new
// leaf stops the running stream before its own starts, and the oscilloscope's rows are read at the
// stride of the instrument's generation.
#include "GuiSupport.h"
#include "forms/FormComplete.h"

#include <QLocale>
#include <QRegularExpression>
#include <QTableView>
#include <QTest>
#include <QTreeWidget>

#include <gtest/gtest.h>

#include <cmath>

using namespace ferro;
using namespace ferro::guitest;
using ferro::test::SimProcess;

namespace {

struct CompleteRig {
    QTemporaryDir dir;
    TFormComplete view;

    explicit CompleteRig(const SimProcess& sim) {
        TConnectionRec rec;
        rec.Port = sim.port();
        rec.Folders = FoldersIn(dir);
        for (const std::string& f : {rec.Folders.Data, rec.Folders.Ini, rec.Folders.Tmp})
            QDir().mkpath(QString::fromStdString(f));
        view.resize(1200, 700);
        view.show();
        view.Open(rec);
    }
    ~CompleteRig() {
        view.CloseView();
        WaitFor([&] { return !view.Session() || !view.Established(); }, 5000);
    }
    // Clicks the leaf as a user does and waits until an object of its class reached the grid.
    bool click(const QStringList& path) {
        QTreeWidgetItem* it = view.FindItem(path);
        if (!it) return false;
        for (QTreeWidgetItem* p = it->parent(); p; p = p->parent())
            p->setExpanded(true);
        view.TreeViewOpti->scrollToItem(it);
        QTest::mouseClick(view.TreeViewOpti->viewport(), Qt::LeftButton, {},
                          view.TreeViewOpti->visualItemRect(it).center());
        const uint32_t tag = it->data(0, TFormLayout::CTagRole).toUInt();
        return WaitFor([&] { return view.Table().FFerrotag().ToTag() == tag && view.FObjects > 0; }, 15000);
    }
    QAbstractItemModel& grid() { return *view.GridData->model(); }
    QString cell(int row, int col) { return grid().index(row, col).data().toString(); }
    double number(int row, int col) { return QLocale().toDouble(cell(row, col)); }
    // The value in `col` of the row labelled `label`; NaN without such a row.
    double value(const QString& label, int col) {
        for (int r = 0; r < grid().rowCount(); ++r)
            if (cell(r, 0) == label) return number(r, col);
        return std::nan("");
    }
};

} // namespace

TEST(CompleteE2E, ALeafOfEachGroupShowsItsValuesAndEachNewLeafStopsTheStreamBefore) {
    QTemporaryDir root;
    SimProcess sim({}, SteadyRoot(root));
    ASSERT_TRUE(sim.ok()) << sim.output();
    CompleteRig rig(sim);
    ASSERT_TRUE(WaitFor([&] { return rig.view.Established(); }, 20000));

    // The fixture's supply: 230 V, 100 A at PF 0.95, 50 Hz, 3 % of 5th harmonic, 35 °C. A row of
    // the grid by its label (or its order number), the column, what it shows.
    struct Leaf {
        QStringList path;
        QString row;
        int col;
        double want, tol;
    };
    const Leaf leaves[] = {
        {{"200 MS", "Spannungsmessgroessen", "Messwerte"}, "U1E", 1, 230, 2.3},
        {{"3 Sec", "Spannungsmessgroessen", "Harmonische"}, "5", 1, 3, 0.3},
        {{"10 Min", "Strommessgroessen", "Polarkoordinaten"}, "I1 polar", 1, 100, 3},
        {{"2 Stunden", "Leistungsmessgroessen"}, "S total", 1, 69000, 3500},
        {{"1 Sec", "Temperatur"}, "Temp", 1, 35, 1},
        {{"1 Sec", "10-Sekunden-Frequenz"}, "F10s", 1, 50, 0.05},
        {{"n Sec", "Strommessgroessen", "Messwerte"}, "I1", 1, 100, 3},
        {{"m Min", "Spannungsmessgroessen", "Polarkoordinaten"}, "U1E polar", 1, 230, 2.3},
        {{"Oszilloskopischen Online Streams"}, "0", 1, 0, 345}, // u1 of the first sample
    };
    for (const Leaf& l : leaves) {
        SCOPED_TRACE(l.path.join('/').toStdString());
        ASSERT_TRUE(rig.click(l.path));
        EXPECT_NEAR(rig.value(l.row, l.col), l.want, l.tol);
    }
    EXPECT_EQ(rig.grid().headerData(1, Qt::Horizontal).toString(), "u1");
    SaveScreenshot(rig.view, "complete_oscilloscope.png");

    // The instrument saw each stream stopped before the next one started, in the order clicked.
    const QRegularExpression started("stream 0x([0-9A-F]{8}) started, handle 0x([0-9a-f]+)");
    const QRegularExpression stopped("stream handle 0x([0-9a-f]+) stopped");
    QStringList objects;
    QString running;
    for (const QString& line : QString::fromStdString(sim.log()).split('\n')) {
        if (auto m = stopped.match(line); m.hasMatch() && m.captured(1) == running) running.clear();
        if (auto m = started.match(line); m.hasMatch()) {
            EXPECT_TRUE(running.isEmpty()) << "started while handle " << running.toStdString() << " ran";
            running = m.captured(2);
            objects << m.captured(1);
        }
    }
    EXPECT_EQ(objects.join(' ').toStdString(),
              "00FFFFFF 01FFFFFF 02FFFFFF 03FFFFFF 04FFFFFF 05FFFFFF 06FFFFFF 07FFFFFF 08FFFFFF");
}

class CompleteGeneration : public ::testing::TestWithParam<int> {};

TEST_P(CompleteGeneration, OscilloscopeRowsAreReadAtTheGenerationsStride) {
    const int gen = GetParam();
    QTemporaryDir root;
    SimProcess sim({"--generation", std::to_string(gen)}, SteadyRoot(root));
    ASSERT_TRUE(sim.ok()) << sim.output();
    CompleteRig rig(sim);
    ASSERT_TRUE(WaitFor([&] { return rig.view.Established(); }, 20000));
    EXPECT_EQ(rig.view.Session()->Link().Identity().Rev.Gen, gen) << "the identity's firmware";

    ASSERT_TRUE(rig.click({"Oszilloskopischen Online Streams"}));
    EXPECT_EQ(rig.view.Table().FFerrotag().FerroStruc, gen >= 2 ? ssosc_dta_t_V2_2 : ssosc_dta_t_V1_0);
    // 11 channels below generation 2 (44 bytes a sample), 12 from it (48 bytes, iR added).
    ASSERT_EQ(rig.grid().columnCount(), gen >= 2 ? 13 : 12);
    const int rows = rig.grid().rowCount();
    ASSERT_GT(rows, 2000);
    // Read at a wrong stride the channels slide into each other: u12 is u1 - u2 in every row, and
    // u1 has the supply's rms.
    double sum = 0;
    int off = 0;
    for (int r = 0; r < rows; ++r) {
        const double u1 = rig.number(r, 1), u2 = rig.number(r, 2), u12 = rig.number(r, 5);
        sum += u1 * u1;
        off += std::abs(u1 - u2 - u12) > 0.5;
    }
    EXPECT_EQ(off, 0);
    EXPECT_NEAR(std::sqrt(sum / rows), 230, 230 * 0.02);
    SaveScreenshot(rig.view, gen >= 2 ? "complete_osc_gen2.png" : "complete_osc_gen1.png");
}

INSTANTIATE_TEST_SUITE_P(Generations, CompleteGeneration, ::testing::Values(1, 2));
