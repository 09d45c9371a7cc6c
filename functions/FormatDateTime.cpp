// Date-time patterns (FormatDateTime) and the reading of date-time texts
// (ConvertStringDateTimeToNumber).
//
// A day number counts days since 1899-12-30; its fraction is the time of day. For a negative day
// number the whole part is the date and the fraction, taken without its sign, the time: -1.25 is
// 1899-12-29 06:00. Both directions keep that convention.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "functions/BodyHelpers.h"
#include "functions/TextFormats.h"

namespace loom {

namespace {

constexpr std::int64_t kMSecsPerDay = 86400000;
// Days from 0001-01-01 (counted as day 1) to 1899-12-30: dates before year 1 have no calendar
// date and are written as zeros.
constexpr std::int64_t kDateDelta = 693594;

constexpr const char* kShortMonthNames[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                              "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr const char* kLongMonthNames[12] = {"January",   "February", "March",    "April",
                                             "May",       "June",     "July",     "August",
                                             "September", "October",  "November", "December"};
constexpr const char* kShortDayNames[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char* kLongDayNames[7] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                          "Thursday", "Friday", "Saturday"};

char UpperAscii(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// True when text continues at pos with word, letter case ignored.
bool HasWordAt(std::string_view text, std::size_t pos, std::string_view word) {
  if (word.empty() || text.size() - std::min(pos, text.size()) < word.size()) return false;
  for (std::size_t i = 0; i < word.size(); ++i)
    if (UpperAscii(text[pos + i]) != UpperAscii(word[i])) return false;
  return true;
}

void AppendNumber(std::string& out, std::int64_t value, int minDigits) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%0*lld", minDigits, static_cast<long long>(value));
  out += buffer;
}

// A day number taken apart. Day of week 1 is Sunday; 0 (with year, month and day 0) marks a
// date before year 1.
struct TDateParts {
  std::int64_t Year = 0;
  int Month = 0;
  int Day = 0;
  int DayOfWeek = 0;
  int Hour = 0;
  int Minute = 0;
  int Second = 0;
  int MSec = 0;
};

TDateParts Decode(double dayNumber) {
  const std::int64_t ms = RoundToInt64(dayNumber * static_cast<double>(kMSecsPerDay));
  const std::int64_t days = ms / kMSecsPerDay;  // toward zero: the time is the fraction's size
  std::int64_t time = ms % kMSecsPerDay;
  if (time < 0) time = -time;
  TDateParts parts;
  parts.Hour = static_cast<int>(time / 3600000);
  parts.Minute = static_cast<int>(time / 60000 % 60);
  parts.Second = static_cast<int>(time / 1000 % 60);
  parts.MSec = static_cast<int>(time % 1000);
  const std::int64_t stampDate = days + kDateDelta;
  if (stampDate > 0) {
    DateFromDayNumber(days, parts.Year, parts.Month, parts.Day);
    parts.DayOfWeek = static_cast<int>(stampDate % 7) + 1;
  }
  return parts;
}

// Expands one pattern; the short and long formats of the settings are patterns themselves and
// are expanded one level deep, so that a format naming itself cannot recurse.
class TDateTimeWriter {
 public:
  TDateTimeWriter(std::string& out, double dayNumber, const TVXFormatSettings& settings)
      : out_(out), dayNumber_(dayNumber), settings_(settings) {}

  void Append(std::string_view pattern);

 private:
  const TDateParts& Parts() {
    if (!parts_) parts_ = Decode(dayNumber_);
    return *parts_;
  }
  void AppendName(const char* const* names, int count, int index) {
    if (index >= 1 && index <= count) out_ += names[index - 1];
  }
  bool TwelveHourMarkerFollows(std::string_view pattern, std::size_t from) const;

