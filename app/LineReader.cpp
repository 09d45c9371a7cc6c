#include "app/LineReader.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>

#ifdef LOOM_HAVE_READLINE
#include <readline/history.h>
#include <readline/readline.h>
#endif

namespace loom {
namespace {

constexpr int kHistoryLength = 1000;  // lines kept in the history file

void DropCarriageReturn(std::string& line) {
  if (!line.empty() && line.back() == '\r') line.pop_back();
}

class TStreamLineReader : public TLineReader {
 public:
  TStreamLineReader(std::istream& in, bool showPrompt) : in_(in), showPrompt_(showPrompt) {}
  bool ReadLine(const std::string& prompt, std::string& line) override {
    if (showPrompt_) std::cout << prompt << std::flush;
    if (!std::getline(in_, line)) return false;
    DropCarriageReturn(line);
    return true;
  }

 private:
  std::istream& in_;
  bool showPrompt_;
};

#ifdef LOOM_HAVE_READLINE
class TReadlineLineReader : public TLineReader {
 public:
  explicit TReadlineLineReader(std::string historyFile) : historyFile_(std::move(historyFile)) {
    using_history();
    stifle_history(kHistoryLength);
    if (!historyFile_.empty()) read_history(historyFile_.c_str());  // absent at first: fine
  }
  ~TReadlineLineReader() override {
    if (!historyFile_.empty()) write_history(historyFile_.c_str());
  }
  bool ReadLine(const std::string& prompt, std::string& line) override {
    std::cout.flush();
    char* text = readline(prompt.c_str());
    if (text == nullptr) {
      std::cout << '\n';  // leave the terminal on a fresh line after Ctrl-D
      return false;
    }
    line = text;
    std::free(text);
    DropCarriageReturn(line);
    return true;
  }
  void AddHistory(const std::string& line) override {
    if (!line.empty()) add_history(line.c_str());
  }

 private:
  std::string historyFile_;
};
#endif

}  // namespace

std::unique_ptr<TLineReader> MakeStreamLineReader(std::istream& in) {
  return std::make_unique<TStreamLineReader>(in, false);
}

std::unique_ptr<TLineReader> MakeTerminalLineReader(const std::string& historyFile) {
#ifdef LOOM_HAVE_READLINE
  return std::make_unique<TReadlineLineReader>(historyFile);
#else
  (void)historyFile;
  return std::make_unique<TStreamLineReader>(std::cin, true);
#endif
}

std::string DefaultHistoryFile() {
  const char* home = std::getenv("HOME");
  if (home == nullptr || *home == '\0') return {};
  return std::string(home) + "/.loom_history";
}

}  // namespace loom
