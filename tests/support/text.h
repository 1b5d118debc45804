// UTF-8 and UTF-16 views of UString for the tests' expectations, which read
// best as plain string literals.
#ifndef ZEL_TESTS_SUPPORT_TEXT_H_
#define ZEL_TESTS_SUPPORT_TEXT_H_

#include <string>

#include "zel/ustring.h"

namespace zel_test {

inline std::string text(const Zel::UString& s) { return s.utf8_str(); }
inline Zel::UString ustr(const std::string& utf8) { return Zel::UString(Zel::Utf8String(utf8)); }
// Every code unit, embedded zeros included.
inline std::u16string units(const Zel::UString& s) { return std::u16string(s.c_str(), s.length()); }

}  // namespace zel_test

#endif  // ZEL_TESTS_SUPPORT_TEXT_H_
