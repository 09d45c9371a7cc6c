// File functions in a fresh temporary directory per test: exact bytes and results, the rule that a
// formula touches only descriptors it opened itself, and failing system calls provoked through
// the seam of functions/FileIO.h. "[f(h, v), v]" shows a result, then what v holds.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "functions/Bodies.h"
#include "functions/FileIO.h"
#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

constexpr const char* kInvalidHandle = "4294967295";

// Entries of /proc/self/fd: the descriptors the process holds (the listing's own included).
int OpenDescriptorCount() {
  const std::filesystem::directory_iterator fds("/proc/self/fd");
  return static_cast<int>(std::distance(begin(fds), end(fds)));
}

// Failing system calls, provoked through the seam.
struct FakeState {
  int calls = 0;
  int failAt = 0;  // the call (from 1) that fails; 0: every call
  int error = EIO;
  bool Fails() {
    ++calls;
    if (failAt != 0 && calls != failAt) return false;
    errno = error;
    return true;
  }
};
FakeState gFake;

ssize_t FailingWrite(int fd, const void* buffer, std::size_t count) {
  return gFake.Fails() ? -1 : ::write(fd, buffer, count);
}
ssize_t FailingRead(int fd, void* buffer, std::size_t count) {
  return gFake.Fails() ? -1 : ::read(fd, buffer, count);
}
ssize_t OneByteWrite(int fd, const void* buffer, std::size_t count) {
  ++gFake.calls;
  return ::write(fd, buffer, count > 0 ? 1 : 0);
}

class FileIOTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/loom-fileio-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
    ev_.BaseDirectory = dir_;
    ev_.DefineVariable("crlf", &crlf_, "", "");
    ev_.DefineVariable("cr", &cr_, "", "");
    gFake = FakeState();
  }
  void TearDown() override {
    ResetFileSystemCalls();
    _closeallfiles();
    std::filesystem::remove_all(dir_);
  }

  // Runs the expressions of formulas, separated by "; ", in turn; the last one's outcome.
  std::string Run(std::string formulas) {
    for (std::size_t at; (at = formulas.find("; ")) != std::string::npos;)
      formulas.replace(at, 2, "\n");
    return Outcome(ev_, formulas);
  }
  std::string Path(const std::string& name) const { return dir_ + "/" + name; }
  void Put(const std::string& name, const std::string& bytes) {
    std::ofstream(Path(name), std::ios::binary) << bytes;
  }
  std::string Bytes(const std::string& name) {
    std::ifstream in(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  // Opens name (in the test directory) into the formula variable h.
  void OpenAsH(const std::string& function, const std::string& name) {
    ASSERT_NE(Run("h := " + function + "(\"" + name + "\")"), kInvalidHandle) << name;
  }

  TVXExpressionEvaluator ev_;
  std::string dir_;
  TVXParsDouble crlf_ = TVXParsDouble::FromString("\r\n");
  TVXParsDouble cr_ = TVXParsDouble::FromString("\r");
};

// Position, size, size error, end of file and the result of writing "LL" right after opening.
TEST_F(FileIOTest, OpenCreateAndAppendStartWhereTheyShouldAndKeepOrEmptyTheContent) {
  const struct {
    const char *function, *content, *shown, *after;  // content nullptr: no such file
  } cases[] = {
      {"FileOpen", nullptr, "[ 0, 0, 0, 1, 1]", "LL"},
      {"FileOpen", "hello", "[ 0, 5, 0, 0, 1]", "LLllo"},
      {"FileCreate", "hello", "[ 0, 0, 0, 1, 1]", "LL"},
      {"FileAppend", "ab", "[ 2, 2, 0, 1, 1]", "abLL"},
  };
  for (const auto& c : cases) {
    std::filesystem::remove(Path("f.txt"));
    if (c.content != nullptr) Put("f.txt", c.content);
    OpenAsH(c.function, "f.txt");
    EXPECT_EQ(Run("e := 99; [FileSeek(h, 0, FILE_CURRENT), FileSize(h, e), e, FileEOF(h), "
                  "FileWriteString(h, \"LL\")]"),
              c.shown)
        << c.function << " " << (c.content ? c.content : "");
    Run("FileClose(h)");
    EXPECT_EQ(Bytes("f.txt"), c.after);  // in the base directory, not the working one
  }
}

TEST_F(FileIOTest, NamesThatCannotBeOpenedAndASecondOpenGiveTheInvalidHandle) {
  ASSERT_EQ(mkdir(Path("dir").c_str(), 0777), 0);
  TVXParsDouble zeroName = TVXParsDouble::FromString(std::string("a\0b", 3));
  ev_.DefineVariable("zeroname", &zeroName, "", "");
  const std::size_t before = OpenFileCount();
  const int descriptors = OpenDescriptorCount();
  // A missing parent, a directory, no name, no permission even for root, a zero byte.
  for (const char* name :
       {"\"missing/sub/f.txt\"", "\"dir\"", "\"\"", "\"/proc/sys/kernel/ostype\"", "zeroname"})
    for (const char* function : {"FileOpen", "FileCreate", "FileAppend"})
      EXPECT_EQ(Run(std::string(function) + "(" + name + ")"), kInvalidHandle) << function << name;
  EXPECT_EQ(OpenDescriptorCount() - descriptors + OpenFileCount() - before, 0u);  // none leaked
  EXPECT_FALSE(std::filesystem::exists(Path("a")) || std::filesystem::exists(Path("missing")));
  // The lock of the first opener refuses every second one until it closes.
  Put("shared.txt", "keep");
  OpenAsH("FileOpen", "shared.txt");
  for (const char* function : {"FileOpen", "FileCreate", "FileAppend"})
    EXPECT_EQ(Run(std::string(function) + "(\"shared.txt\")"), kInvalidHandle) << function;
  EXPECT_EQ(Bytes("shared.txt"), "keep");  // the refused FileCreate truncated nothing
  Run("FileClose(h)");
  EXPECT_NE(Run("FileOpen(\"shared.txt\")"), kInvalidHandle);
}

TEST_F(FileIOTest, WrongArgumentKindsAndLengthsBeyondTheLimits) {
  Put("small.bin", std::string("\x01\x00\x02\x00", 4));
  OpenAsH("FileOpen", "small.bin");
  for (const char* formula :
       {"FileOpen(1)", "CreateDirectory(3)", "FileSeek(h, 0, \"0\")", "FileSize(\"h\", e)",
        "FileWriteStringFixed(h, \"x\", \"3\")", "FileWriteBinaryWord(h, \"x\")",
        "FileReadStringLn(h, s, 13)", "FileReadBinaryWordVector(h, v, \"3\", n)"})
    EXPECT_EQ(Run(formula), "Invalid parameters") << formula;
  const OutcomeRow rows[] = {
      {"FileWriteStringFixed(h, \"a\", 1e15)",
       "FileWriteStringFixed: a string may hold at most 134217728 characters"},
      {"FileSeek(h, 0, FILE_CURRENT)", "0"},  // nothing was read
      // A negative count does nothing at all; a count of 0 makes both outputs the number 0.
      {"v := [1, 2]; n := 7; FileReadBinaryByteVector(h, v, -1, n) + \" \" + v + n",
       "\"0 [ 1, 2]7\""},
      {"FileReadBinaryByteVector(h, v, 0, n) + \" \" + v + n", "\"0 00\""},
      {"FileReadBinaryByteVector(h, v, 1.5, n) + \" \" + v + n", "\"1 [ 1, 0]2\""},
      // Reads stop at the end of the data, however large the count; at the end nothing is read.
      {"FileReadBinaryByteVector(h, v, 1e9, n) + \" \" + v + n", "\"1 [ 2, 0]2\""},
      {"v := [5]; FileReadBinaryByteVector(h, v, 4, n) + \" \" + v + n", "\"0 00\""},
      {"FileSeek(h, 0, FILE_BEGIN); FileReadBinaryWordVector(h, v, 1e9, n) + \" \" + v + n",
       "\"1 [ 1, 2]2\""},
      {"FileSeek(h, 1, FILE_BEGIN); FileReadBinaryFloat64Vector(h, v, 2e8, n) + \" \" + v + n",
       "\"0 00\""},  // three bytes hold no whole value
  };
  for (const OutcomeRow& row : rows) EXPECT_EQ(Run(row.formula), row.outcome) << row.formula;
  EXPECT_EQ(Hex(Bytes("small.bin")), "01 00 02 00");  // nothing was written
  Run("FileSeek(h, 0, FILE_BEGIN); FileReadBinaryByteVector(h, v, 1e9, n)");
  EXPECT_LT(ev_.Words().Find("v")->AsPointer()->Vector.capacity(), 1000u);  // no room reserved
}

TEST_F(FileIOTest, WritesPutExactlyTheseBytesOnDisk) {
  const OutcomeRow cases[] = {
      {"FileWriteString(h, \"abc\")", "61 62 63"},
      {"FileWriteStringLn(h, \"ab\")", "61 62 0D 0A"},
      {"FileWriteStringFixed(h, \"abc\", 5)", "61 62 63 00 00"},
      {"FileWriteStringFixed(h, \"abc\", 2.5)", "61 62"},
      {"FileWriteBinaryWord(h, [1, 65535, 65536])", "01 00 FF FF 00 00"},
      {"FileWriteBinaryFloat32(h, [-2.5, 0.1, 1e300, -1e39])",
       "00 00 20 C0 CD CC CC 3D 00 00 80 7F 00 00 80 FF"},
      {"FileWriteStringLn(h, \"x\") * FileWriteBinaryWord(h, 513) * "
       "FileWriteStringFixed(h, \"yz\", 3)",
       "78 0D 0A 01 02 79 7A 00"},
  };
  for (const OutcomeRow& c : cases) {
    OpenAsH("FileCreate", "w.bin");
    EXPECT_EQ(Run(c.formula), "1") << c.formula;
    Run("FileClose(h)");
    EXPECT_EQ(Hex(Bytes("w.bin")), c.outcome) << c.formula;
  }
}

// A vector read gives the values cut to the type's width, and a single read the first of them;
// of two whole values and one byte short of a third, the partial bytes are read and dropped, and
// a single read of them fails.
TEST_F(FileIOTest, EveryBinaryTypeReadsBackWhatWasWrittenCutToItsWidth) {
  const struct {
    const char *type, *written, *readBack;
    int width;
  } cases[] = {
      {"Byte", "[0, 255, 256, -1, 7.5]", "[ 0, 255, 0, 255, 8]", 1},
      {"ShortInteger", "[-128, 127, 128, -129]", "[ -128, 127, -128, 127]", 1},
      {"Word", "[1, 65535, 65536, -1]", "[ 1, 65535, 0, 65535]", 2},
      {"SmallInteger", "[-32768, 32768, -1]", "[ -32768, -32768, -1]", 2},
      {"Integer", "[-2147483648, 2147483648, -1]", "[ -2147483648, -2147483648, -1]", 4},
      {"LongWord", "[7, 4294967295, 4294967296]", "[ 7, 4294967295, 0]", 4},
      {"Float32", "[0.5, -1.25, 0.1]", "[ 0.5, -1.25, 0.100000001490116]", 4},
      {"Float64", "[-0.1, -1e300, 3.5]", "[ -0.1, -1E300, 3.5]", 8},
  };
  for (const auto& c : cases) {
    const std::string read = "FileReadBinary" + std::string(c.type);
    OpenAsH("FileCreate", "rt.bin");
    EXPECT_EQ(Run("FileWriteBinary" + std::string(c.type) + "(h, " + c.written +
                  "); FileSeek(h, 0, FILE_BEGIN); " + read +
                  "Vector(h, v, 100, n) + \" \" + v + FileSeek(h, 0, FILE_BEGIN) + " + read +
                  "(h, x) + (x = VectorGetValue(v, 0)) + (n = VectorGetSize(v))"),
              "\"1 " + std::string(c.readBack) + "0111\"")
        << c.type;
    Run("FileClose(h)");
    Put("part.bin", std::string(static_cast<std::size_t>(3 * c.width - 1), '\x01'));
    OpenAsH("FileOpen", "part.bin");
    EXPECT_EQ(
        Run("x := 42; [" + read + "Vector(h, v, 5, n), n, VectorGetSize(v), FileEOF(h), " +
            "FileSeek(h, " + std::to_string(2 * c.width) + ", FILE_BEGIN), " + read + "(h, x), x]"),
        "[ 1, 2, 2, 1, " + std::to_string(2 * c.width) + ", 0, 42]")
        << c.type;
    Run("FileClose(h)");
  }
}

// Lines end at the delimiter found by the simple matcher (which starts afresh at a mismatch, so
// 0D 0D 0A holds no 0D 0A, and "aab" no "ab"); an empty delimiter means 0D; at the end the
// result is 0 and the variable keeps its last line, a string even if it held a number.
TEST_F(FileIOTest, ReadStringLnSplitsLinesWithTheSimpleMatcher) {
  const struct {
    const char *content, *delimiter, *reads;  // reads: the results and texts of three reads
  } cases[] = {
      {"a\r\nb", "crlf", "1a 1b 0b "},
      {"a\rb", "\"\"", "1a\r 1b 0b "},
      {"a\r\r\nb", "crlf", "1a\r\r\nb 0a\r\r\nb 0a\r\r\nb "},
      {"aab", "\"ab\"", "1aab 0aab 0aab "},
      {"x:y::z", "\"::\"", "1x:y 1z 0z "},
      {"\r\n\r\n", "crlf", "1 1 0 "},
      {"a\r\n", "cr", "1a 1\n 0\n "},
      {"", "crlf", "0prev 0prev 0prev "},
  };
  for (const auto& c : cases) {
    Put("lines.txt", c.content);
    OpenAsH("FileOpen", "lines.txt");
    Run("s := \"prev\"");
    const int read = ev_.AddExpression(std::string("FileReadStringLn(h, s, ") + c.delimiter + ")");
    std::string reads;
    for (int i = 0; i < 3; ++i) {
      reads += Shown(ev_.GetResults(read));
      reads += ParsDoubleAsString(Evaluated(ev_, "s")) + " ";
    }
    EXPECT_EQ(reads, c.reads) << Hex(c.content) << " / " << c.delimiter;
    Run("FileClose(h)");
  }
  OpenAsH("FileOpen", "lines.txt");
  Run("s := 5; FileReadStringLn(h, s, crlf)");  // even a number becomes a string
  EXPECT_EQ(Evaluated(ev_, "s").VarType, vtString);
}

// A line read stops just after its delimiter (on a pipe nothing after it is consumed); an endless
// line comes in pieces of the longest string. A fixed read reads up to its rounded length; at the
// end, or asked for nothing, it gives 0 and the number 0.
TEST_F(FileIOTest, ReadStringLnAndReadStringFixedStopWhereTheyShould) {
  ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
  OpenAsH("FileOpen", "fifo");
  const int writer = open(Path("fifo").c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  ASSERT_EQ(write(writer, "ab\r\ncd", 6), 6);
  close(writer);
  EXPECT_EQ(Run("FileReadStringLn(h, s, crlf) + s + FileReadStringFixed(h, t, 2) + t"),
            "\"1ab1cd\"");
  Put("endless.bin", "");
  std::filesystem::resize_file(Path("endless.bin"), kMaxFileStringLength + 3);
  OpenAsH("FileOpen", "endless.bin");
  EXPECT_EQ(
      Run("[FileReadStringLn(h, s, crlf), StrLen(s), FileReadStringLn(h, s, crlf), StrLen(s)]"),
      "[ 1, 134217728, 1, 3]");
  Put("fixed.txt", "abcdef");
  OpenAsH("FileOpen", "fixed.txt");
  const OutcomeRow rows[] = {
      {"FileReadStringFixed(h, s, 3) + s", "\"1abc\""},
      {"FileReadStringFixed(h, s, 1.5) + s", "\"1de\""},
      {"FileReadStringFixed(h, s, 100000000) + s", "\"1f\""},
      {"FileSeek(h, 1, FILE_BEGIN); FileReadStringFixed(h, s, 1e9) + s", "\"1bcdef\""},
      {"[FileReadStringFixed(h, s, 4), s, FileSeek(h, 0, FILE_BEGIN)]", "[ 0, 0, 0]"},
      {"s := \"x\"; FileReadStringFixed(h, s, 0)", "0"},  // nothing asked, nothing read
      {"s", "0"},
  };
  for (const OutcomeRow& row : rows) EXPECT_EQ(Run(row.formula), row.outcome) << row.formula;
}

TEST_F(FileIOTest, SeekReturnsTheNewPositionOrMinusOneAndEndOfFileFollowsIt) {
  Put("ten.bin", "0123456789");
  OpenAsH("FileOpen", "ten.bin");
  const OutcomeRow cases[] = {
      {"FileSeek(h, 0, FILE_END)", "10 True"},
      {"FileSeek(h, 3, FILE_BEGIN)", "3 False"},
      {"FileSeek(h, -1, FILE_CURRENT)", "2 False"},
      {"FileSeek(h, -11, FILE_END)", "-1 False"},           // before the beginning: refused
      {"FileSeek(h, 0, FILE_CURRENT)", "2 False"},          // ... and the position stayed
      {"FileSeek(h, 2147483648, FILE_BEGIN)", "-1 False"},  // beyond a signed 32-bit offset
      {"FileSeek(h, 1, 0.6)", "3 False"},                   // mode 0.6 rounds to FILE_CURRENT
      {"FileSeek(h, 5.6, FILE_CURRENT); FileReadBinaryByte(h, b); FileSeek(h, 0, FILE_CURRENT)",
       "10 True"},
      {"FileSeek(h, 0/0, FILE_BEGIN)", "-1 True"},
      {"FileSeek(h, 2147483647, FILE_BEGIN)", "2147483647 True"},  // past the end is allowed
      {"FileSeek(h, 20, FILE_BEGIN)", "20 True"},
  };
  for (const OutcomeRow& c : cases) {
    const std::string position = Run(c.formula);
    EXPECT_EQ(position + " " + Run("FileEOF(h)"), c.outcome) << c.formula;
  }
  EXPECT_EQ(Run("FileWriteString(h, \"!\"); FileSize(h, e)"), "21");  // writing past the end
}

TEST_F(FileIOTest, FilesOfFourGibibytesAndMoreHaveFullSizesAndPositions) {
  const off_t size = off_t{5} << 30;
  std::error_code error;
  Put("huge.bin", "");
  std::filesystem::resize_file(Path("huge.bin"), size, error);
  if (error) GTEST_SKIP() << "the file system refuses a sparse file of 5 GiB";
  OpenAsH("FileOpen", "huge.bin");
  const OutcomeRow rows[] = {
      {"[FileSize(h, e), e, FileSeek(h, 0, FILE_END), FileEOF(h)]",
       "[ 5368709120, 0, 5368709120, 1]"},
      {"[FileSeek(h, -1, FILE_END), FileEOF(h)]", "[ 5368709119, 0]"},
      {"b := 9; [FileReadBinaryByte(h, b), b, FileEOF(h)]", "[ 1, 0, 1]"},
      // Steps of at most a signed 32-bit offset still reach beyond 4 GiB.
      {"FileSeek(h, 0, FILE_BEGIN); FileSeek(h, 2147483647, FILE_CURRENT); "
       "FileSeek(h, 2147483647, FILE_CURRENT); FileSeek(h, 2147483647, FILE_CURRENT)",
       "6442450941"},
      {"FileClose(h); h := FileAppend(\"huge.bin\"); FileSeek(h, 0, FILE_CURRENT)", "5368709120"},
      {"FileWriteBinaryByte(h, 7); FileSize(h, e)", "5368709121"},
  };
  for (const OutcomeRow& row : rows) EXPECT_EQ(Run(row.formula), row.outcome) << row.formula;
}

// A handle counts only while it is in the list of files formulas opened: the standard streams,
// the test's own descriptor, a closed handle and numbers that are no descriptor read and write
// nothing, and outputs stay as they were. A handle is rounded before use.
TEST_F(FileIOTest, HandlesThatFormulasDidNotOpenTouchNothing) {
  Put("own.txt", "own");
  const int own = open(Path("own.txt").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(own, 0);
  OpenAsH("FileCreate", "closed.bin");
  Run("closed := h; FileClose(h)");
  const std::string calls =
      "[FileWriteString(X, \"x\"), FileWriteStringLn(X, \"x\"), FileWriteStringFixed(X, \"x\", 3), "
      "FileWriteBinaryByte(X, [65, 10]), FileReadStringFixed(X, s, 1), "
      "FileReadStringLn(X, s, crlf), FileReadBinaryByte(X, b), "
      "FileReadBinaryByteVector(X, v, 3, n), FileSeek(X, 0, FILE_BEGIN), FileEOF(X), "
      "FileSize(X, e), e = 9, FileClose(X)] + \" \" + s + b + v + n";
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  for (const std::string& x :
       std::vector<std::string>{"0", "1", "2", "-1", "1e20", "INVALID_FILEHANDLE", "0/0", "closed",
                                std::to_string(own)}) {
    std::string call = calls;
    for (std::size_t at; (at = call.find('X')) != std::string::npos;) call.replace(at, 1, x);
    EXPECT_EQ(Run("s := \"keep\"; b := 5; v := [1]; n := 3; e := 0; " + call),
              "\"[ 0, 0, 0, 0, 0, 0, 0, 0, -1, 1, 0, 1, 0] keep500\"")
        << x;
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr() + testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(lseek(own, 0, SEEK_CUR), 0);  // still open, unmoved, its file unchanged
  close(own);
  EXPECT_EQ(Bytes("own.txt") + Bytes("closed.bin"), "own");
  OpenAsH("FileCreate", "round.bin");
  EXPECT_EQ(Run("[FileWriteString(h + 0.4, \"a\"), FileWriteString(h - 0.4, \"b\"), "
                "FileWriteString(h + 0.6, \"c\"), FileClose(h)]"),
            "[ 1, 1, 0, 0]");
  EXPECT_EQ(Bytes("round.bin"), "ab");
}

// Opening, refusing and closing leak no descriptor; _closeallfiles closes whatever formulas left
// open, and their locks with them.
TEST_F(FileIOTest, OpenCloseCyclesLeakNoDescriptorAndCloseAllFilesClosesEverything) {
  Put("busy.txt", "x");
  const int descriptors = OpenDescriptorCount();
  const std::size_t listed = OpenFileCount();
  std::vector<int> cycle;
  for (const char* formula :
       {"h := FileOpen(\"busy.txt\")", "h2 := FileOpen(\"busy.txt\")", "h3 := FileCreate(\".\")",
        "FileClose(h)", "h := FileAppend(\"c.bin\")", "FileClose(h)", "h := FileCreate(\"c.bin\")",
        "FileClose(h)"})
    cycle.push_back(ev_.AddExpression(formula));
  for (int i = 0; i < 300; ++i)
    for (int index : cycle) ev_.GetResults(index);
  EXPECT_EQ(Run("[h2, h3]"), "[ 4294967295, 4294967295]");
  EXPECT_EQ(OpenDescriptorCount(), descriptors);
  EXPECT_EQ(OpenFileCount(), listed);
  std::vector<int> fds;
  for (const char* name : {"one", "two", "three"})
    fds.push_back(std::stoi(Run(std::string("h := FileCreate(\"") + name + "\")")));
  EXPECT_EQ(OpenDescriptorCount() - descriptors, 3);
  _closeallfiles();
  EXPECT_EQ(OpenFileCount(), 0u);
  for (int fd : fds) EXPECT_EQ(fcntl(fd, F_GETFD), -1) << fd;
  EXPECT_EQ(Run("FileWriteString(h, \"x\")"), "0");
  EXPECT_NE(Run("FileOpen(\"one\")"), kInvalidHandle);  // the lock went with the close
}

// A second call for an existing directory succeeds as well; a file in the way or an empty name
// gives 0.
TEST_F(FileIOTest, CreateDirectoryMakesMissingParentsAndReportsWhetherItExists) {
  Put("plain", "x");
  std::string made;
  for (const std::string& name : {std::string("a/b/c"), std::string("a/b/c"), std::string("a//d/"),
                                  Path("abs/x"), std::string("plain"), std::string("plain/sub"),
                                  std::string(""), std::string("/proc/loom-test/x")})
    made += Run("CreateDirectory(\"" + name + "\")");
  EXPECT_EQ(made, "11110000");
  for (const char* name : {"a/b/c", "a/d", "abs/x"})
    EXPECT_TRUE(std::filesystem::is_directory(Path(name))) << name;
  EXPECT_EQ(Bytes("plain"), "x");
}

TEST_F(FileIOTest, FailedWritesGiveZeroPartialAndInterruptedOnesAreCarriedOn) {
  OpenAsH("FileCreate", "w.bin");
  FileSystemCalls().Write = FailingWrite;
  EXPECT_EQ(Run("[FileWriteString(h, \"ab\"), FileWriteStringFixed(h, \"ab\", 4), "
                "FileWriteBinaryWord(h, [1, 2])]"),
            "[ 0, 0, 0]");
  FileSystemCalls().Write = [](int, const void*, std::size_t) -> ssize_t { return 0; };
  EXPECT_EQ(Run("FileWriteString(h, \"ab\")"), "0");  // a write that stalls
  gFake = FakeState{0, 2, EIO};                       // FileWriteStringLn needs both of its writes
  FileSystemCalls().Write = FailingWrite;
  EXPECT_EQ(Run("FileWriteStringLn(h, \"ab\")"), "0");
  FileSystemCalls().Write = OneByteWrite;
  gFake = FakeState();
  EXPECT_EQ(Run("FileWriteStringFixed(h, \"cde\", 5)"), "1");
  EXPECT_EQ(gFake.calls, 5);
  gFake = FakeState{0, 1, EINTR};
  FileSystemCalls().Write = FailingWrite;
  EXPECT_EQ(Run("FileWriteBinaryWord(h, 513)"), "1");
  FileSystemCalls().Read = FailingRead;
  gFake = FakeState{0, 1, EINTR};
  EXPECT_EQ(Run("FileSeek(h, 0, FILE_BEGIN); FileReadStringFixed(h, s, 4) + s"), "\"1abcd\"");
  ResetFileSystemCalls();
  EXPECT_EQ(Hex(Bytes("w.bin")), "61 62 63 64 65 00 00 01 02");
}

TEST_F(FileIOTest, FailedReadsAndSizeQueriesGiveZeroAndLeaveTheirTargets) {
  Put("r.bin", "ab\r\ncdef");
  OpenAsH("FileOpen", "r.bin");
  FileSystemCalls().Read = FailingRead;
  FileSystemCalls().FileStat = [](int, struct stat*) { return errno = EIO, -1; };
  // A vector read that fails counts as nothing read; a failed size query reports errno.
  EXPECT_EQ(Run("s := \"keep\"; w := 9; v := [1]; n := 4; e := 0; "
                "[FileReadStringFixed(h, s, 2), FileReadStringLn(h, s, crlf), "
                "FileReadBinaryWord(h, w), w, FileReadBinaryWordVector(h, v, 2, n), v, n, "
                "FileSize(h, e), e, FileEOF(h)] + s"),
            "\"[ 0, 0, 0, 9, 0, 0, 0, 0, 5, 1]keep\"");
  ResetFileSystemCalls();
  EXPECT_EQ(Run("[FileReadStringLn(h, s, crlf), FileSize(h, e), e] + s"), "\"[ 1, 8, 0]ab\"");
}

// Only a lock held elsewhere refuses a file (a file system without locks does not), and a
// refused FileCreate has truncated nothing; a failed truncation refuses the file as well.
TEST_F(FileIOTest, OnlyALockHeldElsewhereRefusesTheFile) {
  Put("lock.bin", "keep");
  const int descriptors = OpenDescriptorCount();
  FileSystemCalls().Lock = [](int, int) { return errno = gFake.error, -1; };
  gFake.error = EWOULDBLOCK;
  EXPECT_EQ(Run("[FileOpen(\"lock.bin\"), FileCreate(\"lock.bin\")]"), "[ 4294967295, 4294967295]");
  EXPECT_EQ(Bytes("lock.bin"), "keep");
  gFake.error = ENOLCK;
  OpenAsH("FileOpen", "lock.bin");
  Run("FileClose(h)");
  FileSystemCalls().Truncate = [](int, off_t) { return errno = EIO, -1; };
  FileSystemCalls().Lock = [](int, int) { return 0; };
  EXPECT_EQ(Run("FileCreate(\"lock.bin\")"), kInvalidHandle);
  EXPECT_EQ(OpenDescriptorCount(), descriptors);
}

}  // namespace
}  // namespace loom
