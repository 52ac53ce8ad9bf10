// A generated setup of 20 000 parameters: loaded into the document, every tree item's rows built
// and every value validated, next to a bare pugixml parse of the same file in the same run; and a
// group of 2 000 rows opened in the grid and painted.
// Ends with one "RESULT <name> <value> <unit> goal <op> <limit> met|missed" line per figure:
// setup20k_vs_parse, grid2000_repaint_ms.
#include "BenchResult.h"

#include "forms/FerroGrid.h"
#include "para/SetupDocument.h"
#include "para/XMLLangu.h"

#include <QApplication>
#include <QTemporaryDir>

#include <chrono>
#include <ctime>
#include <fstream>
#include <functional>
#include <malloc.h>

namespace {

using Clock = std::chrono::steady_clock;

double Ms(Clock::time_point t0) {
    return std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
}

// The CPU time of this thread: on a machine shared with other builds the wall clock also counts
// the time the thread waited for a core, and that lands on either side of the ratio by chance.
double CpuMs() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e3 + double(ts.tv_nsec) / 1e6;
}

// 20 modules of 10 groups of 100 parameters, every type, every fifth a selection list; one extra
// module with a group of 2 000 for the grid.
void WriteSetup(const std::string& Path, const std::string& LangPath) {
    std::ofstream out(Path);
    std::ofstream lang(LangPath);
    lang << "<language lang=\"de\" version=\"1\">\n";
    out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<usrMan name=\"usrMan\">\n  <system name=\"sys\" "
           "id=\"1\">\n";
    uint32_t id = 100000;
    const char* types[] = {"float", "integer", "uint32", "text", "boolean"};
    auto param = [&](int k) {
        const uint32_t pid = ++id;
        lang << "    <text id=\"" << pid << "\" long=\"Parameter " << pid << "\" short=\"V\"/>\n";
        const char* t = types[k % 5];
        out << "        <parameter id=\"" << pid << "\">\n          <type>" << t << "</type>\n";
        const bool text = t == std::string("text");
        out << "          <value>" << (text ? "Wert" : "1") << "</value>\n          <default>"
            << (text ? "Wert" : "1") << "</default>\n";
        out << "          <low>0</low>\n          <high>" << (text ? "64" : "1000") << "</high>\n";
        out << "          <visibility>" << k % 3 << "</visibility>\n          <editability>1</editability>\n";
        if (k % 5 == 2)
            out << "          <range list=\"true\">\n            <item id=\"0\">7</item>\n            <item "
                   "id=\"1\">8</item>\n          </range>\n";
        out << "        </parameter>\n";
    };
    for (int m = 0; m < 20; ++m) {
        out << "    <swmodule id=\"" << 1000 + m << "\">\n";
        for (int g = 0; g < 10; ++g) {
            out << "      <group id=\"" << 2000 + m * 10 + g << "\">\n";
            for (int p = 0; p < 100; ++p)
                param(p);
            out << "      </group>\n";
        }
        out << "    </swmodule>\n";
    }
    out << "    <swmodule id=\"3000\">\n      <group id=\"3001\">\n";
    for (int p = 0; p < 2000; ++p)
        param(p);
    out << "      </group>\n    </swmodule>\n  </system>\n</usrMan>\n";
    lang << "    <text id=\"7\" long=\"aus\"/>\n    <text id=\"8\" long=\"ein\"/>\n</language>\n";
}

size_t LoadBuildValidate(const std::string& Path, const ferro::TXMLLangu& Lang) {
    using namespace ferro;
    TSetupDocument doc;
    if (!doc.LoadFromFile(Path)) return 0;
    TModulList moduls;
    size_t rows = 0;
    std::function<void(const std::vector<TParaTreeItem>&)> walk =
        [&](const std::vector<TParaTreeItem>& items) {
            for (const TParaTreeItem& item : items) {
                for (TGridRow& r : doc.Rows(item.Node, 2, &Lang)) {
                    bool corrected = false;
                    std::string out;
                    r.CheckValue(r.ValText(), nullptr, corrected, out);
                    ++rows;
                }
                walk(item.Children);
            }
        };
    walk(doc.BuildTree(2, &Lang, moduls));
    return rows;
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM",
            qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);
    QTemporaryDir dir;
    const std::string path = dir.filePath("setup.xml").toStdString();
    const std::string langPath = dir.filePath("lang_de.xml").toStdString();
    WriteSetup(path, langPath);
    ferro::TXMLLangu lang;
    lang.SetLangFile(langPath);

    // Freed memory stays with the process, so that both sides reuse the same warm heap and the
    // figures compare the work, not how fast the virtual machine hands out fresh pages.
    mallopt(M_MMAP_THRESHOLD, 256 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    std::vector<double> parse, ours, parseWall, oursWall;
    size_t rows = 0;
    for (int run = 0; run < 9; ++run) {
        {
            const auto t0 = Clock::now();
            const double c0 = CpuMs();
            pugi::xml_document bare;
            if (!bare.load_file(path.c_str())) return 1;
            parse.push_back(CpuMs() - c0);
            parseWall.push_back(Ms(t0));
        }
        const auto t0 = Clock::now();
        const double c0 = CpuMs();
        rows = LoadBuildValidate(path, lang);
        ours.push_back(CpuMs() - c0);
        oursWall.push_back(Ms(t0));
    }
    const double p = ferro::bench::Median(parse), o = ferro::bench::Median(ours);
    std::printf("setup of %zu rows (CPU time): bare parse %.2f ms, load + rows + validation %.2f ms; "
                "wall clock %.2f and %.2f ms\n",
                rows, p, o, ferro::bench::Median(parseWall), ferro::bench::Median(oursWall));
    ferro::bench::Result("setup20k_vs_parse", o / p, "ratio", "<=", 3, rows >= 22000);

    // Opening the 2 000-row group: rows into the grid, then one synchronous paint of the window.
    ferro::TSetupDocument doc;
    doc.LoadFromFile(path);
    pugi::xml_node group;
    std::string parent;
    doc.GetNode(3001, group, parent);
    const std::vector<ferro::TGridRow> groupRows = doc.Rows(group, 2, &lang);
    QWidget window;
    auto* grid = new ferro::TFerroGrid(&window);
    grid->SetLanguage(&lang);
    grid->SetVisibility(2);
    window.resize(1280, 800);
    grid->resize(window.size());
    window.show();
    QApplication::processEvents();
    std::vector<double> open;
    for (int run = 0; run < 9; ++run) {
        const auto t0 = Clock::now();
        grid->ClearList();
        for (const ferro::TGridRow& r : groupRows)
            grid->AddRowVal(r);
        grid->SetRowCnt();
        grid->viewport()->repaint();
        open.push_back(Ms(t0));
        QApplication::processEvents();
    }
    const double g = ferro::bench::Median(open);
    std::printf("group of %d rows opened and painted: %.2f ms (value cells painted %d)\n",
                grid->model()->rowCount(), g, grid->Model().FValDrawNum);
    ferro::bench::Result("grid2000_repaint_ms", g, "ms", "<", 50, grid->model()->rowCount() == 2000);
    return 0;
}
