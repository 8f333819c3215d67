#include "themes/package_writer.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <utility>

#include "platform/directory.h"
#include "platform/file.h"
#include "support/text.h"
#include "themes/file_names.h"
#include "themes/package_reader_internal.h"

namespace tessaron {
namespace {

constexpr const char* kMain = "main.xml";

struct PackedFile {
  std::string name;
  std::string content;
};

PackError readContent(const std::u16string& path, std::string& content) {
  std::error_code error;
  const std::unique_ptr<File> file = openFile(path, {}, error);
  if (!file) return {true, path, error.message()};
  const std::uint64_t limit = PackageLimits().fileSize;
  PackError tooLarge{false, path, "it is larger than " + std::to_string(limit >> 20) + " MiB"};
  if (file->size().value_or(0) > limit) return tooLarge;
  if (!readToEnd(*file, content)) return {true, path, "an error while reading"};
  if (content.size() > limit) return tooLarge;
  if (content.empty()) return {false, path, "an empty file cannot be packed"};
  return {};
}

PackError readFiles(const std::u16string& folder, std::vector<PackedFile>& files) {
  std::error_code error;
  std::uint64_t total = 0;
  const std::uint64_t limit = PackageLimits().total;
  for (const FolderEntry& entry : readFolder(folder, error)) {
    const std::u16string path = joinPath(folder, entry.name);
    if (entry.kind != EntryKind::File) return {false, path, "only files can be packed"};
    files.push_back({toUtf8(entry.name), {}});
    const std::string& name = files.back().name;
    if (fromUtf8(name) != entry.name) return {false, path, "the name is not UTF-8"};
    if (const char* fault = faultOfFileName(entry.name)) return {false, path, fault};
    if (name != kMain && isMainName(name))
      return {false, path, "the name differs only in case from main.xml"};
    if (PackError failed = readContent(path, files.back().content)) return failed;
    total += files.back().content.size();
    if (total > limit)
      return {false, folder,
              "its files are larger than " + std::to_string(limit >> 20) + " MiB together"};
  }
  if (error) return {true, folder, error.message()};
  const auto order = [](const PackedFile& file) {
    return std::pair(file.name != kMain, file.name);
  };
  std::ranges::sort(files, {}, order);
  if (files.empty() || files.front().name != kMain)
    return {false, folder, "there is no main.xml in it"};
  return {};
}

std::string little(std::uint64_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> 8 * i);
  return text;
}

// Two FNV-1a hashes of 64 bits over all names and contents.
std::string identifierOf(const std::vector<PackedFile>& files) {
  std::array<std::uint64_t, 2> hashes = {0xCBF29CE484222325, 0x5445535341524F4E};
  const auto add = [&](std::string_view bytes) {
    for (std::uint64_t& hash : hashes)
      for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  };
  for (const PackedFile& file : files) {
    add(file.name);
    add(little(0, 1) + little(file.content.size(), 8));
    add(file.content);
  }
  return little(hashes[0], 8) + little(hashes[1], 8);
}

std::string entry(std::uint32_t id, const std::string& content) {
  uLongf size = compressBound(static_cast<uLong>(content.size()));
  std::string data(size, '\0');
  compress2(reinterpret_cast<Bytef*>(data.data()), &size,
            reinterpret_cast<const Bytef*>(content.data()), static_cast<uLong>(content.size()),
            Z_BEST_COMPRESSION);
  data.resize(size);
  return little(id, 4) + little(size, 4) + little(content.size(), 4) + std::string(64, '\0') + data;
}

std::string indexOf(const std::vector<PackedFile>& files) {
  std::string xml = "<index>";
  for (std::size_t i = 0; i < files.size(); ++i) {
    xml += "<file id=\"" + std::to_string(i + 1) + "\" filename=\"";
    for (const char c : files[i].name) {  // no file name has other characters to be escaped
      if (c == '&') {
        xml += "&amp;";
      } else {
        xml += c;
      }
    }
    xml += "\"/>";
  }
  return xml + "</index>";
}

}  // namespace

PackError packFolder(std::u16string_view folder, std::string& package,
                     std::vector<ThemeWarning>& warnings) {
  const std::u16string path(folder);
  std::vector<PackedFile> files;
  if (PackError error = readFiles(path, files)) return error;
  std::string packed = little('T' | 'P' << 8, 2) + little(1, 2) + identifierOf(files);
  packed += std::string(1024, '\0') + entry(0, indexOf(files));
  for (std::size_t i = 0; i < files.size(); ++i)
    packed += entry(static_cast<std::uint32_t>(i + 1), files[i].content);

  CThemePackage check;
  check.Inspect(*memoryFile(packed), true);
  if (check.report.failure != PackageReport::Failure::None)
    return {false, path, check.report.failureReason};
  if (!check.report.problems.empty()) {
    const PackageReport::Problem& problem = check.report.problems.front();
    return {false, joinPath(path, problem.name), problem.reason};
  }
  warnings = checkTheme(check);
  package = std::move(packed);
  return {};
}

}  // namespace tessaron
