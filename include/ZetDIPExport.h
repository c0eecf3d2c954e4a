// Export macro of the ZetDIP shared library.
#ifndef ZETDIP_EXPORT_H
#define ZETDIP_EXPORT_H

#if defined(_WIN32) || defined(__CYGWIN__)
#if defined(ZETDIP_BUILDING)
#define ZETDIP_API __declspec(dllexport)
#else
#define ZETDIP_API __declspec(dllimport)
#endif
#elif defined(__GNUC__) || defined(__clang__)
#define ZETDIP_API __attribute__((visibility("default")))
#else
#define ZETDIP_API
#endif

#endif  // ZETDIP_EXPORT_H
