// Finds a function in a shared library by name, loading the library on first use.
// The document renderers sit on large libraries (an SVG renderer, a PDF engine) that
// take milliseconds to load; a process that never opens a document never loads them.
#ifndef UTIL2D_UTL_LIBRARY_H_
#define UTIL2D_UTL_LIBRARY_H_

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

// The address of `symbol` in `library` (a file name, found as the system finds the
// libraries of the calling module), or null when either cannot be found. The library
// stays loaded for the life of the process.
inline void *utl_load_symbol(const char *library, const char *symbol) {
#if defined(_WIN32)
  HMODULE module = LoadLibraryA(library);
  return module == nullptr ? nullptr : reinterpret_cast<void *>(GetProcAddress(module, symbol));
#else
  void *module = dlopen(library, RTLD_NOW | RTLD_LOCAL);
  return module == nullptr ? nullptr : dlsym(module, symbol);
#endif
}

#endif  // UTIL2D_UTL_LIBRARY_H_
