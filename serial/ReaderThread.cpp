#include "serial/ReaderThread.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <vector>

namespace loom {

namespace {

// Milliseconds of the monotonic clock.
std::int64_t SteadyMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace

std::size_t TInputAccumulator::Append(std::string_view chunk) {
  if (held_.size() + chunk.size() >= kOverflowLimit) return chunk.size();
  held_.append(chunk);
  return 0;
}

bool TInputAccumulator::Cut(TPortInputOperationModes mode, const std::string& eol,
                            std::int32_t count, std::string& out, std::uint64_t& dropped) {
  switch (mode) {
    case iomFixedCharNumber:
      // Everything held goes, even beyond the count; a count of 0 or less takes any byte.
      if (held_.empty() || std::int64_t{count} > static_cast<std::int64_t>(held_.size()))
        return false;
      out = std::move(held_);
      held_.clear();
      return true;
    case iomEOLSequenze:
      for (;;) {
        // The search sees the text up to the first NUL byte only.
        const std::size_t nul = held_.find('\0');
        const std::string_view text(held_.data(), nul == std::string::npos ? held_.size() : nul);
        const std::size_t at = eol.empty() ? std::string::npos : text.find(eol);
        if (at != std::string::npos) {
          const std::size_t length = at + eol.size();  // the line ends with its EOL sequence
          out.assign(held_, 0, length);
          held_.erase(0, length);
          return true;
        }
        if (nul == std::string::npos) return false;
        // Nothing can ever end the line before the NUL: drop it and search on behind it, so
        // that one NUL byte does not silence the port.
        dropped += nul + 1;
        held_.erase(0, nul + 1);
      }
    default:  // iomNoInput: input is not wanted
      held_.clear();
      return false;
  }
}

TReaderThread::TReaderThread(TInputQueue& queue, TSerialWindow& window, TReaderPortLink& link)
    : queue_(queue), window_(window), link_(link) {
  wake_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (wake_ < 0) throw std::system_error(errno, std::generic_category(), "serial reader");
  thread_ = std::thread(&TReaderThread::Execute, this);
}

TReaderThread::~TReaderThread() {
  Terminate();
  ::close(wake_);
}

void TReaderThread::SetHandle(std::shared_ptr<TPortHandle> handle) {
  std::lock_guard<std::mutex> lock(controlMutex_);
  handle_ = std::move(handle);
}

void TReaderThread::ForgetHandle(const std::shared_ptr<TPortHandle>& handle) {
  std::lock_guard<std::mutex> lock(controlMutex_);
  if (handle_ == handle) handle_.reset();
}

void TReaderThread::SetInputOperationMode(TPortInputOperationModes mode) {
  std::lock_guard<std::mutex> lock(controlMutex_);
  mode_ = mode;
  Wake();
}

void TReaderThread::SetEOLSequenze(const std::string& eol) {
  std::lock_guard<std::mutex> lock(controlMutex_);
  eol_ = eol;
  Wake();
}

void TReaderThread::SetInputCharacterCount(std::int32_t count) {
  std::lock_guard<std::mutex> lock(controlMutex_);
  count_ = count;
  Wake();
}

void TReaderThread::StartInputThread() {
  std::lock_guard<std::mutex> lock(controlMutex_);
  if (request_ == TRequest::Terminate) return;
  request_ = TRequest::Run;
  controlChanged_.notify_all();
}

void TReaderThread::StopInputThread() {
  std::unique_lock<std::mutex> lock(controlMutex_);
  if (request_ == TRequest::Terminate) return;
  request_ = TRequest::Suspend;
  Wake();
  controlChanged_.wait(lock, [this] { return parked_; });
}

bool TReaderThread::Running() const {
  std::lock_guard<std::mutex> lock(controlMutex_);
  return request_ == TRequest::Run;
}

void TReaderThread::Terminate() {
  {
    std::lock_guard<std::mutex> lock(controlMutex_);
    request_ = TRequest::Terminate;
    Wake();
    controlChanged_.notify_all();
  }
  if (thread_.joinable()) thread_.join();
}

bool TReaderThread::ParkUntilRun(std::unique_lock<std::mutex>& lock) {
  parked_ = true;
  controlChanged_.notify_all();
  controlChanged_.wait(lock, [this] { return request_ != TRequest::Suspend; });
  if (request_ == TRequest::Terminate) return false;
  parked_ = false;
  return true;
}

void TReaderThread::Execute() {
  TInputAccumulator input;
  std::vector<char> buffer(kReadSize);
  std::shared_ptr<TPortHandle> handle;
  bool started = false;
  bool lost = false;
  bool cutLast = false;  // a string was cut: more may be complete, so the next poll does not wait
  std::int64_t nextReopen = 0;
  for (;;) {
    {
      std::unique_lock<std::mutex> lock(controlMutex_);
      if (request_ != TRequest::Run) {
        handle.reset();
        started = false;
        if (!ParkUntilRun(lock)) return;
      }
      if (!started) {  // a new run, on the handle the port gave
        started = true;
        parked_ = false;
        handle = handle_;
        lost = handle == nullptr;
        nextReopen = SteadyMs() + kReopenIntervalMs;
        cutLast = false;
        input.Clear();
      }
    }

    if (lost) {
      pollfd wake{wake_, POLLIN, 0};
      const auto wait = std::max<std::int64_t>(nextReopen - SteadyMs(), 0);
      if (poll(&wake, 1, static_cast<int>(wait)) > 0) {
        DrainWake();  // a stop request or a setting: look at the requests again
        continue;
      }
      if (SteadyMs() < nextReopen) continue;
      nextReopen = SteadyMs() + kReopenIntervalMs;
      handle = link_.ReopenLostPort();
      if (handle) {
        SetHandle(handle);
        lost = false;
        cutLast = false;
        window_.PostMessage(smPortBack);
      }
      continue;
    }

    pollfd fds[2] = {{wake_, POLLIN, 0}, {handle->Fd(), POLLIN, 0}};
    const int ready = poll(fds, 2, cutLast ? 0 : kPollTimeoutMs);
    bool gone = ready < 0 && errno != EINTR;  // the device cannot even be watched
    if (ready > 0) {
      if (fds[0].revents & POLLIN) DrainWake();
      const short events = fds[1].revents;
      if (events & POLLNVAL) {
        gone = true;
      } else if (events & (POLLIN | POLLHUP | POLLERR)) {
        // After a hang-up, what the driver still holds is read before the port lets go.
        const int got = ReadChunk(handle->Fd(), input, buffer.data());
        gone = got < 0 || (got == 0 && (events & (POLLHUP | POLLERR)));
      }
    }
    if (gone) {
      input.Clear();
      link_.PortLost(handle);
      ForgetHandle(handle);
      handle.reset();
      lost = true;
      nextReopen = SteadyMs() + kReopenIntervalMs;
      window_.PostMessage(smPortLost);
      continue;
    }

    // The settings are read after the read: bytes that arrived after a change of mode are
    // judged by the new mode.
    TPortInputOperationModes mode;
    std::string eol;
    std::int32_t count;
    {
      std::lock_guard<std::mutex> lock(controlMutex_);
      mode = mode_;
      eol = eol_;
      count = count_;
    }
    std::string text;
    std::uint64_t dropped = 0;
    cutLast = input.Cut(mode, eol, count, text, dropped);
    if (dropped > 0) dropped_ += dropped;
    if (cutLast) Deliver(std::move(text));
  }
}

int TReaderThread::ReadChunk(int fd, TInputAccumulator& input, char* buffer) {
  // Ask for what waits; with nothing waiting, a read still tells end of file from no data.
  const int waiting = BytesWaiting(fd);
  const std::size_t wanted =
      waiting > 0 ? std::min<std::size_t>(static_cast<std::size_t>(waiting), kReadSize) : kReadSize;
  ssize_t got;
  do {
    got = ::read(fd, buffer, wanted);
  } while (got < 0 && errno == EINTR);
  if (got > 0) {
    dropped_ += input.Append(std::string_view(buffer, static_cast<std::size_t>(got)));
    return static_cast<int>(got);
  }
  if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return 0;
  return -1;  // end of file, EIO, ENXIO, ENODEV: the device is gone
}

void TReaderThread::Deliver(std::string text) {
  std::lock_guard<std::mutex> lock(queue_.Mutex);
  queue_.Strings.push_back(std::move(text));
  // Posted while the string is queued under the lock: every message finds its string.
  window_.PostMessage(smInputQueued);
}

void TReaderThread::Wake() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t ignored = ::write(wake_, &one, sizeof one);
}

void TReaderThread::DrainWake() {
  std::uint64_t count;
  [[maybe_unused]] const ssize_t ignored = ::read(wake_, &count, sizeof count);
}

}  // namespace loom
