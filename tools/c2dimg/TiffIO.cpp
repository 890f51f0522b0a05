// TIFF through libtiff. A Group 4 page goes into a CImg1G4 from its coded tiles or
// strips as they are stored, without decoding; other bilevel pages become CImg1,
// palette pages CImg8, and everything else libtiff can turn into RGBA a CImg32.
// Bilevel output is written as Group 4 by the library (G4TiffWrite.cpp).
#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <memory>

#include "Failure.h"
#include "Formats.h"
#include "G4Code.h"
#include "G4TiffWrite.h"
#include "Library.h"
#include "Limits.h"
#include "Orientation.h"

namespace c2dimg {
namespace {

// libtiff reports through process-wide handlers; the last error becomes the reason
// c2dimg gives, and warnings are not shown.
std::string sLastError;

void CaptureError(const char *, const char *format, va_list args) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, args);
  sLastError = text;
}

void IgnoreWarning(const char *, const char *, va_list) {}

void StartTiffCall() {
  static const bool installed = [] {
    TIFFSetErrorHandler(CaptureError);
    TIFFSetWarningHandler(IgnoreWarning);
    return true;
  }();
  (void)installed;
  sLastError.clear();
}

std::string Reason(const std::string &fallback) {
  return sLastError.empty() ? fallback : fallback + ": " + sLastError;
}

struct TiffCloser {
  void operator()(TIFF *tif) const { TIFFClose(tif); }
};
using TiffPtr = std::unique_ptr<TIFF, TiffCloser>;

// The fields of one directory that decide how it is read.
struct Directory {
  uint32_t width = 0;
  uint32_t height = 0;
  uint16_t bitsPerSample = 1;
  uint16_t samplesPerPixel = 1;
  uint16_t photometric = PHOTOMETRIC_MINISWHITE;
  uint16_t compression = COMPRESSION_NONE;
  uint16_t fillOrder = FILLORDER_MSB2LSB;
  uint16_t planar = PLANARCONFIG_CONTIG;
  uint16_t orientation = ORIENTATION_TOPLEFT;
  bool tiled = false;
  uint32_t tileWidth = 0;   // for strips: the page width
  uint32_t tileHeight = 0;  // for strips: rows per strip, at most the page height
};

Directory ReadDirectory(TIFF *tif, const std::string &path) {
  Directory d;
  TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &d.width);
  TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &d.height);
  TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &d.bitsPerSample);
  TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &d.samplesPerPixel);
  TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &d.compression);
  TIFFGetFieldDefaulted(tif, TIFFTAG_FILLORDER, &d.fillOrder);
  TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &d.planar);
  TIFFGetFieldDefaulted(tif, TIFFTAG_ORIENTATION, &d.orientation);
  if (TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &d.photometric) == 0) {
    d.photometric = d.samplesPerPixel >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISWHITE;
  }
  if (d.width == 0 || d.height == 0) {
    throw FileError(
        path, "has no pixels (" + std::to_string(d.width) + " x " + std::to_string(d.height) + ")");
  }
  d.tiled = TIFFIsTiled(tif) != 0;
  if (d.tiled) {
    TIFFGetField(tif, TIFFTAG_TILEWIDTH, &d.tileWidth);
    TIFFGetField(tif, TIFFTAG_TILELENGTH, &d.tileHeight);
  } else {
    uint32_t rows = 0;
    TIFFGetFieldDefaulted(tif, TIFFTAG_ROWSPERSTRIP, &rows);
    d.tileWidth = d.width;
    d.tileHeight = std::min(rows, d.height);
  }
  if (d.tileWidth == 0 || d.tileHeight == 0) {
    throw FileError(path, d.tiled ? "has tiles of no size" : "has strips of no rows");
  }
  return d;
}

bool IsBilevel(const Directory &d) {
  return d.bitsPerSample == 1 && d.samplesPerPixel == 1 &&
         (d.photometric == PHOTOMETRIC_MINISWHITE || d.photometric == PHOTOMETRIC_MINISBLACK);
}

