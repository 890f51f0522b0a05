// CImgEMF: an Enhanced Metafile presented as an image. It holds no pixels, only a
// CEMFRender, and renders anew on each scale or getUnformatted, whose results are
// ordinary CImg32 or CImg1 images that the caller owns. Every other operation that
// would need pixels does nothing or gives null.
#ifndef IMAGE_RENDER_CIMGEMF_H_
#define IMAGE_RENDER_CIMGEMF_H_

#include <cstdint>

#include "EMFRender/CEMFRender.h"
#include "Image/core/CImg.h"

class ImgEMFTileIterator;

class C2D_EXPORT CImgEMF : public CImg {
 public:
  enum TileFormat : int32_t {
    UNCOMPRESSED = 1,
    UNCOMPRESSED_NULL = 2,
    RLE_MIXED = 4,
    HP_RTL = 7,
  };

  // A document image from `handle`, which the renderer reads (an EMFMemory* for the
  // CEMFRender of this build). Null with IMG_OUT_OF_MEMORY when the image cannot be
  // allocated, and with IMG_FAIL when the renderer cannot be made or reports a zero
  // size. The second form also sets the replacement flag and colour, each int cut
  // to a byte. The caller owns the result.
  static CImgEMF *create(void *handle);
  static CImgEMF *create(void *handle, bool replacementFlag, int red, int green, int blue);

  // Member-wise and shallow: a copy shares the renderer, and only one of the two
  // may be destroyed.
  CImgEMF(const CImgEMF &) = default;
  CImgEMF &operator=(const CImgEMF &) = default;
  // Destroys the renderer.
  ~CImgEMF() override;

  // IImg: the exported slots this class overrides, in slot order. That order is the
  // binary interface (see IImg).
  unsigned getBackgroundColor() const override;
  // Null: a document has no pixels to cut. Use scale with a source rectangle.
  IImg *getSubImage(const ImgRect &r) override;
  // The whole document as a CImg32. A render that fails is tried again at 95%,
  // 90%, ... of the size, down to but not including 0; null, with nothing recorded,
  // when none succeeds.
  IImg *getUnformatted() override;
  // Both true while a renderer exists, which is always for an image create made.
  bool hasData() const override;
  bool forceDataInit() override;
  // These give null and draw nothing: a document is changed only by re-rendering.
  IImg *applyFilter() override;
  IImg *invert() override;
  IImg *doRasOp(Core2DImage::RasOpEnum::RasOp op, bool keyed, unsigned key,
                unsigned colour) override;
  IImg *doRasOp(Core2DImage::RasOpEnum::RasOp op, RasOpXfmAttr &attr, const IImg &source) override;
  void doRasOpInPlace(Core2DImage::RasOpEnum::RasOp op, bool keyed, unsigned key,
                      unsigned colour) override;
  void doRasOpInPlace(Core2DImage::RasOpEnum::RasOp op, RasOpXfmAttr &attr,
                      const IImg &source) override;
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
  IImg *mirror(ImgMirT how) override;
  IImg *rotate(double degrees) override;
  // The image's rectangle at ceil(side * factor); null for a negative factor.
  IImg *scale(double factor, ImgScaleAttr &attr) override;
  IImg *scale(const ImgRect &source, const ImgRect &target, ImgScaleAttr &attr) override;
  // Renders `source` (document pixels) onto width x height. attr.bitDepth 32 gives a
  // CImg32 in RGB_ORDER_BGR, 1 a CImg1 whose set bits are ink; any other depth, or a
  // failed render, gives null with nothing recorded. The paper is the colour
  // (bkgByte2, bkgByte1, bkgByte0) of attr when the replacement flag is on. A result
  // that cannot be made keeps its factory's code, and the render is freed.
  IImg *scale(const ImgRect &source, unsigned width, unsigned height, ImgScaleAttr &attr) override;
  bool stream(void *sink) override;
  IImg *sxfm() override;
  bool writeTIFF() const override;

  // Fixed answers: a document hands out no pixel buffer.
  unsigned *ownData();
  unsigned *peekData();
  unsigned **peekDataArray();
  ImgErr dupData(unsigned *src, unsigned len);
  ImgErr transferData(unsigned **src, unsigned len);
  RGBOrder getRGBOrder();

  // Change rect only, when both are above 0.
  bool setExtents(unsigned w, unsigned h);
  void setBackgroundColor(unsigned colour);
  // Renders at min(width, height) / 500 (an integer quotient, used as a factor, so
  // under 500 pixels it is 0 and the render fails), estimates the render's
  // background and stores it; 0xFFFFFFFF when nothing could be rendered. Records
  // IMG_OK and leaves the background state alone.
  unsigned calculateBackground();
  // The renderer's frame and density; IMG_OK.
  ImgErr getEMFExtents(double &left, double &top, double &right, double &bottom);
  ImgErr getEMFDensity(double &density);
  // Stored in the image only. The colour is kept but not used: a render takes the
  // colour from its ImgScaleAttr. The flag reaches the renderer at each scale.
  void setDFTReplacementBkg(unsigned char red, unsigned char green, unsigned char blue);
  void setDFTReplacementBkgFlag(bool on);
  // An iterator that walks the grid and hands out no pixels (tiles come from the
  // CImg32 that scale makes). Null for a format other than 1, 2, 4, 7, a tile side
  // of 0, or no memory. The image must outlive it.
  ImgEMFTileIterator *getTileIterator(int tileWidth, int tileHeight, CImgEMF::TileFormat format);

 protected:
  CImgEMF();

  // Slot 56. IMG_OK with a renderer; IMG_FAIL, recorded, without.
  ImgErr initData() override;
  // Sets rect, bytesPerLine and totalBytes from the renderer's size; false without
  // a renderer or for a zero size.
  bool initHeader();

  CEMFRender *renderer;
  bool replacementBkgFlag;
  unsigned char replacementRed;
  unsigned char replacementGreen;
  unsigned char replacementBlue;
};

#endif  // IMAGE_RENDER_CIMGEMF_H_
