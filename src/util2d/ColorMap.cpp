// ColorMap: a fixed-size palette owned by its image.
#include "util2d/ColorMap.h"

#include <algorithm>

ColorMap::ColorMap(int count, int maxValue)
    : numEntries(std::max(count, 0)), entries(nullptr), maxValue_(maxValue) {
  if (numEntries > 0) {
    entries = new ColorMapEntry[static_cast<size_t>(numEntries)]();
  }
}

ColorMap::ColorMap(const ColorMap &other)
    : numEntries(other.numEntries), entries(nullptr), maxValue_(other.maxValue_) {
  if (numEntries > 0) {
    entries = new ColorMapEntry[static_cast<size_t>(numEntries)];
    std::copy(other.entries, other.entries + numEntries, entries);
  }
}

ColorMap &ColorMap::operator=(const ColorMap &other) {
  if (this != &other) {
    ColorMap copy(other);
    std::swap(numEntries, copy.numEntries);
    std::swap(entries, copy.entries);
    std::swap(maxValue_, copy.maxValue_);
  }
  return *this;
}

ColorMap::~ColorMap() { delete[] entries; }
