#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <deque>
#include <filesystem>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <system_error>

#include "cli/failures.h"
#include "cli/input.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/terminal.h"
#include "graphics/image_cache.h"
#include "output/csv.h"
#include "output/json.h"
#include "output/table.h"
#include "platform/file.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

namespace fs = std::filesystem;

using KeyBytes = std::array<unsigned char, 16>;

struct Options {
  std::string file;
  std::string key;
  std::string key2;
  std::uint32_t variant = 0;
  std::string tag;
  std::string image;   ///< to be stored
  std::string output;  ///< where a found one goes, or the list
  Form form = Form::Table;
};

std::string checkKey(const std::string& text) {
  const bool hex = text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
  return hex && text.size() == 2 * KeyBytes{}.size() ? "" : "a key is 32 hexadecimal digits";
}

/// The bytes of a text that has passed `checkKey`.
KeyBytes parseKey(const std::string& text) {
  KeyBytes key;
  for (std::size_t i = 0; i < key.size(); ++i)
    key[i] = static_cast<unsigned char>(std::stoul(text.substr(2 * i, 2), nullptr, 16));
  return key;
}

/// A text with its lines moved two blanks to the right.
std::string indented(const std::string& text) {
  std::string moved;
  for (const char byte : text) {
    moved += byte;
    if (byte == '\n') moved += "  ";
  }
  return moved;
}

std::string hex(std::span<const std::uint8_t> bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) text += fmt::format("{:02x}", byte);
  return text;
}

/// What is asked for, in the form that the library takes.
struct Wanted {
  explicit Wanted(const Options& options)
      : key(parseKey(options.key)),
        key2(options.key2.empty() ? KeyBytes{} : parseKey(options.key2)),
        variant(options.variant),
        tag(fromUtf8(options.tag)) {}

  bool matches(const CACHESECTIONHEADER& section) const {
    return matchesSection(section, key.data(), key2.data(), variant, tag);
  }

  KeyBytes key;
  KeyBytes key2;
  std::uint32_t variant;
  std::u16string tag;
};

/// Opens a cache without changing it, and holds it against others where it may be written to.
std::unique_ptr<File> openCache(const std::string& path) {
  if (path == "-") return memoryFile(readInput(path));
  std::error_code error;
  const std::u16string wide = widePath(path, kNoInput);
  std::unique_ptr<File> file = openFile(wide, {.write = true}, error);
  if (error == std::errc::permission_denied || error == std::errc::read_only_file_system)
    file = openFile(wide, {}, error);
  if (error == std::errc::resource_unavailable_try_again)
    throw Failure{kCannotCreate, path, "another process has the cache open"};
  if (!file) throw Failure{kNoInput, path, error.message()};
  return file;
}

void requireRead(const std::string& path, const CacheWalk& walk) {
  if (walk.hasReadError()) throw Failure{kNoInput, displayName(path), "an error while reading"};
}

/// Begins to go through a cache. Fails when the file is none.
CacheWalk walkCache(const std::string& path, File& file) {
  CacheWalk walk(file);
  requireRead(path, walk);
  if (!walk.isCache()) throw Failure{kBadData, displayName(path), "this is no image cache"};
  return walk;
}

/// Moves on to the next section that the file holds all of.
bool nextSound(CacheWalk& walk) { return walk.next() && !walk.isCut(); }

std::string readData(const std::string& path, File& file, const CACHESECTIONHEADER& section) {
  std::string data(section.dataSize, '\0');
  if (readFully(file, section.dataOffset, std::as_writable_bytes(std::span(data))) != data.size())
    throw Failure{kNoInput, path, "an error while reading"};
  return data;
}

void requireWhole(const std::string& path, const CacheWalk& walk) {
  requireRead(path, walk);
  if (!walk.isWhole())
    throw Failure{kBadData, displayName(path), "the cache is damaged: it ends inside a section"};
}

int get(const Options& options) {
  requireOtherFile(options.output, options.file);
  const std::unique_ptr<File> file = openCache(options.file);
  const Wanted wanted(options);
  CacheWalk walk = walkCache(options.file, *file);
  while (nextSound(walk)) {
    if (!wanted.matches(walk.section())) continue;
    writeResult(options.output, readData(options.file, *file, walk.section()));
    return kDone;
  }
  requireWhole(options.file, walk);
  throw Failure{kFailed, displayName(options.file), "no such image"};
}

