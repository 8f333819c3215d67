#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace tessaron::tool {

/// One JSON document, indented, with every control character escaped.
std::string jsonText(const nlohmann::ordered_json& document);

/// Writes one JSON document and a line end to standard output.
void printJson(const nlohmann::ordered_json& document);

}  // namespace tessaron::tool
