// String functions and conversions: formatting numbers and day numbers as text, extracting and
// searching text, reading numbers from text, and packing numbers into raw little-endian bytes.
//
// Strings are byte strings and positions are one-based. Counts, positions and codes are rounded
// to the nearest integer, ties to even. The three formatting functions answer wrong argument
// kinds with the text "Invalid argument types"; all others raise "Invalid parameters".
#include <time.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "functions/Bodies.h"
#include "functions/BodyHelpers.h"
#include "functions/FormulaHost.h"
#include "functions/TextFormats.h"

namespace loom {

namespace {

// Rounded counts and positions are kept within +-2^53 so that the sums below cannot overflow.
constexpr std::int64_t kCountLimit = std::int64_t{1} << 53;

bool IsString(const TVXParsDouble& value) {
  return value.VarType == vtString;
}

bool IsNumber(const TVXParsDouble& value) {
  return value.VarType == vtDouble;
}

[[noreturn]] void InvalidParameters() {
  throw EVXParserException(rsInvalidParameters);
}

void SetNumber(TVXParsDouble& target, double value) {
  target.VarType = vtDouble;
  target.Value = value;
}

void SetText(TVXParsDouble& target, std::string_view text) {
  target.VarType = vtString;
  target.StrValue.assign(text.data(), text.size());
}

std::int64_t RoundedCount(double value) {
  return std::clamp(RoundToInt64(value), -kCountLimit, kCountLimit);
}

const TVXFormatSettings& FormatSettingsOf(const TVXParsExpressionRec* rec) {
  return EvaluatorOf(rec).FormatSettings;
}

// count characters of text from one-based position index: an index below 1 counts as 1 (the
// count stays), and the copy ends at the end of text.
void CopyText(std::string& out, const std::string& text, std::int64_t index, std::int64_t count) {
  const auto length = static_cast<std::int64_t>(text.size());
  index = std::max<std::int64_t>(index, 1);
  if (count <= 0 || index > length) {
    out.clear();
    return;
  }
  count = std::min(count, length - index + 1);
  out.assign(text, static_cast<std::size_t>(index - 1), static_cast<std::size_t>(count));
}

// The text without leading and trailing characters whose code is 32 or less.
std::string_view TrimControls(std::string_view text) {
  std::size_t begin = 0;
  std::size_t end = text.size();
  while (begin < end && static_cast<unsigned char>(text[begin]) <= ' ') ++begin;
  while (end > begin && static_cast<unsigned char>(text[end - 1]) <= ' ') --end;
  return text.substr(begin, end - begin);
}

int HexDigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Hexadecimal digits (after an optional "$" or "0x") of a value below 2^32; 0 otherwise.
double HexTextToNumber(std::string_view text) {
  if (!text.empty() && text[0] == '$')
    text.remove_prefix(1);
  else if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
    text.remove_prefix(2);
  if (text.empty()) return 0;
  std::uint64_t value = 0;
  for (char c : text) {
    const int digit = HexDigitValue(c);
    if (digit < 0) return 0;
    value = value * 16 + static_cast<std::uint64_t>(digit);
    if (value > 0xFFFFFFFFu) return 0;
  }
  return static_cast<double>(value);
}

int CurrentLocalYear() {
  const time_t now = time(nullptr);
  tm local{};
  localtime_r(&now, &local);
  return local.tm_year + 1900;
}

// --- binary packing ---

// Rounded, then cut to the low bytes: two's complement for negative values.
std::uint64_t IntegerBits(double value) {
  return static_cast<std::uint64_t>(RoundToInt64(value));
}

std::uint64_t Float32Bits(double value) {
  // Beyond the largest single plus half its last step, the nearest single is an infinity.
  constexpr double kSingleOverflow = 3.4028235677973366e38;
  float single;
  if (std::fabs(value) >= kSingleOverflow && !std::isnan(value))
    single = std::signbit(value) ? -INFINITY : INFINITY;
  else
    single = static_cast<float>(value);
  std::uint32_t bits;
  std::memcpy(&bits, &single, sizeof bits);
  return bits;
}

std::uint64_t Float64Bits(double value) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

// Appends every value of a number or a vector as width little-endian bytes of bits(value).
template <std::size_t Width, std::uint64_t (*Bits)(double)>
void WriteBinary(TVXParsExpressionRec* rec) {
  const TVXParsDouble& argument = rec->Arg(0);
  const double* values;
  std::size_t count;
  if (argument.VarType == vtDouble) {
    values = &argument.Value;
    count = 1;
  } else if (argument.VarType == vtVector) {
    values = argument.Vector.data();
    count = argument.Vector.size();
  } else {
    InvalidParameters();
  }
  std::string& out = rec->Result.StrValue;
  out.resize(count * Width);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint64_t bits = Bits(values[i]);
    for (std::size_t b = 0; b < Width; ++b)
      out[i * Width + b] = static_cast<char>((bits >> (8 * b)) & 0xFF);
  }
  rec->Result.VarType = vtString;
}

}  // namespace

