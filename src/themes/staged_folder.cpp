#include <algorithm>
#include <new>
#include <utility>

#include "platform/directory.h"
#include "support/text.h"
#include "themes/staged_folder_internal.h"

namespace tessaron {
namespace {

constexpr std::u16string_view kPrefix = u".tessaron-", kSuffix = u".tmp";

}  // namespace

std::string describeFileError(const std::error_code& error) {
  if (error == std::errc::too_many_symbolic_link_levels || error == std::errc::too_many_links)
    return "a link stands there";
  return error.message();
}

StagedFolder::StagedFolder(const std::u16string& parent, const std::u16string& name,
                           std::uint64_t spareSpace, std::error_code& error)
    : path_(joinPath(parent, name)), spareSpace_(spareSpace), folder_(parent, name, error) {
  if (error) return;
  // Without file locks in the file system each staged file is still locked while it is written.
  std::error_code ignored;
  lock_.emplace(joinPath(path_, kSuffix), ignored);
  removeLeftovers();
}

StagedFolder::~StagedFolder() {
  if (isDone_) return;
  try {
    restoreAll();
  } catch (const std::bad_alloc&) {  // the next StagedFolder removes the staged files
  }
}

bool StagedFolder::isReserved(std::u16string_view name) {
  return name.starts_with(kPrefix) && name.ends_with(kSuffix);
}

void StagedFolder::removeLeftovers() {
  std::error_code error;
  for (const FolderEntry& entry : readFolder(path_, error))
    if (isReserved(entry.name)) folder_.removeFile(entry.name);
}

StagedFolder::Target StagedFolder::open(const std::u16string& name, std::error_code& error) {
  error.clear();
  Target target{name, nullptr, nullptr};
  if (!staged_.contains(name)) target.old = folder_.openFile(name, error);
  if (error == std::errc::no_such_file_or_directory) error.clear();
  return target;
}

StagedFolder::Error StagedFolder::append(Target& target, std::span<const std::byte> bytes) {
  if (!matchesOld(target, bytes)) {
    if (!target.staged)
      if (Error error = stage(target)) return error;
    if (!hasSpace(bytes.size())) return {Failure::CannotWrite, "the disk has no space left for it"};
    if (!target.staged->write(bytes))
      return {Failure::CannotWrite,
              "\"" + toUtf8(target.name) + "\" cannot be written to its folder"};
  }
  target.size += bytes.size();
  return {};
}

void StagedFolder::clear(Target& target) {
  target.size = 0;
  target.staged.reset();
}

StagedFolder::Error StagedFolder::finish(Target& target) {
  const bool isSame = target.old && target.old->size() == target.size;
  return isSame || target.staged ? Error() : stage(target);
}

// Whether the existing file continues with these bytes.
bool StagedFolder::matchesOld(Target& target, std::span<const std::byte> bytes) {
  if (!target.old) return false;
  buffer_.resize(std::max(buffer_.size(), bytes.size()));
  const auto own = std::span(buffer_).first(bytes.size());
  return readFully(*target.old, target.size, own) == bytes.size() && std::ranges::equal(own, bytes);
}

// Creates the staged file with what the existing file has in common with the new content.
StagedFolder::Error StagedFolder::stage(Target& target) {
  const auto [place, isNew] = staged_.try_emplace(target.name);
  Staged& staged = place->second;
  if (isNew) {
    const std::u16string number = fromUtf8(std::to_string(staged_.size()));
    staged.file.append(kPrefix).append(number).append(kSuffix);
    staged.backup.append(kPrefix).append(number).append(u".old").append(kSuffix);
  } else {
    folder_.removeFile(staged.file);  // some file systems flush one that was emptied
  }
  const auto refuse = [&](Failure failure, const std::string& reason) {
    return Error{failure, "\"" + toUtf8(target.name) + "\": " + reason};
  };
  std::error_code error;
  target.staged = folder_.createFile(staged.file, error);
  if (!target.staged) {
    const bool isFull = error == std::errc::no_space_on_device;
    return refuse(isFull ? Failure::CannotWrite : Failure::CannotCreate, describeFileError(error));
  }
  if (target.old && target.size > 0 &&
      (!hasSpace(target.size) ||
       copyBytes(*target.old, 0, *target.staged, 0, target.size) != target.size ||
       !target.staged->seek(target.size)))
    return refuse(Failure::CannotWrite, "it cannot be written beside the existing file");
  target.old.reset();
  return {};
}

bool StagedFolder::hasSpace(std::uint64_t bytes) const {
  const std::optional<std::uint64_t> free = folder_.freeSpace();
  return !free || (*free >= bytes && *free - bytes >= spareSpace_);
}

StagedFolder::Error StagedFolder::commit() {
  Error failed;
  const auto attempt = [&](const std::u16string& name, const std::error_code& error) {
    if (error)
      failed = {Failure::CannotWrite, "\"" + toUtf8(name) + "\": " + describeFileError(error)};
    return !error;
  };
  // All are on the disk before the first takes its place: a power cut leaves no empty file.
  for (const auto& [name, staged] : staged_)
    if (!attempt(name, flushFile(joinPath(path_, staged.file)))) break;
  for (auto& [name, staged] : staged_)
    if (failed || !attempt(name, replace(name, staged))) break;
  if (failed) restoreAll();
  isDone_ = true;
  for (const auto& [name, staged] : staged_)
    if (staged.hasBackup) folder_.removeFile(staged.backup);
  return failed;
}

// The name always has a whole file where the file system has hard links; elsewhere it has none for
// a moment.
std::error_code StagedFolder::replace(const std::u16string& name, Staged& staged) {
  std::error_code error;
  const bool exists = folder_.openFile(name, error) != nullptr;
  if (!exists && error != std::errc::no_such_file_or_directory) return error;
  if (exists && folder_.linkFile(name, staged.backup))
    if ((error = folder_.replaceFile(name, staged.backup))) return error;
  staged.hasBackup = exists;
  error = folder_.replaceFile(staged.file, name);
  staged.isInPlace = !error;
  return error;
}

void StagedFolder::restore(const std::u16string& name, const Staged& staged) {
  if (staged.hasBackup) {
    folder_.replaceFile(staged.backup, name);
  } else if (staged.isInPlace) {
    folder_.removeFile(name);
  }
}

void StagedFolder::restoreAll() {
  for (const auto& [name, staged] : staged_) restore(name, staged);
  discard();
}

void StagedFolder::discard() {
  isDone_ = true;
  for (const auto& [name, staged] : staged_) folder_.removeFile(staged.file);
  folder_.discard();
}

}  // namespace tessaron
