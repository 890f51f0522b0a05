// Scaling: CImg1 against a reference model, the run and grey tables, CImg32 and CImg8 examples.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"
#include "g4/G4TiffOracle.h"

namespace {

using c2d_test::BitAt;
using c2d_test::ErrWatch;
using c2d_test::ImgPtr;
using g4test::Rng;
using Bits = std::vector<bool>;

struct Open : CImg1 {
  using CImg1::Enlarge;
  using CImg1::QuickReduce_bkg;
  using CImg1::Reduce;
  using CImg1::Reduce_bkg;
  using CImg1::Reduce_greyscale;
};
const auto kEnlarge = &Open::Enlarge, kReduce = &Open::Reduce, kReduceBkg = &Open::Reduce_bkg;
const auto kQuickReduce = &Open::QuickReduce_bkg;
const auto kGrey = &Open::Reduce_greyscale;

template <typename Image, typename Fn, typename... Args>
auto Work(Image &image, Fn worker, Args... args) {
  using Out = std::remove_pointer_t<decltype((image.*worker)(args...))>;
  return ImgPtr<Out>((image.*worker)(args...));
}

// Every byte random with the given share of set bits, pad bits included.
ImgPtr<CImg1> RandomPage(Rng &rng, unsigned w, unsigned h, ImgAlignmentEnum align, double ink) {
  ImgPtr<CImg1> page(CImg1::create(w, h, 0xFFFFFFu, 0xFF000000u, align));
  for (unsigned i = 0; i < page->getTotalBytes() * 8; ++i) {
    if (rng.chance(ink)) {
      page->peekData()[i / 8] |= static_cast<unsigned char>(0x80u >> (i % 8));
    }
  }
  return page;
}

Bits BitsOf(const CImg1 &image) {
  Bits bits;
  for (unsigned y = 0; y < image.getHeight(); ++y) {
    for (unsigned x = 0; x < image.getWidth(); ++x) {
      bits.push_back(BitAt(image, x, y));
    }
  }
  return bits;
}

// Block k of `count` blocks over `length` starts at ceil(k * length / count).
uint64_t Edge(uint64_t k, uint64_t length, uint64_t count) {
  return (k * length + count - 1) / count;
}

struct Block {
  uint64_t x0, y0, xRun, yRun;  // the first source pixel, in image coordinates, and the runs
};

// f of each target pixel's block in a w x h reduction of r, in row order.
template <typename F>
auto ForBlocks(const ImgRect &r, unsigned w, unsigned h, F f) {
  std::vector<decltype(f(Block{}))> values;
  for (unsigned ty = 0; ty < h; ++ty) {
    const uint64_t y0 = Edge(ty, r.getHeight(), h), y1 = Edge(ty + 1, r.getHeight(), h);
    for (unsigned tx = 0; tx < w; ++tx) {
      const uint64_t x0 = Edge(tx, r.getWidth(), w), x1 = Edge(tx + 1, r.getWidth(), w);
      values.push_back(f({r.left + x0, r.top + y0, x1 - x0, y1 - y0}));
    }
  }
  return values;
}

// The ink pixels among the first `rows` rows and `cols` columns of a block.
unsigned CountInk(const CImg1 &image, const Block &b, uint64_t rows, uint64_t cols,
                  bool inkIsClear) {
  unsigned count = 0;
  for (uint64_t y = 0; y < rows; ++y) {
    for (uint64_t x = 0; x < cols; ++x) {
      count += BitAt(image, b.x0 + x, b.y0 + y) != inkIsClear;
    }
  }
  return count;
}

enum class Look { kBkg, kQuick, kSample };

// Whether each target pixel's block shows ink, in row order. kBkg: the whole block, but clear
// ink in a row's last pixel is missed when it alone lies in the last byte. kQuick: the first
// row, one pixel past unless the block ends on a byte boundary (then none if inside one byte).
// kSample: the first pixel.
Bits ExpectInk(const CImg1 &image, const ImgRect &r, unsigned w, unsigned h, Look test,
               bool inkIsClear = false) {
  return ForBlocks(r, w, h, [&](Block b) {
    const unsigned end = b.x0 % 8 + b.xRun;
    uint64_t rows = 1, cols = 1;
    if (test == Look::kBkg) {
      rows = b.yRun;
      cols = inkIsClear && end > 8 && end % 8 == 1 ? b.xRun - 1 : b.xRun;
    } else if (test == Look::kQuick) {
      cols = end % 8 != 0 ? b.xRun + 1 : end > 8 ? b.xRun : 0;
    }
    return CountInk(image, b, rows, cols, inkIsClear) != 0;
  });
}

// Enlarge: target pixel x shows source pixel floor(x * source / target).
Bits ExpectEnlarged(const CImg1 &image, const ImgRect &r, unsigned w, unsigned h, bool inkIsClear) {
  Bits bits;
  for (uint64_t y = 0; y < h; ++y) {
    for (uint64_t x = 0; x < w; ++x) {
      const uint64_t sx = r.left + x * r.getWidth() / w, sy = r.top + y * r.getHeight() / h;
      bits.push_back(BitAt(image, sx, sy) != inkIsClear);
    }
  }
  return bits;
}

using Bytes = std::vector<unsigned char>;

// Empty when no table is made, which must set the output to null.
Bytes Mapping(unsigned n, unsigned invert) {
  unsigned char unset = 0, *table = &unset;
  CreateGreyMapping(n, &table, invert);
  Bytes values(table, table + (table != nullptr ? n : 0));
  std::free(table);
  return values;
}

std::vector<unsigned> ExpectGrey(const CImg1 &image, const ImgRect &r, unsigned w, unsigned h,
                                 bool inkIsClear) {
  return ForBlocks(r, w, h, [&](Block b) {
    const Bytes mapping = Mapping(b.xRun * b.yRun + 1, 0);
    return mapping.at(CountInk(image, b, b.yRun, b.xRun, inkIsClear)) * 0x010101u;
  });
}

// A random page, a source rectangle that now and then leaves the image, a target size.
struct Case {
  ImgPtr<CImg1> page;
  ImgRect r;
  unsigned w, h;
  bool inkIsClear() const { return page->getBackgroundColor() == 1; }  // once a worker ran
};

Case RandomCase(Rng &rng, bool enlarge) {
  const ImgAlignmentEnum aligns[] = {IMG_ALIGN_NONE, IMG_ALIGN_8, IMG_ALIGN_32};
  const unsigned pw = 1 + rng.below(70), ph = 1 + rng.below(24);
  Case c{RandomPage(rng, pw, ph, aligns[rng.below(3)], rng.chance(0.3) ? 0.8 : 0.1), {}, 0, 0};
  const bool outside = rng.chance(0.15);
  const unsigned left = rng.below(outside ? pw + 40 : pw), top = rng.below(outside ? ph + 8 : ph);
  const unsigned sw = 1 + rng.below(outside ? 50 : pw - left);
  const unsigned sh = 1 + rng.below(outside ? 12 : ph - top);
  c.r = ImgRect(left, top, left + sw - 1, top + sh - 1);
  // Often a few columns, so that blocks span several bytes.
  c.w = enlarge ? sw + rng.below(30) : 1 + rng.below(rng.chance(0.4) ? std::min(sw, 3u) : sw);
  c.h = enlarge ? sh + rng.below(9) : 1 + rng.below(sh);
  return c;
}

TEST(CImg1ScaleTest, WorkersMatchTheReferenceInBothPolarities) {
  Rng rng(7);
  for (int i = 0; i < 1500; ++i) {
    SCOPED_TRACE(i);
    Case c = RandomCase(rng, false);
    ImgPtr<CImg1> bkg = Work(*c.page, kReduceBkg, c.w, c.h, c.r);
    ASSERT_NE(bkg, nullptr);
    ASSERT_EQ(BitsOf(*bkg), ExpectInk(*c.page, c.r, c.w, c.h, Look::kBkg, c.inkIsClear()));
    EXPECT_EQ(bkg->getBackgroundColor(), c.page->getBackgroundColor());  // 1 too
    ASSERT_EQ(BitsOf(*Work(*c.page, kReduce, c.w, c.h, c.r)),
              ExpectInk(*c.page, c.r, c.w, c.h, Look::kSample));
    ASSERT_EQ(BitsOf(*Work(*c.page, kQuickReduce, c.w, c.h, c.r, 0u)),
              ExpectInk(*c.page, c.r, c.w, c.h, Look::kQuick));
    // Clear ink only clears bits of a result that starts clear.
    ASSERT_EQ(BitsOf(*Work(*c.page, kQuickReduce, c.w, c.h, c.r, 1u)), Bits(c.w * c.h, false));
    ImgPtr<CImg32> grey = Work(*c.page, kGrey, c.w, c.h, c.r);
    ASSERT_EQ(c2d_test::BufferOf(*grey), ExpectGrey(*c.page, c.r, c.w, c.h, c.inkIsClear()));
    // Kept as it stands: paper of set bits records black.
    EXPECT_EQ(grey->getBackgroundColor(), c.inkIsClear() ? 0u : 0xFFFFFFu);

    Case e = RandomCase(rng, true);
    ImgPtr<CImg1> out = Work(*e.page, kEnlarge, e.w, e.h, e.r);
    ASSERT_NE(out, nullptr);
    ASSERT_EQ(BitsOf(*out), ExpectEnlarged(*e.page, e.r, e.w, e.h, e.inkIsClear()));
    EXPECT_FALSE(out->isBackgroundKnown());
    EXPECT_EQ(out->getBackgroundInterpretation(), static_cast<unsigned>(e.page->getAlignment()));
  }
}

TEST(CImg1ScaleTest, SizesAndTheWorkerForEachRequest) {
  Rng rng(9);
  ImgPtr<CImg1> page = RandomPage(rng, 100, 100, IMG_ALIGN_NONE, 0.2);
  const ImgRect all = page->getRect();
  ImgScaleAttr attr;
  ImgPtr<IImg> swapped(page->scale(all, ImgRect(30u, 9u, 5u, 0u), attr));
  EXPECT_EQ(std::make_pair(swapped->getWidth(), swapped->getHeight()), std::make_pair(26u, 10u));

  // The same size copies with the ink in set bits; mixed requests enlarge first.
  const ImgRect r(2u, 3u, 33u, 22u);  // 32 x 20
  const struct {
    unsigned w, h, bitDepth;
    Bits expected;
  } cases[] = {
      {32, 20, 32, ExpectInk(*page, r, 32, 20, Look::kSample)},
      {16, 10, 0, BitsOf(*Work(*page, kReduceBkg, 16u, 10u, r))},
      {40, 30, 32, BitsOf(*Work(*page, kEnlarge, 40u, 30u, r))},
      {12, 50, 0,
       BitsOf(*Work(*Work(*page, kEnlarge, 32u, 50u, r), kReduceBkg, 12u, 50u, ImgRect(32u, 50u)))},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << c.w << " x " << c.h);
    attr.bitDepth = c.bitDepth;
    ImgPtr<CImg1> out(dynamic_cast<CImg1 *>(page->scale(r, c.w, c.h, attr)));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(BitsOf(*out), c.expected);
  }
  // Paper of set bits: the copy holds the ink in set bits all the same.
  page->invert();
  page->setBackgroundColor(1);
  ImgPtr<CImg1> copy(dynamic_cast<CImg1 *>(page->scale(r, 32, 20, attr)));
  EXPECT_EQ(BitsOf(*copy), cases[0].expected);
  EXPECT_TRUE(copy->isBackgroundKnown());
  EXPECT_EQ(copy->getBackgroundColor(), 0u);
  attr.bitDepth = 32;
  ImgPtr<IImg> grey(page->scale(0.5, attr));
  EXPECT_NE(dynamic_cast<CImg32 *>(grey.get()), nullptr);

