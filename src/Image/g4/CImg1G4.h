// CImg1G4: a bilevel page held as a grid of Group 4 coded tiles, never decompressed
// as a whole. It owns a copy of each tile's coded bytes, one pair of change buffers
// per tile column, and a row cursor through which all decoding runs. Measuring,
// cut-outs, scaling and transforms yield plain CImg1 or CImg32 images.
#ifndef IMAGE_G4_CIMG1G4_H_
#define IMAGE_G4_CIMG1G4_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Image/core/CImg.h"
#include "Image/g4/Img1G4Tile.h"

class CImg1;
class CImg32;
class Img1G4TileIterator;
struct G4ScaleInfo;

class C2D_EXPORT CImg1G4 : public CImg {
 public:
  // Factories. Each returns a new image, or null after deleting what it built; the
  // caller owns the result. None of them records anything in CImgErr. Colours come
  // background first: what a clear and a set bit stand for when converted to colour.
  // Any alignment but IMG_ALIGN_32 means rows would end on a byte boundary.

  // A bare object whose header holds 0xDEADBEEF markers; null only when the object
  // cannot be allocated.
  static CImg1G4 *create();
  // A width x height page cut into tiles of tileW x tileH (the right and bottom
  // tiles may reach past the page), each tile without coded bytes. Null for a zero
  // size, a tile count beyond 32 bits, or failed allocation. A tile larger than the
  // page is accepted here, though such an image can never take data.
  static CImg1G4 *create(unsigned width, unsigned height, unsigned tileW, unsigned tileH,
                         unsigned backgroundInterp, unsigned foregroundInterp,
                         ImgAlignmentEnum align);
  // As above, then initData: the coded bytes are copied, so the caller keeps and
  // frees its arrays. Null as above, or when initData refuses.
  static CImg1G4 *create(unsigned width, unsigned height, unsigned tileW, unsigned tileH,
                         unsigned char **tileData, unsigned *tileBytes, unsigned backgroundInterp,
                         unsigned foregroundInterp, ImgAlignmentEnum align);
  // An image of the source's size without coded data, into which Export::xfm is
  // asked to convert the source; nothing converts to this class, and the answer is
  // not looked at.
  static CImg1G4 *create(const IImg &source, unsigned tileW, unsigned tileH,
                         unsigned backgroundInterp, unsigned foregroundInterp,
                         ImgAlignmentEnum align);
  // Takes no pixels from anything: always null.
  static CImg1G4 *create(void *source, unsigned w, unsigned h, ImgAlignmentEnum align);

  // Frees the tiles, their bytes and the change buffers (see _Delete).
  ~CImg1G4() override;

  // IImg: the exported slots this class overrides, in slot order. That order is
  // the binary interface (see IImg). A compressed page has no pixel access, so the
  // pixel operations do nothing or return this image.
  // backgroundColor as it stands, known or not (0xDEADBEEF until something sets it).
  unsigned getBackgroundColor() const override;
  // The rectangle decompressed into a new CImg1 with this page's colours and
  // alignment, set bits foreground (see uncompress). Null with IMG_INVALID_ARG when
  // r is not inside the page, IMG_FAIL when the copy cannot be made.
  IImg *getSubImage(const ImgRect &r) override;
  IImg *getUnformatted() override;
  // True once a header has built the tile grid, coded bytes or not.
  bool hasData() const override;
  // Allocates nothing: the same as hasData.
  bool forceDataInit() override;
  IImg *applyFilter() override;
  IImg *invert() override;
  IImg *doRasOp(Core2DImage::RasOpEnum::RasOp op, bool keyed, unsigned key,
                unsigned colour) override;
  IImg *doRasOp(Core2DImage::RasOpEnum::RasOp op, RasOpXfmAttr &attr, const IImg &source) override;
  void doRasOpInPlace(Core2DImage::RasOpEnum::RasOp op, bool keyed, unsigned key,
                      unsigned colour) override;
  void doRasOpInPlace(Core2DImage::RasOpEnum::RasOp op, RasOpXfmAttr &attr,
                      const IImg &source) override;
  // A new image of this size with tiles of 1 x 1 pixel and no coded data, colours
  // 0xFFFFFF and 0xFF000000, no alignment: nothing converts into this class, so a
  // clone never carries pixels. Null when it cannot be made.
  IImg *clone() const override;
  void drawArc() override;
  void drawCircle(int x, int y, int radius, const ColorValue *stroke,
                  const ColorValue *fill) override;
  void drawElipse() override;
  void drawLines(int_pt_t *from, int_pt_t *to, bool clear) override;
  void drawPixel(unsigned x, unsigned y, unsigned value) override;
  void drawPolyLine() override;
  void drawPolygon() override;
  void DrawFilledRectangle(int left, int top, int right, int bottom, ColorValue &edge,
                           ColorValue &fill) override;
  void drawSpline() override;
  // Mirrors and quarter turns decompress the page and give a new CImg1, null when
  // an image cannot be made. IMG_MIR_NONE and unknown values give this image itself:
  // compare before deleting. An angle that snaps to 0 gives clone(), one that snaps
  // to no right angle null, unreported.
  IImg *mirror(ImgMirT how) override;
  IImg *rotate(double degrees) override;
  // Scaled straight from the code, never expanded: a CImg1 with foreground in set
  // bits, or a grey CImg32 for a reduction with attr.bitDepth 32; the caller owns it.
  // The decoder tables are enabled around the call and freed after it. A request for
  // the page's own size decompresses the whole page, whatever `source` says. Null on
  // failure, with what the worker recorded; the factor form gives null, unreported,
  // for a negative factor. `source` is not clipped to the page.
  IImg *scale(double factor, ImgScaleAttr &attr) override;
  IImg *scale(const ImgRect &source, const ImgRect &target, ImgScaleAttr &attr) override;
  IImg *scale(const ImgRect &source, unsigned width, unsigned height, ImgScaleAttr &attr) override;
  bool stream(void *sink) override;
  IImg *sxfm() override;

