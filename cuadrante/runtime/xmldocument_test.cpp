#include "cuadrante/runtime/xmldocument.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "cuadrante/internal/testsupport.h"
#include "cuadrante/runtime/exception.h"

namespace {

using cuadrante::TXMLDocument;
using cuadrante::TXMLNode;
using cuadrante::testing::TempFolder;
using cuadrante::testing::WriteText;

const std::string kDeclaration = R"(<?xml version="1.0" encoding="UTF-8" standalone="no"?>)";

// The message of the EXMLDocError that loading `text` raises, or "" if none.
std::string ParseErrorOf(const std::string& text) {
  TXMLDocument doc;
  try {
    doc.LoadFromXML(text);
  } catch (const EXMLDocError& e) {
    EXPECT_FALSE(doc.DocumentElement()) << "a failed load must leave the document empty";
    return e.Message;
  }
  return "";
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
    root.AddChild("V").SetText(text);
  }
  back.LoadFromXML(doc.SaveToXML());
  TXMLNode node = back.DocumentElement().FirstChild();
  for (const std::string& text : texts) {
    ASSERT_TRUE(node);
    EXPECT_EQ(node.Text(), text);
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
  }
  EXPECT_EQ(doc.DocumentElement(), root);  // a refused name replaced nothing
  for (const std::string name : {"_a", "ns:a", "a-1.b_2", "ÍNDICE"})
    EXPECT_EQ(root.AddChild(name).Name(), name);
  EXPECT_EQ(root.ChildCount(), 4u);
  EXPECT_THROW(TXMLNode().AddChild("A"), EXMLDocError);
  EXPECT_THROW(TXMLNode().SetText("A"), EXMLDocError);
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
  try {
    back.LoadFromFile(path);
    ADD_FAILURE() << "a malformed file must raise";
  } catch (const EXMLDocError& e) {
    EXPECT_TRUE(e.Message.starts_with("'" + path + "': XML text is not well-formed at offset"))
        << e.Message;
  }
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

  const std::string tooDeep = ParseErrorOf(Nested(cuadrante::kMaxXmlDepth + 1));
  EXPECT_EQ(tooDeep, "XML text is not well-formed at offset " +
                         std::to_string(4 * cuadrante::kMaxXmlDepth) + " (line " +
                         std::to_string(cuadrante::kMaxXmlDepth + 1) +
                         ", column 1): Elements nest deeper than 256");
  // A million levels are refused without a deep walk: neither the check nor
  // freeing the tree may recurse.
  EXPECT_NE(ParseErrorOf(Nested(1000000)).find("deeper than"), std::string::npos);
  // One deep branch among shallow ones is found where it is.
  EXPECT_NE(ParseErrorOf("<R><A/><A>" + Nested(cuadrante::kMaxXmlDepth) + "</A></R>")
                .find("line " + std::to_string(cuadrante::kMaxXmlDepth - 1) + ","),
            std::string::npos);
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
