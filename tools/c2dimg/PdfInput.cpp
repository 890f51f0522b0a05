// Reading PDF pages into c2dimg through CImgPDF.
#include "PdfInput.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "Failure.h"
#include "Library.h"
#include "PDFRender/CPDFRender.h"
#include "util2d/utl_library.h"

namespace c2dimg {
namespace {

bool SniffPdf(const std::vector<uint8_t> &head) {
  static const char kMagic[] = "%PDF-";
  const size_t n = sizeof kMagic - 1;
  for (size_t at = 0; at + n <= head.size(); ++at) {
    if (std::memcmp(head.data() + at, kMagic, n) == 0) {
      return true;
    }
  }
  return false;
}

std::string Inches(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", value);
  return text;
}

Picture ReadPdf(const InputFile &file, uint32_t page) {
  std::vector<char> path(file.path.begin(), file.path.end());
  path.push_back('\0');
  // The page count comes from a renderer of its own: the image does not keep one.
  // The renderer's library is loaded only now, as the library loads it.
  static const auto make =
      reinterpret_cast<PDFRenderMaker>(utl_load_symbol(kPDFRenderLibrary, "pdfrender_new"));
  const std::unique_ptr<CPDFRender> counter(make != nullptr ? make(path.data(), 1, false)
                                                            : nullptr);
  const int pages = counter != nullptr ? counter->getPageCount() : 0;
  if (pages == 0) {
    throw FileError(file.path, "cannot be read as a PDF document (damaged, empty or locked)");
  }
  if (page > static_cast<uint32_t>(pages)) {
    throw FileError(file.path, "has " + std::to_string(pages) + " page" + (pages == 1 ? "" : "s") +
                                   ", no page " + std::to_string(page));
  }
  Picture picture;
  picture.path = file.path;
  Operation op(picture, "open page " + std::to_string(page));
  op.finish(picture, CImgPDF::create(path.data(), static_cast<int>(page), true));
  auto &document = dynamic_cast<CImgPDF &>(*picture.image);
  double x0 = 0, y0 = 0, x1 = 0, y1 = 0, dpi = 0;
  (void)document.getPDFExtents(x0, y0, x1, y1);
  (void)document.getPDFDensity(dpi);
  picture.origin = "PDF, " + std::to_string(pages) + (pages == 1 ? " page" : " pages") +
                   ", crop box " + Inches(x0) + "," + Inches(y0) + " to " + Inches(x1) + "," +
                   Inches(y1) + " in, rendered at " + Inches(dpi) + " dpi";
  picture.page = page;
  picture.pages = static_cast<uint32_t>(pages);
  picture.dpiX = picture.dpiY = dpi;
  return picture;
}

}  // namespace

const Format kPdfFormat = {"PDF", {}, SniffPdf, ReadPdf, KeepKind, nullptr};

bool IsDocument(const IImg &image) { return dynamic_cast<const CImgPDF *>(&image) != nullptr; }

uint32_t DocumentDepth(IImg &document, bool grey) {
  return document.getType() == IMG_TYPE_1BIT && !grey ? 1 : 32;
}

void RenderDocument(Picture &picture) {
  if (!IsDocument(*picture.image)) {
    return;
  }
  IImg &document = *picture.image;
  ImgScaleAttr attr;
  attr.bitDepth = DocumentDepth(document, false);
  Operation op(picture, "render it");
  op.finish(picture,
            document.scale(document.getRect(), document.getWidth(), document.getHeight(), attr));
  if (auto *bilevel = dynamic_cast<CImg1 *>(picture.image.get())) {
    MarkInk(*bilevel, kBlack, kWhite);
  }
}

std::string DocumentTypeName(IImg &document) {
  return document.getType() == IMG_TYPE_1BIT
             ? "a PDF page found black on white, rendered as bilevel"
             : "a PDF page, rendered in colour";
}

std::string DocumentBackground(IImg &document) {
  const unsigned word = dynamic_cast<CImgPDF &>(document).calculateBackground();
  // The render is in RGB order.
  return word == 0xFFFFFFFFu ? "none" : ColourName(WordToRgb(word, RGB_ORDER_RGB));
}

}  // namespace c2dimg
