// libtiff as the Group 4 oracle, bitmaps and row-by-row decoding; shared with the benchmarks.
#ifndef TESTS_G4_G4TIFFORACLE_H_
#define TESTS_G4_G4TIFFORACLE_H_

#include <tiffio.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "Image/g4/G4Decode.h"
#include "Image/g4/internal/G4Paint.h"

namespace g4test {

// A bilevel image, rows most significant bit first, 1 = black, each row padded to a byte.
struct Bitmap {
  uint32_t width = 0, height = 0, stride = 0;
  std::vector<uint8_t> bits;

  Bitmap() = default;
  Bitmap(uint32_t w, uint32_t h) : width(w), height(h), stride((w + 7) / 8), bits(stride * h) {}
  uint8_t *row(uint32_t y) { return bits.data() + static_cast<size_t>(y) * stride; }
  const uint8_t *row(uint32_t y) const { return bits.data() + static_cast<size_t>(y) * stride; }
  bool get(uint32_t x, uint32_t y) const { return (row(y)[x >> 3] >> (7 - (x & 7))) & 1; }
  void set(uint32_t x, uint32_t y, bool black = true) {
    const uint8_t mask = static_cast<uint8_t>(0x80u >> (x & 7));
    row(y)[x >> 3] = black ? (row(y)[x >> 3] | mask) : (row(y)[x >> 3] & ~mask);
  }
  void fill(uint32_t x0, uint32_t x1, uint32_t y) {  // columns x0 to x1 - 1
    for (uint32_t x = x0; x < x1 && x < width; ++x) {
      set(x, y);
    }
  }
};

// The first pixel at which two bitmaps differ, as "x,y", or "" when they are equal.
inline std::string FirstDifference(const Bitmap &a, const Bitmap &b) {
  if (a.width != b.width || a.height != b.height) {
    return "sizes";
  }
  for (uint32_t y = 0; y < a.height; ++y) {
    for (uint32_t x = 0; x < a.width; ++x) {
      if (a.get(x, y) != b.get(x, y)) {
        return std::to_string(x) + "," + std::to_string(y);
      }
    }
  }
  return a.bits == b.bits ? "" : "padding";
}

// `image` with every row from `rows` on cleared: what a decode that stopped there paints.
inline Bitmap FirstRows(Bitmap image, uint32_t rows) {
  std::fill(image.bits.begin() + static_cast<size_t>(std::min(rows, image.height)) * image.stride,
            image.bits.end(), 0);
  return image;
}

// A small deterministic generator (xorshift), so fixtures never change.
class Rng {
 public:
  explicit Rng(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15ull + 1) {}
  uint64_t next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return state_;
  }
  uint32_t below(uint32_t n) { return n == 0 ? 0 : static_cast<uint32_t>(next() % n); }
  bool chance(double p) { return static_cast<double>(next() >> 11) * 0x1.0p-53 < p; }

 private:
  uint64_t state_;
};

inline void Noise(Bitmap &image, Rng &rng, double density) {
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      image.set(x, y, rng.chance(density));
    }
  }
}

// Alternating runs along each row, the k-th (from 0) len(k, y) long, black first on odd rows.
template <typename Len>
void Runs(Bitmap &image, Len len) {
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0, k = 0; x < image.width; x += len(k, y), ++k) {
      if ((k + y) % 2 == 1) {
        image.fill(x, x + len(k, y), y);
      }
    }
  }
}

// Named bitmap makers; each is given the size and a generator seeded per width.
struct Pattern {
  const char *name;
  void (*draw)(Bitmap &image, Rng &rng);
};

