// The scalers' tables: Rothstein codes and run tables (worked examples, the makers
// against the code and each other over a grid of sizes, wrapped 32-bit products, zero
// sizes) and grey mappings (worked examples, the curve, the linear table).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using Vec = std::vector<unsigned>;
using Bytes = std::vector<unsigned char>;

Vec V(const unsigned *table, unsigned n) { return Vec(table, table + n); }

void FreeAll(std::initializer_list<void *> tables) {
  for (void *table : tables) {
    std::free(table);
  }
}

std::string CodeMarks(unsigned n, unsigned m) {
  rothstein_code_struct *code = nullptr;
  getRothsteinArray(n, m, &code);
  std::string marks;
  for (unsigned i = 0; i < n; ++i) {
    marks += code[i].code != 0 ? '1' : '0';
  }
  std::free(code);
  return marks;
}

// Walks a run table as the scalers do and returns its run lengths. Fails the test if
// a run is 0 or leaves the table, or an entry inside a run is not 0.
Vec Runs(const unsigned *table, unsigned len) {
  Vec runs;
  for (unsigned p = 0; p < len; p += runs.back()) {
    if (table[p] == 0 || table[p] > len - p ||
        std::any_of(table + p + 1, table + p + table[p], [](unsigned v) { return v != 0; })) {
      ADD_FAILURE() << "bad run at " << p << " of " << len;
      break;
    }
    runs.push_back(table[p]);
  }
  return runs;
}

std::string RunMarks(const unsigned *table, unsigned len) {
  std::string marks(len, '0');
  for (unsigned p = 0; p < len && table[p] != 0; p += table[p]) {
    marks[p] = '1';
  }
  return marks;
}

TEST(RothsteinTest, ListFormIsARingWithMarksAtPeriodEnds) {
  const struct {
    unsigned n, m;
    const char *marks;
  } cases[] = {{4, 2, "0101"}, {5, 2, "00101"}, {1, 1, "1"}, {6, 1, "000001"}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.marks);
    rothstein_code_struct *head = nullptr;
    getRothsteinList(c.n, c.m, &head);
    ASSERT_NE(head, nullptr);
    std::string marks;
    const rothstein_code_struct *node = head;
    for (unsigned k = 0; k < c.n; ++k, node = node->next) {
      marks += node->code != 0 ? '1' : '0';
      EXPECT_EQ(node->next->prev, node);
    }
    EXPECT_EQ(node, head);
    EXPECT_EQ(marks, c.marks);
    DestroyRothsteinList(head);  // LeakSanitizer checks that every node went
  }
  rothstein_code_struct unset{};
  rothstein_code_struct *head = &unset;
  getRothsteinList(0, 3, &head);
  EXPECT_EQ(head, nullptr);
  DestroyRothsteinList(nullptr);
}

// The array form by example; then every maker over a grid of sizes without wrapped
// products: the runs follow the array form and are evenly spread, the makers agree on
// the runs they share, and the other tables name each column's run, target and bit.
TEST(RothsteinTest, RunTablesFollowTheCodeOverManySizes) {
  const struct {
    unsigned n, m;
    const char *marks;
  } codes[] = {{5, 2, "10010"},  {7, 3, "1001010"}, {4, 4, "1111"},
               {6, 1, "100000"}, {3, 5, "111"},     {4, 0, "1111"}};
  for (const auto &c : codes) {
    EXPECT_EQ(CodeMarks(c.n, c.m), c.marks);
  }
  for (unsigned len = 1; len <= 40; ++len) {
    for (unsigned weight = 0; weight <= len + 2; ++weight) {
      SCOPED_TRACE(std::to_string(len) + " " + std::to_string(weight));
      const unsigned other = len + 5;  // a second axis, so that axes cannot be swapped
      unsigned *rows, *cols, *e[5], *r[5], *q[5];
      Vec index(len, 0xDEADBEEF);
      CreateRothTables(&rows, &cols, len, other, weight, 2);
      CreateRothEnlargeTables(len, other, weight, 2, &e[0], &e[1], &e[2], &e[3], &e[4]);
      CreateRothReduceTables2(len, other, weight, 2, &r[0], &r[1], &r[2], &r[3], &r[4], index);
      CreateRothReduceTables(len, other, weight, 2, &q[0], &q[1], &q[2], &q[3], &q[4]);
      ASSERT_TRUE(cols != nullptr && e[4] != nullptr && r[4] != nullptr && q[4] != nullptr);
      EXPECT_EQ(RunMarks(cols, len), CodeMarks(len, weight));
      EXPECT_EQ(RunMarks(rows, other), CodeMarks(other, 2));
      for (unsigned *const *t : {e, r, q}) {
        EXPECT_EQ(V(t[0], other), V(rows, other));
        EXPECT_EQ(V(t[1], len), V(cols, len));
      }
      for (int k = 2; k < 5; ++k) {
        EXPECT_EQ(V(q[k], len), V(r[k], len)) << k;
      }

      const Vec runs = Runs(cols, len);
      if (weight >= 1 && weight <= len) {
        EXPECT_EQ(runs.size(), weight);
        const auto [shortest, longest] = std::minmax_element(runs.begin(), runs.end());
        EXPECT_EQ(*shortest, len / weight);
        EXPECT_LE(*longest, *shortest + 1);
      } else {
        EXPECT_EQ(runs, Vec(len, 1));  // a zero short side marks every position
      }
      // With no target columns every run feeds column 0; no source column names none.
      const unsigned lastTarget = std::max(weight, 1u) - 1;
      EXPECT_EQ(e[2][0], 0u);
      for (unsigned x = 0, start = 0, run = 0; x < len; ++x) {
        if (x == start + cols[start]) {
          start = x;
          ++run;
        }
        if (x == start && run < weight) {
          ASSERT_EQ(e[2][run], start);
        }
        ASSERT_EQ(e[3][x] * 8 + 7 - e[4][x], x);
        const unsigned target = std::min(run, lastTarget);
        ASSERT_EQ(r[2][x], start) << x;
        ASSERT_EQ(r[3][x] * 8 + 7 - r[4][x], target) << x;
        ASSERT_EQ(index[x], target) << x;
      }
      FreeAll({rows, cols, e[0], e[1], e[2], e[3], e[4], r[0], r[1], r[2], r[3], r[4], q[0], q[1],
               q[2], q[3], q[4]});
    }
  }
}

