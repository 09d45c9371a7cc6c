// The two pattern languages of the text functions and the reading of date-time texts.
//
// Number pictures ("0.00", "#,##0.0;(#,##0.0);zero", "0.00E+00") and date-time patterns
// ("yyyy-mm-dd hh:nn:ss.zzz", "dddd, mmmm d", "h:nn am/pm") are those of Delphi's FormatFloat
// and FormatDateTime, implemented here, so that a picture gives the text its users know from
// there. Day numbers count days since 1899-12-30 with the time of day as the fraction.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/Evaluator.h"

namespace loom {

// Appends value formatted with a number picture of up to three sections (positive; negative;
// zero). Digits use '0' (digit or zero) and '#' (digit or nothing); the first '.' places the
// decimal separator and any ',' asks for thousands separators; "E+0" and alike select scientific
// notation; quoted text is copied. The picture always spells '.' and ','; the output uses
// decimalSeparator and thousandSeparator. An empty first section, not-a-number, infinities and
// fixed-notation values of 19 or more integer digits fall back to the general number text.
void AppendFormatFloat(std::string& out, std::string_view picture, double value,
                       char decimalSeparator, char thousandSeparator);
std::string FormatFloat(std::string_view picture, double value, char decimalSeparator = '.',
                        char thousandSeparator = ',');

// Appends a day number formatted with a date-time pattern (d dd ddd dddd ddddd dddddd m mm mmm
// mmmm yy yyyy h hh n nn s ss z zz zzz am/pm a/p ampm t tt c / : and quoted text; m right after
// h or hh means minutes). An empty pattern means "c". Names of months and days are English.
// Raises "Invalid floating point operation" for a day number that is not a number or is too large
// to hold in milliseconds, but only when the pattern needs the date or the time.
void AppendFormatDateTime(std::string& out, std::string_view pattern, double dayNumber,
                          const TVXFormatSettings& settings);
std::string FormatDateTime(std::string_view pattern, double dayNumber,
                           const TVXFormatSettings& settings = {});

// Reads a date, a time, or a date followed by a time. Dates are ISO 8601 (2026-11-21) or follow
// the order and separators of settings.ShortDateFormat (two-digit years are put within 50 years
// before and 49 after currentYear; a date without its year is in currentYear). Times are
// h:nn[:ss[.fraction]] with an optional AM/PM marker, after the date and a blank (or 'T' after
// an ISO date). Returns false, leaving dayNumber as it was, when the text is none of these.
bool TryStrToDateTime(std::string_view text, const TVXFormatSettings& settings, int currentYear,
                      double& dayNumber);

// Calendar arithmetic on day numbers (days since 1899-12-30), for any year of the proleptic
// Gregorian calendar.
std::int64_t DayNumberFromDate(std::int64_t year, int month, int day);
void DateFromDayNumber(std::int64_t dayNumber, std::int64_t& year, int& month, int& day);

}  // namespace loom
