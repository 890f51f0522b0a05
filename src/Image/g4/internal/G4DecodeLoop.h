// The Group 4 row decoder's machinery: a bit reader over a tile's 16-bit words, the
// walker of the reference line, one row's decoding and the loop over a tile's rows.
// Internal, and all inline: each file that instantiates the row loop for its handlers
// gets a copy of its own, so that how the compiler lays out one painter's loop does
// not move with the others' code.
#ifndef IMAGE_G4_INTERNAL_G4DECODELOOP_H_
#define IMAGE_G4_INTERNAL_G4DECODELOOP_H_

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "Image/g4/G4Decode.h"
#include "Image/g4/internal/G4Tables.h"
#include "Image/g4/internal/G4TileRows.h"

namespace c2d {
namespace g4loop {

// Widths whose change lists, W + 6 entries of W + 1 at most, fit 32-bit signed values.
inline constexpr uint32_t kMaxWidth = 0x7FFFFFF0u;

// Positions come from the stream and may be anything; they wrap as 32-bit values.
inline int32_t WrapAdd(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

// The coded bits of a tile, read as 16-bit little-endian words from the most
// significant bit down: stream byte 2k is the byte at offset 2k + 1. `pos` counts the
// bits consumed from the top of word 0; the reader's window holds the bits from pos
// on, top-aligned, `avail` of them valid (at least 16 after every step), and
// `nextWord` is the word that comes in next. Far from the ends of the data a step is
// a shift and, now and then, one 8-byte load of four words; near them each step
// checks the bounds word by word. The word order, the odd-byte rule and the 1-based
// bitLoc appear only in StartBit, the constructor, Word, Words and Save.
//
// The bounds are those of a reader that kept 17 to 32 bits in a 32-bit buffer and
// loaded one word at a time: the word it needed next is next = (pos + 31) / 16, and
// `fill` = pos + 32 - 16 * next, from 1 to 16, the bits gone from that buffer.
class G4BitReader {
 public:
  // The bit a row starts at. A row that starts at an odd byte begins in the high byte
  // of its word: bitLoc moves on by 8 to reach it, and stays moved in the tile, so
  // each retry of a row that failed there moves it on by 8 more (kept for callers
  // that read the position after a failure). A bitLoc past 16 then lies outside
  // the word, which the decoder refuses.
  // Half the rows start at an odd byte, so a branch here would be mispredicted on
  // every other row: the 8 is added as arithmetic.
  static uint32_t StartBit(Img1G4Tile &tile) {
    const uint32_t bitLoc = tile.bitLoc() + ((tile.byteLoc() & 1u) << 3);
    tile.bitLoc() = bitLoc;
    return bitLoc;
  }

  // Copies the position out of the tile, bitLoc being StartBit's answer (0 to 16).
  // A bitLoc of 0 reads one zero bit before the word. The first words are not
  // checked against the read bound.
  G4BitReader(const unsigned char *data, uint32_t byteCount, uint32_t byteLoc, uint32_t bitLoc,
              unsigned long long limitBytes)
      : data_(data),
        fullWords_(byteCount / 2),
        endBits_(16 * static_cast<int64_t>(byteCount / 2)),
        limit_(limitBytes),
        limit32_(static_cast<uint32_t>(limitBytes)) {
    fastNext_ = fullWords_ < limit_ ? fullWords_ : limit_;
    // Steps that start at or before safe_ pass every bound: the word they may need
    // lies inside the tile and below both forms of the caller's bound.
    if (limit32_ == 0) {
      safe_ = INT64_MIN;
    } else {
      const uint64_t bounded = (limit32_ - 1u) / 2u;
      const uint64_t m = fastNext_ < bounded ? fastNext_ : bounded;
      safe_ = 16 * static_cast<int64_t>(m) - 16;
    }
    const uint64_t word = byteLoc / 2;
    pos_ = 16 * static_cast<int64_t>(word) + static_cast<int64_t>(bitLoc) - 1;
    // Inside the tile the three words come with one load; the fourth it brings is the
    // word that comes next, which the window may hold past its valid bits.
    if (word + 4 <= fullWords_) {
      win_ = Words(word);
    } else {
      win_ = (static_cast<uint64_t>(Word(word)) << 48) |
             (static_cast<uint64_t>(Word(word + 1)) << 32) |
             (static_cast<uint64_t>(Word(word + 2)) << 16);
    }
    nextWord_ = word + 3;
    if (bitLoc == 0) {
      win_ >>= 1;
      avail_ = 49;
    } else {
      win_ <<= bitLoc - 1;
      avail_ = 49 - static_cast<int>(bitLoc);
    }
  }

  uint32_t Bits() const { return static_cast<uint32_t>(win_ >> 32); }
  // The top n bits, 1 <= n <= 16.
  uint32_t Peek(unsigned n) const { return static_cast<uint32_t>(win_ >> (64 - n)); }

  // Drops n <= 13 bits. False when the data has run out: the word needed next lies
  // past the caller's bound, or the bits consumed pass the tile's own bytes.
  [[nodiscard]] bool Consume(unsigned n) {
    if (pos_ > safe_ && !StaysInside(n)) {
      return false;
    }
    pos_ += n;
    win_ <<= n;
    avail_ -= static_cast<int>(n);
    if (avail_ < 16) {
      Refill();
    }
    return true;
  }

  // How many of the next bits are ones that single-bit steps could drop one by one
  // without meeting a bound check: at most the bits held, and none near the ends.
  unsigned LeadingOnes() const {
    if (pos_ > safe_) {
      return 0;
    }
    const uint64_t zeros = ~win_;
    const int64_t ones = zeros == 0 ? 64 : __builtin_clzll(zeros);
    return static_cast<unsigned>(std::min({ones, int64_t{avail_}, int64_t{63}, safe_ - pos_ + 1}));
  }

  // Drops n bits that LeadingOnes counted.
  void Skip(unsigned n) {
    pos_ += n;
    win_ <<= n;
    avail_ -= static_cast<int>(n);
    if (avail_ < 16) {
      Refill();
    }
  }

  // Whether the consumed bits end on a byte boundary of the stream.
  bool AtByteBoundary() const { return Fill() % 8 == 0; }

  // Writes the position of the next unread bit back into the tile.
  void Save(Img1G4Tile &tile) const { SaveAt(tile, pos_); }

  // The bits consumed, for SaveAt.
  int64_t Position() const { return pos_; }

  // Writes position `pos` into the tile, as a reader standing there would save it.
  static void SaveAt(Img1G4Tile &tile, int64_t pos) {
    const uint32_t unreadLess1 = 31 - static_cast<uint32_t>(Fill(pos));
    const uint64_t endOfLoaded = 2 * Next(pos);
    tile.byteLoc() = static_cast<uint32_t>(endOfLoaded - unreadLess1 / 8 - 1);
    tile.bitLoc() = 8 - unreadLess1 % 8;
  }

 private:
  // pos is never below -1, so both are defined.
  static uint64_t Next(int64_t pos) { return static_cast<uint64_t>(pos + 31) >> 4; }
  static int64_t Fill(int64_t pos) { return pos + 32 - 16 * static_cast<int64_t>(Next(pos)); }
  uint64_t Next() const { return Next(pos_); }
  int64_t Fill() const { return Fill(pos_); }

  // Word k of the tile, or 0 when it is not wholly inside the tile's bytes.
  uint32_t Word(uint64_t k) const {
    if (k >= fullWords_) {
      return 0;
    }
    // SAFETY: k < byteCount / 2, so both bytes lie inside the tile.
    return static_cast<uint32_t>(data_[2 * k]) | (static_cast<uint32_t>(data_[2 * k + 1]) << 8);
  }

  // Words k to k + 3 top-aligned, k + 3 below fullWords.
  uint64_t Words(uint64_t k) const {
    uint64_t v;
    // SAFETY: the caller checked that the eight bytes lie inside the tile.
    std::memcpy(&v, data_ + 2 * k, sizeof v);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    v = __builtin_bswap64(v);
#endif
    v = (v >> 32) | (v << 32);
    return ((v & 0x0000FFFF0000FFFFull) << 16) | ((v >> 16) & 0x0000FFFF0000FFFFull);
  }

  // Tops the window up to more than 48 valid bits. Bits past the valid ones may
  // already hold the words that come next; loading them again sets the same bits.
  void Refill() {
    if (nextWord_ + 4 <= fullWords_) {
      win_ |= Words(nextWord_) >> avail_;
      avail_ += 48;
      nextWord_ += 3;
      return;
    }
    while (avail_ <= 48) {
      win_ |= static_cast<uint64_t>(Word(nextWord_)) << (48 - avail_);
      avail_ += 16;
      ++nextWord_;
    }
  }

  // The checked step near the ends: the next word against twice the caller's bound
  // (word index against the byte count, as callers have always had it), the consumed
  // position against the end of the tile's whole words, and the byte offset of a
  // word about to be loaded against the bound.
  bool StaysInside(unsigned n) const {
    const uint64_t next = Next();
    if (next > fastNext_ && (next > limit_ || pos_ + n > endBits_)) {
      return false;
    }
    return Fill() + n <= 16 || static_cast<uint32_t>(2 * next) < limit32_;
  }

  const unsigned char *data_;
  uint64_t fullWords_;
  int64_t endBits_;
  uint64_t limit_;
  uint32_t limit32_;
  uint64_t fastNext_;
  int64_t safe_;
  int64_t pos_;
  uint64_t win_;
  int avail_;
  uint64_t nextWord_;
};

// The entry of the sub-table that `escape` names, for the colour being read.
inline uint32_t SubTableEntry(const G4DecodeTables &t, int colour, int32_t escape, uint32_t bits) {
  const uint32_t bits9To12 = (bits >> 20) & 0xFu;
  if (escape == c2d::kG4ToExtMakeup) {
    return t.G4ExtMakeupTable[bits9To12];
  }
  if (colour == 0) {
    switch (escape) {
      case c2d::kG4ToWhiteSub2:
        return t.G4WhiteSub2[(bits >> 23) & 0x3u];
      case c2d::kG4ToWhiteSub1:
        return t.G4WhiteSub1[(bits >> 23) & 0x1u];
      case c2d::kG4ToWhiteSub4:
        return t.G4WhiteSub4[(bits >> 23) & 0xFu];
      default:
        return c2d::G4PackEntry(c2d::kG4NoCode, 0);
    }
  }
  switch (escape) {
    case c2d::kG4ToBlackSub2:
      return t.G4BlackSub2[(bits >> 19) & 0x1Fu];
    case c2d::kG4ToBlackSub3:
      return t.G4BlackSub3[(bits >> 19) & 0x1Fu];
    case c2d::kG4ToBlackSub5:
      return t.G4BlackSub5[bits9To12];
    case c2d::kG4ToBlackSub6:
      return t.G4BlackSub6[bits9To12];
    case c2d::kG4ToBlackSub12:
      return t.G4BlackSub12[bits9To12];
    case c2d::kG4ToBlackSub13:
      return t.G4BlackSub13[bits9To12];
    default:
      return c2d::G4PackEntry(c2d::kG4NoCode, 0);
  }
}

// The reference line and the walker b over it. `end` is the list's own last entry,
// W + 1, taken as an index, and `last` the index of that entry: the walker stops at
// the first and its final step forward at the second.
struct RefWalker {
  const int32_t *ref;
  int32_t end;
  int32_t last;
  int32_t b;
  int colour;

  // Moves b to b1, the first change right of a0 of the colour opposite to a0's, and
  // answers 0, or G4_DECODE_REF_END when b has reached `end`.
  short Walk(int32_t a0, int a0Colour) {
    if (b >= end) {
      return G4_DECODE_REF_END;
    }
    // SAFETY: 0 <= b < end <= W + 5 throughout, inside the W + 6 entries of the list.
    if (ref[b] <= a0) {
      do {
        ++b;
        colour ^= 1;
      } while (b < end && ref[b] <= a0);
    } else if (b > 0 && ref[b - 1] > a0) {
      // A change left of the one passed: a vertical-left code moved a0 back. Entry 0
      // stops the walk even when a0 is negative.
      do {
        --b;
        colour ^= 1;
      } while (b > 0 && ref[b - 1] > a0);
    }
    if (colour == a0Colour) {
      if (b < end && b < last) {
        ++b;
      }
      colour ^= 1;
    }
    return b < end ? G4_DECODE_OK : G4_DECODE_REF_END;
  }
};

// The change list being written: entry `pos` is the last one, kept in `last` too so
// that the row loop tests a register, and no entry goes past `lastSlot`.
struct ChangeWriter {
  int32_t *changes;
  int32_t pos;
  int32_t lastSlot;
  int32_t last;

  [[nodiscard]] bool Push(int32_t column) {
    if (pos >= lastSlot) {
      return false;
    }
    changes[++pos] = column;
    last = column;
    return true;
  }
};

// The state of the row loop: the reading position, the walker, a0 and its colour.
struct RowState {
  G4BitReader bits;
  RefWalker walker;
  ChangeWriter out;
  int32_t a0;
  int colour;
  // Set by a row that decoded to its reference list, entry for entry.
  bool copied;
};

// A vertical mode: a1 lies `offset` columns from b1.
inline short DecodeVertical(RowState &s, uint32_t mode, int32_t offset) {
  if (const short walked = s.walker.Walk(s.a0, s.colour)) {
    return walked;
  }
  // Nothing checks that a1 lies right of a0 or inside the row.
  const int32_t a1 = WrapAdd(s.walker.ref[s.walker.b], offset);
  if (!s.out.Push(a1)) {
    return G4_DECODE_NO_DATA;
  }
  s.a0 = a1;
  s.colour ^= 1;
  return s.bits.Consume(G4EntryLength(mode)) ? G4_DECODE_OK : G4_DECODE_NO_DATA;
}

// A run of V0 codes, each a single 1 bit, from where a0 stands on b (entry b of the
// reference) with the walker's colour its own, as at a row's start on a reference
// that starts at 0. While the reference rises, each V0 then moves b one entry on and
// copies it, so the copies are taken straight from the list as long as they rise,
// fit the list and the row goes on (a change past w ends it). A row like the one
// above, most rows inside a drawing's lines, is copied whole, a window of bits at a
// time. Only at a row's start: inside rows the runs of a text page are short, and
// the test after every V0 cost more than the copies saved (5-9 % on the ghostscript
// pages).
inline void CopyV0Run(RowState &s, int32_t w) {
  const int32_t *const ref = s.walker.ref;
  int32_t *const out = s.out.changes;
  // SAFETY: b + 1 < end <= W + 5 and pos < lastSlot before each copy.
  const int32_t bEnd = s.walker.end - 1;
  const int32_t posEnd = s.out.lastSlot;
  while (s.out.last <= w) {
    const unsigned ones = s.bits.LeadingOnes();
    int32_t b = s.walker.b;
    int32_t pos = s.out.pos;
    unsigned taken = 0;
    while (taken < ones && b < bEnd && pos < posEnd && ref[b + 1] > ref[b]) {
      out[++pos] = ref[++b];
      ++taken;
      if (ref[b] > w) {
        break;
      }
    }
    if (taken == 0) {
      return;
    }
    s.walker.b = b;
    s.walker.colour ^= static_cast<int>(taken & 1u);
    s.colour ^= static_cast<int>(taken & 1u);
    s.a0 = ref[b];
    s.out.pos = pos;
    s.out.last = ref[b];
    s.bits.Skip(taken);
    if (taken < ones) {
      return;
    }
  }
}

// Pass mode: a0 moves under b2, and nothing is written.
inline short DecodePass(RowState &s, uint32_t mode) {
  if (const short walked = s.walker.Walk(s.a0, s.colour)) {
    return walked;
  }
  // SAFETY: b < end <= W + 5, so b2 is inside the list.
  s.a0 = s.walker.ref[s.walker.b + 1];
  return s.bits.Consume(G4EntryLength(mode)) ? G4_DECODE_OK : G4_DECODE_NO_DATA;
}

// One run of the current colour: make-up codes add up until a terminating code,
// a0 moving by each. `moved` tells whether any code moved it.
inline short DecodeRun(RowState &s, const G4DecodeTables &t, bool &moved) {
  moved = false;
  for (;;) {
    const uint32_t top8 = s.bits.Peek(8);
    uint32_t entry = s.colour ? t.G4BlackTable[top8] : t.G4WhiteTable[top8];
    int32_t value = G4EntryValue(entry);
    if (value < 0 && value != c2d::kG4NoCode) {
      entry = SubTableEntry(t, s.colour, value, s.bits.Bits());
      value = G4EntryValue(entry);
    }
    if (value < 0) {
      return G4_DECODE_BAD_RUN;
    }
    // From the imaginary position 0 a run of n ends at column n + 1.
    const int32_t step = s.a0 == 0 ? value + 1 : value;
    if (step > 0) {
      s.a0 = WrapAdd(s.a0, step);
      moved = true;
    }
    if (!s.bits.Consume(G4EntryLength(entry))) {
      return G4_DECODE_NO_DATA;
    }
    if (value <= 63) {
      return G4_DECODE_OK;
    }
  }
}

// Horizontal mode: two runs, of a0's colour and then of the other. Out of line, as
// the end of block below: a row loop with them inline ran 3-7 % slower in strips.
[[gnu::noinline]] inline short DecodeHorizontal(RowState &s, const G4DecodeTables &t,
                                                uint32_t mode) {
  if (!s.bits.Consume(G4EntryLength(mode))) {
    return G4_DECODE_NO_DATA;
  }
  for (int run = 0; run < 2; ++run) {
    bool moved = false;
    if (const short read = DecodeRun(s, t, moved)) {
      return read;
    }
    // A run of 0 away from the row's start writes nothing but still flips the
    // colour, so the list's parity and the colour part ways; kept as it is, since
    // the rows that follow are decoded against the list as written.
    if (moved && !s.out.Push(s.a0)) {
      return G4_DECODE_NO_DATA;
    }
    s.colour ^= 1;
  }
  return G4_DECODE_OK;
}

// Seven zero bits: an end of facsimile block, EOL EOL, where the first four bits of
// the second EOL are not looked at. Fill bits up to the next byte and zero bytes
// after it are passed over, and the row is taken to reach W; decoding goes on with
// what follows.
[[gnu::noinline]] inline short DecodeEndOfBlock(RowState &s, int32_t w) {
  G4BitReader &bits = s.bits;
  if (!bits.Consume(7)) {
    return G4_DECODE_NO_DATA;
  }
  if (bits.Peek(5) != 0b00001u) {
    return G4_DECODE_BAD_EOL;
  }
  if (!bits.Consume(5)) {
    return G4_DECODE_NO_DATA;
  }
  if ((bits.Peek(12) & 0xFFu) != 0b00000001u) {
    return G4_DECODE_BAD_EOL;
  }
  if (!bits.Consume(12)) {
    return G4_DECODE_NO_DATA;
  }
  while ((bits.Bits() >> 31) == 0 && !bits.AtByteBoundary()) {
    if (!bits.Consume(1)) {
      return G4_DECODE_NO_DATA;
    }
  }
  while (bits.Peek(8) == 0) {
    if (!bits.Consume(8)) {
      return G4_DECODE_NO_DATA;
    }
  }
  ChangeWriter &out = s.out;
  if (out.last <= w) {
    if (s.colour) {
      ++out.pos;
    }
    if (out.pos > out.lastSlot) {
      return G4_DECODE_NO_DATA;
    }
    out.changes[out.pos] = w;
    out.last = w;
  }
  return G4_DECODE_OK;
}

// One row into the tile's changes, against its reference list, with `s.bits`
// standing at the row's first bit; the walker, writer, a0 and colour are set up
// here. On success the list and its count are written and s.bits stands at the next
// row. Used once, in DecodeRows, so that the reader stays in registers.
[[gnu::always_inline]] inline short DecodeOneRow(const G4DecodeTables *tables, Img1G4Tile *tile,
                                                 unsigned int width, RowState &s) {
  int32_t *const changes = tile->changes();
  const int32_t *const ref = tile->refChanges();
  const int32_t w = static_cast<int32_t>(width);
  // The last index either list may use: both hold W + 6 entries.
  const int32_t lastSlot = w + 5;
  const uint32_t numRef = tile->numRefChanges();
  if (numRef < 3 || numRef > width + 6) {
    return G4_DECODE_REF_END;
  }
  s.walker = RefWalker{ref, ref[numRef - 3], static_cast<int32_t>(numRef - 3), 0, 0};
  s.out = ChangeWriter{changes, 0, lastSlot, 0};
  s.a0 = 0;
  s.colour = 0;
  s.copied = false;
  if (s.walker.end > lastSlot) {
    return G4_DECODE_REF_END;
  }
  changes[0] = 0;
  // A white row under a white one, most rows of a tiled page's margins and blank
  // tiles: a single V0 code gives the reference again. Anything else, a failing step
  // included, takes the loop.
  if (numRef == 4 && w > 0 && ref[0] == 0 && ref[1] == w + 1) {
    const uint32_t mode = tables->G4ModeTable[s.bits.Peek(7)];
    if (G4EntryValue(mode) == c2d::G4_MODE_V0 && s.bits.Consume(G4EntryLength(mode))) {
      changes[1] = w + 1;
      changes[2] = w + 1;
      changes[3] = w + 1;
      tile->numChanges() = 4;
      s.copied = ref[2] == w + 1 && ref[3] == w + 1;
      return G4_DECODE_OK;
    }
  }
  if (ref[0] == 0 && s.bits.Peek(1) != 0) {
    CopyV0Run(s, w);
    // The whole row copied: its list is the reference's if that one ends as lists
    // do, with W + 1 three times.
    const int32_t end = s.out.pos;
    s.copied = s.out.last > w && static_cast<uint32_t>(end) + 3 == numRef && ref[end] == w + 1 &&
               ref[end + 1] == w + 1 && ref[end + 2] == w + 1;
  }
  bool endOfBlock = false;
  while (s.out.last <= w) {
    const uint32_t mode = tables->G4ModeTable[s.bits.Peek(7)];
    const int32_t kind = G4EntryValue(mode);
    short result;
    // Vertical codes are most of a page's codes: one range test instead of the
    // jump through the table of kinds.
    if (static_cast<uint32_t>(kind - c2d::G4_MODE_VL3) <=
        static_cast<uint32_t>(c2d::G4_MODE_VR3 - c2d::G4_MODE_VL3)) {
      if (const short vertical = DecodeVertical(s, mode, kind - c2d::G4_MODE_V0)) {
        return vertical;
      }
      continue;
    }
    switch (kind) {
      case c2d::G4_MODE_VL3:
      case c2d::G4_MODE_VL2:
      case c2d::G4_MODE_VL1:
      case c2d::G4_MODE_V0:
      case c2d::G4_MODE_VR1:
      case c2d::G4_MODE_VR2:
      case c2d::G4_MODE_VR3:
        result = DecodeVertical(s, mode, kind - c2d::G4_MODE_V0);
        break;
      case c2d::G4_MODE_PASS:
        result = DecodePass(s, mode);
        break;
      case c2d::G4_MODE_HORIZONTAL:
        result = DecodeHorizontal(s, *tables, mode);
        break;
      case c2d::G4_MODE_EXTENSION:
        return G4_DECODE_EXTENSION;
      case c2d::G4_MODE_ZEROS:
      default:
        result = DecodeEndOfBlock(s, w);
        endOfBlock = true;
        break;
    }
    if (result != G4_DECODE_OK) {
      return result;
    }
  }

  const int32_t pos = s.out.pos;
  if (changes[pos] > w + 1) {
    return G4_DECODE_NO_DATA;
  }
  uint32_t count;
  if (endOfBlock) {
    // Whatever was decoded, a row that met an end of block is white.
    for (int32_t i = pos + 1; i <= pos + 2 && i <= lastSlot; ++i) {
      changes[i] = w + 1;
    }
    changes[0] = 0;
    changes[1] = w + 1;
    changes[2] = w + 1;
    changes[3] = w + 1;
    count = 4;
  } else {
    if (pos + 2 > lastSlot) {
      return G4_DECODE_NO_DATA;
    }
    changes[pos + 1] = w + 1;
    changes[pos + 2] = w + 1;
    count = static_cast<uint32_t>(pos) + 3;
  }
  tile->numChanges() = count;
  return G4_DECODE_OK;
}

// A caller's function and its context, as the row loop calls them.
struct RowCallback {
  bool (*done)(void *ctx, Img1G4Tile &tile, uint32_t row);
  void *ctx;
  bool operator()(Img1G4Tile &tile, uint32_t row) const { return done(ctx, tile, row); }
  bool None() const { return done == nullptr; }
};

// Whether a row's handler lets the walk go on: callbacks answer true, painters IMG_OK.
inline bool GoesOn(bool answer) { return answer; }
inline bool GoesOn(ImgErr answer) { return answer == IMG_OK; }
// Whether there is no handler: one row, its lists left to the caller.
inline bool NoHandler(const RowCallback &done) { return done.None(); }
template <typename Painter>
inline bool NoHandler(const Painter &) {
  return false;
}
// The end of a walk, for a handler that holds rows back.
template <typename Done>
inline void Finish(const Done &done, Img1G4Tile &tile) {
  if constexpr (!std::is_same_v<Done, RowCallback>) {
    done.Finish(tile);
  }
}

// The rows of a tile one after another with one reader, as that many calls of
// CCITT_G4Decode: after each row that decodes, done(tile, r) and the exchange
// of the lists, unless there is no handler (one row, lists left to the caller). A row
// that fails leaves the tile as a failed call does, and later rows are such calls.
// `stopped` is set when `done` says stop; the position is then saved and the
// lists of that row are not exchanged. Answers the last row's result.
template <typename Done>
short DecodeRows(Img1G4Tile *tile, unsigned int width, unsigned long long limitBytes, uint32_t rows,
                 Done done, bool &stopped, bool *copied = nullptr) {
  const G4DecodeTables *tables = G4ActiveDecodeTables();
  if (tables == nullptr || tile == nullptr) {
    return G4_DECODE_NO_DATA;
  }
  const uint32_t byteLoc = tile->byteLoc();
  const uint32_t bitLoc = G4BitReader::StartBit(*tile);
  const unsigned char *const data = tile->getData();
  uint32_t r = 0;
  short result = G4_DECODE_NO_DATA;
  if (data != nullptr && tile->changes() != nullptr && tile->refChanges() != nullptr &&
      width <= kMaxWidth && bitLoc <= 16) {
    RowState s{G4BitReader(data, tile->getByteCount(), byteLoc, bitLoc, limitBytes),
               RefWalker{nullptr, 0, 0, 0, 0},
               ChangeWriter{nullptr, 0, 0, 0},
               0,
               0,
               false};
    for (;;) {
      const int64_t rowStart = s.bits.Position();
      result = DecodeOneRow(tables, tile, width, s);
      if (result != G4_DECODE_OK) {
        if (r != 0) {
          // As a call from the saved position leaves a row that fails.
          G4BitReader::SaveAt(*tile, rowStart);
          (void)G4BitReader::StartBit(*tile);
        }
        break;
      }
      if (NoHandler(done)) {
        s.bits.Save(*tile);
        if (copied != nullptr) {
          *copied = s.copied;
        }
        return result;
      }
      if (!GoesOn(G4HandleRow(done, *tile, r, s.copied))) {
        s.bits.Save(*tile);
        stopped = true;
        return result;
      }
      // swapChanges, inline: it runs once per tile and row.
      const unsigned int count = tile->numChanges();
      tile->numChanges() = tile->numRefChanges();
      tile->numRefChanges() = count;
      tile->setChangeBuffers(tile->refChanges(), tile->changes());
      if (++r == rows) {
        s.bits.Save(*tile);
        Finish(done, *tile);
        return result;
      }
    }
  }
  // The rows after a failure, each a call of its own.
  if (!NoHandler(done)) {
    for (++r; r < rows; ++r) {
      result = CCITT_G4Decode(tile, width, limitBytes);
      if (result != G4_DECODE_OK) {
        continue;
      }
      if (!GoesOn(done(*tile, r))) {
        stopped = true;
        return result;
      }
      tile->swapChanges();
    }
    Finish(done, *tile);
  }
  return result;
}

// The painters' walks: each instantiates the row loop with its painter inlined.
template <typename Painter>
bool DecodeTileRowsWith(Img1G4Tile &tile, unsigned int width, unsigned long long limitBytes,
                        uint32_t rows, const Painter &paint) {
  if (rows == 0) {
    return true;
  }
  bool stopped = false;
  (void)DecodeRows(&tile, width, limitBytes, rows, paint, stopped);
  return !stopped;
}

}  // namespace g4loop
}  // namespace c2d

#endif  // IMAGE_G4_INTERNAL_G4DECODELOOP_H_
