// Dates: conversion to and from seconds since 1970 (UTC), plot labels with
// an optional display time zone, and parsing of the labels in data files.
#include "zor/date.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "zor/mess.h"

namespace {

constexpr const char* kMonths[] = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                   "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};
constexpr const char* kMonthsLc[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                     "jul", "aug", "sep", "oct", "nov", "dec"};
constexpr const char* kDayOfWeek[] = {"SUN", "MON", "TUE", "WED", "THU", "FRI", "SAT"};
constexpr int kNumDay[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};
constexpr int kNumDayLeap[] = {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335, 366};
constexpr int kUnset = -9999;

struct DateState {
  int tz_off = 0;  // seconds added to UTC for display
  int tz_pm = 0;   // 0 24-hour, 1 12-hour, -1 12-hour with UTC appended
  std::string tz_str = "Z";
  Date made;       // the record DATE_to_struct hands out
  long fixed_clock = -1;  // when >= 0, the "current" time

  void reset() { *this = DateState{}; }
};

DateState& state() {
  static DateState s;
  return s;
}

const char* month_name(int month) { return month >= 1 && month <= 12 ? kMonths[month - 1] : ""; }

int widen_year(int year) {
  if (year < 50) year += 2000;
  if (year < 200) year += 1900;
  return year;
}

// Replaces out-of-range month, day, hour and minute the way DATE_num_sec
// does, on a record used for a label.
void fix_label_fields(Date& d) {
  if (d.month < 1 || d.month > 12) d.month = 1;
  if (d.day < 0 || d.day > 31) d.day = 1;
  if (d.hour < 0 || d.hour > 23) d.hour = 0;
  if (d.min < 0 || d.min > 59) d.min = 0;
}

// "%d AM%s" / "%d PM%s" and, with minutes, "%d:%2.2d AM%s" ...
std::string twelve_hour(int hour, int min, bool with_min, const std::string& zone) {
  const char* half = hour < 12 ? "AM" : "PM";
  int h = hour % 12;
  if (h == 0) h = 12;
  char buf[48];
  if (with_min)
    std::snprintf(buf, sizeof buf, "%d:%2.2d %s%s", h, min, half, zone.c_str());
  else
    std::snprintf(buf, sizeof buf, "%d %s%s", h, half, zone.c_str());
  return buf;
}

std::string time_part(const Date& d, bool with_min, int utc_hour, int utc_min) {
  const DateState& s = state();
  char buf[64];
  if (s.tz_pm == 0) {
    if (with_min)
      std::snprintf(buf, sizeof buf, "%2.2d%2.2d%s", d.hour, d.min, s.tz_str.c_str());
    else
      std::snprintf(buf, sizeof buf, "%2.2d%s", d.hour, s.tz_str.c_str());
    return buf;
  }
  std::string t = twelve_hour(d.hour, d.min, with_min, s.tz_str);
  if (s.tz_pm == -1) {
    if (with_min)
      std::snprintf(buf, sizeof buf, " [%2.2d%2.2dZ]", utc_hour, utc_min);
    else
      std::snprintf(buf, sizeof buf, " [%2.2dZ]", utc_hour);
    t += buf;
  }
  return t;
}


}  // namespace

namespace zor::date {
void reset() { state().reset(); }
void set_clock(long secs) { state().fixed_clock = secs; }
}  // namespace zor::date

int DATE_init(Date* date) {
  if (date == nullptr) return -1;
  *date = Date{kUnset, kUnset, kUnset, kUnset, kUnset, kUnset, kUnset, kUnset};
  return 0;
}

const char* DATE_month(int month) { return month_name(month); }

const char* DATE_month_lower(int month) { return month >= 1 && month <= 12 ? kMonthsLc[month - 1] : ""; }

int DATE_is_leap(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0 ? 1 : 0;
}

long DATE_num_sec(Date* date) {
  if (date == nullptr) return 0;
  Date& d = *date;
  if (d.year < 0) d.year = 1980;
  d.year = widen_year(d.year);
  if (d.month < 1 || d.month > 12) d.month = 1;
  if (d.day < 0 || d.day > 31) d.day = 1;
  if (d.hour < 0 || d.hour > 23) d.hour = 0;
  if (d.min < 0 || d.min > 59) d.min = 0;
  if (d.sec < 0 || d.sec > 59) d.sec = 0;

  long secs = d.sec + 60L * d.min + 3600L * d.hour + 86400L * (d.day - 1) + 86400L * kNumDay[d.month - 1];
  // Four-year leap rule: exact from 1901 to 2099, the span of radar data.
  long leap_days = (d.year - 1900) / 4 - 17;
  if (d.month <= 2 && (d.year - 1900) % 4 == 0) --leap_days;
  secs += 86400L * 365L * (d.year - 1970) + 86400L * leap_days;
  return secs;
}

