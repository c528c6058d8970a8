#include "cuadrante/services/globalmgr.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <future>
#include <memory>
#include <vector>

#include "cuadrante/runtime/dateformat.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/callbacksmgr.h"
#include "cuadrante/services/messagesmgr.h"
#include "cuadrante/testing/testsupport.h"

namespace {

namespace fs = std::filesystem;
using cuadrante::testing::ReadText;
using cuadrante::testing::WriteText;

// Works on _GlobalMgr itself and puts its file names back afterwards. The
// INI files are named relative to the program's folder, as the manager joins
// them to it, so they land in a temporary folder of the test's own.
class TGlobalMgrTest : public ::testing::Test {
 protected:
  ~TGlobalMgrTest() override {
    _GlobalMgr.WorkingFile = savedWorking_;
    _GlobalMgr.ConfigFile = savedConfig_;
    _GlobalMgr.MaxDate = savedMaxDate_;
  }

  // The name that the manager joins to its folder to reach `name` in ours.
  std::string Relative(const std::string& name) const {
    return fs::relative(fs::path(folder_ / name), fs::path(_GlobalMgr.GetWorkingDir())).string();
  }

  cuadrante::testing::TempFolder folder_;
  AnsiString savedWorking_ = _GlobalMgr.WorkingFile;
  AnsiString savedConfig_ = _GlobalMgr.ConfigFile;
  TDateTime savedMaxDate_ = _GlobalMgr.MaxDate;
};

TEST_F(TGlobalMgrTest, StartsWithItsDefaultsAndTheProgramsFolder) {
  const std::string exeFolder = fs::read_symlink("/proc/self/exe").parent_path().string() + "/";
  EXPECT_EQ(_GlobalMgr.GetConfigFile(), exeFolder + "ZelvorinSrv.ini");
  EXPECT_EQ(_GlobalMgr.GetWorkingFile(), exeFolder + "<>");
  EXPECT_EQ(_GlobalMgr.GetFileEnv(), "Enviroment.xml");
  EXPECT_FALSE(fs::exists(_GlobalMgr.GetConfigFile()));  // nothing made at load
  EXPECT_EQ(_GlobalMgr.MaxDate, EncodeDate(2010, 12, 31));
  EXPECT_EQ(_GlobalMgr.GetWorkingValue("GENERAL", "MAXDATE", "none"), "none");
  EXPECT_EQ(_GlobalMgr.GetRegistryValue(nullptr, "Software\\Nobody", "Value"), "");

  // One colour per kind of time point; RestartColors puts them back.
  const std::vector<TColor> colors = {0x808000, 0x00FF00, 0xFFFF00, 0xF0CAA6, 0x000080,
                                      0x800080, 0x0000FF, 0x808080, 0xFF0000, 0x008080,
                                      0x00FFFF, 0xF0CAA6, 0xF0CAA6, 0x808000};
  EXPECT_EQ(_GlobalMgr.Colors, colors);
  _GlobalMgr.Colors.push_back(1);
  _GlobalMgr.RestartColors();
  EXPECT_EQ(_GlobalMgr.Colors, colors);

  // The computer: both known, the name being this host's, or both empty.
  std::array<char, 256> host{};
  ASSERT_EQ(::gethostname(host.data(), host.size() - 1), 0);
  // Whether the resolver knows an IPv4 address for this host decides which.
  addrinfo hints{};
  hints.ai_family = AF_INET;
  addrinfo* found = nullptr;
  const bool resolves = ::getaddrinfo(host.data(), nullptr, &hints, &found) == 0 && found;
  std::array<char, INET_ADDRSTRLEN> first{};
  if (resolves) {
    ::inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr,
                first.data(), first.size());
    ::freeaddrinfo(found);
  }
  EXPECT_EQ(_GlobalMgr.ComputerName, resolves ? host.data() : "");
  EXPECT_EQ(_GlobalMgr.ComputerAddress, first.data());  // empty when it doesn't resolve
}

TEST_F(TGlobalMgrTest, WorkingFileSetsMaxDateOrFallsBack) {
  const AnsiString name = Relative("work.ini");
  const auto maxDateAfter = [&](const std::string& contents) {
    WriteText(folder_ / "work.ini", contents);
    _GlobalMgr.MaxDate = TDateTime(1);
    _GlobalMgr.SetWorkingFile(name);
    return _GlobalMgr.MaxDate;
  };
  const TDateTime fallback = EncodeDate(2010, 12, 31);
  EXPECT_EQ(maxDateAfter("[GENERAL]\nMAXDATE=31/12/2015\n"), EncodeDate(2015, 12, 31));
  EXPECT_EQ(maxDateAfter("[general]\nmaxdate=1/2/2020 06:00\n"),
            EncodeDate(2020, 2, 1) + EncodeTime(6, 0, 0, 0));
  EXPECT_EQ(maxDateAfter("[GENERAL]\nMAXDATE=31/02/2015\n"), fallback);
  {
    // The process's own date order is the one read.
    cuadrante::testing::SettingsGuard settings;
    FormatSettings.ShortDateFormat = "mm/dd/yyyy";
    EXPECT_EQ(maxDateAfter("[GENERAL]\nMAXDATE=12/31/2015\n"), EncodeDate(2015, 12, 31));
  }

  // A missing file is created empty, and nothing is written to it: no key, the default.
  _GlobalMgr.MaxDate = TDateTime(1);
  _GlobalMgr.SetWorkingFile(Relative("new.ini"));
  ASSERT_TRUE(fs::exists(folder_ / "new.ini"));
  EXPECT_EQ(fs::file_size(folder_ / "new.ini"), 0u);
  EXPECT_EQ(_GlobalMgr.MaxDate, fallback);

  // The host writes the working file through its own INI object.
  std::unique_ptr<TIniFile> ini(_GlobalMgr.GetWorkingINI());
  ini->WriteString("Host", "Key", "value");
  EXPECT_EQ(_GlobalMgr.GetWorkingValue("HOST", "KEY", ""), "value");

  // A folder that can't exist: the file isn't made and no exception leaves.
  WriteText(folder_ / "plain", "x");
  _GlobalMgr.MaxDate = TDateTime(1);
  EXPECT_NO_THROW(_GlobalMgr.SetWorkingFile(Relative("plain") + "/w.ini"));
  EXPECT_EQ(_GlobalMgr.MaxDate, fallback);
}

