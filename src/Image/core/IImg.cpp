// IImg's destructor and the host buffer allocator pair.
#include "Image/core/IImg.h"

#include <cstdint>
#include <cstdlib>

IImg::~IImg() {}

void *IImg::allocImageBuffer(unsigned long long size) {
  if (size > SIZE_MAX) {
    return nullptr;
  }
  return std::malloc(static_cast<size_t>(size));
}

void IImg::deallocImageBuffer(void *&p) {
  if (p != nullptr) {
    std::free(p);
    p = nullptr;
  }
}
