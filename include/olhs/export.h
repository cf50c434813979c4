#ifndef OLHS_EXPORT_H
#define OLHS_EXPORT_H

// The library is built with hidden visibility; OLHS_API marks what a host may link to.
#if defined(_WIN32)
#  if defined(OLHS_BUILDING_LIBRARY)
#    define OLHS_API __declspec(dllexport)
#  else
#    define OLHS_API __declspec(dllimport)
#  endif
#else
#  define OLHS_API __attribute__((visibility("default")))
#endif

// Private helpers of exported classes stay out of the library's interface.
#if defined(_WIN32)
#  define OLHS_LOCAL
#else
#  define OLHS_LOCAL __attribute__((visibility("hidden")))
#endif

#endif
