#ifndef QVBASE_EXPORT_H
#define QVBASE_EXPORT_H

// QV_BASE_API marks what the shared library exports. Everything else is hidden: the library is
// built with hidden visibility on ELF, and as a DLL on Windows.
#if defined(_WIN32)
#  if defined(QVBASE_BUILDING)
#    define QV_BASE_API __declspec(dllexport)
#  else
#    define QV_BASE_API __declspec(dllimport)
#  endif
#else
#  define QV_BASE_API __attribute__((visibility("default")))
#endif

// Lets the compiler check printf-style calls into the library. Windows formats through the C
// runtime's own printf family, whose dialect the compiler checks differently, so it is left out
// there.
#if defined(__GNUC__) && !defined(_WIN32)
#  define QV_PRINTF_FORMAT(fmt, first) __attribute__((format(printf, fmt, first)))
#else
#  define QV_PRINTF_FORMAT(fmt, first)
#endif

#endif
