#include "serve/request_json.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/failures.h"

namespace tessaron::tool {
namespace {

using nlohmann::json;

[[noreturn]] void refuse(const std::string& reason) { throw Failure{kUsage, {}, reason}; }

/// A text that XML can hold.
std::string textOf(const json& value, std::string_view name) {
  if (!value.is_string()) refuse(fmt::format("\"{}\" must be a text", name));
  auto text = value.get<std::string>();
  const auto isControl = [](char c) {
    return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r';
  };
  if (std::ranges::any_of(text, isControl) || text.find("\xEF\xBF\xBE") != text.npos ||
      text.find("\xEF\xBF\xBF") != text.npos)
    refuse(fmt::format("\"{}\" has a character that a collection cannot hold", name));
  return text;
}

}  // namespace

RequestObject::RequestObject(std::string_view body, const std::vector<std::string_view>& known) {
  object_ = body.empty() ? json::object() : json::parse(body, nullptr, false);
  if (!object_.is_object()) refuse("the body must be a JSON object");
  for (const auto& [name, value] : object_.items())
    if (std::ranges::find(known, name) == known.end())
      refuse(fmt::format("\"{}\" is not known here; there are {}", name, fmt::join(known, ", ")));
}

const json* RequestObject::find(const char* name) const {
  const auto found = object_.find(name);
  return found == object_.end() || found->is_null() ? nullptr : &*found;
}

std::optional<std::string> RequestObject::text(const char* name) const {
  const json* value = find(name);
  if (!value) return std::nullopt;
  return textOf(*value, name);
}

std::string RequestObject::requiredText(const char* name) const {
  std::string value = text(name).value_or("");
  if (value.find_first_not_of(" \t\r\n") == value.npos)
    refuse(fmt::format("\"{}\" is required", name));
  return value;
}

bool RequestObject::flag(const char* name) const {
  const json* value = find(name);
  if (value && !value->is_boolean()) refuse(fmt::format("\"{}\" must be true or false", name));
  return value && value->get<bool>();
}

std::vector<std::string> RequestObject::texts(const char* name) const {
  const json* value = find(name);
  if (!value) return {};
  if (!value->is_array()) return {textOf(*value, name)};
  std::vector<std::string> texts;
  for (const json& each : *value) texts.push_back(textOf(each, name));
  return texts;
}

std::vector<std::string> RequestObject::assignments(const char* name) const {
  const json* fields = find(name);
  if (!fields) return {};
  if (!fields->is_object()) refuse(fmt::format("\"{}\" must be an object", name));
  std::vector<std::string> assignments;
  for (const auto& [field, value] : fields->items()) {
    if (field.empty() || field.find('=') != field.npos)
      refuse(fmt::format("\"{}\" is no name of a field", field));
    const std::string start = textOf(json(field), name) + '=';
    if (value.is_null() || (value.is_array() && value.empty())) {
      assignments.push_back(start);
    } else if (value.is_number()) {
      assignments.push_back(start + value.dump());
    } else if (value.is_array()) {
      for (const json& each : value) assignments.push_back(start + textOf(each, field));
    } else {
      assignments.push_back(start + textOf(value, field));
    }
  }
  return assignments;
}

}  // namespace tessaron::tool
