// RasterOp: the settings record and Over, which places one image over another. Of
// the sixteen pairs of CImg1, CImg1G4, CImg8 and CImg32 only a CImg32 over a CImg32
// blends; the others check that both images hold data. composite of CImg32 and
// CImg8 comes here.
#include "Image/rasterop/RasterOp.h"

#include <cstring>
#include <memory>
#include <type_traits>

#include "Image/core/internal/ImgReport.h"
#include "Image/g4/CImg1G4.h"
#include "Image/raster/CImg1.h"
#include "Image/raster/CImg32.h"
#include "Image/raster/CImg8.h"

using c2d::ReportR;
using Core2DImage::IntRect;

namespace {

// CImg keeps initData for its subclasses. RasterOp reaches the virtual slot through
// a member pointer named in a derived scope, which is all a subclass could do.
struct DataInit : CImg {
  static ImgErr Run(CImg &image) { return (image.*(&DataInit::initData))(); }
};

// How many rows, and pixels in each row, the row table of an image reaches. They
// follow the buffer as it was allocated, which setExtents does not change.
struct Reach {
  unsigned rows;
  unsigned columns;
};

Reach ReachOf(const CImg32 &image) {
  const unsigned stride = image.getBytesPerLine();
  return {stride == 0 ? 0u : image.getTotalBytes() / stride, stride / 4u};
}

Reach ReachOf(const CImg8 &image) {
  const unsigned stride = image.getBytesPerLine();
  return {stride == 0 ? 0u : image.getTotalBytes() / stride, stride - image.getPadBytes()};
}

template <class Image>
bool Reaches(const Image &image, const IntRect &r) {
  const Reach reach = ReachOf(image);
  return r.left() >= 0 && r.top() >= 0 && r.left() <= r.right() && r.top() <= r.bottom() &&
         static_cast<unsigned>(r.right()) < reach.columns &&
         static_cast<unsigned>(r.bottom()) < reach.rows;
}

// The rows of the overlap on both sides, from sub-references of the two images,
// which are released with this object. A view is at least 2 x 2, so an overlap one
// pixel high or wide has none: its rows are then taken from the images themselves,
// from the overlap's corner, which are the pixels such a view would show.
template <class Source, class SourcePixel>
class Overlap {
 public:
  // False when a sub-reference cannot be made or has no rows.
  bool Take(CImg32 &destination, const IntRect &d, const Source &source, const IntRect &s) {
    if (d.left() == d.right() || d.top() == d.bottom()) {
      if (!Reaches(destination, d) || !Reaches(source, s) || source.constDataArray() == nullptr ||
          destination.peekDataArray() == nullptr) {
        return false;
      }
      width = static_cast<unsigned>(d.width());
      height = static_cast<unsigned>(d.height());
      // SAFETY: both rectangles lie within the rows and columns the tables reach.
      dstRows = destination.peekDataArray() + d.top();
      dstX = static_cast<unsigned>(d.left());
      srcRows = source.constDataArray() + s.top();
      srcX = static_cast<unsigned>(s.left());
      return true;
    }
    dstView_.reset(destination.getSubRef(d));
    if (dstView_ == nullptr) {
      return false;
    }
    srcView_.reset(source.getSubRef(s));
    if (srcView_ == nullptr) {
      return false;
    }
    // A view of a CImg32 is a CImg32, and of a CImg8 a CImg8.
    CImg32 *dstView = static_cast<CImg32 *>(dstView_.get());
    width = dstView->getWidth();
    height = dstView->getHeight();
    dstRows = dstView->peekDataArray();
    srcRows = static_cast<const Source *>(srcView_.get())->constDataArray();
    dstX = 0;
    srcX = 0;
    return dstRows != nullptr && dstRows[0] != nullptr && srcRows != nullptr &&
           srcRows[0] != nullptr;
  }

  unsigned width = 0;
  unsigned height = 0;
  unsigned *const *dstRows = nullptr;
  unsigned dstX = 0;
  const SourcePixel *const *srcRows = nullptr;
  unsigned srcX = 0;

