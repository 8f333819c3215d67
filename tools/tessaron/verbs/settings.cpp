#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/settings_store.h"
#include "cli/terminal.h"
#include "output/csv.h"
#include "output/json.h"
#include "output/table.h"
#include "platform/standard_streams.h"
#include "support/overloaded.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

using nlohmann::ordered_json;

struct Options {
  std::string name;
  std::vector<std::string> values;
  Form form = Form::Table;
  std::string output;
};

using Access = SettingsAccess;

std::string nameOf(const Setting& setting) { return toUtf8(setting.name); }

/// As `findSetting`, but fails with kUsage for an unknown name and suggests the nearest one.
const Setting& requireSetting(const std::string& name) {
  const std::u16string wanted = fromUtf8(name);
  if (const Setting* found = findSetting(wanted)) return *found;
  const Setting* nearest = nearestSetting(wanted);
  throw Failure{kUsage,
                {},
                fmt::format("there is no setting '{}'; ", name) +
                    (nearest ? "the nearest one is " + nameOf(*nearest)
                             : "\"settings list\" lists them all")};
}

const char* typeOf(const Setting& setting) {
  return std::visit(Overloaded{
                        [](const SettingOf<bool>&) { return "bool"; },
                        [](const NumberSetting&) { return "int"; },
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

/// A value in the syntax of `set`; `separator` separates the elements of lists.
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

/// Stores the values of the command line in the configuration. Fails with kUsage when they do not
/// have the setting's type and range.
void assign(const Setting& setting, const std::vector<std::string>& values, Config& config) {
  const auto one = [&]() -> const std::string& {
    if (values.size() != 1) throw wrongValue(setting, "one value");
    return values.front();
  };
  const auto parse = Overloaded{
      [&](const SettingOf<bool>& it) { config.*it.member = parseFlag(setting, one()); },
      [&](const NumberSetting& it) {
        const std::optional<int> number = parseNumber(one());
        if (!number || *number < it.min || *number > it.max)
          throw wrongValue(setting, fmt::format("a whole number from {} to {}", it.min, it.max));
        config.*it.member = *number;
      },
      [&](const TextSetting& it) { config.*it.member = parseText(setting, one()); },
      [&](const FlagsSetting& it) {
        std::vector<bool> flags;
        for (const std::string& part : splitAtCommas(one()))
          flags.push_back(parseFlag(setting, part));
        if (flags.size() != it.defaultValue)
          throw wrongValue(setting, fmt::format("{} flags with commas between", it.defaultValue));
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

ordered_json settingJson(const Setting& setting, const Config& config, const Config& defaults) {
  return {{"name", nameOf(setting)},
          {"type", typeOf(setting)},
          {"value", jsonValue(setting, config)},
          {"default", jsonValue(setting, defaults)}};
}

/// Writes a result in the chosen form.
void write(const Options& options, const Context& context, const ordered_json& json,
           const Table& table, const std::vector<std::vector<std::string>>& rows) {
  Output output(options.output);
  if (options.form == Form::Json) {
    output.write(jsonText(json));
  } else if (options.form == Form::Table) {
    table.print(context, output);
  } else {
    for (const auto& row : rows) output.write(separatedRow(options.form, row));
  }
  output.finish();
}

int list(const Options& options, const Context& context) {
  Config config, defaults;
  loadSettings(config);
  resetSettings(defaults);
  auto array = ordered_json::array();
  Table table({"Name", "Type", "Value", "Default"});
  std::vector<std::vector<std::string>> rows = {{"name", "type", "value", "default"}};
  for (const Setting& setting : settingTable()) {
    const ordered_json json = settingJson(setting, config, defaults);
    const bool changed = json["value"] != json["default"];
    rows.push_back({nameOf(setting), typeOf(setting), valueText(json["value"], "; "),
                    valueText(json["default"], "; ")});
    const std::vector<std::string>& row = rows.back();
    table.add({{row[0]}, {row[1]}, {row[2], changed ? Style::Bold : Style::Plain}, {row[3]}});
    array.push_back(json);
  }
  write(options, context, array, table, rows);
  return kDone;
}

int get(const Options& options, const Context&) {
  const Setting& setting = requireSetting(options.name);
  Config config, defaults;
  loadSettings(config);
  resetSettings(defaults);
  if (options.form == Form::Json) {
    printJson(settingJson(setting, config, defaults));
    return kDone;
  }
  const std::string text = valueText(jsonValue(setting, config), "\n") + '\n';
  print(isTerminal(StandardStream::Out) ? printable(text, true) : text);
  return kDone;
}

int set(const Options& options, const Context&) {
  const Setting& setting = requireSetting(options.name);
  const RegistryDeadline deadline;
  Config config;
  assign(setting, options.values, config);
  CRegKeyEx key;
  openSettings(key, kOptionsKey, Access::Create);
  requireSettings(writeSetting(setting, key, config), Access::Create);
  return kDone;
}

int reset(const Options& options, const Context&) {
  const Setting* only = options.name.empty() ? nullptr : &requireSetting(options.name);
  const RegistryDeadline deadline;
  CRegKeyEx key;
  openSettings(key, kOptionsKey, Access::Change);
  if (!key.m_hKey) return kDone;
  RegistryBatch batch(key);
  requireSettings(batch.code(), Access::Change);
  for (const Setting& setting : settingTable()) {
    if (only && only != &setting) continue;
    const std::int32_t code = key.DeleteValue(setting.name);
    if (code != ERROR_FILE_NOT_FOUND) requireSettings(code, Access::Change);
  }
  requireSettings(batch.end(), Access::Change);
  return kDone;
}

int lists(const Options& options, const Context& context) {
  Config config;
  {
    const RegistryDeadline deadline;
    CRegKeyEx general, custom;
    openSettings(general, kGeneralListsKey, Access::Read);
    openSettings(custom, kCustomListsKey, Access::Read);
    config.ResetGeneralStringList();
    requireSettings(readStringLists(general, custom, config), Access::Read);
  }
  ordered_json document;
  Table table({"Kind", "Name", "Entries"});
  std::vector<std::vector<std::string>> rows = {{"kind", "name", "entries"}};
  for (const auto& [kind, map] :
       {std::pair("general", &config.generalStringLists), {"custom", &config.customStringLists}}) {
    document[kind] = ordered_json::object();
    for (const auto& [name, strings] : *map) {
      const ordered_json entries = texts(strings);
      rows.push_back({kind, toUtf8(name), valueText(entries, "; ")});
      table.add({{kind}, {rows.back()[1]}, {rows.back()[2]}});
      document[kind][toUtf8(name)] = entries;
    }
  }
  write(options, context, document, table, rows);
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
  const auto withForms = [&](CLI::App* child) {
    addFormFlags(*child, options->form, {Form::Json, Form::Csv, Form::Tsv});
    addOutputOption(*child, options->output);
  };
  withForms(add("list", "Lists all settings with their defaults", list));
  CLI::App* getVerb = add("get", "Prints a setting", get);
  withName(getVerb)->required();
  addFormFlags(*getVerb, options->form, {Form::Json});
  CLI::App* setVerb = add("set", "Changes a setting", set);
  withName(setVerb)->required();
  setVerb
      ->add_option("VALUE", options->values,
                   "true or false, a number, a text; flags and rectangles with commas between; "
                   "several texts for a list")
      ->required();
  withName(add("reset", "Gives one setting its default, or all of them", reset));
  withForms(add("lists", "Lists the general and the custom string lists", lists));
}

}  // namespace tessaron::tool
