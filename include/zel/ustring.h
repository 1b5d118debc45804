// zel/ustring.h - the library's one text type.
//
// UString holds UTF-16 text (ICU code units) and converts it explicitly to and
// from bytes: UTF-8 through ICU's fast UTF-8 functions, any other character set
// through an ICU converter that the object opens on first use and keeps for the
// next conversion to the same set. Conversions never throw: a failure shows as a
// flag, an empty result, a cleared or an unchanged string, and the caller
// decides whether it is an error.
//
//   Zel::UString name(Zel::Utf8String("Gr\xC3\xBC\xC3\x9F" "e"));
//   Zel::Utf8String bytes = name.utf8_str();
//   bool failed = false;
//   std::string latin1 = name.std_str("ISO-8859-1", failed);
//
// Positions, lengths and counts are 32-bit unsigned; npos is all ones. Out-of-range
// positions never throw: they are pinned into the string, or give npos, 0xFFFF or an
// empty result as each operation says.
//
// A UString is not safe to use from two threads at once, not even through a const
// reference: conversions update the converter it caches. Distinct objects are
// independent.

#ifndef ZEL_USTRING_H_
#define ZEL_USTRING_H_

#include <unicode/unistr.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

#include "zel/export.h"

struct UConverter;

namespace Zel {

namespace detail {
struct UStringUnits;
}  // namespace detail

// The pseudo character-set name that stands for the process's default character
// set. Named "dangerous" because that set depends on the environment and may not
// hold every character.
constexpr char DANGEROUS_DEFAULT_CHARSET_NAME[] = "DEFAULT";

// The character-set name that selects the built-in UTF-8 path. Only this exact
// spelling does: "utf-8" or "UTF8" go to an ICU converter like any other name.
constexpr char UTF8_CHARSET_NAME[] = "UTF-8";

// A byte string holding UTF-8: the form in which text goes to the operating
// system and to the log. A type of its own so that its stream extractor and
// UString's constructor from it do not collide with those of std::string.
class ZEL_EXPORT Utf8String : public std::string {
 public:
  Utf8String() = default;
  Utf8String(const std::string& bytes) : std::string(bytes) {}
  Utf8String(std::string&& bytes) : std::string(std::move(bytes)) {}
  Utf8String(const char* bytes) : std::string(bytes != nullptr ? bytes : "") {}

  // A plain copy of the bytes.
  std::string std_str() const { return *this; }
};

class ZEL_EXPORT UString {
 public:
  using size_type = std::uint32_t;
  static constexpr size_type npos = 0xFFFFFFFFu;

  // --- Construction -------------------------------------------------------

  UString() = default;
  // Copies the text only: the copy opens its own converter when it needs one.
  UString(const UString& other);
  UString(UString&& other) noexcept;
  // Decodes zero-terminated `bytes` from `charset` as assign(bytes, charset)
  // does. A null `bytes` gives an empty string; a null `charset` means "DEFAULT".
  UString(const char* bytes, const char* charset);
  // Decodes UTF-8 as utf8_assign() does: malformed bytes give an empty string.
  UString(const Utf8String& bytes);
  // Copies a zero-terminated UTF-16 text; null gives an empty string.
  UString(const UChar* const text);
  // One code unit of value `c & 0x7F`. The byte is deliberately masked to seven
  // bits, so a byte above 127 becomes a different ASCII character (0xE9 -> 'i').
  UString(const char c);
  UString(const std::basic_string<UChar>& units);
  // Each wide character is a code point: above 0xFFFF it becomes a surrogate
  // pair; 0x110000 and above (and negative values) are silently dropped.
  UString(const std::wstring& wide);
  ~UString();

  UString& operator=(const UString& other);
  UString& operator=(UString&& other) noexcept;

  // --- Access and comparison ----------------------------------------------

  size_type length() const;
  size_type capacity() const;
  bool empty() const;
  // The unit at `i`, or 0xFFFF when `i` >= length(); never throws.
  UChar operator[](size_type i) const;
  // The units, zero-terminated (the terminator is not counted in length()). The
  // pointer lives until the next change of the string. May grow the capacity.
  const UChar* c_str() const;
  // The units in place, not zero-terminated. Unlike c_str() it never writes to
  // the string, so it suits lookups that must not touch the caller's memory.
  // Valid until the next change of the string; empty for an invalid string.
  std::u16string_view view() const {
    const UChar* units = text_.getBuffer();
    return units != nullptr ? std::u16string_view(units, static_cast<std::size_t>(text_.length()))
                            : std::u16string_view();
  }

  // -1, 0 or 1 by code-unit order. Against a string in ICU's invalid state the
  // result is 1, or 0 when both are invalid.
  int compare(const UString& s) const;
  // Compares `n` units from `pos` of this string with the whole of `s`.
  int compare(size_type pos, size_type n, const UString& s) const;
  // Compares with a zero-terminated text (null compares as empty).
  int compare(const UChar* text) const;

  friend bool operator==(const UString& a, const UString& b) { return a.text_ == b.text_; }
  friend bool operator!=(const UString& a, const UString& b) { return a.text_ != b.text_; }
  friend bool operator<(const UString& a, const UString& b) { return a.compare(b) < 0; }

  // --- Modification -------------------------------------------------------
  //
  // Positions and counts past the end are pinned to the end.

