// CEMFRender: renders an Enhanced Metafile held in memory to a raster. CImgEMF asks
// it for pixels; hosts only build the handle it is made from. The metafile is
// converted to SVG once, when the renderer is made, and every getImage draws that
// drawing again at the size and over the area asked.
#ifndef EMFRENDER_CEMFRENDER_H_
#define EMFRENDER_CEMFRENDER_H_

#include <cstdint>

#include "EMFRender/EMFRenderExport.h"

// What the void* handle of CEMFRender and CImgEMF::create points to: the caller's
// metafile bytes. The renderer copies them, so the record and the bytes need only
// live until the constructor returns.
struct EMFMemory {
  const void *bytes;
  uint64_t size;
};

class EMFRENDER_EXPORT CEMFRender {
 public:
  // `handle` is an EMFMemory*. A null handle, a buffer that is not a metafile (see
  // isMetafile) or one the converter refuses gives a renderer whose size is 0.
  explicit CEMFRender(void *handle);
  virtual ~CEMFRender();
  CEMFRender(const CEMFRender &) = delete;
  CEMFRender &operator=(const CEMFRender &) = delete;

  // The virtual operations are the renderer's binary interface, in this order.
  // The document's size in pixels of the device it was made on (its bounds), 0
  // when it cannot be rendered.
  virtual unsigned getImgWidth() const;
  virtual unsigned getImgHeight() const;
  // The picture frame, in inches.
  virtual void getExtents(double &left, double &top, double &right, double &bottom) const;
  // Pixels per inch of that device, across; 0 when the header does not say.
  virtual double getDensity() const;
  // With the flag on, the paper under the drawing is the replacement colour;
  // otherwise white.
  virtual void setDFTReplacementBkgFlag(bool on);
  // Returns the colour as a pixel word, 0x00RRGGBB.
  virtual uint32_t setDFTReplacementBkg(unsigned char red, unsigned char green, unsigned char blue);
  // The part of the document the next render shows, in document pixels, right and
  // bottom inclusive; the edges may come in either order. The whole document until set.
  virtual void setViewport(unsigned left, unsigned top, unsigned right, unsigned bottom);
  // The raster size of the next render; the document's size until set.
  virtual void setOutputRect(unsigned width, unsigned height);
  // Renders the viewport onto width x height pixels and hands over a malloc'd buffer
  // of `size` bytes, which the caller frees with free(). depth 32: rows of pixels
  // whose bytes are B, G, R, 0xFF, 4 * width bytes a row. depth 1: rows padded to
  // 32 bits, most significant bit first, a set bit for paper and a clear bit for
  // ink. False, with data null and size 0, for another depth, a zero size, more
  // pixels than the limit, an unusable document or a failed render.
  virtual bool getImage(unsigned int depth, void *&data, uint64_t &size);

  // The largest render getImage attempts, in pixels, so that an oversized request
  // fails at once instead of exhausting memory. Process-wide; 2^28 by default.
  static void setPixelLimit(uint64_t pixels);
  static uint64_t getPixelLimit();
  // Whether `bytes` start with a metafile header this renderer can take: long
  // enough, the header record and signature, a stated length within the buffer, and
  // records that tile it up to the end-of-file record.
  static bool isMetafile(const void *bytes, uint64_t size);

 protected:
  // A renderer with nothing to render, for test doubles that override every
  // operation.
  CEMFRender();

 private:
  struct Document;

  bool renderColour(unsigned char *pixels) const;

  Document *m_document;
  bool m_replace;
  unsigned char m_red, m_green, m_blue;
  unsigned m_left, m_top, m_right, m_bottom;
  unsigned m_width, m_height;
};

// The library's file name, and a maker by name for hosts that load the library only
// when a metafile comes (utl_load_symbol): a new renderer over `handle`, or null when
// out of memory.
#if defined(_WIN32)
constexpr const char kEMFRenderLibrary[] = "emfrender.dll";
#elif defined(__APPLE__)
constexpr const char kEMFRenderLibrary[] = "libemfrender.1.dylib";
#else
constexpr const char kEMFRenderLibrary[] = "libemfrender.so.1";
#endif
extern "C" EMFRENDER_EXPORT CEMFRender *emfrender_new(void *handle);
using EMFRenderMaker = CEMFRender *(*)(void *handle);

#endif  // EMFRENDER_CEMFRENDER_H_
