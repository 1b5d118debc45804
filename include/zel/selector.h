// zel/selector.h - resource selectors.
//
// A selector is the text by which the clients of the server name one resource: a
// branch type in a repository, a record of a change-request database, a view, a
// repository itself. Its full form is
//
//   [domain.]namespace[.resourcetype]:name@repository
//
// as in "lw.brtype:main@/store/proj", and [domain.]namespace:repository for the
// repository namespaces "dbset", "userdb" and "vob", as in "lw.vob:/store/proj".
// Only the namespace "repo" takes a resource type, a tag of the XML namespace
// "RES:" (zel/xmltag.h): "lw.repo.vob:@/store/proj".
//
// Construct a Selector from the text to parse it; a malformed text throws
// StateException carrying QZMLK0671E with the whole text and the reason.
//
//   Zel::Selector s(Zel::UString(u"lw.brtype:main@/store/proj"));
//   s.name_space();               // Selector::NS_BRTYPE
//   s.name();                     // "main"
//   s.to_string_with_domain();    // "lw.brtype:main@/store/proj"
//   Zel::Selector up = s.parent();   // the same without the name
//
// The parser keeps name and repository exactly as written: it never removes "%"
// escapes, and it finds ":" and "@" by plain search, so "%:" or "%@" in a name
// still ends the field there. encode_segment() and decode_string() are for
// clients that build or read path segments themselves.
//
// Threads: parsing and the static operations may run on any number of threads
// at once. One Selector object must not be used from two threads at once, not
// even through const references: the formatters fill a cache without a lock.

#ifndef ZEL_SELECTOR_H_
#define ZEL_SELECTOR_H_

#include <cstdint>
#include <string>
#include <vector>

#include "zel/export.h"
#include "zel/ustring.h"
#include "zel/xmltag.h"

namespace Zel {

class ZEL_EXPORT Selector {
 public:
  // The product a selector belongs to. DOMAIN_INVALID and DOMAIN_NONE are never
  // written by the formatters; DOMAIN_NONE is part of the nil selector.
  enum provider_domain_t : std::int32_t {
#define ZEL_SELECTOR_DOMAIN(value, enumerator, text) enumerator = (value),
#include "zel/selector_tables.def"
  };

  // The kind of resource: NS_ followed by the word in upper case (NS_BRTYPE is
  // "brtype"). NS_NONE, NS_DEFAULT and NS_INVALID are never written by the
  // formatters; NS_DBSET, NS_USERDB and NS_VOB take the whole rest of the text as
  // the repository; only NS_REPO takes a resource type.
  enum namespace_t : std::int32_t {
#define ZEL_SELECTOR_NAMESPACE(value, enumerator, text) enumerator = (value),
#include "zel/selector_tables.def"
  };

  // The separators and the escape character, one unit each. Built while the
  // library loads, ahead of its other static objects. The library's operations
  // never read them, so those are safe at any time, even from static initialisers.
  static const UString DOMAIN_FIELD_SEP;     // "." between domain, namespace, type
  static const UString NAMESPACE_FIELD_SEP;  // ":" ends the prefix
  static const UString REPO_FIELD_SEP;       // "@" between name and repository
  static const UString SEGMENT_SEP;          // "/" between path segments
  static const UString OTHER_SEGMENT_SEP;    // "\" escaped, but never split on
  static const UString ESCAPE_CHAR;          // "%"
  static constexpr unsigned g_delimiters_length = 5;
  // What encode_segment() escapes, in the order it escapes them: "%", ":", "@",
  // "/", "\". "." is deliberately not among them: it is never escaped.
  static const UString g_delimiters[g_delimiters_length];

  // The nil selector: DOMAIN_NONE, NS_NONE, no resource type, empty texts.
  Selector();
  // Parses `text`. Throws StateException with QZMLK0671E, the whole text and the
  // reason when it is malformed. The misspelling "seperator" in two of the reasons
  // is deliberate: keep it.
  // A resource type the tag catalogue does not define is registered by the lookup
  // before the parse fails, like any tag name met at run time.
  // Explicit on purpose: a parse that can throw should not hide in an implicit
  // conversion from text.
  explicit Selector(const UString& text);