  // Copies the text; an invalid target becomes valid.
  UString& assign(const UString& s);
  // Copies `n` units from `text`. n == 0 deliberately means the whole
  // zero-terminated text: this never assigns an empty string from a non-empty one.
  UString& assign(const UChar* text, size_type n);
  UString& append(const UString& s);
  UString& append(const UChar* text);  // zero-terminated; null appends nothing
  UString& append(UChar c);
  UString& insert(size_type pos, const UString& s);
  UString& insert(size_type pos, const UChar* text);
  UString& insert(size_type pos, UChar c);
  UString& replace(size_type pos, size_type n, const UString& s);
  UString& replace(size_type pos, size_type n, const UChar* text);
  // Replaces the unit at `pos`; does nothing when `pos` is out of range.
  UString& set_at(size_type pos, UChar c);
  // erase(pos, npos) removes everything from `pos` (the whole string when pos
  // is 0); otherwise removes `n` units at `pos`.
  void erase(size_type pos, size_type n);
  // Makes the string empty; an invalid string becomes a valid empty one.
  void clear();
  // Makes the capacity at least max(n, length()); the text is unchanged.
  void reserve(size_type n);
  // Removes leading and trailing white space as ICU defines it.
  UString& trim();
  // Up to `n` units from `pos` (all the rest when n is npos or too large); an
  // empty string when pos >= length().
  UString substr(size_type pos, size_type n = npos) const;

  // --- Searching ----------------------------------------------------------
  //
  // Every search covers the range from a start position to the end of the
  // string. The start is `pos` read as a signed 32-bit value: a negative value
  // (npos included) starts at 0, a value past the end at the end. An empty
  // needle or set, or an invalid needle, gives npos, as does no match.
  //
  // find_last returns the LAST match in that same range: `pos` is a lower
  // bound, not the upper bound of std::string::rfind. This is deliberate.

  size_type find(UChar c, size_type pos = 0) const;
  size_type find(const UChar* text, size_type pos = 0) const;
  size_type find(const UString& s, size_type pos = 0) const;
  size_type find_last(UChar c, size_type pos = 0) const;
  size_type find_last(const UChar* text, size_type pos = 0) const;
  size_type find_last(const UString& s, size_type pos = 0) const;
  // The least index in the range holding any unit of the set.
  size_type find_first_of(UChar c, size_type pos = 0) const;
  size_type find_first_of(const UChar* set, size_type pos = 0) const;
  size_type find_first_of(const UString& set, size_type pos = 0) const;

  // --- Character-set conversion -------------------------------------------

  // The name of the process's default character set, asked of ICU on first use
  // and kept for the life of the process; empty when ICU has none.
  static const char* default_charset();
  // default_charset() for exactly "DEFAULT", otherwise `charset` itself.
  static const char* eval_charset(const char* charset);

  // Encodes the text in `charset`. `failed` is set when the converter reports
  // anything but plain success. The result ends at its first zero byte, so a
  // text holding U+0000, or a set whose encoding holds zero bytes (UTF-16),
  // comes back cut short; this is deliberate. For "UTF-8" an unencodable text
  // (an unpaired surrogate) gives an empty result with `failed` left false,
  // and so does a character-set name ICU does not know: check the result too.
  std::string std_str(const char* charset, bool& failed) const;
  // Encodes the text as UTF-8; empty when it cannot be encoded. Cut at the
  // first zero byte like std_str().
  Utf8String utf8_str() const;

  // Replaces the text by `bytes` decoded from `charset`. Bytes the converter
  // cannot decode become whatever ICU substitutes, without a report; an unknown
  // character set leaves the string unchanged.
  UString& assign(const std::string& bytes, const char* charset);
  // Replaces the text by `bytes` decoded from UTF-8; malformed UTF-8 clears it.
  UString& utf8_assign(const Utf8String& bytes);
  // The same for `length` bytes at `bytes`, which need not be zero-terminated.
  UString& utf8_assign(const char* bytes, std::size_t length);

 private:
  // The library's own short ASCII formatters write units in place through it.
  friend struct detail::UStringUnits;

  explicit UString(icu::UnicodeString text) : text_(std::move(text)) {}

  // Keeps the cached converter when ICU's name comparison finds it is already
  // for `charset`, otherwise replaces it; null when `charset` cannot be opened.
  UConverter* converter_for(const char* charset) const;
  void close_converter() const;

  // Mutable: c_str() terminates the buffer in place, conversions cache a
  // converter, both on const objects.
  mutable icu::UnicodeString text_;
  mutable UConverter* converter_ = nullptr;
};

// Reads one white-space-delimited word of bytes and assigns it decoded from
// UTF-8 (malformed bytes clear the string). A failed extraction leaves `s` as is.
ZEL_EXPORT std::istream& operator>>(std::istream& in, UString& s);
// Reads one wide word and assigns it by the std::wstring constructor's rule.
ZEL_EXPORT std::wistream& operator>>(std::wistream& in, UString& s);
// Reads one word of bytes unchanged.
ZEL_EXPORT std::istream& operator>>(std::istream& in, Utf8String& s);

}  // namespace Zel

// Hashes the code units, so that strings equal by operator== hash alike: a
// UString keys std::unordered_map and std::unordered_set as it is.
namespace std {
template <>
struct hash<Zel::UString> {
  std::size_t operator()(const Zel::UString& s) const noexcept {
    return std::hash<std::u16string_view>()(s.view());
  }
};
}  // namespace std

#endif  // ZEL_USTRING_H_