  // Copies the coded bytes of every tile, given in row-major order of tiles (left to
  // right, then down): tileBytes[i] bytes from tileData[i], a count of 0 leaving the
  // tile without data. totalBytes becomes their sum. Bytes held before are freed.
  // False, with nothing changed, when the header is not valid (a tile larger than
  // the page, a grid that disagrees with the extents) or an array needed is null;
  // false with the whole image torn down when an allocation fails. Records nothing.
  bool initData(unsigned char **tileData, unsigned *tileBytes);
  // Re-cuts an image that has no tiles yet. False for a zero argument or a tile size
  // that does not divide the extents; true, with nothing stored, while the colours
  // are unset; otherwise a new header and an empty grid, and true even if that
  // failed. The tiles of an earlier header are freed first.
  bool setExtents(unsigned width, unsigned height, unsigned tileW, unsigned tileH);
  // The tile at a tile row and column, owned by the image; null when either index is
  // outside the grid or there is no grid.
  Img1G4Tile *getTile(unsigned tileRow, unsigned tileColumn);
  // An iterator over the stored tiles; the caller destroys it before the image.
  Img1G4TileIterator *getTileIterator();
  // Decodes rect into target, a ready-made CImg1 whose pixels hold the rectangle.
  // While the page's background is unknown it is found from the painted share, and
  // a mostly black page leaves the target inverted, so that set bits are foreground,
  // with background 0. False with IMG_INVALID_ARG when rect is not inside the page
  // or the target cannot hold it; false, unreported, when the decoder cannot be
  // enabled. A decode that fails gives true with IMG_DECODE_FAILED and the decoder
  // still enabled. A corrupt tile is no failure: its area stays background from the
  // bad row on.
  bool uncompress(CImg1 *target, const ImgRect &rect);
  // 1 when more than get1BitBGThreshold of the page is black, else 0, counted from
  // the code and cached. A cached IMG_BG_NONE gives 0 and IMG_FAIL; rows that fail
  // give IMG_DECODE_FAILED and the answer of the rows counted.
  unsigned int calculateBackground();
  // The grey reduction of a page whose background may be unknown: what
  // calculateBackground followed by scale(source, width, height) with a bit depth of
  // 32 gives, image, page state and CImgErr alike, or null when the background could
  // not be counted. A reduction of the whole page on light paper learns the
  // background while it reduces, so the page is decoded once instead of twice.
  IImg *scaleToGrey(const ImgRect &source, unsigned width, unsigned height);
  // A compressed page hands out no pixel buffer: null.
  unsigned char *ownData();
  // Progress is not reported: does nothing.
  void SendIncompleteStatus(int status);

  // The fields alone: the row layout is not recomputed.
  ImgAlignmentEnum getAlignment();
  void setAlignment(ImgAlignmentEnum align);
  // Bits of padding a decompressed row would end with.
  unsigned getPadBits() const;
  unsigned getForegroundInterpretation() const;
  void setForegroundInterpretation(unsigned colour);
  unsigned getBackgroundInterpretation() const;
  void setBackgroundInterpretation(unsigned colour);
  // Stores the colour and marks the background known.
  void setBackgroundColor(unsigned colour);

 protected:
  CImg1G4();

  // Slot 56: there are no pixels to allocate. IMG_FAIL, unreported.
  ImgErr initData() override;

