// CImgErr: the registry counts every report, success included, and keeps the last;
// the codes are the values hosts compare against.
#include <gtest/gtest.h>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

TEST(CImgErrTest, CountsEverySetAndKeepsTheLastCode) {
  char file[] = "test";
  c2d_test::ErrWatch watch;
  CImgErr::set(IMG_OK, file, 1);
  EXPECT_EQ(CImgErr::setr(IMG_DECODE_FAILED, file, 2), IMG_DECODE_FAILED);
  EXPECT_EQ(CImgErr::get(), IMG_DECODE_FAILED);
  EXPECT_EQ(watch.reports(), 2u);  // success counts too

  const ImgErr codes[] = {IMG_OK,          IMG_FALSE,        IMG_FAIL, IMG_OUT_OF_MEMORY,
                          IMG_INVALID_ARG, IMG_DECODE_FAILED};
  const uint32_t values[] = {0, 1, 0x80004005u, 0x8007000Eu, 0x80070057u, 0x87004005u};
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(static_cast<uint32_t>(codes[i]), values[i]) << i;
  }
}

}  // namespace
