// Grey mappings: worked examples, the shape of the curve tables, the switch to the
// linear table, its wrapped products, and the null results.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes Mapping(unsigned n, unsigned invert) {
  unsigned char *table = nullptr;
  CreateGreyMapping(n, &table, invert);
  if (table == nullptr) {
    ADD_FAILURE() << "no table for " << n;
    return {};
  }
  Bytes values(table, table + n);
  std::free(table);
  return values;
}

// The stretches of equal values, in order, as (value, length).
std::vector<std::pair<int, unsigned>> Stretches(const Bytes &values) {
  std::vector<std::pair<int, unsigned>> stretches;
  for (size_t i = 0; i < values.size(); ++i) {
    if (i == 0 || values[i] != values[i - 1]) {
      stretches.emplace_back(values[i], 0);
    }
    ++stretches.back().second;
  }
  return stretches;
}

TEST(GreyMappingTest, SmallTablesAndTheLightEndOfTheCurve) {
  EXPECT_EQ(Mapping(1, 0), Bytes{255});
  EXPECT_EQ(Mapping(1, 1), Bytes{0});
  EXPECT_EQ(Mapping(2, 0), (Bytes{255, 0}));
  EXPECT_EQ(Mapping(2, 1), (Bytes{0, 255}));
  EXPECT_EQ(Mapping(3, 0), (Bytes{255, 28, 0}));  // (3667 * 7.5e-5)^2 * 382.5 = 28.9
  // The curve saturates: the lightest 114 counts of 10999 are white, the middle one
  // is (5500 * 7.5e-5)^2 * 382.5 = 65.
  const Bytes table = Mapping(10999, 0);
  EXPECT_EQ(Bytes(table.begin(), table.begin() + 115), [] {
    Bytes light(114, 255);
    light.push_back(254);
    return light;
  }());
  EXPECT_EQ(table[5499], 65);
}

// From 11000 entries the counts are spread evenly, 42 or 43 per level. Not inverted,
// the run of level 0 is never written and reads 0 from the zeroed block. From 2^24
// entries n << 8 wraps; the walk stays in the table and the end entry is forced.
TEST(GreyMappingTest, LinearTablesFrom11000) {
  for (unsigned invert : {0u, 1u}) {
    SCOPED_TRACE(invert);
    const Bytes table = Mapping(11000, invert);
    const auto stretches = Stretches(table);
    ASSERT_EQ(stretches.size(), 256u);
    for (int i = 0; i < 256; ++i) {
      ASSERT_EQ(stretches[i].first, invert ? i : 255 - i);
      ASSERT_TRUE(stretches[i].second == 42 || stretches[i].second == 43) << i;
    }
    EXPECT_EQ(table[5500], invert ? 128 : 127);  // not the curve's 65

    const Bytes wrapped = Mapping((1u << 24) + 1, invert);
    EXPECT_EQ(wrapped.front(), invert ? 0 : 255);
    EXPECT_EQ(wrapped.back(), invert ? 255 : 0);
    EXPECT_EQ(Stretches(wrapped).size(), 256u);
  }
}

}  // namespace