  // Sets the extents, the grid and the row layout, and allocates an empty tile for
  // each grid cell and two zeroed change buffers per tile column; structures of an
  // earlier header are freed first. False, unreported, for a zero size, a tile count
  // beyond 32 bits or a failed allocation, with every partial structure freed.
  bool initHeader(unsigned width, unsigned height, unsigned tileW, unsigned tileH,
                  unsigned backgroundInterp, unsigned foregroundInterp, ImgAlignmentEnum align);
  // Whether the header is complete and consistent: sizes not 0, tiles no larger than
  // the page, the tile count and row layout as initHeader computes them.
  bool isHeaderValid() const;
  // Frees every tile's bytes, the tiles, and the change buffers, clearing each
  // pointer. Safe on an image in any state.
  void _Delete();

  // The row cursor (g4/CImg1G4RowCursor.cpp). InitTileRowDecode readies every tile of decodeTileRow
  // for its first row: start of its bytes, its column's change buffers, and an all-white reference
  // line, so that each tile row decodes on its own. StepCursor moves on after a row, entering the
  // next tile row at its end unless the cursor is in lastTileRow, where rows go on counting inside
  // it.
  void InitTileRowDecode();
  void StepCursor();
  // Places the cursor for a rectangle and decodes the rows above it in its first
  // tile row. 1 on success, 0 on failure.
  int PrepForDecode(const ImgRect &rect);

  // Scanline routines (g4/CImg1G4RowCursor.cpp): each decodes the next row of the tiles
  // the cursor's rectangle touches and paints its runs into a target row through the
  // tables of `info`: black runs, counted into info->blackCount, while the background
  // is unknown; black runs on paper 0 and white runs on paper of any other colour.
  // A run that starts on the rectangle's last column is not painted. The grey routine
  // adds the foreground pixels of each target cell into sums, and gives
  // IMG_DECODE_FAILED for a run outside its tables. IMG_INVALID_ARG once the cursor
  // has passed lastTileRow; a tile that fails to decode is passed over silently.
  ImgErr decode_scanline();
  ImgErr decode_scanline_and_sum(unsigned int &sum);
  ImgErr decode_copy_scanline(unsigned char *row, G4ScaleInfo *info);
  ImgErr decode_enlarge_scanline(unsigned char *row, G4ScaleInfo *info);
  ImgErr decode_reduce_scanline(unsigned char *row, G4ScaleInfo *info);
  ImgErr decode_reduce_scanline_grey(std::vector<unsigned int> &sums, G4ScaleInfo *info,
                                     const std::vector<unsigned int> &dstIndex);
  // Batch forms, which decode the next `rows` rows (RowsInBatch tells how many may
  // go together), the sums and the reductions tile by tile with each tile's reader
  // kept from row to row, the copy row by row (its target rows stay in the cache);
  // they leave the cursor where it was: the caller steps it once per row. Row r
  // adds up into counts[r] (sums[r]) what the one-row form gives in blackCount (sum);
  // copies go to first + r * stride; a reduction paints row r into targets[r], or
  // only decodes it when that is null. The answers are the one-row forms'; on a failure
  // the rows of the batch are partly decoded, and the walk is to end there.
  ImgErr decode_rows_and_sum(uint32_t rows, uint32_t *sums);
  ImgErr decode_copy_rows(uint32_t rows, unsigned char *first, uint64_t stride,
                          const G4ScaleInfo *info, uint32_t *counts);
  ImgErr decode_reduce_rows(uint32_t rows, unsigned char *const *targets, const G4ScaleInfo *info,
                            uint32_t *counts);
  // The grey form adds row r into the dstWidth counts of target row slots[r] in
  // `sums` (row 0 without slots). Without firstFailed a run outside the tables ends
  // the walk there; with it the walk goes on, and the first such row is kept in
  // *firstFailed (which the caller sets to `rows`).
  // Without countPixels the counts may leave out pixels, for a caller that has no use
  // for them.
  ImgErr decode_reduce_rows_grey(uint32_t rows, std::vector<unsigned int> &sums,
                                 const uint32_t *slots, const G4ScaleInfo *info,
                                 const std::vector<unsigned int> &dstIndex, uint32_t *counts,
                                 uint32_t *firstFailed, bool countPixels = true);
  // The most rows a batch holds, and how many of `wanted` (at least 1) the next batch
  // may take: no more than kBatchRows, and none past the cursor's tile row unless it
  // is the last.
  static constexpr uint32_t kBatchRows = 256;
  uint32_t RowsInBatch(uint32_t wanted) const;