std::string Describe(const Directory &d) {
  const TIFFCodec *codec = TIFFFindCODEC(d.compression);
  std::string text = std::string("TIFF, ") + (codec != nullptr ? codec->name : "unknown coding");
  if (d.tiled) {
    text += ", tiles of " + std::to_string(d.tileWidth) + " x " + std::to_string(d.tileHeight);
  } else {
    text += ", strips of " + std::to_string(d.tileHeight) + " rows";
  }
  if (d.photometric == PHOTOMETRIC_MINISBLACK && IsBilevel(d)) {
    text += ", min-is-black";
  }
  if (d.fillOrder == FILLORDER_LSB2MSB) {
    text += ", fill order 2";
  }
  return text;
}

// Colours of a clear and a set bit: min-is-black pages store white as 1.
void BilevelColours(const Directory &d, uint32_t &clearRgb, uint32_t &setRgb) {
  const bool minIsBlack = d.photometric == PHOTOMETRIC_MINISBLACK;
  clearRgb = minIsBlack ? kBlack : kWhite;
  setRgb = minIsBlack ? kWhite : kBlack;
}

void ReverseBits(std::vector<uint8_t> &bytes) {
  for (uint8_t &b : bytes) {
    b = static_cast<uint8_t>((b * 0x0202020202ULL & 0x010884422010ULL) % 1023);
  }
}

// The coded bytes of every tile or strip, in the order of the grid, exchanged pair by
// pair into the 16-bit little-endian words the library's decoder reads. The byte
// counts are checked against the file before anything is read.
Picture ReadGroup4(TIFF *tif, const InputFile &file, const Directory &d) {
  const uint64_t across = (uint64_t{d.width} + d.tileWidth - 1) / d.tileWidth;
  const uint64_t down = (uint64_t{d.height} + d.tileHeight - 1) / d.tileHeight;
  const uint32_t count = d.tiled ? TIFFNumberOfTiles(tif) : TIFFNumberOfStrips(tif);
  const char *unit = d.tiled ? "tile" : "strip";
  // Each tile takes an offset and a byte count in the file, so a count beyond that
  // cannot be true.
  if (count != across * down || count > file.size / 4) {
    throw FileError(file.path, "has " + std::to_string(count) + " " + unit +
                                   "s where its size needs " + std::to_string(across * down));
  }
  std::vector<std::vector<uint8_t>> coded(count);
  Progress progress("reading " + file.path, count);
  for (uint32_t i = 0; i < count; ++i) {
    const uint64_t offset = TIFFGetStrileOffset(tif, i);
    const uint64_t bytes = TIFFGetStrileByteCount(tif, i);
    if (bytes > file.size || offset > file.size - bytes) {
      throw FileError(file.path, std::string(unit) + " " + std::to_string(i) + " claims " +
                                     std::to_string(bytes) + " bytes at offset " +
                                     std::to_string(offset) + ", past the end of the file (" +
                                     std::to_string(file.size) + " bytes)");
    }
    std::vector<uint8_t> &raw = coded[i];
    // Room for the byte that evens a pair, so that it needs no second buffer.
    raw.reserve(static_cast<size_t>(bytes) + 1);
    raw.resize(static_cast<size_t>(bytes));
    if (bytes != 0) {
      const tmsize_t got = d.tiled
                               ? TIFFReadRawTile(tif, i, raw.data(), static_cast<tmsize_t>(bytes))
                               : TIFFReadRawStrip(tif, i, raw.data(), static_cast<tmsize_t>(bytes));
      if (got != static_cast<tmsize_t>(bytes)) {
        throw FileError(file.path,
                        Reason("cannot read " + std::string(unit) + " " + std::to_string(i)));
      }
    }
    if (d.fillOrder == FILLORDER_LSB2MSB) {
      ReverseBits(raw);
    }
    if (raw.size() % 2 != 0) {
      raw.push_back(0);
    }
    for (size_t k = 0; k + 1 < raw.size(); k += 2) {
      std::swap(raw[k], raw[k + 1]);
    }
    progress.set(i + 1);
  }
  std::vector<unsigned char *> data(count);
  std::vector<unsigned> sizes(count);
  for (uint32_t i = 0; i < count; ++i) {
    data[i] = coded[i].empty() ? nullptr : coded[i].data();
    sizes[i] = static_cast<unsigned>(coded[i].size());
  }
  uint32_t clearRgb = 0, setRgb = 0;
  BilevelColours(d, clearRgb, setRgb);
  Picture picture;
  picture.path = file.path;
  picture.strips = !d.tiled;
  Operation(picture, "hold the Group 4 page")
      .finish(picture, CImg1G4::create(d.width, d.height, d.tileWidth, d.tileHeight, data.data(),
                                       sizes.data(), clearRgb, setRgb, IMG_ALIGN_NONE));
  return picture;
}

