#include "platform/worker.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

#include "platform/types.h"
#include "platform/win32/utf8.h"

namespace tessaron {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMaxRequest = std::size_t{64} << 10;
constexpr std::chrono::seconds kStartTime(30);  // for loading the libraries on a busy machine
constexpr std::uint64_t kProgramMemory = std::uint64_t{128} << 20;  // the program and its libraries

// What the parent says first, so that a program that was started otherwise does not wait for it.
constexpr std::string_view kGreeting = "tessaron-read-1\n";

// An answer is its length, 4 bytes in the machine's order, and its bytes. A request has the file's
// handle, as the worker has it, between the two.
using Length = std::uint32_t;
using HandleNumber = std::uint64_t;

class Handle {
 public:
  explicit Handle(HANDLE handle = nullptr) : handle_(handle) {}
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Handle() {
    if (*this) CloseHandle(handle_);
  }
  explicit operator bool() const { return handle_ && handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

template <typename T>
std::string bytesOf(const T& value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

/// A job that ends its process when it is closed, with limits for what that may use.
Handle newJob(std::chrono::milliseconds processorTime) {
  Handle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags =
      JOB_OBJECT_LIMIT_ACTIVE_PROCESS | JOB_OBJECT_LIMIT_PROCESS_MEMORY |
      JOB_OBJECT_LIMIT_PROCESS_TIME | JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE |
      JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION;
  limits.BasicLimitInformation.ActiveProcessLimit = 1;
  constexpr int kTicks = 10'000;  // of 100 nanoseconds in a millisecond
  limits.BasicLimitInformation.PerProcessUserTimeLimit.QuadPart = processorTime.count() * kTicks;
  limits.ProcessMemoryLimit = static_cast<SIZE_T>(kMaxWorkerMemory + kProgramMemory);
  const bool isLimited =
      job &&
      SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
  return isLimited ? std::move(job) : Handle();
}

/// Keeps the job's process from the screen, the clipboard and the windows of others.
bool takeScreen(HANDLE job) {
  JOBOBJECT_BASIC_UI_RESTRICTIONS screen{};
  screen.UIRestrictionsClass = JOB_OBJECT_UILIMIT_DESKTOP | JOB_OBJECT_UILIMIT_DISPLAYSETTINGS |
                               JOB_OBJECT_UILIMIT_EXITWINDOWS | JOB_OBJECT_UILIMIT_GLOBALATOMS |
                               JOB_OBJECT_UILIMIT_HANDLES | JOB_OBJECT_UILIMIT_READCLIPBOARD |
                               JOB_OBJECT_UILIMIT_SYSTEMPARAMETERS |
                               JOB_OBJECT_UILIMIT_WRITECLIPBOARD;
  return SetInformationJobObject(job, JobObjectBasicUIRestrictions, &screen, sizeof screen);
}

/// The attribute of a new process that lets it inherit one handle and no other.
class OnlyInherited {
 public:
  explicit OnlyInherited(HANDLE handle) : handle_(handle) {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    list_.resize(size);
    isMade_ = InitializeProcThreadAttributeList(get(), 1, 0, &size) &&
              UpdateProcThreadAttribute(get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, &handle_,
                                        sizeof handle_, nullptr, nullptr);
  }
  ~OnlyInherited() {
    if (isMade_) DeleteProcThreadAttributeList(get());
  }
  OnlyInherited(const OnlyInherited&) = delete;
  OnlyInherited& operator=(const OnlyInherited&) = delete;
  explicit operator bool() const { return isMade_; }
  LPPROC_THREAD_ATTRIBUTE_LIST get() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(list_.data());
  }

 private:
  HANDLE handle_;
  std::string list_;
  bool isMade_ = false;
};

/// Both ends of a connection: ours does not wait, the other one can be inherited.
std::pair<Handle, Handle> newPipe() {
  static std::atomic<unsigned> counter;
  constexpr DWORD kBuffer = 128 << 10;
  LARGE_INTEGER ticks;
  QueryPerformanceCounter(&ticks);
  const std::u16string name =
      widened("\\\\.\\pipe\\tessaron-" + std::to_string(GetCurrentProcessId()) + '-' +
              std::to_string(counter++) + '-' + std::to_string(ticks.QuadPart));
  Handle ours(CreateNamedPipeW(
      wide(name), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
      PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1, kBuffer,
      kBuffer, 0, nullptr));
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  Handle theirs(CreateFileW(wide(name), GENERIC_READ | GENERIC_WRITE, 0, &inherited, OPEN_EXISTING,
                            0, nullptr));
  return {std::move(ours), std::move(theirs)};
}

std::u16string programPath() {
  std::u16string path(MAX_PATH, u'\0');
  for (;;) {
    const auto size = static_cast<DWORD>(path.size());
    const DWORD length = GetModuleFileNameW(nullptr, wide(path.data()), size);
    if (length < size) return path.substr(0, length);
    path.resize(path.size() * 2);
  }
}

/// What a process that has ended means for the file that it was reading.
std::string reasonOf(DWORD code) {
  constexpr DWORD kAbort = 3;
  switch (code) {
    case EXCEPTION_ACCESS_VIOLATION:
      return "its reader has crashed (access violation)";
    case EXCEPTION_STACK_OVERFLOW:
      return "its reader has crashed (stack overflow)";
    case kAbort:
      return "its reader has crashed (abort)";
    case ERROR_NOT_ENOUGH_QUOTA:
    case STATUS_NO_MEMORY:
      return "reading it takes too much processor time or memory";
    default:
      return code >= 0xC0000000 ? "its reader has crashed"
                                : "the process that was reading it has ended";
  }
}

}  // namespace

struct Worker::Process {
  std::vector<std::string> arguments;
  std::chrono::milliseconds patience;
  Handle pipe;
  Handle event;                          // of a transfer that is under way
  std::chrono::nanoseconds startTime{};  // processor time that starting took
  std::mutex mutex;                      // guards what follows
  Handle job, process;
  bool isStopped = false;

