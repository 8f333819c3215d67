#include "catalogue/field_edit.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <variant>

#include "platform/system.h"
#include "records/record_fields.h"
#include "support/ascii.h"
#include "support/dos_date.h"
#include "support/spelling.h"
#include "support/text.h"

namespace tessaron {
namespace {

constexpr std::string_view kOwnPrefix = "custom.";
constexpr std::size_t kMaxDiscs = 1000;
constexpr const char* kOneValue = "it has one value only";

// The field with a column of its own; null for a part of another field.
const Field* fieldOf(RecordColumn column) {
  const std::string& name = recordColumns()[static_cast<std::size_t>(column)];
  const auto* field = std::ranges::find(kFields, name, &Field::name);
  return field == kFields.end() ? nullptr : field;
}

template <typename Member>
const Member* memberOf(const Field* field) {
  return field ? std::get_if<Member>(&field->member) : nullptr;
}

bool isReviewList(ListMember member) {
  constexpr std::array<ListMember, 3> kLists = {&CRecord::reviewRatings, &CRecord::reviewSummaries,
                                                &CRecord::reviewContents};
  return std::ranges::find(kLists, member) != kLists.end();
}

bool isOwnFields(const Field* field) {
  const CompositeField* composite = memberOf<CompositeField>(field);
  return composite && *composite == CompositeField::CustomFields;
}

bool isDerived(RecordColumn column) {
  const std::string& name = recordColumns()[static_cast<std::size_t>(column)];
  return name == "status.text" || name == "status.due";
}

std::vector<std::u16string> trackLines(const std::vector<CRecord::Strings>& discs) {
  std::vector<std::u16string> lines;
  for (std::size_t disc = 0; disc < discs.size(); ++disc) {
    for (const std::u16string& track : discs[disc]) {
      const bool isNumbered = discs.size() > 1 || track.starts_with(u'[');
      lines.push_back(isNumbered ? fromUtf8('[' + std::to_string(disc + 1) + "] ") + track : track);
    }
  }
  return lines;
}

std::string addTrack(std::u16string_view line, std::vector<CRecord::Strings>& discs) {
  std::size_t disc = 1;
  const std::size_t end = line.find(u']');
  if (line.starts_with(u'[') && end != line.npos) {
    const std::string number = toUtf8(line.substr(1, end - 1));
    const char* const numberEnd = number.data() + number.size();
    const auto [stop, error] = std::from_chars(number.data(), numberEnd, disc);
    if (error != std::errc() || stop != numberEnd || disc == 0 || disc > kMaxDiscs)
      return '"' + toUtf8(line) + "\" has no number of a disc, written [1] Title";
    line = trimmed(line.substr(end + 1));
  }
  if (discs.size() < disc) discs.resize(disc);
  discs[disc - 1].emplace_back(line);
  return {};
}

std::string setTracks(CRecord& record, std::span<const std::u16string> lines) {
  std::vector<CRecord::Strings> discs;
  for (const std::u16string& line : lines)
    if (std::string error = addTrack(line, discs); !error.empty()) return error;
  record.discs = std::move(discs);
  record.hasDiscs = !record.discs.empty();
  return {};
}

// The slots of a field of the user's own: a file may have several of a name.
std::vector<std::size_t> ownSlots(const CRecord& record, const std::u16string& name) {
  std::vector<std::size_t> slots;
  for (std::size_t i = 0; i < record.customFieldNames.size(); ++i)
    if (record.customFieldNames[i] == name) slots.push_back(i);
  return slots;
}

std::string setOwnField(CRecord& record, const std::u16string& name,
                        std::span<const std::u16string> fieldValues) {
  CRecord::Strings& names = record.customFieldNames;
  CRecord::Strings& values = record.customFieldValues;
  std::vector<std::size_t> slots = ownSlots(record, name);
  if (fieldValues.size() > std::max<std::size_t>(slots.size(), 1)) return kOneValue;
  if (slots.empty()) {
    if (fieldValues.empty() || fieldValues[0].empty()) return {};
    std::size_t slot = 0;
    while (slot < names.size() && !(names[slot].empty() && values[slot].empty())) ++slot;
    if (slot == names.size())
      return "all " + std::to_string(names.size()) + " fields of your own are in use";
    slots.push_back(slot);
  }
  for (std::size_t i = 0; i < slots.size(); ++i) {
    const std::u16string value = i < fieldValues.size() ? fieldValues[i] : std::u16string();
    names[slots[i]] = value.empty() ? std::u16string() : name;
    values[slots[i]] = value;
    record.customFieldFlags[slots[i]] = !value.empty();
  }
  return {};
}

}  // namespace

std::optional<NamedField> findField(std::string_view name) {
  if (name.size() > kOwnPrefix.size() &&
      equalIgnoringCase(name.substr(0, kOwnPrefix.size()), kOwnPrefix))
    return NamedField{{}, fromUtf8(name.substr(kOwnPrefix.size()))};
  if (const std::optional<RecordColumn> column = findColumn(name)) return NamedField{column, {}};
  return std::nullopt;
}

std::string_view nearestField(std::string_view name) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < recordColumns().size(); ++i) {
    names.emplace_back(shortName(static_cast<RecordColumn>(i)));
    names.push_back(recordColumns()[i]);
  }
  const std::string nearest = nearestWord(name, names);
  return nearest.empty() ? std::string_view() : shortName(*findColumn(nearest));
}

