// "arm report": response times per transaction from a trace of the arm4-trace
// runtime, one JSON object per line.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "commands.h"

namespace zelutil {
namespace {

// One value of a trace line. Arrays and objects inside a line are checked but
// not kept: the report needs only strings and numbers at the top level.
struct JsonValue {
  enum Kind { NUL, BOOLEAN, NUMBER, STRING, ARRAY, OBJECT } kind = NUL;
  std::string text;  // a string's characters (UTF-8) or a number as written
  bool integer = false;
};

struct JsonError {
  std::string what;
};

// A strict reader of one JSON object per line (RFC 8259), duplicate keys
// resolved in favour of the last.
class LineReader {
 public:
  explicit LineReader(const std::string& line) : line_(line) {}

  std::map<std::string, JsonValue> object() {
    skip_blanks();
    if (peek() != '{') fail("expected '{' at the start of the line");
    std::map<std::string, JsonValue> fields;
    read_members([&](const std::string& key, JsonValue value) { fields[key] = std::move(value); });
    skip_blanks();
    if (at_ < line_.size()) fail("unexpected text after the object");
    return fields;
  }

 private:
  [[noreturn]] void fail(const std::string& what) const {
    throw JsonError{what + " (column " + std::to_string(at_ + 1) + ")"};
  }

  char peek() const { return at_ < line_.size() ? line_[at_] : '\0'; }

  void skip_blanks() {
    while (at_ < line_.size() &&
           (line_[at_] == ' ' || line_[at_] == '\t' || line_[at_] == '\r' || line_[at_] == '\n')) {
      ++at_;
    }
  }

  void expect(char c, const char* what) {
    skip_blanks();
    if (peek() != c) fail(what);
    ++at_;
  }

  template <typename Member>
  void read_members(Member&& member) {
    expect('{', "expected '{'");
    skip_blanks();
    if (peek() == '}') {
      ++at_;
      return;
    }
    for (;;) {
      skip_blanks();
      if (peek() != '"') fail("expected a quoted key");
      std::string key = string();
      expect(':', "expected ':' after a key");
      member(key, value());
      skip_blanks();
      if (peek() == ',') {
        ++at_;
        continue;
      }
      expect('}', "expected ',' or '}' after a value");
      return;
    }
  }

  JsonValue value() {
    skip_blanks();
    JsonValue v;
    const char c = peek();
    if (c == '"') {
      v.kind = JsonValue::STRING;
      v.text = string();
    } else if (c == '{') {
      v.kind = JsonValue::OBJECT;
      read_members([](const std::string&, const JsonValue&) {});
    } else if (c == '[') {
      v.kind = JsonValue::ARRAY;
      ++at_;
      skip_blanks();
      if (peek() == ']') {
        ++at_;
      } else {
        for (;;) {
          value();
          skip_blanks();
          if (peek() == ',') {
            ++at_;
            continue;
          }
          expect(']', "expected ',' or ']' in an array");
          break;
        }
      }
    } else if (c == '-' || (c >= '0' && c <= '9')) {
      v.kind = JsonValue::NUMBER;
      number(&v);
    } else if (word("true") || word("false")) {
      v.kind = JsonValue::BOOLEAN;
    } else if (word("null")) {
      v.kind = JsonValue::NUL;
    } else {
      fail("expected a value");
    }
    return v;
  }

  bool word(const char* w) {
    const std::string text(w);
    if (line_.compare(at_, text.size(), text) != 0) return false;
    at_ += text.size();
    return true;
  }

  void digits() {
    if (!(peek() >= '0' && peek() <= '9')) fail("expected a digit");
    while (peek() >= '0' && peek() <= '9') ++at_;
  }

  void number(JsonValue* v) {
    const std::size_t start = at_;
    if (peek() == '-') ++at_;
    if (peek() == '0') {
      ++at_;
    } else {
      digits();
    }
    v->integer = true;
    if (peek() == '.') {
      ++at_;
      digits();
      v->integer = false;
    }
    if (peek() == 'e' || peek() == 'E') {
      ++at_;
      if (peek() == '+' || peek() == '-') ++at_;
      digits();
      v->integer = false;
    }
    v->text = line_.substr(start, at_ - start);
  }

  unsigned hex4() {
    unsigned value = 0;
    for (int i = 0; i < 4; ++i) {
      const char c = peek();
      int digit = -1;
      if (c >= '0' && c <= '9') digit = c - '0';
      if (c >= 'a' && c <= 'f') digit = c - 'a' + 10;
      if (c >= 'A' && c <= 'F') digit = c - 'A' + 10;
      if (digit < 0) fail("expected four hex digits after \\u");
      value = value * 16 + static_cast<unsigned>(digit);
      ++at_;
    }
    return value;
  }

  static void append_utf8(std::string& out, unsigned cp) {
    if (cp < 0x80) {
      out += static_cast<char>(cp);
    } else if (cp < 0x800) {
      out += static_cast<char>(0xC0 | cp >> 6);
      out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
      out += static_cast<char>(0xE0 | cp >> 12);
      out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | cp >> 18);
      out += static_cast<char>(0x80 | (cp >> 12 & 0x3F));
      out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    }
  }

