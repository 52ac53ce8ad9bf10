// The instrument's language file: texts by id, short forms, and files that are not what they claim.
#include "para/XMLLangu.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fstream>

using namespace ferro;

namespace {
std::string Write(const QTemporaryDir& dir, const char* name, const std::string& text) {
    const std::string path = dir.filePath(name).toStdString();
    std::ofstream(path) << text;
    return path;
}
} // namespace

TEST(LanguageFile, TextsAndShortFormsByIdOrDecimalTextAndTheHexadecimalForm) {
    QTemporaryDir dir;
    TXMLLangu lang;
    ASSERT_TRUE(lang.SetLangFile(Write(dir, "de.xml",
                                       "<language lang='de' version='7'>"
                                       "<text id='168820736' long='Spannungen L1' short='V'/>"
                                       "<text id='4294967295' long='Letzte' short=''/>"
                                       "<text id='-5' long='kaputt'/><text id='12x' long='kaputt'/>"
                                       "</language>")));
    EXPECT_EQ(lang.Count(), 2u) << "entries whose id is no 32-bit number are skipped";
    EXPECT_EQ(lang.Version(), 7);
    EXPECT_EQ(lang.Language(), "de");
    EXPECT_EQ(lang.IdToText(168820736u), "Spannungen L1");
    EXPECT_EQ(lang.IdToText("168820736"), "Spannungen L1");
    EXPECT_EQ(lang.IdToText("4294967295"), "Letzte");
    EXPECT_EQ(lang.IdToShort(168820736u), "V");
    for (const char* no : {"", "4294967296", "abc", " 168820736"})
        EXPECT_EQ(lang.IdToText(no), "") << no;
    EXPECT_EQ(lang.IdToText(1u), "");
    EXPECT_EQ(TXMLLangu::StrToHexToStr("168820736"), "A100000");
    EXPECT_EQ(TXMLLangu::StrToHexToStr("x"), "");
}

TEST(LanguageFile, ABrokenOrForeignFileKeepsTheTextsLoadedBeforeAndSaysWhy) {
    QTemporaryDir dir;
    TXMLLangu lang;
    ASSERT_TRUE(lang.SetLangFile(Write(dir, "de.xml", "<language><text id='1' long='Eins'/></language>")));
    const std::pair<std::string, const char*> bad[] = {
        {Write(dir, "cut.xml", "<language><text id='1' long='Zwei'"), "kein gültiges XML"},
        {Write(dir, "other.xml", "<structure><text id='1' long='Zwei'/></structure>"),
         "nicht den erwarteten"},
        {dir.filePath("missing.xml").toStdString(), "nicht vorhanden"},
        {dir.path().toStdString(), "nicht vorhanden"}};
    for (const auto& [path, reason] : bad) {
        EXPECT_FALSE(lang.SetLangFile(path)) << path;
        EXPECT_NE(lang.LastError().find(reason), std::string::npos) << lang.LastError();
        EXPECT_EQ(lang.IdToText(1u), "Eins");
        EXPECT_EQ(lang.FileName(), dir.filePath("de.xml").toStdString());
    }
}
