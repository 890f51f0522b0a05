// Rothstein codes and run tables: worked examples, invariants over grids of sizes,
// agreement between the makers, wrapped 32-bit products, zero sizes and failed
// allocations.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "Image/Core2DImage.h"
#include "Image/scale/TableAlloc.h"

namespace {

using Vec = std::vector<unsigned>;

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

// Makes the allocation with index `failAt`, counted from construction, fail.
class FailAllocation {
 public:
  explicit FailAllocation(int failAt) : previous_(c2d::SetTableCalloc(&Calloc)) {
    countdown_ = failAt;
  }
  ~FailAllocation() { c2d::SetTableCalloc(previous_); }

 private:
  static void *Calloc(std::size_t count, std::size_t size) {
    return countdown_-- == 0 ? nullptr : std::calloc(count, size);
  }
  static int countdown_;
  c2d::TableCallocFn previous_;
};
int FailAllocation::countdown_ = 0;

TEST(RothsteinTest, ArrayFormExamplesAndEvenSpread) {
  const std::pair<unsigned, unsigned> sizes[] = {{5, 2}, {7, 3}, {4, 4}, {6, 1}, {3, 5}, {4, 0}};
  const char *expected[] = {"10010", "1001010", "1111", "100000", "111", "1111"};
  for (size_t i = 0; i < std::size(sizes); ++i) {
    EXPECT_EQ(CodeMarks(sizes[i].first, sizes[i].second), expected[i]) << i;
  }
  for (unsigned n = 1; n <= 64; ++n) {
    for (unsigned m = 1; m <= n; ++m) {
      SCOPED_TRACE(std::to_string(n) + " " + std::to_string(m));
      const std::string marks = CodeMarks(n, m);
      ASSERT_EQ(marks[0], '1');
      EXPECT_EQ(std::count(marks.begin(), marks.end(), '1'), static_cast<long>(m));
      std::set<size_t> gaps;  // between marks, the end counting as one
      for (size_t i = 1, last = 0; i <= n; ++i) {
        if (i == n || marks[i] == '1') {
          gaps.insert(i - last);
          last = i;
        }
      }
      EXPECT_LE(*gaps.rbegin() - *gaps.begin(), 1u);
    }
  }
}

TEST(RothsteinTest, ListFormIsARingWithMarksAtPeriodEnds) {
  const std::pair<unsigned, unsigned> sizes[] = {{4, 2}, {5, 2}, {1, 1}, {6, 1}};
  const char *expected[] = {"0101", "00101", "1", "000001"};
  for (size_t i = 0; i < std::size(sizes); ++i) {
    SCOPED_TRACE(expected[i]);
    rothstein_code_struct *head = nullptr;
    getRothsteinList(sizes[i].first, sizes[i].second, &head);
    ASSERT_NE(head, nullptr);
    std::string marks;
    const rothstein_code_struct *node = head;
    for (unsigned k = 0; k < sizes[i].first; ++k, node = node->next) {
      marks += node->code != 0 ? '1' : '0';
      EXPECT_EQ(node->next->prev, node);
    }
    EXPECT_EQ(node, head);
    EXPECT_EQ(marks, expected[i]);
    DestroyRothsteinList(head);  // LeakSanitizer checks that every node went
  }
  rothstein_code_struct unset{};
  rothstein_code_struct *head = &unset;
  getRothsteinList(0, 3, &head);
  EXPECT_EQ(head, nullptr);
  DestroyRothsteinList(nullptr);
  // A chain whose last next is null, as a failed build leaves it, is released too.
  auto *first = static_cast<rothstein_code_struct *>(std::calloc(1, sizeof(*head)));
  first->next = static_cast<rothstein_code_struct *>(std::calloc(1, sizeof(*head)));
  DestroyRothsteinList(first);
}

TEST(RothsteinTest, RunTableExamples) {
  unsigned *rows, *cols;
  CreateRothTables(&rows, &cols, 7, 5, 3, 2);
  EXPECT_EQ(V(rows, 5), (Vec{3, 0, 0, 2, 0}));
  EXPECT_EQ(V(cols, 7), (Vec{3, 0, 0, 2, 0, 2, 0}));
  FreeAll({rows, cols});
}

// The run tables of the raster scalers and of the Group 4 enlarger, over a grid of
// sizes without wrapped products, against the array form of the code.
TEST(RothsteinTest, RunTablesFollowTheCodeOverManySizes) {
  for (unsigned len = 1; len <= 48; ++len) {
    for (unsigned weight = 0; weight <= len + 2; ++weight) {
      SCOPED_TRACE(std::to_string(len) + " " + std::to_string(weight));
      const unsigned other = len + 5;  // a second axis, so that axes cannot be swapped
      unsigned *rows, *cols, *gRows, *gCols, *map, *bytes, *bits;
      CreateRothTables(&rows, &cols, len, other, weight, 2);
      CreateRothEnlargeTables(len, other, weight, 2, &gRows, &gCols, &map, &bytes, &bits);
      ASSERT_NE(cols, nullptr);
      ASSERT_NE(gCols, nullptr);
      EXPECT_EQ(RunMarks(cols, len), CodeMarks(len, weight));
      EXPECT_EQ(RunMarks(rows, other), CodeMarks(other, 2));
      EXPECT_EQ(V(gCols, len), V(cols, len));
      EXPECT_EQ(V(gRows, other), V(rows, other));

      const Vec runs = Runs(cols, len);
      if (weight >= 1 && weight <= len) {
        EXPECT_EQ(runs.size(), weight);
        const auto [shortest, longest] = std::minmax_element(runs.begin(), runs.end());
        EXPECT_EQ(*shortest, len / weight);
        EXPECT_LE(*longest, *shortest + 1);
      } else {
        EXPECT_EQ(runs, Vec(len, 1));
      }
      for (unsigned s = 0, start = 0; s < std::min(weight, len); start += runs[s++]) {
        ASSERT_EQ(map[s], start) << s;
      }
      for (unsigned x = 0; x < len; ++x) {
        ASSERT_EQ(bytes[x] * 8 + 7 - bits[x], x);
      }
      FreeAll({rows, cols, gRows, gCols, map, bytes, bits});
    }
  }
}

TEST(RothsteinTest, ReduceTablesNameEachColumnsRunAndTarget) {
  for (unsigned src = 1; src <= 40; ++src) {
    for (unsigned dst = 1; dst <= src; ++dst) {
      SCOPED_TRACE(std::to_string(src) + " " + std::to_string(dst));
      unsigned *rows, *cols, *t2[5], *t[5];
      Vec index(src, 0xDEADBEEF);
      CreateRothTables(&rows, &cols, src, src + 3, dst, 2);
      CreateRothReduceTables2(src, src + 3, dst, 2, &t2[0], &t2[1], &t2[2], &t2[3], &t2[4], index);
      CreateRothReduceTables(src, src + 3, dst, 2, &t[0], &t[1], &t[2], &t[3], &t[4]);
      ASSERT_NE(t2[4], nullptr);
      ASSERT_NE(t[4], nullptr);
      EXPECT_EQ(V(t2[0], src + 3), V(rows, src + 3));
      EXPECT_EQ(V(t2[1], src), V(cols, src));
      for (int k = 0; k < 5; ++k) {
        EXPECT_EQ(V(t[k], k == 0 ? src + 3 : src), V(t2[k], k == 0 ? src + 3 : src)) << k;
      }
      unsigned start = 0;
      unsigned target = 0;
      for (unsigned x = 0; x < src; ++x) {
        if (x == start + cols[start]) {
          start = x;
          ++target;
        }
        ASSERT_EQ(t2[2][x], start) << x;
        ASSERT_LE(t2[4][x], 7u);
        ASSERT_EQ(t2[3][x] * 8 + 7 - t2[4][x], target) << x;
        ASSERT_EQ(index[x], target) << x;
      }
      EXPECT_EQ(target, dst - 1);
      FreeAll({rows, cols, t2[0], t2[1], t2[2], t2[3], t2[4], t[0], t[1], t[2], t[3], t[4]});
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
  ASSERT_NE(exact, nullptr);
  ASSERT_NE(r[4], nullptr);
  ASSERT_NE(e[4], nullptr);
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

TEST(RothsteinTest, ZeroSidesAndShortIndexVectors) {
  // A zero long side: a one-entry block holding 0, on which a walk stays put.
  unsigned *rows, *cols, *starts, *bytes, *bits, *map;
  CreateRothTables(&rows, &cols, 0, 0, 3, 0);
  ASSERT_NE(rows, nullptr);
  ASSERT_NE(cols, nullptr);
  EXPECT_EQ(rows[0] + cols[0], 0u);
  FreeAll({rows, cols});
  rothstein_code_struct *code = nullptr;
  getRothsteinArray(0, 3, &code);
  ASSERT_NE(code, nullptr);
  EXPECT_EQ(code[0].code, 0u);
  std::free(code);

  // No target columns: every source column is its own run and feeds column 0.
  Vec index(5, 9);
  CreateRothReduceTables2(5, 2, 0, 0, &rows, &cols, &starts, &bytes, &bits, index);
  ASSERT_NE(bits, nullptr);
  EXPECT_EQ(V(rows, 2), Vec(2, 1));
  EXPECT_EQ(V(cols, 5), Vec(5, 1));
  EXPECT_EQ(V(starts, 5), (Vec{0, 1, 2, 3, 4}));
  EXPECT_EQ(V(bytes, 5), Vec(5, 0));
  EXPECT_EQ(V(bits, 5), Vec(5, 7));
  EXPECT_EQ(index, Vec(5, 0));
  FreeAll({rows, cols, starts, bytes, bits});

  // No source columns: the one-entry srcToDst block is never written.
  CreateRothEnlargeTables(4, 3, 0, 0, &rows, &cols, &map, &bytes, &bits);
  ASSERT_NE(map, nullptr);
  EXPECT_EQ(V(cols, 4), Vec(4, 1));
  EXPECT_EQ(map[0], 0u);
  FreeAll({rows, cols, map, bytes, bits});

  // A vector shorter than the source is filled as far as it goes, and not grown.
  index.assign(4, 0xDEADBEEF);
  CreateRothReduceTables2(20, 1, 5, 1, &rows, &cols, &starts, &bytes, &bits, index);
  EXPECT_EQ(index, Vec(4, 0));
  EXPECT_EQ(Runs(cols, 20), Vec(5, 4));
  FreeAll({rows, cols, starts, bytes, bits});
}

// The makers in turn, each with its number of allocations, for the failure test.
constexpr int kAllocations[] = {1, 6, 2, 5, 5, 5};

std::vector<void *> CallMaker(int maker, Vec &index) {
  unsigned *t[5] = {};
  rothstein_code_struct *code = nullptr;
  switch (maker) {
    case 0:
      getRothsteinArray(7, 3, &code);
      return {code};
    case 1:
      getRothsteinList(6, 2, &code);
      return {code};
    case 2:
      CreateRothTables(&t[0], &t[1], 30, 20, 7, 5);
      return {t[0], t[1]};
    case 3:
      CreateRothEnlargeTables(30, 20, 7, 5, &t[0], &t[1], &t[2], &t[3], &t[4]);
      break;
    case 4:
      CreateRothReduceTables(30, 20, 7, 5, &t[0], &t[1], &t[2], &t[3], &t[4]);
      break;
    default:
      CreateRothReduceTables2(30, 20, 7, 5, &t[0], &t[1], &t[2], &t[3], &t[4], index);
  }
  return std::vector<void *>(t, t + 5);
}

// Each allocation of each maker fails in turn: every output is null, dstIndex is
// untouched, and LeakSanitizer sees nothing left behind.
TEST(RothsteinTest, FailedAllocationsLeaveNullAndNoLeak) {
  Vec index(30);
  for (int call = 0; call < 6; ++call) {
    const int allocations = kAllocations[call];
    for (int failAt = 0; failAt <= allocations; ++failAt) {
      SCOPED_TRACE("call " + std::to_string(call) + " failing " + std::to_string(failAt));
      index.assign(30, 0xDEADBEEF);
      std::vector<void *> tables;
      {
        FailAllocation fail(failAt);
        tables = CallMaker(call, index);
      }
      for (void *table : tables) {
        EXPECT_EQ(table == nullptr, failAt < allocations);
        if (call == 1) {
          DestroyRothsteinList(static_cast<rothstein_code_struct *>(table));
        } else {
          std::free(table);
        }
      }
      EXPECT_EQ(index == Vec(30, 0xDEADBEEF), call != 5 || failAt < allocations);
    }
  }
  // A null output pointer: nothing allocated, the other outputs null.
  unsigned *a = &index[0];
  unsigned *b = &index[0];
  CreateRothEnlargeTables(4, 4, 2, 2, &a, nullptr, &b, &b, &b);
  EXPECT_EQ(a, nullptr);
  EXPECT_EQ(b, nullptr);
}

}  // namespace
