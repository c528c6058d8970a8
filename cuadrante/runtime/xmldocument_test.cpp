#include "cuadrante/runtime/xmldocument.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "cuadrante/internal/testsupport.h"
#include "cuadrante/runtime/exception.h"

namespace {

using cuadrante::TXMLDocument;
using cuadrante::TXMLNode;
using cuadrante::testing::ReadText;
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

  // A new document element replaces the old tree.
  doc.CreateDocumentElement("OTHER");
  EXPECT_EQ(doc.SaveToXML(), kDeclaration + "\n<OTHER />\n");
}

TEST(TXMLDocument, TextsComeBackAsTheyWent) {
  const std::string texts[] = {"a & b < c > d \"e\" 'f'",
                               "]]> <![CDATA[ &amp;",
                               "Año, día, Reducción Jornada, 20 €, 日本",
                               " one blank around ",
                               " ",
                               "\t\x01 control",
                               "line\nbreak",
                               ""};
  TXMLDocument doc;
  TXMLNode root = doc.CreateDocumentElement("R");
  for (const std::string& text : texts) root.AddChild("V").SetText(text);
  const std::string saved = doc.SaveToXML();

  TXMLDocument back;
  back.LoadFromXML(saved);
  TXMLNode node = back.DocumentElement().FirstChild();
  for (const std::string& text : texts) {
    ASSERT_TRUE(node);
    EXPECT_EQ(node.Name(), "V");
    EXPECT_EQ(node.Text(), text);
    node = node.NextSibling();
  }
  EXPECT_FALSE(node);
  EXPECT_EQ(back.SaveToXML(), saved);
}

TEST(TXMLDocument, ReadsElementsAndTextAndDropsTheRest) {
  TXMLDocument doc;
  doc.LoadFromXML(
      "\xEF\xBB\xBF<?xml version=\"1.0\"?>\r\n<!-- head -->\n<R a=\"1\">\n"
      "  <A>x &amp; &#x41;&#66;</A>  <?pi data?>\n"
      "  <!-- between --> <B><![CDATA[<raw> & ]]></B>\n"
      "  <C>one\r\ntwo</C><D><E/></D>\n"
      "</R>\n<!-- tail -->\n");
  TXMLNode root = doc.DocumentElement();
  EXPECT_EQ(root.Name(), "R");
  EXPECT_EQ(root.ChildCount(), 4u);
  EXPECT_EQ(root.Text(), "");  // the blanks between elements are no text
  TXMLNode a = root.FirstChild();
  EXPECT_EQ(a.Text(), "x & AB");
  EXPECT_EQ(a.NextSibling().Text(), "<raw> & ");
  TXMLNode c = a.NextSibling().NextSibling();
  EXPECT_EQ(c.Text(), "one\ntwo");
  TXMLNode d = c.NextSibling();
  EXPECT_EQ(d.Name(), "D");
  EXPECT_EQ(d.Text(), "");
  EXPECT_EQ(d.FirstChild().Name(), "E");
  EXPECT_FALSE(d.NextSibling());
  EXPECT_EQ(doc.SaveToXML(),
            kDeclaration +
                "\n<R a=\"1\">\n  <A>x &amp; AB</A>\n  <B><![CDATA[<raw> & ]]></B>\n"
                "  <C>one\ntwo</C>\n  <D>\n    <E />\n  </D>\n</R>\n");

  // Text set on an element with children goes behind them, and the empty
  // text takes it away again; clearing removes elements and text alike.
  d.SetText("t");
  EXPECT_EQ(d.GetXML(), "<D><E/>t</D>");
  EXPECT_EQ(d.Text(), "t");
  d.SetText("");
  EXPECT_EQ(d.GetXML(), "<D><E/></D>");
  a.SetText("new");
  EXPECT_EQ(a.Text(), "new");
  root.ClearChildren();
  EXPECT_EQ(root.ChildCount(), 0u);
  EXPECT_FALSE(root.FirstChild());
  EXPECT_EQ(root.GetXML(), "<R a=\"1\"/>");

  // A text declared in Latin-1 reaches the tree as UTF-8.
  doc.LoadFromXML("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\xE9</a>");
  EXPECT_EQ(doc.DocumentElement().Text(), "é");
}

