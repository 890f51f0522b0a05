// Library results, colour words and conversions shared by the commands and writers.
#include "Library.h"

#include <algorithm>
#include <cstdio>

#include "Failure.h"
#include "G4Code.h"
#include "Words.h"

namespace c2dimg {
namespace {

// A picture with the facts of `from` and no image yet.
Picture SameFacts(const Picture &from) {
  Picture to;
  to.path = from.path;
  to.origin = from.origin;
  to.page = from.page;
  to.pages = from.pages;
  to.alpha = from.alpha;
  to.dpiX = from.dpiX;
  to.dpiY = from.dpiY;
  return to;
}

// Images of the pictures the tool makes are always of the class their type names.
template <typename T>
T &As(IImg &image) {
  return dynamic_cast<T &>(image);
}

}  // namespace

Operation::Operation(const Picture &picture, std::string what, const ImgRect *decoded)
    : path_(picture.path),
      what_(std::move(what)),
      page_(dynamic_cast<CImg1G4 *>(picture.image.get())),
      strips_(picture.strips) {
  if (page_ != nullptr) {
    decoded_ = decoded != nullptr ? *decoded : page_->getRect();
  }
  CImgErr::set(IMG_OK, nullptr, 0);
}

void Operation::inspect(ImgErr code) const {
  if (page_ == nullptr) {
    if (code == IMG_DECODE_FAILED) {
      fail(code);
    }
    return;
  }
  const size_t before = DamageNotes().size();
  CheckDecoded(*page_, decoded_, path_, strips_);
  if (code == IMG_DECODE_FAILED && DamageNotes().size() == before) {
    NoteDamage(path_, "could not " + what_ + " to the end");
  }
}

void Operation::finish(Picture &picture, IImg *result) const {
  const ImgErr code = CImgErr::get();
  if (result == nullptr) {
    fail(code);
  }
  ImagePtr owned(result != picture.image.get() ? result : nullptr);
  inspect(code);
  if (owned != nullptr) {
    picture.image.reset(owned.release());
  }
}

void Operation::check(ImgErr result, ImgErr harmless) const {
  if (result != IMG_OK && result != harmless) {
    fail(result);
  }
  inspect(CImgErr::get());
}

void Operation::fail(ImgErr code) const {
  if (code == IMG_DECODE_FAILED) {
    throw FileError(path_, "the Group 4 data is corrupt: could not " + what_);
  }
  if (code == IMG_OK) {
    throw FileError(path_, "could not " + what_ + " (the library gave no image)");
  }
  throw FileError(path_, "could not " + what_ + ": " + CodeWords(code));
}

const char *ErrorName(ImgErr code) {
  switch (code) {
    case IMG_OK:
      return "IMG_OK";
    case IMG_FALSE:
      return "IMG_FALSE";
    case IMG_FAIL:
      return "IMG_FAIL";
    case IMG_OUT_OF_MEMORY:
      return "IMG_OUT_OF_MEMORY";
    case IMG_INVALID_ARG:
      return "IMG_INVALID_ARG";
    case IMG_DECODE_FAILED:
      return "IMG_DECODE_FAILED";
  }
  return "unknown code";
}

std::string ColourName(uint32_t rgb) {
  char text[8];
  std::snprintf(text, sizeof text, "#%06X", static_cast<unsigned>(rgb & 0xFFFFFFu));
  return text;
}

uint32_t WordToRgb(uint32_t word, RGBOrder order) {
  if (order == RGB_ORDER_BGR) {
    return word & 0xFFFFFFu;
  }
  return (word & 0xFFu) << 16 | (word & 0xFF00u) | (word >> 16 & 0xFFu);
}

uint32_t RgbToWord(uint32_t rgb, RGBOrder order) {
  // Exchanging red and blue is its own inverse.
  return WordToRgb(rgb, order);
}

uint8_t Luma(uint32_t rgb) {
  const uint32_t r = rgb >> 16 & 0xFFu, g = rgb >> 8 & 0xFFu, b = rgb & 0xFFu;
  return static_cast<uint8_t>((299 * r + 587 * g + 114 * b + 500) / 1000);
}

void InkAndPaper(IImg &image, uint32_t &ink, uint32_t &paper, bool stored) {
  uint32_t set = kBlack, clear = kWhite;
  if (auto *page = dynamic_cast<CImg1G4 *>(&image)) {
    set = page->getForegroundInterpretation();
    clear = page->getBackgroundInterpretation();
  } else if (auto *bitmap = dynamic_cast<CImg1 *>(&image)) {
    set = bitmap->getForegroundInterpretation();
    clear = bitmap->getBackgroundInterpretation();
  }
  const bool setIsInk = stored || image.getBackgroundColor() == 0;
  ink = (setIsInk ? set : clear) & 0xFFFFFFu;
  paper = (setIsInk ? clear : set) & 0xFFFFFFu;
}

void MarkInk(CImg1 &image, uint32_t ink, uint32_t paper) {
  image.setBackgroundInterpretation(paper);
  image.setForegroundInterpretation(ink);
}

IImg *ScaleBitmap(CImg1 &bitmap, const ImgRect &rect, uint32_t width, uint32_t height,
                  ImgScaleAttr &attr) {
  if (bitmap.calculateBackground() == 1) {
    const uint32_t set = bitmap.getForegroundInterpretation();
    bitmap.setForegroundInterpretation(bitmap.getBackgroundInterpretation());
    bitmap.setBackgroundInterpretation(set);
    (void)bitmap.invert();
    bitmap.setBackgroundColor(0);
  }
  return bitmap.scale(rect, width, height, attr);
}

void InkGrey(CImg32 &image, uint32_t ink, uint32_t paper) {
  if (ink == kBlack && paper == kWhite) {
    return;
  }
  unsigned **rows = image.peekDataArray();
  const RGBOrder order = image.getRGBOrder();
  const uint32_t width = image.getWidth(), height = image.getHeight();
  for (uint32_t y = 0; rows != nullptr && y < height; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      // Level 0 is all ink, 255 all paper.
      const uint32_t level = WordToRgb(rows[y][x], order) & 0xFFu;
      uint32_t rgb = 0;
      for (int shift : {16, 8, 0}) {
        const uint32_t i = ink >> shift & 0xFFu, p = paper >> shift & 0xFFu;
        rgb |= (i * (255 - level) + p * level + 127) / 255 << shift;
      }
      rows[y][x] = (rows[y][x] & 0xFF000000u) | RgbToWord(rgb, order);
    }
  }
}

