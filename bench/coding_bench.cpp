// Base64 and gzip on 10 MB: TBase64 beside the Crypto++ Base64 filters, and
// ZipAndCode64 / Decode64AndUnzip / Deflate / Inflate (whose gzip stage runs on
// libdeflate) beside gzip at level 6 from Crypto++, zlib and libdeflate used
// bare. Rates are bytes of the plain data per second for every row, so rows
// compare directly; the run ends with the ratios between them, and `make
// bench` puts the ones with goals into its last table.
#include <benchmark/benchmark.h>
#include <cryptopp/base64.h>
#include <cryptopp/filters.h>
#include <cryptopp/gzip.h>
#include <libdeflate.h>
#include <zlib.h>

#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "cuadrante/port/stream.h"
#include "cuadrante/text/rutinastext.h"
#include "cuadrante/text/tbase64.h"
#include "cuadrante/text/tinflaterdeflater.h"

namespace {

constexpr size_t kSize = 10 * 1000 * 1000;

// Incompressible bytes for Base64.
const std::string& RandomData() {
  static const std::string data = [] {
    std::mt19937_64 random(1);
    std::string bytes(kSize, '\0');
    for (size_t i = 0; i < kSize; i += 8) {
      const uint64_t v = random();
      for (size_t k = 0; k < 8 && i + k < kSize; ++k)
        bytes[i + k] = static_cast<char>(v >> (8 * k));
    }
    return bytes;
  }();
  return data;
}

// Text such as the library stores: point-set documents with varied numbers.
const std::string& TextData() {
  static const std::string data = [] {
    std::mt19937 engine(2);
    auto random = [&engine] { return static_cast<unsigned>(engine()); };
    static const char* const kLabels[] = {"Horario",    "Cobertura", "Baja laboral",
                                          "Vacaciones", "Guardia",   "Formación"};
    std::string text = "<POINTSMGR>\n";
    char line[160];
    while (text.size() < kSize) {
      std::snprintf(line, sizeof line, "  <POINT>%u;%u;%u;%u;%s;#%06X</POINT>\n",
                    static_cast<unsigned>(4004582400u + random() % 31536000u),
                    (random() % 48) * 900, random() % 14, random() % 8, kLabels[random() % 6],
                    random() % 0xFFFFFF);
      text += line;
    }
    text.resize(kSize);
    return text;
  }();
  return data;
}

const std::string& Base64Text() {
  static const std::string text = TBase64().Encode(RandomData());
  return text;
}

std::string CryptoppGzip(const std::string& data) {
  std::string out;
  CryptoPP::Gzip gzip(new CryptoPP::StringSink(out), 6);
  gzip.Put(reinterpret_cast<const CryptoPP::byte*>(data.data()), data.size());
  gzip.MessageEnd();
  return out;
}

const std::string& GzipText() {
  static const std::string gzip = CryptoppGzip(TextData());
  return gzip;
}

const std::string& ZippedLine() {
  static const std::string line = RutinasText::ZipAndCode64(TextData());
  return line;
}

void Rate(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSize));
}

// --- Base64 --------------------------------------------------------------------------------

void BM_TBase64_Encode(benchmark::State& state) {
  const std::string& data = RandomData();
  for (auto _ : state) {
    int length = 0;
    std::unique_ptr<char[]> text(
        TBase64().Encode(data.data(), static_cast<int>(data.size()), length));
    benchmark::DoNotOptimize(text.get());
  }
  Rate(state);
}
BENCHMARK(BM_TBase64_Encode)->Unit(benchmark::kMillisecond);

void BM_Cryptopp_Base64Encoder(benchmark::State& state) {
  const std::string& data = RandomData();
  for (auto _ : state) {
    std::string text;
    CryptoPP::StringSource(data, true,
                           new CryptoPP::Base64Encoder(new CryptoPP::StringSink(text), false));
    benchmark::DoNotOptimize(text.data());
  }
  Rate(state);
}
BENCHMARK(BM_Cryptopp_Base64Encoder)->Unit(benchmark::kMillisecond);

