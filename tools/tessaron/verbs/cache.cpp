#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <filesystem>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <system_error>

#include "catalogue/covers.h"
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
#include "platform/system.h"
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
  std::string output;  ///< where `get` and `list` write
  Form form = Form::Table;
};

std::string checkKey(const std::string& text) {
  const bool hex = text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
  return hex && text.size() == 2 * KeyBytes{}.size() ? "" : "a key is 32 hexadecimal digits";
}

/// Converts a text that `checkKey` accepts to bytes.
KeyBytes parseKey(const std::string& text) {
  KeyBytes key;
  for (std::size_t i = 0; i < key.size(); ++i)
    key[i] = static_cast<unsigned char>(std::stoul(text.substr(2 * i, 2), nullptr, 16));
  return key;
}

/// Indents all lines but the first by two blanks.
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

/// The key options, converted for the library.
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

/// Opens a cache for reading; takes the exclusive lock as well where the file is writable.
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

/// Starts a walk through a cache. Fails when the file is not a cache.
CacheWalk walkCache(const std::string& path, File& file) {
  CacheWalk walk(file);
  requireRead(path, walk);
  if (!walk.isCache()) throw Failure{kBadData, displayName(path), "this is no image cache"};
  return walk;
}

/// Advances to the next section; false at the end and at a truncated section.
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

/// A section as `list` prints it.
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

/// A table in two passes that keeps no rows: measure() all of them, then print each line().
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

/// The sections of a cache. Read again in each pass, since there may be millions of them.
class Listing {
 public:
  Listing(const std::string& path, File& file)
      : path_(path), file_(file), walk_(walkCache(path, file)) {}

  /// Calls `act(section, index)` for each sound section.
  template <typename Act>
  void forEach(Act&& act) {
    walk_ = CacheWalk(file_);
    for (count_ = 0; nextSound(walk_); ++count_) act(Listed(walk_.section()), count_);
  }
  /// Number of sections in the last pass.
  std::size_t count() const { return count_; }
  /// Fails unless the last pass reached the end of a cache that is sound and not empty.
  void requireSections() const {
    requireWhole(path_, walk_);
    if (count_ == 0) throw Failure{kFailed, displayName(path_), "the cache is empty"};
  }

 private:
  const std::string& path_;
  File& file_;
  CacheWalk walk_;
  std::size_t count_ = 0;
};

void listAsJson(Listing& listing, Output& output) {
  listing.forEach([&](const Listed& listed, std::size_t index) {
    output.write(index == 0 ? "[" : ",");
    output.write(indented("\n" + jsonText(listed.json())));
  });
  output.write(listing.count() == 0 ? "[]\n" : "\n]\n");
}

void listAsTable(Listing& listing, const Context& context, Output& output) {
  constexpr std::size_t kMaxRows = 10'000;  // of a table that is fitted to the terminal
  const std::vector<std::string> titles = {"Offset", "Size", "Key", "Key 2", "Variant", "Tag"};
  Columns wide(titles);
  Table table(titles, {Fit::Whole, Fit::Whole, Fit::Whole, Fit::Whole});
  listing.forEach([&](const Listed& listed, std::size_t index) {
    wide.measure(listed.fields());
    if (index < kMaxRows) table.add(listed.row());
  });
  if (listing.count() > kMaxRows) {
    output.write(wide.line(titles));
    listing.forEach(
        [&](const Listed& listed, std::size_t) { output.write(wide.line(listed.fields())); });
  } else if (listing.count() > 0) {
    table.print(context, output);
  }
}

void listAsRows(Listing& listing, Form form, Output& output) {
  output.write(separatedRow(
      form, {"dataOffset", "dataSize", "primaryKey", "secondaryKey", "variant", "tag"}));
  listing.forEach([&](const Listed& listed, std::size_t) {
    output.write(separatedRow(form, listed.fields()));
  });
}

int list(const Options& options, const Context& context) {
  requireOtherFile(options.output, options.file);
  const std::unique_ptr<File> file = openCache(options.file);
  Listing listing(options.file, *file);
  Output output(options.output);
  if (options.form == Form::Json)
    listAsJson(listing, output);
  else if (options.form == Form::Table)
    listAsTable(listing, context, output);
  else
    listAsRows(listing, options.form, output);
  output.finish();
  listing.requireSections();
  return kDone;
}

/// Copies the kept sections of an existing cache, if any, and appends the image. False when writing
/// fails or the new file does not read back with the image.
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
  std::size_t count = 0;  // without covers, which nobody drops
  std::unique_ptr<File> held;
  if (fs::exists(filePath(options.file), error) || error) {
    held = openCache(options.file);
    CacheWalk walk = walkCache(options.file, *held);
    while (walk.next()) {
      newest.push_back(walk.section());
      if (isCover(walk.section()) || ++count < kMaxCacheSections) continue;
      newest.erase(std::ranges::find_if_not(newest, isCover));
      --count;
    }
    requireWhole(options.file, walk);
  }
  const std::vector<CACHESECTIONHEADER> kept(newest.begin(), newest.end());
  std::uint64_t end = sizeof(CACHEFILEHEADER);
  for (const CACHESECTIONHEADER& each : kept) end += sizeof each + std::uint64_t{each.dataSize};
  if (end + sizeof(CACHESECTIONHEADER) > std::numeric_limits<std::uint32_t>::max())
    throw Failure{kFailed, options.file, "the cache has 4 GiB and takes no more"};
  writeOutput(options.file, [&](File& to) {
    const bool isWritten = writeWith(to, held.get(), kept, image, wanted);
    if (!tessaron::replacesOpenFiles()) held.reset();  // others may open the cache a bit too early
    return isWritten;
  });
  if (wanted.tag.size() >= std::size(CACHESECTIONHEADER{}.tag))
    note(context, "the tag is longer than 31 characters: only its first 31 will find the image");
  return kDone;
}