  namespace_t name_space() const { return namespace_; }
  provider_domain_t provider_domain() const { return domain_; }
  // The id of a "RES:" tag, only for NS_REPO; 0 means none.
  XmlTag::Id resource_type() const { return resource_type_; }
  // As written in the text, escapes included.
  const UString& name() const { return name_; }
  const UString& repository() const { return repository_; }

  // The short form, "brtype:main@lw./store/proj": the domain stands after the "@",
  // deliberately unlike the parser's form, and a resource type follows a "/".
  // The nil selector gives "@".
  UString selector() const;
  // The full form, "lw.brtype:main@/store/proj", which the parser reads back when
  // the domain is "lw" or "mx". The nil selector gives the empty text.
  //
  // Both formatters read and fill ONE cache, so whichever runs first on an object
  // fixes the text both return from then on. This is deliberate; copies made by
  // parent(), child() and recompose_with_name() start with an empty cache.
  UString to_string_with_domain() const;

  // True for NS_NONE or NS_DEFAULT with DOMAIN_NONE, no resource type and empty
  // name and repository.
  bool is_nil() const;

  // One step up: the name loses its last "/" segment; an empty name makes the
  // repository lose its last; with both empty the resource type, then the
  // namespace (to NS_NONE), then the domain (to DOMAIN_NONE) is dropped. Leading
  // and doubled "/" are lost on the way. A name or repository made of "/" alone
  // has no segment to drop and stays, so such a chain ends at a selector that is
  // its own parent without being nil; the nil selector is its own parent.
  Selector parent() const;
  // The name extended by the "/" segments of `path`, escapes kept; the namespace
  // becomes `ns`, except that NS_NONE keeps the current one.
  Selector child(const UString& path, namespace_t ns) const;
  // The same selector named `new_name`, taken as it is: not escaped, not split.
  Selector recompose_with_name(const UString& new_name) const;

  // The word of a value. No range check: pass only enumerators.
  static const UString& namespace_string(namespace_t ns);
  static const UString& provider_domain_string(provider_domain_t domain);

  // Puts "%" before every delimiter of g_delimiters. Deliberately leaves a pair
  // "@@" unescaped: "x@@y" stays "x@@y", "x@y" gives "x%@y".
  static UString encode_segment(const UString& text);
  // Removes the "%" before each delimiter, one delimiter after the other in
  // g_delimiters order. Deliberately not the exact inverse of encode_segment():
  // "%%" collapses first and is decoded again with what follows ("%%:" gives ":").
  static UString decode_string(const UString& text);
  // The non-empty segments of `text` between the separators `sep`. A separator
  // right after "%" stays inside its segment, with the "%". Deliberate quirks:
  // a "%" in the first position never escapes ("%.b" gives "%" and "b"), "%%."
  // counts as escaped, and a separator right after an escaped one discards what
  // was gathered since the last split ("a%..b" gives just "b").
  static std::vector<UString> split_segments(const UString& text, const UString& sep);
  // `count` segments from index `first`, `sep` between them, stopping at the end
  // of the list. A count of all ones (~0u) means every segment from `first` on.
  static UString join_segments(const std::vector<UString>& segments, const UString& sep,
                               unsigned first, unsigned count);
  // `text` with every occurrence of `from` replaced by `to`, left to right;
  // replacements never overlap and inserted text is never searched again. An
  // empty `from` replaces nothing.
  static UString replaceAll(const UString& text, const UString& from, const UString& to);

 private:
  struct FieldsOnly {};
  // A copy of the fields, with empty caches: what every derived selector starts from.
  Selector(const Selector& other, FieldsOnly);

  namespace_t namespace_;
  provider_domain_t domain_;
  XmlTag::Id resource_type_;
  UString name_;
  UString repository_;
  mutable UString text_cache_;  // empty: not formatted yet
  // Empty in every selector: the library never fills it. Reserved for code
  // built on the library.
  std::string narrow_cache_;
};

}  // namespace Zel

#endif  // ZEL_SELECTOR_H_
