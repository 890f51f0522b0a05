// HP-RTL: a complete raster job for a plotter, written with the library's tile
// iterator over one tile that covers the image, and read back with c2dimg's own
// reader (RtlDecode.h) so that a job can be looked at as any other picture.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "Failure.h"
#include "Formats.h"
#include "Library.h"
#include "RtlDecode.h"

namespace c2dimg {
namespace {

// Resolution of a job whose picture does not say.
constexpr uint32_t kDefaultDpi = 300;

bool SniffRtl(const std::vector<uint8_t> &head) { return head.size() >= 2 && head[0] == 0x1B; }

Picture ReadRtl(const InputFile &file, uint32_t page) {
  if (page != 1) {
    throw FileError(file.path, "has 1 page, no page " + std::to_string(page));
  }
  std::FILE *f = std::fopen(file.path.c_str(), "rb");
  if (f == nullptr) {
    throw FileError(file.path, SystemError());
  }
  rtl::Bytes stream(file.size);
  const size_t got = std::fread(stream.data(), 1, stream.size(), f);
  std::fclose(f);
  stream.resize(got);
  // The decoded rows may take no more than the library's 32-bit byte counts.
  const rtl::Decoded job = rtl::DecodeRtl(stream, 0, false, {}, 0xFFFFFFFFu);
  if (!job.fault.empty()) {
    throw FileError(file.path, "is not an HP-RTL raster job we can read: " + job.fault);
  }
  if (job.width == 0) {
    throw FileError(file.path, "has no source raster width (ESC*r#S)");
  }
  const uint32_t height = std::max<uint32_t>(job.height, static_cast<uint32_t>(job.rows.size()));
  if (height == 0) {
    throw FileError(file.path, "has no raster rows");
  }
  Picture picture;
  picture.path = file.path;
  picture.origin =
      std::string("HP-RTL, ") + (job.colour ? "24-bit RGB" : "bilevel") + " delta rows";
  picture.dpiX = picture.dpiY = job.dpi;
  if (job.colour) {
    CImg32 &image = NewColour(picture, job.width, height, RGB_ORDER_BGR);
    for (uint32_t y = 0; y < height; ++y) {
      const uint8_t *in = y < job.rows.size() ? job.rows[y].data() : nullptr;
      for (uint32_t x = 0; x < job.width; ++x, in += in == nullptr ? 0 : 3) {
        // A row the job never sent is blank paper: zero, which is black in RGB.
        image(y, x) = in == nullptr ? 0u : uint32_t{in[0]} << 16 | uint32_t{in[1]} << 8 | in[2];
      }
    }
    return picture;
  }
  // Set bits are ink.
  CImg1 &image = NewBilevel(picture, job.width, height, kWhite, kBlack);
  const size_t stride = image.getBytesPerLine();
  for (uint32_t y = 0; y < job.rows.size(); ++y) {
    std::copy(job.rows[y].begin(), job.rows[y].end(), image.peekData() + y * stride);
    if (job.width % 8 != 0) {
      image.peekData()[y * stride + stride - 1] &= static_cast<uint8_t>(0xFF00u >> (job.width % 8));
    }
  }
  return picture;
}

// Bilevel pages stay bits; every other page goes as 24-bit RGB.
RowKind RtlKind(RowKind natural) {
  return natural == RowKind::kBilevel ? RowKind::kBilevel : RowKind::kRgb;
}

// ESC followed by the text.
void Command(std::FILE *f, const std::string &text) {
  std::fputc(0x1B, f);
  std::fputs(text.c_str(), f);
}

// The library's records for the rows as one tile: data points into the iterator's
// buffer, which lives as long as this.
struct Records {
  std::unique_ptr<IImg> image;
  std::unique_ptr<Img1TileIterator> bilevel;
  std::unique_ptr<Img32TileIterator> colour;
  unsigned char *data = nullptr;
  unsigned length = 0;
  bool ok = false;
};

void CodeRows(Rows &rows, Records &out) {
  const uint32_t w = rows.width(), h = rows.height();
  std::vector<uint8_t> bytes(rows.rowBytes() * h);
  for (uint32_t y = 0; y < h; ++y) {
    rows.read(y, bytes.data() + y * rows.rowBytes());
  }
  unsigned x, y, tw, th, vw, vh, nullValue;
  if (rows.kind() == RowKind::kBilevel) {
    // Ink in set bits, as the library's bilevel image holds them.
    CImg1 *image = CImg1::create(w, h, bytes.data(), static_cast<unsigned>(bytes.size()), kWhite,
                                 kBlack, IMG_ALIGN_NONE);
    out.image.reset(image);
    out.bilevel.reset(image == nullptr ? nullptr : image->getTileIterator(-1, -1, CImg1::HP_RTL));
    if (out.bilevel != nullptr) {
      out.bilevel->getNextTile(out.data, out.length, x, y, tw, th, vw, vh, out.ok);
    }
    return;
  }
  // The coder takes bytes 0, 1 and 2 of each pixel: red, green and blue in RGB order.
  std::vector<unsigned> pixels(size_t{w} * h);
  for (size_t i = 0; i < pixels.size(); ++i) {
    const uint8_t *p = &bytes[i * 3];
    pixels[i] = p[0] | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16;
  }
  CImg32 *image = pixels.size() > UINT32_MAX / 4
                      ? nullptr
                      : CImg32::create(w, h, pixels.data(),
                                       static_cast<unsigned>(pixels.size() * 4), RGB_ORDER_RGB);
  out.image.reset(image);
  out.colour.reset(image == nullptr ? nullptr : image->getTileIterator(-1, -1, CImg32::HP_RTL));
  if (out.colour != nullptr) {
    out.colour->getNextTile(out.data, out.length, nullValue, x, y, tw, th, vw, vh, out.ok);
  }
}

void WriteRtl(Rows &rows, const Picture &picture, OutputFile &out) {
  const uint32_t w = rows.width(), h = rows.height();
  Records records;
  CodeRows(rows, records);
  if (records.bilevel == nullptr && records.colour == nullptr) {
    throw FileError(out.path(), "the library cannot code " + std::to_string(w) + " x " +
                                    std::to_string(h) + " pixels as HP-RTL");
  }
  if (!records.ok) {
    throw FileError(out.path(),
                    "the HP-RTL rows do not fit the library's tile buffer (the image codes "
                    "larger than its own pixels)");
  }
  const double dpi = picture.dpiX > 0 ? picture.dpiX : kDefaultDpi;
  std::FILE *f = out.stream();
  Command(f, "E");
  Command(f, "*t" + std::to_string(std::lround(dpi)) + "R");
  if (records.colour != nullptr) {
    // Configure image data: RGB, direct by pixel, 8 bits an index and a primary.
    Command(f, "*v6W");
    const unsigned char configuration[6] = {0, 3, 8, 8, 8, 8};
    std::fwrite(configuration, 1, sizeof configuration, f);
  }
  Command(f, "*r" + std::to_string(w) + "S");
  Command(f, "*r" + std::to_string(h) + "T");
  Command(f, "*r1A");
  Command(f, "*b3M");
  std::fwrite(records.data, 1, records.length, f);
  Command(f, "*rC");
  Command(f, "E");
}

}  // namespace

void RtlJob(const CommandLine &line) {
  const std::string &out = line.required("output");
  if (&OutputFormat(out) != &kRtlFormat) {
    throw UsageError("OUT of 'rtl' is an HP-RTL job: name it '.rtl', not '" + out + "'");
  }
  const uint32_t dpi = line.has("dpi") ? ParseCount(line.required("dpi"), "--dpi") : 0;
  Picture picture = ReadPicture(line.operands[0], line.page);
  if (dpi != 0) {
    picture.dpiX = picture.dpiY = dpi;
  }
  WritePicture(picture, out);
  if (!line.quiet) {
    std::printf("%s: %u x %u, HP-RTL job\n", out.c_str(), picture.image->getWidth(),
                picture.image->getHeight());
  }
}

const Format kRtlFormat = {"HP-RTL", {".rtl"}, SniffRtl, ReadRtl, RtlKind, WriteRtl};

}  // namespace c2dimg
