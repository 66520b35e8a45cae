// Symbol visibility of libqorbasic.
//
// The library is built with hidden visibility by default: only what carries
// QOR_API is exported from libqorbasic.so.0. Flat functions and exported
// constant pointers use QOR_C_API, so that they are exported under their own,
// unmangled names for callers that want no classes:
//
//   QOR_C_API bool fileutils_exists(const char* path);
#ifndef QORBASIC_EXPORT_H
#define QORBASIC_EXPORT_H

#define QOR_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define QOR_C_API extern "C" QOR_API
#else
#define QOR_C_API QOR_API
#endif

#endif  // QORBASIC_EXPORT_H