  std::string string() {
    ++at_;  // the opening quote
    std::string out;
    for (;;) {
      if (at_ >= line_.size()) fail("unterminated string");
      const char c = line_[at_++];
      if (c == '"') return out;
      if (static_cast<unsigned char>(c) < 0x20) fail("control character in a string");
      if (c != '\\') {
        out += c;
        continue;
      }
      const char escaped = peek();
      ++at_;
      switch (escaped) {
        case '"':
        case '\\':
        case '/':
          out += escaped;
          break;
        case 'b':
          out += '\b';
          break;
        case 'f':
          out += '\f';
          break;
        case 'n':
          out += '\n';
          break;
        case 'r':
          out += '\r';
          break;
        case 't':
          out += '\t';
          break;
        case 'u': {
          unsigned cp = hex4();
          if (cp >= 0xD800 && cp <= 0xDBFF && line_.compare(at_, 2, "\\u") == 0) {
            at_ += 2;
            const unsigned low = hex4();
            if (low < 0xDC00 || low > 0xDFFF) fail("unpaired surrogate in \\u escapes");
            cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
          } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            fail("unpaired surrogate in \\u escapes");
          }
          append_utf8(out, cp);
          break;
        }
        default:
          --at_;
          fail("unknown escape in a string");
      }
    }
  }

  const std::string& line_;
  std::size_t at_ = 0;
};

struct Transactions {
  std::vector<std::int64_t> response_ns;
  int failures = 0;
};

const JsonValue& required(const std::map<std::string, JsonValue>& fields, const std::string& key,
                          JsonValue::Kind kind, const char* kind_name) {
  const auto found = fields.find(key);
  if (found == fields.end()) throw JsonError{"no \"" + key + "\""};
  if (found->second.kind != kind) throw JsonError{"\"" + key + "\" is not " + kind_name};
  return found->second;
}

std::int64_t required_integer(const std::map<std::string, JsonValue>& fields,
                              const std::string& key) {
  const JsonValue& v = required(fields, key, JsonValue::NUMBER, "a number");
  if (!v.integer) throw JsonError{"\"" + key + "\" is not a whole number"};
  try {
    return std::stoll(v.text);
  } catch (const std::out_of_range&) {
    throw JsonError{"\"" + key + "\" is out of range"};
  }
}

// Microseconds with three decimals: exact for whole nanoseconds.
std::string microseconds(std::int64_t ns) {
  char text[32];
  std::snprintf(text, sizeof text, "%lld.%03lld", static_cast<long long>(ns / 1000),
                static_cast<long long>(ns % 1000));
  return text;
}

// The nearest-rank percentile of sorted values.
std::int64_t percentile(const std::vector<std::int64_t>& sorted, int p) {
  const std::size_t rank = (sorted.size() * static_cast<std::size_t>(p) + 99) / 100;
  return sorted[std::max<std::size_t>(rank, 1) - 1];
}

void report(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw CommandError("cannot read '" + path + "'");
  std::map<std::string, Transactions> by_name;
  std::string line;
  for (long number = 1; std::getline(in, line); ++number) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    try {
      const auto fields = LineReader(line).object();
      const JsonValue& event = required(fields, "event", JsonValue::STRING, "a string");
      if (event.text != "stop_transaction") continue;
      const std::string& name = required(fields, "name", JsonValue::STRING, "a string").text;
      const std::int64_t status = required_integer(fields, "status");
      const std::int64_t response = required_integer(fields, "response_ns");
      if (response < 0) throw JsonError{"\"response_ns\" is negative"};
      Transactions& t = by_name[name];
      t.response_ns.push_back(response);
      if (status != 0) ++t.failures;  // anything but ARM_STATUS_GOOD
    } catch (const JsonError& e) {
      throw CommandError(path + ":" + std::to_string(number) + ": not a trace line: " + e.what);
    }
  }
  if (in.bad()) throw CommandError("cannot read '" + path + "'");

  std::cout << "transaction\tcount\tfailures\tp50_us\tp95_us\tmax_us\n";
  for (auto& [name, t] : by_name) {
    std::sort(t.response_ns.begin(), t.response_ns.end());
    std::cout << name << '\t' << t.response_ns.size() << '\t' << t.failures << '\t'
              << microseconds(percentile(t.response_ns, 50)) << '\t'
              << microseconds(percentile(t.response_ns, 95)) << '\t'
              << microseconds(t.response_ns.back()) << '\n';
  }
}

}  // namespace

void add_arm_commands(CLI::App& app) {
  auto* arm = app.add_subcommand("arm", "Read what the arm4-trace ARM runtime wrote");
  arm->require_subcommand(1);
  auto* report_command = arm->add_subcommand(
      "report", "Count, failures and response times (p50, p95, max) per transaction");
  auto file = std::make_shared<std::string>();
  report_command->add_option("FILE", *file, "A trace file (ZEL_ARM_TRACE)")->required();
  report_command->callback([file] { report(*file); });
}

}  // namespace zelutil
