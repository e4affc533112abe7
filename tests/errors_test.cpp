#include "util/errors.h"

#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <regex>
#include <string>

#include "support/testutil.h"
#include "trace/trace.h"

namespace vos {
namespace {

namespace fs = std::filesystem;

TEST(ErrorLookup, NamesAtTheEdgesAndAroundTheGap) {
  EXPECT_STREQ(util_error_lookup(UA_EDETACH), "UA_EDETACH");
  EXPECT_STREQ(util_error_lookup(UA_EGOOD), "UA_EGOOD");
  EXPECT_STREQ(util_error_lookup(UA_EBADCERTIFICATINVALID), "UA_EBADCERTIFICATINVALID");
  EXPECT_STREQ(util_error_lookup(-39), "UA_EBADSERVICERESPONSE");
  EXPECT_STREQ(util_error_lookup(-41), "UA_EBADREFEXISTS");
  EXPECT_STREQ(util_error_lookup(UA_EBADCERTIFICATEURIINVALID), "UA_EBADCERTIFICATEURIINVALID");
}

TEST(ErrorLookup, UnknownCodesWriteOneTraceLineEach) {
  test::TempDir dir;
  const fs::path here = fs::current_path();
  fs::current_path(dir.path());
  {
    test::CaptureFd out(1);
    ASSERT_EQ(trace_start(TRACE_LEVEL_ERROR, TRACE_COMPONENT_ALL), 0);
  }
  test::CaptureFd err(2);
  for (int code : {3, -40, -49, INT_MIN, INT_MAX})
    EXPECT_STREQ(util_error_lookup(code), "<invalid errorcode>") << code;
  trace_close();
  fs::current_path(here);

  const std::string expected_text =
      "util_error_lookup: errorcode=3: not in table\n"
      "util_error_lookup: errorcode=-40: not in table\n"
      "util_error_lookup: errorcode=-49: not in table\n"
      "util_error_lookup: errorcode=-2147483648: not in table\n"
      "util_error_lookup: errorcode=2147483647: not in table\n";
  EXPECT_EQ(err.finish(), expected_text);

  // In the file each line carries the ERROR prefix and the component of the full mask.
  const std::string file = test::read_file(dir / "log.1.txt");
  const std::regex prefix(R"(E\|22\|[A-Z][a-z]{2} \d\d \d\d:\d\d:\d\d\.\d{6}\| )");
  EXPECT_EQ(std::regex_replace(file, prefix, ""), expected_text);
}

}  // namespace
}  // namespace vos
