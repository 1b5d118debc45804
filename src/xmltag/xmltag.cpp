// The tag registry: the 21 well-known namespaces, the catalogue's tags, and the
// namespaces and tags registered at run time.
//
// Initialisation order. All registry state is one object, built by registry() on
// its first use. Whoever comes first, this file's own static initialiser below or
// a static initialiser of another file (a selector table looking up a resource
// type, say), gets a registry that is complete: the language runs a function-local
// static's constructor exactly once and makes other threads wait for it. The
// file-level trigger makes the build happen while the library loads, so that its
// cost is paid then and not by the first caller.
//
// Locking. Once built, the well-known records, the defined tags, their sorted
// lists and lookup_table never change, so they are read without a lock. What
// grows (run-time namespaces, the sorted namespace vector, every name map, the
// run-time tags and their id counter) is guarded by dynamic_tags_lock, and no
// other lock is taken while it is held.

#include "zel/xmltag.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zel/critsec.h"
#include "zel/critsec_lock.h"
#include "zel/exception.h"
#include "zel/thread_annotations.h"
#include "zel/umessage.h"

namespace Zel {

namespace XmlTagImpl {

using Id = XmlTag::Id;
using NsId = XmlTag::NsId;

namespace {

// The base of every well-known namespace URI. The project's own, and written
// only here.
constexpr UChar kVendorBaseUri[] = u"http://zelutil.example.org/ns";

// This file as internal-error messages name it: relative to the source tree, so
// that the text does not depend on where the library was built.
constexpr UChar kSourcePath[] = u"src/xmltag/xmltag.cpp";

constexpr NsId kWellKnownCount = XmlTag::FIRST_DYNAMIC_NS_ID;
constexpr Id kDefinedIdCount = XmlTag::FIRST_DYNAMIC_ID;

struct WellKnownRow {
  NsId id;
  const UChar* abbreviation;
  const UChar* uri_suffix;  // appended to kVendorBaseUri
  bool open;                // names are always resolved through the name map
};

constexpr WellKnownRow kWellKnownRows[kWellKnownCount] = {
    {0, u"ACL:", u"/TEAM/ACL", false},
    {1, u"ACT:", u"/TEAM/ACTTYPE", false},
    {2, u"ATR:", u"/TEAM/ATTRS", true},
    {3, u"AUTHMODE:", u"/TEAM/MXAUTHMODE", false},
    {4, u"LW:", u"/TEAM/LW", false},
    {5, u"MX:", u"/TEAM/MX", false},
    {6, u"CTG:", u"/TEAM/CTG", false},
    {7, u"EVT:", u"/TEAM/EVENTS", false},
    {8, u"FLD:", u"/TEAM/FIELDS", true},
    {9, u"FRM:", u"/TEAM/FORM", false},
    {10, u"FVT:", u"/TEAM/VALTYPE", false},
    {11, u"GROUP_ACCESS:", u"/TEAM/FOLDER_ACLS/GROUP", false},
    {12, u"MPN:", u"/TEAM/METAPROPERTY", false},
    {13, u"MPT:", u"/TEAM/MPTYPE", false},
    {14, u"NAMEDVAL:", u"/TEAM/NAMED_VALUE", false},
    {15, u"PREF:", u"/TEAM/PREF", false},
    {16, u"RES:", u"/TEAM/RESTYPE", false},
    {17, u"TEAMPVT:", u"/TEAM/PVT", false},
    {18, u"TEAM:", u"/TEAM", false},
    {19, u"USER_ACCESS:", u"/TEAM/FOLDER_ACLS/USER", false},
    {20, u"VENDOR:", u"/TEAM/MXDBVENDOR", false},
};

struct CatalogueRow {
  Id id;
  const UChar* abbreviation;
  const UChar* name;
};

constexpr CatalogueRow kCatalogue[] = {
#define ZEL_XMLTAG(id, constant, abbreviation, name) {id, u"" abbreviation, u"" name},
#include "zel/xmltag_catalogue.def"
#undef ZEL_XMLTAG
};

using Arg = UMessage::Arg;

// Internal errors pass function, path and line in this order, although the text
// announces the line before the file: the crossed reading is deliberate. All
// three are wide text, the kind code that inspects the arguments expects here.
[[noreturn]] void internal_error(const UChar* function, const UChar* line) {
  throw StateException(UMessage(zelutil, 3, Arg(function), Arg(kSourcePath), Arg(line)));
}

[[noreturn]] void illegal_value(const char* function) {
  throw IllegalArgException(UMessage(zelutil, 4, Arg(function)));
}

[[noreturn]] void illegal_id() { throw IllegalArgException(UMessage(zelutil, 5)); }

[[noreturn]] void illegal_ns() { throw IllegalArgException(UMessage(zelutil, 6)); }

// Grows `v` ahead of an insertion, so that a failed allocation happens before the
// registry is changed and the insertion itself cannot fail.
template <class Vector>
void make_room(Vector& v) {
  if (v.size() == v.capacity()) v.reserve(v.size() * 2 + 8);
}

// The first four code units of `name` packed into one integer that orders as
// the names do (a shorter name is padded with zeros).
std::uint64_t head_of(std::u16string_view name) {
  std::uint64_t head = 0;
  for (std::size_t i = 0; i < 4; ++i) head = head << 16 | (i < name.size() ? name[i] : 0u);
  return head;
}

}  // namespace

// A name of a sorted tag list with its head, so that most steps of a search
// compare integers and do not touch the name itself.
struct SortedName {
  std::uint64_t head;
  std::u16string_view name;
};

}  // namespace XmlTagImpl

class XmlTag::Namespace {
 public:
  Namespace(const UString* uri_text, NsId namespace_id, bool sorted, bool open)
      : uri(uri_text),
        id(namespace_id),
        tags_sorted(sorted),
        open_namespace(open),
        uri_key(uri_text->view()) {}

