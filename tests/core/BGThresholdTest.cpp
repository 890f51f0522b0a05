// The bilevel background threshold: the environment names a key root, and the
// user's settings file holds a percentage under the composed key.
#include <gtest/gtest.h>

#include <string>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

TEST(BGThresholdTest, RootFileSectionAndValueEachDecide) {
  c2d_test::ScopedSettings settings;
  c2d_test::ImgPtr<CImg32> image(CImg32::create(1, 1, RGB_ORDER_BGR));
  const std::string longRoot(1500, 'k');
  const std::string longFile =
      "[" + longRoot.substr(0, 1023) + "\\Orvex2DViewer\\RasterData]\n1BitBGThreshold=30\n";
  const std::string kR = "[R\\Orvex2DViewer\\RasterData]\n";
  struct Case {
    const char *name;
    const char *root;  // null: unset
    std::string file;  // empty: no file
    double expected;
  };
  const Case cases[] = {
      {"no root", nullptr, kR + "1BitBGThreshold=40\n", 0.55},
      {"empty root", "", "[\\Orvex2DViewer\\RasterData]\n1BitBGThreshold=40\n", 0.55},
      {"no file", "R", "", 0.55},
      {"composed key, first section passed over", "Software\\Acme",
       "; viewer settings\n[Other]\n1BitBGThreshold=10\n"
       "[Software\\Acme\\Orvex2DViewer\\RasterData]\n  1BitBGThreshold = 40 \n",
       0.40},
      {"taken with its sign", "R", kR + "1BitBGThreshold=-250\n", -2.5},
      {"a control character cuts the root", "R\x01Ignored", kR + "1BitBGThreshold=70\n", 0.70},
      {"the root is cut at 1023 bytes", longRoot.c_str(), longFile, 0.30},
      {"not a number", "R", kR + "1BitBGThreshold=forty\n", 0.55},
      {"not whole", "R", kR + "1BitBGThreshold=4.5\n", 0.55},
      {"beyond 32 bits", "R", kR + "1BitBGThreshold=99999999999\n", 0.55},
      {"the section must match exactly", "R",
       "[r\\orvex2dviewer\\rasterdata]\n1BitBGThreshold=40\n", 0.55},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    settings.write(c.root, c.file.empty() ? nullptr : c.file.c_str());
    EXPECT_DOUBLE_EQ(image->get1BitBGThreshold(), c.expected);
  }
}

}  // namespace
