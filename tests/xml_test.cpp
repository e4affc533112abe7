#include "util/xml.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <random>
#include <string>

#include "support/testutil.h"

namespace vos {
namespace {

struct outcome {
  int rc;
  std::string err;
};

// Parses `text` (which must outlive `doc`) and captures what the parser prints.
outcome parse(xml_doc& doc, const std::string& text) {
  test::CaptureFd capture(2);
  const int rc = xml_doc_parse_buffer(text.data(), text.size(), doc);
  return {rc, capture.finish()};
}

std::string str(xml_string s) {
  return std::string(s);
}

bool starts_with(const std::string& text, const std::string& head) {
  return text.compare(0, head.size(), head) == 0;
}

TEST(XmlTree, NamesPrefixesValuesAndNamespaces) {
  const std::string text =
      "<?xml version=\"1.0\"?>\n"
      "<!-- leading -->\n"
      "<m:Set a=\"1\" xmlns=\"urn:d\" xmlns:m='urn:m' bb = '' m:c=\"x&amp;y\">\n"
      "  <Item Key=\"k1\">text <b/> more</Item>\n"
      "  <m:Item Key=\"k2\">\n"
      "    <Inner/>\n"
      "  </m:Item>\n"
      "  <Data><![CDATA[<raw>]]]>]]></Data>\n"
      "</m:Set>\n"
      "<!-- trailing --><?pi after?>\n";
  xml_doc doc;
  const outcome r = parse(doc, text);
  ASSERT_EQ(r.rc, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_STREQ(doc.file_name(), "buffer");

  ASSERT_EQ(doc.namespace_count(), 2u);
  EXPECT_EQ(str(doc.namespaces()[0].prefix), "");
  EXPECT_EQ(str(doc.namespaces()[0].uri), "urn:d");
  EXPECT_EQ(str(doc.namespaces()[1].prefix), "m");

  const xml_node* set = doc.document_element();
  ASSERT_NE(set, nullptr);
  EXPECT_EQ(xml_node_count_children(doc.root()), 1u);
  EXPECT_EQ(str(set->prefix()), "m");
  EXPECT_EQ(str(set->name()), "Set");
  EXPECT_EQ(set->namespace_index(), 1);
  EXPECT_EQ(str(set->namespace_uri()), "urn:m");
  EXPECT_EQ(set->line(), 3u);
  EXPECT_EQ(set->column(), 1u);

  // Attributes in document order; an unprefixed one before the xmlns keeps the inherited
  // default (none), the ones after get the element's own.
  std::string seen;
  for (const xml_node& a : set->attributes())
    seen += str(a.prefix()) + ":" + str(a.name()) + "=" + str(a.value()) + "@" +
            std::to_string(a.namespace_index()) + " ";
  EXPECT_EQ(seen, ":a=1@-1 :xmlns=urn:d@0 xmlns:m=urn:m@0 :bb=@0 m:c=x&amp;y@1 ");
  const xml_node* b = set->find_attribute("bb");
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->column(), 44u);
  EXPECT_EQ(std::string(b->line_start(), 6), "<m:Set");
  EXPECT_EQ(xml_node_find_attribute(set, "c")->namespace_index(), 1);  // local name only
  EXPECT_EQ(xml_node_find_attribute(set, "m:c"), nullptr);

  // Element children only; look-ups by local name.
  EXPECT_EQ(set->count_children(), 3u);
  const xml_node* item = set->find_child("Item");
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->namespace_index(), 0);
  EXPECT_EQ(str(item->value()), "text <b/> more");
  EXPECT_FALSE(item->whitespace_only());
  EXPECT_EQ(item->line(), 4u);
  EXPECT_EQ(item->column(), 3u);
  const xml_node* item2 = item->find_next_sibling("Item");
  ASSERT_NE(item2, nullptr);
  EXPECT_EQ(str(item2->prefix()), "m");
  EXPECT_EQ(str(item2->find_attribute("Key")->value()), "k2");
  // Only whitespace and markup inside: the value is empty.
  EXPECT_TRUE(item2->whitespace_only());
  EXPECT_EQ(item2->value().size(), 0u);
  EXPECT_EQ(str(item2->first_child()->name()), "Inner");
  EXPECT_EQ(item2->find_next_sibling("Item"), nullptr);

