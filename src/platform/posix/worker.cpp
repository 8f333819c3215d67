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
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/posix/cage.h"
#include "platform/posix/retry.h"

namespace tessaron {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kSocket = 3;  // the other process's end
constexpr std::size_t kMaxRequest = std::size_t{64} << 10;
constexpr int kCannotStart = 127;
constexpr std::chrono::seconds kStartTime(30);  // for loading the libraries on a busy machine

// A message is its length, 4 bytes in the machine's order, and its bytes.
using Length = std::uint32_t;

union Control {
  cmsghdr header;  // aligns the bytes
  char bytes[CMSG_SPACE(sizeof(int))];
};

// What the program asks its source of workers for, and what that answers. `Source` has the other
// end.
struct Order {
  enum class Kind : std::uint32_t { Start, End, Kill };
  Kind kind;
  pid_t id;  // of the worker to end
  rlim_t
      seconds;  // processor time of the worker to start, which gets the socket that is sent along
  bool isAwaited;  // of End: give it a second to end by itself
};
struct Reply {
  pid_t id = -1;   // of the worker that was started
  int status = 0;  // of the one that has ended, as waitpid tells it
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

/// Sends a message, together with a descriptor unless it is -1. It is so short that the socket
/// takes it at once.
bool sendWithFile(int socket, std::string_view bytes, int file) {
  iovec part{const_cast<char*>(bytes.data()), bytes.size()};
  Control control{};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  if (file != -1) {
    message.msg_control = control.bytes;
    message.msg_controllen = sizeof control.bytes;
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof file);
    std::memcpy(CMSG_DATA(header), &file, sizeof file);
  }
  const ssize_t count =
      retry([&] { return sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT); });
  return count == static_cast<ssize_t>(bytes.size());
}

/// Receives `size` bytes, and the descriptor that came with them, or -1. False at the end.
bool receiveWithFile(int socket, void* bytes, std::size_t size, int& file) {
  iovec part{bytes, size};
  Control control{};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control.bytes;
  message.msg_controllen = sizeof control.bytes;
  const ssize_t count =
      retry([&] { return recvmsg(socket, &message, MSG_WAITALL | MSG_CMSG_CLOEXEC); });
  const cmsghdr* const header = CMSG_FIRSTHDR(&message);
  file = -1;
  if (header && header->cmsg_type == SCM_RIGHTS) std::memcpy(&file, CMSG_DATA(header), sizeof file);
  return count == static_cast<ssize_t>(size);
}

/// In the new process, before the program starts: only what is safe beside other threads.
[[noreturn]] void becomeSource(int socket, int null, char* const* arguments) {
  // The parent decides what an interrupted run does.
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP}) signal(number, SIG_IGN);
  // Above the standard streams, which may be closed.
  const int high = fcntl(socket, F_DUPFD, kSocket + 1);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(null, stream);
  dup2(high, kSocket);
  syscall(SYS_close_range, kSocket + 1, ~0U, 0);
  execv("/proc/self/exe", arguments);
  _exit(kCannotStart);
}

/// The process that workers are forked from: this program, started anew and prepared once, since
/// loading the libraries takes longer than reading most files. Its workers share its addresses.
/// That gives nothing away: files cannot ask one another what they found, since all that leaves a
/// worker is its answer. It ends when this process does, whichever way, because its socket is
/// closed then, and the system ends its workers with it. Any thread may use it.
class Source {
 public:
  explicit Source(std::vector<std::string> arguments) : arguments_(std::move(arguments)) {}
  ~Source() { end(); }
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  /// The source of all workers with these arguments.
  static std::shared_ptr<Source> of(std::vector<std::string> arguments) {
    static std::mutex mutex;
    static std::map<std::vector<std::string>, std::weak_ptr<Source>> sources;
    const std::lock_guard lock(mutex);
    std::weak_ptr<Source>& known = sources[arguments];
    std::shared_ptr<Source> source = known.lock();
    if (!source) known = source = std::make_shared<Source>(std::move(arguments));
    return source;
  }

