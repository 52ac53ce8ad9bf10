// The parameter form's core: reset and sending around the protected modules, the comparing import,
// the delta document, the CSV listing and the ICD file's values.
#include "para/IcdFile.h"
#include "para/SetupCompare.h"
#include "para/XMLLangu.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace ferro;

namespace {

const char* kSetup = R"(<?xml version="1.0" encoding="UTF-8"?>
<usrMan name="usrMan"><cfg><system name="sys" id="1">
  <swmodule id="4261413888">
    <property id="4261413889"><value>FerroRecorder</value></property>
    <property id="4261413890"><value>2.2.1.5</value></property>
  </swmodule>
  <swmodule id="100"><group id="10">
    <parameter id="11"><type>float</type><value>1.5</value><default>0</default><low>0</low><high>10</high><visibility>0</visibility></parameter>
    <parameter id="12"><type>text</type><value>1.5</value><default>x</default><low>0</low><high>8</high><visibility>0</visibility></parameter>
    <parameter id="13"><type>integer</type><value>5</value><default>2</default><low>0</low><high>9</high><visibility>2</visibility></parameter>
    <parameter id="14"><type>integer</type><value>2</value><default>2</default><visibility>0</visibility></parameter>
  </group></swmodule>
  <swmodule id="300"><group id="30">
    <parameter id="31"><type>uint32</type><value>7</value><default>1</default><visibility>1</visibility></parameter>
  </group></swmodule>
  <swmodule id="4261413829"><group id="40">
    <parameter id="41"><type>uint32</type><value>7</value><default>0</default><visibility>1</visibility></parameter>
  </group></swmodule>
  <swmodule id="4261413839"><group id="50">
    <parameter id="4278190467"><type>text</type><value>FR042</value><default></default><low>1</low><high>64</high><visibility>1</visibility></parameter>
    <parameter id="4278190470"><type>text</type><value>1</value><default></default><low>0</low><high>64</high><visibility>1</visibility></parameter>
  </group></swmodule>
</system></cfg></usrMan>
)";

struct Fixture {
    QTemporaryDir dir;
    TSetupDocument doc;
    std::string Path(const char* name) { return dir.filePath(name).toStdString(); }
    std::string Write(const char* name, const std::string& text) {
        std::ofstream(Path(name), std::ios::binary) << text;
        return Path(name);
    }
    static std::string Read(const std::string& path) {
        std::stringstream ss;
        ss << std::ifstream(path, std::ios::binary).rdbuf();
        return ss.str();
    }
    Fixture() { EXPECT_TRUE(doc.LoadFromFile(Write("setup.xml", kSetup))); }
    pugi::xml_node Value(uint32_t id) {
        pugi::xml_node n;
        std::string parent;
        doc.GetNode(id, n, parent);
        return n.child("value");
    }
    // `kSetup` with some texts replaced, loaded as a second document.
    TSetupCompare Import(std::vector<std::pair<std::string, std::string>> Edits) {
        std::string text = kSetup;
        for (const auto& [from, to] : Edits)
            text.replace(text.find(from), from.size(), to);
        TSetupDocument other;
        EXPECT_TRUE(other.LoadFromFile(Write("import.xml", text)));
        TSetupCompare cmp;
        EXPECT_TRUE(cmp.Run(other.Doc(), doc, nullptr)) << cmp.Error();
        return cmp;
    }
};

} // namespace

TEST(SetupExchange, ResetAndSendingLeaveTheProtectedModulesAlone) {
    Fixture f;
    f.doc.TrackValue(f.Value(14), "4"); // changed by hand, the default is what the instrument has
    ASSERT_EQ(f.doc.ChangeList().size(), 1u);
    EXPECT_EQ(f.doc.ResetToDefaults(), 5); // 11, 12, 13, 14 and 31
    EXPECT_EQ(GetNodeValue(f.Value(11)), "0");
    EXPECT_EQ(GetNodeValue(f.Value(31)), "1");
    EXPECT_EQ(GetNodeValue(f.Value(41)), "7") << "protected module";
    EXPECT_EQ(GetNodeValue(f.Value(4278190467u)), "FR042") << "second protected module";
    EXPECT_EQ(f.doc.ChangeList().count(ChangeKey("14", "10")), 0u) << "back at the instrument's value";
    EXPECT_EQ(f.doc.ChangeList().at(ChangeKey("31", "30")).OriVal, "7");

    // Level 0: nothing of 300 and of the protected modules shows; only the first is left out.
    TModulList moduls;
    f.doc.BuildTree(0, nullptr, moduls);
    EXPECT_EQ(
        moduls,
        (TModulList{
            {"4261413888", "1"}, {"100", "1"}, {"300", "2"}, {"4261413829", "0"}, {"4261413839", "2"}}));
    ASSERT_TRUE(f.doc.SaveForSend(f.Path("sent.xml"), moduls, nullptr));
    const std::string sent = Fixture::Read(f.Path("sent.xml"));
    EXPECT_NE(sent.find("<value>1</value><default>1</default>"), std::string::npos) << "hidden module sent";
    EXPECT_EQ(sent.find("4261413829"), std::string::npos);
    EXPECT_NE(sent.find("4261413839"), std::string::npos);
}

