#pragma once
// What `set` changes in items.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/fields.h"
#include "records/record.h"

namespace tessaron::tool {

/// Changes to items as people write them; see the options of `set`. Dates as `parseDate` takes
/// them, an empty one removes the date.
struct ItemSettings {
  std::optional<std::string> status;
  std::optional<std::string> target;
  std::optional<std::string> from;
  std::optional<std::string> until;
  bool noStatus = false;
  std::optional<std::string> notes;
  std::optional<std::int32_t> icon;
  bool noIcon = false;
  std::vector<std::string> fields;  ///< NAME=VALUE
};

/// The same, validated as far as possible without the items. Several threads may use one.
class SettingsEdit {
 public:
  /// Fails with kUsage for what cannot be set in any item, and without anything to set.
  explicit SettingsEdit(const ItemSettings& settings);

  /// Changes a record. Fails with kUsage or kFailed (and `where`) for what it does not take.
  void apply(CRecord& record, const std::string& where) const;
  /// The key that items get; empty when they keep theirs.
  std::u16string newKey() const;

 private:
  void setStatus(CRecord& record, const std::string& where) const;

  std::optional<int> status_;
  bool noStatus_ = false;
  std::optional<std::u16string> target_;
  std::optional<std::uint16_t> begin_;
  std::optional<std::uint16_t> end_;
  std::optional<std::u16string> notes_;
  std::optional<std::int32_t> icon_;
  bool noIcon_ = false;
  std::vector<FieldValues> fields_;  ///< in the order in which they can be set
};

}  // namespace tessaron::tool
