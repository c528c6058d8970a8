// `cuadrante points` and `grid`: a point-set document listed point by point
// or laid out in rows of hours, and the lists other commands print the same way.
#pragma once

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/roster/dayhours.h"
#include "cuadrante/runtime/graphics.h"
#include "cuadrante/time/zone.h"
#include "tools/cuadrante/arguments.h"
#include "tools/cuadrante/table.h"

namespace cuadrante::tool {

int RunPoints(const Args& args);
void HelpPoints();
int RunGrid(const Args& args);
void HelpGrid();

// Rows of hours, one for each week or month and type, one column a day (7 for
// weeks, 31 for months) and the total; in text, then the totals of work,
// absence and other hours.
void PrintHours(const roster::TDayHours& hours, bool byMonth, Format format);
// Each pair of overlapping points (the first twenty) and their count, on stderr.
void ReportOverlaps(const TBasicPointList& sorted);
// One row a point: its group (or, for unrolled rules, the rule), first and
// closing minute, length, type and label, and the colour of boxes.
// With a zone, lengths are the time that really passes.
void PrintPoints(const TBasicPointList& points, Format format, bool ruleColumn, bool colours,
                 const TZone* zone = nullptr);
// A colour of the library (red in the low byte) as "#rrggbb".
std::string ColourHex(TColor colour);

}  // namespace cuadrante::tool
