// PNG through libpng. Reading uses libpng's simplified interface: 1-bit grey becomes
// a CImg1, a palette without transparency a CImg8, everything else a CImg32 (with
// opacity where the file has it). Writing uses the row interface, so that bilevel
// images are stored as 1-bit grey and rows stream out one at a time.
#include <png.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "Failure.h"
#include "Formats.h"
#include "Library.h"
#include "Limits.h"

namespace c2dimg {
namespace {

const uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

bool SniffPng(const std::vector<uint8_t> &head) {
  return head.size() >= 8 && std::memcmp(head.data(), kSignature, 8) == 0;
}

// Frees what the simplified interface holds on every way out.
struct ImageGuard {
  png_image *image;
  ~ImageGuard() { png_image_free(image); }
};

Picture ReadPng(const InputFile &file, uint32_t page) {
  if (page != 1) {
    throw FileError(file.path, "has 1 page, no page " + std::to_string(page));
  }
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&image, file.path.c_str()) == 0) {
    throw FileError(file.path, image.message);
  }
  ImageGuard guard{&image};
  CheckPixels(file.path, image.width, image.height);
  const uint32_t w = image.width, h = image.height;
  const bool alpha = (image.format & PNG_FORMAT_FLAG_ALPHA) != 0;
  const bool colour = (image.format & PNG_FORMAT_FLAG_COLOR) != 0;
  const bool palette = (image.format & PNG_FORMAT_FLAG_COLORMAP) != 0;
  // The simplified interface hides the bit depth: it is in the header, byte 24, with
  // the colour type after it.
  const bool oneBitGrey =
      !alpha && file.head.size() > 25 && file.head[24] == 1 && file.head[25] == 0;
  Picture picture;
  picture.path = file.path;
  picture.origin = "PNG";
  const auto finish = [&](void *buffer, png_int_32 stride, void *colourMap) {
    if (png_image_finish_read(&image, nullptr, buffer, stride, colourMap) == 0) {
      throw FileError(file.path, image.message);
    }
  };
  if (oneBitGrey) {
    picture.origin += ", 1-bit grey";
    CImg1 &bilevel = NewBilevel(picture, w, h, kWhite, kBlack);
    std::vector<uint8_t> grey(size_t{w} * h);
    image.format = PNG_FORMAT_GRAY;
    finish(grey.data(), static_cast<png_int_32>(w), nullptr);
    uint8_t *bits = bilevel.peekData();
    const size_t stride = bilevel.getBytesPerLine();
    for (uint32_t y = 0; y < h; ++y) {
      const uint8_t *in = grey.data() + size_t{y} * w;
      for (uint32_t x = 0; x < w; ++x) {
        if (in[x] < 128) {
          bits[y * stride + x / 8] |= static_cast<uint8_t>(0x80u >> (x % 8));
        }
      }
    }
  } else if (palette && !alpha) {
    picture.origin += ", palette";
    image.format = PNG_FORMAT_RGB_COLORMAP;
    std::vector<uint8_t> indices(size_t{w} * h);
    std::vector<uint8_t> entries(PNG_IMAGE_COLORMAP_SIZE(image));
    finish(indices.data(), static_cast<png_int_32>(w), entries.data());
    const int count = static_cast<int>(image.colormap_entries);
    ColorMap map(count, 255);
    for (int i = 0; i < count; ++i) {
      map.entries[i] = {entries[3 * i], entries[3 * i + 1], entries[3 * i + 2]};
    }
    CImg8 &image8 = NewPalette(picture, w, h, map);
    std::memcpy(image8.peekData(), indices.data(), indices.size());
  } else {
    picture.origin += colour ? ", colour" : ", grey";
    picture.alpha = alpha;
    if (alpha) {
      picture.origin += " with alpha";
    }
    // B, G, R, A in memory is the library's default byte order.
    CImg32 &image32 = NewColour(picture, w, h, RGB_ORDER_BGR);
    image.format = PNG_FORMAT_BGRA;
    finish(image32.peekData(), static_cast<png_int_32>(w * 4), nullptr);
  }
  return picture;
}

// One PNG being written. The writing runs under libpng's longjmp error handling, so
// everything with a destructor lives here, outside that function.
struct PngJob {
  FILE *stream;
  Rows *rows;
  int bitDepth;
  int colourType;
  std::vector<png_color> palette;
  double dpiX;
  double dpiY;
  std::vector<uint8_t> row;
  char error[256];
};

void OnError(png_structp png, png_const_charp message) {
  auto *job = static_cast<PngJob *>(png_get_error_ptr(png));
  std::snprintf(job->error, sizeof job->error, "%s", message);
  png_longjmp(png, 1);
}

void OnWarning(png_structp, png_const_charp) {}

// Only plain data between setjmp and longjmp; false with job->error set on failure.
bool RunPngJob(PngJob *job) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, job, OnError, OnWarning);
  png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
  if (info == nullptr) {
    png_destroy_write_struct(&png, nullptr);
    std::snprintf(job->error, sizeof job->error, "out of memory");
    return false;
  }
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  Rows &rows = *job->rows;
  png_init_io(png, job->stream);
  png_set_IHDR(png, info, rows.width(), rows.height(), job->bitDepth, job->colourType,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (!job->palette.empty()) {
    png_set_PLTE(png, info, job->palette.data(), static_cast<int>(job->palette.size()));
  }
  if (job->dpiX > 0 && job->dpiY > 0) {
    png_set_pHYs(png, info, static_cast<png_uint_32>(std::lround(job->dpiX / 0.0254)),
                 static_cast<png_uint_32>(std::lround(job->dpiY / 0.0254)), PNG_RESOLUTION_METER);
  }
  png_write_info(png, info);
  // PNG's 1-bit grey stores black as 0.
  const bool bilevel = rows.kind() == RowKind::kBilevel;
  for (uint32_t y = 0; y < rows.height(); ++y) {
    rows.read(y, job->row.data());
    if (bilevel) {
      for (uint8_t &b : job->row) {
        b = static_cast<uint8_t>(~b);
      }
    }
    png_write_row(png, job->row.data());
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return true;
}

void WritePng(Rows &rows, const Picture &picture, OutputFile &out) {
  PngJob job{};
  job.stream = out.stream();
  job.rows = &rows;
  job.bitDepth = rows.kind() == RowKind::kBilevel ? 1 : 8;
  switch (rows.kind()) {
    case RowKind::kBilevel:
    case RowKind::kGrey:
      job.colourType = PNG_COLOR_TYPE_GRAY;
      break;
    case RowKind::kPalette:
      job.colourType = PNG_COLOR_TYPE_PALETTE;
      for (uint32_t rgb : rows.palette()) {
        job.palette.push_back({static_cast<png_byte>(rgb >> 16), static_cast<png_byte>(rgb >> 8),
                               static_cast<png_byte>(rgb)});
      }
      break;
    case RowKind::kRgb:
      job.colourType = PNG_COLOR_TYPE_RGB;
      break;
    case RowKind::kRgba:
      job.colourType = PNG_COLOR_TYPE_RGB_ALPHA;
      break;
  }
  job.dpiX = picture.dpiX;
  job.dpiY = picture.dpiY;
  job.row.resize(rows.rowBytes());
  if (!RunPngJob(&job)) {
    throw FileError(out.path(), std::string("cannot write PNG: ") + job.error);
  }
}

}  // namespace

const Format kPngFormat = {"PNG", {".png"}, SniffPng, ReadPng, KeepKind, WritePng};

}  // namespace c2dimg
