#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <memory>
#include <string>

#include "commands.h"
#include "zel/davtime.h"
#include "zel/fileutl.h"
#include "zel/pname.h"
#include "zel/qrpexception.h"

namespace zelutil {
namespace {

struct DateOptions {
  bool iso8601 = false;
  bool rfc1123 = false;
  std::string value;
};

// A whole decimal number of seconds, sign allowed.
bool read_seconds(const std::string& text, time_t* seconds) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || std::isspace(static_cast<unsigned char>(text[0]))) return false;
  *seconds = static_cast<time_t>(value);
  return true;
}

Zel::DavTime parse_date(const std::string& text) {
  Zel::DavTime date;
  date.parse(Zel::UString(Zel::Utf8String(text)));
  // 0 is also what a text that does not parse gives: accept it only when the
  // text is one of the two forms of 0.
  if (date.get_time() == 0 && text != Zel::DavTime(0).to_string(Zel::DavTime::ISO8601).utf8_str() &&
      text != Zel::DavTime(0).to_string(Zel::DavTime::RFC1123).utf8_str()) {
    throw CommandError("'" + text + "' is neither a number of seconds nor a date in the form " +
                       "2006-05-04T03:02:01Z or Thu, 04 May 2006 03:02:01 GMT");
  }
  return date;
}

void show_date(const DateOptions& options) {
  time_t seconds = std::time(nullptr);
  const bool given_as_text = !options.value.empty() && !read_seconds(options.value, &seconds);
  const Zel::DavTime date = given_as_text ? parse_date(options.value) : Zel::DavTime(seconds);
  const std::string iso = date.to_string(Zel::DavTime::ISO8601).utf8_str();
  const std::string rfc = date.to_string(Zel::DavTime::RFC1123).utf8_str();
  if (iso.empty()) throw CommandError("the time is out of the range the date forms can show");
  if (options.iso8601) {
    std::cout << iso << '\n';
  } else if (options.rfc1123) {
    std::cout << rfc << '\n';
  } else {
    std::cout << "seconds  " << date.get_time() << "\niso8601  " << iso << "\nrfc1123  " << rfc
              << '\n';
  }
}

struct TmpOptions {
  std::string leaf;
  bool keep = false;
};

void make_tmp(const TmpOptions& options) {
  try {
    const Zel::UString path =
        options.leaf.empty()
            ? Zel::Fileutl::create_tmp_file(1)
            : Zel::Fileutl::create_tmp_file(Zel::UString(Zel::Utf8String(options.leaf)), 1);
    std::cout << path.utf8_str() << '\n';
    if (!options.keep) Zel::Fileutl::delete_tmp_file(path);
  } catch (const Zel::QRPException& e) {
    throw CommandError(e.message().message_string().utf8_str());
  }
}

}  // namespace

void add_files_commands(CLI::App& app) {
  auto date_options = std::make_shared<DateOptions>();
  auto* date = app.add_subcommand(
      "date",
      "Show a time in the two WebDAV date forms: now, a number of seconds since 1970, "
      "or a date in either form");
  auto* iso = date->add_flag("--iso8601", date_options->iso8601, "Print only the ISO 8601 form");
  date->add_flag("--rfc1123", date_options->rfc1123, "Print only the RFC 1123 form")->excludes(iso);
  date->add_option("WHEN", date_options->value, "Seconds, or a date text (default: now)");
  date->callback([date_options] { show_date(*date_options); });

  auto tmp_options = std::make_shared<TmpOptions>();
  auto* tmp = app.add_subcommand(
      "tmp",
      "Create a temporary file (or a private directory for LEAF), print its path and "
      "delete it again");
  tmp->add_option("--dir", tmp_options->leaf, "Make a private directory and name LEAF in it");
  tmp->add_flag("--keep", tmp_options->keep, "Leave the object in place");
  tmp->callback([tmp_options] { make_tmp(*tmp_options); });
}

}  // namespace zelutil
