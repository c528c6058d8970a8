#include "cuadrante/text/tbase64.h"

#include <array>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>

#include "cuadrante/port/files.h"
#include "cuadrante/runtime/exception.h"

namespace cuadrante::detail {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The decoding table of the coder, indexed by character - '+' from '+' (43) to
// 'z' (122): a character of the alphabet holds its value + 62, every other one
// '$' (36), which marks a character of no value.
constexpr int kFirst = '+';
constexpr int kLast = 'z';
constexpr unsigned char kNoValue = '$';
constexpr std::array<unsigned char, kLast - kFirst + 1> kDecodeTable = [] {
  std::array<unsigned char, kLast - kFirst + 1> table{};
  table.fill(kNoValue);
  for (int value = 0; value < 64; ++value) {
    table[static_cast<size_t>(kAlphabet[value] - kFirst)] = static_cast<unsigned char>(value + 62);
  }
  return table;
}();

// The same table spread over every byte and pre-shifted to each of the four
// places of a group, so that a group of four characters is four look-ups and
// one test. A character of no value sets bit 24 in every place.
constexpr uint32_t kSkip = 1u << 24;
using TPlaceTable = std::array<uint32_t, 256>;
constexpr std::array<TPlaceTable, 4> kPlaces = [] {
  std::array<TPlaceTable, 4> places{};
  for (int c = 0; c < 256; ++c) {
    const bool known =
        c >= kFirst && c <= kLast && kDecodeTable[static_cast<size_t>(c - kFirst)] != kNoValue;
    const uint32_t value = known ? kDecodeTable[static_cast<size_t>(c - kFirst)] - 62u : 0;
    for (int place = 0; place < 4; ++place) {
      places[static_cast<size_t>(place)][static_cast<size_t>(c)] =
          known ? value << (18 - 6 * place) : kSkip;
    }
  }
  return places;
}();

// Two characters for every 12 bits, so that three bytes are two look-ups.
constexpr std::array<std::array<char, 2>, 4096> kPairs = [] {
  std::array<std::array<char, 2>, 4096> pairs{};
  for (int v = 0; v < 4096; ++v)
    pairs[static_cast<size_t>(v)] = {kAlphabet[v >> 6], kAlphabet[v & 63]};
  return pairs;
}();

constexpr size_t EncodedSize(size_t n) { return (n + 2) / 3 * 4; }

// Writes the encoding of `n` bytes to `out` (EncodedSize(n) characters).
void EncodeTo(const unsigned char* in, size_t n, char* out) {
  size_t i = 0;
  for (; i + 3 <= n; i += 3, out += 4) {
    const uint32_t v = uint32_t{in[i]} << 16 | uint32_t{in[i + 1]} << 8 | in[i + 2];
    std::memcpy(out, kPairs[v >> 12].data(), 2);
    std::memcpy(out + 2, kPairs[v & 0xFFF].data(), 2);
  }
  if (i < n) {
    unsigned char group[3] = {};
    std::memcpy(group, in + i, n - i);
    TBase64().EncodeBlock(group, reinterpret_cast<unsigned char*>(out), static_cast<int>(n - i));
  }
}

// Writes the bytes of the values in `in` to `out` and answers their count,
// at most n / 4 * 3 + 2.
size_t DecodeTo(const unsigned char* in, size_t n, unsigned char* out) {
  const TPlaceTable& p0 = kPlaces[0];
  const TPlaceTable& p1 = kPlaces[1];
  const TPlaceTable& p2 = kPlaces[2];
  const TPlaceTable& p3 = kPlaces[3];
  unsigned char* const start = out;
  unsigned char values[4];
  int count = 0;  // values gathered of the group under way
  size_t i = 0;
  while (i < n) {
    // Whole groups of four clean characters, the common case, in one step each.
    if (count == 0) {
      while (i + 4 <= n) {
        const uint32_t v = p0[in[i]] | p1[in[i + 1]] | p2[in[i + 2]] | p3[in[i + 3]];
        if (v >= kSkip) break;
        out[0] = static_cast<unsigned char>(v >> 16);
        out[1] = static_cast<unsigned char>(v >> 8);
        out[2] = static_cast<unsigned char>(v);
        out += 3;
        i += 4;
      }
      if (i == n) break;
    }
    // Noise, or the end: one character at a time until a group closes.
    const uint32_t v = p3[in[i++]];
    if (v >= kSkip) continue;
    values[count++] = static_cast<unsigned char>(v);
    if (count == 4) {
      TBase64().DecodeBlock(values, out);
      out += 3;
      count = 0;
    }
  }
  // A partial group of n values gives n - 1 bytes; a lone value gives none.
  if (count >= 2) {
    unsigned char bytes[3];
    for (int k = count; k < 4; ++k) values[k] = 0;
    TBase64().DecodeBlock(values, bytes);
    std::memcpy(out, bytes, static_cast<size_t>(count - 1));
    out += count - 1;
  }
  return static_cast<size_t>(out - start);
}

const unsigned char* Bytes(const char* data) {
  return reinterpret_cast<const unsigned char*>(data);
}

// The interface counts in int: a result it cannot count is refused rather than
// cut short.
int CheckedLength(size_t n, const char* what) {
  if (n > static_cast<size_t>(INT_MAX)) {
    throw Exception(std::string("Base64: ") + what + " of " + std::to_string(n) +
                    " bytes is too large for an int length");
  }
  return static_cast<int>(n);
}

char* EncodeBuffer(const char* data, size_t len, int& outLen) {
  const size_t size = EncodedSize(len);
  outLen = CheckedLength(size, "the encoding");
  auto buffer = std::make_unique<char[]>(size);
  EncodeTo(Bytes(data), len, buffer.get());
  return buffer.release();
}

char* DecodeBuffer(const char* data, size_t len, int& outLen) {
  // As many bytes as the input has characters: enough whatever the noise.
  auto buffer = std::make_unique_for_overwrite<char[]>(len);
  const size_t size = DecodeTo(Bytes(data), len, reinterpret_cast<unsigned char*>(buffer.get()));
  outLen = CheckedLength(size, "the decoding");
  return buffer.release();
}

size_t NonNegative(int len) { return len > 0 ? static_cast<size_t>(len) : 0; }

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

void TBase64::EncodeBlock(const unsigned char* in, unsigned char* out, int len) const {
  out[0] = static_cast<unsigned char>(kAlphabet[in[0] >> 2]);
  out[1] = static_cast<unsigned char>(kAlphabet[((in[0] & 0x03) << 4) | (in[1] >> 4)]);
  out[2] =
      len > 1 ? static_cast<unsigned char>(kAlphabet[((in[1] & 0x0F) << 2) | (in[2] >> 6)]) : '=';
  out[3] = len > 2 ? static_cast<unsigned char>(kAlphabet[in[2] & 0x3F]) : '=';
}

void TBase64::DecodeBlock(const unsigned char* in, unsigned char* out) const {
  out[0] = static_cast<unsigned char>(in[0] << 2 | (in[1] & 0x3F) >> 4);
  out[1] = static_cast<unsigned char>(in[1] << 4 | (in[2] & 0x3F) >> 2);
  out[2] = static_cast<unsigned char>(in[2] << 6 | (in[3] & 0x3F));
}

char* TBase64::Encode(const char* data, int len, int& outLen) const {
  return EncodeBuffer(data, NonNegative(len), outLen);
}

char* TBase64::Decode(const char* data, int len, int& outLen) const {
  return DecodeBuffer(data, NonNegative(len), outLen);
}

AnsiString TBase64::Encode(const AnsiString& text) const {
  AnsiString encoded(EncodedSize(text.size()), '\0');
  EncodeTo(Bytes(text.data()), text.size(), encoded.data());
  return encoded;
}

AnsiString TBase64::Decode(const AnsiString& text) const {
  AnsiString decoded(text.size() / 4 * 3 + 2, '\0');
  decoded.resize(
      DecodeTo(Bytes(text.data()), text.size(), reinterpret_cast<unsigned char*>(decoded.data())));
  return decoded;
}

char* TBase64::EncodeFile(const AnsiString& inFile, int& outLen) const {
  const AnsiString bytes = cuadrante::ReadWholeFile(inFile, cuadrante::kDataFileLimit);
  return EncodeBuffer(bytes.data(), bytes.size(), outLen);
}

char* TBase64::DecodeFile(const AnsiString& inFile, int& outLen) const {
  const AnsiString text = cuadrante::ReadWholeFile(inFile, cuadrante::kDataFileLimit);
  return DecodeBuffer(text.data(), text.size(), outLen);
}

// The output is replaced atomically rather than emptied and written in place:
// a disk that fills up half way must not cost the caller the old file.
void TBase64::EncodeFile(const AnsiString& inFile, const AnsiString& outFile) const {
  cuadrante::WriteFileAtomically(
      outFile, Encode(cuadrante::ReadWholeFile(inFile, cuadrante::kDataFileLimit)));
}

void TBase64::DecodeFile(const AnsiString& inFile, const AnsiString& outFile) const {
  cuadrante::WriteFileAtomically(
      outFile, Decode(cuadrante::ReadWholeFile(inFile, cuadrante::kDataFileLimit)));
}
