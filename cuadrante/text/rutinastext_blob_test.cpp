#include <cryptopp/gzip.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

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
  for (const std::string& text : {std::string("Baja laboral: día 3\r\n"), binary}) {
    const std::string line = RutinasText::ZipAndCode64(text);
    EXPECT_EQ(
        line.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/="),
        std::string::npos);
    EXPECT_EQ(TBase64().Decode(line).substr(0, 4), std::string("\x1F\x8B\x08\0", 4));
    EXPECT_TRUE(RutinasText::Decode64AndUnzip(line) == text) << text.size();
  }
  // A damaged form raises. (Line breaks in it are skipped by TBase64, whose tests show that.)
  std::string damaged = TBase64().Decode(RutinasText::ZipAndCode64("Horario"));
  damaged[damaged.size() - 8] ^= 0x10;
  EXPECT_THROW(RutinasText::Decode64AndUnzip(TBase64().Encode(damaged)), CryptoPP::Gunzip::CrcErr);
  EXPECT_THROW(RutinasText::Decode64AndUnzip("no gzip"), CryptoPP::Gunzip::HeaderErr);
}

// The lines themselves are a TStringList's, whose tests walk every line break
// and name rule; this checks that the blob hands them through.
TEST(TBlobStream, HoldsNameValueLinesAndWritesThemWithCrLf) {
  TBlobStream blob("A=1\nB=2\rk=1\r\nk=2\r\n=vacío\r\nx==");
  EXPECT_EQ(blob.GetValue("a"), "1");
  EXPECT_EQ(blob.GetValue("C"), "");
  EXPECT_EQ(blob.GetValue(""), "vacío");
  EXPECT_EQ(blob.GetValue("x"), "=");
  EXPECT_EQ(blob.GetValue("k=1"), "");  // a name never holds "="
  blob.SetValue("A", "");
  blob.SetValue("K", "9");  // rewrites the first line of the name, spelled as given
  blob.SetValue("nuevo", "3");
  EXPECT_EQ(blob.GetString(), "B=2\r\nK=9\r\nk=2\r\n=vacío\r\nx==\r\nnuevo=3\r\n");
  blob.SetString("solo\n");
  EXPECT_EQ(blob.GetString(), "solo\r\n");
  blob.SetString("");
  EXPECT_EQ(blob.GetString(), "");
}

}  // namespace
