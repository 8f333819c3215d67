#include "catalogue/file_links.h"

#include <algorithm>
#include <array>
#include <span>

#include "platform/directory.h"
#include "support/fingerprint.h"
#include "support/text.h"

namespace tessaron {
namespace {

// The folder of an absolute path with slashes, without one at its end but for the root.
std::u16string_view folderOf(std::u16string_view path) {
  const std::size_t slash = path.rfind(u'/');
  return slash == path.npos ? std::u16string_view() : path.substr(0, slash);
}

// The path from the folder on; empty when it does not lead below it.
std::u16string_view pathBelow(std::u16string_view folder, std::u16string_view path) {
  const bool isBelow =
      path.size() > folder.size() + 1 && path.starts_with(folder) && path[folder.size()] == u'/';
  return isBelow ? path.substr(folder.size() + 1) : std::u16string_view();
}

std::unique_ptr<File> openLinked(std::u16string_view folder, const CLinkedFile& file) {
  // Others may write the file meanwhile: a player that updates its tags must not make it missing.
  std::error_code error;
  return openFile(linkedPath(folder, file.path), {.shareWrite = true, .shareDelete = true}, error);
}

}  // namespace

std::u16string linkFolder(std::u16string_view collection) {
  return std::u16string(folderOf(absolutePath(collection, true)));
}

std::u16string linkPath(std::u16string_view folder, std::u16string_view path) {
  std::u16string whole = absolutePath(path, false);
  if (const auto below = pathBelow(folder, whole); !below.empty()) return std::u16string(below);
  const std::u16string followed =
      absolutePath(folderOf(whole), true) + whole.substr(folderOf(whole).size());
  if (const auto below = pathBelow(folder, followed); !below.empty()) return std::u16string(below);
  return whole;
}

std::u16string linkedPath(std::u16string_view folder, std::u16string_view link) {
  if (isAbsolutePath(link)) return std::u16string(link);
  return std::u16string(folder).append(u"/").append(link);
}

std::u16string fileChecksum(File& file, std::uint64_t size) {
  constexpr std::uint64_t kPart = 32 << 10;
  constexpr std::u16string_view kHex = u"0123456789abcdef";
  std::string bytes(static_cast<std::size_t>(std::min(size, 3 * kPart)), '\0');
  const auto whole = std::as_writable_bytes(std::span(bytes));
  std::size_t read = 0;
  if (size <= 3 * kPart) {
    read = readFully(file, 0, whole).value_or(0);
  } else {
    const std::array<std::uint64_t, 3> parts = {0, size / 2 - kPart / 2, size - kPart};
    for (std::size_t i = 0; i < parts.size(); ++i)
      read += readFully(file, parts[i], whole.subspan(i * kPart, kPart)).value_or(0);
  }
  if (read != bytes.size()) return {};
  const std::uint64_t sum = fingerprint(bytes);
  std::u16string text;
  for (int shift = 60; shift >= 0; shift -= 4) text += kHex[sum >> shift & 15];
  return text;
}

std::optional<CLinkedFile> makeLink(std::u16string_view folder, std::u16string_view path,
                                    std::uint16_t today, std::error_code& error) {
  const std::unique_ptr<File> file =
      openFile(path, {.shareWrite = true, .shareDelete = true}, error);
  if (!file) return std::nullopt;
  CLinkedFile link;
  link.path = linkPath(folder, path);
  link.size = file->size().value_or(0);
  link.checksum = fileChecksum(*file, link.size);
  link.added = today;
  if (!link.checksum.empty()) return link;
  error = std::make_error_code(std::errc::io_error);
  return std::nullopt;
}

LinkState linkState(std::u16string_view folder, const CLinkedFile& file) {
  const std::unique_ptr<File> opened = openLinked(folder, file);
  if (!opened) return LinkState::Missing;
  const std::uint64_t size = opened->size().value_or(0);
  const bool isSame =
      size == file.size && (file.checksum.empty() || fileChecksum(*opened, size) == file.checksum);
  return isSame ? LinkState::Present : LinkState::Changed;
}

bool hasOnlyMissingFiles(std::u16string_view folder, const CRecord& record) {
  return !record.files.empty() && std::ranges::none_of(record.files, [&](const CLinkedFile& file) {
    return openLinked(folder, file) != nullptr;
  });
}

bool linkFile(CRecord& record, const CLinkedFile& file) {
  const auto known = std::ranges::find(record.files, file.path, &CLinkedFile::path);
  if (known == record.files.end()) {
    record.files.push_back(file);
    return true;
  }
  if (known->size == file.size && known->checksum == file.checksum) return false;
  known->size = file.size;
  known->checksum = file.checksum;
  return true;
}

}  // namespace tessaron
