// What every format shares: recognising a file, building blank images for readers,
// and writing OUT atomically.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <functional>

#include "Failure.h"
#include "Formats.h"
#include "Library.h"
#include "PdfInput.h"
#include "OutputGuard.h"
#include "Progress.h"

namespace c2dimg {
namespace {

const Format *const kFormats[] = {&kTiffFormat, &kPngFormat, &kPbmFormat,
                                  &kPgmFormat,  &kPpmFormat, &kRtlFormat, &kPdfFormat, &kEmfFormat};

constexpr size_t kHeadBytes = 64;

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// Stores a new image of the library in the picture. Sizes beyond the library's 32-bit
// byte counts are refused before it is asked.
void Hold(Picture &picture, uint32_t width, uint32_t height, uint64_t bitsPerPixel,
          const std::function<IImg *()> &create) {
  const std::string size = std::to_string(width) + " x " + std::to_string(height) + " pixels";
  if ((uint64_t{width} * bitsPerPixel + 31) / 8 * height > 0xFFFFFFFFu) {
    throw FileError(picture.path, "is too large: " + size + " need more than 4 GB");
  }
  Operation(picture, "hold " + size).finish(picture, create());
}

// The palette and colour classes allocate pixels on first use: a new image that
// cannot get them is deleted.
template <typename T>
IImg *WithPixels(T *image) {
  if (image != nullptr && image->peekData() == nullptr) {
    delete image;
    return nullptr;
  }
  return image;
}

}  // namespace

std::string SystemError() { return std::strerror(errno); }

RowKind KeepKind(RowKind natural) { return natural; }

Picture ReadPicture(const std::string &path, uint32_t page, bool keepDocument) {
  const int fd = open(path.c_str(), O_RDONLY);
  if (fd < 0) {
    throw FileError(path, SystemError());
  }
  struct stat info {};
  InputFile file;
  file.path = path;
  const bool statted = fstat(fd, &info) == 0;
  const bool regular = statted && S_ISREG(info.st_mode);
  file.head.resize(kHeadBytes);
  ssize_t got = 0;
  if (regular) {
    file.size = static_cast<uint64_t>(info.st_size);
    got = read(fd, file.head.data(), kHeadBytes);
  }
  const int readErrno = errno;
  close(fd);
  if (!statted || !regular) {
    throw FileError(path, statted && S_ISDIR(info.st_mode) ? "is a directory" : "is not a file");
  }
  if (got < 0) {
    errno = readErrno;
    throw FileError(path, SystemError());
  }
  if (got == 0) {
    throw FileError(path, "is empty");
  }
  file.head.resize(static_cast<size_t>(got));
  for (const Format *format : kFormats) {
    if (format->sniff(file.head)) {
      // Readers that count their rows show them; the others a spinner.
      Progress progress("reading " + path, 0);
      Picture picture = format->read(file, page);
      picture.path = path;
      if (!keepDocument) {
        RenderDocument(picture);
        RenderWholeMetafile(picture);
      }
      return picture;
    }
  }
  throw FileError(path,
                  "unsupported format (c2dimg reads TIFF, PNG, PBM, PGM, PPM, HP-RTL, PDF and EMF)");
}

const Format &OutputFormat(const std::string &path) {
  const std::string &chosen = ChosenFormat();
  const size_t dot = chosen.empty() ? path.find_last_of('.') : 0;
  const size_t slash = chosen.empty() ? path.find_last_of('/') : std::string::npos;
  if (dot != std::string::npos && (slash == std::string::npos || dot > slash)) {
    const std::string extension =
        chosen.empty() ? Lower(path.substr(dot)) : "." + Lower(chosen.substr(chosen[0] == '.'));
    for (const Format *format : kFormats) {
      if (std::find(format->extensions.begin(), format->extensions.end(), extension) !=
          format->extensions.end()) {
        return *format;
      }
    }
  }
  if (!chosen.empty()) {
    throw UsageError("--format takes png, tif, tiff, pbm, pgm, ppm or rtl, not '" + chosen + "'");
  }
  throw UsageError(path == "-" ? "writing to standard output needs --format"
                               : "cannot tell the format of '" + path +
                                     "' from its extension (.png, .tif, .tiff, .pbm, .pgm, .ppm, .rtl)");
}

RowKind WritePicture(const Picture &picture, const std::string &path) {
  const Format &format = OutputFormat(path);
  const RowKind kind = format.kindFor(NaturalKind(picture));
  OutputFile out(path);
  Rows rows(picture, kind, "writing " + path);
  format.write(rows, picture, out);
  out.commit();
  return kind;
}

CImg1 &NewBilevel(Picture &picture, uint32_t width, uint32_t height, uint32_t clearRgb,
                  uint32_t setRgb) {
  Hold(picture, width, height, 1,
       [&] { return CImg1::create(width, height, clearRgb, setRgb, IMG_ALIGN_NONE); });
  return dynamic_cast<CImg1 &>(*picture.image);
}

CImg8 &NewPalette(Picture &picture, uint32_t width, uint32_t height, const ColorMap &map) {
  // The image keeps a copy of the map.
  ColorMap copy(map);
  Hold(picture, width, height, 8,
       [&]() -> IImg * { return WithPixels(CImg8::create(width, height, &copy, IMG_ALIGN_NONE)); });
  return dynamic_cast<CImg8 &>(*picture.image);
}

CImg32 &NewColour(Picture &picture, uint32_t width, uint32_t height, RGBOrder order) {
  Hold(picture, width, height, 32,
       [&]() -> IImg * { return WithPixels(CImg32::create(width, height, order)); });
  return dynamic_cast<CImg32 &>(*picture.image);
}

OutputFile::OutputFile(std::string path) : path_(std::move(path)) {
  const size_t slash = path_.find_last_of('/');
  // Standard output is written through a temporary file too: TIFF needs to seek.
  const std::string dir = path_ == "-"                    ? StandardOutputFolder()
                          : slash == std::string::npos ? ""
                                                       : path_.substr(0, slash + 1);
  const std::string base = slash == std::string::npos ? path_ : path_.substr(slash + 1);
  std::vector<char> name(dir.begin(), dir.end());
  const std::string tail = "." + base + ".c2dimg-XXXXXX";
  name.insert(name.end(), tail.begin(), tail.end());
  name.push_back('\0');
  CheckReplaceable(path_);
  fd_ = CreateTemporary(name.data());
  if (fd_ < 0) {
    throw FileError(path_, "cannot write beside it: " + SystemError());
  }
  temp_ = name.data();
  // mkstemp makes the file private; OUT gets the permissions a new file would.
  const mode_t mask = umask(0);
  umask(mask);
  (void)fchmod(fd_, 0666 & ~mask);
}

OutputFile::~OutputFile() {
  if (committed_) {
    return;
  }
  if (stream_ != nullptr) {
    std::fclose(stream_);
  }
  if (fd_ >= 0) {
    close(fd_);
  }
  unlink(temp_.c_str());
  ForgetTemporary();
}

FILE *OutputFile::stream() {
  if (stream_ == nullptr) {
    const int copy = dup(fd_);
    stream_ = copy < 0 ? nullptr : fdopen(copy, "wb");
    if (stream_ == nullptr) {
      if (copy >= 0) {
        close(copy);
      }
      throw FileError(path_, "cannot write: " + SystemError());
    }
  }
  return stream_;
}

void OutputFile::commit() {
  bool ok = true;
  std::string reason;
  if (stream_ != nullptr) {
    ok = std::fflush(stream_) == 0 && !std::ferror(stream_);
    if (!ok) {
      reason = SystemError();
    }
    ok = std::fclose(stream_) == 0 && ok;
    stream_ = nullptr;
  }
  ok = close(fd_) == 0 && ok;
  fd_ = -1;
  if (ok && (path_ == "-" ? !SendToStandardOutput(temp_)
                          : std::rename(temp_.c_str(), path_.c_str()) != 0)) {
    ok = false;
  }
  ForgetTemporary();
  if (!ok) {
    throw FileError(path_, "cannot write: " + (reason.empty() ? SystemError() : reason));
  }
  committed_ = true;
}

}  // namespace c2dimg
