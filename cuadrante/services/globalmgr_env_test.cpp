#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "cuadrante/documents/xmldocument.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/globalmgr.h"
#include "cuadrante/testing/faultyfilesystem.h"
#include "cuadrante/testing/processes.h"
#include "cuadrante/testing/testsupport.h"

namespace {

namespace fs = std::filesystem;
using cuadrante::testing::ReadText;
using cuadrante::testing::WriteText;

mode_t Umask() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return mask;
}

// Each test points _GlobalMgr at a document in a folder of its own and puts
// the old path back afterwards (which also drops what the test loaded).
class EnvironmentTest : public ::testing::Test {
 protected:
  EnvironmentTest() { _GlobalMgr.SetFileEnv(path_); }
  ~EnvironmentTest() override { _GlobalMgr.SetFileEnv(saved_); }

  // What the file holds, read by a document of its own, as
  // "ROOT SECTION{name=text;...} ...".
  std::string OnDisk() const {
    cuadrante::TXMLDocument document;
    document.LoadFromFile(path_);
    const cuadrante::TXMLNode root = document.DocumentElement();
    std::string text(root.Name());
    for (auto section = root.FirstChild(); section; section = section.NextSibling()) {
      text += " " + std::string(section.Name()) + "{";
      for (auto value = section.FirstChild(); value; value = value.NextSibling()) {
        text += std::string(value.Name()) + "=" + std::string(value.Text()) + ";";
      }
      text += "}";
    }
    return text;
  }

  const AnsiString saved_ = _GlobalMgr.GetFileEnv();
  cuadrante::testing::TempFolder folder_;
  const std::string path_ = folder_ / "Enviroment.xml";
};

