// Links, which Windows has in forms of its own.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>

#include "support/package_samples.h"
#include "temporary_folder.h"
#include "themes/theme_package.h"

namespace fs = std::filesystem;

namespace {

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string problemsOf(const fs::path& destination, const std::string& content) {
  CThemePackage package;
  package.Initialize(*tessaron::memoryFile(content), destination.u16string(), true);
  std::string all;
  for (const auto& problem : package.report.problems) all += problem.reason + '\n';
  return all + package.report.failureReason;
}

}  // namespace

TEST(CPackagePosix, FollowsNoLink) {
  const TemporaryFolder root;
  const fs::path folder = root.path / "data" / samples::kIdentifier;
  fs::create_directories(folder);
  std::ofstream(root.path / "target") << "old";
  fs::create_directory(root.path / "elsewhere");
  fs::create_symlink(root.path / "target", folder / "toFile");
  fs::create_symlink(root.path / "new", folder / "toNothing");
  fs::create_symlink(root.path / "elsewhere", folder / "toFolder");
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  const std::string content = samples::package(
      {{"toFile", "bad"}, {"toNothing", "bad"}, {"toFolder", "bad"}, {"pipe", "bad"}, {"a", "a"}});
  const std::string link = "a link stands there\n";
  EXPECT_EQ(problemsOf(root.path / "data", content),
            link + link + link + "No such device or address\n");
  EXPECT_EQ(contentOf(root.path / "target"), "old");
  EXPECT_FALSE(fs::exists(root.path / "new"));
  EXPECT_TRUE(fs::is_empty(root.path / "elsewhere"));
  EXPECT_EQ(contentOf(folder / "a"), "a");

  // The folder itself: refused as a link. The destination is the caller's choice.
  fs::remove_all(folder);
  fs::create_symlink(root.path / "elsewhere", folder);
  EXPECT_TRUE(problemsOf(root.path / "data", content).ends_with("a link stands there"));
  EXPECT_TRUE(fs::is_empty(root.path / "elsewhere"));
  fs::create_symlink(root.path / "elsewhere", root.path / "destination");
  EXPECT_EQ(problemsOf(root.path / "destination", content), "");
  EXPECT_EQ(contentOf(root.path / "elsewhere" / samples::kIdentifier / "a"), "a");
}