// Calls row(y, bytes) for every row, top down, with the row as libtiff decodes it,
// whether the page is stored in strips or in tiles.
template <typename Row>
void ForEachRow(TIFF *tif, const std::string &path, const Directory &d, Row &&row) {
  const tmsize_t scanline = TIFFScanlineSize(tif);
  if (scanline <= 0) {
    throw FileError(path, Reason("has rows of no size"));
  }
  const size_t rowBytes = static_cast<size_t>(scanline);
  Progress progress("reading " + path, d.height);
  std::vector<uint8_t> band(rowBytes * d.tileHeight);
  if (!d.tiled) {
    for (uint32_t y = 0, strip = 0; y < d.height; y += d.tileHeight, ++strip) {
      const uint32_t rows = std::min(d.tileHeight, d.height - y);
      const tmsize_t want = static_cast<tmsize_t>(rowBytes * rows);
      if (TIFFReadEncodedStrip(tif, strip, band.data(), want) < want) {
        throw FileError(path, Reason("cannot decode strip " + std::to_string(strip)));
      }
      for (uint32_t r = 0; r < rows; ++r) {
        row(y + r, band.data() + r * rowBytes);
      }
      progress.set(y + rows);
    }
    return;
  }
  const size_t tileRowBytes = static_cast<size_t>(TIFFTileRowSize(tif));
  std::vector<uint8_t> tile(static_cast<size_t>(TIFFTileSize(tif)));
  if (tileRowBytes == 0 || tile.size() < tileRowBytes * d.tileHeight) {
    throw FileError(path, Reason("has tiles of no size"));
  }
  const uint64_t bitsPerPixel = uint64_t{d.bitsPerSample} * d.samplesPerPixel;
  for (uint32_t y = 0; y < d.height; y += d.tileHeight) {
    const uint32_t rows = std::min(d.tileHeight, d.height - y);
    for (uint32_t x = 0; x < d.width; x += d.tileWidth) {
      if (TIFFReadTile(tif, tile.data(), x, y, 0, 0) < 0) {
        throw FileError(path, Reason("cannot decode the tile at " + std::to_string(x) + "," +
                                     std::to_string(y)));
      }
      // Tile widths are multiples of 16 pixels, so every tile starts on a byte.
      const size_t offset = static_cast<size_t>(x * bitsPerPixel / 8);
      const size_t n = std::min(tileRowBytes, rowBytes - offset);
      for (uint32_t r = 0; r < rows; ++r) {
        std::memcpy(band.data() + r * rowBytes + offset, tile.data() + r * tileRowBytes, n);
      }
    }
    for (uint32_t r = 0; r < rows; ++r) {
      row(y + r, band.data() + r * rowBytes);
    }
    progress.set(y + rows);
  }
}

Picture ReadBilevel(TIFF *tif, const InputFile &file, const Directory &d) {
  Picture picture;
  picture.path = file.path;
  uint32_t clearRgb = 0, setRgb = 0;
  BilevelColours(d, clearRgb, setRgb);
  CImg1 &image = NewBilevel(picture, d.width, d.height, clearRgb, setRgb);
  uint8_t *bits = image.peekData();
  const size_t stride = image.getBytesPerLine();
  const size_t n = std::min(stride, (size_t{d.width} + 7) / 8);
  ForEachRow(tif, file.path, d,
             [&](uint32_t y, const uint8_t *row) { std::memcpy(bits + y * stride, row, n); });
  return picture;
}

