// Export: the conversion paths between the raster classes. xfm checks the pair of
// images and their sizes, then hands plain descriptions of rows and bit streams to
// one worker per path; the workers run without further tests.
#include "Image/raster/Export.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "Image/core/internal/FreeDeleter.h"
#include "Image/core/internal/BitRow.h"
#include "Image/g4/CImg1G4.h"
#include "Image/raster/CImg1.h"
#include "Image/raster/CImg32.h"
#include "Image/raster/CImg8.h"
#include "Image/raster/internal/ExportTables.h"
#include "util2d/ColorMap.h"

namespace {

using c2d::kErrorShares;
using c2d::kExpansion;
using c2d::kToneCurve;
using c2d::Luminance;

// A bilevel buffer taken as one stream of bits, most significant bit first: a row
// of w pixels is followed by padBits bits before the next. size is in bytes.
struct BitStream {
  unsigned char *bytes;
  uint64_t size;
  uint32_t padBits;
};

// True when h rows of w bits, each followed by the stream's padBits, end inside it.
bool BitRowsFit(const BitStream &stream, uint32_t w, uint32_t h) {
  const uint64_t capacity = stream.size * 8u;
  if (w > capacity) {
    return false;
  }
  // Divided rather than multiplied: after setExtents the product can pass 64 bits.
  const uint64_t stride = static_cast<uint64_t>(w) + stream.padBits;
  return h - 1u <= (capacity - w) / stride;
}

// Bilevel to palette: 8 pixels per source byte through the expansion table, the
// rest of the row bit by bit from the next byte, which the row's skip then passes.
// Rows with padding step by padBits / 8 bytes plus the partly used byte.
class BitExpander {
 public:
  BitExpander(uint32_t w, uint32_t padBits)
      : whole_(w / 8u), rest_(w % 8u), skip_(padBits / 8u + (padBits % 8u != 0 ? 1u : 0u)) {}

  // Whether h rows read from a buffer of `size` bytes stay inside it.
  bool Fits(uint64_t size, uint32_t h) const {
    const uint64_t last = static_cast<uint64_t>(whole_) + (rest_ != 0 ? 1u : 0u);
    if (last > size) {
      return false;
    }
    const uint64_t stride = static_cast<uint64_t>(whole_) + skip_;
    return stride == 0 || h - 1u <= (size - last) / stride;
  }

  void Run(const unsigned char *src, unsigned char *const *rows, uint32_t h) const {
    for (uint32_t y = 0; y < h; ++y) {
      unsigned char *out = rows[y];
      for (uint32_t i = 0; i < whole_; ++i, out += 8) {
        std::memcpy(out, kExpansion.pixels[*src++], 8);
      }
      if (rest_ != 0) {
        const unsigned byte = *src;
        for (uint32_t k = 0; k < rest_; ++k) {
          out[k] = (byte & c2d::BitMask(k)) != 0 ? 0 : 255;
        }
      }
      src += skip_;
    }
  }