  // An image without pixels reads as paper.
  ImgPtr<CImg1> bare(CImg1::create(20, 10, 0, 1, IMG_ALIGN_NONE));
  std::free(bare->ownData());
  EXPECT_EQ(c2d_test::BufferOf(*Work(*bare, kGrey, 5u, 5u, bare->getRect())),
            std::vector<unsigned>(25, 0xFFFFFFu));
  EXPECT_EQ(BitsOf(*Work(*bare, kReduceBkg, 5u, 5u, ImgRect(3u, 3u, 40u, 40u))), Bits(25, false));
}

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

// The run lengths of a table, walked as the scalers do; a malformed run fails the test.
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

// The array form by example, then every maker over a grid of sizes against it.
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

// 189332 * 170812 passes 2^32: the 32-bit makers follow the exact one for 12017 runs
// (13320 columns), then one run takes the other 176012 columns, all inside the tables.
TEST(RothsteinTest, EdgeSizesStayInsideTheirTables) {
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
  EXPECT_EQ(V(e[1], len), V(r[1], len));
  EXPECT_EQ((Vec{r[2][len - 1], index[len - 1], r[3][len - 1] * 8 + 7 - r[4][len - 1]}),
            (Vec{13320, 12017, 12017}));
  // Source columns past the last run are never named.
  EXPECT_EQ((Vec{e[2][12017], e[2][12018], e[2][weight - 1]}), (Vec{13320, 0, 0}));
  FreeAll({rows, exact, r[0], r[1], r[2], r[3], r[4], e[0], e[1], e[2], e[3], e[4]});

  // A zero long side: a one-entry block holding 0, on which a walk stays put.
  CreateRothTables(&rows, &exact, 0, 0, 3, 0);
  ASSERT_TRUE(rows != nullptr && exact != nullptr);
  EXPECT_EQ(rows[0] + exact[0], 0u);
  FreeAll({rows, exact});
  rothstein_code_struct *code = nullptr;
  getRothsteinArray(0, 3, &code);
  ASSERT_NE(code, nullptr);
  EXPECT_EQ(code[0].code, 0u);
  std::free(code);

  // A vector shorter than the source is filled as far as it goes, and not grown.
  Vec shortIndex(4, 0xDEADBEEF);
  CreateRothReduceTables2(20, 1, 5, 1, &r[0], &r[1], &r[2], &r[3], &r[4], shortIndex);
  EXPECT_EQ(shortIndex, Vec(4, 0));
  EXPECT_EQ(Runs(r[1], 20), Vec(5, 4));
  FreeAll({r[0], r[1], r[2], r[3], r[4]});
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

// A curve below 11000 entries; from there 42 or 43 counts per level, and from 2^24 entries
// n << 8 wraps and the end entry is forced.
TEST(GreyMappingTest, CurveThenLinearTables) {
  EXPECT_EQ(Mapping(1, 0), Bytes{255});
  EXPECT_EQ(Mapping(1, 1), Bytes{0});
  EXPECT_EQ(Mapping(2, 0), (Bytes{255, 0}));
  EXPECT_EQ(Mapping(2, 1), (Bytes{0, 255}));
  EXPECT_EQ(Mapping(3, 0), (Bytes{255, 28, 0}));  // (3667 * 7.5e-5)^2 * 382.5 = 28.9
  // 114 counts of 10999 saturate to white; the middle is (5500 * 7.5e-5)^2 * 382.5 = 65.
  const Bytes table = Mapping(10999, 0);
  ASSERT_EQ(table.size(), 10999u);
  Bytes light(114, 255);
  light.push_back(254);
  EXPECT_EQ(Bytes(table.begin(), table.begin() + 115), light);
  EXPECT_EQ(table[5499], 65);
  for (unsigned invert : {0u, 1u}) {
    SCOPED_TRACE(invert);
    const Bytes linear = Mapping(11000, invert);
    const auto stretches = Stretches(linear);
    ASSERT_EQ(stretches.size(), 256u);
    for (int i = 0; i < 256; ++i) {
      ASSERT_EQ(stretches[i].first, invert ? i : 255 - i);
      ASSERT_TRUE(stretches[i].second == 42 || stretches[i].second == 43) << i;
    }
    EXPECT_EQ(linear[5500], invert ? 128 : 127);  // not the curve's 65

    const Bytes wrapped = Mapping((1u << 24) + 1, invert);
    ASSERT_EQ(Stretches(wrapped).size(), 256u);
    EXPECT_EQ(wrapped.front(), invert ? 0 : 255);
    EXPECT_EQ(wrapped.back(), invert ? 255 : 0);
  }
}

// Each allocation of each path fails in turn: null, nothing recorded, nothing leaked.
TEST(TableAllocTest, EachFailedAllocationGivesNullAndFreesTheRest) {
  Rng rng(1);
  ImgPtr<CImg1> page = RandomPage(rng, 50, 40, IMG_ALIGN_NONE, 0.3);
  ImgPtr<CImg32> colour = c2d_test::Flat32(6, 9, 0x123456u, RGB_ORDER_RGB);
  ImgPtr<CImg8> palette = c2d_test::Make8(6, 9, std::vector<unsigned char>(54, 7));
  const ImgRect r = page->getRect();
  const std::vector<unsigned> untouched(30, 0xDEADBEEF);
  std::vector<unsigned> index;
  unsigned *t[5];
  rothstein_code_struct *code = nullptr;
  // A table maker: all `outputs` made, or all null.
  const auto tables = [&](int outputs, std::function<void()> make) {
    return [&, outputs, make] {
      std::fill(t, t + 5, nullptr);
      index = untouched;
      make();
      const bool made = t[0] != nullptr;
      for (int k = 0; k < outputs; ++k) {
        EXPECT_EQ(t[k] != nullptr, made) << k;
        std::free(t[k]);
      }
      EXPECT_TRUE(made || index == untouched);
      return made;
    };
  };
  const auto codes = [&](bool list) {
    list ? getRothsteinList(6, 2, &code) : getRothsteinArray(7, 3, &code);
    const bool made = code != nullptr;
    list ? DestroyRothsteinList(code) : std::free(code);
    return made;
  };
  const auto reduce = [&] {
    CreateRothReduceTables2(30, 20, 7, 5, t, t + 1, t + 2, t + 3, t + 4, index);
  };
  const std::pair<const char *, std::function<bool()>> calls[] = {
      {"Enlarge", [&] { return Work(*page, kEnlarge, 77u, 61u, r) != nullptr; }},
      {"Reduce", [&] { return Work(*page, kReduce, 13u, 7u, r) != nullptr; }},
      {"Reduce_bkg", [&] { return Work(*page, kReduceBkg, 13u, 7u, r) != nullptr; }},
      {"QuickReduce_bkg", [&] { return Work(*page, kQuickReduce, 13u, 7u, r, 0u) != nullptr; }},
      // Blocks of 4 x 6, 3 x 6, 4 x 5 and 3 x 5: four mappings.
      {"Reduce_greyscale", [&] { return Work(*page, kGrey, 13u, 7u, r) != nullptr; }},
      {"rotate CImg1", [&] { return ImgPtr<IImg>(page->rotate(200.0)) != nullptr; }},
      {"rotate CImg32", [&] { return ImgPtr<IImg>(colour->rotate(200.0)) != nullptr; }},
      {"rotate CImg8", [&] { return ImgPtr<IImg>(palette->rotate(200.0)) != nullptr; }},
      {"code array", [&] { return codes(false); }},
      {"code list", [&] { return codes(true); }},
      {"run tables", tables(2, [&] { CreateRothTables(t, t + 1, 30, 20, 7, 5); })},
      {"enlarge tables",
       tables(5, [&] { CreateRothEnlargeTables(30, 20, 7, 5, t, t + 1, t + 2, t + 3, t + 4); })},
      // CreateRothReduceTables fails on the same path, without the index.
      {"reduce tables", tables(5, reduce)},
      {"curve mapping", [&] { return !Mapping(5, 0).empty(); }},
      {"linear mapping", [&] { return !Mapping(11000, 0).empty(); }},
  };
  for (const auto &[name, call] : calls) {
    for (int failAt = 0;; ++failAt) {
      SCOPED_TRACE(testing::Message() << name << " failing allocation " << failAt);
      c2d_test::FailTables fail(failAt, 1000);
      ErrWatch watch;
      const bool made = call();
      if (!fail.failed()) {  // every allocation has been tried
        EXPECT_TRUE(made);
        break;
      }
      EXPECT_FALSE(made);
      EXPECT_EQ(watch.reports(), 0u);
    }
  }
  // No count, or a null output pointer: nothing allocated, the other outputs null.
  EXPECT_TRUE(Mapping(0, 0).empty());
  unsigned *a = &index[0], *b = &index[0];
  CreateRothEnlargeTables(4, 4, 2, 2, &a, nullptr, &b, &b, &b);
  EXPECT_EQ(a, nullptr);
  EXPECT_EQ(b, nullptr);
}

using c2d_test::Drawn32;
using Pixels = std::vector<unsigned>;

struct Open8 : CImg8 {
  using CImg8::Enlarge;
  using CImg8::Reduce_bkg;
};
using Worker8 = CImg8 *(CImg8::*)(unsigned, unsigned, const ImgRect &);
const Worker8 kEnlarge8 = &Open8::Enlarge, kReduceBkg8 = &Open8::Reduce_bkg;

struct Open32 : CImg32 {
  using CImg32::Enlarge;
  using CImg32::EnlargeResample;
  using CImg32::Reduce;
  using CImg32::Reduce_bkg;
  using CImg32::ReduceResample;
};
using Worker = CImg32 *(CImg32::*)(unsigned, unsigned, const ImgRect &);
const Worker kEnlarge32 = &Open32::Enlarge, kEnlargeResample = &Open32::EnlargeResample;
const Worker kReduce32 = &Open32::Reduce, kReduceBkg32 = &Open32::Reduce_bkg;
const Worker kReduceResample = &Open32::ReduceResample;

constexpr unsigned kWhite = 0x00FFFFFFu;
constexpr unsigned kRgb = 0x00FFFFFFu;  // ReduceResample leaves channel 3 unwritten

// White paper, a third of it random colours.
ImgPtr<CImg32> Noise(unsigned w, unsigned h, unsigned seed) {
  std::mt19937 rng(seed);
  return Drawn32(w, h, [&](unsigned, unsigned) { return rng() % 3 == 0 ? rng() : kWhite; });
}

ImgPtr<CImg32> Dot(unsigned w, unsigned h, unsigned x, unsigned y, unsigned ink = 0x102030u) {
  return Drawn32(w, h, [=](unsigned i, unsigned j) { return i == x && j == y ? ink : kWhite; });
}

Pixels PixelsOf(const IImg *image, unsigned mask = kRgb) {
  Pixels out;
  if (const auto *raster = dynamic_cast<const CImg32 *>(image)) {
    for (unsigned i = 0; i < raster->getWidth() * raster->getHeight(); ++i) {
      out.push_back((*raster)(i / raster->getWidth(), i % raster->getWidth()) & mask);
    }
  }
  return out;
}

Pixels Scaled(IImg &image, const ImgRect &r, unsigned w, unsigned h, ImgScaleAttr attr = {}) {
  return PixelsOf(ImgPtr<IImg>(image.scale(r, w, h, attr)).get());
}

Pixels Greys(std::initializer_list<unsigned> levels) {
  Pixels out(levels);
  std::transform(out.begin(), out.end(), out.begin(), [](unsigned v) { return v * 0x010101u; });
  return out;
}

TEST(CImg32ScaleTest, WorkedExamples) {
  const auto line = [](const std::vector<unsigned> &levels, bool across) {
    return Drawn32(across ? 8 : 1, across ? 1 : 8,
                   [=](unsigned x, unsigned y) { return levels[x + y] * 0x010101u | 0xAB000000u; });
  };
  const std::vector<unsigned> bump = {40, 255, 255, 255, 0, 0, 0, 0};
  // The cubic overshoot (281.875, 286.875, -31.875) is clamped; the corner is exact.
  const Pixels bumpOut = Greys({40, 148, 255, 255, 255, 255, 255, 128, 0, 0, 0, 0, 0, 0, 0, 0});
  const Pixels colour4(4, 0x00C08040u), uniform6(6, 0x00123456u);
  const auto patch = [] {  // 16 of 100 pixels: not the background
    return Drawn32(10, 10,
                   [](unsigned x, unsigned y) { return x < 4 && y < 4 ? 0x00C08040u : kWhite; });
  };
  const ImgRect r3(3u, 3u), r4(4u, 4u);
  const auto uniform = [] { return Drawn32(7, 5, [](unsigned, unsigned) { return 0x00123456u; }); };
  struct {
    const char *name;
    ImgPtr<CImg32> image;
    Worker worker;
    unsigned w, h;
    ImgRect source;
    Pixels expected;
    unsigned mask;
  } cases[] = {
      // Eight white background pixels and one ink pixel: count 11, cut toward zero.
      {"black dot", Dot(3, 3, 1, 1, 0), kReduceResample, 1, 1, r3, Greys({185}), kRgb},
      // 198, 211, 224.
      {"colour dot", Dot(3, 3, 1, 1, 0x306090u), kReduceResample, 1, 1, r3, {0xC6D3E0u}, kRgb},
      {"uniform page", uniform(), kReduceResample, 3, 2, ImgRect(7u, 5u), uniform6, kRgb},
      {"uniform page", uniform(), kReduce32, 3, 2, ImgRect(7u, 5u), uniform6, ~0u},
      {"uniform ink", patch(), kReduceBkg32, 2, 2, r4, colour4, ~0u},
      // Reduce_bkg looks along the block's diagonal only.
      {"ink on the diagonal", Dot(4, 4, 2, 2), kReduceBkg32, 1, 1, r4, {0x102030u}, ~0u},
      {"ink off it", Dot(4, 4, 2, 1), kReduceBkg32, 1, 1, r4, {kWhite}, ~0u},
      {"short diagonal", Dot(4, 2, 1, 1), kReduceBkg32, 1, 1, ImgRect(4u, 2u), {0x102030u}, ~0u},
      {"past it", Dot(4, 2, 3, 1), kReduceBkg32, 1, 1, ImgRect(4u, 2u), {kWhite}, ~0u},
      // Channel 3 comes out 0.
      {"cubic across", line(bump, true), kEnlargeResample, 16, 1, ImgRect(8u, 1u), bumpOut, ~0u},
      {"cubic down", line(bump, false), kEnlargeResample, 1, 16, ImgRect(1u, 8u), bumpOut, ~0u},
      // Neighbours come from the whole image: white past the source's right edge.
      {"cubic past the source", line({0, 0, 0, 0, 255, 255, 255, 255}, true), kEnlargeResample, 16,
       1, ImgRect(0u, 0u, 3u, 0u), Greys({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 64, 128, 191}),
       ~0u},
  };
  for (auto &c : cases) {
    SCOPED_TRACE(c.name);
    ImgPtr<CImg32> out = Work(*c.image, c.worker, c.w, c.h, c.source);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(PixelsOf(out.get(), c.mask), c.expected);
    EXPECT_EQ(out->getBackgroundColor(), c.image->getBackgroundColor());
  }
}

TEST(CImg32ScaleTest, DispatchAndSourceRectangles) {
  ImgPtr<CImg32> image = Noise(12, 10, 1);
  const ImgRect all = image->getRect();
  const auto run = [&](Worker worker, unsigned w, unsigned h) {
    return PixelsOf(Work(*image, worker, w, h, all).get());
  };
  const auto twoSteps = [&](unsigned w1, unsigned h1, Worker second, unsigned w, unsigned h) {
    ImgPtr<CImg32> mid = Work(*image, kEnlarge32, w1, h1, all);
    return PixelsOf(Work(*mid, second, w, h, mid->getRect()).get());
  };
  const struct {
    unsigned w, h;
    bool resample;
    Pixels expected;
  } cases[] = {
      {12, 10, true, PixelsOf(image.get())},
      {20, 15, false, run(kEnlarge32, 20, 15)},
      {20, 15, true, run(kEnlargeResample, 20, 15)},
      {5, 4, true, run(kReduceResample, 5, 4)},
      {6, 15, false, twoSteps(12, 15, kReduceBkg32, 6, 15)},
      {20, 5, true, twoSteps(20, 10, kReduceResample, 20, 5)},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << (c.resample ? " resample" : ""));
    ImgScaleAttr attr;
    attr.resample = c.resample;
    EXPECT_EQ(Scaled(*image, all, c.w, c.h, attr), c.expected);
    // Only the size of the target rectangle counts, whatever the order of its edges.
    const ImgRect target(c.w + 6, c.h + 2, 7u, 3u);
    EXPECT_EQ(PixelsOf(ImgPtr<IImg>(image->scale(all, target, attr)).get()), c.expected);
  }
  ImgScaleAttr attr;
  EXPECT_EQ(PixelsOf(ImgPtr<IImg>(image->scale(0.5, attr)).get()), run(kReduceBkg32, 6, 5));

  // A source partly outside, or swapped, scales the part inside; so do grown extents.
  const Pixels inside = Scaled(*image, ImgRect(4u, 4u, 11u, 9u), 2, 2);
  for (const ImgRect &r : {ImgRect(4u, 4u, 20u, 20u), ImgRect(11u, 9u, 4u, 4u)}) {
    EXPECT_EQ(Scaled(*image, r, 2, 2), inside);
  }
  const Pixels before = Scaled(*image, all, 3, 3);
  ASSERT_TRUE(image->setExtents(24, 20));
  EXPECT_EQ(Scaled(*image, image->getRect(), 3, 3), before);
}

