#include "zel/davtime.h"

#include <cstdio>
#include <cstring>

#include "zel/critsec.h"

namespace Zel {

namespace {

// Serialises every call whose result lives in the C library's shared static
// storage (gmtime, localtime). Nothing else is locked while it is held. A
// function-local static, so that it exists even for dates handled while other
// libraries are being initialised.
const CriticalSectionLock& clib_lock() {
  static const CriticalSectionLock lock;
  return lock;
}

// A day, so that a time near either end of the 32-bit range stays inside it
// while it is converted.
constexpr int kDay = 86400;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// The value of the `count` digits at `p`, or -1 when one is not a digit.
int digits(const char* p, int count) {
  int value = 0;
  for (int i = 0; i < count; ++i) {
    if (!is_digit(p[i])) return -1;
    value = value * 10 + (p[i] - '0');
  }
  return value;
}

bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// The fields of the exact shapes the forms are written in, "2006-05-04T03:02:01Z"
// and "Thu, 04 May 2006 03:02:01 GMT", read without sscanf. Other texts return
// false and are read with sscanf, whose rules for blanks, signs and shorter
// fields then apply unchanged; on these shapes both read the same fields.
bool read_iso8601_shape(const std::string& s, int* f) {
  if (s.size() < 20 || s[4] != '-' || s[7] != '-' || s[10] != 'T' || s[13] != ':' || s[16] != ':' ||
      s[19] != 'Z') {
    return false;
  }
  const char* p = s.c_str();
  f[0] = digits(p, 4);
  f[1] = digits(p + 5, 2);
  f[2] = digits(p + 8, 2);
  f[3] = digits(p + 11, 2);
  f[4] = digits(p + 14, 2);
  f[5] = digits(p + 17, 2);
  for (int i = 0; i < 6; ++i) {
    if (f[i] < 0) return false;
  }
  return true;
}

bool read_rfc1123_shape(const std::string& s, char* day_name, char* month_name, int* f) {
  if (s.size() < 25 || s[3] != ',' || s[4] != ' ' || s[7] != ' ' || s[11] != ' ' || s[16] != ' ' ||
      s[19] != ':' || s[22] != ':') {
    return false;
  }
  for (int i : {0, 1, 2, 8, 9, 10}) {
    if (is_blank(s[i]) || s[i] == '\0') return false;
  }
  const char* p = s.c_str();
  f[0] = digits(p + 5, 2);
  f[1] = digits(p + 12, 4);
  f[2] = digits(p + 17, 2);
  f[3] = digits(p + 20, 2);
  f[4] = digits(p + 23, 2);
  for (int i = 0; i < 5; ++i) {
    if (f[i] < 0) return false;
  }
  std::memcpy(day_name, p, 3);
  std::memcpy(month_name, p + 8, 3);
  return true;
}

}  // namespace

const char* const DavTime::DAYNAMES[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
const char* const DavTime::MONTHNAMES[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

UString DavTime::to_string(Format f) const {
  char text[64];
  std::size_t length = 0;
  {
    CriticalSection guard(clib_lock());
    const std::tm* utc = std::gmtime(&time_);  // NOLINT(concurrency-mt-unsafe): under clib_lock
    if (utc == nullptr) return UString();
    if (f == ISO8601) {
      // Thirty bytes hold any four-digit year.
      length = std::strftime(text, 30, "%Y-%m-%dT%H:%M:%SZ", utc);
    } else if (f == RFC1123) {
      const int written =
          std::snprintf(text, sizeof text, "%s, %02d %s %04d %02d:%02d:%02d GMT",
                        DAYNAMES[utc->tm_wday], utc->tm_mday, MONTHNAMES[utc->tm_mon],
                        utc->tm_year + 1900, utc->tm_hour, utc->tm_min, utc->tm_sec);
      length = written > 0 && static_cast<std::size_t>(written) < sizeof text ? written : 0;
    }
  }
  UString result;
  result.utf8_assign(text, length);
  return result;
}

void DavTime::parse(const UString& text) {
  time_ = 0;
  const Utf8String bytes = text.utf8_str();
  if (bytes.size() < 4) return;

  int year = 0, month = 0, day = 0, hours = 0, minutes = 0, seconds = 0;
  if (bytes[3] == ',') {
    char day_name[4] = {};
    char month_name[4] = {};
    int f[5];
    if (read_rfc1123_shape(bytes, day_name, month_name, f)) {
      day = f[0], year = f[1], hours = f[2], minutes = f[3], seconds = f[4];
      // The scan's rules (maximum widths, signs, trailing text) are the lenient
      // parse of the date forms; a field it cannot read shows in the count.
      // NOLINTNEXTLINE(cert-err34-c)
    } else if (std::sscanf(bytes.c_str(), "%3s, %2d %3s %4d %2d:%2d:%2d GMT", day_name, &day,
                           month_name, &year, &hours, &minutes, &seconds) < 7) {
      return;
    }
    month = -1;
    for (int m = 0; m < 12; ++m) {
      if (std::strcmp(month_name, MONTHNAMES[m]) == 0) month = m;
    }
    if (month < 0) return;
  } else {
    int f[6];
    if (read_iso8601_shape(bytes, f)) {
      year = f[0], month = f[1], day = f[2], hours = f[3], minutes = f[4], seconds = f[5];
      // NOLINTNEXTLINE(cert-err34-c): as above
    } else if (std::sscanf(bytes.c_str(), "%4d-%2d-%2dT%2d:%2d:%2dZ", &year, &month, &day, &hours,
                           &minutes, &seconds) < 6) {
      return;
    }
    month -= 1;
  }

  std::tm broken_down = {};
  broken_down.tm_year = year - 1900;
  broken_down.tm_mon = month;
  broken_down.tm_mday = day;
  broken_down.tm_hour = hours;
  broken_down.tm_min = minutes;
  broken_down.tm_sec = seconds;
  broken_down.tm_isdst = -1;
  // Keep the conversion a day away from the ends of the 32-bit range.
  int correction = 0;
  if (broken_down.tm_year < 71) {
    broken_down.tm_hour += 24;
    correction = kDay;
  } else if (broken_down.tm_year > 137) {
    broken_down.tm_hour -= 24;
    correction = -kDay;
  }
  // The fields are UTC. Reading them as local time and adding the zone's
  // offset back comes out an hour wrong for times that fall in a local
  // daylight-saving gap, so they are converted as UTC directly.
  time_ = timegm(&broken_down) - correction;
}

int DavTime::get_tz_offset(time_t t) {
  CriticalSection guard(clib_lock());
  const std::tm* utc = std::gmtime(&t);  // NOLINT(concurrency-mt-unsafe): under clib_lock
  if (utc == nullptr) return 0;
  int gs = utc->tm_sec, gm = utc->tm_min, gh = utc->tm_hour;
  const int gw = utc->tm_wday;
  // Overwrites *utc, copied above. Under clib_lock too.
  const std::tm* local = std::localtime(&t);  // NOLINT(concurrency-mt-unsafe)
  if (local == nullptr) return 0;
  int ls = local->tm_sec, lm = local->tm_min, lh = local->tm_hour;
  const int lw = local->tm_wday;
  // The two readings may fall on neighbouring days.
  const int days = (gw - lw + 7) % 7;
  if (days == 1) gh += 24;
  if (days == 6) lh += 24;
  return (lm - gm) * 60 + (lh - gh) * 3600 + (ls - gs);
}

}  // namespace Zel
