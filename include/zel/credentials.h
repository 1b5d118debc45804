// zel/credentials.h - a user's security identity and its small file.
//
// Credentials hold the user's identity, the primary group, the further groups
// and three text fields, answer group membership, and are saved to and loaded
// from a binary file whose layout is fixed byte for byte (16-bit counts and
// lengths, low byte first), whatever the processor:
//
//   Zel::Credentials c;
//   c.set_user(Zel::Identity::from_str(Zel::UString(u"2:010aff")));
//   c.set_primary_group(group);
//   c.groups().push_back(other_group);
//   c.write_to_file("/var/run/srv/cred");
//   Zel::Credentials back;
//   back.read_from_file("/var/run/srv/cred", false);
//   back.in_group_list(other_group);   // true
//
// write_to_file never writes the text fields; read_from_file reads them only
// when asked, from files written by other writers. This asymmetry is deliberate.
//
// Counts and lengths are read as two signed bytes (high * 256 + low), so a byte
// of 0x80 or more reads as negative: an identity of length 200 comes back with
// length -56. This reading is deliberate and kept; a negative count or length
// is never used as a size: nothing is read, allocated or copied for it.
//
// Every failure throws RuntimeException with the path and the system's error
// text (QZMLK0665E open, 0666E read, 0667E write, 0668E close); the file is
// closed before the exception leaves. A read that fails part-way leaves what was
// read so far assigned.

#ifndef ZEL_CREDENTIALS_H_
#define ZEL_CREDENTIALS_H_

#include <string>
#include <vector>

#include "zel/export.h"
#include "zel/oid.h"
#include "zel/pname.h"
#include "zel/ustring.h"

namespace Zel {

class ZEL_EXPORT Credentials {
 public:
  // The further groups, in file order; duplicates are kept.
  class ZEL_EXPORT group_list_t {
   public:
    using iterator = std::vector<Identity>::iterator;
    using const_iterator = std::vector<Identity>::const_iterator;

    iterator begin() { return groups_.begin(); }
    const_iterator begin() const { return groups_.begin(); }
    iterator end() { return groups_.end(); }
    const_iterator end() const { return groups_.end(); }
    void clear() { groups_.clear(); }
    void reserve(unsigned n) { groups_.reserve(n); }
    unsigned size() const { return static_cast<unsigned>(groups_.size()); }
    Identity& operator[](unsigned i) { return groups_[i]; }
    const Identity& operator[](unsigned i) const { return groups_[i]; }
    void push_back(const Identity& id) { groups_.push_back(id); }

   private:
    std::vector<Identity> groups_;
  };

  // Whether `id` is the primary group or one of the groups; the user identity
  // is not considered.
  bool in_group_list(const Identity& id) const;

  // Replaces the identities, and with `with_strings` the three text fields,
  // from the file at `path`.
  // A file that ends early fails with QZMLK0666E whose reason reads "unexpected
  // end of file": deliberate, as a short read sets no errno to describe it.
  void read_from_file(const std::string& path, bool with_strings);
  // Writes the identities (never the text fields) to `path`, truncating it.
  void write_to_file(const std::string& path) const;
  // Reads one text field (16-bit length, then that many bytes of UTF-8) from
  // `file`; `path` names the file in messages.
  static UString read_string(const std::string& path, UtlFileIoPtr& file);

  const Identity& user() const { return user_; }
  void set_user(const Identity& id) { user_ = id; }
  const Identity& primary_group() const { return primary_group_; }
  void set_primary_group(const Identity& id) { primary_group_ = id; }
  group_list_t& groups() { return groups_; }
  const group_list_t& groups() const { return groups_; }

  // The text fields, numbered in file order.
  const UString& text1() const { return text1_; }
  const UString& text2() const { return text2_; }
  const UString& text3() const { return text3_; }
  void set_text1(const UString& s) { text1_ = s; }
  void set_text2(const UString& s) { text2_ = s; }
  void set_text3(const UString& s) { text3_ = s; }

 private:
  // The object's order differs from the file's on purpose.
  UString text1_;
  UString text3_;
  UString text2_;
  Identity user_;
  Identity primary_group_;
  group_list_t groups_;
};

}  // namespace Zel

#endif  // ZEL_CREDENTIALS_H_
