#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// The longest answer that a worker may give, in bytes.
constexpr std::size_t kMaxWorkerAnswer = std::size_t{16} << 20;
/// The memory that a worker may take besides its program and libraries, in bytes.
constexpr std::uint64_t kMaxWorkerMemory = std::uint64_t{512} << 20;

/// What `Worker::ask` says when no process could be started.
inline constexpr const char* kNoWorker = "no process could be started to read it";

/// A process that reads files which may harm their reader: this program, started anew, so that it
/// holds nothing of this process and has other addresses. It gets each file open and may neither
/// open others nor write, start processes or use the network; see `runWorker`. What it answers is
/// not to be trusted. Workers with the same arguments are prepared once, together. The system ends
/// them with this process. For one thread at a time.
class Worker {
 public:
  /// `arguments` make the program call `runWorker`. An answer may take `patience` on the clock, and
  /// as much processor time; starting the process takes its own.
  TESSARON_API Worker(std::vector<std::string> arguments, std::chrono::milliseconds patience);
  TESSARON_API ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  /// Sends a request and an open file, and waits for the answer. Starts the process when there is
  /// none. Empty when `answer` holds the answer; otherwise the reason why there is none, as the end
  /// of a sentence about the file, and the process has been ended: the next call starts another.
  TESSARON_API std::string ask(std::string_view request, const File& file, std::string& answer);

  /// Ends the process, whose answer made no sense; the next `ask` starts another.
  TESSARON_API void dismiss();

  /// Ends the process; later calls of `ask` fail. From any thread.
  TESSARON_API void stop();

 private:
  struct Process;
  std::unique_ptr<Process> process_;
};

/// What a worker does; see `runWorker`.
struct WorkerDuties {
  /// Loads what the answers need; nothing more can be loaded afterwards.
  std::function<void()> prepare;
  /// Answers a request about a file, of which only content and size can be read.
  std::function<std::string(std::string_view request, File& file)> answer;
};

/// The life of a process that `Worker` has started: prepares, on Linux starts processes, and these
/// give up their rights and answer requests until there are no more. From then on such a process
/// may use so much memory and processor time, and the system ends it when it tries to write a file,
/// to start a process or thread or to use the network; opening a file fails. Linux enforces that by
/// resource limits, and, where the kernel has them, by seccomp and Landlock. Windows has a job
/// object for memory, time and processes, and no trust in the process, which may write nothing of
/// the user's; it still can read. Returns the process's exit code; 2 when no `Worker` has started
/// it.
TESSARON_API int runWorker(const WorkerDuties& duties);

}  // namespace tessaron
