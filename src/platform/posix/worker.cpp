#include "platform/worker.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/posix/cage.h"
#include "platform/posix/retry.h"

namespace tessaron {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kSocket = 3;  // the worker's end
constexpr std::size_t kMaxRequest = std::size_t{64} << 10;
constexpr int kCannotStart = 127;
constexpr std::chrono::seconds kStartTime(30);  // for loading the libraries on a busy machine

// A message is its length, 4 bytes in the machine's order, and its bytes.
using Length = std::uint32_t;

union Control {
  cmsghdr header;  // aligns the bytes
  char bytes[CMSG_SPACE(sizeof(int))];
};

bool sendAll(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count =
        retry([&] { return send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL); });
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

std::string framed(std::string_view message) {
  const auto length = static_cast<Length>(message.size());
  std::string frame(sizeof length, '\0');
  std::memcpy(frame.data(), &length, sizeof length);
  return frame.append(message);
}

/// Sends a message together with a descriptor. It is so short that the socket takes it at once.
bool sendRequest(int socket, std::string_view request, int file) {
  if (request.size() > kMaxRequest) return false;
  std::string frame = framed(request);
  iovec part{frame.data(), frame.size()};
  Control control{};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control.bytes;
  message.msg_controllen = sizeof control.bytes;
  cmsghdr* const header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof file);
  std::memcpy(CMSG_DATA(header), &file, sizeof file);
  const ssize_t count =
      retry([&] { return sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT); });
  return count == static_cast<ssize_t>(frame.size());
}

/// In the new process, before the program starts: only what is safe beside other threads.
[[noreturn]] void becomeWorker(int socket, int null, pid_t parent, rlim_t seconds,
                               char* const* arguments) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(kCannotStart);
  // The parent decides what an interrupted run does.
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP}) signal(number, SIG_IGN);
  const rlimit time{seconds, seconds + 1};
  setrlimit(RLIMIT_CPU, &time);
  // Above the standard streams, which may be closed.
  const int high = fcntl(socket, F_DUPFD, kSocket + 1);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(null, stream);
  dup2(high, kSocket);
  syscall(SYS_close_range, kSocket + 1, ~0U, 0);
  execv("/proc/self/exe", arguments);
  _exit(kCannotStart);
}

/// What a process that has ended means for the file that it was reading.
std::string reasonOf(int status) {
  if (WIFEXITED(status) && WEXITSTATUS(status) == kCannotStart)
    return "no process could be started to read it";
  if (!WIFSIGNALED(status)) return "the process that was reading it has ended";
  switch (WTERMSIG(status)) {
    case SIGSYS:
      return "its reader tried something that is forbidden";
    case SIGXCPU:
    case SIGKILL:
      return "reading it takes too much processor time or memory";
    default:
      return std::string("its reader has crashed (") + sigdescr_np(WTERMSIG(status)) + ")";
  }
}

}  // namespace

struct Worker::Process {
  std::vector<std::string> arguments;
  std::chrono::milliseconds patience;
  int socket = -1;
  std::chrono::nanoseconds startTime{};  // processor time that starting took
  std::mutex mutex;                      // guards what follows
  pid_t id = -1;
  bool isStopped = false;

  bool start();
  std::string end(const char* reason);
  bool isFit() const;
  std::chrono::nanoseconds processorTime() const;
  std::string receive(std::string& answer, Clock::duration limit);
  const char* receiveSome(std::string& received, Clock::time_point deadline) const;
};

/// Starts the process and waits until it is ready. False when that fails; there is none then.
bool Worker::Process::start() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) return false;
  const int null = retry([] { return open("/dev/null", O_RDWR | O_CLOEXEC); });
  std::vector<char*> words{const_cast<char*>("tessaron")};
  for (std::string& argument : arguments) words.push_back(argument.data());
  words.push_back(nullptr);
  // Twice the time of one file, since a worker that has used half of it is not asked again, and
  // that of the start.
  const auto seconds = static_cast<rlim_t>(
      std::chrono::ceil<std::chrono::seconds>(kStartTime + 2 * patience).count());
  const pid_t parent = getpid();
  pid_t child = -1;
  {
    const std::lock_guard lock(mutex);
    child = isStopped || null == -1 ? -1 : fork();
    if (child == 0) becomeWorker(ends[1], null, parent, seconds, words.data());
    id = child;
  }
  if (null != -1) close(null);
  close(ends[1]);
  if (child == -1) {
    close(ends[0]);
    return false;
  }
  socket = ends[0];
  std::string ready;
  if (!receive(ready, kStartTime).empty()) return false;
  startTime = processorTime();
  return true;
}

/// Ends the process. Returns `reason`, or without one what the process itself died of.
std::string Worker::Process::end(const char* reason) {
  if (socket == -1) return reason ? reason : "";
  close(std::exchange(socket, -1));
  int status = 0;
  // A process that has closed the socket is about to end by itself.
  const auto limit = Clock::now() + std::chrono::seconds(1);
  pid_t ended = 0;
  while (!reason && ended == 0 && Clock::now() < limit) {
    ended = waitpid(id, &status, WNOHANG);
    if (ended == 0) poll(nullptr, 0, 1);
  }
  const std::lock_guard lock(mutex);
  if (ended == 0) {
    kill(id, SIGKILL);
    retry([&] { return waitpid(id, &status, 0); });
  }
  id = -1;
  if (isStopped) return "reading it was interrupted";
  return reason ? reason : reasonOf(status);
}

/// Whether the process can be asked again: it has the processor time of another file, and has not
/// said anything that it was not asked.
bool Worker::Process::isFit() const {
  char byte = 0;
  const bool isSilent = recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0;
  return isSilent && processorTime() - startTime < patience;
}