// --- formatting ---

void _VXParsFormatDateTime(TVXParsExpressionRec* rec) {
  const TVXParsDouble& pattern = rec->Arg(0);
  const TVXParsDouble& dayNumber = rec->Arg(1);
  if (!IsString(pattern) || !IsNumber(dayNumber))
    return SetText(rec->Result, rsInvalidArgumentTypes);
  rec->Result.StrValue.clear();
  AppendFormatDateTime(rec->Result.StrValue, pattern.StrValue, dayNumber.Value,
                       FormatSettingsOf(rec));
  rec->Result.VarType = vtString;
}

void _VXParsFormat(TVXParsExpressionRec* rec) {
  const TVXParsDouble& picture = rec->Arg(0);
  const TVXParsDouble& number = rec->Arg(1);
  if (!IsString(picture) || !IsNumber(number)) return SetText(rec->Result, rsInvalidArgumentTypes);
  rec->Result.StrValue.clear();
  AppendFormatFloat(rec->Result.StrValue, picture.StrValue, number.Value,
                    EvaluatorOf(rec).DecimalSeparator(), EvaluatorOf(rec).ThousandSeparator());
  rec->Result.VarType = vtString;
}

// The byte is the rounded code modulo 256: Chr(256 + 65) is "A", Chr(-1) the byte 255.
void _VXParsChr(TVXParsExpressionRec* rec) {
  const TVXParsDouble& code = rec->Arg(0);
  if (!IsNumber(code)) return SetText(rec->Result, rsInvalidArgumentTypes);
  rec->Result.StrValue.assign(1, static_cast<char>(RoundToInt64(code.Value) & 0xFF));
  rec->Result.VarType = vtString;
}

// --- extraction and search ---

void _VXParsPos(TVXParsExpressionRec* rec) {
  const TVXParsDouble& part = rec->Arg(0);
  const TVXParsDouble& text = rec->Arg(1);
  const TVXParsDouble& offset = rec->Arg(2);
  if (!IsString(part) || !IsString(text) || !IsNumber(offset)) InvalidParameters();
  const std::int64_t start = RoundedCount(offset.Value);
  double position = 0;
  if (!part.StrValue.empty() && start >= 1 &&
      start <= static_cast<std::int64_t>(text.StrValue.size())) {
    const std::size_t found =
        text.StrValue.find(part.StrValue, static_cast<std::size_t>(start - 1));
    if (found != std::string::npos) position = static_cast<double>(found + 1);
  }
  SetNumber(rec->Result, position);
}

void _VXParsLeft(TVXParsExpressionRec* rec) {
  const TVXParsDouble& text = rec->Arg(0);
  const TVXParsDouble& count = rec->Arg(1);
  if (!IsString(text) || !IsNumber(count)) InvalidParameters();
  CopyText(rec->Result.StrValue, text.StrValue, 1, RoundedCount(count.Value));
  rec->Result.VarType = vtString;
}