Picture ReadPalette(TIFF *tif, const InputFile &file, const Directory &d) {
  uint16_t *red = nullptr, *green = nullptr, *blue = nullptr;
  if (TIFFGetField(tif, TIFFTAG_COLORMAP, &red, &green, &blue) == 0) {
    throw FileError(file.path, "is a palette image without a colour map");
  }
  const int entries = 1 << d.bitsPerSample;
  // Some writers store 8-bit values in the 16-bit map.
  bool eightBit = true;
  for (int i = 0; i < entries; ++i) {
    eightBit = eightBit && red[i] < 256 && green[i] < 256 && blue[i] < 256;
  }
  const int shift = eightBit ? 0 : 8;
  ColorMap map(entries, 255);
  for (int i = 0; i < entries; ++i) {
    map.entries[i] = {red[i] >> shift, green[i] >> shift, blue[i] >> shift};
  }
  Picture picture;
  picture.path = file.path;
  CImg8 &image = NewPalette(picture, d.width, d.height, map);
  unsigned char **rows = image.peekDataArray();
  const unsigned bits = d.bitsPerSample;
  ForEachRow(tif, file.path, d, [&](uint32_t y, const uint8_t *row) {
    for (uint32_t x = 0; x < d.width; ++x) {
      const uint64_t at = uint64_t{x} * bits;
      rows[y][x] =
          static_cast<unsigned char>((row[at / 8] >> (8 - bits - at % 8)) & ((1u << bits) - 1));
    }
  });
  return picture;
}

Picture ReadColour(TIFF *tif, const InputFile &file, const Directory &d) {
  Picture picture;
  picture.path = file.path;
  uint16_t extraCount = 0;
  uint16_t *extra = nullptr;
  if (TIFFGetField(tif, TIFFTAG_EXTRASAMPLES, &extraCount, &extra) != 0) {
    for (uint16_t i = 0; i < extraCount; ++i) {
      picture.alpha =
          picture.alpha || extra[i] == EXTRASAMPLE_ASSOCALPHA || extra[i] == EXTRASAMPLE_UNASSALPHA;
    }
  }
  // 8-bit grey and RGB, with or without alpha, are taken as stored; libtiff's RGBA
  // reading would multiply the colours by an unassociated alpha.
  const bool rgb = d.photometric == PHOTOMETRIC_RGB && d.samplesPerPixel >= 3;
  const bool grey = d.photometric == PHOTOMETRIC_MINISBLACK;
  const unsigned colours = rgb ? 3 : 1;
  if (d.bitsPerSample == 8 && d.planar == PLANARCONFIG_CONTIG && (rgb || grey) &&
      d.samplesPerPixel <= colours + 1) {
    unsigned **rows = NewColour(picture, d.width, d.height, RGB_ORDER_BGR).peekDataArray();
    const unsigned step = d.samplesPerPixel;
    const bool alpha = picture.alpha && d.samplesPerPixel == colours + 1;
    picture.alpha = alpha;
    ForEachRow(tif, file.path, d, [&](uint32_t y, const uint8_t *row) {
      for (uint32_t x = 0; x < d.width; ++x, row += step) {
        const uint32_t r = row[0], g = row[colours == 3 ? 1 : 0], b = row[colours == 3 ? 2 : 0];
        rows[y][x] = (alpha ? uint32_t{row[colours]} : 0xFFu) << 24 | r << 16 | g << 8 | b;
      }
    });
    return picture;
  }
  char message[1024] = "";
  if (TIFFRGBAImageOK(tif, message) == 0) {
    throw FileError(file.path, std::string("unsupported TIFF: ") + message);
  }
  // libtiff's words hold red in the low byte: the library's RGB order.
  CImg32 &image = NewColour(picture, d.width, d.height, RGB_ORDER_RGB);
  Progress progress("reading " + file.path, 0);
  // Asked for the file's own orientation, libtiff gives the rows as stored, as every
  // other reader does; ShowUpright turns them.
  const int stored = d.orientation >= 1 && d.orientation <= 8 ? d.orientation : ORIENTATION_TOPLEFT;
  if (TIFFReadRGBAImageOriented(tif, d.width, d.height, image.peekData(), stored, 1) == 0) {
    throw FileError(file.path, Reason("cannot decode the image"));
  }
  return picture;
}

