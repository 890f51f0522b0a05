// CImg32: an image of 32-bit pixels, the working format of the library. Pixels are
// reached through a row table, which lets a reference image share a parent's pixels
// and lets a lazily created image exist without any pixel memory.
#ifndef IMAGE_RASTER_CIMG32_H_
#define IMAGE_RASTER_CIMG32_H_

#include <cstdint>

#include "Image/core/CImg.h"
#include "Image/draw/BgraPixel.h"

namespace Core2DImage {
class FillTab;
}

class Export;
class Img32TileIterator;

class C2D_EXPORT CImg32 : public CImg {
 public:
  enum TileFormat : int32_t {
    UNCOMPRESSED = 1,
    UNCOMPRESSED_NULL = 2,
    RLE_MIXED = 4,
    HP_RTL = 7,
  };

  // Factories. Each returns null on failure, having reported the reason to CImgErr
  // (IMG_FAIL for a bad size or a 32-bit overflow, IMG_OUT_OF_MEMORY when the
  // object cannot be allocated). The caller owns the result.

  // A bare object with no header, for callers that fill it themselves.
  static CImg32 *create();
  // A w x h image without pixels: they are allocated, and filled with the
  // background if one is set by then, on first need.
  static CImg32 *create(unsigned w, unsigned h, RGBOrder order);
  // Pixels from `data`, len bytes. With takeData true the image adopts the buffer
  // (which must come from IImg::allocImageBuffer) and clears the caller's pointer;
  // otherwise it copies. A failure keeps the code initData reported (IMG_FAIL for
  // a short buffer, IMG_INVALID_ARG for a null one), and a buffer not yet adopted
  // stays the caller's.
  static CImg32 *create(unsigned w, unsigned h, unsigned *&data, unsigned len, bool takeData,
                        RGBOrder order);
  // Always copies.
  static CImg32 *create(unsigned w, unsigned h, unsigned *data, unsigned len, RGBOrder order);
  // Converts any image to 32 bits through Export::xfm. A source without pixels gives
  // an image without pixels that keeps a known background colour as it is. A
  // conversion Export refuses reports IMG_FAIL.
  static CImg32 *create(const IImg &src, RGBOrder order);
  // Widens packed 24-bit pixels (see initDataFrom24). dstOrder only labels the
  // result: bytes are not reordered.
  static CImg32 *createFrom24(unsigned w, unsigned h, unsigned char *data, unsigned len,
                              ImgAlignmentEnum align, RGBOrder srcOrder, RGBOrder dstOrder);

  // Reference images: a view of the rectangle r of `parent` that shares its pixels.
  // r must lie inside the parent with left < right and top < bottom (so a view is at
  // least 2 x 2); otherwise IMG_INVALID_ARG. A parent without pixels gives IMG_FAIL.
  // The parent must outlive the view and keep its buffer meanwhile. The ImgRect
  // forms read the four coordinates as they are.
  static CImg32 *createRefImg(const CImg32 &parent, const ImgRect &r);
  static CImg32 *createRefImg(const CImg32 &parent, const Core2DImage::IntRect &r);
  static const CImg32 *createCRefImg(const CImg32 &parent, const ImgRect &r);
  static const CImg32 *createCRefImg(const CImg32 &parent, const Core2DImage::IntRect &r);

  // True if `image` is a CImg32 with that byte order.
  static bool matches(const IImg &image, RGBOrder order);

  ~CImg32() override;

  // IImg: the exported slots this class overrides, in slot order.
  unsigned getBackgroundColor() const override;
  // A deep copy of the part of r inside the image; IMG_FAIL without pixels,
  // IMG_INVALID_ARG when r misses the image.
  IImg *getSubImage(const ImgRect &r) override;
  const IImg *getSubRef(const Core2DImage::IntRect &r) const override;
  IImg *getSubRef(const Core2DImage::IntRect &r) override;
  IImg *getUnformatted() override;
  bool hasData() const override;
  bool forceDataInit() override;
  IImg *applyFilter() override;
  // A 32-bit image is not inverted: this image, unchanged.
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
  // create(*this, RGB_ORDER_RGB): a BGR image comes back RGB, its red and blue
  // bytes exchanged and its background cut to one byte (see Export::xfm).
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
  // IMG_MIR_X turns the image upside down in place; IMG_MIR_Y does nothing.
  // IMG_FAIL without pixels.
  void mirrorThis(ImgMirT how) override;
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

