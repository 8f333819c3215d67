#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <nlohmann/json.hpp>
#include <numeric>
#include <optional>

#include "settings/setting_table.h"
#include "support/overloaded.h"
#include "support/text.h"
#include "terminal.h"
#include "verbs.h"

namespace tessaron::tool {
namespace {

using nlohmann::ordered_json;

struct Options {
  std::string name;
  std::vector<std::string> values;
  bool json = false;
};

constexpr const char* kStore = "settings";

Failure storeFailure(std::int32_t code) {
  switch (code) {
    case ERROR_BUSY:
      return {kCannotWrite, kStore, "other processes are using them for too long"};
    case ERROR_ACCESS_DENIED:
      return {kCannotCreate, kStore, "permission denied"};
    case ERROR_DISK_FULL:
      return {kCannotWrite, kStore, "no space left on the disk"};
    case ERROR_CANTOPEN:
      return {kCannotCreate, kStore, "the file cannot be opened or made"};
    case ERROR_BADDB:
    case ERROR_REGISTRY_IO_FAILED:
      return {kBadData, kStore, "the file cannot be read, or is something else"};
    default:
      return {kFailed, kStore, fmt::format("error {}", code)};
  }
}

void require(std::int32_t code) {
  if (code != ERROR_SUCCESS) throw storeFailure(code);
}

enum class Access { Read, Change, Create };

/// Opens a key. One that is missing stays closed, unless it is to be made.
void openKey(CRegKeyEx& key, const char16_t* name, Access access) {
  const std::int32_t code =
      access == Access::Create ? key.Create(HKEY_CURRENT_USER, name)
                               : key.Open(HKEY_CURRENT_USER, name,
                                          access == Access::Read ? KEY_READ : KEY_READ | KEY_WRITE);
  if (access == Access::Create || code != ERROR_FILE_NOT_FOUND) require(code);
}

/// The settings as they are stored, with the defaults of those that are not.
std::unique_ptr<Config> loadSettings(CRegKeyEx& key) {
  auto config = std::make_unique<Config>();
  for (const Setting& setting : settingTable()) {
    resetSetting(setting, *config);
    readSetting(setting, key, *config);
  }
  return config;
}

std::string nameOf(const Setting& setting) { return toUtf8(setting.name); }

char16_t smallLetter(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 0x20) : unit;
}

/// How many letters have to be inserted, deleted or replaced, whatever their case.
std::size_t distance(std::u16string_view from, std::u16string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (std::size_t i = 0; i < from.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t k = 0; k < to.size(); ++k) {
      const std::size_t replaced = diagonal + (smallLetter(from[i]) == smallLetter(to[k]) ? 0 : 1);
      diagonal = row[k + 1];
      row[k + 1] = std::min({replaced, row[k] + 1, diagonal + 1});
    }
  }
  return row.back();
}

/// The setting of that name, whatever its case. Fails with kUsage, and names the nearest one.
const Setting& findSetting(const std::string& name) {
  const std::u16string wanted = fromUtf8(name);
  const auto nearest = std::ranges::min_element(
      settingTable(), {}, [&](const Setting& setting) { return distance(wanted, setting.name); });
  if (distance(wanted, nearest->name) != 0)
    throw Failure{
        kUsage,
        {},
        fmt::format("there is no setting '{}'; the nearest one is {}", name, nameOf(*nearest))};
  return *nearest;
}

const char* typeOf(const Setting& setting) {
  return std::visit(Overloaded{
                        [](const SettingOf<bool>&) { return "bool"; },
                        [](const SettingOf<int>&) { return "int"; },
                        [](const TextSetting&) { return "string"; },
                        [](const FlagsSetting&) { return "flags"; },
                        [](const StringsSetting&) { return "strings"; },
                        [](const SettingOf<CRect>&) { return "rectangle"; },
                    },
                    setting.place);
}

ordered_json texts(const auto& strings) {
  auto array = ordered_json::array();
  for (const std::u16string& text : strings) array.push_back(toUtf8(text));
  return array;
}