TEST(TXMLDocument, ParseErrorsSayWhereAndWhy) {
  EXPECT_EQ(ParseErrorOf("<R>\n  <A>1</B>\n</R>"),
            "XML text is not well-formed at offset 12 (line 2, column 9): Start-end tags "
            "mismatch");
  EXPECT_EQ(ParseErrorOf("<R/>\n<S/>"),
            "XML text is not well-formed at offset 5 (line 2, column 1): More than one document "
            "element");
  EXPECT_EQ(ParseErrorOf("  words <R/>"),
            "XML text is not well-formed at offset 2 (line 1, column 3): Text before the document "
            "element");
  EXPECT_EQ(ParseErrorOf("<R/>words\n"),
            "XML text is not well-formed at offset 8 (line 1, column 9): Text after the document "
            "element");
  for (const std::string text : {"", "   ", "plain words", "<?xml version=\"1.0\"?>", "<R>",
                                 "<R><A></R>", "<R a=1/>", "</R>", "<R>&</R>x"}) {
    const std::string message = ParseErrorOf(text);
    EXPECT_TRUE(message.starts_with("XML text is not well-formed at offset ")) << text;
  }

  // Every prefix of a document short of its last '>' is refused, whatever
  // construct it cuts; none of them crashes.
  const std::string whole = kDeclaration +
                            "\n<R><!-- c --><A x=\"1\">a &amp; b</A><B><![CDATA[c]]></B>"
                            "<C/></R>";
  for (size_t n = 0; n < whole.size(); ++n) {
    EXPECT_NE(ParseErrorOf(whole.substr(0, n)), "") << n;
  }
  EXPECT_EQ(ParseErrorOf(whole), "");

  // The document keeps working after a failed load.
  TXMLDocument doc;
  doc.LoadFromXML("<A><B/></A>");
  EXPECT_THROW(doc.LoadFromXML("<A>"), EXMLDocError);
  EXPECT_FALSE(doc.DocumentElement());
  doc.LoadFromXML("<Z/>");
  EXPECT_EQ(doc.DocumentElement().Name(), "Z");
}

TEST(TXMLDocument, RefusesNamesThatAreNoXmlNames) {
  TXMLDocument doc;
  TXMLNode root = doc.CreateDocumentElement("R");
  for (const std::string name : {"", "1A", "A B", "-A", "A<", "A&B", ".A", "A/"}) {
    EXPECT_THROW(root.AddChild(name), EXMLDocError) << name;
    EXPECT_THROW(doc.CreateDocumentElement(name), EXMLDocError) << name;
  }
  EXPECT_EQ(doc.DocumentElement(), root);  // a refused name replaced nothing
  EXPECT_EQ(root.ChildCount(), 0u);
  for (const std::string name : {"A", "_a", "ns:a", "a-1.b_2", "ÍNDICE"}) {
    EXPECT_EQ(root.AddChild(name).Name(), name);
  }
  EXPECT_THROW(TXMLNode().AddChild("A"), EXMLDocError);
  EXPECT_THROW(TXMLNode().SetText("A"), EXMLDocError);
}

TEST(TXMLDocument, FilesAreWrittenWholeAndErrorsNameThePath) {
  TempFolder folder;
  const std::string path = folder / "Enviroment.xml";
  TXMLDocument doc;
  doc.CreateDocumentElement("DATAPACKET").AddChild("GENERAL").AddChild("A").SetText("1 & 2");
  doc.SaveToFile(path);
  EXPECT_EQ(ReadText(path), doc.SaveToXML());

  TXMLDocument back;
  back.LoadFromFile(path);
  EXPECT_EQ(back.DocumentElement().FirstChild().FirstChild().Text(), "1 & 2");

  EXPECT_THROW(back.LoadFromFile(folder / "missing.xml"), EFOpenError);
  WriteText(path, "<DATAPACKET>");
  try {
    back.LoadFromFile(path);
    ADD_FAILURE() << "a malformed file must raise";
  } catch (const EXMLDocError& e) {
    EXPECT_TRUE(e.Message.starts_with("'" + path + "': XML text is not well-formed at offset"))
        << e.Message;
  }
  EXPECT_THROW(doc.SaveToFile(folder / "no-such-folder/x.xml"), EFCreateError);
  EXPECT_EQ(ReadText(path), "<DATAPACKET>");  // untouched by the failed write
}

TEST(TXMLDocument, AMovedFromDocumentStartsAfresh) {
  TXMLDocument doc;
  doc.CreateDocumentElement("A");
  TXMLDocument moved(std::move(doc));
  EXPECT_EQ(moved.DocumentElement().Name(), "A");
  EXPECT_FALSE(doc.DocumentElement());  // NOLINT(bugprone-use-after-move): defined here
  EXPECT_EQ(doc.SaveToXML(), kDeclaration + "\n");
  doc.LoadFromXML("<B/>");
  EXPECT_EQ(doc.DocumentElement().Name(), "B");
  doc = std::move(moved);
  EXPECT_EQ(doc.DocumentElement().Name(), "A");
}

}  // namespace
