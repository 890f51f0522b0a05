// CImgPDF: a page of a PDF document presented as an image. It holds no pixels: it
// keeps a CPDFRender and renders through it in scale and getUnformatted, caching
// nothing; what they return is an ordinary CImg32 or CImg1 that the caller owns.
#ifndef IMAGE_RENDER_CIMGPDF_H_
#define IMAGE_RENDER_CIMGPDF_H_

#include <cstdint>

#include "Image/core/CImg.h"
#include "Image/raster/CImg32.h"

class CPDFRender;
class ImgPDFTileIterator;

class C2D_EXPORT CImgPDF : public CImg {
 public:
  // Opens page `page` (from 1) of the PDF file at `path`; with detectBilevel a page
  // found to be black on white becomes an IMG_TYPE_1BIT image. Null with IMG_FAIL
  // when the document cannot be used (missing, damaged, locked, no such page),
  // IMG_OUT_OF_MEMORY when the image cannot be allocated.
  static CImgPDF *create(char *path, int page, bool detectBilevel);

  // Copies share the renderer, and each would destroy it: destroy only one.
  CImgPDF(const CImgPDF &) = default;
  CImgPDF &operator=(const CImgPDF &) = default;
  ~CImgPDF() override;

  // IImg: the exported slots this class overrides, in slot order; that order is the
  // binary interface.
  unsigned getBackgroundColor() const override;
  // Renders r with its long side at 2200 pixels (a square or taller area fits its
  // height), then once more at a quarter of that size; null if both fail.
  IImg *getSubImage(const ImgRect &r) override;
  // The whole page as a CImg32 with its long side at 2200 pixels; if that fails, at
  // 95%, 90% ... 5% of that size. Null, with IMG_FAIL, when none renders.
  IImg *getUnformatted() override;
  // True while there is a renderer.
  bool hasData() const override;
  bool forceDataInit() override;
  // applyFilter, invert, both doRasOp, clone, mirror, sxfm: null. Drawing and both
  // doRasOpInPlace: nothing. rotate: null.
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
  // The page at factor times its size, rounded up; null for a negative factor.
  IImg *scale(double factor, ImgScaleAttr &attr) override;
  IImg *scale(const ImgRect &source, const ImgRect &target, ImgScaleAttr &attr) override;
  // Renders `source` (page pixels, inclusive) into width x height pixels of
  // attr.bitDepth 32 (a CImg32) or 1 (a CImg1, set bits ink). When the renderer made
  // another size or showed another area, the render is scaled once more to the size
  // asked for; on that path only, attr.bitDepth is overwritten with the render's
  // type. Null for another depth or a failed render, with the error of the failing
  // factory or scaling, if any.
  IImg *scale(const ImgRect &source, unsigned width, unsigned height, ImgScaleAttr &attr) override;
  // stream, writeTIFF: false.
  bool stream(void *sink) override;
  IImg *sxfm() override;
  bool writeTIFF() const override;

  // Fixed answers: a document has no pixel buffer to give.
  unsigned *ownData();
  unsigned *peekData();
  unsigned **peekDataArray();
  ImgErr dupData(unsigned *src, unsigned len);
  ImgErr transferData(unsigned **src, unsigned len);
  RGBOrder getRGBOrder();
  ImgAlignmentEnum getAlignment() const;
  unsigned getBackgroundInterpretation() const;
  unsigned getForegroundInterpretation() const;
  unsigned getPadBits() const;

  // What the renderer finds the page to be: IMG_TYPE_1BIT or IMG_TYPE_32BIT
  // (IMG_TYPE_32BIT without a renderer). The header's type is not consulted.
  ImageType getImageType();
  // The renderer's crop box in inches and its pixels per inch; IMG_OK.
  ImgErr getPDFExtents(double &x0, double &y0, double &x1, double &y1);
  ImgErr getPDFDensity(double &density);
  // Anti-aliasing of later renders; nothing without a renderer.
  void setSmoothImage(bool on);
  void setSmoothLine(bool on);
  void setSmoothText(bool on);
  // Kept for the host and copied with the image; nothing here reads it.
  void setCGMDPI(int dpi);
  int getCGMDPI() const;
  // Sets the extents when both are above 0; bytesPerLine and totalBytes stay.
  bool setExtents(unsigned w, unsigned h);
  void setBackgroundColor(unsigned colour);
  // Renders the page at (shorter side / 500) times its size, bounded by the
  // renderer's pixel limit, and stores the background of that raster, or 0xFFFFFFFF
  // when it cannot be rendered. The state stays as it was. Reports IMG_OK.
  unsigned calculateBackground();
  // An iterator that walks the tile grid and hands out no pixels (length 0): take
  // tiles from the raster that scale or getUnformatted make. Null for a bad format
  // or tile size.
  ImgPDFTileIterator *getTileIterator(int tileW, int tileH, CImg32::TileFormat format);

 protected:
  CImgPDF();

  // Slot 56: IMG_OK with a renderer, otherwise IMG_FAIL, reported.
  ImgErr initData() override;
  // Sets the size fields from the renderer and the type already set; false for no
  // renderer or a zero size.
  bool initHeader();
  // Takes `document` as this image's renderer, sets the type from its bilevel member
  // and the header from its size; false, with IMG_FAIL reported, when it cannot be
  // used. The renderer is owned from then on, whatever the answer.
  bool adoptRenderer(CPDFRender *document);

  CPDFRender *renderer;
  int32_t cgmDPI;
};

#endif  // IMAGE_RENDER_CIMGPDF_H_