  // Views from an ImgRect, as createRefImg.
  const IImg *getSubRef(const ImgRect &r) const;
  IImg *getSubRef(const ImgRect &r);

  // Pixel access. peekData and peekDataArray allocate on first use and give null if
  // that fails; constDataArray never allocates.
  unsigned *peekData();
  unsigned **peekDataArray();
  const unsigned *const *constDataArray() const;
  // Hands the pixel buffer to the caller, who frees it with deallocImageBuffer. The
  // image is left without pixels. On a reference image the pointer is the parent's.
  unsigned *ownData();
  // Copies len bytes over the existing pixels; IMG_FAIL without pixels or for a
  // buffer shorter than the image.
  ImgErr dupData(unsigned *src, unsigned len);
  // Replaces the pixels by adopting *src (cleared on success).
  ImgErr transferData(unsigned **src, unsigned len);
  // Changes only the extents. Operations that check the header refuse the image
  // afterwards unless the size in bytes is unchanged.
  bool setExtents(unsigned w, unsigned h);
  RGBOrder getRGBOrder();
  void setBackgroundColor(unsigned colour);
  // The page colour as a pixel value, cached in the header (see _calculateBackground).
  // 0 without pixels, unreported.
  unsigned calculateBackground();
  // No file format is read: false.
  bool readPPM(const char *path);
  // A tile iterator; IMG_FAIL and null for an image without pixels.
  Img32TileIterator *getTileIterator(int tileWidth, int tileHeight,
                                     CImg32::TileFormat format) const;

  // Unchecked accessors, row first: no bounds test, no allocation, no byte-order
  // test. pix_b..pix_a are bytes 0..3 of the pixel word, which name the channels
  // correctly only in RGB_ORDER_BGR.
  unsigned &operator()(unsigned y, unsigned x) { return dataArray[y][x]; }
  unsigned operator()(unsigned y, unsigned x) const { return dataArray[y][x]; }
  void set(unsigned y, unsigned x, unsigned value) { dataArray[y][x] = value; }
  unsigned char &pix_b(unsigned y, unsigned x) { return PixelByte(y, x, 0); }
  unsigned char &pix_g(unsigned y, unsigned x) { return PixelByte(y, x, 1); }
  unsigned char &pix_r(unsigned y, unsigned x) { return PixelByte(y, x, 2); }
  unsigned char &pix_a(unsigned y, unsigned x) { return PixelByte(y, x, 3); }
  // Writes only when 0 <= y < height and 0 <= x < width, limits given by the caller.
  void safeSet(int width, int height, int y, int x, unsigned value) {
    if (y >= 0 && y < height && x >= 0 && x < width) {
      dataArray[y][x] = value;
    }
  }

 protected:
  // The conversion paths read and write pixels and header fields directly.
  friend class Export;

  CImg32();

  // Slot 56. IMG_FALSE when pixels exist, IMG_FAIL for an invalid header,
  // IMG_OUT_OF_MEMORY; success is not reported. Fills with a known background.
  ImgErr initData() override;

  // Drawing helpers (draw/CImg32Draw.cpp). setf writes unchecked, safeSetf as
  // safeSet does; both then record the point in `tab`, inside the image or not.
  void setf(Core2DImage::FillTab *tab, unsigned y, unsigned x, unsigned value);
  void safeSetf(Core2DImage::FillTab *tab, int width, int height, int y, int x, unsigned value);
  // The span table all CImg32 circles share, with room for `rows` rows; null when it
  // cannot grow that far. Built once, safely under threads; used without a lock, so
  // one circle is drawn at a time in the process.
  static Core2DImage::FillTab *fillTab(unsigned rows);
  // The fixed stencil of radius 4 around (x, y); `radius` is not read.
  void drawCircle4(int x, int y, int radius, bool doStroke, bgra_u &stroke, bool doFill,
                   bgra_u &fill);

  static CImg32 *_create(unsigned w, unsigned h, RGBOrder order);

