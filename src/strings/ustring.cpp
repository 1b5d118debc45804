#include "zel/ustring.h"

#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <istream>
#include <utility>

namespace Zel {

namespace {

// ICU takes positions and lengths as int32_t. Ours are unsigned, so values past
// INT32_MAX (npos among them) are pinned to INT32_MAX, which ICU in turn pins to
// the end of the string.
int32_t to_icu(UString::size_type value) {
  return value > static_cast<UString::size_type>(INT32_MAX) ? INT32_MAX
                                                            : static_cast<int32_t>(value);
}

UString::size_type from_icu(int32_t index) {
  return index < 0 ? UString::npos : static_cast<UString::size_type>(index);
}

// Searches read the start position as a signed value, so npos and every value of
// 2^31 or more start at the beginning; a start past the end searches nothing.
int32_t search_start(UString::size_type pos, int32_t length) {
  const auto start = static_cast<int32_t>(pos);
  return start < 0 ? 0 : std::min(start, length);
}

// Only the exact spellings are special; other names are ICU's to interpret.
bool names(const char* charset, const char* special) { return std::strcmp(charset, special) == 0; }

// The largest byte count ICU can convert in one call.
constexpr std::size_t kMaxIcuBytes = INT32_MAX;

// A null character-set name stands for the default set, as it does for ICU.
const char* or_default(const char* charset) {
  return charset != nullptr ? charset : DANGEROUS_DEFAULT_CHARSET_NAME;
}

// Cuts `bytes` at its first zero byte: conversion results end there by design.
void cut_at_first_zero(std::string& bytes) {
  const void* zero = std::memchr(bytes.data(), '\0', bytes.size());
  if (zero != nullptr) bytes.resize(static_cast<const char*>(zero) - bytes.data());
}

// Texts up to this many bytes are decoded in one pass (see decode_utf8).
constexpr std::size_t kOnePassUtf8Bytes = 4096;

// Replaces `text` by `size` bytes of UTF-8; malformed input leaves it empty.
void decode_utf8(icu::UnicodeString& text, const char* data, std::size_t size) {
  text.remove();
  if (size == 0 || size > kMaxIcuBytes) return;
  const auto length = static_cast<int32_t>(size);
  UErrorCode status = U_ZERO_ERROR;
  int32_t needed = length;
  // UTF-8 never needs more units than bytes, so a short text is decoded in one
  // pass into that much room. A long one is measured first, so that the string
  // does not keep up to three times the room it needs.
  if (size > kOnePassUtf8Bytes) {
    u_strFromUTF8(nullptr, 0, &needed, data, length, &status);
    if (status != U_BUFFER_OVERFLOW_ERROR || needed >= INT32_MAX) return;
    status = U_ZERO_ERROR;
  }
  UChar* units = text.getBuffer(needed + 1);
  if (units == nullptr) return;
  // Most texts that reach the library (messages, names, paths) are ASCII,
  // which widens unit by unit; ICU's decoder is only worth its cost beyond.
  // One pass widens and looks for a high bit at once, without early exits so
  // that the compiler vectorises it; ICU overwrites the units when it finds one.
  if (size <= kOnePassUtf8Bytes) {
    unsigned char high_bits = 0;
    for (std::size_t i = 0; i < size; ++i) {
      const auto byte = static_cast<unsigned char>(data[i]);
      high_bits |= byte;
      units[i] = byte;
    }
    if (high_bits < 0x80) {
      text.releaseBuffer(length);
      return;
    }
  }
  u_strFromUTF8(units, needed + 1, &needed, data, length, &status);
  text.releaseBuffer(U_SUCCESS(status) ? needed : 0);
}

}  // namespace

// --- Construction -----------------------------------------------------------

UString::UString(const UString& other) : text_(other.text_) {}

UString::UString(UString&& other) noexcept
    : text_(std::move(other.text_)), converter_(std::exchange(other.converter_, nullptr)) {}

UString::UString(const char* bytes, const char* charset) {
  if (bytes != nullptr) assign(std::string(bytes), charset);
}

UString::UString(const Utf8String& bytes) { utf8_assign(bytes); }

UString::UString(const UChar* const text) {
  if (text != nullptr) text_.setTo(text, u_strlen(text));
}

UString::UString(const char c) : text_(static_cast<UChar>(c & 0x7F)) {}

UString::UString(const std::basic_string<UChar>& units) {
  text_.setTo(units.data(), static_cast<int32_t>(std::min<std::size_t>(units.size(), INT32_MAX)));
}

UString::UString(const std::wstring& wide) {
  std::u16string scratch;
  scratch.reserve(wide.size());
  for (wchar_t w : wide) {
    const auto cp = static_cast<std::uint32_t>(w);
    if (cp < 0x10000) {
      scratch.push_back(static_cast<UChar>(cp));
    } else if (cp <= 0x10FFFF) {
      scratch.push_back(static_cast<UChar>((cp >> 10) + 0xD7C0));
      scratch.push_back(static_cast<UChar>((cp & 0x3FF) | 0xDC00));
    }
  }
  text_.setTo(scratch.data(),
              static_cast<int32_t>(std::min<std::size_t>(scratch.size(), INT32_MAX)));
}

UString::~UString() { close_converter(); }

// Safe on itself: ICU's assignment is, and the converter is not touched.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment,cert-oop54-cpp)
UString& UString::operator=(const UString& other) {
  text_ = other.text_;
  return *this;
}

UString& UString::operator=(UString&& other) noexcept {
  text_ = std::move(other.text_);
  std::swap(converter_, other.converter_);
  return *this;
}

// --- Access and comparison --------------------------------------------------

UString::size_type UString::length() const { return static_cast<size_type>(text_.length()); }

UString::size_type UString::capacity() const { return static_cast<size_type>(text_.getCapacity()); }

bool UString::empty() const { return text_.isEmpty(); }

UChar UString::operator[](size_type i) const {
  return i < length() ? text_.charAt(static_cast<int32_t>(i)) : UChar{0xFFFF};
}

const UChar* UString::c_str() const {
  // ICU writes the terminator into spare capacity, or grows the storage by one
  // unit when there is none; the length stays as it is.
  const UChar* units = text_.getTerminatedBuffer();
  return units != nullptr ? units : u"";
}

int UString::compare(const UString& s) const { return text_.compare(s.text_); }

int UString::compare(size_type pos, size_type n, const UString& s) const {
  return text_.compare(to_icu(pos), to_icu(n), s.text_);
}

int UString::compare(const UChar* text) const {
  if (text == nullptr) return text_.compare(u"", 0);
  return text_.compare(text, u_strlen(text));
}

// --- Modification -----------------------------------------------------------

UString& UString::assign(const UString& s) {
  if (text_.isBogus()) text_.remove();
  text_ = s.text_;
  return *this;
}

UString& UString::assign(const UChar* text, size_type n) {
  if (text == nullptr) {
    text_.remove();
  } else {
    text_.setTo(text, n == 0 ? u_strlen(text) : to_icu(n));
  }
  return *this;
}

UString& UString::append(const UString& s) {
  text_.append(s.text_);
  return *this;
}

UString& UString::append(const UChar* text) {
  if (text != nullptr) text_.append(text, u_strlen(text));
  return *this;
}

UString& UString::append(UChar c) {
  text_.append(c);
  return *this;
}

UString& UString::insert(size_type pos, const UString& s) {
  text_.insert(to_icu(pos), s.text_);
  return *this;
}

UString& UString::insert(size_type pos, const UChar* text) {
  if (text != nullptr) text_.insert(to_icu(pos), text, 0, u_strlen(text));
  return *this;
}

UString& UString::insert(size_type pos, UChar c) {
  text_.insert(to_icu(pos), c);
  return *this;
}

UString& UString::replace(size_type pos, size_type n, const UString& s) {
  text_.replace(to_icu(pos), to_icu(n), s.text_);
  return *this;
}

UString& UString::replace(size_type pos, size_type n, const UChar* text) {
  if (text == nullptr) {
    text_.remove(to_icu(pos), to_icu(n));
  } else {
    text_.replace(to_icu(pos), to_icu(n), text, u_strlen(text));
  }
  return *this;
}

UString& UString::set_at(size_type pos, UChar c) {
  // ICU would pin an out-of-range position onto the last unit.
  if (pos < length()) text_.setCharAt(static_cast<int32_t>(pos), c);
  return *this;
}

void UString::erase(size_type pos, size_type n) {
  if (n == npos) {
    if (pos == 0) {
      text_.remove();
    } else if (pos < length()) {
      text_.truncate(static_cast<int32_t>(pos));
    }
    return;
  }
  // remove(0, INT32_MAX) is ICU's own spelling of "clear".
  text_.remove(to_icu(pos), to_icu(n));
}

void UString::clear() { text_.remove(); }

void UString::reserve(size_type n) {
  // getBuffer() makes an unallocatable string invalid, so a capacity ICU can
  // never hold is not asked for.
  constexpr size_type kMaxCapacity = (INT32_MAX - 16) / sizeof(UChar);
  if (n <= capacity() || n > kMaxCapacity || text_.isBogus()) return;
  const int32_t len = text_.length();
  if (text_.getBuffer(static_cast<int32_t>(n)) != nullptr) text_.releaseBuffer(len);
}

UString& UString::trim() {
  text_.trim();
  return *this;
}

UString UString::substr(size_type pos, size_type n) const {
  if (pos >= length()) return UString();
  return UString(icu::UnicodeString(text_, static_cast<int32_t>(pos), to_icu(n)));
}

// --- Searching --------------------------------------------------------------

UString::size_type UString::find(UChar c, size_type pos) const {
  return from_icu(text_.indexOf(c, search_start(pos, text_.length())));
}

UString::size_type UString::find(const UChar* text, size_type pos) const {
  if (text == nullptr) return npos;
  return from_icu(text_.indexOf(text, u_strlen(text), search_start(pos, text_.length())));
}

UString::size_type UString::find(const UString& s, size_type pos) const {
  if (s.text_.isBogus()) return npos;
  return from_icu(text_.indexOf(s.text_, search_start(pos, text_.length())));
}

UString::size_type UString::find_last(UChar c, size_type pos) const {
  const int32_t start = search_start(pos, text_.length());
  return from_icu(text_.lastIndexOf(c, start, text_.length() - start));
}

UString::size_type UString::find_last(const UChar* text, size_type pos) const {
  if (text == nullptr) return npos;
  return from_icu(text_.lastIndexOf(text, u_strlen(text), search_start(pos, text_.length())));
}

UString::size_type UString::find_last(const UString& s, size_type pos) const {
  if (s.text_.isBogus()) return npos;
  return from_icu(text_.lastIndexOf(s.text_, search_start(pos, text_.length())));
}

UString::size_type UString::find_first_of(UChar c, size_type pos) const { return find(c, pos); }

UString::size_type UString::find_first_of(const UChar* set, size_type pos) const {
  if (set == nullptr) return npos;
  size_type first = npos;
  for (const UChar* unit = set; *unit != 0; ++unit) first = std::min(first, find(*unit, pos));
  return first;
}

UString::size_type UString::find_first_of(const UString& set, size_type pos) const {
  size_type first = npos;
  for (int32_t i = 0; i < set.text_.length(); ++i) {
    first = std::min(first, find(set.text_.charAt(i), pos));
  }
  return first;
}

// --- Character-set conversion -----------------------------------------------

const char* UString::default_charset() {
  // Asked of ICU once and never refreshed. A function-local static rather than a
  // class member: it is filled safely when two threads ask at once, and code
  // that runs during static initialisation finds it ready.
  static const std::string s_def_charset = [] {
    const char* name = ucnv_getDefaultName();
    return std::string(name != nullptr ? name : "");
  }();
  return s_def_charset.c_str();
}

const char* UString::eval_charset(const char* charset) {
  return names(or_default(charset), DANGEROUS_DEFAULT_CHARSET_NAME) ? default_charset() : charset;
}

UConverter* UString::converter_for(const char* charset) const {
  if (converter_ != nullptr) {
    UErrorCode status = U_ZERO_ERROR;
    const char* held = ucnv_getName(converter_, &status);
    // ICU's name comparison ignores case and punctuation but not aliases: a
    // converter opened as "latin1" is reopened when asked for "ISO-8859-1".
    // Callers mostly spell the name as ICU does, which a plain comparison
    // settles for a fraction of what ICU's costs on a short conversion.
    if (U_SUCCESS(status) &&
        (std::strcmp(held, charset) == 0 || ucnv_compareNames(held, charset) == 0)) {
      return converter_;
    }
    close_converter();
  }
  UErrorCode status = U_ZERO_ERROR;
  UConverter* opened = ucnv_open(charset, &status);
  if (U_FAILURE(status)) {
    if (opened != nullptr) ucnv_close(opened);
    return nullptr;
  }
  converter_ = opened;
  return converter_;
}

void UString::close_converter() const {
  if (converter_ != nullptr) {
    ucnv_close(converter_);
    converter_ = nullptr;
  }
}

std::string UString::std_str(const char* charset, bool& failed) const {
  failed = false;
  if (text_.isEmpty()) return std::string();
  charset = or_default(charset);
  // A UTF-8 failure is deliberately not flagged, unlike a converter's.
  if (names(charset, UTF8_CHARSET_NAME)) return utf8_str();

  UConverter* converter = converter_for(eval_charset(charset));
  if (converter == nullptr) return std::string();

  // One worst-case allocation, one ICU call.
  const std::size_t room =
      static_cast<std::size_t>(ucnv_getMaxCharSize(converter)) * text_.length() + 1;
  if (room > kMaxIcuBytes) {
    failed = true;
    return std::string();
  }
  std::string bytes(room, '\0');
  UErrorCode status = U_ZERO_ERROR;
  const int32_t written = ucnv_fromUChars(converter, bytes.data(), static_cast<int32_t>(room),
                                          text_.getBuffer(), text_.length(), &status);
  failed = status != U_ZERO_ERROR;
  bytes.resize(std::clamp<int32_t>(written, 0, static_cast<int32_t>(room)));
  cut_at_first_zero(bytes);
  return bytes;
}

Utf8String UString::utf8_str() const {
  Utf8String bytes;
  if (text_.isEmpty()) return bytes;
  // ASCII narrows unit by unit, as in decode_utf8; loops without early exits
  // so that the compiler vectorises them.
  const UChar* units = text_.getBuffer();
  const auto length = static_cast<std::size_t>(text_.length());
  UChar high_bits = 0;
  for (std::size_t i = 0; i < length; ++i) high_bits |= units[i];
  if (high_bits < 0x80) {
    bytes.resize(length);
    for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<char>(units[i]);
    cut_at_first_zero(bytes);
    return bytes;
  }
  UErrorCode status = U_ZERO_ERROR;
  int32_t needed = 0;
  u_strToUTF8(nullptr, 0, &needed, text_.getBuffer(), text_.length(), &status);
  // A text that cannot be encoded fails the same way a second time.
  if (status != U_BUFFER_OVERFLOW_ERROR || needed >= INT32_MAX) return bytes;

  bytes.resize(static_cast<std::size_t>(needed));
  status = U_ZERO_ERROR;
  // The capacity includes the string's own terminator, which ICU overwrites
  // with the zero it writes anyway.
  u_strToUTF8(bytes.data(), needed + 1, &needed, text_.getBuffer(), text_.length(), &status);
  if (U_FAILURE(status)) {
    bytes.clear();
    return bytes;
  }
  cut_at_first_zero(bytes);
  return bytes;
}

UString& UString::assign(const std::string& bytes, const char* charset) {
  if (bytes.empty()) {
    clear();
    return *this;
  }
  charset = or_default(charset);
  if (names(charset, UTF8_CHARSET_NAME)) {
    decode_utf8(text_, bytes.data(), bytes.size());
    return *this;
  }

  UConverter* converter = converter_for(eval_charset(charset));
  // Two units per byte is the most any ICU converter produces.
  if (converter == nullptr || bytes.size() > kMaxIcuBytes / 2) return *this;
  const auto room = static_cast<int32_t>(2 * bytes.size());
  if (text_.isBogus()) text_.remove();
  UChar* units = text_.getBuffer(room);
  if (units == nullptr) return *this;
  // The status is deliberately not examined: undecodable bytes leave whatever
  // ICU substituted for them.
  UErrorCode status = U_ZERO_ERROR;
  const int32_t produced = ucnv_toUChars(converter, units, room, bytes.data(),
                                         static_cast<int32_t>(bytes.size()), &status);
  text_.releaseBuffer(std::clamp<int32_t>(produced, 0, room));
  return *this;
}

UString& UString::utf8_assign(const Utf8String& bytes) {
  decode_utf8(text_, bytes.data(), bytes.size());
  return *this;
}

UString& UString::utf8_assign(const char* bytes, std::size_t length) {
  decode_utf8(text_, bytes, bytes != nullptr ? length : 0);
  return *this;
}

// --- Stream extraction ------------------------------------------------------

std::istream& operator>>(std::istream& in, UString& s) {
  Utf8String word;
  if (in >> static_cast<std::string&>(word)) s.utf8_assign(word);
  return in;
}

std::wistream& operator>>(std::wistream& in, UString& s) {
  std::wstring word;
  if (in >> word) s = UString(word);
  return in;
}

std::istream& operator>>(std::istream& in, Utf8String& s) {
  return in >> static_cast<std::string&>(s);
}

}  // namespace Zel
