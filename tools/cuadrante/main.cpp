// cuadrante: the command-line host that ships with the library.
//
// Each command reads its arguments, calls the library as any host would, and
// prints plain text. Exit status: 0 on success, 1 on bad input (one line on
// stderr naming the input), 2 on misuse.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "cuadrante/port/files.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/globalmgr.h"
#include "cuadrante/services/translate.h"
#include "tools/cuadrante/arguments.h"
#include "tools/cuadrante/coding_command.h"
#include "tools/cuadrante/cycles_command.h"
#include "tools/cuadrante/date_command.h"
#include "tools/cuadrante/edit_command.h"
#include "tools/cuadrante/env_command.h"
#include "tools/cuadrante/ics_command.h"
#include "tools/cuadrante/labels.h"
#include "tools/cuadrante/operation_command.h"
#include "tools/cuadrante/plan_command.h"
#include "tools/cuadrante/point_command.h"
#include "tools/cuadrante/points_command.h"
#include "tools/cuadrante/render_command.h"
#include "tools/cuadrante/solve_command.h"
#include "tools/cuadrante/validate_command.h"

namespace {

struct Command {
  std::string_view name;
  std::string_view summary;
  int (*run)(const cuadrante::tool::Args&);
  void (*help)();
};

const Command kCommands[] = {
    {"point", "show a time point from its stored text", cuadrante::tool::RunPoint,
     cuadrante::tool::HelpPoint},
    {"date", "show the week, month and neighbours of a date", cuadrante::tool::RunDate,
     cuadrante::tool::HelpDate},
    {"plan", "a plan's people: roster and hours week by week", cuadrante::tool::RunPlan,
     cuadrante::tool::HelpPlan},
    {"rule", "print the stored form of a rule made from dates and hours", cuadrante::tool::RunRule,
     cuadrante::tool::HelpRule},
    {"rules", "add a rule to a rules document", cuadrante::tool::RunRules,
     cuadrante::tool::HelpRules},
    {"validate", "check every element of point-set documents", cuadrante::tool::RunValidate,
     cuadrante::tool::HelpValidate},
    {"points", "list the points of a point-set document", cuadrante::tool::RunPoints,
     cuadrante::tool::HelpPoints},
    {"grid", "lay a point-set document out by week or month", cuadrante::tool::RunGrid,
     cuadrante::tool::HelpGrid},
    {"expand", "unroll a rules document between two dates", cuadrante::tool::RunExpand,
     cuadrante::tool::HelpExpand},
    {"periods", "cut a range into labelled calendar periods", cuadrante::tool::RunPeriods,
     cuadrante::tool::HelpPeriods},
    {"roster", "week grid of the rules unrolled over a month or range", cuadrante::tool::RunRoster,
     cuadrante::tool::HelpRoster},
    {"render", "draw the timeline of a document as an SVG picture", cuadrante::tool::RunRender,
     cuadrante::tool::HelpRender},
    {"env", "read and write the environment document", cuadrante::tool::RunEnv,
     cuadrante::tool::HelpEnv},
    {"config", "read and write the configuration INI file", cuadrante::tool::RunConfig,
     cuadrante::tool::HelpConfig},
    {"demo-operation", "run a long operation with a live progress bar",
     cuadrante::tool::RunDemoOperation, cuadrante::tool::HelpDemoOperation},
    {"zip", "gzip stdin and print it as one line of Base64", cuadrante::tool::RunZip,
     cuadrante::tool::HelpZip},
    {"unzip", "read the one-line Base64-of-gzip form from stdin", cuadrante::tool::RunUnzip,
     cuadrante::tool::HelpUnzip},
    {"base64", "Base64-encode stdin, or decode it with -d", cuadrante::tool::RunBase64,
     cuadrante::tool::HelpBase64},
    {"ics", "write items, rules or a roster as an iCalendar file", cuadrante::tool::RunIcs,
     cuadrante::tool::HelpIcs},
    {"ics-import", "read the events of an iCalendar file as items", cuadrante::tool::RunIcsImport,
     cuadrante::tool::HelpIcsImport},
    {"solve", "fill a roster for a shift scheduling benchmark instance", cuadrante::tool::RunSolve,
     cuadrante::tool::HelpSolve},
};

void PrintUsage(std::FILE* out) {
  std::fprintf(out, "usage: cuadrante COMMAND [ARGS...]\n\ncommands:\n");
  for (const Command& command : kCommands) {
    std::fprintf(out, "  %-15.*s %.*s\n", static_cast<int>(command.name.size()),
                 command.name.data(), static_cast<int>(command.summary.size()),
                 command.summary.data());
  }
  std::fprintf(out, "  %-15s %s\n", "help", "this text, or `cuadrante help COMMAND`");
  std::fprintf(out,
               "\noptions of every command:\n"
               "  --dict INI       translate labels with the dictionary that INI names\n"
               "  --collect        with --dict, add the texts it lacks to the dictionary\n"
               "  --env PATH       the environment document (default: Enviroment.xml in\n"
               "                   $XDG_CONFIG_HOME/cuadrante, or ~/.config/cuadrante)\n"
               "  --help           what the command does, with examples\n"
               "\noptions of the commands that print a list:\n"
               "  --format F       text (default), csv, xml or json\n"
               "  --from, --to     dates as 2026-11-23 or 23/11/2026, both days included;\n"
               "                   an item belongs to the range when it overlaps it\n"
               "\nexit status: 0 done, 1 bad input (one line on stderr says which and why),\n"
               "2 misuse of the command line\n");
}

// The options every command takes, taken out before the command reads its
// own: --dict INI switches translation on with the dictionary that INI names,
// --collect writes the rows missing from it back when the command ends, and
// --env PATH names the environment document (by default the one in the
// user's configuration folder).
void TakeGlobalOptions(std::vector<std::string>& args) {
  using cuadrante::tool::Flag;
  using cuadrante::tool::Value;
  const cuadrante::tool::Options global = cuadrante::tool::TakeOptions(
      args, {Value("--dict", "a settings file"), Value("--env", "the path of a document"),
             Flag("--collect")});
  const std::string dictionary = global.Get("--dict", "");
  const bool collect = global.Flag("--collect");
  if (global.Has("--env")) cuadrante::tool::SetEnvironmentOption(global.Need("--env"));
  if (collect && dictionary.empty()) throw cuadrante::tool::Misuse("--collect needs --dict INI");
  if (!dictionary.empty()) cuadrante::tool::UseDictionary(dictionary, collect);
  const std::string& environment = cuadrante::tool::EnvironmentOption();
  _GlobalMgr.SetFileEnv(environment.empty() ? cuadrante::tool::ConfigPath("Enviroment.xml")
                                            : environment);
}

// Messages of the library may hold line breaks, and may quote what a user
// typed, bytes that are no text included; a script reading stderr expects
// one line, and a terminal must not receive raw control bytes.
std::string OneLine(const char* message) {
  std::string line;
  for (const char* c = message; *c != '\0'; ++c) {
    if (*c == '\r') continue;
    line += *c == '\n' ? std::string("; ") : std::string(1, *c);
  }
  return cuadrante::tool::Printable(line);
}

const Command* Find(std::string_view name) {
  for (const Command& command : kCommands) {
    if (command.name == name) return &command;
  }
  return nullptr;
}

// `help`, `help COMMAND` and `help help`.
int RunHelp(const std::vector<std::string>& args) {
  if (args.empty()) {
    PrintUsage(stdout);
    return 0;
  }
  if (args.front() == "help") {
    std::printf(
        "usage: cuadrante help [COMMAND]\n\n"
        "Lists the commands, or explains one with examples (as `cuadrante COMMAND\n"
        "--help` does).\n");
    return 0;
  }
  if (const Command* command = Find(args.front())) {
    command->help();
    return 0;
  }
  std::fprintf(stderr, "cuadrante help: unknown command '%s'; `cuadrante help` lists them\n",
               cuadrante::tool::Printable(args.front()).c_str());
  return cuadrante::tool::kMisuse;
}

// Whether --help or -h comes before any "--".
bool AsksForHelp(const std::vector<std::string>& args) {
  for (const std::string& arg : args) {
    if (arg == "--") return false;
    if (arg == "--help" || arg == "-h") return true;
  }
  return false;
}

// Runs `command` with the options of every command taken out first, and
// turns what it raises into one line on stderr and the exit status.
int RunCommand(const Command& command, const std::string& name, std::vector<std::string>& args) {
  try {
    TakeGlobalOptions(args);
    const int status = command.run(args);
    EndTRANS();
    // Output that never reached its reader is a failure, whatever the command
    // thought: a full disk or a closed pipe must not pass for success.
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
      std::fprintf(stderr, "cuadrante %s: cannot write standard output: %s\n", name.c_str(),
                   std::strerror(errno != 0 ? errno : EIO));
      return cuadrante::tool::kBadInput;
    }
    return status;
  } catch (const cuadrante::tool::Misuse& e) {
    std::fprintf(stderr, "cuadrante %s: %s\n", name.c_str(), OneLine(e.what()).c_str());
    return cuadrante::tool::kMisuse;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "cuadrante %s: out of memory\n", name.c_str());
    return cuadrante::tool::kBadInput;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "cuadrante %s: %s\n", name.c_str(), OneLine(e.what()).c_str());
    return cuadrante::tool::kBadInput;
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) {
    PrintUsage(stderr);
    return cuadrante::tool::kMisuse;
  }
  const std::string name = args.front();
  args.erase(args.begin());
  if (name == "--version" || name == "version") {
    std::printf("cuadrante %s\n", CUADRANTE_VERSION);
    return 0;
  }
  if (name == "help" || name == "--help" || name == "-h") return RunHelp(args);
  const Command* command = Find(name);
  if (command == nullptr) {
    std::fprintf(stderr, "cuadrante: unknown command '%s'; `cuadrante help` lists them\n",
                 cuadrante::tool::Printable(name).c_str());
    return cuadrante::tool::kMisuse;
  }
  if (AsksForHelp(args)) {
    command->help();
    return 0;
  }
  return RunCommand(*command, name, args);
}
