// ColorMap: entries start at zero, copies are deep; and the byte-order query.
#include <gtest/gtest.h>

#include "Image/Core2DImage.h"

namespace {

TEST(ColorMapTest, CopiesAreDeep) {
  ColorMap map(256, 255);
  ASSERT_EQ(map.numEntries, 256);
  EXPECT_EQ(map.getMaxValue(), 255);
  EXPECT_EQ(map.entries[255].blue, 0);
  map.entries[10] = {10, 20, 30};

  ColorMap copy(map);
  EXPECT_NE(copy.entries, map.entries);
  EXPECT_EQ(copy.entries[10].green, 20);
  map.entries[10].green = 99;
  EXPECT_EQ(copy.entries[10].green, 20);

  ColorMap assigned(1, 1);
  assigned = map;
  EXPECT_EQ(assigned.numEntries, 256);
  EXPECT_EQ(assigned.entries[10].green, 99);

  // Entries are read as three consecutive 32-bit integers.
  const int32_t *raw = &map.entries[0].red;
  EXPECT_EQ(raw[10 * 3 + 2], 30);

  ColorMap empty(-5, 255);
  EXPECT_EQ(empty.numEntries, 0);
  EXPECT_EQ(empty.entries, nullptr);
}

TEST(Util2dTest, LittleEndianQueryMatchesTheMachine) {
  const uint16_t word = 0x0102;
  const auto *bytes = reinterpret_cast<const unsigned char *>(&word);
  EXPECT_EQ(utl_is_little_endian(), bytes[0] == 0x02 ? 1 : 0);
}

}  // namespace
