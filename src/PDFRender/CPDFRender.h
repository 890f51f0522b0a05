// CPDFRender: renders one page of a PDF document to rasters for CImgPDF. Its callers
// see plain sizes, rectangles and malloc'd buffers; how pages are drawn stays inside
// the library pdfrender.
#ifndef PDFRENDER_CPDFRENDER_H_
#define PDFRENDER_CPDFRENDER_H_

#include <cstdint>

#if defined(_WIN32)
#if defined(PDFRENDER_BUILDING)
#define PDFRENDER_EXPORT __declspec(dllexport)
#else
#define PDFRENDER_EXPORT __declspec(dllimport)
#endif
#else
#define PDFRENDER_EXPORT __attribute__((visibility("default")))
#endif

// Pixel coordinates are those of the whole page at getDensity() dots per inch, after
// the page's own rotation. Every operation is virtual so that a stand-in can take the
// renderer's place behind CImgPDF.
class PDFRENDER_EXPORT CPDFRender {
 public:
  // Opens page `page` (counted from 1) of the file at `path`. A file that is missing,
  // damaged or locked, or lacks the page, gives a renderer of size 0 x 0. With
  // detectBilevel the page is rendered once at low resolution and the bilevel member
  // becomes 1 when it is black on white (see findImageType).
  CPDFRender(char *path, int page, bool detectBilevel);
  virtual ~CPDFRender();
  CPDFRender(const CPDFRender &) = delete;
  CPDFRender &operator=(const CPDFRender &) = delete;

  // The page's size in pixels at the density; 0 when it cannot be used.
  virtual unsigned getImgWidth();
  virtual unsigned getImgHeight();
  // 1 when every pixel of a low-resolution render without anti-aliasing is black or
  // white, else 32 (also when nothing could be rendered).
  virtual int findImageType();
  // The crop box in inches, in the document's own coordinates (y up, before the
  // page's rotation): lower-left x and y, upper-right x and y. All 0 without a page.
  virtual void getExtents(double &x0, double &y0, double &x1, double &y1);
  // Pixels per inch of the page's pixel coordinates: 200.
  virtual double getDensity();
  // The area of the next render, inclusive pixel coordinates of the page. An area
  // reaching past the page shows paper there.
  virtual void setViewport(unsigned left, unsigned top, unsigned right, unsigned bottom);
  // The area rendered, right and bottom one past its last pixel. This renderer keeps
  // the area it was given.
  virtual void getViewport(unsigned &left, unsigned &top, unsigned &right, unsigned &bottom);
  virtual void setOutputRect(unsigned width, unsigned height);
  // The size of the last raster made, or of the one asked for before any render.
  virtual void getOutputRect(unsigned &width, unsigned &height);
  // Renders the viewport at the output size. depth 32: packed R, G, B bytes, rows
  // padded to 4 bytes; depth 1: rows padded to 32 bits, most significant bit first, a
  // set bit for ink (grey below one half). The buffer comes from malloc and is the
  // caller's. False, with data null and size 0, for another depth, a zero size, more
  // pixels than the pixel limit, or a render that fails. `small` is accepted and
  // changes nothing: any size renders alike.
  virtual bool getImage(unsigned depth, unsigned char *&data, uint64_t &size, bool small);
  // Anti-aliasing of the next renders, all on at first. Lines covers fills and
  // strokes; images have no separate control here, so that setting is kept and
  // does nothing.
  virtual void setSmoothImage(bool on);
  virtual void setSmoothLine(bool on);
  virtual void setSmoothText(bool on);
  // Pages in the document, 0 when it did not open.
  virtual int getPageCount();

  // The bilevel member, for readers that cannot reach it directly.
  int getBilevel() const { return bilevel; }

  // The most pixels any one render may have, for every renderer of the process;
  // larger requests are refused before anything is drawn. 2^28 at first.
  static void setPixelLimit(uint64_t pixels);
  static uint64_t getPixelLimit();

 protected:
  // A renderer without a document (size 0), for stand-ins.
  CPDFRender();

  // 1 when the page is black on white, as found at construction.
  int bilevel = 0;

 private:
  struct Document;
  Document *document = nullptr;
  unsigned viewLeft = 0, viewTop = 0, viewRight = 0, viewBottom = 0;
  unsigned outputWidth = 0, outputHeight = 0;
  bool smoothImage = true, smoothLine = true, smoothText = true;
};

// The library's file name, and makers by name for hosts that load the library only
// when a PDF comes (utl_load_symbol): a new renderer (null when out of memory), and
// the pixel limit.
#if defined(_WIN32)
constexpr const char kPDFRenderLibrary[] = "pdfrender.dll";
#elif defined(__APPLE__)
constexpr const char kPDFRenderLibrary[] = "libpdfrender.1.dylib";
#else
constexpr const char kPDFRenderLibrary[] = "libpdfrender.so.1";
#endif
extern "C" PDFRENDER_EXPORT CPDFRender *pdfrender_new(char *path, int page, bool detectBilevel);
extern "C" PDFRENDER_EXPORT uint64_t pdfrender_pixel_limit();
using PDFRenderMaker = CPDFRender *(*)(char *path, int page, bool detectBilevel);
using PDFRenderLimit = uint64_t (*)();

#endif  // PDFRENDER_CPDFRENDER_H_
