#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "cuadrante/documents/xmldocument.h"
#include "cuadrante/internal/pointsdocument.h"
#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/runtime/exception.h"

namespace {

const std::string kDeclaration = R"(<?xml version="1.0" encoding="UTF-8" standalone="no"?>)";

// A point with a free text as its fifth field, as boxes carry codes and names:
// "start;seconds;type;level;note". Live instances are counted, so that a test
// sees a clone that nobody freed.
class NotePoint : public TBasicPoint {
 public:
  NotePoint(int64_t start = 0, int64_t duration = 0, std::string note = "")
      : TBasicPoint(TFecha(start), TDuration(duration)), Note(std::move(note)) {
    ++live;
  }
  NotePoint(const NotePoint& other) : TBasicPoint(other), Note(other.Note) { ++live; }
  ~NotePoint() override { --live; }
  TBasicPoint* Instance() override { return new NotePoint(*this); }

  void ReadFromStr(const AnsiString& text) override {
    size_t cut = 0;
    for (int field = 0; field < 4; ++field) {
      cut = text.find(';', cut);
      if (cut == std::string::npos) return;
      ++cut;
    }
    TBasicPoint::ReadFromStr(text.substr(0, cut - 1));
    Note = text.substr(cut);
  }
  AnsiString WriteToStr() override { return TBasicPoint::WriteToStr() + ";" + Note; }

