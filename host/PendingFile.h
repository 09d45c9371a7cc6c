// An output file written under a temporary name beside its final one ("out.csv.partial") and
// renamed at the end: a run that fails or is killed never leaves a file that looks complete.
#pragma once

#include <fstream>
#include <string>

namespace loom {

class TPendingFile {
 public:
  // Creates the folders on the way and opens path + ".partial" for writing; raises
  // EInputError naming shown when that fails.
  TPendingFile(std::string path, std::string shown);
  // Removes the temporary file unless Commit ran.
  ~TPendingFile();
  TPendingFile(const TPendingFile&) = delete;
  TPendingFile& operator=(const TPendingFile&) = delete;

  std::ostream& Stream() { return stream_; }
  const std::string& TemporaryPath() const { return temporary_; }
  const std::string& Path() const { return path_; }
  // Flushes, closes and renames the file to its name; raises EInputError when writing failed.
  void Commit();

 private:
  std::string path_, shown_, temporary_;
  std::ofstream stream_;
  bool committed_ = false;
};

// Creates the folder holding path, if it is missing; raises EInputError.
void CreateParentFolder(const std::string& path, const std::string& shown);

}  // namespace loom
