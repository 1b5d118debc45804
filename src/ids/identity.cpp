// Identity: an owned type byte and data bytes, with a text form.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "zel/exception.h"
#include "zel/oid.h"
#include "zel/umessage.h"

namespace Zel {

namespace {

using Arg = UMessage::Arg;

// The most data bytes a 16-bit signed length can count.
constexpr long kMaxLength = 32767;

// Message numbers of the text-form failures.
constexpr int kNoColon = 8;
constexpr int kBadLength = 9;
constexpr int kBadSize = 10;
constexpr int kBadHex = 11;

[[noreturn]] void throw_bad_text(int number, const UString& text) {
  throw IllegalArgException(UMessage(zelutil, number, Arg("str"), Arg(text)));
}

// Lower-case hex digits only: upper case is refused on purpose.
int lower_hex_value(UChar c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  return -1;
}

}  // namespace

// A negative length is kept as it is (files of identities carry such lengths and
// give them back), but it never counts as a number of bytes: data_size() is 0.
std::size_t Identity::data_size() const {
  return length_ > 0 ? static_cast<std::size_t>(length_) : 0;
}

Identity::Identity(const short length, const type_t type, const char* data) : length_(length) {
  if (length_ <= 0 && type == 0) return;
  bits_ = new identity_t[data_size() + 1];
  bits_[0] = type;
  if (data != nullptr) {
    std::memcpy(bits_ + 1, data, data_size());
  } else {
    std::memset(bits_ + 1, 0, data_size());
  }
}

Identity::Identity(const short length, identity_t* raw)
    : bits_(raw), length_(raw == nullptr && length > 0 ? short{0} : length) {}

Identity::Identity(const Identity& other) : length_(other.length_) {
  if (length_ > 0 || other.type() != 0) {
    bits_ = new identity_t[data_size() + 1];
    std::memcpy(bits_, other.bits_, data_size() + 1);
  }
}

Identity& Identity::operator=(const Identity& other) {
  if (this == &other) return *this;
  if (bits_ != nullptr && length_ < other.length_) {
    delete[] bits_;
    bits_ = nullptr;
  }
  // A buffer kept from before holds at least data_size() + 1 bytes for the old
  // length, which is not below the new one, so the copy fits; whatever it does
  // not overwrite stays.
  length_ = other.length_;
  if (length_ > 0 || other.type() != 0) {
    if (bits_ == nullptr) bits_ = new identity_t[data_size() + 1];
    std::memcpy(bits_, other.bits_, data_size() + 1);
  }
  return *this;
}

Identity::~Identity() { delete[] bits_; }

bool Identity::operator==(const Identity& other) const {
  if (length_ != other.length_) return false;
  // Without data bytes only the type bytes count, a missing buffer being type 0.
  if (length_ <= 0) return type() == other.type();
  return std::memcmp(bits_, other.bits_, data_size() + 1) == 0;
}

Identity::type_t Identity::type() const { return bits_ != nullptr ? bits_[0] : 0; }

bool Identity::is_nobody() const { return length_ == 0 && type() == 0; }

const char* Identity::bits() const {
  return bits_ != nullptr ? reinterpret_cast<const char*>(bits_ + 1) : nullptr;
}

const UString Identity::str() const {
  static constexpr UChar kDigits[] = u"0123456789abcdef";
  UString text = UMessage::sprintf("%d:", Arg(static_cast<int>(length_)));
  if (bits_ == nullptr) return text.append(u"00");
  const std::size_t count = data_size() + 1;
  std::basic_string<UChar> digits(2 * count, u'0');
  for (std::size_t i = 0; i < count; ++i) {
    digits[2 * i] = kDigits[bits_[i] >> 4];
    digits[2 * i + 1] = kDigits[bits_[i] & 0xF];
  }
  text.reserve(text.length() + static_cast<UString::size_type>(digits.size()));
  return text.append(UString(digits));
}

const Identity Identity::from_str(const UString& text) {
  const UString::size_type colon = text.find(u':');
  if (colon == UString::npos) throw_bad_text(kNoColon, text);

  const Utf8String prefix = text.substr(0, colon).utf8_str();
  const long parsed = std::strtol(prefix.c_str(), nullptr, 10);
  // Negative values fail as large unsigned ones.
  if (static_cast<unsigned long>(parsed) > 65535UL) throw_bad_text(kBadLength, text);
  const auto length = static_cast<std::size_t>(parsed);

  if (static_cast<std::size_t>(colon) + 3 + 2 * length != text.length()) {
    throw_bad_text(kBadSize, text);
  }
  // A length of 32768 to 65535 with all its digits fits the text form but not
  // the signed 16-bit length: refused too, rather than wrapped into a negative.
  if (length > static_cast<std::size_t>(kMaxLength)) throw_bad_text(kBadLength, text);

  // Owned by `raw` until the identity adopts it.
  std::unique_ptr<identity_t[]> raw(new identity_t[length + 1]);
  // view(), not c_str(): the caller's text is only read.
  const UChar* digit = text.view().data() + colon + 1;
  for (std::size_t i = 0; i <= length; ++i, digit += 2) {
    const int high = lower_hex_value(digit[0]);
    const int low = lower_hex_value(digit[1]);
    if (high < 0 || low < 0) throw_bad_text(kBadHex, text);
    raw[i] = static_cast<identity_t>(high << 4 | low);
  }
  return Identity(static_cast<short>(length), raw.release());
}

}  // namespace Zel
