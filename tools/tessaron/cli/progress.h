#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

#include "cli/context.h"

namespace tessaron::tool {

/// A progress line on standard error: only on a terminal, cut to its width, and erased by the
/// destructor.
class Progress {
 public:
  Progress(const Context& context, std::string_view task, std::size_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Shows that `done` of the total are done, and what comes next.
  void show(std::size_t done, std::string_view next);
  /// As `show`, with a bar, the pace and the time left, at most ten times a second.
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
