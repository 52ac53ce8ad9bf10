// The setup document model: rows from nodes, the one validator, the change list, the mandatory rule,
// the tree and module list, and writing back only what changed.
#include "para/ParaHelper.h"
#include "para/SetupDocument.h"
#include "para/XMLLangu.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace ferro;

namespace {

const char* kSetup = R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- Prüfgerät -->
<usrMan name="usrMan">
  <system name="sys" id="1">
    <swmodule id="100">
      <group id="10">
        <parameter id="218300416"><type>float</type><value>400</value><default>400</default><low>50</low><high>200000</high><visibility>0</visibility><editability>0</editability></parameter>
        <parameter id="7"><type>text</type><value></value><default></default><low>0</low><high>8</high><visibility>1</visibility><editability>2</editability></parameter>
        <parameter id="8"><type>integer</type><value>3</value><default>0</default><visibility>2</visibility></parameter>
        <parameter id="9"><type>Gibtsnicht</type><value>a b</value></parameter>
        <parameter id="11"><type>uint32</type><value>1</value><default>0</default><visibility>0</visibility>
          <range list="true"><item id="0">501</item><item id="1">502</item><item id="2"/></range></parameter>
        <parameter id="12"><value>ohne Typ</value></parameter>
        <property id="13"><value>2.2.1.5</value></property>
      </group>
      <group id="20">
        <parameter id="218300416"><type>float</type><value>400</value><low>50</low><high>200000</high></parameter>
      </group>
    </swmodule>
    <swmodule id="4261413829">
      <group id="30"><parameter id="31"><type>boolean</type><value>0</value><visibility>2</visibility></parameter></group>
    </swmodule>
    <swmodule id="200">
      <group id="4278190084">
        <group id="40">
          <datapoint id="41"><rec>0</rec><default>1</default></datapoint>
          <datapoint id="42"><rec>1</rec></datapoint>
          <datapoint id="43"><rec>1</rec></datapoint>
          <mandatory>41</mandatory><mandatory>43</mandatory><mandatory>999</mandatory>
        </group>
        <group id="50">
          <datapoint id="51"><rec>1</rec></datapoint>
          <datapoint id="52"><rec/></datapoint>
          <mandatory>51</mandatory><mandatory>52</mandatory>
        </group>
      </group>
    </swmodule>
  </system>
</usrMan>
)";

struct Fixture {
    QTemporaryDir dir;
    TSetupDocument doc;
    TXMLLangu lang;
    std::string file = dir.filePath("setup.xml").toStdString();

    explicit Fixture(const std::string& xml = kSetup) {
        std::ofstream(file, std::ios::binary) << xml;
        const std::string langFile = dir.filePath("lang_de.xml").toStdString();
        std::ofstream(langFile) << "<language lang='de'><text id='218300416' long='Nennspannung'/>"
                                   "<text id='501' long='aus'/><text id='502' long='ein'/>"
                                   "<text id='100' long='Netz'/><text id='200' long='Rekorder'/></language>";
        lang.SetLangFile(langFile);
        EXPECT_TRUE(doc.LoadFromFile(file)) << doc.LastError();
    }
    pugi::xml_node Group(uint32_t id) {
        pugi::xml_node n;
        std::string parent;
        doc.GetNode(id, n, parent);
        return n;
    }
    TGridRow Row(uint32_t group, const std::string& id, int level = 1) {
        for (TGridRow& r : doc.Rows(Group(group), level, &lang))
            if (r.IDStr == id) return r;
        return {};
    }
    std::string Text(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        std::stringstream ss;
        ss << in.rdbuf();
        return ss.str();
    }
};

struct Report {
    int calls = 0;
    std::string min, max, def, out, in;
    TCheckErrorCallBack cb() {
        return [this](const std::string&, const std::string& mi, const std::string& ma, const std::string& d,
                      const std::string& o, const std::string& i) {
            ++calls;
            min = mi, max = ma, def = d, out = o, in = i;
        };
    }
};

} // namespace

