// Byte-order query, decided at run time from the layout of a known word.
#include "util2d/utl_endian.h"

#include <cstdint>
#include <cstring>

int utl_is_little_endian() {
  const uint32_t word = 1;
  unsigned char first = 0;
  std::memcpy(&first, &word, 1);
  return first == 1 ? 1 : 0;
}
