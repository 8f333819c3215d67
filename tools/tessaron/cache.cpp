#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <system_error>

#include "graphics/image_cache.h"
#include "platform/file.h"
#include "support/text.h"
#include "terminal.h"
#include "verbs.h"

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
  std::string image;  ///< to be stored
  std::string out;    ///< where a found one goes
  bool json = false;
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
  std::error_code error;
  std::unique_ptr<File> file = openFile(widePath(path), {.write = true}, error);
  if (error == std::errc::permission_denied || error == std::errc::read_only_file_system)
    file = openFile(widePath(path), {}, error);
  if (error == std::errc::resource_unavailable_try_again)
    throw Failure{kCannotCreate, path, "another process has the cache open"};
  if (!file) throw Failure{kNoInput, path, error.message()};
  return file;
}

CacheContents readContents(const std::string& path, File& file) {
  CacheContents contents = readCacheContents(file);
  if (!contents.isCache) throw Failure{kBadData, path, "this is no image cache"};
  return contents;
}

/// Takes out the last section when the file ends inside it, so that all that are left can be read.
void dropCut(CacheContents& contents, File& file) {
  const auto isCut = [&](const CACHESECTIONHEADER& last) {
    return std::uint64_t{last.dataOffset} + last.dataSize > file.size().value_or(0);
  };
  if (!contents.sections.empty() && isCut(contents.sections.back())) contents.sections.pop_back();
}

std::string readData(const std::string& path, File& file, const CACHESECTIONHEADER& section) {
  std::string data(section.dataSize, '\0');
  if (readFully(file, section.dataOffset, std::as_writable_bytes(std::span(data))) != data.size())
    throw Failure{kNoInput, path, "an error while reading"};
  return data;
}

constexpr const char* kCut = "the cache is damaged: it ends inside a section";

int get(const Options& options) {
  const std::unique_ptr<File> file = openCache(options.file);
  CacheContents contents = readContents(options.file, *file);
  dropCut(contents, *file);
  const Wanted wanted(options);
  const auto found = std::find_if(contents.sections.begin(), contents.sections.end(),
                                  [&](const auto& section) { return wanted.matches(section); });
  if (found == contents.sections.end()) {
    if (!contents.isWhole) throw Failure{kBadData, options.file, kCut};
    throw Failure{kFailed, options.file, "no such image"};
  }
  const std::string data = readData(options.file, *file, *found);
  if (options.out == "-") {
    print(data);
  } else {
    writeOutput(options.out, data);
  }
  return kDone;
}

int list(const Options& options, const Context& context) {
  const std::unique_ptr<File> file = openCache(options.file);
  CacheContents contents = readContents(options.file, *file);
  dropCut(contents, *file);
  auto array = nlohmann::ordered_json::array();
  Table table({"Offset", "Size", "Key", "Key 2", "Variant", "Tag"});
  for (const CACHESECTIONHEADER& section : contents.sections) {
    const std::string key = hex(section.primaryKey);
    const bool hasKey2 = std::ranges::any_of(section.secondaryKey, [](auto byte) { return byte; });
    const std::string key2 = hasKey2 ? hex(section.secondaryKey) : "";
    const std::u16string_view tag(section.tag, std::size(section.tag));
    const std::string text = toUtf8(tag.substr(0, tag.find(u'\0')));
    table.add({{std::to_string(section.dataOffset)},
               {std::to_string(section.dataSize)},
               {key},
               {key2},
               {std::to_string(section.variant)},
               {text}});
    array.push_back({{"dataOffset", section.dataOffset},
                     {"dataSize", section.dataSize},
                     {"primaryKey", key},
                     {"secondaryKey", hasKey2 ? nlohmann::ordered_json(key2) : nullptr},
                     {"variant", section.variant},
                     {"tag", text}});
  }
  if (options.json) {
    printJson(array);
  } else if (!array.empty()) {
    table.print(context);
  }
  if (!contents.isWhole) throw Failure{kBadData, options.file, kCut};
  if (array.empty()) throw Failure{kFailed, options.file, "the cache is empty"};
  return kDone;
}

/// The content of a cache after an image was put into it. The library changes a cache in its place,
/// and what fails there is lost: it works on a copy.
std::string contentWith(const std::string& content, const std::string& image,
                        const Wanted& wanted) {
  const Failure failure{kCannotWrite, fs::temp_directory_path().string(),
                        "cannot work on the cache here"};
  std::string folder = failure.where + "/tessaron-XXXXXX";
  if (!::mkdtemp(folder.data())) throw failure;
  const std::u16string path = fromUtf8(folder) + u"/ImageCache.db";
  std::error_code error = replaceFile(path, content);
  // Through this the result is read when no name leads to it any more: nothing stays behind.
  const std::unique_ptr<File> result = error ? nullptr : openFile(path, {}, error);
  {
    CImageCacheMan cache(path);
    fs::remove_all(folder, error);
    if (!result || !cache.isOpen()) throw failure;
    cache.saveToCache(reinterpret_cast<const unsigned char*>(image.data()),
                      static_cast<std::uint32_t>(image.size()), wanted.key.data(),
                      wanted.key2.data(), wanted.variant, wanted.tag);
  }
  // The library does not tell whether all of it was written.
  const CacheContents contents = readCacheContents(*result);
  if (!contents.isCache || !contents.isWhole || contents.sections.empty() ||
      readData(failure.where, *result, contents.sections.back()) != image)
    throw failure;
  std::string text;
  if (!result->seek(0) || !readToEnd(*result, text)) throw failure;
  return text;
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

  std::string content;
  std::unique_ptr<File> held;
  if (fs::exists(options.file, error) || error) {
    held = openCache(options.file);
    if (!readContents(options.file, *held).isWhole) throw Failure{kBadData, options.file, kCut};
    if (!held->seek(0) || !readToEnd(*held, content))
      throw Failure{kNoInput, options.file, "an error while reading"};
  }
  writeOutput(options.file, contentWith(content, image, wanted));
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
  verb->add_option("FILE", options->file, "The cache file")->required();
  verb->require_subcommand(1);

  CLI::App* putVerb = verb->add_subcommand("put", "Stores an image; the newest 200 are kept");
  addKeyOptions(*putVerb, *options);
  putVerb->add_option("IMAGE", options->image, "The image's file")->required();
  putVerb->callback([&context, options] {
    context.run = [&context, options] { return put(*options, context); };
  });

  CLI::App* getVerb = verb->add_subcommand("get", "Finds the oldest image with these keys");
  addKeyOptions(*getVerb, *options);
  getVerb->add_option("-o,--output", options->out, "Where to write the image")
      ->type_name("FILE")
      ->required();
  getVerb->callback([&context, options] { context.run = [options] { return get(*options); }; });

  CLI::App* listVerb = verb->add_subcommand("list", "Lists the images, the oldest first");
  listVerb->add_flag("--json", options->json, "Print the list as JSON");
  listVerb->callback([&context, options] {
    context.run = [&context, options] { return list(*options, context); };
  });
}

}  // namespace tessaron::tool
