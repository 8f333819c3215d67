#pragma once
// What the process that reads a file and the one that asked for it tell each other.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "mediainfo/property_map.h"

namespace tessaron::tool {

/// How a file is described.
struct DescribedView {
  bool wantsThumbnail = false;
  bool isByName = false;  ///< by the extension of the name, as the library's CFileInfo does
  bool wantsLocation = false;
};

/// What is to be found out about a file.
struct Question {
  std::u16string name;  ///< the file's, without its folder
  std::int32_t detectMask = 0;
  DescribedView view;
};

/// What was found in a file.
struct Finding {
  std::string failure;  ///< why nothing was found, as the end of a sentence; then all else is unset
  bool isUndecodable = false;  ///< only a picture's header could be read
  std::int32_t category = 0;   ///< as CFileInfo has them
  PropertyMap info;
  PropertyMap metaInfo;
  StreamList audioStreams;
  StreamList videoStreams;
  std::string thumbnail;  ///< a PNG file; empty without one
};

std::string encode(const Question& question);
/// Nothing when the text is no such question.
std::optional<Question> decodeQuestion(std::string_view text);

std::string encode(const Finding& finding);
/// Nothing when the text is no such finding, or one that no file could have: a reader that a
/// hostile file has taken over may have written it. Memory is bounded by the size of the text.
std::optional<Finding> decodeFinding(std::string_view text);

}  // namespace tessaron::tool