/// What the process has used since its start; much when that cannot be told.
std::chrono::nanoseconds Worker::Process::processorTime() const {
  clockid_t clock{};
  timespec used{};
  if (clock_getcpuclockid(id, &clock) != 0 || clock_gettime(clock, &used) != 0)
    return std::chrono::hours(1);
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

/// Appends what has come to `received`. Null, or the reason why nothing comes, empty when the
/// process has closed its end.
const char* Worker::Process::receiveSome(std::string& received, Clock::time_point deadline) const {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
  pollfd waiting{socket, POLLIN, 0};
  const int count = left > 0 ? poll(&waiting, 1, static_cast<int>(left)) : 0;
  if (count == 0) return "reading it takes too long";
  std::array<char, 64 << 10> block;
  const ssize_t got = retry([&] { return recv(socket, block.data(), block.size(), MSG_DONTWAIT); });
  if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return nullptr;
  if (got <= 0) return "";
  received.append(block.data(), static_cast<std::size_t>(got));
  return nullptr;
}

/// Receives one message. Empty, or the reason why there is none; the process has ended then.
std::string Worker::Process::receive(std::string& answer, Clock::duration limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  Length length = 0;
  answer.clear();
  for (;;) {
    if (answer.size() >= sizeof length) {
      std::memcpy(&length, answer.data(), sizeof length);
      if (length > kMaxWorkerAnswer || answer.size() - sizeof length > length)
        return end("its reader gave no proper answer");
      if (answer.size() - sizeof length == length) break;
    }
    if (const char* reason = receiveSome(answer, deadline)) return end(*reason ? reason : nullptr);
  }
  answer.erase(0, sizeof length);
  return {};
}

Worker::Worker(std::vector<std::string> arguments, std::chrono::milliseconds patience)
    : process_(std::make_unique<Process>()) {
  process_->arguments = std::move(arguments);
  process_->patience = patience;
}

Worker::~Worker() { process_->end(""); }

std::string Worker::ask(std::string_view request, const File& file, std::string& answer) {
  Process& process = *process_;
  if (process.socket != -1 && !process.isFit()) process.end("");
  if (process.socket == -1 && !process.start())
    return process.isStopped ? "reading it was interrupted"
                             : "no process could be started to read it";
  if (!sendRequest(process.socket, request, static_cast<int>(file.handle())))
    return process.end(nullptr);
  return process.receive(answer, process.patience);
}

void Worker::dismiss() { process_->end(""); }

void Worker::stop() {
  const std::lock_guard lock(process_->mutex);
  process_->isStopped = true;
  if (process_->id != -1) kill(process_->id, SIGKILL);
}

namespace {

/// A file that another process has opened.
class ReceivedFile : public File {
 public:
  explicit ReceivedFile(int fd) : fd_(fd), size_(lseek(fd, 0, SEEK_END)) {}
  ~ReceivedFile() override { close(fd_); }

  std::optional<std::size_t> read(std::span<std::byte> buffer) override {
    const std::optional<std::size_t> count = readAt(at_, buffer);
    at_ += count.value_or(0);
    return count;
  }
  std::optional<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> buffer) override {
    const ssize_t count =
        retry([&] { return pread(fd_, buffer.data(), buffer.size(), static_cast<off_t>(offset)); });
    return count < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(count));
  }
  bool write(std::span<const std::byte>) override { return false; }
  bool seek(std::uint64_t offset) override {
    at_ = offset;
    return true;
  }
  std::optional<std::uint64_t> size() override {
    return size_ < 0 ? std::nullopt : std::optional(static_cast<std::uint64_t>(size_));
  }
  bool setEnd() override { return false; }
  std::optional<FileStatus> status() override {
    FileStatus status;
    status.size = size().value_or(0);
    return status;
  }

 private:
  int fd_;
  off_t size_;
  std::uint64_t at_ = 0;
};

struct Request {
  std::string text;
  std::unique_ptr<File> file;
};

/// The next request; nothing when there are no more.
std::optional<Request> nextRequest() {
  Length length = 0;
  iovec part{&length, sizeof length};
  Control control{};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control.bytes;
  message.msg_controllen = sizeof control.bytes;
  const ssize_t count =
      retry([&] { return recvmsg(kSocket, &message, MSG_WAITALL | MSG_CMSG_CLOEXEC); });
  const cmsghdr* const header = CMSG_FIRSTHDR(&message);
  if (count != sizeof length || !header || header->cmsg_type != SCM_RIGHTS) return std::nullopt;
  int fd = -1;
  std::memcpy(&fd, CMSG_DATA(header), sizeof fd);
  Request request{{}, std::make_unique<ReceivedFile>(fd)};
  if (length > kMaxRequest) return std::nullopt;
  request.text.resize(length);
  const ssize_t got =
      retry([&] { return recv(kSocket, request.text.data(), length, MSG_WAITALL); });
  if (got != static_cast<ssize_t>(length)) return std::nullopt;
  return request;
}

}  // namespace

int runWorker(const WorkerDuties& duties) {
  constexpr int kUsage = 2;
  int type = 0;
  socklen_t size = sizeof type;
  if (getsockopt(kSocket, SOL_SOCKET, SO_TYPE, &type, &size) != 0) return kUsage;
  duties.prepare();
  closeCage(kMaxWorkerMemory);
  if (!sendAll(kSocket, framed({}))) return kUsage;  // ready
  while (std::optional<Request> request = nextRequest()) {
    const std::string answer = duties.answer(request->text, *request->file);
    if (answer.size() > kMaxWorkerAnswer || !sendAll(kSocket, framed(answer))) break;
  }
  _exit(0);  // no destructors: they could need what is forbidden
}

}  // namespace tessaron