  std::string& out_;
  const double dayNumber_;
  const TVXFormatSettings& settings_;
  std::optional<TDateParts> parts_;
  int level_ = 0;
};

// Whether an hour at from is written on a 12-hour clock: the first 'a' after it (outside quotes,
// before any further 'h') begins am/pm, a/p or ampm.
bool TDateTimeWriter::TwelveHourMarkerFollows(std::string_view pattern, std::size_t from) const {
  bool betweenQuotes = false;
  for (std::size_t i = from; i < pattern.size(); ++i) {
    const char c = pattern[i];
    if ((c == 'a' || c == 'A') && !betweenQuotes)
      return HasWordAt(pattern, i, "AM/PM") || HasWordAt(pattern, i, "A/P") ||
             HasWordAt(pattern, i, "AMPM");
    if (c == 'h' || c == 'H') return false;
    if (c == '\'' || c == '"') betweenQuotes = !betweenQuotes;
  }
  return false;
}

void TDateTimeWriter::Append(std::string_view pattern) {
  if (level_ >= 2) return;
  ++level_;
  char lastToken = ' ';
  bool twelveHour = false;
  const std::size_t n = pattern.size();
  std::size_t i = 0;
  while (i < n) {
    const char starter = pattern[i++];
    // A run of the same letter is one field: "yyyy" is one year, "Mm" two months.
    auto runLength = [&] {
      const std::size_t begin = i;
      while (i < n && pattern[i] == starter) ++i;
      return static_cast<int>(i - begin) + 1;
    };
    char token = UpperAscii(starter);
    if (token >= 'A' && token <= 'Z') {
      if (token == 'M' && lastToken == 'H') token = 'N';  // "hh:mm" means minutes
      lastToken = token;
    }
    switch (token) {
      case 'Y': {
        const int count = runLength();
        const TDateParts& p = Parts();
        if (count <= 2)
          AppendNumber(out_, p.Year % 100, 2);
        else
          AppendNumber(out_, p.Year, 4);
        break;
      }
      case 'M': {
        const int count = runLength();
        const TDateParts& p = Parts();
        if (count <= 2)
          AppendNumber(out_, p.Month, count);
        else if (count == 3)
          AppendName(kShortMonthNames, 12, p.Month);
        else
          AppendName(kLongMonthNames, 12, p.Month);
        break;
      }
      case 'D': {
        const int count = runLength();
        if (count <= 2)
          AppendNumber(out_, Parts().Day, count);
        else if (count == 3)
          AppendName(kShortDayNames, 7, Parts().DayOfWeek);
        else if (count == 4)
          AppendName(kLongDayNames, 7, Parts().DayOfWeek);
        else if (count == 5)
          Append(settings_.ShortDateFormat);
        else
          Append(settings_.LongDateFormat);
        break;
      }
      case 'H': {
        const int count = runLength();
        if (TwelveHourMarkerFollows(pattern, i)) twelveHour = true;
        int hour = Parts().Hour;
        if (twelveHour) {
          if (hour == 0)
            hour = 12;
          else if (hour > 12)
            hour -= 12;
        }
        AppendNumber(out_, hour, std::min(count, 2));
        break;
      }
      case 'N':
        AppendNumber(out_, Parts().Minute, std::min(runLength(), 2));
        break;
      case 'S':
        AppendNumber(out_, Parts().Second, std::min(runLength(), 2));
        break;
      case 'Z':
        AppendNumber(out_, Parts().MSec, std::min(runLength(), 3));
        break;
      case 'T':
        Append(runLength() == 1 ? settings_.ShortTimeFormat : settings_.LongTimeFormat);
        break;
      case 'A': {
        const std::size_t at = i - 1;
        if (HasWordAt(pattern, at, "AM/PM")) {
          // The letters are copied from the pattern: "am/pm" gives "pm", "AM/PM" gives "PM".
          out_.append(pattern.substr(Parts().Hour >= 12 ? at + 3 : at, 2));
          i += 4;
          twelveHour = true;
        } else if (HasWordAt(pattern, at, "A/P")) {
          out_ += pattern[Parts().Hour >= 12 ? at + 2 : at];
          i += 2;
          twelveHour = true;
        } else if (HasWordAt(pattern, at, "AMPM")) {
          out_ += Parts().Hour < 12 ? settings_.TimeAMString : settings_.TimePMString;
          i += 3;
          twelveHour = true;
        } else {
          out_ += starter;
        }
        break;
      }
      case 'C': {
        runLength();
        Append(settings_.ShortDateFormat);
        const TDateParts& p = Parts();
        if (p.Hour != 0 || p.Minute != 0 || p.Second != 0 || p.MSec != 0) {
          out_ += ' ';
          Append(settings_.LongTimeFormat);
        }
        break;
      }
      case '/':
        if (settings_.DateSeparator != '\0') out_ += settings_.DateSeparator;
        break;
      case ':':
        if (settings_.TimeSeparator != '\0') out_ += settings_.TimeSeparator;
        break;
      case '\'':
      case '"': {
        std::size_t close = pattern.find(starter, i);
        if (close == std::string_view::npos) close = n;
        out_.append(pattern.substr(i, close - i));
        i = std::min(close + 1, n);
        break;
      }
      default:
        out_ += starter;
        break;
    }
  }
  --level_;
}

// --- reading ---

constexpr int kTwoDigitYearWindow = 50;

std::string_view TrimBlanks(std::string_view text) {
  std::size_t begin = 0;
  std::size_t end = text.size();
  while (begin < end && static_cast<unsigned char>(text[begin]) <= ' ') ++begin;
  while (end > begin && static_cast<unsigned char>(text[end - 1]) <= ' ') --end;
  return text.substr(begin, end - begin);
}

// Reads 1 to maxDigits digits at pos.
bool ScanNumber(std::string_view text, std::size_t& pos, int maxDigits, int& value,
                int* digits = nullptr) {
  const std::size_t begin = pos;
  value = 0;
  while (pos < text.size() && IsDigit(text[pos]) &&
         pos - begin < static_cast<std::size_t>(maxDigits))
    value = value * 10 + (text[pos++] - '0');
  if (digits != nullptr) *digits = static_cast<int>(pos - begin);
  return pos > begin && (pos == text.size() || !IsDigit(text[pos]));
}

bool DaysInMonthValid(int year, int month, int day) {
  if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1) return false;
  static constexpr int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return day <= kDays[month - 1] + (month == 2 && leap ? 1 : 0);
}

// A time of day as a fraction of a day: h:nn, h:nn:ss or h:nn:ss.fraction, then optionally an
// AM/PM marker.
bool ParseTime(std::string_view text, const TVXFormatSettings& settings, double& fraction) {
  auto isTimeSeparator = [&](char c) { return c == ':' || c == settings.TimeSeparator; };
  std::size_t pos = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  double secondFraction = 0;
  if (!ScanNumber(text, pos, 2, hour)) return false;
  if (pos >= text.size() || !isTimeSeparator(text[pos++])) return false;
  if (!ScanNumber(text, pos, 2, minute)) return false;
  if (pos < text.size() && isTimeSeparator(text[pos])) {
    ++pos;
    if (!ScanNumber(text, pos, 2, second)) return false;
    if (pos < text.size() && (text[pos] == '.' || text[pos] == ',')) {
      ++pos;
      double scale = 0.1;
      const std::size_t begin = pos;
      for (; pos < text.size() && IsDigit(text[pos]) && pos - begin < 9; ++pos, scale /= 10)
        secondFraction += (text[pos] - '0') * scale;
      if (pos == begin || (pos < text.size() && IsDigit(text[pos]))) return false;
    }
  }
  while (pos < text.size() && text[pos] == ' ') ++pos;
  const std::string_view rest = text.substr(pos);
  if (!rest.empty()) {
    bool pm;
    if (HasWordAt(rest, 0, settings.TimeAMString) && rest.size() == settings.TimeAMString.size())
      pm = false;
    else if (HasWordAt(rest, 0, settings.TimePMString) &&
             rest.size() == settings.TimePMString.size())
      pm = true;
    else if (rest.size() == 2 && (HasWordAt(rest, 0, "AM") || HasWordAt(rest, 0, "PM")))
      pm = UpperAscii(rest[0]) == 'P';
    else
      return false;
    if (hour < 1 || hour > 12) return false;
    hour = hour % 12 + (pm ? 12 : 0);
  }
  if (hour > 23 || minute > 59 || second > 59) return false;
  fraction = (hour * 3600000.0 + minute * 60000.0 + (second + secondFraction) * 1000.0) /
             static_cast<double>(kMSecsPerDay);
  return true;
}

// yyyy-mm-dd exactly.
bool ParseIsoDate(std::string_view text, int& year, int& month, int& day) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return false;
  std::size_t pos = 0;
  if (!ScanNumber(text, pos, 4, year) || pos != 4) return false;
  pos = 5;
  if (!ScanNumber(text, pos, 2, month) || pos != 7) return false;
  pos = 8;
  return ScanNumber(text, pos, 2, day) && pos == 10;
}

