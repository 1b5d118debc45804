// zel/xmltag.h - the XML element names of the server's wire protocol.
//
// An XmlTag names an XML element (or property) by a namespace and a simple name,
// and gives it a small integer id so that code can switch on tags and store them
// compactly. The library defines about 1,150 tags in 21 well-known namespaces,
// each reached through its constant (XmlTag::ACL_ENTRY, XmlTag::RES_VOB, ...);
// tags and namespaces met at run time, for example in a response document, are
// registered on first lookup and get ids after the defined ones.
//
//   using Zel::XmlTag;
//   const XmlTag& entry = XmlTag::lookup(XmlTag::ACL_ENTRY);
//   entry.format(XmlTag::FORMAT_START, u"A");            // "<A:acl-entry>"
//   const XmlTag& same = XmlTag::lookup(entry.ns_id(), u"acl-entry");
//   // &same == &entry: a defined name is found without taking a lock
//
//   XmlTag probe(uri_from_document, name_from_document);  // not registered, id 0
//   switch (XmlTag::lookup(probe).id()) {                  // registered if new
//     case XmlTag::ACL_ENTRY: ...
//   }
//
// Registered tags and namespace records live as long as the library: a returned
// reference never dangles or moves. Every static operation may be called from
// any thread, also from another library's static initialisers, since the
// registry is built before its first use. The tags lookup() returns are shared
// by all threads and never change, so their const operations are safe anywhere;
// their names and URIs are shared as well: read them (view(), utf8_str(),
// compare, copy), but copy one before calling c_str() or std_str(), which change
// a UString's insides. An XmlTag of your own, like a UString, belongs to one
// thread at a time.
//
// Failures are exceptions with messages of the catalogue `zelutil`: an id or
// namespace id a caller passes wrongly gives IllegalArgException (QZMLK0654E,
// QZMLK0655E or QZMLK0656E), an id that no tag uses StateException (QZMLK0653E).

#ifndef ZEL_XMLTAG_H_
#define ZEL_XMLTAG_H_

#include <cstdint>

#include "zel/export.h"
#include "zel/ustring.h"

namespace Zel {

namespace XmlTagImpl {
class Registry;
}

class ZEL_EXPORT XmlTag {
 public:
  using Id = std::int32_t;    // 0..1154 defined, 1155 upward registered at run time
  using NsId = std::int32_t;  // 0..20 well-known, 21 upward run time, -1 none

  enum Format { FORMAT_START = 0, FORMAT_END = 1, FORMAT_EMPTY = 2 };

  // One record per namespace, owned by the registry and never freed.
  class Namespace;

  // The catalogue's constants, one per defined tag: XmlTag::NIL (0),
  // XmlTag::ACL_ENTRY, ... Ids that no constant uses are free.
#define ZEL_XMLTAG(id, constant, abbreviation, name) static constexpr Id constant = id;
#include "zel/xmltag_catalogue.def"
#undef ZEL_XMLTAG

  // The first id given to a tag registered at run time; below it the catalogue's.
  static constexpr Id FIRST_DYNAMIC_ID = 1155;
  // The first id given to a namespace met at run time; below it the well-known.
  static constexpr NsId FIRST_DYNAMIC_NS_ID = 21;

  // The prefix argument of format() that means "no prefix". A namespace-scope
  // constant: code running during static initialisation passes UString() instead.
  static const UString EMPTY_NS_PREFIX;

  // Defines tag `id` named `name` in well-known namespace `ns` (-1 or an empty
  // name: no namespace). Only the catalogue's own start-up defines tags; after
  // it the defined set is closed, so this throws: StateException (QZMLK0653E)
  // when `id` is already used, IllegalArgException (QZMLK0654E) otherwise.
  XmlTag(NsId ns, const UChar* name, Id id);
  // An unregistered tag (id 0) named `name` in the namespace with URI `ns_uri`,
  // which is created, with the next namespace id, if no namespace has that URI.
  XmlTag(const UString& ns_uri, const UString& name);

  Id id() const { return id_; }
  const UString& simple_name() const { return simple_name_; }
  // The namespace URI; an empty string for a tag without namespace.
  const UString& ns() const;
  // The namespace id, or -1 for a tag without namespace.
  NsId ns_id() const;
  // True when the tag has one of the 21 well-known namespaces.
  bool is_well_known_namespace() const;

  // "<nil-tag>" for id 0, else the namespace URI, "/" and the simple name.
  UString to_string() const;
  // The start, end or empty-element tag. With a non-empty `prefix` the name is
  // qualified by it and the caller declares the namespace elsewhere; without
  // one, start and empty-element tags declare the URI as the default namespace:
  // FORMAT_EMPTY without prefix gives <acl-entry xmlns="URI"/>.
  UString format(Format f, const UString& prefix) const;

  // Same object, or same namespace record and same simple name; ids are not
  // compared, so a probe equals the tag it registers.
  bool operator==(const XmlTag& other) const;
  bool operator!=(const XmlTag& other) const { return !(*this == other); }
  // By namespace record first, in an arbitrary but fixed order of the records
  // (deliberately not by URI), then by simple name.
  bool operator<(const XmlTag& other) const;

  // The tag with id `id`. IllegalArgException (QZMLK0655E) for a negative id or
  // one not yet given out, StateException (QZMLK0653E) for a free defined id.
  static const XmlTag& lookup(Id id);
  // The tag named `name` in namespace `ns`, registered if new. A defined name in
  // a well-known namespace other than "ATR:" and "FLD:" is its constant, found
  // without a lock and without copying `name`. IllegalArgException (QZMLK0656E)
  // for a namespace id that does not exist.
  static const XmlTag& lookup(NsId ns, const UString& name);
  // The registered tag equal to `tag`, registering a copy if new. Deliberately
  // writes the registered id into `tag` when it registers one.
  static const XmlTag& lookup(XmlTag& tag);
  // lookup(id).format(f, prefix).
  static UString format(Format f, Id id, const UString& prefix);

  // The URI of namespace `ns`; IllegalArgException (QZMLK0654E) when there is none.
  static const UString& ns_URI(NsId ns);
  // The abbreviation ("ACL:", colon included) of a well-known namespace;
  // IllegalArgException (QZMLK0654E) for any other id: run-time namespaces have none.
  static const UString& ns_abbreviation(NsId ns);
  // The well-known namespace whose abbreviation is exactly `abbreviation`, or -1.
  static NsId ns_lookup_abbreviation(const UString& abbreviation);
  // True when a namespace with this URI exists and is well-known.
  static bool is_well_known_namespace(const UString& uri);

 private:
  friend class XmlTagImpl::Registry;

  XmlTag(Namespace* ns, const UString& name, Id id) : ns_(ns), simple_name_(name), id_(id) {}

  Namespace* ns_;  // not owned; null for a tag without namespace
  UString simple_name_;
  Id id_;
};

}  // namespace Zel

#endif  // ZEL_XMLTAG_H_
