// zelutil tag / tags: the XML tag registry and its catalogue.
#include "zel/xmltag.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "zel/exception.h"
#include "zel/umessage.h"

namespace zelutil {
namespace {

using Zel::XmlTag;

struct ConstantName {
  XmlTag::Id id;
  const char* constant;
};

// The constants' names, from the table the library builds its tags from.
constexpr ConstantName kConstants[] = {
#define ZEL_XMLTAG(id, constant, abbreviation, name) {id, #constant},
#include "zel/xmltag_catalogue.def"
#undef ZEL_XMLTAG
};

std::string utf8(const Zel::UString& s) { return s.utf8_str(); }
Zel::UString text(const std::string& utf8_text) { return Zel::UString(Zel::Utf8String(utf8_text)); }

// "-" for a tag registered at run time: it has no constant.
const char* constant_of(XmlTag::Id id) {
  const auto at = std::lower_bound(std::begin(kConstants), std::end(kConstants), id,
                                   [](const ConstantName& c, XmlTag::Id x) { return c.id < x; });
  return at != std::end(kConstants) && at->id == id ? at->constant : "-";
}

// One line per tag: id, constant, namespace abbreviation ("-" for none), name.
void print_row(const XmlTag& tag) {
  const XmlTag::NsId ns = tag.ns_id();
  std::cout << tag.id() << '\t' << constant_of(tag.id()) << '\t'
            << (ns < 0 ? std::string("-") : utf8(XmlTag::ns_abbreviation(ns))) << '\t'
            << utf8(tag.simple_name()) << '\n';
}

// The library's failures carry catalogue messages; the tool shows them as they are.
[[noreturn]] void fail(const std::string& context, const Zel::QRPException& e) {
  throw CommandError(context + ": " + utf8(e.message().message_string()));
}

XmlTag::NsId namespace_named(const std::string& abbreviation) {
  const XmlTag::NsId ns = XmlTag::ns_lookup_abbreviation(text(abbreviation));
  if (ns < 0) {
    throw CommandError("unknown namespace '" + abbreviation +
                       "' (give a well-known abbreviation with its colon, such as ACL:): " +
                       utf8(Zel::UMessage(Zel::zelutil, 6).message_string()));
  }
  return ns;
}

XmlTag::Id parse_id(const std::string& word) {
  // strtoll gives its extremes for a number out of its range: the bounds refuse those too.
  char* end = nullptr;
  const long long value = std::strtoll(word.c_str(), &end, 10);
  if (word.empty() || *end != 0 || value < INT32_MIN || value > INT32_MAX) {
    throw CLI::ValidationError("ID", "'" + word + "' is not a tag id; give ID, or NS: NAME");
  }
  return static_cast<XmlTag::Id>(value);
}

struct TagOptions {
  std::vector<std::string> words;
  std::string format;
  std::string prefix;
};

void show_tag(const TagOptions& options) {
  const XmlTag* tag = nullptr;
  if (options.words.size() == 1) {
    const XmlTag::Id id = parse_id(options.words[0]);
    try {
      tag = &XmlTag::lookup(id);
    } catch (const Zel::QRPException& e) {
      fail("no tag with id " + options.words[0], e);
    }
  } else if (options.words.size() == 2) {
    const XmlTag::NsId ns = namespace_named(options.words[0]);
    try {
      // A name that is not defined is registered, as the library does for any
      // name met at run time: it shows with an id from 1155 up and no constant.
      tag = &XmlTag::lookup(ns, text(options.words[1]));
    } catch (const Zel::QRPException& e) {
      fail("cannot look up '" + options.words[1] + "'", e);
    }
  } else {
    throw CLI::ValidationError("tag", "give ID, or NS: NAME");
  }

  if (options.format.empty()) {
    if (!options.prefix.empty()) throw CLI::ValidationError("--prefix", "needs --format");
    print_row(*tag);
    return;
  }
  const XmlTag::Format format = options.format == "start" ? XmlTag::FORMAT_START
                                : options.format == "end" ? XmlTag::FORMAT_END
                                                          : XmlTag::FORMAT_EMPTY;
  std::cout << utf8(tag->format(format, text(options.prefix))) << '\n';
}

void list_tags(const std::string& abbreviation) {
  const XmlTag::NsId only = abbreviation.empty() ? -1 : namespace_named(abbreviation);
  for (const ConstantName& row : kConstants) {
    const XmlTag& tag = XmlTag::lookup(row.id);
    if (only < 0 || tag.ns_id() == only) print_row(tag);
  }
}

}  // namespace

void add_xmltag_commands(CLI::App& app) {
  auto options = std::make_shared<TagOptions>();
  auto* tag = app.add_subcommand("tag", "Show the XML tag with id ID, or named NAME in NS:");
  tag->add_option("ID | NS: NAME", options->words, "A tag id, or a namespace abbreviation and name")
      ->required()
      ->expected(1, 2);
  tag->add_option("--format", options->format, "Print the XML start, end or empty-element tag")
      ->check(CLI::IsMember({"start", "end", "empty"}));
  tag->add_option("--prefix", options->prefix,
                  "Qualify the formatted tag with this prefix (default: declare its namespace)");
  tag->callback([options] { show_tag(*options); });

  auto abbreviation = std::make_shared<std::string>();
  auto* tags = app.add_subcommand("tags", "List the defined XML tags, of one namespace or all");
  tags->add_option("NS:", *abbreviation, "A namespace abbreviation, such as ACL:");
  tags->callback([abbreviation] { list_tags(*abbreviation); });
}

}  // namespace zelutil
