#include "serve/site.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <span>
#include <utility>

#include "catalogue/history.h"
#include "cli/failures.h"
#include "cli/paths.h"
#include "output/html.h"
#include "output/page/page.h"
#include "platform/system.h"
#include "support/ascii.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

using nlohmann::ordered_json;

constexpr const char* kPrivate = "private, no-cache";

/// What goes wrong when a request is carried out, as an answer that names no path.
Response failureResponse(const Failure& failure, bool isEdit) {
  switch (failure.code) {
    case kUsage: {
      // The reasons name options of the verbs where requests have members of the same name.
      const bool isOption = failure.reason.starts_with("--");
      return errorResponse(400, std::string_view(failure.reason).substr(isOption ? 2 : 0));
    }
    case kFailed:
      return errorResponse(409, failure.reason);
    case kBadData:
      return errorResponse(isEdit ? 422 : 500, failure.reason);
    case kCannotCreate:
    case kCannotWrite:
      return errorResponse(507, "the collection cannot be written: " + failure.reason);
    default:
      return errorResponse(500, "the collection cannot be read: " + failure.reason);
  }
}

std::size_t numberOf(const Target& target, std::string_view name, std::size_t otherwise,
                     std::size_t maximum) {
  const std::string text = target.parameter(name);
  if (text.empty()) return otherwise;
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number > maximum)
    throw Failure{kUsage, {}, fmt::format("{} must be a number up to {}", name, maximum)};
  return number;
}

/// Such as "lend EXB0000001"; null without an edit.
ordered_json nameNext(const std::vector<PastEdit>& edits, bool redo) {
  const auto next = std::find_if(edits.rbegin(), edits.rend(),
                                 [&](const PastEdit& edit) { return isToTakeBack(edit, redo); });
  if (next == edits.rend()) return nullptr;
  const std::size_t count = next->added + next->changed + next->removed;
  return next->verb + ' ' + (count == 1 ? next->firstItem : fmt::format("{} items", count));
}

bool isJson(std::string_view contentType) {
  constexpr std::string_view kJson = "application/json";
  return contentType.size() >= kJson.size() &&
         equalIgnoringCase(contentType.substr(0, kJson.size()), kJson) &&
         (contentType.size() == kJson.size() || contentType[kJson.size()] == ';');
}

}  // namespace

struct Site::Route {
  std::vector<std::string_view> path;  ///< "*" is the key of an item
  std::string_view method;
  Response (Site::*answer)(const Request&);
  Work work = Work::Reading;
  std::size_t maxBody = 0;
  bool needsVersion = false;  ///< If-Match
  bool takesJson = true;      ///< as its body
};

Site::Site(ServedCollection& collection, Access& access, SiteOptions options)
    : collection_(collection), access_(access), edits_(collection), options_(std::move(options)) {}

const Site::Route* Site::findRoute(const std::vector<std::string>& path, std::string_view method,
                                   std::string& allowed) {
  constexpr Work kEditing = Work::Editing;
  static const std::vector<Route> kRoutes = {
      {{""}, "GET", &Site::page},
      {{"page.css"}, "GET", &Site::asset},
      {{"page.js"}, "GET", &Site::asset},
      {{"page_edit.js"}, "GET", &Site::asset},
      {{"covers", "*"}, "GET", &Site::cover},
      {{"api", "collection"}, "GET", &Site::describe},
      {{"api", "items"}, "GET", &Site::list},
      {{"api", "items"}, "POST", &Site::add, kEditing, kMaxBody},
      {{"api", "items", "*"}, "GET", &Site::item},
      {{"api", "items", "*"}, "PATCH", &Site::set, kEditing, kMaxBody, true},
      {{"api", "items", "*"}, "DELETE", &Site::remove, kEditing, 0, true},
      {{"api", "items", "*", "lend"}, "POST", &Site::lend, kEditing, kMaxBody, true},
      {{"api", "items", "*", "return"}, "POST", &Site::takeReturn, kEditing, kMaxBody, true},
      {{"api", "undo"}, "POST", &Site::undo, kEditing, kMaxBody},
      {{"api", "redo"}, "POST", &Site::redo, kEditing, kMaxBody},
      {{"api", "import"}, "POST", &Site::import, kEditing, kMaxImport, false, false},
      {{"api", "events"}, "GET", &Site::events},
  };
  const Route* found = nullptr;
  for (const Route& route : kRoutes) {
    if (!std::ranges::equal(route.path, path, [](std::string_view pattern, std::string_view part) {
          return pattern == part || (pattern == "*" && !part.empty());
        }))
      continue;
    allowed += (allowed.empty() ? "" : ", ") + std::string(route.method);
    if (route.method == "GET") allowed += ", HEAD";
    if (route.method == method) found = &route;
  }
  return found;
}

