// Base64 of the standard alphabet with "=" padding, in memory and between
// files, written as one unbroken run with no line breaks.
//
// Decoding never fails: every character outside the alphabet ("=", blanks,
// line breaks, any other noise) is skipped wherever it stands, and the count
// of the characters left says how many bytes there are, so padding is never
// checked. The class holds nothing between calls: any number of threads may
// code at once, each with its own instance or sharing one.
//
// Example:
//   TBase64 base64;
//   base64.Encode(AnsiString("ab")) == "YWI=";
//   base64.Decode(AnsiString("YW\r\nI")) == "ab";
#pragma once

#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"

class CUADRANTE_API TBase64 {
 public:
  TBase64() = default;

  // The 4 characters of the `len` (1 to 3) bytes of `in`; the bytes of `in`
  // beyond `len` must be 0. One byte gives two characters and "==", two bytes
  // three characters and "=".
  void EncodeBlock(const unsigned char* in, unsigned char* out, int len) const;
  // The 3 bytes of the 4 six-bit values of `in` (values, not characters).
  void DecodeBlock(const unsigned char* in, unsigned char* out) const;

  // The buffers that these four return belong to the caller, who frees them
  // with delete[]. They hold exactly `outLen` meaningful bytes and no closing
  // NUL; the empty input gives a buffer of length 0. A negative `len` counts as
  // 0. An input whose encoding would not fit in an int raises Exception.
  char* Encode(const char* data, int len, int& outLen) const;
  char* Decode(const char* data, int len, int& outLen) const;
  // The whole file, coded. EFOpenError naming the file when it can't be read,
  // is not a regular file or holds more than kDataFileLimit bytes (files.h).
  char* EncodeFile(const AnsiString& inFile, int& outLen) const;
  char* DecodeFile(const AnsiString& inFile, int& outLen) const;

  // The same on counted texts, which may hold NUL bytes, of any length.
  AnsiString Encode(const AnsiString& text) const;
  AnsiString Decode(const AnsiString& text) const;

  // Codes the whole of `inFile` into `outFile`, which is made or replaced. The
  // new file is written beside the old one and renamed over it, so a failure
  // (EFOpenError for the input, EFCreateError for the output) never leaves
  // half a file behind.
  void EncodeFile(const AnsiString& inFile, const AnsiString& outFile) const;
  void DecodeFile(const AnsiString& inFile, const AnsiString& outFile) const;
};