  // Scaling workers (g4/CImg1G4Scale.cpp), to be run with the decoder enabled. Null
  // with IMG_INVALID_ARG when the size does not fit the direction, IMG_FAIL when the
  // target or a table cannot be made; a failed decode returns the target so far with
  // IMG_DECODE_FAILED. Enlarge and Reduce_bkg settle an unknown background as
  // uncompress does. Reduce samples and keeps the page's polarity; it counts the
  // background first, which frees the decoder tables when it has to count.
  CImg1 *Enlarge(unsigned int width, unsigned int height, const ImgRect &rect);
  CImg1 *Reduce(unsigned int width, unsigned int height, const ImgRect &rect);
  CImg1 *Reduce_bkg(unsigned int width, unsigned int height, const ImgRect &rect);
  CImg32 *Reduce_greyscale(unsigned int width, unsigned int height, const ImgRect &rect);
  CImg1 *mirrorX();
  CImg1 *mirrorY();
  CImg1 *rotate180();
  CImg1 *rotate90();
  CImg1 *rotateMinus90();

  uint32_t padBits;
  ImgAlignmentEnum alignment;
  uint32_t foregroundInterpretation;
  uint32_t backgroundInterpretation;
  // Views of the grid that grid_ owns. One pointer per tile row into the single
  // block of tiles.
  Img1G4Tile **tileRows;
  // Per tile column: the two change buffers its tiles decode with, one tile row at
  // a time, of tileWidth + 6 entries (the page width + 6 for a tile wider than the
  // page, which never holds data).
  int32_t **changeBuffers;
  int32_t **refChangeBuffers;
  // The cursor: absolute row, row inside the tile row, tile row, and the span of
  // tile columns and rows being decoded (last ones inclusive).
  uint32_t decodeRow;
  uint32_t rowInTile;
  uint32_t decodeTileRow;
  uint32_t firstTileColumn;
  uint32_t firstTileRow;
  uint32_t lastTileColumn;
  uint32_t lastTileRow;

 private:
  // Owns the tile grid, the tiles' coded bytes and the change buffers that the
  // protected fields view, and remembers the counts it was allocated with. A copy of
  // the image, member by member, owns nothing, so only the image that built a grid
  // frees it.
  class TileGrid {
   public:
    TileGrid() = default;
    TileGrid(const TileGrid & /*other*/) {}
    TileGrid &operator=(const TileGrid & /*other*/) { return *this; }
    ~TileGrid() { Release(); }

    // `down` rows of `across` empty tiles and two zeroed buffers of `entries` entries
    // per tile column, after freeing any earlier grid. False, with nothing held, when
    // memory runs out.
    bool Allocate(uint32_t across, uint32_t down, size_t entries);
    // Frees each tile's coded bytes, the tiles, the row pointers and the buffers.
    void Release();

    Img1G4Tile **rows() const { return rows_; }
    int32_t **changes() const { return changes_; }
    int32_t **refChanges() const { return refChanges_; }

   private:
    Img1G4Tile *tiles_ = nullptr;
    uint64_t count_ = 0;
    Img1G4Tile **rows_ = nullptr;
    uint32_t across_ = 0;
    int32_t **changes_ = nullptr;
    int32_t **refChanges_ = nullptr;
  };

  // The grid as allocated, from the stored extents and tile sizes. Unlike
  // getWidthInTiles and getHeightInTiles these never wrap at 32 bits.
  uint32_t TilesAcross() const;
  uint32_t TilesDown() const;
  // The frame of every scanline routine (g4/CImg1G4RowCursor.cpp): decodes the next `rows`
  // rows of each tile of the cursor's tile row that the rectangle touches and hands each row r
  // that decoded to paint(tile, r) before exchanging the tile's lists. `byTile`: where there
  // are several tiles across, each tile's rows one after another with its reader kept between
  // them (the painter must not care about the order); else row by row. A tile without bytes,
  // or a row that fails, is passed over. The cursor does not move. IMG_INVALID_ARG past
  // lastTileRow, else IMG_OK or the first answer of `paint` that is not IMG_OK.
  template <typename Paint>
  ImgErr DecodeTileRows(uint32_t rows, bool byTile, Paint &&paint);
  // Reduce_greyscale adding up the runs of colour `ink` (0 black, 1 white), and, with
  // `count`, the painted pixels and decoded rows into count[0] and count[1]. `clean`
  // tells whether every row was decoded without a failure.
  CImg32 *ReduceGrey(unsigned width, unsigned height, const ImgRect &source, uint32_t ink,
                     uint64_t *count, bool &clean);
  // Reduce (sample true) and Reduce_bkg, which differ only in that.
  CImg1 *ReduceBilevel(unsigned width, unsigned height, const ImgRect &source, bool sample);
  // Records the background of a page whose background was unknown, 1 when `dark`,
  // and turns `target` over when dark, so that its set bits are foreground; the
  // target's background becomes 0.
  void SettleBackground(CImg1 &target, bool dark);

  TileGrid grid_;
};

#endif  // IMAGE_G4_CIMG1G4_H_
