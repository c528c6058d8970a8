// `cuadrante ics` and `ics-import`: iCalendar files written and read, and
// the clock times of a zone that such times may miss.
#pragma once

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/time/zone.h"
#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

int RunIcs(const Args& args);
void HelpIcs();
int RunIcsImport(const Args& args);
void HelpIcsImport();

// Says on stderr, once for each, the starts and ends of `items` that the
// zone's clocks skip or show twice, and how they are counted.
void ReportWallProblems(const TBasicPointList& items, const TZone& zone);

}  // namespace cuadrante::tool
