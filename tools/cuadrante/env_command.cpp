// `cuadrante env ...` on the environment document and `cuadrante config ...`
// on the configuration INI file, both through the global manager.
#include <cstdio>
#include <string>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/globalmgr.h"
#include "tools/cuadrante/commands.h"

namespace cuadrante::tool {
void HelpEnv() {
  std::printf(
      "usage: cuadrante env get SECTION VALUE      [--env PATH]\n"
      "       cuadrante env set SECTION VALUE TEXT [--env PATH]\n"
      "       cuadrante env show SECTION           [--env PATH]\n\n"
      "Reads and writes the environment document (default \"Enviroment.xml\" in the\n"
      "current folder; created with an empty DATAPACKET the first time). Names are\n"
      "found without regard to case; a new name keeps the spelling given. Every\n"
      "change is saved at once, replacing the file whole.\n\n"
      "examples:\n  cuadrante env set GENERAL ZV_MON_TIMEOUT 1 --env /tmp/env.xml\n"
      "  cuadrante env get general zv_mon_timeout --env /tmp/env.xml\n");
}

int RunEnv(const Args& args) {
  if (args.empty()) throw Misuse("expects get, set or show (see `cuadrante help env`)");
  for (const std::string& arg : args) {
    if (arg.rfind("--", 0) == 0) throw Misuse("unknown option " + arg);
  }
  CheckEnvironmentDocument(_GlobalMgr.GetFileEnv());
  const std::string& verb = args[0];
  if (verb == "get" && args.size() == 3) {
    if (!_GlobalMgr.LoadEnviroment()) {
      throw EFileError("cannot read or create '" + _GlobalMgr.GetFileEnv() + "'");
    }
    std::printf("%s\n", _GlobalMgr.GetValueEnv(args[1], args[2]).c_str());
    return 0;
  }
  if (verb == "show" && args.size() == 2) {
    if (!_GlobalMgr.LoadEnviroment()) {
      throw EFileError("cannot read or create '" + _GlobalMgr.GetFileEnv() + "'");
    }
    std::printf("%s\n", _GlobalMgr.GetNodeEnv(args[1]).c_str());
    return 0;
  }
  if (verb == "set" && args.size() == 4) {
    if (!_GlobalMgr.SetValueEnv(args[1], args[2], args[3])) {
      throw EFileError("cannot save '" + _GlobalMgr.GetFileEnv() + "'");
    }
    return 0;
  }
  throw Misuse("expects get SECTION VALUE, set SECTION VALUE TEXT or show SECTION");
}

void HelpConfig() {
  std::printf(
      "usage: cuadrante config get SECTION KEY [--file NAME]\n"
      "       cuadrante config set SECTION KEY VALUE [--file NAME]\n\n"
      "Reads and writes the configuration INI file (default \"ZelvorinSrv.ini\"),\n"
      "which lives in the program's own folder; NAME is a file name in that folder.\n"
      "A missing key reads as the empty text.\n\n"
      "examples:\n  cuadrante config set GENERAL PORT 8080\n"
      "  cuadrante config get GENERAL PORT --file test.ini\n");
}

int RunConfig(const Args& arguments) {
  const Options options = Parse(arguments, {"--file"}, {});
  const Args& args = options.words;
  const std::string file = options.Get("--file", "");
  if (!file.empty()) {
    if (file.find('/') != std::string::npos) {
      throw EConvertError("'" + file + "' is a path; --file takes a name in " +
                          _GlobalMgr.GetWorkingDir());
    }
    _GlobalMgr.SetConfigFile(file);
  }
  if (args.size() == 3 && args[0] == "get") {
    std::printf("%s\n", _GlobalMgr.GetConfigValue(args[1], args[2], "").c_str());
    return 0;
  }
  if (args.size() == 4 && args[0] == "set") {
    _GlobalMgr.SetConfigValue(args[1], args[2], AnsiString(args[3]));
    return 0;
  }
  throw Misuse("expects get SECTION KEY or set SECTION KEY VALUE (see `cuadrante help config`)");
}

}  // namespace cuadrante::tool