// A date in the order of the short date format: its first y, m or d letter decides between
// year-month-day, month-day-year and day-month-year. The numbers are separated by the date
// separator or by a punctuation character that the format itself uses.
bool ParseShortDate(std::string_view text, const TVXFormatSettings& settings, int currentYear,
                    int& year, int& month, int& day) {
  const std::string& format = settings.ShortDateFormat;
  char order = 'M';
  for (char c : format) {
    const char upper = UpperAscii(c);
    if (upper == 'Y' || upper == 'M' || upper == 'D') {
      order = upper;
      break;
    }
  }
  auto isSeparator = [&](char c) {
    if (c == settings.DateSeparator || c == '/') return true;
    const bool punctuation = std::ispunct(static_cast<unsigned char>(c)) && c != '\'' && c != '"';
    return punctuation && format.find(c) != std::string::npos;
  };
  int numbers[3];
  int digits[3];
  int count = 0;
  std::size_t pos = 0;
  while (true) {
    if (count == 3 || !ScanNumber(text, pos, 4, numbers[count], &digits[count])) return false;
    ++count;
    if (pos == text.size()) break;
    if (!isSeparator(text[pos++])) return false;
  }
  if (count < 2) return false;
  int yearDigits = 4;
  if (count == 2) {
    year = currentYear;
    month = order == 'D' ? numbers[1] : numbers[0];
    day = order == 'D' ? numbers[0] : numbers[1];
  } else if (order == 'Y') {
    year = numbers[0], month = numbers[1], day = numbers[2], yearDigits = digits[0];
  } else if (order == 'D') {
    day = numbers[0], month = numbers[1], year = numbers[2], yearDigits = digits[2];
  } else {
    month = numbers[0], day = numbers[1], year = numbers[2], yearDigits = digits[2];
  }
  if (yearDigits <= 2) {
    const int windowStart = currentYear - kTwoDigitYearWindow;
    year += windowStart / 100 * 100;
    if (year < windowStart) year += 100;
  }
  return true;
}

}  // namespace

