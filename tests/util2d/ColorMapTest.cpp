// ColorMap: entries start at zero and are read as int32 triples, copies are deep.
#include <gtest/gtest.h>

#include "Image/Core2DImage.h"

namespace {

TEST(ColorMapTest, CopiesAreDeep) {
  ColorMap map(256, 255);
  EXPECT_EQ(map.entries[255].blue, 0);
  map.entries[10] = {10, 20, 30};
  EXPECT_EQ((&map.entries[0].red)[10 * 3 + 2], 30);  // three consecutive int32 a entry

  ColorMap copy(map);
  ColorMap assigned(1, 1);
  assigned = map;
  map.entries[10].green = 99;
  for (const ColorMap *other : {&copy, &assigned}) {
    EXPECT_EQ(other->entries[10].green, 20);
  }

  ColorMap empty(-5, 255);
  EXPECT_EQ(empty.numEntries, 0);
  EXPECT_EQ(empty.entries, nullptr);
}

}  // namespace
