// CEMFRender on libemf2svg, librsvg and cairo: the metafile becomes SVG once, and
// each render draws that SVG with cairo into a malloc'd buffer.
#include "EMFRender/CEMFRender.h"

#include <cairo.h>
#include <emf2svg.h>
#include <librsvg/rsvg.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "Image/core/internal/FreeDeleter.h"

namespace {

// Offsets in the header record of a metafile.
constexpr uint64_t kHeaderBytes = 88;
constexpr size_t kRecordSize = 4, kBounds = 8, kFrame = 24, kSignature = 40, kFileBytes = 48,
                 kDevicePixels = 72, kDeviceMillimetres = 80;
constexpr size_t kDescriptionChars = 60, kDescriptionOffset = 64;
constexpr uint32_t kHeaderRecord = 1, kEndOfFileRecord = 14;
constexpr uint32_t kEmfSignature = 0x464D4520;  // " EMF"
// Frame units (0.01 mm) in an inch.
constexpr double kFramePerInch = 2540.0;
// cairo refuses image surfaces wider or taller than this.
constexpr unsigned kMaxSurfaceSide = 32767;

uint64_t sPixelLimit = uint64_t{1} << 28;

int32_t ReadInt(const unsigned char *p, uint64_t offset) {
  const uint32_t v = uint32_t{p[offset]} | uint32_t{p[offset + 1]} << 8 |
                     uint32_t{p[offset + 2]} << 16 | uint32_t{p[offset + 3]} << 24;
  return static_cast<int32_t>(v);
}

uint32_t ReadUnsigned(const unsigned char *p, uint64_t offset) {
  return static_cast<uint32_t>(ReadInt(p, offset));
}

// right - left of a header rectangle, 0 when empty.
unsigned Side(int32_t low, int32_t high) {
  const int64_t side = int64_t{high} - low;
  return side > 0 ? static_cast<unsigned>(side) : 0;
}

}  // namespace

struct CEMFRender::Document {
  RsvgHandle *svg = nullptr;
  unsigned width = 0, height = 0;
  double frame[4] = {0, 0, 0, 0};
  double density = 0;

  ~Document() {
    if (svg != nullptr) {
      g_object_unref(svg);
    }
  }

  // The converted drawing of a buffer that passed isMetafile, or null.
  static std::unique_ptr<Document> Load(const unsigned char *bytes) {
    auto document = std::make_unique<Document>();
    document->width = Side(ReadInt(bytes, kBounds), ReadInt(bytes, kBounds + 8));
    document->height = Side(ReadInt(bytes, kBounds + 4), ReadInt(bytes, kBounds + 12));
    if (document->width == 0 || document->height == 0) {
      return nullptr;
    }
    for (int i = 0; i < 4; ++i) {
      document->frame[i] = ReadInt(bytes, kFrame + 4 * static_cast<size_t>(i)) / kFramePerInch;
    }
    const int32_t pixels = ReadInt(bytes, kDevicePixels);
    const int32_t millimetres = ReadInt(bytes, kDeviceMillimetres);
    document->density = pixels > 0 && millimetres > 0 ? pixels * 25.4 / millimetres : 0.0;

    // The converter takes a writable buffer: it gets a copy of the stated length.
    const uint32_t length = ReadUnsigned(bytes, kFileBytes);
    std::vector<char> contents(bytes, bytes + length);
    // The converter reads a description of no characters up to a terminator, from
    // wherever its offset points; pointed at the header's first bytes it stops at once.
    if (ReadUnsigned(bytes, kDescriptionChars) == 0) {
      std::memset(contents.data() + kDescriptionOffset, 0, 4);
    }
    generatorOptions options{};
    char emptyNamespace[] = "";
    options.nameSpace = emptyNamespace;
    options.svgDelimiter = true;
    options.emfplus = true;
    char *svgText = nullptr;
    size_t svgLength = 0;
    const int converted = emf2svg(contents.data(), contents.size(), &svgText, &svgLength, &options);
    // The output is set even when the conversion fails.
    const c2d::MallocArray<char> owned(svgText);
    if (converted == 0 || svgText == nullptr || svgLength == 0) {
      return nullptr;
    }
    GError *error = nullptr;
    document->svg =
        rsvg_handle_new_from_data(reinterpret_cast<const guint8 *>(svgText), svgLength, &error);
    if (error != nullptr) {
      g_error_free(error);
    }
    return document->svg != nullptr ? std::move(document) : nullptr;
  }
};

