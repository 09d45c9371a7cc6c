// Number pictures: the formatting language of Format.
//
// A picture is scanned once for its shape (how many digit places, where the decimal point sits,
// which places must show a zero, thousands separators, scientific notation); the number is then
// rounded to the decimal digits that shape can show and written place by place while the
// picture's other characters are copied around it.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "engine/ParserClasses.h"
#include "functions/TextFormats.h"

namespace loom {

namespace {

// Significant digits a value is converted with before it is rounded to the picture: as many as
// the run-time's extended-precision conversion gives, so that a double such as 2.675 (really
// 2.67499999999999982...) rounds down at two decimals, as it always has.
constexpr int kMaxDigits = 18;
// More integer digits than this in fixed notation fall back to the general number text.
constexpr int kMaxFixedIntegerDigits = 18;
constexpr int kNoDecimalLimit = 9999;
// A group of more zeros after "E+" still asks for at most this many exponent digits.
constexpr int kMaxExponentDigits = 4;

// |value| as decimal digits: value = 0.d1 d2 ... dCount x 10^Exponent, without trailing zeros.
// Count 0 means zero (Exponent is then 0).
struct TDecimal {
  char Digits[kMaxDigits + 1];
  int Count = 0;
  int Exponent = 0;
};

// Rounds magnitude (>= 0, finite) to at most precision significant digits and at most decimals
// digits after the decimal point, ties away from zero on the 18-digit expansion.
void ToDecimal(double magnitude, int precision, int decimals, TDecimal& d) {
  d.Count = 0;
  d.Exponent = 0;
  if (magnitude == 0) return;
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%.*e", kMaxDigits - 1, magnitude);
  char raw[kMaxDigits];
  int n = 0;
  const char* p = buffer;
  for (; *p != '\0' && *p != 'e'; ++p)
    if (*p >= '0' && *p <= '9' && n < kMaxDigits) raw[n++] = *p;
  int exponent = std::atoi(p + 1) + 1;

  const int keep = std::min({precision, exponent + decimals, kMaxDigits});
  if (keep < 0) return;
  const bool roundUp = keep < n && raw[keep] >= '5';
  int count = keep;
  if (roundUp) {
    int i = keep - 1;
    while (i >= 0 && raw[i] == '9') raw[i--] = '0';
    if (i >= 0) {
      ++raw[i];
    } else {  // every kept digit was 9, or none was kept: the value becomes 1 at the next place
      raw[0] = '1';
      count = 1;
      ++exponent;
    }
  }
  while (count > 0 && raw[count - 1] == '0') --count;
  if (count == 0) return;
  std::copy(raw, raw + count, d.Digits);
  d.Count = count;
  d.Exponent = exponent;
}

// Section index of a picture: 0 positive, 1 negative, 2 zero. A missing or empty section is
// replaced by the first one; *usedIndex tells which one was taken.
std::string_view FindSection(std::string_view picture, int index, int* usedIndex) {
  auto sectionAt = [picture](int wanted) -> std::string_view {
    int section = 0;
    std::size_t begin = 0;
    for (std::size_t i = 0; i < picture.size(); ++i) {
      const char c = picture[i];
      if (c == '"' || c == '\'') {
        const std::size_t close = picture.find(c, i + 1);
        i = close == std::string_view::npos ? picture.size() - 1 : close;
      } else if (c == ';') {
        if (section == wanted) return picture.substr(begin, i - begin);
        ++section;
        begin = i + 1;
      }
    }
    return section == wanted ? picture.substr(begin) : std::string_view();
  };
  std::string_view section = sectionAt(index);
  *usedIndex = index;
  if (section.empty()) {
    section = sectionAt(0);
    *usedIndex = 0;
  }
  return section;
}

// The shape of one section.
struct TPictureShape {
  int DigitCount = 0;    // '0' and '#' places, exponent digits excluded
  int DecimalIndex = 0;  // digit places before the decimal point
  int FirstDigit = 0;    // integer places, counted from the point, that must show a zero
  int LastDigit = 0;     // minus the fraction places that must show a zero
  bool ThousandSep = false;
  bool Scientific = false;
};

TPictureShape ScanSection(std::string_view section) {
  TPictureShape shape;
  int decimalIndex = -1;
  int firstZero = -1;  // digit places before the first '0'
  int lastZero = 0;    // digit places up to and including the last '0'
  const std::size_t n = section.size();
  for (std::size_t i = 0; i < n; ++i) {
    const char c = section[i];
    switch (c) {
      case '"':
      case '\'': {
        const std::size_t close = section.find(c, i + 1);
        i = close == std::string_view::npos ? n : close;
        break;
      }
      case '#':
        ++shape.DigitCount;
        break;
      case '0':
        if (firstZero < 0) firstZero = shape.DigitCount;
        ++shape.DigitCount;
        lastZero = shape.DigitCount;
        break;
      case '.':
        if (decimalIndex < 0) decimalIndex = shape.DigitCount;
        break;
      case ',':
        shape.ThousandSep = true;
        break;
      case 'E':
      case 'e':
        if (i + 1 < n && (section[i + 1] == '+' || section[i + 1] == '-')) {
          shape.Scientific = true;
          i += 2;
          while (i < n && section[i] == '0') ++i;
          --i;
        }
        break;
      default:
        break;
    }
  }
  shape.DecimalIndex = decimalIndex < 0 ? shape.DigitCount : decimalIndex;
  shape.FirstDigit = firstZero < 0 ? 0 : std::max(shape.DecimalIndex - firstZero, 0);
  shape.LastDigit = std::min(shape.DecimalIndex - lastZero, 0);
  return shape;
}

// Writes the digits of a rounded number into the places of one section.
class TPictureWriter {
 public:
  TPictureWriter(std::string& out, const TPictureShape& shape, const TDecimal& number,
                 char decimalSeparator, char thousandSeparator)
      : out_(out),
        shape_(shape),
        number_(number),
        decimalSeparator_(decimalSeparator),
        thousandSeparator_(thousandSeparator) {
    if (shape.Scientific) {
      digitPlace_ = shape.DecimalIndex;
      digitDelta_ = 0;
      exponent_ = number.Count > 0 ? number.Exponent - shape.DecimalIndex : 0;
    } else {
      // A positive delta is the integer digits beyond the picture's places, all written at its
      // first place; a negative one counts the leading places that have no digit of the number.
      digitPlace_ = std::max(number.Exponent, shape.DecimalIndex);
      digitDelta_ = number.Exponent - shape.DecimalIndex;
    }
  }

