// File functions, driven through the evaluator on files in a fresh temporary directory per test:
// the exact bytes on disk, the exact results, the rule that a formula touches only descriptors it
// opened itself, and failures of system calls provoked through the seam of functions/FileIO.h.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "engine/ParserClasses.h"
#include "functions/Bodies.h"
#include "functions/FileIO.h"
#include "functions/Registry.h"

namespace loom {
namespace {

constexpr double kInvalidHandle = 4294967295.0;

// Bytes as upper-case hexadecimal pairs separated by blanks: "61 62 00".
std::string Hex(const std::string& bytes) {
  std::string text;
  char pair[4];
  for (unsigned char byte : bytes) {
    std::snprintf(pair, sizeof pair, "%02X", byte);
    if (!text.empty()) text += ' ';
    text += pair;
  }
  return text;
}

// Entries of /proc/self/fd: the descriptors the process holds (the listing's own included).
int OpenDescriptorCount() {
  const std::filesystem::directory_iterator fds("/proc/self/fd");
  return static_cast<int>(std::distance(begin(fds), end(fds)));
}

// text with every "X" replaced by x.
std::string With(std::string text, const std::string& x) {
  for (std::size_t at; (at = text.find('X')) != std::string::npos;) text.replace(at, 1, x);
  return text;
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
    ev_.DefineVariable("zeroname", &zeroName_, "", "");
  }

  void TearDown() override {
    ResetFileSystemCalls();
    _closeallfiles();
    std::filesystem::remove_all(dir_);
  }

  // Runs the expressions of formula, separated by "; ", in order; the last one's result.
  TVXParsDouble Run(const std::string& formula) {
    std::size_t start = 0;
    for (std::size_t end; (end = formula.find("; ", start)) != std::string::npos; start = end + 2)
      ev_.GetResults(ev_.AddExpression(formula.substr(start, end - start)));
    return ev_.GetResults(ev_.AddExpression(formula.substr(start)));
  }
  double Number(const std::string& formula) { return Run(formula).Value; }
  std::string Text(const std::string& formula) { return ParsDoubleAsString(Run(formula)); }
  std::string Error(const std::string& formula) {
    try {
      Run(formula);
    } catch (const EVXParserException& e) {
      return e.what();
    }
    return "<no error>";
  }
  // A formula variable's own value, read in place.
  const TVXParsDouble& Var(const char* name) {
    TVXParsExprWord* word = ev_.Words().Find(name);
    EXPECT_NE(word, nullptr) << name;
    return *word->AsPointer();
  }

