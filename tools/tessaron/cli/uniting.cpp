#include "cli/uniting.h"

#include <string_view>
#include <system_error>
#include <utility>

#include "cli/failures.h"
#include "cli/input.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "output/table.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

std::string_view nameOf(Side side) {
  if (side == Side::None) return {};
  return side == Side::Ours ? "ours" : "theirs";
}

}  // namespace

std::unique_ptr<File> openForEdit(const std::string& path) {
  OpenMode mode;
  mode.shareWrite = mode.shareDelete = true;
  std::error_code error;
  std::unique_ptr<File> file = openFile(widePath(path, kNoInput), mode, error);
  if (file) return file;
  const bool special = error == std::errc::no_such_device_or_address;
  throw Failure{
      kNoInput, path,
      special ? "only a regular file can be edited; this is a pipe or a device" : error.message()};
}

std::unique_ptr<File> openSeekable(const std::string& path) {
  auto input = std::make_unique<Input>(path);
  if (input->isRegular()) return input;
  std::string content;
  readToEnd(*input, content);
  input->requireRead();
  return memoryFile(std::move(content));
}

void requireCollection(const std::string& path, const XmlError& error, bool isCollection) {
  if (error.kind == XmlError::Kind::Unreadable)
    throw Failure{kNoInput, displayName(path), error.message};
  requireSound(path, error);
  if (!isCollection)
    throw Failure{kBadData, displayName(path), "this is no collection: it has no place for items"};
}

void requireSame(const std::string& path, bool isOutdated) {
  if (isOutdated)
    throw Failure{kFailed, path,
                  "somebody else changed it meanwhile; nothing is changed, try again"};
}

void ConflictList::add(const ItemConflicts& item) {
  const std::string key = toUtf8(item.key), title = toUtf8(item.title);
  for (const FieldConflict& each : item.conflicts)
    rows_.add({key, title, each.field, each.ours, each.theirs, std::string(nameOf(each.taken))});
}

void ConflictList::print(const Context& context, const std::string& ours,
                         const std::string& theirs) const {
  Table table({"ASIN", "Title", "Field", ours, theirs}, {Fit::Whole, Fit::Title});
  rows_.forEach([&](const std::vector<std::string_view>& row) {
    std::vector<Table::Cell> cells;
    for (std::size_t i = 0; i < 5; ++i) cells.push_back({std::string(row[i])});
    table.add(cells);
  });
  table.print(context);
}

void ConflictList::writeJson(JsonWriter& json, const std::function<void()>& flush) const {
  static constexpr const char* kKeys[] = {"ASIN", "Title", "field", "ours", "theirs", "taken"};
  json.beginArray();
  rows_.forEach([&](const std::vector<std::string_view>& row) {
    json.beginObject();
    for (std::size_t i = 0; i < row.size(); ++i) {
      json.key(kKeys[i]);
      const bool isOpen = i + 1 == row.size() && row[i].empty();
      isOpen ? json.null() : json.text(fromUtf8(row[i]));
    }
    json.endObject();
    flush();
  });
  json.endArray();
}

void printCounts(const std::vector<std::pair<std::string, std::size_t>>& counts,
                 const ConflictList& conflicts) {
  std::string text;
  const auto flush = [&] {
    tool::print(text);
    text.clear();
  };
  JsonWriter json(text);
  json.beginObject();
  for (const auto& [name, count] : counts) {
    json.key(name);
    json.number(static_cast<std::int64_t>(count));
  }
  json.key("conflicts");
  conflicts.writeJson(json, flush);
  json.endObject();
  text += '\n';
  flush();
  flushOutput();
}

}  // namespace tessaron::tool
