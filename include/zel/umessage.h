// zel/umessage.h - catalogued messages with typed arguments.
//
// A UMessage names one message of a catalogue (an array of format texts) and
// carries up to ten typed arguments. It is stored inside exceptions and turned
// into text only when somebody asks, so that the text can come from a
// translated catalogue of the reader's locale.
//
//   Zel::UMessage m(Zel::zelutil, 19, Zel::UMessage::Arg(path), Zel::UMessage::Arg::nil);
//   Zel::UString text = m.message_string(nullptr);
//   // "QZMLK0669E Error converting '/tmp/x' to default character set."
//
// The library's own catalogue is `zelutil`: message n has the identifier QZMLK
// followed by 0650 + n and the letter E. Formatting follows printf: "%s" takes a
// text, "%d" an integer; a placeholder with no argument left is written out as
// it stands, and nothing ever reads past the arguments.

#ifndef ZEL_UMESSAGE_H_
#define ZEL_UMESSAGE_H_

#include <cstddef>
#include <string>
#include <vector>

#include "zel/export.h"
#include "zel/ustring.h"

namespace Zel {

class Resource;

// The library's catalogue: element 0 is the header "zelutil 21", elements 1 to
// 21 the English texts of messages QZMLK0651E to QZMLK0671E.
ZEL_EXPORT extern const char* zelutil[22];

class ZEL_EXPORT UMessage {
 public:
  // One typed argument, owning a copy of its value.
  class ZEL_EXPORT Arg {
   public:
    // The tag numbers are part of the interface.
    enum tag_t : int {
      NIL = 0,       // no argument; skipped wherever it stands
      CHAR = 1,      // char, formatted as an integer (or a character by %c)
      INT = 2,       // int
      LONG = 3,      // long
      INT64 = 4,     // long long
      DOUBLE = 5,    // double
      BYTES = 6,     // const char*: an owned copy of the zero-terminated bytes
      STRING = 7,    // std::string: an owned copy
      USTRING = 8,   // UString or UChar text: an owned copy of its UTF-8 bytes
      RESOURCE = 9,  // Resource: an owned clone, formatted by its text form
    };

    // The eight-byte member comes first: initialising the union with {} sets
    // its first member, and so zeroes every byte, pointers included.
    union arg_union_t {
      long long ll;
      char c;
      int i;
      long l;
      double d;
      char* bytes;          // BYTES; null for a null pointer
      std::string* string;  // STRING and USTRING
      Resource* resource;   // RESOURCE
    };

    // The nil argument.
    constexpr Arg() : tag_(NIL), value_{} {}
    Arg(char c);
    Arg(int i);
    Arg(long l);
    Arg(long long ll);
    Arg(double d);
    // Null is kept as null and formats as "(null)".
    Arg(const char* bytes);
    Arg(const std::string& bytes);
    Arg(const UString& text);
    // A zero-terminated UTF-16 text; null formats as an empty text.
    Arg(const UChar* text);
    Arg(const Resource& resource);

    Arg(const Arg& other);
    Arg(Arg&& other) noexcept;
    Arg& operator=(const Arg& other);
    Arg& operator=(Arg&& other) noexcept;
    virtual ~Arg();

    int tag() const { return tag_; }
    const arg_union_t& value() const { return value_; }
    bool is_nil() const { return tag_ == NIL; }

    static const Arg nil;

   private:
    void release();
    void copy_from(const Arg& other);

    int tag_;
    arg_union_t value_;
  };

  // A list of whole messages, for callers that gather several.
  class ZEL_EXPORT collection_t {
   public:
    using iterator = std::vector<UMessage>::iterator;
    using const_iterator = std::vector<UMessage>::const_iterator;

    iterator begin() { return messages_.begin(); }
    const_iterator begin() const { return messages_.begin(); }
    iterator end() { return messages_.end(); }
    const_iterator end() const { return messages_.end(); }
    void clear() { messages_.clear(); }
    void reserve(std::size_t n) { messages_.reserve(n); }
    std::size_t size() const { return messages_.size(); }
    bool empty() const { return messages_.empty(); }
    UMessage& operator[](std::size_t i) { return messages_[i]; }
    const UMessage& operator[](std::size_t i) const { return messages_[i]; }
    void push_back(const UMessage& m) { messages_.push_back(m); }
    // Appends copies of all of `other`'s messages (also when `other` is this one).
    collection_t& operator+=(const collection_t& other);

   private:
    std::vector<UMessage> messages_;
  };

  // The nil message: no catalogue, number -1, no arguments.
  UMessage();
  // Message `number` of `catalogue`. A nil argument is skipped wherever it
  // stands, so the arguments after it move up one place: this is deliberate.
  // Arguments are taken by value, so that temporaries are moved in, not copied;
  // an omitted one is a fresh nil, built inline rather than copied from Arg::nil.
  UMessage(const char** catalogue, const int number, Arg a1 = Arg(), Arg a2 = Arg());
  UMessage(const char** catalogue, const int number, Arg a1, Arg a2, Arg a3, Arg a4 = Arg(),
           Arg a5 = Arg(), Arg a6 = Arg(), Arg a7 = Arg(), Arg a8 = Arg(), Arg a9 = Arg(),
           Arg a10 = Arg());

  const char** catalogue() const { return catalogue_; }
  int number() const { return number_; }
  const std::vector<Arg>& args() const { return args_; }

  // True for a message without catalogue and with number -1, like `nil`.
  bool is_nil() const;

  // The formatted text: empty for a message without catalogue or with number
  // -1; "Could not locate Catalog File" when the catalogue has no text for the
  // number. `extra` is handed to the catalogue lookup: when not null it names
  // the locale whose translated catalogue to use.
  UString message_string(const char* extra = nullptr) const;

  // --- Formatting without a UMessage object ---------------------------------
  //
  // The catalogue forms look the format text up as message_string() does. Nil
  // arguments are left out, as in the constructors.

  static UString sprintf(const char** catalogue, const int number,
                         const std::vector<const Arg*>& args, const char* extra);
  static UString sprintf(const char** catalogue, const int number, const Arg& a);
  static UString sprintf(const char** catalogue, const int number, const Arg& a1, const Arg& a2,
                         const Arg& a3, const Arg& a4, const Arg& a5, const Arg& a6, const Arg& a7,
                         const Arg& a8, const Arg& a9, const Arg& a10);

  // printf-style formatting of a format text (UTF-8) with the arguments.
  static UString sprintf(const char* format, const std::vector<const Arg*>& args);
  static UString sprintf(const char* format, const Arg& a);
  static UString sprintf(const char* format, const Arg& a1, const Arg& a2, const Arg& a3,
                         const Arg& a4, const Arg& a5, const Arg& a6, const Arg& a7, const Arg& a8,
                         const Arg& a9, const Arg& a10);
  static UString sprintf(const UString& format, const std::vector<const Arg*>& args);
  static UString sprintf(const UString& format, const Arg& a);
  static UString sprintf(const UString& format, const Arg& a1, const Arg& a2, const Arg& a3,
                         const Arg& a4, const Arg& a5, const Arg& a6, const Arg& a7, const Arg& a8,
                         const Arg& a9, const Arg& a10);

  // The text every formatting gives when no format text can be found.
  static constexpr const char* CATALOGUE_NOT_FOUND = "Could not locate Catalog File";

  static const UMessage nil;

 private:
  const char** catalogue_;
  int number_;
  std::vector<Arg> args_;
};

}  // namespace Zel

#endif  // ZEL_UMESSAGE_H_
