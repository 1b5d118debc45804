// printf.cpp - QvMsg::format(format, values): printf-style formatting of typed
// values.
//
// The format is scanned here, one directive at a time. Each directive gets its
// value (and the values of its '*' fields) here, then is rebuilt for that value's
// type and handed to fmt's printf on its own, so that fmt never sees a
// positional index, a '*' or a type it would reject. Texts are padded here: fmt
// pads by characters, C by bytes, and the common bare "%s" and "%d" should not
// pay for a second parse. Long doubles ("%Lf") go to the C library instead.
//
// Whatever cannot be formatted goes out as the text it was: the '%' is written
// and scanning goes on after it, so the rest of the directive follows as plain
// text. Such a directive uses up no values.

#include <fmt/format.h>
#include <fmt/printf.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>

#include "qvlogger/qvlogger.h"

namespace Log {
namespace {

using Value = qvPrintfArgVal;

// Widths and precisions above this are taken for garbage rather than layout: a
// message is a line of a log file, and a stray "%999999999d" must not cost a
// gigabyte.
constexpr int kMaxField = 4096;

// The values of one call, read no further than their END record.
class Values {
 public:
  explicit Values(const Value* values) : values_(values) {}

  // Value `index` (from 0), or null when the array ends before it.
  const Value* at(int index) {
    if (values_ == nullptr || index < 0) return nullptr;
    while (!ended_ && known_ <= index) {
      if (values_[known_].kind == Value::END) {
        ended_ = true;
      } else {
        ++known_;
      }
    }
    return index < known_ ? &values_[index] : nullptr;
  }

  // The next value in order, for a directive without "N$".
  const Value* next() {
    const Value* value = at(next_);
    if (value != nullptr) ++next_;
    return value;
  }

  int mark() const { return next_; }
  void rewind(int mark) { next_ = mark; }

 private:
  const Value* values_;
  int known_ = 0;  // values known to come before the END record
  bool ended_ = false;
  int next_ = 0;
};

// The parts of one directive, "%[N$][flags][width][.precision][length]conversion".
struct Directive {
  int position = 0;  // the value's number from 1 ("N$"); 0: the next value
  bool left = false;
  bool plus = false;
  bool space = false;
  bool alternate = false;
  bool zero = false;
  int width = -1;      // -1: none
  int precision = -1;  // -1: none
  // A '*' width or precision: the number of the value that gives it ("*N$"),
  // 0 for the next value, -1 when the field is written out.
  int width_value = -1;
  int precision_value = -1;
  char length[3] = {};  // as fmt's printf spells it: "hh", "h", "l", "ll", "j", "z", "t", "L"
  char conversion = 0;
  const char* begin = nullptr;  // the '%'
  const char* end = nullptr;    // just past the directive
};

bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool is_integer_conversion(char c) {
  return c == 'd' || c == 'i' || c == 'o' || c == 'u' || c == 'x' || c == 'X';
}

bool is_floating_conversion(char c) {
  return c == 'e' || c == 'E' || c == 'f' || c == 'F' || c == 'g' || c == 'G' || c == 'a' ||
         c == 'A';
}

bool is_conversion(char c) {
  return is_integer_conversion(c) || is_floating_conversion(c) || c == 'c' || c == 's' || c == 'p';
}

// The bits of `value` that a directive of length `length` looks at.
std::uint64_t narrowed(std::int64_t value, const char* length) {
  const auto bits = static_cast<std::uint64_t>(value);
  if (length[0] != 'h') return bits;
  return length[1] == 'h' ? bits & 0xFFu : bits & 0xFFFFu;
}

// A decimal number at `p`, which moves past it. Saturates above kMaxField, so
// that an absurd number is still recognisably too big.
int read_number(const char*& p) {
  int n = 0;
  for (; is_digit(*p); ++p) {
    if (n <= kMaxField) n = n * 10 + (*p - '0');
  }
  return n;
}

// A '*' field at `p`: "*" (value 0, the next one) or "*N$" (value N).
bool read_star(const char*& p, int* value) {
  ++p;
  *value = 0;
  if (!is_digit(*p)) return true;
  *value = read_number(p);
  if (*p != '$' || *value == 0) return false;
  ++p;
  return true;
}

// The directive after the '%' at `p`; false when it is malformed or unsupported.
bool parse(const char* p, Directive* d) {
  if (is_digit(*p)) {
    const char* q = p;
    const int n = read_number(q);
    if (*q == '$') {
      if (n == 0) return false;
      d->position = n;
      p = q + 1;
    }
  }
  for (;; ++p) {
    if (*p == '-') {
      d->left = true;
    } else if (*p == '+') {
      d->plus = true;
    } else if (*p == ' ') {
      d->space = true;
    } else if (*p == '#') {
      d->alternate = true;
    } else if (*p == '0') {
      d->zero = true;
    } else {
      break;
    }
  }
  if (*p == '*') {
    if (!read_star(p, &d->width_value)) return false;
  } else if (is_digit(*p)) {
    d->width = read_number(p);
  }
  if (*p == '.') {
    ++p;
    if (*p == '*') {
      if (!read_star(p, &d->precision_value)) return false;
    } else {
      d->precision = read_number(p);
    }
  }
  switch (*p) {
    case 'h':
    case 'l':
      d->length[0] = *p;
      if (p[1] == *p) d->length[1] = *++p;
      ++p;
      break;
    case 'q':  // BSD's spelling of "ll"
      d->length[0] = d->length[1] = 'l';
      ++p;
      break;
    case 'Z':  // old glibc's spelling of "z"
      d->length[0] = 'z';
      ++p;
      break;
    case 'j':
    case 'z':
    case 't':
    case 'L':
      d->length[0] = *p++;
      break;
    default:
      break;
  }
  if (!is_conversion(*p)) return false;
  d->conversion = *p;
  d->end = p + 1;
  return true;
}

// Which of a directive's parts go into the rebuilt one.
enum Parts : unsigned {
  kLeft = 1,
  kSigns = 2,  // '+', ' ', '0'
  kAlternate = 4,
  kWidth = 8,
  kPrecision = 16,
  kLength = 32,
  kLongDouble = 64,  // of the length, "L" only
  kAll = kLeft | kSigns | kAlternate | kWidth | kPrecision | kLength,
};

// A directive rebuilt from its parts with another conversion, for fmt (or the
// C library: it is a valid C directive too).
class FmtDirective {
 public:
  FmtDirective(const Directive& d, unsigned parts, char conversion) {
    text_[size_++] = '%';
    if ((parts & kLeft) != 0 && d.left) text_[size_++] = '-';
    if ((parts & kSigns) != 0) {
      if (d.plus) text_[size_++] = '+';
      if (d.space) text_[size_++] = ' ';
      if (d.zero) text_[size_++] = '0';
    }
    if ((parts & kAlternate) != 0 && d.alternate) text_[size_++] = '#';
    if ((parts & kWidth) != 0 && d.width >= 0) append_number(d.width);
    if ((parts & kPrecision) != 0 && d.precision >= 0) {
      text_[size_++] = '.';
      append_number(d.precision);
    }
    if ((parts & kLength) != 0 || ((parts & kLongDouble) != 0 && d.length[0] == 'L')) {
      for (const char* c = d.length; *c != '\0'; ++c) text_[size_++] = *c;
    }
    text_[size_++] = conversion;
    text_[size_] = '\0';
  }

