// Selectors: the word tables, the parser, the two formatters, escaping and the
// derived selectors.
//
// Initialisation order. The word tables are one function-local static, built
// on first use, so a caller from another file's static initialiser always gets
// them complete. The public separator constants cannot be constant-initialised
// (UString is not a literal type), so they carry the first initialisation
// priority: they are built ahead of every ordinary static object of the library,
// right after a trigger that builds the tables. The order is therefore the
// namespace table, the domain table, filling both, then the separators. Nothing
// in this file reads the public constants: the operations use the constexpr
// units below, which exist before any code runs.
//
// Speed. The parser reads the caller's units in place through a view: it splits
// the prefix into views, looks words up without copying them, and copies only
// the name and the repository (short texts stay in UString's inline buffer).

#include "zel/selector.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zel/exception.h"
#include "zel/umessage.h"

// Objects built ahead of every static object that has no priority of its own.
#define ZEL_SELECTOR_FIRST_STATICS __attribute__((init_priority(101)))

namespace Zel {

namespace SelectorImpl {
namespace {

using Units = std::u16string_view;
constexpr std::size_t kNotFound = Units::npos;

constexpr UChar kDomainFieldSep = u'.';
constexpr UChar kNamespaceFieldSep = u':';
constexpr UChar kRepoFieldSep = u'@';
constexpr UChar kSegmentSep = u'/';
constexpr UChar kOtherSegmentSep = u'\\';
constexpr UChar kEscapeChar = u'%';

// What encode_segment() escapes, in order. The escape character comes first, so
// that the escapes added for the others are not escaped again.
constexpr UChar kDelimiters[Selector::g_delimiters_length] = {
    kEscapeChar, kNamespaceFieldSep, kRepoFieldSep, kSegmentSep, kOtherSegmentSep};

// The tag namespace of resource types, "RES:".
constexpr XmlTag::NsId kResourceTypeNs = 16;

struct Word {
  std::int32_t value;
  const UChar* text;
};

constexpr Word kDomainWords[] = {
#define ZEL_SELECTOR_DOMAIN(value, enumerator, text) {value, u"" text},
#include "zel/selector_tables.def"
};

constexpr Word kNamespaceWords[] = {
#define ZEL_SELECTOR_NAMESPACE(value, enumerator, text) {value, u"" text},
#include "zel/selector_tables.def"
};

constexpr bool same_text(const UChar* a, const UChar* b) {
  while (*a != 0 && *a == *b) ++a, ++b;
  return *a == *b;
}

// Each row's value is its index (the string arrays are indexed by value) and no
// text occurs twice (every insertion into a map creates a node).
template <std::size_t N>
constexpr bool well_formed(const Word (&words)[N]) {
  for (std::size_t i = 0; i < N; ++i) {
    if (words[i].value != static_cast<std::int32_t>(i)) return false;
    for (std::size_t j = 0; j < i; ++j) {
      if (same_text(words[i].text, words[j].text)) return false;
    }
  }
  return true;
}

static_assert(std::size(kDomainWords) == 4 && well_formed(kDomainWords));
static_assert(std::size(kNamespaceWords) == 52 && well_formed(kNamespaceWords));

constexpr std::size_t power_of_two_at_least(std::size_t n) {
  std::size_t p = 1;
  while (p < n) p *= 2;
  return p;
}

// Words to values in an open-addressed table hashed by length and end units, so
// that a lookup costs one hash and usually one comparison. It holds views: what
// they view must outlive the index. Usable in constant expressions.
template <class V, std::size_t N>
class WordIndex {
 public:
  // Adds `word`, or gives an added one a new value.
  constexpr void add(Units word, V value) {
    std::size_t i = slot_of(word);
    while (slots_[i].used && slots_[i].word != word) i = (i + 1) % kSlots;
    if (!slots_[i].used) ++size_;
    slots_[i] = Slot{word, value, true};
  }

  // The value of `word`, or null when it was not added.
  constexpr const V* find(Units word) const {
    for (std::size_t i = slot_of(word);; i = (i + 1) % kSlots) {
      const Slot& slot = slots_[i];
      if (!slot.used) return nullptr;
      if (slot.word == word) return &slot.value;
    }
  }

  constexpr std::size_t size() const { return size_; }

 private:
  // At least twice the words, so that probes stay short and always end.
  static constexpr std::size_t kSlots = power_of_two_at_least(2 * N);

