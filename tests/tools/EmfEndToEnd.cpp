// End-to-end: c2dimg on a metafile drawn with libEMF. It is told by its header,
// described by info, rendered at the size scale asks and at its own size for the
// other commands, and a damaged one is refused.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ToolTestSupport.h"
#include "render/EmfDrawing.h"

namespace {

using namespace c2dtest;

// 2540 x 2540 hundredths of a millimetre: 81 x 81 pixels at 81.28 dpi.
const std::vector<emftest::Box> kBoxes = {{10, 10, 40, 30, 0xFF0000}, {50, 45, 72, 70, 0x0000FF}};

void WriteMetafile(const std::string &path, std::vector<unsigned char> bytes) {
  WriteText(path, std::string(bytes.begin(), bytes.end()));
}

TEST_F(C2dimgTool, MetafilesRenderAtTheSizeAsked) {
  const std::string emf = path("drawing");  // no extension: told by the header
  WriteMetafile(emf, emftest::Metafile(2540, 2540, kBoxes));
  const Outcome info = run({"info", emf});
  ASSERT_EQ(info.status, 0) << info.err;
  for (const char *line : {"EMF", "81 x 81 pixels, 1.00 x 1.00 in at 81.28 x 81.28 dpi",
                           "0.000, 0.000 to 1.000, 1.000 in", "a metafile"}) {
    EXPECT_NE(info.out.find(line), std::string::npos) << line << " in\n" << info.out;
  }
  // Size asked, then a pixel inside each box and one of paper, in document pixels.
  const struct {
    Args args;
    uint32_t w, h;
  } cases[] = {{{"scale", emf, "--width", "243"}, 243, 243},
               {{"scale", emf, "--fit", "40x100"}, 40, 40},
               {{"scale", emf, "--factor", "2", "--rect", "0,0,40,80"}, 82, 162},
               {{"convert", emf, "--to", "32"}, 81, 81}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.args[0] + " " + c.args[2]);
    ok(c.args, {"-o", path("out.png")});
    const Image out = ReadPng(path("out.png"));
    ASSERT_EQ(out.w, c.w);
    ASSERT_EQ(out.h, c.h);
    const double f = c.w / (c.args[2] == "--factor" ? 41.0 : 81.0);
    const auto at = [&](double x, double y) {
      return out.at(static_cast<uint32_t>(x * f), static_cast<uint32_t>(y * f));
    };
    EXPECT_EQ(at(25, 20), 0xFF0000u);
    EXPECT_EQ(at(5, 60), kWhite);
    if (c.args[2] != "--factor") {
      EXPECT_EQ(at(60, 58), 0x0000FFu);
    }
  }

  const Outcome noPage = run({"info", emf, "--page", "2"});
  EXPECT_EQ(noPage.status, 2);
  EXPECT_NE(noPage.err.find("has 1 page, no page 2"), std::string::npos) << noPage.err;

  std::vector<unsigned char> damaged = emftest::Metafile(2540, 2540, kBoxes);
  damaged.resize(100);
  WriteMetafile(emf, damaged);
  const Outcome refused = run({"scale", emf, "--width", "10", "-o", path("no.png")});
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.err.find("metafile"), std::string::npos) << refused.err;
}

}  // namespace
