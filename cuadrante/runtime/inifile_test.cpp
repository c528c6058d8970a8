#include "cuadrante/runtime/inifile.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "cuadrante/runtime/exception.h"

namespace {

class TIniFileTest : public ::testing::Test {
 protected:
  TIniFileTest() {
    std::string pattern = ::testing::TempDir() + "/ini-XXXXXX";
    folder_ = ::mkdtemp(pattern.data());
    path_ = folder_ + "/settings.ini";
  }
  ~TIniFileTest() override { std::filesystem::remove_all(folder_); }

  void Write(const std::string& text) { std::ofstream(path_, std::ios::binary) << text; }
  std::string Read() const {
    std::ifstream in(path_, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
  }
  static std::vector<std::string> Lines(const TStrings& list) {
    std::vector<std::string> lines;
    for (int i = 0; i < list.Count(); ++i) lines.push_back(list[i]);
    return lines;
  }

  std::string folder_;
  std::string path_;
};

using V = std::vector<std::string>;

TEST_F(TIniFileTest, MissingFileReadsAsEmptyAndStaysMissing) {
  const TIniFile ini(path_);
  EXPECT_EQ(ini.FileName(), path_);
  EXPECT_EQ(ini.ReadString("GENERAL", "MAXDATE", "def"), "def");
  EXPECT_EQ(ini.ReadInteger("GENERAL", "MAXDATE", 7), 7);
  TStringList list;
  list.Add("stale");
  ini.ReadSection("GENERAL", list);
  EXPECT_EQ(list.Count(), 0);
  ini.ReadSections(list);
  EXPECT_EQ(list.Count(), 0);
  EXPECT_FALSE(ini.SectionExists("GENERAL"));
  EXPECT_FALSE(ini.ValueExists("GENERAL", "MAXDATE"));
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(TIniFileTest, ReadsKeysWithoutCaseInFileOrder) {
  Write(
      "; settings\r\n"
      "[Localization]\r\n"
      "Zeta=last letter\r\n"
      "Dictionary=es.dic\r\n"
      "TransFormProp1=Caption\r\n"
      "dictionary=second\r\n"
      "[GENERAL]\n"
      "n=12\n"
      "spaced =  7  \n"
      "hex=0x1F\n"
      "word=abc\n"
      "zero=0\n"
      "two=2\n");
  const TIniFile ini(path_);
  EXPECT_EQ(ini.ReadString("localization", "DICTIONARY", ""), "es.dic");  // first of a repeat
  EXPECT_EQ(ini.ReadString("Localization", "Absent", "d"), "d");
  EXPECT_EQ(ini.ReadString("Absent", "Zeta", "d"), "d");

  TStringList list;
  ini.ReadSection("Localization", list);
  EXPECT_EQ(Lines(list), (V{"Zeta", "Dictionary", "TransFormProp1"}));
  ini.ReadSectionValues("LOCALIZATION", list);
  EXPECT_EQ(Lines(list), (V{"Zeta=last letter", "Dictionary=es.dic", "TransFormProp1=Caption"}));
  ini.ReadSections(list);
  EXPECT_EQ(Lines(list), (V{"Localization", "GENERAL"}));
  EXPECT_TRUE(ini.SectionExists("general"));
  EXPECT_TRUE(ini.ValueExists("General", "N"));
  EXPECT_FALSE(ini.ValueExists("General", "Zeta"));

  EXPECT_EQ(ini.ReadInteger("GENERAL", "n", -1), 12);
  EXPECT_EQ(ini.ReadInteger("GENERAL", "spaced", -1), 7);
  EXPECT_EQ(ini.ReadInteger("GENERAL", "hex", -1), 31);
  EXPECT_EQ(ini.ReadInteger("GENERAL", "word", -1), -1);
  EXPECT_FALSE(ini.ReadBool("GENERAL", "zero", true));
  EXPECT_TRUE(ini.ReadBool("GENERAL", "two", false));
  EXPECT_TRUE(ini.ReadBool("GENERAL", "word", true));
  EXPECT_FALSE(ini.ReadBool("GENERAL", "word", false));
}

TEST_F(TIniFileTest, EveryWriteReachesTheFileBeforeItReturns) {
  Write("; kept comment\n[A]\nfirst=1\nsecond=2\n");
  TIniFile writer(path_);
  const TIniFile reader(path_);

  writer.WriteString("a", "FIRST", "uno");
  EXPECT_EQ(reader.ReadString("A", "first", ""), "uno");
  writer.WriteInteger("B", "count", -42);
  writer.WriteBool("B", "on", true);
  writer.WriteBool("B", "off", false);
  EXPECT_EQ(reader.ReadInteger("B", "count", 0), -42);
  EXPECT_EQ(reader.ReadString("B", "on", ""), "1");
  EXPECT_EQ(reader.ReadString("B", "off", ""), "0");

  TStringList list;
  reader.ReadSectionValues("A", list);
  EXPECT_EQ(Lines(list), (V{"first=uno", "second=2"}));  // replaced in place
  EXPECT_NE(Read().find("; kept comment"), std::string::npos);

  writer.DeleteKey("A", "first");
  EXPECT_FALSE(reader.ValueExists("A", "first"));
  EXPECT_TRUE(reader.ValueExists("A", "second"));
  writer.EraseSection("b");
  EXPECT_FALSE(reader.SectionExists("B"));

  // A file changed behind the object's back is what the next read sees.
  Write("[A]\nsecond=changed\n");
  EXPECT_EQ(reader.ReadString("A", "second", ""), "changed");

  const std::string before = Read();
  writer.DeleteKey("A", "absent");
  writer.EraseSection("absent");
  EXPECT_EQ(Read(), before);
}

TEST_F(TIniFileTest, AWriteThatCannotReplaceTheFileRaises) {
  Write("[A]\nk=v\n");
  TIniFile below(path_ + "/nested.ini");  // its folder is a regular file
  EXPECT_THROW(below.WriteString("A", "k", "x"), EFCreateError);
  EXPECT_EQ(below.ReadString("A", "k", "none"), "none");
  EXPECT_EQ(Read(), "[A]\nk=v\n");
}

}  // namespace