// Deliberately the start is max(1, length - rounded(count + 1)), two places left of the last
// count characters: Right("abcdef", 2) is "cd". Formulas written against it rely on it.
void _VXParsRight(TVXParsExpressionRec* rec) {
  const TVXParsDouble& text = rec->Arg(0);
  const TVXParsDouble& count = rec->Arg(1);
  if (!IsString(text) || !IsNumber(count)) InvalidParameters();
  const auto length = static_cast<std::int64_t>(text.StrValue.size());
  const std::int64_t n = RoundedCount(count.Value);
  const std::int64_t start = std::max<std::int64_t>(1, length - RoundedCount(count.Value + 1));
  CopyText(rec->Result.StrValue, text.StrValue, start, std::min(n, length));
  rec->Result.VarType = vtString;
}

void _VXParsMid(TVXParsExpressionRec* rec) {
  const TVXParsDouble& text = rec->Arg(0);
  const TVXParsDouble& start = rec->Arg(1);
  const TVXParsDouble& count = rec->Arg(2);
  if (!IsString(text) || !IsNumber(start) || !IsNumber(count)) InvalidParameters();
  CopyText(rec->Result.StrValue, text.StrValue, RoundedCount(start.Value),
           RoundedCount(count.Value));
  rec->Result.VarType = vtString;
}

// Takes the text before the first delimiter off the string variable. Deliberately the token is
// the first p - length(delimiter) characters (p the delimiter's one-based position), so a longer
// delimiter also shortens the token by length(delimiter) - 1: GetToken on "ab::cd" with "::"
// gives "a". Kept as formulas know it.
void _VXParsGetToken(TVXParsExpressionRec* rec) {
  TVXParsDouble& source = rec->Arg(0);
  const TVXParsDouble& delimiter = rec->Arg(1);
  if (!IsString(source) || !IsString(delimiter)) InvalidParameters();
  std::string& text = source.StrValue;
  const std::size_t found =
      delimiter.StrValue.empty() ? std::string::npos : text.find(delimiter.StrValue);
  rec->Result.VarType = vtString;
  if (found == std::string::npos) {
    rec->Result.StrValue.assign(text);
    text.clear();
    return;
  }
  const std::size_t delimiterLength = delimiter.StrValue.size();
  const auto tokenLength =
      static_cast<std::int64_t>(found + 1) - static_cast<std::int64_t>(delimiterLength);
  CopyText(rec->Result.StrValue, text, 1, tokenLength);
  text.erase(0, found + delimiterLength);
}

void _VXParsTrim(TVXParsExpressionRec* rec) {
  const TVXParsDouble& text = rec->Arg(0);
  if (!IsString(text)) InvalidParameters();
  SetText(rec->Result, TrimControls(text.StrValue));
}

void _VXParsStrChar(TVXParsExpressionRec* rec) {
  const TVXParsDouble& text = rec->Arg(0);
  const TVXParsDouble& index = rec->Arg(1);
  if (!IsString(text) || !IsNumber(index)) InvalidParameters();
  // The range is tested on the index as given; an index in (0, 0.5] passes it but rounds to 0,
  // which is no position either.
  double code = 0;
  if (index.Value > 0 && index.Value <= static_cast<double>(text.StrValue.size())) {
    const std::int64_t position = RoundToInt64(index.Value);
    if (position >= 1)
      code = static_cast<unsigned char>(text.StrValue[static_cast<std::size_t>(position - 1)]);
  }
  SetNumber(rec->Result, code);
}

void _VXParsStrLen(TVXParsExpressionRec* rec) {
  const TVXParsDouble& text = rec->Arg(0);
  if (!IsString(text)) InvalidParameters();
  SetNumber(rec->Result, static_cast<double>(text.StrValue.size()));
}

// Both comparisons end at a zero byte, as comparisons of zero-terminated text do.
void _VXParsStrComp(TVXParsExpressionRec* rec) {
  const TVXParsDouble& a = rec->Arg(0);
  const TVXParsDouble& b = rec->Arg(1);
  if (!IsString(a) || !IsString(b)) InvalidParameters();
  SetNumber(rec->Result, std::strcmp(a.StrValue.c_str(), b.StrValue.c_str()) == 0 ? 1 : 0);
}

