// Plain words for what the library says.
#include "Words.h"

#include <cstdio>

#include "Formats.h"
#include "Library.h"
#include "PdfInput.h"

namespace c2dimg {
namespace {

bool sVerbose = false;

std::string WithName(const std::string &words, const char *name) {
  return sVerbose ? words + " [" + name + "]" : words;
}

// Every pixel has its three channels equal.
bool AllGrey(CImg32 &image) {
  unsigned **rows = image.peekDataArray();
  for (uint32_t y = 0; rows != nullptr && y < image.getHeight(); ++y) {
    for (uint32_t x = 0; x < image.getWidth(); ++x) {
      const uint32_t p = rows[y][x];
      if ((p & 0xFF) != (p >> 8 & 0xFF) || (p & 0xFF) != (p >> 16 & 0xFF)) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace

void SetVerbose(bool verbose) { sVerbose = verbose; }
bool Verbose() { return sVerbose; }

std::string CodeWords(ImgErr code) {
  switch (code) {
    case IMG_OUT_OF_MEMORY:
      return WithName("not enough memory", ErrorName(code));
    case IMG_INVALID_ARG:
      return WithName("the library cannot do that with this picture", ErrorName(code));
    case IMG_DECODE_FAILED:
      return WithName("the data is damaged", ErrorName(code));
    default:
      return WithName("the library could not do it", ErrorName(code));
  }
}

std::string KindWords(Picture &picture) {
  IImg &image = *picture.image;
  if (IsDocument(image)) {
    return WithName(DocumentTypeName(image), "CImgPDF");
  }
  if (AsMetafile(picture) != nullptr) {
    return WithName("a metafile, rendered on demand", "CImgEMF");
  }
  switch (image.getType()) {
    case IMG_TYPE_1BIT:
      return WithName("bilevel", "CImg1");
    case IMG_TYPE_G4:
      return WithName("bilevel, kept as Group 4 coded tiles", "CImg1G4");
    case IMG_TYPE_8BIT: {
      const ColorMap *map = dynamic_cast<CImg8 &>(image).getColorMap();
      return WithName(
          "palette of " + std::to_string(map == nullptr ? 0 : map->numEntries) + " colours",
          "CImg8");
    }
    default: {
      const bool grey = AllGrey(dynamic_cast<CImg32 &>(image));
      return WithName(std::string(grey ? "grey" : "colour") + (picture.alpha ? " with alpha" : "") +
                          ", 8 bits a channel",
                      "CImg32");
    }
  }
}

void Note(const std::string &text) { std::fprintf(stderr, "c2dimg: note: %s\n", text.c_str()); }

}  // namespace c2dimg
