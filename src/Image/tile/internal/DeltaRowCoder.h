// The HP-RTL delta row coder shared by the bilevel and true-colour tile iterators.
// Internal: each iterator class forwards its private coding members here, and the
// template keyed by that class gives each class a command scratch of its own.
#ifndef IMAGE_TILE_INTERNAL_DELTAROWCODER_H_
#define IMAGE_TILE_INTERNAL_DELTAROWCODER_H_

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

#include "Image/core/internal/FreeDeleter.h"
#include "Image/scale/internal/TableAlloc.h"
#include "Image/tile/internal/RowMasks.h"

// Word-at-a-time scans find the first byte of a difference by its lowest bits.
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#define C2D_TILE_LITTLE_ENDIAN 1
#else
#define C2D_TILE_LITTLE_ENDIAN 0
#endif

namespace c2d {

// Where a tile's records go: the iterator's buffer, its capacity and its running
// length, which only the iterator's construction clears.
struct RtlOutput {
  unsigned char *buffer;
  uint32_t capacity;
  uint32_t &length;
};

template <typename Owner>
class DeltaRowCoder {
 public:
  // Bits 7 to 5 of a command byte, by run length (index 0 is never a run).
  static constexpr unsigned char kRunBits[9] = {0x00, 0x00, 0x20, 0x40, 0x60,
                                                0x80, 0xA0, 0xC0, 0xE0};
  // How many 64-byte blocks CodeRow compares in one pass before their commands.
  static constexpr uint32_t kChunk = 64;
  // The longest run one command replaces.
  static constexpr uint32_t kMaxRun = 8;

  // Differing bytes from `start`, stopping at the first equal byte, at rowBytes or
  // at kMaxRun.
  static uint32_t countDeltas(const unsigned char *seedRow, const unsigned char *currentRow,
                              unsigned start, unsigned rowBytes) {
#if C2D_TILE_LITTLE_ENDIAN
    if (start < rowBytes && rowBytes - start >= kMaxRun) {
      // The first zero byte of the difference: the lowest flagged one is exact.
      const uint64_t d = Load8(seedRow + start) ^ Load8(currentRow + start);
      const uint64_t zero = (d - 0x0101010101010101u) & ~d & 0x8080808080808080u;
      return zero == 0 ? kMaxRun : static_cast<uint32_t>(__builtin_ctzll(zero) / 8);
    }
#endif
    uint32_t n = 0;
    while (n < kMaxRun && start + n < rowBytes && seedRow[start + n] != currentRow[start + n]) {
      ++n;
    }
    return n;
  }

  // Offsets under 31 fit the command byte; longer ones take the code 31, k bytes of
  // 0xFF and a final byte that is never 0xFF. A negative offset leaves all at zero.
  static void calculateOffsetCodes(int offset, unsigned char &offsetCode, uint64_t &ffCount,
                                   bool &hasFinal, unsigned char &finalByte) {
    offsetCode = 0;
    ffCount = 0;
    hasFinal = false;
    finalByte = 0;
    if (offset < 0) {
      return;
    }
    if (offset < 31) {
      offsetCode = static_cast<unsigned char>(offset);
      return;
    }
    offsetCode = 31;
    hasFinal = true;
    if (offset >= 286) {
      ffCount = static_cast<uint64_t>(offset - 286) / 255 + 1;
    }
    finalByte = static_cast<unsigned char>(static_cast<uint64_t>(offset) - 31 - 255 * ffCount);
  }

  // Builds one command for the run of runLength bytes at `position` and points
  // `command` at it; its length is the result, 0 when the scratch cannot be grown
  // to hold it. The command stays good until the next call.
  static uint64_t createRTLCommandFromDeltas(unsigned char *currentRow, unsigned previousEnd,
                                             unsigned position, unsigned runLength,
                                             char *&command) {
    unsigned char code = 0;
    uint64_t k = 0;
    bool hasFinal = false;
    unsigned char finalByte = 0;
    calculateOffsetCodes(static_cast<int>(position - previousEnd), code, k, hasFinal, finalByte);
    const uint64_t length = 1 + k + (hasFinal ? 1 : 0) + runLength;
    Scratch &s = scratch_;
    if (length > s.capacity && !s.Grow(length)) {
      command = reinterpret_cast<char *>(s.bytes);
      return 0;
    }
    // The bytes after the first read as zero outside the command, as if the whole
    // scratch were cleared: only the stretch the last command left behind needs it.
    if (s.used > length) {
      std::memset(s.bytes + length, 0, s.used - length);
    }
    s.used = length;
    unsigned char *out = s.bytes;
    *out++ = static_cast<unsigned char>(kRunBits[runLength] | code);
    std::memset(out, 0xFF, k);
    out += k;
    if (hasFinal) {
      *out++ = finalByte;
    }
    std::memcpy(out, currentRow + position, runLength);
    command = reinterpret_cast<char *>(s.bytes);
    return length;
  }

