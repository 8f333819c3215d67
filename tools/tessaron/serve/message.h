#pragma once
// Requests and answers of the server, independent of the HTTP library.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tessaron::tool {

/// The line and the headers of a request that anything is decided by. Absent headers are empty.
struct RequestHead {
  std::string method;  ///< such as "GET"
  std::string target;  ///< as it was sent
  std::string host;
  bool isHostUnique = true;  ///< there is exactly one such header
  std::string origin;
  std::string fetchSite;  ///< Sec-Fetch-Site
  std::string fetchMode;  ///< Sec-Fetch-Mode
  std::string cookie;
  std::string authorization;
  std::string contentType;
  std::string ifMatch;
  std::string ifNoneMatch;
  bool hasBody = false;
  std::optional<std::uint64_t> contentLength;
};

/// The address that a request names, taken apart and decoded: UTF-8 without control characters.
struct Target {
  std::vector<std::string> path;  ///< between the slashes; one empty text for "/"
  std::vector<std::pair<std::string, std::string>> parameters;

  /// The value of a parameter; empty when it is missing.
  std::string parameter(std::string_view name) const;
};

/// Takes a target such as "/api/items?query=a%20b" apart. Nothing when it is none: it does not
/// begin with a slash, is not UTF-8, has a control character, or a parameter twice.
std::optional<Target> parseTarget(std::string_view target);

struct Request {
  RequestHead head;
  Target target;
  std::string body;
};

/// What goes back.
struct Response {
  int status = 200;
  std::string contentType;  ///< empty: there is no body
  std::vector<std::pair<std::string, std::string>> headers;
  std::shared_ptr<const std::string> body;  ///< null: none
  bool isEventStream = false;               ///< the connection becomes a stream of events
  bool isDelayed = false;                   ///< is to be sent a second later
};

Response textResponse(int status, std::string contentType, std::string body);
/// {"error": REASON}, where REASON names no files of the server.
Response errorResponse(int status, std::string_view reason);
Response jsonResponse(int status, const nlohmann::ordered_json& document);

/// Whether a header such as If-None-Match lists the entity tag `"VERSION"`.
bool listsTag(std::string_view header, std::string_view version);

/// Adds an ETag; makes the answer one without a body when the client has that version.
void setTag(const RequestHead& head, std::string_view version, Response& response);

}  // namespace tessaron::tool
