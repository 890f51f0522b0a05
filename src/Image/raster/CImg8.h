// CImg8: an image of one byte per pixel, each byte an index into the image's
// ColorMap. It keeps pixels as CImg32 does, through a row table, so that a
// reference image can share a parent's pixels and a lazily created image needs no
// pixel memory until something reads it.
#ifndef IMAGE_RASTER_CIMG8_H_
#define IMAGE_RASTER_CIMG8_H_

#include <cstddef>
#include <cstdint>

#include "Image/core/CImg.h"
#include "Image/draw/BgraPixel.h"

namespace Core2DImage {
class FillTab;
}

class ColorMap;
class Export;
class Img8TileIterator;

class C2D_EXPORT CImg8 : public CImg {
 public:
  enum TileFormat : int32_t {
    UNCOMPRESSED = 1,
    UNCOMPRESSED_NULL = 2,
    RLE_MIXED = 4,
    HP_RTL = 7,
  };

  // Factories. Each returns null on failure, having reported the reason to CImgErr
  // (IMG_FAIL for a bad size or alignment or a 32-bit overflow, IMG_OUT_OF_MEMORY
  // when the object cannot be allocated). The caller owns the result. `map` is
  // never kept: the image holds a copy of it, or a grey ramp of 256 entries when
  // it is null.

  // A bare object with no header and no palette, for callers that fill it themselves.
  static CImg8 *create();
  // A w x h image without pixels: they are allocated, and filled with the
  // background if one is set by then, on first need. align is IMG_ALIGN_NONE,
  // IMG_ALIGN_8 or IMG_ALIGN_32.
  static CImg8 *create(unsigned w, unsigned h, ColorMap *map, ImgAlignmentEnum align);
  // Pixels from `data`, len bytes, which must be exactly getTotalBytes. With
  // takeData true the image adopts the buffer (which must come from
  // IImg::allocImageBuffer) and clears the caller's pointer; otherwise it copies.
  // A failure keeps the code initData reported (IMG_FAIL for a wrong length,
  // IMG_INVALID_ARG for a null buffer), and a buffer not yet adopted stays the
  // caller's.
  static CImg8 *create(unsigned w, unsigned h, unsigned char *&data, unsigned len, bool takeData,
                       ColorMap *map, ImgAlignmentEnum align);
  // Always copies.
  static CImg8 *create(unsigned w, unsigned h, unsigned char *data, unsigned len, ColorMap *map,
                       ImgAlignmentEnum align);
  // Converts another image to palette indices through Export::xfm; only a CImg1
  // converts (set bits to 0, clear bits to 255). A source without pixels gives an
  // image without pixels and an unknown background. A refused conversion, a CImg8
  // source included, reports IMG_FAIL.
  static CImg8 *create(const IImg &src, ColorMap *map, ImgAlignmentEnum align);

  // Reference images: a view of the rectangle r of `parent` that shares its pixels
  // and its palette. r must lie inside the parent with left < right and top <
  // bottom (so a view is at least 2 x 2); otherwise IMG_INVALID_ARG. A parent
  // without pixels gives IMG_FAIL. The parent must outlive the view and keep its
  // buffer meanwhile.
  static CImg8 *createRefImg(const CImg8 &parent, const Core2DImage::IntRect &r);
  static const CImg8 *createCRefImg(const CImg8 &parent, const Core2DImage::IntRect &r);

  ~CImg8() override;

