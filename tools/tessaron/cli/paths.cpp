#include "cli/paths.h"

#include "cli/failures.h"
#include "platform/system.h"
#include "support/text.h"

namespace tessaron::tool {

bool isUtf8(const std::string& text) { return toUtf8(fromUtf8(text)) == text; }

std::filesystem::path filePath(std::string_view text) {
  return std::u8string(text.begin(), text.end());
}

std::string pathText(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

std::string displayName(const std::string& path) { return path == "-" ? "standard input" : path; }

std::u16string widePath(const std::string& path, ExitCode code) {
  if (path.empty()) throw Failure{code, {}, "the file's name is empty"};
  if (!isUtf8(path)) throw Failure{code, path, "the file's name is not UTF-8"};
  return withSystemSeparators(fromUtf8(path));
}

}  // namespace tessaron::tool
