// Metafiles drawn with libEMF in memory (its Windows-style names stay in EmfDrawing.cpp).
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

// The boxes in a frame of 0.01 mm units: libEMF's device has 1024 pixels over 320 mm, so a
// side of 2540 gives 81 pixels.
std::vector<unsigned char> Metafile(int frameWidth, int frameHeight, const std::vector<Box> &boxes);

}  // namespace emftest

#endif  // TESTS_RENDER_EMFDRAWING_H_