inline const Pattern kPatterns[] = {
    {"white", [](Bitmap &, Rng &) {}},
    {"black", [](Bitmap &image, Rng &rng) { Noise(image, rng, 1.0); }},
    {"edge pixels",
     [](Bitmap &image, Rng &) {
       for (uint32_t y = 0; y < image.height; ++y) {
         image.set(0, y, y % 3 != 1);
         image.set(image.width - 1, y, y % 3 != 0);
       }
     }},
    {"sparse noise", [](Bitmap &image, Rng &rng) { Noise(image, rng, 0.02); }},
    {"noise", [](Bitmap &image, Rng &rng) { Noise(image, rng, 0.5); }},
    {"dense noise", [](Bitmap &image, Rng &rng) { Noise(image, rng, 0.93); }},
    {"diagonals",
     // Edges moving 0 to 5 columns a row: every vertical mode, and horizontal beyond.
     [](Bitmap &image, Rng &) {
       for (uint32_t y = 0; y < image.height; ++y) {
         for (uint32_t k = 0; k < 6; ++k) {
           const uint32_t x = (k * image.width / 6 + y * k) % image.width;
           image.fill(x, x + 1 + k, y);
         }
       }
     }},
    {"strokes",
     // Text-like lines of 12 rows: stems of 1 to 4 pixels, some barred, gaps up to 300.
     [](Bitmap &image, Rng &rng) {
       for (uint32_t top = 0; top + 12 <= image.height; top += 14) {
         for (uint32_t x = rng.below(40); x < image.width; x += 3 + rng.below(300)) {
           const uint32_t w = 1 + rng.below(4), bar = top + rng.below(12);
           for (uint32_t y = top; y < top + 12; ++y) {
             image.fill(x, x + (y == bar ? 4 * w + 3 : w), y);
           }
         }
       }
     }},
    // Run lengths growing along each row: both colours meet every short length.
    {"every run length",
     [](Bitmap &image, Rng &) {
       Runs(image, [](uint32_t k, uint32_t y) { return 1 + y % 3 + k * (1 + y % 2); });
     }},
    // At width 70001, every make-up code of both colours and runs of more than 2560.
    {"make-up runs",
     [](Bitmap &image, Rng &) {
       Runs(image, [](uint32_t k, uint32_t y) { return 64 * (k + 1) + (7 * (k + 1) + y) % 64; });
     }},
};

// A file in memory behind libtiff's client interface.
class MemTiff {
 public:
  const std::vector<uint8_t> &bytes() const { return bytes_; }

  TIFF *open(const char *mode) {
    pos_ = 0;
    return TIFFClientOpen(
        "memory", mode, this,
        [](thandle_t h, void *buf, tmsize_t n) {
          MemTiff *m = static_cast<MemTiff *>(h);
          const uint64_t left = m->pos_ < m->bytes_.size() ? m->bytes_.size() - m->pos_ : 0;
          const uint64_t take = std::min<uint64_t>(left, static_cast<uint64_t>(n));
          std::memcpy(buf, m->bytes_.data() + m->pos_, take);
          m->pos_ += take;
          return static_cast<tmsize_t>(take);
        },
        [](thandle_t h, void *buf, tmsize_t n) {
          MemTiff *m = static_cast<MemTiff *>(h);
          m->bytes_.resize(std::max<uint64_t>(m->bytes_.size(), m->pos_ + n));
          std::memcpy(m->bytes_.data() + m->pos_, buf, static_cast<size_t>(n));
          m->pos_ += n;
          return n;
        },
        [](thandle_t h, toff_t off, int whence) {
          MemTiff *m = static_cast<MemTiff *>(h);
          return m->pos_ = off + (whence == SEEK_CUR   ? m->pos_
                                  : whence == SEEK_END ? m->bytes_.size()
                                                       : 0);
        },
        [](thandle_t) { return 0; },
        [](thandle_t h) { return static_cast<toff_t>(static_cast<MemTiff *>(h)->bytes_.size()); },
        [](thandle_t, void **, toff_t *) { return 0; }, [](thandle_t, void *, toff_t) {});
  }

 private:
  std::vector<uint8_t> bytes_;
  uint64_t pos_ = 0;
};