TEST(ScaleTest, RefusalsAndWhatTheyRecord) {
  ImgPtr<CImg1> bits(CImg1::create(100, 100, 0, 1, IMG_ALIGN_NONE));
  ImgPtr<CImg32> lazy(CImg32::create(4, 4, RGB_ORDER_RGB));
  ImgPtr<CImg32> image = Noise(100, 100, 2);
  ImgPtr<CImg8> lazy8(CImg8::create(4, 4, nullptr, IMG_ALIGN_NONE));
  ImgPtr<CImg8> image8 = c2d_test::Make8(8, 8, Bytes(64, 1));
  const ImgRect all = image->getRect(), all8 = image8->getRect(), wrap(0u, 0u, ~0u, 0u);
  ImgScaleAttr attr;
  // A worker called directly; `fail` fails every table allocation.
  const auto call = [](auto &raster, auto worker, unsigned w, unsigned h, const ImgRect &r,
                       bool fail = false) -> IImg * {
    c2d_test::FailTables tables(fail ? 0 : 1 << 30);
    return (raster.*worker)(w, h, r);
  };
  const struct {
    const char *name;
    std::function<IImg *()> call;
    ImgErr code;  // IMG_OK: nothing recorded
  } cases[] = {
      // clang-format off
      {"no pixels, factor", [&] { return lazy->scale(-1.0, attr); }, IMG_FAIL},
      {"no pixels, rect", [&] { return lazy->scale(all, all, attr); }, IMG_FAIL},
      {"negative factor", [&] { return image->scale(-0.5, attr); }, IMG_OK},
      {"factor 0", [&] { return image->scale(0.0, attr); }, IMG_FAIL},
      {"source outside", [&] { return image->scale(ImgRect(100u, 0u, 120u, 9u), 4, 4, attr); },
       IMG_INVALID_ARG},
      {"enlarge, narrower", [&] { return call(*image, kEnlarge32, 50, 200, all); }, IMG_OK},
      {"enlarge, wrapped side", [&] { return call(*image, kEnlarge32, 0, 5, wrap); },
       IMG_INVALID_ARG},
      {"cubic, narrower", [&] { return call(*image, kEnlargeResample, 50, 200, all); },
       IMG_INVALID_ARG},
      {"reduce, wider", [&] { return call(*image, kReduceResample, 200, 50, all); }, IMG_OK},
      {"enlarge, no tables", [&] { return call(*image, kEnlarge32, 120, 120, all, true); }, IMG_OK},
      {"reduce, no tables", [&] { return call(*image, kReduce32, 30, 30, all, true); }, IMG_OK},
      // CImg1: factors and sizes that would convert out of range or divide by 0 are refused.
      {"1: negative factor", [&] { return bits->scale(-0.5, attr); }, IMG_OK},
      {"1: factor 0", [&] { return bits->scale(0.0, attr); }, IMG_FAIL},
      {"1: factor past 32 bits", [&] { return bits->scale(1e10, attr); }, IMG_FAIL},
      {"1: NaN factor", [&] { return bits->scale(std::nan(""), attr); }, IMG_FAIL},
      {"1: enlarge, narrower", [&] { return call(*bits, kEnlarge, 7, 200, all); }, IMG_OK},
      {"1: reduce, wider", [&] { return call(*bits, kReduceBkg, 200, 7, all); }, IMG_OK},
      {"1: grey, taller", [&] { return call(*bits, kGrey, 4, 200, all); }, IMG_OK},
      {"1: grey, 2^32-pixel blocks",
       [&] { return call(*bits, kGrey, 1, 1, ImgRect(0u, 0u, 65535u, 65535u)); }, IMG_OK},
      {"1: grey, zero width", [&] { return call(*bits, kGrey, 0, 5, all); }, IMG_FAIL},
      {"1: enlarge, wrapped side", [&] { return call(*bits, kEnlarge, 9, 9, wrap); },
       IMG_INVALID_ARG},
      {"8: no pixels, factor", [&] { return lazy8->scale(2.0, attr); }, IMG_FAIL},
      {"8: no pixels, size", [&] { return lazy8->scale(all8, 8, 8, attr); }, IMG_FAIL},
      {"8: negative factor", [&] { return image8->scale(-2.0, attr); }, IMG_OK},
      {"8: enlarge, wrapped side",
       [&] { return call(*image8, kEnlarge8, 9, 0, ImgRect(0u, 0u, 3u, ~0u)); }, IMG_INVALID_ARG},
      {"8: reduce, wider", [&] { return call(*image8, kReduceBkg8, 9, 2, all8); }, IMG_OK},
      {"8: enlarge, no tables", [&] { return call(*image8, kEnlarge8, 20, 15, all8, true); },
       IMG_OK},
  };
  // clang-format on
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    CImgErr::sm_errcode = IMG_OK;
    const ErrWatch watch;
    EXPECT_EQ(c.call(), nullptr);
    EXPECT_EQ(CImgErr::get(), c.code);
    EXPECT_EQ(watch.reports() > 0, c.code != IMG_OK);
  }
  // Sides round up: a factor a hair above 1 adds a pixel.
  ImgPtr<IImg> grown(image->scale(1.0001, attr));
  ASSERT_NE(grown, nullptr);
  EXPECT_EQ(grown->getWidth() * grown->getHeight(), 101u * 101u);
}