CEMFRender::CEMFRender()
    : m_document(nullptr),
      m_replace(false),
      m_red(255),
      m_green(255),
      m_blue(255),
      m_left(0),
      m_top(0),
      m_right(0),
      m_bottom(0),
      m_width(0),
      m_height(0) {}

CEMFRender::CEMFRender(void *handle) : CEMFRender() {
  const auto *memory = static_cast<const EMFMemory *>(handle);
  if (memory == nullptr || !isMetafile(memory->bytes, memory->size)) {
    return;
  }
  std::unique_ptr<Document> document =
      Document::Load(static_cast<const unsigned char *>(memory->bytes));
  if (document == nullptr) {
    return;
  }
  m_width = document->width;
  m_height = document->height;
  m_right = m_width - 1;
  m_bottom = m_height - 1;
  m_document = document.release();
}

CEMFRender::~CEMFRender() { delete m_document; }

unsigned CEMFRender::getImgWidth() const { return m_document != nullptr ? m_document->width : 0; }

unsigned CEMFRender::getImgHeight() const { return m_document != nullptr ? m_document->height : 0; }

void CEMFRender::getExtents(double &left, double &top, double &right, double &bottom) const {
  const double none[4] = {0, 0, 0, 0};
  const double *frame = m_document != nullptr ? m_document->frame : none;
  left = frame[0];
  top = frame[1];
  right = frame[2];
  bottom = frame[3];
}

double CEMFRender::getDensity() const { return m_document != nullptr ? m_document->density : 0.0; }

void CEMFRender::setDFTReplacementBkgFlag(bool on) { m_replace = on; }

uint32_t CEMFRender::setDFTReplacementBkg(unsigned char red, unsigned char green,
                                          unsigned char blue) {
  m_red = red;
  m_green = green;
  m_blue = blue;
  return uint32_t{red} << 16 | uint32_t{green} << 8 | blue;
}

void CEMFRender::setViewport(unsigned left, unsigned top, unsigned right, unsigned bottom) {
  m_left = std::min(left, right);
  m_right = std::max(left, right);
  m_top = std::min(top, bottom);
  m_bottom = std::max(top, bottom);
}

void CEMFRender::setOutputRect(unsigned width, unsigned height) {
  m_width = width;
  m_height = height;
}

void CEMFRender::setPixelLimit(uint64_t pixels) { sPixelLimit = pixels; }

uint64_t CEMFRender::getPixelLimit() { return sPixelLimit; }

bool CEMFRender::isMetafile(const void *bytes, uint64_t size) {
  if (bytes == nullptr || size < kHeaderBytes) {
    return false;
  }
  const auto *p = static_cast<const unsigned char *>(bytes);
  const uint32_t recordSize = ReadUnsigned(p, kRecordSize);
  const uint32_t fileBytes = ReadUnsigned(p, kFileBytes);
  if (ReadUnsigned(p, 0) != kHeaderRecord || ReadUnsigned(p, kSignature) != kEmfSignature ||
      recordSize < kHeaderBytes || recordSize > fileBytes || fileBytes > size) {
    return false;
  }
  // The converter reads the description string without a bound: it must lie in the
  // header record.
  const uint64_t descriptionChars = ReadUnsigned(p, kDescriptionChars);
  const uint64_t descriptionAt = ReadUnsigned(p, kDescriptionOffset);
  if (descriptionChars != 0 &&
      (descriptionAt < kHeaderBytes || descriptionAt + 2 * descriptionChars > recordSize)) {
    return false;
  }
  // Nor does it bound every record by the file: each must lie inside it, in whole
  // words, up to the end-of-file record.
  for (uint64_t at = 0; at + 8 <= fileBytes;) {
    const uint32_t type = ReadUnsigned(p, at);
    const uint32_t bytesOfRecord = ReadUnsigned(p, at + 4);
    if (bytesOfRecord < 8 || bytesOfRecord % 4 != 0 || at + bytesOfRecord > fileBytes) {
      return false;
    }
    if (type == kEndOfFileRecord) {
      return true;
    }
    at += bytesOfRecord;
  }
  return false;
}

