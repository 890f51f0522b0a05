// The one export macro of core2dimage. The shared library hides every symbol by
// default; classes and functions of the host interface carry C2D_EXPORT.
#ifndef IMAGE_CORE_IMGEXPORT_H_
#define IMAGE_CORE_IMGEXPORT_H_

#if defined(_WIN32)
#if defined(C2D_BUILDING)
#define C2D_EXPORT __declspec(dllexport)
#elif defined(C2D_STATIC)
#define C2D_EXPORT
#else
#define C2D_EXPORT __declspec(dllimport)
#endif
#else
#define C2D_EXPORT __attribute__((visibility("default")))
#endif

#endif  // IMAGE_CORE_IMGEXPORT_H_
