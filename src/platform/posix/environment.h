#pragma once

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>

namespace tessaron {

/// The value of an environment variable; empty when it is not set.
inline std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : std::string();
}

/// One of the user's base folders: what the variable names, if that is an absolute path, or else
/// `fallback` in the home folder.
inline std::string baseFolder(const char* variable, const char* fallback) {
  std::string folder = environment(variable);
  if (folder.starts_with('/')) return folder;
  folder = environment("HOME");
  if (folder.empty()) {
    passwd entry;
    passwd* user = nullptr;
    std::array<char, 16384> texts;
    getpwuid_r(geteuid(), &entry, texts.data(), texts.size(), &user);
    if (user) folder = user->pw_dir;
  }
  return folder + '/' + fallback;
}

}  // namespace tessaron
