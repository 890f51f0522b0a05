// The constant tables of format conversion: the tone curve and the error shares of
// the bilevel error diffusion, and the bit expansion of 1-bit rows into 8-bit rows.
// Internal: Export and its tests read them.
#ifndef IMAGE_RASTER_INTERNAL_EXPORTTABLES_H_
#define IMAGE_RASTER_INTERNAL_EXPORTTABLES_H_

#include <cstdint>

namespace c2d {

// Luminance weights, summing to 256: grey = (77 r + 150 g + 29 b) >> 8.
constexpr uint32_t kLumaRed = 77;
constexpr uint32_t kLumaGreen = 150;
constexpr uint32_t kLumaBlue = 29;

constexpr uint32_t Luminance(uint32_t red, uint32_t green, uint32_t blue) {
  return (kLumaRed * red + kLumaGreen * green + kLumaBlue * blue) >> 8;
}

// Applied to every grey value before diffusion: shadows go to black (inputs up to
// 20 give 0) and highlights to white (inputs from 240 give 255).
extern const uint8_t kToneCurve[256];

// A quantisation error e of 0 to 127 split among the four Floyd-Steinberg
// neighbours in sixteenths (7, 3, 5, 1). The four entries for e sum to exactly e.
struct ErrorShares {
  uint8_t right[128];       // 7: same row, x + 1
  uint8_t lowerLeft[128];   // 3: next row, x - 1
  uint8_t below[128];       // 5: next row, x
  uint8_t lowerRight[128];  // 1: next row, x + 1
};
extern const ErrorShares kErrorShares;

// For each byte b, the 8 palette indices of its pixels from the left: 0 for a set
// bit, 255 for a clear one.
struct ExpansionTable {
  uint8_t pixels[256][8];
};
extern const ExpansionTable kExpansion;

}  // namespace c2d

#endif  // IMAGE_RASTER_INTERNAL_EXPORTTABLES_H_
