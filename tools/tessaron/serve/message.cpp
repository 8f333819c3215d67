#include "serve/message.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "support/text.h"

namespace tessaron::tool {
namespace {

int digitOf(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

/// Decodes percent signs, and with `isForm` plus signs. Nothing for what is no text.
std::optional<std::string> decode(std::string_view text, bool isForm) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '%') {
      if (text.size() - i < 3) return std::nullopt;
      const int high = digitOf(text[i + 1]), low = digitOf(text[i + 2]);
      if (high < 0 || low < 0) return std::nullopt;
      c = static_cast<char>(high * 16 + low);
      i += 2;
    } else if (c == '+' && isForm) {
      c = ' ';
    }
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) return std::nullopt;
    out += c;
  }
  if (findIllFormed(out) != out.npos) return std::nullopt;
  return out;
}

/// Takes the text up to `separator` off the front.
std::string_view takeUntil(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return part;
}

}  // namespace

std::string Target::parameter(std::string_view name) const {
  const auto found = std::ranges::find(parameters, name, &decltype(parameters)::value_type::first);
  return found == parameters.end() ? std::string() : found->second;
}

std::optional<Target> parseTarget(std::string_view text) {
  if (!text.starts_with('/')) return std::nullopt;
  Target target;
  std::string_view query = text;
  std::string_view path = takeUntil(query, '?').substr(1);
  do {
    const bool isLast = path.find('/') == path.npos;
    auto segment = decode(takeUntil(path, '/'), false);
    if (!segment) return std::nullopt;
    target.path.push_back(*std::move(segment));
    if (isLast) break;
  } while (true);
  while (!query.empty()) {
    std::string_view value = takeUntil(query, '&');
    auto name = decode(takeUntil(value, '='), true);
    auto decoded = decode(value, true);
    if (!name || !decoded) return std::nullopt;
    const auto& first = &decltype(target.parameters)::value_type::first;
    if (std::ranges::find(target.parameters, *name, first) != target.parameters.end())
      return std::nullopt;
    target.parameters.emplace_back(*std::move(name), *std::move(decoded));
  }
  return target;
}

Response textResponse(int status, std::string contentType, std::string body) {
  Response response;
  response.status = status;
  response.contentType = std::move(contentType);
  response.body = std::make_shared<const std::string>(std::move(body));
  return response;
}

Response jsonResponse(int status, const nlohmann::ordered_json& document) {
  using Handler = nlohmann::ordered_json::error_handler_t;
  return textResponse(status, "application/json",
                      document.dump(-1, ' ', false, Handler::replace) + '\n');
}

Response errorResponse(int status, std::string_view reason) {
  return jsonResponse(status, {{"error", reason}});
}

bool listsTag(std::string_view header, std::string_view version) {
  const std::string tag = '"' + std::string(version) + '"';
  while (!header.empty()) {
    std::string_view part = takeUntil(header, ',');
    part.remove_prefix(std::min(part.find_first_not_of(" \t"), part.size()));
    part = part.substr(0, part.find_last_not_of(" \t") + 1);
    if (part == tag) return true;
  }
  return false;
}

void setTag(const RequestHead& head, std::string_view version, Response& response) {
  response.headers.emplace_back("ETag", '"' + std::string(version) + '"');
  if (!listsTag(head.ifNoneMatch, version)) return;
  response.status = 304;
  response.contentType.clear();
  response.body = nullptr;
}

}  // namespace tessaron::tool
