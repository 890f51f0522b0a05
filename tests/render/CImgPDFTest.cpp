// CImgPDF's own logic over a recording stand-in for the renderer.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

#include "Image/render/internal/PdfTileDump.h"
#include "ImgTestSupport.h"
#include "PDFRender/CPDFRender.h"

namespace {

using c2d_test::ImgPtr;

struct Request {
  unsigned depth, width, height;
  bool small;
};

// getImage paints columns below `from` red, to `to` green, then blue; the first `failures` fail.
class FakeRender : public CPDFRender {
 public:
  FakeRender(unsigned w, unsigned h, int bilevelMember = 0) : w_(w), h_(h) {
    bilevel = bilevelMember;
  }
  unsigned getImgWidth() override { return w_; }
  unsigned getImgHeight() override { return h_; }
  int findImageType() override { return 1; }
  void setViewport(unsigned l, unsigned t, unsigned r, unsigned b) override {
    view_[0] = l, view_[1] = t, view_[2] = r + 1, view_[3] = b + 1;
  }
  void getViewport(unsigned &l, unsigned &t, unsigned &r, unsigned &b) override {
    l = view_[0], t = view_[1], r = view_[2], b = view_[3];
    if (viewWidth_ != 0) {
      r = l + viewWidth_ - 1;
    }
  }
  void setOutputRect(unsigned w, unsigned h) override { out_[0] = w, out_[1] = h; }
  void getOutputRect(unsigned &w, unsigned &h) override {
    w = made_[0];
    h = made_[1];
  }
  bool getImage(unsigned depth, unsigned char *&data, uint64_t &size, bool small) override {
    requests.push_back({depth, out_[0], out_[1], small});
    if (requests.size() <= failures || out_[0] == 0 || out_[1] == 0) {
      return false;
    }
    made_[0] = madeWidth_ != 0 ? madeWidth_ : out_[0];
    made_[1] = out_[1];
    const size_t stride = depth == 32 ? (3 * made_[0] + 3) / 4 * 4 : (made_[0] + 31) / 32 * 4;
    size = stride * made_[1] + (depth == 1 ? shortBy : 0);
    data = static_cast<unsigned char *>(std::calloc(stride * made_[1] + 4, 1));
    for (unsigned i = 0; depth == 32 && i < made_[0] * made_[1]; ++i) {
      const unsigned x = i % made_[0];
      data[i / made_[0] * stride + 3 * x + (x < from ? 0 : x <= to ? 1 : 2)] = 255;
    }
    return true;
  }

  std::vector<Request> requests;
  size_t failures = 0;
  unsigned from = 0, to = ~0u;
  int shortBy = 0;
  unsigned viewWidth_ = 0, madeWidth_ = 0;

