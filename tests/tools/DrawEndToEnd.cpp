// End-to-end tests of c2dimg draw: shapes land where they should, and a bilevel page
// stays bilevel for lines and turns into colour for shapes, saying so.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "ToolTestSupport.h"

namespace {

using namespace c2dtest;

TEST_F(C2dimgTool, DrawPutsShapesWhereTheyBelong) {
  WritePngFile(path("page.png"), Image(60, 50), false);
  ok({"draw", path("page.png"), "-o", path("ring.png"), "--stroke", "FF0000", "--circle",
      "30,25,10", "--fill", "0000FF", "--circle", "8,8,3", "--rect", "45,40,70,70"});
  // Where each shape is is the library's to prove; here each lands and is clipped.
  const Image got = ReadBack(path("ring.png"));
  const std::pair<std::array<uint32_t, 2>, uint32_t> spots[] = {
      {{40, 25}, 0xFF0000}, {{30, 25}, kWhite},   {{8, 8}, 0x0000FF},
      {{45, 45}, 0xFF0000}, {{50, 45}, 0x0000FF}, {{59, 49}, kWhite}};
  for (const auto &[at, colour] : spots) {
    EXPECT_EQ(got.at(at[0], at[1]), colour) << at[0] << "," << at[1];
  }

  // A bilevel page keeps its kind for a black line; a circle turns it into colour.
  WritePbm(path("page.pbm"), Image(40, 30), false);
  const Outcome line =
      run({"draw", path("page.pbm"), "-o", path("line.png"), "--line", "2,3,20,9"});
  ASSERT_EQ(line.status, 0) << line.err;
  EXPECT_NE(line.out.find("bilevel"), std::string::npos) << line.out;
  const Image lined = ReadBack(path("line.png"));
  EXPECT_TRUE(lined.black(2, 3) && lined.black(20, 9) && !lined.black(20, 3));
  const Outcome circle = run({"draw", path("page.pbm"), "-o", path("circle.png"), "--circle",
                              "20,15,6", "--line", "0,0,39,29"});
  ASSERT_EQ(circle.status, 0) << circle.err;
  EXPECT_NE(circle.out.find("draws no --circle, so it is drawn on in 32-bit colour"),
            std::string::npos)
      << circle.out;
  EXPECT_EQ(ReadBack(path("circle.png")).at(26, 15), kBlack);
  EXPECT_EQ(run({"draw", path("page.pbm"), "-o", path("x.png"), "--line", "0,0,40,3"}).status, 1);
}

}  // namespace