ordered_json jsonValue(const Setting& setting, const Config& config) {
  return std::visit(
      Overloaded{
          [&](const TextSetting& it) { return ordered_json(toUtf8(config.*it.member)); },
          [&](const StringsSetting& it) { return texts(config.*it.member); },
          [&](const SettingOf<CRect>& it) {
            const CRect& rect = config.*it.member;
            return ordered_json{rect.left, rect.top, rect.right, rect.bottom};
          },
          [&](const auto& it) { return ordered_json(config.*it.member); },
      },
      setting.place);
}

/// A value as `set` takes it; lists have a line, or what else `separator` is, between their parts.
std::string valueText(const ordered_json& value, const std::string& separator) {
  if (value.is_string()) return value.get<std::string>();
  if (!value.is_array()) return value.dump();
  std::string text;
  for (const ordered_json& part : value) {
    if (&part != &value.front()) text += part.is_string() ? separator : ",";
    text += part.is_boolean() ? (part ? "1" : "0") : valueText(part, separator);
  }
  return text;
}

Failure wrongValue(const Setting& setting, const std::string& wanted) {
  return {kUsage, {}, fmt::format("{} takes {}", nameOf(setting), wanted)};
}

bool parseFlag(const Setting& setting, const std::string& text) {
  for (const char* yes : {"true", "1", "yes", "on"})
    if (text == yes) return true;
  for (const char* no : {"false", "0", "no", "off"})
    if (text == no) return false;
  throw wrongValue(setting, "true or false");
}

std::optional<int> parseNumber(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::u16string parseText(const Setting& setting, const std::string& text) {
  std::u16string wide = fromUtf8(text);
  if (toUtf8(wide) != text) throw wrongValue(setting, "UTF-8 text");
  return wide;
}

std::vector<std::string> splitAtCommas(const std::string& text) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == ',') {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

CRect parseRect(const Setting& setting, const std::string& text) {
  std::vector<int> numbers;
  for (const std::string& part : splitAtCommas(text)) {
    const std::optional<int> number = parseNumber(part);
    if (number) numbers.push_back(*number);
  }
  if (numbers.size() != 4 || std::ranges::count(text, ',') != 3)
    throw wrongValue(setting, "four whole numbers: left,top,right,bottom");
  return {numbers[0], numbers[1], numbers[2], numbers[3]};
}

/// Puts what the command line gives into the configuration. Fails with kUsage when it is no value
/// of the setting's type.
void assign(const Setting& setting, const std::vector<std::string>& values, Config& config) {
  const auto one = [&]() -> const std::string& {
    if (values.size() != 1) throw wrongValue(setting, "one value");
    return values.front();
  };
  const auto parse = Overloaded{
      [&](const SettingOf<bool>& it) { config.*it.member = parseFlag(setting, one()); },
      [&](const SettingOf<int>& it) {
        const std::optional<int> number = parseNumber(one());
        if (!number) throw wrongValue(setting, "a whole number from -2147483648 to 2147483647");
        config.*it.member = *number;
      },
      [&](const TextSetting& it) { config.*it.member = parseText(setting, one()); },
      [&](const FlagsSetting& it) {
        std::vector<bool> flags;
        for (const std::string& part : splitAtCommas(one()))
          flags.push_back(parseFlag(setting, part));
        if (flags.size() != it.standard)
          throw wrongValue(setting, fmt::format("{} flags with commas between", it.standard));
        config.*it.member = flags;
      },
      [&](const StringsSetting& it) {
        (config.*it.member).clear();
        for (const std::string& text : values) {
          if (text.empty()) throw wrongValue(setting, "texts that are not empty");
          (config.*it.member).push_back(parseText(setting, text));
        }
      },
      [&](const SettingOf<CRect>& it) { config.*it.member = parseRect(setting, one()); },
  };
  std::visit(parse, setting.place);
}

ordered_json settingJson(const Setting& setting, const Config& config, const Config& standard) {
  return {{"name", nameOf(setting)},
          {"type", typeOf(setting)},
          {"value", jsonValue(setting, config)},
          {"default", jsonValue(setting, standard)}};
}

Config standardSettings() {
  Config standard;
  for (const Setting& setting : settingTable()) resetSetting(setting, standard);
  return standard;
}

int list(const Options& options, const Context& context) {
  CRegKeyEx key;
  openKey(key, kOptionsKey, Access::Read);
  const auto config = loadSettings(key);
  const Config standard = standardSettings();
  auto array = ordered_json::array();
  Table table({"Name", "Type", "Value", "Default"});
  for (const Setting& setting : settingTable()) {
    const ordered_json json = settingJson(setting, *config, standard);
    const bool changed = json["value"] != json["default"];
    table.add({{nameOf(setting)},
               {typeOf(setting)},
               {valueText(json["value"], "; "), changed ? Style::Bold : Style::Plain},
               {valueText(json["default"], "; ")}});
    array.push_back(json);
  }
  if (options.json) {
    printJson(array);
  } else {
    table.print(context);
  }
  return kDone;
}

int get(const Options& options) {
  const Setting& setting = findSetting(options.name);
  CRegKeyEx key;
  openKey(key, kOptionsKey, Access::Read);
  const auto config = loadSettings(key);
  if (options.json) {
    printJson(settingJson(setting, *config, standardSettings()));
  } else {
    print(valueText(jsonValue(setting, *config), "\n") + '\n');
  }
  return kDone;
}

int set(const Options& options) {
  const Setting& setting = findSetting(options.name);
  Config config;
  assign(setting, options.values, config);
  CRegKeyEx key;
  openKey(key, kOptionsKey, Access::Create);
  require(writeSetting(setting, key, config));
  return kDone;
}

int reset(const Options& options) {
  const Setting* only = options.name.empty() ? nullptr : &findSetting(options.name);
  CRegKeyEx key;
  openKey(key, kOptionsKey, Access::Change);
  if (!key.m_hKey) return kDone;
  RegistryBatch batch(key);
  for (const Setting& setting : settingTable()) {
    if (only && only != &setting) continue;
    const std::int32_t code = key.DeleteValue(setting.name);
    if (code != ERROR_FILE_NOT_FOUND) require(code);
  }
  require(batch.end());
  return kDone;
}

int lists(const Options& options, const Context& context) {
  Config config;
  CRegKeyEx general, custom;
  openKey(general, kGeneralListsKey, Access::Read);
  openKey(custom, kCustomListsKey, Access::Read);
  config.ResetGeneralStringList();
  readStringLists(general, custom, config);
  ordered_json document;
  Table table({"Kind", "Name", "Entries"});
  for (const auto& [kind, map] :
       {std::pair("general", &config.generalStringLists), {"custom", &config.customStringLists}}) {
    document[kind] = ordered_json::object();
    for (const auto& [name, strings] : *map) {
      const ordered_json entries = texts(strings);
      table.add({{kind}, {toUtf8(name)}, {valueText(entries, "; ")}});
      document[kind][toUtf8(name)] = entries;
    }
  }
  if (options.json) {
    printJson(document);
  } else {
    table.print(context);
  }
  return kDone;
}

}  // namespace

