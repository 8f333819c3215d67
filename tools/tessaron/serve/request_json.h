#pragma once
// The JSON in requests.

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessaron::tool {

/// The object that a request has as its body; one without a body has an empty one. Texts have no
/// control characters but tabs and line ends. All members fail with kUsage for a member of another
/// type, a null is as good as none.
class RequestObject {
 public:
  /// Fails with kUsage for what is no object, and for members that are not in `known`.
  RequestObject(std::string_view body, const std::vector<std::string_view>& known);

  std::optional<std::string> text(const char* name) const;
  /// Fails also when the text is missing or blank.
  std::string requiredText(const char* name) const;
  bool flag(const char* name) const;
  /// A list of texts, or a single one.
  std::vector<std::string> texts(const char* name) const;
  /// NAME=VALUE for each member of an object whose values are texts, numbers, nulls (which remove
  /// the field) or lists of texts.
  std::vector<std::string> assignments(const char* name) const;

 private:
  const nlohmann::json* find(const char* name) const;

  nlohmann::json object_;
};

}  // namespace tessaron::tool