TEST_F(EnvironmentTest, FirstLookupCreatesTheDocumentOrReplacesOneThatIsNone) {
  EXPECT_FALSE(_GlobalMgr.SaveEnviroment());  // nothing loaded yet
  EXPECT_FALSE(fs::exists(path_));
  EXPECT_EQ(_GlobalMgr.GetValueEnv("GENERAL", "ZV_MON_TIMEOUT"), "");
  EXPECT_EQ(OnDisk(), "DATAPACKET");  // the lookup created neither section nor value
  EXPECT_TRUE(
      ReadText(path_).starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>"));

  EXPECT_EQ(_GlobalMgr.EnvironmentProblem(), "");

  // An empty file, or one that isn't XML, is replaced, and the bytes of the
  // latter are kept beside it first (a newer copy over an older one), with
  // the mode of the file they come from; the host hears where.
  const std::string aside = path_ + ".unreadable";
  for (const std::string& contents :
       {std::string("plain words, no XML"), std::string("<DATAPACKET><GENERAL><A>1</A>"),
        std::string("\xff\xfe<"), std::string(" \n "), std::string()}) {
    fs::remove(path_);
    WriteText(path_, contents);
    ::chmod(path_.c_str(), 0640);
    _GlobalMgr.Restart();
    EXPECT_EQ(_GlobalMgr.GetValueEnv("A", "B"), "") << contents;
    EXPECT_EQ(OnDisk(), "DATAPACKET") << contents;
    const std::string problem = _GlobalMgr.EnvironmentProblem();
    if (contents.empty()) {
      EXPECT_EQ(problem, "'" + path_ + "' was empty, and now holds an empty DATAPACKET");
    } else {
      EXPECT_EQ(ReadText(aside), contents);
      struct stat info {};
      ASSERT_EQ(::stat(aside.c_str(), &info), 0);
      EXPECT_EQ(info.st_mode & 0777, 0640u & ~Umask()) << contents;
      EXPECT_TRUE(problem.starts_with("'" + path_ + "' is not XML (XML text is not well-formed"))
          << problem;
      EXPECT_TRUE(problem.ends_with("; its text was kept in '" + aside + "'")) << problem;
      fs::remove(aside);
    }
    EXPECT_TRUE(_GlobalMgr.SetValueEnv("A", "B", "1")) << contents;
    EXPECT_EQ(_GlobalMgr.EnvironmentProblem(), "") << contents;  // the change went well
  }
  EXPECT_FALSE(fs::exists(aside));  // the empty file had nothing to keep
  // Any well-formed root serves.
  WriteText(path_, "<OTHER><S><V>7</V></S></OTHER>");
  _GlobalMgr.Restart();
  EXPECT_EQ(_GlobalMgr.GetValueEnv("s", "v"), "7");
}

TEST_F(EnvironmentTest, ValuesIgnoreCaseAndTheFirstOfTwoNamesCounts) {
  ASSERT_TRUE(_GlobalMgr.SetValueEnv("A", "B", "1"));
  ASSERT_TRUE(_GlobalMgr.SetValueEnv("a", "b", "3"));
  // A new name goes behind the others, and is on disk when the call returns.
  ASSERT_TRUE(_GlobalMgr.SetValueEnv("a", "C", "x < y & z"));
  EXPECT_EQ(OnDisk(), "DATAPACKET A{B=3;C=x < y & z;}");
  // Accented names compare in lower case as well; the empty text is a value.
  ASSERT_TRUE(_GlobalMgr.SetValueEnv("AÑO", "DÍA", "lunes"));
  EXPECT_EQ(_GlobalMgr.GetValueEnv("año", "día"), "lunes");
  ASSERT_TRUE(_GlobalMgr.SetValueEnv("A", "B", ""));
  EXPECT_EQ(OnDisk(), "DATAPACKET A{B=;C=x < y & z;} AÑO{DÍA=lunes;}");

  WriteText(path_,
            "<DATAPACKET><A><X>1</X></A><A><X>2</X><Y>3</Y></A><b><x>4</x><X>5</X></b>"
            "</DATAPACKET>");
  _GlobalMgr.Restart();
  EXPECT_EQ(_GlobalMgr.GetValueEnv("A", "X"), "1");
  EXPECT_EQ(_GlobalMgr.GetValueEnv("a", "Y"), "");   // the second section isn't looked at
  EXPECT_EQ(_GlobalMgr.GetValueEnv("B", "X"), "4");  // first match in document order
  ASSERT_TRUE(_GlobalMgr.SetValueEnv("A", "X", "9"));
  ASSERT_TRUE(_GlobalMgr.SetNodeEnv("A", "<r><Z>0</Z></r>"));
  EXPECT_EQ(OnDisk(), "DATAPACKET A{Z=0;} A{X=2;Y=3;} b{x=4;X=5;}");
}

TEST_F(EnvironmentTest, NodesTravelAsXmlTextAndBadInputChangesNothing) {
  ASSERT_TRUE(_GlobalMgr.SetValueEnv("A", "B", "1"));
  ASSERT_TRUE(_GlobalMgr.SetValueEnv("A", "C", "2"));
  const AnsiString node = _GlobalMgr.GetNodeEnv("a");
  EXPECT_EQ(node, "<A><B>1</B><C>2</C></A>");
  EXPECT_EQ(_GlobalMgr.GetNodeEnv("missing"), "");
  // Given back under another name, the values survive the trip; a new
  // section goes at the end of the root.
  ASSERT_TRUE(_GlobalMgr.SetNodeEnv("Z", node));
  EXPECT_EQ(OnDisk(), "DATAPACKET A{B=1;C=2;} Z{B=1;C=2;}");
  // The section's values become exactly the children of the text's root; a
  // root without children empties the section.
  ASSERT_TRUE(_GlobalMgr.SetNodeEnv("a", "<any><D kind='x'>4</D><E>5</E></any>"));
  ASSERT_TRUE(_GlobalMgr.SetNodeEnv("Z", "<r/>"));
  EXPECT_EQ(OnDisk(), "DATAPACKET A{D=4;E=5;} Z{}");
  EXPECT_EQ(_GlobalMgr.GetNodeEnv("A").find("kind"), std::string::npos);

  // Bad text or a name that is no XML name: the exception reaches the caller,
  // nothing changes or is saved.
  const std::string before = ReadText(path_);
  for (const char* bad : {"<unclosed>", "", "plain words", "<a><b></a>"})
    EXPECT_THROW(_GlobalMgr.SetNodeEnv("A", bad), EXMLDocError) << bad;
  EXPECT_THROW(_GlobalMgr.SetValueEnv("NEW", "1bad", "x"), EXMLDocError);
  EXPECT_THROW(_GlobalMgr.SetValueEnv("bad name", "B", "x"), EXMLDocError);
  EXPECT_THROW(_GlobalMgr.SetNodeEnv("bad name", "<r><K>v</K></r>"), EXMLDocError);
  ASSERT_TRUE(_GlobalMgr.SaveEnviroment());
  EXPECT_EQ(ReadText(path_), before);
}

TEST_F(EnvironmentTest, FileIsReadOnceUntilDroppedOrMoved) {
  ASSERT_TRUE(_GlobalMgr.SetValueEnv("GENERAL", "ZV_MON_TIMEOUT", "1"));
  // Another program writes the file: the loaded document doesn't see it...
  WriteText(path_,
            "<DATAPACKET><GENERAL><ZV_MON_TIMEOUT>0</ZV_MON_TIMEOUT></GENERAL></DATAPACKET>");
  EXPECT_EQ(_GlobalMgr.GetValueEnv("GENERAL", "ZV_MON_TIMEOUT"), "1");
  // ...until Restart drops it.
  _GlobalMgr.Restart();
  EXPECT_EQ(_GlobalMgr.GetValueEnv("GENERAL", "ZV_MON_TIMEOUT"), "0");

  // Another path drops it too, and is read there.
  const std::string other = folder_ / "other.xml";
  _GlobalMgr.SetFileEnv(other);
  EXPECT_FALSE(fs::exists(other));  // SetFileEnv touches no file
  EXPECT_EQ(_GlobalMgr.GetValueEnv("GENERAL", "ZV_MON_TIMEOUT"), "");
  _GlobalMgr.SetFileEnv(path_);
  EXPECT_EQ(_GlobalMgr.GetValueEnv("GENERAL", "ZV_MON_TIMEOUT"), "0");
}

TEST_F(EnvironmentTest, AFileThatCantBeMadeOrReadFailsQuietlyAndIsNeverReplaced) {
  // A folder that is a regular file, a FIFO and a device.
  WriteText(folder_ / "plain", "a regular file");
  const std::string fifo = folder_ / "fifo.xml";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  for (const std::string& path :
       {folder_ / "plain/Enviroment.xml", fifo, std::string("/dev/zero")}) {
    _GlobalMgr.SetFileEnv(path);
    EXPECT_FALSE(_GlobalMgr.LoadEnviroment()) << path;
    EXPECT_EQ(_GlobalMgr.GetValueEnv("A", "B") + _GlobalMgr.GetNodeEnv("A"), "") << path;
    EXPECT_FALSE(_GlobalMgr.SetValueEnv("A", "B", "1")) << path;
    EXPECT_FALSE(_GlobalMgr.SetNodeEnv("A", "not even XML")) << path;  // fails before parsing
    EXPECT_FALSE(_GlobalMgr.SaveEnviroment()) << path;  // the failed load kept nothing
  }
  struct stat info {};
  ASSERT_EQ(::stat(fifo.c_str(), &info), 0);
  EXPECT_TRUE(S_ISFIFO(info.st_mode));

  // A save that fails after the load: false, and the change stays in memory.
  const std::string sub = folder_ / "sub";
  fs::create_directory(sub);
  _GlobalMgr.SetFileEnv(sub + "/env.xml");
  ASSERT_TRUE(_GlobalMgr.SetValueEnv("A", "B", "1"));
  fs::remove_all(sub);
  WriteText(sub, "now a regular file");
  EXPECT_FALSE(_GlobalMgr.SetValueEnv("A", "B", "2"));
  EXPECT_FALSE(_GlobalMgr.SetNodeEnv("C", "<r><D>3</D></r>"));
  EXPECT_FALSE(_GlobalMgr.SaveEnviroment());
  EXPECT_EQ(_GlobalMgr.GetValueEnv("A", "B") + _GlobalMgr.GetValueEnv("C", "D"), "23");
}

TEST_F(EnvironmentTest, ValuesThatXmlCannotCarryAreRefusedBeforeAnythingIsWritten) {
  ASSERT_TRUE(_GlobalMgr.SetValueEnv("GENERAL", "A", "kept"));
  const std::string before = ReadText(path_);
  for (const std::string& value :
       {std::string("cut\0here", 8), std::string("line\rend"), std::string("bell\a"),
        std::string("\xC3("), std::string("\xED\xA0\x80"), std::string("\xEF\xBF\xBF")}) {
    EXPECT_FALSE(_GlobalMgr.SetValueEnv("GENERAL", "A", value)) << value;
    EXPECT_FALSE(_GlobalMgr.SetValueEnv("GENERAL", "NEW", value)) << value;
  }
  EXPECT_EQ(ReadText(path_), before);
  EXPECT_EQ(_GlobalMgr.GetValueEnv("GENERAL", "A"), "kept");
  // What XML carries comes back as it was, from the file as well.
  const std::string fine = "tab\there\nnext line <&> \"ñ\" \xF0\x9F\x98\x80";
  ASSERT_TRUE(_GlobalMgr.SetValueEnv("GENERAL", "A", fine));
  _GlobalMgr.Restart();
  EXPECT_EQ(_GlobalMgr.GetValueEnv("GENERAL", "A"), fine);
}

TEST_F(EnvironmentTest, ADocumentNestedAMillionDeepIsRefusedWithoutACrash) {
  std::string deep;
  for (int i = 0; i < 1000000; ++i) deep += "<S>";
  for (int i = 0; i < 1000000; ++i) deep += "</S>";
  // As a text to set, the parser's error reaches the caller; as the file, it
  // counts as one that isn't XML and starts afresh.
  EXPECT_TRUE(cuadrante::testing::RaisesWith<EXMLDocError>(
      [&] { _GlobalMgr.SetNodeEnv("A", deep); }, "deeper than 256"));
  // As the file it is well-formed all the same: refused, and left as it is.
  WriteText(path_, deep);
  EXPECT_FALSE(_GlobalMgr.SetNodeEnv("A", "<r><B>1</B></r>"));
  EXPECT_EQ(fs::file_size(path_), deep.size());
}

TEST_F(EnvironmentTest, AWellFormedDocumentBeyondTheBoundsIsLeftAsItIs) {
  // One level too deep, in a document that holds a value: a bare lookup
  // neither reads nor replaces it, and no copy is made, since nothing is lost.
  std::string deep = "<DATAPACKET><GENERAL><A>1</A></GENERAL><X>";
  for (int i = 2; i < cuadrante::kMaxXmlDepth; ++i) deep += "<E>";
  deep += "<TOO_DEEP/>";
  for (int i = 2; i < cuadrante::kMaxXmlDepth; ++i) deep += "</E>";
  deep += "</X></DATAPACKET>";
  WriteText(path_, deep);
  EXPECT_EQ(_GlobalMgr.GetValueEnv("GENERAL", "A"), "");
  EXPECT_EQ(_GlobalMgr.GetNodeEnv("GENERAL"), "");
  EXPECT_FALSE(_GlobalMgr.LoadEnviroment());
  EXPECT_FALSE(_GlobalMgr.SetValueEnv("GENERAL", "A", "2"));
  EXPECT_FALSE(_GlobalMgr.SetNodeEnv("GENERAL", "<r><A>2</A></r>"));
  EXPECT_FALSE(_GlobalMgr.SaveEnviroment());
  EXPECT_EQ(ReadText(path_), deep);
  EXPECT_FALSE(fs::exists(path_ + ".unreadable"));
  const std::string problem = _GlobalMgr.EnvironmentProblem();
  EXPECT_TRUE(problem.starts_with("'" + path_ +
                                  "' was left as it is: XML elements nest deeper than 256 at"))
      << problem;

  // The same when it turns up under a document already loaded: the change
  // fails and the file keeps its bytes.
  WriteText(path_, "<DATAPACKET><GENERAL><A>1</A></GENERAL></DATAPACKET>");
  _GlobalMgr.Restart();
  ASSERT_EQ(_GlobalMgr.GetValueEnv("GENERAL", "A"), "1");
  EXPECT_EQ(_GlobalMgr.EnvironmentProblem(), "");
  WriteText(path_, deep);
  EXPECT_FALSE(_GlobalMgr.SetValueEnv("GENERAL", "A", "2"));
  EXPECT_EQ(ReadText(path_), deep);
  EXPECT_NE(_GlobalMgr.EnvironmentProblem().find("nest deeper than 256"), std::string::npos);
}

TEST_F(EnvironmentTest, TextThatIsNoXmlIsKeptBeforeAChangeReplacesItOrTheFileStays) {
  ASSERT_TRUE(_GlobalMgr.SetValueEnv("GENERAL", "A", "1"));
  // Another program leaves the file cut short under the loaded document: the
  // change keeps those bytes aside before it writes.
  const std::string cut = "<DATAPACKET><GENERAL><A>3</A><B>";
  WriteText(path_, cut);
  EXPECT_TRUE(_GlobalMgr.SetValueEnv("GENERAL", "B", "2"));
  EXPECT_EQ(OnDisk(), "DATAPACKET GENERAL{A=1;B=2;}");
  EXPECT_EQ(ReadText(path_ + ".unreadable"), cut);
  EXPECT_NE(_GlobalMgr.EnvironmentProblem().find("is not XML"), std::string::npos);

  // An older copy that others could read loses what the file's own mode
  // keeps from them.
  ::chmod((path_ + ".unreadable").c_str(), 0644);
  ::chmod(path_.c_str(), 0600);
  WriteText(path_, "<still broken");
  ASSERT_TRUE(_GlobalMgr.SetValueEnv("GENERAL", "B", "3"));
  EXPECT_EQ(ReadText(path_ + ".unreadable"), "<still broken");
  struct stat info {};
  ASSERT_EQ(::stat((path_ + ".unreadable").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);

  // Where the copy can't be made, nothing is replaced: not by a load, not by
  // a change.
  fs::remove(path_ + ".unreadable");
  fs::create_directory(path_ + ".unreadable");
  WriteText(path_, cut);
  EXPECT_FALSE(_GlobalMgr.SetValueEnv("GENERAL", "C", "3"));
  EXPECT_EQ(ReadText(path_), cut);
  _GlobalMgr.Restart();
  EXPECT_FALSE(_GlobalMgr.LoadEnviroment());
  EXPECT_EQ(_GlobalMgr.GetValueEnv("GENERAL", "A"), "");
  EXPECT_EQ(ReadText(path_), cut);
  const std::string problem = _GlobalMgr.EnvironmentProblem();
  EXPECT_TRUE(problem.starts_with("'" + path_ + "' is not XML (")) << problem;
  EXPECT_NE(problem.find("and was left as it is: its text could not be kept"), std::string::npos)
      << problem;
}

TEST_F(EnvironmentTest, ASaveThatWouldNotLoadAgainIsNeverWritten) {
  // Two hundred chains 250 elements deep beside the settings: a change saves
  // them without the indentation that once made the file too large to read.
  std::string chains = "<DATAPACKET><GENERAL><A>1</A></GENERAL>";
  for (int c = 0; c < 200; ++c) {
    for (int i = 1; i < 250; ++i) chains += "<E>";
    for (int i = 1; i < 250; ++i) chains += "</E>";
  }
  chains += "</DATAPACKET>";
  WriteText(path_, chains);
  ASSERT_TRUE(_GlobalMgr.SetValueEnv("GENERAL", "A", "2"));
  EXPECT_LT(fs::file_size(path_), 2 * chains.size());
  _GlobalMgr.Restart();
  EXPECT_EQ(_GlobalMgr.GetValueEnv("GENERAL", "A"), "2");

  // Quotes in an attribute come back six bytes each: a file of 3 MiB would
  // be saved larger than a load reads, so the change fails and the file stays.
  const std::string quoted = "<DATAPACKET q='" + std::string(size_t{3} << 20, '"') +
                             "'><GENERAL><A>1</A></GENERAL></DATAPACKET>";
  WriteText(path_, quoted);
  _GlobalMgr.Restart();
  ASSERT_EQ(_GlobalMgr.GetValueEnv("GENERAL", "A"), "1");
  EXPECT_FALSE(_GlobalMgr.SetValueEnv("GENERAL", "A", "2"));
  EXPECT_TRUE(ReadText(path_) == quoted);
  EXPECT_NE(_GlobalMgr.EnvironmentProblem().find("more than 16777216 bytes"), std::string::npos)
      << _GlobalMgr.EnvironmentProblem();
  _GlobalMgr.Restart();
  EXPECT_EQ(_GlobalMgr.GetValueEnv("GENERAL", "A"), "1");
}

TEST_F(EnvironmentTest, EveryFailingStepOfAChangeKeepsTheOldFile) {
  cuadrante::TXMLDocument document;
  document.CreateDocumentElement("DATAPACKET").AddChild("GENERAL").AddChild("A").SetText("1");
  const std::string before = document.SaveToXML();
  document.DocumentElement().FirstChild().AddChild("B").SetText("2");
  const std::string after = document.SaveToXML();
  cuadrante::testing::CheckEveryFault(
      path_, before, after,
      [&] {
        WriteText(path_, before);
        _GlobalMgr.Restart();
      },
      [&] {
        if (!_GlobalMgr.SetValueEnv("GENERAL", "B", "2")) throw Exception("not saved");
      });
}

TEST_F(EnvironmentTest, ProcessesChangingTheDocumentAtOnceLoseNothing) {
  // Two processes set values of their own, then both set one value, and one
  // whole text wins.
  ASSERT_TRUE(cuadrante::testing::InChildren(2, [](int child) {
    const std::string prefix = child == 0 ? "a" : "b";
    bool ok = true;
    for (int k = 0; k < 300; ++k) {
      ok = _GlobalMgr.SetValueEnv("GENERAL", prefix + std::to_string(k), "v") && ok;
    }
    return _GlobalMgr.SetValueEnv("GENERAL", "shared", std::string(3000, prefix[0])) && ok;
  }));
  cuadrante::TXMLDocument document;
  document.LoadFromFile(path_);
  EXPECT_EQ(document.DocumentElement().FirstChild().ChildCount(), 601u);
  _GlobalMgr.Restart();
  for (const char* prefix : {"a", "b"}) {
    for (int k = 0; k < 300; ++k) {
      EXPECT_EQ(_GlobalMgr.GetValueEnv("GENERAL", prefix + std::to_string(k)), "v") << prefix << k;
    }
  }
  const std::string shared = _GlobalMgr.GetValueEnv("GENERAL", "shared");
  EXPECT_TRUE(shared == std::string(3000, 'a') || shared == std::string(3000, 'b'));
}

}  // namespace
