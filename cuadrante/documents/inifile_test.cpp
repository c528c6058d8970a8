#include "cuadrante/documents/inifile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/testing/faultyfilesystem.h"
#include "cuadrante/testing/processes.h"
#include "cuadrante/testing/testsupport.h"

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

TEST_F(TIniFileTest, RefusesWhatTheFormatCannotCarryAndLeavesTheFileAsItWas) {
  Write("[GENERAL]\nPORT=8080\nHOST=a\n[Seguridad]\nCLAVE=old\n");
  const std::string before = Read();
  TIniFile ini(path_);
  struct Case {
    const char *section, *key, *value, *why;
  };
  const Case cases[] = {
      {"GENERAL", "PORT", "9090\nADMIN=1\n[Seguridad]\nCLAVE=abc", "line break"},
      {"GENERAL", "PORT", "9090\rADMIN=1", "line break"},
      {"GENERAL", "A=B", "1", "'='"},
      {"GENERAL", ";PORT", "1", "comment"},
      {"GENERAL", "#PORT", "1", "comment"},
      {"GENERAL", "[X]", "1", "section"},
      {"GENERAL", "", "1", "empty"},
      {"GENERAL", " PORT", "1", "blank"},
      {"GENERAL", "PO\tRT", "1", "control"},
      {"GEN]ERAL", "PORT", "1", "bracket"},
      {"GENERAL\nX", "PORT", "1", "line break"},
      {"GENERAL", "PORT", "\xC3", "UTF-8"},
      {"GENERAL", "PORT", " 9090", "blank"},
      {"GENERAL", "PORT", "9090\t", "blank"},
  };
  for (const Case& c : cases) {
    try {
      ini.WriteString(c.section, c.key, c.value);
      ADD_FAILURE() << "accepted " << c.key << " = " << c.value;
    } catch (const EFileError& e) {
      ADD_FAILURE() << "a file error for a refused text: " << e.Message;
    } catch (const Exception& e) {
      EXPECT_NE(e.Message.find(c.why), std::string::npos) << e.Message;
      EXPECT_NE(e.Message.find(path_), std::string::npos) << e.Message;
    }
  }
  // NUL only travels in a text that carries its length.
  EXPECT_THROW(ini.WriteString("GENERAL", "PORT", std::string("90\09", 4)), Exception);
  EXPECT_EQ(Read(), before);

  // A hand-made header left open until a later line reads as one section
  // whose name spans the lines, which no rewrite can give back: every write,
  // deletion or erasure is refused, and the file stays as it is.
  Write("[GENERAL\nPORT=8080\n]\n[Otra]\nk=v\n");
  const std::string open_header = Read();
  EXPECT_THROW(ini.WriteString("Otra", "k", "w"), Exception);
  EXPECT_THROW(ini.DeleteKey("Otra", "k"), Exception);
  EXPECT_THROW(ini.EraseSection("Otra"), Exception);
  EXPECT_EQ(Read(), open_header);
  Write(before);

  // What the format carries reads back exactly: inner blanks and tabs, '=' and
  // ';' in values, accents in every part.
  const std::pair<const char*, const char*> fine[] = {
      {"clave", "a = b; c\tz"}, {"AÑO", "día"}, {"vacío", ""}, {"x.y-z", "[1]"}};
  for (const auto& [key, value] : fine) {
    ini.WriteString("Sección", key, value);
    EXPECT_EQ(ini.ReadString("Sección", key, "missing"), value) << key;
  }
}

TEST_F(TIniFileTest, NotARegularFileReadsAsEmptyAndIsNeverReplacedByAWrite) {
  const std::string fifo = folder_ / "fifo.ini";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  for (const std::string& path : {fifo, std::string("/dev/zero")}) {
    TIniFile ini(path);
    EXPECT_EQ(ini.ReadString("A", "k", "default"), "default") << path;
    EXPECT_THROW(ini.WriteString("A", "k", "v"), EFOpenError) << path;
  }
  struct stat info {};
  ASSERT_EQ(::stat(fifo.c_str(), &info), 0);
  EXPECT_TRUE(S_ISFIFO(info.st_mode));

  // A file that is there but can't be read is not replaced by the new key alone.
  Write("[A]\nkept=1\n");
  struct FailingReads : cuadrante::testing::TFaultyFileSystem {
    ssize_t Read(int, void*, size_t) override {
      errno = EIO;
      return -1;
    }
  } failingReads;
  {
    cuadrante::TFileSystemOverride use(failingReads);
    EXPECT_THROW(TIniFile(path_).WriteString("A", "new", "2"), EFOpenError);
  }
  EXPECT_EQ(Read(), "[A]\nkept=1\n");
}

TEST_F(TIniFileTest, EveryFailingStepOfAWriteKeepsTheOldFile) {
  const std::string before = "[A]\nk=v\n";
  cuadrante::testing::CheckEveryFault(
      path_, before, "[A]\nk=v\nnew=1\n", [&] { Write(before); },
      [&] { TIniFile(path_).WriteString("A", "new", "1"); });
}

TEST_F(TIniFileTest, ProcessesWritingAtOnceLoseNoKey) {
  // Two processes write keys of their own; then both write one key, and one
  // whole value wins.
  ASSERT_TRUE(cuadrante::testing::InChildren(2, [&](int child) {
    const std::string prefix = child == 0 ? "a" : "b";
    TIniFile ini(path_);
    for (int i = 0; i < 300; ++i) ini.WriteString("GENERAL", prefix + std::to_string(i), "v");
    ini.WriteString("GENERAL", "shared", std::string(5000, prefix[0]));
    return true;
  }));
  const TIniFile ini(path_);
  TStringList keys;
  ini.ReadSection("GENERAL", keys);
  EXPECT_EQ(keys.Count(), 601);  // each name once: 601 means none was lost
  const std::string shared = ini.ReadString("GENERAL", "shared", "");
  EXPECT_TRUE(shared == std::string(5000, 'a') || shared == std::string(5000, 'b'));
}

}  // namespace
