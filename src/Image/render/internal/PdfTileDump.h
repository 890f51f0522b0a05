// The raw dump of each tile ImgPDFTileIterator hands out, a debugging aid that the
// library never switches on. Files go to G:\tmp on Windows and to the temporary
// directory elsewhere, named tmp_32x32_<n>.raw with n counting from 1.
#ifndef IMAGE_RENDER_INTERNAL_PDFTILEDUMP_H_
#define IMAGE_RENDER_INTERNAL_PDFTILEDUMP_H_

#include <string>

namespace c2d {

void SetPdfTileDump(bool on);
bool PdfTileDumpOn();
// The file the next dump writes.
std::string NextPdfTileDumpPath();
// Writes `length` bytes of `data` to the next file; false if it cannot be created.
bool DumpPdfTile(const unsigned char *data, unsigned length);

}  // namespace c2d

#endif  // IMAGE_RENDER_INTERNAL_PDFTILEDUMP_H_