// A palette of four entries, entry 3 marked, pixel (x, y) f(x, y).
ImgPtr<CImg8> Image8(unsigned w, unsigned h, const std::function<unsigned(unsigned, unsigned)> &f) {
  Bytes pixels(static_cast<size_t>(w) * h);
  for (unsigned i = 0; i < pixels.size(); ++i) {
    pixels[i] = static_cast<unsigned char>(f(i % w, i / w));
  }
  ColorMap map(4, 255);
  map.entries[3].red = 200;
  return c2d_test::Make8(w, h, pixels, IMG_ALIGN_NONE, &map);
}

Bytes BytesOf(IImg *image) { return c2d_test::BufferOf(dynamic_cast<CImg8 &>(*image)); }

TEST(CImg8ScaleTest, WorkedExamples) {
  const auto dot = [](unsigned x, unsigned y) {
    return Image8(4, 4, [=](unsigned i, unsigned j) { return i == x && j == y ? 3u : 1u; });
  };
  const auto count = [] {
    return Image8(4, 4, [](unsigned x, unsigned y) { return 1 + x + 4 * y; });
  };
  const struct {
    const char *name;
    ImgPtr<CImg8> image;
    ImgRect source;
    unsigned w, h;
    Bytes expected;
  } cases[] = {
      // Reduce_bkg looks along the block's diagonal only.
      {"ink on the diagonal", dot(3, 3), ImgRect(4u, 4u), 1, 1, {3}},
      {"ink off it", dot(3, 2), ImgRect(4u, 4u), 1, 1, {1}},
      {"runs of one across", dot(0, 1), ImgRect(4u, 4u), 4, 1, {1, 1, 1, 1}},
      // Read as they stand: on into the next row, zeros outside the buffer.
      {"past the right edge", count(), ImgRect(2u, 0u, 5u, 0u), 8, 1, {3, 3, 4, 4, 5, 5, 6, 6}},
      {"past the last row", count(), ImgRect(2u, 3u, 3u, 4u), 2, 4, {15, 16, 15, 16, 0, 0, 0, 0}},
      {"past the buffer", count(), ImgRect(2u, 3u, 5u, 3u), 4, 2, {15, 16, 0, 0, 15, 16, 0, 0}},
      {"reduced past the edge", count(), ImgRect(3u, 0u, 6u, 1u), 2, 1, {4, 6}},
  };
  ImgScaleAttr attr;
  attr.resample = true;  // means nothing to palettes
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ImgPtr<IImg> out(c.image->scale(c.source, c.w, c.h, attr));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(BytesOf(out.get()), c.expected);
    EXPECT_EQ(static_cast<CImg8 *>(out.get())->getColorMap()->entries[3].red, 200);
  }
  // A mixed request enlarges first, then reduces.
  ImgPtr<CImg8> image =
      Image8(12, 10, [](unsigned x, unsigned y) { return (x * 7 + y * 13) % 5 == 0 ? 2u : 0u; });
  ImgPtr<CImg8> mid = Work(*image, kEnlarge8, 20u, 10u, image->getRect());
  EXPECT_EQ(BytesOf(ImgPtr<IImg>(image->scale(image->getRect(), 20, 5, attr)).get()),
            BytesOf(ImgPtr<IImg>(mid->scale(mid->getRect(), 20, 5, attr)).get()));
}

