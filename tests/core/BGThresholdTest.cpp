// The bilevel background threshold: the environment names a key root, and the
// user's settings file holds a percentage under the composed key.
#include <gtest/gtest.h>

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "Image/Core2DImage.h"

namespace {

namespace fs = std::filesystem;

class BGThresholdTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("c2d-threshold-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_ / "core2dimage");
    setenv("XDG_CONFIG_HOME", dir_.c_str(), 1);
    image_.reset(CImg32::create(1, 1, RGB_ORDER_BGR));
    ASSERT_NE(image_, nullptr);
  }
  void TearDown() override {
    unsetenv("QVX_REG_ROOT_COMMON_RETAINED");
    unsetenv("XDG_CONFIG_HOME");
    fs::remove_all(dir_);
  }
  void WriteSettings(const std::string &text) {
    std::ofstream(dir_ / "core2dimage" / "registry.ini") << text;
  }
  double Threshold() { return image_->get1BitBGThreshold(); }

  fs::path dir_;
  std::unique_ptr<CImg32> image_;
};

TEST_F(BGThresholdTest, DefaultWithoutRootOrSetting) {
  EXPECT_EQ(Threshold(), 0.55);
  setenv("QVX_REG_ROOT_COMMON_RETAINED", "", 1);
  WriteSettings("[\\Orvex2DViewer\\RasterData]\n1BitBGThreshold=40\n");
  EXPECT_EQ(Threshold(), 0.55);  // an empty root reads nothing
  setenv("QVX_REG_ROOT_COMMON_RETAINED", "Software\\Acme", 1);
  fs::remove(dir_ / "core2dimage" / "registry.ini");
  EXPECT_EQ(Threshold(), 0.55);  // no file
}

TEST_F(BGThresholdTest, ReadsThePercentageUnderTheComposedKey) {
  setenv("QVX_REG_ROOT_COMMON_RETAINED", "Software\\Acme", 1);
  WriteSettings(
      "; viewer settings\n"
      "[Other]\n1BitBGThreshold=10\n"
      "[Software\\Acme\\Orvex2DViewer\\RasterData]\n"
      "  1BitBGThreshold = 40 \n");
  EXPECT_DOUBLE_EQ(Threshold(), 0.40);
  WriteSettings("[Software\\Acme\\Orvex2DViewer\\RasterData]\n1BitBGThreshold=-250\n");
  EXPECT_DOUBLE_EQ(Threshold(), -2.5);  // taken as it is, sign and all
}

TEST_F(BGThresholdTest, ControlCharacterCutsTheRoot) {
  setenv("QVX_REG_ROOT_COMMON_RETAINED", "Root\x01Ignored", 1);
  WriteSettings("[Root\\Orvex2DViewer\\RasterData]\n1BitBGThreshold=70\n");
  EXPECT_DOUBLE_EQ(Threshold(), 0.70);
}

TEST_F(BGThresholdTest, LongRootIsCutAt1023Bytes) {
  const std::string root(1500, 'k');
  setenv("QVX_REG_ROOT_COMMON_RETAINED", root.c_str(), 1);
  WriteSettings("[" + root.substr(0, 1023) + "\\Orvex2DViewer\\RasterData]\n1BitBGThreshold=30\n");
  EXPECT_DOUBLE_EQ(Threshold(), 0.30);
}

TEST_F(BGThresholdTest, UnusableValuesKeepTheDefault) {
  setenv("QVX_REG_ROOT_COMMON_RETAINED", "R", 1);
  const char *bad[] = {"1BitBGThreshold=forty", "1BitBGThreshold=", "1BitBGThreshold=4.5",
                       "1BitBGThreshold=99999999999", "OtherName=40"};
  for (const char *line : bad) {
    SCOPED_TRACE(line);
    WriteSettings(std::string("[R\\Orvex2DViewer\\RasterData]\n") + line + "\n");
    EXPECT_EQ(Threshold(), 0.55);
  }
  WriteSettings("[r\\orvex2dviewer\\rasterdata]\n1BitBGThreshold=40\n");
  EXPECT_EQ(Threshold(), 0.55);  // the section name must match exactly
}

}  // namespace
