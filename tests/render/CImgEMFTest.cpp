// CImgEMF's own logic over a renderer that records every call and answers as the test says.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
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
  // getImage's answers in turn, the last repeated: ok gives `bytes` bytes of `fill`.
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
    data = a.ok ? std::memset(std::malloc(a.bytes), a.fill, a.bytes) : nullptr;
    size = a.ok ? a.bytes : 0;
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

// Made as create makes one.
struct FakeDocument : CImgEMF {
  explicit FakeDocument(RecordingRenderer *r, bool flag = false) {
    renderer = r;
    replacementBkgFlag = flag;
    EXPECT_TRUE(initHeader());
  }
};

// The renderer is set up in full before a bad depth, a failed render or a short buffer fails.
TEST(CImgEMFTest, ScaleSetsUpTheRendererAndBuildsTheResult) {
  const struct {
    unsigned depth;
    RecordingRenderer::Answer answer;
  } cases[] = {{8, {true, 96, 0}}, {32, {false, 0, 0}}, {32, {true, 10, 0}}, {1, {true, 3, 0}}};
  for (const auto &c : cases) {
    SCOPED_TRACE(std::to_string(c.depth) + " bits, " + std::to_string(c.answer.bytes) + " bytes");
    auto *renderer = new RecordingRenderer(100, 50);
    renderer->answers = {c.answer};
    FakeDocument doc(renderer, true);
    doc.setDFTReplacementBkg(9, 9, 9);  // never reaches the renderer
    ImgScaleAttr attr;
    attr.bitDepth = c.depth;
    attr.bkgByte0 = 10, attr.bkgByte1 = 20, attr.bkgByte2 = 30;
    EXPECT_EQ(ImgPtr<IImg>(doc.scale(ImgRect(7u, 8u, 2u, 3u), ImgRect(6u, 4u), attr)), nullptr);
    std::vector<std::string> want = {"flag 1", "colour 30 20 10", "viewport 7 8 2 3", "output 6 4"};
    if (c.depth != 8) {
      want.push_back("image " + std::to_string(c.depth));
    }
    EXPECT_EQ(renderer->calls, want);
  }
}

// The render sizes asked, in order, and the result: an image's size, a colour, or "" for null.
TEST(CImgEMFTest, CallsSizeTheirRendersAsTheRastersDo) {
  const RecordingRenderer::Answer no{false, 0, 0};
  const auto image = [](IImg *made) {
    ImgPtr<IImg> kept(made);
    return kept ? std::to_string(kept->getWidth()) + "x" + std::to_string(kept->getHeight()) : "";
  };
  const auto factor = [&](double f) {
    return [&image, f](CImgEMF &doc) {
      ImgScaleAttr attr;
      attr.bitDepth = 32;
      return image(doc.scale(f, attr));
    };
  };
  const auto background = [](CImgEMF &doc) {
    CImgErr::set(IMG_FAIL, nullptr, 0);
    const unsigned colour = doc.calculateBackground();
    EXPECT_EQ(doc.getBackgroundColor(), colour);
    EXPECT_EQ(doc.getBackgroundState(), IMG_BG_UNKNOWN);
    EXPECT_EQ(CImgErr::get(), IMG_OK);
    return std::to_string(colour);
  };
  const auto unformatted = [&image](CImgEMF &doc) { return image(doc.getUnformatted()); };
  const char *const twentieths =
      "101 203,95 192,90 182,85 172,80 162,75 152,70 142,65 131,60 121,55 111,50 101,45 91,"
      "40 81,35 71,30 60,25 50,20 40,15 30,10 20,5 10";
  const struct {
    unsigned w, h;
    std::vector<RecordingRenderer::Answer> answers;
    std::function<std::string(CImgEMF &)> call;
    const char *sizes, *result;  // sizes of the "output" calls
  } cases[] = {
      {100, 50, {no}, factor(1.5), "150 75", ""},
      {100, 50, {no}, factor(0.011), "2 1", ""},
      {100, 50, {no}, factor(0.0), "0 0", ""},
      {100, 50, {no}, factor(-1), "", ""},
      {100, 50, {no}, factor(1e300), "4294967295 4294967295", ""},
      {100, 50, {no}, factor(std::nan("")), "0 0", ""},
      {101, 203, {no}, unformatted, twentieths, ""},
      {40, 20, {no, no, {true, 36 * 18 * 4, 0}}, unformatted, "40 20,38 19,36 18", "36x18"},
      {1000, 1700, {no}, background, "2000 3400", "4294967295"},
      {499, 2000, {no}, background, "0 0", "4294967295"},
      {600, 500, {{true, 600 * 500 * 4, 0x77}}, background, "600 500", "2004318071"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::to_string(c.w) + "x" + std::to_string(c.h) + " " + c.sizes);
    auto *renderer = new RecordingRenderer(c.w, c.h);
    renderer->answers = c.answers;
    FakeDocument doc(renderer);
    EXPECT_EQ(c.call(doc), c.result);
    std::string sizes;
    for (const std::string &call : renderer->calls) {
      if (call.rfind("output ", 0) == 0) {
        sizes += (sizes.empty() ? "" : ",") + call.substr(7);
      }
      if (call.rfind("viewport", 0) == 0) {
        EXPECT_EQ(call, "viewport 0 0 " + std::to_string(c.w - 1) + " " + std::to_string(c.h - 1));
      }
    }
    EXPECT_EQ(sizes, c.sizes);
  }
}

TEST(CImgEMFTest, HeaderFixedAnswersAndTileGrid) {
  FakeDocument doc(new RecordingRenderer(70000, 70000));
  // Byte counts past 32 bits saturate.
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

  // The grid is cut as the rasters cut theirs; its tiles carry no bytes.
  FakeDocument grid(new RecordingRenderer(1000, 1000));
  EXPECT_EQ(grid.getTileIterator(300, 300, static_cast<CImgEMF::TileFormat>(3)), nullptr);
  EXPECT_EQ(grid.getTileIterator(0, 300, CImgEMF::UNCOMPRESSED), nullptr);
  for (const int side : {300, -1}) {
    const unsigned n = side < 0 ? 1 : 4;  // tiles across and down
    for (CImgEMF::TileFormat format : {CImgEMF::UNCOMPRESSED, CImgEMF::HP_RTL}) {
      std::unique_ptr<ImgEMFTileIterator> it(grid.getTileIterator(side, side, format));
      ASSERT_NE(it, nullptr);
      unsigned char *data = nullptr;
      unsigned length = 9, nullValue = 9, x, y, tw, th, vw, vh, count = 0;
      bool ok = false;
      while (it->getNextTile(data, length, nullValue, x, y, tw, th, vw, vh, ok)) {
        EXPECT_TRUE(ok && length == 0 && nullValue == 0 && data != nullptr && data[0] == 0);
        EXPECT_EQ(x * 10000 + y, count % n * tw * 10000 + count / n * th);
        ++count;
      }
      EXPECT_EQ(count, n * n);
    }
  }
}

}  // namespace
