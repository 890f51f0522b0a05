// Export: moves the pixels of one existing image into another of a different pixel
// format. It is the only way between formats: the conversion factories and clone of
// CImg32, CImg8 and CImg1 are thin wrappers around xfm.
#ifndef IMAGE_RASTER_EXPORT_H_
#define IMAGE_RASTER_EXPORT_H_

#include "Image/core/IImg.h"

class CImg1;
class CImg8;
class CImg32;

class C2D_EXPORT Export {
 public:
  // Converts the pixels of src into dst. Both must hold pixels already (nothing is
  // allocated here) and dst keeps its own format, so a new CImg1 must be clear
  // before diffusion or separation set bits in it. `mode` matters only from 32 bits
  // to 1 bit: 0 or 1 diffuse the error, 2 sets a bit wherever a pixel differs from
  // src's background colour in its low 24 bits, anything else is refused.
  //
  //   from \ to   CImg1              CImg8       CImg32
  //   CImg1       exact copy         expansion   interpretation
  //   CImg8       error diffusion    refused     palette lookup
  //   CImg32      by mode            refused     copy or channel exchange
  //   CImg1G4     uncompress         refused     refused
  //
  // Nothing converts to a Group 4 image. False, with dst unchanged, for a null
  // image, an image without pixels, a refused pair or sizes that do not fit the
  // path. Neither image is owned. Nothing is recorded in CImgErr, except what
  // CImg1G4::uncompress records for itself (and its true after a failed decode).
  static bool xfm(IImg *dst, const IImg *src, unsigned mode);
  static bool xfm(IImg &dst, const IImg &src, unsigned mode);
  static bool xfm(IImg &dst, const IImg *src, unsigned mode);
  static bool xfm(IImg *dst, const IImg &src, unsigned mode);

  // Widens h rows of w packed 3-byte pixels from src into w * h 32-bit pixels
  // written as one block at dst: bytes 0..2 keep their places and byte 3 is 0. With
  // IMG_ALIGN_32 each source row is padded to a multiple of 4 bytes. The two orders
  // are accepted and change nothing. Always true.
  static bool copy24To32(unsigned *dst, unsigned char *src, unsigned w, unsigned h,
                         ImgAlignmentEnum align, RGBOrder srcOrder, RGBOrder dstOrder);

 private:
  // One per source class: each picks the path by the destination and checks sizes.
  static bool FromCImg1(IImg &dst, const CImg1 &src);
  static bool FromCImg8(IImg &dst, const CImg8 &src);
  static bool FromCImg32(IImg &dst, const CImg32 &src, unsigned mode);

  // No instances: every operation is static.
  Export();
  ~Export();
  Export &operator=(const Export &);
};

#endif  // IMAGE_RASTER_EXPORT_H_