  // Appends one row record to `out`. False when a limit was hit: a command that
  // would bring the payload to payloadCapacity, a header or payload that would
  // bring the output to its capacity (a header already copied stays), or an offset
  // past INT_MAX.
  static bool outputRTLForRow(RtlOutput out, const unsigned char *seedRow,
                              unsigned char *currentRow, unsigned char *payloadScratch,
                              uint64_t payloadCapacity, unsigned int rowBytes) {
    uint64_t payloadLength = 0;
    if (!CodeRow(seedRow, currentRow, payloadScratch, payloadCapacity, rowBytes, payloadLength)) {
      return false;
    }
    char header[16];
    const uint32_t headerLength =
        FormatHeader(static_cast<int32_t>(static_cast<uint32_t>(payloadLength)), header);
    if (uint64_t{out.length} + headerLength >= out.capacity) {
      return false;
    }
    std::memcpy(out.buffer + out.length, header, headerLength);
    out.length += headerLength;
    if (out.length + payloadLength >= out.capacity) {
      return false;  // the header stays: the record is left half written
    }
    std::memcpy(out.buffer + out.length, payloadScratch, payloadLength);
    out.length += static_cast<uint32_t>(payloadLength);
    return true;
  }

  // Codes `rows` rows of one tile against a seed that starts all zero. fetch(i,
  // spare) gives row i's bytes, either in place or packed into `spare` (tileBytes
  // zeroed bytes, of which it sets the same ones every row); rowBytes of each are
  // compared. The seed is the previous row itself rather than a copy of it. False
  // at the first failing row, or when the scratch cannot be allocated.
  // With clearOutput every byte of the buffer ends up zero unless this tile wrote
  // it: the bytes its records are about to take are not cleared first.
  template <typename Fetch>
  static bool codeTile(RtlOutput out, uint32_t tileBytes, uint32_t rowBytes, uint32_t rows,
                       bool clearOutput, Fetch fetch) {
    if (!clearOutput) {
      return CodeRows(out, tileBytes, rowBytes, rows, fetch);
    }
    const uint32_t from = out.length < out.capacity ? out.length : out.capacity;
    ClearBytes(out.buffer, from);
    const bool ok = CodeRows(out, tileBytes, rowBytes, rows, fetch);
    const uint32_t to = out.length > from && out.length < out.capacity ? out.length : from;
    ClearBytes(out.buffer + to, out.capacity - to);
    return ok;
  }

 private:
  // Zeroes n bytes. A large stretch gets fresh zero pages from the system instead of
  // being written: most of an edge tile's buffer past its records is never read, and
  // a page is paid for only when something touches it again.
  static void ClearBytes(unsigned char *p, size_t n) {
#if defined(__linux__) && defined(MADV_DONTNEED)
    static const uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    if (n >= (size_t{1} << 20) && page != 0 && (page & (page - 1)) == 0) {
      const uintptr_t start = reinterpret_cast<uintptr_t>(p);
      const uintptr_t first = (start + page - 1) & ~(page - 1);
      const uintptr_t last = (start + n) & ~(page - 1);
      if (first < last &&
          madvise(reinterpret_cast<void *>(first), last - first, MADV_DONTNEED) == 0) {
        std::memset(p, 0, first - start);
        std::memset(reinterpret_cast<unsigned char *>(last), 0, start + n - last);
        return;
      }
    }
#endif
    std::memset(p, 0, n);
  }

  template <typename Fetch>
  static bool CodeRows(RtlOutput out, uint32_t tileBytes, uint32_t rowBytes, uint32_t rows,
                       Fetch fetch) {
    const bool ok = CodeRowsInPlace(out, tileBytes, rowBytes, rows, fetch);
    // Coding in place may leave up to kInPlaceSpill bytes past the last record, where
    // the buffer held nothing yet: they go back to zero.
    const uint32_t end =
        out.capacity - out.length < kInPlaceSpill ? out.capacity : out.length + kInPlaceSpill;
    std::memset(out.buffer + out.length, 0, end - out.length);
    return ok;
  }

