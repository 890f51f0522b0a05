// CImg: the abstract base of every concrete image. It keeps the header the classes
// share (type, sample layout, stride, extents, tile grid, background) and owns the
// image's RasterOp record.
#ifndef IMAGE_CORE_CIMG_H_
#define IMAGE_CORE_CIMG_H_

#include <cstdint>

#include "Image/core/IImg.h"

class RasterOp;

class C2D_EXPORT CImg : public IImg {
 public:
  // Member-wise and shallow, pointers included: two copies destroyed both free the
  // same buffers. Use clone() to copy an image.
  CImg(const CImg &) = default;
  CImg &operator=(const CImg &) = default;
  ~CImg() override;

  // IImg: the operations this class answers for all images, in slot order.
  unsigned getBitsPerSample() const override;
  unsigned getSamplesPerPixel() const override;
  unsigned getBitDepth() const override;
  unsigned getBytesPerLine() const override;
  ImgErr getLastError() override;
  unsigned getHeight() const override;
  // Tile rows: (|top - bottom| + tileHeight) / tileHeight. 0 while no header has
  // been set, when the tile height is still 0.
  unsigned getHeightInTiles() const override;
  unsigned getTotalBytes() const override;
  unsigned getNumberOfTiles() const override;
  const ImgRect &getRect() const override;
  unsigned getTileHeight() const override;
  unsigned getTileWidth() const override;
  ImageType getType() override;
  unsigned getWidth() const override;
  // Tile columns, as getHeightInTiles.
  unsigned getWidthInTiles() const override;
  int getTop() const override;
  int getLeft() const override;
  int getBottom() const override;
  int getRight() const override;
  ImgBackgroundState getBackgroundState() override;
  // Null: only the classes with a row table make views.
  const IImg *getSubRef(const Core2DImage::IntRect &r) const override;
  IImg *getSubRef(const Core2DImage::IntRect &r) override;
  // IMG_FAIL, not reported: only the 32-bit and palette classes composite.
  ImgErr composite(CompositeAttr &attr, const IImg &source) override;
  void mirrorThis(ImgMirT how) override;
  bool writeTIFF() const override;
  // False, not reported.
  bool writePPM(const char *path) const override;
  // Slot 55.
  virtual bool isBackgroundKnown() const;

  // Rewrites r for bottom-up rows: with last = height - 1, top becomes
  // last - bottom and bottom becomes last - top.
  void getYUpSubrect(ImgRect &r) const;
  // The share of set pixels above which a bilevel page counts as ink on paper of
  // the other colour.
  double get1BitBGThreshold();
  // Shear tables of the rotation by three shears (transform/ShearRotation.cpp), as
  // many entries as the longer side; the caller frees them with free(). Null when an
  // allocation fails. Nothing is recorded.
  int *makeRotationXShearRoth(double radians);
  int *makeRotationYShearRoth(double radians);

 protected:
  CImg();

  // Slot 56: allocate the pixel buffer.
  virtual ImgErr initData() = 0;

  static ImageScaleType ScaleHow(unsigned srcW, unsigned srcH, unsigned dstW, unsigned dstH);
  // Snaps an angle near a right angle onto it; rotate calls it with 0.001.
  static void snap90(double &degrees, double tolerance);
  // Whether w x h divides into whole tiles, to within 1/10000 of a tile.
  static bool areTileExtentsValid(unsigned w, unsigned h, unsigned tileW, unsigned tileH);
  // Diagnostics are compiled out: this neither formats nor prints.
  static void dbg_printf(const char *format, ...);

  ImageType type;
  RasterOp *rasterOp;
  uint32_t bitsPerSample;
  uint32_t samplesPerPixel;
  uint32_t bytesPerLine;
  uint32_t totalBytes;
  ImgRect rect;
  uint32_t tileWidth;
  uint32_t tileHeight;
  uint32_t backgroundColor;
  ImgBackgroundState backgroundState;
  uint32_t numberOfTiles;
};

#endif  // IMAGE_CORE_CIMG_H_