  // The defined tag named `name`, by binary search of the sorted list; null when
  // there is none. Reads only memory that no longer changes, and copies nothing.
  const XmlTag* find_defined(std::u16string_view name) const {
    const std::uint64_t head = XmlTagImpl::head_of(name);
    const auto at =
        std::lower_bound(sorted_names.begin(), sorted_names.end(), name,
                         [head](const XmlTagImpl::SortedName& entry, std::u16string_view wanted) {
                           if (entry.head != head) return entry.head < head;
                           return entry.name < wanted;
                         });
    if (at == sorted_names.end() || at->head != head || at->name != name) return nullptr;
    return tags[static_cast<std::size_t>(at - sorted_names.begin())];
  }

  // Callers get references to `uri` and to the tags' names, and a UString may
  // change its storage even through a const reference (c_str() does). So the
  // registry searches copies of its own: uri_key, sorted_text, the map keys.
  const UString* uri;  // a well-known row's URI, or owned_uri
  NsId id;
  bool tags_sorted;     // tags are sorted and searched by name
  bool open_namespace;  // "ATR:" and "FLD:"; only recorded here
  std::u16string uri_key;
  // Run-time tags by simple name, under dynamic_tags_lock.
  std::map<std::u16string, const XmlTag*, std::less<>> name_map;
  // The defined tags: in construction order until start-up sorts them by name.
  std::vector<const XmlTag*> tags;
  // Once sorted, the names of `tags`, side by side, viewing sorted_text, so that
  // a search reads two contiguous arrays.
  std::vector<XmlTagImpl::SortedName> sorted_names;
  std::u16string sorted_text;
  std::unique_ptr<UString> owned_uri;  // run-time namespaces only
};

namespace XmlTagImpl {

// Orders tags by simple name, in code-unit order as UString compares.
struct CompareXmlTagSimpleName {
  bool operator()(const XmlTag* a, const XmlTag* b) const {
    return a->simple_name().view() < b->simple_name().view();
  }
};

// Orders namespace records by URI.
struct CompareNamespacePtr {
  bool operator()(const XmlTag::Namespace* a, const XmlTag::Namespace* b) const {
    return a->uri_key < b->uri_key;
  }
  bool operator()(const XmlTag::Namespace* a, std::u16string_view uri) const {
    return std::u16string_view(a->uri_key) < uri;
  }
};

// The run-time tags by id, in chunks of 128 that are never moved or freed while
// the registry lives: a registered tag keeps its address. Id i lives in chunk
// (i - 1155) / 128 at slot (i - 1155) % 128.
class IdToTagMap {
 public:
  static constexpr Id kChunkSize = 128;

