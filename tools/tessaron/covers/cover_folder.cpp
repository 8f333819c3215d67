#include "covers/cover_folder.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <span>
#include <system_error>

#include "catalogue/covers.h"
#include "cli/failures.h"
#include "cli/paths.h"
#include "support/ascii.h"
#include "support/fingerprint.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

/// A key whose letters and length every file system takes. Names of devices have digits at the
/// fourth place at most, so that a longer one is none.
bool isPlainName(const std::string& key) {
  constexpr std::size_t kMin = 5, kMax = 64;
  return key.size() >= kMin && key.size() <= kMax && std::ranges::all_of(key, [](char c) {
           return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                  c == '-' || c == '_';
         });
}

}  // namespace

CoverFolder::CoverFolder(const std::string& path) : path_(path) {
  namespace fs = std::filesystem;
  fs::path whole = fs::absolute(filePath(path)).lexically_normal();
  if (!whole.has_filename()) whole = whole.parent_path();
  std::error_code error;
  folder_ = std::make_unique<OutputFolder>(widePath(pathText(whole.parent_path())),
                                           widePath(pathText(whole.filename())), error);
  if (error) throw Failure{kCannotCreate, path, error.message()};
}

std::string CoverFolder::write(std::u16string_view key, std::string_view bytes) {
  const std::string text = toUtf8(key);
  std::string name = isPlainName(text) ? text : fmt::format("cover-{:016x}", fingerprint(text));
  if (!names_.insert(lowerLetters(name)).second)
    name = fmt::format("cover-{:016x}", fingerprint(text));
  const auto format = coverFormat(std::as_bytes(std::span(bytes)));
  name.append(".").append(format ? format->extension : "bin");
  std::error_code error;
  const std::unique_ptr<File> file = folder_->createFile(fromUtf8(name), error);
  const std::string where = path_ + '/' + name;
  if (!file) throw Failure{kCannotCreate, where, error.message()};
  if (!file->write(std::as_bytes(std::span(bytes))))
    throw Failure{kCannotWrite, where, "an error while writing"};
  return name;
}

}  // namespace tessaron::tool
