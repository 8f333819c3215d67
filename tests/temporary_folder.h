#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <system_error>

/// A new folder that vanishes, with all that is in it, at the end of its scope.
struct TemporaryFolder {
  TemporaryFolder() {
    std::random_device random;
    do {
      path = std::filesystem::temp_directory_path() /
             ("tessaron-test-" + std::to_string(random()) + std::to_string(random()));
    } while (!std::filesystem::create_directory(path));
  }
  ~TemporaryFolder() {
    std::error_code error;
    std::filesystem::remove_all(path, error);
    EXPECT_FALSE(error) << "the folder cannot be removed: " << path;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  /// How many entries the folder has, hidden ones included.
  std::size_t entries() const {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(path)) ++count;
    return count;
  }

  std::filesystem::path path;
};
