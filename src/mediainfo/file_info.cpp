#include "mediainfo/file_info.h"

#include "platform/system.h"
#include "support/text.h"
#include "support/xml.h"

namespace {

using tessaron::appendElement;
using tessaron::fromUtf8;

void writeNumber(TiXmlElement& parent, const char* name, std::uint32_t value) {
  tessaron::appendText(parent, name, fromUtf8(std::to_string(value)));
}

void writeTime(TiXmlElement& parent, const char* name, const FILETIME& time) {
  tessaron::appendText(
      parent, name,
      fromUtf8(std::to_string(time.dwLowDateTime) + ' ' + std::to_string(time.dwHighDateTime)));
}

void writeMap(TiXmlElement& parent, const char* name, const PropertyMap& map) {
  TiXmlElement* element = appendElement(parent, name);
  for (const auto& [label, value] : map) {
    if (value.empty()) continue;
    composeTextAttributeNode(element, "Node", "Name", fromUtf8(std::to_string(label)), value);
  }
}

}  // namespace

bool CFileInfo::fromElem(TiXmlElement*) { return false; }

bool CFileInfo::toElem(TiXmlElement* elem) {
  if (!tessaron::isReadable(elem)) return false;
  TiXmlElement& parent = *elem;
  tessaron::appendText(parent, "PathFileName", path);
  writeNumber(parent, "SizeLow", sizeLow);
  writeNumber(parent, "SizeHigh", sizeHigh);
  writeTime(parent, "Created", creationTime);
  writeTime(parent, "Modified", lastWriteTime);
  writeNumber(parent, "Attributes", attributes);
  writeNumber(parent, "EncryptionStatus", encryptionStatus);
  std::u16string digits;
  for (const std::uint8_t value : checksum) {
    digits += u"0123456789abcdef"[value >> 4];
    digits += u"0123456789abcdef"[value & 15];
  }
  tessaron::appendText(parent, "Checksum", digits);
  tessaron::appendText(parent, "Digest", digest);
  writeMap(parent, "Info", info);
  writeMap(parent, "MetaInfo", metaInfo);
  for (const PropertyMap& stream : audioStreams) writeMap(parent, "AudioStream", stream);
  for (const PropertyMap& stream : videoStreams) writeMap(parent, "VideoStream", stream);
  // QUIRK: false, although the element is always filled. A success would be expected. Kept: callers
  // were written against it.
  return false;
}
