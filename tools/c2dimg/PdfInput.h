// PDF input for c2dimg: a page is read as the library's CImgPDF, which renders on
// demand. Commands that work on a document as it is (info, background, scale) keep
// it; the others get the page rendered at its own size first.
#ifndef TOOLS_C2DIMG_PDFINPUT_H_
#define TOOLS_C2DIMG_PDFINPUT_H_

#include <cstdint>
#include <string>

#include "Formats.h"

namespace c2dimg {

extern const Format kPdfFormat;

bool IsDocument(const IImg &image);
// Replaces a document by its page rendered at its own size; other pictures stay.
void RenderDocument(Picture &picture);
// The depth to render a document at: 1 for a bilevel page unless grey is asked for.
uint32_t DocumentDepth(IImg &document, bool grey);
// info's type line and background of a document.
std::string DocumentTypeName(IImg &document);
std::string DocumentBackground(IImg &document);

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_PDFINPUT_H_
