// What the file functions offer beyond their bodies: the completion of the file names that
// formulas give, the count of files that formulas hold open, and the one seam through which
// every system call of the file functions goes, so that tests can make any of them fail.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <string>

namespace loom {

class TVXExpressionEvaluatorBase;

// The path the file functions use for a name given by a formula: an absolute name as it stands,
// a relative one resolved against the evaluator's base directory ("." when that is empty).
std::string ExtendFilename(const std::string& baseDirectory, const std::string& name);

// The number of files in the open-file list (opened by formulas and not yet closed).
std::size_t OpenFileCount();

// The longest line FileReadStringLn returns; a longer one comes back in pieces of this length.
// Also the largest length FileWriteStringFixed accepts and the most bytes one FileReadStringFixed
// reads, whatever length it is given.
inline constexpr std::size_t kMaxFileStringLength = std::size_t{1} << 27;

// The system calls of the file functions. Each member behaves as the POSIX call of that name
// (a failure returns -1 and sets errno); tests replace members to provoke failures and restore
// the defaults afterwards with ResetFileSystemCalls.
struct TFileSystemCalls {
  int (*Open)(const char* path, int flags, mode_t mode);
  int (*Close)(int fd);
  ssize_t (*Read)(int fd, void* buffer, std::size_t count);
  ssize_t (*Write)(int fd, const void* buffer, std::size_t count);
  off_t (*Seek)(int fd, off_t offset, int whence);
  int (*FileStat)(int fd, struct stat* info);
  int (*PathStat)(const char* path, struct stat* info);
  int (*Truncate)(int fd, off_t length);
  int (*Lock)(int fd, int operation);
  int (*MakeDirectory)(const char* path, mode_t mode);
};

// The calls in use. Not synchronised: only tests change them, while no formula runs.
TFileSystemCalls& FileSystemCalls();
void ResetFileSystemCalls();

}  // namespace loom
