#include "output/record_json.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>
#include <variant>

#include "cli/options.h"
#include "cli/output.h"
#include "cli/terminal.h"
#include "output/csv.h"
#include "output/json.h"
#include "platform/system.h"
#include "support/dos_date.h"
#include "support/text.h"

namespace tessaron::tool {

using nlohmann::ordered_json;

namespace {

ordered_json toJson(const std::u16string& text) { return toUtf8(text); }

template <typename Item>
ordered_json toJson(const std::vector<Item>& list);

ordered_json toJson(const COffer& offer) {
  return {{"SellerId", toJson(offer.SellerId)},
          {"Nickname", toJson(offer.Nickname)},
          {"State", toJson(offer.State)},
          {"Country", toJson(offer.Country)},
          {"Condition", toJson(offer.Condition)},
          {"ConditionNote", toJson(offer.ConditionNote)},
          {"OfferListingId", toJson(offer.OfferListingId)},
          {"Price", toJson(offer.Price)},
          {"Availability", toJson(offer.Availability)}};
}

ordered_json toJson(const COfferListing& listing) {
  return {{"OfferListingId", toJson(listing.OfferListingId)},
          {"Price", toJson(listing.Price)},
          {"Availability", toJson(listing.Availability)}};
}

ordered_json toJson(const CFileInfo& file) {
  return {{"path", toJson(file.path)},
          {"name", toJson(file.name)},
          {"size", std::uint64_t{file.sizeHigh} << 32 | file.sizeLow}};
}

ordered_json toJson(const CFolderInfo& folder) {
  return {{"id", folder.id},
          {"parentId", folder.parentId},
          {"path", toJson(folder.path)},
          {"files", toJson(folder.files)}};
}

template <typename Item>
ordered_json toJson(const std::vector<Item>& list) {
  auto array = ordered_json::array();
  for (const Item& item : list) array.push_back(toJson(item));
  return array;
}

ordered_json iconJson(const CRecord& record) {
  return record.hasIcon ? ordered_json(record.icon) : ordered_json();
}

ordered_json dateJson(std::uint16_t date) {
  std::string text = isoDate(date);
  return text.empty() ? ordered_json() : ordered_json(std::move(text));
}

ordered_json statusJson(const CRecord& record) {
  if (!record.hasStatus) return {};
  return {{"value", record.status},
          {"name", toUtf8(statusLabel(record.status))},
          {"target", toJson(record.StatusTarget)},
          {"begin", dateJson(record.StatusBeginDate)},
          {"end", dateJson(record.StatusEndDate)},
          {"text", toUtf8(statusText(record))},
          {"due", dueStateAt(record, utcNow())}};
}

ordered_json customFieldsJson(const CRecord& record) {
  auto array = ordered_json::array();
  const std::size_t slots =
      std::min(record.customFieldNames.size(), record.customFieldValues.size());
  for (std::size_t i = 0; i < slots; ++i) {
    const std::u16string& name = record.customFieldNames[i];
    const std::u16string& value = record.customFieldValues[i];
    if (name.empty() && value.empty()) continue;
    array.push_back({{"name", toUtf8(name)}, {"value", toUtf8(value)}});
  }
  return array;
}

struct Field {
  const char* name;
  std::variant<std::u16string CRecord::*, CRecord::Strings CRecord::*,
               std::vector<CRecord::Strings> CRecord::*, std::uint16_t CRecord::*,
               std::vector<COffer> CRecord::*, COfferListing CRecord::*,
               std::vector<CFolderInfo> CRecord::*, ordered_json (*)(const CRecord&)>
      source;
};

constexpr Field kFields[] = {
    {"icon", iconJson},
    {"status", statusJson},
    {"ASIN", &CRecord::ASIN},
    {"Title", &CRecord::Title},
    {"NumberOfDiscs", &CRecord::NumberOfDiscs},
    {"Binding", &CRecord::Binding},
    {"Publisher", &CRecord::Publisher},
    {"ReleaseDate", &CRecord::ReleaseDate},
    {"ProductGroup", &CRecord::ProductGroup},
    {"DetailPageURL", &CRecord::DetailPageURL},
    {"UPC", &CRecord::UPC},
    {"EAN", &CRecord::EAN},
    {"LargeImage", &CRecord::LargeImage},
    {"SmallImage", &CRecord::SmallImage},
    {"MediumImage", &CRecord::MediumImage},
    {"description", &CRecord::description},
    {"AspectRatio", &CRecord::AspectRatio},
    {"DVDLayers", &CRecord::DVDLayers},
    {"DVDSides", &CRecord::DVDSides},
    {"PictureFormat", &CRecord::PictureFormat},
    {"RegionCode", &CRecord::RegionCode},
    {"RunningTime", &CRecord::RunningTime},
    {"Studio", &CRecord::Studio},
    {"TheatricalReleaseDate", &CRecord::TheatricalReleaseDate},
    {"AudienceRating", &CRecord::AudienceRating},
    {"actors", &CRecord::actors},
    {"directors", &CRecord::directors},
    {"formats", &CRecord::formats},
    {"languages", &CRecord::languages},
    {"PublicationDate", &CRecord::PublicationDate},
    {"NumberOfPages", &CRecord::NumberOfPages},
    {"OriginalTitle", &CRecord::OriginalTitle},
    {"authors", &CRecord::authors},
    {"translators", &CRecord::translators},
    {"ISBN", &CRecord::ISBN},
    {"Label", &CRecord::Label},
    {"NumberOfTracks", &CRecord::NumberOfTracks},
    {"artists", &CRecord::artists},
    {"discs", &CRecord::discs},
    {"ESRBAgeRating", &CRecord::ESRBAgeRating},
    {"features", &CRecord::features},
    {"platforms", &CRecord::platforms},
    {"AverageRating", &CRecord::AverageRating},
    {"TotalReviews", &CRecord::TotalReviews},
    {"reviewRatings", &CRecord::reviewRatings},
    {"reviewSummaries", &CRecord::reviewSummaries},
    {"reviewContents", &CRecord::reviewContents},
    {"customFields", customFieldsJson},
    {"offers", &CRecord::offers},
    {"offerListing", &CRecord::offerListing},
    {"DateAdded", &CRecord::DateAdded},
    {"ListPrice", &CRecord::ListPrice},
    {"LowestNewPrice", &CRecord::LowestNewPrice},
    {"TotalNew", &CRecord::TotalNew},
    {"LowestUsedPrice", &CRecord::LowestUsedPrice},
    {"TotalUsed", &CRecord::TotalUsed},
    {"Notes", &CRecord::Notes},
    {"folders", &CRecord::folders},
};

/// One cell: the parts of a list are put together with semicolons, lists of a list with line ends.
std::string cellText(const ordered_json& value) {
  if (value.is_null()) return {};
  if (value.is_string()) return value.get<std::string>();
  if (!value.is_structured()) return value.dump();
  std::string out;
  bool first = true;
  for (const ordered_json& part : value) {
    if (!std::exchange(first, false))
      out += value.is_object() ? ": " : part.is_array() ? "\n" : "; ";
    out += cellText(part);
  }
  return out;
}

struct Reader {
  const CRecord& record;

