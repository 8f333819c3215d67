#pragma once

#include <functional>
#include <string>

namespace tessaron::tool {

/// The options that all verbs have in common, and what the chosen verb does.
struct Context {
  bool quiet = false;
  std::string color = "auto";
  std::function<int()> run;  ///< set while the command line is parsed; gives the exit code
};

/// What all edits of collections have in common, whichever verb makes them.
struct EditSession {
  std::string verb;      ///< as the history names them
  bool isTrial = false;  ///< --dry-run: nothing is written, the changes are printed
};
inline EditSession& editSession() {
  static EditSession session;
  return session;
}

}  // namespace tessaron::tool