struct Listed {
  explicit Listed(const CACHESECTIONHEADER& section)
      : offset(section.dataOffset),
        size(section.dataSize),
        key(hex(section.primaryKey)),
        hasKey2(std::ranges::any_of(section.secondaryKey, [](auto byte) { return byte; })),
        key2(hasKey2 ? hex(section.secondaryKey) : ""),
        variant(section.variant) {
    const std::u16string_view text(section.tag, std::size(section.tag));
    tag = toUtf8(text.substr(0, text.find(u'\0')));
  }

  std::vector<std::string> fields() const {
    return {std::to_string(offset), std::to_string(size), key, key2, std::to_string(variant), tag};
  }
  std::vector<Table::Cell> row() const {
    std::vector<Table::Cell> cells;
    for (std::string& field : fields()) cells.push_back({std::move(field)});
    return cells;
  }
  nlohmann::ordered_json json() const {
    return {
        {"dataOffset", offset}, {"dataSize", size},
        {"primaryKey", key},    {"secondaryKey", hasKey2 ? nlohmann::ordered_json(key2) : nullptr},
        {"variant", variant},   {"tag", tag}};
  }

  std::uint32_t offset;
  std::uint32_t size;
  std::string key;
  bool hasKey2;
  std::string key2;
  std::uint32_t variant;
  std::string tag;
};

/// A table of rows that nobody keeps: measured first, then printed.
class Columns {
 public:
  explicit Columns(const std::vector<std::string>& titles) : widths_(titles.size()) {
    measure(titles);
  }
  void measure(const std::vector<std::string>& row) {
    for (std::size_t i = 0; i < row.size(); ++i)
      widths_[i] = std::max(widths_[i], columns(printable(row[i])));
  }
  std::string line(const std::vector<std::string>& row) const {
    constexpr std::size_t kGap = 2;
    std::string text;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string cell = printable(row[i]);
      text.append(cell).append(widths_[i] - columns(cell) + kGap, ' ');
    }
    return text.erase(text.find_last_not_of(' ') + 1) + '\n';
  }

 private:
  std::vector<std::size_t> widths_;
};

/// Goes through the sections as often as the form takes, since there may be millions of them.
int list(const Options& options, const Context& context) {
  requireOtherFile(options.output, options.file);
  const std::unique_ptr<File> file = openCache(options.file);
  CacheWalk walk = walkCache(options.file, *file);
  const std::vector<std::string> titles = {"Offset", "Size", "Key", "Key 2", "Variant", "Tag"};
  std::size_t count = 0;
  const auto forEach = [&](auto&& act) {
    walk = CacheWalk(*file);
    for (count = 0; nextSound(walk); ++count) act(Listed(walk.section()));
  };
  Output output(options.output);
  if (options.form == Form::Json) {
    forEach([&](const Listed& listed) {
      output.write(count == 0 ? "[" : ",");
      output.write(indented("\n" + jsonText(listed.json())));
    });
    output.write(count == 0 ? "[]\n" : "\n]\n");
  } else if (options.form == Form::Table) {
    constexpr std::size_t kMaxRows = 10'000;  // of a table that fits itself to a terminal
    Columns wide(titles);
    Table table(titles, {Fit::Whole, Fit::Whole, Fit::Whole, Fit::Whole});
    forEach([&](const Listed& listed) {
      wide.measure(listed.fields());
      if (count < kMaxRows) table.add(listed.row());
    });
    if (count > kMaxRows) {
      output.write(wide.line(titles));
      forEach([&](const Listed& listed) { output.write(wide.line(listed.fields())); });
    } else if (count > 0) {
      table.print(context, output);
    }
  } else {
    output.write(separatedRow(
        options.form, {"dataOffset", "dataSize", "primaryKey", "secondaryKey", "variant", "tag"}));
    forEach(
        [&](const Listed& listed) { output.write(separatedRow(options.form, listed.fields())); });
  }
  output.finish();
  requireWhole(options.file, walk);
  if (count == 0) throw Failure{kFailed, displayName(options.file), "the cache is empty"};
  return kDone;
}