  // CDATA stays as a child; "]]]>" does not close it, and the section does not count as
  // text for the element's value.
  const xml_node* data = set->find_child("Data");
  ASSERT_NE(data, nullptr);
  const xml_node* cdata = data->first_node();
  ASSERT_NE(cdata, nullptr);
  EXPECT_EQ(cdata->type(), XML_NODE_CDATA);
  EXPECT_EQ(str(cdata->value()), "<raw>]]]>");
  EXPECT_EQ(data->value().size(), 0u);
  EXPECT_EQ(data->first_child(), nullptr);

  // Sequence numbers grow in document order.
  EXPECT_LT(set->sequence(), set->first_attribute()->sequence());
  EXPECT_LT(item->sequence(), item2->sequence());
  EXPECT_EQ(std::string(xml_node_location(item2)), "buffer:5:3");
}

TEST(XmlTree, KeptOddities) {
  xml_doc doc;
  // "--->" does not end a comment; the later "-->" does.
  std::string text = "<a><!-- x --->still comment <b> --></a>";
  outcome r = parse(doc, text);
  ASSERT_EQ(r.rc, 0) << r.err;
  EXPECT_EQ(doc.document_element()->count_children(), 0u);

  // The body of a processing instruction is skipped without counting its columns.
  text = "<?pi?><a/>";
  ASSERT_EQ(parse(doc, text).rc, 0);
  EXPECT_EQ(doc.document_element()->column(), 3u);

  // A second ':' is reported but the parse goes on with the first prefix.
  text = "<x:y:z xmlns:x=\"u\"/>";
  r = parse(doc, text);
  EXPECT_EQ(r.rc, 0);
  EXPECT_EQ(r.err,
            "Error: second namespace separator found.\n"
            "Parse error in line 1, col 5:\n"
            "<x:y:z xmlns:x=\"u\"/>\n"
            "   ~^\n");
  EXPECT_EQ(str(doc.document_element()->prefix()), "x");
  EXPECT_EQ(str(doc.document_element()->name()), "z");

  // A NUL byte ends the input.
  text = std::string("<a/>\0<<garbage", 14);
  EXPECT_EQ(parse(doc, text).rc, 0);

  // End tags match on the local name; their prefix must still be declared.
  text = "<x:a xmlns:x='u' xmlns:y='v'></y:a>";
  EXPECT_EQ(parse(doc, text).rc, 0);
  text = "<x:a xmlns:x='u'></y:a>";
  r = parse(doc, text);
  EXPECT_EQ(r.rc, -1);
  EXPECT_TRUE(starts_with(r.err, "Error: using unknown namespace prefix 'y'\n")) << r.err;

  // "</" with a '/' before its '>' makes an element; its prefix stands after the "</".
  text = "<a xmlns:m='u'></m:b/></a>";
  ASSERT_EQ(parse(doc, text).rc, 0);
  EXPECT_EQ(str(doc.document_element()->first_child()->prefix()), "m");
  EXPECT_EQ(str(doc.document_element()->first_child()->name()), "b");

  // A prefix bound again keeps its first URI; a known URI as default reuses its entry.
  text = "<a xmlns:p='u1'><b xmlns:p='u2' xmlns='u1'><p:c/></b></a>";
  ASSERT_EQ(parse(doc, text).rc, 0);
  EXPECT_EQ(doc.namespace_count(), 1u);
  const xml_node* b = doc.document_element()->first_child();
  EXPECT_EQ(b->namespace_index(), 0);
  EXPECT_EQ(str(b->first_child()->namespace_uri()), "u1");
}

TEST(XmlErrors, ExactMessages) {
  struct {
    std::string text;
    std::string err;
  } cases[] = {
      {"<a><b></a></b>",
       "Error:opening and closing tag names do not match.\n"
       "Expected </a>, but got </b>\n"
       "Parse error in line 1, col 10:\n"
       "<a><b></a></b>\n"
       "        ~^\n"},
      {"<a>\n  <b c>\n</a>",
       "Error: no transition defined for processing '>' in state '32'\n"
       "Parse error in line 2, col 7:\n"
       "  <b c>\n"
       "     ~^\n"},
      {"<a/><b/>",
       "Error: invalid xml document, because the document contains multiple root elements.\n"
       "Parse error in line 1, col 8:\n"
       "<a/><b/>\n"
       "     ~~^\n"},
      {"<a><b>",
       "Error: invalid xml document, because not all tags have been closed correctly.\n"
       "Parse error in line 1, col 6:\n"
       "<a><b>\n"
       "    ~^\n"
       "Stack contents:\n"
       "1: a\n"
       "0: \n"},
      {"<p:a/>",
       "Error: using unknown namespace prefix 'p'\n"
       "Parse error in line 1, col 6:\n"
       "<p:a/>\n"
       "   ~~^\n"},
      {"<a x='1'y='2'/>",
       "Error: no transition defined for processing 'y' in state '60'\n"
       "Parse error in line 1, col 9:\n"
       "<a x='1'y='2'/>\n"
       "      ~~^\n"},
      {"<!x>",
       "Error: no transition defined for processing 'x' in state '8'\n"
       "Parse error in line 1, col 3:\n"
       "<!x>\n"
       "~~^\n"},
  };
  for (const auto& c : cases) {
    xml_doc doc;
    const outcome r = parse(doc, c.text);
    EXPECT_EQ(r.rc, -1) << c.text;
    EXPECT_EQ(r.err, c.err) << c.text;
    // Only the multiple-roots report leaves the tree attached.
    EXPECT_EQ(doc.root() != nullptr, c.text == "<a/><b/>") << c.text;
  }
}

TEST(XmlErrors, NestingLimitCountsTheRoot) {
  auto nested = [](int depth, const std::string& innermost) {
    std::string text;
    for (int i = 1; i < depth; ++i) text += "<e>";
    text += innermost;
    for (int i = 1; i < depth; ++i) text += "</e>";
    return text;
  };
  xml_doc doc;
  // Depth 20 holds only an empty element without attributes.
  std::string text = nested(20, "<x/>");
  EXPECT_EQ(parse(doc, text).rc, 0);
  for (const char* inner : {"<x a='1'/>", "<x></x>", "<x><y/></x>"}) {
    text = nested(20, inner);
    const outcome r = parse(doc, text);
    EXPECT_EQ(r.rc, -1) << inner;
    EXPECT_TRUE(starts_with(r.err, "Error: reached maximum xml tag nesting level\n")) << inner;
  }
  text = nested(100000, "");
  EXPECT_EQ(parse(doc, text).rc, -1);
}

TEST(XmlErrors, NamespaceTableFull) {
  std::string text = "<a";
  for (int i = 0; i < 20; ++i)
    text += " xmlns:p" + std::to_string(i) + "='u" + std::to_string(i) + "'";
  text += "><b xmlns='u3'/><c xmlns='u20'/></a>";
  xml_doc doc;
  const outcome r = parse(doc, text);
  EXPECT_EQ(r.rc, -1);
  const std::string head =
      "  xml_doc_add_namespace: Cannot add namespace. Maximum number of namespaces already "
      "reached: XML_MAX_NAMESPACES=20\n"
      "Error: could not add new namespace, maximum number of namespaces reached.Parse error in "
      "line 1, col ";
  EXPECT_TRUE(starts_with(r.err, head)) << r.err;
  // A 21st prefixed declaration is only reported.
  text = "<a";
  for (int i = 0; i < 21; ++i)
    text += " xmlns:p" + std::to_string(i) + "='u" + std::to_string(i) + "'";
  text += "/>";
  EXPECT_EQ(parse(doc, text).rc, 0);
  EXPECT_EQ(doc.namespace_count(), 20u);
}

TEST(XmlErrors, BadInputNeverCrashes) {
  const std::string good =
      "<?xml version='1.0'?><!-- c --><r xmlns:p=\"u\" a=\"1\" b='2'><p:x yy = \"&lt;\"/>"
      "<![CDATA[d]]>text</r>";
  xml_doc doc;
  // Every truncation fails but those that end right after the declaration or the comment.
  for (std::size_t n = 0; n < good.size(); ++n) {
    const std::string cut = good.substr(0, n);
    EXPECT_EQ(parse(doc, cut).rc, (n == 0 || n == 21 || n == 31) ? 0 : -1) << cut;
  }
  EXPECT_EQ(parse(doc, good).rc, 0);
  for (const char* unterminated :
       {"<a><!-- x", "<a><![CDATA[x]]", "<a b='1", "<a b=\"", "<?pi", "<a><?pi ?", "<"}) {
    const std::string text = unterminated;
    EXPECT_EQ(parse(doc, text).rc, -1) << text;
  }
  std::string nul("<a>\0</a>", 8);
  EXPECT_EQ(parse(doc, nul).rc, -1);

  std::mt19937 random(7);
  for (int i = 0; i < 300; ++i) {
    std::string garbage(static_cast<std::size_t>(random() % 200), '\0');
    for (char& c : garbage) c = "<>/=\"'?!-[]CDAT: \nab\x80"[random() % 21];
    const int rc = parse(doc, garbage).rc;
    EXPECT_TRUE(rc == 0 || rc == -1);
  }
}

TEST(XmlErrors, LongLine) {
  std::string text = "<a>" + std::string(10 * 1024 * 1024, 'x') + "<b/></a>";
  xml_doc doc;
  ASSERT_EQ(parse(doc, text).rc, 0);
  EXPECT_EQ(doc.document_element()->first_child()->column(), 10u * 1024 * 1024 + 4);
  text.replace(text.size() - 4, 4, "</c>");
  const outcome r = parse(doc, text);
  EXPECT_EQ(r.rc, -1);
  EXPECT_NE(r.err.find("Parse error in line 1, col " + std::to_string(text.size()) + ":\n<a>xxx"),
            std::string::npos);
}

TEST(XmlTree, LongNamesAndPositions) {
  // Names and prefixes of any length; a long one does not disturb its neighbours.
  const std::string name(70000, 'n');
  const std::string prefix(300, 'p');
  std::string text = "<" + prefix + ":" + name + " xmlns:" + prefix + "='u' " + prefix + ":" +
                     name + "='v' short='w'><" + prefix + ":" + name + "/><x:y:z xmlns:x='u2'/></" +
                     prefix + ":" + name + ">";
  xml_doc doc;
  outcome r = parse(doc, text);
  ASSERT_EQ(r.rc, 0) << r.err.substr(0, 200);
  const xml_node* top = doc.document_element();
  EXPECT_EQ(str(top->prefix()), prefix);
  EXPECT_EQ(str(top->name()), name);
  EXPECT_EQ(str(top->namespace_uri()), "u");
  EXPECT_EQ(str(top->find_attribute(name)->value()), "v");
  EXPECT_EQ(str(top->find_attribute(name)->prefix()), prefix);
  EXPECT_EQ(str(top->find_attribute("short")->value()), "w");
  EXPECT_EQ(str(top->first_child()->name()), name);
  const xml_node* z = top->first_child()->next_sibling();
  EXPECT_EQ(str(z->prefix()), "x");
  EXPECT_EQ(str(z->name()), "z");

  // Line feeds inside a processing instruction count neither as lines nor as columns; an
  // attribute on a later line of its tag has its own line and column.
  text = "<?pi a\nb?>\n <r\n  a='1' b='2'><?x\n?><c/></r>";
  r = parse(doc, text);
  ASSERT_EQ(r.rc, 0) << r.err;
  const xml_node* root = doc.document_element();
  EXPECT_EQ(root->line(), 2u);
  EXPECT_EQ(root->column(), 2u);
  const xml_node* b = root->find_attribute("b");
  EXPECT_EQ(b->line(), 3u);
  EXPECT_EQ(b->column(), 9u);
  EXPECT_EQ(std::string(b->line_start(), 5), "  a='");
  const xml_node* c = root->first_child();
  EXPECT_EQ(c->line(), 3u);
  EXPECT_EQ(c->column(), 17u);  // "<?" counts, the rest of the instruction does not
  EXPECT_EQ(std::string(c->line_start(), 3), "  a");
  EXPECT_EQ(doc.root()->line(), 0u);
  EXPECT_EQ(doc.root()->column(), 0u);
}

TEST(XmlDoc, LoadFile) {
  test::TempDir dir;
  const std::string path = (dir / "model.xml").string();
  test::write_file(path, "<a>\r\n <b c='d'/>\n</a>\n");
  xml_doc doc;
  ASSERT_EQ(xml_doc_load_file(path.c_str(), doc), 0);
  EXPECT_EQ(doc.file_name(), path.c_str());
  const xml_node* b = doc.document_element()->first_child();
  EXPECT_EQ(b->line(), 2u);
  EXPECT_EQ(std::string(xml_node_location(b)), path + ":2:2");
  // Loading again reuses the document.
  ASSERT_EQ(xml_doc_load_file(path.c_str(), doc), 0);
  EXPECT_EQ(str(doc.document_element()->name()), "a");

  // Files that cannot be read fail silently and tell why.
  const std::string missing = (dir / "missing.xml").string();
  test::CaptureFd capture(2);
  int error = -1;
  EXPECT_EQ(xml_doc_load_file(missing.c_str(), doc, &error), -1);
  EXPECT_EQ(error, ENOENT);
  EXPECT_EQ(xml_doc_load_file(dir.path().c_str(), doc, &error), -1);
  EXPECT_EQ(error, EISDIR);
  EXPECT_EQ(capture.finish(), "");
  EXPECT_EQ(doc.root(), nullptr);
  // A device is read to its end, like a file.
  EXPECT_EQ(xml_doc_load_file("/dev/null", doc, &error), 0);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(doc.text().size(), 0u);
  EXPECT_EQ(doc.document_element(), nullptr);

  test::write_file(path, "<a>");
  test::CaptureFd capture2(2);
  EXPECT_EQ(xml_doc_load_file(path.c_str(), doc), -1);
  capture2.finish();
  EXPECT_EQ(doc.root(), nullptr);
  EXPECT_EQ(doc.text().size(), 0u);
}

TEST(XmlDoc, GivenBackTextIsReadAgain) {
  // A mapped file whose pages were given back reads the same: the tree's slices stay valid.
  test::TempDir dir;
  const std::string path = (dir / "big.xml").string();
  std::string text = "<a>\n";
  for (int i = 0; i < 20000; ++i) text += "  <b n=\"" + std::to_string(i) + "\">text</b>\n";
  text += "</a>\n";
  test::write_file(path, text);
  xml_doc doc;
  ASSERT_EQ(xml_doc_load_file(path.c_str(), doc), 0);
  xml_doc_release_text(doc, 0, doc.text().size());
  const xml_node* last = nullptr;
  int count = 0;
  for (const xml_node& b : doc.document_element()->children()) {
    last = &b;
    ++count;
  }
  ASSERT_EQ(count, 20000);
  EXPECT_EQ(str(last->find_attribute("n")->value()), "19999");
  EXPECT_EQ(str(last->value()), "text");
  EXPECT_EQ(last->line(), 20001u);
  EXPECT_EQ(last->column(), 3u);
  // Loading again into the document reuses it.
  xml_doc_reset(doc);
  EXPECT_EQ(doc.root(), nullptr);
  ASSERT_EQ(xml_doc_load_file(path.c_str(), doc), 0);
  EXPECT_EQ(doc.document_element()->count_children(), 20000u);
}

TEST(XmlDoc, InputEndsAtTheFirstNulAnywhere) {
  // The end of the input is looked for a piece at a time; far into a large text it is found
  // all the same, and a processing instruction still reads past one.
  std::string text = "<a>" + std::string(3 << 20, 'x') + "<b/></a>";
  text += std::string("\0<broken", 9);
  xml_doc doc;
  EXPECT_EQ(parse(doc, text).rc, 0);
  EXPECT_EQ(doc.document_element()->count_children(), 1u);
  text = "<a>" + std::string(3 << 20, 'x') + "<b/>" + std::string("\0", 1) + "</a>";
  EXPECT_EQ(parse(doc, text).rc, -1);  // the end tag is past the end
  text = "<?pi " + std::string(2 << 20, ' ') + std::string("\0", 1) + " ?><a/>";
  EXPECT_EQ(parse(doc, text).rc, 0);
  EXPECT_EQ(str(doc.document_element()->name()), "a");
}

TEST(XmlDoc, RemoveFreeAndReuse) {
  const std::string text = "<a><b/><c><d/></c><e/></a>";
  xml_doc doc;
  ASSERT_EQ(parse(doc, text).rc, 0);
  xml_node* a = const_cast<xml_node*>(doc.document_element());
  xml_node* c = const_cast<xml_node*>(a->find_child("c"));
  xml_node_remove(a, c);
  EXPECT_EQ(a->count_children(), 2u);
  EXPECT_EQ(str(a->find_child("b")->next_sibling()->name()), "e");
  xml_node_free(c);
  xml_node_free(const_cast<xml_node*>(a->first_child()));  // b and its later sibling e
  EXPECT_EQ(a->first_node(), nullptr);
  const std::size_t bytes = doc.tree_bytes();
  const std::uint32_t before = xml_node_new(doc, XML_NODE_ELEMENT, -1)->sequence();
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(xml_node_new(doc, XML_NODE_ELEMENT, -1)->sequence(), before + 1 + i);
  EXPECT_EQ(doc.tree_bytes(), bytes);
  xml_doc_clear(doc);
  EXPECT_EQ(doc.root(), nullptr);
  EXPECT_EQ(doc.tree_bytes(), 0u);
}

// The text value readers take: an element's own text, or that of its CDATA sections.
TEST(XmlText, CdataSectionsAreTheTextOfTheirElement) {
  const std::string text =
      "<r a='x&amp;'>"
      "<plain>1 &lt; 2</plain>"
      "<only>\n  <![CDATA[a<b>&amp;\"c\"]]>\n</only>"
      "<two><![CDATA[x]]><!-- c --><![CDATA[y]]></two>"
      "<mixed>&lt;<![CDATA[&lt;]]> t <!-- c -->z</mixed>"
      "<quirk><![CDATA[a]]]>b]]></quirk>"
      "<blank> </blank>"
      "</r>";
  xml_doc doc;
  ASSERT_EQ(parse(doc, text).rc, 0);
  const xml_node* r = doc.document_element();
  std::string storage;
  const auto text_of = [&](const xml_node* n, bool decode) {
    xml_string out;
    const int kind = xml_node_text(*n, out, storage, decode);
    return std::pair(kind, str(out));
  };
  using result = std::pair<int, std::string>;
  EXPECT_EQ(text_of(r->find_child("plain"), true), result(XML_TEXT_PLAIN, "1 &lt; 2"));
  EXPECT_EQ(text_of(r->find_attribute("a"), true), result(XML_TEXT_PLAIN, "x&amp;"));
  EXPECT_EQ(text_of(r->find_child("blank"), true), result(XML_TEXT_PLAIN, ""));
  // A section with white space around it: its text, byte for byte, in place.
  xml_string only;
  ASSERT_EQ(xml_node_text(*r->find_child("only"), only, storage, true), XML_TEXT_FINAL);
  EXPECT_EQ(str(only), "a<b>&amp;\"c\"");
  EXPECT_GE(only.data(), doc.text().data());
  EXPECT_LT(only.data(), doc.text().data() + doc.text().size());
  EXPECT_EQ(text_of(r->find_child("two"), true), result(XML_TEXT_FINAL, "xy"));
  // Character data beside sections: decoded only outside them, comments left out.
  EXPECT_EQ(text_of(r->find_child("mixed"), true), result(XML_TEXT_FINAL, "<&lt; t z"));
  EXPECT_EQ(text_of(r->find_child("mixed"), false), result(XML_TEXT_FINAL, "&lt;&lt; t z"));
  // Three brackets do not end a section, as the parser reads it.
  EXPECT_EQ(text_of(r->find_child("quirk"), true), result(XML_TEXT_FINAL, "a]]]>b"));
  EXPECT_EQ(str(r->find_child("quirk")->first_node()->value()), "a]]]>b");

  const std::string bad = "<r>&#65<![CDATA[x]]></r>";
  ASSERT_EQ(parse(doc, bad).rc, 0);
  xml_string out;
  EXPECT_EQ(xml_node_text(*doc.document_element(), out, storage, true), -2);
  EXPECT_EQ(xml_node_text(*doc.document_element(), out, storage, false), XML_TEXT_FINAL);
  EXPECT_EQ(str(out), "&#65x");
}

TEST(XmlString, HtmlDecode) {
  struct {
    const char* in;
    int rc;
    const char* out;
  } cases[] = {
      {"&#x41;&#65;", 0, "AA"},
      {"&#65", -2, ""},
      {"&foo; & &amp &lt;&gt;&quot;&amp;&apos;", 0, "&foo; & &amp <>\"&'"},
      {"&#8364;&#x10FFFF;", 0, "\xE2\x82\xAC\xF4\x8F\xBF\xBF"},
      {"&#x110000;", -2, ""},
      {"&#99999999999999999999999;", -2, ""},
      {"&#X41;", -2, ""},
      {"a&#x0x41;", 0, "aA"},
      {"&#-1;", -2, ""},
      {"a&#0;b", -2, ""},
      {"&#x0;", -2, ""},
      {"&#x0x0;", -2, ""},
      {"&#00000;", -2, ""},
  };
  char out[64];
  for (const auto& c : cases) {
    EXPECT_EQ(xml_string_html_decode(c.in, out, sizeof out), c.rc) << c.in;
    if (c.rc == 0) {
      EXPECT_STREQ(out, c.out) << c.in;
    }
  }
  // Full output: what fitted is kept; a multi-byte character that does not fit is an error.
  EXPECT_EQ(xml_string_html_decode("abcdef", out, 4), -3);
  EXPECT_STREQ(out, "abc");
  EXPECT_EQ(xml_string_html_decode("abc", out, 4), 0);
  EXPECT_EQ(xml_string_html_decode("ab&#8364;", out, 4), -2);
  EXPECT_EQ(xml_string_html_decode("ab", nullptr, 4), -2);
  EXPECT_EQ(xml_string_html_decode("ab", out, 0), -2);
}

TEST(XmlString, Helpers) {
  EXPECT_LT(xml_string_compare("zz", "aaa"), 0);
  EXPECT_GT(xml_string_compare("ab", "aa"), 0);
  EXPECT_EQ(xml_string_compare(xml_string(), ""), 0);
  EXPECT_EQ(xml_string_compare_cstr("abc", "abc"), 0);
  EXPECT_GT(xml_string_compare("\xff", "a"), 0);
  EXPECT_TRUE(xml_string_is_true("true"));
  EXPECT_TRUE(xml_string_is_true("1"));
  EXPECT_FALSE(xml_string_is_true("True"));
  EXPECT_TRUE(xml_string_starts_with("ns=1;i=5", "ns="));
  EXPECT_TRUE(xml_string_has_entities("a&b"));
  xml_string s;
  xml_string_set(s, "abc", 2);
  EXPECT_EQ(str(s), "ab");
  EXPECT_TRUE(xml_string_is_empty(xml_string_from_cstr(nullptr)));
}

}  // namespace
}  // namespace vos
