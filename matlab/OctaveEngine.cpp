#include "matlab/OctaveEngine.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <random>
#include <vector>

#include "matlab/OctaveDisplay.h"

namespace loom {

namespace {

using std::chrono::steady_clock;

constexpr char kReplyMark = '\x1e';  // the record separator: starts every reply header

// The helper functions, one file each; @MARKER@ becomes the engine's marker (without its first
// byte, which Octave writes as char (30)).
struct THelper {
  const char* file;
  const char* text;
};

constexpr THelper kHelpers[] = {
    {"__loom_reply__.m", R"m(function __loom_reply__ (id, out, err)
  % One reply: a header with the call's id and the byte counts, then the bytes, in one write.
  page_screen_output (false);
  header = sprintf ("%c@MARKER@ %d %d %d\n", 30, id, numel (out), numel (err));
  fwrite (stdout, [header, out(:)', err(:)']);
  fflush (stdout);
endfunction
)m"},
    {"__loom_ping__.m", R"m(function __loom_ping__ (id)
  __loom_reply__ (id, "", "");
endfunction
)m"},
    {"__loom_call__.m", R"m(function __loom_call__ (id, file)
  % Runs the text of file in the base workspace; what it printed before an error is kept.
  out = "";
  err = "";
  try
    code = fileread (file);
    out = evalc ("evalin ('base', code);", "err = lasterr ();");
  catch e
    err = e.message;
  end_try_catch
  __loom_reply__ (id, out, err);
endfunction
)m"},
    {"__loom_put__.m", R"m(function __loom_put__ (id, file, count, name, workspace)
  err = "";
  fid = -1;
  try
    fid = fopen (file, "r");
    if (fid < 0)
      error ("cannot open the transfer file %s", file);
    endif
    [v, n] = fread (fid, [1, count], "double", 0, "ieee-le");
    fclose (fid);
    fid = -1;
    if (n != count)
      error ("the transfer file holds %d values instead of %d", n, count);
    endif
    assignin (workspace, name, reshape (v, 1, count));
  catch e
    err = e.message;
    if (fid >= 0)
      fclose (fid);
    endif
  end_try_catch
  __loom_reply__ (id, "", err);
endfunction
)m"},
    {"__loom_get__.m", R"m(function __loom_get__ (id, file, name, workspace, realCount, imagCount)
  % Writes the first realCount columns of the first row of name, real parts, then the first
  % imagCount imaginary parts.
  err = "";
  fid = -1;
  try
    if (! isvarname (name))
      error ("'%s' is not a valid variable name", name);
    endif
    if (! evalin (workspace, sprintf ("exist ('%s', 'var')", name)))
      error ("'%s' undefined", name);
    endif
    v = evalin (workspace, name);
    if (! (isnumeric (v) || islogical (v)))
      error ("'%s' is of class %s, not a numeric matrix", name, class (v));
    endif
    need = max (realCount, imagCount);
    if (need > 0 && (rows (v) < 1 || columns (v) < need))
      dims = sprintf ("%dx", size (v));
      error ("'%s' is %s; %d columns were asked for", name, dims(1:end-1), need);
    endif
    row = zeros (1, 0);
    if (need > 0)
      row = double (v(1, 1:need));
    endif
    data = [real(row(1:realCount)), imag(row(1:imagCount))];
    fid = fopen (file, "w");
    if (fid < 0)
      error ("cannot create the transfer file %s", file);
    endif
    if (fwrite (fid, data, "double", 0, "ieee-le") != numel (data))
      error ("cannot write the transfer file %s", file);
    endif
    fclose (fid);
    fid = -1;
  catch e
    err = e.message;
    if (fid >= 0)
      fclose (fid);
    endif
  end_try_catch
  __loom_reply__ (id, "", err);
endfunction
)m"},
};

// An Octave expression for the bytes of text: a quoted string when it is plain printable ASCII,
// otherwise a list of character codes (a line feed must never reach the command line).
std::string OctaveLiteral(std::string_view text) {
  bool plain = true;
  for (unsigned char c : text) plain = plain && c >= 0x20 && c < 0x7f;
  std::string out;
  if (plain) {
    out = "'";
    for (char c : text) out += c == '\'' ? std::string("''") : std::string(1, c);
    return out + "'";
  }
  out = "char ([";
  for (unsigned char c : text) out += std::to_string(c) + " ";
  return out + "])";
}

// "1500 ms", as the error texts show durations.
std::string Milliseconds(std::chrono::milliseconds ms) {
  return std::to_string(ms.count()) + " ms";
}

// Creates path (mode 0600) holding exactly the size bytes at data; EMatlabError on failure.
void WriteWhole(const std::string& path, const void* data, std::size_t size) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) throw EMatlabError("cannot create " + path + ": " + std::strerror(errno));
  const char* p = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t n = ::write(fd, p, size);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      const int error = errno;
      ::close(fd);
      throw EMatlabError("cannot write " + path + ": " + std::strerror(error));
    }
    p += n;
    size -= static_cast<std::size_t>(n);
  }
  ::close(fd);
}

