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

}  // namespace

const char* const DavTime::DAYNAMES[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
const char* const DavTime::MONTHNAMES[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

UString DavTime::to_string(Format f) const {
  char text[64];
  std::size_t length = 0;
  {
    CriticalSection guard(clib_lock());
    const std::tm* utc = std::gmtime(&time_);
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
    if (std::sscanf(bytes.c_str(), "%3s, %2d %3s %4d %2d:%2d:%2d GMT", day_name, &day, month_name,
                    &year, &hours, &minutes, &seconds) < 7) {
      return;
    }
    month = -1;
    for (int m = 0; m < 12; ++m) {
      if (std::strcmp(month_name, MONTHNAMES[m]) == 0) month = m;
    }
    if (month < 0) return;
  } else {
    if (std::sscanf(bytes.c_str(), "%4d-%2d-%2dT%2d:%2d:%2dZ", &year, &month, &day, &hours,
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
  const std::tm* utc = std::gmtime(&t);
  if (utc == nullptr) return 0;
  int gs = utc->tm_sec, gm = utc->tm_min, gh = utc->tm_hour;
  const int gw = utc->tm_wday;
  const std::tm* local = std::localtime(&t);  // overwrites *utc: copied above
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