TEST(SetupExchange, ImportComparesValuesOffersDefaultsAndWritesThroughTheChangeList) {
    Fixture f;
    ASSERT_TRUE(f.doc.SaveToFile(f.Path("own.xml")));
    TSetupDocument own;
    ASSERT_TRUE(own.LoadFromFile(f.Path("own.xml")));
    TSetupCompare same;
    ASSERT_TRUE(same.Run(own.Doc(), f.doc, nullptr));
    EXPECT_TRUE(same.FCompareDictOri.empty()) << "the document's own export";

    // 1.50 is 1.5 for the float, not for the text; 99 is out of range; 31 is only in the file.
    TSetupCompare cmp = f.Import({{"<value>1.5</value><default>0", "<value>1.50</value><default>0"},
                                  {"<value>1.5</value><default>x", "<value>1.50</value><default>x"},
                                  {"<value>5</value>", "<value>99</value>"},
                                  {"<parameter id=\"31\">", "<parameter id=\"32\">"}});
    ASSERT_EQ(cmp.AllKeys(), (std::set<std::string>{"12.10.100", "13.10.100"}));
    EXPECT_EQ(cmp.FCompareDictOri.at("13.10.100").ImportVal, "2") << "the default instead";
    ASSERT_EQ(cmp.FInvalidImportList, (std::vector<std::string>{"13 = 99 [2 - min: 0 / max: 9]"}));
    const TCompareItem& group = cmp.FSWModulTVList.at(0).Children.at(0);
    EXPECT_EQ(group.Children.at(0).Text, "12: 1.50 [1.5]");
    EXPECT_EQ(group.Children.at(1).Text, "(Standard) - 13: 2  [5]");
    EXPECT_EQ(group.Children.at(1).Visibility, 2) << "offered only with the service box";

    std::vector<std::string> log;
    cmp.Apply({"12.10.100"}, f.doc, log);
    EXPECT_EQ(log, (std::vector<std::string>{"Import Update Key 12.10.100 - 1.50",
                                             "No Import: Key 13.10.100 not checked!"}));
    EXPECT_EQ(GetNodeValue(f.Value(12)), "1.50");
    EXPECT_EQ(f.doc.ChangeList().at(ChangeKey("12", "10")).OriVal, "1.5");

    // The delta holds the changed value in its module and group and nothing else.
    pugi::xml_document delta;
    ASSERT_TRUE(DeltaDocument(f.doc, delta));
    std::ostringstream out;
    delta.save(out, "", pugi::format_raw | pugi::format_no_declaration);
    EXPECT_NE(out.str().find("<swmodule id=\"100\"><group id=\"10\"><parameter id=\"12\">"),
              std::string::npos);
    EXPECT_EQ(out.str().find("parameter id=\"11\""), std::string::npos);
    EXPECT_EQ(out.str().find("swmodule id=\"300\""), std::string::npos);

    EXPECT_EQ(SetupCsv(f.doc, nullptr, {"100"}, ','),
              "\r\n100\r\n\r\n\r\n10\r\n\r\n11;1,5\r\n12;1.50\r\n13;5\r\n14;2\r\n");
}

TEST(SetupExchange, AFileOfAnotherDeviceOrFirmwareIsRefusedWithAReason) {
    Fixture f;
    std::string text = kSetup;
    TSetupDocument other;
    TSetupCompare cmp;
    ASSERT_TRUE(other.LoadFromFile(
        f.Write("q.xml", std::string(text).replace(text.find("FerroRecorder"), 13, "FerroQuartz"))));
    EXPECT_FALSE(cmp.Run(other.Doc(), f.doc, nullptr));
    EXPECT_NE(cmp.Error().find("Gerätetyp FerroQuartz"), std::string::npos) << cmp.Error();
    ASSERT_TRUE(other.LoadFromFile(f.Write("fw.xml", text.replace(text.find("2.2.1.5"), 7, "3.0.0.1"))));
    EXPECT_FALSE(cmp.Run(other.Doc(), f.doc, nullptr));
    EXPECT_NE(cmp.Error().find("Firmware 3.0.0.1"), std::string::npos) << cmp.Error();
    ASSERT_TRUE(other.LoadFromFile(f.Write("x.xml", "<a><b/></a>")));
    EXPECT_FALSE(cmp.Run(other.Doc(), f.doc, nullptr));
    EXPECT_TRUE(f.doc.ChangeList().empty());
}

