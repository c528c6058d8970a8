#include <cstdint>

#include "cuadrante/port/stream.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/text/rutinastext.h"
#include "cuadrante/text/tbase64.h"
#include "cuadrante/text/tinflaterdeflater.h"

namespace RutinasText {

// Deflate and Inflate answer false only when memory runs out or the text is
// longer than an int counts. An empty result would read as an empty text, and
// a caller would store it in place of the real one: raise instead.
AnsiString ZipAndCode64(const AnsiString& text) {
  if (text.empty()) return {};
  TStringStream zipped("");
  if (!TInflaterDeflater::Deflate(text, &zipped, cuadrante::kStageGzip)) {
    throw Exception("ZipAndCode64: no memory to compress " + std::to_string(text.size()) +
                    " bytes");
  }
  return TBase64().Encode(zipped.DataString());
}

AnsiString Decode64AndUnzip(const AnsiString& text) {
  if (text.empty()) return {};
  const AnsiString zipped = TBase64().Decode(text);
  TStringStream unzipped("");
  if (!TInflaterDeflater::Inflate(zipped, &unzipped, cuadrante::kStageGzip)) {
    throw Exception("Decode64AndUnzip: no memory to inflate " + std::to_string(zipped.size()) +
                    " bytes");
  }
  return unzipped.TakeDataString();
}

TBlobStream::TBlobStream(const AnsiString& text) { lines_.SetText(text); }

AnsiString TBlobStream::GetString() const { return lines_.Text(); }

void TBlobStream::SetString(const AnsiString& text) { lines_.SetText(text); }

AnsiString TBlobStream::GetValue(const AnsiString& name) const { return lines_.Values(name); }

void TBlobStream::SetValue(const AnsiString& name, const AnsiString& value) {
  lines_.SetValue(name, value);
}

}  // namespace RutinasText