int DATE_get_gmdate(long* secs, Date* date) {
  if (date == nullptr) return -1;
  std::time_t t = secs != nullptr ? static_cast<std::time_t>(*secs) : static_cast<std::time_t>(DATE_get_time(nullptr));
  std::tm tm{};
  if (gmtime_r(&t, &tm) == nullptr) return -1;
  date->year = tm.tm_year + 1900;
  date->month = tm.tm_mon + 1;
  date->day = tm.tm_mday;
  date->jday = tm.tm_yday + 1;
  date->wday = tm.tm_wday;
  date->hour = tm.tm_hour;
  date->min = tm.tm_min;
  date->sec = tm.tm_sec;
  return 0;
}

long DATE_get_time(long* secs) {
  long now = state().fixed_clock >= 0 ? state().fixed_clock : static_cast<long>(std::time(nullptr));
  if (secs != nullptr) *secs = now;
  return now;
}

int DATE_days_date(int days, int* year, int* month, int* day) {
  if (year == nullptr || month == nullptr || day == nullptr) return -1;
  int y = 1970;
  if (days < 1) days = 1;
  for (;;) {
    int len = 365 + DATE_is_leap(y);
    if (days <= len) break;
    days -= len;
    ++y;
  }
  const int* table = y % 4 == 0 ? kNumDayLeap : kNumDay;
  int m = 1;
  while (m < 12 && table[m] < days) ++m;
  *year = y;
  *month = m;
  *day = days - table[m - 1];
  return 0;
}

int DATE_julian_monday(int year, int julian, int* month, int* day) {
  if (month == nullptr || day == nullptr) return -1;
  bool leap = DATE_is_leap(year) != 0;
  const int* table = leap ? kNumDayLeap : kNumDay;
  int last = leap ? 366 : 365;
  if (julian < 1) julian = 1;
  if (julian > last) julian = last;
  int m = 1;
  while (m < 12 && table[m] < julian) ++m;
  *month = m;
  *day = julian - table[m - 1];
  return 0;
}

int DATE_monday_julian(int year, int month, int day, int* julian) {
  if (julian == nullptr) return -1;
  if (month < 1) month = 1;
  if (month > 12) month = 12;
  const int* table = DATE_is_leap(year) ? kNumDayLeap : kNumDay;
  *julian = table[month - 1] + day;
  return 0;
}

Date* DATE_to_struct(int year, int month, int day, int hour, int min) {
  Date& d = state().made;
  d.year = year;
  d.month = month;
  d.day = day;
  d.hour = hour;
  d.min = min;
  d.sec = 0;
  return &d;
}

int DATE_print(M_type level, Date* date) {
  if (date == nullptr) return -1;
  MESS_print(level, "%d/%d/%d %2.2d:%2.2d:%2.2d\n", date->year, date->month, date->day, date->hour,
             date->min, date->sec);
  return 0;
}

int DATE_get_current_str(char* str) {
  if (str == nullptr) return -1;
  long now = DATE_get_time(nullptr);
  Date d;
  DATE_get_gmdate(&now, &d);
  std::snprintf(str, 32, "%2.2d %s %2.2d  %2.2d:%2.2d:%2.2dZ", d.year % 100, month_name(d.month), d.day,
                d.hour, d.min, d.sec);
  return 0;
}

int DATE_set_TZ(const char* str) {
  if (str == nullptr) return -1;
  DateState& s = state();
  if (*str == '-') {
    s.tz_pm = -1;
    ++str;
  } else if (*str == '+') {
    s.tz_pm = 1;
    ++str;
  }
  const char* colon = std::strchr(str, ':');
  std::size_t name_len = colon != nullptr ? static_cast<std::size_t>(colon - str) : std::strlen(str);
  if (name_len > 4) name_len = 4;
  // Built by appending: GCC 12 warns falsely about "text" + std::string.
  s.tz_str.assign(1, ' ').append(str, name_len);
  float hours = 0.0f;
  if (colon != nullptr) std::sscanf(colon + 1, "%f", &hours);
  s.tz_off = static_cast<int>(hours * 3600.0f);
  return 0;
}

