// CPDFRender on poppler-cpp: opening a page, measuring it and rendering viewports of
// it into the buffers CImgPDF adopts.
#include "PDFRender/CPDFRender.h"

#include "Image/core/internal/RasterBuffer.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif

#include <poppler-document.h>
#include <poppler-global.h>
#include <poppler-image.h>
#include <poppler-page-renderer.h>
#include <poppler-page.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>

namespace {

constexpr double kDensity = 200.0;
constexpr double kPointsPerInch = 72.0;
// The bilevel test renders at a quarter of the density.
constexpr double kProbeDensity = kDensity / 4;

// Renders of at least this many bytes of RGB prepare the heap (PrepareHeapForPages).
constexpr uint64_t kPageSized = uint64_t{8} << 20;

uint64_t sPixelLimit = uint64_t{1} << 28;

// poppler reports damaged files on stderr by default; a viewer has no use for that.
void Quiet(const std::string & /*message*/, void * /*closure*/) {}

void SilencePoppler() {
  static std::once_flag once;
  std::call_once(once, [] { poppler::set_debug_error_function(Quiet, nullptr); });
}

unsigned PixelsOf(double points) {
  const double pixels = std::ceil(points * kDensity / kPointsPerInch - 1e-6);
  return pixels >= 1 && pixels < INT_MAX ? static_cast<unsigned>(pixels) : 0;
}

bool FitsLimit(uint64_t width, uint64_t height) {
  return width > 0 && height > 0 && width <= INT_MAX && height <= INT_MAX &&
         width * height <= sPixelLimit;
}

// poppler draws a page into a buffer of its own and hands back a malloc'd copy of
// it, so one render makes two fresh page-sized buffers, and the rasters made from it
// two more. On glibc those come from mmap and are unmapped when freed: every render
// pays a fault per 4 KB for each of them, most of its time. Once per process, before
// the first page-sized render, a large block is freed untouched, which raises malloc's
// mmap threshold past a page (glibc does so for any block freed from mmap), and the
// heap is grown by a page's worth marked for huge pages. poppler's buffers then come
// from that heap, one fault per 2 MB, and the later rasters reuse what they left.
void PrepareHeapForPages() {
#if defined(__linux__) && defined(__GLIBC__)
  static std::once_flag once;
  std::call_once(once, [] {
    constexpr size_t kHuge = size_t{2} << 20;
    // Below glibc's 32 MB cap on the threshold; a letter page's buffers fit the heap.
    constexpr size_t kThreshold = size_t{30} << 20;
    constexpr size_t kHeap = size_t{28} << 20;
    // volatile: a block freed unused would otherwise never be asked for.
    void *volatile released = std::malloc(kThreshold);
    std::free(released);
    void *volatile heap = std::malloc(kHeap);
    if (heap != nullptr) {
      const uintptr_t start = (reinterpret_cast<uintptr_t>(heap) + kHuge - 1) / kHuge * kHuge;
      (void)madvise(reinterpret_cast<void *>(start), kHeap - kHuge, MADV_HUGEPAGE);
    }
    std::free(heap);
  });
#endif
}

}  // namespace

struct CPDFRender::Document {
  std::unique_ptr<poppler::document> file;
  std::unique_ptr<poppler::page> page;
  unsigned width = 0;
  unsigned height = 0;

  // A render of the page area (x, y, w, h), in pixels at (xres, yres) dots per inch;
  // an invalid image unless it has exactly that size and format.
  poppler::image render(double xres, double yres, int x, int y, int w, int h,
                        poppler::image::format_enum format, unsigned hints) const {
    poppler::page_renderer renderer;
    renderer.set_image_format(format);
    renderer.set_render_hints(hints);
    poppler::image image = renderer.render_page(page.get(), xres, yres, x, y, w, h);
    // A failed or refused render comes back as a valid 1 x 1 image.
    if (!image.is_valid() || image.width() != w || image.height() != h ||
        image.format() != format) {
      return poppler::image();
    }
    return image;
  }
};

CPDFRender::CPDFRender() = default;

CPDFRender::CPDFRender(char *path, int page, bool detectBilevel) {
  SilencePoppler();
  if (path == nullptr || page < 1) {
    return;
  }
  auto opened = std::make_unique<Document>();
  opened->file.reset(poppler::document::load_from_file(path));
  if (!opened->file || opened->file->is_locked() || page > opened->file->pages()) {
    return;
  }
  opened->page.reset(opened->file->create_page(page - 1));
  if (!opened->page) {
    return;
  }
  const poppler::rectf box = opened->page->page_rect(poppler::crop_box);
  unsigned width = PixelsOf(box.width());
  unsigned height = PixelsOf(box.height());
  const poppler::page::orientation_enum turn = opened->page->orientation();
  if (turn == poppler::page::landscape || turn == poppler::page::seascape) {
    std::swap(width, height);
  }
  if (width == 0 || height == 0) {
    return;
  }
  opened->width = width;
  opened->height = height;
  document = opened.release();
  if (detectBilevel && findImageType() == 1) {
    bilevel = 1;
  }
}

CPDFRender::~CPDFRender() { delete document; }

unsigned CPDFRender::getImgWidth() { return document == nullptr ? 0 : document->width; }

unsigned CPDFRender::getImgHeight() { return document == nullptr ? 0 : document->height; }