bool SniffTiff(const std::vector<uint8_t> &head) {
  static const uint8_t kMagic[][4] = {
      {'I', 'I', 42, 0}, {'M', 'M', 0, 42}, {'I', 'I', 43, 0}, {'M', 'M', 0, 43}};
  for (const auto &magic : kMagic) {
    if (head.size() >= 4 && std::memcmp(head.data(), magic, 4) == 0) {
      return true;
    }
  }
  return false;
}

Picture ReadTiff(const InputFile &file, uint32_t page) {
  StartTiffCall();
  TiffPtr tif(TIFFOpen(file.path.c_str(), "r"));
  if (tif == nullptr) {
    throw FileError(file.path, Reason("not a readable TIFF"));
  }
  const uint32_t pages = TIFFNumberOfDirectories(tif.get());
  // libtiff counts the pages it can reach; a chain that points on past them was cut.
  const bool cutShort = TIFFSetDirectory(tif.get(), static_cast<tdir_t>(pages - 1)) != 0 &&
                        TIFFLastDirectory(tif.get()) == 0;
  const std::string reached = std::to_string(pages) + " page" + (pages == 1 ? "" : "s");
  if (page > pages) {
    throw FileError(file.path, "has " + reached + (cutShort ? " before it is cut short" : "") +
                                   ", no page " + std::to_string(page));
  }
  if (cutShort) {
    NoteDamagedSource(file.path + ": is cut short after " + reached +
                      "; the pages after that are lost");
  }
  if (TIFFSetDirectory(tif.get(), static_cast<tdir_t>(page - 1)) == 0) {
    throw FileError(file.path, Reason("cannot read page " + std::to_string(page)));
  }
  const Directory d = ReadDirectory(tif.get(), file.path);
  CheckPixels(file.path, d.width, d.height);
  Picture picture;
  const bool group4 = d.compression == COMPRESSION_CCITTFAX4 && IsBilevel(d);
  // The library's tiles may reach past the right and bottom edges, but not be larger
  // than the page; such a page is decoded by libtiff instead.
  if (group4 && d.tileWidth <= d.width && d.tileHeight <= d.height) {
    picture = ReadGroup4(tif.get(), file, d);
  } else if (IsBilevel(d)) {
    picture = ReadBilevel(tif.get(), file, d);
  } else if (d.photometric == PHOTOMETRIC_PALETTE && d.samplesPerPixel == 1 &&
             d.bitsPerSample <= 8) {
    picture = ReadPalette(tif.get(), file, d);
  } else {
    picture = ReadColour(tif.get(), file, d);
  }
  picture.origin = Describe(d);
  picture.page = page;
  picture.pages = pages;
  float x = 0, y = 0;
  uint16_t unit = RESUNIT_INCH;
  TIFFGetFieldDefaulted(tif.get(), TIFFTAG_RESOLUTIONUNIT, &unit);
  if (unit != RESUNIT_NONE && TIFFGetField(tif.get(), TIFFTAG_XRESOLUTION, &x) != 0 &&
      TIFFGetField(tif.get(), TIFFTAG_YRESOLUTION, &y) != 0 && x > 0 && y > 0) {
    const double perInch = unit == RESUNIT_CENTIMETER ? 2.54 : 1.0;
    picture.dpiX = x * perInch;
    picture.dpiY = y * perInch;
  }
  ShowUpright(picture, d.orientation);
  return picture;
}