  // The slot of `id`, appending a chunk when `id` is the first of a new one. Ids
  // are handed out one by one, so one new chunk always suffices.
  std::optional<XmlTag>& slot(Id id) {
    const auto offset = static_cast<std::size_t>(id - XmlTag::FIRST_DYNAMIC_ID);
    const std::size_t chunk = offset / kChunkSize;
    if (chunk >= chunks_.size()) chunks_.push_back(std::make_unique<Chunk>());
    return (*chunks_[chunk])[offset % kChunkSize];
  }

 private:
  using Chunk = std::array<std::optional<XmlTag>, kChunkSize>;
  std::vector<std::unique_ptr<Chunk>> chunks_;
};

class Registry {
 public:
  // Start-up, in this order: the well-known namespaces, the catalogue's tags in
  // id order, then the sorted tag lists.
  Registry() {
    create_wk_namespaces();
    defined_tags_.reserve(std::size(kCatalogue));
    for (const CatalogueRow& row : kCatalogue) create(row.abbreviation, row.name, row.id);
    sorted_tag_vectors_created_ = sort_namespaces_sorted_wk_tag_vectors();
  }

  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;

  // --- Lock-free: what start-up built ------------------------------------

  const XmlTag* defined_tag(Id id) const { return lookup_table_[static_cast<std::size_t>(id)]; }
  XmlTag::Namespace* well_known(NsId ns) const {
    return namespace_array_[static_cast<std::size_t>(ns)];
  }
  const UString& abbreviation(NsId ns) const {
    return wk_namespaces_array_[static_cast<std::size_t>(ns)].abbreviation;
  }
  const UString& no_uri() const { return no_uri_; }

  // Compares with the table's own literals rather than the abbreviations that
  // ns_abbreviation() hands out.
  static NsId find_abbreviation(std::u16string_view abbreviation) {
    for (const WellKnownRow& row : kWellKnownRows) {
      if (abbreviation == row.abbreviation) return row.id;
    }
    return -1;
  }

  // The checks every definition of a tag makes before it changes anything. A
  // repeated id is an internal error: the catalogue's ids are unique.
  void check_definable(NsId ns, Id id) const {
    if (id < 0 || id >= kDefinedIdCount) illegal_value("XmlTag::XmlTag");
    if (ns < -1 || ns >= kWellKnownCount) illegal_value("XmlTag::XmlTag");
    if (defined_tag(id) != nullptr) internal_error(u"XmlTag::XmlTag", u"703");
  }

  // Defines tag `id` named `name` in well-known namespace `ns` (-1: none). The
  // lists that readers search without a lock must not change once start-up has
  // sorted them, so from then on this only reports why it refuses.
  void define(NsId ns, const UChar* name, Id id) {
    check_definable(ns, id);
    if (sorted_tag_vectors_created_) illegal_value("XmlTag::XmlTag");
    const UString simple_name(name);
    XmlTag::Namespace* record = simple_name.empty() || ns == -1 ? nullptr : well_known(ns);
    // Reserved for the whole catalogue, so the tags that lookup_table_ points at
    // never move.
    defined_tags_.push_back(XmlTag(record, simple_name, id));
    const XmlTag* tag = &defined_tags_.back();
    lookup_table_[static_cast<std::size_t>(id)] = tag;
    if (record != nullptr) record->tags.push_back(tag);
  }

  // --- Under dynamic_tags_lock -------------------------------------------

  const XmlTag& dynamic_tag(Id id) {
    CriticalSection guard(dynamic_tags_lock_);
    if (id >= num_defined_tags_) illegal_id();
    return *all_dynamic_tags_.slot(id);
  }

  XmlTag::Namespace* dynamic_namespace(NsId ns) {
    CriticalSection guard(dynamic_tags_lock_);
    if (static_cast<std::size_t>(ns) >= sorted_namespace_vector_.size()) illegal_ns();
    return nsid_to_namespace_map_[static_cast<std::size_t>(ns - kWellKnownCount)];
  }

  const UString& dynamic_uri(NsId ns) {
    CriticalSection guard(dynamic_tags_lock_);
    if (static_cast<std::size_t>(ns) >= sorted_namespace_vector_.size()) {
      illegal_value("XmlTag::ns_URI");
    }
    return *nsid_to_namespace_map_[static_cast<std::size_t>(ns - kWellKnownCount)]->uri;
  }