  void Write(std::string_view section) {
    const std::size_t n = section.size();
    for (std::size_t i = 0; i < n; ++i) {
      const char c = section[i];
      switch (c) {
        case '0':
        case '#':
          PutPlace();
          break;
        case '.':
        case ',':
          break;  // written by the digits themselves
        case '"':
        case '\'': {
          std::size_t close = section.find(c, i + 1);
          if (close == std::string_view::npos) close = n;
          out_.append(section.substr(i + 1, close - i - 1));
          i = close;
          break;
        }
        case 'E':
        case 'e':
          if (i + 1 < n && (section[i + 1] == '+' || section[i + 1] == '-')) {
            const bool alwaysSign = section[i + 1] == '+';
            i += 2;
            int zeros = 0;
            while (i < n && section[i] == '0') ++i, ++zeros;
            --i;
            PutExponent(c, alwaysSign, std::min(zeros, kMaxExponentDigits));
          } else {
            out_ += c;
          }
          break;
        default:
          out_ += c;
          break;
      }
    }
  }

 private:
  // One '0' or '#' place of the picture.
  void PutPlace() {
    if (digitDelta_ < 0) {  // a leading place before the number's first digit
      ++digitDelta_;
      if (digitPlace_ <= shape_.FirstDigit)
        PutDigit('0');
      else
        --digitPlace_;
      return;
    }
    for (; digitDelta_ > 0; --digitDelta_) PutDigit(NextDigitOrZero());
    if (digitIndex_ < number_.Count)
      PutDigit(number_.Digits[digitIndex_++]);
    else if (digitPlace_ > shape_.LastDigit)  // integer places and required decimals
      PutDigit('0');
    else
      --digitPlace_;
  }

  char NextDigitOrZero() {
    return digitIndex_ < number_.Count ? number_.Digits[digitIndex_++] : '0';
  }

  // digitPlace_ counts the integer places still to come; at 0 the decimal point is reached.
  void PutDigit(char digit) {
    if (digitPlace_ == 0) out_ += decimalSeparator_;
    out_ += digit;
    --digitPlace_;
    if (shape_.ThousandSep && digitPlace_ > 0 && digitPlace_ % 3 == 0) out_ += thousandSeparator_;
  }

  void PutExponent(char letter, bool alwaysSign, int minDigits) {
    out_ += letter;
    if (exponent_ < 0)
      out_ += '-';
    else if (alwaysSign)
      out_ += '+';
    char digits[16];
    std::snprintf(digits, sizeof digits, "%0*d", minDigits, std::abs(exponent_));
    out_ += digits;
  }

  std::string& out_;
  const TPictureShape& shape_;
  const TDecimal& number_;
  const char decimalSeparator_;
  const char thousandSeparator_;
  int digitPlace_ = 0;
  int digitDelta_ = 0;
  int digitIndex_ = 0;
  int exponent_ = 0;
};

}  // namespace

void AppendFormatFloat(std::string& out, std::string_view picture, double value,
                       char decimalSeparator, char thousandSeparator) {
  const int wanted = value > 0 ? 0 : value < 0 ? 1 : 2;
  int used = 0;
  std::string_view section = FindSection(picture, wanted, &used);
  if (section.empty() || !std::isfinite(value)) {
    out += FloatToStr(value, decimalSeparator);
    return;
  }
  const TPictureShape shape = ScanSection(section);
  TDecimal number;
  if (shape.Scientific)
    ToDecimal(std::fabs(value), std::clamp(shape.DigitCount, 1, kMaxDigits), kNoDecimalLimit,
              number);
  else
    ToDecimal(std::fabs(value), kMaxDigits, shape.DigitCount - shape.DecimalIndex, number);
  if (!shape.Scientific && number.Exponent > kMaxFixedIntegerDigits) {
    out += FloatToStr(value, decimalSeparator);
    return;
  }
  // The section and the sign follow the value, not its rounded digits, as the run-time's
  // pictures do: -0.004 with "0.00" is "-0.00", and with "0.0;(0.0);z" -0.04 is "(0.0)".
  // Only the first section gets a sign; the others spell their own.
  if (value < 0 && used == 0) out += '-';
  TPictureWriter(out, shape, number, decimalSeparator, thousandSeparator).Write(section);
}

std::string FormatFloat(std::string_view picture, double value, char decimalSeparator,
                        char thousandSeparator) {
  std::string out;
  AppendFormatFloat(out, picture, value, decimalSeparator, thousandSeparator);
  return out;
}

}  // namespace loom