// The tags of a w x h Group 4 page, 1 = black; the layout (strips or tiles) is the caller's.
inline void SetG4Tags(TIFF *tif, uint32_t w, uint32_t h) {
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, w);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, h);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 1);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_CCITTFAX4);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
  TIFFSetField(tif, TIFFTAG_FILLORDER, FILLORDER_MSB2LSB);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
}

// The tags of a one-strip Group 4 TIFF.
inline void SetG4Fields(TIFF *tif, uint32_t width, uint32_t height) {
  SetG4Tags(tif, width, height);
  TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, height);
}

// `image` as a one-strip Group 4 TIFF in memory (which always opens); empty on failure.
inline MemTiff WriteG4Tiff(const Bitmap &image) {
  MemTiff file;
  TIFF *tif = file.open("w");
  SetG4Fields(tif, image.width, image.height);
  const tmsize_t n = static_cast<tmsize_t>(image.bits.size());
  const bool ok = TIFFWriteEncodedStrip(tif, 0, const_cast<uint8_t *>(image.bits.data()), n) == n;
  TIFFClose(tif);
  return ok ? file : MemTiff();
}

// The raw coded bytes of strip `s` (our files are all most significant bit first).
inline std::vector<uint8_t> ReadRawStrip(TIFF *tif, uint32_t s) {
  const tmsize_t size = TIFFRawStripSize(tif, s);
  std::vector<uint8_t> raw(size > 0 ? static_cast<size_t>(size) : 0);
  if (!raw.empty() && TIFFReadRawStrip(tif, s, raw.data(), size) != size) {
    raw.clear();
  }
  return raw;
}

// A stream in the decoder's word order: byte pairs exchanged, an odd last byte paired with 0.
inline std::vector<uint8_t> ToDecoderOrder(const std::vector<uint8_t> &stream) {
  std::vector<uint8_t> out(stream.size() + (stream.size() & 1u), 0);
  for (size_t i = 0; i < stream.size(); ++i) {
    out[i ^ 1u] = stream[i];
  }
  return out;
}

// Bits from '0'/'1' characters (others skipped), then `tail` zero bytes, in decoder order.
inline std::vector<uint8_t> CodeBits(std::string bits, unsigned tail = 4) {
  bits.erase(std::remove_if(bits.begin(), bits.end(), [](char c) { return c != '0' && c != '1'; }),
             bits.end());
  std::vector<uint8_t> bytes((bits.size() + 7) / 8 + tail, 0);
  for (size_t i = 0; i < bits.size(); ++i) {
    bytes[i / 8] = static_cast<uint8_t>(bytes[i / 8] | (bits[i] - '0') << (7 - i % 8));
  }
  return ToDecoderOrder(bytes);
}

// libtiff's own one-strip Group 4 coding of `image`, in the decoder's order if `swapped`.
inline std::vector<uint8_t> LibtiffStrip(const Bitmap &image, bool swapped = false) {
  MemTiff file = WriteG4Tiff(image);
  TIFF *tif = file.open("r");
  std::vector<uint8_t> raw;
  if (tif != nullptr) {
    raw = ReadRawStrip(tif, 0);
    TIFFClose(tif);
  }
  return swapped ? ToDecoderOrder(raw) : raw;
}

// libtiff's decoding of a coded strip of `height` rows; an empty bitmap when it fails.
inline Bitmap LibtiffDecode(const std::vector<uint8_t> &strip, uint32_t width, uint32_t height) {
  MemTiff file;
  TIFF *tif = file.open("w");
  SetG4Fields(tif, width, height);
  const tmsize_t n = static_cast<tmsize_t>(strip.size());
  const bool written = TIFFWriteRawStrip(tif, 0, const_cast<uint8_t *>(strip.data()), n) == n;
  TIFFClose(tif);
  tif = written ? file.open("r") : nullptr;
  Bitmap out(width, height);
  const tmsize_t size = static_cast<tmsize_t>(out.bits.size());
  const bool read = tif != nullptr && TIFFReadEncodedStrip(tif, 0, out.bits.data(), size) == size;
  if (tif != nullptr) {
    TIFFClose(tif);
  }
  return read ? out : Bitmap();
}