/// Tells what is wrong with a cache; empty when nothing is.
std::string describeDamage(const CacheState& state) {
  if (!state.isCache) return "this is no image cache";
  std::vector<std::string> parts;
  const auto tell = [&](std::uint64_t count, const char* what) {
    if (count > 0) parts.push_back(fmt::format("{} {}", count, what));
  };
  tell(state.damaged, "bytes at its end that are no image");
  tell(state.unreadable, "covers that are no pictures");
  tell(state.repeated, "images that are never found, because earlier ones have their keys");
  return CLI::detail::join(parts, ", ");
}

int verify(const Options& options, const Context& context) {
  const std::unique_ptr<File> file = openCache(options.file);
  const CacheState state = examineCache(*file);
  if (state.hasReadError) throw Failure{kNoInput, options.file, "an error while reading"};
  const std::string damage = describeDamage(state);
  if (!damage.empty()) throw Failure{kBadData, displayName(options.file), damage};
  note(context, fmt::format("{}: {} images, all sound", displayName(options.file), state.sections));
  return kDone;
}

/// Whether there is a file at the path with the content of `file`.
bool isCopy(const std::string& path, File& file) {
  std::error_code error;
  const std::unique_ptr<File> other = openFile(widePath(path), {}, error);
  if (!other || !other->size() || other->size() != file.size()) return false;
  std::array<std::array<std::byte, 64 << 10>, 2> blocks;
  for (std::uint64_t at = 0; at < *other->size(); at += blocks[0].size()) {
    const auto ours = readFully(file, at, blocks[0]), theirs = readFully(*other, at, blocks[1]);
    if (!ours || ours != theirs || std::memcmp(blocks[0].data(), blocks[1].data(), *ours) != 0)
      return false;
  }
  return true;
}

/// Keeps the damaged file under another name beside it, which it returns: a new one, or that of a
/// repair of the same file that was interrupted.
std::string keepDamaged(const std::string& path, File& file) {
  std::error_code error;
  for (std::size_t number = 1;; ++number) {
    std::string name =
        path + ".damaged" + (number == 1 ? std::string() : '-' + std::to_string(number));
    if (isCopy(name, file)) return name;
    if (fs::exists(fs::symlink_status(filePath(name), error))) continue;
    writeOutput(name, [&](File& to) {
      const std::optional<std::uint64_t> size = file.size();
      return size && copyBytes(file, 0, to, 0, *size) == *size;
    });
    return name;
  }
}

int repair(const Options& options, const Context& context) {
  std::error_code error;
  const FolderLock lock(widePath(options.file), error);
  if (error) throw Failure{kCannotCreate, options.file, error.message()};
  std::unique_ptr<File> file = openCache(options.file);
  std::vector<CACHESECTIONHEADER> sound;
  const CacheState state = examineCache(*file, &sound);
  if (state.hasReadError) throw Failure{kNoInput, options.file, "an error while reading"};
  const std::string damage = describeDamage(state);
  if (damage.empty()) {
    note(context, fmt::format("{}: nothing to repair", options.file));
    return kDone;
  }
  if (editSession().isTrial) {
    note(context,
         fmt::format("{}: {}; {} images would be kept", options.file, damage, sound.size()));
    return kDone;
  }
  const std::string kept = keepDamaged(options.file, *file);
  if (state.isCache) {
    writeOutput(options.file, [&](File& to) {
      const bool isWritten = writeCache(to, *file, sound);
      if (!tessaron::replacesOpenFiles()) file.reset();
      return isWritten;
    });
  } else {
    file.reset();  // Windows deletes no open file
    if (!fs::remove(filePath(options.file), error) && error)
      throw Failure{kCannotWrite, options.file, error.message()};
  }
  note(context, fmt::format("{}: {}; {} images kept, the old file is {}", options.file, damage,
                            sound.size(), kept));
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
    if (std::string_view(name) == "put" || std::string_view(name) == "repair")
      file->check([](const std::string& path) {
        return path == "-" ? std::string("standard input cannot be changed") : std::string();
      });
    return added;
  };

  CLI::App* putVerb = addVerb("put", "Stores an image; the newest 200 are kept, covers besides");
  putVerb->add_option("IMAGE", options->image, "The image's file; - is standard input")->required();
  addKeyOptions(*putVerb, *options);
  putVerb->callback([&context, options] {
    context.run = [&context, options] { return put(*options, context); };
  });

  CLI::App* getVerb = addVerb("get", "Finds the oldest image with these keys");
  addKeyOptions(*getVerb, *options);
  addOutputOption(*getVerb, options->output);
  getVerb->callback([&context, options] { context.run = [options] { return get(*options); }; });

  addVerb("verify", "Checks the cache; exit code 65 when it is damaged")
      ->callback([&context, options] {
        context.run = [&context, options] { return verify(*options, context); };
      });

  CLI::App* repairVerb = addVerb("repair", "Keeps what is sound; sets the damaged file aside");
  addDryRunFlag(*repairVerb, "Tell what would be kept, write nothing");
  repairVerb->callback([&context, options] {
    context.run = [&context, options] { return repair(*options, context); };
  });

  CLI::App* listVerb = addVerb("list", "Lists the images, the oldest first");
  addFormFlags(*listVerb, options->form, {Form::Json, Form::Csv, Form::Tsv});
  addOutputOption(*listVerb, options->output);
  listVerb->callback([&context, options] {
    context.run = [&context, options] { return list(*options, context); };
  });
}

}  // namespace tessaron::tool