  /// Twice the time of one file, since a worker that has used half of it is not asked again, and
  /// that of the start.
  std::chrono::milliseconds processorTimeLimit() const { return kStartTime + 2 * patience; }
  bool start();
  bool launch(const Handle& theirs);
  std::string end(const char* reason);
  std::chrono::nanoseconds processorTime() const;
  bool isFit() const;
  bool send(std::string_view bytes, Clock::time_point deadline);
  std::optional<std::size_t> transfer(bool isRead, char* bytes, std::size_t size,
                                      Clock::time_point deadline);
  std::string receive(std::string& answer, Clock::duration limit);
};

/// Moves some bytes; 0 when the process is gone, nothing at the deadline.
std::optional<std::size_t> Worker::Process::transfer(bool isRead, char* bytes, std::size_t size,
                                                     Clock::time_point deadline) {
  OVERLAPPED under{};
  under.hEvent = event.get();
  ResetEvent(event.get());
  const auto count = static_cast<DWORD>(size);
  const BOOL isDone = isRead ? ReadFile(pipe.get(), bytes, count, nullptr, &under)
                             : WriteFile(pipe.get(), bytes, count, nullptr, &under);
  if (!isDone && GetLastError() != ERROR_IO_PENDING) return 0;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
  const bool isLate =
      WaitForSingleObject(event.get(), left > 0 ? static_cast<DWORD>(left) : 0) != WAIT_OBJECT_0;
  if (isLate) CancelIoEx(pipe.get(), &under);
  DWORD moved = 0;
  const BOOL isMoved = GetOverlappedResult(pipe.get(), &under, &moved, TRUE);
  if (isMoved) return moved;
  return isLate ? std::nullopt : std::optional<std::size_t>(0);
}

bool Worker::Process::send(std::string_view bytes, Clock::time_point deadline) {
  std::string out(bytes);
  for (std::size_t sent = 0; sent < out.size();) {
    const auto count = transfer(false, out.data() + sent, out.size() - sent, deadline);
    if (count.value_or(0) == 0) return false;
    sent += *count;
  }
  return true;
}

/// Creates the process within its job and lets it run.
bool Worker::Process::launch(const Handle& theirs) {
  OnlyInherited inherited(theirs.get());
  if (!inherited) return false;
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = theirs.get();
  startup.lpAttributeList = inherited.get();
  const std::u16string program = programPath();
  std::u16string command = u'"' + program + u'"';
  for (const std::string& argument : arguments) command += u' ' + widened(argument);
  PROCESS_INFORMATION made{};
  const DWORD flags = CREATE_SUSPENDED | CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT;
  if (!CreateProcessW(wide(program), wide(command.data()), nullptr, nullptr, TRUE, flags, nullptr,
                      nullptr, &startup.StartupInfo, &made))
    return false;
  process = Handle(made.hProcess);
  const Handle thread(made.hThread);
  bool isRunning = takeScreen(job.get()) && AssignProcessToJobObject(job.get(), process.get());
  if (!isRunning) {
    // Where this process is in a job itself, those that are nested in it may not take the screen.
    job = newJob(processorTimeLimit());
    isRunning = job && AssignProcessToJobObject(job.get(), process.get());
  }
  isRunning = isRunning && ResumeThread(thread.get()) != static_cast<DWORD>(-1);
  if (!isRunning) TerminateProcess(process.get(), 1);
  return isRunning;
}

/// Starts the process and waits until it is ready. False when that fails; there is none then.
bool Worker::Process::start() {
  auto [ours, theirs] = newPipe();
  event = Handle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!ours || !theirs || !event) return false;
  {
    const std::lock_guard lock(mutex);
    job = newJob(processorTimeLimit());
    if (isStopped || !job || !launch(theirs)) {
      process = Handle();
      return false;
    }
  }
  theirs = Handle();  // so that the end of the process is the end of the pipe
  pipe = std::move(ours);
  std::string ready;
  if (!send(kGreeting, Clock::now() + kStartTime)) {
    end("");
    return false;
  }
  if (!receive(ready, kStartTime).empty()) return false;
  startTime = processorTime();
  return true;
}

/// Ends the process. Returns `reason`, or without one what the process itself died of.
std::string Worker::Process::end(const char* reason) {
  if (!pipe) return reason ? reason : "";
  constexpr DWORD kPatience = 1000;  // a process that has closed the pipe is about to end by itself
  pipe = Handle();
  if (!reason) WaitForSingleObject(process.get(), kPatience);
  const std::lock_guard lock(mutex);
  DWORD code = STILL_ACTIVE;
  if (!GetExitCodeProcess(process.get(), &code) || code == STILL_ACTIVE) {
    TerminateJobObject(job.get(), 1);
    WaitForSingleObject(process.get(), kPatience);
    if (!reason) reason = "the process that was reading it has ended";
  }
  process = Handle();
  job = Handle();
  if (isStopped) return "reading it was interrupted";
  return reason ? reason : reasonOf(code);
}

/// What the process has used since its start; much when that cannot be told.
std::chrono::nanoseconds Worker::Process::processorTime() const {
  constexpr int kTick = 100;  // nanoseconds
  FILETIME begin, end, kernel, user;
  if (!GetProcessTimes(process.get(), &begin, &end, &kernel, &user)) return std::chrono::hours(1);
  const auto ticks = [](const FILETIME& time) {
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
  };
  return std::chrono::nanoseconds((ticks(kernel) + ticks(user)) * kTick);
}

/// Whether the process can be asked again: it has the processor time of another file, and has not
/// said anything that it was not asked.
bool Worker::Process::isFit() const {
  DWORD waiting = 0;
  return PeekNamedPipe(pipe.get(), nullptr, 0, nullptr, &waiting, nullptr) && waiting == 0 &&
         processorTime() - startTime < patience;
}

/// Receives one message. Empty, or the reason why there is none; the process has ended then.
std::string Worker::Process::receive(std::string& answer, Clock::duration limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  std::array<char, 64 << 10> block;
  Length length = 0;
  answer.clear();
  for (;;) {
    if (answer.size() >= sizeof length) {
      std::memcpy(&length, answer.data(), sizeof length);
      if (length > kMaxWorkerAnswer || answer.size() - sizeof length > length)
        return end("its reader gave no proper answer");
      if (answer.size() - sizeof length == length) break;
    }
    const auto count = transfer(true, block.data(), block.size(), deadline);
    if (!count) return end("reading it takes too long");
    if (*count == 0) return end(nullptr);
    answer.append(block.data(), *count);
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
  if (process.pipe && !process.isFit()) process.end("");
  if (!process.pipe && !process.start())
    return process.isStopped ? "reading it was interrupted" : kNoWorker;
  HANDLE given = nullptr;
  const auto deadline = Clock::now() + process.patience;
  const bool isSent =
      request.size() <= kMaxRequest &&
      DuplicateHandle(GetCurrentProcess(), reinterpret_cast<HANDLE>(file.handle()),
                      process.process.get(), &given,
                      FILE_READ_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE, FALSE, 0) &&
      process.send(bytesOf(static_cast<Length>(request.size())) +
                       bytesOf(static_cast<HandleNumber>(reinterpret_cast<std::uintptr_t>(given))) +
                       std::string(request),
                   deadline);
  if (!isSent) return process.end(nullptr);
  return process.receive(answer, process.patience);
}

void Worker::dismiss() { process_->end(""); }

void Worker::stop() {
  const std::lock_guard lock(process_->mutex);
  process_->isStopped = true;
  if (process_->process) TerminateJobObject(process_->job.get(), 1);
}

namespace {

/// A file that another process has opened.
class ReceivedFile : public File {
 public:
  explicit ReceivedFile(HANDLE handle) : handle_(handle) {}

  std::optional<std::size_t> read(std::span<std::byte> buffer) override {
    const std::optional<std::size_t> count = readAt(at_, buffer);
    at_ += count.value_or(0);
    return count;
  }
  std::optional<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> buffer) override {
    constexpr std::size_t kOneCall = std::size_t{1} << 30;
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32);
    DWORD count = 0;
    const auto size = static_cast<DWORD>(std::min(buffer.size(), kOneCall));
    if (ReadFile(handle_.get(), buffer.data(), size, &count, &place)) return count;
    if (GetLastError() == ERROR_HANDLE_EOF) return 0;
    return std::nullopt;
  }
  bool write(std::span<const std::byte>) override { return false; }
  bool seek(std::uint64_t offset) override {
    at_ = offset;
    return true;
  }
  std::optional<std::uint64_t> size() override {
    LARGE_INTEGER size;
    if (!GetFileSizeEx(handle_.get(), &size)) return std::nullopt;
    return static_cast<std::uint64_t>(size.QuadPart);
  }
  bool setEnd() override { return false; }
  std::optional<FileStatus> status() override {
    FileStatus status;
    status.size = size().value_or(0);
    return status;
  }

 private:
  Handle handle_;
  std::uint64_t at_ = 0;
};

bool readAll(HANDLE pipe, void* to, std::size_t size) {
  auto* at = static_cast<char*>(to);
  while (size > 0) {
    DWORD count = 0;
    if (!ReadFile(pipe, at, static_cast<DWORD>(size), &count, nullptr) || count == 0) return false;
    at += count;
    size -= count;
  }
  return true;
}

bool sendAnswer(HANDLE pipe, std::string_view answer) {
  const std::string frame = bytesOf(static_cast<Length>(answer.size())).append(answer);
  DWORD count = 0;
  return WriteFile(pipe, frame.data(), static_cast<DWORD>(frame.size()), &count, nullptr) &&
         count == frame.size();
}

/// Gives up the rights of the user, as far as the system lets a process do so: the privileges, and
/// with the lowest trust to write to what is the user's.
bool giveUpRights() {
  HANDLE opened = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(),
                        TOKEN_ADJUST_PRIVILEGES | TOKEN_ADJUST_DEFAULT | TOKEN_QUERY, &opened))
    return false;
  const Handle token(opened);
  AdjustTokenPrivileges(token.get(), TRUE, nullptr, 0, nullptr, nullptr);
  SID_IDENTIFIER_AUTHORITY authority = SECURITY_MANDATORY_LABEL_AUTHORITY;
  PSID untrusted = nullptr;
  if (!AllocateAndInitializeSid(&authority, 1, SECURITY_MANDATORY_UNTRUSTED_RID, 0, 0, 0, 0, 0, 0,
                                0, &untrusted))
    return false;
  TOKEN_MANDATORY_LABEL label{{untrusted, SE_GROUP_INTEGRITY}};
  const BOOL isLowered = SetTokenInformation(token.get(), TokenIntegrityLevel, &label,
                                             sizeof label + GetLengthSid(untrusted));
  FreeSid(untrusted);
  return isLowered;
}

