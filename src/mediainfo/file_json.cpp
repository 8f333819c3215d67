#include "mediainfo/file_json.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "support/string_table.h"
#include "support/text.h"

namespace tessaron {
namespace {

void writeText(JsonWriter& json, std::string_view key, std::u16string_view text) {
  json.key(key);
  json.text(text);
}

void writeNumber(JsonWriter& json, std::string_view key, std::int64_t number) {
  json.key(key);
  json.number(number);
}

void writeMap(JsonWriter& json, const PropertyMap& map) {
  json.beginObject();
  for (const auto& [number, value] : map) {
    if (value.empty()) continue;
    json.key(std::to_string(number));
    json.beginObject();
    writeText(json, "label", stringAt(number));
    writeText(json, "value", value);
    json.endObject();
  }
  json.endObject();
}

void writeStreams(JsonWriter& json, std::string_view key, const StreamList& streams) {
  json.key(key);
  json.beginArray();
  for (const PropertyMap& stream : streams) writeMap(json, stream);
  json.endArray();
}

std::u16string hexadecimal(const std::array<std::uint8_t, 16>& bytes) {
  constexpr std::u16string_view kDigits = u"0123456789abcdef";
  std::u16string text;
  for (const std::uint8_t byte : bytes) (text += kDigits[byte >> 4]) += kDigits[byte & 15];
  return text;
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
  std::array<char, 32> text{};
  const int size = std::snprintf(
      text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
      static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
      static_cast<int>(clock.seconds().count()));
  return {text.data(), static_cast<std::size_t>(size)};
}

void writeFileInfo(const CFileInfo& file, JsonWriter& json,
                   const std::function<void(JsonWriter&)>& writeThumbnails) {
  json.beginObject();
  writeText(json, "path", file.path);
  writeText(json, "name", file.name);
  writeText(json, "extension", file.extension);
  writeNumber(json, "category", file.category);
  writeNumber(json, "size", static_cast<std::int64_t>(sizeOf(file)));
  writeText(json, "creationTime", fromUtf8(isoTime(file.creationTime)));
  writeText(json, "lastWriteTime", fromUtf8(isoTime(file.lastWriteTime)));
  writeNumber(json, "attributes", file.attributes);
  writeNumber(json, "encryptionStatus", file.encryptionStatus);
  writeText(json, "checksum", hexadecimal(file.checksum));
  writeText(json, "digest", file.digest);
  json.key("info");
  writeMap(json, file.info);
  json.key("metaInfo");
  writeMap(json, file.metaInfo);
  writeStreams(json, "audioStreams", file.audioStreams);
  writeStreams(json, "videoStreams", file.videoStreams);
  json.key("thumbnails");
  json.beginArray();
  if (writeThumbnails) writeThumbnails(json);
  json.endArray();
  json.endObject();
}

}  // namespace tessaron