int CPDFRender::findImageType() {
  if (document == nullptr) {
    return 32;
  }
  const double scale = kProbeDensity / kDensity;
  const int w = std::max(1, static_cast<int>(document->width * scale));
  const int h = std::max(1, static_cast<int>(document->height * scale));
  if (!FitsLimit(w, h)) {
    return 32;
  }
  // Without anti-aliasing a black-on-white page has no grey edges.
  poppler::image image =
      document->render(kProbeDensity, kProbeDensity, 0, 0, w, h, poppler::image::format_rgb24, 0);
  if (!image.is_valid()) {
    return 32;
  }
  const char *data = image.const_data();
  for (int y = 0; y < h; ++y) {
    const auto *row = reinterpret_cast<const unsigned char *>(data) +
                      static_cast<size_t>(y) * static_cast<size_t>(image.bytes_per_row());
    for (int i = 0; i < 3 * w; i += 3) {
      const unsigned char v = row[i];
      if ((v != 0 && v != 255) || row[i + 1] != v || row[i + 2] != v) {
        return 32;
      }
    }
  }
  return 1;
}

void CPDFRender::getExtents(double &x0, double &y0, double &x1, double &y1) {
  x0 = y0 = x1 = y1 = 0;
  if (document != nullptr) {
    const poppler::rectf box = document->page->page_rect(poppler::crop_box);
    x0 = box.left() / kPointsPerInch;
    y0 = box.top() / kPointsPerInch;
    x1 = box.right() / kPointsPerInch;
    y1 = box.bottom() / kPointsPerInch;
  }
}

double CPDFRender::getDensity() { return kDensity; }

void CPDFRender::setViewport(unsigned left, unsigned top, unsigned right, unsigned bottom) {
  viewLeft = left;
  viewTop = top;
  viewRight = right;
  viewBottom = bottom;
}

void CPDFRender::getViewport(unsigned &left, unsigned &top, unsigned &right, unsigned &bottom) {
  left = viewLeft;
  top = viewTop;
  right = viewRight + 1;
  bottom = viewBottom + 1;
}

void CPDFRender::setOutputRect(unsigned width, unsigned height) {
  outputWidth = width;
  outputHeight = height;
}

void CPDFRender::getOutputRect(unsigned &width, unsigned &height) {
  width = outputWidth;
  height = outputHeight;
}

bool CPDFRender::getImage(unsigned depth, unsigned char *&data, uint64_t &size, bool /*small*/) {
  data = nullptr;
  size = 0;
  if (document == nullptr || (depth != 32 && depth != 1) || !FitsLimit(outputWidth, outputHeight) ||
      viewRight < viewLeft || viewBottom < viewTop) {
    return false;
  }
  // The viewport, measured in page pixels, is stretched onto the output raster: the
  // render's resolution is the density times the stretch on each axis.
  const double stretchX =
      static_cast<double>(outputWidth) / (static_cast<double>(viewRight) - viewLeft + 1);
  const double stretchY =
      static_cast<double>(outputHeight) / (static_cast<double>(viewBottom) - viewTop + 1);
  const double x = std::round(viewLeft * stretchX);
  const double y = std::round(viewTop * stretchY);
  if (x > INT_MAX || y > INT_MAX) {
    return false;
  }
  if (uint64_t{outputWidth} * outputHeight * 3 >= kPageSized) {
    PrepareHeapForPages();
  }
  unsigned hints = 0;
  hints |= smoothLine ? poppler::page_renderer::antialiasing : 0;
  hints |= smoothText ? poppler::page_renderer::text_antialiasing : 0;
  const int w = static_cast<int>(outputWidth);
  const int h = static_cast<int>(outputHeight);
  const poppler::image image = document->render(
      kDensity * stretchX, kDensity * stretchY, static_cast<int>(x), static_cast<int>(y), w, h,
      depth == 32 ? poppler::image::format_rgb24 : poppler::image::format_gray8, hints);
  if (!image.is_valid()) {
    return false;
  }
  const size_t stride =
      depth == 32 ? (3 * size_t{outputWidth} + 3) / 4 * 4 : (size_t{outputWidth} + 31) / 32 * 4;
  const size_t total = stride * outputHeight;
  auto *out = static_cast<unsigned char *>(c2d::AllocRaster(total));
  if (out == nullptr) {
    return false;
  }
  const auto *in = reinterpret_cast<const unsigned char *>(image.const_data());
  const size_t inStride = static_cast<size_t>(image.bytes_per_row());
  for (size_t row = 0; row < outputHeight; ++row) {
    const unsigned char *from = in + row * inStride;
    unsigned char *to = out + row * stride;
    if (depth == 32) {
      const size_t bytes = 3 * size_t{outputWidth};
      std::memcpy(to, from, bytes);
      std::memset(to + bytes, 0, stride - bytes);
      continue;
    }
    // Ink is whatever is darker than mid grey.
    std::memset(to, 0, stride);
    for (size_t col = 0; col < outputWidth; ++col) {
      if (from[col] < 128) {
        to[col >> 3] |= static_cast<unsigned char>(0x80u >> (col & 7));
      }
    }
  }
  data = out;
  size = total;
  return true;
}

void CPDFRender::setSmoothImage(bool on) { smoothImage = on; }

void CPDFRender::setSmoothLine(bool on) { smoothLine = on; }

void CPDFRender::setSmoothText(bool on) { smoothText = on; }

int CPDFRender::getPageCount() { return document == nullptr ? 0 : document->file->pages(); }

void CPDFRender::setPixelLimit(uint64_t pixels) { sPixelLimit = pixels; }

uint64_t CPDFRender::getPixelLimit() { return sPixelLimit; }

CPDFRender *pdfrender_new(char *path, int page, bool detectBilevel) {
  try {
    return new CPDFRender(path, page, detectBilevel);
  } catch (...) {
    return nullptr;  // nothing is thrown past a library loaded by name
  }
}

uint64_t pdfrender_pixel_limit() { return CPDFRender::getPixelLimit(); }
