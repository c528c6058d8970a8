// `cuadrante zip`, `unzip` and `base64`: the text codings, stdin to stdout.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/text/gzipfile.h"
#include "cuadrante/text/rutinastext.h"
#include "cuadrante/text/tbase64.h"
#include "cuadrante/text/tinflaterdeflater.h"
#include "tools/cuadrante/coding_command.h"
#include "tools/cuadrante/documents.h"

namespace cuadrante::tool {
namespace {

constexpr size_t kPiece = size_t{64} << 10;

std::string ReadStdin() { return ReadStandardInput(SIZE_MAX, ""); }

// Reads stdin piece by piece into `take`, so that no input is held whole.
template <typename Take>
void ForEachStdinPiece(Take take) {
  std::string piece(kPiece, '\0');
  size_t got = 0;
  while ((got = std::fread(piece.data(), 1, piece.size(), stdin)) > 0)
    take(std::string_view(piece.data(), got));
  if (std::ferror(stdin))
    throw EFileError(std::string("cannot read stdin: ") + std::strerror(errno));
}

void WriteStdout(std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size())
    throw EFileError(std::string("cannot write stdout: ") + std::strerror(errno));
}

bool IsBase64Character(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
         c == '/' || c == '=';
}

void ExpectNoArguments(const Args& args, const char* command) {
  if (!args.empty()) {
    throw Misuse("takes no argument but '" + args.front() + "' (see `cuadrante help " + command +
                 "`)");
  }
}

}  // namespace

void HelpZip() {
  std::printf(
      "usage: cuadrante zip < TEXT\n\n"
      "Compresses stdin with gzip (deflate level 6) and prints the Base64 of the\n"
      "gzip stream as one line, the form in which long texts are stored and sent.\n"
      "`cuadrante unzip` reads it back, and so does `base64 -d | gzip -dc`. Input of\n"
      "any length streams through in pieces; an empty input gives the stream of the\n"
      "empty text, which every gzip reader takes.\n\n"
      "example:\n  echo 'Turno de noche' | cuadrante zip\n");
}

int RunZip(const Args& args) {
  ExpectNoArguments(args, "zip");
  const TBase64 base64;
  std::string held;  // gzip bytes not yet a whole number of Base64 groups
  TGzipWriter writer([&](std::string_view bytes) {
    held.append(bytes);
    const size_t whole = held.size() / 3 * 3;
    if (whole < kPiece) return;
    WriteStdout(base64.Encode(held.substr(0, whole)));
    held.erase(0, whole);
  });
  ForEachStdinPiece([&](std::string_view piece) { writer.Put(piece); });
  writer.Finish();
  WriteStdout(base64.Encode(held) + "\n");
  return 0;
}

void HelpUnzip() {
  std::printf(
      "usage: cuadrante unzip [--limit BYTES] < LINE\n\n"
      "Reads the one-line Base64 form of a gzip stream from stdin (as `cuadrante\n"
      "zip` writes it, or as `gzip -c | base64` does: line breaks and other\n"
      "characters outside the Base64 alphabet are skipped) and writes the text.\n"
      "Every member of a concatenated stream is read, as `gzip -d` does, and each\n"
      "header and trailer is checked. The stream is read and written in pieces, so\n"
      "its length takes no memory; one that would inflate beyond BYTES (default\n"
      "1 GiB) is refused.\n\n"
      "example:\n  echo 'Turno de noche' | cuadrante zip | cuadrante unzip\n");
}

int RunUnzip(const Args& arguments) {
  const Options options = Parse(arguments, {{Number("--limit", 0, INT64_MAX)}, {}});
  const int64_t limit = options.Number("--limit", TInflaterDeflater::GetInflateLimit());
  ExpectNoArguments(options.words, "unzip");
  // Read as `gzip -d` reads: every member of a concatenation, every header
  // field checked, where the library's own Inflate keeps to its first member.
  const TBase64 base64;
  TGunzipReader reader(WriteStdout, limit);
  std::string held;  // Base64 characters not yet a whole number of groups
  TGunzipResult read;
  try {
    ForEachStdinPiece([&](std::string_view piece) {
      for (const char c : piece) {
        if (IsBase64Character(c)) held += c;
      }
      const size_t whole = held.size() / 4 * 4;
      if (whole == 0) return;
      reader.Put(base64.Decode(held.substr(0, whole)));
      held.erase(0, whole);
    });
    reader.Put(base64.Decode(held));
    read = reader.Finish();
  } catch (const EGzipError& e) {
    throw Exception("stdin is no Base64 form of a gzip stream: " + e.Message);
  }
  if (read.ignoredBytes > 0) {
    std::fprintf(stderr,
                 "cuadrante unzip: %zu bytes after the last gzip member are no data, ignored\n",
                 read.ignoredBytes);
  }
  return 0;
}

void HelpBase64() {
  std::printf(
      "usage: cuadrante base64 [-d] < DATA\n\n"
      "Encodes stdin as Base64 (standard alphabet, \"=\" padding) on one line, or\n"
      "with -d decodes it, skipping line breaks, blanks and any other character\n"
      "outside the alphabet.\n\n"
      "examples:\n  printf abc | cuadrante base64\n  echo YWJj | cuadrante base64 -d\n");
}

int RunBase64(const Args& args) {
  const bool decode = args.size() == 1 && (args[0] == "-d" || args[0] == "--decode");
  if (!decode) ExpectNoArguments(args, "base64");
  const TBase64 base64;
  if (decode) {
    const std::string text = ReadStdin();
    if (!text.empty() && std::none_of(text.begin(), text.end(), IsBase64Character)) {
      throw Exception("stdin holds no Base64 character");
    }
    WriteStdout(base64.Decode(text));
  } else {
    const std::string line = base64.Encode(ReadStdin());
    WriteStdout(line.empty() ? line : line + "\n");
  }
  return 0;
}

}  // namespace cuadrante::tool
