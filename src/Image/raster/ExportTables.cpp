// The constant tables of format conversion, filled at compile time from the short
// lists below.
#include "Image/raster/internal/ExportTables.h"

#include <array>
#include <cstddef>

#include "Image/core/internal/BitRow.h"

namespace c2d {

namespace {

// Each share table repeats every 16 errors, one whole weight higher each time:
// entry e is entry e - 16 plus the weight.
constexpr std::array<uint8_t, 128> FillShare(const std::array<uint8_t, 16> &first, uint8_t weight) {
  std::array<uint8_t, 128> table{};
  for (size_t e = 0; e < table.size(); ++e) {
    table[e] = static_cast<uint8_t>(first[e % 16] + weight * (e / 16));
  }
  return table;
}

// The dip of the share of 1 at e = 9 makes the four entries sum to 9.
constexpr std::array<uint8_t, 16> kRight16 = {0, 1, 1, 1, 2, 2, 3, 3, 3, 4, 4, 5, 5, 6, 6, 6};
constexpr std::array<uint8_t, 16> kLowerLeft16 = {0, 0, 0, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 3, 3};
constexpr std::array<uint8_t, 16> kBelow16 = {0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 5};
constexpr std::array<uint8_t, 16> kLowerRight16 = {0, 0, 0, 0, 0, 0, 0, 1, 1, 0, 1, 1, 1, 1, 1, 1};

constexpr ErrorShares FillShares() {
  const auto right = FillShare(kRight16, 7);
  const auto lowerLeft = FillShare(kLowerLeft16, 3);
  const auto below = FillShare(kBelow16, 5);
  const auto lowerRight = FillShare(kLowerRight16, 1);
  ErrorShares shares{};
  for (size_t e = 0; e < 128; ++e) {
    shares.right[e] = right[e];
    shares.lowerLeft[e] = lowerLeft[e];
    shares.below[e] = below[e];
    shares.lowerRight[e] = lowerRight[e];
  }
  return shares;
}

constexpr ExpansionTable FillExpansion() {
  ExpansionTable table{};
  for (unsigned b = 0; b < 256; ++b) {
    for (unsigned k = 0; k < 8; ++k) {
      table.pixels[b][k] = (b & c2d::BitMask(k)) != 0 ? 0 : 255;
    }
  }
  return table;
}

}  // namespace

const uint8_t kToneCurve[256] = {
    0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,    // 0
    0,   0,   0,   0,   0,   1,   1,   1,   1,   2,   2,   3,   3,   4,   4,   5,    // 16
    5,   6,   6,   7,   7,   8,   9,   9,   10,  11,  12,  12,  13,  14,  15,  16,   // 32
    16,  17,  18,  19,  20,  21,  22,  23,  24,  25,  26,  27,  28,  29,  30,  32,   // 48
    33,  34,  35,  36,  37,  39,  40,  41,  42,  44,  45,  46,  48,  49,  50,  52,   // 64
    53,  54,  56,  57,  59,  60,  61,  63,  64,  66,  67,  69,  70,  72,  73,  75,   // 80
    76,  78,  79,  81,  82,  84,  85,  87,  88,  90,  92,  93,  95,  96,  98,  100,  // 96
    101, 103, 104, 106, 108, 109, 111, 113, 114, 116, 117, 119, 121, 122, 124, 126,  // 112
    127, 129, 131, 132, 134, 135, 137, 139, 140, 142, 144, 145, 147, 148, 150, 152,  // 128
    153, 155, 156, 158, 160, 161, 163, 164, 166, 168, 169, 171, 172, 174, 175, 177,  // 144
    178, 180, 181, 183, 184, 186, 187, 189, 190, 192, 193, 194, 196, 197, 199, 200,  // 160
    201, 203, 204, 205, 207, 208, 209, 211, 212, 213, 214, 216, 217, 218, 219, 220,  // 176
    222, 223, 224, 225, 226, 227, 228, 229, 230, 231, 232, 233, 234, 235, 236, 237,  // 192
    238, 239, 239, 240, 241, 242, 243, 243, 244, 245, 245, 246, 247, 247, 248, 249,  // 208
    249, 250, 250, 251, 251, 251, 252, 252, 253, 253, 253, 253, 254, 254, 254, 254,  // 224
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,  // 240
};

// Both are constant-initialised, so no conversion can see them half built.
constexpr ErrorShares kErrorShares = FillShares();
constexpr ExpansionTable kExpansion = FillExpansion();

}  // namespace c2d
