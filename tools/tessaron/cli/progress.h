#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

#include "cli/context.h"

namespace tessaron::tool {

/// One line on standard error that tells how far the work is; only on a terminal, never wider than
/// it, and gone when the object goes.
class Progress {
 public:
  Progress(const Context& context, std::string_view task, std::size_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Shows that `done` of the total are done, and what comes next.
  void show(std::size_t done, std::string_view next);
  /// As `show`, with a bar, the pace and the time that is left; for many short steps, of which it
  /// shows some.
  void showPace(std::size_t done, std::string_view next);

 private:
  using Clock = std::chrono::steady_clock;
  static void draw(const std::string& line);

  bool active_;
  std::string task_;
  std::size_t total_;
  Clock::time_point begin_ = Clock::now();
  Clock::time_point shown_{};
};

}  // namespace tessaron::tool
