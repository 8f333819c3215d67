#include <charconv>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "mediainfo/codec_names.h"
#include "output/csv.h"
#include "output/json.h"
#include "output/table.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::vector<std::string> codes;
  std::string output;
  Form form = Form::Table;
};

struct Codec {
  bool isVideo;
  std::uint32_t code;
  std::string name;  // empty for an unknown code
};

/// Parses a decimal number, or a hexadecimal one after 0x.
std::optional<std::uint32_t> parseNumber(std::string_view text) {
  const bool isHex = text.starts_with("0x") || text.starts_with("0X");
  if (isHex) text.remove_prefix(2);
  std::uint32_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, isHex ? 16 : 10);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

/// Numbers of up to 16 bits are format tags; greater numbers and other texts are FourCCs.
Codec lookUp(const std::string& text) {
  constexpr std::uint32_t kLastTag = 0xFFFF;
  Codec codec{};
  if (const auto number = parseNumber(text)) {
    codec.code = *number;
    codec.isVideo = codec.code > kLastTag;
  } else {
    if (text.empty() || text.size() > 4)
      throw Failure{kUsage, {}, "'" + text + "' is neither a format tag nor a FourCC"};
    codec.isVideo = true;
    for (std::size_t i = text.size(); i-- > 0;)
      codec.code = codec.code << 8 | static_cast<unsigned char>(text[i]);
  }
  std::u16string name;
  if (codec.isVideo) {
    CFourCCInfo().getNameByFourCC(codec.code, name);
  } else {
    CAudioFormatTagInfo().getNameByFormatTag(static_cast<std::uint16_t>(codec.code), name);
  }
  codec.name = toUtf8(name);
  return codec;
}

int run(const Options& options, const Context& context) {
  const bool isSeparated = options.form == Form::Csv || options.form == Form::Tsv;
  auto array = nlohmann::ordered_json::array();
  Table table({"Code", "Kind", "Name"});
  std::string rows;
  if (isSeparated) rows = separatedRow(options.form, {"code", "kind", "value", "name"});
  std::size_t known = 0;
  std::string unknown;
  for (const std::string& text : options.codes) {
    const Codec codec = lookUp(text);
    const char* const kind = codec.isVideo ? "video" : "audio";
    array.push_back({{"code", text}, {"kind", kind}, {"value", codec.code}, {"name", codec.name}});
    if (isSeparated)
      rows += separatedRow(options.form, {text, kind, std::to_string(codec.code), codec.name});
    if (codec.name.empty()) {
      unknown += (unknown.empty() ? "'" : ", '") + text + "'";
    } else {
      ++known;
      table.add({{text}, {kind}, {codec.name}});
    }
  }
  Output output(options.output);
  if (options.form == Form::Json) {
    output.write(jsonText(array) + '\n');
  } else if (isSeparated) {
    output.write(rows);
  } else if (known > 0) {
    table.print(context, output);
  }
  output.finish();
  if (!unknown.empty()) throw Failure{kFailed, {}, "no name is known for " + unknown};
  return kDone;
}

}  // namespace

void addCodec(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("codec", "Names codecs by the codes that media files have");
  verb->add_option("CODE", options->codes,
                   "Wave format tags (85, 0x55) and FourCCs, in which case matters (XVID)")
      ->required();
  addFormFlags(*verb, options->form, {Form::Json, Form::Csv, Form::Tsv});
  addOutputOption(*verb, options->output);
  verb->footer("Exit code 1 when one of them has no name.");
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
