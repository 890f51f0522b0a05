// Bilevel TIFF output through the library's Group 4 strip encoder: every strip is
// coded first, so that a page the encoder refuses can still be stored uncompressed.
#include "G4TiffWrite.h"

#include <cstdlib>
#include <memory>
#include <vector>

#include "Failure.h"

namespace c2dimg {
namespace {

struct FreeBytes {
  void operator()(unsigned char *p) const { std::free(p); }
};
using CodedStrip = std::unique_ptr<unsigned char, FreeBytes>;

// The encoder's enable and disable calls around one page.
class StripEncoder {
 public:
  StripEncoder() {
    cit_enable_detect_changes_tmp();
    cit_enable_encode_gr4_tmp();
  }
  ~StripEncoder() {
    cit_disable_encode_gr4_tmp();
    cit_disable_detect_changes_tmp();
  }
  StripEncoder(const StripEncoder &) = delete;
  StripEncoder &operator=(const StripEncoder &) = delete;
};

}  // namespace

void WriteG4Strips(TIFF *tif, Rows &rows, uint32_t rowsPerStrip, const std::string &path) {
  const size_t rowBytes = rows.rowBytes();
  std::vector<uint8_t> band(rowBytes * rowsPerStrip);
  std::vector<std::pair<CodedStrip, int>> strips;
  {
    const StripEncoder encoder;
    for (uint32_t y = 0; y < rows.height(); y += rowsPerStrip) {
      const uint32_t n = std::min(rowsPerStrip, rows.height() - y);
      for (uint32_t r = 0; r < n; ++r) {
        rows.read(y + r, band.data() + r * rowBytes);
      }
      unsigned char *coded = nullptr;
      const int size = create_g4_tiff_strip_tmp(band.data(), coded, static_cast<int>(rows.width()),
                                                static_cast<int>(rowBytes), static_cast<int>(n));
      if (size == 0) {
        strips.clear();
        break;
      }
      strips.emplace_back(CodedStrip(coded), size);
    }
  }
  if (strips.empty()) {
    TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    for (uint32_t y = 0; y < rows.height(); ++y) {
      rows.read(y, band.data());
      if (TIFFWriteScanline(tif, band.data(), y, 0) != 1) {
        throw FileError(path, "cannot write row " + std::to_string(y));
      }
    }
    return;
  }
  for (uint32_t s = 0; s < strips.size(); ++s) {
    if (TIFFWriteRawStrip(tif, s, strips[s].first.get(), strips[s].second) != strips[s].second) {
      throw FileError(path, "cannot write strip " + std::to_string(s));
    }
  }
}

}  // namespace c2dimg