// Reads path, which must hold exactly size bytes, into data.
void ReadWhole(const std::string& path, void* data, std::size_t size) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw EMatlabError("cannot open " + path + ": " + std::strerror(errno));
  char* p = static_cast<char*>(data);
  std::size_t got = 0;
  for (;;) {
    char extra;
    const ssize_t n = got < size ? ::read(fd, p + got, size - got) : ::read(fd, &extra, 1);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0 || got == size) {
      const int error = n < 0 ? errno : 0;
      ::close(fd);
      if (n == 0 && got == size) return;
      if (error != 0) throw EMatlabError("cannot read " + path + ": " + std::strerror(error));
      throw EMatlabError("the transfer file " + path + " does not hold " + std::to_string(size) +
                         " bytes");
    }
    got += static_cast<std::size_t>(n);
  }
}

// The transfer files hold little-endian doubles whatever this machine's byte order.
void SwapOnBigEndian(std::span<double> values) {
  if constexpr (std::endian::native == std::endian::big) {
    for (double& v : values) {
      v = std::bit_cast<double>(__builtin_bswap64(std::bit_cast<std::uint64_t>(v)));
    }
  }
}

// 16 hexadecimal digits from the system's random source: a token no user output will contain.
std::string RandomToken() {
  std::random_device device;
  const std::uint64_t value = (std::uint64_t{device()} << 32) ^ device();
  char text[17];
  std::to_chars(text, text + 16, value | (std::uint64_t{1} << 63), 16);
  return std::string(text, 16);
}

}  // namespace

void CheckOctaveOptions(const TOctaveOptions& options) {
  if (options.Program.empty()) throw EMatlabError("Octave options: the program name is empty");
  const std::pair<const char*, std::chrono::milliseconds> times[] = {
      {"call time-out", options.CallTimeout},
      {"start time-out", options.StartTimeout},
      {"interrupt grace", options.InterruptGrace}};
  for (const auto& [what, value] : times) {
    if (value.count() <= 0) {
      throw EMatlabError(std::string("Octave options: the ") + what + " must be positive, not " +
                         Milliseconds(value));
    }
  }
}

TOctaveEngine::TOctaveEngine(TOctaveOptions options) : options_(std::move(options)) {
  CheckOctaveOptions(options_);
}

TOctaveEngine::~TOctaveEngine() {
  Stop();
}

