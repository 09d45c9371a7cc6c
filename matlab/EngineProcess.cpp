#include "matlab/EngineProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

#include "matlab/MatlabEngine.h"

extern char** environ;

namespace loom {

namespace {

using std::chrono::steady_clock;

// The system's text for an errno value.
std::string ErrnoText(int error) {
  return std::strerror(error);
}

// Milliseconds left until deadline, rounded up so that poll never wakes a hair early; 0 once
// it has passed.
int MillisecondsLeft(TDeadline deadline) {
  const auto left = deadline - steady_clock::now();
  if (left <= steady_clock::duration::zero()) return 0;
  const auto ms = std::chrono::ceil<std::chrono::milliseconds>(left).count();
  return ms > 1'000'000'000 ? 1'000'000'000 : static_cast<int>(ms);
}

// Waits until fd is ready for events or the deadline passes; false on time-out.
bool PollUntil(int fd, short events, TDeadline deadline) {
  for (;;) {
    pollfd p{fd, events, 0};
    const int n = ::poll(&p, 1, MillisecondsLeft(deadline));
    if (n > 0) return true;
    if (n == 0) {
      if (steady_clock::now() >= deadline) return false;
      continue;
    }
    if (errno != EINTR)
      throw EMatlabEngineLost("waiting for the engine failed: " + ErrnoText(errno));
  }
}

// How a reaped child ended, for error texts.
std::string DescribeStatus(int status) {
  if (WIFEXITED(status)) return "exit status " + std::to_string(WEXITSTATUS(status));
  if (WIFSIGNALED(status)) return "killed by signal " + std::to_string(WTERMSIG(status));
  return "status " + std::to_string(status);
}

// The environment of the child: ours, with the entries of extra replacing those of the same name.
std::vector<std::string> ChildEnvironment(const std::vector<std::string>& extra) {
  std::vector<std::string> env;
  for (char** e = environ; e != nullptr && *e != nullptr; ++e) {
    const std::string_view entry(*e);
    const auto name = entry.substr(0, entry.find('=') + 1);
    bool replaced = false;
    for (const auto& x : extra) replaced = replaced || x.starts_with(name);
    if (!replaced) env.emplace_back(entry);
  }
  env.insert(env.end(), extra.begin(), extra.end());
  return env;
}

// The null-terminated pointer list that exec wants; strings must outlive it.
std::vector<char*> PointerList(std::vector<std::string>& strings) {
  std::vector<char*> list;
  for (auto& s : strings) list.push_back(s.data());
  list.push_back(nullptr);
  return list;
}

}  // namespace

TEngineProcess::~TEngineProcess() {
  Close(std::chrono::milliseconds(0));
}

void TEngineProcess::Spawn(const std::string& program, const std::vector<std::string>& args,
                           const std::vector<std::string>& extraEnvironment) {
  Close(std::chrono::milliseconds(0));
  ended_.clear();
  int pair[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) {
    throw EMatlabEngineLost("cannot create the engine's socket: " + ErrnoText(errno));
  }
  std::vector<std::string> argStrings{program};
  argStrings.insert(argStrings.end(), args.begin(), args.end());
  std::vector<std::string> envStrings = ChildEnvironment(extraEnvironment);
  std::vector<char*> argv = PointerList(argStrings);
  std::vector<char*> envp = PointerList(envStrings);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (int fd = 0; fd <= 2; ++fd) posix_spawn_file_actions_adddup2(&actions, pair[1], fd);
  // Descriptors the host opened without close-on-exec stay out of the engine.
  posix_spawn_file_actions_addclosefrom_np(&actions, 3);

  // A group of its own, so an interrupt or a kill reaches what the engine started; default
  // signal handling, whatever the host ignores or blocks.
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  sigset_t none, defaults;
  sigemptyset(&none);
  sigemptyset(&defaults);
  for (int s : {SIGINT, SIGPIPE, SIGTERM, SIGHUP, SIGQUIT, SIGCHLD}) sigaddset(&defaults, s);
  posix_spawnattr_setflags(&attr,
                           POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  posix_spawnattr_setpgroup(&attr, 0);
  posix_spawnattr_setsigmask(&attr, &none);
  posix_spawnattr_setsigdefault(&attr, &defaults);

  pid_t pid = -1;
  const int error =
      ::posix_spawnp(&pid, program.c_str(), &actions, &attr, argv.data(), envp.data());
  posix_spawnattr_destroy(&attr);
  posix_spawn_file_actions_destroy(&actions);
  ::close(pair[1]);
  if (error != 0) {
    ::close(pair[0]);
    throw EMatlabEngineLost("the program cannot be run (" + ErrnoText(error) + ")");
  }
  pid_ = pid;
  socket_ = pair[0];
  ::fcntl(socket_, F_SETFL, ::fcntl(socket_, F_GETFL) | O_NONBLOCK);
}

bool TEngineProcess::Send(std::string_view data, TDeadline deadline) {
  if (socket_ < 0) throw EMatlabEngineLost("the engine is not running");
  while (!data.empty()) {
    const ssize_t n = ::send(socket_, data.data(), data.size(), MSG_NOSIGNAL);
    if (n > 0) {
      data.remove_prefix(static_cast<std::size_t>(n));
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      if (!PollUntil(socket_, POLLOUT, deadline)) return false;
    } else if (errno != EINTR) {
      const int error = errno;
      Close(std::chrono::milliseconds(200));
      throw EMatlabEngineLost("the engine has gone (" + ErrnoText(error) + ", " + ended_ + ")");
    }
  }
  return true;
}

bool TEngineProcess::Receive(std::string& into, TDeadline deadline) {
  if (socket_ < 0) throw EMatlabEngineLost("the engine is not running");
  char buffer[65536];
  for (;;) {
    const ssize_t n = ::recv(socket_, buffer, sizeof buffer, 0);
    if (n > 0) {
      into.append(buffer, static_cast<std::size_t>(n));
      return true;
    }
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      if (!PollUntil(socket_, POLLIN, deadline)) return false;
    } else if (n == 0 || errno != EINTR) {
      // End of file, or ECONNRESET when it died with our input unread: either way it is gone.
      const std::string how = n == 0 ? "end of file" : ErrnoText(errno);
      Close(std::chrono::milliseconds(200));
      throw EMatlabEngineLost("the engine ended unexpectedly (" + how + ", " + ended_ + ")");
    }
  }
}

void TEngineProcess::Interrupt() {
  if (pid_ > 0) ::killpg(pid_, SIGINT);
}

void TEngineProcess::Close(std::chrono::milliseconds grace) {
  if (socket_ >= 0) ::shutdown(socket_, SHUT_WR);  // end of input: the engine leaves by itself
  if (pid_ > 0) {
    const auto deadline = steady_clock::now() + grace;
    while (!Ended() && steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    // The leader is not reaped yet (a zombie at worst), so its group id cannot have been
    // reused: the kill reaches only the engine and what it left behind.
    ::killpg(pid_, SIGKILL);
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    ended_ = DescribeStatus(status);
    pid_ = -1;
  }
  if (socket_ >= 0) {
    ::close(socket_);
    socket_ = -1;
  }
}

bool TEngineProcess::Ended() const {
  siginfo_t info{};
  return ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         info.si_pid == pid_;
}

}  // namespace loom