 private:
  uint32_t whole_;
  uint32_t rest_;
  uint32_t skip_;
};

// Bilevel to 32 bits: the two words are stored as they are.
void Interpret(const BitStream &src, uint32_t w, uint32_t h, unsigned foreground,
               unsigned background, unsigned *const *rows) {
  uint64_t pos = 0;
  for (uint32_t y = 0; y < h; ++y, pos += src.padBits) {
    unsigned *out = rows[y];
    for (uint32_t x = 0; x < w; ++x, ++pos) {
      out[x] = c2d::BitAt(src.bytes, pos) ? foreground : background;
    }
  }
}

// Clamps a palette channel into the range the luminance weights are made for.
uint32_t Channel(int32_t value) { return static_cast<uint32_t>(std::clamp(value, 0, 255)); }

// The colour of index i, or black for an index the palette does not hold.
ColorMapEntry EntryOf(const ColorMap *map, unsigned i) {
  if (map == nullptr || map->entries == nullptr || i >= static_cast<unsigned>(map->numEntries)) {
    return {0, 0, 0};
  }
  return map->entries[i];
}

// Palette to 32 bits, one word per index. Channels are not clamped, so values past
// 255 spill into the neighbouring byte.
void LookUp(const ColorMap *map, RGBOrder order, const unsigned char *const *srcRows,
            unsigned *const *dstRows, uint32_t w, uint32_t h) {
  unsigned words[256];
  for (unsigned i = 0; i < 256; ++i) {
    const ColorMapEntry e = EntryOf(map, i);
    const uint32_t r = static_cast<uint32_t>(e.red);
    const uint32_t g = static_cast<uint32_t>(e.green);
    const uint32_t b = static_cast<uint32_t>(e.blue);
    words[i] = order == RGB_ORDER_BGR ? (b | g << 8 | r << 16) : (r | g << 8 | b << 16);
  }
  for (uint32_t y = 0; y < h; ++y) {
    const unsigned char *in = srcRows[y];
    unsigned *out = dstRows[y];
    for (uint32_t x = 0; x < w; ++x) {
      out[x] = words[in[x]];
    }
  }
}

// 32 to 32 bits with the orders exchanged: bytes 2, 1, 0, 3 of each source pixel
// become bytes 0, 1, 2, 3 of the destination's.
void ExchangeChannels(const unsigned char *src, unsigned char *dst, uint64_t pixels) {
  for (uint64_t i = 0; i < pixels; ++i, src += 4, dst += 4) {
    // Read whole before writing, so that an image converted into itself stays sane.
    const unsigned char b0 = src[0], b1 = src[1], b2 = src[2], b3 = src[3];
    dst[0] = b2;
    dst[1] = b1;
    dst[2] = b0;
    dst[3] = b3;
  }
}

// Floyd-Steinberg diffusion into clear bits, left to right on every row. fillGrey(y,
// cells) writes the toned grey values of row y into cells[0..w-1]. Each of the two
// rows has a spare cell at either end, where errors that leave the image are
// dropped. False, with nothing written, when the rows cannot be allocated.
template <typename FillGrey>
bool Diffuse(uint32_t w, uint32_t h, const FillGrey &fillGrey, const BitStream &dst) {
  const size_t cells = static_cast<size_t>(w) + 2u;
  c2d::MallocArray<int32_t> rowA(static_cast<int32_t *>(std::calloc(cells, sizeof(int32_t))));
  c2d::MallocArray<int32_t> rowB(static_cast<int32_t *>(std::calloc(cells, sizeof(int32_t))));
  if (rowA == nullptr || rowB == nullptr) {
    return false;
  }
  int32_t *current = rowA.get();
  int32_t *next = rowB.get();
  fillGrey(0, current + 1);
  const c2d::ErrorShares &s = kErrorShares;
  uint64_t pos = 0;
  for (uint32_t y = 0; y < h; ++y) {
    if (y + 1u < h) {
      fillGrey(y + 1u, next + 1);
    }
    for (uint32_t x = 0; x < w; ++x, ++pos) {
      int32_t *c = current + 1 + x;
      int32_t *n = next + 1 + x;
      const int32_t v = *c;
      int32_t e = v - 255;
      if (v < 128) {
        c2d::SetBit(dst.bytes, pos);
        e = v;
      }
      // SAFETY: |e| <= 127. Grey values are 0..255, and a cell receives one share of
      // each table at most, from errors of at most 127, so at most 55 + 24 + 40 + 8
      // = 127 either way; v < 128 then gives e >= -127 and v >= 128 gives e <= 127.
      assert(e >= -127 && e <= 127);
      if (e > 0) {
        c[1] += s.right[e];
        n[-1] += s.lowerLeft[e];
        n[0] += s.below[e];
        n[1] += s.lowerRight[e];
      } else {
        const int32_t m = -e;
        c[1] -= s.right[m];
        n[-1] -= s.lowerLeft[m];
        n[0] -= s.below[m];
        n[1] -= s.lowerRight[m];
      }
    }
    std::swap(current, next);
    pos += dst.padBits;
  }
  return true;
}

// Sets the bit of every pixel whose low 24 bits differ from the colour's.
void Separate(unsigned colour, const unsigned *const *rows, uint32_t w, uint32_t h,
              const BitStream &dst) {
  uint64_t pos = 0;
  for (uint32_t y = 0; y < h; ++y, pos += dst.padBits) {
    const unsigned *in = rows[y];
    for (uint32_t x = 0; x < w; ++x, ++pos) {
      if (((in[x] ^ colour) & 0xFFFFFFu) != 0) {
        c2d::SetBit(dst.bytes, pos);
      }
    }
  }
}

}  // namespace

Export::Export() {}

Export::~Export() {}

Export &Export::operator=(const Export &) { return *this; }

bool Export::xfm(IImg &dst, const IImg &src, unsigned mode) { return xfm(&dst, &src, mode); }

bool Export::xfm(IImg &dst, const IImg *src, unsigned mode) { return xfm(&dst, src, mode); }

bool Export::xfm(IImg *dst, const IImg &src, unsigned mode) { return xfm(dst, &src, mode); }