std::optional<Response> Site::refuse(const RequestHead& head, const Route& route) const {
  if (route.work == Work::Editing && options_.isReadOnly)
    return errorResponse(403, "the collection is served read-only");
  if (head.contentLength.value_or(0) > route.maxBody || (head.hasBody && route.maxBody == 0))
    return errorResponse(413, fmt::format("the body may have {} bytes here", route.maxBody));
  if (head.hasBody && route.takesJson && !isJson(head.contentType))
    return errorResponse(415, "the body must be application/json");
  if (route.needsVersion && head.ifMatch.empty())
    return errorResponse(428, "If-Match must tell the version of the item");
  return std::nullopt;
}

Admission Site::admit(const RequestHead& head) {
  Admission admission;
  if (head.target.size() > kMaxTarget) {
    admission.refusal = errorResponse(414, "the address is too long");
    return admission;
  }
  auto target = parseTarget(head.target);
  if (!target) {
    admission.refusal = errorResponse(400, "the address is no text in UTF-8");
    return admission;
  }
  admission.target = *std::move(target);
  admission.refusal = access_.refuse(head, admission.target);
  if (admission.refusal) return admission;
  std::string allowed;
  const std::string_view method = head.method == "HEAD" ? "GET" : std::string_view(head.method);
  const Route* route = findRoute(admission.target.path, method, allowed);
  if (route) {
    admission.refusal = refuse(head, *route);
    admission.maxBody = route->maxBody;
    admission.work = route->work;
  } else if (allowed.empty()) {
    admission.refusal = errorResponse(404, "there is nothing at this address");
  } else {
    admission.refusal = errorResponse(405, "this address does not take " + head.method);
    admission.refusal->headers.emplace_back("Allow", allowed);
  }
  return admission;
}

Response Site::answer(const Request& request) {
  std::string allowed;
  const std::string_view method =
      request.head.method == "HEAD" ? "GET" : std::string_view(request.head.method);
  const Route* route = findRoute(request.target.path, method, allowed);
  if (!route) return errorResponse(404, "there is nothing at this address");
  try {
    return (this->*route->answer)(request);
  } catch (const Failure& failure) {
    return failureResponse(failure, route->work == Work::Editing);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    warn(fmt::format("{} {}: {}", request.head.method, request.head.target, error.what()));
    return errorResponse(500, "the server has failed; its terminal tells why");
  }
}

Response Site::page(const Request&) {
  return textResponse(200, "text/html; charset=utf-8",
                      servedPage(options_.title, utcNow(), options_.isReadOnly));
}

Response Site::asset(const Request& request) {
  constexpr const char* kScriptType = "text/javascript; charset=utf-8";
  const std::string& name = request.target.path.front();
  const bool isStyle = name == "page.css";
  std::string text = isStyle                  ? std::string(kPageStyle)
                     : name == "page_edit.js" ? std::string(kPageEditScript)
                                              : pageScript();
  const std::string version = CollectionIndex::versionOf(text);
  Response response =
      textResponse(200, isStyle ? "text/css; charset=utf-8" : kScriptType, std::move(text));
  response.headers.emplace_back("Cache-Control", kPrivate);
  setTag(request.head, version, response);
  return response;
}