void BM_TBase64_Decode(benchmark::State& state) {
  const std::string& text = Base64Text();
  for (auto _ : state) {
    int length = 0;
    std::unique_ptr<char[]> data(
        TBase64().Decode(text.data(), static_cast<int>(text.size()), length));
    benchmark::DoNotOptimize(data.get());
  }
  Rate(state);
}
BENCHMARK(BM_TBase64_Decode)->Unit(benchmark::kMillisecond);

void BM_Cryptopp_Base64Decoder(benchmark::State& state) {
  const std::string& text = Base64Text();
  for (auto _ : state) {
    std::string data;
    CryptoPP::StringSource(text, true, new CryptoPP::Base64Decoder(new CryptoPP::StringSink(data)));
    benchmark::DoNotOptimize(data.data());
  }
  Rate(state);
}
BENCHMARK(BM_Cryptopp_Base64Decoder)->Unit(benchmark::kMillisecond);

// --- Compression at level 6 ----------------------------------------------------------------

void BM_ZipAndCode64(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(RutinasText::ZipAndCode64(TextData()));
  Rate(state);
}
BENCHMARK(BM_ZipAndCode64)->Unit(benchmark::kMillisecond);

void BM_Deflate_Gzip(benchmark::State& state) {
  for (auto _ : state) {
    TStringStream out("");
    TInflaterDeflater::Deflate(TextData(), &out, cuadrante::kStageGzip);
    benchmark::DoNotOptimize(out.DataString().data());
  }
  Rate(state);
}
BENCHMARK(BM_Deflate_Gzip)->Unit(benchmark::kMillisecond);

void BM_Cryptopp_Gzip(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(CryptoppGzip(TextData()));
  Rate(state);
}
BENCHMARK(BM_Cryptopp_Gzip)->Unit(benchmark::kMillisecond);

void BM_Zlib_Gzip(benchmark::State& state) {
  const std::string& data = TextData();
  for (auto _ : state) {
    z_stream z{};
    deflateInit2(&z, 6, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);  // 16: a gzip wrapper
    std::string out(deflateBound(&z, data.size()), '\0');
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    z.avail_in = static_cast<uInt>(data.size());
    z.next_out = reinterpret_cast<Bytef*>(out.data());
    z.avail_out = static_cast<uInt>(out.size());
    if (deflate(&z, Z_FINISH) != Z_STREAM_END) state.SkipWithError("zlib deflate failed");
    out.resize(z.total_out);
    deflateEnd(&z);
    benchmark::DoNotOptimize(out.data());
  }
  Rate(state);
}
BENCHMARK(BM_Zlib_Gzip)->Unit(benchmark::kMillisecond);

void BM_Libdeflate_Gzip(benchmark::State& state) {
  const std::string& data = TextData();
  libdeflate_compressor* compressor = libdeflate_alloc_compressor(6);
  std::string out(libdeflate_gzip_compress_bound(compressor, data.size()), '\0');
  for (auto _ : state) {
    const size_t size =
        libdeflate_gzip_compress(compressor, data.data(), data.size(), out.data(), out.size());
    if (size == 0) state.SkipWithError("libdeflate compress failed");
    benchmark::DoNotOptimize(out.data());
  }
  libdeflate_free_compressor(compressor);
  Rate(state);
}
BENCHMARK(BM_Libdeflate_Gzip)->Unit(benchmark::kMillisecond);

// --- Decompression -------------------------------------------------------------------------

void BM_Decode64AndUnzip(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(RutinasText::Decode64AndUnzip(ZippedLine()));
  Rate(state);
}
BENCHMARK(BM_Decode64AndUnzip)->Unit(benchmark::kMillisecond);

void BM_Inflate_Gzip(benchmark::State& state) {
  for (auto _ : state) {
    TStringStream out("");
    TInflaterDeflater::Inflate(GzipText(), &out, cuadrante::kStageGzip);
    benchmark::DoNotOptimize(out.DataString().data());
  }
  Rate(state);
}
BENCHMARK(BM_Inflate_Gzip)->Unit(benchmark::kMillisecond);

void BM_Cryptopp_Gunzip(benchmark::State& state) {
  const std::string& gzip = GzipText();
  for (auto _ : state) {
    std::string out;
    CryptoPP::StringSource(gzip, true, new CryptoPP::Gunzip(new CryptoPP::StringSink(out)));
    benchmark::DoNotOptimize(out.data());
  }
  Rate(state);
}
BENCHMARK(BM_Cryptopp_Gunzip)->Unit(benchmark::kMillisecond);

