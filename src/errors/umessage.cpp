#include "zel/umessage.h"

#include <string.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "qvlogger/qvlogger.h"
#include "zel/resource.h"

namespace Zel {

namespace {

using Log::qvPrintfArgVal;

// Most messages have few arguments: their values live on the stack.
constexpr std::size_t kStackValues = 11;

bool not_found(const char* text) {
  // The first byte settles nearly every call without a comparison.
  return text == nullptr ||
         (text[0] == Log::QvMsg::NOT_FOUND[0] && std::strcmp(text, Log::QvMsg::NOT_FOUND) == 0);
}

UString catalogue_not_found() { return UString(Utf8String(UMessage::CATALOGUE_NOT_FOUND)); }

// Fills `value` from `arg`. A resource's text is kept in `texts`, which the
// caller has reserved so that it never reallocates under earlier pointers.
void fill(qvPrintfArgVal& value, const UMessage::Arg& arg, std::vector<std::string>& texts) {
  const UMessage::Arg::arg_union_t& v = arg.value();
  switch (arg.tag()) {
    case UMessage::Arg::CHAR:
      value.kind = qvPrintfArgVal::INTEGER;
      value.integer = v.c;
      break;
    case UMessage::Arg::INT:
      value.kind = qvPrintfArgVal::INTEGER;
      value.integer = v.i;
      break;
    case UMessage::Arg::LONG:
      value.kind = qvPrintfArgVal::INTEGER;
      value.integer = v.l;
      break;
    case UMessage::Arg::INT64:
      value.kind = qvPrintfArgVal::INTEGER;
      value.integer = v.ll;
      break;
    case UMessage::Arg::DOUBLE:
      value.kind = qvPrintfArgVal::FLOATING;
      value.floating = v.d;
      break;
    case UMessage::Arg::BYTES:
      value.kind = qvPrintfArgVal::TEXT;
      value.text = v.bytes;
      break;
    case UMessage::Arg::STRING:
    case UMessage::Arg::USTRING:
      value.kind = qvPrintfArgVal::TEXT;
      value.text = v.string->c_str();
      break;
    case UMessage::Arg::RESOURCE:
      texts.push_back(v.resource->to_string().utf8_str());
      value.kind = qvPrintfArgVal::TEXT;
      value.text = texts.back().c_str();
      break;
    default:
      value.kind = qvPrintfArgVal::END;
      break;
  }
}

// The most bytes format_plain() writes; a longer text goes to the formatter.
constexpr std::size_t kPlainBytes = 1024;

// Writes `format` with `values` exactly as the logging layer's formatter would,
// for the shape of nearly every catalogue text: bare "%s" and "%d" (and "%%"),
// each with a text or an integer. That formatter writes a text under "%d" and
// the digits of an integer under "%s", and so does this. Anything else (flags,
// widths, other conversions, a directive without a value) returns false having
// written nothing, and goes to the formatter. Messages are formatted whenever an
// exception's text is asked for: this spares them the formatter's buffer and
// a second pass over its result.
bool format_plain(const char* format, const qvPrintfArgVal* values, std::size_t count,
                  UString& result) {
  char out[kPlainBytes];
  std::size_t size = 0;
  const auto put = [&](const char* bytes, std::size_t n) {
    if (n > sizeof out - size) return false;
    std::memcpy(out + size, bytes, n);
    size += n;
    return true;
  };
  std::size_t next = 0;
  for (const char* p = format;;) {
    // The next '%' or the end, in one pass.
    const char* percent = ::strchrnul(p, '%');
    if (!put(p, static_cast<std::size_t>(percent - p))) return false;
    if (*percent == '\0') break;
    const char conversion = percent[1];
    p = percent + 2;
    if (conversion == '%') {
      if (!put("%", 1)) return false;
      continue;
    }
    if ((conversion != 's' && conversion != 'd') || next == count) return false;
    const qvPrintfArgVal& value = values[next++];
    if (value.kind == qvPrintfArgVal::TEXT) {
      const char* text = value.text != nullptr ? value.text : "(null)";
      if (!put(text, std::strlen(text))) return false;
    } else if (value.kind == qvPrintfArgVal::INTEGER) {
      char digits[24];
      const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, value.integer);
      if (!put(digits, static_cast<std::size_t>(end.ptr - digits))) return false;
    } else {
      return false;
    }
  }
  const std::size_t sentinel = std::strlen(Log::QvMsg::NOT_FOUND);
  if (size == sentinel && std::memcmp(out, Log::QvMsg::NOT_FOUND, sentinel) == 0) {
    result = catalogue_not_found();
  } else {
    result.utf8_assign(out, size);
  }
  return true;
}

// Formats `count` arguments (nil ones and null pointers are left out).
UString format_values(const char* format, const UMessage::Arg* const* args, std::size_t count) {
  qvPrintfArgVal on_stack[kStackValues];
  std::vector<qvPrintfArgVal> on_heap;
  qvPrintfArgVal* values = on_stack;
  if (count >= kStackValues) {
    on_heap.resize(count + 1);
    values = on_heap.data();
  }
  std::vector<std::string> texts;
  std::size_t resources = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (args[i] != nullptr && args[i]->tag() == UMessage::Arg::RESOURCE) ++resources;
  }
  if (resources > 0) texts.reserve(resources);

