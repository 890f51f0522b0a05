// c2dimg on documents the tests write: a metafile drawn with libEMF and a two-page PDF.
// Each is told by its content, described by info, rendered by scale at the size
// asked, and an unusable one or a missing page is refused with a message.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "ToolTestSupport.h"
#include "render/EmfDrawing.h"
#include "render/MiniPdf.h"

namespace {

using namespace c2dtest;

// 2540 x 2540 hundredths of a millimetre: 81 x 81 pixels at 81.28 dpi.
const std::vector<emftest::Box> kBoxes = {{10, 10, 40, 30, 0xFF0000}, {50, 45, 72, 70, 0x0000FF}};

// Page 1: 2 x 1 in, a black 0.5 in square 0.5 in from the left and 0.25 in from the
// top. Page 2: 1 in square, the lower left quarter red.
std::string TwoPages() {
  return minipdf::Document(
      {{144, 72, "0 0 0 rg 36 18 36 36 re f", 0}, {72, 72, "1 0 0 rg 0 0 36 36 re f", 0}});
}

void WriteMetafile(const std::string &path, std::vector<unsigned char> bytes) {
  WriteText(path, std::string(bytes.begin(), bytes.end()));
}

TEST_F(C2dimgTool, DocumentsAreToldByContentAndDescribed) {
  const std::string emf = path("drawing"), pdf = path("doc.dat");  // no telling names
  WriteMetafile(emf, emftest::Metafile(2540, 2540, kBoxes));
  std::vector<unsigned char> damaged = emftest::Metafile(2540, 2540, kBoxes);
  damaged.resize(100);
  WriteMetafile(path("damaged"), damaged);
  minipdf::Write(pdf, TwoPages());
  minipdf::Write(path("cut.pdf"), TwoPages().substr(0, 40));
  minipdf::Write(path("locked.pdf"), minipdf::Document({{72, 72, "", 0}}, true));
  const struct {
    Args args;
    int status;
    std::vector<const char *> says;  // in stdout and stderr together
  } cases[] = {
      {{"info", emf},
       0,
       {"EMF", "81 x 81 pixels, 1.00 x 1.00 in at 81.28 x 81.28 dpi",
        "0.000, 0.000 to 1.000, 1.000 in", "a metafile"}},
      {{"info", pdf, "--page", "1"},
       0,
       {"PDF, 2 pages, crop box 0.00,0.00 to 2.00,1.00 in", "page         1 of 2",
        "400 x 200 pixels, 2.00 x 1.00 in at 200 x 200 dpi",
        "black on white, rendered as bilevel"}},
      {{"info", pdf, "--page", "2"},
       0,
       {"page         2 of 2", "200 x 200 pixels", "a PDF page, rendered in colour"}},
      {{"scale", path("damaged"), "--width", "10", "-o", path("no.png")}, 2, {"metafile"}},
      {{"info", path("cut.pdf")}, 2, {"cannot be read as a PDF"}},
      {{"info", path("locked.pdf")}, 2, {"cannot be read as a PDF"}},
      {{"info", pdf, "--page", "3"}, 2, {"has 2 pages, no page 3"}},
      {{"info", emf, "--page", "2"}, 2, {"has 1 page, no page 2"}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.args[0] + " " + c.args[1] + " " + c.args.back());
    answer(c.args, c.status, c.says);
  }
}

// The size asked, then a pixel of each shape and one of paper, in document pixels.
TEST_F(C2dimgTool, DocumentsRenderAtTheSizeAsked) {
  const std::string emf = path("drawing"), pdf = path("doc.pdf");
  WriteMetafile(emf, emftest::Metafile(2540, 2540, kBoxes));
  minipdf::Write(pdf, TwoPages());
  const struct {
    Args args;
    uint32_t w, h;
    double side;  // of the document or rectangle rendered, in its own pixels
    std::vector<std::pair<std::array<double, 2>, uint32_t>> spots;
  } cases[] = {
      {{"scale", emf, "--width", "243"},
       243,
       243,
       81,
       {{{25, 20}, 0xFF0000}, {{60, 58}, 0x0000FF}}},
      {{"scale", emf, "--fit", "40x100"}, 40, 40, 81, {{{25, 20}, 0xFF0000}, {{5, 60}, kWhite}}},
      {{"scale", emf, "--factor", "2", "--rect", "0,0,40,80"}, 82, 162, 41, {{{25, 20}, 0xFF0000}}},
      {{"convert", emf, "--to", "32"}, 81, 81, 81, {{{60, 58}, 0x0000FF}, {{5, 60}, kWhite}}},
      // The square is columns 100..199 and rows 50..149 at 200 dpi.
      {{"scale", pdf, "--width", "100"},
       100,
       50,
       400,
       {{{104, 56}, kBlack}, {{195, 145}, kBlack}, {{92, 56}, kWhite}, {{120, 160}, kWhite}}},
      {{"scale", pdf, "--page", "2", "--fit", "40x60"},
       40,
       40,
       200,
       {{{25, 175}, 0xFF0000}, {{175, 25}, kWhite}}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.args[0] + " " + c.args[1] + " " + c.args[2]);
    ok(c.args, {"-o", path("out.png")});
    const Image out = ReadBack(path("out.png"));
    ASSERT_EQ(out.w, c.w);
    ASSERT_EQ(out.h, c.h);
    for (const auto &[at, colour] : c.spots) {
      const double f = c.w / c.side;
      EXPECT_EQ(out.at(static_cast<uint32_t>(at[0] * f), static_cast<uint32_t>(at[1] * f)), colour)
          << at[0] << "," << at[1];
    }
  }
}

}  // namespace