void addSettings(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("settings", "Shows and changes the settings");
  verb->require_subcommand(1);
  const auto add = [&](const char* name, const char* about, auto function) {
    CLI::App* child = verb->add_subcommand(name, about);
    child->callback([&context, options, function] {
      context.run = [&context, options, function] { return function(*options, context); };
    });
    return child;
  };
  const auto withName = [&](CLI::App* child) {
    return child->add_option("NAME", options->name, "The setting's name, whatever its case");
  };
  const auto withJson = [&](CLI::App* child) {
    child->add_flag("--json", options->json, "Print JSON");
  };
  withJson(add("list", "Lists all settings with their defaults", list));
  CLI::App* getVerb =
      add("get", "Prints a setting", [](const Options& o, const Context&) { return get(o); });
  withName(getVerb)->required();
  withJson(getVerb);
  CLI::App* setVerb =
      add("set", "Changes a setting", [](const Options& o, const Context&) { return set(o); });
  withName(setVerb)->required();
  setVerb
      ->add_option("VALUE", options->values,
                   "true or false, a number, a text; flags and rectangles with commas between; "
                   "several texts for a list")
      ->required();
  withName(add("reset", "Gives one setting its default, or all of them",
               [](const Options& o, const Context&) { return reset(o); }));
  withJson(add("lists", "Lists the general and the custom string lists", lists));
}

}  // namespace tessaron::tool
