// c2dimg on PDF pages the test writes: info shows pages, size, extents and type;
// scale renders at the size asked for; bad
// documents and pages fail with a message.
#include "../render/MiniPdf.h"
#include "ToolTestSupport.h"

namespace c2dtest {
namespace {

// Page 1: 2 x 1 in, a black 0.5 in square 0.5 in from the left and 0.25 in from the
// top. Page 2: 1 in square, the lower left quarter red.
std::string TwoPages() {
  return minipdf::Document(
      {{144, 72, "0 0 0 rg 36 18 36 36 re f", 0}, {72, 72, "1 0 0 rg 0 0 36 36 re f", 0}});
}

using PdfTool = C2dimgTool;

TEST_F(PdfTool, InfoShowsPagesSizeExtentsAndType) {
  minipdf::Write(path("doc.dat"), TwoPages());  // known by content, not by name
  const struct {
    const char *page;
    std::vector<const char *> lines;
  } cases[] = {
      {"1",
       {"PDF, 2 pages, crop box 0.00,0.00 to 2.00,1.00 in", "page         1 of 2",
        "400 x 200 pixels, 2.00 x 1.00 in at 200 x 200 dpi",
        "black on white, rendered as bilevel"}},
      {"2", {"page         2 of 2", "200 x 200 pixels", "a PDF page, rendered in colour"}},
  };
  for (const auto &c : cases) {
    const Outcome out = run({"info", path("doc.dat"), "--page", c.page});
    ASSERT_EQ(out.status, 0) << out.err;
    for (const char *line : c.lines) {
      EXPECT_NE(out.out.find(line), std::string::npos) << line << "\n" << out.out;
    }
  }
}

TEST_F(PdfTool, PagesRenderAtTheSizeAskedFor) {
  minipdf::Write(path("doc.pdf"), TwoPages());
  ok({"scale", path("doc.pdf"), "--width", "100", "-o", path("w.png")});
  ok({"scale", path("doc.pdf"), "--page", "2", "--fit", "40x60", "-o", path("fit.png")});
  // The square is columns 25..49 and rows 12..37 at a quarter of 200 dpi.
  const Image narrow = ReadBack(path("w.png"));
  ASSERT_EQ(narrow.w * 1000 + narrow.h, 100050u);
  EXPECT_TRUE(narrow.black(26, 14) && narrow.black(48, 36));
  EXPECT_FALSE(narrow.black(23, 14) || narrow.black(51, 36) || narrow.black(30, 40));
  const Image fit = ReadBack(path("fit.png"));
  ASSERT_EQ(fit.w * 1000 + fit.h, 40040u);
  EXPECT_EQ(fit.at(5, 35), 0xFF0000u);
  EXPECT_EQ(fit.at(35, 5), kWhite);
}

TEST_F(PdfTool, UnusableDocumentsAndMissingPagesFail) {
  const std::string good = TwoPages();
  minipdf::Write(path("cut.pdf"), good.substr(0, 40));
  minipdf::Write(path("locked.pdf"), minipdf::Document({{72, 72, "", 0}}, true));
  minipdf::Write(path("doc.pdf"), good);
  const struct {
    Args args;
    const char *message;
  } cases[] = {
      {{"info", path("cut.pdf")}, "cannot be read as a PDF"},
      {{"info", path("locked.pdf")}, "cannot be read as a PDF"},
      {{"info", path("doc.pdf"), "--page", "3"}, "has 2 pages, no page 3"},
  };
  for (const auto &c : cases) {
    const Outcome out = run(c.args);
    EXPECT_EQ(out.status, 2);
    EXPECT_NE(out.err.find(c.message), std::string::npos) << out.err;
  }
}

}  // namespace
}  // namespace c2dtest