TEST(GridRow, RowsFollowLevelTypeAndLimitsWithTheirDefaults) {
    Fixture f;
    auto ids = [&](int level) {
        std::string s;
        for (const TGridRow& r : f.doc.Rows(f.Group(10), level, &f.lang))
            s += r.IDStr + " ";
        return s;
    };
    EXPECT_EQ(ids(0), "218300416 9 11 13 ") << "visibility 1 and 2 hidden at level 0; no type, no row";
    EXPECT_EQ(ids(1), "218300416 7 9 11 13 ");
    EXPECT_EQ(ids(2), "218300416 7 8 9 11 13 ");

    TGridRow r = f.Row(10, "218300416");
    EXPECT_EQ(r.RowCap, "Nennspannung");
    EXPECT_EQ(f.Row(10, "218300416", 2).RowCap, "(218300416/D030000) Nennspannung");
    EXPECT_EQ(f.Row(10, "7").RowCap, "7") << "an id without language text shows as its number";
    EXPECT_FALSE(f.Row(10, "7", 1).Editable);
    EXPECT_TRUE(f.Row(10, "7", 2).Editable);
    EXPECT_EQ(f.Row(10, "7").RowVal.AsString(), "");
    TGridRow i = f.Row(10, "8", 2);
    EXPECT_EQ(i.RowTyp, grtInteger);
    EXPECT_EQ(i.RowMin.AsInt(), INT32_MIN);
    EXPECT_EQ(i.RowMax.AsInt(), INT32_MAX);
    EXPECT_EQ(f.Row(10, "9").RowTyp, grtText) << "an unknown type word";
    TGridRow l = f.Row(10, "11");
    ASSERT_TRUE(l.IsList);
    EXPECT_EQ(l.RowMax.AsUInt64(), 2147483647u);
    EXPECT_EQ(l.ListText("1"), "ein");
    EXPECT_EQ(l.ListText("2"), "2") << "a choice without text shows its value";
    TGridRow p = f.Row(10, "13");
    EXPECT_EQ(p.RowTyp, grtProperty);
    EXPECT_FALSE(p.Editable);
    TGridRow d = f.Row(40, "41", 0);
    EXPECT_EQ(d.RowTyp, grtDatapoint);
    EXPECT_TRUE(d.Editable) << "a data point can always be toggled";
    EXPECT_EQ(d.RowDef.AsInt(), 1);
    // A float without low takes the smallest normal single as its lower limit.
    pugi::xml_document bare;
    bare.load_string("<g id='1'><parameter id='2'><type>float</type></parameter><parameter "
                     "id='x1'><type>text</type></parameter></g>");
    TGridRow fl;
    ASSERT_TRUE(GetGridRow(1, "1", bare.first_child().first_child(), fl, nullptr, {}));
    EXPECT_FLOAT_EQ(float(fl.RowMin.AsFloat()), 1.17549435E-38f);
    EXPECT_THROW(GetGridRow(1, "1", bare.first_child().last_child(), fl, nullptr, {}), TParaError);
}

