#include "catalogue/item_order.h"

#include <algorithm>
#include <utility>

#include "catalogue/item_value_internal.h"
#include "platform/text.h"
#include "support/text.h"

namespace tessaron {

std::optional<ItemOrder> ItemOrder::parse(std::string_view text, std::string& unknown) {
  ItemOrder order;
  bool isByTitle = false;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(',', at), text.size());
    std::string_view name = text.substr(at, end - at);
    at = end + 1;
    const bool isReversed = name.starts_with('-');
    if (isReversed) name.remove_prefix(1);
    std::optional<ItemField> field = findItemField(name);
    if (!field) {
      unknown = name;
      return std::nullopt;
    }
    if (field->kind == ItemField::Kind::Column) {
      if (field->column == recordColumn("status.name"))
        field->column = recordColumn("status.value");
      isByTitle = isByTitle || field->column == recordColumn("Title");
    }
    order.parts_.push_back({*std::move(field), isReversed});
  }
  if (!isByTitle) order.parts_.push_back({*findItemField("Title"), false});
  return order;
}

bool ItemOrder::needsDetail() const {
  return std::ranges::any_of(parts_, [](const Part& part) { return isDetail(part.field); });
}

ItemOrder::Key ItemOrder::keyOf(const CRecord& record, const SYSTEMTIME& now) const {
  Key key;
  for (const auto& [field, isReversed] : parts_) {
    Key::Part& part = key.parts.emplace_back();
    const ValueKind kind = valueKind(field);
    forEachText(record, field, now, [&](std::u16string_view text) {
      if (kind == ValueKind::Text) {
        if (!part.isMissing) part.text += u"; ";
        part.text += text;
        part.isMissing = false;
      } else if (const auto value = itemValue(kind, text); value && part.isMissing) {
        part.number = value->number;
        part.isMissing = false;
      }
    });
  }
  return key;
}

bool ItemOrder::isBefore(const Key& left, const Key& right) const {
  for (std::size_t i = 0; i < parts_.size(); ++i) {
    const Key::Part& a = left.parts[i];
    const Key::Part& b = right.parts[i];
    if (a.isMissing != b.isMissing) return b.isMissing;
    if (a.isMissing) continue;
    const int texts = compareLogically(a.text.c_str(), b.text.c_str());
    if (a.number == b.number && texts == 0) continue;
    const bool isLess = a.number != b.number ? a.number < b.number : texts < 0;
    return isLess != parts_[i].isReversed;
  }
  return false;
}

}  // namespace tessaron