  ordered_json operator()(ordered_json (*make)(const CRecord&)) const { return make(record); }
  ordered_json operator()(std::uint16_t CRecord::*date) const { return dateJson(record.*date); }
  template <typename Member>
  ordered_json operator()(Member CRecord::*member) const {
    return toJson(record.*member);
  }
};

}  // namespace

ordered_json recordJson(const CRecord& record) {
  ordered_json::object_t object;
  object.reserve(std::size(kFields));
  for (const Field& field : kFields)
    object.emplace_back(field.name, std::visit(Reader{record}, field.source));
  return object;
}

std::vector<std::string> recordColumns() {
  CRecord sample;
  sample.hasStatus = true;
  std::vector<std::string> columns;
  const ordered_json record = recordJson(sample);
  for (const auto& [key, value] : record.items()) {
    if (key == "offers" || key == "folders") continue;
    if (!value.is_object()) columns.push_back(key);
    if (value.is_object())
      for (const auto& [member, ignored] : value.items()) columns.push_back(key + '.' + member);
  }
  return columns;
}

std::vector<std::string> jsonCells(const ordered_json& object,
                                   const std::vector<std::string>& columns) {
  std::vector<std::string> cells;
  for (const std::string& column : columns) {
    const std::size_t dot = std::min(column.find('.'), column.size());
    auto value = object.find(column.substr(0, dot));
    if (value != object.end() && dot < column.size()) {
      const ordered_json& parent = *value;
      value = parent.find(column.substr(dot + 1));
      cells.push_back(value == parent.end() ? std::string() : cellText(*value));
    } else {
      cells.push_back(value == object.end() ? std::string() : cellText(*value));
    }
  }
  return cells;
}

RecordWriter::RecordWriter(Form form, std::vector<std::string> columns, Output& output)
    : form_(form), columns_(std::move(columns)), output_(output) {}

void RecordWriter::write(const CRecord& record) { writeText(text(record)); }

std::string RecordWriter::text(const CRecord& record) const {
  const ordered_json json = recordJson(record);
  return form_ == Form::Json ? jsonText(json) : separatedRow(form_, jsonCells(json, columns_));
}

void RecordWriter::writeText(std::string_view text) {
  if (form_ == Form::Json) {
    output_.write(begun_ ? ",\n" : "[\n");
  } else if (!begun_) {
    output_.write(separatedRow(form_, columns_));
  }
  begun_ = true;
  output_.write(text);
}

void RecordWriter::finish() {
  if (form_ == Form::Json) {
    output_.write(begun_ ? "\n]\n" : "[]\n");
  } else if (!begun_) {
    output_.write(separatedRow(form_, columns_));
  }
}

}  // namespace tessaron::tool