void TOctaveEngine::Start() {
  Stop();
  std::string pattern = (std::filesystem::temp_directory_path() / "loom-octave-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    throw EMatlabEngineLost("cannot create a folder for the Octave engine: " +
                            std::string(std::strerror(errno)));
  }
  folder_ = pattern;
  marker_ = std::string(1, kReplyMark) + "LOOM" + RandomToken() + " ";
  try {
    WriteHelpers();
    process_.Spawn(options_.Program, {"--interactive", "--norc", "--no-history", "--quiet"},
                   {"OPENBLAS_NUM_THREADS=1"});
    const std::uint64_t id = nextId_++;
    // No prompts (they would only be noise between replies), no pager, no core files.
    const std::string init =
        "PS1 (''); PS2 (''); more off; page_screen_output (false); beep_on_error (false); "
        "crash_dumps_octave_core (false); sighup_dumps_octave_core (false); "
        "sigterm_dumps_octave_core (false); addpath (" +
        OctaveLiteral(folder_.string()) + "); __loom_ping__ (" + std::to_string(id) + ");\n";
    const TDeadline deadline = steady_clock::now() + options_.StartTimeout;
    if (!process_.Send(init, deadline) || !AwaitReply(id, deadline)) {
      throw EMatlabEngineLost("no reply within " + Milliseconds(options_.StartTimeout));
    }
  } catch (const EMatlabError& e) {
    Discard();
    throw EMatlabEngineLost("cannot start the Octave engine \"" + options_.Program +
                            "\": " + e.what());
  } catch (...) {
    Discard();
    throw;
  }
}

void TOctaveEngine::Stop() {
  process_.Close(std::chrono::milliseconds(1000));
  received_.clear();
  RemoveFolder();
}

void TOctaveEngine::Discard() {
  process_.Close(std::chrono::milliseconds(0));
  received_.clear();
  RemoveFolder();
}

void TOctaveEngine::RemoveFolder() {
  if (folder_.empty()) return;
  std::error_code ignored;  // a folder that is already gone is fine
  std::filesystem::remove_all(folder_, ignored);
  folder_.clear();
}

void TOctaveEngine::WriteHelpers() const {
  const std::string token = marker_.substr(1, marker_.size() - 2);
  for (const THelper& helper : kHelpers) {
    std::string text = helper.text;
    if (const auto at = text.find("@MARKER@"); at != std::string::npos) {
      text.replace(at, 8, token);
    }
    WriteWhole(FilePath(helper.file), text.data(), text.size());
  }
}

std::string TOctaveEngine::Execute(const std::string& command, bool& failed) {
  if (!IsRunning()) throw EMatlabEngineLost("the Octave engine is not running");
  const std::string file = FilePath("command.txt");
  WriteWhole(file, command.data(), command.size());
  const std::uint64_t id = nextId_++;
  TReply reply =
      Call(id, "__loom_call__ (" + std::to_string(id) + ", " + OctaveLiteral(file) + ");\n");
  std::string text = reply.Stray + MatlabDisplayLayout(reply.Output);
  failed = !reply.Error.empty();
  if (failed) {
    text += "error: " + reply.Error;
    if (text.back() != '\n') text += '\n';
  }
  return text;
}

void TOctaveEngine::PutFullMatrix(const std::string& name, const std::string& workspace,
                                  std::span<const double> real, std::span<const double> imag) {
  if (!imag.empty() && imag.size() != real.size()) {
    throw EMatlabError("PutFullMatrix(\"" + name + "\"): the imaginary part has " +
                       std::to_string(imag.size()) + " elements, the real part " +
                       std::to_string(real.size()) + "; it must be empty or as long");
  }
  if (!IsRunning()) throw EMatlabEngineLost("the Octave engine is not running");
  const std::string file = FilePath("put.bin");
  if constexpr (std::endian::native == std::endian::little) {
    WriteWhole(file, real.data(), real.size_bytes());
  } else {
    std::vector<double> copy(real.begin(), real.end());
    SwapOnBigEndian(copy);
    WriteWhole(file, copy.data(), real.size_bytes());
  }
  const std::uint64_t id = nextId_++;
  const TReply reply = Call(id, "__loom_put__ (" + std::to_string(id) + ", " + OctaveLiteral(file) +
                                    ", " + std::to_string(real.size()) + ", " +
                                    OctaveLiteral(name) + ", " + OctaveLiteral(workspace) + ");\n");
  if (!reply.Error.empty()) {
    throw EMatlabError("PutFullMatrix(\"" + name + "\"): " + reply.Error);
  }
}