void WriteTiff(Rows &rows, const Picture &picture, OutputFile &out) {
  StartTiffCall();
  const int fd = dup(out.fd());
  TiffPtr tif(fd < 0 ? nullptr : TIFFFdOpen(fd, out.path().c_str(), "w"));
  if (tif == nullptr) {
    if (fd >= 0) {
      close(fd);
    }
    throw FileError(out.path(), Reason("cannot write"));
  }
  TIFF *t = tif.get();
  TIFFSetField(t, TIFFTAG_IMAGEWIDTH, rows.width());
  TIFFSetField(t, TIFFTAG_IMAGELENGTH, rows.height());
  TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(t, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
  const uint16_t deflate = TIFFIsCODECConfigured(COMPRESSION_ADOBE_DEFLATE) != 0
                               ? COMPRESSION_ADOBE_DEFLATE
                               : COMPRESSION_LZW;
  // Bilevel rows go through the library's Group 4 strip encoder, black as 1; the
  // others are deflated bytes.
  const RowKind kind = rows.kind();
  const bool bilevel = kind == RowKind::kBilevel;
  TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, bilevel ? 1 : 8);
  TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL,
               kind == RowKind::kRgba  ? 4
               : kind == RowKind::kRgb ? 3
                                       : 1);
  TIFFSetField(t, TIFFTAG_COMPRESSION, bilevel ? COMPRESSION_CCITTFAX4 : deflate);
  TIFFSetField(t, TIFFTAG_PHOTOMETRIC,
               bilevel                     ? PHOTOMETRIC_MINISWHITE
               : kind == RowKind::kPalette ? PHOTOMETRIC_PALETTE
               : kind == RowKind::kGrey    ? PHOTOMETRIC_MINISBLACK
                                           : PHOTOMETRIC_RGB);
  TIFFSetField(t, TIFFTAG_FILLORDER, FILLORDER_MSB2LSB);
  std::vector<uint16_t> map(3 * 256);
  if (kind == RowKind::kPalette) {
    for (size_t i = 0; i < rows.palette().size() && i < 256; ++i) {
      const uint32_t rgb = rows.palette()[i];
      map[i] = static_cast<uint16_t>((rgb >> 16 & 0xFFu) * 257);
      map[256 + i] = static_cast<uint16_t>((rgb >> 8 & 0xFFu) * 257);
      map[512 + i] = static_cast<uint16_t>((rgb & 0xFFu) * 257);
    }
    TIFFSetField(t, TIFFTAG_COLORMAP, map.data(), map.data() + 256, map.data() + 512);
  }
  if (kind == RowKind::kRgba) {
    const uint16_t unassociated = EXTRASAMPLE_UNASSALPHA;
    TIFFSetField(t, TIFFTAG_EXTRASAMPLES, 1, &unassociated);
  }
  // Bilevel strips are long, since Group 4 restarts at each; the others are short.
  const uint32_t rowsPerStrip =
      bilevel ? std::min(rows.height(), 2048u) : TIFFDefaultStripSize(t, 0);
  TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, rowsPerStrip);
  if (picture.dpiX > 0 && picture.dpiY > 0) {
    TIFFSetField(t, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    TIFFSetField(t, TIFFTAG_XRESOLUTION, static_cast<float>(picture.dpiX));
    TIFFSetField(t, TIFFTAG_YRESOLUTION, static_cast<float>(picture.dpiY));
  }
  if (bilevel) {
    WriteG4Strips(t, rows, rowsPerStrip, out.path());
  }
  std::vector<uint8_t> row(rows.rowBytes());
  for (uint32_t y = 0; y < rows.height() && !bilevel; ++y) {
    rows.read(y, row.data());
    if (TIFFWriteScanline(t, row.data(), y, 0) != 1) {
      throw FileError(out.path(), Reason("cannot write row " + std::to_string(y)));
    }
  }
  if (TIFFFlush(t) == 0) {
    throw FileError(out.path(), Reason("cannot write"));
  }
}

}  // namespace

const Format kTiffFormat = {"TIFF", {".tif", ".tiff"}, SniffTiff, ReadTiff, KeepKind, WriteTiff};

}  // namespace c2dimg
