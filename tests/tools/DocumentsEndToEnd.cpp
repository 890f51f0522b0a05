// c2dimg on a metafile and a two-page PDF: told by content, described, rendered or refused.

#include "ToolTestSupport.h"
#include "render/EmfDrawing.h"
#include "render/MiniPdf.h"

namespace {

using namespace c2dtest;

TEST_F(C2dimgTool, DocumentsAreToldByContentDescribedAndRendered) {
  // 2540 x 2540 hundredths of a millimetre: 81 x 81 pixels at 81.28 dpi.
  const std::vector<unsigned char> drawing =
      emftest::Metafile(2540, 2540, {{10, 10, 40, 30, 0xFF0000}, {50, 45, 72, 70, 0x0000FF}});
  // 2 x 1 in with a black square at pixels 100..199, 50..149; 1 in, the lower left quarter red.
  const std::string pages = minipdf::Document(
      {{144, 72, "0 0 0 rg 36 18 36 36 re f", 0}, {72, 72, "1 0 0 rg 0 0 36 36 re f", 0}});
  const std::string emf = path("drawing"), pdf = path("doc.dat"), out = path("out.png");
  WriteText(emf, std::string(drawing.begin(), drawing.end()));  // no telling names
  WriteText(path("damaged"), std::string(drawing.begin(), drawing.begin() + 100));
  WriteText(pdf, pages);
  WriteText(path("cut.pdf"), pages.substr(0, 40));
  WriteText(path("locked.pdf"), minipdf::Document({{72, 72, "", 0}}, true));
  const Said cases[] = {
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
      {{"scale", path("damaged"), "--width", "10", "-o", out}, 2, {"metafile"}},
      {{"info", path("cut.pdf")}, 2, {"cannot be read as a PDF"}},
      {{"info", path("locked.pdf")}, 2, {"cannot be read as a PDF"}},
      {{"info", pdf, "--page", "3"}, 2, {"has 2 pages, no page 3"}},
      {{"info", emf, "--page", "2"}, 2, {"has 1 page, no page 2"}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.args[0] + " " + c.args[1] + " " + c.args.back());
    answer(c.args, c.status, c.says);
  }
  EXPECT_FALSE(fs::exists(out));
  // Rendered straight at the size asked: OUT's size and a pixel of a shape in it.
  const struct {
    Args args;
    uint32_t w, h, x, y, colour;
  } renders[] = {
      {{"scale", emf, "--width", "243"}, 243, 243, 180, 174, 0x0000FF},
      {{"scale", emf, "--fit", "40x100"}, 40, 40, 12, 9, 0xFF0000},
      {{"scale", emf, "--factor", "2", "--rect", "0,0,40,80"}, 82, 162, 50, 40, 0xFF0000},
      {{"convert", emf, "--to", "32"}, 81, 81, 60, 58, 0x0000FF},
      {{"scale", pdf, "--width", "100"}, 100, 50, 26, 14, kBlack},
      {{"scale", pdf, "--page", "2", "--fit", "40x60"}, 40, 40, 5, 35, 0xFF0000},
  };
  for (const auto &c : renders) {
    SCOPED_TRACE(c.args[0] + " " + c.args[1] + " " + c.args[2]);
    const Image got = made(c.args, "out.png");
    ASSERT_EQ((std::array<uint32_t, 2>{got.w, got.h}), (std::array<uint32_t, 2>{c.w, c.h}));
    EXPECT_EQ(got.at(c.x, c.y), c.colour);
    EXPECT_EQ(got.at(c.w - 1, 0), kWhite);
  }
}

}  // namespace
