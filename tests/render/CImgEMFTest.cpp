// The logic of CImgEMF, with a renderer that records every call and answers as the
// test says: what scale hands the renderer, what it makes of the answers, the retry
// of getUnformatted, the factor of calculateBackground and the iterator's grid.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::ImgPtr;

class RecordingRenderer : public CEMFRender {
 public:
  RecordingRenderer(unsigned w, unsigned h) : width_(w), height_(h) {}

  std::vector<std::string> calls;
  // Answers of getImage in turn, the last one repeated: true gives a buffer of
  // `bytes` filled with `fill`.
  struct Answer {
    bool ok;
    uint64_t bytes;
    unsigned char fill;
  };
  std::vector<Answer> answers = {{false, 0, 0}};

  unsigned getImgWidth() const override { return width_; }
  unsigned getImgHeight() const override { return height_; }
  void getExtents(double &l, double &t, double &r, double &b) const override {
    l = 1, t = 2, r = 3, b = 4;
  }
  double getDensity() const override { return 96; }
  void setDFTReplacementBkgFlag(bool on) override { log("flag", {on}); }
  uint32_t setDFTReplacementBkg(unsigned char r, unsigned char g, unsigned char b) override {
    log("colour", {r, g, b});
    return 0;
  }
  void setViewport(unsigned l, unsigned t, unsigned r, unsigned b) override {
    log("viewport", {l, t, r, b});
  }
  void setOutputRect(unsigned w, unsigned h) override { log("output", {w, h}); }
  bool getImage(unsigned depth, void *&data, uint64_t &size) override {
    log("image", {depth});
    const Answer a = answers[std::min(served_++, answers.size() - 1)];
    data = a.ok ? std::malloc(a.bytes) : nullptr;
    size = a.ok ? a.bytes : 0;
    if (data != nullptr) {
      std::memset(data, a.fill, a.bytes);
    }
    return a.ok;
  }

 private:
  void log(const char *name, std::initializer_list<unsigned> args) {
    std::string text = name;
    for (unsigned a : args) {
      text += " " + std::to_string(a);
    }
    calls.push_back(text);
  }
  unsigned width_, height_;
  size_t served_ = 0;
};

// A document behind the recording renderer, made as create makes one.
struct FakeDocument : CImgEMF {
  explicit FakeDocument(RecordingRenderer *r, bool flag = false) {
    renderer = r;
    replacementBkgFlag = flag;
    EXPECT_TRUE(initHeader());
  }
};

TEST(CImgEMFTest, ScaleSetsUpTheRendererAndBuildsTheResult) {
  struct Case {
    const char *name;
    bool flag;
    unsigned depth;
    RecordingRenderer::Answer answer;
    std::vector<std::string> calls;  // after flag, colour, viewport and output
    int resultDepth;                 // 0: null
    unsigned char firstByte;
  } const cases[] = {
      {"colour", true, 32, {true, 6 * 4 * 4, 0xAB}, {"image 32"}, 32, 0xAB},
      {"bilevel, inverted", false, 1, {true, 4 * 4, 0xF0}, {"image 1"}, 1, 0x0F},
      {"depth 8 after set-up", false, 8, {true, 96, 0}, {}, 0, 0},
      {"render failed", false, 32, {false, 0, 0}, {"image 32"}, 0, 0},
      // A short buffer is refused by CImg32::create and freed here.
      {"short buffer", false, 32, {true, 10, 0}, {"image 32"}, 0, 0},
      {"short bilevel buffer", false, 1, {true, 3, 0}, {"image 1"}, 0, 0},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    auto *renderer = new RecordingRenderer(100, 50);
    renderer->answers = {c.answer};
    FakeDocument doc(renderer, c.flag);
    doc.setDFTReplacementBkg(9, 9, 9);  // never reaches the renderer
    ImgScaleAttr attr;
    attr.bitDepth = c.depth;
    attr.bkgByte0 = 10, attr.bkgByte1 = 20, attr.bkgByte2 = 30;
    ImgPtr<IImg> result(doc.scale(ImgRect(7u, 8u, 2u, 3u), ImgRect(6u, 4u), attr));
    std::vector<std::string> want = {std::string("flag ") + (c.flag ? "1" : "0"), "colour 30 20 10",
                                     "viewport 7 8 2 3", "output 6 4"};
    want.insert(want.end(), c.calls.begin(), c.calls.end());
    EXPECT_EQ(renderer->calls, want);
    if (c.resultDepth == 0) {
      EXPECT_EQ(result, nullptr);
      continue;
    }
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->getBitDepth(), static_cast<unsigned>(c.resultDepth));
    EXPECT_EQ(result->getRect(), ImgRect(6u, 4u));
    const unsigned char first =
        c.resultDepth == 32
            ? *reinterpret_cast<unsigned char *>(dynamic_cast<CImg32 &>(*result).peekData())
            : dynamic_cast<CImg1 &>(*result).peekData()[0];
    EXPECT_EQ(first, c.firstByte);
  }
}

TEST(CImgEMFTest, FactorsSizeAsTheRastersDo) {
  const struct {
    double factor;
    const char *output;  // null: no call at all
  } cases[] = {{1.5, "output 150 75"},
               {0.011, "output 2 1"},
               {0.0, "output 0 0"},
               {-1, nullptr},
               {1e300, "output 4294967295 4294967295"},
               {std::nan(""), "output 0 0"}};
  for (const auto &c : cases) {
    auto *renderer = new RecordingRenderer(100, 50);
    FakeDocument doc(renderer);
    ImgScaleAttr attr;
    attr.bitDepth = 32;
    EXPECT_EQ(doc.scale(c.factor, attr), nullptr);
    if (c.output == nullptr) {
      EXPECT_TRUE(renderer->calls.empty());
    } else {
      ASSERT_EQ(renderer->calls.size(), 5u);
      EXPECT_EQ(renderer->calls[2], "viewport 0 0 99 49");
      EXPECT_EQ(renderer->calls[3], c.output);
    }
  }
}

