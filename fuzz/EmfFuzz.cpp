// libFuzzer harness for the metafile path of the EMF renderer: the header check, the
// conversion to SVG and a small render (built with -DC2D_FUZZ=ON; scripts/fuzz runs it).
//
// fuzz/make-seeds writes a small metafile to start from. The input is the metafile;
// a renderer that accepts it must report a size and render a thumbnail of at most
// 64 x 64 pixels in both depths.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>

#include "EMFRender/CEMFRender.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *input, size_t size) {
  EMFMemory memory{input, size};
  const bool header = CEMFRender::isMetafile(input, size);
  CEMFRender renderer(&memory);
  const unsigned w = renderer.getImgWidth();
  const unsigned h = renderer.getImgHeight();
  if (!header && (w != 0 || h != 0)) {
    std::abort();  // only a checked header reaches the converter
  }
  if (w == 0 || h == 0) {
    return 0;
  }
  renderer.setOutputRect(w < 64 ? w : 64, h < 64 ? h : 64);
  for (unsigned depth : {32u, 1u}) {
    void *data = nullptr;
    uint64_t bytes = 0;
    if (renderer.getImage(depth, data, bytes) && (data == nullptr || bytes == 0)) {
      std::abort();
    }
    std::free(data);
  }
  return 0;
}
