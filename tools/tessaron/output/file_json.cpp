#include "output/file_json.h"

#include <fmt/format.h>

#include <chrono>

#include "support/string_table.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

nlohmann::ordered_json mapJson(const PropertyMap& map) {
  auto object = nlohmann::ordered_json::object();
  for (const auto& [number, value] : map) {
    if (value.empty()) continue;
    object[std::to_string(number)] = {{"label", toUtf8(stringAt(number))},
                                      {"value", toUtf8(value)}};
  }
  return object;
}

nlohmann::ordered_json listJson(const StreamList& streams) {
  auto array = nlohmann::ordered_json::array();
  for (const PropertyMap& stream : streams) array.push_back(mapJson(stream));
  return array;
}

}  // namespace

std::string isoTime(const FILETIME& time) {
  constexpr std::int64_t kStepsPerSecond = 10'000'000, kSecondsTo1970 = 11'644'473'600;
  const auto steps =
      static_cast<std::int64_t>(std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime);
  const std::chrono::sys_seconds seconds(
      std::chrono::seconds(steps / kStepsPerSecond - kSecondsTo1970));
  const auto day = std::chrono::floor<std::chrono::days>(seconds);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(seconds - day);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                     clock.hours().count(), clock.minutes().count(), clock.seconds().count());
}

std::uint64_t sizeOf(const CFileInfo& file) {
  return std::uint64_t{file.sizeHigh} << 32 | file.sizeLow;
}

nlohmann::ordered_json fileJson(const CFileInfo& file) {
  std::string checksum;
  for (const std::uint8_t byte : file.checksum) checksum += fmt::format("{:02x}", byte);
  return {{"path", toUtf8(file.path)},
          {"name", toUtf8(file.name)},
          {"extension", toUtf8(file.extension)},
          {"category", file.category},
          {"size", sizeOf(file)},
          {"creationTime", isoTime(file.creationTime)},
          {"lastWriteTime", isoTime(file.lastWriteTime)},
          {"attributes", file.attributes},
          {"encryptionStatus", file.encryptionStatus},
          {"checksum", checksum},
          {"digest", toUtf8(file.digest)},
          {"info", mapJson(file.info)},
          {"metaInfo", mapJson(file.metaInfo)},
          {"audioStreams", listJson(file.audioStreams)},
          {"videoStreams", listJson(file.videoStreams)},
          {"thumbnails", nlohmann::ordered_json::array()}};
}

}  // namespace tessaron::tool