  fmt::string_view view() const { return fmt::string_view(text_, size_); }
  const char* c_str() const { return text_; }

 private:
  void append_number(int n) {  // 0 <= n <= kMaxField
    const fmt::format_int digits(n);
    std::memcpy(text_ + size_, digits.data(), digits.size());
    size_ += digits.size();
  }

  // '%', five flags, two numbers no larger than kMaxField, '.', two length
  // letters and the conversion.
  char text_[32];
  std::size_t size_ = 0;
};

class Formatter {
 public:
  Formatter(std::string& out, const Value* values) : out_(out), values_(values) {}

  void run(const char* p) {
    for (;;) {
      const char* percent = std::strchr(p, '%');
      if (percent == nullptr) {
        out_.append(p);
        return;
      }
      out_.append(p, static_cast<std::size_t>(percent - p));
      p = percent + 1;
      if (*p == '%') {
        out_ += '%';
        ++p;
        continue;
      }
      Directive d;
      d.begin = percent;
      const int mark = values_.mark();
      if (parse(p, &d) && resolve_and_write(d)) {
        p = d.end;
      } else {
        values_.rewind(mark);
        out_ += '%';
      }
    }
  }

 private:
  // Takes the directive's values and writes it; false, having written nothing,
  // when it cannot be.
  bool resolve_and_write(Directive& d) {
    if (d.width_value >= 0) {
      std::int64_t width;
      if (!star(d.width_value, &width) || width < -kMaxField || width > kMaxField) return false;
      if (width < 0) {  // as in C: a negative '*' width left-justifies
        d.left = true;
        width = -width;
      }
      d.width = static_cast<int>(width);
    }
    if (d.precision_value >= 0) {
      std::int64_t precision;
      if (!star(d.precision_value, &precision) || precision > kMaxField) return false;
      d.precision = precision < 0 ? -1 : static_cast<int>(precision);  // negative: none
    }
    if (d.width > kMaxField || d.precision > kMaxField) return false;
    const Value* value = d.position > 0 ? values_.at(d.position - 1) : values_.next();
    return value != nullptr && write(d, *value);
  }

  // The number a '*' takes from value `number` (0: the next one).
  bool star(int number, std::int64_t* out) {
    const Value* value = number > 0 ? values_.at(number - 1) : values_.next();
    if (value == nullptr || value->kind != Value::INTEGER) return false;
    *out = value->integer;
    return true;
  }

