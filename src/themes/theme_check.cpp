#include "themes/theme_check.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <string_view>
#include <utility>

#include "platform/directory.h"
#include "platform/file.h"
#include "support/text.h"
#include "themes/file_names.h"
#include "themes/theme_scheme_internal.h"

namespace tessaron {
namespace {

constexpr std::size_t kMaxWarnings = 1000;

bool isPicture(std::u16string_view capitals) {
  constexpr std::u16string_view kPictures[] = {u".BMP", u".GIF", u".ICO", u".JPE",  u".JPEG",
                                               u".JPG", u".PNG", u".TIF", u".TIFF", u".WEBP"};
  return std::ranges::any_of(kPictures, [&](auto suffix) { return capitals.ends_with(suffix); });
}

// Stricter than the reader, which stops at the first character that is no digit.
bool isWholeNumber(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
  if (text.starts_with('+')) text.remove_prefix(1);
  std::int32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

// Collects the values of all attributes: any of them may name a file.
class NameCollector : public TiXmlVisitor {
 public:
  bool VisitEnter(const TiXmlElement&, const TiXmlAttribute* attribute) override {
    for (; attribute; attribute = attribute->Next())
      names.insert(inCapitals(fromUtf8(attribute->ValueStr())));
    return true;
  }
  std::set<std::u16string> names;
};

// Calls `act` with every file that the scheme names and its role.
template <typename Act>
void forEachFile(const CThemeScheme& scheme, const Act& act) {
  const auto give = [&](const std::u16string& name, const std::string& use) {
    if (!name.empty()) act(name, use);
  };
  give(scheme.screenshot, "the screenshot");
  give(scheme.fullFrameTemplate, "the frame for pictures that stand upright");
  give(scheme.wideFrameTemplate, "the frame for pictures that lie");
  give(scheme.background, "the background of the shelf");
  for (const SchemeGroup& group : scheme.groups)
    give(group.image, "the picture of the group \"" + toUtf8(group.name) + "\"");
}

bool isListed(const CThemePackage& package, const std::u16string& capitals) {
  const TiXmlElement* root = package.index->RootElement();
  for (auto child = root ? root->FirstChildElement() : nullptr; child;
       child = child->NextSiblingElement()) {
    const std::string* name = child->Attribute(std::string("filename"));
    if (name && inCapitals(fromUtf8(*name)) == capitals) return true;
  }
  return false;
}

// Why the file was not unpacked; nothing when it was.
std::optional<std::string> reasonForMissing(const CThemePackage& package,
                                            const std::u16string& capitals) {
  std::string reason = "it is missing";
  for (const PackageReport::Entry& entry : package.report.entries) {
    for (const std::u16string& name : entry.names) {
      if (inCapitals(name) != capitals) continue;
      bool isRefused = false;
      for (const PackageReport::Problem& problem : package.report.problems) {
        if (problem.entry != entry.id || (!problem.name.empty() && problem.name != name)) continue;
        reason = problem.reason;
        isRefused = isRefused || !problem.name.empty();
      }
      std::error_code error;
      const auto file =
          isRefused ? nullptr : openFile(joinPath(package.extractionFolder, name), {}, error);
      if (file && file->size() != 0u) return std::nullopt;
    }
  }
  return reason;
}

class Checker {
 public:
  explicit Checker(const CThemePackage& package) : package_(package) {
    for (const auto& entry : package.report.entries)
      for (const std::u16string& name : entry.names)
        if (!faultOfFileName(name)) files_.insert(inCapitals(name));
  }

  std::vector<ThemeWarning> run() {
    TiXmlElement* root = package_.mainDocument->RootElement();
    if (!root) {
      add({}, u"main.xml", "the package has none that can be read");
      return std::move(warnings_);
    }
    if (package_.schemes.empty()) add({}, u"main.xml", "it describes no theme");
    const TiXmlElement* element = root->FirstChildElement("theme");
    for (std::size_t i = 0; element && i < package_.schemes.size(); ++i) {
      checkFiles(i, *package_.schemes[i]);
      checkNumbers(i, *element);
      element = element->NextSiblingElement("theme");
    }
    checkPictures(*root);
    return std::move(warnings_);
  }

 private:
  void checkFiles(std::size_t number, const CThemeScheme& scheme) {
    forEachFile(scheme, [&](const std::u16string& name, const std::string& use) {
      if (!files_.contains(inCapitals(name)))
        add(number, name, "the package lacks this file, " + use);
    });
  }

  void checkNumbers(std::size_t number, const TiXmlElement& theme) {
    for (auto shelf = theme.FirstChildElement("virtualshelf"); shelf;
         shelf = shelf->NextSiblingElement("virtualshelf")) {
      for (const auto& attribute : kShelfNumbers)
        checkNumber(number, *shelf, attribute.name, "the shelf");
      for (auto group = shelf->FirstChildElement(); group; group = group->NextSiblingElement()) {
        const std::string* name = group->Attribute(std::string("name"));
        const std::string owner = "the group \"" + (name ? *name : "") + "\"";
        for (const auto& attribute : kGroupNumbers)
          checkNumber(number, *group, attribute.name, owner);
      }
    }
  }

  void checkNumber(std::size_t number, const TiXmlElement& element, const char* name,
                   const std::string& owner) {
    const std::string* text = element.Attribute(std::string(name));
    if (text && !isWholeNumber(*text))
      add(number, fromUtf8(name), "\"" + *text + "\" is no whole number, in " + owner);
  }

  void checkPictures(TiXmlElement& root) {
    NameCollector named;
    root.Accept(&named);
    for (const auto& entry : package_.report.entries) {
      for (const std::u16string& name : entry.names) {
        const std::u16string capitals = inCapitals(name);
        if (isPicture(capitals) && !named.names.contains(capitals))
          add({}, name, "nothing in main.xml names this picture");
      }
    }
  }

  void add(std::optional<std::size_t> scheme, std::u16string_view name, std::string reason) {
    if (warnings_.size() < kMaxWarnings)
      warnings_.push_back({scheme, std::u16string(name), std::move(reason)});
  }

  const CThemePackage& package_;
  std::set<std::u16string> files_;  // in capitals
  std::vector<ThemeWarning> warnings_;
};

}  // namespace

std::vector<ThemeWarning> checkTheme(const CThemePackage& package) {
  return Checker(package).run();
}

std::vector<ThemeWarning> findDropped(const CThemePackage& package, const CThemeScheme& scheme) {
  std::vector<ThemeWarning> dropped;
  forEachFile(scheme, [&](const std::u16string& name, const std::string& use) {
    const std::u16string capitals = inCapitals(name);
    if (!isListed(package, capitals)) return;
    if (const auto reason = reasonForMissing(package, capitals))
      dropped.push_back({{}, name, use + ": " + *reason});
  });
  return dropped;
}

}  // namespace tessaron
