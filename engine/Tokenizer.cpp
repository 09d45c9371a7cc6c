// ParseString: cuts a formula into tokens and turns each token into a word.
#include <cctype>
#include <charconv>
#include <string>

#include "engine/Evaluator.h"
#include "engine/Messages.h"

namespace loom {

namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
bool IsLetter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
bool IsHexDigit(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

enum class TokenKind { kEnd, kName, kNumber, kHex, kString, kSymbol };

struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::string text;
};

// The scanner: one token per call from the current position.
class Scanner {
 public:
  Scanner(const std::string& text, char decimalSeparator, char listSeparator)
      : text_(text), decimal_(decimalSeparator), list_(listSeparator) {}

  // Throws the illegal-character message (through fail) for a character that starts no token.
  template <typename Fail>
  Token Next(Fail&& fail) {
    while (pos_ < text_.size() && text_[pos_] == ' ') ++pos_;
    Token token;
    if (pos_ >= text_.size()) return token;
    const std::size_t start = pos_;
    const char c = text_[pos_];
    // The hexadecimal prefix and the decimal separator come before the fixed classes, so that
    // with a decimal comma a comma always starts a number.
    if (c == TVXExpressionEvaluatorBase::HexPrefix()) {
      ++pos_;
      while (pos_ < text_.size() && IsHexDigit(text_[pos_])) ++pos_;
      token.kind = TokenKind::kHex;
    } else if (c == decimal_ || IsDigit(c)) {
      ScanNumber();
      token.kind = TokenKind::kNumber;
    } else if (c == '.' || c == '_' || IsLetter(c)) {
      ++pos_;
      while (pos_ < text_.size() && (text_[pos_] == '.' || text_[pos_] == '_' ||
                                     IsDigit(text_[pos_]) || IsLetter(text_[pos_])))
        ++pos_;
      token.kind = TokenKind::kName;
    } else if (c == '"') {
      const std::size_t close = text_.find('"', pos_ + 1);
      if (close == std::string::npos) fail(rsUnclosedString, text_.substr(pos_));
      pos_ = close + 1;
      token.kind = TokenKind::kString;
    } else {
      ScanSymbol(c, fail);
      token.kind = TokenKind::kSymbol;
    }
    token.text = text_.substr(start, pos_ - start);
    return token;
  }

 private:
  void ScanDigits() {
    while (pos_ < text_.size() && IsDigit(text_[pos_])) ++pos_;
  }

  void ScanNumber() {
    ScanDigits();
    if (pos_ < text_.size() && text_[pos_] == decimal_) {
      ++pos_;
      ScanDigits();
    }
    if (pos_ < text_.size() && (text_[pos_] == 'E' || text_[pos_] == 'e')) {
      ++pos_;
      if (pos_ < text_.size() && (text_[pos_] == '+' || text_[pos_] == '-')) ++pos_;
      ScanDigits();
    }
  }

  template <typename Fail>
  void ScanSymbol(char c, Fail&& fail) {
    const char next = pos_ + 1 < text_.size() ? text_[pos_ + 1] : '\0';
    ++pos_;
    switch (c) {
      case '!':
      case ':':
        if (next == '=') ++pos_;
        return;
      case '<':
      case '=':
      case '>':
        if (next == '<' || next == '=' || next == '>') ++pos_;
        return;
      case '&':
      case '|':
        if (next == c) ++pos_;
        return;
      case '$':
      case '%':
      case '(':
      case ')':
      case '*':
      case '+':
      case ',':
      case '-':
      case '/':
      case '[':
      case '\\':
      case ']':
      case '^':
      case '~':
        return;
      default:
        // The list separator of a decimal-comma evaluator is ";", which has no class of its own.
        if (c == list_) return;
        fail(rsIllegalCharacter, std::string(1, c));
    }
  }

  const std::string& text_;
  const char decimal_;
  const char list_;
  std::size_t pos_ = 0;
};

// "$1A" as decimal text: hexadecimal literals are unsigned and at most 64 bits wide.
bool HexToDecimalText(const std::string& token, std::string& decimal) {
  std::uint64_t value = 0;
  const char* first = token.data() + 1;
  const char* last = token.data() + token.size();
  if (first == last) return false;
  auto [end, error] = std::from_chars(first, last, value, 16);
  if (error != std::errc() || end != last) return false;
  decimal = std::to_string(value);
  return true;
}

}  // namespace

void TVXExpressionEvaluatorBase::ParseString(TVXCompileState& state,
                                             TVXParsExprCollection& tokens) {
  const std::string& text = state.Text;
  // An empty text becomes the end marker alone; scanning stops at the first token that begins
  // with a backslash, so a formula cannot use it as an operator.
  const std::string source = text.empty() ? std::string("\\") : text;
  Scanner scanner(source, decimalSeparator_, listSeparator_);
  auto fail = [&state](const char* message, const std::string& detail) {
    state.Fail(message, detail);
  };
  for (;;) {
    Token token = scanner.Next(fail);
    if (token.kind == TokenKind::kEnd || token.text.front() == '\\') break;
    TVXParsExprWord* word = nullptr;
    switch (token.kind) {
      case TokenKind::kName:
      case TokenKind::kSymbol:
        word = words_.Find(token.text.c_str());
        if (!word) {
          // Every unknown name becomes a variable of the evaluator; whether it may stand
          // there is decided by the syntax check and the tree building.
          word = AddWord(std::make_unique<TVXParsGeneratedVariable>(token.text));
        }
        break;
      case TokenKind::kHex: {
        std::string decimal;
        if (!HexToDecimalText(token.text, decimal)) state.Fail(rsInvalidNumber, token.text);
        auto constant = std::make_unique<TVXParsDoubleConstant>(decimal, 0.0, "", "");
        constant->Value.Value = static_cast<double>(std::stoull(decimal));
        word = constant.get();
        state.Expression.Constants.push_back(std::move(constant));
        break;
      }
      case TokenKind::kNumber: {
        double value;
        if (!TryStrToFloat(token.text, decimalSeparator_, value))
          state.Fail(rsInvalidNumber, token.text);
        auto constant = std::make_unique<TVXParsDoubleConstant>(token.text, value, "", "");
        word = constant.get();
        state.Expression.Constants.push_back(std::move(constant));
        break;
      }
      case TokenKind::kString: {
        auto constant =
            std::make_unique<TVXParsDoubleConstant>(token.text, token.text, "", "", true);
        word = constant.get();
        state.Expression.Constants.push_back(std::move(constant));
        break;
      }
      case TokenKind::kEnd:
        break;
    }
    tokens.Insert(word);
  }
}

}  // namespace loom
