#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>

#include "cli/failures.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/terminal.h"
#include "manual/pages.h"
#include "platform/standard_streams.h"
#include "platform/text_editor.h"
#include "support/spelling.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string topic;
  bool isMan = false;
  std::string pages;
};

/// Shows a page as this system does: by man(1), else by a program that shows it screen by screen.
/// False when there is neither.
bool showOnTerminal(const Page& page, std::size_t width) {
  const auto show = [](std::u16string_view command, const std::string& text) {
    std::error_code error;
    const ScratchText file(u"tessaron", text, error);
    if (error) return false;
    const EditorResult result = openText(command, file.path());
    return !result.error && result.exitCode == 0;
  };
  const std::u16string viewer = manualViewer();
  return (!viewer.empty() && show(viewer, roffOf(page))) || show(textPager(), textOf(page, width));
}

void showPage(const Page& page) {
  constexpr std::size_t kUsualWidth = 80;
  const std::optional<std::size_t> width = terminalWidth(StandardStream::Out);
  if (width && showOnTerminal(page, std::min(*width, kUsualWidth))) return;
  print(textOf(page, kUsualWidth));
}

/// Writes all pages below a folder, where man(1) looks for them.
void writePages(const CLI::App& app, const std::string& folder) {
  for (const std::string& topic : topics(app)) {
    const Page page = *pageAbout(app, topic);
    const std::string below = fmt::format("{}/man{}", folder, page.number);
    std::error_code error;
    std::filesystem::create_directories(filePath(below), error);
    if (error) throw Failure{kCannotCreate, below, error.message()};
    writeOutput(fmt::format("{}/{}.{}", below, page.name, page.number), roffOf(page));
  }
}

[[noreturn]] void throwUnknown(const CLI::App& app, const std::string& topic) {
  const std::vector<std::string> known = topics(app);
  const std::string meant = nearestWord(topic, known);
  throw Failure{kUsage,
                {},
                fmt::format("there is no help on \"{}\"{}", topic,
                            meant.empty() ? "" : fmt::format("; did you mean {}?", meant))};
}

int run(const CLI::App& app, const Options& options) {
  const std::string& topic = options.topic;
  if (!options.pages.empty()) {
    writePages(app, options.pages);
  } else if (topic.empty() && !options.isMan) {
    print(app.help());
  } else if (const auto page = pageAbout(app, topic.empty() ? "tessaron" : topic)) {
    if (options.isMan)
      print(roffOf(*page));
    else
      showPage(*page);
  } else {
    throwUnknown(app, topic);
  }
  return kDone;
}

}  // namespace

void addHelp(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("help", "Shows the page of a verb, or how to search (query)");
  verb->footer(
      "Without TOPIC it prints the list of verbs. On a terminal a page is shown by man, or else "
      "by\n"
      "$PAGER; elsewhere it is printed as a text.");
  verb->add_option("TOPIC", options->topic,
                   "A verb, \"query\", \"collection\" (the file), or \"tessaron\" (all in general)")
      ->type_name("");
  CLI::Option* man = verb->add_flag("--man", options->isMan, "Print the page as man takes it");
  verb->add_option("--pages", options->pages,
                   "Write all pages into the folders man1, man5 and man7 below this one")
      ->type_name("FOLDER")
      ->excludes(man);
  verb->callback(
      [&app, &context, options] { context.run = [&app, options] { return run(app, *options); }; });
}

}  // namespace tessaron::tool