bool Export::xfm(IImg *dst, const IImg *src, unsigned mode) {
  if (dst == nullptr || src == nullptr) {
    return false;
  }
  if (!dst->hasData() || !src->hasData()) {
    return false;
  }
  // The type names the class. Rendered documents also say 32 bits but hold no rows,
  // so the class is checked as well and anything else is refused.
  // getType only reads the field; the interface does not declare it const.
  switch (const_cast<IImg *>(src)->getType()) {
    case IMG_TYPE_1BIT: {
      const auto *bilevel = dynamic_cast<const CImg1 *>(src);
      return bilevel != nullptr && FromCImg1(*dst, *bilevel);
    }
    case IMG_TYPE_G4: {
      // A compressed page decodes into a bilevel image only, through its own
      // uncompress, which reports for itself. Decoding moves the page's row cursor
      // but changes nothing a caller can see, hence the cast.
      auto *page = dynamic_cast<CImg1G4 *>(const_cast<IImg *>(src));
      auto *out = dynamic_cast<CImg1 *>(dst);
      return page != nullptr && out != nullptr && dst->getType() == IMG_TYPE_1BIT &&
             page->uncompress(out, page->getRect());
    }
    case IMG_TYPE_8BIT: {
      const auto *palette = dynamic_cast<const CImg8 *>(src);
      return palette != nullptr && FromCImg8(*dst, *palette);
    }
    case IMG_TYPE_32BIT: {
      const auto *trueColour = dynamic_cast<const CImg32 *>(src);
      return trueColour != nullptr && FromCImg32(*dst, *trueColour, mode);
    }
  }
  return false;
}

bool Export::FromCImg1(IImg &dst, const CImg1 &src) {
  const uint32_t w = src.getWidth();
  const uint32_t h = src.getHeight();
  // Whenever a CImg1 holds pixels, totalBytes is the size of its buffer.
  const BitStream in{src.data, src.totalBytes, src.padBits};
  switch (dst.getType()) {
    case IMG_TYPE_1BIT: {
      auto *out = dynamic_cast<CImg1 *>(&dst);
      // Equal alignment values, not merely equal rows: 0 and 8 are told apart.
      if (out == nullptr || out->getWidth() != w || out->getHeight() != h ||
          out->totalBytes != src.totalBytes || out->alignment != src.alignment ||
          out->bytesPerLine != src.bytesPerLine) {
        return false;
      }
      // The interpretations and the background stay the destination's own.
      std::memmove(out->data, src.data, src.totalBytes);
      return true;
    }
    case IMG_TYPE_8BIT: {
      auto *out = dynamic_cast<CImg8 *>(&dst);
      if (out == nullptr || out->getWidth() != w || out->getHeight() != h ||
          !out->isHeaderValid()) {
        return false;
      }
      const BitExpander expander(w, src.padBits);
      // Only a CImg1 whose extents were changed after creation can fail this.
      if (!expander.Fits(in.size, h)) {
        return false;
      }
      // The palette is left alone: set bits become index 0 and clear bits 255.
      expander.Run(in.bytes, out->dataArray, h);
      return true;
    }
    case IMG_TYPE_32BIT: {
      auto *out = dynamic_cast<CImg32 *>(&dst);
      if (out == nullptr || out->getWidth() != w || out->getHeight() != h ||
          !out->isHeaderValid() || !BitRowsFit(in, w, h)) {
        return false;
      }
      Interpret(in, w, h, src.foregroundInterpretation, src.backgroundInterpretation,
                out->dataArray);
      return true;
    }
    default:
      return false;
  }
}

bool Export::FromCImg8(IImg &dst, const CImg8 &src) {
  const uint32_t w = src.getWidth();
  const uint32_t h = src.getHeight();
  if (!src.isHeaderValid()) {
    return false;
  }
  const ColorMap *map = src.colorMap;
  switch (dst.getType()) {
    case IMG_TYPE_1BIT: {
      auto *out = dynamic_cast<CImg1 *>(&dst);
      if (out == nullptr || out->getWidth() != w || out->getHeight() != h) {
        return false;
      }
      const BitStream bits{out->data, out->totalBytes, out->padBits};
      if (!BitRowsFit(bits, w, h)) {
        return false;
      }
      // One toned grey per index. Channels outside 0..255 are clamped and indices
      // beyond the palette are black, so every table read stays in bounds.
      int32_t greys[256];
      for (unsigned i = 0; i < 256; ++i) {
        const ColorMapEntry e = EntryOf(map, i);
        greys[i] = kToneCurve[Luminance(Channel(e.red), Channel(e.green), Channel(e.blue))];
      }
      const unsigned char *const *rows = src.dataArray;
      const auto fillGrey = [&](uint32_t y, int32_t *cells) {
        const unsigned char *row = rows[y];
        for (uint32_t x = 0; x < w; ++x) {
          cells[x] = greys[row[x]];
        }
      };
      return Diffuse(w, h, fillGrey, bits);
    }
    case IMG_TYPE_32BIT: {
      auto *out = dynamic_cast<CImg32 *>(&dst);
      if (out == nullptr || out->getWidth() != w || out->getHeight() != h ||
          !out->isHeaderValid() || map == nullptr || map->entries == nullptr) {
        return false;
      }
      LookUp(map, out->rgbOrder, src.dataArray, out->dataArray, w, h);
      return true;
    }
    default:
      return false;
  }
}

