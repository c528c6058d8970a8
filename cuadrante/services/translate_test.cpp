#include "cuadrante/services/translate.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <vector>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/messagesmgr.h"
#include "cuadrante/testing/faultyfilesystem.h"
#include "cuadrante/testing/testsupport.h"

namespace {

// Each test gets a folder of its own and leaves the process as it found it:
// no translator and the switch off.
class TranslateTest : public ::testing::Test {
 protected:
  ~TranslateTest() override {
    bTransActivated = true;
    try {
      EndTRANS();
    } catch (const Exception&) {
      delete _Translate;
      _Translate = nullptr;
    }
    bTransActivated = false;
  }

  std::string Path(const std::string& name) const { return folder_ / name; }
  void Write(const std::string& name, const std::string& bytes) const {
    cuadrante::testing::WriteText(Path(name), bytes);
  }
  std::string Read(const std::string& name) const {
    return cuadrante::testing::ReadText(Path(name));
  }
  // Settings naming `dictionary` and the properties given, and the switch on.
  void Start(const std::string& dictionary, const std::string& properties = "") {
    Write("trans.ini", "[Localization]\nDictionary=" + dictionary + "\n" + properties);
    bTransActivated = true;
    InitTRANS(Path("trans.ini"));
  }

  cuadrante::testing::TempFolder folder_;
};

// A small host form's component: a caption whose reading may fail, and a hint.
class TCaptioned : public TComponent {
 public:
  TCaptioned(TComponent* owner, const char* caption, const char* hint = "", bool broken = false)
      : TComponent(owner), Caption(caption), Hint(hint), Broken(broken) {}
  AnsiString Caption, Hint;
  bool Broken;
  AnsiString GetCaption() const {
    if (Broken) throw std::runtime_error("caption unavailable");
    return Caption;
  }
  void SetCaption(const AnsiString& caption) { Caption = caption; }
  const TPropertyTable& PublishedProperties() const override {
    static const TPropertyTable table =
        TPropertyTable(TComponent::PublishedProperties())
            .Add("Caption", &TCaptioned::GetCaption, &TCaptioned::SetCaption)
            .Add("Hint", &TCaptioned::Hint);
    return table;
  }
};

TEST_F(TranslateTest, SwitchedOffEverythingStaysAsItIs) {
  Write("trans.ini", "[Localization]\nDictionary=.dic\nTransFormProp1=Caption\n");
  Write("trans.ini.dic", "Hola\tHello\n");
  InitTRANS(Path("trans.ini"));
  EXPECT_EQ(_Translate, nullptr);

  bTransActivated = true;
  InitTRANS(Path("trans.ini"));
  ASSERT_NE(_Translate, nullptr);
  bTransActivated = false;
  TCaptioned form(nullptr, "Hola");
  EXPECT_EQ(Transport::Translate("Nuevo"), "Nuevo");
  EXPECT_TRUE(Transport::TranslateForm(&form));
  EXPECT_EQ(form.Caption, "Hola");
  EndTRANS();
  ASSERT_NE(_Translate, nullptr);  // EndTRANS did nothing either
  EXPECT_FALSE(_Translate->Modified);
}

TEST_F(TranslateTest, LooksUpWithoutCaseAndCollectsUnknownTextsSorted) {
  Write("trans.ini.es",
        "Hola\tHello\r\nHOLA\tHi\nDía\tDay\ra\tb\tc\nVacío\t\na line without a tab\n"
        "Pendiente\t<N/A>\n");
  Start(".es");  // appended to the INI path as it is
  ASSERT_NE(_Translate, nullptr);
  EXPECT_EQ(_Translate->DictionaryFile, Path("trans.ini.es"));
  EXPECT_EQ(_Translate->Rows.Count(), 5);  // the first row of a key wins
  const std::pair<const char*, const char*> lookups[] = {
      {"hola", "Hello"},  {"DÍA", "Day"},     {"a", "b\tc"}, {"Pendiente", "<N/A>"},
      {"Vacío", "Vacío"}, {"VACÍO", "VACÍO"}, {"", ""}};
  for (const auto& [text, translation] : lookups) {
    EXPECT_EQ(Transport::Translate(text), translation) << text;
  }
  // Nothing was added, so nothing is written.
  EXPECT_FALSE(_Translate->Modified);
  EndTRANS();
  EXPECT_EQ(_Translate, nullptr);
  EXPECT_NE(Read("trans.ini.es").find("HOLA\tHi\n"), std::string::npos);

  // Texts that no row can hold are never collected, on no call.
  InitTRANS(Path("trans.ini"));
  for (const std::string& text :
       {std::string("con\ttab"), std::string("dos\nlíneas"), std::string("retorno\r"),
        std::string("nul\0x", 5), std::string("\xC3(")}) {
    EXPECT_EQ(Transport::Translate(text), text);
    EXPECT_EQ(Transport::Translate(text), text) << "collected on the first call";
  }
  EXPECT_FALSE(_Translate->Modified);
  // An unknown text gets a row, and reads "<N/A>" from then on.
  EXPECT_EQ(Transport::Translate("Mañana"), "Mañana");
  EXPECT_EQ(Transport::Translate("MAÑANA"), "<N/A>");
  EXPECT_TRUE(_Translate->Modified);
  EndTRANS();
  // The line that is no row stays, ahead of the sorted rows.
  EXPECT_EQ(Read("trans.ini.es"),
            "a line without a "
            "tab\r\na\tb\tc\r\nDía\tDay\r\nHola\tHello\r\nMañana\t<N/A>\r\nPendiente\t<N/A>\r\n"
            "Vacío\t\r\n");
}

TEST_F(TranslateTest, ReloadsFromOtherSettingsKeepingItsState) {
  Write("trans.ini.one", "uno\tone\n");
  Write("trans.ini.two", "dos\ttwo\n");
  Write("other.ini", "[Localization]\nDictionary=.two\nTransFormProp1=Hint\n");
  Start(".one", "TransFormProp1=Caption\n");
  InitTRANS(Path("missing.ini"));  // a second InitTRANS keeps the first translator
  EXPECT_EQ(Transport::Translate("UNO"), "one");
  EXPECT_EQ(Transport::Translate("nuevo"), "nuevo");

  ReLoadDictionary(Path("other.ini"));
  EXPECT_EQ(_Translate->BasePath, Path("trans.ini"));
  // The dictionary path is the kept base plus the new settings' value.
  EXPECT_EQ(_Translate->DictionaryFile, Path("trans.ini.two"));
  EXPECT_EQ(_Translate->Properties.Text(), "Hint\r\n");
  EXPECT_TRUE(_Translate->Modified);
  EXPECT_EQ(Transport::Translate("dos"), "two");
  EXPECT_EQ(Transport::Translate("uno"), "uno");  // a new row now
  // Settings that are gone change nothing.
  ReLoadDictionary(Path("missing.ini"));
  EXPECT_EQ(_Translate->Rows.Count(), 2);
  EXPECT_EQ(_Translate->Properties.Text(), "Hint\r\n");

  EndTRANS();
  EXPECT_EQ(Read("trans.ini.two"), "dos\ttwo\r\nuno\t<N/A>\r\n");
  EXPECT_EQ(Read("trans.ini.one"), "uno\tone\n");
}

TEST_F(TranslateTest, ConcurrentMissesAddEveryRowExactlyOnce) {
  Write("trans.ini.es", "semilla\tseed\n");
  Start(".es");
  constexpr int kThreads = 8, kOwn = 150, kShared = 60;
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &wrong] {
      for (int i = 0; i < kOwn; ++i) {
        const std::string own = "propio " + std::to_string(t) + "-" + std::to_string(i);
        const std::string shared = "común " + std::to_string(i % kShared);
        if (Transport::Translate(own) != own) ++wrong;
        if (Transport::Translate(own) != "<N/A>") ++wrong;
        const std::string result = Transport::Translate(shared);
        if (result != shared && result != "<N/A>") ++wrong;
        if (Transport::Translate("SEMILLA") != "seed") ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);

  EndTRANS();
  TStringList lines;
  lines.LoadFromFile(Path("trans.ini.es"));
  ASSERT_EQ(lines.Count(), 1 + kThreads * kOwn + kShared);
  for (int i = 1; i < lines.Count(); ++i) {
    EXPECT_LT(AnsiCompareText(lines[i - 1], lines[i]), 0) << lines[i];
  }
  EXPECT_GE(lines.IndexOf("propio 7-149\t<N/A>"), 0);
}

TEST_F(TranslateTest, TranslatesAFormAndTheComponentsItOwns) {
  Write("trans.ini.es", "Archivo\tFile\nAyuda\tHelp\nGuardar\tSave\nSalir\tExit\nVer\tView\n");
  Start(".es", "TransFormProp1=Caption\nTransFormProp2=Missing\nTransFormProp3=Hint\n");
  TCaptioned form(nullptr, "Archivo");
  auto* broken = new TCaptioned(&form, "Salir", "Ayuda", true);
  auto* button = new TCaptioned(&form, "Guardar", "ayuda");
  auto* nested = new TCaptioned(button, "Ver");  // owned by a component: not visited

  EXPECT_TRUE(Transport::TranslateForm(&form));
  EXPECT_EQ(form.Caption, "File");
  EXPECT_EQ(broken->Caption + "|" + broken->Hint, "Salir|Ayuda");  // it ended at the caption
  EXPECT_EQ(button->Caption + "|" + button->Hint, "Save|Help");
  EXPECT_EQ(nested->Caption, "Ver");

  // A failure on the form itself ends the walk with false.
  TCaptioned other(nullptr, "Ver", "", true);
  auto* child = new TCaptioned(&other, "Ver");
  EXPECT_FALSE(Transport::TranslateForm(&other));
  EXPECT_EQ(child->Caption, "Ver");
  EXPECT_FALSE(Transport::TranslateForm(nullptr));

  // Without property names nothing changes, and the answer is still true.
  Write("bare.ini", "[Localization]\nDictionary=.es\n");
  ReLoadDictionary(Path("bare.ini"));
  EXPECT_TRUE(Transport::TranslateForm(child));
  EXPECT_EQ(child->Caption, "Ver");
}

TEST_F(TranslateTest, WithoutADictionaryKeyReadsTheSettingsAndNeverWritesThem) {
  // The dictionary is then the settings file itself. With no row in it nothing
  // is loaded, collected, translated or written.
  Write("trans.ini",
        "[Localization]\nTransFormProp2=Caption\nOther=Ignored\ntransformprop3=Lowercase\n"
        "TransFormPropHint=Hint\nTransFormProp=Text\n[Other]\nTransFormProp9=Elsewhere\n");
  bTransActivated = true;
  InitTRANS(Path("trans.ini"));
  ASSERT_NE(_Translate, nullptr);
  EXPECT_EQ(_Translate->DictionaryFile, Path("trans.ini"));
  EXPECT_EQ(_Translate->Properties.Text(), "Caption\r\nHint\r\nText\r\n");
  EXPECT_EQ(_Translate->Loaded, 0);
  EXPECT_EQ(Transport::Translate("Nuevo"), "Nuevo");
  EXPECT_EQ(_Translate->Rows.Count(), 0);
  TCaptioned form(nullptr, "Archivo", "", true);  // not even read
  EXPECT_TRUE(Transport::TranslateForm(&form));
  EXPECT_TRUE(Transport::TranslateForm(nullptr));
  EndTRANS();

  // Its lines with a tab read as rows; writing them back would drop [GENERAL].
  const std::string settings =
      "[Localization]\nTransFormProp1=Caption\n[GENERAL]\nPORT=8080\nNOTE=a\tb\n";
  Write("trans.ini", settings);
  _MessagesMgr->Messages.clear();
  InitTRANS(Path("trans.ini"));
  ASSERT_NE(_Translate, nullptr);
  EXPECT_EQ(_Translate->Loaded, 1);
  EXPECT_FALSE(_Translate->WriteBack);
  EXPECT_NE(_MessagesMgr->GetLastMessage().find(Path("trans.ini")), std::string::npos);
  EXPECT_EQ(Transport::Translate("Nuevo"), "Nuevo");
  form.Broken = false;
  EXPECT_TRUE(Transport::TranslateForm(&form));
  EndTRANS();
  EXPECT_EQ(Read("trans.ini"), settings);

  // Nor through another name of the same file.
  Write("trans.ini", "[Localization]\nDictionary=.link\n" + settings.substr(15));
  std::filesystem::create_symlink(Path("trans.ini"), Path("trans.ini.link"));
  const std::string linked = Read("trans.ini");
  InitTRANS(Path("trans.ini"));
  ASSERT_NE(_Translate, nullptr);
  EXPECT_FALSE(_Translate->WriteBack);
  Transport::Translate("Otro");
  EndTRANS();
  EXPECT_EQ(Read("trans.ini"), linked);
}

TEST_F(TranslateTest, SettingsOrDictionaryThatAreNoRegularFilesReadAsMissing) {
  ASSERT_EQ(::mkfifo(Path("trans.ini.fifo").c_str(), 0600), 0);
  Start(".fifo");  // the dictionary is a FIFO that nobody writes
  ASSERT_NE(_Translate, nullptr);
  EXPECT_EQ(_Translate->Loaded, 0);
  EndTRANS();
  for (const std::string& path : {Path("trans.ini.fifo"), std::string("/dev/zero")}) {
    InitTRANS(path);
    ASSERT_NE(_Translate, nullptr) << path;
    EXPECT_EQ(_Translate->Loaded, 0) << path;
    EXPECT_EQ(_Translate->Properties.Count(), 0) << path;
    EndTRANS();
  }
  struct stat info {};
  ASSERT_EQ(::stat(Path("trans.ini.fifo").c_str(), &info), 0);
  EXPECT_TRUE(S_ISFIFO(info.st_mode));
}

TEST_F(TranslateTest, EveryFailingStepOfAWriteBackRaisesAndKeepsTheOldDictionary) {
  Write("trans.ini", "[Localization]\nDictionary=.dic\n");
  bTransActivated = true;
  const std::string before = "; notes\r\nHola\tHello\r\n";
  const std::string after = before + "Nuevo\t<N/A>\r\n";
  const auto reset = [&] {
    Write("trans.ini.dic", before);
    delete _Translate;  // what a failed write kept
    _Translate = nullptr;
    InitTRANS(Path("trans.ini"));
    Transport::Translate("Nuevo");
  };
  // Both writers: EndTRANS and the form translation, which writes new rows at once.
  const std::string path = Path("trans.ini.dic");
  cuadrante::testing::CheckEveryFault(path, before, after, reset, [] { EndTRANS(); });
  cuadrante::testing::CheckEveryFault(path, before, after, reset, [] {
    TComponent form(nullptr);
    Transport::TranslateForm(&form);
  });

  // A failed EndTRANS keeps the translator, so the host can try again.
  reset();
  {
    cuadrante::testing::FileSizeLimit limit(before.size());
    EXPECT_THROW(EndTRANS(), EFCreateError);
  }
  ASSERT_NE(_Translate, nullptr);
  EndTRANS();
  EXPECT_EQ(Read("trans.ini.dic"), after);
}

}  // namespace
