#include "themes/theme_scheme.h"

#include <string_view>

#include "platform/system.h"
#include "support/text.h"
#include "themes/theme_scheme_internal.h"

namespace {

const TiXmlElement* firstChild(const TiXmlElement& parent) { return parent.FirstChildElement(); }

bool readText(const TiXmlElement& element, const char* name, std::u16string& out) {
  const std::string* value = element.Attribute(std::string(name));
  if (value) out = tessaron::fromUtf8(*value);
  return value != nullptr;
}

std::int32_t readNumber(const TiXmlElement& element, const char* name) {
  int value = 0;
  return element.QueryIntAttribute(name, &value) == TIXML_SUCCESS ? value : 0;
}

void readTemplates(const TiXmlElement& templates, CThemeScheme& scheme) {
  for (auto child = firstChild(templates); child; child = child->NextSiblingElement()) {
    std::u16string mode, file;
    if (!readText(*child, "mode", mode) || !readText(*child, "file", file)) continue;
    if (mode == u"fullframe") scheme.fullFrameTemplate = file;
    if (mode == u"wideframe") scheme.wideFrameTemplate = file;
  }
}

// QUIRK: A child of any name is a group. Only "group" was meant. Kept: packages name them as they
// like.
SchemeGroup readGroup(const TiXmlElement& element) {
  SchemeGroup group;
  readText(element, "name", group.name);
  readText(element, "image", group.image);
  for (const auto& [attribute, member] : tessaron::kGroupNumbers)
    group.*member = readNumber(element, attribute);
  return group;
}

void readShelf(const TiXmlElement& shelf, CThemeScheme& scheme) {
  readText(shelf, "background", scheme.background);
  for (const auto& [attribute, member] : tessaron::kShelfNumbers)
    scheme.*member = readNumber(shelf, attribute);
  for (auto child = firstChild(shelf); child; child = child->NextSiblingElement())
    scheme.groups.push_back(readGroup(*child));
}

}  // namespace

SchemeGroup::SchemeGroup() = default;
SchemeGroup::SchemeGroup(const SchemeGroup&) = default;
SchemeGroup::SchemeGroup(SchemeGroup&&) noexcept = default;
SchemeGroup& SchemeGroup::operator=(const SchemeGroup&) = default;
SchemeGroup& SchemeGroup::operator=(SchemeGroup&&) noexcept = default;
SchemeGroup::~SchemeGroup() = default;

CThemeScheme::CThemeScheme(const CThemeScheme&) = default;
CThemeScheme::CThemeScheme(CThemeScheme&&) noexcept = default;
CThemeScheme& CThemeScheme::operator=(const CThemeScheme&) = default;
CThemeScheme& CThemeScheme::operator=(CThemeScheme&&) noexcept = default;
CThemeScheme::~CThemeScheme() = default;

CThemeScheme::CThemeScheme(TiXmlElement* scheme) {
  if (!tessaron::isReadable(scheme)) return;
  readText(*scheme, "name", name);
  readText(*scheme, "screenshot", screenshot);
  for (auto child = firstChild(*scheme); child; child = child->NextSiblingElement()) {
    const std::string_view kind = child->ValueStr();
    if (kind == "templates") readTemplates(*child, *this);
    // QUIRK: A second shelf adds its groups to those of the first, and replaces its numbers even
    // where it has none. Kept: packages that split a shelf in two rely on it.
    if (kind == "virtualshelf") readShelf(*child, *this);
  }
}
