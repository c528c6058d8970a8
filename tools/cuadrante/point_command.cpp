// `cuadrante point TEXT`: a time point read from its stored text form.
#include <cstdio>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/text/rutinastext.h"
#include "cuadrante/time/basicpoint.h"
#include "tools/cuadrante/labels.h"
#include "tools/cuadrante/point_command.h"

namespace cuadrante::tool {

void HelpPoint() {
  std::printf(
      "usage: cuadrante point \"START;SECONDS;TYPE;LEVEL\"\n\n"
      "Reads a time point from its stored text (start in seconds from 30/12/1899,\n"
      "length in seconds, type and level) and shows its forms, the label of its\n"
      "type and the classes it belongs to.\n\n"
      "example:\n  cuadrante point \"4004582400;28800;2;1\"\n");
}

int RunPoint(const Args& arguments) {
  const Args args =
      Parse(arguments, {{}, {1, 1, "expects one stored text (see `cuadrante help point`)"}}).words;
  // The library ignores a short text in silence; a person deserves to be told.
  TVectorStrings fields;
  if (RutinasText::GetStrings(args[0], ";", fields) < 4) {
    throw EConvertError("'" + args[0] + "' has " + std::to_string(fields.size()) +
                        " fields; a point needs START;SECONDS;TYPE;LEVEL");
  }
  TBasicPoint point;
  point.ReadFromStr(args[0]);
  std::string classes;
  const auto add = [&classes](bool yes, const char* name) {
    if (!yes) return;
    if (!classes.empty()) classes += ", ";
    classes += name;
  };
  add(point.IsFree(), "free");
  add(point.IsTask(), "task");
  add(point.IsIncidence(), "incidence");
  add(point.IsAssignable(), "assignable");
  add(point.IsWork(), "work");
  std::printf("stored       %s\n", point.WriteToStr().c_str());
  std::printf("interval     %s\n", point.ToString(4).c_str());
  std::printf("duration     %s(%s)\n", point.ToString(0).c_str(),
              point.GetDuration().GetString(3).c_str());
  std::printf("type         %d %s\n", static_cast<int>(point.Type), TypeLabel(point.Type).c_str());
  std::printf("level        %d\n", static_cast<int>(point.Level));
  std::printf("classes      %s\n", classes.empty() ? "none" : classes.c_str());
  // The library separates the fields with tabs, which a terminal aligns to
  // its own stops; two blanks read the same everywhere.
  std::string smart;
  for (const char c : point.SmartString()) {
    if (c != '\t') {
      smart += c;
    } else if (smart.size() < 2 || smart.compare(smart.size() - 2, 2, "  ") != 0) {
      smart += "  ";
    }
  }
  std::printf("smart        %s\n", smart.c_str());
  return 0;
}

}  // namespace cuadrante::tool
