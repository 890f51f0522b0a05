// The allocator behind the run tables, codes and grey mappings of the scaling
// family. Internal: hosts free these blocks with free(); tests swap the allocator to
// make a chosen allocation fail.
#ifndef IMAGE_SCALE_INTERNAL_TABLEALLOC_H_
#define IMAGE_SCALE_INTERNAL_TABLEALLOC_H_

#include <cstddef>

namespace c2d {

// `count` zeroed elements of `size` bytes, from a calloc-compatible allocator, so the
// caller releases them with free(). A count of 0 still gets one element, so that null
// means only failure. A byte count that does not fit size_t is refused with null.
void *TableCalloc(std::size_t count, std::size_t size);

// The allocator TableCalloc forwards to; its blocks must be freeable with free().
using TableCallocFn = void *(*)(std::size_t count, std::size_t size);

// Installs `fn` (null restores calloc) and returns the one it replaces.
TableCallocFn SetTableCalloc(TableCallocFn fn);

}  // namespace c2d

#endif  // IMAGE_SCALE_INTERNAL_TABLEALLOC_H_
