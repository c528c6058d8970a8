// The two readers behind TBasicPointMgr::LoadFromXML, apart so that tests can
// hold one against the other. Internal to the library and its tests.
#pragma once

#include <string_view>

#include "cuadrante/points/basicpointmgr.h"

namespace cuadrante::detail {

// Reads the points of the plain form that SaveToXML writes (an optional BOM
// and declaration, a "POINTSMGR" root of "POINT" elements holding plain text,
// blanks between them) straight from `xml`, without a tree. Returns false
// without touching `set` when `xml` is anything else; otherwise fills the
// empty `set` as the tree reader would, its exceptions included.
bool LoadPlainPoints(TBasicPointMgr& set, std::string_view xml, TBasicPoint* proto);

// LoadFromXML through the XML document service: any document, every error.
bool LoadPointsThroughDocument(TBasicPointMgr& set, std::string_view xml, TBasicPoint* proto);

}  // namespace cuadrante::detail