// Paints the paper and draws the viewport over m_width x m_height pixels, in bands
// cairo accepts.
bool CEMFRender::renderColour(unsigned char *pixels) const {
  const double paper[3] = {(m_replace ? m_red : 255) / 255.0, (m_replace ? m_green : 255) / 255.0,
                           (m_replace ? m_blue : 255) / 255.0};
  const double scaleX = static_cast<double>(m_width) / (uint64_t{m_right} - m_left + 1);
  const double scaleY = static_cast<double>(m_height) / (uint64_t{m_bottom} - m_top + 1);
  const RsvgRectangle whole = {0, 0, static_cast<double>(m_document->width),
                               static_cast<double>(m_document->height)};
  const int stride = static_cast<int>(4 * m_width);
  bool ok = true;
  for (unsigned y0 = 0; ok && y0 < m_height; y0 += std::min(kMaxSurfaceSide, m_height - y0)) {
    for (unsigned x0 = 0; ok && x0 < m_width; x0 += std::min(kMaxSurfaceSide, m_width - x0)) {
      const int w = static_cast<int>(std::min(kMaxSurfaceSide, m_width - x0));
      const int h = static_cast<int>(std::min(kMaxSurfaceSide, m_height - y0));
      // SAFETY: the band starts inside the width x height buffer and spans w x h.
      unsigned char *origin = pixels + (uint64_t{y0} * m_width + x0) * 4;
      cairo_surface_t *surface =
          cairo_image_surface_create_for_data(origin, CAIRO_FORMAT_ARGB32, w, h, stride);
      cairo_t *cr = cairo_create(surface);
      cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
      cairo_set_source_rgb(cr, paper[0], paper[1], paper[2]);
      cairo_paint(cr);
      cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
      cairo_translate(cr, -static_cast<double>(x0), -static_cast<double>(y0));
      cairo_scale(cr, scaleX, scaleY);
      cairo_translate(cr, -static_cast<double>(m_left), -static_cast<double>(m_top));
      GError *error = nullptr;
      ok = rsvg_handle_render_document(m_document->svg, cr, &whole, &error) != FALSE;
      if (error != nullptr) {
        g_error_free(error);
      }
      ok = ok && cairo_status(cr) == CAIRO_STATUS_SUCCESS;
      cairo_destroy(cr);
      cairo_surface_flush(surface);
      cairo_surface_destroy(surface);
    }
  }
  return ok;
}

bool CEMFRender::getImage(unsigned int depth, void *&data, uint64_t &size) {
  data = nullptr;
  size = 0;
  const uint64_t pixels = uint64_t{m_width} * m_height;
  if ((depth != 32 && depth != 1) || m_document == nullptr || pixels == 0 || pixels > sPixelLimit ||
      m_width > INT_MAX / 4) {
    return false;
  }
  c2d::MallocArray<unsigned char> colour(static_cast<unsigned char *>(std::malloc(pixels * 4)));
  if (colour == nullptr || !renderColour(colour.get())) {
    return false;
  }
  if (depth == 32) {
    data = colour.release();
    size = pixels * 4;
    return true;
  }
  // Bilevel: a pixel near the paper colour is paper, anything else ink.
  const uint64_t rowBytes = (uint64_t{m_width} + 31) / 32 * 4;
  auto *bits = static_cast<unsigned char *>(std::calloc(rowBytes * m_height, 1));
  if (bits == nullptr) {
    return false;
  }
  const int paper[3] = {m_replace ? m_blue : 255, m_replace ? m_green : 255,
                        m_replace ? m_red : 255};
  const unsigned char *pixel = colour.get();
  for (uint64_t y = 0; y < m_height; ++y) {
    unsigned char *row = bits + y * rowBytes;
    for (unsigned x = 0; x < m_width; ++x, pixel += 4) {
      int distance = 0;
      for (int c = 0; c < 3; ++c) {
        distance = std::max(distance, std::abs(pixel[c] - paper[c]));
      }
      if (distance < 128) {
        row[x / 8] |= static_cast<unsigned char>(0x80u >> (x % 8));
      }
    }
  }
  data = bits;
  size = rowBytes * m_height;
  return true;
}

CEMFRender *emfrender_new(void *handle) {
  try {
    return new CEMFRender(handle);
  } catch (...) {
    return nullptr;  // nothing is thrown past a library loaded by name
  }
}
