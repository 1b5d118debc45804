// Parses fuzzed texts. Each either parses or throws StateException carrying
// QZMLK0671E with that very text; no other exception may escape. What parses
// must format in both forms, read back from its full form when that form
// starts with a domain and names the namespace, and walk up its parent() chain
// to an end within one step per "/" segment plus three: the nil selector, or a
// selector that is its own parent because its name or repository is "/" alone.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "zel/exception.h"
#include "zel/selector.h"

namespace {

using Zel::Selector;
using Zel::UString;

void require(bool condition) {
  if (!condition) std::abort();
}

bool same_fields(const Selector& a, const Selector& b) {
  return a.provider_domain() == b.provider_domain() && a.name_space() == b.name_space() &&
         a.resource_type() == b.resource_type() && a.name() == b.name() &&
         a.repository() == b.repository();
}

std::size_t segment_count(const UString& text) {
  return Selector::split_segments(text, Selector::SEGMENT_SEP).size();
}

// Both forms, each from a fresh copy: the formatters share one cache.
UString full_form(const Selector& s) {
  (void)Selector(s).selector();
  return Selector(s).to_string_with_domain();
}

void check_parsed(const Selector& s) {
  const UString full = full_form(s);
  const bool has_domain =
      s.provider_domain() == Selector::DOMAIN_LW || s.provider_domain() == Selector::DOMAIN_MX;
  const bool hides_namespace =
      s.name_space() == Selector::NS_DEFAULT || s.name_space() == Selector::NS_INVALID;
  if (has_domain && !hides_namespace) require(same_fields(Selector(full), s));

  Selector at = s;
  const std::size_t bound = segment_count(s.name()) + segment_count(s.repository()) + 3;
  for (std::size_t step = 0; step <= bound && !at.is_nil(); ++step) {
    Selector up = at.parent();
    (void)full_form(up);
    if (same_fields(up, at)) {
      require(segment_count(at.name()) == 0 && segment_count(at.repository()) == 0 &&
              at.resource_type() == 0 && at.name_space() == Selector::NS_NONE &&
              at.provider_domain() == Selector::DOMAIN_NONE);
      return;
    }
    at = up;
  }
  require(at.is_nil());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const UString text(Zel::Utf8String(std::string(reinterpret_cast<const char*>(data), size)));
  try {
    const Selector s(text);
    check_parsed(s);
  } catch (const Zel::StateException& e) {
    const Zel::UMessage& m = e.message();
    const std::vector<Zel::UMessage::Arg>& args = m.args();
    require(m.catalogue() == Zel::zelutil && m.number() == 21 && args.size() == 2);
    require(args[0].tag() == Zel::UMessage::Arg::USTRING &&
            args[1].tag() == Zel::UMessage::Arg::USTRING);
    require(*args[0].value().string == text.utf8_str());
    (void)m.message_string();
  }
  return 0;
}