int DATE_get_tz_off() { return state().tz_off; }

const char* DATE_get_tz_str() { return state().tz_str.c_str(); }

int DATE_make_label(Date* date, char* str) {
  if (str == nullptr) return -1;
  if (date == nullptr) {
    str[0] = '\0';
    return -1;
  }
  const DateState& s = state();
  Date d = *date;
  int utc_hour = d.hour;
  int utc_min = d.min;
  if (s.tz_off != 0) {
    long secs = DATE_num_sec(date);
    utc_hour = date->hour;
    utc_min = date->min;
    secs += s.tz_off;
    DATE_get_gmdate(&secs, &d);
  }

  int year = (d.year < 0 ? 1980 : d.year) % 100;
  bool month_set = d.month != kUnset;
  bool day_set = month_set && d.day != kUnset;
  bool hour_set = day_set && d.hour != kUnset;
  bool min_set = hour_set && d.min != kUnset;
  fix_label_fields(d);

  // 64 covers the longest form: "12:59 PM ABCD [2359Z] 31 DEC 99".
  char buf[64];
  if (!month_set) {
    std::snprintf(buf, sizeof buf, "%2.2d", year);
  } else if (!day_set) {
    std::snprintf(buf, sizeof buf, "%3s %2.2d", month_name(d.month), year);
  } else if (!hour_set) {
    std::snprintf(buf, sizeof buf, "%2d %3s %2.2d", d.day, month_name(d.month), year);
  } else {
    std::string t = time_part(d, min_set, utc_hour, utc_min);
    std::snprintf(buf, sizeof buf, "%s %2d %3s %2.2d", t.c_str(), d.day, month_name(d.month), year);
  }
  std::strcpy(str, buf);
  return 0;
}

int DATE_make_label_valid_time(int fhour, Date* date, char* str) {
  if (str == nullptr) return -1;
  if (date == nullptr) {
    str[0] = '\0';
    return -1;
  }
  const DateState& s = state();
  // fhour packs three numbers; only the hours (last three digits) move the
  // valid time, 800 and 900 (day and month codes) count as none. A missing
  // forecast hour means the date itself is the valid time.
  int hours = fhour == kUnset ? 0 : fhour % 1000;
  if (hours == 900 || hours == 800) hours = 0;

  Date d = *date;
  if (d.hour != kUnset && (d.hour < 0 || d.hour > 23)) d.hour = 0;
  if (d.day < 1 || d.day > 31) d.day = 1;
  if (d.month < 1 || d.month > 12) d.month = 1;
  if (d.year < 0) d.year = 1980;
  if (d.min == kUnset) d.min = 0;
  if (d.hour == kUnset) d.hour = 0;

  long secs = DATE_num_sec(&d) + 3600L * hours;
  Date utc;
  DATE_get_gmdate(&secs, &utc);
  secs += s.tz_off;
  DATE_get_gmdate(&secs, &d);

  std::string hour_text;
  char buf[64];
  if (s.tz_pm == 0) {
    std::snprintf(buf, sizeof buf, "%d%s", d.hour, s.tz_str.c_str());
    hour_text = buf;
  } else {
    hour_text = twelve_hour(d.hour, 0, false, s.tz_str);
    if (s.tz_pm == -1) {
      std::snprintf(buf, sizeof buf, " [%2.2dZ]", utc.hour);
      hour_text += buf;
    }
  }
  const char* wday = d.wday >= 0 && d.wday <= 6 ? kDayOfWeek[d.wday] : "";
  if (date->hour != kUnset)
    std::snprintf(buf, sizeof buf, "%s %3s %2d %3s %2.2d", hour_text.c_str(), wday, d.day,
                  month_name(d.month), d.year % 100);
  else
    std::snprintf(buf, sizeof buf, "%3s %2d %3s %2.2d", wday, d.day, month_name(d.month), d.year % 100);
  std::strcpy(str, buf);
  return 0;
}