  /// Starts a worker that talks through `socket`. Returns its id, -1 when that fails.
  pid_t start(int socket, rlim_t seconds) {
    const std::lock_guard lock(mutex_);
    const Order order{Order::Kind::Start, -1, seconds, false};
    // It may have been ended by others, as when memory is short.
    for (int attempt = 0; attempt < 2; ++attempt) {
      if (socket_ == -1 && !begin()) return -1;
      if (const std::optional<Reply> reply = ask(order, socket)) return reply->id;
    }
    return -1;
  }
  /// Ends a worker, after a second if it is awaited. Returns what it died of; nothing when nobody
  /// knows.
  std::optional<int> finish(pid_t id, bool isAwaited) {
    const std::lock_guard lock(mutex_);
    const std::optional<Reply> reply = ask({Order::Kind::End, id, 0, isAwaited}, -1);
    return reply ? std::optional(reply->status) : std::nullopt;
  }
  /// Kills a worker, which is yet to be finished.
  void kill(pid_t id) {
    const std::lock_guard lock(mutex_);
    ask({Order::Kind::Kill, id, 0, false}, -1);
  }

 private:
  bool begin() {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) return false;
    const int null = retry([] { return open("/dev/null", O_RDWR | O_CLOEXEC); });
    std::vector<char*> words{const_cast<char*>("tessaron")};
    for (std::string& argument : arguments_) words.push_back(argument.data());
    words.push_back(nullptr);
    id_ = null == -1 ? -1 : fork();
    if (id_ == 0) becomeSource(ends[1], null, words.data());
    if (null != -1) close(null);
    close(ends[1]);
    socket_ = ends[0];
    // It says that it is prepared.
    if (id_ != -1 && receive()) return true;
    end();
    return false;
  }

  void end() {
    if (socket_ != -1) close(std::exchange(socket_, -1));
    if (id_ == -1) return;
    ::kill(id_, SIGKILL);
    retry([&] { return waitpid(id_, nullptr, 0); });
    id_ = -1;
  }

  std::optional<Reply> ask(const Order& order, int file) {
    if (socket_ == -1) return std::nullopt;
    const std::string_view bytes(reinterpret_cast<const char*>(&order), sizeof order);
    std::optional<Reply> reply;
    if (sendWithFile(socket_, bytes, file)) reply = receive();
    if (!reply) end();
    return reply;
  }

  std::optional<Reply> receive() const {
    constexpr auto kLimit = std::chrono::milliseconds(kStartTime).count();
    pollfd waiting{socket_, POLLIN, 0};
    if (retry([&] { return poll(&waiting, 1, static_cast<int>(kLimit)); }) <= 0)
      return std::nullopt;
    Reply reply;
    const ssize_t count = retry([&] { return recv(socket_, &reply, sizeof reply, 0); });
    return count == sizeof reply ? std::optional(reply) : std::nullopt;
  }

  std::vector<std::string> arguments_;
  std::mutex mutex_;  // guards what follows
  int socket_ = -1;   // -1: it is not running
  pid_t id_ = -1;
};