  // The namespace with URI `uri`, created with the next namespace id if there is
  // none.
  XmlTag::Namespace* find_or_create_namespace(const UString& uri) {
    CriticalSection guard(dynamic_tags_lock_);
    const std::u16string_view text = uri.view();
    const auto at = std::lower_bound(sorted_namespace_vector_.begin(),
                                     sorted_namespace_vector_.end(), text, CompareNamespacePtr());
    if (at != sorted_namespace_vector_.end() && (*at)->uri_key == text) return *at;

    const auto position = at - sorted_namespace_vector_.begin();
    auto owned_uri = std::make_unique<UString>(uri);
    auto record = std::make_unique<XmlTag::Namespace>(
        owned_uri.get(), static_cast<NsId>(sorted_namespace_vector_.size()), false, false);
    record->owned_uri = std::move(owned_uri);
    make_room(namespace_storage_);
    make_room(nsid_to_namespace_map_);
    make_room(sorted_namespace_vector_);
    XmlTag::Namespace* created = record.get();
    namespace_storage_.push_back(std::move(record));
    nsid_to_namespace_map_.push_back(created);
    sorted_namespace_vector_.insert(sorted_namespace_vector_.begin() + position, created);
    return created;
  }

  bool is_well_known_uri(const UString& uri) {
    CriticalSection guard(dynamic_tags_lock_);
    const std::u16string_view text = uri.view();
    const auto at = std::lower_bound(sorted_namespace_vector_.begin(),
                                     sorted_namespace_vector_.end(), text, CompareNamespacePtr());
    return at != sorted_namespace_vector_.end() && (*at)->uri_key == text &&
           (*at)->id < kWellKnownCount;
  }

  // The registered tag named `name` in `ns` (null: no namespace), registering a
  // new one if there is none; its id then goes to `*registered_id` too, when
  // given. Names in a sorted namespace are searched first without the lock.
  const XmlTag& resolve(XmlTag::Namespace* ns, const UString& name, Id* registered_id) {
    if (ns != nullptr && ns->tags_sorted) {
      if (const XmlTag* defined = ns->find_defined(name.view())) return *defined;
    }
    CriticalSection guard(dynamic_tags_lock_);
    // Tags without namespace have a map of their own.
    auto& names = ns != nullptr ? ns->name_map : nameless_tags_;
    const auto found = names.find(name.view());
    if (found != names.end()) return *found->second;

    const Id id = num_defined_tags_;
    std::optional<XmlTag>& slot = all_dynamic_tags_.slot(id);
    slot.emplace(XmlTag(ns, name, id));
    try {
      names.emplace(std::u16string(name.view()), &*slot);
    } catch (...) {
      slot.reset();
      throw;
    }
    ++num_defined_tags_;
    if (registered_id != nullptr) *registered_id = id;
    return *slot;
  }

 private:
  struct wk_namespace_t {
    NsId id = -1;
    UString uri;
    UString abbreviation;
  };

  // Builds the 21 well-known records and the namespace vector sorted by URI.
  void create_wk_namespaces() {
    // Only the constructor gets here, before another thread can see the
    // registry; the lock costs nothing then and keeps the rule without exception.
    CriticalSection guard(dynamic_tags_lock_);
    const UString base(kVendorBaseUri);
    for (const WellKnownRow& row : kWellKnownRows) {
      wk_namespace_t& wk = wk_namespaces_array_[static_cast<std::size_t>(row.id)];
      wk.id = row.id;
      wk.uri = base;
      wk.uri.append(row.uri_suffix);
      wk.abbreviation = UString(row.abbreviation);
      namespace_storage_.push_back(
          std::make_unique<XmlTag::Namespace>(&wk.uri, row.id, !row.open, row.open));
      namespace_array_[static_cast<std::size_t>(row.id)] = namespace_storage_.back().get();
    }
    sorted_namespace_vector_.reserve(kWellKnownCount);
    sorted_namespace_vector_.assign(namespace_array_.begin(), namespace_array_.end());
    std::sort(sorted_namespace_vector_.begin(), sorted_namespace_vector_.end(),
              CompareNamespacePtr());
  }

  // One catalogue row. An abbreviation that names no namespace ("null") gives a
  // tag without namespace, as does an empty name.
  void create(const UChar* abbreviation, const UChar* name, Id id) {
    define(find_abbreviation(abbreviation), name, id);
  }