  // IImg: the exported slots this class overrides, in slot order.
  unsigned getBackgroundColor() const override;
  // A copy of getWidth(r) x getHeight(r) pixels read from r's left and top edges as
  // they are, without clipping to the image. IMG_FAIL without pixels,
  // IMG_INVALID_ARG when r is wider or higher than the image. Bytes that would come
  // from outside the pixel buffer read as 0.
  IImg *getSubImage(const ImgRect &r) override;
  const IImg *getSubRef(const Core2DImage::IntRect &r) const override;
  IImg *getSubRef(const Core2DImage::IntRect &r) override;
  IImg *getUnformatted() override;
  bool hasData() const override;
  bool forceDataInit() override;
  IImg *applyFilter() override;
  // Palette indices are not inverted: this image, unchanged.
  IImg *invert() override;
  // Copies attr into this image's RasterOp and returns RasterOp::Over(*this,
  // source); the settings stay there afterwards. source is not owned.
  ImgErr composite(CompositeAttr &attr, const IImg &source) override;
  IImg *doRasOp(Core2DImage::RasOpEnum::RasOp op, bool keyed, unsigned key,
                unsigned colour) override;
  IImg *doRasOp(Core2DImage::RasOpEnum::RasOp op, RasOpXfmAttr &attr, const IImg &source) override;
  void doRasOpInPlace(Core2DImage::RasOpEnum::RasOp op, bool keyed, unsigned key,
                      unsigned colour) override;
  void doRasOpInPlace(Core2DImage::RasOpEnum::RasOp op, RasOpXfmAttr &attr,
                      const IImg &source) override;
  // create(*this, null, IMG_ALIGN_NONE): null with IMG_FAIL for an image with
  // pixels; without them, an empty image with the grey ramp.
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
  // mirror and rotate: IMG_FAIL and null without pixels. A new image otherwise, but
  // IMG_MIR_NONE and unknown axes give this image itself: compare before deleting.
  IImg *mirror(ImgMirT how) override;
  IImg *rotate(double degrees) override;
  IImg *scale(double factor, ImgScaleAttr &attr) override;
  IImg *scale(const ImgRect &source, const ImgRect &target, ImgScaleAttr &attr) override;
  IImg *scale(const ImgRect &source, unsigned width, unsigned height, ImgScaleAttr &attr) override;
  bool stream(void *sink) override;
  IImg *sxfm() override;
  bool writeTIFF() const override;
  // No PPM is ever written: false. Reports IMG_FAIL first when given a path for an
  // image without pixels.
  bool writePPM(const char *path) const override;

  // The palette itself, not a copy; a view answers its parent's.
  ColorMap *getColorMap() const;
  unsigned getPadBytes() const;
  // Only the field: padding and sizes are not recomputed, so a different value
  // makes the header invalid and the operations that check it refuse the image.
  ImgAlignmentEnum getAlignment();
  void setAlignment(ImgAlignmentEnum align);

  // Pixel access. peekData and peekDataArray allocate on first use and give null if
  // that fails; constDataArray never allocates. Row y starts getWidth() * y bytes
  // after row 0 in an image that owns its pixels, whatever the alignment.
  unsigned char *peekData();
  unsigned char **peekDataArray();
  const unsigned char *const *constDataArray() const;
  // Hands the pixel buffer to the caller, who frees it with deallocImageBuffer. The
  // image is left without pixels. On a reference image the pointer is the parent's.
  unsigned char *ownData();
  // Copies exactly getTotalBytes bytes over the existing pixels; IMG_FAIL without
  // pixels or when len is any other length.
  ImgErr dupData(unsigned char *src, unsigned len);
  // Replaces the pixels by adopting *src (cleared on success); len must be exactly
  // getTotalBytes.
  ImgErr transferData(unsigned char **src, unsigned len);
  // Changes only the extents. Operations that check the header refuse the image
  // afterwards unless the size in bytes is unchanged.
  bool setExtents(unsigned w, unsigned h);
  void setBackgroundColor(unsigned colour);
  // The most frequent index, cached in the header: IMG_BG_NONE and 255 when it holds
  // under a fifth of the pixels. The last pixel is not counted. 0 without pixels,
  // unreported; a cached IMG_BG_NONE reports IMG_FAIL, anything else IMG_OK.
  unsigned calculateBackground();
  // No file format is read: false.
  bool readPPM(const char *path);
  // IMG_FAIL and null for an image without pixels. A palette image has no tile
  // output.
  Img8TileIterator *getTileIterator(int tileWidth, int tileHeight, CImg8::TileFormat format) const;

 protected:
  // The conversion paths read and write pixels and header fields directly.
  friend class Export;

  CImg8();

  // Slot 56. IMG_FALSE when pixels exist, IMG_FAIL for an invalid header,
  // IMG_OUT_OF_MEMORY; success is not reported. Fills with the low byte of a known
  // background.
  ImgErr initData() override;