TEST(GridRow, CheckValueClipsCutsAndReportsWithTheDocumentsDecimalPoint) {
    Fixture f;
    Report rep;
    bool corrected = false;
    std::string out;

    TGridRow t = f.Row(10, "7");
    t.CheckValue("ab cd", rep.cb(), corrected, out);
    EXPECT_EQ(out, "abcd") << "blanks are dropped without a message";
    EXPECT_FALSE(corrected);
    t.CheckValue("abcdefghijk", rep.cb(), corrected, out);
    EXPECT_EQ(out, "abcdefgh");
    EXPECT_TRUE(corrected);
    EXPECT_EQ(rep.def, "-");
    EXPECT_EQ(rep.max, "8");
    TGridRow lt = t;
    lt.IsList = true;
    lt.CheckValue("a b", rep.cb(), corrected, out);
    EXPECT_EQ(out, "a b") << "a list value keeps its blank";

    TGridRow fl = f.Row(10, "218300416");
    fl.CheckValue("400.000001", rep.cb(), corrected, out);
    EXPECT_TRUE(fl.Equal) << "within 1E-5 of the instrument's value";
    fl.CheckValue("400.0001", rep.cb(), corrected, out);
    EXPECT_FALSE(fl.Equal);
    rep.calls = 0;
    fl.CheckValue("10,5", rep.cb(), corrected, out, ',');
    EXPECT_TRUE(corrected);
    EXPECT_EQ(out, "50");
    EXPECT_EQ(rep.calls, 1);
    EXPECT_EQ(rep.min, "50");
    EXPECT_EQ(rep.def, "400");
    EXPECT_EQ(rep.in, "10,5");
    fl.CheckValue("1234,56789", rep.cb(), corrected, out, ',');
    EXPECT_EQ(out, "1234.56789") << "the document always gets a point";
    fl.CheckValue("zwölf", rep.cb(), corrected, out);
    EXPECT_EQ(out, "1234.56789") << "a typing error restores the old value without a message";
    EXPECT_FALSE(corrected);

    TGridRow i = f.Row(10, "8", 2);
    rep.calls = 0;
    i.CheckValue("2147483648", rep.cb(), corrected, out);
    EXPECT_EQ(out, "3") << "2^31 is no signed 32-bit number";
    i.CheckValue("abc", rep.cb(), corrected, out);
    EXPECT_EQ(out, "3");
    EXPECT_EQ(rep.calls, 0);
    TGridRow u = i;
    u.RowTyp = grtUint32;
    u.RowMin = uint64_t(0);
    u.RowMax = uint64_t(4294967295u);
    u.CheckValue("2147483648", rep.cb(), corrected, out);
    EXPECT_EQ(out, "2147483648");
    EXPECT_FALSE(corrected);

    EXPECT_EQ(RangeMessage("Nennspannung", "50", "200000", "400", "50"),
              "Der eingegebene Wert für Nennspannung liegt im ungültigen Bereich.\n"
              "Bitte die Bereichsgrenzen beachten:\nMinimaler Wert: 50\nMaximaler Wert: 200000\n"
              "Standard Wert: 400\n\nDer Parameter wird auf den Wert 50 gesetzt!");
    EXPECT_EQ(
        RangeMessage("", "1", "2", "1", "2").rfind("Der eingegebene Wert liegt im ungültigen Bereich.\n", 0),
        0u);
}

TEST(ChangeList, KeyedByIdAndParentKeepsTheFirstOriginalAndForgetsAValueChangedBack) {
    Fixture f;
    TGridRow a = f.Row(10, "218300416");
    bool corrected = false;
    std::string out;
    a.CheckValue("500", {}, corrected, out);
    f.doc.ChangeCell(a.Node, out, a.Equal, a.RowTyp);
    EXPECT_FALSE(f.Row(10, "218300416").Equal);
    EXPECT_TRUE(f.Row(20, "218300416").Equal) << "the same id in another group did not change";
    a.CheckValue("600", {}, corrected, out);
    f.doc.ChangeCell(a.Node, out, a.Equal, a.RowTyp);
    ASSERT_EQ(f.doc.ChangeList().size(), 1u);
    EXPECT_EQ(f.doc.ChangeList().at("21830041610").OriVal, "400");
    EXPECT_DOUBLE_EQ(f.Row(10, "218300416").RowPar.AsFloat(), 400) << "the baseline comes from the list";
    a.CheckValue("400", {}, corrected, out);
    f.doc.ChangeCell(a.Node, out, a.Equal, a.RowTyp);
    EXPECT_TRUE(f.doc.ChangeList().empty());

    // An empty value element gets its text on the first edit.
    TGridRow t = f.Row(10, "7");
    t.CheckValue("neu", {}, corrected, out);
    f.doc.ChangeCell(t.Node, out, t.Equal, t.RowTyp);
    EXPECT_EQ(GetNodeValue(t.Node, ".//value"), "neu");
    EXPECT_EQ(f.doc.ChangeList().at("710").OriVal, "");
}

