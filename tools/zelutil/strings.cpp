#include <unicode/ucnv.h>

#include <cstdio>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>

#include "commands.h"
#include "zel/ustring.h"

namespace zelutil {
namespace {

bool is_special(const std::string& charset) {
  return charset == Zel::UTF8_CHARSET_NAME || charset == Zel::DANGEROUS_DEFAULT_CHARSET_NAME;
}

// UString reports an unknown character set only by leaving its text as it is,
// which cannot be told from an empty input; ask ICU up front for a clear message.
void require_known(const std::string& charset) {
  if (is_special(charset)) return;
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(ucnv_open(charset.c_str(), &status),
                                                               &ucnv_close);
  if (U_FAILURE(status)) throw CommandError("unknown character set '" + charset + "'");
}

Zel::UString decode(const std::string& bytes, const std::string& charset) {
  Zel::UString text;
  text.assign(bytes, charset.c_str());
  // Non-empty UTF-8 that decodes to nothing was malformed. Other converters
  // substitute for bytes they cannot decode instead of failing.
  if (text.empty() && !bytes.empty() && charset == Zel::UTF8_CHARSET_NAME) {
    throw CommandError("the input is not valid UTF-8");
  }
  return text;
}

std::string encode(const Zel::UString& text, const std::string& charset) {
  bool failed = false;
  std::string bytes = text.std_str(charset.c_str(), failed);
  // Encoding stops at the first zero byte and substitutes for unmappable
  // characters; decoding the result again shows whether anything was lost.
  Zel::UString back;
  back.assign(bytes, charset.c_str());
  if (failed || back != text) {
    throw CommandError("the text cannot be written in " + charset +
                       " without loss (a character it cannot represent, an unpaired surrogate,"
                       " or an encoding that holds zero bytes)");
  }
  return bytes;
}

void convert(const std::string& from, const std::string& to) {
  require_known(from);
  require_known(to);
  std::string input{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
  if (std::cin.bad()) throw CommandError("cannot read standard input");
  // Everything is converted before anything is written, so a failure leaves no
  // partial output behind.
  const std::string output = encode(decode(input, from), to);
  if (std::fwrite(output.data(), 1, output.size(), stdout) != output.size() ||
      std::fflush(stdout) != 0) {
    throw CommandError("cannot write standard output");
  }
}

}  // namespace

void add_strings_commands(CLI::App& app) {
  auto* command = app.add_subcommand(
      "convert",
      "Convert standard input from one character set to another through UString.\n"
      "Names are ICU's; \"UTF-8\" selects the built-in UTF-8 path and \"DEFAULT\" the "
      "process's default character set.");
  auto from = std::make_shared<std::string>();
  auto to = std::make_shared<std::string>();
  command->add_option("--from", *from, "Character set of the input")->required();
  command->add_option("--to", *to, "Character set of the output")->required();
  command->callback([from, to] { convert(*from, *to); });
}

}  // namespace zelutil
