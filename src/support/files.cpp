#include "support/files.h"

#include "platform/file.h"

namespace tessaron {

bool readFile(const std::u16string& path, std::string& out) {
  std::error_code error;
  const std::unique_ptr<File> file = openFile(path, {}, error);
  std::string content;
  if (!file || !readToEnd(*file, content)) return false;
  out = std::move(content);
  return true;
}

}  // namespace tessaron

void ReadFileToString(const std::u16string& path, std::string& out) {
  out.clear();
  tessaron::readFile(path, out);
}
