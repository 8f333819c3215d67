#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "serve/access.h"
#include "serve/message.h"
#include "serve/served_collection.h"
#include "serve/served_edits.h"

namespace tessaron::tool {

struct SiteOptions {
  std::string title;
  bool isReadOnly = false;
};

/// Who answers a request: those that change the collection are for one thread, in their order.
enum class Work { Reading, Editing };

/// What is decided about a request when its head has arrived.
struct Admission {
  std::optional<Response> refusal;  ///< the answer; the body is of no interest
  std::size_t maxBody = 0;          ///< bytes
  Work work = Work::Reading;
  Target target;
};

/// The addresses of the server: what each of them takes and gives. Knows nothing of connections.
class Site {
 public:
  static constexpr std::size_t kMaxTarget = std::size_t{8} << 10;  ///< bytes
  static constexpr std::size_t kMaxBody = std::size_t{1} << 20;    ///< of an edit
  static constexpr std::size_t kMaxImport = std::size_t{16} << 20;

  /// All must outlive the site.
  Site(ServedCollection& collection, Access& access, SiteOptions options);

  /// For one thread at a time. Throws only bad_alloc.
  Admission admit(const RequestHead& head);
  /// The answer to an admitted request. Any number of threads may answer requests of Work::Reading
  /// meanwhile, and one those of Work::Editing. Throws only bad_alloc.
  Response answer(const Request& request);

 private:
  struct Route;
  static const Route* findRoute(const std::vector<std::string>& path, std::string_view method,
                                std::string& allowed);
  std::optional<Response> refuse(const RequestHead& head, const Route& route) const;

  Response page(const Request& request);
  Response asset(const Request& request);
  Response cover(const Request& request);
  Response describe(const Request& request);
  Response list(const Request& request);
  Response item(const Request& request);
  Response events(const Request& request);
  Response set(const Request& request);
  Response lend(const Request& request);
  Response takeReturn(const Request& request);
  Response remove(const Request& request);
  Response add(const Request& request);
  Response undo(const Request& request);
  Response redo(const Request& request);
  Response import(const Request& request);

  ServedCollection& collection_;
  Access& access_;
  ServedEdits edits_;
  SiteOptions options_;
};

/// Headers that every answer has.
const std::vector<std::pair<std::string, std::string>>& commonHeaders();

}  // namespace tessaron::tool
