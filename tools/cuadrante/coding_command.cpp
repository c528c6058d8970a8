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
#include "tools/cuadrante/commands.h"

namespace cuadrante::tool {
namespace {

std::string ReadStdin(size_t limit = SIZE_MAX, const char* what = "") {
  return ReadStandardInput(limit, what);
}

void WriteStdout(const std::string& bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() ||
      std::fflush(stdout) != 0) {
    throw EFileError(std::string("cannot write stdout: ") + std::strerror(errno));
  }
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
      "`cuadrante unzip` reads it back, and so does `base64 -d | gzip -dc`.\n"
      "stdin may hold up to 2 GiB - 1 bytes.\n\n"
      "example:\n  echo 'Turno de noche' | cuadrante zip\n");
}

int RunZip(const Args& args) {
  ExpectNoArguments(args, "zip");
  const std::string line = RutinasText::ZipAndCode64(
      ReadStdin(INT_MAX, "the most that one gzip stream of the library takes (2 GiB - 1)"));
  WriteStdout(line.empty() ? line : line + "\n");
  return 0;
}

void HelpUnzip() {
  std::printf(
      "usage: cuadrante unzip [--limit BYTES] < LINE\n\n"
      "Reads the one-line Base64 form of a gzip stream from stdin (as `cuadrante\n"
      "zip` writes it, or as `gzip -c | base64` does: line breaks and other\n"
      "characters outside the Base64 alphabet are skipped) and writes the text.\n"
      "Every member of a concatenated stream is read, as `gzip -d` does, and each\n"
      "header and trailer is checked. A stream that would inflate beyond BYTES\n"
      "(default 1 GiB) is refused.\n\n"
      "example:\n  echo 'Turno de noche' | cuadrante zip | cuadrante unzip\n");
}

int RunUnzip(const Args& arguments) {
  Args args = arguments;
  int64_t limit = TInflaterDeflater::GetInflateLimit();
  if (args.size() == 2 && args[0] == "--limit") {
    try {
      limit = StrToInt64(args[1]);
    } catch (const Exception&) {
      throw Misuse("--limit takes a number of bytes, not '" + args[1] + "'");
    }
    if (limit < 0) throw Misuse("--limit takes a number of bytes, not '" + args[1] + "'");
    args.clear();
  }
  ExpectNoArguments(args, "unzip");
  // Read as `gzip -d` reads: every member of a concatenation, every header
  // field checked, where the library's own Inflate keeps to its first member.
  TGunzipResult read;
  try {
    read = GunzipFile(TBase64().Decode(ReadStdin()), limit);
  } catch (const EGzipError& e) {
    throw Exception("stdin is no Base64 form of a gzip stream: " + e.Message);
  }
  if (read.ignoredBytes > 0) {
    std::fprintf(stderr,
                 "cuadrante unzip: %zu bytes after the last gzip member are no data, ignored\n",
                 read.ignoredBytes);
  }
  WriteStdout(read.data);
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
    WriteStdout(base64.Decode(ReadStdin()));
  } else {
    const std::string line = base64.Encode(ReadStdin());
    WriteStdout(line.empty() ? line : line + "\n");
  }
  return 0;
}

}  // namespace cuadrante::tool
