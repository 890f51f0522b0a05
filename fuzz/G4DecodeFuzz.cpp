// libFuzzer harness for the Group 4 row decoder, built by scripts/fuzz.
//
// The first two bytes give the tile width (1 to 8192), the third how the read bound is
// chosen, the rest are the coded bytes in the decoder's word order. Rows are decoded
// and painted until one fails; that row must fail again on a retry. A row the decoder
// says copied its reference must hold that list.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "Image/g4/G4Decode.h"
#include "Image/g4/internal/G4Paint.h"
#include "Image/g4/internal/G4TileRows.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *input, size_t size) {
  if (size < 3) {
    return 0;
  }
  static const bool enabled = CCITT_EnableG4Decode() == IMG_OK;
  if (!enabled) {
    std::abort();
  }
  const uint32_t width = 1 + ((static_cast<uint32_t>(input[0]) << 8 | input[1]) % 8192);
  const uint8_t boundKind = input[2];
  const size_t count = size - 3;

  // Exactly the coded bytes, so that the sanitizer sees a read past them.
  std::unique_ptr<uint8_t[]> data(new uint8_t[count == 0 ? 1 : count]);
  std::memcpy(data.get(), input + 3, count);
  std::unique_ptr<int32_t[]> a(new int32_t[width + 6]());
  std::unique_ptr<int32_t[]> b(new int32_t[width + 6]());
  std::vector<uint8_t> row((width + 7) / 8);

  // The bound of a one-tile image, of a large image, or one cut short.
  const unsigned long long limit = boundKind % 3 == 0   ? count
                                   : boundKind % 3 == 1 ? (1ull << 31)
                                                        : count / 2;

  Img1G4Tile tile;
  tile.setData(data.get(), static_cast<unsigned>(count));
  tile.setChangeBuffers(a.get(), b.get());
  b[0] = 0;
  b[1] = b[2] = b[3] = static_cast<int32_t>(width) + 1;
  tile.numRefChanges() = 4;
  tile.byteLoc() = 0;
  tile.bitLoc() = 1;

  for (unsigned y = 0; y < 4096; ++y) {
    bool copied = false;
    const short result = c2d::G4DecodeRow(tile, width, limit, copied);
    if (result != G4_DECODE_OK) {
      const unsigned byteLoc = tile.byteLoc();
      if (CCITT_G4Decode(&tile, width, limit) == G4_DECODE_OK || tile.byteLoc() != byteLoc) {
        std::abort();  // a failed row must fail again where it stood
      }
      break;
    }
    if (tile.numChanges() < 4 || tile.numChanges() > width + 6 || tile.bitLoc() < 1 ||
        tile.bitLoc() > 8) {
      std::abort();
    }
    if (copied && (tile.numChanges() != tile.numRefChanges() ||
                   std::memcmp(tile.changes(), tile.refChanges(),
                               tile.numChanges() * sizeof(int32_t)) != 0)) {
      std::abort();
    }
    c2d::G4PaintRow(tile.changes(), tile.numChanges(), width, row.data());
    tile.swapChanges();
  }
  return 0;
}
