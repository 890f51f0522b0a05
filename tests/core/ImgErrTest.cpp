// CImgErr: the registry counts every report, success included, and keeps the last.
#include <gtest/gtest.h>

#include "Image/Core2DImage.h"

namespace {

char kFile[] = "test";

TEST(CImgErrTest, CountsEverySetAndKeepsTheLastCode) {
  const uint32_t before = CImgErr::sm_errtotal;
  CImgErr::set(IMG_FAIL, kFile, 1);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);  // reading does not clear
  CImgErr::set(IMG_OK, kFile, 1);
  EXPECT_EQ(CImgErr::get(), IMG_OK);
  EXPECT_EQ(CImgErr::setr(IMG_DECODE_FAILED, kFile, 2), IMG_DECODE_FAILED);
  EXPECT_EQ(CImgErr::sm_errcode, IMG_DECODE_FAILED);
  EXPECT_EQ(CImgErr::sm_errtotal, before + 3);
}

TEST(CImgErrTest, CodesAreTheComValues) {
  EXPECT_EQ(static_cast<uint32_t>(IMG_OK), 0u);
  EXPECT_EQ(static_cast<uint32_t>(IMG_FALSE), 1u);
  EXPECT_EQ(static_cast<uint32_t>(IMG_FAIL), 0x80004005u);
  EXPECT_EQ(static_cast<uint32_t>(IMG_OUT_OF_MEMORY), 0x8007000Eu);
  EXPECT_EQ(static_cast<uint32_t>(IMG_INVALID_ARG), 0x80070057u);
  EXPECT_EQ(static_cast<uint32_t>(IMG_DECODE_FAILED), 0x87004005u);
  EXPECT_LT(IMG_FAIL, 0);  // failures are negative as signed values
  EXPECT_EQ(sizeof(ImgErr), 4u);
}

}  // namespace
