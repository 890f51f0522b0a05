// The file formats c2dimg reads and writes. Each format is one Format record, defined
// beside its reader and writer (TiffIO.cpp, PngIO.cpp, PnmIO.cpp); ImageFile.cpp
// picks the record by a file's first bytes when reading and by OUT's extension when
// writing, and does what all formats share: opening, building the library's images,
// and writing through a temporary file so that a failure never leaves a partial OUT.
#ifndef TOOLS_C2DIMG_FORMATS_H_
#define TOOLS_C2DIMG_FORMATS_H_

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "Picture.h"
#include "Rows.h"

namespace c2dimg {

// A file about to be read: its size and first bytes are known, and it exists.
struct InputFile {
  std::string path;
  uint64_t size = 0;
  std::vector<uint8_t> head;  // up to the first 64 bytes
};

// OUT, written as a temporary file in the same directory and renamed over OUT by
// commit(). Destroyed without commit, it removes the temporary file.
class OutputFile {
 public:
  explicit OutputFile(std::string path);
  ~OutputFile();
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;

  const std::string &path() const { return path_; }
  // The temporary file, for writers that manage their own descriptor (dup it).
  int fd() const { return fd_; }
  // A buffered stream on the temporary file.
  FILE *stream();
  // Flushes, closes and renames; a FileError naming OUT when any of that fails.
  void commit();

 private:
  std::string path_;
  std::string temp_;
  int fd_ = -1;
  FILE *stream_ = nullptr;
  bool committed_ = false;
};

struct Format {
  const char *name;
  std::vector<std::string> extensions;  // lower case, with the dot
  // Whether the first bytes of a file are this format's.
  bool (*sniff)(const std::vector<uint8_t> &head);
  // Reads page `page` (from 1) into a picture; a FileError naming the file otherwise.
  Picture (*read)(const InputFile &file, uint32_t page);
  // The rows this format stores for a picture that naturally gives `natural`.
  RowKind (*kindFor)(RowKind natural);
  void (*write)(Rows &rows, const Picture &picture, OutputFile &out);
};

// kindFor of the formats that store every kind of row.
RowKind KeepKind(RowKind natural);

extern const Format kTiffFormat;
extern const Format kPngFormat;
extern const Format kPbmFormat;
extern const Format kPgmFormat;
extern const Format kPpmFormat;
extern const Format kEmfFormat;
extern const Format kRtlFormat;

// Reads FILE by its contents. A FileError for a missing, unreadable, empty, truncated,
// unsupported or self-contradicting file. A rendered document (a PDF page or a
// metafile) is rendered at its own size unless keepDocument asks for the document itself.
Picture ReadPicture(const std::string &path, uint32_t page, bool keepDocument = false);
// The format OUT's extension names; a UsageError for any other extension.
const Format &OutputFormat(const std::string &path);
// Writes the picture to OUT in OUT's format and answers the kind of rows written.
RowKind WritePicture(const Picture &picture, const std::string &path);

// Blank images for readers to fill, stored in picture.image with their pixels
// allocated. A FileError naming the picture's file when the library cannot hold them.
CImg1 &NewBilevel(Picture &picture, uint32_t width, uint32_t height, uint32_t clearRgb,
                  uint32_t setRgb);
CImg8 &NewPalette(Picture &picture, uint32_t width, uint32_t height, const ColorMap &map);
// Its rows lie one after the other, width pixels apart.
CImg32 &NewColour(Picture &picture, uint32_t width, uint32_t height, RGBOrder order);

// Metafiles (EmfInput.cpp). AsMetafile: the picture's CImgEMF, or null.
// RenderWholeMetafile replaces the document by a CImg32 at its own size (or smaller
// when that cannot be rendered), and leaves other pictures alone. MetafileExtents: its
// frame, for info.
CImgEMF *AsMetafile(const Picture &picture);
void RenderWholeMetafile(Picture &picture);
std::string MetafileExtents(const Picture &picture);

// The text of errno, for messages.
std::string SystemError();

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_FORMATS_H_
