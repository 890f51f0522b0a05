// CImg1: a bilevel image held uncompressed in one buffer, most significant bit
// leftmost. It is what G4 pages decompress into and the working form of bilevel
// scaling, rotation and HP-RTL output. Pixels exist from creation on; two colours
// say what a set and a clear bit stand for when the image is converted to colour.
#ifndef IMAGE_RASTER_CIMG1_H_
#define IMAGE_RASTER_CIMG1_H_

#include <cstdint>

#include "Image/core/CImg.h"

class CImg32;
class Export;
class Img1TileIterator;

class C2D_EXPORT CImg1 : public CImg {
 public:
  // These values differ from those of the colour classes.
  enum TileFormat : int32_t {
    UNCOMPRESSED = 1,
    UNCOMPRESSED_NULL = 2,
    GROUP4 = 3,
    HP_RTL = 4,
  };

  // Factories. Each returns null on failure; the caller owns the result. Colours
  // come background first: `background` is what a clear bit means, `foreground` a
  // set bit. Every factory with a size uses it as the tile size, so an image is one
  // tile. Any alignment but IMG_ALIGN_32 means rows end on a byte boundary.

  // A bare object whose header holds 0xDEADBEEF markers until a header is set.
  // Null, unreported, only if the object cannot be allocated.
  static CImg1 *create();
  // Takes no pixels from anything: always null, unreported.
  static CImg1 *create(void *source, unsigned w, unsigned h, ImgAlignmentEnum align);
  // A w x h image with all bits clear. IMG_FAIL for a zero size or a buffer that
  // does not fit in 32 bits, IMG_OUT_OF_MEMORY when the object or the pixels
  // cannot be allocated.
  static CImg1 *create(unsigned w, unsigned h, unsigned background, unsigned foreground,
                       ImgAlignmentEnum align);
  // Pixels from `buffer`, whose len must be exactly the image's size in bytes. With
  // takeData true the image adopts the buffer (from IImg::allocImageBuffer) and
  // clears the caller's pointer; otherwise it copies. These report nothing: on
  // failure the last error stays as it was and the buffer stays the caller's.
  static CImg1 *create(unsigned w, unsigned h, unsigned char *&buffer, unsigned len, bool takeData,
                       unsigned background, unsigned foreground, ImgAlignmentEnum align);
  // As above, plus ownsBuffer for the field ownsData: with false the image never
  // frees its buffer, adopted or copied, and the caller frees it after deleting the
  // image (a copy is reached through peekData).
  static CImg1 *create(unsigned w, unsigned h, unsigned char *&buffer, unsigned len, bool takeData,
                       bool ownsBuffer, unsigned background, unsigned foreground,
                       ImgAlignmentEnum align);
  // Always copies; reports nothing.
  static CImg1 *create(unsigned w, unsigned h, unsigned char *buffer, unsigned len,
                       unsigned background, unsigned foreground, ImgAlignmentEnum align);
  // Converts any image to one bit through Export::xfm. Null only when the factory
  // with size fails; a conversion Export refuses leaves the new image clear. Reports
  // IMG_OK on success.
  static CImg1 *create(const IImg &src, unsigned background, unsigned foreground,
                       ImgAlignmentEnum align);

  // Frees the pixels unless ownsData is false.
  ~CImg1() override;

