// zel/version.h - the library's version line.
//
// One line names the library, its four-part version, the build label when the
// build set one, and the time it was built:
//
//   libzelutil                        1.0.0.0 (Sun Nov 22 10:15:00 2026)
//   libzelutil                        1.0.0.0 "nightly" (Sun Nov 22 10:15:00 2026)
//
// Plain C entry points with undecorated names, callable from any language.
//
// The same version is known to the preprocessor, for code that must build
// against more than one release:
//
//   #if ZEL_VERSION >= 1010000  // 1.1.0.0 or later
//
// ZEL_VERSION_MAJOR, ZEL_VERSION_MINOR, ZEL_VERSION_PATCH and ZEL_VERSION_TWEAK
// are the four numbers; ZEL_VERSION is major * 1000000 + minor * 10000 +
// patch * 100 + tweak. They describe the headers compiled against, which may
// be older than the library loaded at run time: the version line tells that one.

#ifndef ZEL_VERSION_H_
#define ZEL_VERSION_H_

#include "zel/export.h"
#include "zel/version_numbers.h"

#ifdef __cplusplus
extern "C" {
#endif

// Writes the version line, newline included, to standard output.
ZEL_EXPORT void libzelutil_print_verid(void);

// Writes the same line, newline and terminating zero included, into `buffer`.
// No length is passed or checked: the buffer must hold at least
// LIBZELUTIL_VERID_MAX bytes.
ZEL_EXPORT void libzelutil_sprintf_verid(char* buffer);

#ifdef __cplusplus
}
#endif

// Enough for any version line: the padded name, a four-part version, a label of
// up to 160 bytes, the 24-character time and the separators.
#define LIBZELUTIL_VERID_MAX 256

#endif  // ZEL_VERSION_H_
