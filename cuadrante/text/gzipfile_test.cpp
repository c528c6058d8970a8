#include "cuadrante/text/gzipfile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>

#include "cuadrante/port/stream.h"
#include "cuadrante/testing/testsupport.h"
#include "cuadrante/text/tinflaterdeflater.h"

namespace {

using cuadrante::EGzipError;
using cuadrante::GunzipFile;
using cuadrante::testing::ReadText;
using cuadrante::testing::TempFolder;
using cuadrante::testing::WriteText;

constexpr int64_t kNoLimit = INT64_MAX;

// "hola\n" in one member with every optional field: FEXTRA (XLEN 6), FNAME
// "n.txt", FCOMMENT "c" and FHCRC 0x196D at bytes 26 and 27. Written by
// Python's zlib and checked with `gzip -t`, not by this library.
const std::string kAllFields(
    "\x1F\x8B\x08\x1E\x00\x00\x00\x00\x00\x03\x06\x00\x41\x42\x02\x00\x78\x79\x6E\x2E\x74\x78"
    "\x74\x00\x63\x00\x6D\x19\xCB\xC8\xCF\x49\xE4\x02\x00\x78\xAD\xDB\xD1\x05\x00\x00\x00",
    43);
constexpr size_t kHeaderCrcAt = 26;

// Text of seven letters, which compresses.
std::string TextLikeBytes(size_t n, unsigned seed) {
  return cuadrante::testing::RandomBytes(n, seed, 7, 'a');
}

std::string Gzip(const std::string& bytes) {
  TStringStream out("");
  EXPECT_TRUE(TInflaterDeflater::Deflate(bytes, &out, cuadrante::kStageGzip));
  return out.DataString();
}

// The error GunzipFile raises on `stream`, or "" when it raises none.
std::string ErrorOf(const std::string& stream, int64_t limit = kNoLimit) {
  return cuadrante::testing::ErrorOf<EGzipError>([&] { GunzipFile(stream, limit); });
}

int Shell(const std::string& command) { return std::system(command.c_str()); }
bool HaveGzip() { return Shell("gzip --version > /dev/null 2>&1") == 0; }

TEST(GunzipFile, ReadsEveryMemberOfAConcatenationAsGnuGzipDoes) {
  EXPECT_EQ(GunzipFile("", kNoLimit).members, 0);
  const std::string a = TextLikeBytes(70000, 1), b = "segunda parte\n";
  // An empty member between two others adds nothing and still counts.
  const std::string empty_member =
      std::string("\x1F\x8B\x08\0\0\0\0\0\0\0\x03\0", 12) + std::string(8, '\0');
  const auto read = GunzipFile(Gzip(a) + empty_member + Gzip(b), kNoLimit);
  EXPECT_TRUE(read.data == a + b);
  EXPECT_EQ(read.members, 3);
  EXPECT_EQ(read.ignoredBytes, 0u);

  if (!HaveGzip()) GTEST_SKIP() << "no gzip here";
  TempFolder folder;
  WriteText(folder / "a", a);
  WriteText(folder / "b", b);
  // gzip -c of two files writes two members, each with its file's name.
  ASSERT_EQ(Shell("gzip -6 -c " + folder / "a" + " " + folder / "b" + " > " + folder / "ab.gz"), 0);
  const auto theirs = GunzipFile(ReadText(folder / "ab.gz"), kNoLimit);
  EXPECT_TRUE(theirs.data == a + b);
  EXPECT_EQ(theirs.members, 2);
}

TEST(GunzipFile, HonoursEveryHeaderFieldAndRefusesWhatGzipRefuses) {
  EXPECT_EQ(GunzipFile(kAllFields, kNoLimit).data, "hola\n");
  auto with = [](size_t at, char value) {
    std::string changed = kAllFields;
    changed[at] = value;
    return changed;
  };
  const std::pair<std::string, std::string> refused[] = {
      {with(kHeaderCrcAt, '\x6C'),
       "gzip member 1 at byte 26: header CRC-16 is 196C but the header's is 196D"},
      // A changed name byte is caught by the header CRC, not taken silently.
      {with(19, 'X'), "gzip member 1 at byte 26: header CRC-16 is 196D but the header's is "},
      {with(3, '\x3E'), "gzip member 1 at byte 3: reserved flag bits are set (FLG 3E)"},
      {with(3, '\x9E'), "gzip member 1 at byte 3: reserved flag bits are set (FLG 9E)"},
      {with(2, '\x07'), "gzip member 1 at byte 2: compression method 7 is not deflate (8)"},
      {with(1, '\x8C'), "gzip member 1 at byte 0: not in gzip format (no 1F 8B at its start)"},
      {"PK\x03\x04", "gzip member 1 at byte 0: not in gzip format (no 1F 8B at its start)"},
      {with(28, '\xFF'), "gzip member 1 at byte 28: deflate data: "},
      {with(35, '\x79'),
       "gzip member 1 at byte 35: the data's CRC-32 is D1DBAD78 but the "
       "trailer says D1DBAD79"},
      {with(39, '\x06'),
       "gzip member 1 at byte 39: the data are 5 bytes (modulo 2^32: 5) but "
       "the trailer says 6"},
  };
  for (const auto& [stream, message] : refused) {
    EXPECT_EQ(ErrorOf(stream).rfind(message, 0), 0u) << ErrorOf(stream);
  }

  // GNU gzip agrees on each: the good stream passes its test, every refused one fails it.
  if (!HaveGzip()) GTEST_SKIP() << "no gzip here";
  TempFolder folder;
  const auto gzip_accepts = [&](const std::string& stream) {
    WriteText(folder / "t.gz", stream);
    return Shell("gzip -t " + folder / "t.gz" + " 2> /dev/null") == 0;
  };
  EXPECT_TRUE(gzip_accepts(kAllFields));
  for (const auto& [stream, message] : refused) EXPECT_FALSE(gzip_accepts(stream)) << message;
}

TEST(GunzipFile, TellsPaddingFromGarbageAfterTheLastMember) {
  const std::string gzip = Gzip("dato");
  const auto padded = GunzipFile(gzip + std::string(512, '\0'), kNoLimit);
  EXPECT_EQ(padded.data, "dato");
  EXPECT_EQ(padded.ignoredBytes, 0u);
  const auto garbage = GunzipFile(gzip + "basura\n", kNoLimit);
  EXPECT_EQ(garbage.data, "dato");
  EXPECT_EQ(garbage.members, 1);
  EXPECT_EQ(garbage.ignoredBytes, 7u);
  EXPECT_EQ(GunzipFile(gzip + "\x1F", kNoLimit).ignoredBytes, 1u);
  // Whatever begins with the magic is a member, and a broken one is an error.
  EXPECT_EQ(ErrorOf(gzip + "\x1F\x8B"), "gzip member 2 at byte " + std::to_string(gzip.size() + 2) +
                                            ": the stream ends inside the header");
  // Its bytes count from the stream's start, past the first member's trailer.
  EXPECT_EQ(ErrorOf(gzip + std::string("\x1F\x8B\x07", 3) + std::string(7, '\0')),
            "gzip member 2 at byte " + std::to_string(gzip.size() + 2) +
                ": compression method 7 is not deflate (8)");
}

TEST(GunzipFile, EveryCutOfAStreamIsAnErrorOrEndsOnAMemberBoundary) {
  const std::string first = Gzip(TextLikeBytes(3000, 2));
  const std::string stream = first + kAllFields;
  for (size_t cut = 1; cut < stream.size(); ++cut) {
    const std::string prefix = stream.substr(0, cut);
    if (cut == first.size() || cut == first.size() + 1) {
      // The first member whole, then nothing or one byte that begins no member.
      const auto read = GunzipFile(prefix, kNoLimit);
      EXPECT_EQ(read.members, 1);
      EXPECT_EQ(read.ignoredBytes, cut - first.size());
      continue;
    }
    // A cut stream says so, wherever the cut falls, and points at its end.
    const std::string member = cut < first.size() ? "1" : "2";
    EXPECT_EQ(ErrorOf(prefix).rfind("gzip member " + member + " at byte " + std::to_string(cut) +
                                        ": the stream ends inside the ",
                                    0),
              0u)
        << ErrorOf(prefix);
  }
}

TEST(GunzipFile, StopsAResultBeyondTheLimitOfAllMembersTogether) {
  const std::string bomb = Gzip(std::string(5 << 20, '\0'));
  EXPECT_EQ(GunzipFile(bomb, 5 << 20).data.size(), size_t{5} << 20);
  EXPECT_NE(
      ErrorOf(bomb, (5 << 20) - 1).find(": the data inflate beyond the limit of 5242879 bytes"),
      std::string::npos);
  const std::string two = Gzip(std::string(600, 'x')) + Gzip(std::string(600, 'y'));
  EXPECT_EQ(GunzipFile(two, 1200).data.size(), 1200u);
  EXPECT_EQ(ErrorOf(two, 1199).rfind("gzip member 2 at byte ", 0), 0u) << ErrorOf(two, 1199);
  EXPECT_EQ(ErrorOf(two, 0).rfind("gzip member 1 at byte ", 0), 0u);
  EXPECT_EQ(ErrorOf(two, -5), ErrorOf(two, 0));
}

// Reads `stream` put in pieces of the sizes `pieces` gives, in turn; the
// result, or the error's text in `error`.
cuadrante::TGunzipResult ReadInPieces(const std::string& stream, int64_t limit,
                                      const std::function<size_t()>& pieces, std::string& error,
                                      size_t* largestOutput = nullptr) {
  std::string data;
  cuadrante::TGunzipReader reader(
      [&](std::string_view piece) {
        data.append(piece);
        if (largestOutput != nullptr) *largestOutput = std::max(*largestOutput, piece.size());
      },
      limit);
  error.clear();
  try {
    for (size_t at = 0; at < stream.size();) {
      const size_t piece = std::min(pieces(), stream.size() - at);
      reader.Put(std::string_view(stream).substr(at, piece));
      at += piece;
    }
    auto result = reader.Finish();
    result.data = std::move(data);
    return result;
  } catch (const EGzipError& e) {
    error = e.what();
    return {};
  }
}

TEST(TGunzipReader, PiecesOfAnySizeReadAsTheWholeStreamDoes) {
  const std::string big = TextLikeBytes(300000, 3);
  const std::string stream = Gzip(big) + kAllFields + kAllFields + "basura";
  std::string damaged = stream;
  damaged[stream.size() - 6 - 43 + kHeaderCrcAt] ^= 1;  // the last member's header CRC
  std::mt19937 random(5);
  for (const std::string* input : {&stream, static_cast<const std::string*>(&damaged)}) {
    const std::string whole = ErrorOf(*input);
    for (int round = 0; round < 4; ++round) {
      std::string error;
      const std::function<size_t()> pieces[] = {
          [] { return size_t{1}; }, [&] { return 1 + random() % 100; },
          [&] { return 1 + random() % 70000; }, [] { return SIZE_MAX; }};
      size_t largest = 0;
      const auto read = ReadInPieces(*input, kNoLimit, pieces[round], error, &largest);
      EXPECT_EQ(error, whole) << round;
      if (!whole.empty()) continue;
      EXPECT_TRUE(read.data == big + "hola\nhola\n") << round;
      EXPECT_EQ(read.members, 3);
      EXPECT_EQ(read.ignoredBytes, 6u);
      // Output reaches the sink in pieces of at most 64 KiB, however large the input.
      EXPECT_LE(largest, size_t{64} << 10);
    }
  }
  // The limit stops a piecewise read before its sink sees a byte beyond it.
  std::string error;
  ReadInPieces(
      Gzip(big), 100000, [] { return size_t{4096}; }, error);
  EXPECT_NE(error.find("inflate beyond the limit of 100000 bytes"), std::string::npos) << error;
}

TEST(TGzipWriter, WritesWhatGnuGzipAndTheReaderReadBack) {
  const auto write = [](const std::string& text, size_t piece) {
    std::string stream;
    cuadrante::TGzipWriter writer([&](std::string_view bytes) { stream.append(bytes); });
    for (size_t at = 0; at < text.size(); at += piece)
      writer.Put(std::string_view(text).substr(at, piece));
    writer.Finish();
    return stream;
  };
  const std::string text = TextLikeBytes(200000, 8) + std::string(100000, 'z');
  const std::string whole = write(text, text.size());
  EXPECT_EQ(whole.substr(0, 10), std::string("\x1F\x8B\x08\0\0\0\0\0\0\0", 10));
  EXPECT_EQ(write(text, 1000), whole);  // pieces make no difference
  EXPECT_TRUE(GunzipFile(whole, kNoLimit).data == text);
  EXPECT_LT(whole.size(), text.size() / 2);
  // No byte put at all is still a member: that of the empty text.
  const std::string empty = write("", 1);
  EXPECT_EQ(GunzipFile(empty, kNoLimit).members, 1);
  EXPECT_EQ(GunzipFile(empty, kNoLimit).data, "");

  if (!HaveGzip()) GTEST_SKIP() << "no gzip here";
  TempFolder folder;
  WriteText(folder / "ours.gz", whole + empty);
  ASSERT_EQ(Shell("gzip -dc " + folder / "ours.gz" + " > " + folder / "back"), 0);
  EXPECT_TRUE(ReadText(folder / "back") == text);
}

}  // namespace