TEST_F(TGlobalMgrTest, ConfigValuesMakeTheRoundTrip) {
  _GlobalMgr.SetConfigFile(Relative("conf.ini"));
  ASSERT_TRUE(fs::exists(folder_ / "conf.ini"));
  EXPECT_EQ(_GlobalMgr.GetConfigValue("GENERAL", "PORT", "def"), "def");
  _GlobalMgr.SetConfigValue("GENERAL", "PORT", -12);
  _GlobalMgr.SetConfigValue("GENERAL", "NAME", AnsiString("Año nuevo"));
  EXPECT_NE(ReadText(folder_ / "conf.ini").find("PORT=-12"), std::string::npos);
  EXPECT_EQ(_GlobalMgr.GetConfigValue("general", "port", ""), "-12");
  EXPECT_EQ(_GlobalMgr.GetConfigValue("GENERAL", "NAME", ""), "Año nuevo");

  // An existing file is kept as it is.
  _GlobalMgr.SetConfigFile(Relative("conf.ini"));
  std::unique_ptr<TIniFile> ini(_GlobalMgr.GetConfigINI());
  EXPECT_EQ(ini->FileName(), _GlobalMgr.GetConfigFile());
  EXPECT_EQ(ini->ReadInteger("GENERAL", "PORT", 0), -12);

  // Unwritable: reads give the default, a write raises.
  WriteText(folder_ / "plain", "x");
  _GlobalMgr.SetConfigFile(Relative("plain") + "/conf.ini");
  EXPECT_EQ(_GlobalMgr.GetConfigValue("GENERAL", "PORT", "def"), "def");
  EXPECT_THROW(_GlobalMgr.SetConfigValue("GENERAL", "PORT", 1), EFileError);
}

TEST(TGlobalMgr, MeasuresMemory) {
  EXPECT_GT(_GlobalMgr.GetFreeMemory(), 0u);
  const uint32_t before = _GlobalMgr.GetUsedMemory();
  ASSERT_NE(before, 0xFFFFFFFFu);
  // 64 MB touched page by page are private to this process.
  constexpr size_t kSize = 64u << 20;
  std::unique_ptr<char[]> block(new char[kSize]);
  for (size_t i = 0; i < kSize; i += 4096) block[i] = static_cast<char>(i);
  const uint32_t after = _GlobalMgr.GetUsedMemory();
  // In 64 bits: a measure stuck near the top must not pass by wrapping round.
  EXPECT_GE(uint64_t{after}, uint64_t{before} + (48u << 20)) << before << " " << after;
  EXPECT_NE(block[4096], 1);  // keeps the block alive up to here
}

TEST(TGlobalMgr, LockIsSharedByEveryCaller) {
  _GlobalMgr.BeginWrite();
  _GlobalMgr.BeginWrite();
  _GlobalMgr.EndWrite();
  // Still held once: a reader elsewhere gets in only after the last EndWrite.
  bool released = false;  // written before EndWrite, read after BeginRead
  std::future<bool> reader = std::async(std::launch::async, [&] {
    _GlobalMgr.BeginRead();
    const bool sawRelease = released;
    _GlobalMgr.EndRead();
    return sawRelease;
  });
  released = true;
  _GlobalMgr.EndWrite();
  EXPECT_TRUE(reader.get());
}

TEST(TGlobalMgr, OwnInstanceBuildsAndResetsTheGlobals) {
  TMessagesMgr* const messages = _MessagesMgr;
  TCallBacksMgr* const callbacks = _CallBacksMgr;
  {
    cuadrante::testing::SettingsGuard comma(',');
    auto mgr = std::make_unique<TGlobalMgr>();
    EXPECT_EQ(FormatSettings.DecimalSeparator, '.');
    EXPECT_NE(_MessagesMgr, messages);
    EXPECT_NE(_CallBacksMgr, callbacks);
    EXPECT_EQ(_MessagesMgr != nullptr ? _MessagesMgr->BasePath : "<none>", mgr->GetWorkingDir());

    mgr->Reset();
    EXPECT_EQ(_MessagesMgr, nullptr);
    EXPECT_EQ(_CallBacksMgr, nullptr);
    mgr->BeginWrite();  // the lock is gone: these do nothing
    mgr->EndWrite();
    // Twice, then the destructor: nothing is deleted again.
    mgr->Reset();
    mgr.reset();
  }
  _MessagesMgr = messages;
  _CallBacksMgr = callbacks;
}

}  // namespace
