// IImg: the one interface through which a host sees any image.
#ifndef IMAGE_CORE_IIMG_H_
#define IMAGE_CORE_IIMG_H_

#include <cstdint>

#include "Image/ImgErr.h"
#include "Image/core/ImgEnums.h"
#include "Image/core/ImgExport.h"
#include "Image/core/ImgPoint.h"
#include "Image/core/ImgRect.h"
#include "Image/core/IntRect.h"
#include "Image/rasterop/RasOpEnum.h"

class ColorValue;
class CompositeAttr;
class RasOpXfmAttr;
struct ImgScaleAttr;

// Images are made by the static factories of the concrete classes and deleted
// through the virtual destructor. Operations that return a new image give it to
// the caller; several return the image itself when there is nothing to do, so
// compare pointers before deleting.
class C2D_EXPORT IImg {
 public:
  IImg() = default;
  IImg(const IImg &) = default;
  IImg &operator=(const IImg &) = default;

  // The virtual operations below are declared in their exported order: the slot
  // order of this table is the binary interface. Never reorder, insert or remove.
  virtual ~IImg();                                      // 0
  virtual unsigned getBitsPerSample() const = 0;        // 1
  virtual unsigned getSamplesPerPixel() const = 0;      // 2
  virtual unsigned getBitDepth() const = 0;             // 3
  virtual unsigned getBytesPerLine() const = 0;         // 4
  virtual ImgErr getLastError() = 0;                    // 5
  virtual unsigned getHeight() const = 0;               // 6
  virtual unsigned getHeightInTiles() const = 0;        // 7
  virtual unsigned getTotalBytes() const = 0;           // 8
  virtual unsigned getNumberOfTiles() const = 0;        // 9
  virtual const ImgRect &getRect() const = 0;           // 10
  virtual unsigned getTileHeight() const = 0;           // 11
  virtual unsigned getTileWidth() const = 0;            // 12
  virtual ImageType getType() = 0;                      // 13
  virtual unsigned getWidth() const = 0;                // 14
  virtual unsigned getWidthInTiles() const = 0;         // 15
  virtual int getTop() const = 0;                       // 16
  virtual int getLeft() const = 0;                      // 17
  virtual int getBottom() const = 0;                    // 18
  virtual int getRight() const = 0;                     // 19
  virtual unsigned getBackgroundColor() const = 0;      // 20
  virtual ImgBackgroundState getBackgroundState() = 0;  // 21
  // A new image holding a copy of the rectangle, or null.
  virtual IImg *getSubImage(const ImgRect &r) = 0;  // 22
  // A view sharing this image's pixels; this image must outlive it.
  virtual const IImg *getSubRef(const Core2DImage::IntRect &r) const = 0;  // 23
  virtual IImg *getSubRef(const Core2DImage::IntRect &r) = 0;              // 24
  virtual IImg *getUnformatted() = 0;                                      // 25
  virtual bool hasData() const = 0;                                        // 26
  virtual bool forceDataInit() = 0;                                        // 27
  virtual IImg *applyFilter() = 0;                                         // 28
  virtual IImg *invert() = 0;                                              // 29
  virtual ImgErr composite(CompositeAttr &attr, const IImg &source) = 0;   // 30
  virtual IImg *doRasOp(Core2DImage::RasOpEnum::RasOp op, bool keyed, unsigned key,
                        unsigned colour) = 0;  // 31
  virtual IImg *doRasOp(Core2DImage::RasOpEnum::RasOp op, RasOpXfmAttr &attr,
                        const IImg &source) = 0;  // 32
  virtual void doRasOpInPlace(Core2DImage::RasOpEnum::RasOp op, bool keyed, unsigned key,
                              unsigned colour) = 0;  // 33
  virtual void doRasOpInPlace(Core2DImage::RasOpEnum::RasOp op, RasOpXfmAttr &attr,
                              const IImg &source) = 0;  // 34
  virtual IImg *clone() const = 0;                      // 35
  virtual void drawArc() = 0;                           // 36
  virtual void drawCircle(int x, int y, int radius, const ColorValue *stroke,
                          const ColorValue *fill) = 0;                   // 37
  virtual void drawElipse() = 0;                                         // 38
  virtual void drawLines(int_pt_t *from, int_pt_t *to, bool clear) = 0;  // 39
  virtual void drawPixel(unsigned x, unsigned y, unsigned value) = 0;    // 40
  virtual void drawPolyLine() = 0;                                       // 41
  virtual void drawPolygon() = 0;                                        // 42
  virtual void DrawFilledRectangle(int left, int top, int right, int bottom, ColorValue &edge,
                                   ColorValue &fill) = 0;      // 43
  virtual void drawSpline() = 0;                               // 44
  virtual IImg *mirror(ImgMirT how) = 0;                       // 45
  virtual void mirrorThis(ImgMirT how) = 0;                    // 46
  virtual IImg *rotate(double degrees) = 0;                    // 47
  virtual IImg *scale(double factor, ImgScaleAttr &attr) = 0;  // 48
  virtual IImg *scale(const ImgRect &source, const ImgRect &target,
                      ImgScaleAttr &attr) = 0;  // 49
  virtual IImg *scale(const ImgRect &source, unsigned width, unsigned height,
                      ImgScaleAttr &attr) = 0;        // 50
  virtual bool stream(void *sink) = 0;                // 51
  virtual IImg *sxfm() = 0;                           // 52
  virtual bool writeTIFF() const = 0;                 // 53
  virtual bool writePPM(const char *path) const = 0;  // 54

  // The allocator pair for pixel buffers that cross between host and library: a
  // buffer handed to a factory for adoption, or taken away by ownData, comes from
  // and goes back to these. allocImageBuffer returns null on failure and reports
  // nothing; deallocImageBuffer frees a non-null pointer and clears it.
  static void *allocImageBuffer(unsigned long long size);
  static void deallocImageBuffer(void *&p);
};

#endif  // IMAGE_CORE_IIMG_H_
