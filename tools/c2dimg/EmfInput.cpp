// Enhanced Metafiles: recognised by their header record, read as a CImgEMF, and
// rendered at the size a command asks, or at their own size for commands that work
// on pixels. c2dimg reads metafiles only; it never writes one.
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "Failure.h"
#include "Formats.h"
#include "Library.h"

namespace c2dimg {
namespace {

// Larger metafiles are refused before they are read.
constexpr uint64_t kMaxMetafileBytes = uint64_t{1} << 30;

struct FileCloser {
  void operator()(FILE *f) const { std::fclose(f); }
};

uint32_t Word(const std::vector<uint8_t> &head, size_t offset) {
  uint32_t v = 0;
  for (size_t i = 0; i < 4; ++i) {
    v |= uint32_t{head[offset + i]} << (8 * i);
  }
  return v;
}

// The header record (type 1) with the signature " EMF" at byte 40. The rest of the
// header is checked by the renderer.
bool SniffEmf(const std::vector<uint8_t> &head) {
  return head.size() >= 44 && Word(head, 0) == 1 && Word(head, 40) == 0x464D4520u;
}

Picture ReadEmf(const InputFile &file, uint32_t page) {
  if (page != 1) {
    throw FileError(file.path, "has 1 page, no page " + std::to_string(page));
  }
  if (file.size > kMaxMetafileBytes) {
    throw FileError(file.path, "is too large: c2dimg reads metafiles of up to 1 GB");
  }
  std::vector<unsigned char> bytes(file.size);
  const std::unique_ptr<FILE, FileCloser> f(std::fopen(file.path.c_str(), "rb"));
  if (f == nullptr || std::fread(bytes.data(), 1, bytes.size(), f.get()) != bytes.size()) {
    throw FileError(file.path, f == nullptr ? SystemError() : "could not be read in full");
  }
  Picture picture;
  picture.path = file.path;
  picture.origin = "EMF, rendered on demand";
  // The renderer copies the bytes: they need not outlive create.
  EMFMemory memory{bytes.data(), bytes.size()};
  Operation(picture, "read it as a metafile").finish(picture, CImgEMF::create(&memory));
  double density = 0;
  (void)dynamic_cast<CImgEMF &>(*picture.image).getEMFDensity(density);
  picture.dpiX = picture.dpiY = density;
  return picture;
}

void WriteEmf(Rows &, const Picture &picture, OutputFile &) {
  throw FileError(picture.path, "c2dimg does not write metafiles");
}

}  // namespace

const Format kEmfFormat = {"EMF", {}, SniffEmf, ReadEmf, KeepKind, WriteEmf};

CImgEMF *AsMetafile(const Picture &picture) { return dynamic_cast<CImgEMF *>(picture.image.get()); }

void RenderWholeMetafile(Picture &picture) {
  if (AsMetafile(picture) != nullptr) {
    Operation(picture, "render it").finish(picture, picture.image->getUnformatted());
  }
}

std::string MetafileExtents(const Picture &picture) {
  double left = 0, top = 0, right = 0, bottom = 0;
  (void)AsMetafile(picture)->getEMFExtents(left, top, right, bottom);
  char text[128];
  std::snprintf(text, sizeof text, "%.3f, %.3f to %.3f, %.3f in (%.3f x %.3f in)", left, top, right,
                bottom, right - left, bottom - top);
  return text;
}

}  // namespace c2dimg
