// The sizes c2dimg takes. The pixel limit: an input whose header declares more pixels
// than the limit is refused before anything is allocated for it, so that a small file
// claiming a huge page cannot take minutes and gigabytes. And rectangles of the page.
#ifndef TOOLS_C2DIMG_LIMITS_H_
#define TOOLS_C2DIMG_LIMITS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "Failure.h"
#include "Picture.h"

namespace c2dimg {

// A 600 dpi E-size page (20400 x 26400) passes; 30000 x 30000 does not.
constexpr uint64_t kDefaultMaxPixels = 600000000;

// The refusal, with the size the header declares, for `info` to show.
class TooManyPixels : public FileError {
 public:
  TooManyPixels(const std::string &path, uint32_t width, uint32_t height, uint64_t limit);
  uint32_t width, height;
};

// Sets the limit from the text of --max-pixels (a UsageError when it is not a whole
// number of at least 1), or the default for an empty text.
void SetPixelLimit(const std::string &text);
// Whether a result of width x height is within the limit.
bool WithinPixelLimit(uint64_t width, uint64_t height);
// Throws TooManyPixels when width x height is above the limit.
void CheckPixels(const std::string &path, uint32_t width, uint32_t height);

// The rectangle L,T,R,B (`text` as given) cut to a width x height page, with a note
// on stderr when it reaches past it; a UsageError when nothing of it is on the page.
ImgRect OnThePage(const std::vector<long> &rect, const std::string &text, uint32_t width,
                  uint32_t height);

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_LIMITS_H_
