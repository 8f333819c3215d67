#include "package_writer.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <utility>
#include <vector>

#include "cli.h"
#include "platform/file.h"
#include "support/text.h"
#include "themes/theme_package.h"

namespace tessaron::tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kMain = "main.xml";
constexpr std::size_t kLimit = std::size_t{256} << 20;

struct PackedFile {
  std::string name;
  std::string content;
};

std::vector<PackedFile> readFiles(const std::string& folder) {
  std::error_code error;
  std::vector<PackedFile> files;
  fs::directory_iterator entry(folder, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const std::string path = entry->path().string();
    const auto refuse = [&](const char* reason) { throw Failure{kBadData, path, reason}; };
    if (entry->symlink_status(error).type() != fs::file_type::regular)
      refuse("only files can be packed");
    std::string content = readInput(path);
    if (content.empty()) refuse("an empty file cannot be packed");
    if (content.size() > kLimit) refuse("it is larger than 256 MiB");
    files.push_back({entry->path().filename().string(), std::move(content)});
  }
  if (error) throw Failure{kNoInput, folder, error.message()};
  const auto order = [](const PackedFile& file) {
    return std::pair(file.name != kMain, file.name);
  };
  std::ranges::sort(files, {}, order);
  if (files.empty() || files.front().name != kMain)
    throw Failure{kBadData, folder, "there is no main.xml in it"};
  return files;
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
  uLongf size = compressBound(content.size());
  std::string data(size, '\0');
  compress2(reinterpret_cast<Bytef*>(data.data()), &size,
            reinterpret_cast<const Bytef*>(content.data()), content.size(), Z_BEST_COMPRESSION);
  data.resize(size);
  return little(id, 4) + little(size, 4) + little(content.size(), 4) + std::string(64, '\0') + data;
}

std::string indexOf(const std::vector<PackedFile>& files) {
  std::string xml = "<index>";
  for (std::size_t i = 0; i < files.size(); ++i) {
    xml += fmt::format("<file id=\"{}\" filename=\"", i + 1);
    for (const char c : files[i].name) {  // what else XML does not take, no system takes in a name
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

std::string packFolder(const std::string& folder) {
  const std::vector<PackedFile> files = readFiles(folder);
  std::string package = little('T' | 'P' << 8, 2) + little(1, 2) + identifierOf(files);
  package += std::string(1024, '\0') + entry(0, indexOf(files));
  for (std::size_t i = 0; i < files.size(); ++i)
    package += entry(static_cast<std::uint32_t>(i + 1), files[i].content);

  CThemePackage check;
  check.Inspect(*memoryFile(package), true);
  if (!check.report.problems.empty()) {
    const PackageReport::Problem& problem = check.report.problems.front();
    throw Failure{kBadData, (fs::path(folder) / toUtf8(problem.name)).string(), problem.reason};
  }
  return package;
}

}  // namespace tessaron::tool
