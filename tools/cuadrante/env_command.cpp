// `cuadrante env ...` on the environment document and `cuadrante config ...`
// on the configuration INI file, both through the global manager.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "cuadrante/documents/inifile.h"
#include "cuadrante/documents/xmldocument.h"
#include "cuadrante/port/files.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/globalmgr.h"
#include "tools/cuadrante/documents.h"
#include "tools/cuadrante/env_command.h"

namespace cuadrante::tool {
namespace {

// "cannot save 'env.xml'", and what the library found wrong, if it says.
std::string Why(const std::string& failed, const std::string& path) {
  const AnsiString problem = _GlobalMgr.EnvironmentProblem();
  return failed + " '" + path + "'" + (problem.empty() ? "" : ": " + problem);
}

}  // namespace

namespace {
std::string environmentOption;
}  // namespace

void CheckEnvironmentDocument(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return;
  if (!std::filesystem::is_regular_file(path, error)) {
    throw EFOpenError(path + ": is no regular file");
  }
  TXMLDocument document;
  try {
    document.LoadFromXML(ReadWholeFile(path, kSettingsFileLimit));
  } catch (const Exception& e) {
    throw EConvertError(path + ": " + e.Message + " (left as it is)");
  }
  if (document.DocumentElement().Name() != "DATAPACKET") {
    throw EConvertError(path + ": is no environment document (its root is " +
                        std::string(document.DocumentElement().Name()) + ", not DATAPACKET)");
  }
}

std::string ConfigPath(const std::string& name) {
  const char* config = std::getenv("XDG_CONFIG_HOME");
  // XDG asks that a relative value be ignored.
  if (config != nullptr && config[0] == '/') return std::string(config) + "/cuadrante/" + name;
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr && home[0] != '\0' ? home : ".") + "/.config/cuadrante/" +
         name;
}

const std::string& EnvironmentOption() { return environmentOption; }

void SetEnvironmentOption(const std::string& path) { environmentOption = path; }

void HelpEnv() {
  std::printf(
      "usage: cuadrante env get SECTION VALUE      [--env PATH]\n"
      "       cuadrante env set SECTION VALUE TEXT [--env PATH]\n"
      "       cuadrante env show SECTION           [--env PATH]\n\n"
      "Reads and writes the environment document (default Enviroment.xml in\n"
      "$XDG_CONFIG_HOME/cuadrante, or ~/.config/cuadrante; a set creates it with an\n"
      "empty DATAPACKET, a read never does). Names are found without regard to case;\n"
      "a new name keeps the spelling given. Every change is saved at once, under a\n"
      "lock, replacing the file whole.\n\n"
      "examples:\n  cuadrante env set GENERAL ZV_MON_TIMEOUT 1 --env ./env.xml\n"
      "  cuadrante env get general zv_mon_timeout --env ./env.xml\n");
}

int RunEnv(const Args& arguments) {
  const Options options =
      Parse(arguments, {{}, {1, SIZE_MAX, "expects get, set or show (see `cuadrante help env`)"}});
  const Args& args = options.words;
  const std::string path = _GlobalMgr.GetFileEnv();
  CheckEnvironmentDocument(path);
  const std::string& verb = args[0];
  if ((verb == "get" && args.size() == 3) || (verb == "show" && args.size() == 2)) {
    // A read never creates the document: a missing one holds nothing.
    if (!FileExists(path)) {
      std::printf("\n");
      return 0;
    }
    if (!_GlobalMgr.LoadEnviroment()) throw EFileError(Why("cannot read", path));
    // The check above leaves a read nothing to replace; a file spoilt since
    // then was, and the user hears where its text went.
    if (const AnsiString problem = _GlobalMgr.EnvironmentProblem(); !problem.empty())
      std::fprintf(stderr, "cuadrante: %s\n", problem.c_str());
    const AnsiString value =
        verb == "get" ? _GlobalMgr.GetValueEnv(args[1], args[2]) : _GlobalMgr.GetNodeEnv(args[1]);
    std::printf("%s\n", value.c_str());
    return 0;
  }
  if (verb == "set" && args.size() == 4) {
    if (EnvironmentOption().empty()) MakeFoldersFor(path);
    if (!_GlobalMgr.SetValueEnv(args[1], args[2], args[3])) {
      throw EFileError(Why("cannot save", path));
    }
    return 0;
  }
  throw Misuse("expects get SECTION VALUE, set SECTION VALUE TEXT or show SECTION");
}

void HelpConfig() {
  std::printf(
      "usage: cuadrante config get SECTION KEY [--file PATH]\n"
      "       cuadrante config set SECTION KEY VALUE [--file PATH]\n\n"
      "Reads and writes a configuration INI file: PATH, or by default cuadrante.ini\n"
      "in $XDG_CONFIG_HOME/cuadrante (~/.config/cuadrante when it is not set), whose\n"
      "folder a set creates. A missing file or key reads as the empty text, and a\n"
      "read creates nothing. Values with a line break, keys with '=' and other\n"
      "texts that an INI file cannot carry are refused.\n\n"
      "examples:\n  cuadrante config set GENERAL PORT 8080\n"
      "  cuadrante config get GENERAL PORT --file ./test.ini\n");
}

int RunConfig(const Args& arguments) {
  const Options options = Parse(arguments, {{Value("--file")}, {}});
  const Args& args = options.words;
  const bool given = options.Has("--file");
  const std::string path = given ? options.Need("--file") : ConfigPath("cuadrante.ini");
  if (path.empty()) throw Misuse("--file needs a path");
  if (args.size() == 3 && args[0] == "get") {
    std::printf("%s\n", TIniFile(path).ReadString(args[1], args[2], "").c_str());
    return 0;
  }
  if (args.size() == 4 && args[0] == "set") {
    if (!given) MakeFoldersFor(path);
    TIniFile(path).WriteString(args[1], args[2], args[3]);
    return 0;
  }
  throw Misuse("expects get SECTION KEY or set SECTION KEY VALUE (see `cuadrante help config`)");
}

}  // namespace cuadrante::tool
