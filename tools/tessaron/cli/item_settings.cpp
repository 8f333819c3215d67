#include "cli/item_settings.h"

#include <algorithm>

#include "cli/dates.h"
#include "cli/failures.h"
#include "cli/status_names.h"
#include "records/field_text.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

void clearStatus(CRecord& record) {
  record.hasStatus = false;
  record.status = 0;
  record.StatusTarget.clear();
  record.StatusBeginDate = 0;
  record.StatusEndDate = 0;
}

}  // namespace

SettingsEdit::SettingsEdit(const ItemSettings& settings)
    : noStatus_(settings.noStatus), icon_(settings.icon), noIcon_(settings.noIcon) {
  const std::uint16_t today = localToday();
  const auto date = [&](const std::string& text) {
    return text.empty() ? std::uint16_t{0} : parseDate(text, today);
  };
  if (settings.status) status_ = parseStatus(*settings.status);
  if (settings.target) target_ = fromUtf8(*settings.target);
  if (settings.from) begin_ = date(*settings.from);
  if (settings.until) end_ = date(*settings.until);
  if (settings.notes) notes_ = fromUtf8(*settings.notes);
  fields_ = parseFields(settings.fields);
  const bool any = status_ || noStatus_ || target_ || begin_ || end_ || notes_ || icon_ ||
                   noIcon_ || !fields_.empty();
  if (!any) throw Failure{kUsage, {}, "set needs at least one thing to set"};
}

void SettingsEdit::setStatus(CRecord& record, const std::string& where) const {
  // A different status drops the person and the dates of the old one.
  if (noStatus_ || (status_ && !(record.hasStatus && record.status == *status_)))
    clearStatus(record);
  if (status_) {
    record.hasStatus = true;
    record.status = *status_;
  }
  if (!target_ && !begin_ && !end_) return;
  if (!record.hasStatus)
    throw Failure{kFailed, where, toUtf8(record.ASIN) + " has no status; give one with --status"};
  record.StatusTarget = target_.value_or(record.StatusTarget);
  record.StatusBeginDate = begin_.value_or(record.StatusBeginDate);
  record.StatusEndDate = end_.value_or(record.StatusEndDate);
}

void SettingsEdit::apply(CRecord& record, const std::string& where) const {
  const CRecord known = record;
  setStatus(record, where);
  if (notes_) {
    record.Notes = *notes_;
    record.hasNotes = !notes_->empty();
  }
  if (icon_ || noIcon_) {
    record.icon = icon_.value_or(0);
    record.hasIcon = icon_.has_value();
  }
  for (const FieldValues& field : fields_) setFieldOf(record, field, where);
  if (const std::string reason = recordError(known, record); !reason.empty())
    throw Failure{kUsage, {}, reason};
}

std::u16string SettingsEdit::newKey() const {
  const NamedField key{recordColumn("ASIN"), {}};
  const auto field = std::ranges::find(fields_, key, &FieldValues::field);
  if (field == fields_.end() || field->values.empty()) return {};
  return std::u16string(trimmed(field->values.front()));
}

}  // namespace tessaron::tool
