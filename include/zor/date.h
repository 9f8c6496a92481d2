// Dates and times, the display time zone and label formatting.
#pragma once

#include "zor/types.h"

int DATE_init(Date* date);
const char* DATE_month(int month);
const char* DATE_month_lower(int month);
int DATE_is_leap(int year);
long DATE_num_sec(Date* date);
int DATE_get_gmdate(long* secs, Date* date);
long DATE_get_time(long* secs);
int DATE_days_date(int days, int* year, int* month, int* day);
int DATE_julian_monday(int year, int julian, int* month, int* day);
int DATE_monday_julian(int year, int month, int day, int* julian);
Date* DATE_to_struct(int year, int month, int day, int hour, int min);
int DATE_print(M_type level, Date* date);
int DATE_get_current_str(char* str);
int DATE_set_TZ(const char* str);
int DATE_get_tz_off();
const char* DATE_get_tz_str();
// Labels need a buffer of 40 characters.
int DATE_make_label(Date* date, char* str);
int DATE_make_label_valid_time(int fhour, Date* date, char* str);
char* DATE_fhour_label(char* str, int fhour, int flag);
int DATE_decode_label(const char* str, Date* date);
int DATE_decode_month(const char* str);
int DATE_decode_seq(const char* str, Date* date);

namespace zor::date {
// Back to UTC labels and the wall clock; for tests.
void reset();
// Makes DATE_get_time (and every label of "now") return `secs`, so output
// that carries the current date can be compared byte for byte; a negative
// value returns to the wall clock.
void set_clock(long secs);
}  // namespace zor::date
