#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <optional>

#include "catalogue/item_form.h"
#include "cli/failures.h"
#include "cli/input.h"
#include "cli/items.h"
#include "cli/options.h"
#include "cli/terminal.h"
#include "platform/standard_streams.h"
#include "platform/text_editor.h"
#include "support/files.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::string item;
};

/// The item as it was found: its text in the file, and what is read from it.
struct Found {
  std::string text;
  CRecord record;
};

Found findItem(const Options& options) {
  Found found;
  findItems(options.collection, {options.item}, [&](const ItemStream& items, std::size_t) {
    found.text = items.item();
    found.record = CRecord();
    items.read(found.record);
  });
  return found;
}

/// The key as part of a file's name.
std::u16string fileName(const CRecord& record) {
  std::u16string name = u"tessaron-";
  for (const char16_t unit : record.ASIN) {
    const bool isLetter = (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
    if (isLetter || (unit >= u'0' && unit <= u'9')) name += unit;
  }
  return name;
}

/// Lets the user change the text at `path`. Fails with kFailed when the editor does.
void runEditor(const std::string& path) {
  const EditorResult result = editText(fromUtf8(path));
  const std::string editor = toUtf8(textEditor());
  if (result.error) throw Failure{kFailed, editor, result.error.message()};
  if (result.exitCode != 0)
    throw Failure{kFailed, editor,
                  fmt::format("the editor ended with exit code {}", result.exitCode)};
}

/// Asks whether the errors are to be mended. Fails with kBadData where nobody can answer.
void askToGoOn() {
  if (!isTerminal(StandardStream::Error) || !isTerminal(StandardStream::In))
    throw Failure{kBadData, {}, "the text has errors"};
  for (;;) {
    say("Edit again (e) or give up (g)? ");
    char answer[16];
    if (!std::fgets(answer, sizeof answer, stdin) || answer[0] == 'g' || answer[0] == 'G')
      throw Failure{kFailed, {}, "given up"};
    if (answer[0] == 'e' || answer[0] == 'E' || answer[0] == '\n') return;
  }
}

/// Has the text edited until it can be taken; nothing when it was left as it was.
std::optional<CRecord> editRecord(const CRecord& known, const std::string& form,
                                  const std::string& path) {
  for (;;) {
    runEditor(path);
    const std::string text = readInput(path);
    if (text == form) return std::nullopt;
    CRecord record = known;
    const std::vector<FormError> errors = readForm(form, text, record);
    if (errors.empty()) return record;
    for (const FormError& error : errors)
      warn(fmt::format("{}:{}: {}", path, error.line, error.reason));
    askToGoOn();
  }
}

void replaceRecord(const Options& options, const Found& found, const CRecord& record) {
  const bool hasKey = !found.record.ASIN.empty();
  const std::string name = hasKey ? toUtf8(found.record.ASIN) : options.item;
  const bool isNewKey = record.ASIN != found.record.ASIN;
  const auto action = [&](const ItemStream& items, std::span<const std::size_t>) {
    if (items.item() != found.text)
      throw Failure{kFailed, options.collection,
                    name + " was changed by another program meanwhile; nothing is changed"};
    return changeTo(items, found.record, record);
  };
  changeItems(options.collection, {name}, SameKey::First, action,
              isNewKey ? record.ASIN : std::u16string());
}

int run(const Options& options, const Context& context) {
  const Found found = findItem(options);
  const std::string form = formText(found.record);
  std::error_code error;
  ScratchText scratch(fileName(found.record), form, error);
  if (error) throw Failure{kCannotCreate, "temporary file", error.message()};
  const std::string path = toUtf8(scratch.path());
  try {
    const std::optional<CRecord> record = editRecord(found.record, form, path);
    if (record) replaceRecord(options, found, *record);
    note(context, toUtf8(found.record.ASIN) + (record ? " changed" : " is as it was"));
  } catch (Failure& failure) {
    std::string text;
    if (readFile(scratch.path(), text) && text != form) {
      scratch.keep();
      failure.reason += "; your text is kept in " + path;
    }
    throw;
  }
  return kDone;
}

}  // namespace

void addEdit(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("edit", "Opens an item as a text in your editor");
  verb->footer(
      std::string(kItemHelp) +
      "\nThe editor is $VISUAL, else $EDITOR, else vi (Notepad on Windows). The text has a line\n"
      "\"field: value\" for each value; the names of fields are those of set --field. When the\n"
      "editor ends, errors are told with their lines, and you can go on editing or give up. "
      "Nothing\n"
      "is changed when the item was changed meanwhile. A text that was not taken is kept, and you\n"
      "are told where.");
  addCollectionOption(*verb, options->collection, true);
  addItemArgument(*verb, options->item);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