  // IImg: the exported slots this class overrides, in slot order. That order is
  // the binary interface (see IImg).
  unsigned getBackgroundColor() const override;
  // A copy of a rectangle of the size of r, which must be no larger than the image
  // and overlap it; otherwise IMG_INVALID_ARG. Rows are cut from r's left and top
  // edges as given: a rectangle that runs past the right edge takes the pad bits
  // and the next row, and bits beyond the buffer read as 0. A rectangle of the
  // image's size copies the whole image wherever it lies. The copy's background is
  // this image's colour, marked known. Success reports IMG_OK; a failed creation of
  // the copy adds IMG_FAIL.
  IImg *getSubImage(const ImgRect &r) override;
  IImg *getUnformatted() override;
  bool hasData() const override;
  // Allocates nothing: the same as hasData.
  bool forceDataInit() override;
  IImg *applyFilter() override;
  // Inverts every byte in place, pad bits too, and returns this image. The
  // interpretations and the background state are left alone.
  IImg *invert() override;
  IImg *doRasOp(Core2DImage::RasOpEnum::RasOp op, bool keyed, unsigned key,
                unsigned colour) override;
  IImg *doRasOp(Core2DImage::RasOpEnum::RasOp op, RasOpXfmAttr &attr, const IImg &source) override;
  void doRasOpInPlace(Core2DImage::RasOpEnum::RasOp op, bool keyed, unsigned key,
                      unsigned colour) override;
  void doRasOpInPlace(Core2DImage::RasOpEnum::RasOp op, RasOpXfmAttr &attr,
                      const IImg &source) override;
  // A copy with colours 0xFFFFFF and 0xFF000000 and no alignment, whatever this
  // image has.
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
  // A new image, or for IMG_MIR_NONE and unknown values this image itself: compare
  // before deleting. An image without pixels reads as clear.
  IImg *mirror(ImgMirT how) override;
  IImg *rotate(double degrees) override;
  // A new image of the requested size, owned by the caller; null on failure. A
  // reduction with attr.bitDepth 32 gives a grey CImg32, every other request a
  // CImg1 with foreground in set bits. The factor form rounds each side up and
  // gives null, unreported, for a negative factor; the rectangle form takes only
  // the target's size. `source` is used as it stands, not clipped.
  IImg *scale(double factor, ImgScaleAttr &attr) override;
  IImg *scale(const ImgRect &source, const ImgRect &target, ImgScaleAttr &attr) override;
  IImg *scale(const ImgRect &source, unsigned width, unsigned height, ImgScaleAttr &attr) override;
  bool stream(void *sink) override;
  IImg *sxfm() override;
  // Despite the name, a diagnostic dump: writes the pixels as a raw PBM of the
  // padded width to /home/username/tmp/CImg1_<w>x<h>.pbm. False, unreported, when
  // the file cannot be opened or the image has no pixels.
  bool writeTIFF() const override;

  // The pixel buffer, never allocated here; null when there is none.
  unsigned char *peekData() const;
  // Hands the buffer to the caller, who frees it with deallocImageBuffer (unless it
  // was never the image's to free). The image is left without pixels.
  unsigned char *ownData();
  // Copies len bytes over the pixels, allocating a clear buffer first if there is
  // none. len must be exactly the image's size: otherwise IMG_FAIL. Success reports
  // IMG_OK; a null source reports IMG_INVALID_ARG.
  ImgErr dupData(unsigned char *src, unsigned len);
  // Replaces the pixels by adopting *src, which is cleared. len must be exactly the
  // image's size: otherwise IMG_FAIL and *src stays. The old pixels are freed when
  // the image owns them. Success reports IMG_OK.
  ImgErr transferData(unsigned char **src, unsigned len);
  // Changes only the extents; operations that check the header refuse the image
  // afterwards unless the row size and byte count still agree.
  bool setExtents(unsigned w, unsigned h);
  // The field alone: stride and size are not recomputed.
  ImgAlignmentEnum getAlignment();
  void setAlignment(ImgAlignmentEnum align);
  unsigned getPadBits() const;
  unsigned getForegroundInterpretation() const;
  void setForegroundInterpretation(unsigned colour);
  unsigned getBackgroundInterpretation() const;
  void setBackgroundInterpretation(unsigned colour);
  void setBackgroundColor(unsigned colour);
  // 1 when the share of set bits, pad bits included, is above get1BitBGThreshold,
  // else 0; cached in the header. A cached IMG_BG_NONE gives 0 and IMG_FAIL.
  unsigned calculateBackground();
  // A tile iterator over a grid the caller chooses; the caller destroys it before
  // the image.
  Img1TileIterator *getTileIterator(int tileWidth, int tileHeight, CImg1::TileFormat format) const;

 protected:
  // The conversion paths read and write pixels and header fields directly.
  friend class Export;
  // The tile iterator reads the rows and checks the header.
  friend class Img1TileIterator;

  CImg1();

  // Scaling workers behind scale (scale/CImg1Scale.cpp). Each makes a new image of
  // width x height from `source`, taken as it stands: its rows and columns start at
  // its top and left edges, and bytes past the pixel buffer read as 0. The results
  // of Enlarge and Reduce_bkg hold foreground in set bits whatever this image's
  // polarity. Null, with nothing recorded, when the size does not fit the direction
  // or a table cannot be allocated; a failed creation of the result keeps what the
  // factory recorded. The caller owns the result.
  CImg1 *Enlarge(unsigned int width, unsigned int height, const ImgRect &source);
  // Plain sampling: the first pixel of each block.
  CImg1 *Reduce(unsigned int width, unsigned int height, const ImgRect &source);
  // A target pixel is set when its block holds foreground, so thin lines survive.
  CImg1 *Reduce_bkg(unsigned int width, unsigned int height, const ImgRect &source);
  // Reduce_bkg on the first row of each block, with the polarity given: a non-zero
  // background clears bits of a result that starts clear.
  CImg1 *QuickReduce_bkg(unsigned int width, unsigned int height, ImgRect &source,
                         unsigned int background);
  // Grey levels from the share of foreground in each block.
  CImg32 *Reduce_greyscale(unsigned int width, unsigned int height, const ImgRect &source);