// A negative length compares the whole strings.
void _VXParsStrLComp(TVXParsExpressionRec* rec) {
  const TVXParsDouble& a = rec->Arg(0);
  const TVXParsDouble& b = rec->Arg(1);
  const TVXParsDouble& length = rec->Arg(2);
  if (!IsString(a) || !IsString(b) || !IsNumber(length)) InvalidParameters();
  const std::int64_t n = RoundToInt64(length.Value);
  const int compared =
      n < 0 ? std::strcmp(a.StrValue.c_str(), b.StrValue.c_str())
            : std::strncmp(a.StrValue.c_str(), b.StrValue.c_str(), static_cast<std::size_t>(n));
  SetNumber(rec->Result, compared == 0 ? 1 : 0);
}

// --- conversions ---

// The separator is the first character of the second argument, for this conversion only (the
// evaluator's own when it is empty). A failed conversion gives 0 and leaves error at 1; a text
// beyond the range of a double ("1e400") fails too, while one that underflows gives 0.
void _VXParsConvertStringToNumber(TVXParsExpressionRec* rec) {
  const TVXParsDouble& text = rec->Arg(0);
  const TVXParsDouble& separator = rec->Arg(1);
  if (!IsString(text) || !IsString(separator)) InvalidParameters();
  const char decimalSeparator =
      separator.StrValue.empty() ? EvaluatorOf(rec).DecimalSeparator() : separator.StrValue[0];
  double value = 0;
  const bool converted =
      TryStrToFloat(std::string(TrimControls(text.StrValue)), decimalSeparator, value) &&
      std::isfinite(value);
  SetNumber(rec->Result, converted ? value : 0);
  SetNumber(rec->Arg(2), converted ? 0 : 1);
}

void _VXParsConvertStringDateTimeToNumber(TVXParsExpressionRec* rec) {
  const TVXParsDouble& text = rec->Arg(0);
  if (!IsString(text)) InvalidParameters();
  double dayNumber = 0;
  const bool converted =
      TryStrToDateTime(text.StrValue, FormatSettingsOf(rec), CurrentLocalYear(), dayNumber);
  SetNumber(rec->Result, converted ? dayNumber : 0);
  SetNumber(rec->Arg(1), converted ? 0 : 1);
}

// Deliberately never reports a failure: text that is not hexadecimal gives 0 with error 0.
void _VXParsConvertStringHexToInt(TVXParsExpressionRec* rec) {
  const TVXParsDouble& text = rec->Arg(0);
  if (!IsString(text)) InvalidParameters();
  SetNumber(rec->Result, HexTextToNumber(TrimControls(text.StrValue)));
  SetNumber(rec->Arg(1), 0);
}

// --- binary packing ---

void _VXParsStringWriteBinaryByte(TVXParsExpressionRec* rec) {
  WriteBinary<1, IntegerBits>(rec);
}
void _VXParsStringWriteBinaryShortInteger(TVXParsExpressionRec* rec) {
  WriteBinary<1, IntegerBits>(rec);
}
void _VXParsStringWriteBinaryWord(TVXParsExpressionRec* rec) {
  WriteBinary<2, IntegerBits>(rec);
}
void _VXParsStringWriteBinarySmallInteger(TVXParsExpressionRec* rec) {
  WriteBinary<2, IntegerBits>(rec);
}
void _VXParsStringWriteBinaryInteger(TVXParsExpressionRec* rec) {
  WriteBinary<4, IntegerBits>(rec);
}
void _VXParsStringWriteBinaryLongWord(TVXParsExpressionRec* rec) {
  WriteBinary<4, IntegerBits>(rec);
}
void _VXParsStringWriteBinaryFloat32(TVXParsExpressionRec* rec) {
  WriteBinary<4, Float32Bits>(rec);
}
void _VXParsStringWriteBinaryFloat64(TVXParsExpressionRec* rec) {
  WriteBinary<8, Float64Bits>(rec);
}

}  // namespace loom