std::vector<std::u16string> fieldValues(const CRecord& record, const NamedField& field) {
  if (!field.column) {
    CRecord::Strings values;
    for (const std::size_t slot : ownSlots(record, field.own))
      if (slot < record.customFieldValues.size()) values.push_back(record.customFieldValues[slot]);
    return values;
  }
  const Field* row = fieldOf(*field.column);
  if (const ListMember* list = memberOf<ListMember>(row))
    return isReviewList(*list) ? CRecord::Strings() : record.*(*list);
  if (memberOf<DiscsMember>(row)) return trackLines(record.discs);
  if (isOwnFields(row) || isDerived(*field.column)) return {};
  std::string cell;
  appendCell(record, *field.column, SYSTEMTIME(), cell);
  if (cell.empty()) return {};
  return {fromUtf8(cell)};
}

std::string setField(CRecord& record, const NamedField& field,
                     std::span<const std::u16string> values) {
  const Field* row = field.column ? fieldOf(*field.column) : nullptr;
  if (const ListMember* list = memberOf<ListMember>(row)) {
    if (isReviewList(*list)) return "customers' reviews cannot be changed one by one";
    record.*(*list) = CRecord::Strings(values.begin(), values.end());
    if (row->flag) record.*(row->flag) = !values.empty();
    return {};
  }
  if (memberOf<DiscsMember>(row)) return setTracks(record, values);
  if (!field.column) return setOwnField(record, field.own, values);
  if (values.size() > 1) return kOneValue;
  const std::u16string value = values.empty() ? std::u16string() : values[0];
  if (isOwnFields(row)) return "a field of your own is named custom.NAME";
  return setCell(record, *field.column, value, CellCheck::Typed);
}

std::string recordError(const CRecord& known, const CRecord& record) {
  if (record.ASIN.empty() && !known.ASIN.empty()) return "an item needs its key";
  if (record.Title.empty() && !known.Title.empty()) return "an item needs its title";
  // A file may have such dates; only who changes them is told.
  const bool isSame = record.StatusBeginDate == known.StatusBeginDate &&
                      record.StatusEndDate == known.StatusEndDate && known.hasStatus;
  const bool hasBoth = record.StatusBeginDate != 0 && record.StatusEndDate != 0;
  if (!isSame && record.hasStatus && hasBoth && record.StatusEndDate < record.StatusBeginDate)
    return "the status would end (" + isoDate(record.StatusEndDate) + ") before it begins (" +
           isoDate(record.StatusBeginDate) + ')';
  return {};
}

}  // namespace tessaron