  // Transform workers (transform/CImg1Transform.cpp). Each returns a new image owned
  // by the caller, or null when it cannot be made (the factory has reported). Source
  // bits past the pixel buffer read as clear. The exact ones keep this image's
  // colours and alignment, move every pixel unchanged, leave pad bits clear and mark
  // this image's background colour known; rotate90 turns counter-clockwise.
  CImg1 *mirrorX();
  CImg1 *mirrorY();
  CImg1 *rotate90();
  CImg1 *rotate180();
  CImg1 *rotateMinus90();
  // Three shears on a canvas of this size. The results are made as the scaling
  // workers make theirs, and uncovered pixels stay clear whatever the background.
  CImg1 *rotateGeneric(double degrees);
  // One shear by a table from makeRotationXShearRoth or makeRotationYShearRoth.
  CImg1 *rotateShearX(int *table);
  CImg1 *rotateShearY(int *table);

  // Slot 56. Allocates a clear buffer of height x bytesPerLine bytes, replacing (and,
  // when owned, freeing) any buffer there was. IMG_FAIL without a tile grid or when
  // the size does not fit in 32 bits, IMG_OUT_OF_MEMORY; success is not reported.
  // An image of several tiles gets no buffer here.
  ImgErr initData() override;

  // Fills the header; false, unreported, for a zero size or tile size. Tiles larger
  // than the image are accepted and the alignment is not checked.
  bool initHeader(unsigned w, unsigned h, unsigned tileW, unsigned tileH, unsigned background,
                  unsigned foreground, ImgAlignmentEnum align);
  // True when the header is complete and consistent and len is exactly totalBytes.
  bool verifyHeader(unsigned len) const;
  // Adopts or copies *buffer. False, unreported, for a null buffer, a header that
  // does not validate or a len other than the image's size, or failed allocation.
  bool initData(unsigned char *&buffer, unsigned len, bool takeData);

  // Raster operation workers (rasterop/CImg1RasOp.cpp), on `target`: this image or a
  // copy of it. Each combines the whole source into the target with its first pixel
  // at (attr.left, attr.top), byte by byte as the bit offset dictates, including the
  // bits the offset moves into the byte after a row. IMG_INVALID_ARG when the source
  // does not fit; IMG_FAIL when either image has no pixels. Nothing is recorded.
  ImgErr rasOpAnd(CImg1 *target, RasOpXfmAttr &attr, const CImg1 &source);
  ImgErr rasOpOr(CImg1 *target, RasOpXfmAttr &attr, const CImg1 &source);
  ImgErr rasOpXOr(CImg1 *target, RasOpXfmAttr &attr, const CImg1 &source);
  // With attr.keyed, rasOpOr: only the source's set bits arrive.
  ImgErr rasOpSet(CImg1 *target, RasOpXfmAttr &attr, const CImg1 &source);
  // Sets every byte to 0xFF for a non-zero colour, else to 0. With `keyed`, nothing
  // is written when one of key and colour is zero and the other is not.
  ImgErr rasOpSet(CImg1 *target, bool keyed, unsigned key, unsigned colour);

  unsigned char *data;
  bool ownsData;
  uint32_t padBits;
  ImgAlignmentEnum alignment;
  uint32_t foregroundInterpretation;
  uint32_t backgroundInterpretation;

 private:
  // verifyHeader for a byte count that is not stored yet.
  bool HeaderMatches(uint32_t total, unsigned len) const;
  // Installs a new buffer of `bytes` bytes, freeing the old one when owned.
  void ReplaceData(unsigned char *pixels, uint32_t bytes);

  // True while `data` is a copy this image made of a caller's buffer, which
  // transferData frees even when ownsData is false: no caller holds it any more.
  bool dataIsOwnCopy = false;
};

#endif  // IMAGE_RASTER_CIMG1_H_