  std::size_t filled = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (args[i] != nullptr && !args[i]->is_nil()) fill(values[filled++], *args[i], texts);
  }
  values[filled].kind = qvPrintfArgVal::END;

  // One result object on every path, so that it is built in the caller's place.
  UString result;
  if (format == nullptr || !format_plain(format, values, filled, result)) {
    const char* text = Log::QvMsg::format(format, values);
    if (not_found(text)) {
      result = catalogue_not_found();
    } else {
      result.utf8_assign(text, std::strlen(text));
    }
  }
  return result;
}

UString format_values(const char* format, const std::vector<const UMessage::Arg*>& args) {
  return format_values(format, args.data(), args.size());
}

// Pointers to the arguments that are not nil, in order.
template <typename... Args>
std::vector<const UMessage::Arg*> present(const Args&... args) {
  std::vector<const UMessage::Arg*> out;
  out.reserve(sizeof...(args));
  for (const UMessage::Arg* arg : {&args...}) {
    if (!arg->is_nil()) out.push_back(arg);
  }
  return out;
}

}  // namespace

// --- Arg --------------------------------------------------------------------

const UMessage::Arg UMessage::Arg::nil;

UMessage::Arg::Arg(char c) : tag_(CHAR), value_{} { value_.c = c; }
UMessage::Arg::Arg(int i) : tag_(INT), value_{} { value_.i = i; }
UMessage::Arg::Arg(long l) : tag_(LONG), value_{} { value_.l = l; }
UMessage::Arg::Arg(long long ll) : tag_(INT64), value_{} { value_.ll = ll; }
UMessage::Arg::Arg(double d) : tag_(DOUBLE), value_{} { value_.d = d; }

UMessage::Arg::Arg(const char* bytes) : tag_(BYTES), value_{} {
  value_.bytes = nullptr;
  if (bytes != nullptr) {
    const std::size_t size = std::strlen(bytes) + 1;
    // malloc and free rather than new[] and delete[]: the same heap, one call
    // less on a path every catalogued error takes.
    value_.bytes = static_cast<char*>(std::malloc(size));
    if (value_.bytes == nullptr) throw std::bad_alloc();
    std::memcpy(value_.bytes, bytes, size);
  }
}

UMessage::Arg::Arg(const std::string& bytes) : tag_(STRING), value_{} {
  value_.string = new std::string(bytes);
}

UMessage::Arg::Arg(const UString& text) : tag_(USTRING), value_{} {
  value_.string = new std::string(text.utf8_str());
}

UMessage::Arg::Arg(const UChar* text) : Arg(UString(text)) {}

UMessage::Arg::Arg(const Resource& resource) : tag_(RESOURCE), value_{} {
  value_.resource = resource.clone();
}

UMessage::Arg::Arg(const Arg& other) : tag_(NIL), value_{} { copy_from(other); }

UMessage::Arg::Arg(Arg&& other) noexcept
    : tag_(std::exchange(other.tag_, NIL)), value_(std::exchange(other.value_, {})) {}

UMessage::Arg& UMessage::Arg::operator=(const Arg& other) {
  if (this != &other) {
    Arg copy(other);  // copy first: a failed copy leaves this argument intact
    *this = std::move(copy);
  }
  return *this;
}

UMessage::Arg& UMessage::Arg::operator=(Arg&& other) noexcept {
  if (this != &other) {
    release();
    tag_ = std::exchange(other.tag_, NIL);
    value_ = std::exchange(other.value_, {});
  }
  return *this;
}

// Numbers and moved-from arguments own nothing.
UMessage::Arg::~Arg() {
  if (tag_ >= BYTES) release();
}

// Frees what the argument owns; its callers then destroy or overwrite it.
void UMessage::Arg::release() {
  switch (tag_) {
    case BYTES:
      std::free(value_.bytes);
      break;
    case STRING:
    case USTRING:
      delete value_.string;
      break;
    case RESOURCE:
      delete value_.resource;
      break;
    default:
      break;
  }
}

