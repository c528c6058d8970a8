#include "cuadrante/documents/xmldocument.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/testing/testsupport.h"

namespace {

using cuadrante::TXMLDocument;
using cuadrante::TXMLNode;
using cuadrante::testing::ErrorOf;
using cuadrante::testing::RaisesWith;
using cuadrante::testing::TempFolder;
using cuadrante::testing::WriteText;

const std::string kDeclaration = R"(<?xml version="1.0" encoding="UTF-8" standalone="no"?>)";

// The message of the EXMLDocError that loading `text` raises, or "" if none.
// A text beyond the bounds (`limit`) must raise EXMLLimitError, and a text
// that is no XML must not.
std::string ParseErrorOf(const std::string& text, bool limit = false) {
  TXMLDocument doc;
  return ErrorOf<EXMLDocError>(
      [&] { doc.LoadFromXML(text); },
      [&](const EXMLDocError& e) {
        EXPECT_FALSE(doc.DocumentElement()) << "a failed load must leave the document empty";
        EXPECT_EQ(dynamic_cast<const cuadrante::EXMLLimitError*>(&e) != nullptr, limit)
            << e.Message;
      });
}

TEST(TXMLDocument, WritesTheDeclarationAndOneElementALine) {
  TXMLDocument doc;
  EXPECT_FALSE(doc.DocumentElement());
  EXPECT_EQ(doc.SaveToXML(), kDeclaration + "\n");

  TXMLNode root = doc.CreateDocumentElement("DATAPACKET");
  TXMLNode general = root.AddChild("GENERAL");
  general.AddChild("ZV_MON_TIMEOUT").SetText("1");
  general.AddChild("EMPTY");
  root.AddChild("AÑO").SetText("día");
  EXPECT_EQ(doc.SaveToXML(), kDeclaration +
                                 "\n<DATAPACKET>\n"
                                 "  <GENERAL>\n"
                                 "    <ZV_MON_TIMEOUT>1</ZV_MON_TIMEOUT>\n"
                                 "    <EMPTY />\n"
                                 "  </GENERAL>\n"
                                 "  <AÑO>día</AÑO>\n"
                                 "</DATAPACKET>\n");
  EXPECT_EQ(general.GetXML(), "<GENERAL><ZV_MON_TIMEOUT>1</ZV_MON_TIMEOUT><EMPTY/></GENERAL>");
  EXPECT_EQ(TXMLNode().GetXML(), "");

  // A new document element replaces the old tree; a document moved from
  // starts afresh.
  doc.CreateDocumentElement("OTHER");
  EXPECT_EQ(doc.SaveToXML(), kDeclaration + "\n<OTHER />\n");
  TXMLDocument moved(std::move(doc));
  EXPECT_EQ(moved.DocumentElement().Name(), "OTHER");
  EXPECT_EQ(doc.SaveToXML(), kDeclaration + "\n");  // NOLINT(bugprone-use-after-move)
  doc.LoadFromXML("<B/>");
  EXPECT_EQ(doc.DocumentElement().Name(), "B");
}

TEST(TXMLDocument, TextsComeBackAsTheyWent) {
  // Markup, blanks alone or around, control characters XML allows, every
  // length of UTF-8 sequence and DEL.
  const std::string texts[] = {"a & b < c > \"e\" 'f'",
                               "]]> <![CDATA[ &amp;",
                               " ",
                               " around ",
                               "\t control",
                               "line\nbreak",
                               "",
                               "ñ \xE2\x82\xAC \xF0\x9F\x98\x80 \x7F"};
  TXMLDocument doc, back;
  TXMLNode root = doc.CreateDocumentElement("R");
  for (const std::string& text : texts) {
    EXPECT_TRUE(cuadrante::CanCarryText(text)) << text;
    TXMLNode value = root.AddChild("V");
    value.SetText(text);
    // As an attribute too, set twice: the second value replaces the first.
    value.SetAttribute("a", "first");
    value.SetAttribute("a", text);
  }
  back.LoadFromXML(doc.SaveToXML());
  TXMLNode node = back.DocumentElement().FirstChild();
  for (const std::string& text : texts) {
    ASSERT_TRUE(node);
    EXPECT_EQ(node.Text(), text);
    EXPECT_EQ(node.Attribute("a"), text);
    EXPECT_EQ(node.AttributeNames().size(), 1u);
    node = node.NextSibling();
  }
  EXPECT_FALSE(node);
  EXPECT_EQ(back.SaveToXML(), doc.SaveToXML());
}

TEST(TXMLDocument, ReadsElementsAndTextAndDropsTheRest) {
  TXMLDocument doc;
  doc.LoadFromXML(
      "\xEF\xBB\xBF<?xml version=\"1.0\"?>\r\n<!-- head -->\n<R a=\"1\">\n"
      "  <A>x &amp; &#x41;&#66;</A>  <?pi data?>\n"
      "  <!-- between --> <B><![CDATA[<raw> & ]]></B>\n"
      "  <C>one\r\ntwo</C><D>lead<E/>tail</D>\n"
      "</R>\n<!-- tail -->\n");
  TXMLNode root = doc.DocumentElement();
  EXPECT_EQ(root.ChildCount(), 4u);
  EXPECT_EQ(root.Text(), "");  // the blanks between elements are no text
  EXPECT_EQ(doc.SaveToXML(),
            kDeclaration +
                "\n<R a=\"1\">\n  <A>x &amp; AB</A>\n  <B><![CDATA[<raw> & ]]></B>\n"
                "  <C>one\ntwo</C>\n  <D>lead<E />tail</D>\n</R>\n");

  // The walk over children passes the text between them; a new text takes
  // the place of the first piece, and the empty text takes all of them away.
  TXMLNode d = root.FirstChild().NextSibling().NextSibling().NextSibling();
  EXPECT_EQ(d.FirstChild().Name(), "E");
  EXPECT_FALSE(d.FirstChild().NextSibling());
  d.SetText("t");
  EXPECT_EQ(d.GetXML(), "<D>t<E/>tail</D>");
  d.SetText("");
  EXPECT_EQ(d.GetXML(), "<D><E/></D>");
  // Only a child of the element goes: not a grandchild, not the element.
  EXPECT_FALSE(root.RemoveChild(d.FirstChild()));
  EXPECT_FALSE(root.RemoveChild(root));
  EXPECT_FALSE(root.RemoveChild(TXMLNode()));
  EXPECT_TRUE(root.RemoveChild(root.FirstChild().NextSibling()));
  EXPECT_EQ(root.ChildCount(), 3u);
  EXPECT_EQ(root.FirstChild().NextSibling().Name(), "C");
  root.ClearChildren();
  EXPECT_FALSE(root.FirstChild());
  EXPECT_EQ(root.GetXML(), "<R a=\"1\"/>");

  // Attributes are read by name, unescaped, and listed in document order.
  doc.LoadFromXML("<P b=\"x &amp; y\" a=\"\"><Q/></P>");
  EXPECT_EQ(doc.DocumentElement().Attribute("b"), "x & y");
  EXPECT_EQ(doc.DocumentElement().Attribute("a"), "");
  EXPECT_FALSE(doc.DocumentElement().Attribute("c"));
  EXPECT_FALSE(doc.DocumentElement().FirstChild().Attribute("b"));
  EXPECT_EQ(doc.DocumentElement().AttributeNames(), (std::vector<std::string_view>{"b", "a"}));
  EXPECT_FALSE(TXMLNode().Attribute("b"));

  // A text declared in Latin-1 reaches the tree as UTF-8.
  doc.LoadFromXML("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\xE9</a>");
  EXPECT_EQ(doc.DocumentElement().Text(), "é");
}

TEST(TXMLDocument, ParseErrorsSayWhereAndWhy) {
  const std::pair<std::string, std::string> errors[] = {
      {"<R>\n  <A>1</B>\n</R>", "offset 12 (line 2, column 9): Start-end tags mismatch"},
      {"<R/>\n<S/>", "offset 5 (line 2, column 1): More than one document element"},
      {"  words <R/>", "offset 2 (line 1, column 3): Text before the document element"},
      {"words <R/>", "offset 0 (line 1, column 1): Text before the document element"},
      {"<R/>words\n", "offset 8 (line 1, column 9): Text after the document element"}};
  for (const auto& [text, where] : errors)
    EXPECT_EQ(ParseErrorOf(text), "XML text is not well-formed at " + where);
  for (const std::string text : {"", "   ", "<?xml version=\"1.0\"?>", "<R a=1/>", "</R>"}) {
    EXPECT_TRUE(ParseErrorOf(text).starts_with("XML text is not well-formed at offset ")) << text;
  }

  // Every prefix of a document short of its last '>' is refused, whatever
  // construct it cuts.
  const std::string whole = kDeclaration +
                            "\n<R><!-- c --><A x=\"1\">a &amp; b</A><B><![CDATA[c]]></B>"
                            "<C/></R>";
  for (size_t n = 0; n < whole.size(); ++n) EXPECT_NE(ParseErrorOf(whole.substr(0, n)), "") << n;
  EXPECT_EQ(ParseErrorOf(whole), "");
}

TEST(TXMLDocument, RefusesNamesThatAreNoXmlNames) {
  TXMLDocument doc;
  TXMLNode root = doc.CreateDocumentElement("R");
  for (const std::string name : {"", "1A", "A B", "-A", "A<", "A&B", ".A", "A/", "\xC3", "A\xFF"}) {
    EXPECT_THROW(root.AddChild(name), EXMLDocError) << name;
    EXPECT_THROW(doc.CreateDocumentElement(name), EXMLDocError) << name;
    EXPECT_THROW(root.SetAttribute(name, "v"), EXMLDocError) << name;
  }
  EXPECT_EQ(doc.DocumentElement(), root);  // a refused name replaced nothing
  EXPECT_TRUE(root.AttributeNames().empty());
  root.SetAttribute("a", "kept");
  EXPECT_THROW(root.SetAttribute("a", std::string("b\x01", 2)), EXMLDocError);
  EXPECT_THROW(root.SetAttribute("a", "\xFF"), EXMLDocError);
  EXPECT_EQ(root.Attribute("a"), "kept");
  for (const std::string name : {"_a", "ns:a", "a-1.b_2", "ÍNDICE"})
    EXPECT_EQ(root.AddChild(name).Name(), name);
  EXPECT_EQ(root.ChildCount(), 4u);
  EXPECT_THROW(TXMLNode().AddChild("A"), EXMLDocError);
  EXPECT_THROW(TXMLNode().SetText("A"), EXMLDocError);
  EXPECT_THROW(TXMLNode().SetAttribute("a", "A"), EXMLDocError);
}

TEST(TXMLDocument, FilesComeBackAndParseErrorsNameThePath) {
  TempFolder folder;
  const std::string path = folder / "Enviroment.xml";
  TXMLDocument doc, back;
  doc.CreateDocumentElement("DATAPACKET").AddChild("GENERAL").SetText("1 & 2");
  doc.SaveToFile(path);
  back.LoadFromFile(path);
  EXPECT_EQ(back.SaveToXML(), doc.SaveToXML());

  WriteText(path, "<DATAPACKET>");
  const std::string malformed = ErrorOf<EXMLDocError>([&] { back.LoadFromFile(path); });
  EXPECT_TRUE(malformed.starts_with("'" + path + "': XML text is not well-formed at offset"))
      << malformed;
}

// `depth` elements nested, each on a line of its own, with `text` innermost.
std::string Nested(int depth, const std::string& text = "") {
  std::string xml;
  for (int i = 0; i < depth; ++i) xml += i == 0 ? "<E>" : "\n<E>";
  xml += text;
  for (int i = 0; i < depth; ++i) xml += "</E>";
  return xml;
}

TEST(TXMLDocument, NestingStopsAtTheDepthLimitWhereverItIsReached) {
  TXMLDocument doc;
  doc.LoadFromXML(Nested(cuadrante::kMaxXmlDepth, "deepest"));
  TXMLNode node = doc.DocumentElement();
  for (int i = 1; i < cuadrante::kMaxXmlDepth; ++i) node = node.FirstChild();
  EXPECT_EQ(node.Text(), "deepest");
  // Built in memory, no element may lie deeper than a load accepts.
  EXPECT_THROW(node.AddChild("E"), EXMLDocError);
  EXPECT_EQ(node.ChildCount(), 0u);
  // The save of the deepest document stays within two blanks a level a line.
  const std::string saved = doc.SaveToXML();
  EXPECT_LT(saved.size(), 2u * cuadrante::kMaxXmlDepth * (cuadrante::kMaxXmlDepth + 12));
  doc.LoadFromXML(saved);

  // Too deep is well-formed all the same: a limit error, not a syntax one.
  const std::string tooDeep = ParseErrorOf(Nested(cuadrante::kMaxXmlDepth + 1), true);
  EXPECT_EQ(tooDeep, "XML elements nest deeper than 256 at offset " +
                         std::to_string(4 * cuadrante::kMaxXmlDepth) + " (line " +
                         std::to_string(cuadrante::kMaxXmlDepth + 1) + ", column 1)");
  // A million levels are refused without a deep walk: neither the check nor
  // freeing the tree may recurse.
  EXPECT_NE(ParseErrorOf(Nested(1000000), true).find("deeper than"), std::string::npos);
  // One deep branch among shallow ones is found where it is.
  EXPECT_NE(ParseErrorOf("<R><A/><A>" + Nested(cuadrante::kMaxXmlDepth) + "</A></R>", true)
                .find("line " + std::to_string(cuadrante::kMaxXmlDepth - 1) + ","),
            std::string::npos);
  // Cut short, a deep text is no XML, whatever depth it reached.
  const std::string cut = Nested(cuadrante::kMaxXmlDepth + 1);
  EXPECT_TRUE(
      ParseErrorOf(cut.substr(0, cut.size() - 1)).starts_with("XML text is not well-formed"));
}

// `count` copies of `piece` inside <R>...</R>.
std::string Repeated(const std::string& piece, int count) {
  std::string xml = "<R>";
  for (int i = 0; i < count; ++i) xml += piece;
  return xml + "</R>";
}

// `depth` elements nested on one line, as a compact writer leaves them.
std::string Chain(int depth) {
  std::string xml;
  for (int i = 0; i < depth; ++i) xml += "<E>";
  for (int i = 0; i < depth; ++i) xml += "</E>";
  return xml;
}

TEST(TXMLDocument, ASaveGrowsAtMostSixTimesTheTextItWasReadFrom) {
  // The worst texts we know for each way a save grows: chains just inside
  // the depth limit (indentation), tiny elements as deep as indentation goes,
  // and the characters that come back escaped in attributes and texts.
  const std::string texts[] = {
      Repeated(Chain(250), 40),
      Repeated(Chain(cuadrante::kMaxXmlDepth - 1), 20),
      Nested(cuadrante::kMaxIndentedDepth - 2, Repeated("<a/>", 1000)),
      "<R a='" + std::string(20000, '"') + "'/>",
      "<R>" + std::string(20000, '>') + "</R>",
      "<R a='" + std::string(20000, '\x01') + "'>" + std::string(20000, '\x02') + "</R>",
      Repeated("<a b='\"'/>", 2000),
  };
  for (const std::string& text : texts) {
    TXMLDocument doc, back;
    doc.LoadFromXML(text);
    const std::string saved = doc.SaveToXML();
    EXPECT_LE(saved.size(), 6 * text.size() + kDeclaration.size() + 2) << text.substr(0, 40);
    // What was saved reads back to the same document.
    back.LoadFromXML(saved);
    EXPECT_EQ(back.SaveToXML(), saved) << text.substr(0, 40);
  }
}

TEST(TXMLDocument, OnlyShallowDocumentsAreIndented) {
  // As deep as indentation goes: one element a line, two blanks a level.
  TXMLDocument doc;
  doc.LoadFromXML(Chain(cuadrante::kMaxIndentedDepth));
  const std::string indented = doc.SaveToXML();
  EXPECT_NE(
      indented.find("\n" + std::string(2 * (cuadrante::kMaxIndentedDepth - 1), ' ') + "<E />\n"),
      std::string::npos)
      << indented;
  EXPECT_EQ(std::count(indented.begin(), indented.end(), '\n'), 2 * cuadrante::kMaxIndentedDepth);
  // One level deeper, the whole document comes on one line, whatever depth
  // its other branches have.
  doc.LoadFromXML("<R><A/>" + Chain(cuadrante::kMaxIndentedDepth) + "</R>");
  std::string oneLine = "<R><A/>";
  for (int i = 1; i < cuadrante::kMaxIndentedDepth; ++i) oneLine += "<E>";
  oneLine += "<E/>";
  for (int i = 1; i < cuadrante::kMaxIndentedDepth; ++i) oneLine += "</E>";
  EXPECT_EQ(doc.SaveToXML(), kDeclaration + "\n" + oneLine + "</R>\n");
}

TEST(TXMLDocument, SavesToAFileOnlyWhatLoadsBack) {
  TempFolder folder;
  const std::string path = folder / "doc.xml";
  TXMLDocument doc;
  doc.LoadFromXML(Repeated("<a b='\"'/>", 100));
  const std::string text = doc.SaveToXML();
  doc.SaveToFile(path, text.size());  // exactly the limit is still read back
  EXPECT_EQ(cuadrante::testing::ReadText(path), text);
  TXMLDocument back;
  back.LoadFromFile(path, text.size());
  EXPECT_EQ(back.SaveToXML(), text);
  EXPECT_THROW(back.LoadFromFile(path, text.size() - 1), EFOpenError);

  // A byte more than the loader reads, or no document element at all: the
  // file keeps what it held.
  doc.DocumentElement().AddChild("c");
  EXPECT_TRUE(
      RaisesWith<cuadrante::EXMLLimitError>([&] { doc.SaveToFile(path, text.size()); },
                                            "more than " + std::to_string(text.size()) + " bytes"));
  EXPECT_THROW(TXMLDocument().SaveToFile(path), EXMLDocError);
  EXPECT_EQ(cuadrante::testing::ReadText(path), text);
}

TEST(TXMLDocument, RefusesTextsThatXmlCannotCarryBack) {
  TXMLDocument doc;
  const TXMLNode value = doc.CreateDocumentElement("R").AddChild("V");
  value.SetText("kept");
  for (const std::string& text :
       {std::string("a\0b", 3), std::string("a\rb"), std::string("\x01"), std::string("\x1F"),
        std::string("\xC3"), std::string("\xC0\xAF"), std::string("\xED\xA0\x80"),
        std::string("\xEF\xBF\xBE"), std::string("\xF4\x90\x80\x80")}) {
    EXPECT_FALSE(cuadrante::CanCarryText(text));
    EXPECT_THROW(value.SetText(text), EXMLDocError);
  }
  EXPECT_EQ(value.Text(), "kept");
}

}  // namespace
