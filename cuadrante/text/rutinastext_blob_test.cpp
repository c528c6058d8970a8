#include <cryptopp/gzip.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>

#include "cuadrante/text/rutinastext.h"
#include "cuadrante/text/tbase64.h"

namespace {

using RutinasText::TBlobStream;

TEST(RutinasText, ZipAndCode64GivesOnePrintableLineThatReadsBack) {
  EXPECT_EQ(RutinasText::ZipAndCode64(""), "");
  EXPECT_EQ(RutinasText::Decode64AndUnzip(""), "");

  std::mt19937 random(11);
  std::string binary(70000, '\0');
  for (char& c : binary) c = static_cast<char>(random());
  for (const std::string& text :
       {std::string("x"), std::string("Baja laboral: día 3 de 5\r\n"), std::string(100000, 'a'),
        std::string("\0\xFF\x80\x7F", 4), binary}) {
    const std::string line = RutinasText::ZipAndCode64(text);
    EXPECT_EQ(
        line.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/="),
        std::string::npos);
    EXPECT_EQ(TBase64().Decode(line).substr(0, 4), std::string("\x1F\x8B\x08\0", 4));
    EXPECT_TRUE(RutinasText::Decode64AndUnzip(line) == text) << text.size();
  }
  // Line breaks in the form (as mail wraps it) are skipped; a damaged form raises.
  std::string wrapped = RutinasText::ZipAndCode64(binary);
  for (size_t at = 76; at < wrapped.size(); at += 78) wrapped.insert(at, "\r\n");
  EXPECT_TRUE(RutinasText::Decode64AndUnzip(wrapped) == binary);
  const std::string zipped = TBase64().Decode(RutinasText::ZipAndCode64("Horario"));
  std::string damaged = zipped;
  damaged[damaged.size() - 8] ^= 0x10;
  EXPECT_THROW(RutinasText::Decode64AndUnzip(TBase64().Encode(damaged)), CryptoPP::Gunzip::CrcErr);
  EXPECT_THROW(RutinasText::Decode64AndUnzip("no gzip"), CryptoPP::Gunzip::HeaderErr);
}

TEST(TBlobStream, HoldsLinesOfAnyBreakAndWritesThemWithCrLf) {
  const std::pair<std::string, std::string> cases[] = {
      {"A=1\r\nB=2", "A=1\r\nB=2\r\n"},
      {"A=1\nB=2\n", "A=1\r\nB=2\r\n"},
      {"A=1\rB=2\r\n", "A=1\r\nB=2\r\n"},
      {"", ""},
      {"\r\n\r\n", "\r\n\r\n"},
      {"\n\r", "\r\n\r\n"},  // LF then CR: two breaks
      {"solo", "solo\r\n"},
  };
  for (const auto& [text, written] : cases) {
    EXPECT_EQ(TBlobStream(text).GetString(), written) << text;
    TBlobStream blob("old=1");
    blob.SetString(text);
    EXPECT_EQ(blob.GetString(), written) << text;
  }
}

TEST(TBlobStream, ReadsAndWritesTheFirstLineOfANameIgnoringCase) {
  TBlobStream blob("A=1\r\nB=2");
  EXPECT_EQ(blob.GetValue("a"), "1");
  EXPECT_EQ(blob.GetValue("C"), "");
  blob.SetValue("A", "");
  EXPECT_EQ(blob.GetString(), "B=2\r\n");
  blob.SetValue("nuevo", "3");
  EXPECT_EQ(blob.GetString(), "B=2\r\nnuevo=3\r\n");
  blob.SetValue("B", "x=y");
  EXPECT_EQ(blob.GetString(), "B=x=y\r\nnuevo=3\r\n");
  EXPECT_EQ(blob.GetValue("B"), "x=y");
  blob.SetValue("absent", "");  // nothing to delete, nothing added
  EXPECT_EQ(blob.GetString(), "B=x=y\r\nnuevo=3\r\n");

  TBlobStream lines("sin igual\r\n k = v \r\nDÍA=lunes\r\nk=1\r\nk=2\r\n=vacío\r\nx==");
  const std::pair<std::string, std::string> reads[] = {
      {"sin igual", ""},  // a line without "=" has no name
      {" k ", " v "},     // blanks belong to names and values
      {"k", "1"},         // the first of a name wins
      {"día", "lunes"},  {"", "vacío"}, {"x", "="}, {"k=1", ""},  // a name never holds "="
  };
  for (const auto& [name, value] : reads) EXPECT_EQ(lines.GetValue(name), value) << name;
  lines.SetValue("K", "9");  // rewrites the first line of the name, spelled as given
  EXPECT_EQ(lines.GetString(),
            "sin igual\r\n k = v \r\nDÍA=lunes\r\nK=9\r\nk=2\r\n=vacío\r\nx==\r\n");
  lines.SetValue("k", "");
  EXPECT_EQ(lines.GetValue("k"), "2");  // the duplicate shows once the first is gone
}

}  // namespace
