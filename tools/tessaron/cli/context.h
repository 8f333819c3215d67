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

}  // namespace tessaron::tool
