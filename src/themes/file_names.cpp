#include "themes/file_names.h"

#include <algorithm>

#include "platform/text.h"
#include "support/text.h"

namespace tessaron {
namespace {

constexpr std::size_t kMaxNameSize = 255;  // bytes on Linux; UTF-16 units, never more, elsewhere

// Names that Windows opens as devices in every folder, with any extension.
bool isDevice(std::u16string_view name) {
  name = name.substr(0, name.find(u'.'));
  name = name.substr(0, name.find_last_not_of(u' ') + 1);
  constexpr std::u16string_view kDevices[] = {u"CON",    u"PRN",     u"AUX",   u"NUL",
                                              u"CONIN$", u"CONOUT$", u"CLOCK$"};
  const auto is = [&](std::u16string_view device) { return equalIgnoringCase(name, device); };
  if (std::ranges::any_of(kDevices, is)) return true;
  constexpr std::u16string_view kNumbers = u"0123456789\u00B9\u00B2\u00B3";
  if (name.size() != 4 || kNumbers.find(name[3]) == kNumbers.npos) return false;
  name = name.substr(0, 3);
  return is(u"COM") || is(u"LPT");
}

}  // namespace

const char* faultOfFileName(std::u16string_view name) {
  const auto has = [&](auto isBad) { return std::ranges::any_of(name, isBad); };
  if (name.empty()) return "the name is empty";
  if (has([](char16_t unit) { return unit == u'/' || unit == u'\\'; }))
    return "the name leads into another folder";
  if (has([](char16_t unit) { return unit == u':'; }))
    return "the name is that of a drive or of a file's stream";
  if (has([](char16_t unit) { return unit < 0x20 || unit == 0x7F; }))
    return "the name has a control character";
  if (has([](char16_t unit) {
        return std::u16string_view(u"<>\"|?*").find(unit) != std::u16string_view::npos;
      }))
    return "the name has a character that file names cannot have";
  if (name.back() == u'.' || name.back() == u' ') return "the name ends in a dot or a blank";
  if (isDevice(name)) return "the name is that of a device";
  if (toUtf8(name).size() > kMaxNameSize) return "the name is too long";
  return nullptr;
}

std::u16string inCapitals(std::u16string name) {
  std::ranges::transform(name, name.begin(), upperCase);
  return name;
}

}  // namespace tessaron