  struct Slot {
    Units word;
    V value;
    bool used;
  };

  static constexpr std::size_t slot_of(Units word) {
    return word.empty() ? 0
                        : (word.size() * 31 + word.front() * std::size_t{7} + word.back()) % kSlots;
  }

  std::array<Slot, kSlots> slots_{};
  std::size_t size_ = 0;
};

// Words to values for the parser, values to words for the formatters. A set owns
// the words; the parser finds them through an index of views of the set's words.
template <class T, std::size_t N>
class NameIdMap {
 public:
  // Leaves the map and the N words empty: InitMaps fills them.
  NameIdMap() = default;

  // The value of `word`, or null when it is not exactly a key.
  const T* find(Units word) const { return index_.find(word); }

  const UString& string(T value) const { return strings_[static_cast<std::size_t>(value)]; }

  void add(const UChar* text, T value) {
    const UString& word = *words_.emplace(text).first;
    strings_[static_cast<std::size_t>(value)] = word;
    // A word in the set never changes or moves: the view stays valid.
    index_.add(word.view(), value);
  }

 private:
  std::set<UString> words_;
  std::array<UString, N> strings_;
  WordIndex<T, N> index_;
};

// The resource types: the tags of "RES:" in the tag catalogue, indexed while the
// library is compiled. Each name occurs once there, so the id found is the one
// the registry's lookup by namespace and name gives.
struct CatalogueRow {
  XmlTag::Id id;
  Units abbreviation;
  Units name;
};

constexpr CatalogueRow kCatalogue[] = {
#define ZEL_XMLTAG(id, constant, abbreviation, name) {id, u"" abbreviation, u"" name},
#include "zel/xmltag_catalogue.def"
#undef ZEL_XMLTAG
};

constexpr Units kResourceTypeAbbreviation = u"RES:";

constexpr std::size_t resource_type_count() {
  std::size_t count = 0;
  for (const CatalogueRow& row : kCatalogue) count += row.abbreviation == kResourceTypeAbbreviation;
  return count;
}

using ResourceTypeIndex = WordIndex<XmlTag::Id, resource_type_count()>;

constexpr ResourceTypeIndex resource_type_index() {
  ResourceTypeIndex index;
  for (const CatalogueRow& row : kCatalogue) {
    if (row.abbreviation == kResourceTypeAbbreviation) index.add(row.name, row.id);
  }
  return index;
}

constexpr ResourceTypeIndex kResourceTypes = resource_type_index();
static_assert(kResourceTypes.size() == resource_type_count(), "a resource type occurs twice");
static_assert(*kResourceTypes.find(u"vob") == XmlTag::RES_VOB);

using NamespaceMap = NameIdMap<Selector::namespace_t, std::size(kNamespaceWords)>;
using DomainMap = NameIdMap<Selector::provider_domain_t, std::size(kDomainWords)>;

// Fills both tables from the rows, namespaces first, each in value order.
class InitMaps {
 public:
  InitMaps(NamespaceMap& namespaces, DomainMap& domains) {
    for (const Word& row : kNamespaceWords) {
      namespaces.add(row.text, static_cast<Selector::namespace_t>(row.value));
    }
    for (const Word& row : kDomainWords) {
      domains.add(row.text, static_cast<Selector::provider_domain_t>(row.value));
    }
  }
};

struct Tables {
  NamespaceMap g_namespace_id_map;
  DomainMap g_provider_domain_string;
};

// Complete whenever it returns, whoever calls first; read-only afterwards.
const Tables& tables() {
  static Tables built;
  static const InitMaps init_maps(built.g_namespace_id_map, built.g_provider_domain_string);
  return built;
}

UString one_unit(UChar c) {
  const UChar units[] = {c, 0};
  return UString(units);
}

// The first `unit` at or after `from`, or kNotFound. Four units are tested at
// once: x below has a zero lane wherever a unit equals `unit`, and the classic
// zero-lane test sets the top bit of the lowest such lane exactly (higher lanes
// may show false hits, so only the lowest set bit counts).
std::size_t find_unit(Units text, UChar unit, std::size_t from) {
  const UChar* const data = text.data();
  const std::size_t size = text.size();
  std::size_t i = from;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  constexpr std::uint64_t kLow = 0x0001000100010001u;
  constexpr std::uint64_t kHigh = 0x8000800080008000u;
  const std::uint64_t pattern = kLow * unit;
  for (; i + 4 <= size; i += 4) {
    std::uint64_t units;
    std::memcpy(&units, data + i, sizeof units);
    const std::uint64_t x = units ^ pattern;
    const std::uint64_t zero_lanes = (x - kLow) & ~x & kHigh;
    if (zero_lanes != 0) return i + static_cast<std::size_t>(__builtin_ctzll(zero_lanes)) / 16;
  }
#endif
  for (; i < size; ++i) {
    if (data[i] == unit) return i;
  }
  return kNotFound;
}

std::size_t find_text(Units text, Units needle, std::size_t from) {
  return needle.size() == 1 ? find_unit(text, needle[0], from) : text.find(needle, from);
}

// Replaces `s` by `units`, in place. assign() would read a count of 0 as "up
// to the terminator", so an empty text clears instead.
void assign_units(UString& s, Units units) {
  if (units.empty()) {
    s.clear();
  } else {
    s.assign(units.data(), static_cast<UString::size_type>(units.size()));
  }
}

UString to_ustring(Units units) {
  UString s;
  assign_units(s, units);
  return s;
}

[[noreturn]] void invalid(const UString& text, const UString& reason) {
  throw StateException(UMessage(zelutil, 21, UMessage::Arg(text), UMessage::Arg(reason)));
}

UString reason(const UChar* literal, Units word) {
  return UString(literal).append(to_ustring(word));
}

// The literal ends in a double quote; the separator and one more double quote
// follow, so the reason reads: missing namespace seperator: ":"
UString separator_reason(const UChar* literal, UChar separator) {
  return UString(literal).append(separator).append(u'"');
}

// Calls `emit` with each segment of `text` between separators `sep`, while it
// returns true. Every branch below is deliberate, quirks included (see
// Selector::split_segments()): do not tidy them.
template <class Emit>
void for_each_segment(Units text, Units sep, Emit&& emit) {
  if (text.empty()) return;
  std::size_t start = 0;
  std::size_t from = 0;
  std::size_t p = sep.empty() ? kNotFound : find_text(text, sep, 0);
  while (p != kNotFound) {
    if (p == from) {
      // Empty segment, or a separator right after an escaped one: the latter
      // deliberately drops what was gathered since `start`.
      start = from = p + sep.size();
    } else if (p == 1 || text[p - 1] != kEscapeChar) {
      // Deliberately, a "%" in the first position never escapes.
      if (!emit(text.substr(start, p - start))) return;
      start = from = p + sep.size();
    } else {
      from = p + sep.size();
    }
    p = find_text(text, sep, from);
  }
  if (start < text.size()) emit(text.substr(start));
}

std::vector<Units> segments_of(Units text, Units sep) {
  std::vector<Units> segments;
  for_each_segment(text, sep, [&segments](Units s) {
    segments.push_back(s);
    return true;
  });
  return segments;
}

// The first `count` of `segments` with `sep` between them.
UString joined(const std::vector<Units>& segments, std::size_t count, Units sep) {
  std::u16string text;
  for (std::size_t i = 0; i < count; ++i) {
    if (i != 0) text.append(sep);
    text.append(segments[i]);
  }
  return to_ustring(text);
}

// Left to right, without overlaps, never searching inserted text again.
std::u16string replace_all(Units text, Units from, Units to) {
  std::u16string out;
  std::size_t done = 0;
  std::size_t p = from.empty() ? kNotFound : text.find(from);
  if (p == kNotFound) return std::u16string(text);
  while (p != kNotFound) {
    out.append(text.substr(done, p - done)).append(to);
    done = p + from.size();
    p = text.find(from, done);
  }
  out.append(text.substr(done));
  return out;
}

bool shows_namespace(Selector::namespace_t ns) {
  return ns != Selector::NS_NONE && ns != Selector::NS_INVALID && ns != Selector::NS_DEFAULT;
}

bool shows_domain(Selector::provider_domain_t domain) {
  return domain != Selector::DOMAIN_INVALID && domain != Selector::DOMAIN_NONE;
}

// What the formatters write, as views: the words of domain, namespace and
// resource type, and whether each is shown.
struct Fields {
  explicit Fields(const Selector& s)
      : show_namespace(shows_namespace(s.name_space())),
        show_type(show_namespace && s.name_space() == Selector::NS_REPO && s.resource_type() != 0),
        show_domain(shows_domain(s.provider_domain())),
        ns(show_namespace ? tables().g_namespace_id_map.string(s.name_space()).view() : Units()),
        type(show_type ? XmlTag::lookup(s.resource_type()).simple_name().view() : Units()),
        domain(show_domain ? tables().g_provider_domain_string.string(s.provider_domain()).view()
                           : Units()),
        name(s.name().view()),
        repository(s.repository().view()) {}

