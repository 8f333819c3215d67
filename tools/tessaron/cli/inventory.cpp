#include "cli/inventory.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "cli/paths.h"
#include "platform/directory.h"
#include "platform/system.h"
#include "platform/text.h"
#include "support/ascii.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

namespace fs = std::filesystem;

/// Whether a name can be told to people and programs. One that is not UTF-8 would be read as that
/// of another file.
bool isText(std::u16string_view name) { return fromUtf8(toUtf8(name)) == name; }

/// Such a name as messages give it, its bytes that are not UTF-8 as \xE9.
std::string escaped(std::u16string_view name) {
  constexpr char16_t kFirst = 0xDC80, kLast = 0xDCFF;
  std::string text;
  for (std::size_t at = 0; at < name.size();) {
    const bool isPair = (name[at] & 0xFC00) == 0xD800 && at + 1 < name.size();
    const bool isByte = name[at] >= kFirst && name[at] <= kLast;
    const std::size_t count = isPair ? 2 : 1;
    text += isByte ? fmt::format("\\x{:02X}", name[at] & 0xFF) : toUtf8(name.substr(at, count));
    at += count;
  }
  return text;
}

void sortByName(std::vector<FolderEntry>& entries) {
  std::ranges::sort(entries, [](const FolderEntry& left, const FolderEntry& right) {
    const int order = compareLogically(left.name.c_str(), right.name.c_str());
    return order != 0 ? order < 0 : left.name < right.name;
  });
}

/// Whether the entry is told as a file. Links to folders are not followed: a loop of them has no
/// end.
bool isFile(const FolderEntry& entry, const std::u16string& path) {
  std::error_code error;
  return entry.kind == EntryKind::File ||
         (entry.kind == EntryKind::Link && !fs::is_directory(path, error));
}

/// The system's separator.
std::u16string separator() { return joinPath({}, {}); }

/// As `joinPath`, without a second separator below the root.
std::u16string below(const std::u16string& folder, const std::u16string& name) {
  return joinPath(folder == separator() ? u"" : folder, name);
}

}  // namespace

Inventory::Inventory(const std::vector<std::string>& paths, bool isRecursive,
                     const std::string& without)
    : isRecursive_(isRecursive) {
  if (!without.empty()) without_ = resolvedPath(fromUtf8(without));
  for (const std::string& path : paths) add(path);
}

std::u16string Inventory::pathOf(const Entry& file) const {
  return below(folders_[file.folder].path, file.name);
}

bool Inventory::isLeftOut(const std::u16string& name, const std::u16string& path) const {
  const std::string text = toUtf8(name);
  const std::string index = toUtf8(without_.substr(lastSeparator(without_) + 1));
  for (const char* const end : {"", "-journal", "-wal", "-shm"})
    if (equalIgnoringCase(text, index + end))  // resolving a path takes longer
      return resolvedPath(path) == without_ + fromUtf8(end);
  return false;
}

void Inventory::refuse(const std::string& path, const std::string& reason) {
  failures_.push_back({kNoInput, path, reason});
}

std::size_t Inventory::newFolder(const std::u16string& path, std::int32_t parentId) {
  folders_.push_back({static_cast<std::int32_t>(folders_.size()), parentId, path, Listing::Named});
  return folders_.size() - 1;
}

void Inventory::add(const std::string& path) {
  if (!isUtf8(path)) return refuse(path, "the file's name is not UTF-8");
  const std::u16string wide = withSystemSeparators(fromUtf8(path));
  std::error_code error;
  if (fs::is_directory(filePath(path), error)) {
    const std::size_t end = wide.find_last_not_of(separator());
    return addFolder(wide.substr(0, end == std::u16string::npos ? 1 : end + 1), -1);
  }
  const std::size_t last = lastSeparator(wide);
  const bool isBare = last == std::u16string::npos;
  const std::u16string parent = isBare ? u"." : wide.substr(0, std::max<std::size_t>(last, 1));
  // Files of one folder that are named one after the other share it.
  const bool isShared = isNamed_ && folders_.back().path == parent;
  const std::size_t folder = isShared ? folders_.size() - 1 : newFolder(parent, -1);
  files_.push_back({folder, isBare ? wide : wide.substr(last + 1)});
  isNamed_ = true;
}

void Inventory::addFolder(const std::u16string& path, std::int32_t parentId) {
  isNamed_ = false;
  const std::size_t folder = newFolder(path, parentId);
  std::error_code error;
  std::vector<FolderEntry> entries = readFolder(path, error);
  if (error) refuse(toUtf8(path), error.message());
  folders_[folder].listing = error ? Listing::Failed : Listing::Whole;
  sortByName(entries);
  const bool hasIndex =
      !without_.empty() && resolvedPath(path) == without_.substr(0, lastSeparator(without_));
  std::vector<std::u16string> folders;
  for (FolderEntry& entry : entries) {
    const bool isFolder = entry.kind == EntryKind::Folder;
    const std::u16string whole = below(path, entry.name);
    if (!isText(entry.name)) {
      if (!isFolder || isRecursive_)
        refuse(toUtf8(path) + '/' + escaped(entry.name), "the name is not UTF-8");
    } else if (isFolder) {
      folders.push_back(whole);
    } else if (isFile(entry, whole) && !(hasIndex && isLeftOut(entry.name, whole))) {
      files_.push_back({folder, std::move(entry.name)});
    }
  }
  entries = {};  // not kept while the folders further down are listed
  if (!isRecursive_) return;
  for (const std::u16string& each : folders) addFolder(each, folders_[folder].id);
}

}  // namespace tessaron::tool