  std::string Path(const std::string& name) const { return dir_ + "/" + name; }
  void Put(const std::string& name, const std::string& bytes) {
    std::ofstream(Path(name), std::ios::binary) << bytes;
  }
  std::string Bytes(const std::string& name) {
    std::ifstream in(Path(name), std::ios::binary);
    if (!in) return "<missing>";
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  // Opens name (in the test directory) into the formula variable h.
  void OpenAsH(const std::string& function, const std::string& name) {
    const double handle = Number("h := " + function + "(\"" + name + "\")");
    ASSERT_NE(handle, kInvalidHandle) << function << " " << name;
  }

  TVXExpressionEvaluator ev_;
  std::string dir_;
  TVXParsDouble crlf_ = TVXParsDouble::FromString("\r\n");
  TVXParsDouble cr_ = TVXParsDouble::FromString("\r");
  TVXParsDouble zeroName_ = TVXParsDouble::FromString(std::string("a\0b", 3));
};

// ---------------------------------------------------------------------------------------------
// Names and opening

TEST(FileIONames, ExtendFilenameResolvesRelativeNamesAgainstTheBaseDirectory) {
  const struct {
    const char *base, *name, *path;
  } cases[] = {
      {".", "a.txt", "./a.txt"},   {"/data/", "x/y.bin", "/data/x/y.bin"},
      {"", "a.txt", "./a.txt"},    {"/data", "/abs/f.bin", "/abs/f.bin"},
      {"rel", "../b", "rel/../b"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(ExtendFilename(c.base, c.name), c.path) << c.base << " + " << c.name;
}

TEST_F(FileIOTest, OpenCreateAndAppendStartWhereTheyShouldAndKeepOrEmptyTheContent) {
  const struct {
    const char* function;
    const char* content;  // nullptr: the file does not exist
    double position, size;
    const char* after;  // after writing "LL" at the start position
  } cases[] = {
      {"FileOpen", nullptr, 0, 0, "LL"},   {"FileOpen", "hello", 0, 5, "LLllo"},
      {"FileCreate", "hello", 0, 0, "LL"}, {"FileAppend", "ab", 2, 2, "abLL"},
      {"FileAppend", nullptr, 0, 0, "LL"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.function) + " " + (c.content ? c.content : "<missing>"));
    std::filesystem::remove(Path("f.txt"));
    if (c.content != nullptr) Put("f.txt", c.content);
    const std::size_t before = OpenFileCount();
    OpenAsH(c.function, "f.txt");
    EXPECT_GE(Number("h"), 3);
    EXPECT_EQ(OpenFileCount(), before + 1);
    EXPECT_EQ(Number("FileSeek(h, 0, FILE_CURRENT)"), c.position);
    EXPECT_EQ(Number("e := 99; FileSize(h, e)"), c.size);
    EXPECT_EQ(Number("e"), 0);
    const TVXParsDouble eof = Run("FileEOF(h)");
    EXPECT_EQ(eof.VarType, vtBoolean);
    EXPECT_EQ(eof.Value, c.position == c.size ? 1 : 0);
    EXPECT_EQ(Number("FileWriteString(h, \"LL\")"), 1);
    Run("FileClose(h)");
    EXPECT_EQ(Bytes("f.txt"), c.after);  // in the base directory, not the working one
  }
}

TEST_F(FileIOTest, NamesThatCannotBeOpenedGiveTheInvalidHandle) {
  Put("plain", "x");
  ASSERT_EQ(mkdir(Path("dir").c_str(), 0777), 0);
  const std::string names[] = {
      "\"missing/sub/f.txt\"",        // a parent that does not exist
      "\"dir\"",                      // a directory
      "\"plain/f.txt\"",              // a parent that is a file
      "\"\"",                         // no name at all
      "\"/proc/sys/kernel/ostype\"",  // no permission to write, even for root
      "zeroname",                     // "a", a zero byte, "b"
  };
  const std::size_t before = OpenFileCount();
  const int descriptors = OpenDescriptorCount();
  for (const std::string& name : names)
    for (const char* function : {"FileOpen", "FileCreate", "FileAppend"})
      EXPECT_EQ(Number(std::string(function) + "(" + name + ")"), kInvalidHandle)
          << function << " " << name;
  EXPECT_EQ(OpenFileCount(), before);
  EXPECT_EQ(OpenDescriptorCount(), descriptors);
  EXPECT_EQ(Bytes("plain"), "x");
  EXPECT_FALSE(std::filesystem::exists(Path("a")));
  EXPECT_FALSE(std::filesystem::exists(Path("missing")));
}

TEST_F(FileIOTest, ASecondOpenOfTheSameFileFailsUntilTheFirstIsClosed) {
  Put("shared.txt", "keep");
  OpenAsH("FileOpen", "shared.txt");
  for (const char* function : {"FileOpen", "FileCreate", "FileAppend"})
    EXPECT_EQ(Number(std::string(function) + "(\"shared.txt\")"), kInvalidHandle) << function;
  EXPECT_EQ(Bytes("shared.txt"), "keep");  // the refused FileCreate truncated nothing
  Run("FileClose(h)");
  EXPECT_NE(Number("h2 := FileOpen(\"shared.txt\")"), kInvalidHandle);
}

TEST_F(FileIOTest, WrongArgumentKindsRaiseInvalidParameters) {
  OpenAsH("FileCreate", "k.bin");
  for (const char* formula :
       {"FileOpen(1)", "FileCreate([1, 2])", "CreateDirectory(3)", "FileClose(\"h\")",
        "FileEOF(\"h\")", "FileSeek(h, \"0\", 0)", "FileSeek(h, 0, \"0\")", "FileSize(\"h\", e)",
        "FileWriteString(h, 1)", "FileWriteStringFixed(h, \"x\", \"3\")",
        "FileWriteBinaryWord(h, \"x\")", "FileWriteBinaryFloat64(\"h\", 1)",
        "FileReadStringLn(h, s, 13)", "FileReadStringFixed(h, s, \"3\")",
        "FileReadBinaryByte(\"h\", b)", "FileReadBinaryWordVector(h, v, \"3\", n)"})
    EXPECT_EQ(Error(formula), "Invalid parameters") << formula;
  EXPECT_EQ(Bytes("k.bin"), "");
}

// ---------------------------------------------------------------------------------------------
// Writing and reading

TEST_F(FileIOTest, WritesPutExactlyTheseBytesOnDisk) {
  const struct {
    const char* call;  // h is a freshly created file
    const char* bytes;
  } cases[] = {
      {"FileWriteString(h, \"abc\")", "61 62 63"},
      {"FileWriteString(h, \"\")", ""},
      {"FileWriteStringLn(h, \"ab\")", "61 62 0D 0A"},
      {"FileWriteStringLn(h, \"\")", "0D 0A"},
      {"FileWriteStringFixed(h, \"abc\", 5)", "61 62 63 00 00"},
      {"FileWriteStringFixed(h, \"abcdef\", 3)", "61 62 63"},
      {"FileWriteStringFixed(h, \"abc\", 2.5)", "61 62"},
      {"FileWriteStringFixed(h, \"abc\", 0)", ""},
      {"FileWriteStringFixed(h, \"abc\", -4)", ""},
      {"FileWriteBinaryByte(h, [0, 255, 256, -1, 2.5, 3.5])", "00 FF 00 FF 02 04"},
      {"FileWriteBinaryShortInteger(h, [-128, 127, 128, -129, -1])", "80 7F 80 7F FF"},
      {"FileWriteBinaryWord(h, [1, 65535, 65536])", "01 00 FF FF 00 00"},
      {"FileWriteBinaryWord(h, 258)", "02 01"},
      {"FileWriteBinarySmallInteger(h, [-1, 32768, -32769])", "FF FF 00 80 FF 7F"},
      {"FileWriteBinaryInteger(h, [-2, 2147483648, 4294967297])",
       "FE FF FF FF 00 00 00 80 01 00 00 00"},
      {"FileWriteBinaryLongWord(h, [4294967295, 4294967296, -1])",
       "FF FF FF FF 00 00 00 00 FF FF FF FF"},
      {"FileWriteBinaryFloat32(h, [-2.5, 0.1, 1e300, -1e39])",
       "00 00 20 C0 CD CC CC 3D 00 00 80 7F 00 00 80 FF"},
      {"FileWriteBinaryFloat64(h, [1.5, -0.1])", "00 00 00 00 00 00 F8 3F 9A 99 99 99 99 99 B9 BF"},
      {"FileWriteStringLn(h, \"x\") * FileWriteBinaryWord(h, 513) * "  // one after the other
       "FileWriteStringFixed(h, \"yz\", 3)",
       "78 0D 0A 01 02 79 7A 00"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.call);
    OpenAsH("FileCreate", "w.bin");
    EXPECT_EQ(Number(c.call), 1);
    Run("FileClose(h)");
    EXPECT_EQ(Hex(Bytes("w.bin")), c.bytes);
  }
}

TEST_F(FileIOTest, EveryBinaryTypeReadsBackWhatWasWrittenCutToItsWidth) {
  const struct {
    const char* type;
    int width;
    const char* written;
    const char* readBack;  // the vector read back, as display text
    const char* first;     // the first value read singly
  } cases[] = {
      {"Byte", 1, "[0, 255, 256, -1, 7.5]", "[ 0, 255, 0, 255, 8]", "0"},
      {"ShortInteger", 1, "[-128, 127, 128, -129, -1]", "[ -128, 127, -128, 127, -1]", "-128"},
      {"Word", 2, "[1, 65535, 65536, -1]", "[ 1, 65535, 0, 65535]", "1"},
      {"SmallInteger", 2, "[-32768, 32767, 32768, -1]", "[ -32768, 32767, -32768, -1]", "-32768"},
      {"Integer", 4, "[-2147483648, 2147483647, 2147483648, -1]",
       "[ -2147483648, 2147483647, -2147483648, -1]", "-2147483648"},
      {"LongWord", 4, "[7, 4294967295, 4294967296, -1]", "[ 7, 4294967295, 0, 4294967295]", "7"},
      {"Float32", 4, "[0.5, -1.25, 0.1]", "[ 0.5, -1.25, 0.100000001490116]", "0.5"},
      {"Float64", 8, "[0.1, -1e300, 3.5]", "[ 0.1, -1E300, 3.5]", "0.1"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type);
    const std::string type = c.type;
    OpenAsH("FileCreate", "rt.bin");
    EXPECT_EQ(Number("FileWriteBinary" + type + "(h, " + c.written + ")"), 1);
    EXPECT_EQ(Number("FileSeek(h, 0, FILE_BEGIN)"), 0);
    EXPECT_EQ(Number("FileReadBinary" + type + "Vector(h, v, 100, n)"), 1);
    EXPECT_EQ(Text("v"), c.readBack);
    EXPECT_EQ(Var("v").VarType, vtVector);
    EXPECT_EQ(Text("n"), std::to_string(Var("v").Vector.size()));
    Run("FileSeek(h, 0, FILE_BEGIN)");
    EXPECT_EQ(Number("FileReadBinary" + type + "(h, x)"), 1);
    EXPECT_EQ(Var("x").VarType, vtDouble);
    EXPECT_EQ(Text("x"), c.first);
    Run("FileClose(h)");

    // Two whole values and one byte short of a third: the partial bytes are read and dropped,
    // and a single read of them fails.
    Put("part.bin", std::string(static_cast<std::size_t>(3 * c.width - 1), '\x01'));
    OpenAsH("FileOpen", "part.bin");
    EXPECT_EQ(Number("FileReadBinary" + type + "Vector(h, v, 5, n)"), 1);
    EXPECT_EQ(Number("n"), 2);
    EXPECT_EQ(Var("v").Vector.size(), 2u);
    EXPECT_EQ(Number("FileEOF(h)"), 1);
    EXPECT_EQ(Number("FileSeek(h, " + std::to_string(2 * c.width) + ", FILE_BEGIN)"), 2 * c.width);
    EXPECT_EQ(Number("x := 42; FileReadBinary" + type + "(h, x)"), 0);
    EXPECT_EQ(Number("x"), 42);
    Run("FileClose(h)");
  }
}

TEST_F(FileIOTest, LengthsAndCountsAtTheirBoundaries) {
  Put("small.bin", std::string("\x01\x00\x02\x00", 4));
  OpenAsH("FileOpen", "small.bin");
  const struct {
    const char *formula, *message;
  } rows[] = {
      {"FileWriteStringFixed(h, \"a\", 1e15)",
       "FileWriteStringFixed: a string may hold at most 134217728 characters"},
      {"FileReadStringFixed(h, s, 134217729)",
       "FileReadStringFixed: a string may hold at most 134217728 characters"},
      {"FileReadBinaryWordVector(h, v, 1e15, n)",
       "FileReadBinaryWordVector: a vector may hold at most 134217728 elements"},
      {"FileReadBinaryFloat64Vector(h, v, 134217729, n)",
       "FileReadBinaryFloat64Vector: a vector may hold at most 134217728 elements"},
  };
  for (const auto& row : rows) EXPECT_EQ(Error(row.formula), row.message);
  EXPECT_EQ(Number("FileSeek(h, 0, FILE_CURRENT)"), 0);  // nothing was read
  EXPECT_EQ(Hex(Bytes("small.bin")), "01 00 02 00");     // nor written
  // A negative count does nothing at all; a count of 0 makes both outputs the number 0.
  EXPECT_EQ(Number("v := [1, 2]; n := 7; FileReadBinaryByteVector(h, v, -1, n)"), 0);
  EXPECT_EQ(Text("v") + Text("n"), "[ 1, 2]7");
  EXPECT_EQ(Number("FileReadBinaryByteVector(h, v, 0, n)"), 0);
  EXPECT_EQ(Var("v").VarType, vtDouble);
  EXPECT_EQ(Text("v") + Text("n"), "00");
  EXPECT_EQ(Number("FileReadBinaryByteVector(h, v, 1.5, n)"), 1);  // rounds to 2
  EXPECT_EQ(Text("v"), "[ 1, 0]");
  // The largest count allowed reads only what is there.
  EXPECT_EQ(Number("FileReadBinaryByteVector(h, v, 134217728, n)"), 1);
  EXPECT_EQ(Text("v"), "[ 2, 0]");
  EXPECT_LT(Var("v").Vector.capacity(), 1000u);
  // At the end of the file.
  EXPECT_EQ(Number("v := [5]; n := 7; FileReadBinaryByteVector(h, v, 4, n)"), 0);
  EXPECT_EQ(Var("v").VarType, vtDouble);
  EXPECT_EQ(Text("v") + Text("n"), "00");
}

TEST_F(FileIOTest, ReadStringLnSplitsLinesWithTheSimpleMatcher) {
  struct Step {
    double result;
    std::string text;
  };
  struct Case {
    std::string content;
    const char* delimiter;  // a formula expression
    std::vector<Step> steps;
  };
  const std::string prev = "prev";
  const Case cases[] = {
      {"a\r\nb", "crlf", {{1, "a"}, {1, "b"}, {0, "b"}}},
      {"a\rb", "\"\"", {{1, "a\r"}, {1, "b"}, {0, "b"}}},        // the 0D stays
      {"a\r\r\nb", "crlf", {{1, "a\r\r\nb"}, {0, "a\r\r\nb"}}},  // 0D 0D 0A is not 0D 0A
      {"aab", "\"ab\"", {{1, "aab"}}},                           // the same simple reset
      {"x:y::z", "\"::\"", {{1, "x:y"}, {1, "z"}}},
      {"\r\n\r\n", "crlf", {{1, ""}, {1, ""}, {0, ""}}},
      {"ab", "crlf", {{1, "ab"}, {0, "ab"}}},
      {"a\r\n", "cr", {{1, "a"}, {1, "\n"}, {0, "\n"}}},
      {"", "crlf", {{0, prev}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(Hex(c.content) + " / " + c.delimiter);
    Put("lines.txt", c.content);
    OpenAsH("FileOpen", "lines.txt");
    Run("s := \"" + prev + "\"");
    const int read = ev_.AddExpression(std::string("FileReadStringLn(h, s, ") + c.delimiter + ")");
    for (const Step& step : c.steps) {
      EXPECT_EQ(ev_.GetResults(read).Value, step.result);
      EXPECT_EQ(Var("s").VarType, vtString);
      EXPECT_EQ(Var("s").StrValue, step.text);
    }
    Run("FileClose(h)");
  }
  // Even a number becomes a string when nothing is read.
  OpenAsH("FileOpen", "lines.txt");
  EXPECT_EQ(Number("s := 5; FileReadStringLn(h, s, crlf)"), 0);
  EXPECT_EQ(Var("s").VarType, vtString);
}

TEST_F(FileIOTest, ReadStringLnStopsJustAfterTheDelimiterAndAtTheLengthLimit) {
  Put("long.txt", std::string(10000, 'a') + "\r\nXY");
  OpenAsH("FileOpen", "long.txt");
  EXPECT_EQ(Number("FileReadStringLn(h, s, crlf)"), 1);
  EXPECT_EQ(Var("s").StrValue, std::string(10000, 'a'));
  EXPECT_EQ(Number("FileSeek(h, 0, FILE_CURRENT)"), 10002);
  EXPECT_EQ(Number("FileReadStringFixed(h, t, 5)"), 1);
  EXPECT_EQ(Var("t").StrValue, "XY");

  // On a pipe nothing after the line is consumed.
  ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
  OpenAsH("FileOpen", "fifo");
  const int writer = open(Path("fifo").c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  ASSERT_EQ(write(writer, "ab\r\ncd", 6), 6);
  close(writer);
  EXPECT_EQ(Number("FileReadStringLn(h, s, crlf)"), 1);
  EXPECT_EQ(Var("s").StrValue, "ab");
  EXPECT_EQ(Number("FileReadStringFixed(h, t, 2)"), 1);
  EXPECT_EQ(Var("t").StrValue, "cd");

  // An endless line comes in pieces of the longest string.
  Put("endless.bin", "");
  std::filesystem::resize_file(Path("endless.bin"), kMaxFileStringLength + 3);
  OpenAsH("FileOpen", "endless.bin");
  EXPECT_EQ(Number("FileReadStringLn(h, s, crlf)"), 1);
  EXPECT_EQ(Var("s").StrValue.size(), kMaxFileStringLength);
  EXPECT_EQ(Number("FileReadStringLn(h, s, crlf)"), 1);
  EXPECT_EQ(Var("s").StrValue, std::string(3, '\0'));
}

TEST_F(FileIOTest, ReadStringFixedReadsUpToTheLengthAndGivesZeroAtTheEnd) {
  Put("fixed.txt", "abcdef");
  OpenAsH("FileOpen", "fixed.txt");
  EXPECT_EQ(Number("FileReadStringFixed(h, s, 3)"), 1);
  EXPECT_EQ(Var("s").StrValue, "abc");
  EXPECT_EQ(Number("FileReadStringFixed(h, s, 1.5)"), 1);  // rounds to 2
  EXPECT_EQ(Var("s").StrValue, "de");
  EXPECT_EQ(Number("FileReadStringFixed(h, s, 100000000)"), 1);
  EXPECT_EQ(Var("s").StrValue, "f");
  EXPECT_EQ(Var("s").VarType, vtString);
  EXPECT_EQ(Number("FileReadStringFixed(h, s, 4)"), 0);
  EXPECT_EQ(Var("s").VarType, vtDouble);
  EXPECT_EQ(Number("s"), 0);
  Run("FileSeek(h, 0, FILE_BEGIN); s := \"x\"");
  EXPECT_EQ(Number("FileReadStringFixed(h, s, 0)"), 0);  // nothing asked, nothing read
  EXPECT_EQ(Var("s").VarType, vtDouble);
}

TEST_F(FileIOTest, SeekReturnsTheNewPositionOrMinusOneAndEndOfFileFollowsIt) {
  Put("ten.bin", "0123456789");
  OpenAsH("FileOpen", "ten.bin");
  const struct {
    const char* seek;
    double position, eof;
  } cases[] = {
      {"FileSeek(h, 0, FILE_END)", 10, 1},
      {"FileSeek(h, 3, FILE_BEGIN)", 3, 0},
      {"FileSeek(h, -1, FILE_CURRENT)", 2, 0},
      {"FileSeek(h, -11, FILE_END)", -1, 0},           // before the beginning: refused
      {"FileSeek(h, 0, FILE_CURRENT)", 2, 0},          // ... and the position stayed
      {"FileSeek(h, 1, 3)", -1, 0},                    // no such origin
      {"FileSeek(h, 2147483648, FILE_BEGIN)", -1, 0},  // beyond a signed 32-bit offset
      {"FileSeek(h, -2147483649, FILE_END)", -1, 0},
      {"FileSeek(h, 2.5, FILE_BEGIN)", 2, 0},
      {"FileSeek(h, 1, 0.6)", 3, 0},  // mode 0.6 rounds to FILE_CURRENT
      {"FileSeek(h, 9, FILE_BEGIN)", 9, 0},
      {"FileReadBinaryByte(h, b); FileSeek(h, 0, FILE_CURRENT)", 10, 1},
      {"FileSeek(h, 0/0, FILE_BEGIN)", -1, 1},
      {"FileSeek(h, 2147483647, FILE_BEGIN)", 2147483647, 1},  // past the end is allowed
      {"FileSeek(h, 20, FILE_BEGIN)", 20, 1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Number(c.seek), c.position) << c.seek;
    EXPECT_EQ(Number("FileEOF(h)"), c.eof) << c.seek;
  }
  Run("FileWriteString(h, \"!\")");  // writing past the end grows the file
  EXPECT_EQ(Number("FileSize(h, e)"), 21);
}

TEST_F(FileIOTest, FilesOfFourGibibytesAndMoreHaveFullSizesAndPositions) {
  const off_t size = off_t{5} << 30;
  std::error_code error;
  Put("huge.bin", "");
  std::filesystem::resize_file(Path("huge.bin"), size, error);
  if (error) GTEST_SKIP() << "the file system refuses a sparse file of 5 GiB";
  OpenAsH("FileOpen", "huge.bin");
  EXPECT_EQ(Number("FileSize(h, e)"), 5368709120.0);
  EXPECT_EQ(Number("e"), 0);
  EXPECT_EQ(Number("FileSeek(h, 0, FILE_END)"), 5368709120.0);
  EXPECT_EQ(Number("FileEOF(h)"), 1);
  EXPECT_EQ(Number("FileSeek(h, -1, FILE_END)"), 5368709119.0);
  EXPECT_EQ(Number("FileEOF(h)"), 0);
  EXPECT_EQ(Number("b := 9; FileReadBinaryByte(h, b)"), 1);
  EXPECT_EQ(Number("b"), 0);
  EXPECT_EQ(Number("FileEOF(h)"), 1);
  // Steps of at most a signed 32-bit offset still reach beyond 4 GiB.
  Run("FileSeek(h, 0, FILE_BEGIN); FileSeek(h, 2147483647, FILE_CURRENT)");
  Run("FileSeek(h, 2147483647, FILE_CURRENT)");
  EXPECT_EQ(Number("FileSeek(h, 2147483647, FILE_CURRENT)"), 6442450941.0);
  Run("FileClose(h)");

  OpenAsH("FileAppend", "huge.bin");
  EXPECT_EQ(Number("FileSeek(h, 0, FILE_CURRENT)"), 5368709120.0);
  EXPECT_EQ(Number("FileWriteBinaryByte(h, 7)"), 1);
  EXPECT_EQ(Number("FileSize(h, e)"), 5368709121.0);
  EXPECT_EQ(std::filesystem::file_size(Path("huge.bin")), static_cast<std::uintmax_t>(size) + 1);
}

// ---------------------------------------------------------------------------------------------
// Handles, constants, the open-file list, directories

TEST_F(FileIOTest, HandlesThatFormulasDidNotOpenTouchNothing) {
  // A descriptor of the test's own: a formula must not reach it by its number.
  Put("own.txt", "own");
  const int own = open(Path("own.txt").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(own, 0);
  OpenAsH("FileCreate", "closed.bin");
  Run("closed := h; FileClose(h); h := 0/0");
  const struct {
    const char* call;  // X: the handle
    double result;
  } calls[] = {
      {"FileWriteString(X, \"x\")", 0},
      {"FileWriteStringLn(X, \"x\")", 0},
      {"FileWriteStringFixed(X, \"x\", 3)", 0},
      {"FileWriteBinaryByte(X, [65, 10])", 0},
      {"FileReadStringFixed(X, s, 1)", 0},
      {"FileReadStringLn(X, s, crlf)", 0},
      {"FileReadBinaryByte(X, b)", 0},
      {"FileReadBinaryByteVector(X, v, 3, n)", 0},
      {"FileSeek(X, 0, FILE_BEGIN)", -1},
      {"FileEOF(X)", 1},
      {"FileSize(X, e)", 0},
  };
  const std::vector<std::string> handles = {
      "0", "1", "2", "-1", "1e20", "INVALID_FILEHANDLE", "0/0", "closed", std::to_string(own)};
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  for (const std::string& x : handles) {
    SCOPED_TRACE(x);
    Run("s := \"keep\"; b := 5; v := [1]; n := 3; e := 0");
    for (const auto& c : calls) EXPECT_EQ(Number(With(c.call, x)), c.result) << c.call;
    EXPECT_EQ(Var("s").StrValue, "keep");
    EXPECT_EQ(Text("b") + " " + Text("v") + " " + Text("n"), "5 0 0");
    EXPECT_EQ(Number("e"), EBADF);
    Run(With("FileClose(X)", x));
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  // The test's own descriptor is still open, unmoved, and its file unchanged.
  EXPECT_NE(fcntl(own, F_GETFD), -1);
  EXPECT_EQ(lseek(own, 0, SEEK_CUR), 0);
  close(own);
  EXPECT_EQ(Bytes("own.txt"), "own");
  EXPECT_EQ(Bytes("closed.bin"), "");

  // A handle is rounded before use.
  OpenAsH("FileCreate", "round.bin");
  EXPECT_EQ(Number("FileWriteString(h + 0.4, \"a\") + FileWriteString(h - 0.4, \"b\")"), 2);
  EXPECT_EQ(Number("FileWriteString(h + 0.6, \"c\")"), 0);
  Run("FileClose(h)");
  EXPECT_EQ(Bytes("round.bin"), "ab");
}

// Outputs into constants go nowhere: a constant keeps its value for every other formula.
TEST_F(FileIOTest, OutputsNeverOverwriteConstants) {
  Put("c.bin", std::string("\x01\x00\x02\x00", 4));
  OpenAsH("FileOpen", "c.bin");
  // A constant as an output argument is refused when the formula is compiled.
  const struct {
    const char *formula, *message;
  } rows[] = {
      {"FileReadBinaryWord(h, FILE_END)",
       "FileReadBinaryWord(h, FILE_END): argument 2 of \"FileReadBinaryWord\" receives a result "
       "and cannot be a constant"},
      {"FileSize(h, FILE_CURRENT)",
       "FileSize(h, FILE_CURRENT): argument 2 of \"FileSize\" receives a result and cannot be "
       "a constant"},
      {"FileReadBinaryWordVector(h, v, 1, 7)",
       "FileReadBinaryWordVector(h, v, 1, 7): argument 4 of \"FileReadBinaryWordVector\" "
       "receives a result and cannot be a constant"},
  };
  for (const auto& row : rows) {
    try {
      ev_.AddExpression(row.formula);
      ADD_FAILURE() << row.formula << " compiled";
    } catch (const EVXParserException& error) {
      EXPECT_STREQ(error.what(), row.message);
    }
  }
  EXPECT_EQ(Number("FILE_END") + Number("FILE_CURRENT") / 10, 2.1);
  EXPECT_EQ(Number("FileSeek(h, 0, FILE_CURRENT)"), 0);  // nothing was read
}

TEST_F(FileIOTest, OpenCloseCyclesLeakNoDescriptorAndCloseAllFilesClosesEverything) {
  Put("busy.txt", "x");
  ASSERT_EQ(mkdir(Path("dir").c_str(), 0777), 0);
  const int descriptors = OpenDescriptorCount();
  const std::size_t listed = OpenFileCount();
  std::vector<int> cycle;
  for (const char* formula :
       {"h := FileOpen(\"busy.txt\")", "h2 := FileOpen(\"busy.txt\")", "h3 := FileCreate(\"dir\")",
        "FileClose(h)", "h := FileAppend(\"c.bin\")", "FileClose(h)", "h := FileCreate(\"c.bin\")",
        "FileClose(h)"})
    cycle.push_back(ev_.AddExpression(formula));
  for (int i = 0; i < 300; ++i) {
    for (int index : cycle) ev_.GetResults(index);
    ASSERT_EQ(Number("h2") + Number("h3"), 2 * kInvalidHandle) << i;
  }
  EXPECT_EQ(OpenDescriptorCount(), descriptors);
  EXPECT_EQ(OpenFileCount(), listed);

  std::vector<int> fds;
  for (const char* name : {"one", "two", "three"})
    fds.push_back(static_cast<int>(Number(std::string("FileCreate(\"") + name + "\")")));
  Run("h := " + std::to_string(fds[0]));
  EXPECT_EQ(OpenFileCount(), listed + 3);
  EXPECT_EQ(OpenDescriptorCount(), descriptors + 3);
  _closeallfiles();
  EXPECT_EQ(OpenFileCount(), 0u);
  EXPECT_EQ(OpenDescriptorCount(), descriptors - static_cast<int>(listed));
  for (int fd : fds) EXPECT_EQ(fcntl(fd, F_GETFD), -1) << fd;
  EXPECT_EQ(Number("FileWriteString(h, \"x\")"), 0);
  EXPECT_EQ(Bytes("one"), "");
  EXPECT_NE(Number("FileOpen(\"one\")"), kInvalidHandle);  // the lock went with the close
}

TEST_F(FileIOTest, CreateDirectoryMakesMissingParentsAndReportsWhetherItExists) {
  Put("plain", "x");
  const std::string absolute = Path("abs/x");
  const struct {
    std::string directory;
    double result;
  } cases[] = {
      {"a/b/c", 1},  {"a/b/c", 1} /* already there */, {"a//d/", 1},
      {absolute, 1}, {"plain", 0} /* a file */,        {"plain/sub", 0},
      {"", 0},       {"/proc/loom-test/x", 0},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Number("CreateDirectory(\"" + c.directory + "\")"), c.result) << c.directory;
  for (const char* made : {"a/b/c", "a/d", "abs/x"})
    EXPECT_TRUE(std::filesystem::is_directory(Path(made))) << made;
  EXPECT_EQ(Bytes("plain"), "x");
}

// ---------------------------------------------------------------------------------------------
// Failing system calls, through the seam

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

class FileIOFailureTest : public FileIOTest {
 protected:
  void SetUp() override {
    FileIOTest::SetUp();
    gFake = FakeState();
  }
};

TEST_F(FileIOFailureTest, FailedWritesGiveZero) {
  OpenAsH("FileCreate", "w.bin");
  FileSystemCalls().Write = FailingWrite;
  for (const char* call : {"FileWriteString(h, \"ab\")", "FileWriteStringFixed(h, \"ab\", 4)",
                           "FileWriteBinaryWord(h, [1, 2])"})
    EXPECT_EQ(Number(call), 0) << call;
  FileSystemCalls().Write = [](int, const void*, std::size_t) -> ssize_t { return 0; };
  EXPECT_EQ(Number("FileWriteString(h, \"ab\")"), 0);  // a write that stalls
  gFake = FakeState{0, 2, EIO};                        // FileWriteStringLn needs both of its writes
  FileSystemCalls().Write = FailingWrite;
  EXPECT_EQ(Number("FileWriteStringLn(h, \"ab\")"), 0);
  ResetFileSystemCalls();
  EXPECT_EQ(Bytes("w.bin"), "ab");
}

TEST_F(FileIOFailureTest, PartialWritesAndInterruptionsAreCarriedOn) {
  OpenAsH("FileCreate", "slow.bin");
  FileSystemCalls().Write = OneByteWrite;
  EXPECT_EQ(Number("FileWriteStringFixed(h, \"abc\", 5)"), 1);
  EXPECT_EQ(gFake.calls, 5);
  gFake = FakeState{0, 1, EINTR};
  FileSystemCalls().Write = FailingWrite;
  EXPECT_EQ(Number("FileWriteBinaryWord(h, 513)"), 1);
  FileSystemCalls().Read = FailingRead;
  gFake = FakeState{0, 1, EINTR};
  Run("FileSeek(h, 0, FILE_BEGIN)");
  EXPECT_EQ(Number("FileReadStringFixed(h, s, 3)"), 1);
  EXPECT_EQ(Var("s").StrValue, "abc");
  ResetFileSystemCalls();
  EXPECT_EQ(Hex(Bytes("slow.bin")), "61 62 63 00 00 01 02");
}

TEST_F(FileIOFailureTest, FailedReadsAndSizeQueriesGiveZeroAndLeaveTheirTargets) {
  Put("r.bin", "ab\r\ncdef");
  OpenAsH("FileOpen", "r.bin");
  FileSystemCalls().Read = FailingRead;
  EXPECT_EQ(Number("s := \"keep\"; FileReadStringFixed(h, s, 2)"), 0);
  EXPECT_EQ(Number("FileReadStringLn(h, s, crlf)"), 0);
  EXPECT_EQ(Var("s").StrValue, "keep");
  EXPECT_EQ(Number("w := 9; FileReadBinaryWord(h, w)"), 0);
  EXPECT_EQ(Number("w"), 9);
  // A vector read that fails counts as nothing read.
  EXPECT_EQ(Number("v := [1]; n := 4; FileReadBinaryWordVector(h, v, 2, n)"), 0);
  EXPECT_EQ(Text("v") + Text("n"), "00");
  FileSystemCalls().FileStat = [](int, struct stat*) {
    errno = EIO;
    return -1;
  };
  EXPECT_EQ(Number("e := 0; FileSize(h, e)"), 0);
  EXPECT_EQ(Number("e"), EIO);
  EXPECT_EQ(Number("FileEOF(h)"), 1);
  ResetFileSystemCalls();
  EXPECT_EQ(Number("FileReadStringLn(h, s, crlf)"), 1);
  EXPECT_EQ(Var("s").StrValue, "ab");
  EXPECT_EQ(Number("FileSize(h, e)"), 8);
  EXPECT_EQ(Number("e"), 0);
}

TEST_F(FileIOFailureTest, OnlyALockHeldElsewhereRefusesTheFile) {
  Put("lock.bin", "keep");
  const int descriptors = OpenDescriptorCount();
  FileSystemCalls().Lock = [](int, int) {
    errno = gFake.error;
    return -1;
  };
  gFake.error = EWOULDBLOCK;
  EXPECT_EQ(Number("FileOpen(\"lock.bin\")"), kInvalidHandle);
  EXPECT_EQ(Number("FileCreate(\"lock.bin\")"), kInvalidHandle);
  EXPECT_EQ(Bytes("lock.bin"), "keep");  // nothing truncated before the lock was had
  EXPECT_EQ(OpenDescriptorCount(), descriptors);
  gFake.error = ENOLCK;  // a file system without locks
  EXPECT_NE(Number("h := FileOpen(\"lock.bin\")"), kInvalidHandle);
  Run("FileClose(h)");
  FileSystemCalls().Truncate = [](int, off_t) {
    errno = EIO;
    return -1;
  };
  FileSystemCalls().Lock = [](int, int) { return 0; };
  EXPECT_EQ(Number("FileCreate(\"lock.bin\")"), kInvalidHandle);
  EXPECT_EQ(OpenDescriptorCount(), descriptors);
}

}  // namespace
}  // namespace loom
