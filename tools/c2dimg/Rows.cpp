// Reading the pixels of the library's image classes in the layouts files store.
#include "Rows.h"

#include <algorithm>
#include <cstring>

#include "Failure.h"
#include "Library.h"

namespace c2dimg {
namespace {

size_t BytesPerPixel(RowKind kind) {
  switch (kind) {
    case RowKind::kBilevel:
      return 0;
    case RowKind::kPalette:
    case RowKind::kGrey:
      return 1;
    case RowKind::kRgb:
      return 3;
    case RowKind::kRgba:
      return 4;
  }
  return 0;
}

// The bits by which a 32-bit word's channels differ from its lowest: none for grey,
// in either byte order.
uint32_t NotGrey(uint32_t word) { return (word ^ (word & 0xFFu) * 0x010101u) & 0xFFFFFFu; }

bool AllGrey(CImg32 &image) {
  if (!image.forceDataInit()) {
    return false;
  }
  const unsigned *const *rows = image.constDataArray();
  const uint32_t width = image.getWidth(), height = image.getHeight();
  for (uint32_t y = 0; y < height; ++y) {
    // A row at a time, without a branch a pixel.
    const unsigned *row = rows[y];
    uint32_t differ = 0;
    for (uint32_t x = 0; x < width; ++x) {
      differ |= NotGrey(row[x]);
    }
    if (differ != 0) {
      return false;
    }
  }
  return true;
}

// Pixel x of a grey, RGB or RGBA row.
void Put(RowKind kind, uint32_t rgb, uint8_t opacity, uint32_t x, uint8_t *out) {
  if (kind == RowKind::kGrey) {
    out[x] = Luma(rgb);
    return;
  }
  uint8_t *p = out + size_t{x} * (kind == RowKind::kRgba ? 4 : 3);
  p[0] = static_cast<uint8_t>(rgb >> 16);
  p[1] = static_cast<uint8_t>(rgb >> 8);
  p[2] = static_cast<uint8_t>(rgb);
  if (kind == RowKind::kRgba) {
    p[3] = opacity;
  }
}

}  // namespace

const char *KindName(RowKind kind) {
  switch (kind) {
    case RowKind::kBilevel:
      return "bilevel";
    case RowKind::kPalette:
      return "8-bit palette";
    case RowKind::kGrey:
      return "grey";
    case RowKind::kRgb:
      return "RGB";
    case RowKind::kRgba:
      return "RGBA";
  }
  return "?";
}

RowKind NaturalKind(const Picture &picture) {
  switch (picture.image->getType()) {
    case IMG_TYPE_1BIT:
    case IMG_TYPE_G4:
      return RowKind::kBilevel;
    case IMG_TYPE_8BIT:
      return RowKind::kPalette;
    default:
      break;
  }
  if (picture.alpha) {
    return RowKind::kRgba;
  }
  auto *colour = dynamic_cast<CImg32 *>(picture.image.get());
  return colour != nullptr && AllGrey(*colour) ? RowKind::kGrey : RowKind::kRgb;
}

Rows::Rows(const Picture &picture, RowKind kind, const std::string &label)
    : kind_(kind), progress_(label, picture.image->getHeight()) {
  const ImageType type = picture.image->getType();
  if (type == IMG_TYPE_G4 || (kind == RowKind::kBilevel && type != IMG_TYPE_1BIT)) {
    converted_ = ToBilevel(picture, false);
  } else if (kind == RowKind::kPalette && type != IMG_TYPE_8BIT) {
    converted_ = ToPalette(picture);
  }
  image_ = converted_.image != nullptr ? converted_.image.get() : picture.image.get();
  alpha_ = converted_.image != nullptr ? converted_.alpha : picture.alpha;
  width_ = image_->getWidth();
  height_ = image_->getHeight();
  // Lazy images get their pixels, filled with their background, now.
  if (!image_->forceDataInit()) {
    throw FileError(picture.path, "the library could not give the image's pixels");
  }
  if (auto *bilevel = dynamic_cast<CImg1 *>(image_)) {
    setRgb_ = bilevel->getForegroundInterpretation() & 0xFFFFFFu;
    clearRgb_ = bilevel->getBackgroundInterpretation() & 0xFFFFFFu;
    setIsBlack_ = Luma(setRgb_) <= Luma(clearRgb_);
    if (bilevel->peekData() == nullptr) {
      throw FileError(picture.path, "the bilevel image has no pixels");
    }
  } else if (auto *palette = dynamic_cast<CImg8 *>(image_)) {
    const ColorMap *map = palette->getColorMap();
    const int entries = map == nullptr ? 0 : std::min(map->numEntries, 256);
    for (int i = 0; i < std::max(entries, 1); ++i) {
      palette_.push_back(PaletteRgb(map, static_cast<unsigned>(i)));
    }
  } else if (auto *colour = dynamic_cast<CImg32 *>(image_)) {
    order_ = colour->getRGBOrder();
  } else {
    throw FileError(picture.path, "the library gave an image of an unknown class");
  }
}

size_t Rows::rowBytes() const {
  return kind_ == RowKind::kBilevel ? (size_t{width_} + 7) / 8 : width_ * BytesPerPixel(kind_);
}

void Rows::read(uint32_t y, uint8_t *out) {
  switch (image_->getType()) {
    case IMG_TYPE_1BIT:
      ReadBilevelSource(y, out);
      break;
    case IMG_TYPE_8BIT:
      ReadPaletteSource(y, out);
      break;
    default:
      ReadColourSource(y, out);
      break;
  }
  progress_.set(y + 1);
}

void Rows::ReadBilevelSource(uint32_t y, uint8_t *out) const {
  const auto &image = static_cast<const CImg1 &>(*image_);
  const uint8_t *bits = image.peekData() + size_t{y} * image.getBytesPerLine();
  const auto bit = [bits](uint32_t x) { return (bits[x >> 3] >> (7 - (x & 7))) & 1u; };
  if (kind_ == RowKind::kBilevel) {
    const size_t n = rowBytes();
    const uint8_t flip = setIsBlack_ ? 0x00 : 0xFF;
    for (size_t i = 0; i < n; ++i) {
      out[i] = bits[i] ^ flip;
    }
    if (width_ % 8 != 0) {
      out[n - 1] &= static_cast<uint8_t>(0xFF00u >> (width_ % 8));
    }
    return;
  }
  for (uint32_t x = 0; x < width_; ++x) {
    Put(kind_, bit(x) ? setRgb_ : clearRgb_, 0xFF, x, out);
  }
}

void Rows::ReadPaletteSource(uint32_t y, uint8_t *out) const {
  const uint8_t *indices = static_cast<const CImg8 &>(*image_).constDataArray()[y];
  if (kind_ == RowKind::kPalette) {
    std::memcpy(out, indices, width_);
    return;
  }
  for (uint32_t x = 0; x < width_; ++x) {
    Put(kind_, indices[x] < palette_.size() ? palette_[indices[x]] : kBlack, 0xFF, x, out);
  }
}

void Rows::ReadColourSource(uint32_t y, uint8_t *out) const {
  const unsigned *pixels = static_cast<const CImg32 &>(*image_).constDataArray()[y];
  if (kind_ == RowKind::kGrey) {
    // A grey pixel is its own luma (the weights add up to one); the other pixels of
    // the row are weighed after.
    const uint32_t width = width_;
    uint32_t differ = 0;
    for (uint32_t x = 0; x < width; ++x) {
      const uint32_t word = pixels[x];
      out[x] = static_cast<uint8_t>(word);
      differ |= NotGrey(word);
    }
    for (uint32_t x = 0; differ != 0 && x < width; ++x) {
      if (NotGrey(pixels[x]) != 0) {
        out[x] = Luma(WordToRgb(pixels[x], order_));
      }
    }
    return;
  }
  for (uint32_t x = 0; x < width_; ++x) {
    const auto opacity = static_cast<uint8_t>(alpha_ ? pixels[x] >> 24 : 0xFFu);
    Put(kind_, WordToRgb(pixels[x], order_), opacity, x, out);
  }
}

}  // namespace c2dimg
