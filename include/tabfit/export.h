/* tabfit/export.h - how the library's functions are declared, in C99 and in C++17. */
#ifndef TABFIT_EXPORT_H
#define TABFIT_EXPORT_H

/* Every library function is exported with C linkage; everything else is hidden. */
#if defined(__GNUC__)
#define TABFIT_API __attribute__((visibility("default")))
#else
#define TABFIT_API
#endif

/* No exception leaves the library: C++ callers are told so. */
#ifdef __cplusplus
#define TABFIT_NOEXCEPT noexcept
#else
#define TABFIT_NOEXCEPT
#endif

#endif /* TABFIT_EXPORT_H */
