#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/runtime/exception.h"

namespace {

const std::string kDeclaration = R"(<?xml version="1.0" encoding="UTF-8" standalone="no"?>)";

TBasicPoint* NewPoint(int64_t start, int64_t duration, int type = 2, short level = 1) {
  auto* p = new TBasicPoint(TFecha(start), TDuration(duration));
  p->Type = static_cast<TTimePointType>(type);
  p->Level = level;
  return p;
}

// A point with a free text as its fifth field, as the box and cycle texts
// carry codes and names: "start;seconds;type;level;note". A text of fewer than
// five fields changes nothing. Live instances are counted, so that a test
// sees a clone that nobody freed.
class NotePoint : public TBasicPoint {
 public:
  NotePoint() { ++live; }
  NotePoint(int64_t start, int64_t duration, std::string note)
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

TEST(PointSetDocument, AnEmptySetIsOneBlank) {
  TBasicPointMgr set;
  AnsiString xml = "old";
  EXPECT_TRUE(set.SaveToXML(xml));
  EXPECT_EQ(xml, " ");

  TBasicPoint proto;
  for (const std::string blank : {" ", "", "\r\n\t  "}) {
    set.Add(NewPoint(10, 20));
    EXPECT_FALSE(set.LoadFromXML(blank, &proto)) << blank;
    EXPECT_TRUE(set.Points.empty()) << "the old points are gone whatever the text";
  }
  // A document without points loads nothing, and still empties the set.
  set.Add(NewPoint(10, 20));
  EXPECT_FALSE(set.LoadFromXML(kDeclaration + "<POINTSMGR/>", &proto));
  EXPECT_TRUE(set.Points.empty());
}

TEST(PointSetDocument, ARoundTripGivesThePointsInListOrderNumbered) {
  TBasicPointMgr set;
  // Out of order, overlapping, extreme: nothing is sorted or checked.
  set.Add(NewPoint(4004582400, 28800, 2, 1));
  set.Add(NewPoint(86400, 3600, 12, -3));
  set.Add(NewPoint(-5, -60, -1, 32767));
  set.Add(NewPoint(INT64_MAX, INT64_MIN, 0, 0));
  set.Points[0]->Group = 9;
  AnsiString xml;
  ASSERT_TRUE(set.SaveToXML(xml));
  EXPECT_EQ(xml, kDeclaration +
                     "\n<POINTSMGR>\n"
                     "  <POINT>4004582400;28800;2;1</POINT>\n"
                     "  <POINT>86400;3600;12;-3</POINT>\n"
                     "  <POINT>-5;-60;-1;32767</POINT>\n"
                     "  <POINT>9223372036854775807;-9223372036854775808;0;0</POINT>\n"
                     "</POINTSMGR>\n");

  TBasicPointMgr back;
  back.Add(NewPoint(1, 1));  // replaced, not kept
  TBasicPoint proto;
  EXPECT_TRUE(back.LoadFromXML(xml, &proto));
  EXPECT_EQ(Contents(back), (std::vector<std::string>{
                                "4004582400;28800;2;1#1",
                                "86400;3600;12;-3#2",
                                "-5;-60;-1;32767#3",
                                "9223372036854775807;-9223372036854775808;0;0#4",
                            }));
  AnsiString again;
  back.SaveToXML(again);
  EXPECT_EQ(again, xml);
}

TEST(PointSetDocument, GroupsAreThePositionInEightBits) {
  TBasicPointMgr set;
  for (int i = 0; i < 513; ++i) set.Add(NewPoint(i * 60, 60));
  AnsiString xml;
  set.SaveToXML(xml);
  TBasicPoint proto;
  ASSERT_TRUE(set.LoadFromXML(xml, &proto));
  ASSERT_EQ(set.Points.size(), 513u);
  EXPECT_EQ(set.Points[0]->Group, 1);
  EXPECT_EQ(set.Points[254]->Group, 255);
  EXPECT_EQ(set.Points[255]->Group, 0);
  EXPECT_EQ(set.Points[256]->Group, 1);
  EXPECT_EQ(set.Points[511]->Group, 0);
  EXPECT_EQ(set.Points[512]->StartValue(), 512 * 60);
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
  EXPECT_EQ(Contents(set), (std::vector<std::string>{
                               "1;2;3;4#1",
                               "5;6;7;8#2",
                               "77;0;4;1#3",
                               "77;0;4;1#4",
                               "10;11;12;13#5",
                           }));
  EXPECT_EQ(proto.Group, 200);  // the prototype stays the caller's, untouched
}

TEST(PointSetDocument, MalformedTextRaisesAndLeavesTheSetEmpty) {
  TBasicPointMgr set;
  TBasicPoint proto;
  for (const std::string text : {"<POINTSMGR><POINT>1;2;3;4</POINT>", "plain words",
                                 "<A><POINT>1;2;3;4</POINT></B>", "<A/><B/>", "<A>&</A>x"}) {
    set.Add(NewPoint(10, 20));
    try {
      set.LoadFromXML(text, &proto);
      ADD_FAILURE() << "no exception for " << text;
    } catch (const EXMLDocError& e) {
      EXPECT_NE(e.Message.find("offset"), std::string::npos) << e.Message;
    }
    EXPECT_TRUE(set.Points.empty()) << text;
  }

  // Each prefix of a document, cut anywhere short of its last '>', is
  // refused as a whole: no point of it goes in and nothing leaks.
  TBasicPointMgr source;
  source.Add(new NotePoint(1, 2, "a & b"));
  source.Add(new NotePoint(3, 4, "<c>"));
  AnsiString xml;
  source.SaveToXML(xml);
  const size_t last = xml.rfind('>');
  NotePoint noteProto;
  const int live = NotePoint::live;
  for (size_t n = 1; n < last; ++n) {
    const std::string prefix = xml.substr(0, n);
    bool loaded = false;
    EXPECT_THROW(loaded = set.LoadFromXML(prefix, &noteProto), EXMLDocError) << prefix;
    EXPECT_FALSE(loaded);
    EXPECT_TRUE(set.Points.empty()) << prefix;
  }
  EXPECT_EQ(NotePoint::live, live);
  EXPECT_TRUE(set.LoadFromXML(xml.substr(0, last + 1), &noteProto));
  EXPECT_EQ(set.Points.size(), 2u);
}

TEST(PointSetDocument, AFieldThatIsNoNumberStopsTheLoadAfterThePointsBeforeIt) {
  TBasicPointMgr set;
  NotePoint proto;
  const int live = NotePoint::live;
  EXPECT_THROW(set.LoadFromXML("<P><POINT>1;2;3;4;x</POINT><POINT>5;6;7;8;y</POINT>"
                               "<POINT>9;1O;1;1;z</POINT><POINT>10;1;1;1;w</POINT></P>",
                               &proto),
               EConvertError);
  EXPECT_EQ(Contents(set), (std::vector<std::string>{"1;2;3;4;x#1", "5;6;7;8;y#2"}));
  EXPECT_EQ(NotePoint::live, live + 2) << "the failing clone must be destroyed";
  for (TBasicPoint* p : set.Points) EXPECT_NE(dynamic_cast<NotePoint*>(p), nullptr);
  set.ResetPoints();
  EXPECT_EQ(NotePoint::live, live);
}

TEST(PointSetDocument, TextsTravelEscapedAndComeBackUnchanged) {
  const std::vector<std::string> notes = {"a & b",
                                          "<b>bold</b>",
                                          "]]> and <![CDATA[",
                                          "\"quoted\" 'single'",
                                          "Año, día, Reducción",
                                          "20 € 日本",
                                          "&amp; already escaped",
                                          " spaced ",
                                          "tab\there"};
  TBasicPointMgr set;
  for (size_t i = 0; i < notes.size(); ++i) {
    set.Add(new NotePoint(static_cast<int64_t>(i) * 100, 50, notes[i]));
  }
  AnsiString xml;
  set.SaveToXML(xml);
  EXPECT_NE(xml.find("<POINT>0;50;0;1;a &amp; b</POINT>"), std::string::npos);
  EXPECT_NE(xml.find("&lt;b&gt;bold&lt;/b&gt;"), std::string::npos);
  EXPECT_NE(xml.find("Año, día, Reducción"), std::string::npos);  // UTF-8 as it is

  TBasicPointMgr back;
  NotePoint proto;
  ASSERT_TRUE(back.LoadFromXML(xml, &proto));
  ASSERT_EQ(back.Points.size(), notes.size());
  for (size_t i = 0; i < notes.size(); ++i) {
    const auto* p = dynamic_cast<const NotePoint*>(back.Points[i]);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p->Note, notes[i]);
    EXPECT_EQ(p->StartValue(), static_cast<int64_t>(i) * 100);
  }

  // A longer text read by the plain prototype: the first four fields only.
  TBasicPoint plain;
  ASSERT_TRUE(back.LoadFromXML(xml, &plain));
  EXPECT_EQ(back.Points[1]->WriteToStr(), "100;50;0;1");
  EXPECT_EQ(dynamic_cast<NotePoint*>(back.Points[1]), nullptr);
  // The reverse: four fields are too few for the longer class, so each point
  // is the prototype's copy with its position as the group.
  TBasicPointMgr four;
  four.Add(NewPoint(5, 6));
  four.SaveToXML(xml);
  NotePoint noted(1, 2, "kept");
  ASSERT_TRUE(back.LoadFromXML(xml, &noted));
  EXPECT_EQ(Contents(back), (std::vector<std::string>{"1;2;0;1;kept#1"}));
}

}  // namespace
