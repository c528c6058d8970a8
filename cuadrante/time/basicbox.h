// TBasicBox, a time point placed on a screen time axis.
//
// To the point it adds a stored `End`, a fill `Color`, the screen rectangle
// `Box` and a `Code` and `Description`. `End` and `Color` are copies that only
// RestartEnd, RestartColor and ReadFromStr refresh; `Box` is undefined until
// CalculateBox or CalculateFullBox runs. Its stored text is
// "start;seconds;type;level;color;code;description". No lock: one thread at a
// time, or under its owner's lock.
//
// Example:
//   TBasicBox b;                     // Code and Description are " "
//   b.WriteToStr() == "0;0;0;1;<colour of type 0>; ; "
#pragma once

#include <cstdint>

#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/graphics.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/time/basicpoint.h"
#include "cuadrante/time/fecha.h"

class CUADRANTE_API TBasicBox : public TBasicPoint {
 public:
  // Point defaults, End 0, the colour of type 0, Code and Description " ".
  TBasicBox();
  // The point's fields as TBasicPoint(const TBasicPoint*) copies them; End is
  // Inicio + Duration, Color the table's entry for Type, Code and Description
  // " ", even when `point` is a box. `point` must not be null.
  explicit TBasicBox(const TBasicPoint* point);
  // The point's fields, Color, Code and Description; End is recomputed and Box
  // is not copied. `other` must not be null.
  explicit TBasicBox(const TBasicBox* other);
  TBasicBox(const TBasicBox& other) : TBasicBox(&other) {}
  TBasicBox& operator=(const TBasicBox&) = default;

  ~TBasicBox() override;
  // A heap copy of this box; the caller owns it.
  TBasicPoint* Instance() override;
  // A heap box made from `other` as TBasicBox(const TBasicPoint*) does; the caller owns it.
  TBasicPoint* Instance(TBasicPoint* other) override;
  // The stored `End`.
  TFecha GetEndDate() const override;
  // End := Inicio + Duration.
  void RestartEnd() override;
  // The stored `Color`.
  TColor GetColor() const override;
  // Six labelled lines (type, start, end, duration, code, description) joined
  // by "\r\n"; dates as "dd/mm/yy hh:mm".
  AnsiString SmartString() const override;
  // Rebuilds the list shared by every box with Code, ToString(2) and
  // Description; borrowed, never null, replaced by the next call on any box.
  TVectorStrings* GetStrings() override;
  // Reads the seven fields. Fewer than seven changes nothing; further fields
  // are ignored. A non-numeric field among the first five raises
  // EConvertError after the fields before it are assigned. `Level` may carry a
  // fraction, truncated. End is then Inicio + Duration.
  void ReadFromStr(const AnsiString& text) override;
  // The seven fields joined by ";"; Color printed as a signed 32-bit number.
  AnsiString WriteToStr() override;
  // Grey, 0x808080, whatever the box.
  virtual TColor Get3DColor() const;

  // Color := the table's entry for Type.
  void RestartColor();
  void SetCode(const AnsiString& code) { Code = code; }
  void SetDescription(const AnsiString& description) { Description = description; }

  // The rectangle of the exact span on a row: `rect` gives top and bottom,
  // `origin` is the instant at pixel `x0`, `scale` is pixels per minute. A
  // start left of the axis is clipped to x0 + 1; the right edge still counts
  // from the true start. Stored in Box and returned.
  TRect CalculateBox(const TRect& rect, TFecha& origin, int& x0, double& scale);
  // As CalculateBox, over the whole calendar days from the start day to the
  // end day, both counted. Stored in Box and returned.
  TRect CalculateFullBox(const TRect& rect, TFecha& origin, int& x0, double& scale);
  // (x, y) lies in Box, all four edges included.
  bool IsPointXInBox(int x, int y) const;

  TFecha End;
  TColor Color = 0;
  TRect Box;
  AnsiString Code = " ";
  AnsiString Description = " ";

 private:
  // Lives from library load to unload; separate from the point's list.
  static TVectorStrings SharedStrings;
};
