// RAII for malloc'd scratch memory inside the library.
#ifndef IMAGE_CORE_INTERNAL_FREEDELETER_H_
#define IMAGE_CORE_INTERNAL_FREEDELETER_H_

#include <cstdlib>
#include <memory>

namespace c2d {

struct FreeDeleter {
  void operator()(void *p) const { std::free(p); }
};

// The one owner of a malloc'd array: scratch, tables, and buffers on their way out.
template <typename T>
using MallocArray = std::unique_ptr<T[], FreeDeleter>;

}  // namespace c2d

#endif  // IMAGE_CORE_INTERNAL_FREEDELETER_H_