TEST(Mandatory, MembersFollowTheirGroupInBothDirections) {
    Fixture f;
    CheckAllMandatoryNodes(f.doc.Doc());
    auto rec = [&](uint32_t group, const char* id) { return GetNodeValue(f.Row(group, id).Node, ".//rec"); };
    EXPECT_EQ(rec(40, "41"), "1") << "42 records, so the mandatory 41 is switched on";
    EXPECT_EQ(rec(40, "43"), "1");
    EXPECT_EQ(rec(50, "51"), "0") << "all members mandatory: nothing else records, all off";
    EXPECT_EQ(rec(50, "52"), "") << "a rec without text is not written";
    pugi::xml_node dp42 = f.Row(40, "42").Node;
    SetNodeValue(dp42, ".//rec", "0");
    CheckAllMandatoryNodes(f.doc.Doc());
    EXPECT_EQ(rec(40, "41"), "0");
    EXPECT_EQ(rec(40, "43"), "0");
    EXPECT_TRUE(f.doc.ChangeList().empty()) << "corrections are not user changes";
}

TEST(SetupDocument, SavingWritesBackEveryUneditedByte) {
    Fixture f;
    const std::string copy = f.dir.filePath("copy.xml").toStdString();
    ASSERT_TRUE(f.doc.SaveToFile(copy));
    EXPECT_EQ(f.Text(copy), kSetup) << "declaration, comment, empty-element forms, line ends";
    TGridRow r = f.Row(10, "218300416");
    f.doc.ChangeCell(r.Node, "401.5", false, r.RowTyp);
    ASSERT_TRUE(f.doc.SaveToFile(copy));
    std::string expected = kSetup;
    expected.replace(expected.find("<value>400</value>"), 18, "<value>401.5</value>");
    EXPECT_EQ(f.Text(copy), expected);
}

TEST(SetupDocument, EditsKeepEntityFormsQuotesAndLineEndsAroundThem) {
    const std::string xml =
        "<?xml version='1.0'?>\r\n<r>\r\n<system name='sys' id='1'>\r\n"
        "  <swmodule id='2'><parameter id='3'><type>text</type><value>A &amp; B</value>"
        "<high>20</high></parameter>\r\n"
        "  <parameter id='4'><type>text</type><value/></parameter></swmodule>\r\n"
        "  <swmodule id='5'><parameter id='6'><type>text</type><value>x</value></parameter>"
        "</swmodule>\r\n</system>\r\n</r>\r\n";
    Fixture f(xml);
    const std::string out = f.dir.filePath("out.xml").toStdString();
    ASSERT_TRUE(f.doc.SaveToFile(out));
    EXPECT_EQ(f.Text(out), xml);
    pugi::xml_node n;
    std::string parent;
    ASSERT_TRUE(f.doc.GetNode(4, n, parent));
    f.doc.ChangeCell(n, "neu<", false, grtText);
    ASSERT_TRUE(f.doc.SaveForSend(out, {{"5", "0"}}, nullptr));
    std::string expected = xml;
    expected.replace(expected.find("<value/>"), 8, "<value>neu&lt;</value>");
    expected.erase(expected.find("\r\n  <swmodule id='5'>"), 95);
    EXPECT_EQ(f.Text(out), expected) << "the unticked module goes with its line";
}

TEST(SetupDocument, BadInputGivesAReasonAndNeverAWrite) {
    Fixture f;
    std::ofstream(f.file, std::ios::binary) << "<usrMan><system name='sys'>";
    EXPECT_FALSE(f.doc.LoadFromFile(f.file));
    EXPECT_EQ(f.doc.LastError().rfind("XML read error: ", 0), 0u) << f.doc.LastError();
    EXPECT_TRUE(f.Row(10, "218300416").Node) << "the document loaded before stays";

    TSetupDocument none;
    EXPECT_FALSE(none.LoadFromFile(f.file));
    const std::string out = f.dir.filePath("never.xml").toStdString();
    EXPECT_FALSE(none.SaveToFile(out));
    EXPECT_FALSE(none.SaveForSend(out, {}, nullptr));
    EXPECT_FALSE(QFile::exists(QString::fromStdString(out)));

    Fixture noSys("<usrMan><appl name='pqAppl'/></usrMan>");
    TModulList moduls;
    EXPECT_TRUE(noSys.doc.BuildTree(2, nullptr, moduls).empty());
    EXPECT_TRUE(moduls.empty());
    Fixture badId("<r><system name='sys'><swmodule id='abc'/></system></r>");
    EXPECT_THROW(badId.doc.BuildTree(1, nullptr, moduls), TParaError);
}

