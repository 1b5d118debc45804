// zelutil selector parse / parent / child / encode / decode: resource selectors.
#include "zel/selector.h"

#include <iostream>
#include <memory>
#include <string>

#include "commands.h"
#include "zel/exception.h"
#include "zel/xmltag.h"

namespace zelutil {
namespace {

using Zel::Selector;

std::string utf8(const Zel::UString& s) { return s.utf8_str(); }
Zel::UString text(const std::string& utf8_text) { return Zel::UString(Zel::Utf8String(utf8_text)); }

// A malformed text fails with the library's message alone, QZMLK0671E with the
// text and the reason, so that scripts can compare it exactly.
Selector parsed(const std::string& selector_text) {
  try {
    return Selector(text(selector_text));
  } catch (const Zel::QRPException& e) {
    throw ExactCommandError(utf8(e.message().message_string()));
  }
}

// A number and, when it has one, its word.
std::string value_and_word(long value, const Zel::UString& word) {
  return word.empty() ? std::to_string(value) : std::to_string(value) + " " + utf8(word);
}

void show_fields(const std::string& selector_text) {
  const Selector s = parsed(selector_text);
  const Selector::provider_domain_t domain = s.provider_domain();
  const Selector::namespace_t ns = s.name_space();
  const Zel::XmlTag::Id type = s.resource_type();
  // Both formatters share one cache, so each form comes from its own fresh copy.
  const Zel::UString short_form = Selector(s).selector();
  const Zel::UString full_form = Selector(s).to_string_with_domain();
  std::cout << "domain:        " << value_and_word(domain, Selector::provider_domain_string(domain))
            << "\nnamespace:     " << value_and_word(ns, Selector::namespace_string(ns))
            << "\nresource type: "
            << value_and_word(type,
                              type != 0 ? Zel::XmlTag::lookup(type).simple_name() : Zel::UString())
            << "\nname:          " << utf8(s.name()) << "\nrepository:    " << utf8(s.repository())
            << "\nshort form:    " << utf8(short_form) << "\nfull form:     " << utf8(full_form)
            << '\n';
}

// The full form, or "(nil)" for the nil selector, whose full form is empty.
void print(const Selector& s) {
  std::cout << (s.is_nil() ? std::string("(nil)") : utf8(s.to_string_with_domain())) << '\n';
}

bool same_fields(const Selector& a, const Selector& b) {
  return a.provider_domain() == b.provider_domain() && a.name_space() == b.name_space() &&
         a.resource_type() == b.resource_type() && a.name() == b.name() &&
         a.repository() == b.repository();
}

void show_parent(const std::string& selector_text, bool chain) {
  Selector s = parsed(selector_text).parent();
  print(s);
  // Ends at the nil selector, or at a selector that is its own parent (a name or
  // repository made of "/" alone).
  while (chain && !s.is_nil()) {
    Selector up = s.parent();
    if (same_fields(up, s)) break;
    print(up);
    s = up;
  }
}

Selector::namespace_t namespace_named(const std::string& word) {
  for (int value = 0; value <= Selector::NS_VOBUUID; ++value) {
    const auto ns = static_cast<Selector::namespace_t>(value);
    if (utf8(Selector::namespace_string(ns)) == word) return ns;
  }
  throw CLI::ValidationError("--namespace", "'" + word + "' is not a selector namespace");
}

struct ChildOptions {
  std::string selector;
  std::string path;
  std::string ns = "NONE";
};

}  // namespace

void add_selector_commands(CLI::App& app) {
  auto* selector = app.add_subcommand("selector", "Parse, format and derive resource selectors");
  selector->require_subcommand(1);

  auto parse_text = std::make_shared<std::string>();
  auto* parse = selector->add_subcommand("parse", "Show the fields and both text forms of TEXT");
  parse->add_option("TEXT", *parse_text, "A selector, such as lw.brtype:main@/store/proj")
      ->required();
  parse->callback([parse_text] { show_fields(*parse_text); });

  auto parent_text = std::make_shared<std::string>();
  auto chain = std::make_shared<bool>(false);
  auto* parent = selector->add_subcommand("parent", "Print the full form of the parent of TEXT");
  parent->add_option("TEXT", *parent_text, "A selector")->required();
  parent->add_flag("--chain", *chain, "Print every ancestor, up to the nil selector");
  parent->callback([parent_text, chain] { show_parent(*parent_text, *chain); });

  auto child_options = std::make_shared<ChildOptions>();
  auto* child = selector->add_subcommand(
      "child", "Print the full form of TEXT with its name extended by the segments of PATH");
  child->add_option("TEXT", child_options->selector, "A selector")->required();
  child->add_option("PATH", child_options->path, "Segments separated by /")->required();
  child->add_option("--namespace", child_options->ns,
                    "The child's namespace (default NONE: the parent's)");
  child->callback([child_options] {
    const Selector::namespace_t ns = namespace_named(child_options->ns);
    print(parsed(child_options->selector).child(text(child_options->path), ns));
  });

  auto encode_text = std::make_shared<std::string>();
  auto* encode = selector->add_subcommand("encode", "Escape the delimiters of one path segment");
  encode->add_option("TEXT", *encode_text, "The segment")->required();
  encode->callback(
      [encode_text] { std::cout << utf8(Selector::encode_segment(text(*encode_text))) << '\n'; });

  auto decode_text = std::make_shared<std::string>();
  auto* decode = selector->add_subcommand("decode", "Remove the escapes of a text");
  decode->add_option("TEXT", *decode_text, "The text")->required();
  decode->callback(
      [decode_text] { std::cout << utf8(Selector::decode_string(text(*decode_text))) << '\n'; });
}

}  // namespace zelutil
