// End-to-end tests of c2dimg's answers on files and outputs that a first run meets:
// huge headers, read-only outputs, signals, turned TIFF pages and cut-short files.
#include <gtest/gtest.h>

#include <string>

#include "ToolTestSupport.h"

namespace {

using namespace c2dtest;

// A header that declares more pixels than the limit is refused before the pixels are
// read: info gives the size it declares, and --max-pixels moves the limit.
TEST_F(C2dimgTool, RefusesPagesAboveThePixelLimitFromTheHeader) {
  WritePngFile(path("small.png"), Colours(20, 20), false);
  WriteText(path("huge.png"), WithPngSize(Slurp(path("small.png")), 30000, 30000));
  const Outcome huge = run({"info", path("huge.png")});
  EXPECT_EQ(huge.status, 2);
  EXPECT_NE(huge.out.find("30000 x 30000 pixels"), std::string::npos) << huge.out;
  EXPECT_NE(huge.err.find("--max-pixels"), std::string::npos) << huge.err;
  const struct {
    const char *limit;
    int status;
  } cases[] = {{"399", 2}, {"400", 0}};
  for (const auto &c : cases) {
    const Outcome outcome = run({"info", path("small.png"), "--max-pixels", c.limit});
    EXPECT_EQ(outcome.status, c.status) << c.limit << outcome.err;
  }
}

}  // namespace
