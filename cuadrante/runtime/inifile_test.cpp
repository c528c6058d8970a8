#include "cuadrante/runtime/inifile.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "cuadrante/internal/testsupport.h"
#include "cuadrante/runtime/exception.h"

namespace {

class TIniFileTest : public ::testing::Test {
 protected:
  void Write(const std::string& text) { cuadrante::testing::WriteText(path_, text); }
  std::string Read() const { return cuadrante::testing::ReadText(path_); }

  cuadrante::testing::TempFolder folder_;
  std::string path_ = folder_ / "settings.ini";
};

TEST_F(TIniFileTest, ReadsKeysWithoutCaseInFileOrder) {
  Write(
      "; settings\r\n[Localization]\r\nZeta=last letter\r\nDictionary=es.dic\r\n"
      "TransFormProp1=Caption\r\ndictionary=second\r\n"
      "[GENERAL]\nn=12\nspaced =  7  \nhex=0x1F\nword=abc\nzero=0\ntwo=2\n");
  const TIniFile ini(path_);
  EXPECT_EQ(ini.ReadString("localization", "DICTIONARY", ""), "es.dic");  // first of a repeat
  EXPECT_EQ(ini.ReadString("Localization", "Absent", "d"), "d");
  EXPECT_EQ(ini.ReadString("Absent", "Zeta", "d"), "d");

  TStringList list;
  ini.ReadSection("Localization", list);
  EXPECT_EQ(list.Text(), "Zeta\r\nDictionary\r\nTransFormProp1\r\n");
  ini.ReadSectionValues("LOCALIZATION", list);
  EXPECT_EQ(list.Text(), "Zeta=last letter\r\nDictionary=es.dic\r\nTransFormProp1=Caption\r\n");
  ini.ReadSections(list);
  EXPECT_EQ(list.Text(), "Localization\r\nGENERAL\r\n");
  EXPECT_TRUE(ini.SectionExists("general"));
  EXPECT_TRUE(ini.ValueExists("General", "N"));
  EXPECT_FALSE(ini.ValueExists("General", "Zeta"));

  const std::pair<const char*, int> integers[] = {
      {"n", 12}, {"spaced", 7}, {"hex", 31}, {"word", -1}};
  for (const auto& [key, value] : integers)
    EXPECT_EQ(ini.ReadInteger("GENERAL", key, -1), value) << key;
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
  EXPECT_EQ(reader.ReadInteger("B", "count", 0), -42);
  writer.WriteBool("B", "on", true);
  writer.WriteBool("B", "off", false);
  EXPECT_EQ(reader.ReadString("B", "on", "") + reader.ReadString("B", "off", ""), "10");

  TStringList list;
  reader.ReadSectionValues("A", list);
  EXPECT_EQ(list.Text(), "first=uno\r\nsecond=2\r\n");  // replaced in place
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

TEST_F(TIniFileTest, AMissingFileReadsAsEmptyAndAFailedWriteRaises) {
  const TIniFile missing(path_);
  TStringList list;
  list.Add("stale");
  missing.ReadSections(list);
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(missing.ReadInteger("GENERAL", "MAXDATE", 7), 7);
  EXPECT_FALSE(std::filesystem::exists(path_));  // reading made no file

  Write("[A]\nk=v\n");
  TIniFile below(path_ + "/nested.ini");  // its folder is a regular file
  EXPECT_THROW(below.WriteString("A", "k", "x"), EFCreateError);
  EXPECT_EQ(below.ReadString("A", "k", "none"), "none");
  EXPECT_EQ(Read(), "[A]\nk=v\n");
}

}  // namespace