  std::string Note;
  static inline int live = 0;
};

// Each point's text and group, in list order.
std::vector<std::string> Contents(const TBasicPointMgr& set) {
  std::vector<std::string> texts;
  for (TBasicPoint* p : set.Points)
    texts.push_back(p->WriteToStr() + "#" + std::to_string(p->Group));
  return texts;
}

TEST(PointSetDocument, ARoundTripGivesThePointsInListOrderNumbered) {
  TBasicPointMgr set;
  AnsiString xml = "old";
  EXPECT_TRUE(set.SaveToXML(xml));
  EXPECT_EQ(xml, " ");  // an empty set
  // Out of order, overlapping, extreme: nothing is sorted or checked.
  for (auto [start, duration] : {std::pair<int64_t, int64_t>{4004582400, 28800},
                                 {86400, 3600},
                                 {-5, -60},
                                 {INT64_MAX, INT64_MIN}}) {
    set.Add(new TBasicPoint(TFecha(start), TDuration(duration)));
  }
  set.Points[1]->Type = tptIncidence;
  set.Points[2]->Level = 32767;
  set.Points[0]->Group = 9;
  ASSERT_TRUE(set.SaveToXML(xml));
  EXPECT_EQ(xml, kDeclaration +
                     "\n<POINTSMGR>\n"
                     "  <POINT>4004582400;28800;0;1</POINT>\n"
                     "  <POINT>86400;3600;6;1</POINT>\n"
                     "  <POINT>-5;-60;0;32767</POINT>\n"
                     "  <POINT>9223372036854775807;-9223372036854775808;0;1</POINT>\n"
                     "</POINTSMGR>\n");
  TBasicPoint proto;
  EXPECT_TRUE(set.LoadFromXML(xml, &proto));
  AnsiString again;
  set.SaveToXML(again);
  EXPECT_EQ(again, xml);

  // Each point's group is its position from 1, cut to 8 bits: the 256th
  // point has group 0.
  for (int i = 4; i < 257; ++i) set.Add(new TBasicPoint(TFecha(i), TDuration(1)));
  set.SaveToXML(xml);
  ASSERT_TRUE(set.LoadFromXML(xml, &proto));
  ASSERT_EQ(set.Points.size(), 257u);
  for (size_t i = 0; i < 257; ++i) EXPECT_EQ(set.Points[i]->Group, (i + 1) % 256) << i;
}

TEST(PointSetDocument, EveryChildElementOfAnyRootIsAPoint) {
  TBasicPointMgr set;
  TBasicPoint proto;
  proto.Inicio = TFecha(77);
  proto.Type = tptHoliday;
  proto.Group = 200;
  // Names are not looked at; comments and the blanks between elements are no
  // points; a text short of fields leaves the prototype's values.
  EXPECT_TRUE(set.LoadFromXML(
      "<OTHER>\n  <!-- a comment -->\n  <A>1;2;3;4</A>\n  <B>5;6;7;8<X/></B>\n  <C>9;9</C>\n"
      "  <D/>\n  <E>;;10;;11;12;13;;</E>\n</OTHER>",
      &proto));
  EXPECT_EQ(Contents(set), (std::vector<std::string>{"1;2;3;4#1", "5;6;7;8#2", "77;0;4;1#3",
                                                     "77;0;4;1#4", "10;11;12;13#5"}));
  EXPECT_EQ(proto.Group, 200);  // the prototype stays the caller's, untouched
}

TEST(PointSetDocument, LoadingReplacesTheSetAndBrokenTextRaises) {
  TBasicPointMgr set;
  NotePoint proto;
  // Whatever the text, the old points are gone: blanks and a root without
  // children give false, malformed text the parser's exception.
  // The first four give false, the others raise.
  const std::string texts[] = {" ",
                               "",
                               "\r\n\t  ",
                               kDeclaration + "<POINTSMGR/>",
                               "<POINTSMGR><POINT>1;2;3;4</POINT>",
                               "plain words",
                               "<A><POINT>1;2;3;4</POINT></B>",
                               "<A/><B/>",
                               "<A>&</A>x"};
  for (const std::string& text : texts) {
    set.Add(new NotePoint(10, 20));
    if (&text < texts + 4) {
      EXPECT_FALSE(set.LoadFromXML(text, &proto)) << text;
    } else {
      EXPECT_THROW(set.LoadFromXML(text, &proto), EXMLDocError) << text;
    }
    EXPECT_TRUE(set.Points.empty()) << text;
  }

  // Each prefix of a document, cut anywhere short of its last '>', is
  // refused whole: no point of it goes in and nothing leaks.
  TBasicPointMgr source;
  source.Add(new NotePoint(1, 2, "a & b"));
  source.Add(new NotePoint(3, 4, "<c>"));
  AnsiString xml;
  source.SaveToXML(xml);
  const size_t last = xml.rfind('>');
  const int live = NotePoint::live;
  for (size_t n = 1; n < last; ++n) {
    EXPECT_THROW(set.LoadFromXML(xml.substr(0, n), &proto), EXMLDocError) << n;
    EXPECT_TRUE(set.Points.empty()) << n;
  }
  EXPECT_EQ(NotePoint::live, live);
  // Whole, it reads back the texts that went out escaped.
  EXPECT_TRUE(set.LoadFromXML(xml.substr(0, last + 1), &proto));
  EXPECT_EQ(Contents(set), (std::vector<std::string>{"1;2;0;1;a & b#1", "3;4;0;1;<c>#2"}));

  // A field that is no number: the conversion's exception after the points
  // before it went in; the clone that failed is freed.
  EXPECT_THROW(set.LoadFromXML("<P><POINT>1;2;3;4;x</POINT><POINT>5;6;7;8;y</POINT>"
                               "<POINT>9;1O;1;1;z</POINT><POINT>10;1;1;1;w</POINT></P>",
                               &proto),
               EConvertError);
  EXPECT_EQ(Contents(set), (std::vector<std::string>{"1;2;3;4;x#1", "5;6;7;8;y#2"}));
  EXPECT_EQ(NotePoint::live, live + 2);
  set.ResetPoints();
  EXPECT_EQ(NotePoint::live, live);
}

// What a load leaves in a set that held a point: its result or its exception
// (class and message), then each point's text and group.
template <class Load>
std::string Outcome(Load load) {
  TBasicPointMgr set;
  set.Add(new NotePoint(10, 20, "old"));
  std::string out;
  try {
    out = load(set) ? "true" : "false";
  } catch (const std::exception& e) {
    out = std::string(typeid(e).name()) + ": " + e.what();
  }
  for (const std::string& point : Contents(set)) out += " | " + point;
  return out;
}

TEST(PointSetDocument, ThePlainReaderReadsWhatTheTreeReads) {
  using namespace std::string_literals;
  std::mt19937 random(17);
  const auto below = [&random](size_t n) { return static_cast<size_t>(random() % n); };
  // Each table lists first what the plain form holds, then near misses: what
  // the tree reads otherwise, or refuses.
  const std::string pieces[] = {
      "7",        "-3",  ";",    " ",    "\t",    "\n",    "x", "ñ", "€",    ">",
      "]]>",      "\"'", "\xFF", "\x01", "&amp;", "&#59;", "&", "<", "<X/>", "<![CDATA[5]]>",
      "<!--c-->", "\r",  "\0"s};
  const std::string prologs[] = {"",
                                 kDeclaration + "\n",
                                 "\xEF\xBB\xBF",
                                 "\xEF\xBB\xBF" + kDeclaration,
                                 "<?xml version=\"1.0\"?>\n",
                                 "<?xml version=\"1.0\" encoding=\"utf-8\"?>",
                                 " " + kDeclaration,
                                 "<?xml version='1.0'?>",
                                 "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>",
                                 "<!--c-->",
                                 "\xFE\xFF",
                                 "x"};
  const std::string opens[] = {"<POINTSMGR>", "<OTHER>", "<POINTSMGR a=\"1\">", "<POINTSMGR >",
                               "<POINTSMGR/>"};
  const std::string elements[] = {"<POINT>%</POINT>",
                                  "<POINT/>",
                                  "<POINT />",
                                  "<POINT></POINT>",
                                  "<POINT a='1'>%</POINT>",
                                  "<B>%</B>",
                                  "<POINT>%</POINT >",
                                  "<POINT>%</POINTS>",
                                  "<POINT>%",
                                  "<POINT>%</POINT></POINT>"};
  const std::string gaps[] = {"", "\n  ", "\r\n", "\t ", "x", "<!-- -->", "<?pi?>", "\x01"};
  const std::string closes[] = {
      "</POINTSMGR>\n", "</POINTSMGR>", "</POINTSMGR>\r\n \t", "",
      "</POINTSMGR>x",  "</OTHER>",     "</POINTSMGR><A/>",    "</POINTSMGR>\x01"};
  int plainDocuments = 0;
  for (int round = 0; round < 4000; ++round) {
    bool plain = true;
    // Mostly what the plain form allows, now and then anything.
    const auto pick = [&](const auto& options, size_t plainCount) -> const std::string& {
      const size_t i = below(8) != 0 ? below(plainCount) : below(std::size(options));
      plain = plain && i < plainCount;
      return options[i];
    };
    std::string xml = pick(prologs, 6) + pick(opens, 1);
    for (size_t n = below(7); n > 0; --n) {
      std::string text = std::to_string(below(100000)) + ";" + std::to_string(below(9) * 1800) +
                         ";" + std::to_string(below(13)) + ";1;";
      for (size_t k = below(4); k > 0; --k) text += pick(pieces, 14);
      std::string element = pick(gaps, 4) + pick(elements, 4);
      if (const size_t at = element.find('%'); at != std::string::npos)
        element.replace(at, 1, text);
      xml += element;
    }
    xml += pick(gaps, 4) + pick(closes, 3);
    if (below(4) == 0) {  // cut short, or a byte put in or taken out anywhere
      plain = false;
      const size_t at = below(xml.size() + 1);
      switch (below(3)) {
        case 0:
          xml.resize(at);
          break;
        case 1:
          xml.insert(at, 1, "<>&/ \r\0x\""[below(9)]);
          break;
        default:
          if (at < xml.size()) xml.erase(at, 1);
      }
    }
    NotePoint proto;
    if (plain) {  // the documents of the plain form never reach the tree
      ++plainDocuments;
      TBasicPointMgr set;
      bool taken = true;
      try {
        taken = cuadrante::detail::LoadPlainPoints(set, xml, &proto);
      } catch (const EConvertError&) {
      }
      EXPECT_TRUE(taken) << xml;
    }
    ASSERT_EQ(Outcome([&](TBasicPointMgr& set) { return set.LoadFromXML(xml, &proto); }),
              Outcome([&](TBasicPointMgr& set) {
                return cuadrante::detail::LoadPointsThroughDocument(set, xml, &proto);
              }))
        << "round " << round << ": " << xml;
  }
  EXPECT_GT(plainDocuments, 400);
}

// A point that writes whatever text it is given, empty included.
class RawPoint : public TBasicPoint {
 public:
  explicit RawPoint(std::string text) : Text(std::move(text)) {}
  TBasicPoint* Instance() override { return new RawPoint(*this); }
  AnsiString WriteToStr() override { return Text; }
  std::string Text;
};

// The document as the XML service builds and saves it, node by node: what
// SaveToXML wrote before it wrote the text itself. Errors come back as their
// text.
std::string SavedThroughTheService(const TBasicPointMgr& set) {
  if (set.Points.empty()) return " ";
  try {
    cuadrante::TXMLDocument doc;
    const cuadrante::TXMLNode root = doc.CreateDocumentElement("POINTSMGR");
    for (TBasicPoint* p : set.Points) root.AddChild("POINT").SetText(p->WriteToStr());
    return doc.SaveToXML();
  } catch (const EXMLDocError& e) {
    return std::string("error: ") + e.what();
  }
}

TEST(PointSetDocument, WritesTheBytesThatTheXmlServiceWrites) {
  std::mt19937 random(24);
  const auto below = [&random](unsigned n) { return static_cast<unsigned>(random() % n); };
  // Pieces of text that escaping, blanks, line ends and UTF-8 can trip on, and
  // a few that no XML document carries (a CR, a control byte, broken UTF-8).
  const char* const pieces[] = {"a",  "7",  ";", "&", "<",  ">",     "\"", "'",    "]]>", " ",
                                "\t", "\n", "ñ", "€", "日", "&amp;", "\r", "\x01", "\xFF"};
  for (int round = 0; round < 400; ++round) {
    TBasicPointMgr set;
    const unsigned count = below(4) == 0 ? 0 : 1 + below(30);
    for (unsigned i = 0; i < count; ++i) {
      std::string text;
      for (unsigned k = below(8); k > 0; --k) text += pieces[below(below(5) == 0 ? 19 : 16)];
      const int64_t start = static_cast<int64_t>(random()) - (int64_t{1} << 31);
      switch (below(3)) {
        case 0: {
          auto* p = new TBasicPoint(TFecha(start), TDuration(below(100000)));
          p->Type = static_cast<TTimePointType>(below(20));
          p->Level = static_cast<short>(below(3) - 1);
          set.Add(p);
          break;
        }
        case 1:
          set.Add(new NotePoint(start, below(1000), text));
          break;
        default:
          set.Add(new RawPoint(text));
          break;
      }
    }
    AnsiString xml = "old text";
    std::string ours;
    try {
      EXPECT_TRUE(set.SaveToXML(xml));
      ours = xml;
    } catch (const EXMLDocError& e) {
      ours = std::string("error: ") + e.what();
      EXPECT_EQ(xml, " ");  // a failed save leaves the one blank
    }
    ASSERT_EQ(ours, SavedThroughTheService(set)) << "round " << round;
  }
}

}  // namespace
