// Export macro of the util2d library.
#ifndef UTIL2D_UTIL2DEXPORT_H_
#define UTIL2D_UTIL2DEXPORT_H_

#if defined(_WIN32)
#if defined(UTIL2D_BUILDING)
#define UTIL2D_EXPORT __declspec(dllexport)
#else
#define UTIL2D_EXPORT __declspec(dllimport)
#endif
#else
#define UTIL2D_EXPORT __attribute__((visibility("default")))
#endif

#endif  // UTIL2D_UTIL2DEXPORT_H_
