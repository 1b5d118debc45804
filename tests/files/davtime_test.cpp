#include "zel/davtime.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "support/text.h"

namespace Zel {
namespace {

using zel_test::text;

time_t parsed(const char* utf8) {
  DavTime t(12345);
  t.parse(UString(Utf8String(utf8)));
  return t.get_time();
}

// The expected texts, made independently of DavTime.
std::string utc_text(time_t t, const char* format) {
  std::tm utc;
  gmtime_r(&t, &utc);
  char buffer[64];
  std::strftime(buffer, sizeof buffer, format, &utc);
  return buffer;
}
std::string iso(time_t t) { return utc_text(t, "%Y-%m-%dT%H:%M:%SZ"); }
std::string rfc(time_t t) { return utc_text(t, "%a, %d %b %Y %H:%M:%S GMT"); }

// Each test sets the zones it needs; none relies on the zone the one before left.
void use_zone(const char* zone) {
  setenv("TZ", zone, 1);
  tzset();
}

const char* const kZones[] = {
    "UTC",           "Asia/Kathmandu",     "Australia/Adelaide", "America/St_Johns",
    "Europe/London", "Pacific/Kiritimati", "Pacific/Pago_Pago"};

const time_t kInstants[] = {0, 1, 86399, 86400, 1146711721, 951782400,
                            // A daylight-saving gap and overlap in London.
                            1143336600, 1143338400, 1162085400, 1162089000,
                            // Around both ends of the 32-bit range.
                            2147483647, 2147397247, 2147483647L + 86400 * 3, -1, -86401,
                            -2147483647 - 1};

TEST(DavTime, FormatsAndParsesBothFormsInEveryZone) {
  for (const char* zone : kZones) {
    use_zone(zone);
    for (time_t t : kInstants) {
      const DavTime d(t);
      EXPECT_EQ(text(d.to_string(DavTime::ISO8601)), iso(t)) << zone << " " << t;
      EXPECT_EQ(text(d.to_string(DavTime::RFC1123)), rfc(t)) << zone << " " << t;
      EXPECT_EQ(parsed(iso(t).c_str()), t) << zone << " " << iso(t);
      EXPECT_EQ(parsed(rfc(t).c_str()), t) << zone << " " << rfc(t);
    }
  }
  EXPECT_TRUE(DavTime(5).to_string(static_cast<DavTime::Format>(2)).empty()) << "unknown format";
}

// What the scan patterns read, worked out independently with sscanf and timegm.
time_t oracle(const std::string& s) {
  int y, mo, d, h, mi, se;
  char day[4], month[4];
  if (s.size() >= 4 && s[3] == ',') {
    if (std::sscanf(s.c_str(), "%3s, %2d %3s %4d %2d:%2d:%2d GMT", day, &d, month, &y, &h, &mi,
                    &se) < 7) {
      return 0;
    }
    const std::string months = "JanFebMarAprMayJunJulAugSepOctNovDec";
    const std::size_t at = months.find(month);
    if (std::strlen(month) != 3 || at == std::string::npos || at % 3 != 0) return 0;
    mo = static_cast<int>(at / 3) + 1;
  } else if (s.size() < 4 ||
             std::sscanf(s.c_str(), "%4d-%2d-%2dT%2d:%2d:%2dZ", &y, &mo, &d, &h, &mi, &se) < 6) {
    return 0;
  }
  std::tm fields = {};
  fields.tm_year = y - 1900, fields.tm_mon = mo - 1, fields.tm_mday = d;
  fields.tm_hour = h, fields.tm_min = mi, fields.tm_sec = se;
  return timegm(&fields);
}

// The written shapes themselves are read back in every zone above.
TEST(DavTime, TextsNearTheWrittenShapesReadAsTheScanPatternsSay) {
  const char* const near_shapes[] = {
      // The ISO 8601 form, slightly off
      "2006-05-04T03:02:01Zextra", "2006-5-04T03:02:01Z", "+006-05-04T03:02:01Z",
      " 2006-05-04T03:02:01Z", "2006-05-04T03:02:1Z", "2006-05-04T03:02:01", "2006-05-04 03:02:01Z",
      "2006-05-04T03:02:0xZ", "20060-05-04T03:02:01Z", "2006-05-04",
      // and the RFC 1123 form
      "Thu, 4 May 2006 03:02:01 GMT", "Thu,  04 May 2006 03:02:01 GMT", "Thu, 04 May 2006 03:02:01",
      "Thu, 04 May 06 03:02:01", "Thu, 04 Mayo 2006 03:02:01 GMT", "Thu, -4 May 2006 03:02:01 GMT",
      "T\xC3\xBC, 04 May 2006 03:02:01 GMT", "Thu, 04 May 2006 03:02:01 UTC",
      "Thu, 04 may 2006 03:02:01 GMT", "Thu, 04 May 2006 03:02 GMT", "Thu,", "200",
      "T u, 04 May 2006 03:02:01 GMT"};
  for (const char* text : near_shapes) {
    EXPECT_EQ(parsed(text), oracle(text)) << text;
  }
  EXPECT_EQ(parsed("Xyz, 04 May 2006 03:02:01 GMT"), 1146711721);  // the day's name is not checked
  EXPECT_EQ(parsed("2006-02-30T00:00:00Z"), parsed("2006-03-02T00:00:00Z"));
}

TEST(DavTime, ZoneOffsetsIncludingPartHoursAndSummerTime) {
  struct Case {
    const char* zone;
    time_t t;
    int offset;
  };
  const Case cases[] = {
      {"Australia/Adelaide", 1136073600, 37800},  // +10:30 in January
      {"Australia/Adelaide", 1151712000, 34200},  // +9:30 in July
      {"America/St_Johns", 1136073600, -12600},   // -3:30 in winter
      // A day ahead of UTC, and a day behind.
      {"Pacific/Kiritimati", 1136116800, 50400},
      {"Pacific/Pago_Pago", 1136073600, -39600},
  };
  for (const Case& c : cases) {
    use_zone(c.zone);
    EXPECT_EQ(DavTime::get_tz_offset(c.t), c.offset) << c.zone;
  }
}

}  // namespace
}  // namespace Zel