 private:
  std::unique_ptr<IImg> dstView_;
  std::unique_ptr<const IImg> srcView_;
};

using Overlap32 = Overlap<CImg32, unsigned>;

// The low byte of the sum cut toward zero. A NaN has no integer; it gives 0, the
// low byte of what the processor answers (0x80000000), as would a sum beyond 32
// bits, which no alpha in range produces.
inline unsigned char CutToByte(double sum) {
  if (!(sum > -2147483649.0 && sum < 2147483648.0)) {
    return 0;
  }
  return static_cast<unsigned char>(static_cast<int32_t>(sum));
}

inline unsigned char *Channels(unsigned *pixel) { return reinterpret_cast<unsigned char *>(pixel); }

inline const unsigned char *Channels(const unsigned *pixel) {
  return reinterpret_cast<const unsigned char *>(pixel);
}

// The key compares channels 0 to 2 only: the alpha byte takes no part.
inline bool KeyedOut(const unsigned char *src, const unsigned char *key) {
  return src[0] == key[0] && src[1] == key[1] && src[2] == key[2];
}

// Channels 2, 1 and 0: each product is a double of its own before the two are added.
inline void BlendColour(unsigned char *dst, const unsigned char *src, double a, double b) {
  for (int c = 2; c >= 0; --c) {
    const double fromSource = static_cast<double>(src[c]) * a;
    const double fromDestination = static_cast<double>(dst[c]) * b;
    dst[c] = CutToByte(fromSource + fromDestination);
  }
}

// The six loops. Each tests its settings once, outside the pixels.

// Opaque: all four channels of the source replace the destination's.
template <bool kKeyed>
void CopyOpaque(const Overlap32 &o, const unsigned char *key) {
  for (unsigned y = 0; y < o.height; ++y) {
    unsigned *dst = o.dstRows[y] + o.dstX;
    const unsigned *src = o.srcRows[y] + o.srcX;
    if constexpr (!kKeyed) {
      std::memmove(dst, src, sizeof(unsigned) * o.width);
    } else {
      for (unsigned x = 0; x < o.width; ++x) {
        if (!KeyedOut(Channels(&src[x]), key)) {
          dst[x] = src[x];
        }
      }
    }
  }
}

// Blends with one alpha for every pixel, or with each source pixel's own alpha
// channel. The destination keeps its alpha channel.
template <bool kKeyed, bool kBySourceAlpha>
void Blend(const Overlap32 &o, const unsigned char *key, double alpha) {
  const double a = alpha;
  const double b = 1.0 - a;
  for (unsigned y = 0; y < o.height; ++y) {
    unsigned *dst = o.dstRows[y] + o.dstX;
    const unsigned *src = o.srcRows[y] + o.srcX;
    for (unsigned x = 0; x < o.width; ++x) {
      const unsigned char *s = Channels(&src[x]);
      if (kKeyed && KeyedOut(s, key)) {
        continue;
      }
      if constexpr (kBySourceAlpha) {
        const double own = static_cast<double>(s[3]) / 255.0;
        BlendColour(Channels(&dst[x]), s, own, 1.0 - own);
      } else {
        BlendColour(Channels(&dst[x]), s, a, b);
      }
    }
  }
}

// Calls `over` with `image` as T (const for a const image) through a checked cast;
// IMG_INVALID_ARG when the image is not a T.
template <class T, class Image, class F>
ImgErr AsClass(Image &image, F &over) {
  using Cast = std::conditional_t<std::is_const_v<Image>, const T, T>;
  Cast *cast = dynamic_cast<Cast *>(&image);
  return cast != nullptr ? over(*cast) : IMG_INVALID_ARG;
}

// One stage of Over's dispatch: the class the image's type names, or IMG_FAIL for a
// type no raster class has.
template <class Image, class F>
ImgErr ByClass(Image &image, F over) {
  // getType is not const in the interface, though it changes nothing.
  switch (const_cast<IImg &>(static_cast<const IImg &>(image)).getType()) {
    case IMG_TYPE_1BIT:
      return AsClass<CImg1>(image, over);
    case IMG_TYPE_G4:
      return AsClass<CImg1G4>(image, over);
    case IMG_TYPE_8BIT:
      return AsClass<CImg8>(image, over);
    case IMG_TYPE_32BIT:
      return AsClass<CImg32>(image, over);
    default:
      return IMG_FAIL;
  }
}

}  // namespace