TEST(SetupExchange, ADocumentNestedDeeperThanAnyInstrumentsIsRefusedWithAReasonNotACrash) {
    // Groups nested `Levels` deep around a parameter; beside them a mandatory member whose group
    // records only through a data point at the bottom.
    auto nested = [](int Levels) {
        std::string open, close;
        for (int i = 0; i < Levels; ++i)
            open += "<group id=\"9\">", close += "</group>";
        return "<r><system name=\"sys\" id=\"1\"><swmodule id=\"2\"><group id=\"5\">"
               "<datapoint id=\"6\"><rec>0</rec></datapoint><mandatory>6</mandatory>" +
               open + "<datapoint id=\"8\"><rec>1</rec></datapoint><parameter id=\"4\"><type>integer</type>" +
               "<value>5</value><default>1</default><visibility>0</visibility></parameter>" + close +
               "</group></swmodule></system></r>";
    };
    Fixture f;
    TSetupDocument fits;
    TModulList moduls;
    ASSERT_TRUE(fits.LoadFromFile(f.Write("fits.xml", nested(CMaxSetupDepth - 8))));
    EXPECT_EQ(fits.BuildTree(1, nullptr, moduls).size(), 1u);
    EXPECT_TRUE(fits.SaveToFile(f.Path("fits-out.xml"))) << fits.LastError();

    TSetupDocument deep;
    ASSERT_TRUE(deep.LoadFromFile(f.Write("deep.xml", nested(200000)))) << deep.LastError();
    const std::string reason = "tiefer als 64 Ebenen verschachtelt";
    try {
        deep.BuildTree(1, nullptr, moduls);
        ADD_FAILURE() << "the tree of a document nested 200 000 deep";
    } catch (const TParaError& e) {
        EXPECT_NE(std::string(e.what()).find(reason), std::string::npos) << e.what();
    }
    EXPECT_THROW(SetupCsv(deep, nullptr, {}, '.'), TParaError);
    EXPECT_FALSE(deep.SaveToFile(f.Path("deep-out.xml")));
    EXPECT_NE(deep.LastError().find(reason), std::string::npos) << deep.LastError();
    EXPECT_FALSE(QFile::exists(QString::fromStdString(f.Path("deep-out.xml"))));
    TSetupCompare cmp;
    EXPECT_FALSE(cmp.Run(deep.Doc(), f.doc, nullptr));
    EXPECT_NE(cmp.Error().find(reason), std::string::npos) << cmp.Error();

    // What needs no state per level still reaches the bottom.
    CheckAllMandatoryNodes(deep.Doc());
    pugi::xml_node n;
    std::string parent;
    ASSERT_TRUE(deep.GetNode(6, n, parent));
    EXPECT_EQ(GetNodeValue(n, ".//rec"), "1") << "the data point at the bottom records";
    EXPECT_EQ(deep.ResetToDefaults(), 1);
    ASSERT_TRUE(deep.GetNode(4, n, parent));
    EXPECT_EQ(GetNodeValue(n, ".//value"), "1");
}

TEST(IcdFile, ValuesGoInOnceAndTheIedNameFollowsTheParameter) {
    Fixture f;
    const std::string icd = f.Write("ferro.icd", R"(<?xml version="1.0"?>
<SCL version="2007"><Header id="FR042" version="3"/>
  <Communication><SubNetwork><ConnectedAP iedName="FR042"/></SubNetwork></Communication>
  <IED name="FR042" originalSclVersion="2007"/></SCL>)");
    TICDInfo info;
    std::string why;
    ASSERT_TRUE(ReadICDFile(icd, info, why)) << why;
    EXPECT_EQ(ApplyICDInfo(f.doc, info), 1) << "the revision: missing in the Header, so cleared";
    EXPECT_EQ(GetNodeValue(f.Value(4278190470u)), "");
    const TChangeList after = f.doc.ChangeList();
    EXPECT_EQ(ApplyICDInfo(f.doc, info), 0);
    EXPECT_EQ(f.doc.ChangeList().size(), after.size());

    ASSERT_TRUE(RenameICDIed(icd, "FR043"));
    const std::string renamed = Fixture::Read(icd);
    EXPECT_NE(renamed.find("<ConnectedAP iedName=\"FR043\""), std::string::npos) << renamed;
    EXPECT_NE(renamed.find("<IED name=\"FR043\" originalSclVersion"), std::string::npos);
    EXPECT_NE(renamed.find("<Header id=\"FR042\""), std::string::npos) << "only the IED name moves";

    EXPECT_FALSE(ReadICDFile(f.Write("a.icd", "<IED name='x'/>"), info, why));
    EXPECT_NE(why.find("keine SCL-Datei"), std::string::npos);
    EXPECT_FALSE(ReadICDFile(f.Write("b.icd", "<SCL><Header/></SCL>"), info, why));
    EXPECT_NE(why.find("IED"), std::string::npos);
    EXPECT_FALSE(ReadICDFile(f.Write("c.icd", "<SCL"), info, why));
}
