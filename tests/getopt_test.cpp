#include "util/getopt.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/testutil.h"

namespace {

using vos::test::CaptureFd;

// One scan over `args` (argv[0] included); records (letter, optarg) until -1.
struct Scan {
  std::vector<std::pair<int, std::string>> seen;
  int first_operand = 0;
  std::string err;
};

Scan scan(std::vector<std::string> args, const char* optstring) {
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  Scan s;
  CaptureFd err(2);
  vos::getopt_reset();
  for (int c; (c = vos::getopt(static_cast<int>(args.size()), argv.data(), optstring)) != -1;) {
    s.seen.emplace_back(c, vos::optarg ? vos::optarg : "<none>");
    if (s.seen.size() > 20) break;
  }
  s.first_operand = vos::optind;
  s.err = err.finish();
  return s;
}

using Seen = std::vector<std::pair<int, std::string>>;

TEST(Getopt, ClustersAndAttachedArguments) {
  Scan s = scan({"vospack", "-vq", "-i2:ns:12", "-o", "-v", "model.xml"}, "+vqi:o:");
  EXPECT_EQ(s.seen, (Seen{{'v', "<none>"}, {'q', "<none>"}, {'i', "2:ns:12"}, {'o', "-v"}}));
  EXPECT_EQ(s.first_operand, 5);
  EXPECT_EQ(s.err, "");
}

TEST(Getopt, PlusStopsAtFirstOperandAndDoubleDashEnds) {
  Scan plus = scan({"vospack", "-v", "file.xml", "-q"}, "+vq");
  EXPECT_EQ(plus.seen, (Seen{{'v', "<none>"}}));
  EXPECT_EQ(plus.first_operand, 2);

  Scan dashes = scan({"vospack", "-v", "--", "-q"}, "+vq");
  EXPECT_EQ(dashes.seen, (Seen{{'v', "<none>"}}));
  EXPECT_EQ(dashes.first_operand, 3);
}

TEST(Getopt, OperandsWithoutPlusAreSkippedAndWithMinusReturned) {
  Scan skip = scan({"prog", "a.xml", "-v", "b.xml"}, "vq");
  EXPECT_EQ(skip.seen, (Seen{{'v', "<none>"}}));
  EXPECT_EQ(skip.first_operand, 4);

  Scan ret = scan({"prog", "a.xml", "-v"}, "-vq");
  EXPECT_EQ(ret.seen, (Seen{{1, "a.xml"}, {'v', "<none>"}}));
}

TEST(Getopt, ErrorsPrintTheirMessages) {
  Scan unknown = scan({"./vospack", "-z"}, "+vo:");
  EXPECT_EQ(unknown.seen, (Seen{{'?', "<none>"}}));
  EXPECT_EQ(unknown.err, "./vospack: unknown option -z\n");

  Scan colon = scan({"vospack", "-:"}, "+vo:");
  EXPECT_EQ(colon.err, "vospack: unknown option -:\n");

  Scan missing = scan({"vospack", "-v", "-o"}, "+vo:");
  EXPECT_EQ(missing.seen, (Seen{{'v', "<none>"}, {'?', "<none>"}}));
  EXPECT_EQ(missing.err, "vospack: -o argument missing\n");
}

TEST(Getopt, LoneDashIsLetterZero) {
  Scan s = scan({"vospack", "-", "-v"}, "+v");
  EXPECT_EQ(s.seen, (Seen{{0, "<none>"}, {'v', "<none>"}}));
  EXPECT_EQ(s.err, "");
}

}  // namespace