void UMessage::Arg::copy_from(const Arg& other) {
  switch (other.tag_) {
    case BYTES:
      *this = Arg(other.value_.bytes);
      break;
    case STRING:
      *this = Arg(*other.value_.string);
      break;
    case USTRING:
      value_.string = new std::string(*other.value_.string);
      tag_ = USTRING;
      break;
    case RESOURCE:
      value_.resource = other.value_.resource->clone();
      tag_ = RESOURCE;
      break;
    default:
      tag_ = other.tag_;
      value_ = other.value_;
      break;
  }
}

// --- UMessage ---------------------------------------------------------------

const UMessage UMessage::nil;

UMessage::UMessage() : catalogue_(nullptr), number_(-1) {}

UMessage::UMessage(const char** catalogue, const int number, Arg a1, Arg a2)
    : catalogue_(catalogue), number_(number) {
  args_.reserve(2);
  for (Arg* arg : {&a1, &a2}) {
    if (!arg->is_nil()) args_.push_back(std::move(*arg));
  }
}

UMessage::UMessage(const char** catalogue, const int number, Arg a1, Arg a2, Arg a3, Arg a4, Arg a5,
                   Arg a6, Arg a7, Arg a8, Arg a9, Arg a10)
    : catalogue_(catalogue), number_(number) {
  args_.reserve(10);
  for (Arg* arg : {&a1, &a2, &a3, &a4, &a5, &a6, &a7, &a8, &a9, &a10}) {
    if (!arg->is_nil()) args_.push_back(std::move(*arg));
  }
}

bool UMessage::is_nil() const { return catalogue_ == nullptr && number_ == -1; }

UString UMessage::message_string(const char* extra) const {
  if (catalogue_ == nullptr || number_ == -1) return UString();
  const char* format = Log::QvMsg::format(catalogue_, number_, extra);
  if (not_found(format)) return catalogue_not_found();
  // Pointers to the arguments, on the stack for the usual few.
  const Arg* on_stack[kStackValues];
  std::vector<const Arg*> on_heap;
  const Arg** pointers = on_stack;
  if (args_.size() > kStackValues) {
    on_heap.resize(args_.size());
    pointers = on_heap.data();
  }
  for (std::size_t i = 0; i < args_.size(); ++i) pointers[i] = &args_[i];
  return format_values(format, pointers, args_.size());
}

UString UMessage::sprintf(const char** catalogue, const int number,
                          const std::vector<const Arg*>& args, const char* extra) {
  const char* format = Log::QvMsg::format(catalogue, number, extra);
  if (not_found(format)) return catalogue_not_found();
  return format_values(format, args);
}

UString UMessage::sprintf(const char** catalogue, const int number, const Arg& a) {
  return sprintf(catalogue, number, present(a), nullptr);
}

UString UMessage::sprintf(const char** catalogue, const int number, const Arg& a1, const Arg& a2,
                          const Arg& a3, const Arg& a4, const Arg& a5, const Arg& a6, const Arg& a7,
                          const Arg& a8, const Arg& a9, const Arg& a10) {
  return sprintf(catalogue, number, present(a1, a2, a3, a4, a5, a6, a7, a8, a9, a10), nullptr);
}

UString UMessage::sprintf(const char* format, const std::vector<const Arg*>& args) {
  return format_values(format, args);
}

UString UMessage::sprintf(const char* format, const Arg& a) {
  return format_values(format, present(a));
}

UString UMessage::sprintf(const char* format, const Arg& a1, const Arg& a2, const Arg& a3,
                          const Arg& a4, const Arg& a5, const Arg& a6, const Arg& a7, const Arg& a8,
                          const Arg& a9, const Arg& a10) {
  return format_values(format, present(a1, a2, a3, a4, a5, a6, a7, a8, a9, a10));
}

UString UMessage::sprintf(const UString& format, const std::vector<const Arg*>& args) {
  return format_values(format.utf8_str().c_str(), args);
}

UString UMessage::sprintf(const UString& format, const Arg& a) {
  return format_values(format.utf8_str().c_str(), present(a));
}

UString UMessage::sprintf(const UString& format, const Arg& a1, const Arg& a2, const Arg& a3,
                          const Arg& a4, const Arg& a5, const Arg& a6, const Arg& a7, const Arg& a8,
                          const Arg& a9, const Arg& a10) {
  return format_values(format.utf8_str().c_str(), present(a1, a2, a3, a4, a5, a6, a7, a8, a9, a10));
}

// --- collection_t -------------------------------------------------------------

UMessage::collection_t& UMessage::collection_t::operator+=(const collection_t& other) {
  if (&other == this) {
    const std::vector<UMessage> copy = messages_;
    messages_.insert(messages_.end(), copy.begin(), copy.end());
  } else {
    messages_.insert(messages_.end(), other.messages_.begin(), other.messages_.end());
  }
  return *this;
}

}  // namespace Zel
