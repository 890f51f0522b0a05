// End-to-end tests of HP-RTL jobs: c2dimg writes them with the library's tile
// iterator and reads them back with its own reader, so a job shows as a PNG.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <string>

#include "ToolTestSupport.h"

namespace {

using namespace c2dtest;

bool Contains(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

TEST_F(C2dimgTool, GroupFourPageScaledToRtlReadsBackEqual) {
  WriteBilevelTiff(path("page.tif"), {Page(300, 200)}, TiffLayout{COMPRESSION_CCITTFAX4, 64});
  ok({"scale", path("page.tif"), "-o", path("plot.rtl"), "--factor", "0.5"});
  ok({"scale", path("page.tif"), "-o", path("want.png"), "--factor", "0.5"});
  ok({"convert", path("plot.rtl"), "-o", path("look.png")});
  EXPECT_EQ(Difference(ReadPng(path("look.png")), ReadPng(path("want.png"))), "");
  // A whole job: reset, resolution, size, start, delta rows, the records, end, reset.
  const std::string job = Slurp(path("plot.rtl"));
  EXPECT_EQ(job.rfind("\x1B"
                      "E\x1B*t300R\x1B*r150S\x1B*r100T\x1B*r1A\x1B*b3M\x1B*b",
                      0),
            0u);
  EXPECT_EQ(job.substr(job.size() - 6),
            "\x1B*rC\x1B"
            "E");
  ok({"rtl", path("page.tif"), "-o", path("job.rtl"), "--dpi", "600"});
  EXPECT_TRUE(Contains(Slurp(path("job.rtl")), "\x1B*t600R\x1B*r300S\x1B*r200T"));
  ok({"convert", path("job.rtl"), "-o", path("job.png")});
  EXPECT_EQ(Difference(ReadPng(path("job.png")), Page(300, 200)), "");
}

// Colour and grey pages go as 24-bit RGB and come back unchanged.
TEST_F(C2dimgTool, ColourPhotoAndGreyThumbnailRoundTripThroughRtl) {
  Image photo = Colours(97, 41), thumb(24, 18);
  for (size_t i = 0; i < photo.rgb.size(); ++i) {
    photo.rgb[i] ^= static_cast<uint32_t>(i * 2654435761u >> 8) & 0x0F0F0F;  // grain
    thumb.rgb[i % thumb.rgb.size()] = static_cast<uint32_t>(i * 37 % 256) * 0x010101;
  }
  for (const Image *image : {&photo, &thumb}) {
    WritePngFile(path("in.png"), *image, false);
    ok({"convert", path("in.png"), "-o", path("job.rtl")});
    const std::string job = Slurp(path("job.rtl"));
    EXPECT_TRUE(Contains(job, std::string("\x1B*v6W\0\x03\x08\x08\x08\x08", 11) + "\x1B*r" +
                                  std::to_string(image->w) + "S"));
    ok({"convert", path("job.rtl"), "-o", path("back.png")});
    const Image back = ReadPng(path("back.png"));
    EXPECT_EQ(Difference(back, *image), "");
    EXPECT_EQ(back.colourType, image == &thumb ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB);
  }
}

}  // namespace
