#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// Writes a file anew; returns its path.
inline std::u16string writeFile(const std::filesystem::path& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
  return path.u16string();
}

inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}