uint32_t PaletteRgb(const ColorMap *map, unsigned index) {
  if (map == nullptr || map->entries == nullptr ||
      index >= static_cast<unsigned>(map->numEntries)) {
    return kBlack;
  }
  const ColorMapEntry &e = map->entries[index];
  const auto clamp = [](int32_t v) { return static_cast<uint32_t>(std::clamp(v, 0, 255)); };
  return clamp(e.red) << 16 | clamp(e.green) << 8 | clamp(e.blue);
}

Picture ToBilevel(const Picture &picture, bool separate) {
  IImg &image = *picture.image;
  Picture out = SameFacts(picture);
  out.alpha = false;
  if (image.getType() == IMG_TYPE_G4) {
    Operation op(picture, "decode the page");
    op.finish(out, ExtractG4(As<CImg1G4>(image), image.getRect()));
    return out;
  }
  if (separate && image.getType() != IMG_TYPE_32BIT) {
    throw FileError(picture.path, "--separate works on colour pictures, and this one is not");
  }
  Operation op(picture, "convert it to bilevel");
  op.finish(out,
            CImg1::create(image.getWidth(), image.getHeight(), kWhite, kBlack, IMG_ALIGN_NONE));
  if (separate) {
    // Separation compares with the background, which must be known first.
    auto &colour = As<CImg32>(image);
    (void)colour.calculateBackground();
    if (colour.getBackgroundState() == IMG_BG_NONE) {
      Note(picture.path + " has no background colour (none covers enough of it), so " +
           "--separate sets every pixel");
    }
  }
  if (!Export::xfm(*out.image, image, separate ? 2u : 0u)) {
    throw FileError(picture.path, "the library cannot convert this image to bilevel");
  }
  return out;
}

Picture ToPalette(const Picture &picture) {
  if (picture.image->getType() == IMG_TYPE_G4) {
    return ToPalette(ToBilevel(picture, false));
  }
  if (picture.image->getType() != IMG_TYPE_1BIT) {
    throw FileError(picture.path, "the library converts only bilevel images to 8 bits");
  }
  const CImg1 &bilevel = As<CImg1>(*picture.image);
  // Set bits become index 0 and clear bits 255; the rest of the ramp stays grey.
  ColorMap map(256, 255);
  for (int i = 0; i < 256; ++i) {
    map.entries[i] = {i, i, i};
  }
  const auto entry = [](uint32_t rgb) {
    return ColorMapEntry{static_cast<int32_t>(rgb >> 16 & 0xFFu),
                         static_cast<int32_t>(rgb >> 8 & 0xFFu), static_cast<int32_t>(rgb & 0xFFu)};
  };
  map.entries[0] = entry(bilevel.getForegroundInterpretation());
  map.entries[255] = entry(bilevel.getBackgroundInterpretation());
  Picture out = SameFacts(picture);
  out.alpha = false;
  Operation op(picture, "convert it to 8 bits");
  op.finish(out, CImg8::create(*picture.image, &map, IMG_ALIGN_NONE));
  return out;
}

Picture ToColour(const Picture &picture) {
  if (picture.image->getType() == IMG_TYPE_G4) {
    return ToColour(ToBilevel(picture, false));
  }
  Picture out = SameFacts(picture);
  out.alpha = picture.alpha && picture.image->getType() == IMG_TYPE_32BIT;
  Operation op(picture, "convert it to 32 bits");
  op.finish(out, CImg32::create(*picture.image, RGB_ORDER_BGR));
  return out;
}

}  // namespace c2dimg
