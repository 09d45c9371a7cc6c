// File functions: formulas create, open, append to, seek in, read and write files as text lines,
// fixed-length text or raw little-endian binary values.
//
// A file handle is the POSIX descriptor itself, carried as a number. Every descriptor a formula
// opens goes into one process-wide open-file list, and a handle is honoured only while it is in
// that list: any other number (the process's standard streams, descriptors that other code
// opened, closed handles, INVALID_FILEHANDLE) counts as never opened, so a formula can never
// touch a descriptor it did not open itself. Failures of system calls never raise: they give
// the documented 0, -1 or INVALID_FILEHANDLE. Wrong argument kinds raise "Invalid parameters".
#include "functions/FileIO.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "engine/Evaluator.h"
#include "engine/Messages.h"
#include "engine/ParserClasses.h"
#include "functions/Bodies.h"
#include "functions/BodyHelpers.h"
#include "functions/FormulaHost.h"

namespace loom {

static_assert(sizeof(off_t) == 8, "file sizes and positions are 64-bit");

// --- the system-call seam ---

namespace {

int SystemOpen(const char* path, int flags, mode_t mode) {
  return ::open(path, flags, mode);
}
int SystemClose(int fd) {
  return ::close(fd);
}
ssize_t SystemRead(int fd, void* buffer, std::size_t count) {
  return ::read(fd, buffer, count);
}
ssize_t SystemWrite(int fd, const void* buffer, std::size_t count) {
  return ::write(fd, buffer, count);
}
off_t SystemSeek(int fd, off_t offset, int whence) {
  return ::lseek(fd, offset, whence);
}
int SystemFileStat(int fd, struct stat* info) {
  return ::fstat(fd, info);
}
int SystemPathStat(const char* path, struct stat* info) {
  return ::stat(path, info);
}
int SystemTruncate(int fd, off_t length) {
  return ::ftruncate(fd, length);
}
int SystemLock(int fd, int operation) {
  return ::flock(fd, operation);
}
int SystemMakeDirectory(const char* path, mode_t mode) {
  return ::mkdir(path, mode);
}

constexpr TFileSystemCalls kSystemCalls{
    SystemOpen,     SystemClose,    SystemRead,     SystemWrite, SystemSeek,
    SystemFileStat, SystemPathStat, SystemTruncate, SystemLock,  SystemMakeDirectory};

TFileSystemCalls gCalls = kSystemCalls;

const TFileSystemCalls& Sys() {
  return gCalls;
}

// read() retried on EINTR: the bytes read, 0 at the end of the data, -1 on failure.
ssize_t ReadSome(int fd, void* buffer, std::size_t count) {
  for (;;) {
    const ssize_t got = Sys().Read(fd, buffer, count);
    if (got >= 0 || errno != EINTR) return got;
  }
}

// Writes all count bytes; false when a write fails or stops making progress.
bool WriteAll(int fd, const char* data, std::size_t count) {
  while (count > 0) {
    const ssize_t written = Sys().Write(fd, data, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data += written;
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

// --- the open-file list ---

// The descriptor a handle number names after rounding, or -1 for a number that cannot name one
// (negative, not a number, beyond the range of descriptors such as INVALID_FILEHANDLE).
int DescriptorOf(double handle) {
  const double rounded = std::nearbyint(handle);
  if (!(rounded >= 0 && rounded <= INT_MAX)) return -1;
  return static_cast<int>(rounded);
}

// Every descriptor that FileOpen, FileCreate or FileAppend opened and that neither FileClose nor
// _closeallfiles has closed yet; one list for all evaluators and panels of the process.
class TOpenFileList {
 public:
  void Add(int fd) {
    std::lock_guard lock(mutex_);
    if (!Listed(fd)) handles_.push_back(fd);
  }

  // Closes fd and drops it from the list; a descriptor that is not listed stays untouched.
  void Close(int fd) {
    std::lock_guard lock(mutex_);
    const auto it = std::find(handles_.begin(), handles_.end(), fd);
    if (it == handles_.end()) return;
    handles_.erase(it);
    Sys().Close(fd);
  }

  void CloseAll() {
    std::lock_guard lock(mutex_);
    for (int fd : handles_) Sys().Close(fd);
    handles_.clear();
  }

  std::size_t Count() {
    std::lock_guard lock(mutex_);
    return handles_.size();
  }

  // use(fd) when handle names a listed descriptor; otherwise notOpen, and no descriptor is
  // touched. use must not call back into the list.
  template <class R, class Use>
  R With(double handle, R notOpen, Use&& use) {
    const int fd = DescriptorOf(handle);
    std::lock_guard lock(mutex_);
    if (fd < 0 || !Listed(fd)) return notOpen;
    return use(fd);
  }

 private:
  bool Listed(int fd) const {
    return std::find(handles_.begin(), handles_.end(), fd) != handles_.end();
  }

  // Guards handles_. It is also held across every system call on a listed descriptor, so that
  // a FileClose on another thread cannot close the descriptor (and the system hand its number
  // to the next open) in the middle of a read or write.
  std::mutex mutex_;
  std::vector<int> handles_;
};

// Never destroyed: the module closes the files when it is unloaded, which may come after the
// static destructors have run.
TOpenFileList& OpenFiles() {
  static TOpenFileList* const list = new TOpenFileList;
  return *list;
}

// --- arguments and results ---

constexpr double kInvalidFileHandle = 4294967295.0;  // INVALID_FILEHANDLE

const TVXParsDouble& NumberArg(const TVXParsExpressionRec* rec, std::size_t index) {
  const TVXParsDouble& arg = rec->Arg(index);
  if (arg.VarType != vtDouble) throw EVXParserException(rsInvalidParameters);
  return arg;
}

const std::string& StringArg(const TVXParsExpressionRec* rec, std::size_t index) {
  const TVXParsDouble& arg = rec->Arg(index);
  if (arg.VarType != vtString) throw EVXParserException(rsInvalidParameters);
  return arg.StrValue;
}

void SetNumber(TVXParsDouble& value, double number) {
  value.VarType = vtDouble;
  value.Value = number;
}

// A count or length given by a formula, rounded. Above limit it raises message with the
// function's name and the limit; a negative value gives -1 (each caller says what that means);
// not a number raises "Invalid floating point operation" as every rounding does.
std::int64_t RoundedCount(double value, std::size_t limit, const char* message,
                          const char* functionName) {
  const double rounded = std::nearbyint(value);
  if (rounded > static_cast<double>(limit))
    throw EVXParserException(FormatMessage(message, {functionName, std::to_string(limit)}));
  if (rounded < 0) return -1;
  return IntegralToInt64(rounded);
}

// A count or length of what to read, rounded. Reads stop at the end of the data, so a count
// beyond limit only ever reads limit (the rest of a longer file comes with the next read); a
// negative value gives -1, not a number raises as every rounding does.
std::int64_t ReadCount(double value, std::size_t limit) {
  const double rounded = std::nearbyint(value);
  if (rounded > static_cast<double>(limit)) return static_cast<std::int64_t>(limit);
  if (rounded < 0) return -1;
  return IntegralToInt64(rounded);
}

// Scratch buffers live per thread and keep their storage between calls; one that grew beyond
// this is released so that a single huge read does not pin its memory for good.
constexpr std::size_t kScratchKeep = std::size_t{1} << 20;

template <class Buffer>
void ReleaseIfLarge(Buffer& buffer) {
  if (buffer.capacity() > kScratchKeep) Buffer().swap(buffer);
}

// --- binary values ---

template <class Bits>
void StoreLittleEndian(Bits bits, unsigned char* out) {
  for (std::size_t i = 0; i < sizeof(Bits); ++i)
    out[i] = static_cast<unsigned char>(static_cast<std::uint64_t>(bits) >> (8 * i));
}

template <class Bits>
Bits LoadLittleEndian(const unsigned char* in) {
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i < sizeof(Bits); ++i) bits |= std::uint64_t{in[i]} << (8 * i);
  return static_cast<Bits>(bits);
}

// x as single precision, rounded to nearest as the processor would; values beyond the single
// range become FLT_MAX or infinity explicitly, since that conversion is undefined in C++.
float ToFloat32(double x) {
  constexpr double kOverflow = 0x1.ffffffp127;  // FLT_MAX plus half its last step
  const double magnitude = std::fabs(x);
  if (magnitude > FLT_MAX && magnitude < std::numeric_limits<double>::infinity())
    return std::copysign(magnitude >= kOverflow ? std::numeric_limits<float>::infinity() : FLT_MAX,
                         static_cast<float>(x > 0 ? 1 : -1));
  return static_cast<float>(x);
}

// One of the eight binary types of the file and string functions: Byte (uint8_t), ShortInteger
// (int8_t), Word (uint16_t), SmallInteger (int16_t), Integer (int32_t), LongWord (uint32_t),
// Float32 (float) and Float64 (double). Integers take the rounded value cut to their width in
// two's complement; floats take the value unrounded.
template <class T>
struct TBinary {
  // The unsigned integer of the type's width.
  using Bits = std::conditional_t<
      sizeof(T) == 1, std::uint8_t,
      std::conditional_t<sizeof(T) == 2, std::uint16_t,
                         std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>>;
  static constexpr std::size_t kWidth = sizeof(T);

  static void Encode(double x, unsigned char* out) {
    if constexpr (std::is_integral_v<T>)
      StoreLittleEndian(static_cast<Bits>(static_cast<std::uint64_t>(RoundToInt64(x))), out);
    else if constexpr (sizeof(T) == 4)
      StoreLittleEndian(std::bit_cast<Bits>(ToFloat32(x)), out);
    else
      StoreLittleEndian(std::bit_cast<Bits>(x), out);
  }

  static double Decode(const unsigned char* in) {
    const Bits bits = LoadLittleEndian<Bits>(in);
    if constexpr (std::is_integral_v<T>)
      return static_cast<double>(static_cast<T>(bits));
    else
      return static_cast<double>(std::bit_cast<T>(bits));
  }
};

// --- opening ---

// Names that cannot name a file: the empty name, and names with a zero byte, which the system
// would cut short and so open a file the formula did not name.
bool UsableName(const std::string& name) {
  return !name.empty() && name.find('\0') == std::string::npos;
}

// Opens path for reading and writing, creating it when missing, and takes an exclusive lock so
// that a second opener (in this process or another) fails, as an unshared open does. Truncates
// only once the lock is held, so that a refused FileCreate leaves the other opener's file
// alone. Returns the descriptor, or -1.
int OpenExclusive(const std::string& path, bool truncate) {
  int fd;
  do {
    fd = Sys().Open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY, 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return -1;
  // Only a lock held by another opener refuses the file; a file system without locks still
  // opens it, unshared only by convention.
  if (Sys().Lock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    Sys().Close(fd);
    return -1;
  }
  if (truncate && Sys().Truncate(fd, 0) != 0) {
    Sys().Close(fd);
    return -1;
  }
  return fd;
}

void OpenFileBody(TVXParsExpressionRec* rec, bool truncate, bool toEnd) {
  const std::string& name = StringArg(rec, 0);
  int fd = -1;
  if (UsableName(name))
    fd = OpenExclusive(ExtendFilename(EvaluatorOf(rec).BaseDirectory, name), truncate);
  if (fd >= 0) {
    if (toEnd) Sys().Seek(fd, 0, SEEK_END);
    OpenFiles().Add(fd);
  }
  SetNumber(rec->Result, fd >= 0 ? static_cast<double>(fd) : kInvalidFileHandle);
}

// Creates path with every missing parent; true when it is a directory afterwards.
bool MakeDirectories(const std::string& path) {
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1))
    Sys().MakeDirectory(path.substr(0, slash).c_str(), 0777);
  Sys().MakeDirectory(path.c_str(), 0777);
  struct stat info;
  return Sys().PathStat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// --- reading ---

// Reads up to want bytes, as one read would from a file: in chunks of bounded size, so that an
// absurd length costs only what the file holds, stopping at the first short read. Returns false
// when a read fails.
bool ReadUpTo(int fd, std::size_t want, std::string& into) {
  constexpr std::size_t kChunk = std::size_t{1} << 20;
  into.clear();
  while (into.size() < want) {
    const std::size_t start = into.size();
    const std::size_t chunk = std::min(want - start, kChunk);
    into.resize(start + chunk);
    const ssize_t got = ReadSome(fd, into.data() + start, chunk);
    if (got < 0) return false;
    into.resize(start + static_cast<std::size_t>(got));
    if (static_cast<std::size_t>(got) < chunk) break;
  }
  return true;
}

// Reads one line into line: the bytes up to and including the delimiter (an empty delimiter
// stands for the single byte 0D), or up to the end of the data. Returns false when no byte
// could be read. Seekable files are read in blocks and the position is moved back to just after
// the last byte used; others (pipes, terminals) one byte at a time, so that nothing after the
// line is consumed.
bool ReadLine(int fd, std::string_view delimiter, std::string& line) {
  const std::string_view match = delimiter.empty() ? std::string_view("\r") : delimiter;
  line.clear();
  const bool seekable = Sys().Seek(fd, 0, SEEK_CUR) >= 0;
  std::array<char, 4096> block;
  const std::size_t blockSize = seekable ? block.size() : 1;
  std::size_t next = 0;  // the delimiter byte expected next
  bool matched = false;
  while (!matched && line.size() < kMaxFileStringLength) {
    const std::size_t want = std::min(blockSize, kMaxFileStringLength - line.size());
    const ssize_t got = ReadSome(fd, block.data(), want);
    if (got <= 0) break;
    std::size_t used = 0;
    while (used < static_cast<std::size_t>(got) && !matched) {
      const char byte = block[used++];
      line.push_back(byte);
      if (byte == match[next])
        matched = ++next == match.size();
      else
        next = 0;  // Intended: this byte is not compared again with the first delimiter byte.
    }
    if (used < static_cast<std::size_t>(got))
      Sys().Seek(fd, -static_cast<off_t>(static_cast<std::size_t>(got) - used), SEEK_CUR);
  }
  // The delimiter given is removed; with an empty one the 0D stays at the end, deliberately.
  if (matched) line.resize(line.size() - delimiter.size());
  return matched || !line.empty();
}

// FileReadBinary<type>: exactly one value of width bytes, or nothing.
template <class T>
void ReadBinary(TVXParsExpressionRec* rec) {
  const double handle = NumberArg(rec, 0).Value;
  std::array<unsigned char, TBinary<T>::kWidth> bytes;
  const bool read = OpenFiles().With(handle, false, [&](int fd) {
    return ReadSome(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  });
  if (read) SetNumber(rec->Arg(1), TBinary<T>::Decode(bytes.data()));
  SetNumber(rec->Result, read ? 1 : 0);
}

// FileReadBinary<type>Vector: up to count values (at most kMaxVectorLength) in bounded chunks,
// decoded straight into the target vector as they arrive, so a large count costs only what the
// file holds; a trailing partial value is dropped. A failed read counts as no value read.
template <class T>
void ReadBinaryVector(TVXParsExpressionRec* rec) {
  using Binary = TBinary<T>;
  const double handle = NumberArg(rec, 0).Value;
  const std::int64_t count = ReadCount(NumberArg(rec, 2).Value, kMaxVectorLength);
  if (count < 0) {
    SetNumber(rec->Result, 0);
    return;
  }
  TVXParsDouble& vector = rec->Arg(1);
  std::size_t elements = 0;
  const bool read = OpenFiles().With(handle, false, [&](int fd) {
    alignas(8) std::array<unsigned char, 65536> chunk;
    const std::size_t want = static_cast<std::size_t>(count);
    while (elements < want) {
      const std::size_t chunkElements = std::min(want - elements, chunk.size() / Binary::kWidth);
      const ssize_t got = ReadSome(fd, chunk.data(), chunkElements * Binary::kWidth);
      if (got < 0) return false;
      const std::size_t whole = static_cast<std::size_t>(got) / Binary::kWidth;
      vector.Vector.resize(elements + whole);
      double* out = vector.Vector.data() + elements;
      for (std::size_t i = 0; i < whole; ++i) out[i] = Binary::Decode(&chunk[i * Binary::kWidth]);
      elements += whole;
      if (whole < chunkElements) break;
    }
    return true;
  });
  if (!read) elements = 0;
  if (elements > 0) {
    vector.VarType = vtVector;
    vector.Vector.resize(elements);
  } else {
    SetNumber(vector, 0);
  }
  SetNumber(rec->Arg(3), static_cast<double>(elements));
  SetNumber(rec->Result, elements > 0 ? 1 : 0);
}

// --- writing ---

// FileWriteBinary<type>: the number, or every element of the vector, in one write.
template <class T>
void WriteBinary(TVXParsExpressionRec* rec) {
  using Binary = TBinary<T>;
  const double handle = NumberArg(rec, 0).Value;
  const TVXParsDouble& value = rec->Arg(1);
  thread_local std::vector<unsigned char> bytes;
  if (value.VarType == vtDouble) {
    bytes.resize(Binary::kWidth);
    Binary::Encode(value.Value, bytes.data());
  } else if (value.VarType == vtVector) {
    const std::size_t n = value.Vector.size();
    bytes.resize(n * Binary::kWidth);
    for (std::size_t i = 0; i < n; ++i)
      Binary::Encode(value.Vector[i], bytes.data() + i * Binary::kWidth);
  } else {
    throw EVXParserException(rsInvalidParameters);
  }
  const bool written = OpenFiles().With(handle, false, [&](int fd) {
    return WriteAll(fd, reinterpret_cast<const char*>(bytes.data()), bytes.size());
  });
  ReleaseIfLarge(bytes);
  SetNumber(rec->Result, written ? 1 : 0);
}

}  // namespace

// --- the interface of FileIO.h ---

std::string ExtendFilename(const std::string& baseDirectory, const std::string& name) {
  if (!name.empty() && name.front() == '/') return name;
  std::string path = baseDirectory;
  if (path.empty()) path = ".";
  if (name.empty()) return path;
  if (path.back() != '/') path += '/';
  return path + name;
}

std::size_t OpenFileCount() {
  return OpenFiles().Count();
}

TFileSystemCalls& FileSystemCalls() {
  return gCalls;
}

void ResetFileSystemCalls() {
  gCalls = kSystemCalls;
}

// --- opening and closing ---

void _VXParsFileOpen(TVXParsExpressionRec* rec) {
  OpenFileBody(rec, false, false);
}
void _VXParsFileCreate(TVXParsExpressionRec* rec) {
  OpenFileBody(rec, true, false);
}
void _VXParsFileAppend(TVXParsExpressionRec* rec) {
  OpenFileBody(rec, false, true);
}

// Writes no result.
void _VXParsFileClose(TVXParsExpressionRec* rec) {
  OpenFiles().Close(DescriptorOf(NumberArg(rec, 0).Value));
}

void _VXParsCreateDirectory(TVXParsExpressionRec* rec) {
  const std::string& name = StringArg(rec, 0);
  const bool made =
      UsableName(name) && MakeDirectories(ExtendFilename(EvaluatorOf(rec).BaseDirectory, name));
  SetNumber(rec->Result, made ? 1 : 0);
}

void _closeallfiles() {
  OpenFiles().CloseAll();
}

// --- position and size ---

// The offset is a signed 32-bit number; one outside that range fails like a refused seek. The
// new position is reported in full, beyond 4 GiB too.
void _VXParsFileSeek(TVXParsExpressionRec* rec) {
  const double handle = NumberArg(rec, 0).Value;
  const double offset = std::nearbyint(NumberArg(rec, 1).Value);
  const double mode = std::nearbyint(NumberArg(rec, 2).Value);
  double position = -1;
  const bool validOffset = offset >= INT32_MIN && offset <= INT32_MAX;
  if (validOffset && (mode == 0 || mode == 1 || mode == 2)) {
    const int whence = mode == 0 ? SEEK_SET : mode == 1 ? SEEK_CUR : SEEK_END;
    position = OpenFiles().With(handle, -1.0, [&](int fd) {
      const off_t moved = Sys().Seek(fd, static_cast<off_t>(offset), whence);
      return moved < 0 ? -1.0 : static_cast<double>(moved);
    });
  }
  SetNumber(rec->Result, position);
}

// A handle that is not open, or whose position or size cannot be queried, is at its end, so
// that a loop reading until FileEOF ends.
void _VXParsFileEOF(TVXParsExpressionRec* rec) {
  const double handle = NumberArg(rec, 0).Value;
  const bool atEnd = OpenFiles().With(handle, true, [](int fd) {
    const off_t position = Sys().Seek(fd, 0, SEEK_CUR);
    struct stat info;
    if (position < 0 || Sys().FileStat(fd, &info) != 0) return true;
    return position >= info.st_size;
  });
  rec->Result.VarType = vtBoolean;
  rec->Result.Value = atEnd ? 1 : 0;
}

// A handle that is not open reports EBADF, as the size query on it would.
void _VXParsFileSize(TVXParsExpressionRec* rec) {
  const double handle = NumberArg(rec, 0).Value;
  double size = 0;
  int error = EBADF;
  OpenFiles().With(handle, 0, [&](int fd) {
    struct stat info;
    if (Sys().FileStat(fd, &info) == 0) {
      size = static_cast<double>(info.st_size);
      error = 0;
    } else {
      error = errno;
    }
    return 0;
  });
  SetNumber(rec->Arg(1), error);
  SetNumber(rec->Result, size);
}

// --- writing text ---

void _VXParsFileWriteString(TVXParsExpressionRec* rec) {
  const double handle = NumberArg(rec, 0).Value;
  const std::string& text = StringArg(rec, 1);
  const bool written = OpenFiles().With(
      handle, false, [&](int fd) { return WriteAll(fd, text.data(), text.size()); });
  SetNumber(rec->Result, written ? 1 : 0);
}

// The line end is a second write; the result is 1 only when both succeed.
void _VXParsFileWriteStringLn(TVXParsExpressionRec* rec) {
  const double handle = NumberArg(rec, 0).Value;
  const std::string& text = StringArg(rec, 1);
  const bool written = OpenFiles().With(handle, false, [&](int fd) {
    return WriteAll(fd, text.data(), text.size()) && WriteAll(fd, "\r\n", 2);
  });
  SetNumber(rec->Result, written ? 1 : 0);
}

// Exactly length bytes: the text cut to length, or padded with zero bytes. A length of zero or
// less writes nothing, successfully.
void _VXParsFileWriteStringFixed(TVXParsExpressionRec* rec) {
  const double handle = NumberArg(rec, 0).Value;
  const std::string& text = StringArg(rec, 1);
  const std::int64_t length = RoundedCount(NumberArg(rec, 2).Value, kMaxFileStringLength,
                                           rsStringTooLong, "FileWriteStringFixed");
  const std::size_t size = length > 0 ? static_cast<std::size_t>(length) : 0;
  thread_local std::string bytes;
  bytes.assign(text, 0, std::min(size, text.size()));
  bytes.resize(size, '\0');
  const bool written = OpenFiles().With(
      handle, false, [&](int fd) { return WriteAll(fd, bytes.data(), bytes.size()); });
  ReleaseIfLarge(bytes);
  SetNumber(rec->Result, written ? 1 : 0);
}

// --- reading text ---

// The target becomes of the string kind in every case; it keeps its text when nothing was read.
void _VXParsFileReadStringLn(TVXParsExpressionRec* rec) {
  const double handle = NumberArg(rec, 0).Value;
  const std::string& delimiter = StringArg(rec, 2);
  thread_local std::string line;
  const bool read =
      OpenFiles().With(handle, false, [&](int fd) { return ReadLine(fd, delimiter, line); });
  TVXParsDouble& target = rec->Arg(1);
  target.VarType = vtString;
  if (read) target.StrValue = line;
  ReleaseIfLarge(line);
  SetNumber(rec->Result, read ? 1 : 0);
}

// At the end of the file the target becomes the number 0; when the read fails it is untouched.
// A length of zero or less reads nothing, as at the end of the file.
void _VXParsFileReadStringFixed(TVXParsExpressionRec* rec) {
  const double handle = NumberArg(rec, 0).Value;
  const std::int64_t length = ReadCount(NumberArg(rec, 2).Value, kMaxFileStringLength);
  const std::size_t want = length > 0 ? static_cast<std::size_t>(length) : 0;
  thread_local std::string bytes;
  const bool read =
      OpenFiles().With(handle, false, [&](int fd) { return ReadUpTo(fd, want, bytes); });
  if (read) {
    TVXParsDouble& target = rec->Arg(1);
    if (bytes.empty()) {
      SetNumber(target, 0);
    } else {
      target.VarType = vtString;
      target.StrValue = bytes;
    }
  }
  const bool gotBytes = read && !bytes.empty();
  ReleaseIfLarge(bytes);
  SetNumber(rec->Result, gotBytes ? 1 : 0);
}

// --- binary values ---

// clang-format off
void _VXParsFileWriteBinaryByte(TVXParsExpressionRec* rec)         { WriteBinary<std::uint8_t>(rec); }
void _VXParsFileWriteBinaryShortInteger(TVXParsExpressionRec* rec) { WriteBinary<std::int8_t>(rec); }
void _VXParsFileWriteBinaryWord(TVXParsExpressionRec* rec)         { WriteBinary<std::uint16_t>(rec); }
void _VXParsFileWriteBinarySmallInteger(TVXParsExpressionRec* rec) { WriteBinary<std::int16_t>(rec); }
void _VXParsFileWriteBinaryInteger(TVXParsExpressionRec* rec)      { WriteBinary<std::int32_t>(rec); }
void _VXParsFileWriteBinaryLongWord(TVXParsExpressionRec* rec)     { WriteBinary<std::uint32_t>(rec); }
void _VXParsFileWriteBinaryFloat32(TVXParsExpressionRec* rec)      { WriteBinary<float>(rec); }
void _VXParsFileWriteBinaryFloat64(TVXParsExpressionRec* rec)      { WriteBinary<double>(rec); }

void _VXParsFileReadBinaryByte(TVXParsExpressionRec* rec)          { ReadBinary<std::uint8_t>(rec); }
void _VXParsFileReadBinaryShortInteger(TVXParsExpressionRec* rec)  { ReadBinary<std::int8_t>(rec); }
void _VXParsFileReadBinaryWord(TVXParsExpressionRec* rec)          { ReadBinary<std::uint16_t>(rec); }
void _VXParsFileReadBinarySmallInteger(TVXParsExpressionRec* rec)  { ReadBinary<std::int16_t>(rec); }
void _VXParsFileReadBinaryInteger(TVXParsExpressionRec* rec)       { ReadBinary<std::int32_t>(rec); }
void _VXParsFileReadBinaryLongWord(TVXParsExpressionRec* rec)      { ReadBinary<std::uint32_t>(rec); }
void _VXParsFileReadBinaryFloat32(TVXParsExpressionRec* rec)       { ReadBinary<float>(rec); }
void _VXParsFileReadBinaryFloat64(TVXParsExpressionRec* rec)       { ReadBinary<double>(rec); }

void _VXParsFileReadBinaryByteVector(TVXParsExpressionRec* rec)         { ReadBinaryVector<std::uint8_t>(rec); }
void _VXParsFileReadBinaryShortIntegerVector(TVXParsExpressionRec* rec) { ReadBinaryVector<std::int8_t>(rec); }
void _VXParsFileReadBinaryWordVector(TVXParsExpressionRec* rec)         { ReadBinaryVector<std::uint16_t>(rec); }
void _VXParsFileReadBinarySmallIntegerVector(TVXParsExpressionRec* rec) { ReadBinaryVector<std::int16_t>(rec); }
void _VXParsFileReadBinaryIntegerVector(TVXParsExpressionRec* rec)      { ReadBinaryVector<std::int32_t>(rec); }
void _VXParsFileReadBinaryLongWordVector(TVXParsExpressionRec* rec)     { ReadBinaryVector<std::uint32_t>(rec); }
void _VXParsFileReadBinaryFloat32Vector(TVXParsExpressionRec* rec)      { ReadBinaryVector<float>(rec); }
void _VXParsFileReadBinaryFloat64Vector(TVXParsExpressionRec* rec)      { ReadBinaryVector<double>(rec); }
// clang-format on

}  // namespace loom
