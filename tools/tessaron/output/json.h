#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace tessaron::tool {

/// One JSON document, indented, with every control character escaped.
std::string jsonText(const nlohmann::ordered_json& document);

/// The JSON text as a nested value: all lines but the first are indented by `columns` blanks.
std::string indented(std::string_view text, std::size_t columns);

/// Writes one JSON document and a line end to standard output.
void printJson(const nlohmann::ordered_json& document);

}  // namespace tessaron::tool
