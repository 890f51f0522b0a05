// ColorMap: the palette of an 8-bit image. Image code reads numEntries and entries
// directly, so the two members are public and their layout is part of the interface.
#ifndef UTIL2D_COLORMAP_H_
#define UTIL2D_COLORMAP_H_

#include <cstdint>

#include "util2d/Util2dExport.h"

// One palette entry. Each channel is a full 32-bit integer on purpose: callers read
// the entries as three consecutive ints.
struct ColorMapEntry {
  int32_t red;
  int32_t green;
  int32_t blue;
};

class UTIL2D_EXPORT ColorMap {
 public:
  // A map of `count` entries, all channels 0. `maxValue` is the largest channel value
  // the owner intends to store; it is kept but never enforced. A negative count gives
  // an empty map. Throws std::bad_alloc when the entries cannot be allocated.
  ColorMap(int count, int maxValue);
  // Deep copy.
  ColorMap(const ColorMap &other);
  ColorMap &operator=(const ColorMap &other);
  ~ColorMap();

  int getMaxValue() const { return maxValue_; }

  int numEntries;
  ColorMapEntry *entries;

 private:
  int maxValue_;
};

#endif  // UTIL2D_COLORMAP_H_
