// The commands: each reads its files, asks the library for one operation and writes
// the result. Options are checked before any file is read, so that a mistyped
// command fails at once.
#include "Commands.h"

#include <cmath>
#include <cstdio>
#include <functional>

#include "Failure.h"
#include "Formats.h"
#include "G4Code.h"
#include "Library.h"
#include "Limits.h"
#include "OutputGuard.h"
#include "PdfInput.h"
#include "Progress.h"
#include "Turn.h"
#include "Words.h"

namespace c2dimg {
namespace {

bool IsBilevel(IImg &image) {
  return image.getType() == IMG_TYPE_1BIT || image.getType() == IMG_TYPE_G4;
}

std::string BackgroundText(Picture &picture) {
  Progress progress("finding the background", 0);
  Operation op(picture, "find the background");
  IImg &image = *picture.image;
  std::string text;
  if (IsDocument(image)) {
    text = DocumentBackground(image);
  } else if (IsBilevel(image)) {
    unsigned bit = 0;
    uint32_t setRgb = 0, clearRgb = 0;
    if (auto *g4 = dynamic_cast<CImg1G4 *>(&image)) {
      bit = g4->calculateBackground();
      setRgb = g4->getForegroundInterpretation();
      clearRgb = g4->getBackgroundInterpretation();
    } else {
      auto &bilevel = dynamic_cast<CImg1 &>(image);
      bit = bilevel.calculateBackground();
      setRgb = bilevel.getForegroundInterpretation();
      clearRgb = bilevel.getBackgroundInterpretation();
    }
    op.check(IMG_OK);
    text = ColourName(bit != 0 ? setRgb : clearRgb) + (bit != 0 ? " (set bits)" : " (clear bits)");
  } else if (auto *palette = dynamic_cast<CImg8 *>(&image)) {
    const unsigned index = palette->calculateBackground();
    text = palette->getBackgroundState() == IMG_BG_NONE
               ? "none"
               : ColourName(PaletteRgb(palette->getColorMap(), index)) + " (index " +
                     std::to_string(index) + ")";
  } else if (CImgEMF *document = AsMetafile(picture)) {
    // Estimated on a render at an integer factor: under 500 pixels a side it is 0
    // and there is no render to estimate on.
    const unsigned word = document->calculateBackground();
    text = word == 0xFFFFFFFFu ? "none" : ColourName(WordToRgb(word, RGB_ORDER_BGR));
  } else {
    auto &colour = dynamic_cast<CImg32 &>(image);
    const unsigned word = colour.calculateBackground();
    text = colour.getBackgroundState() == IMG_BG_NONE
               ? "none"
               : ColourName(WordToRgb(word, colour.getRGBOrder()));
  }
  return text;
}

void Info(const CommandLine &line) {
  Picture picture;
  try {
    picture = ReadPicture(line.operands[0], line.page, true);
  } catch (const TooManyPixels &e) {
    // The header's facts, without the pixels.
    std::printf("file         %s\nsize         %u x %u pixels\n", line.operands[0].c_str(), e.width,
                e.height);
    throw;
  }
  IImg &image = *picture.image;
  const uint32_t w = image.getWidth(), h = image.getHeight();
  std::printf("file         %s\n", picture.path.c_str());
  std::printf("format       %s\n", picture.origin.c_str());
  if (picture.pages > 1) {
    std::printf("page         %u of %u\n", picture.page, picture.pages);
  }
  std::printf("size         %u x %u pixels", w, h);
  if (picture.dpiX > 0 && picture.dpiY > 0) {
    std::printf(", %.2f x %.2f in at %g x %g dpi", w / picture.dpiX, h / picture.dpiY, picture.dpiX,
                picture.dpiY);
  }
  if (AsMetafile(picture) != nullptr) {
    std::printf("\nextents      %s", MetafileExtents(picture).c_str());
  }
  std::printf("\ntype         %s\n", KindWords(picture).c_str());
  std::printf("tile grid    %u x %u tiles of %u x %u\n", image.getWidthInTiles(),
              image.getHeightInTiles(), image.getTileWidth(), image.getTileHeight());
  if (image.getType() == IMG_TYPE_G4) {
    const double unpacked = (static_cast<double>(w) + 7) / 8 * h;
    std::printf("coded bytes  %u (%.1f%% of the page unpacked)\n", image.getTotalBytes(),
                100.0 * image.getTotalBytes() / unpacked);
  } else {
    std::printf("pixel bytes  %u\n", image.getTotalBytes());
  }
  std::fflush(stdout);
  std::printf("background   %s\n", BackgroundText(picture).c_str());
}

void Background(const CommandLine &line) {
  Picture picture = ReadPicture(line.operands[0], line.page, true);
  std::printf("%s\n", BackgroundText(picture).c_str());
}

void Scale(const CommandLine &line) {
  const std::string &out = line.required("output");
  (void)OutputFormat(out);
  int sizes = 0;
  for (const char *name : {"width", "height", "factor", "fit"}) {
    sizes += line.has(name) ? 1 : 0;
  }
  if (sizes != 1) {
    throw UsageError("give one of --width, --height, --factor and --fit");
  }
  // Each size option becomes the target size of a w x h source.
  std::function<void(double, double, uint64_t &, uint64_t &)> size;
  const auto proportional = [](double side, double from, double to) {
    return std::max<uint64_t>(1, static_cast<uint64_t>(std::llround(side * to / from)));
  };
  if (line.has("width")) {
    const uint32_t width = ParseCount(line.required("width"), "--width");
    size = [=](double sw, double sh, uint64_t &w, uint64_t &h) {
      w = width;
      h = proportional(sh, sw, width);
    };
  } else if (line.has("height")) {
    const uint32_t height = ParseCount(line.required("height"), "--height");
    size = [=](double sw, double sh, uint64_t &w, uint64_t &h) {
      h = height;
      w = proportional(sw, sh, height);
    };
  } else if (line.has("factor")) {
    const double factor = ParseNumber(line.required("factor"), "--factor");
    if (factor <= 0) {
      throw UsageError("--factor must be above 0");
    }
    // Rounded up, as the library's own factor form does.
    size = [=](double sw, double sh, uint64_t &w, uint64_t &h) {
      w = static_cast<uint64_t>(std::ceil(sw * factor));
      h = static_cast<uint64_t>(std::ceil(sh * factor));
    };
  } else {
    const std::vector<long> box = ParseList(line.required("fit"), 'x', 2, "--fit");
    if (box[0] < 1 || box[1] < 1) {
      throw UsageError("--fit wants a box of at least 1 x 1");
    }
    size = [=](double sw, double sh, uint64_t &w, uint64_t &h) {
      const double f = std::min(box[0] / sw, box[1] / sh);
      w = std::clamp<uint64_t>(static_cast<uint64_t>(std::llround(sw * f)), 1, box[0]);
      h = std::clamp<uint64_t>(static_cast<uint64_t>(std::llround(sh * f)), 1, box[1]);
    };
  }
  std::vector<long> rect;
  if (line.has("rect")) {
    rect = ParseList(line.required("rect"), ',', 4, "--rect");
  }

  // A document renders straight at the size asked for.
  Picture picture = ReadPicture(line.operands[0], line.page, true);
  IImg &image = *picture.image;
  ImgRect source = image.getRect();
  if (!rect.empty()) {
    source = OnThePage(rect, line.required("rect"), image.getWidth(), image.getHeight());
  }
  const uint32_t sw = source.getWidth(), sh = source.getHeight();
  uint64_t w = 0, h = 0;
  size(sw, sh, w, h);
  if (w > 0x7FFFFFFFu || h > 0x7FFFFFFFu || !WithinPixelLimit(w, h)) {
    throw UsageError("the result would be " + std::to_string(w) + " x " + std::to_string(h) +
                     " pixels, too large (--max-pixels raises the limit)");
  }
  auto *page = dynamic_cast<CImg1G4 *>(&image);
  const bool fromBilevel = IsBilevel(image);
  if (line.has("grey") && !fromBilevel) {
    Note("--grey makes grey levels of bilevel pages; " + picture.path +
         " is scaled in its own colours");
  }
  Progress progress("scaling", 0);
  ImgScaleAttr attr;
  attr.bitDepth = line.has("grey") ? 32 : 0;
  // Colour and grey pictures are mostly photos and scans, which look right averaged;
  // --keep-lines gives them the reduction that keeps every thin line.
  attr.resample = line.has("resample") || (!fromBilevel && !line.has("keep-lines"));
  // Documents render straight at the size asked for.
  const bool document = IsDocument(image) || AsMetafile(picture) != nullptr;
  if (IsDocument(image)) {
    attr.bitDepth = DocumentDepth(image, line.has("grey"));
  } else if (document) {
    attr.bitDepth = 32;
  }
  Operation op(picture, "scale it to " + std::to_string(w) + " x " + std::to_string(h), &source);
  const auto tw = static_cast<unsigned>(w), th = static_cast<unsigned>(h);
  IImg *result = nullptr;
  if (page != nullptr) {
    result = ScaleG4(*page, source, tw, th, attr);
  } else if (w == sw && h == sh && !document) {
    result = image.getSubImage(source);
  } else if (auto *bitmap = dynamic_cast<CImg1 *>(&image)) {
    result = ScaleBitmap(*bitmap, source, tw, th, attr);
  } else {
    result = image.scale(source, tw, th, attr);
  }
  // Scaled bilevel results hold ink in their set bits (a grey one holds it dark); a
  // rectangle of the page's own size keeps its bits.
  uint32_t ink = kBlack, paper = kWhite;
  if (fromBilevel && !document) {
    InkAndPaper(image, ink, paper, w == sw && h == sh);
  }
  op.finish(picture, result);
  if (auto *bilevel = dynamic_cast<CImg1 *>(picture.image.get()); bilevel != nullptr) {
    MarkInk(*bilevel, ink, paper);
  } else if (auto *grey = dynamic_cast<CImg32 *>(picture.image.get()); grey && fromBilevel) {
    InkGrey(*grey, ink, paper);
  }
  if (fromBilevel && picture.image->getType() == IMG_TYPE_32BIT) {
    picture.alpha = false;
  }
  picture.dpiX *= static_cast<double>(w) / sw;
  picture.dpiY *= static_cast<double>(h) / sh;
  Write(picture, out, line);
}

// The colours of a bilevel result whose bits stand as they stood in the source.
void KeepColours(const IImg &from, Picture &to) {
  const auto *source = dynamic_cast<const CImg1 *>(&from);
  auto *result = dynamic_cast<CImg1 *>(to.image.get());
  if (source != nullptr && result != nullptr) {
    result->setBackgroundInterpretation(source->getBackgroundInterpretation());
    result->setForegroundInterpretation(source->getForegroundInterpretation());
  }
}

// Runs a transform that moves pixels without changing them. A Group 4 page is decoded
// as stored first (the library's own transforms of it lose its last column); a
// bitmap keeps its bits, but not always its colours, which are given back.
void Transform(Picture &picture, const std::string &what,
               const std::function<IImg *(IImg &)> &transform) {
  Progress progress(what, 0);
  if (picture.image->getType() == IMG_TYPE_G4) {
    picture = ToBilevel(picture, false);
  }
  Operation op(picture, what);
  IImg *result = transform(*picture.image);
  if (result == picture.image.get()) {
    return;
  }
  const ImagePtr before(picture.image.release());
  op.finish(picture, result);
  KeepColours(*before, picture);
}

void Rotate(const CommandLine &line) {
  const std::string &out = line.required("output");
  (void)OutputFormat(out);
  const double degrees = ParseNumber(line.operands[1], "DEGREES");
  Picture picture = ReadPicture(line.operands[0], line.page);
  // The library snaps and dispatches angles from 0 to 360 degrees.
  double turn = std::fmod(degrees, 360.0);
  turn += turn < 0 ? 360.0 : 0.0;
  const double nearest = std::round(turn / 90.0) * 90.0;
  const bool rightAngle = std::fabs(turn - nearest) < 0.001;
  if (rightAngle && (nearest == 0.0 || nearest == 360.0)) {
    // A whole turn leaves the picture as it is.
    Write(picture, out, line);
    return;
  }
  Transform(picture, "rotate it by " + line.operands[1] + " degrees", [&](IImg &image) {
    return rightAngle ? image.rotate(nearest)
                      : TurnWhole(image, turn, line.has("keep-size"), picture.path);
  });
  if (rightAngle && nearest != 180.0) {
    std::swap(picture.dpiX, picture.dpiY);
  }
  Write(picture, out, line);
}

void Mirror(const CommandLine &line) {
  const std::string &out = line.required("output");
  (void)OutputFormat(out);
  const std::string &axis = line.operands[1];
  if (axis != "x" && axis != "y") {
    throw UsageError("the axis is x or y, not '" + axis + "'");
  }
  Picture picture = ReadPicture(line.operands[0], line.page);
  Transform(picture, "mirror it about " + axis,
            [&](IImg &image) { return image.mirror(axis == "x" ? IMG_MIR_X : IMG_MIR_Y); });
  Write(picture, out, line);
}

void Convert(const CommandLine &line) {
  const std::string &out = line.required("output");
  (void)OutputFormat(out);
  const std::string to = line.has("to") ? line.required("to") : "";
  if (!to.empty() && to != "1" && to != "8" && to != "32") {
    throw UsageError("--to takes 1, 8 or 32, not '" + to + "'");
  }
  if (line.has("separate") && to != "1") {
    throw UsageError("--separate goes with --to 1");
  }
  Picture picture = ReadPicture(line.operands[0], line.page);
  const ImageType type = picture.image->getType();
  Progress progress("converting", 0);
  if (to == "1" && (type != IMG_TYPE_1BIT || line.has("separate"))) {
    picture = ToBilevel(picture, line.has("separate"));
  } else if (to == "8" && type != IMG_TYPE_8BIT) {
    picture = ToPalette(picture);
  } else if (to == "32" && type != IMG_TYPE_32BIT) {
    picture = ToColour(picture);
  }
  Write(picture, out, line);
}

// Composites work on 32-bit images in one byte order, which is what the library
// blends.
Picture AsColour(Picture picture) {
  auto *colour = dynamic_cast<CImg32 *>(picture.image.get());
  if (colour != nullptr && colour->getRGBOrder() == RGB_ORDER_BGR) {
    return picture;
  }
  return ToColour(picture);
}

void Composite(const CommandLine &line) {
  const std::string &out = line.required("output");
  (void)OutputFormat(out);
  const std::vector<long> at = ParseList(line.required("at"), ',', 2, "--at");
  CompositeAttr attr;
  attr.left = static_cast<int32_t>(at[0]);
  attr.top = static_cast<int32_t>(at[1]);
  if (line.has("alpha")) {
    attr.useAlpha = true;
    attr.alpha = ParseNumber(line.required("alpha"), "--alpha");
    if (attr.alpha < 0 || attr.alpha > 1) {
      throw UsageError("--alpha is an opacity from 0 to 1");
    }
  }
  if (line.has("key")) {
    attr.useTransparentColor = true;
    // In the default byte order a pixel word reads 0xRRGGBB.
    attr.transparentColor = ParseColour(line.required("key"), "--key");
  }
  Picture destination = AsColour(ReadPicture(line.operands[0], line.page));
  Picture source = AsColour(ReadPicture(line.operands[1], line.page));
  const long dw = destination.image->getWidth(), dh = destination.image->getHeight();
  const long sw = source.image->getWidth(), sh = source.image->getHeight();
  if (at[0] >= dw || at[1] >= dh || at[0] + sw <= 0 || at[1] + sh <= 0) {
    throw UsageError("--at " + line.required("at") + " puts the " + std::to_string(sw) + " x " +
                     std::to_string(sh) + " SRC outside the " + std::to_string(dw) + " x " +
                     std::to_string(dh) + " DST");
  }
  auto &pixels = dynamic_cast<CImg32 &>(*source.image);
  if (!source.alpha && pixels.peekDataArray() != nullptr) {
    // Without alpha of its own, SRC is opaque: the blend reads the top byte.
    for (uint32_t y = 0; y < sh; ++y) {
      for (uint32_t x = 0; x < sw; ++x) {
        pixels(y, x) |= 0xFF000000u;
      }
    }
  }
  Operation op(destination, "composite " + source.path + " over it");
  // A constant alpha of 0 composes nothing, which the library says with IMG_FALSE.
  op.check(destination.image->composite(attr, *source.image),
           attr.useAlpha && attr.alpha <= 0 ? IMG_FALSE : IMG_OK);
  Write(destination, out, line);
}

}  // namespace

void Write(const Picture &picture, const std::string &path, const CommandLine &line) {
  const RowKind kind = WritePicture(picture, path);
  if (!line.quiet) {
    // Standard output holds the picture itself.
    std::fprintf(path == "-" ? stderr : stdout, "%s: %u x %u, %s\n", path.c_str(),
                 picture.image->getWidth(), picture.image->getHeight(), KindName(kind));
  }
}

void RunCommand(const CommandLine &line) {
  SetPixelLimit(line.has("max-pixels") ? line.options.at("max-pixels") : "");
  SetForce(line.has("force"));
  SetVerbose(line.has("verbose"));
  SetChosenFormat(line.has("format") ? line.options.at("format") : "");
  static const std::pair<const char *, void (*)(const CommandLine &)> kRunners[] = {
      {"info", Info},           {"scale", Scale},     {"rotate", Rotate},
      {"mirror", Mirror},       {"convert", Convert}, {"background", Background},
      {"composite", Composite}, {"draw", Draw},       {"rtl", RtlJob}};
  for (const auto &runner : kRunners) {
    if (std::string(line.command->name) == runner.first) {
      runner.second(line);
      return;
    }
  }
  throw UsageError("unknown command");
}

}  // namespace c2dimg
