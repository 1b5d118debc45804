// strings/detail/ustring_units.h - writing a UString's units in place.
//
// For the library's own formatters, whose output is known to be short and
// ASCII: they widen straight into the string's buffer instead of building
// bytes and decoding them again.
#ifndef ZEL_STRINGS_DETAIL_USTRING_UNITS_H_
#define ZEL_STRINGS_DETAIL_USTRING_UNITS_H_

#include <cstdint>

#include "zel/ustring.h"

namespace Zel::detail {

struct UStringUnits {
  // Room for `capacity` units, to be followed by commit(); null when ICU
  // cannot allocate it, and the string is then left empty.
  static UChar* reserve(UString& s, std::int32_t capacity) { return s.text_.getBuffer(capacity); }
  // Ends the write: the string holds the first `length` units.
  static void commit(UString& s, std::int32_t length) { s.text_.releaseBuffer(length); }
};

}  // namespace Zel::detail

#endif  // ZEL_STRINGS_DETAIL_USTRING_UNITS_H_