  bool write(const Directive& d, const Value& value) {
    const char c = d.conversion;
    switch (value.kind) {
      case Value::TEXT:
        if (c == 'p') {
          return print(FmtDirective(d, kLeft | kWidth, 'p'), static_cast<const void*>(value.text));
        }
        // Under any other conversion, the text as "%s" would write it; the
        // precision of a number means something else than a length.
        pad(value.text != nullptr ? value.text : "(null)", d, c == 's');
        return true;
      case Value::INTEGER:
        if (is_integer_conversion(c)) {
          if (d.precision == 0 && narrowed(value.integer, d.length) == 0) {
            // C writes no digits for zero at precision zero; fmt writes "0".
            const bool is_signed = c == 'd' || c == 'i';
            pad(is_signed && d.plus       ? "+"
                : is_signed && d.space    ? " "
                : c == 'o' && d.alternate ? "0"
                                          : "",
                d, false);
            return true;
          }
          if (c == 'd' || c == 'i') return print(FmtDirective(d, kAll, c), value.integer);
          // C ignores '+' and ' ' on the unsigned conversions; fmt would write them.
          Directive no_sign = d;
          no_sign.plus = no_sign.space = false;
          return print(FmtDirective(no_sign, kAll, c), value.integer);
        }
        if (is_floating_conversion(c)) {
          return print_floating(d, static_cast<long double>(value.integer));
        }
        if (c == 's') {
          const fmt::format_int digits(value.integer);
          pad(std::string_view(digits.data(), digits.size()), d, true);
          return true;
        }
        if (c == 'c') {
          // A zero byte would end the result for the caller: it is left out.
          const char byte = static_cast<char>(static_cast<unsigned char>(value.integer));
          pad(std::string_view(&byte, byte != '\0' ? 1 : 0), d, false);
          return true;
        }
        return print(FmtDirective(d, kLeft | kWidth, 'p'),
                     reinterpret_cast<const void*>(static_cast<std::uintptr_t>(value.integer)));
      case Value::FLOATING:
        if (is_floating_conversion(c)) return print_floating(d, value.floating);
        if (c == 's') {
          const std::string text = fmt::sprintf("%g", static_cast<double>(value.floating));
          pad(text, d, true);
          return true;
        }
        // Under an integer conversion, %c or %p: the number as "%g" would show
        // it, with the directive's flags and width.
        return print(FmtDirective(d, kLeft | kSigns | kWidth, 'g'),
                     static_cast<double>(value.floating));
      default:
        // Not a kind there is: nothing can be said about the value, but it
        // is one, and the directives after this one keep to their values.
        out_.append(d.begin, static_cast<std::size_t>(d.end - d.begin));
        return true;
    }
  }

  // A floating conversion; as in C, the value is a double unless the length is 'L'.
  bool print_floating(const Directive& d, long double value) {
    const FmtDirective rebuilt(d, kLeft | kSigns | kAlternate | kWidth | kPrecision | kLongDouble,
                               d.conversion);
    if (d.length[0] != 'L') return print(rebuilt, static_cast<double>(value));
    // fmt gets the leading digits of very large long doubles wrong, and takes
    // milliseconds over them; the C library does neither.
    const int size = std::snprintf(nullptr, 0, rebuilt.c_str(), value);
    if (size < 0) return false;
    const std::size_t start = out_.size();
    out_.resize(start + static_cast<std::size_t>(size) + 1);
    std::snprintf(&out_[start], static_cast<std::size_t>(size) + 1, rebuilt.c_str(), value);
    out_.resize(start + static_cast<std::size_t>(size));
    return true;
  }

  template <typename T>
  bool print(const FmtDirective& rebuilt, const T& value) {
    try {
      out_ += fmt::sprintf(rebuilt.view(), value);
      return true;
    } catch (const std::exception&) {
      return false;
    }
  }

  // `text` as "%s" writes it: cut to the precision (in bytes) if `cut`, then
  // padded with spaces to the width.
  void pad(std::string_view text, const Directive& d, bool cut) {
    if (cut && d.precision >= 0 && text.size() > static_cast<std::size_t>(d.precision)) {
      text = text.substr(0, static_cast<std::size_t>(d.precision));
    }
    const std::size_t fill = d.width > 0 && static_cast<std::size_t>(d.width) > text.size()
                                 ? static_cast<std::size_t>(d.width) - text.size()
                                 : 0;
    if (fill != 0 && !d.left) out_.append(fill, ' ');
    out_.append(text);
    if (fill != 0 && d.left) out_.append(fill, ' ');
  }

  std::string& out_;
  Values values_;
};

}  // namespace

const char* QvMsg::format(const char* format, const qvPrintfArgVal* values) {
  thread_local std::string out;
  out.clear();
  if (format == nullptr) return out.c_str();
  try {
    Formatter(out, values).run(format);
  } catch (const std::exception&) {
    // Only running out of memory gets here; what was written so far stands.
  }
  return out.c_str();
}

}  // namespace Log