RasterOp::RasterOp()
    : m_top(0),
      m_left(0),
      m_useAlpha(false),
      m_alpha(0.0),
      m_useTransparentColor(false),
      m_transparentColor(0) {}

RasterOp::~RasterOp() {}

// ---------------------------------------------------------------------------
// Dispatch: by the source's type, then the destination's, each through a checked
// cast. Nothing is recorded here.

template <class D, class S>
ImgErr RasterOp::Over(D &destination, const S &source) {
  // A deliberate success without effect, once both images hold data.
  return bothHaveData(destination, source);
}

ImgErr RasterOp::Over(IImg &destination, const CImg1 &source) {
  return ByClass(destination, [&](auto &d) { return Over(d, source); });
}

ImgErr RasterOp::Over(IImg &destination, const CImg1G4 &source) {
  return ByClass(destination, [&](auto &d) { return Over(d, source); });
}

ImgErr RasterOp::Over(IImg &destination, const CImg8 &source) {
  return ByClass(destination, [&](auto &d) { return Over(d, source); });
}

ImgErr RasterOp::Over(IImg &destination, const CImg32 &source) {
  return ByClass(destination, [&](auto &d) { return Over(d, source); });
}

ImgErr RasterOp::Over(IImg &destination, const IImg &source) {
  return ByClass(source, [&](const auto &s) { return Over(destination, s); });
}

// ---------------------------------------------------------------------------
// The pairs that reach pixels

template <class S, class O>
ImgErr RasterOp::Overlapping(CImg32 &destination, const S &source, O &overlap) {
  // A NaN alpha is not stopped here.
  if (m_useAlpha && m_alpha <= 0.0) {
    return IMG_FALSE;
  }
  if (bothHaveData(destination, source) != IMG_OK) {
    return CImgErr::get();
  }
  IntRect d(destination.getRect());
  IntRect s(source.getRect());
  if (!Clip(d, s)) {
    return IMG_FAIL;
  }
  return overlap.Take(destination, d, source, s) ? IMG_OK : IMG_FAIL;
}

ImgErr RasterOp::Over(CImg32 &destination, const CImg32 &source) {
  Overlap32 overlap;
  const ImgErr found = Overlapping(destination, source, overlap);
  if (found != IMG_OK) {
    return found;
  }
  unsigned char key[4];
  std::memcpy(key, &m_transparentColor, sizeof key);
  const bool keyed = m_useTransparentColor;
  if (m_useAlpha && m_alpha >= 1.0) {
    keyed ? CopyOpaque<true>(overlap, key) : CopyOpaque<false>(overlap, key);
  } else if (m_useAlpha) {
    keyed ? Blend<true, false>(overlap, key, m_alpha) : Blend<false, false>(overlap, key, m_alpha);
  } else {
    keyed ? Blend<true, true>(overlap, key, 0.0) : Blend<false, true>(overlap, key, 0.0);
  }
  return IMG_OK;
}

ImgErr RasterOp::Over(CImg32 &destination, const CImg8 &source) {
  // Palette pixels are not composed: the overlap is found and its views made, and
  // that is all. The views are released whatever the settings.
  Overlap<CImg8, unsigned char> overlap;
  return Overlapping(destination, source, overlap);
}

// ---------------------------------------------------------------------------
// Helpers

ImgErr RasterOp::bothHaveData(CImg &destination, const CImg &source) const {
  if (!source.hasData()) {
    return ReportR(IMG_FALSE);
  }
  if (destination.hasData()) {
    return IMG_OK;
  }
  // initData has recorded why it failed.
  return DataInit::Run(destination) == IMG_OK ? IMG_OK : CImgErr::get();
}

bool RasterOp::Clip(IntRect &destination, IntRect &source) {
  // Into destination coordinates. Edges wrap rather than overflow.
  source.moveBy(m_left, m_top);
  // Touching edges overlap.
  if (destination.IsDisjointFrom(source)) {
    return false;
  }
  const IntRect entry = destination;
  (void)destination.intersect(source);
  // The same test again, against the destination as it came in: it cannot fail.
  if (entry.IsDisjointFrom(source)) {
    return false;
  }
  source = destination;
  source.moveBy(static_cast<int>(0u - static_cast<uint32_t>(m_left)),
                static_cast<int>(0u - static_cast<uint32_t>(m_top)));
  return true;
}
