// zel/davtime.h - the two date forms of WebDAV properties.
//
// A DavTime holds seconds since 1970-01-01 00:00:00 UTC and writes and reads
// them in the ISO 8601 form of creation dates and the RFC 1123 form of
// last-modified dates, always in UTC:
//
//   Zel::DavTime t(1146711721);
//   t.to_string(Zel::DavTime::ISO8601);  // "2006-05-04T03:02:01Z"
//   t.to_string(Zel::DavTime::RFC1123);  // "Thu, 04 May 2006 03:02:01 GMT"
//   t.parse(text);                       // either form; 0 when it does not parse
//
// Results are the same in every local time zone. The C library's calls that
// return shared static storage (gmtime, localtime) run under one lock of this
// module, so dates can be formatted from any number of threads.

#ifndef ZEL_DAVTIME_H_
#define ZEL_DAVTIME_H_

#include <ctime>

#include "zel/export.h"
#include "zel/ustring.h"

namespace Zel {

class ZEL_EXPORT DavTime {
 public:
  enum Format { ISO8601 = 0, RFC1123 = 1 };

  // "Sun" to "Sat", Sunday first; "Jan" to "Dec".
  static const char* const DAYNAMES[7];
  static const char* const MONTHNAMES[12];

  explicit DavTime(time_t t = 0) : time_(t) {}

  time_t get_time() const { return time_; }
  void set_time(time_t t) { time_ = t; }

  // The time in form `f`: "2006-05-04T03:02:01Z" or "Thu, 04 May 2006 03:02:01
  // GMT". Empty for another format value, or a time whose year has no such form.
  UString to_string(Format f) const;

  // Sets the time from `text` in either form. Anything that does not parse (too
  // few fields, a month name not spelt exactly "Jan".."Dec") sets 0 and reports
  // nothing. The day name of the RFC 1123 form is read but deliberately not
  // checked; fields out of range roll over ("2006-02-30" is March 2).
  void parse(const UString& text);

  // The local time zone's offset from UTC at `t`, in seconds, positive east of
  // Greenwich (19800 in India, -12600 in Newfoundland in winter).
  static int get_tz_offset(time_t t);

 private:
  time_t time_;
};

}  // namespace Zel

#endif  // ZEL_DAVTIME_H_