TEST(CImgEMFTest, GetUnformattedGivesWayByTwentiethsAndStopsAtZero) {
  auto *renderer = new RecordingRenderer(101, 203);
  FakeDocument doc(renderer);
  EXPECT_EQ(doc.getUnformatted(), nullptr);
  std::vector<std::string> sizes;
  for (const std::string &call : renderer->calls) {
    if (call.rfind("output", 0) == 0) {
      sizes.push_back(call);
    }
  }
  // Full size, then 95% ... 5%; the factor's twentieth step is just below 0.
  ASSERT_EQ(sizes.size(), 20u);
  EXPECT_EQ(sizes[0] + sizes[1] + sizes[2] + sizes[19],
            "output 101 203output 95 192output 90 182output 5 10");

  auto *succeeds = new RecordingRenderer(40, 20);
  succeeds->answers = {{false, 0, 0}, {false, 0, 0}, {true, 36 * 18 * 4, 0}};
  FakeDocument second(succeeds);
  ImgPtr<IImg> image(second.getUnformatted());
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->getRect(), ImgRect(36u, 18u));
}

TEST(CImgEMFTest, CalculateBackgroundRendersAtTheIntegerFactor) {
  const struct {
    unsigned w, h;
    const char *output;
    bool renders;
    unsigned want;
  } cases[] = {{1000, 1700, "output 2000 3400", false, 0xFFFFFFFF},
               {499, 2000, "output 0 0", false, 0xFFFFFFFF},
               {600, 500, "output 600 500", true, 0x77777777}};
  for (const auto &c : cases) {
    auto *renderer = new RecordingRenderer(c.w, c.h);
    renderer->answers = {{c.renders, uint64_t{c.w} * c.h * 4, 0x77}};
    FakeDocument doc(renderer);
    CImgErr::set(IMG_FAIL, nullptr, 0);
    EXPECT_EQ(doc.calculateBackground(), c.want);
    EXPECT_EQ(doc.getBackgroundColor(), c.want);
    EXPECT_EQ(doc.getBackgroundState(), IMG_BG_UNKNOWN);
    EXPECT_EQ(CImgErr::get(), IMG_OK);
    EXPECT_EQ(renderer->calls[3], c.output);
  }
}

TEST(CImgEMFTest, HeaderAndFixedAnswers) {
  FakeDocument doc(new RecordingRenderer(70000, 70000));
  // Counts a buffer of this size would need do not fit 32 bits: the largest shows.
  EXPECT_EQ(doc.getBytesPerLine(), 280000u);
  EXPECT_EQ(doc.getTotalBytes(), 0xFFFFFFFFu);
  EXPECT_EQ(doc.getTileWidth() * doc.getNumberOfTiles(), 1u);
  double l = 0, t = 0, r = 0, b = 0, density = 0;
  EXPECT_EQ(doc.getEMFExtents(l, t, r, b), IMG_OK);
  EXPECT_EQ(doc.getEMFDensity(density), IMG_OK);
  EXPECT_EQ(l + t + r + b + density, 106.0);
  EXPECT_FALSE(doc.setExtents(0, 5));
  EXPECT_TRUE(doc.setExtents(8, 5));
  EXPECT_EQ(doc.getRect(), ImgRect(8u, 5u));
  EXPECT_TRUE(doc.getSubImage(ImgRect(2u, 2u)) == nullptr && doc.clone() == nullptr);
}

TEST(CImgEMFTest, TheIteratorWalksTheGridAndWritesNothing) {
  FakeDocument doc(new RecordingRenderer(1000, 1000));
  EXPECT_EQ(doc.getTileIterator(300, 300, static_cast<CImgEMF::TileFormat>(3)), nullptr);
  EXPECT_EQ(doc.getTileIterator(0, 300, CImgEMF::UNCOMPRESSED), nullptr);
  const struct {
    int side;
    unsigned tiles, lastValid;
  } cases[] = {{300, 4, 100}, {-1, 1, 1000}, {1000, 1, 1000}};
  for (const auto &c : cases) {
    for (CImgEMF::TileFormat format : {CImgEMF::UNCOMPRESSED, CImgEMF::HP_RTL}) {
      std::unique_ptr<ImgEMFTileIterator> it(doc.getTileIterator(c.side, c.side, format));
      ASSERT_NE(it, nullptr);
      EXPECT_EQ(it->getWidthInTiles(), c.tiles);
      EXPECT_EQ(it->getRowPixelPadding(), c.tiles * (c.side < 0 ? 1000 : c.side) - 1000);
      unsigned char *data = nullptr;
      unsigned length = 9, nullValue = 9, x = 0, y = 0, tw = 0, th = 0, vw = 0, vh = 0, count = 0;
      bool ok = false;
      while (it->getNextTile(data, length, nullValue, x, y, tw, th, vw, vh, ok)) {
        EXPECT_EQ(x, count % c.tiles * tw);
        EXPECT_EQ(y, count / c.tiles * th);
        EXPECT_EQ(vw, x + tw > 1000 ? c.lastValid : tw);
        EXPECT_TRUE(ok && length == 0 && nullValue == 0 && data != nullptr && data[0] == 0);
        ++count;
      }
      EXPECT_EQ(count, c.tiles * c.tiles);
    }
  }
}

}  // namespace
