#include "host/PendingFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "host/InputError.h"

namespace loom {

void CreateParentFolder(const std::string& path, const std::string& shown) {
  const std::filesystem::path parent = std::filesystem::path(path).parent_path();
  if (parent.empty()) return;
  std::error_code error;
  std::filesystem::create_directories(parent, error);
  if (error) throw EInputError("cannot create the folder of " + shown + ": " + error.message());
}

TPendingFile::TPendingFile(std::string path, std::string shown)
    : path_(std::move(path)), shown_(std::move(shown)), temporary_(path_ + ".partial") {
  CreateParentFolder(path_, shown_);
  stream_.open(temporary_, std::ios::binary | std::ios::trunc);
  if (!stream_) throw EInputError("cannot write " + shown_ + ": " + std::strerror(errno));
}

TPendingFile::~TPendingFile() {
  if (committed_) return;
  stream_.close();
  std::remove(temporary_.c_str());
}

void TPendingFile::Commit() {
  stream_.flush();
  const bool written = static_cast<bool>(stream_);
  stream_.close();
  if (!written) throw EInputError("cannot write " + shown_ + ": the disk refused the data");
  if (std::rename(temporary_.c_str(), path_.c_str()) != 0)
    throw EInputError("cannot rename " + temporary_ + " to " + shown_ + ": " +
                      std::strerror(errno));
  committed_ = true;
}

}  // namespace loom