/// Writes sections of an existing cache, if there is one, and the image after them. False when that
/// fails or the new file does not contain the image.
bool writeWith(File& to, File* from, std::span<const CACHESECTIONHEADER> kept,
               const std::string& image, const Wanted& wanted) {
  const std::unique_ptr<File> none = memoryFile("");
  CACHESECTIONHEADER section =
      makeSection(wanted.key.data(), wanted.key2.data(), wanted.variant, wanted.tag);
  if (!writeCache(to, from ? *from : *none, kept) ||
      !appendSection(to, section, std::as_bytes(std::span(image))))
    return false;
  CacheWalk walk(to);
  std::size_t count = 0;
  while (nextSound(walk)) ++count;
  const CACHESECTIONHEADER& last = walk.section();
  std::string stored(last.dataSize, '\0');
  return walk.isWhole() && count == kept.size() + 1 &&
         matchesSection(last, section.primaryKey, section.secondaryKey, section.variant,
                        {section.tag, std::size(section.tag)}) &&
         readFully(to, last.dataOffset, std::as_writable_bytes(std::span(stored))) ==
             stored.size() &&
         stored == image;
}

int put(const Options& options, const Context& context) {
  const std::string image = readInput(options.image);
  if (image.empty() || image.size() > std::numeric_limits<std::uint32_t>::max())
    throw Failure{kBadData, displayName(options.image),
                  image.empty() ? "it is empty" : "it is too large"};
  const Wanted wanted(options);
  std::error_code error;
  const FolderLock lock(widePath(options.file), error);
  if (error) throw Failure{kCannotCreate, options.file, error.message()};

  std::deque<CACHESECTIONHEADER> newest;
  std::unique_ptr<File> held;
  if (fs::exists(options.file, error) || error) {
    held = openCache(options.file);
    CacheWalk walk = walkCache(options.file, *held);
    while (walk.next()) {
      if (newest.size() + 1 == kMaxCacheSections) newest.pop_front();
      newest.push_back(walk.section());
    }
    requireWhole(options.file, walk);
  }
  const std::vector<CACHESECTIONHEADER> kept(newest.begin(), newest.end());
  std::uint64_t end = sizeof(CACHEFILEHEADER);
  for (const CACHESECTIONHEADER& each : kept) end += sizeof each + std::uint64_t{each.dataSize};
  if (end + sizeof(CACHESECTIONHEADER) > std::numeric_limits<std::uint32_t>::max())
    throw Failure{kFailed, options.file, "the cache has 4 GiB and takes no more"};
  writeOutput(options.file,
              [&](File& to) { return writeWith(to, held.get(), kept, image, wanted); });
  if (wanted.tag.size() >= std::size(CACHESECTIONHEADER{}.tag))
    note(context, "the tag is longer than 31 characters: only its first 31 will find the image");
  return kDone;
}

void addKeyOptions(CLI::App& verb, Options& options) {
  verb.add_option("--key", options.key, "The image's key: 32 hexadecimal digits")
      ->type_name("HEX32")
      ->check(checkKey)
      ->required();
  verb.add_option("--key2", options.key2, "A second key")->type_name("HEX32")->check(checkKey);
  verb.add_option("--variant", options.variant, "A number that tells images of one key apart")
      ->type_name("N");
  verb.add_option("--tag", options.tag, "A text of up to 31 characters, whatever its case")
      ->type_name("TEXT");
}

}  // namespace

void addCache(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("cache", "Stores, finds and lists images in a cache file");
  verb->require_subcommand(1);
  const auto addVerb = [&](const char* name, const char* help) {
    CLI::App* added = verb->add_subcommand(name, help);
    CLI::Option* file = added->add_option("FILE", options->file, "The cache file")->required();
    if (std::string_view(name) == "put")
      file->check([](const std::string& path) {
        return path == "-" ? std::string("standard input cannot be changed") : std::string();
      });
    return added;
  };

  CLI::App* putVerb = addVerb("put", "Stores an image; the newest 200 are kept");
  putVerb->add_option("IMAGE", options->image, "The image's file; - is standard input")->required();
  addKeyOptions(*putVerb, *options);
  putVerb->callback([&context, options] {
    context.run = [&context, options] { return put(*options, context); };
  });

  CLI::App* getVerb = addVerb("get", "Finds the oldest image with these keys");
  addKeyOptions(*getVerb, *options);
  addOutputOption(*getVerb, options->output);
  getVerb->callback([&context, options] { context.run = [options] { return get(*options); }; });

  CLI::App* listVerb = addVerb("list", "Lists the images, the oldest first");
  addFormFlags(*listVerb, options->form, {Form::Json, Form::Csv, Form::Tsv});
  addOutputOption(*listVerb, options->output);
  listVerb->callback([&context, options] {
    context.run = [&context, options] { return list(*options, context); };
  });
}

}  // namespace tessaron::tool
