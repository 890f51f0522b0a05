// CImgPDF over the real renderer, on PDF files written here and a real page against pdftoppm.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "ImgTestSupport.h"
#include "PDFRender/CPDFRender.h"
#include "render/MiniPdf.h"

namespace {

namespace fs = std::filesystem;
using c2d_test::ImgPtr;

// 400 x 200 pixels at 200 dpi, a black square at pixels 100..199 across, 50..149 down.
const minipdf::Page kSquarePage{144, 72, "0 0 0 rg 36 18 36 36 re f", 0};

class PdfFile : public ::testing::Test {
 protected:
  void SetUp() override { fs::create_directories(dir_); }
  void TearDown() override { fs::remove_all(dir_); }
  std::string write(const std::string &bytes) {
    const std::string path = (dir_ / (std::to_string(made_++) + ".pdf")).string();
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }
  ImgPtr<CImgPDF> open(const std::string &path, int page = 1, bool bilevel = false) {
    return ImgPtr<CImgPDF>(CImgPDF::create(const_cast<char *>(path.c_str()), page, bilevel));
  }
  const fs::path dir_ = fs::temp_directory_path() / ("c2d-pdf-" + std::to_string(getpid()));
  int made_ = 0;
};

// The ink (dark) bounding box of a rendered raster, as "l,t,r,b".
std::string InkBox(IImg &image) {
  unsigned l = ~0u, t = ~0u, r = 0, b = 0;
  for (unsigned y = 0; y < image.getHeight(); ++y) {
    for (unsigned x = 0; x < image.getWidth(); ++x) {
      auto *bits = dynamic_cast<CImg1 *>(&image);
      if (bits ? c2d_test::BitAt(*bits, x, y)
               : (dynamic_cast<CImg32 &>(image)(y, x) & 0xFF) < 128) {
        l = std::min(l, x), t = std::min(t, y), r = std::max(r, x), b = std::max(b, y);
      }
    }
  }
  return std::to_string(l) + "," + std::to_string(t) + "," + std::to_string(r) + "," +
         std::to_string(b);
}

TEST_F(PdfFile, ShapesLandWhereThePagePutsThemAndBilevelPagesAreFound) {
  minipdf::Page turned = kSquarePage;
  turned.rotate = 90;
  const std::string flat = write(minipdf::Document({kSquarePage}));
  const std::string quarter = write(minipdf::Document({turned}));
  const ImgRect crop(50u, 25u, 249u, 174u);  // a viewport: the square at 50..149, 25..124
  struct Case {
    const std::string &path;
    unsigned depth, w, h;
    const char *box;
    const ImgRect *source = nullptr;  // null: the whole page
  } cases[] = {
      {flat, 32, 400, 200, "100,50,199,149"},
      {flat, 1, 400, 200, "100,50,199,149"},
      {flat, 32, 200, 100, "50,25,99,74"},  // half size
      {flat, 32, 200, 150, "50,25,149,124", &crop},
      {flat, 1, 100, 75, "25,12,74,61", &crop},
      // A quarter turn clockwise: the page is 200 x 400.
      {quarter, 32, 200, 400, "50,100,149,199"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::to_string(c.depth) + " bits at " + std::to_string(c.w) + " x " +
                 std::to_string(c.h));
    ImgPtr<CImgPDF> doc = open(c.path);
    ASSERT_NE(doc, nullptr);
    ImgScaleAttr attr;
    attr.bitDepth = c.depth;
    ImgPtr<IImg> image(doc->scale(c.source ? *c.source : doc->getRect(), c.w, c.h, attr));
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->getType(), c.depth == 1 ? IMG_TYPE_1BIT : IMG_TYPE_32BIT);
    EXPECT_EQ(image->getRect(), ImgRect(c.w, c.h));
    EXPECT_EQ(InkBox(*image), c.box);
  }
  const std::string red = write(minipdf::Document({{144, 72, "1 0 0 rg 36 18 36 36 re f", 0}}));
  ImgPtr<CImgPDF> bilevel = open(flat, 1, true);
  ImgPtr<CImgPDF> colour = open(red, 1, true);
  ImgPtr<CImgPDF> undetected = open(flat, 1, false);
  ASSERT_TRUE(bilevel && colour && undetected);
  double x0 = 0, y0 = 0, x1 = 0, y1 = 0, dpi = 0;
  bilevel->getPDFExtents(x0, y0, x1, y1);
  bilevel->getPDFDensity(dpi);
  EXPECT_EQ(std::vector<double>({x0, y0, x1, y1, dpi}), std::vector<double>({0, 0, 2, 1, 200}));
  EXPECT_EQ(bilevel->getType(), IMG_TYPE_1BIT);
  EXPECT_EQ(bilevel->getBytesPerLine(), 52u);  // 400 bits in 32-bit words
  EXPECT_EQ(colour->getType(), IMG_TYPE_32BIT);
  EXPECT_EQ(undetected->getType(), IMG_TYPE_32BIT);
  EXPECT_EQ(undetected->getImageType(), IMG_TYPE_1BIT);
  EXPECT_EQ(colour->getImageType(), IMG_TYPE_32BIT);
}

