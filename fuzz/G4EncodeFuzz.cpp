// libFuzzer harness for the Group 4 encoder, built by scripts/fuzz.
//
// Two bytes give the width (1 to 3000), one the extra bytes each row carries past its
// pixels (0 to 4), the rest are the rows, pad bits and all, as many whole rows as fit
// (at most 48). The strip coder's stream must decode back to the rows with their pad
// bits cleared, through libtiff and through our decoder (which may stop early only
// where it always does); so must the tile coder's
// stream whenever it takes the block. A coder may refuse a block whose code
// outgrows its buffer, with 0 and no buffer.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "FuzzInput.h"
#include "Image/g4/G4Strip.h"
#include "g4/G4TiffOracle.h"

namespace {

using g4test::Bitmap;

// Both decoders must give `want` from a plain most-significant-bit-first stream.
void CheckStream(const std::vector<uint8_t> &stream, const Bitmap &want) {
  const Bitmap viaLibtiff = g4test::LibtiffDecode(stream, want.width, want.height);
  if (viaLibtiff.bits != want.bits) {
    std::abort();
  }
  const g4test::DecodeOutcome ours = g4test::DecodeStream(
      g4test::ToDecoderOrder(stream), want.width, want.height, stream.size() + 1);
  // The one early stop the decoder keeps: a reference row changing at every column.
  const uint32_t y = ours.decodedRows;
  if (y < want.height && (y == 0 || ours.failure != G4_DECODE_REF_END ||
                          !g4test::ChangesInEveryColumn(want, y - 1))) {
    std::abort();
  }
  if (g4test::FirstDifference(ours.image, g4test::FirstRows(want, y)) != "") {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool enabled = CCITT_EnableG4Decode() == IMG_OK;
  if (!enabled) {
    std::abort();
  }
  FuzzInput in(data, size);
  const uint32_t width = in.range(1, 3000);
  const uint32_t stride = (width + 7) / 8 + in.byte() % 5;
  const uint32_t rows = static_cast<uint32_t>(std::min<size_t>(in.left() / stride, 48));
  if (rows == 0) {
    return 0;
  }
  size_t got = 0;
  const uint8_t *payload = in.take(size_t{stride} * rows, &got);
  std::vector<uint8_t> source(payload, payload + got);

  Bitmap want(width, rows);
  for (uint32_t y = 0; y < rows; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      if ((source[size_t{y} * stride + x / 8] >> (7 - x % 8)) & 1) {
        want.set(x, y);
      }
    }
  }

  unsigned char *out = nullptr;
  const int bytes = create_g4_tiff_strip_tmp(source.data(), out, static_cast<int>(width),
                                             static_cast<int>(stride), static_cast<int>(rows));
  // Refused (a code past three times the rows) means 0 and no buffer.
  if ((bytes == 0) != (out == nullptr) || (bytes != 0 && bytes < 4)) {
    std::abort();
  }
  if (bytes > 0) {
    CheckStream(std::vector<uint8_t>(out, out + bytes), want);
  }
  std::free(out);

  out = nullptr;
  const int tileBytes = createG4Tile(source.data(), out, static_cast<int>(width),
                                     static_cast<int>(stride), static_cast<int>(rows));
  if ((tileBytes == 0) != (out == nullptr)) {
    std::abort();
  }
  if (tileBytes > 0) {
    // A tile's words are exchanged whatever the machine: on a little-endian one that
    // gives the plain stream, on a big-endian one its pairs the other way round.
    const uint16_t probe = 1;
    const bool little = *reinterpret_cast<const uint8_t *>(&probe) == 1;
    std::vector<uint8_t> tile(out, out + tileBytes);
    CheckStream(little ? tile : g4test::ToDecoderOrder(tile), want);
  }
  std::free(out);
  return 0;
}
