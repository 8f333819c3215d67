#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tessaron_export.h"

namespace tessaron {

/// Writes JSON straight into a string: indented by two columns a level, every control character
/// escaped (those from U+007F to U+009F too, which terminals obey). Takes one value; in an object,
/// a key before each. What is begun must be ended. A writer and its string belong to one thread at
/// a time.
class TESSARON_API JsonWriter {
 public:
  /// Appends to `out`, which must outlive the writer. `depth`: the number of objects and arrays
  /// around the value, whose brackets others write.
  explicit JsonWriter(std::string& out, std::size_t depth = 0)
      : out_(out), lineStart_(1 + 2 * depth, ' ') {
    lineStart_.front() = '\n';
  }

  void beginObject() { begin('{'); }
  void endObject() { end('}'); }
  void beginArray() { begin('['); }
  void endArray() { end(']'); }
  /// The key of the object's next value: ASCII without quotation marks and backslashes.
  void key(std::string_view name);
  /// A key of any characters.
  void key(std::u16string_view name);
  void text(std::u16string_view value);
  void number(std::int64_t value);
  void null();

 private:
  void begin(char bracket);
  void end(char bracket);
  void beginValue();
  void nextPart();

  std::string& out_;
  std::string lineStart_;      // a line end and the indentation
  std::vector<bool> isArray_;  // of the open objects and arrays
  bool isEmpty_ = true;        // nothing stands in the innermost one
};

}  // namespace tessaron
