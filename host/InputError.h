// The error of everything `loom run` reads: a worksheet, a panel's settings file, a data file, a
// command line value. Its message names the file and, where there is one, the line and the key
// ("plant.ini:12: [Source:sine] Rate: \"fast\" is not a number"). The command turns it into
// exit status 2 and leaves no output file behind.
#pragma once

#include <stdexcept>
#include <string>

namespace loom {

class EInputError : public std::runtime_error {
 public:
  explicit EInputError(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace loom