/// What a process that has ended means for the file that it was reading.
std::string reasonOf(int status) {
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
  std::shared_ptr<Source> source;
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
  // Twice the time of one file, since a worker that has used half of it is not asked again.
  const auto seconds =
      static_cast<rlim_t>(std::chrono::ceil<std::chrono::seconds>(2 * patience).count()) + 1;
  {
    const std::lock_guard lock(mutex);
    id = isStopped ? -1 : source->start(ends[1], seconds);
  }
  close(ends[1]);
  if (id == -1) {
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
  const std::lock_guard lock(mutex);
  // A process that has closed the socket is about to end by itself.
  const std::optional<int> status = source->finish(std::exchange(id, -1), !reason);
  if (isStopped) return "reading it was interrupted";
  if (reason) return reason;
  return status ? reasonOf(*status) : "the process that was reading it has ended";
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
  process_->source = Source::of(std::move(arguments));
  process_->patience = patience;
}

Worker::~Worker() { process_->end(""); }

std::string Worker::ask(std::string_view request, const File& file, std::string& answer) {
  Process& process = *process_;
  if (process.socket != -1 && !process.isFit()) process.end("");
  if (process.socket == -1 && !process.start())
    return process.isStopped ? "reading it was interrupted" : kNoWorker;
  const auto handle = static_cast<int>(file.handle());
  if (request.size() > kMaxRequest || !sendWithFile(process.socket, framed(request), handle))
    return process.end(nullptr);
  return process.receive(answer, process.patience);
}

void Worker::dismiss() { process_->end(""); }

void Worker::stop() {
  const std::lock_guard lock(process_->mutex);
  process_->isStopped = true;
  if (process_->id != -1) process_->source->kill(process_->id);
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
  int file = -1;
  const bool isWhole = receiveWithFile(kSocket, &length, sizeof length, file);
  if (file == -1) return std::nullopt;
  Request request{{}, std::make_unique<ReceivedFile>(file)};
  if (!isWhole || length > kMaxRequest) return std::nullopt;
  request.text.resize(length);
  const ssize_t got =
      retry([&] { return recv(kSocket, request.text.data(), length, MSG_WAITALL); });
  if (got != static_cast<ssize_t>(length)) return std::nullopt;
  return request;
}

/// The life of a worker, forked by `source`.
[[noreturn]] void work(const WorkerDuties& duties, int socket, pid_t source, rlim_t seconds) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != source) _exit(0);
  const rlimit time{seconds, seconds + 1};
  setrlimit(RLIMIT_CPU, &time);
  dup2(socket, kSocket);  // in the place of the source's, which must not see it
  close(socket);
  closeCage(kMaxWorkerMemory);
  if (!sendAll(kSocket, framed({}))) _exit(0);  // ready
  while (std::optional<Request> request = nextRequest()) {
    const std::string answer = duties.answer(request->text, *request->file);
    if (answer.size() > kMaxWorkerAnswer || !sendAll(kSocket, framed(answer))) break;
  }
  _exit(0);  // no destructors: they could need what is forbidden
}

/// Whether this process has started the worker and has not finished it. The id of any other process
/// may be that of a stranger by now.
bool isOwn(pid_t id) {
  siginfo_t info{};
  return id > 0 && waitid(P_PID, static_cast<id_t>(id), &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

/// Ends a worker, after a second if it may end by itself. Returns what it died of.
int finish(pid_t id, bool isAwaited) {
  int status = 0;
  const auto limit = Clock::now() + std::chrono::seconds(isAwaited ? 1 : 0);
  while (Clock::now() < limit) {
    if (waitpid(id, &status, WNOHANG) != 0) return status;
    poll(nullptr, 0, 1);
  }
  kill(id, SIGKILL);
  retry([&] { return waitpid(id, &status, 0); });
  return status;
}

}  // namespace

int runWorker(const WorkerDuties& duties) {
  constexpr int kUsage = 2;
  int type = 0;
  socklen_t size = sizeof type;
  if (getsockopt(kSocket, SOL_SOCKET, SO_TYPE, &type, &size) != 0) return kUsage;
  const auto reply = [](const Reply& what) {
    return send(kSocket, &what, sizeof what, MSG_NOSIGNAL) == sizeof what;
  };
  const pid_t self = getpid();
  duties.prepare();
  if (!reply({})) return kUsage;  // prepared
  Order order{};
  int socket = -1;
  while (receiveWithFile(kSocket, &order, sizeof order, socket)) {
    Reply what;
    if (order.kind == Order::Kind::Start) what.id = fork();
    if (what.id == 0) work(duties, socket, self, order.seconds);
    if (isOwn(order.id)) {
      if (order.kind == Order::Kind::End) what.status = finish(order.id, order.isAwaited);
      if (order.kind == Order::Kind::Kill) kill(order.id, SIGKILL);
    }
    if (socket != -1) close(socket);
    if (!reply(what)) break;
  }
  _exit(0);
}

}  // namespace tessaron