Response Site::cover(const Request& request) {
  const std::string size = request.target.parameter("size");
  if (!size.empty() && size != "small" && size != "medium")
    throw Failure{kUsage, {}, "size must be small or medium"};
  std::string bytes = collection_.covers().read(fromUtf8(request.target.path[1]),
                                                size.empty()      ? CoverSize::Whole
                                                : size == "small" ? CoverSize::Small
                                                                  : CoverSize::Medium);
  const auto format = coverFormat(std::as_bytes(std::span(bytes)));
  if (!format) return errorResponse(404, "there is no such cover");
  const std::string version = CollectionIndex::versionOf(bytes);
  Response response = textResponse(200, std::string(format->mediaType), std::move(bytes));
  response.headers.emplace_back("Cache-Control", kPrivate);
  setTag(request.head, version, response);
  return response;
}

Response Site::describe(const Request&) {
  std::string version;
  const std::size_t count = collection_.count(version);
  std::error_code error;  // what cannot be read cannot be taken back, either
  const auto edits = History(widePath(collection_.path())).edits(error);
  return jsonResponse(200, {{"title", options_.title},
                            {"count", count},
                            {"version", version},
                            {"readOnly", options_.isReadOnly},
                            {"undo", nameNext(edits, false)},
                            {"redo", nameNext(edits, true)}});
}

Response Site::list(const Request& request) {
  constexpr std::size_t kUsual = 100, kMaxFrom = 1'000'000'000;
  ListRequest wanted;
  wanted.query = request.target.parameter("query");
  wanted.sort = request.target.parameter("sort");
  wanted.from = numberOf(request.target, "from", 0, kMaxFrom);
  wanted.count = numberOf(request.target, "count", kUsual, ServedCollection::kMaxCount);
  Response response;
  response.contentType = "application/json";
  response.headers.emplace_back("Cache-Control", kPrivate);
  ListAnswer list = collection_.list(wanted);
  response.body = std::move(list.json);
  setTag(request.head, list.tag, response);
  return response;
}

Response Site::item(const Request& request) {
  auto item = collection_.item(request.target.path[2]);
  if (!item) return errorResponse(404, "there is no such item");
  Response response = textResponse(200, "application/json", item->json + '\n');
  response.headers.emplace_back("Cache-Control", kPrivate);
  setTag(request.head, item->version, response);
  return response;
}

Response Site::events(const Request&) {
  Response response;
  response.contentType = "text/event-stream";
  response.isEventStream = true;
  return response;
}

Response Site::set(const Request& request) {
  return edits_.set(request.target.path[2], request.head.ifMatch, request.body);
}

Response Site::lend(const Request& request) {
  return edits_.lend(request.target.path[2], request.head.ifMatch, request.body);
}

Response Site::takeReturn(const Request& request) {
  return edits_.takeReturn(request.target.path[2], request.head.ifMatch, request.body);
}

Response Site::remove(const Request& request) {
  return edits_.remove(request.target.path[2], request.head.ifMatch);
}

Response Site::add(const Request& request) {
  Response response = edits_.add(request.body);
  return response;
}

Response Site::undo(const Request&) { return edits_.takeBack(false); }

Response Site::redo(const Request&) { return edits_.takeBack(true); }

Response Site::import(const Request& request) {
  const std::string name = request.target.parameter("name");
  return edits_.import(name.empty() || name == "-" ? "the file" : name, request.body);
}

const std::vector<std::pair<std::string, std::string>>& commonHeaders() {
  static const std::vector<std::pair<std::string, std::string>> kHeaders = {
      {"Content-Security-Policy",
       "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
       "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
      {"X-Content-Type-Options", "nosniff"},
      {"Referrer-Policy", "no-referrer"},
      {"X-Frame-Options", "DENY"},
      {"Cross-Origin-Resource-Policy", "same-origin"},
      {"Cross-Origin-Opener-Policy", "same-origin"},
  };
  return kHeaders;
}

}  // namespace tessaron::tool