  // Drawing (draw/CImg8Draw.cpp). A palette image draws nothing: its table exists
  // beside CImg32's but no operation uses it, and its radius-4 stencil is empty.
  static Core2DImage::FillTab *fillTab(unsigned rows);
  void drawCircle4(int x, int y, int radius, bool doStroke, bgra_u &stroke, bool doFill,
                   bgra_u &fill);

  static CImg8 *_create(unsigned w, unsigned h, ColorMap *map, ImgAlignmentEnum align);

  bool initHeader(unsigned w, unsigned h, unsigned tileW, unsigned tileH, ImgAlignmentEnum align);
  bool isHeaderValid() const;
  bool verifyHeader(unsigned len) const;
  ImgErr initData(unsigned char *&data, unsigned len, bool takeData);
  // Keeps a palette already set. Otherwise a copy of map, or the grey ramp for a
  // null map; false with IMG_OUT_OF_MEMORY when it cannot be allocated.
  bool initColorMap(ColorMap *map);
  // Scaling workers behind scale (scale/CImg8Scale.cpp). Each makes a new image of
  // width x height, with this image's palette and alignment, from `source` taken as
  // it stands: pixel (x, y) is read at x bytes past the start of row top + y, from
  // the left edge, so a rectangle past the right edge reads on into the next row,
  // and bytes outside the pixel buffer read as 0. Null, with nothing recorded, when
  // the size does not fit the direction or a table cannot be allocated; a failed
  // creation of the result keeps what the factory recorded. The result's
  // background is unknown; the caller owns it.
  // Replicates pixels. A zero source side reports IMG_INVALID_ARG.
  CImg8 *Enlarge(unsigned int width, unsigned int height, const ImgRect &source);
  // Plain sampling: the first pixel of each block.
  CImg8 *Reduce(unsigned int width, unsigned int height, const ImgRect &source);
  // A block's first pixel, or else the first index on its main diagonal that is
  // not the background.
  CImg8 *Reduce_bkg(unsigned int width, unsigned int height, const ImgRect &source);
  ImgErr rasOpSet(unsigned colour);
  // Raster operation workers (rasterop/CImg8RasOp.cpp), on `target`: this image or
  // a copy of it. The source form places the whole source at (attr.left, attr.top),
  // IMG_INVALID_ARG unless it fits; attr.keyed == 1 skips bytes equal to the low
  // byte of attr.transparentColor. The fill form writes the low byte of `colour`
  // over this image's byte count from the target's first row, padding included,
  // or with `keyed` over each byte other than `key`.
  ImgErr rasOpSet(CImg8 *target, RasOpXfmAttr &attr, const CImg8 &source);
  ImgErr rasOpSet(CImg8 *target, bool keyed, unsigned key, unsigned colour);

  // Transform workers (transform/CImg8Transform.cpp). Each returns a new image with
  // this image's palette and alignment, owned by the caller, or null when it cannot
  // be made (the factory has reported). The exact ones move every pixel unchanged
  // and carry no background; rotate90 turns counter-clockwise.
  CImg8 *mirrorX();
  CImg8 *mirrorY();
  CImg8 *rotate90();
  CImg8 *rotate180();
  CImg8 *rotateMinus90();
  // Three shears on a canvas of this size; uncovered pixels get the background index.
  CImg8 *rotateGeneric(double degrees);
  // One shear by a table from makeRotationXShearRoth or makeRotationYShearRoth.
  CImg8 *rotateShearX(int *table);
  CImg8 *rotateShearY(int *table);
  // A new w x h image with pixels, this image's palette and alignment.
  CImg8 *transformTarget(unsigned w, unsigned h);

  unsigned char **dataArray;
  uint32_t padBytes;
  ImgAlignmentEnum alignment;
  // Owned unless isRefImage: a view borrows its parent's.
  ColorMap *colorMap;
  bool isRefImage;

 private:
  // Builds the row table over `pixels` and installs it, after which the image owns
  // the buffer and its palette; false if the table or a palette of its own cannot
  // be allocated.
  bool InstallRows(unsigned char *pixels);
  // How many bytes from dataArray[0] on are known to lie in the pixel buffer: the
  // whole allocation for an image that owns it, the rows it covers for a view.
  size_t ReachableBytes() const;
};

#endif  // IMAGE_RASTER_CIMG8_H_
