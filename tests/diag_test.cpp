#include "diag/diag.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/testutil.h"
#include "util/xml.h"

namespace vos {
namespace {

class Diag : public ::testing::Test {
 protected:
  void SetUp() override {
    suppress_clear();
    diag_set_verbosity(2);
  }
  void TearDown() override {
    suppress_clear();
    diag_set_verbosity(2);
  }

  // Parses `text_` under the file name "model.xml".
  const xml_node* load(std::string text) {
    text_ = std::move(text);
    EXPECT_EQ(xml_doc_parse_buffer(text_.data(), text_.size(), doc_, "model.xml"), 0);
    return doc_.document_element();
  }

  std::string text_;
  xml_doc doc_;
};

// All four printers once, with the given element.
std::string print_all(const xml_node* element) {
  test::CaptureFd capture(2);
  diag_error(VOS_HERE, "op", "plain %d\n", 1);
  diag_error_at(4005, VOS_HERE, "op", element, "Invalid nodeid\n");
  diag_warning_at(1003, VOS_HERE, "op", element, "blanks %s\n", "removed");
  diag_debug_at(VOS_HERE, "op", element, "debug %u\n", 7u);
  return capture.finish();
}

TEST_F(Diag, PrintersFollowTheVerbosity) {
  const xml_node* b = load("<a>\n  <b x='1'/>\n</a>")->first_child();
  const std::string where =
      "xml location info: The XML element at model.xml:2:3 is causing this problem:\n"
      "  <b x='1'/>\n"
      "  ^\n";
  const std::string error = "error: plain 1\n";
  const std::string error_at = "error 4005: Invalid nodeid\n" + where;
  const std::string warning = "warning 1003: blanks removed\n" + where;
  const std::string debug = "debug: debug 7\n" + where;

  const struct {
    std::uint32_t level;
    std::string expected;
  } levels[] = {
      {0, ""},
      {1, error + error_at},
      {2, error + error_at + warning},
      {3, error + error_at + warning},
      {4, error + error_at + warning + debug},
      // 2 + 0 -v - 3 -q wraps to the largest value: everything prints.
      {static_cast<std::uint32_t>(2 - 3), error + error_at + warning + debug},
  };
  for (const auto& l : levels) {
    diag_set_verbosity(l.level);
    EXPECT_EQ(print_all(b), l.expected) << l.level;
  }

  // Without an element there is no location block; without the reporter's place, the
  // operation or the format nothing is printed.
  diag_set_verbosity(4);
  test::CaptureFd capture(2);
  diag_warning_at(1001, VOS_HERE, "op", nullptr, "no element\n");
  diag_error(nullptr, 1, "op", "x\n");
  diag_error_at(4000, "f.cpp", 1, nullptr, b, "x\n");
  diag_debug_at("f.cpp", 1, "op", b, nullptr);
  EXPECT_EQ(capture.finish(), "warning 1001: no element\n");
}

TEST_F(Diag, LocationBlockColumns) {
  const std::string long_tail(200, 'z');
  // b at column 159, c at 160 and d on a line longer than 160 characters.
  const xml_node* a = load("<a>\n" + std::string(158, ' ') + "<b/>\n" + std::string(159, ' ') +
                           "<c/>\n<d/>" + long_tail + "\n</a>");
  auto location_of = [&](const char* name) {
    test::CaptureFd capture(2);
    diag_error_at(4006, VOS_HERE, "op", a->find_child(name), "m\n");
    const std::string out = capture.finish();
    return out.substr(out.find("problem:\n") + 9);
  };
  EXPECT_EQ(location_of("b"), std::string(158, ' ') + "<b\n" + std::string(158, ' ') + "^\n");
  EXPECT_EQ(location_of("c"), "line too long for annotated location info\n");
  EXPECT_EQ(location_of("d"), "<d/>" + long_tail.substr(0, 156) + "\n^\n");
}

TEST_F(Diag, LocationBlockStaysInsideTheDocument) {
  // The last line has no line feed: it is shown up to the end of the text only; a NUL
  // byte ends it early.
  std::string text = "<a>text</a>";
  xml_doc doc;
  ASSERT_EQ(xml_doc_parse_buffer(text.data(), text.size(), doc), 0);
  test::CaptureFd capture(2);
  diag_error_at(4006, VOS_HERE, "op", doc.document_element(), "m\n");
  EXPECT_EQ(capture.finish(),
            "error 4006: m\n"
            "xml location info: The XML element at buffer:1:1 is causing this problem:\n"
            "<a>text</a>\n"
            "^\n");
  // Input ends at a NUL byte; the line is printed as a C string and ends there too.
  std::string with_nul("<a/>\0xx\n", 8);
  xml_doc doc2;
  ASSERT_EQ(xml_doc_parse_buffer(with_nul.data(), with_nul.size(), doc2), 0);
  test::CaptureFd capture2(2);
  diag_error_at(4006, VOS_HERE, "op", doc2.document_element(), "m\n");
  const std::string out = capture2.finish();
  EXPECT_EQ(out.substr(out.find("problem:\n") + 9), "<a/>\n^\n");
}

TEST_F(Diag, SuppressionByPlaceAndNumber) {
  const xml_node* a = load("<a>\n<b/>\n<c/>\n</a>");
  const xml_node* b = a->find_child("b");
  const xml_node* c = a->find_child("c");
  auto shown = [](const xml_node* element, int number) {
    test::CaptureFd capture(2);
    diag_warning_at(number, VOS_HERE, "op", element, "w\n");
    return !capture.finish().empty();
  };
  suppress_add("model.xml", 2, 1006);
  suppress_add(nullptr, 0, 1007);
  EXPECT_FALSE(shown(b, 1006));
  EXPECT_TRUE(shown(c, 1006));
  EXPECT_FALSE(shown(c, 1007));
  EXPECT_TRUE(shown(nullptr, 1007));  // without an element nothing is checked
  EXPECT_TRUE(suppress_is_suppressed("model.xml", 2, 1006));
  EXPECT_FALSE(suppress_is_suppressed("model.xm", 2, 1006));
  EXPECT_FALSE(suppress_is_suppressed("model.xml", 2, 1005));
  EXPECT_TRUE(suppress_is_suppressed("other.xml", 99, 1007));
}

TEST_F(Diag, RecordingWriteAndLoad) {
  const xml_node* a = load("<a>\n<b/>\n<c/>\n</a>");
  const xml_node* b = a->find_child("b");
  const xml_node* c = a->find_child("c");
  test::TempDir dir;
  const std::string file = (dir / "warnings.txt").string();

  // With -q warnings are not shown but still recorded; each place is recorded once.
  diag_record_warnings();
  diag_set_verbosity(1);
  test::CaptureFd capture(2);
  diag_warning_at(1004, VOS_HERE, "op", c, "w\n");
  diag_warning_at(1004, VOS_HERE, "op", b, "w\n");
  diag_warning_at(1004, VOS_HERE, "op", b, "w\n");
  diag_warning_at(1001, VOS_HERE, "op", nullptr, "w\n");
  suppress_add("a:b.xml", 7, 1002);
  EXPECT_EQ(capture.finish(), "");
  ASSERT_EQ(suppress_write(file.c_str()), 0);
  const std::string written =
      "# vospack/vosgen warnings suppression file\n"
      "# <warning>:<file>:<lineno>\n"
      "1002:a:b.xml:7\n"
      "1004:model.xml:2\n"
      "1004:model.xml:3\n";
  EXPECT_EQ(test::read_file(file), written);

  // Loading it back and recording into the same file keeps one entry a place; the name
  // with a ':' does not survive.
  suppress_clear();
  ASSERT_EQ(suppress_load(file.c_str()), 0);
  EXPECT_TRUE(suppress_is_suppressed("model.xml", 3, 1004));
  EXPECT_FALSE(suppress_is_suppressed("a:b.xml", 7, 1002));
  EXPECT_TRUE(suppress_is_suppressed("a", 0, 1002));
  diag_record_warnings();
  diag_warning_at(1004, VOS_HERE, "op", b, "w\n");
  ASSERT_EQ(suppress_write(file.c_str()), 0);
  EXPECT_EQ(test::read_file(file),
            "# vospack/vosgen warnings suppression file\n"
            "# <warning>:<file>:<lineno>\n"
            "1002:a:0\n"
            "1004:model.xml:2\n"
            "1004:model.xml:3\n");

  EXPECT_EQ(suppress_load((dir / "missing").string().c_str()), -1);
  EXPECT_EQ(suppress_write((dir / "no" / "such").string().c_str()), -1);
}

TEST_F(Diag, LoadFileFormat) {
  test::TempDir dir;
  const std::string file = (dir / "s.txt").string();
  test::write_file(file,
                   "#1005:*\n"
                   "1007:*\n"
                   "::1001:model.xml::5:extra\n"
                   "bad:model.xml:6\n"
                   "1003\n"
                   "1002:model.xml\n"
                   "1006:model.xml:12");  // no final line feed: line 12 becomes 1
  ASSERT_EQ(suppress_load(file.c_str()), 0);
  EXPECT_FALSE(suppress_is_suppressed("x", 1, 1005));
  EXPECT_TRUE(suppress_is_suppressed("x", 1, 1007));
  EXPECT_TRUE(suppress_is_suppressed("model.xml", 5, 1001));
  EXPECT_TRUE(suppress_is_suppressed("model.xml", 6, 0));
  EXPECT_FALSE(suppress_is_suppressed("model.xml", 12, 1006));
  EXPECT_TRUE(suppress_is_suppressed("model.xml", 1, 1006));
  ASSERT_EQ(suppress_write(file.c_str()), 0);
  EXPECT_EQ(test::read_file(file),
            "# vospack/vosgen warnings suppression file\n"
            "# <warning>:<file>:<lineno>\n"
            "0:model.xml:6\n"
            "1001:model.xml:5\n"
            "1006:model.xml:1\n");
}

}  // namespace
}  // namespace vos