// 189332 * 170812 passes 2^32. The exact maker gives 170812 runs; the 32-bit makers
// follow them for 12017 runs (13320 columns), then one run takes the remaining 176012
// columns. That result is kept, and every entry stays inside its table.
TEST(RothsteinTest, WrappedProductsStayInsideTheirTables) {
  const unsigned len = 189332;
  const unsigned weight = 170812;
  unsigned *rows, *exact, *r[5], *e[5];
  Vec index(len);
  CreateRothTables(&rows, &exact, len, 1, weight, 1);
  CreateRothReduceTables2(len, len, weight, weight, &r[0], &r[1], &r[2], &r[3], &r[4], index);
  CreateRothEnlargeTables(len, 1, weight, 1, &e[0], &e[1], &e[2], &e[3], &e[4]);
  ASSERT_TRUE(exact != nullptr && r[4] != nullptr && e[4] != nullptr);
  EXPECT_EQ(Runs(exact, len).size(), weight);
  const Vec runs = Runs(r[1], len);
  ASSERT_EQ(runs.size(), 12018u);
  EXPECT_EQ(runs.back(), 176012u);
  EXPECT_EQ(V(r[0], len), V(r[1], len));
  EXPECT_EQ(V(r[1], 13320), V(exact, 13320));
  EXPECT_EQ(r[2][len - 1], 13320u);
  EXPECT_EQ(index[len - 1], 12017u);
  EXPECT_EQ(r[3][len - 1] * 8 + 7 - r[4][len - 1], 12017u);
  EXPECT_EQ(V(e[1], len), V(r[1], len));
  EXPECT_EQ(e[2][12017], 13320u);
  EXPECT_EQ(e[2][12018], 0u);  // source columns past the last run are never named
  EXPECT_EQ(e[2][weight - 1], 0u);
  FreeAll({rows, exact, r[0], r[1], r[2], r[3], r[4], e[0], e[1], e[2], e[3], e[4]});
}

// Zero short sides are in the grid above.
TEST(RothsteinTest, ZeroSidesAndShortIndexVectors) {
  // A zero long side: a one-entry block holding 0, on which a walk stays put.
  unsigned *rows, *cols, *starts, *bytes, *bits;
  CreateRothTables(&rows, &cols, 0, 0, 3, 0);
  ASSERT_TRUE(rows != nullptr && cols != nullptr);
  EXPECT_EQ(rows[0] + cols[0], 0u);
  FreeAll({rows, cols});
  rothstein_code_struct *code = nullptr;
  getRothsteinArray(0, 3, &code);
  ASSERT_NE(code, nullptr);
  EXPECT_EQ(code[0].code, 0u);
  std::free(code);

  // A vector shorter than the source is filled as far as it goes, and not grown.
  Vec index(4, 0xDEADBEEF);
  CreateRothReduceTables2(20, 1, 5, 1, &rows, &cols, &starts, &bytes, &bits, index);
  EXPECT_EQ(index, Vec(4, 0));
  EXPECT_EQ(Runs(cols, 20), Vec(5, 4));
  FreeAll({rows, cols, starts, bytes, bits});
}

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