TEST_F(PdfFile, UnusableDocumentsGiveNullAndFail) {
  const std::string good = minipdf::Document({kSquarePage});
  const struct {
    const char *what;
    std::string bytes;
    int page;
  } cases[] = {
      {"damaged", good.substr(0, good.size() / 3), 1},
      {"empty", "", 1},
      {"not a PDF", "GIF89a and so on", 1},
      {"locked", minipdf::Document({kSquarePage}, true), 1},
      {"no page 2", good, 2},
      {"page 0", good, 0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    CImgErr::set(IMG_OK, nullptr, 0);
    EXPECT_EQ(open(write(c.bytes), c.page), nullptr);
    EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  }
  EXPECT_EQ(open("/nonexistent/file.pdf"), nullptr);
}

TEST_F(PdfFile, RendersBeyondThePixelLimitAreRefused) {
  ImgPtr<CImgPDF> doc = open(write(minipdf::Document({kSquarePage})));
  ASSERT_NE(doc, nullptr);
  const uint64_t before = CPDFRender::getPixelLimit();
  CPDFRender::setPixelLimit(400 * 200);
  ImgScaleAttr attr;
  attr.bitDepth = 32;
  ImgPtr<IImg> fits(doc->scale(doc->getRect(), 400, 200, attr));
  ImgPtr<IImg> over(doc->scale(doc->getRect(), 401, 200, attr));
  // A 1000 x 1000 page would be tested at 2000 x 2000: cut to the limit, not refused.
  ImgPtr<CImgPDF> square = open(write(minipdf::Document({{360, 360, "", 0}})));
  EXPECT_EQ(square->calculateBackground() & 0xFFFFFFu, 0xFFFFFFu);
  EXPECT_NE(square->getBackgroundColor(), 0xFFFFFFFFu);
  CPDFRender::setPixelLimit(before);
  EXPECT_NE(fits, nullptr);
  EXPECT_EQ(over, nullptr);
}

// The first page of a PDF this system ships agrees with pdftoppm's but for anti-aliasing.
TEST_F(PdfFile, ARealPageAgreesWithPdftoppm) {
  // The page scripts/deps installs, else the first one found.
  std::string real;
  for (const char *dir : {"/usr/share/doc/libtasn1-doc", "/usr/share/doc", "/usr/share"}) {
    std::error_code error;
    for (fs::recursive_directory_iterator it(dir, error), end; it != end && real.empty();
         it.increment(error)) {
      if (it->path().extension() == ".pdf" && it->is_regular_file(error)) {
        real = it->path().string();
      }
    }
  }
  if (real.empty() || std::system("pdftoppm -v >/dev/null 2>&1") != 0) {
    GTEST_SKIP() << "no PDF or no pdftoppm on this system";
  }
  const std::string base = (dir_ / "real").string();
  ASSERT_EQ(std::system(("pdftoppm -r 200 -singlefile '" + real + "' " + base).c_str()), 0);
  std::ifstream in(base + ".ppm", std::ios::binary);
  std::string magic;
  unsigned w = 0, h = 0, max = 0;
  in >> magic >> w >> h >> max;
  in.get();
  const std::string pixels{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  ASSERT_EQ(pixels.size(), size_t{w} * h * 3);

  ImgPtr<CImgPDF> doc = open(real);
  ASSERT_NE(doc, nullptr) << real;
  ASSERT_EQ(doc->getRect(), ImgRect(w, h)) << real;
  ImgScaleAttr attr;
  attr.bitDepth = 32;
  ImgPtr<CImg32> ours(dynamic_cast<CImg32 *>(doc->scale(doc->getRect(), w, h, attr)));
  ASSERT_NE(ours, nullptr);
  uint64_t total = 0, far = 0;
  for (size_t i = 0; i < pixels.size(); ++i) {
    const auto x = static_cast<unsigned>(i / 3 % w), y = static_cast<unsigned>(i / 3 / w);
    // RGB order: red in the low byte.
    const int a = static_cast<int>(((*ours)(y, x) >> (8 * (i % 3))) & 0xFF);
    const int b = static_cast<unsigned char>(pixels[i]);
    total += static_cast<uint64_t>(std::abs(a - b));
    far += std::abs(a - b) > 16 ? 1 : 0;
  }
  EXPECT_LT(static_cast<double>(total) / (3.0 * w * h), 0.5) << real;
  EXPECT_LT(static_cast<double>(far) / (3.0 * w * h), 0.005) << real;
}

}  // namespace