  // Enough room for either form: the texts and four separators.
  std::size_t capacity() const {
    return ns.size() + type.size() + domain.size() + name.size() + repository.size() + 4;
  }

  bool show_namespace;
  bool show_type;
  bool show_domain;
  Units ns;
  Units type;
  Units domain;
  Units name;
  Units repository;
};

// Puts a text together on the stack (on the heap when long) and hands it to a
// UString in one copy: appending piece by piece to a UString costs a full ICU
// append per piece.
class Composer {
 public:
  // Room for `capacity` units; adding more is a bug.
  explicit Composer(std::size_t capacity) : capacity_(capacity) {
    if (capacity > std::size(inline_)) {
      heap_.resize(capacity);
      data_ = heap_.data();
    }
  }
  Composer(const Composer&) = delete;
  Composer& operator=(const Composer&) = delete;

  Composer& add(Units units) {
    assert(size_ + units.size() <= capacity_);
    std::copy(units.begin(), units.end(), data_ + size_);
    size_ += units.size();
    return *this;
  }
  Composer& add(UChar unit) {
    assert(size_ < capacity_);
    data_[size_++] = unit;
    return *this;
  }

  Units units() const { return Units(data_, size_); }

 private:
  UChar inline_[128];
  std::u16string heap_;
  UChar* data_ = inline_;
  std::size_t size_ = 0;
  [[maybe_unused]] std::size_t capacity_;  // read by the assertions only
};

// Builds the tables while the library loads, ahead of the separators below.
struct BuildTablesAtLoad {
  BuildTablesAtLoad() { tables(); }
};
[[maybe_unused]] const BuildTablesAtLoad kBuildTablesAtLoad ZEL_SELECTOR_FIRST_STATICS;

}  // namespace

}  // namespace SelectorImpl

using SelectorImpl::kDelimiters;
using SelectorImpl::kNotFound;
using SelectorImpl::one_unit;
using SelectorImpl::tables;
using SelectorImpl::to_ustring;
using SelectorImpl::Units;

// In this order, after the tables. g_delimiters comes last: it holds the same
// units again, in the order encode_segment() escapes them.
const UString Selector::NAMESPACE_FIELD_SEP ZEL_SELECTOR_FIRST_STATICS =
    one_unit(SelectorImpl::kNamespaceFieldSep);
const UString Selector::REPO_FIELD_SEP ZEL_SELECTOR_FIRST_STATICS =
    one_unit(SelectorImpl::kRepoFieldSep);
const UString Selector::SEGMENT_SEP ZEL_SELECTOR_FIRST_STATICS =
    one_unit(SelectorImpl::kSegmentSep);
const UString Selector::OTHER_SEGMENT_SEP ZEL_SELECTOR_FIRST_STATICS =
    one_unit(SelectorImpl::kOtherSegmentSep);
const UString Selector::DOMAIN_FIELD_SEP ZEL_SELECTOR_FIRST_STATICS =
    one_unit(SelectorImpl::kDomainFieldSep);
const UString Selector::ESCAPE_CHAR ZEL_SELECTOR_FIRST_STATICS =
    one_unit(SelectorImpl::kEscapeChar);
const UString Selector::g_delimiters[g_delimiters_length] ZEL_SELECTOR_FIRST_STATICS = {
    one_unit(kDelimiters[0]), one_unit(kDelimiters[1]), one_unit(kDelimiters[2]),
    one_unit(kDelimiters[3]), one_unit(kDelimiters[4])};

// --- Parsing -----------------------------------------------------------------

Selector::Selector() : namespace_(NS_NONE), domain_(DOMAIN_NONE), resource_type_(0) {}

Selector::Selector(const UString& text) : Selector() {
  using SelectorImpl::invalid;
  using SelectorImpl::reason;
  using SelectorImpl::separator_reason;

  const Units units = text.view();
  const std::size_t colon = SelectorImpl::find_unit(units, SelectorImpl::kNamespaceFieldSep, 0);
  if (colon == kNotFound) {
    invalid(text,
            separator_reason(u"missing namespace seperator: \"", SelectorImpl::kNamespaceFieldSep));
  }

  // Domain, namespace, resource type, and a fourth word only to complain about.
  std::array<Units, 4> words;
  std::size_t count = 0;
  SelectorImpl::for_each_segment(units.substr(0, colon), Units(&SelectorImpl::kDomainFieldSep, 1),
                                 [&words, &count](Units word) {
                                   words[count++] = word;
                                   return count < words.size();
                                 });
  if (count >= 1) {
    const SelectorImpl::Tables& t = tables();
    const provider_domain_t* domain = t.g_provider_domain_string.find(words[0]);
    if (domain == nullptr) invalid(text, reason(u"unknown provider domain: ", words[0]));
    domain_ = *domain;
    if (count >= 2) {
      const namespace_t* ns = t.g_namespace_id_map.find(words[1]);
      if (ns == nullptr) invalid(text, reason(u"unknown namespace: ", words[1]));
      namespace_ = *ns;
    }
    if (count >= 3) {
      if (namespace_ != NS_REPO) {
        invalid(text, reason(u"extra segment before name and repository: ", words[2]));
      }
      const XmlTag::Id* type = SelectorImpl::kResourceTypes.find(words[2]);
      if (type == nullptr) {
        // Looked up all the same: the registry registers the word, with a run-time
        // id, as it does any name met at run time.
        XmlTag::lookup(SelectorImpl::kResourceTypeNs, to_ustring(words[2]));
        invalid(text, reason(u"unknown resource type: ", words[2]));
      }
      resource_type_ = *type;
      if (count >= 4) {
        invalid(text, reason(u"extra segment before name and repository: ", words[3]));
      }
    }
  }

  const std::size_t start = colon + 1;
  if (start >= units.size()) invalid(text, UString(u"no name or repository segments"));
  if (namespace_ == NS_USERDB || namespace_ == NS_VOB || namespace_ == NS_DBSET) {
    SelectorImpl::assign_units(repository_, units.substr(start));
    return;
  }
  const std::size_t at = SelectorImpl::find_unit(units, SelectorImpl::kRepoFieldSep, start);
  if (at == kNotFound) {
    invalid(text,
            separator_reason(u"missing repository seperator: \"", SelectorImpl::kRepoFieldSep));
  }
  // The prefix may not have set a resource type: then it is the nil value 0.
  if (at == start && resource_type_ != XmlTag::RES_MX_USERDB && resource_type_ != XmlTag::RES_VOB &&
      resource_type_ != XmlTag::RES_MX_DBSET) {
    invalid(text, UString(u"no name for non-repository resource type"));
  }
  SelectorImpl::assign_units(name_, units.substr(start, at - start));
  if (at + 1 == units.size()) invalid(text, UString(u"no repository segment"));
  SelectorImpl::assign_units(repository_, units.substr(at + 1));
}

// --- Formatting --------------------------------------------------------------

UString Selector::selector() const {
  using namespace SelectorImpl;
  if (!text_cache_.empty()) return text_cache_;
  const Fields f(*this);
  Composer text(f.capacity());
  if (f.show_namespace) {
    text.add(f.ns);
    // Deliberately "/" before the resource type here, where the parser reads ".".
    if (f.show_type) text.add(kSegmentSep).add(f.type);
    text.add(kNamespaceFieldSep);
  }
  text.add(f.name).add(kRepoFieldSep);
  if (f.show_domain) text.add(f.domain).add(kDomainFieldSep);
  text.add(f.repository);
  assign_units(text_cache_, text.units());
  return text_cache_;
}

UString Selector::to_string_with_domain() const {
  using namespace SelectorImpl;
  if (!text_cache_.empty()) return text_cache_;
  const Fields f(*this);
  Composer text(f.capacity());
  if (f.show_domain)
    text.add(f.domain).add(f.show_namespace ? kDomainFieldSep : kNamespaceFieldSep);
  if (f.show_namespace) {
    text.add(f.ns);
    if (f.show_type) text.add(kDomainFieldSep).add(f.type);
    text.add(kNamespaceFieldSep);
  }
  text.add(f.name);
  if (!f.repository.empty() && (!f.name.empty() || namespace_ == NS_REPO)) {
    text.add(kRepoFieldSep);
  }
  text.add(f.repository);
  assign_units(text_cache_, text.units());
  return text_cache_;
}

bool Selector::is_nil() const {
  return (namespace_ == NS_NONE || namespace_ == NS_DEFAULT) && domain_ == DOMAIN_NONE &&
         resource_type_ == 0 && name_.empty() && repository_.empty();
}

// --- Derived selectors -------------------------------------------------------

Selector::Selector(const Selector& other, FieldsOnly)
    : namespace_(other.namespace_),
      domain_(other.domain_),
      resource_type_(other.resource_type_),
      name_(other.name_),
      repository_(other.repository_) {}

Selector Selector::parent() const {
  const Units sep(&SelectorImpl::kSegmentSep, 1);
  Selector up(*this, FieldsOnly{});
  std::vector<Units> segments = SelectorImpl::segments_of(name_.view(), sep);
  if (!segments.empty()) {
    up.name_ = SelectorImpl::joined(segments, segments.size() - 1, sep);
    return up;
  }
  segments = SelectorImpl::segments_of(repository_.view(), sep);
  if (!segments.empty()) {
    up.repository_ = SelectorImpl::joined(segments, segments.size() - 1, sep);
  } else if (resource_type_ != 0) {
    up.resource_type_ = 0;
  } else if (namespace_ != NS_NONE) {
    up.namespace_ = NS_NONE;
  } else if (domain_ != DOMAIN_NONE) {
    up.domain_ = DOMAIN_NONE;
  }
  return up;
}

Selector Selector::child(const UString& path, namespace_t ns) const {
  const Units sep(&SelectorImpl::kSegmentSep, 1);
  Selector down(*this, FieldsOnly{});
  std::vector<Units> segments = SelectorImpl::segments_of(name_.view(), sep);
  SelectorImpl::for_each_segment(path.view(), sep, [&segments](Units s) {
    segments.push_back(s);
    return true;
  });
  down.name_ = SelectorImpl::joined(segments, segments.size(), sep);
  if (ns != NS_NONE) down.namespace_ = ns;
  return down;
}

Selector Selector::recompose_with_name(const UString& new_name) const {
  Selector renamed(*this, FieldsOnly{});
  renamed.name_ = new_name;
  return renamed;
}

// --- Tables, escaping, segments ----------------------------------------------

const UString& Selector::namespace_string(namespace_t ns) {
  return tables().g_namespace_id_map.string(ns);
}

const UString& Selector::provider_domain_string(provider_domain_t domain) {
  return tables().g_provider_domain_string.string(domain);
}

UString Selector::encode_segment(const UString& text) {
  std::u16string encoded(text.view());
  for (const UChar d : kDelimiters) {
    const UChar escaped[] = {SelectorImpl::kEscapeChar, d};
    encoded = SelectorImpl::replace_all(encoded, Units(&d, 1), Units(escaped, 2));
  }
  // Deliberately, a pair "@@" goes out unescaped.
  return to_ustring(SelectorImpl::replace_all(encoded, u"%@%@", u"@@"));
}

UString Selector::decode_string(const UString& text) {
  std::u16string decoded(text.view());
  // One delimiter after the other, "%%" first: a "%%" before a delimiter is
  // deliberately decoded twice.
  for (const UChar d : kDelimiters) {
    const UChar escaped[] = {SelectorImpl::kEscapeChar, d};
    decoded = SelectorImpl::replace_all(decoded, Units(escaped, 2), Units(&d, 1));
  }
  return to_ustring(decoded);
}

std::vector<UString> Selector::split_segments(const UString& text, const UString& sep) {
  std::vector<UString> segments;
  SelectorImpl::for_each_segment(text.view(), sep.view(), [&segments](Units s) {
    segments.push_back(to_ustring(s));
    return true;
  });
  return segments;
}

UString Selector::join_segments(const std::vector<UString>& segments, const UString& sep,
                                unsigned first, unsigned count) {
  UString text;
  for (unsigned i = 0; i < count; ++i) {
    const std::size_t index = std::size_t{first} + i;
    if (index >= segments.size()) break;
    if (i != 0) text.append(sep);
    text.append(segments[index]);
  }
  return text;
}

UString Selector::replaceAll(const UString& text, const UString& from, const UString& to) {
  const Units units = text.view();
  const Units needle = from.view();
  if (needle.empty() || units.find(needle) == kNotFound) return text;
  return to_ustring(SelectorImpl::replace_all(units, needle, to.view()));
}

}  // namespace Zel
