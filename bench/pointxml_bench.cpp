// The XML document of a large point set (~270,000 points, ~10 MB), read and
// written through the point set beside pugixml used bare on the same document:
// a parse plus strtoll of the four fields of each POINT, and the same nodes
// built and saved. The point set does more (a clone of the prototype and a
// checked conversion per point, the old points freed); the goal is at least
// half the bare speed.
#include <benchmark/benchmark.h>

#include <pugixml.hpp>

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"

namespace {

constexpr int kPoints = 270000;

struct Fields {
  int64_t start, seconds;
  int type, level;
};

// Half-hour steps from a day of 2026, shifts of four to eight hours.
std::vector<Fields> MakeFields() {
  std::vector<Fields> fields;
  fields.reserve(kPoints);
  for (int i = 0; i < kPoints; ++i) {
    fields.push_back({4004582400 + int64_t{i} * 1800, 14400 + (i % 9) * 1800, 1 + i % 12, 1});
  }
  return fields;
}

const std::vector<Fields>& PointFields() {
  static const std::vector<Fields> fields = MakeFields();
  return fields;
}

void Fill(TBasicPointMgr& set) {
  for (const Fields& f : PointFields()) {
    auto* p = new TBasicPoint(TFecha(f.start), TDuration(f.seconds));
    p->Type = static_cast<TTimePointType>(f.type);
    p->Level = static_cast<short>(f.level);
    set.Add(p);
  }
}

const AnsiString& Document() {
  static const AnsiString xml = [] {
    TBasicPointMgr set;
    Fill(set);
    AnsiString text;
    set.SaveToXML(text);
    return text;
  }();
  return xml;
}

class StringWriter final : public pugi::xml_writer {
 public:
  explicit StringWriter(std::string& out) : out_(out) {}
  void write(const void* data, size_t size) override {
    out_.append(static_cast<const char*>(data), size);
  }

 private:
  std::string& out_;
};

void BM_LoadFromXML(benchmark::State& state) {
  const AnsiString& xml = Document();
  TBasicPointMgr set;
  TBasicPoint proto;
  for (auto _ : state) {
    benchmark::DoNotOptimize(set.LoadFromXML(xml, &proto));
  }
  if (set.Points.size() != kPoints) state.SkipWithError("not every point loaded");
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(xml.size()));
  state.counters["points"] = static_cast<double>(set.Points.size());
}
BENCHMARK(BM_LoadFromXML)->Unit(benchmark::kMillisecond);

void BM_PugixmlParseAndStrtoll(benchmark::State& state) {
  const AnsiString& xml = Document();
  for (auto _ : state) {
    pugi::xml_document doc;
    doc.load_buffer(xml.data(), xml.size());
    int64_t sum = 0;
    for (pugi::xml_node node : doc.document_element().children()) {
      const char* text = node.child_value();
      char* end = nullptr;
      for (int field = 0; field < 4; ++field) {
        sum += std::strtoll(text, &end, 10);
        text = *end == ';' ? end + 1 : end;
      }
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(xml.size()));
}
BENCHMARK(BM_PugixmlParseAndStrtoll)->Unit(benchmark::kMillisecond);

void BM_SaveToXML(benchmark::State& state) {
  TBasicPointMgr set;
  Fill(set);
  AnsiString xml;
  for (auto _ : state) {
    benchmark::DoNotOptimize(set.SaveToXML(xml));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(xml.size()));
}
BENCHMARK(BM_SaveToXML)->Unit(benchmark::kMillisecond);

void BM_PugixmlBuildAndSave(benchmark::State& state) {
  const std::vector<Fields>& fields = PointFields();
  std::string xml;
  for (auto _ : state) {
    pugi::xml_document doc;
    pugi::xml_node decl = doc.append_child(pugi::node_declaration);
    decl.append_attribute("version") = "1.0";
    decl.append_attribute("encoding") = "UTF-8";
    decl.append_attribute("standalone") = "no";
    pugi::xml_node root = doc.append_child("POINTSMGR");
    char text[96];
    for (const Fields& f : fields) {
      char* p = std::to_chars(text, text + 24, f.start).ptr;
      *p++ = ';';
      p = std::to_chars(p, p + 24, f.seconds).ptr;
      *p++ = ';';
      p = std::to_chars(p, p + 8, f.type).ptr;
      *p++ = ';';
      p = std::to_chars(p, p + 8, f.level).ptr;
      *p = '\0';
      root.append_child("POINT").text().set(text);
    }
    xml.clear();
    StringWriter writer(xml);
    doc.save(writer, "  ", pugi::format_indent, pugi::encoding_utf8);
    benchmark::DoNotOptimize(xml.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(xml.size()));
}
BENCHMARK(BM_PugixmlBuildAndSave)->Unit(benchmark::kMillisecond);

}  // namespace
