// The XML document of a large point set (~270,000 points, ~10 MB), read and
// written through the point set beside pugixml used bare on the same document:
// a parse plus strtoll of the four fields of each POINT, and the same nodes
// built and saved. The point set reads the form that it writes without a
// tree, but does more for each point (a clone of the prototype and a checked
// conversion, the old points freed); the goal is at least half the bare speed.
#include <benchmark/benchmark.h>

#include <pugixml.hpp>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
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

// Resident memory of this process now, and its peak since the last reset, in
// bytes (Linux: /proc/self/status; writing 5 to clear_refs resets the peak).
int64_t StatusBytes(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  const std::string key = std::string(field) + ":";
  while (std::getline(status, line)) {
    if (line.compare(0, key.size(), key) == 0) return std::atoll(line.c_str() + key.size()) * 1024;
  }
  return -1;
}

// Bytes that the heap has handed out and not had back.
int64_t HeapInUse() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<int64_t>(info.uordblks + info.hblkhd);
}

// The memory that LoadFromXML needs for a document of 6 million points (about
// 200 MB), in a child process so that what earlier benchmarks left on the heap
// does not hide any of it. Counters, in bytes: `document`, `points` (what the
// loaded set keeps: the points and the list), and `peak`, the highest resident
// memory of the child while it loads, less what it held before it made the
// document. `points` is counted by the heap, since freed memory stays
// resident. The goal is peak <= document + points for the document that
// SaveToXML writes; `prolog` goes between the declaration and the root, and a
// comment there sends the same points through the XML service's tree.
void MeasureLoadPeak(benchmark::State& state, const char* prolog) {
  constexpr int kBigPoints = 6000000;
  int64_t result[3] = {-1, -1, -1};
  for (auto _ : state) {
    int channel[2];
    if (pipe(channel) != 0) state.SkipWithError("no pipe");
    const pid_t child = fork();
    if (child == 0) {
      close(channel[0]);
      const int64_t before = StatusBytes("VmRSS");
      int64_t answer[3] = {-1, -1, -1};
      {
        AnsiString xml = R"(<?xml version="1.0" encoding="UTF-8" standalone="no"?>)";
        xml += prolog;
        xml += "\n<POINTSMGR>\n";
        char line[96];
        for (int i = 0; i < kBigPoints; ++i) {
          const int n = std::snprintf(line, sizeof line, "  <POINT>%lld;%d;%d;1</POINT>\n",
                                      static_cast<long long>(4004582400 + int64_t{i} * 1800),
                                      14400 + (i % 9) * 1800, 1 + i % 12);
          xml.append(line, static_cast<size_t>(n));
        }
        xml += "</POINTSMGR>\n";
        xml.shrink_to_fit();
        const int64_t heapBefore = HeapInUse();
        std::ofstream("/proc/self/clear_refs") << "5";
        TBasicPointMgr set;
        TBasicPoint proto;
        set.LoadFromXML(xml, &proto);
        const int64_t peak = StatusBytes("VmHWM");
        answer[0] = static_cast<int64_t>(xml.size());
        answer[1] = HeapInUse() - heapBefore;
        answer[2] = peak - before;
        if (set.Points.size() != kBigPoints) answer[0] = -1;
      }
      const ssize_t written = write(channel[1], answer, sizeof answer);
      _exit(written == sizeof answer ? 0 : 1);
    }
    close(channel[1]);
    if (read(channel[0], result, sizeof result) != sizeof result || result[0] < 0)
      state.SkipWithError("the child did not load the document");
    close(channel[0]);
    int status = 0;
    waitpid(child, &status, 0);
  }
  state.counters["document"] = static_cast<double>(result[0]);
  state.counters["points"] = static_cast<double>(result[1]);
  state.counters["peak"] = static_cast<double>(result[2]);
}

void BM_LoadFromXMLPeakMemory(benchmark::State& state) { MeasureLoadPeak(state, ""); }
BENCHMARK(BM_LoadFromXMLPeakMemory)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_LoadFromXMLPeakMemoryThroughTree(benchmark::State& state) {
  MeasureLoadPeak(state, "\n<!-- written by a host -->");
}
BENCHMARK(BM_LoadFromXMLPeakMemoryThroughTree)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