void TOctaveEngine::GetFullMatrix(const std::string& name, const std::string& workspace,
                                  std::span<double> real, std::span<double> imag) {
  if (!IsRunning()) throw EMatlabEngineLost("the Octave engine is not running");
  const std::string file = FilePath("get.bin");
  const std::uint64_t id = nextId_++;
  const TReply reply =
      Call(id, "__loom_get__ (" + std::to_string(id) + ", " + OctaveLiteral(file) + ", " +
                   OctaveLiteral(name) + ", " + OctaveLiteral(workspace) + ", " +
                   std::to_string(real.size()) + ", " + std::to_string(imag.size()) + ");\n");
  if (!reply.Error.empty()) {
    throw EMatlabError("GetFullMatrix(\"" + name + "\"): " + reply.Error);
  }
  // Both parts come in one file; read it into a buffer only when there are two.
  if (imag.empty()) {
    ReadWhole(file, real.data(), real.size_bytes());
    SwapOnBigEndian(real);
    return;
  }
  std::vector<double> both(real.size() + imag.size());
  ReadWhole(file, both.data(), both.size() * sizeof(double));
  SwapOnBigEndian(both);
  std::copy(both.begin(), both.begin() + real.size(), real.begin());
  std::copy(both.begin() + real.size(), both.end(), imag.begin());
}

TOctaveEngine::TReply TOctaveEngine::Call(std::uint64_t id, const std::string& line) {
  try {
    const TDeadline deadline = steady_clock::now() + options_.CallTimeout;
    if (process_.Send(line, deadline)) {
      if (auto reply = AwaitReply(id, deadline)) return std::move(*reply);
    }
    // Past the time-out: interrupt whatever runs, then ask whether the engine still listens.
    process_.Interrupt();
    const std::uint64_t ping = nextId_++;
    const TDeadline graceDeadline = steady_clock::now() + options_.InterruptGrace;
    if (process_.Send("__loom_ping__ (" + std::to_string(ping) + ");\n", graceDeadline) &&
        AwaitReply(ping, graceDeadline)) {
      throw EMatlabError("the Octave engine did not finish within " +
                         Milliseconds(options_.CallTimeout) + "; the call was interrupted");
    }
  } catch (const EMatlabEngineLost&) {
    Discard();
    throw;
  }
  Discard();
  throw EMatlabEngineLost(
      "the Octave engine did not answer within " + Milliseconds(options_.CallTimeout) + ", nor " +
      Milliseconds(options_.InterruptGrace) + " after an interrupt; it was stopped");
}

std::optional<TOctaveEngine::TReply> TOctaveEngine::AwaitReply(std::uint64_t id,
                                                               TDeadline deadline) {
  for (;;) {
    std::uint64_t replyId = 0;
    TReply reply;
    while (TakeReply(replyId, reply)) {
      if (replyId == id) return reply;
      // The late reply of a call that was interrupted: its caller has been told already.
    }
    if (!process_.Receive(received_, deadline)) return std::nullopt;
  }
}

bool TOctaveEngine::TakeReply(std::uint64_t& id, TReply& reply) {
  const std::size_t start = received_.find(marker_);
  if (start == std::string::npos) return false;
  const std::size_t headerEnd = received_.find('\n', start);
  if (headerEnd == std::string::npos) return false;
  std::uint64_t counts[3] = {};
  const char* p = received_.data() + start + marker_.size();
  const char* end = received_.data() + headerEnd;
  for (std::uint64_t& count : counts) {
    const auto [next, error] = std::from_chars(p, end, count);
    if (error != std::errc() || (next != end && *next != ' ')) {
      Discard();
      throw EMatlabEngineLost("the Octave engine sent a malformed reply header");
    }
    p = next == end ? next : next + 1;
  }
  const std::size_t payload = headerEnd + 1;
  if (received_.size() - payload < counts[1] + counts[2]) return false;
  id = counts[0];
  reply.Stray = received_.substr(0, start);
  reply.Output = received_.substr(payload, counts[1]);
  reply.Error = received_.substr(payload + counts[1], counts[2]);
  received_.erase(0, payload + counts[1] + counts[2]);
  return true;
}

}  // namespace loom
