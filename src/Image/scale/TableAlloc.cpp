// The allocator of the scaling tables, with the seam that lets tests fail it.
#include "Image/scale/internal/TableAlloc.h"

#include <cstdint>
#include <cstdlib>

namespace c2d {

namespace {

void *DefaultCalloc(std::size_t count, std::size_t size) { return std::calloc(count, size); }

TableCallocFn g_tableCalloc = &DefaultCalloc;

}  // namespace

void *TableCalloc(std::size_t count, std::size_t size) {
  if (count == 0) {
    count = 1;
  }
  if (size != 0 && count > SIZE_MAX / size) {
    return nullptr;
  }
  return g_tableCalloc(count, size);
}

TableCallocFn SetTableCalloc(TableCallocFn fn) {
  const TableCallocFn previous = g_tableCalloc;
  g_tableCalloc = fn != nullptr ? fn : &DefaultCalloc;
  return previous;
}

}  // namespace c2d