  template <typename Fetch>
  static bool CodeRowsInPlace(RtlOutput out, uint32_t tileBytes, uint32_t rowBytes, uint32_t rows,
                              Fetch fetch) {
    const uint64_t payloadCapacity = uint64_t{tileBytes} * 3;
    MallocArray<unsigned char> seed(static_cast<unsigned char *>(TableCalloc(tileBytes, 1)));
    MallocArray<unsigned char> spare(static_cast<unsigned char *>(TableCalloc(tileBytes, 1)));
    MallocArray<unsigned char> payload(
        payloadCapacity > SIZE_MAX
            ? nullptr
            : static_cast<unsigned char *>(TableCalloc(static_cast<size_t>(payloadCapacity), 1)));
    if (seed == nullptr || spare == nullptr || payload == nullptr) {
      return false;
    }
    const unsigned char *seedRow = seed.get();
    uint32_t headerGuess = 5;  // ESC "*b0W"
    for (uint32_t i = 0; i < rows; ++i) {
      // A packed row goes into whichever buffer the seed is not.
      unsigned char *into = seedRow == spare.get() ? seed.get() : spare.get();
      unsigned char *row = fetch(i, into);
      if (!PutRow(out, seedRow, row, payload.get(), payloadCapacity, rowBytes, headerGuess)) {
        return false;
      }
      seedRow = row;
    }
    return true;
  }

  // The longest record header, and how far past its record coding in place may write:
  // a command's eight row bytes past a shorter run, and a payload moved back over a
  // header guessed too long.
  static constexpr uint32_t kLongestHeader = 16;
  static constexpr uint32_t kInPlaceSpill = 32;

  // outputRTLForRow, with the payload coded straight into the output behind room for
  // its header wherever the output has room for the longest header and a whole
  // payload; the header's length is guessed from the row before, and the payload is
  // moved in the rare row whose length has another count of digits. A payload is at
  // most twice its row, so there it stays under its limit and every limit test of
  // outputRTLForRow passes.
  static bool PutRow(RtlOutput out, const unsigned char *seedRow, unsigned char *row,
                     unsigned char *payloadScratch, uint64_t payloadCapacity, uint32_t rowBytes,
                     uint32_t &headerGuess) {
    if (rowBytes > INT_MAX / 2 ||
        uint64_t{out.length} + kLongestHeader + payloadCapacity >= out.capacity) {
      return outputRTLForRow(out, seedRow, row, payloadScratch, payloadCapacity, rowBytes);
    }
    unsigned char *const payload = out.buffer + out.length + headerGuess;
    uint64_t payloadLength = 0;
    if (!CodeRow(seedRow, row, payload, payloadCapacity, rowBytes, payloadLength)) {
      // Cannot happen by the bound above; if it did, nothing of the row stays.
      std::memset(out.buffer + out.length, 0, kLongestHeader + payloadCapacity);
      return false;
    }
    char header[kLongestHeader];
    const uint32_t headerLength =
        FormatHeader(static_cast<int32_t>(static_cast<uint32_t>(payloadLength)), header);
    if (headerLength != headerGuess) {
      std::memmove(out.buffer + out.length + headerLength, payload, payloadLength);
      headerGuess = headerLength;
    }
    std::memcpy(out.buffer + out.length, header, headerLength);
    out.length += headerLength + static_cast<uint32_t>(payloadLength);
    return true;
  }

  struct Scratch {
    // 512 bytes hold any command up to an offset of 128,295; wider rows grow it.
    unsigned char fixed[512] = {};
    MallocArray<unsigned char> grown;
    unsigned char *bytes = fixed;
    uint64_t capacity = sizeof fixed;
    uint64_t used = 0;

    bool Grow(uint64_t need) {
      if (need > SIZE_MAX) {
        return false;
      }
      MallocArray<unsigned char> more(
          static_cast<unsigned char *>(TableCalloc(static_cast<size_t>(need), 1)));
      if (more == nullptr) {
        return false;
      }
      grown = std::move(more);
      bytes = grown.get();
      capacity = need;
      used = 0;
      return true;
    }
  };

  static uint64_t Load8(const unsigned char *p) {
    uint64_t v = 0;
    std::memcpy(&v, p, 8);
    return v;
  }

  static uint32_t Ctz64(uint64_t v) {
#if defined(__GNUC__)
    return static_cast<uint32_t>(__builtin_ctzll(v));
#else
    uint32_t n = 0;
    for (; n < 64 && (v >> n & 1) == 0; ++n) {
    }
    return n;
#endif
  }

