// Export macro of the emfrender library.
#ifndef EMFRENDER_EMFRENDEREXPORT_H_
#define EMFRENDER_EMFRENDEREXPORT_H_

#if defined(_WIN32)
#if defined(EMFRENDER_BUILDING)
#define EMFRENDER_EXPORT __declspec(dllexport)
#else
#define EMFRENDER_EXPORT __declspec(dllimport)
#endif
#else
#define EMFRENDER_EXPORT __attribute__((visibility("default")))
#endif

#endif  // EMFRENDER_EMFRENDEREXPORT_H_