void BM_Zlib_Gunzip(benchmark::State& state) {
  const std::string& gzip = GzipText();
  std::string out(kSize, '\0');
  for (auto _ : state) {
    z_stream z{};
    inflateInit2(&z, 15 + 16);
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(gzip.data()));
    z.avail_in = static_cast<uInt>(gzip.size());
    z.next_out = reinterpret_cast<Bytef*>(out.data());
    z.avail_out = static_cast<uInt>(out.size());
    if (inflate(&z, Z_FINISH) != Z_STREAM_END) state.SkipWithError("zlib inflate failed");
    inflateEnd(&z);
    benchmark::DoNotOptimize(out.data());
  }
  Rate(state);
}
BENCHMARK(BM_Zlib_Gunzip)->Unit(benchmark::kMillisecond);

void BM_Libdeflate_Gunzip(benchmark::State& state) {
  const std::string& gzip = GzipText();
  libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
  std::string out(kSize, '\0');
  for (auto _ : state) {
    size_t size = 0;
    if (libdeflate_gzip_decompress(decompressor, gzip.data(), gzip.size(), out.data(), out.size(),
                                   &size) != LIBDEFLATE_SUCCESS) {
      state.SkipWithError("libdeflate decompress failed");
    }
    benchmark::DoNotOptimize(out.data());
  }
  libdeflate_free_decompressor(decompressor);
  Rate(state);
}
BENCHMARK(BM_Libdeflate_Gunzip)->Unit(benchmark::kMillisecond);

// The console table, then every ratio of ours to its peers from the same run.
class TRatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const auto rate = run.counters.find("bytes_per_second");
      if (run.run_type == Run::RT_Iteration && rate != run.counters.end()) {
        rates_[run.benchmark_name()] = rate->second.value;
      }
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\nratios (rate of the first over the second, same run):\n");
    const std::pair<const char*, const char*> pairs[] = {
        {"BM_TBase64_Encode", "BM_Cryptopp_Base64Encoder"},
        {"BM_TBase64_Decode", "BM_Cryptopp_Base64Decoder"},
        {"BM_ZipAndCode64", "BM_Cryptopp_Gzip"},
        {"BM_ZipAndCode64", "BM_Zlib_Gzip"},
        {"BM_ZipAndCode64", "BM_Libdeflate_Gzip"},
        {"BM_Deflate_Gzip", "BM_Cryptopp_Gzip"},
        {"BM_Cryptopp_Gzip", "BM_Zlib_Gzip"},
        {"BM_Cryptopp_Gzip", "BM_Libdeflate_Gzip"},
        {"BM_Decode64AndUnzip", "BM_Cryptopp_Gunzip"},
        {"BM_Decode64AndUnzip", "BM_Zlib_Gunzip"},
        {"BM_Decode64AndUnzip", "BM_Libdeflate_Gunzip"},
        {"BM_Inflate_Gzip", "BM_Cryptopp_Gunzip"},
        {"BM_Cryptopp_Gunzip", "BM_Zlib_Gunzip"},
        {"BM_Cryptopp_Gunzip", "BM_Libdeflate_Gunzip"},
    };
    for (const auto& [ours, peer] : pairs) {
      if (rates_.count(ours) == 0 || rates_.count(peer) == 0) continue;
      std::printf("  %-22s / %-27s %6.2f  (%.0f / %.0f MB/s)\n", ours, peer,
                  rates_[ours] / rates_[peer], rates_[ours] / 1e6, rates_[peer] / 1e6);
    }
  }

 private:
  std::map<std::string, double> rates_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  // Every compressed form reads back before anything is timed.
  if (RutinasText::Decode64AndUnzip(ZippedLine()) != TextData() ||
      TBase64().Decode(Base64Text()) != RandomData()) {
    std::fprintf(stderr, "coding_bench: a round trip failed\n");
    return 1;
  }
  std::printf("plain text compresses to %.1f%% with Crypto++ gzip at level 6\n",
              100.0 * static_cast<double>(GzipText().size()) / kSize);
  TRatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