std::int64_t DayNumberFromDate(std::int64_t year, int month, int day) {
  // Days since 1970-01-01 of the proleptic Gregorian calendar, counted in 400-year eras.
  const std::int64_t y = year - (month <= 2 ? 1 : 0);
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const std::int64_t yearOfEra = y - era * 400;
  const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468 + kUnixEpochDayNumber;
}

void DateFromDayNumber(std::int64_t dayNumber, std::int64_t& year, int& month, int& day) {
  const std::int64_t z = dayNumber - kUnixEpochDayNumber + 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const std::int64_t dayOfEra = z - era * 146097;
  const std::int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t mp = (5 * dayOfYear + 2) / 153;
  day = static_cast<int>(dayOfYear - (153 * mp + 2) / 5 + 1);
  month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
}

void AppendFormatDateTime(std::string& out, std::string_view pattern, double dayNumber,
                          const TVXFormatSettings& settings) {
  TDateTimeWriter writer(out, dayNumber, settings);
  writer.Append(pattern.empty() ? std::string_view("c") : pattern);
}

std::string FormatDateTime(std::string_view pattern, double dayNumber,
                           const TVXFormatSettings& settings) {
  std::string out;
  AppendFormatDateTime(out, pattern, dayNumber, settings);
  return out;
}

bool TryStrToDateTime(std::string_view text, const TVXFormatSettings& settings, int currentYear,
                      double& dayNumber) {
  text = TrimBlanks(text);
  if (text.empty()) return false;
  double time = 0;
  if (ParseTime(text, settings, time)) {
    dayNumber = time;
    return true;
  }
  std::string_view datePart = text;
  std::string_view timePart;
  const bool isoSplit = text.size() > 11 && text[10] == 'T';
  if (isoSplit) {
    datePart = text.substr(0, 10);
    timePart = text.substr(11);
  } else if (const std::size_t blank = text.find(' '); blank != std::string_view::npos) {
    datePart = text.substr(0, blank);
    timePart = TrimBlanks(text.substr(blank));
  }
  int year = 0;
  int month = 0;
  int day = 0;
  const bool dateRead =
      ParseIsoDate(datePart, year, month, day) ||
      (!isoSplit && ParseShortDate(datePart, settings, currentYear, year, month, day));
  if (!dateRead) return false;
  if (!DaysInMonthValid(year, month, day)) return false;
  if (!timePart.empty() && !ParseTime(timePart, settings, time)) return false;
  const double date = static_cast<double>(DayNumberFromDate(year, month, day));
  // Before 1899-12-30 the fraction still counts forward from midnight: -1.25 is 06:00.
  dayNumber = date < 0 ? date - time : date + time;
  return true;
}

}  // namespace loom
