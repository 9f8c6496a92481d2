// Dates: seconds since 1970, calendar helpers, labels with and without a
// display time zone, forecast labels and label parsing.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#include "zor/date.h"

namespace {

class DateTest : public ::testing::Test {
 protected:
  void SetUp() override { zor::date::reset(); }
  void TearDown() override { zor::date::reset(); }
};

Date make(int year, int month = -9999, int day = -9999, int hour = -9999, int min = -9999, int sec = -9999) {
  Date d;
  DATE_init(&d);
  d.year = year, d.month = month, d.day = day, d.hour = hour, d.min = min, d.sec = sec;
  return d;
}

std::string label(Date d) {
  char buf[64];
  EXPECT_EQ(DATE_make_label(&d, buf), 0);
  return buf;
}

std::string valid_label(int fhour, Date d) {
  char buf[64];
  DATE_make_label_valid_time(fhour, &d, buf);
  return buf;
}

TEST_F(DateTest, SecondsSince1970AndAFixedClock) {
  std::pair<Date, long> cases[] = {
      {make(1970, 1, 1, 0, 0, 0), 0}, {make(2000, 3, 1, 0, 0, 0), 951868800},
      {make(2024, 2, 29, 12, 0, 0), 1709208000}, {make(2023, 12, 31, 23, 59, 59), 1704067199},
      {make(2024, 1, 1, 0, 0, 0), 1704067200},  // January of a leap year
      {make(2099, 12, 31, 0, 0, 0), 4102358400},
  };
  for (auto& [d, secs] : cases) EXPECT_EQ(DATE_num_sec(&d), secs) << d.year << "-" << d.month;
  // A fixed clock; its text form is read back from a stamped log in mess_test.
  zor::date::set_clock(1709647439);  // 2024-03-05 14:03:59 UTC
  long t = 0;
  EXPECT_EQ(DATE_get_time(&t), 1709647439);
  Date d;
  DATE_get_gmdate(nullptr, &d);
  EXPECT_EQ(d.hour * 100 + d.min, 1403);
}

TEST_F(DateTest, SecondsNormaliseThePartialRecord) {
  Date d = make(24, 3, 5);
  EXPECT_EQ(DATE_num_sec(&d), 1709596800);
  EXPECT_EQ(std::tuple(d.year, d.hour, d.min, d.sec), std::tuple(2024, 0, 0, 0));

  Date y = make(99, 13, 40, 24, 60, 60);  // every field out of range
  EXPECT_EQ(DATE_num_sec(&y), 915148800);  // 1999-01-01 00:00:00
  EXPECT_EQ(std::tuple(y.year, y.month, y.day), std::tuple(1999, 1, 1));
  Date wide = make(150, 1, 1, 0, 0, 0);
  DATE_num_sec(&wide);
  EXPECT_EQ(wide.year, 2050);
  Date unset;
  DATE_init(&unset);
  DATE_num_sec(&unset);
  EXPECT_EQ(unset.year, 1980);
}

TEST_F(DateTest, BrokenDownRoundTrip) {
  // Every 3 days and 7 hours across the span the seconds formula covers.
  for (long t = 0; t < 4102444800L; t += 3 * 86400L + 7 * 3600L + 13) {
    Date d;
    ASSERT_EQ(DATE_get_gmdate(&t, &d), 0);
    Date copy = d;
    ASSERT_EQ(DATE_num_sec(&copy), t) << d.year << "-" << d.month << "-" << d.day;
    int julian = 0, m = 0, day = 0, yy = 0, mm = 0, dd = 0;
    DATE_monday_julian(d.year, d.month, d.day, &julian);
    DATE_julian_monday(d.year, d.jday, &m, &day);
    DATE_days_date(static_cast<int>(t / 86400 + 1), &yy, &mm, &dd);
    ASSERT_EQ(std::tuple(julian, m, day, yy, mm, dd), std::tuple(d.jday, d.month, d.day, d.year, d.month, d.day));
  }
  Date d;
  long t = 1709596800;
  DATE_get_gmdate(&t, &d);
  EXPECT_EQ(std::tuple(d.wday, d.jday), std::tuple(2, 65));  // Tuesday
}

TEST_F(DateTest, LeapYearsAndCalendarClamps) {
  EXPECT_EQ(std::tuple(DATE_is_leap(2024), DATE_is_leap(2000), DATE_is_leap(1900), DATE_is_leap(2023)),
            std::tuple(1, 1, 0, 0));
  int m = 0, d = 0;
  // {year, day of the year, month * 100 + day}: day 366 of 2023 is clamped to 365.
  for (const auto& [year, jday, want] : {std::tuple{2024, 60, 229}, {2023, 60, 301}, {2023, 366, 1231}, {2024, 0, 101}}) {
    DATE_julian_monday(year, jday, &m, &d);
    EXPECT_EQ(m * 100 + d, want) << year << " " << jday;
  }
  int j = 0;
  DATE_monday_julian(2024, 13, 31, &j);  // month clamped to 12
  EXPECT_EQ(j, 366);
  int y = 0;
  DATE_days_date(1, &y, &m, &d);
  EXPECT_EQ(y * 10000 + m * 100 + d, 19700101);
  DATE_days_date(11017, &y, &m, &d);  // day 1 is 1970-01-01
  EXPECT_EQ(y * 10000 + m * 100 + d, 20000229);
  EXPECT_STREQ(DATE_month(0), "");
  EXPECT_STREQ(DATE_month_lower(13), "");
  Date* s = DATE_to_struct(2024, 3, 5, 18, 30);
  EXPECT_EQ(std::tuple(s->sec, s->jday), std::tuple(0, -9999));
}

TEST_F(DateTest, LabelsEndAtTheFirstUnsetField) {
  // An unrecognised month shows as JAN.
  const std::pair<Date, const char*> cases[] = {
      {make(2024), "24"}, {make(2024, 3), "MAR 24"}, {make(2024, 3, 5), " 5 MAR 24"},
      {make(2024, 3, 5, 18), "18Z  5 MAR 24"}, {make(2024, 3, 5, 18, 30), "1830Z  5 MAR 24"},
      {make(2024, 0, 5), " 5 JAN 24"}, {make(-9999, 3), "MAR 80"}};
  for (const auto& [d, want] : cases) EXPECT_EQ(label(d), want) << want;
  char buf[8];
  EXPECT_EQ(DATE_make_label(nullptr, buf), -1);
  Date d = make(2024);
  EXPECT_EQ(DATE_make_label(&d, nullptr), -1);
}

TEST_F(DateTest, TimeZoneLabels) {
  DATE_set_TZ("-EDT:-4");
  EXPECT_EQ(DATE_get_tz_off(), -14400);
  EXPECT_STREQ(DATE_get_tz_str(), " EDT");
  EXPECT_EQ(label(make(2024, 3, 5, 18, 30)), "2:30 PM EDT [1830Z]  5 MAR 24");
  // Shifting by an offset yields a complete date, so minutes are shown.
  EXPECT_EQ(label(make(2024, 3, 5, 18)), "2:00 PM EDT [1800Z]  5 MAR 24");
  EXPECT_EQ(label(make(2024, 3, 5, 3, 5)), "11:05 PM EDT [0305Z]  4 MAR 24");  // day before
  EXPECT_EQ(label(make(2024, 3, 5, 16, 0)), "12:00 PM EDT [1600Z]  5 MAR 24");

  DATE_set_TZ("+EST:-5");  // 12-hour without the UTC time
  EXPECT_EQ(label(make(2024, 3, 5, 18, 30)), "1:30 PM EST  5 MAR 24");
  EXPECT_EQ(label(make(2024, 3, 5, 5, 0)), "12:00 AM EST  5 MAR 24");
  DATE_set_TZ("CST:-6");  // no sign: the clock style stays
  EXPECT_EQ(label(make(2024, 3, 5, 18, 30)), "12:30 PM CST  5 MAR 24");

  zor::date::reset();
  DATE_set_TZ("CST:-6");
  EXPECT_EQ(label(make(2024, 3, 5, 18, 30)), "1230 CST  5 MAR 24");
  // With an offset the caller's record is normalised by the conversion.
  Date partial = make(24, 3, 5, 18);
  char buf[64];
  DATE_make_label(&partial, buf);
  EXPECT_EQ(std::tuple(partial.year, partial.min), std::tuple(2024, 0));

  DATE_set_TZ("NEWFOUNDLAND:-3.5");
  EXPECT_STREQ(DATE_get_tz_str(), " NEWF");
  EXPECT_EQ(DATE_get_tz_off(), -12600);
  // Without an offset the record keeps its form: hour-only 12-hour labels.
  DATE_set_TZ("-UTC:0");
  EXPECT_EQ(label(make(2024, 3, 5, 12)), "12 PM UTC [12Z]  5 MAR 24");
  EXPECT_EQ(label(make(2024, 3, 5, 0)), "12 AM UTC [00Z]  5 MAR 24");
  DATE_set_TZ("+UTC:0");
  EXPECT_EQ(label(make(2024, 3, 5, 9)), "9 AM UTC  5 MAR 24");
  zor::date::reset();
  DATE_set_TZ("UTC");
  EXPECT_EQ(DATE_get_tz_off(), 0);
  EXPECT_EQ(label(make(2024, 3, 5, 18, 30)), "1830 UTC  5 MAR 24");
}

TEST_F(DateTest, ValidTimeAndForecastPeriodLabels) {
  Date d = make(2024, 3, 5, 18, 0);
  // Forecast hours in the last three digits; 900 and missing add nothing.
  for (const auto& [fhour, want] : {std::pair{0, "18Z TUE  5 MAR 24"},
                                    {12, "6Z WED  6 MAR 24"},
                                    {1012006, "0Z WED  6 MAR 24"},
                                    {900, "18Z TUE  5 MAR 24"},
                                    {-9999, "18Z TUE  5 MAR 24"}})
    EXPECT_EQ(valid_label(fhour, d), want) << fhour;
  EXPECT_EQ(valid_label(24, make(2024, 3, 5)), "WED  6 MAR 24");
  DATE_set_TZ("-EDT:-4");
  EXPECT_EQ(valid_label(6, d), "8 PM EDT [00Z] TUE  5 MAR 24");

  const std::tuple<int, int, const char*> cases[] = {
      {84, 0, "3.5 day"}, {36, 0, "36 hour"}, {36, 1, "1.5 day"}, {12, 1, "0.5 day"}, {60, 1, "2.5 day"},
      {72, 0, "3 day"},   {803, 0, "3 day"},  {900, 0, "100 day"}, {901, 0, "1 month"}, {906, 1, "6 month"},
      {6, 1, "6 hour"},   {66, 0, "66 hour"}, {0, 1, ""},          {-9999, 0, ""},      {-3, 0, "-3 hour"},
  };
  for (const auto& [fhour, flag, text] : cases) {
    char buf[32];
    EXPECT_STREQ(DATE_fhour_label(buf, fhour, flag), text) << fhour;
  }
}

TEST_F(DateTest, DecodeLabelsMonthNamesAndSequences) {
  const int M = -9999;
  // A blank-padded hour; an unknown month name is 0; no date leaves all
  // missing. "1830Z  5 MAR 24" is a label as DATE_make_label writes it.
  const std::pair<const char*, std::tuple<int, int, int, int, int, int, int, int, int>> cases[] = {
      {"18Z 05 MAR 24", {0, 2024, 3, 5, 18, M, M, M, M}},      {"1830Z  5 MAR 24", {0, 2024, 3, 5, 18, 30, M, M, M}},
      {" 930Z 15 DEC 99", {0, 1999, 12, 15, 9, 30, M, M, M}}, {"TIME 18:30:15Z  5 jun 24", {0, 2024, 6, 5, 18, 30, 15, M, M}},
      {"VALID 18Z  5 MAR 24", {0, 2024, 3, 5, 18, M, M, M, M}}, {"18Z 05 XYZ 24", {0, 2024, 0, 5, 18, M, M, M, M}},
      {"no date here", {-1, M, M, M, M, M, M, M, M}},
  };
  Date d;
  for (const auto& [text, want] : cases) {
    const int rc = DATE_decode_label(text, &d);
    EXPECT_EQ(std::tuple(rc, d.year, d.month, d.day, d.hour, d.min, d.sec, d.jday, d.wday), want) << text;
  }
  EXPECT_EQ(DATE_decode_label(nullptr, &d), -1);

  for (int m = 1; m <= 12; ++m) {
    EXPECT_EQ(DATE_decode_month(DATE_month(m)), m);
    EXPECT_EQ(DATE_decode_month(DATE_month_lower(m)), m);
  }
  // Mixed case is no month; a longer upper-case name is.
  for (const auto& [text, m] : {std::pair<const char*, int>{"June", 0}, {"Xmas", 0}, {"J", 0}, {"", 0}, {nullptr, 0},
                                {"FEBRUARY", 2}})
    EXPECT_EQ(DATE_decode_month(text), m) << (text ? text : "null");

  DATE_init(&d);
  EXPECT_EQ(DATE_decode_seq("202403051830", &d), 0);
  EXPECT_EQ(std::tuple(d.year, d.month, d.day, d.hour, d.min), std::tuple(2024, 3, 5, 18, 30));
  EXPECT_EQ(DATE_decode_seq(nullptr, &d), -1);
}

}  // namespace