struct Request {
  std::string text;
  std::unique_ptr<File> file;
};

/// The next request; nothing when there are no more.
std::optional<Request> nextRequest(HANDLE pipe) {
  Length length = 0;
  HandleNumber number = 0;
  if (!readAll(pipe, &length, sizeof length) || !readAll(pipe, &number, sizeof number))
    return std::nullopt;
  Request request{{},
                  std::make_unique<ReceivedFile>(
                      reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(number)))};
  if (length > kMaxRequest) return std::nullopt;
  request.text.resize(length);
  if (!readAll(pipe, request.text.data(), length)) return std::nullopt;
  return request;
}

}  // namespace

int runWorker(const WorkerDuties& duties) {
  constexpr int kUsage = 2;
  const HANDLE pipe = GetStdHandle(STD_INPUT_HANDLE);
  std::array<char, kGreeting.size()> greeting{};
  if (GetFileType(pipe) != FILE_TYPE_PIPE || !readAll(pipe, greeting.data(), greeting.size()) ||
      std::string_view(greeting.data(), greeting.size()) != kGreeting)
    return kUsage;
  // No window tells of a crash.
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  duties.prepare();
  if (!giveUpRights() || !sendAnswer(pipe, {})) return kUsage;  // ready
  while (std::optional<Request> request = nextRequest(pipe)) {
    const std::string answer = duties.answer(request->text, *request->file);
    if (answer.size() > kMaxWorkerAnswer || !sendAnswer(pipe, answer)) break;
  }
  TerminateProcess(GetCurrentProcess(), 0);  // no destructors: they could need what is forbidden
  return 0;
}

}  // namespace tessaron
