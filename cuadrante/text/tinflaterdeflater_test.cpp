#include "cuadrante/text/tinflaterdeflater.h"

#include <cryptopp/filters.h>
#include <cryptopp/gzip.h>
#include <cryptopp/queue.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>

#include "cuadrante/port/stream.h"
#include "cuadrante/testing/testsupport.h"
#include "cuadrante/text/tbase64.h"

namespace {

using cuadrante::testing::ReadText;
using cuadrante::testing::TempFolder;
using cuadrante::testing::WriteText;

constexpr int kBase64 = 1;
constexpr int kGzip = 2;
constexpr int kPiece = 1048576;

using cuadrante::testing::RandomBytes;

// A memory stream that remembers the largest single write it took.
class TRecordingStream : public TStringStream {
 public:
  TRecordingStream() : TStringStream("") {}
  int64_t Write(const void* buffer, int64_t count) override {
    largest = std::max(largest, count);
    ++writes;
    return TStringStream::Write(buffer, count);
  }
  int64_t largest = 0;
  int writes = 0;
};

std::string Deflated(const std::string& bytes, int flags) {
  TStringStream out("");
  EXPECT_TRUE(TInflaterDeflater::Deflate(bytes, &out, flags));
  return out.DataString();
}

std::string Inflated(const std::string& bytes, int flags) {
  TStringStream out("");
  EXPECT_TRUE(TInflaterDeflater::Inflate(bytes, &out, flags));
  return out.DataString();
}

TEST(TInflaterDeflater, EmptyInputWritesNothingWhateverTheFlags) {
  for (int flags = 0; flags < 8; ++flags) {
    TStringStream out("kept");
    out.Seek(0, soEnd);
    TStringStream empty("");
    EXPECT_TRUE(TInflaterDeflater::Deflate(AnsiString(), &out, flags));
    EXPECT_TRUE(TInflaterDeflater::Deflate("x", 0, &out, flags));
    EXPECT_TRUE(TInflaterDeflater::Deflate(&empty, &out, flags));
    EXPECT_TRUE(TInflaterDeflater::Inflate(AnsiString(), &out, flags));
    EXPECT_TRUE(TInflaterDeflater::Inflate("x", -1, &out, flags));
    EXPECT_TRUE(TInflaterDeflater::Inflate(&empty, &out, flags));
    EXPECT_EQ(out.DataString(), "kept") << flags;
  }
  TStringStream in("x");
  EXPECT_FALSE(TInflaterDeflater::Deflate("x", 1, nullptr, kGzip));
  EXPECT_FALSE(TInflaterDeflater::Inflate(&in, nullptr, kGzip));
  EXPECT_FALSE(TInflaterDeflater::Deflate(nullptr, &in, kGzip));
}

TEST(TInflaterDeflater, ChoosesTheStagesByTheTwoLowBits) {
  const std::string text = "Turno de mañana, turno de tarde, turno de noche.";
  EXPECT_EQ(Deflated(text, 4), text);
  EXPECT_EQ(Inflated(text, -8), text);
  EXPECT_EQ(Deflated(text, 7), Deflated(text, kGzip | kBase64));
  // The fixed header, whatever machine compresses.
  EXPECT_EQ(Deflated(text, 6).substr(0, 10), std::string("\x1F\x8B\x08\0\0\0\0\0\0\0", 10));

  // Base64 behind gzip: lines of 72 characters, every one ended by a line feed.
  const std::string lines = Deflated(RandomBytes(500, 1), kGzip | kBase64);
  ASSERT_EQ(lines.back(), '\n');
  for (size_t start = 0, end = 0; start < lines.size(); start = end + 1) {
    end = lines.find('\n', start);
    EXPECT_TRUE(end - start == 72 || end + 1 == lines.size()) << start;
    EXPECT_EQ(lines.find_first_not_of(
                  "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=", start),
              end);
  }
  EXPECT_EQ(TBase64().Decode(lines).substr(0, 2), "\x1F\x8B");
  EXPECT_EQ(Deflated("ab", kBase64), "YWI=\n");
  EXPECT_EQ(Inflated("Y W\r\nI=", kBase64), "ab");
}

TEST(TInflaterDeflater, RoundTripsEverySizeAcrossTheHandOverPiece) {
  for (size_t n : {1, 2, 3, 54, 55, 1000, kPiece - 1, kPiece, kPiece + 1, 3 * kPiece + 7}) {
    const std::string bytes = RandomBytes(n, static_cast<unsigned>(n));
    for (int flags : {kBase64, kGzip, kBase64 | kGzip}) {
      TStringStream packed("");
      ASSERT_TRUE(TInflaterDeflater::Deflate(bytes.data(), static_cast<int>(n), &packed, flags));
      TRecordingStream out;
      ASSERT_TRUE(TInflaterDeflater::Inflate(&packed, &out, flags));
      EXPECT_TRUE(out.DataString() == bytes) << n << " flags " << flags;
      EXPECT_LE(out.largest, kPiece) << n;
      EXPECT_EQ(packed.Position(), packed.Size());  // `in` is read to its end
    }
  }
  // A small input that inflates far: the result arrives in pieces of at most 1 MiB.
  const std::string zeros(5 * kPiece + 3, '\0');
  TRecordingStream inflated;
  ASSERT_TRUE(TInflaterDeflater::Inflate(Deflated(zeros, kGzip), &inflated, kGzip));
  EXPECT_TRUE(inflated.DataString() == zeros);
  EXPECT_EQ(inflated.writes, 6);

  // The caller's bytes stay as they were, and `out` is written from its position on.
  std::string data = "abcabcabcabcabcabc";
  const std::string before = data;
  TStringStream out("prefix:");
  out.Seek(0, soEnd);
  ASSERT_TRUE(TInflaterDeflater::Deflate(reinterpret_cast<const signed char*>(data.data()),
                                         static_cast<int>(data.size()), &out, kGzip));
  EXPECT_EQ(data, before);
  EXPECT_EQ(out.DataString().substr(0, 7), "prefix:");
  EXPECT_EQ(Inflated(out.DataString().substr(7), kGzip), before);
}

TEST(TInflaterDeflater, ReadsAndIsReadByTheSystemGzip) {
  if (std::system("gzip --version > /dev/null 2>&1") != 0) GTEST_SKIP() << "no gzip here";
  TempFolder folder;
  const std::string bytes = RandomBytes(200000, 5) + std::string(300000, 'z');
  const auto run = [&](const std::string& command) { return std::system(command.c_str()); };
  WriteText(folder / "ours.gz", Deflated(bytes, kGzip));
  ASSERT_EQ(run("gzip -dc " + folder / "ours.gz" + " > " + folder / "back"), 0);
  EXPECT_TRUE(ReadText(folder / "back") == bytes);
  // gzip writes the file's name into the header when it compresses a file.
  WriteText(folder / "named", bytes);
  ASSERT_EQ(run("gzip -6 -k " + folder / "named"), 0);
  EXPECT_TRUE(Inflated(ReadText(folder / "named.gz"), kGzip) == bytes);
  ASSERT_EQ(run("gzip -6 -c < " + folder / "named" + " | base64 > " + folder / "b64"), 0);
  EXPECT_TRUE(Inflated(ReadText(folder / "b64"), kBase64 | kGzip) == bytes);
}

TEST(TInflaterDeflater, SkipsTheOptionalHeaderFields) {
  const std::string text = "Cobertura de guardia";
  const std::string gzip = Deflated(text, kGzip);
  std::string fields = gzip.substr(0, 10);
  fields[3] = 0x04 | 0x08 | 0x10;  // FEXTRA, FNAME, FCOMMENT
  fields += std::string("\x03\0abcname.txt\0comment\0", 22) + gzip.substr(10);
  EXPECT_EQ(Inflated(fields, kGzip), text);
}

TEST(TInflaterDeflater, DamagedStreamsRaiseTheirErrorAndLeaveOutAsItWas) {
  const std::string gzip = Deflated(RandomBytes(3000, 9), kGzip);
  const size_t trailer = gzip.size() - 8;
  auto with = [&](size_t at, int value) {
    std::string damaged = gzip;
    damaged[at] = static_cast<char>(value);
    return damaged;
  };
  const std::pair<std::string, const char*> cases[] = {
      {with(trailer, gzip[trailer] ^ 1), "Gunzip: CRC check error"},
      {with(trailer + 4, gzip[trailer + 4] ^ 1), "Gunzip: length check error"},
      {with(1, 0), "Gunzip: header decoding error"},
      {with(3, 0x20), "Gunzip: header decoding error"},  // a reserved flag
      // An extra field that claims more bytes than there are.
      {with(3, 0x04).substr(0, 10) + "\xE8\003abc", "Gunzip: header decoding error"},
      {gzip.substr(0, 9), "Gunzip: header decoding error"},
      {gzip.substr(0, 12), "Inflator: unexpected end of compressed block"},
      {with(10, 0x07), "Inflator: error in compressed block"},
      {gzip.substr(0, gzip.size() - 3), "Gunzip: tail too short"},
  };
  for (const auto& [damaged, message] : cases) {
    for (int flags : {kGzip, kGzip | kBase64}) {
      TStringStream out("untouched");
      out.Seek(0, soEnd);
      try {
        TInflaterDeflater::Inflate(flags == kGzip ? damaged : TBase64().Encode(damaged), &out,
                                   flags);
        ADD_FAILURE() << "no error for " << message;
      } catch (const CryptoPP::Exception& e) {
        EXPECT_EQ(std::string(e.what()).rfind(message, 0), 0u) << e.what();
      }
      EXPECT_EQ(out.DataString(), "untouched") << message;
    }
  }
  // The classes that callers catch.
  TStringStream out("");
  EXPECT_THROW(TInflaterDeflater::Inflate(cases[0].first, &out, kGzip), CryptoPP::Gunzip::CrcErr);
  EXPECT_THROW(TInflaterDeflater::Inflate(cases[1].first, &out, kGzip),
               CryptoPP::Gunzip::LengthErr);
  EXPECT_THROW(TInflaterDeflater::Inflate(cases[2].first, &out, kGzip),
               CryptoPP::Gunzip::HeaderErr);
  EXPECT_THROW(TInflaterDeflater::Inflate(cases[6].first, &out, kGzip),
               CryptoPP::Inflator::UnexpectedEndErr);
}

// What Crypto++'s Gunzip alone makes of `gzip`: the data of the first member,
// or the text of the exception it raises. Inflate must answer the same on
// every stream, whichever coder reads it.
std::string ReferenceGunzip(const std::string& gzip) {
  struct TFirstMessage : CryptoPP::ByteQueue {
    size_t Put2(const CryptoPP::byte* bytes, size_t length, int end, bool blocking) override {
      if (!ended) ByteQueue::Put2(bytes, length, 0, blocking);
      ended = ended || end != 0;
      return 0;
    }
    bool ended = false;
  };
  try {
    auto* queue = new TFirstMessage;
    CryptoPP::Gunzip gunzip(queue);
    gunzip.Put(reinterpret_cast<const CryptoPP::byte*>(gzip.data()), gzip.size());
    gunzip.MessageEnd();
    std::string data(queue->MaxRetrievable(), '\0');
    queue->Get(reinterpret_cast<CryptoPP::byte*>(data.data()), data.size());
    return "data:" + data;
  } catch (const CryptoPP::Exception& e) {
    return std::string("error:") + e.what();
  }
}

std::string OurGunzip(const std::string& gzip) {
  try {
    return "data:" + Inflated(gzip, kGzip);
  } catch (const CryptoPP::Exception& e) {
    return std::string("error:") + e.what();
  }
}

TEST(TInflaterDeflater, ReadsEveryStreamAsCryptoppGunzipDoes) {
  std::mt19937 random(17);
  const auto below = [&random](size_t n) { return static_cast<size_t>(random() % n); };
  std::string crypto;
  for (int round = 0; round < 1500; ++round) {
    // Text that compresses (dynamic blocks), random bytes (stored blocks) and
    // short texts (fixed blocks), written by us or by Crypto++'s Gzip.
    const size_t n = 1 + (below(4) == 0 ? below(20) : below(5000));
    std::string plain = below(2) == 0 ? RandomBytes(n, round) : std::string(n, 'a');
    for (size_t i = 0; i < n; i += 1 + below(40)) plain[i] = static_cast<char>('a' + below(6));
    std::string gzip;
    if (round % 2 == 0) {
      gzip = Deflated(plain, kGzip);
      EXPECT_EQ(ReferenceGunzip(gzip), "data:" + plain) << round;
    } else {
      crypto.clear();
      CryptoPP::StringSource(plain, true, new CryptoPP::Gzip(new CryptoPP::StringSink(crypto)));
      gzip = crypto;
    }
    // Then damage: a changed byte anywhere, a cut, bytes after the trailer
    // (so that the last four no longer give the length), a lying length.
    // Bytes after the trailer and a second member are read as the first member alone.
    const size_t damage = below(6);
    if (damage == 0) gzip[below(gzip.size())] ^= static_cast<char>(1 + below(255));
    if (damage == 1) gzip.resize(1 + below(gzip.size() - 1));
    if (damage == 2) gzip += RandomBytes(1 + below(12), round);
    if (damage == 3) gzip[gzip.size() - 1 - below(4)] ^= static_cast<char>(1 + below(255));
    if (damage == 4) gzip += gzip;
    ASSERT_EQ(OurGunzip(gzip), ReferenceGunzip(gzip)) << "round " << round;
  }
}

TEST(TInflaterDeflater, StopsAResultBeyondTheLimit) {
  struct Restore {
    int64_t saved = TInflaterDeflater::GetInflateLimit();
    ~Restore() { TInflaterDeflater::SetInflateLimit(saved); }
  } restore;
  EXPECT_GE(restore.saved, int64_t{1} << 30);
  const std::string member = Deflated(std::string(4 * kPiece, 'a'), kGzip);
  TStringStream out("untouched");
  // Whether the trailer gives the size (a lone member) or not (bytes follow it,
  // so the stream is read as it comes), the limit holds to the byte.
  for (const std::string& bomb : {member, member + "more"}) {
    TInflaterDeflater::SetInflateLimit(4 * kPiece);
    EXPECT_EQ(Inflated(bomb, kGzip).size(), 4u * kPiece);
    TInflaterDeflater::SetInflateLimit(4 * kPiece - 1);
    try {
      TInflaterDeflater::Inflate(bomb, &out, kGzip);
      ADD_FAILURE() << "no error beyond the limit";
    } catch (const CryptoPP::Exception& e) {
      EXPECT_EQ(std::string(e.what()), "Inflator: output exceeds the limit of 4194303 bytes");
    }
    EXPECT_EQ(out.DataString(), "untouched");
  }
  TInflaterDeflater::SetInflateLimit(-5);
  EXPECT_EQ(TInflaterDeflater::GetInflateLimit(), 0);
  EXPECT_THROW(TInflaterDeflater::Inflate(member, &out, kGzip), CryptoPP::Exception);
}

TEST(TInflaterDeflater, ThreadsInflateAtOnce) {
  // Results of several pieces each, so that two threads that shared a coder or
  // a buffer would mix their hand-overs.
  std::string packed[2], plain[2];
  bool same[2] = {true, true};
  for (int i = 0; i < 2; ++i) {
    plain[i] = std::string(3 * kPiece + 11, static_cast<char>('a' + i)) + RandomBytes(1000, i);
    packed[i] = Deflated(plain[i], kGzip);
  }
  auto work = [&](int i) {
    for (int round = 0; round < 4; ++round)
      same[i] = same[i] && Inflated(packed[i], kGzip) == plain[i];
  };
  std::thread other(work, 1);
  work(0);
  other.join();
  EXPECT_TRUE(same[0] && same[1]);
}

TEST(TInflaterDeflater, StreamFailuresAreTheStreamsOwnExceptions) {
  // A stream that takes nothing, and one that claims more bytes than it has.
  struct TFullStream : TMemoryStream {
    int64_t Write(const void*, int64_t) override { return 0; }
  } full;
  struct TShortStream : TStringStream {
    TShortStream() : TStringStream("abc") {}
    int64_t Size() const override { return 10; }
  } shortIn;
  EXPECT_THROW(TInflaterDeflater::Deflate("abc", 3, &full, kGzip), EWriteError);
  EXPECT_THROW(TInflaterDeflater::Inflate("YWJj", 4, &full, kBase64), EWriteError);
  EXPECT_THROW(TInflaterDeflater::Deflate("abc", 3, &full, 0), EWriteError);
  TStringStream out("");
  EXPECT_THROW(TInflaterDeflater::Deflate(&shortIn, &out, kGzip), EReadError);
  EXPECT_THROW(TInflaterDeflater::Inflate(&shortIn, &out, kGzip), EReadError);
  EXPECT_EQ(out.DataString(), "");
}

}  // namespace