  // Bit i set where the rows differ at byte from + i, for the up to 64 bytes from
  // `from` before rowBytes; the bits past rowBytes are clear.
  static uint64_t DiffMask(const unsigned char *a, const unsigned char *b, uint32_t from,
                           uint32_t rowBytes) {
    const uint32_t n = rowBytes - from < 64 ? rowBytes - from : 64;
    if (n == 64) {
      uint64_t mask = 0;
      DiffBlockMasks(a, b, from, 1, &mask);
      return mask;
    }
    a += from;
    b += from;
    uint64_t equal = 0;
    uint32_t i = 0;
#if defined(__SSE2__)
    const auto equalLanes = [a, b](uint32_t at) {
      return _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(a + at)),
                            _mm_loadu_si128(reinterpret_cast<const __m128i *>(b + at)));
    };
    const auto bits = [](__m128i lanes) {
      return uint64_t{static_cast<uint16_t>(_mm_movemask_epi8(lanes))};
    };
    for (; i + 16 <= n; i += 16) {
      equal |= bits(equalLanes(i)) << i;
    }
#endif
    for (; i < n; ++i) {
      equal |= uint64_t{a[i] == b[i]} << i;
    }
    const uint64_t inRow = n == 64 ? ~uint64_t{0} : (uint64_t{1} << n) - 1;
    return ~equal & inRow;
  }

  // The general command at `position`, with the exact limit test; false when it
  // does not fit or its offset is past INT_MAX.
  static bool PutCommand(const unsigned char *row, uint32_t previousEnd, uint32_t position,
                         uint32_t run, unsigned char *payload, uint64_t capacity,
                         uint64_t &length) {
    const uint32_t offset = position - previousEnd;
    if (offset > static_cast<uint32_t>(INT_MAX)) {
      return false;
    }
    unsigned char code = 0;
    uint64_t k = 0;
    bool hasFinal = false;
    unsigned char finalByte = 0;
    calculateOffsetCodes(static_cast<int>(offset), code, k, hasFinal, finalByte);
    const uint64_t size = 1 + k + (hasFinal ? 1 : 0) + run;
    if (length + size >= capacity) {
      return false;
    }
    unsigned char *command = payload + length;
    *command++ = static_cast<unsigned char>(kRunBits[run] | code);
    if (hasFinal) {
      std::memset(command, 0xFF, k);
      command += k;
      *command++ = finalByte;
    }
    std::memcpy(command, row + position, run);
    length += size;
    return true;
  }

  // The first two bytes of a command by its offset under 286, as one native 16-bit
  // word (the second byte is the data's when the offset is short), and how many of
  // them come before the data; the run bits go in at kRunShift.
  struct ShortForms {
    uint16_t head[286];
    unsigned char skip[286];
  };
  static constexpr ShortForms MakeShortForms() {
    ShortForms t{};
    for (uint32_t offset = 0; offset < 286; ++offset) {
      const uint32_t first = offset < 31 ? offset : 31, second = (offset - 31) & 0xFF;
      t.head[offset] =
          static_cast<uint16_t>(C2D_TILE_LITTLE_ENDIAN ? first | second << 8 : second | first << 8);
      t.skip[offset] = static_cast<unsigned char>(offset < 31 ? 1 : 2);
    }
    return t;
  }
  static constexpr ShortForms kShortForms = MakeShortForms();
  static constexpr uint32_t kRunShift = C2D_TILE_LITTLE_ENDIAN ? 5 : 13;

  // A command whose offset is under 286, written with fixed stores: its first two
  // bytes and eight row bytes go out whatever the run; the result is the command's
  // own length. The caller leaves room for ten bytes and eight readable row bytes.
  static uint32_t PutShortCommand(const unsigned char *from, uint32_t offset, uint32_t run,
                                  unsigned char *command) {
    const uint16_t head = static_cast<uint16_t>(kShortForms.head[offset] | (run - 1) << kRunShift);
    std::memcpy(command, &head, 2);
    std::memcpy(command + kShortForms.skip[offset], from, 8);
    return kShortForms.skip[offset] + run;
  }

  // One row's commands into `payload` from `length` on. The differing bytes are
  // taken 64 at a time as a bit mask, so the ends of runs and gaps come from bit
  // arithmetic instead of a branch per byte, which a drawing's scattered short runs
  // mispredict. The masks of up to kChunk blocks are taken first, in one pass with
  // no branch on their contents, and only the blocks that differ are visited: an
  // equal block costs no branch either way. In a block whose runs are all at most 8
  // long and stay inside it, every run is one command: its start and end bits are
  // walked side by side and its first two bytes come from kShortForms. Other blocks
  // take one command at a time from the lowest bit not yet coded, over the set bits
  // above it cut at 8 (the next block's low bits complete a run at the top).
  static bool CodeRow(const unsigned char *seed, const unsigned char *row, unsigned char *payload,
                      uint64_t capacity, uint32_t rowBytes, uint64_t &length) {
    const uint32_t blocks = rowBytes / 64 + (rowBytes % 64 != 0 ? 1 : 0);
    uint32_t previousEnd = 0;
    uint64_t used = length;
    const auto put = [&](uint32_t position, uint32_t run) {
      const uint32_t offset = position - previousEnd;
      if ((offset < 286) & (rowBytes - position >= 8) & (used + 10 < capacity)) {
        used += PutShortCommand(row + position, offset, run, payload + used);
      } else if (!PutCommand(row, previousEnd, position, run, payload, capacity, used)) {
        return false;
      }
      previousEnd = position + run;
      return true;
    };
    uint64_t masks[kChunk + 1];
    for (uint32_t first = 0; first < blocks; first += kChunk) {
      const uint32_t count = blocks - first < kChunk ? blocks - first : kChunk;
      // Bit i: block first + i has a difference. The row's last block may be short.
      const uint32_t whole = first + count < blocks || rowBytes % 64 == 0 ? count : count - 1;
      uint64_t changed = DiffBlockMasks(seed, row, size_t{first} * 64, whole, masks);
      if (whole < count) {
        masks[whole] = DiffMask(seed, row, (first + whole) * 64, rowBytes);
        changed |= uint64_t{masks[whole] != 0} << whole;
      }
      masks[count] =
          first + count < blocks ? DiffMask(seed, row, (first + count) * 64, rowBytes) : 0;
      while (changed != 0) {
        const uint32_t i = Ctz64(changed);
        changed &= changed - 1;
        const uint32_t base = (first + i) * 64;
        const uint64_t next = masks[i + 1];
        uint64_t m = masks[i];
        // A run from the block before may have coded up to 7 bytes of this one.
        if (previousEnd > base) {
          m &= ~uint64_t{0} << (previousEnd - base);
          if (m == 0) {
            continue;
          }
        }
        uint64_t nine = m & m >> 1;  // bit i: bytes i to i + 8 all differ
        nine &= nine >> 2;
        nine &= nine >> 4;
        nine &= m >> 8;
        uint64_t starts = m & ~(m << 1);
        uint64_t ends = m & ~(m >> 1);
        // Every run one command, the first offset short, ten bytes of room for each of
        // the at most 32 commands and eight readable bytes after each start: then only
        // fixed stores, and an offset inside the block is always under 64.
        if (((nine | (m >> 63 & next)) == 0) & (base + Ctz64(starts) - previousEnd < 286) &
            (rowBytes - base >= 72) & (used + 330 < capacity)) {
          unsigned char *command = payload + used;
          const unsigned char *from = row + base;
          // The first end may lie in an earlier block: the offset wraps back.
          uint64_t end = uint64_t{previousEnd} - base;
          do {
            const uint64_t s = Ctz64(starts);
            const uint64_t e = Ctz64(ends);
            const uint64_t offset = s - end;
            command += PutShortCommand(from + s, static_cast<uint32_t>(offset),
                                       static_cast<uint32_t>(e - s + 1), command);
            end = e + 1;
            starts &= starts - 1;
            ends &= ends - 1;
          } while (starts != 0);
          used = static_cast<uint64_t>(command - payload);
          previousEnd = base + static_cast<uint32_t>(end);
          continue;
        }
        while (m != 0) {
          const uint32_t s = Ctz64(m);
          const uint64_t window = m >> s | (next << 1) << (63 - s);
          const uint32_t run = Ctz64(~window | 0x100);
          if (!put(base + s, run)) {
            length = used;
            return false;
          }
          m &= (~uint64_t{0} << s) << run;
        }
      }
    }
    length = used;
    return true;
  }

  // ESC "*b<n>W" with n in decimal, no padding; the length of the text.
  static uint32_t FormatHeader(int32_t n, char *out) {
    char digits[12];
    uint32_t count = 0;
    const bool negative = n < 0;
    uint32_t v = negative ? 0u - static_cast<uint32_t>(n) : static_cast<uint32_t>(n);
    do {
      digits[count++] = static_cast<char>('0' + v % 10);
      v /= 10;
    } while (v != 0);
    uint32_t length = 0;
    out[length++] = '\x1B';
    out[length++] = '*';
    out[length++] = 'b';
    if (negative) {
      out[length++] = '-';
    }
    while (count != 0) {
      out[length++] = digits[--count];
    }
    out[length++] = 'W';
    return length;
  }

  // One per iterator class, unguarded: one tile coding of a class at a time.
  static inline Scratch scratch_;
};

}  // namespace c2d

#endif  // IMAGE_TILE_INTERNAL_DELTAROWCODER_H_
