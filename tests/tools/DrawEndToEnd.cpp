// End-to-end tests of c2dimg draw: shapes land where they should, and a bilevel page
// stays bilevel for lines and turns into colour for shapes, saying so.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "ToolTestSupport.h"

namespace {

using namespace c2dtest;

TEST_F(C2dimgTool, DrawPutsShapesWhereTheyBelong) {
  WritePngFile(path("page.png"), Image(60, 50), false);
  ok({"draw", path("page.png"), "-o", path("ring.png"), "--stroke", "FF0000", "--circle",
      "30,25,10", "--fill", "0000FF", "--circle", "8,8,3", "--rect", "45,40,70,70"});
  const Image got = ReadBack(path("ring.png"));
  ASSERT_EQ(got.w, 60u);
  uint32_t red = 0;
  for (uint32_t y = 0; y < got.h; ++y) {
    for (uint32_t x = 0; x < got.w; ++x) {
      const uint32_t c = got.at(x, y);
      if (x < 20 && y < 20) {  // the small filled circle
        EXPECT_EQ(c, std::hypot(x - 8.0, y - 8.0) < 2.5 ? 0x0000FFu : c) << x << "," << y;
      } else if (x >= 45 && y >= 40) {  // clipped short of the last column and row
        EXPECT_EQ(c, x == 59 || y == 49                         ? kWhite
                     : x == 45 || y == 40 || x == 58 || y == 48 ? 0xFF0000u
                                                                : 0x0000FFu)
            << x << "," << y;
      } else if (c == 0xFF0000u) {  // the ring, within a pixel of its circle
        ++red;
        EXPECT_LT(std::fabs(std::hypot(x - 30.0, y - 25.0) - 10.0), 1.0) << x << "," << y;
      } else {
        EXPECT_EQ(c, kWhite) << x << "," << y;
      }
    }
  }
  EXPECT_GT(red, 50u);
  for (const auto &[x, y] : {std::pair{40, 25}, {20, 25}, {30, 15}, {30, 35}}) {
    EXPECT_EQ(got.at(x, y), 0xFF0000u) << x << "," << y;
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
