#pragma once

#include <string>
#include <string_view>

#include "serve/message.h"
#include "serve/served_collection.h"

namespace tessaron::tool {

/// The edits that a server makes for its clients: the same as those of the verbs, through the same
/// functions, under the same lock, and in the same history. An edit of an item is refused unless
/// the client knows the item's version: 412 tells what the item is now. All members fail as
/// `changeCollection` does. For one thread at a time.
class ServedEdits {
 public:
  explicit ServedEdits(ServedCollection& collection) : collection_(collection) {}

  /// Take the key of an item, the header If-Match, and the body of the request.
  Response set(const std::string& key, std::string_view ifMatch, std::string_view body);
  Response lend(const std::string& key, std::string_view ifMatch, std::string_view body);
  Response takeReturn(const std::string& key, std::string_view ifMatch, std::string_view body);
  Response remove(const std::string& key, std::string_view ifMatch);

  Response add(std::string_view body);
  Response takeBack(bool redo);
  /// Takes over the items of a file that is known by `name`.
  Response import(const std::string& name, std::string content);

 private:
  class KeyedEdit;
  Response run(const char* verb, KeyedEdit& edit);

  ServedCollection& collection_;
};

}  // namespace tessaron::tool