TEST(SetupDocument, TreeAndModuleListDecideWhatIsSent) {
    Fixture f;
    TModulList moduls;
    std::vector<TParaTreeItem> tree = f.doc.BuildTree(1, &f.lang, moduls);
    ASSERT_EQ(tree.size(), 2u) << "the protected module shows nothing at level 1";
    EXPECT_EQ(tree[0].Text, "Netz");
    EXPECT_TRUE(tree[0].Children[0].Leaf);
    EXPECT_EQ(tree[1].Children[0].Tag, 2) << "the counting group: members of its last sub-walk";
    EXPECT_EQ(tree[1].Children[0].Children[0].Tag, 4) << "the groups below it";
    EXPECT_EQ(moduls, (TModulList{{"Netz", "1"}, {"4261413829", "0"}, {"Rekorder", "1"}}));

    moduls[2].second = "0"; // the user unticked "Rekorder"
    const std::string sent = f.dir.filePath("sent.xml").toStdString();
    ASSERT_TRUE(f.doc.SaveForSend(sent, moduls, &f.lang));
    const std::string text = f.Text(sent);
    EXPECT_EQ(text.find("<swmodule id=\"200\">"), std::string::npos);
    EXPECT_EQ(text.find("4261413829"), std::string::npos);
    EXPECT_NE(text.find("<swmodule id=\"100\">"), std::string::npos);
    EXPECT_EQ(f.doc.BuildTree(1, &f.lang, moduls).size(), 2u) << "the live document stays whole";
    EXPECT_EQ(GetNodeValue(f.Row(40, "41", 0).Node, ".//rec"), "1") << "the mandatory rule ran";
}

TEST(SetupDocument, RowsAfterTheTreeWalkAreTheFreshRowsAndFollowEditsAndShapeChanges) {
    Fixture f;
    // Everything a row shows, for each group.
    auto rows = [&](uint32_t group) {
        std::string s;
        for (const TGridRow& r : f.doc.Rows(f.Group(group), 2, &f.lang)) {
            s += r.RowCap + "|" + r.ValText() + "|" + r.DefText() + "|" + r.MinText() + "|" + r.MaxText() +
                 "|" + std::to_string(r.Editable) + std::to_string(r.IsList) + std::to_string(r.List.size()) +
                 "\n";
        }
        return s;
    };
    const std::vector<uint32_t> groups = {10, 20, 30, 40, 50};
    std::vector<std::string> fresh;
    for (uint32_t g : groups)
        fresh.push_back(rows(g));
    TModulList moduls;
    f.doc.BuildTree(2, &f.lang, moduls);
    for (size_t i = 0; i < groups.size(); ++i)
        EXPECT_EQ(rows(groups[i]), fresh[i]) << "group " << groups[i];

    TGridRow eight = f.Row(10, "8", 2);
    f.doc.ChangeCell(eight.Node, "5", false, eight.RowTyp);
    EXPECT_EQ(f.Row(10, "8", 2).ValText(), "5");

    // A parameter goes and another takes its place, and one loses its value, through the document.
    pugi::xml_node group = f.doc.Doc().select_node("//group[@id='10']").node();
    pugi::xml_node seven = group.find_child_by_attribute("id", "7");
    pugi::xml_document part;
    part.load_string("<parameter id='70'><type>integer</type><value>17</value><low>1</low><high>20</high>"
                     "</parameter>");
    group.insert_copy_after(part.first_child(), seven);
    group.remove_child(seven);
    group.find_child_by_attribute("id", "218300416").remove_child("default");
    std::string ids;
    for (const TGridRow& r : f.doc.Rows(group, 2, &f.lang))
        ids += r.IDStr + "=" + r.ValText() + "/" + r.DefText() + " ";
    EXPECT_EQ(ids, "218300416=400/0 70=17/0 8=5/0 9=a b/ 11=1/0 13=2.2.1.5/ ");
}
