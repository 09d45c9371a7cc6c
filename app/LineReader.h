// Where the REPL gets its lines: a terminal with line editing and history, or any stream read
// plainly (a pipe, a file, a test).
#pragma once

#include <iosfwd>
#include <memory>
#include <string>

namespace loom {

class TLineReader {
 public:
  virtual ~TLineReader() = default;
  // Reads one line without its line break (and without a trailing "\r"); false at the end of
  // the input. prompt is shown where a user can see it.
  virtual bool ReadLine(const std::string& prompt, std::string& line) = 0;
  // Remembers a line for recall; readers without history ignore it.
  virtual void AddHistory(const std::string& /*line*/) {}
};

// Reads a stream without prompts: what is fed through a pipe gets only results back.
std::unique_ptr<TLineReader> MakeStreamLineReader(std::istream& in);

// Reads the terminal with line editing; history is loaded from and saved to historyFile when
// that is not empty. Built without readline, it reads std::cin plainly, prompts shown.
std::unique_ptr<TLineReader> MakeTerminalLineReader(const std::string& historyFile);

// The history file of the REPL: ~/.loom_history, or empty when HOME is not set.
std::string DefaultHistoryFile();

}  // namespace loom