  bool sort_namespaces_sorted_wk_tag_vectors() {
    for (XmlTag::Namespace* record : namespace_array_) {
      if (!record->tags_sorted) continue;
      std::stable_sort(record->tags.begin(), record->tags.end(), CompareXmlTagSimpleName());
      std::size_t total = 0;
      for (const XmlTag* tag : record->tags) total += tag->simple_name().length();
      record->sorted_text.reserve(total);
      record->sorted_names.reserve(record->tags.size());
      for (const XmlTag* tag : record->tags) {
        const std::u16string_view name = tag->simple_name().view();
        // Reserved in full: appending never moves the names already viewed.
        const std::size_t at = record->sorted_text.size();
        record->sorted_text.append(name);
        const std::u16string_view copy(record->sorted_text.data() + at, name.size());
        record->sorted_names.push_back({head_of(copy), copy});
      }
    }
    return true;
  }

  // Read-only after start-up.
  std::array<wk_namespace_t, kWellKnownCount> wk_namespaces_array_;
  std::array<XmlTag::Namespace*, kWellKnownCount> namespace_array_{};
  std::vector<XmlTag> defined_tags_;
  std::array<const XmlTag*, kDefinedIdCount> lookup_table_{};  // null: a free id
  const UString no_uri_;
  bool sorted_tag_vectors_created_ = false;

