// Metafiles for the tests, written by libEMF to a memory stream.
#include "EmfDrawing.h"

#include <libEMF/emf.h>

#include <cstdio>
#include <cstdlib>

namespace emftest {

std::vector<unsigned char> Metafile(int frameWidth, int frameHeight,
                                    const std::vector<Box> &boxes) {
  char *bytes = nullptr;
  size_t size = 0;
  FILE *stream = open_memstream(&bytes, &size);
  const RECT frame = {0, 0, frameWidth, frameHeight};
  // libEMF's HDC is an integer: 0 asks for its own reference device.
  HDC dc = CreateEnhMetaFileWithFILEA(0, stream, &frame, nullptr);
  SelectObject(dc, GetStockObject(NULL_PEN));
  for (const Box &box : boxes) {
    HBRUSH brush = CreateSolidBrush(RGB(box.rgb >> 16, box.rgb >> 8 & 0xFF, box.rgb & 0xFF));
    HGDIOBJ previous = SelectObject(dc, brush);
    Rectangle(dc, box.left, box.top, box.right, box.bottom);
    SelectObject(dc, previous);
    DeleteObject(brush);
  }
  DeleteEnhMetaFile(CloseEnhMetaFileWithFILE(dc));
  std::fclose(stream);
  std::vector<unsigned char> metafile(bytes, bytes + size);
  std::free(bytes);
  return metafile;
}

}  // namespace emftest
