// Group 4 blocks: every row detected and coded against the one above, its words
// shifted onto the bits the previous row left in its last byte, and the complete
// bytes moved once into an output buffer of fixed size; then the end of block.
// createG4Tile and create_g4_tiff_strip_tmp share this, and differ where noted.
#include "Image/g4/G4Strip.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "Image/core/internal/FreeDeleter.h"
#include "Image/g4/internal/G4RowCoder.h"
#include "Image/g4/internal/G4TileBatch.h"
#include "util2d/utl_endian.h"

namespace c2d {
namespace {

enum class Block { kTile, kStrip };

// Room kept free at the end of the output after each row.
constexpr uint64_t kOutputMargin = 16;
// The tile's word buffer size is a 16-bit signed count; sizes it cannot hold are
// refused rather than wrapped.
constexpr uint64_t kTileWordBytesLimit = 32768;

template <typename T>
MallocArray<T> Calloc(uint64_t count) {
  return MallocArray<T>(
      static_cast<T *>(count > SIZE_MAX / sizeof(T) ? nullptr : std::calloc(count, sizeof(T))));
}

// Moves the `n` bits in `words` right by `p` (1 to 7) and puts the top `p` bits of
// `pending` in front. `words` holds n / 16 + 1 words and has room for one more.
void JoinPending(uint16_t *words, uint32_t n, unsigned p, uint8_t pending) {
  const uint32_t have = n / 16 + 1;
  const uint32_t need = (n + p + 15) / 16;
  if (need > have) {
    words[have] = 0;
  }
  for (uint32_t i = need - 1; i > 0; --i) {
    words[i] = static_cast<uint16_t>(words[i] >> p | words[i - 1] << (16 - p));
  }
  words[0] = static_cast<uint16_t>(words[0] >> p | pending << 8);
}

int CodeBlock(Block kind, const unsigned char *source, unsigned char *&out, int width,
              int bytesPerRow, int rows) {
  out = nullptr;
  if (source == nullptr || width < 1 || width > kG4MaxWidth || bytesPerRow < (width + 7) / 8) {
    return 0;
  }
  const bool tile = kind == Block::kTile;
  const uint64_t rowBytes = static_cast<uint64_t>(bytesPerRow);
  const uint64_t wordBytes = rowBytes * 8;
  if (tile && wordBytes >= kTileWordBytesLimit) {
    return 0;
  }
  // At least the tail's 4 bytes; at most what the int result can count.
  const uint64_t raw = rows > 0 ? rowBytes * static_cast<uint64_t>(rows) : 0;
  const uint64_t outSize = std::min<uint64_t>((tile ? 1 : 3) * raw, INT_MAX);
  const uint64_t entries = static_cast<uint64_t>(width) + 4;
  MallocArray<int32_t> changes = Calloc<int32_t>(entries);
  MallocArray<int32_t> refChanges = Calloc<int32_t>(entries);
  MallocArray<uint16_t> words = Calloc<uint16_t>(wordBytes / 2);
  MallocArray<uint8_t> output = Calloc<uint8_t>(std::max<uint64_t>(outSize, 4));
  MallocArray<uint8_t> row = Calloc<uint8_t>(rowBytes + 1);
  if (!changes || !refChanges || !words || !output || !row) {
    return 0;
  }
  // One word stays free for the bits carried over from the row before.
  const size_t capacity = wordBytes / 2 - 1;
  const bool exchange = tile || utl_is_little_endian() == 1;
  uint8_t *const bytes = reinterpret_cast<uint8_t *>(words.get());
  uint32_t *cur = reinterpret_cast<uint32_t *>(changes.get());
  uint32_t *ref = reinterpret_cast<uint32_t *>(refChanges.get());
  ref[0] = 0;
  ref[1] = ref[2] = ref[3] = static_cast<uint32_t>(width) + 1;
  uint32_t refCount = 4;
  unsigned p = 0;  // bits of the last byte still pending
  uint8_t pending = 0;
  uint64_t total = 0;
  for (int y = 0; y < rows; ++y) {
    std::memcpy(row.get(), source + static_cast<uint64_t>(y) * rowBytes, rowBytes);
    const uint32_t count =
        G4FindChanges(static_cast<uint32_t>(width), row.get(), static_cast<uint32_t>(entries),
                      reinterpret_cast<int32_t *>(cur));
    uint32_t n = 0;
    if (count == 0 || !G4CodeRow(ref, refCount, cur, count, words.get(), capacity, &n)) {
      return 0;
    }
    if (p != 0) {
      JoinPending(words.get(), n, p, pending);
      n += p;
    }
    const uint64_t whole = n / 8;
    if (exchange) {
      for (uint32_t i = 0; i < (n + 15) / 16; ++i) {
        words.get()[i] = static_cast<uint16_t>(words.get()[i] << 8 | words.get()[i] >> 8);
      }
    }
    p = n % 8;
    if (p != 0 && whole < wordBytes) {
      pending = bytes[whole];
    }
    if (whole > 0) {
      if (total + whole + kOutputMargin >= outSize) {
        return 0;
      }
      std::memcpy(output.get() + total, bytes, whole);
    }
    total += whole;
    std::swap(cur, ref);
    refCount = count;
  }
  // The 24-bit end of block 000000000001000000000001 from bit p of the first byte,
  // which holds the pending bits: 00 10 01 00 for p = 0, 00 08 00 80 for p = 1, ...
  const uint32_t tail = 0x00100100u >> p;
  uint8_t *end = output.get() + total;
  end[0] = static_cast<uint8_t>(p != 0 ? pending : 0);
  end[1] = static_cast<uint8_t>(tail >> 16);
  end[2] = static_cast<uint8_t>(tail >> 8);
  end[3] = static_cast<uint8_t>(tail);
  out = output.release();
  return static_cast<int>(total + 4);
}

}  // namespace
}  // namespace c2d

int createG4Tile(unsigned char *source, unsigned char *&out, int width, int bytesPerRow, int rows) {
  return c2d::CodeBlock(c2d::Block::kTile, source, out, width, bytesPerRow, rows);
}

int create_g4_tiff_strip_tmp(unsigned char *source, unsigned char *&out, int width, int bytesPerRow,
                             int rows) {
  return c2d::CodeBlock(c2d::Block::kStrip, source, out, width, bytesPerRow, rows);
}

bool createG4Tiles(unsigned int count, int width, int rows, int bytesPerRow,
                   unsigned char **sources, unsigned int *sourceBytes, unsigned char ***outData,
                   unsigned int **outBytes) {
  if (count == 0 || sources == nullptr || sourceBytes == nullptr || outData == nullptr ||
      outBytes == nullptr) {
    return false;
  }
  c2d::MallocArray<unsigned char *> data = c2d::Calloc<unsigned char *>(count);
  c2d::MallocArray<unsigned int> sizes = c2d::Calloc<unsigned int>(count);
  if (!data || !sizes) {
    return false;
  }
  for (unsigned int i = 0; i < count; ++i) {
    const int n = createG4Tile(sources[i], data.get()[i], width, bytesPerRow, rows);
    if (n == 0) {
      for (unsigned int k = 0; k < i; ++k) {
        std::free(data.get()[k]);
      }
      return false;
    }
    sizes.get()[i] = static_cast<unsigned int>(n);
  }
  *outData = data.release();
  *outBytes = sizes.release();
  return true;
}