// Caps the address space `extra` bytes above what the process holds now.
bool LimitTo(uint64_t extra) {
  unsigned long pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const rlimit limit{pages * sysconf(_SC_PAGESIZE) + extra, RLIM_INFINITY};
  return pages != 0 && setrlimit(RLIMIT_AS, &limit) == 0;
}

// 3000 x 3000 pages: within 2 MB not even the 990 x 990 copy fits, within 24 MB it does.
// 0, or the step that failed.
int EstimateUnderALimit() {
  const auto page = [] {
    return Drawn32(3000, 3000, [](unsigned x, unsigned) { return x % 7 == 0 ? 0u : 0x00C0FFEEu; });
  };
  ImgPtr<CImg32> first = page(), second = page();
  if (!LimitTo(2u << 20) || first->calculateBackground() != 0xFFFFFFFFu ||
      first->getBackgroundState() != IMG_BG_NONE || CImgErr::get() != IMG_OUT_OF_MEMORY) {
    return 1;
  }
  const size_t mapped = mallinfo2().hblkhd;  // the copy is mapped on its own
  if (!LimitTo(24u << 20) || second->calculateBackground() != 0x00C0FFEEu ||
      second->getBackgroundState() != IMG_BG_KNOWN || CImgErr::get() != IMG_OK) {
    return 2;
  }
  return mallinfo2().hblkhd == mapped ? 0 : 3;
}

TEST(CImg32BackgroundRetryTest, ShortOfMemoryTheEstimateRunsOnAThirdSizedCopy) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer's allocator does not honour an address-space limit";
#endif
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    _exit(EstimateUnderALimit());
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "1: failed copy; 2: retry; 3: copy not freed";
}

}  // namespace
