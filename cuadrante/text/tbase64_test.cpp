#include "cuadrante/text/tbase64.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>
#include <random>
#include <string>
#include <utility>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/testing/faultyfilesystem.h"
#include "cuadrante/testing/testsupport.h"

namespace {

using cuadrante::testing::ReadText;
using cuadrante::testing::TempFolder;
using cuadrante::testing::WriteText;

const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

using cuadrante::testing::RandomBytes;

// Base64 bit by bit, the way RFC 4648 describes it.
std::string Reference(const std::string& bytes) {
  std::string text;
  uint32_t bits = 0;
  int held = 0;
  for (unsigned char c : bytes) {
    bits = bits << 8 | c;
    for (held += 8; held >= 6; held -= 6) text += kAlphabet[(bits >> (held - 6)) & 63];
  }
  if (held > 0) text += kAlphabet[(bits << (6 - held)) & 63];
  while (text.size() % 4 != 0) text += '=';
  return text;
}

// The buffer overloads, their buffers freed as a host frees them.
std::string Buffer(char* (TBase64::*code)(const char*, int, int&) const, const std::string& in) {
  int length = -1;
  std::unique_ptr<char[]> buffer((TBase64().*code)(in.data(), static_cast<int>(in.size()), length));
  return std::string(buffer.get(), static_cast<size_t>(length));
}
constexpr char* (TBase64::*kEncode)(const char*, int, int&) const = &TBase64::Encode;
constexpr char* (TBase64::*kDecode)(const char*, int, int&) const = &TBase64::Decode;

TEST(TBase64, EncodesLikeTheReferenceAndDecodesBackThroughNoise) {
  const std::pair<std::string, std::string> known[] = {
      {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foobar", "Zm9vYmFy"}, {"\xFF\xEF", "/+8="}};
  for (const auto& [bytes, text] : known) EXPECT_EQ(Reference(bytes), text) << bytes;

  // Every length around the group size and the 76-character line of other
  // coders (no line break here), every byte value.
  std::mt19937 random(7);
  for (size_t n : {0, 1, 2, 3, 4, 5, 6, 7, 55, 256, 4097, 65537}) {
    const std::string bytes = RandomBytes(n, static_cast<unsigned>(n));
    const std::string text = TBase64().Encode(bytes);
    EXPECT_EQ(text, Reference(bytes)) << n;
    EXPECT_EQ(Buffer(kEncode, bytes), text) << n;
    EXPECT_EQ(TBase64().Decode(text), bytes) << n;
    EXPECT_EQ(Buffer(kDecode, text), bytes) << n;
    EXPECT_EQ(TBase64().Decode(text.substr(0, text.find('='))), bytes) << n;
    // Noise at random places breaks the groups out of their alignment.
    std::string noisy;
    for (char c : text) {
      noisy += c;
      if (random() % 5 == 0) noisy += "\r\n =\x80-"[random() % 7];
    }
    EXPECT_EQ(Buffer(kDecode, noisy), bytes) << n;
  }
  int length = -1;
  std::unique_ptr<char[]> none(TBase64().Encode("abc", -5, length));
  EXPECT_EQ(length, 0);
  none.reset(TBase64().Decode("YWJj", -1, length));
  EXPECT_EQ(length, 0);

  unsigned char block[4];
  const unsigned char one[3] = {'a', 0, 0};
  TBase64().EncodeBlock(one, block, 1);
  EXPECT_EQ(std::string(block, block + 4), "YQ==");
  const unsigned char values[4] = {24, 22, 9, 35};  // Y W J j
  TBase64().DecodeBlock(values, block);
  EXPECT_EQ(std::string(block, block + 3), "abc");
}

TEST(TBase64, DecodesCountingOnlyCharactersOfTheAlphabet) {
  const std::pair<std::string, std::string> cases[] = {
      {"YWI", "ab"},
      {"Y", ""},
      {"===", ""},
      {"YQ==YWI=", "a\x06\x16"},  // one run of values YQYW; the lone I gives nothing
  };
  for (const auto& [text, bytes] : cases) {
    EXPECT_EQ(TBase64().Decode(text), bytes) << text;
    EXPECT_EQ(Buffer(kDecode, text), bytes) << text;
  }
  // Every byte outside the alphabet is noise, wherever it stands in a group.
  for (int c = 0; c < 256; ++c) {
    if (kAlphabet.find(static_cast<char>(c)) != std::string::npos) continue;
    const std::string noise(1, static_cast<char>(c));
    EXPECT_EQ(TBase64().Decode(noise + "YW" + noise + "Jj" + noise), "abc") << c;
  }
}

TEST(TBase64, CodesFilesWholeAndRaisesTheFileErrors) {
  TempFolder folder;
  const std::string bytes = RandomBytes(1000, 3);
  WriteText(folder / "in", bytes);
  TBase64().EncodeFile(folder / "in", folder / "coded");
  EXPECT_EQ(ReadText(folder / "coded"), Reference(bytes));

  // A file to decode may hold line breaks; an existing output is replaced.
  std::string wrapped = Reference(bytes);
  for (size_t at = 76; at < wrapped.size(); at += 78) wrapped.insert(at, "\r\n");
  WriteText(folder / "wrapped", wrapped);
  WriteText(folder / "out", "old contents that are longer than nothing");
  TBase64().DecodeFile(folder / "wrapped", folder / "out");
  EXPECT_EQ(ReadText(folder / "out"), bytes);

  int length = -1;
  std::unique_ptr<char[]> coded(TBase64().EncodeFile(folder / "in", length));
  EXPECT_EQ(std::string(coded.get(), static_cast<size_t>(length)), Reference(bytes));
  coded.reset(TBase64().DecodeFile(folder / "wrapped", length));
  EXPECT_EQ(std::string(coded.get(), static_cast<size_t>(length)), bytes);

  EXPECT_THROW(TBase64().EncodeFile(folder / "missing", length), EFOpenError);
  EXPECT_THROW(TBase64().DecodeFile(folder / "missing", folder / "x"), EFOpenError);
  EXPECT_THROW(TBase64().EncodeFile(folder / "in", folder / "no-folder/out"), EFCreateError);
  EXPECT_THROW(TBase64().DecodeFile(folder / "in", folder.Path()), EFCreateError);
  EXPECT_EQ(ReadText(folder / "out"), bytes);

  // Neither side waits on a FIFO that nobody writes, and every failing step
  // of the write keeps the old output.
  ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
  EXPECT_THROW(TBase64().EncodeFile(folder / "fifo", length), EFOpenError);
  EXPECT_THROW(TBase64().EncodeFile(folder / "in", folder / "fifo"), EFCreateError);
  cuadrante::testing::CheckEveryFault(
      folder / "out", "old", Reference(bytes), [&] { WriteText(folder / "out", "old"); },
      [&] { TBase64().EncodeFile(folder / "in", folder / "out"); });
}

}  // namespace