// Whether row y changes colour at every column, after which the next row may fail (DESIGN.md).
inline bool ChangesInEveryColumn(const Bitmap &image, uint32_t y) {
  uint32_t changes = image.get(0, y);
  for (uint32_t x = 1; x < image.width; ++x) {
    changes += image.get(x, y) != image.get(x - 1, y);
  }
  return changes == image.width;
}

// Change buffers of exactly W + 6 entries, and a tile set up for the first row.
struct RowDecoder {
  RowDecoder(const uint8_t *data, uint32_t byteCount, uint32_t w)
      : width(w), a(new int32_t[w + 6]()), b(new int32_t[w + 6]()) {
    tile.setData(const_cast<uint8_t *>(data), byteCount);
    tile.setChangeBuffers(a.get(), b.get());
    restart();
  }
  // The state before a tile's first row: all-white reference, first bit of the data.
  void restart() {
    std::fill_n(tile.refChanges(), 4, static_cast<int32_t>(width) + 1);
    tile.refChanges()[0] = 0;
    tile.numRefChanges() = 4;
    tile.numChanges() = tile.byteLoc() = 0;
    tile.bitLoc() = 1;
  }
  // Decodes one row; on success paints it into `row` (if given) and swaps the lists.
  short next(uint64_t limitBytes, uint8_t *row) {
    const short result = CCITT_G4Decode(&tile, width, limitBytes);
    if (result == G4_DECODE_OK) {
      if (row != nullptr) {
        c2d::G4PaintRow(tile.changes(), tile.numChanges(), width, row);
      }
      tile.swapChanges();
    }
    return result;
  }

  uint32_t width;
  std::unique_ptr<int32_t[]> a, b;
  Img1G4Tile tile;
};

// A tile's position and list lengths.
inline std::tuple<unsigned, unsigned, unsigned, unsigned> TileState(Img1G4Tile &t) {
  return {t.byteLoc(), t.bitLoc(), t.numChanges(), t.numRefChanges()};
}

// Decodes `rows` rows of a stream in decoder order from an exact-size heap copy, so that
// a sanitizer sees any read past it. `decodedRows` rows succeed before the first failure
// (`failure`); that row is decoded once more (`retry`), `held` if the tile's state stayed
// put but for bitLoc, which each call from an odd byteLoc (`oddStart`) moves on by 8.
struct DecodeOutcome {
  Bitmap image;
  uint32_t decodedRows = 0;
  short failure = G4_DECODE_OK, retry = G4_DECODE_OK;
  bool oddStart = false, held = true;
};

inline DecodeOutcome DecodeStream(const std::vector<uint8_t> &words, uint32_t width, uint32_t rows,
                                  uint64_t limitBytes) {
  const std::vector<uint8_t> copy = words;  // a new allocation of exactly its size
  RowDecoder decoder(copy.data(), static_cast<uint32_t>(copy.size()), width);
  DecodeOutcome out;
  out.image = Bitmap(width, rows);
  for (uint32_t y = 0; y < rows; ++y) {
    Img1G4Tile before = decoder.tile;
    out.failure = decoder.next(limitBytes, out.image.row(y));
    if (out.failure != G4_DECODE_OK) {
      out.oddStart = (before.byteLoc() & 1u) != 0;
      out.retry = decoder.next(limitBytes, nullptr);
      before.bitLoc() += out.oddStart ? 16 : 0;
      out.held = TileState(decoder.tile) == TileState(before) &&
                 decoder.tile.changes() == before.changes();
      break;
    }
    ++out.decodedRows;
  }
  return out;
}

}  // namespace g4test

#endif  // TESTS_G4_G4TIFFORACLE_H_