bool Export::FromCImg32(IImg &dst, const CImg32 &src, unsigned mode) {
  const uint32_t w = src.getWidth();
  const uint32_t h = src.getHeight();
  if (!src.isHeaderValid()) {
    return false;
  }
  switch (dst.getType()) {
    case IMG_TYPE_1BIT: {
      auto *out = dynamic_cast<CImg1 *>(&dst);
      // The bits are laid out by the source's size and the destination's pad bits,
      // whatever the destination's size: refused only where they would not fit.
      if (out == nullptr || mode > 2) {
        return false;
      }
      const BitStream bits{out->data, out->totalBytes, out->padBits};
      if (!BitRowsFit(bits, w, h)) {
        return false;
      }
      const unsigned *const *rows = src.dataArray;
      if (mode == 2) {
        Separate(src.getBackgroundColor(), rows, w, h, bits);
        return true;
      }
      // Blue, green and red are bytes 0, 1 and 2 whatever the byte order says.
      const auto fillGrey = [&](uint32_t y, int32_t *cells) {
        const unsigned *row = rows[y];
        for (uint32_t x = 0; x < w; ++x) {
          const unsigned p = row[x];
          cells[x] = kToneCurve[Luminance((p >> 16) & 0xFFu, (p >> 8) & 0xFFu, p & 0xFFu)];
        }
      };
      return Diffuse(w, h, fillGrey, bits);
    }
    case IMG_TYPE_32BIT: {
      auto *out = dynamic_cast<CImg32 *>(&dst);
      if (out == nullptr || out->getWidth() != w || out->getHeight() != h ||
          out->totalBytes != src.totalBytes || !out->isHeaderValid()) {
        return false;
      }
      // Both branches treat the pixels as one block from the first row, which for a
      // view takes in its parent's pixels between the view's rows.
      // SAFETY: a view's rows are at least its width apart, so the block of w * h
      // pixels ends within its last row, inside the parent's buffer.
      if (out->rgbOrder == src.rgbOrder) {
        std::memmove(out->dataArray[0], src.dataArray[0], src.totalBytes);
        out->setBackgroundColor(src.backgroundColor);
      } else {
        ExchangeChannels(reinterpret_cast<const unsigned char *>(src.dataArray[0]),
                         reinterpret_cast<unsigned char *>(out->dataArray[0]),
                         static_cast<uint64_t>(w) * h);
        // Only the red byte of a BGR colour, moved down: not a rearranged colour.
        out->setBackgroundColor((src.backgroundColor >> 16) & 0xFFu);
      }
      return true;
    }
    default:
      return false;
  }
}

bool Export::copy24To32(unsigned *dst, unsigned char *src, unsigned w, unsigned h,
                        ImgAlignmentEnum align, RGBOrder /*srcOrder*/, RGBOrder /*dstOrder*/) {
  // Padded rows end on a multiple of 4 bytes: 3w + pad, so pad is w % 4.
  const uint32_t pad = align == IMG_ALIGN_32 ? (4u - (3u * (w % 4u)) % 4u) % 4u : 0u;
  auto *out = reinterpret_cast<unsigned char *>(dst);
  const unsigned char *in = src;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  // Four bytes at a time, the fourth cleared: every pixel of a row but its last has a
  // byte after it in the row, so the word read stays inside the source.
  for (uint32_t y = 0; y < h && w > 0; ++y, in += 3 + pad, out += 4) {
    for (uint32_t x = 0; x + 1 < w; ++x, in += 3, out += 4) {
      uint32_t word;
      std::memcpy(&word, in, 4);
      word &= 0x00FFFFFFu;
      std::memcpy(out, &word, 4);
    }
    out[0] = in[0];
    out[1] = in[1];
    out[2] = in[2];
    out[3] = 0;
  }
#else
  for (uint32_t y = 0; y < h; ++y, in += pad) {
    for (uint32_t x = 0; x < w; ++x, in += 3, out += 4) {
      out[0] = in[0];
      out[1] = in[1];
      out[2] = in[2];
      out[3] = 0;
    }
  }
#endif
  return true;
}