  bool initHeader(unsigned w, unsigned h, unsigned tileW, unsigned tileH, RGBOrder order);
  bool isHeaderValid() const;
  bool verifyHeader(unsigned len) const;
  ImgErr initData(unsigned *&data, unsigned len, bool takeData);
  // Widens packed 24-bit rows into new pixels (see Export::copy24To32). IMG_FAIL
  // for an invalid header, existing pixels, or a len under three quarters of
  // totalBytes; IMG_INVALID_ARG for null data; IMG_OUT_OF_MEMORY. Success is not
  // reported. Bytes the padded rows would need beyond len read as 0.
  ImgErr initDataFrom24(unsigned char *data, unsigned len, ImgAlignmentEnum align,
                        RGBOrder srcOrder);
  // The most frequent pixel value, found by a histogram of bits 8..23 and then of
  // the low byte inside the buckets above a fifth of the pixels. The last pixel is
  // not counted. A cached state answers at once; IMG_BG_NONE (0xFFFFFFFF) when no
  // colour has the support; IMG_OUT_OF_MEMORY without room for the sorted copy. Each
  // outcome is recorded in CImgErr.
  unsigned _calculateBackground();
  // Scaling workers behind scale (scale/CImg32Scale.cpp). Each makes a new image of
  // width x height, in this image's byte order, from `source`, which must lie inside
  // the pixels (scale clips it first); its edges may come in either order. Null,
  // with nothing recorded, when the size does not fit the direction or a table
  // cannot be allocated; a failed creation of the result keeps what the factory
  // recorded. The result carries this image's background colour and state, and the
  // caller owns it.
  // Replicates pixels. A zero source side reports IMG_INVALID_ARG.
  CImg32 *Enlarge(unsigned int width, unsigned int height, const ImgRect &source);
  // Cubic convolution, with neighbours from the whole image rather than `source`
  // alone; channel 3 is 0. A size that does not fit reports IMG_INVALID_ARG.
  CImg32 *EnlargeResample(unsigned int width, unsigned int height, const ImgRect &source);
  // Plain sampling: the first pixel of each block.
  CImg32 *Reduce(unsigned int width, unsigned int height, const ImgRect &source);
  // Each block's average, a pixel other than the background weighing three times.
  // Channel 3 is not written: it holds what the fresh buffer held.
  CImg32 *ReduceResample(unsigned int width, unsigned int height, const ImgRect &source);
  // A block's first pixel, or else the first pixel on its main diagonal that is not
  // the background, so that thin ink crossing the diagonal survives.
  CImg32 *Reduce_bkg(unsigned int width, unsigned int height, const ImgRect &source);
  ImgErr rasOpSet(unsigned colour);
  // Raster operation workers (rasterop/CImg32RasOp.cpp), on `target`: this image or
  // a copy of it. The source form places the whole source at (attr.left, attr.top),
  // IMG_INVALID_ARG unless it fits; attr.keyed == 1 skips pixels equal to
  // attr.transparentColor in all 32 bits. The fill form sets every pixel, or with
  // `keyed` every pixel other than `key`, to `colour`.
  ImgErr rasOpSet(CImg32 *target, RasOpXfmAttr &attr, const CImg32 &source);
  ImgErr rasOpSet(CImg32 *target, bool keyed, unsigned key, unsigned colour);

  // Transform workers (transform/CImg32Transform.cpp). Each returns a new image in
  // this image's byte order, owned by the caller, or null when it cannot be made (the
  // factory has reported). The exact ones move every pixel unchanged and carry the
  // background colour and state; rotate90 turns counter-clockwise.
  CImg32 *mirrorX();
  CImg32 *mirrorY();
  CImg32 *rotate90();
  CImg32 *rotate180();
  CImg32 *rotateMinus90();
  // Three shears on a canvas of this size; uncovered pixels get the background.
  CImg32 *rotateGeneric(double degrees);
  // One shear by a table from makeRotationXShearRoth or makeRotationYShearRoth.
  CImg32 *rotateShearX(int *table);
  CImg32 *rotateShearY(int *table);
  // Swaps rows through a line buffer; without one, nothing happens.
  void mirrorXThis();
  // Does nothing, on purpose.
  void mirrorYThis();
  // A new w x h image with pixels, in this image's byte order and with its
  // background colour and state.
  CImg32 *transformTarget(unsigned w, unsigned h);

  unsigned **dataArray;
  RGBOrder rgbOrder;
  bool isRefImage;

 private:
  unsigned char &PixelByte(unsigned y, unsigned x, unsigned byte) {
    return reinterpret_cast<unsigned char *>(&dataArray[y][x])[byte];
  }
  // Builds the row table over `pixels` and installs it; false if the table cannot
  // be allocated.
  bool InstallRows(unsigned *pixels);
  // The number of rows and pixels per row that the buffer was allocated with; they
  // stay right even after setExtents has changed the extents.
  unsigned AllocatedRows() const;
  unsigned AllocatedPixelsPerRow() const;
};

#endif  // IMAGE_RASTER_CIMG32_H_
