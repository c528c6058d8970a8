// The host's status bar, as the library sees it: a row of text panels that can
// be counted, written by index and refreshed. The host implements it over its
// own display and keeps ownership; the library only borrows the pointer. Call
// it on the thread that owns the display.
#pragma once

#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"

class CUADRANTE_API TStatusBar {
 public:
  virtual ~TStatusBar() = default;
  // How many panels the bar has.
  virtual int PanelCount() const = 0;
  // Replaces the text of panel `index`, 0 <= index < PanelCount().
  virtual void SetPanelText(int index, const AnsiString& text) = 0;
  // Makes the changes visible at once, even in the middle of a long task.
  virtual void Refresh() = 0;
};
