// The complete value table against ferrosim: a leaf of each group shows the supply's values, a new
// leaf stops the running stream before its own starts, and the oscilloscope's rows are read at the
// stride of the instrument's generation.
#include "GuiSupport.h"
#include "forms/FormComplete.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QRegularExpression>
#include <QTableView>
#include <QTest>
#include <QTreeWidget>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

using namespace ferro;
using namespace ferro::guitest;
using ferro::test::SimProcess;

namespace {

// The fixture instrument without its scheduled dips and swells, so values compare with the supply.
std::string SteadyRoot(const QTemporaryDir& dir) {
    const std::string root = dir.filePath("instrument").toStdString();
    std::filesystem::copy(FERRO_SOURCE_DIR "/fixtures/instrument", root,
                          std::filesystem::copy_options::recursive);
    QFile f(QString::fromStdString(root + "/profile.json"));
    if (!f.open(QIODevice::ReadOnly)) return root;
    QJsonObject profile = QJsonDocument::fromJson(f.readAll()).object();
    f.close();
    QJsonObject supply = profile.value("supply").toObject();
    supply["events"] = QJsonArray();
    profile["supply"] = supply;
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate)) f.write(QJsonDocument(profile).toJson());
    return root;
}

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
        return WaitFor([&] { return view.FObjects > 0; }, 15000);
    }
    QAbstractItemModel& grid() { return *view.GridData->model(); }
    QString cell(int row, int col) { return grid().index(row, col).data().toString(); }
    QString header(int col) { return grid().headerData(col, Qt::Horizontal).toString(); }
    double number(int row, int col) { return QLocale().toDouble(cell(row, col)); }
    // The value in `col` of the row labelled `label`; NaN without such a row.
    double value(const QString& label, int col = 1) {
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
    ASSERT_EQ(rig.view.TreeViewOpti->topLevelItem(0)->text(0), "Value (Live-Daten)");

    // The fixture's supply: 230 V, 100 A at PF 0.95, 50 Hz drifting by 0.03 Hz, 3 % of 5th, 35 °C.
    ASSERT_TRUE(rig.click({"200 MS", "Spannungsmessgroessen", "Messwerte"}));
    EXPECT_EQ(rig.header(0), "Bezeichner");
    EXPECT_NEAR(rig.value("U1E"), 230, 230 * 0.01);
    EXPECT_NEAR(rig.value("F"), 50, 0.05);

    ASSERT_TRUE(rig.click({"3 Sec", "Spannungsmessgroessen", "Harmonische"}));
    EXPECT_EQ(rig.header(0), "Harmonische");
    EXPECT_EQ(rig.header(1), "H U1E");
    EXPECT_EQ(rig.grid().rowCount(), 51);
    EXPECT_EQ(rig.cell(5, 0), "5");
    EXPECT_NEAR(rig.number(5, 1), 3, 0.3);

    ASSERT_TRUE(rig.click({"10 Min", "Strommessgroessen", "Polarkoordinaten"}));
    EXPECT_EQ(rig.header(1), "Betrag");
    EXPECT_NEAR(rig.value("I1 polar"), 100, 3);
    EXPECT_FALSE(rig.cell(0, 2).isEmpty()) << "the angle";

    ASSERT_TRUE(rig.click({"2 Stunden", "Leistungsmessgroessen"}));
    EXPECT_NEAR(rig.value("S total"), 3 * 230 * 100, 3 * 230 * 100 * 0.05);

    ASSERT_TRUE(rig.click({"1 Sec", "Temperatur"}));
    EXPECT_NEAR(rig.value("Temp"), 35, 1);

    ASSERT_TRUE(rig.click({"1 Sec", "10-Sekunden-Frequenz"}));
    EXPECT_NEAR(rig.value("F10s"), 50, 0.05);

    ASSERT_TRUE(rig.click({"n Sec", "Strommessgroessen", "Messwerte"}));
    EXPECT_NEAR(rig.value("I1"), 100, 3);

    ASSERT_TRUE(rig.click({"m Min", "Spannungsmessgroessen", "Polarkoordinaten"}));
    EXPECT_NEAR(rig.value("U1E polar"), 230, 230 * 0.01);

    ASSERT_TRUE(rig.click({"Oszilloskopischen Online Streams"}));
    EXPECT_EQ(rig.grid().columnCount(), 13) << "the sample number and 12 channels";
    EXPECT_GT(rig.grid().rowCount(), 1000);
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
    // The tree follows the generation: current leaves and the oscilloscope in their layout.
    const auto tagOf = [&](const QStringList& p) {
        return TFerroTag::FromTag(rig.view.FindItem(p)->data(0, TFormLayout::CTagRole).toUInt());
    };
    EXPECT_EQ(tagOf({"3 Sec", "Strommessgroessen", "Messwerte"}).FerroStruc,
              gen >= 2 ? ssi_std_t_V2_2 : ssi_std_t_V1_0);

    ASSERT_TRUE(rig.click({"Oszilloskopischen Online Streams"}));
    EXPECT_EQ(rig.view.Table().FFerrotag().FerroStruc, gen >= 2 ? ssosc_dta_t_V2_2 : ssosc_dta_t_V1_0);
    // 11 channels below generation 2 (44 bytes a sample), 12 from it (48 bytes, iR added).
    ASSERT_EQ(rig.grid().columnCount(), gen >= 2 ? 13 : 12);
    EXPECT_EQ(rig.header(1), "u1");
    EXPECT_EQ(rig.header(5), "u12");
    const int rows = rig.grid().rowCount();
    ASSERT_GT(rows, 2000);
    EXPECT_EQ(rig.cell(rows - 1, 0), QString::number(rows - 1));
    // Read at the wrong stride the channels would slide into each other: u12 is u1 - u2 in every
    // row, and u1 has the supply's rms.
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
