// Metafiles for the tests, drawn with libEMF in memory (its Windows-style names stay in
// EmfDrawing.cpp).
#ifndef TESTS_RENDER_EMFDRAWING_H_
#define TESTS_RENDER_EMFDRAWING_H_

#include <cstdint>
#include <vector>

namespace emftest {

// A box filled in 0xRRGGBB, with no outline; right and bottom exclusive, in pixels.
struct Box {
  int left, top, right, bottom;
  uint32_t rgb;
};

// A metafile whose picture frame is frameWidth x frameHeight in 0.01 mm, holding the
// boxes. libEMF's reference device has 1024 x 768 pixels over 320 x 240 mm, so the
// document is frame * 1024 / 32000 pixels on each side (2540 gives 81).
std::vector<unsigned char> Metafile(int frameWidth, int frameHeight, const std::vector<Box> &boxes);

}  // namespace emftest

#endif  // TESTS_RENDER_EMFDRAWING_H_