char* DATE_fhour_label(char* str, int fhour, int flag) {
  if (str == nullptr) return nullptr;
  // Half-day steps a forecaster reads as days when asked to.
  static constexpr struct {
    int hours;
    const char* text;
  } kDayForms[] = {{12, "0.5 day"}, {24, "1 day"}, {36, "1.5 day"}, {48, "2 day"}, {60, "2.5 day"}};

  if (fhour >= 901) {
    std::sprintf(str, "%d month", fhour - 900);
    return str;
  }
  if (fhour >= 801) {
    std::sprintf(str, "%d day", fhour - 800);
    return str;
  }
  if (flag != 0)
    for (const auto& f : kDayForms)
      if (f.hours == fhour) {
        std::strcpy(str, f.text);
        return str;
      }
  if (fhour > 60 && fhour % 24 == 0)
    std::sprintf(str, "%d day", fhour / 24);
  else if (fhour > 60 && fhour % 24 == 12)
    std::sprintf(str, "%d.5 day", fhour / 24);
  else if (fhour != 0 && fhour != kUnset)
    std::sprintf(str, "%d hour", fhour);
  else
    str[0] = '\0';
  return str;
}

int DATE_decode_label(const char* str, Date* date) {
  if (date == nullptr) return -1;
  DATE_init(date);
  if (str == nullptr) return -1;
  std::size_t len = std::strlen(str);
  auto tail = [&](std::size_t n) -> const char* { return len >= n ? str + len - n : nullptr; };

  int year = kUnset, day = kUnset, hour = kUnset, min = kUnset, sec = kUnset, month = kUnset;
  char mon[4] = {};
  bool named = true;
  bool ok = false;
  if (std::sscanf(str, "%2dZ %2d %3s %2d", &hour, &day, mon, &year) == 4) {
    ok = true;
  } else if (const char* p = tail(15);
             p != nullptr && std::sscanf(p, "%2d%2dZ %2d %3s %2d", &hour, &min, &day, mon, &year) == 5) {
    // A label with a one-digit hour is padded with a blank, not a zero.
    if (p[0] == ' ') std::sscanf(p, "%1d%2d", &hour, &min);
    ok = true;
  } else if (const char* q = tail(19);
             q != nullptr &&
             std::sscanf(q, "%2d:%2d:%2dZ %2d %3s %2d", &hour, &min, &sec, &day, mon, &year) == 6) {
    ok = true;
  } else if (const char* r = tail(13); r != nullptr && std::sscanf(r, "%2dZ %2d %3s %2d", &hour, &day, mon, &year) == 4) {
    ok = true;
  } else if (std::sscanf(str, "%2d %2d %2d %2d", &year, &month, &day, &year) == 4) {
    named = false;
    ok = true;
  }
  if (!ok) return -1;

  date->year = widen_year(year);
  date->day = day;
  date->hour = hour;
  date->min = min;
  date->sec = sec;
  date->month = named ? DATE_decode_month(mon) : 0;
  return 0;
}

int DATE_decode_month(const char* str) {
  if (str == nullptr || str[0] == '\0') return 0;
  char c0 = str[0];
  bool upper = c0 >= 'A' && c0 <= 'Z';
  char first = upper ? c0 : static_cast<char>(c0 - 'a' + 'A');
  if (!upper && !(c0 >= 'a' && c0 <= 'z')) return 0;
  switch (first) {
    case 'F': return 2;
    case 'S': return 9;
    case 'O': return 10;
    case 'N': return 11;
    case 'D': return 12;
    default: break;
  }
  // The rest are told apart by a second or third letter in the same case.
  auto is = [upper](char c, char want) { return c == (upper ? want : static_cast<char>(want - 'A' + 'a')); };
  char second = str[1];
  char third = second != '\0' ? str[2] : '\0';
  if (first == 'J') {
    if (is(second, 'A')) return 1;
    if (is(third, 'N')) return 6;
    if (is(third, 'L')) return 7;
  } else if (first == 'M') {
    if (is(third, 'R')) return 3;
    if (is(third, 'Y')) return 5;
  } else if (first == 'A') {
    if (is(third, 'R')) return 4;
    if (is(third, 'G')) return 8;
  }
  return 0;
}

int DATE_decode_seq(const char* str, Date* date) {
  if (str == nullptr || date == nullptr) return -1;
  int n = std::sscanf(str, "%4d%2d%2d%2d%2d", &date->year, &date->month, &date->day, &date->hour, &date->min);
  return n >= 1 ? 0 : -1;
}
