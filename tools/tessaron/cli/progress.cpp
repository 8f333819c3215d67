#include "cli/progress.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/failures.h"
#include "cli/terminal.h"
#include "platform/standard_streams.h"
#include "support/text.h"
#include "support/units.h"

namespace tessaron::tool {

Progress::Progress(const Context& context, std::string_view task, std::size_t total)
    : active_(!context.quiet && obeysEscapes(StandardStream::Error)), task_(task), total_(total) {}

void Progress::draw(const std::string& line) {
  // Asked anew each time: the window may have been resized. The last column stays free, because
  // terminals differ in what they do with a cursor behind it.
  const std::size_t width = terminalWidth(StandardStream::Error).value_or(80);
  say("\r\x1b[K" + cutToWidth(line, width - 1));
}

void Progress::show(std::size_t done, std::string_view next) {
  if (active_) draw(fmt::format("{} {}/{} {}", task_, done, total_, printable(next)));
}

void Progress::showPace(std::size_t done, std::string_view next) {
  constexpr std::chrono::milliseconds kInterval(100);
  constexpr std::size_t kBar = 20;
  const Clock::time_point now = Clock::now();
  if (!active_ || total_ == 0 || now - shown_ < kInterval) return;
  shown_ = now;
  const double seconds = std::chrono::duration<double>(now - begin_).count();
  const double pace = static_cast<double>(done) / std::max(seconds, 1e-3);
  const std::string left =
      done > 0 ? toUtf8(runTimeText(static_cast<double>(total_ - done) / pace)) : "?";
  const std::string bar(kBar * done / total_, '#');
  draw(fmt::format("{} [{:.<{}}] {}/{}, {:.0f}/s, {} left, {}", task_, bar, kBar, done, total_,
                   pace, left, printable(next)));
}

Progress::~Progress() {
  if (active_) say("\r\x1b[K");
}

}  // namespace tessaron::tool