 private:
  unsigned w_, h_;
  unsigned view_[4] = {}, out_[2] = {}, made_[2] = {};
};

// Made by the same path as create.
struct FakePdf : CImgPDF {
  static ImgPtr<CImgPDF> Around(FakeRender *fake) {
    auto *image = new FakePdf();
    EXPECT_TRUE(image->adoptRenderer(fake));
    return ImgPtr<CImgPDF>(image);
  }
};

ImgScaleAttr Depth(unsigned depth) {
  ImgScaleAttr attr;
  attr.bitDepth = depth;
  return attr;
}

TEST(CImgPDFTest, SizesAndTheSmallFlagItAsksFor) {
  const ImgRect ten(0u, 0u, 9u, 9u);
  // Calls: 's' scale to a size, 'r' scale to a rectangle at depth 1, 'f' scale by
  // 1.505, 'g' getSubImage of the rectangle, 'u' getUnformatted.
  const struct {
    const char *what;
    unsigned page;  // square, or a letter page of 1700 x 2200 when 0
    char call;
    ImgRect rect;
    Request asked;
  } cases[] = {
      {"1199 square is small", 0, 's', ImgRect(1199u, 1199u), {32, 1199, 1199, true}},
      {"1200 wide is not", 0, 'r', ImgRect(0u, 0u, 1199u, 99u), {1, 1200, 100, false}},
      {"factor rounds up", 100, 'f', ten, {32, 151, 151, true}},
      {"sub-image 1000 x 500", 0, 'g', ImgRect(0u, 0u, 999u, 499u), {32, 2200, 1100, false}},
      {"square sub-image", 0, 'g', ImgRect(10u, 10u, 509u, 509u), {32, 2200, 2200, false}},
      {"whole letter page", 0, 'u', ten, {32, 1700, 2200, false}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    auto *fake = new FakeRender(c.page ? c.page : 1700, c.page ? c.page : 2200);
    ImgPtr<CImgPDF> doc = FakePdf::Around(fake);
    ImgScaleAttr attr = Depth(c.call == 'r' ? 1 : 32);
    ImgPtr<IImg> image(c.call == 's' ? doc->scale(ten, c.rect.getWidth(), c.rect.getHeight(), attr)
                       : c.call == 'r' ? doc->scale(ten, c.rect, attr)
                       : c.call == 'f' ? doc->scale(1.505, attr)
                       : c.call == 'g' ? doc->getSubImage(c.rect)
                                       : doc->getUnformatted());
    ASSERT_NE(image, nullptr);
    ASSERT_EQ(fake->requests.size(), 1u);
    const Request &got = fake->requests[0], &want = c.asked;
    EXPECT_EQ(std::vector<unsigned>({got.depth, got.width, got.height, got.small}),
              std::vector<unsigned>({want.depth, want.width, want.height, want.small}));
    EXPECT_EQ(image->getWidth(), want.width);
    EXPECT_EQ(image->getType(), want.depth == 1 ? IMG_TYPE_1BIT : IMG_TYPE_32BIT);
  }
}

TEST(CImgPDFTest, AnotherSizeOrAreaIsScaledToTheSizeAskedFor) {
  // A raster 400 wide showing `shown` page pixels (0: as asked): its centred part, cut to it,
  // is scaled to 100 x 50.
  const struct {
    unsigned shown, from, to, right;
  } cases[] = {{200, 100, 300, 0x00FF00}, {0, 0, 199, 0xFF0000}, {50, 0, 199, 0xFF0000}};
  auto *fake = new FakeRender(1000, 1000);
  ImgPtr<CImgPDF> doc = FakePdf::Around(fake);
  fake->madeWidth_ = 400;
  for (const auto &c : cases) {
    SCOPED_TRACE(c.shown);
    fake->viewWidth_ = c.shown, fake->from = c.from, fake->to = c.to;
    ImgScaleAttr attr = Depth(32);
    ImgPtr<IImg> image(doc->scale(ImgRect(0u, 0u, 99u, 49u), 100, 50, attr));
    ASSERT_NE(image, nullptr);
    ASSERT_EQ(image->getRect(), ImgRect(100u, 50u));
    auto &colour = dynamic_cast<CImg32 &>(*image);
    EXPECT_EQ(colour(49, 0) & 0xFFFFFF, 0x00FF00u);
    EXPECT_EQ(colour(0, 49) & 0xFFFFFF, 0x00FF00u);
    EXPECT_EQ(colour(49, 99) & 0xFFFFFF, c.right);
  }
}

TEST(CImgPDFTest, RetriesStopBeforeZeroAndRefusalsLeaveNothing) {
  auto *fake = new FakeRender(1700, 2200);
  ImgPtr<CImgPDF> doc = FakePdf::Around(fake);
  fake->failures = 1;
  ImgPtr<IImg> image(doc->getSubImage(ImgRect(0u, 0u, 999u, 499u)));
  ASSERT_NE(image, nullptr);
  ASSERT_EQ(fake->requests.size(), 2u);
  EXPECT_EQ(fake->requests[1].width, 550u);
  EXPECT_EQ(fake->requests[1].height, 275u);
  fake->requests.clear();
  fake->failures = 100;
  EXPECT_EQ(doc->getSubImage(ImgRect(0u, 0u, 999u, 499u)), nullptr);
  EXPECT_EQ(fake->requests.size(), 2u);

  fake->requests.clear();
  CImgErr::set(IMG_OK, nullptr, 0);
  EXPECT_EQ(doc->getUnformatted(), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  ASSERT_EQ(fake->requests.size(), 20u);
  for (size_t i = 0; i < 20; ++i) {
    const double share = 1.0 - 0.05 * static_cast<double>(i);
    EXPECT_NEAR(fake->requests[i].height, 2200 * share, 1.5) << i;
    EXPECT_NEAR(fake->requests[i].width, 1700 * share, 1.5) << i;
  }
  fake->requests.clear();
  fake->failures = 3;
  image.reset(doc->getUnformatted());
  ASSERT_NE(image, nullptr);
  EXPECT_NEAR(image->getHeight(), 2200 * 0.85, 1.5);

  fake->requests.clear();
  fake->failures = 0;
  fake->shortBy = -4;  // a bilevel buffer of the wrong length is freed
  ImgScaleAttr attr = Depth(1);
  EXPECT_EQ(doc->scale(doc->getRect(), 100, 100, attr), nullptr);
  attr = Depth(8);
  EXPECT_EQ(doc->scale(doc->getRect(), 100, 100, attr), nullptr);
  EXPECT_EQ(fake->requests.size(), 1u);
  attr = Depth(32);
  EXPECT_EQ(doc->scale(-0.5, attr), nullptr);
  EXPECT_EQ(doc->scale(1e12, attr), nullptr);
  EXPECT_EQ(doc->getSubImage(ImgRect(0u, 0u, 0xFFFFFFFFu, 0xFFFFFFFFu)), nullptr);  // sides of 0
}

TEST(CImgPDFTest, BackgroundRendersAtTheOddFactorWithinThePixelLimit) {
  const uint64_t before = CPDFRender::getPixelLimit();
  const struct {
    unsigned side;
    uint64_t limit;
    unsigned asked;  // 0: nothing renders
  } cases[] = {{1000, before, 2000}, {1000, 1000000, 1000}, {400, before, 0}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.side);
    auto *fake = new FakeRender(c.side, c.side);
    ImgPtr<CImgPDF> doc = FakePdf::Around(fake);
    fake->from = fake->to = 0;  // all blue but column 0
    CPDFRender::setPixelLimit(c.limit);
    CImgErr::set(IMG_FAIL, nullptr, 0);
    const unsigned background = doc->calculateBackground();
    CPDFRender::setPixelLimit(before);
    EXPECT_EQ(CImgErr::get(), IMG_OK);
    EXPECT_EQ(doc->getBackgroundState(), IMG_BG_UNKNOWN);
    ASSERT_EQ(fake->requests.size(), 1u);
    EXPECT_EQ(fake->requests[0].width, c.asked);
    EXPECT_EQ(background & 0xFFFFFF, c.asked == 0 ? 0xFFFFFFu : 0xFF0000u);
  }
}

TEST(CImgPDFTest, AnswersThatNeedNoDocument) {
  ImgPtr<CImgPDF> doc = FakePdf::Around(new FakeRender(1000, 1000, 1));
  EXPECT_EQ(doc->getType(), IMG_TYPE_1BIT);
  EXPECT_EQ(doc->getBytesPerLine(), 128u);
  EXPECT_EQ(doc->getTotalBytes(), 128000u);
  EXPECT_EQ(doc->getBackgroundInterpretation(), 0xDEADBEEFu);
  EXPECT_TRUE(doc->clone() == nullptr && doc->rotate(90) == nullptr && doc->hasData());
  EXPECT_EQ(FakePdf::Around(new FakeRender(70000, 70000))->getTotalBytes(), 0xFFFFFFFFu);

  // 16 tiles of no bytes; the dump, switched on here only, writes each to a file.
  EXPECT_EQ(doc->getTileIterator(0, 300, CImg32::UNCOMPRESSED), nullptr);
  EXPECT_EQ(doc->getTileIterator(300, 300, static_cast<CImg32::TileFormat>(3)), nullptr);
  std::unique_ptr<ImgPDFTileIterator> tiles(doc->getTileIterator(300, 300, CImg32::HP_RTL));
  ASSERT_NE(tiles, nullptr);
  const std::string dumpPath = c2d::NextPdfTileDumpPath();
  c2d::SetPdfTileDump(true);
  unsigned char *data = nullptr;
  unsigned length = 1, nullValue = 1, x = 0, y = 0, tw = 0, th = 0, vw = 0, vh = 0, count = 0;
  while (tiles->getNextTile(data, length, nullValue, x, y, tw, th, vw, vh)) {
    c2d::SetPdfTileDump(false);
    ++count;
    EXPECT_EQ(length + nullValue, 0u);
  }
  EXPECT_EQ(count, 16u);
  EXPECT_TRUE(std::filesystem::exists(dumpPath));
  EXPECT_EQ(std::filesystem::file_size(dumpPath), 0u);
  std::filesystem::remove(dumpPath);
}

}  // namespace
