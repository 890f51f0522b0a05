// Decoding single tiles of a Group 4 page with the library's row decoder.
#include "G4Code.h"

#include <algorithm>

#include "Failure.h"

namespace c2dimg {
namespace {

// What a decoder may leave unread after a tile's last row: the end-of-block code,
// the bits that end its byte and the byte that evens a pair.
constexpr uint32_t kTailBytes = 6;
// Damaged tiles named one by one; the rest are counted.
constexpr size_t kNamed = 3;

std::vector<std::string> sNotes;

// The decoder's tables, built for the length of one reading.
class DecoderTables {
 public:
  DecoderTables() : ok_(CCITT_EnableG4Decode() == IMG_OK) {}
  ~DecoderTables() { CCITT_DisableG4Decode(); }
  DecoderTables(const DecoderTables &) = delete;
  DecoderTables &operator=(const DecoderTables &) = delete;
  bool ok() const { return ok_; }

 private:
  bool ok_;
};

// One tile's rows from its first, on buffers of its own, so that the page's cursor
// is left as the library's operation left it.
class TileRows {
 public:
  TileRows(CImg1G4 &page, uint32_t tileRow, uint32_t tileColumn)
      : width_(page.getTileWidth()),
        limit_(page.getTotalBytes()),
        changes_(size_t{width_} + 7),
        reference_(size_t{width_} + 7) {
    Img1G4Tile *source = page.getTile(tileRow, tileColumn);
    if (source != nullptr) {
      tile_.setData(source->getData(), source->getByteCount());
    }
    tile_.setChangeBuffers(changes_.data(), reference_.data());
    const auto end = static_cast<int32_t>(width_ + 1);
    reference_[0] = 0;
    reference_[1] = reference_[2] = reference_[3] = end;
    tile_.numRefChanges() = 4;
    tile_.bitLoc() = 1;
  }

  // Decodes the next row; false when the code fails (or the tile has none).
  bool next() {
    if (tile_.getData() == nullptr || CCITT_G4Decode(&tile_, width_, limit_) != 0) {
      return false;
    }
    tile_.swapChanges();
    return true;
  }

  // Columns from..to of the row last decoded, one byte each, 1 for a set bit: an odd
  // count of changes at or before the column. The list is 1-based and ends in
  // sentinels past the tile; it is walked once, up to `to`.
  void bits(uint32_t from, uint32_t to, uint8_t *out) {
    const int32_t *c = tile_.refChanges();
    const uint32_t count = tile_.numRefChanges();
    uint32_t i = 1;
    for (uint32_t x = from; x <= to; ++x) {
      while (i < count && c[i] <= static_cast<int32_t>(x) + 1) {
        ++i;
      }
      *out++ = static_cast<uint8_t>((i - 1) & 1);
    }
  }

 private:
  uint32_t width_;
  unsigned long long limit_;
  std::vector<int32_t> changes_;
  std::vector<int32_t> reference_;
  Img1G4Tile tile_;
};

// Rows that the tile's code holds: a strip holds the page's rows only.
uint32_t CodedRows(CImg1G4 &page, uint32_t tileRow, bool strips) {
  const uint32_t th = page.getTileHeight();
  return strips ? std::min(th, page.getHeight() - tileRow * th) : th;
}

}  // namespace

std::vector<uint8_t> CodedBits(CImg1G4 &page, uint32_t x0, uint32_t x1, uint32_t top,
                               uint32_t bottom) {
  const uint32_t tw = page.getTileWidth(), th = page.getTileHeight();
  const uint32_t n = x1 - x0 + 1;
  std::vector<uint8_t> bits(size_t{n} * (bottom - top + 1));
  DecoderTables tables;
  if (!tables.ok()) {
    return bits;
  }
  for (uint32_t column = x0 / tw; column <= x1 / tw; ++column) {
    const uint32_t from = std::max(x0, column * tw), to = std::min(x1, column * tw + tw - 1);
    for (uint32_t tileRow = top / th; tileRow <= bottom / th; ++tileRow) {
      TileRows rows(page, tileRow, column);
      const uint32_t last = std::min(bottom, tileRow * th + th - 1);
      for (uint32_t y = tileRow * th; y <= last && rows.next(); ++y) {
        if (y < top) {
          continue;
        }
        rows.bits(from - column * tw, to - column * tw,
                  bits.data() + size_t{y - top} * n + (from - x0));
      }
    }
  }
  return bits;
}

void CheckDecoded(CImg1G4 &page, const ImgRect &rect, const std::string &path, bool strips) {
  const uint32_t tw = page.getTileWidth(), th = page.getTileHeight();
  const uint32_t left = std::min(rect.left, rect.right), right = std::max(rect.left, rect.right);
  const uint32_t top = std::min(rect.top, rect.bottom), bottom = std::max(rect.top, rect.bottom);
  const char *unit = strips ? "strip" : "tile";
  std::vector<std::string> damaged;
  uint32_t tiles = 0, empty = 0;
  DecoderTables tables;
  for (uint32_t tileRow = top / th; tileRow <= bottom / th; ++tileRow) {
    const uint32_t coded = CodedRows(page, tileRow, strips);
    // The operation decoded each tile of the row from its top.
    const uint32_t done = std::min(bottom, tileRow * th + th - 1) - tileRow * th + 1;
    for (uint32_t column = left / tw; column <= right / tw; ++column) {
      ++tiles;
      Img1G4Tile *tile = page.getTile(tileRow, column);
      if (tile == nullptr) {
        continue;
      }
      const uint32_t bytes = tile->getByteCount();
      // A tile decoded to its end must have come near the end of its code; other
      // tiles, and those that did not, are read again to find the row that fails.
      if (done == coded && tile->getData() != nullptr && tile->byteLoc() <= bytes &&
          bytes - tile->byteLoc() <= kTailBytes) {
        continue;
      }
      TileRows rows(page, tileRow, column);
      uint32_t good = 0;
      while (good < done && rows.next()) {
        ++good;
      }
      if (good == done && done < coded) {
        continue;
      }
      empty += good == 0 ? 1 : 0;
      const uint32_t index = tileRow * page.getWidthInTiles() + column;
      std::string note = std::string(unit) + " " + std::to_string(index);
      if (!strips) {
        note +=
            " (tile row " + std::to_string(tileRow) + ", column " + std::to_string(column) + ")";
      }
      if (good < done) {
        note += " stops at page row " + std::to_string(tileRow * th + good) +
                "; the result is blank below it there";
      } else {
        note += " ends " + std::to_string(bytes - std::min(bytes, tile->byteLoc())) +
                " bytes before its code does";
      }
      damaged.push_back(note);
    }
  }
  if (damaged.empty()) {
    return;
  }
  if (empty == tiles) {
    throw FileError(path, "the Group 4 data is damaged: no " + std::string(unit) +
                              " decodes a single row (" + damaged.front() + ")");
  }
  for (size_t i = 0; i < damaged.size() && i < kNamed; ++i) {
    NoteDamage(path, damaged[i]);
  }
  if (damaged.size() > kNamed) {
    NoteDamage(path, "and " + std::to_string(damaged.size() - kNamed) + " more " + unit + "s");
  }
}

void NoteDamage(const std::string &path, const std::string &what) {
  // A command may read the same page more than once.
  NoteDamagedSource(path + ": damaged Group 4 data: " + what);
}

void NoteDamagedSource(const std::string &note) {
  if (std::find(sNotes.begin(), sNotes.end(), note) == sNotes.end()) {
    sNotes.push_back(note);
  }
}

const std::vector<std::string> &DamageNotes() { return sNotes; }

}  // namespace c2dimg