  // Guarded by dynamic_tags_lock_. namespace_storage_ owns every record.
  CriticalSectionLock dynamic_tags_lock_;
  std::vector<std::unique_ptr<XmlTag::Namespace>> namespace_storage_
      ZEL_GUARDED_BY(dynamic_tags_lock_);
  // Run-time ids 21, 22, ...
  std::vector<XmlTag::Namespace*> nsid_to_namespace_map_ ZEL_GUARDED_BY(dynamic_tags_lock_);
  // All records, by URI.
  std::vector<XmlTag::Namespace*> sorted_namespace_vector_ ZEL_GUARDED_BY(dynamic_tags_lock_);
  // The next run-time id.
  Id num_defined_tags_ ZEL_GUARDED_BY(dynamic_tags_lock_) = XmlTag::FIRST_DYNAMIC_ID;
  IdToTagMap all_dynamic_tags_ ZEL_GUARDED_BY(dynamic_tags_lock_);
  std::map<std::u16string, const XmlTag*, std::less<>> nameless_tags_
      ZEL_GUARDED_BY(dynamic_tags_lock_);
};

namespace {

Registry& registry() {
  static Registry instance;
  return instance;
}

// Builds the registry while the library loads; see the top of the file.
[[maybe_unused]] const bool kBuiltAtLoad = (registry(), true);

}  // namespace

}  // namespace XmlTagImpl

using XmlTagImpl::registry;

const UString XmlTag::EMPTY_NS_PREFIX;

XmlTag::XmlTag(NsId ns, const UChar* name, Id id) : ns_(nullptr), simple_name_(name), id_(id) {
  // The catalogue's own tags are defined inside the registry while it is built;
  // registry() returns only a complete registry, so this call is refused.
  registry().define(ns, name, id);
}

XmlTag::XmlTag(const UString& ns_uri, const UString& name)
    : ns_(registry().find_or_create_namespace(ns_uri)), simple_name_(name), id_(0) {}

const UString& XmlTag::ns() const { return ns_ != nullptr ? *ns_->uri : registry().no_uri(); }

XmlTag::NsId XmlTag::ns_id() const { return ns_ != nullptr ? ns_->id : -1; }

bool XmlTag::is_well_known_namespace() const {
  return ns_ != nullptr && ns_->id < FIRST_DYNAMIC_NS_ID;
}

UString XmlTag::to_string() const {
  if (id_ == 0) return UString(u"<nil-tag>");
  const UString& uri = ns();
  UString text;
  text.reserve(uri.length() + 1 + simple_name_.length());
  text.append(uri).append(u'/').append(simple_name_);
  return text;
}

namespace {

// What a character of a namespace URI takes inside a double-quoted attribute:
// '&', '<' and '"' are written as references so that a URI met at run time
// cannot break the element. The well-known URIs hold none of them.
const char16_t* attribute_reference(UChar c) {
  switch (c) {
    case u'&':
      return u"&amp;";
    case u'<':
      return u"&lt;";
    case u'"':
      return u"&quot;";
    default:
      return nullptr;
  }
}

UString::size_type attribute_length(const UString& value) {
  UString::size_type length = 0;
  for (const char16_t c : value.view()) {
    const char16_t* reference = attribute_reference(c);
    length += reference != nullptr
                  ? static_cast<UString::size_type>(std::char_traits<char16_t>::length(reference))
                  : 1;
  }
  return length;
}

void append_attribute(UString& text, const UString& value) {
  for (const char16_t c : value.view()) {
    const char16_t* reference = attribute_reference(c);
    if (reference != nullptr) {
      text.append(reference);
    } else {
      text.append(c);
    }
  }
}

}  // namespace

UString XmlTag::format(Format f, const UString& prefix) const {
  static constexpr UChar kXmlns[] = u" xmlns=\"";
  const bool end_tag = f == FORMAT_END;
  const bool empty_element = f == FORMAT_EMPTY;
  // With a prefix the caller declares the namespace elsewhere; without one the
  // tag declares it as the default namespace, except in an end tag.
  const bool declares = prefix.empty() && !end_tag;
  const UString& uri = ns();
  const UString::size_type uri_length = declares ? attribute_length(uri) : 0;
  const UString::size_type length =
      1 + (end_tag ? 1 : 0) + (prefix.empty() ? 0 : prefix.length() + 1) + simple_name_.length() +
      (declares ? static_cast<UString::size_type>(std::size(kXmlns) - 1) + uri_length + 1 : 0) +
      (empty_element ? 2 : 1);
  UString text;
  text.reserve(length);
  text.append(end_tag ? u"</" : u"<");
  if (!prefix.empty()) text.append(prefix).append(u':');
  text.append(simple_name_);
  if (declares) {
    text.append(kXmlns);
    if (uri_length == uri.length()) {
      text.append(uri);
    } else {
      append_attribute(text, uri);
    }
    text.append(u'"');
  }
  text.append(empty_element ? u"/>" : u">");
  return text;
}

bool XmlTag::operator==(const XmlTag& other) const {
  return this == &other || (ns_ == other.ns_ && simple_name_ == other.simple_name_);
}

bool XmlTag::operator<(const XmlTag& other) const {
  if (ns_ != other.ns_) return std::less<const Namespace*>()(ns_, other.ns_);
  return simple_name_ < other.simple_name_;
}

const XmlTag& XmlTag::lookup(Id id) {
  XmlTagImpl::Registry& r = registry();
  if (id < 0) XmlTagImpl::illegal_id();
  if (id >= FIRST_DYNAMIC_ID) return r.dynamic_tag(id);
  const XmlTag* tag = r.defined_tag(id);
  if (tag == nullptr) XmlTagImpl::internal_error(u"XmlTag::lookup", u"502");
  return *tag;
}

const XmlTag& XmlTag::lookup(NsId ns, const UString& name) {
  XmlTagImpl::Registry& r = registry();
  if (ns < 0) XmlTagImpl::illegal_ns();
  Namespace* record = ns < FIRST_DYNAMIC_NS_ID ? r.well_known(ns) : r.dynamic_namespace(ns);
  return r.resolve(record, name, nullptr);
}

const XmlTag& XmlTag::lookup(XmlTag& tag) {
  return registry().resolve(tag.ns_, tag.simple_name_, &tag.id_);
}

UString XmlTag::format(Format f, Id id, const UString& prefix) {
  return lookup(id).format(f, prefix);
}

const UString& XmlTag::ns_URI(NsId ns) {
  XmlTagImpl::Registry& r = registry();
  if (ns < 0) XmlTagImpl::illegal_value("XmlTag::ns_URI");
  if (ns < FIRST_DYNAMIC_NS_ID) return *r.well_known(ns)->uri;
  return r.dynamic_uri(ns);
}

const UString& XmlTag::ns_abbreviation(NsId ns) {
  // Compared as unsigned, so that negative ids are caught by the same test.
  if (static_cast<std::uint32_t>(ns) >= static_cast<std::uint32_t>(FIRST_DYNAMIC_NS_ID)) {
    XmlTagImpl::illegal_value("XmlTag::ns_abbreviation");
  }
  return registry().abbreviation(ns);
}

XmlTag::NsId XmlTag::ns_lookup_abbreviation(const UString& abbreviation) {
  return registry().find_abbreviation(abbreviation.view());
}

bool XmlTag::is_well_known_namespace(const UString& uri) {
  return registry().is_well_known_uri(uri);
}

}  // namespace Zel
