#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <filesystem>
#include <memory>
#include <new>
#include <nlohmann/json.hpp>
#include <system_error>
#include <thread>
#include <vector>

#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/progress.h"
#include "mediainfo/folder_info.h"
#include "mediainfo/labels.h"
#include "output/csv.h"
#include "output/file_json.h"
#include "output/json.h"
#include "output/table.h"
#include "output/thumbnails.h"
#include "platform/directory.h"
#include "platform/file.h"
#include "platform/text.h"
#include "support/pictures/picture_memory.h"
#include "support/text.h"
#include "support/units.h"
#include "support/xml/xml.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

namespace fs = std::filesystem;

struct Options {
  std::vector<std::string> paths;
  std::vector<std::string> detect;
  std::string output;
  std::string thumbnails;
  bool recursive = false;
  Form form = Form::Table;
};

struct CategoryName {
  std::int32_t category;
  const char* name;
};
constexpr CategoryName kCategories[] = {{2, "archive"}, {4, "document"}, {8, "font"},
                                        {16, "audio"},  {32, "image"},   {64, "video"}};
constexpr std::int32_t kOther = 1;

const char* nameOf(std::int32_t category) {
  for (const auto& [number, name] : kCategories)
    if (number == category) return name;
  return "other";
}

std::int32_t maskOf(const std::vector<std::string>& names) {
  std::int32_t mask = kOther;
  for (const auto& [category, name] : kCategories)
    if (names.empty() || std::ranges::find(names, name) != names.end()) mask |= category;
  return mask;
}

/// A file to be described, and what came of it.
struct Job {
  std::size_t folder = 0;
  std::u16string path;
  std::string thumbnailName;
  CFileInfo info;
  std::string thumbnail;  ///< the path of the one that was written
  std::string failure;
  bool isUndecodable = false;  ///< a picture of which only the header could be read
};

/// Whether a name can be told to people and programs. One that is not UTF-8 would come out as that
/// of another file.
bool isText(std::u16string_view name) { return fromUtf8(toUtf8(name)) == name; }

/// Such a name as messages give it, its odd bytes as \xE9.
std::string escaped(std::u16string_view name) {
  constexpr char16_t kFirst = 0xDC80, kLast = 0xDCFF;
  std::string text;
  for (std::size_t at = 0; at < name.size();) {
    const bool isPair = (name[at] & 0xFC00) == 0xD800 && at + 1 < name.size();
    const bool isByte = name[at] >= kFirst && name[at] <= kLast;
    const std::size_t count = isPair ? 2 : 1;
    text += isByte ? fmt::format("\\x{:02X}", name[at] & 0xFF) : toUtf8(name.substr(at, count));
    at += count;
  }
  return text;
}

/// All folders and files below what the command line names, in its order; in folders the files come
/// first, then the folders, sorted by name as the user's language does, with numbers by value.
class Inventory {
 public:
  explicit Inventory(bool recursive) : recursive_(recursive) {}

  void add(const std::string& path) {
    const std::u16string wide = fromUtf8(path);
    if (toUtf8(wide) != path) {
      refuse(path, "the file's name is not UTF-8");
      return;
    }
    std::error_code error;
    if (fs::is_directory(path, error)) {
      const std::size_t end = wide.find_last_not_of(u'/');
      addFolder(wide.substr(0, end == std::u16string::npos ? 1 : end + 1), -1);
      return;
    }
    const std::size_t separator = lastSeparator(wide);
    const bool bare = separator == std::u16string::npos;
    const std::u16string parent = bare ? u"." : wide.substr(0, std::max<std::size_t>(separator, 1));
    if (named_ == folders.size() || folders[named_].path != parent) {
      named_ = folders.size();
      addEmpty(parent, -1);
    }
    addJob(named_, bare ? joinPath(parent, wide) : wide);
  }

  std::vector<CFolderInfo> folders;
  std::vector<Job> jobs;
  std::vector<Failure> failures;

 private:
  void refuse(const std::string& path, const std::string& reason) {
    failures.push_back({kNoInput, path, reason});
  }

  void addJob(std::size_t folder, const std::u16string& path) {
    Job& job = jobs.emplace_back();
    job.folder = folder;
    job.path = path;
  }

  std::int32_t addEmpty(const std::u16string& path, std::int32_t parent) {
    CFolderInfo folder;
    folder.id = static_cast<std::int32_t>(folders.size());
    folder.parentId = parent;
    folder.path = path;
    folders.push_back(std::move(folder));
    return folders.back().id;
  }

  void addFolder(const std::u16string& path, std::int32_t parent) {
    const std::int32_t id = addEmpty(path, parent);
    std::error_code error;
    std::vector<FolderEntry> entries = readFolder(path, error);
    if (error) refuse(toUtf8(path), error.message());
    std::ranges::sort(entries, [](const FolderEntry& left, const FolderEntry& right) {
      const int order = compareLogically(left.name.c_str(), right.name.c_str());
      return order != 0 ? order < 0 : left.name < right.name;
    });
    std::vector<std::u16string> below;
    for (const FolderEntry& entry : entries) {
      if (!isText(entry.name)) {
        if (entry.kind != EntryKind::Folder || recursive_)
          refuse(toUtf8(path) + '/' + escaped(entry.name), "the name is not UTF-8");
        continue;
      }
      const std::u16string whole = joinPath(path == u"/" ? u"" : path, entry.name);
      // Links to folders are not followed: a loop of them has no end.
      const bool isFile =
          entry.kind == EntryKind::File ||
          (entry.kind == EntryKind::Link && !fs::is_directory(toUtf8(whole), error));
      if (isFile) addJob(static_cast<std::size_t>(id), whole);
      if (entry.kind == EntryKind::Folder) below.push_back(whole);
    }
    if (!recursive_) return;
    for (const std::u16string& folder : below) addFolder(folder, id);
  }

  bool recursive_;
  std::size_t named_ = 0;  ///< the folder of the last file that was named by itself
};

std::string reasonFor(const std::u16string& path) {
  std::error_code error;
  const bool opened = openFile(path, {}, error) != nullptr;
  return opened ? "it cannot be read" : error.message();
}

/// A file as it is described here: a picture whose pixels cannot be decoded, or need not be, keeps
/// the measures that its header tells.
class Described : public CFileInfo {
 public:
  explicit Described(bool wantsThumbnail) : wantsThumbnail_(wantsThumbnail) {}
  bool isUnreadable() const { return isUnreadable_; }
  bool isUndecodable() const { return isUndecodable_; }

 private:
  bool fromFileHandle(File& file) override {
    const std::string_view kind = nameOf(category);
    const bool isPicture = kind == "image";
    std::byte first{};
    const bool isRead = isPicture || kind == "audio" || kind == "video";
    isUnreadable_ = isRead && !file.readAt(0, {&first, 1});
    if (isUnreadable_) return false;
    if (!isPicture || wantsThumbnail_) CFileInfo::fromFileHandle(file);
    if (!isPicture || (!thumbnails.empty() && thumbnails[0].isValid())) return false;
    measurePicture(file);
    const auto measures = info.find(label::kDimensions);
    isUndecodable_ = wantsThumbnail_ && measures != info.end() && measures->second != u"0 x 0";
    return false;
  }

  bool wantsThumbnail_;
  bool isUnreadable_ = false;
  bool isUndecodable_ = false;
};

void describe(Job& job, std::int32_t mask, const std::string& thumbnails) {
  const PictureMemoryScope memory;  // until the picture's thumbnail is written
  Described file(!thumbnails.empty());
  file.setDetectType(mask);
  if (!file.fromFile(job.path)) {
    job.failure = reasonFor(job.path);
  } else if (file.isUnreadable()) {
    job.failure = "its content cannot be read";
  } else if (!thumbnails.empty()) {
    const std::string path = thumbnails + '/' + job.thumbnailName;
    if (writeThumbnail(file, path)) job.thumbnail = path;
    job.isUndecodable = file.isUndecodable();
  }
  file.thumbnails = {};  // those of a large folder would fill the memory
  job.info = std::move(file);
}

/// Describes all files on as many threads as the machine has, or as can be started.
void describeAll(std::vector<Job>& jobs, const Options& options, const Context& context) {
  const std::int32_t mask = maskOf(options.detect);
  std::atomic<std::size_t> next = 0, done = 0;
  std::atomic<bool> stop = false;
  std::exception_ptr failure;
  std::atomic_flag failed;
  const auto work = [&] {
    for (std::size_t i = next++; i < jobs.size() && !stop; i = next++, ++done) {
      try {
        describe(jobs[i], mask, options.thumbnails);
      } catch (const std::bad_alloc&) {
        jobs[i].failure = "there is not enough memory to describe it";
      } catch (...) {
        if (!failed.test_and_set()) failure = std::current_exception();
        stop = true;
      }
    }
  };
  const std::size_t count =
      std::min<std::size_t>(std::max(1u, std::thread::hardware_concurrency()), jobs.size());
  std::vector<std::jthread> threads;  // joined also when something is thrown
  threads.reserve(count);
  try {
    while (threads.size() < count) threads.emplace_back(work);
  } catch (const std::system_error&) {
    if (threads.empty()) work();
  }
  if (!threads.empty()) {
    Progress progress(context, "describing", jobs.size());
    while (done < jobs.size() && !stop) {
      const std::size_t at = std::min<std::size_t>(next, jobs.size() - 1);
      progress.showPace(done, toUtf8(jobs[at].path));
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }
  threads.clear();
  if (failure) std::rethrow_exception(failure);
}

/// What a person wants to know about the content: "1920 x 1080 24 bit", "MPEG-2 720 x 576".
std::string summaryOf(const CFileInfo& file) {
  static constexpr std::uint32_t kWanted[] = {label::kFormat,    label::kDimensions, label::kColor,
                                              label::kFrameRate, label::kSample,     label::kMode,
                                              label::kRunTime};
  std::vector<const PropertyMap*> maps{&file.info};
  for (const PropertyMap& stream : file.videoStreams) maps.push_back(&stream);
  for (const PropertyMap& stream : file.audioStreams) maps.push_back(&stream);
  std::string summary;
  const auto append = [&](const char* separator, const std::u16string& text) {
    if (!summary.empty()) summary += separator;
    summary += toUtf8(text);
  };
  for (const PropertyMap* map : maps) {
    const char* separator = ", ";
    for (const std::uint32_t wanted : kWanted) {
      const auto found = map->find(wanted);
      if (found == map->end() || found->second.empty()) continue;
      append(separator, found->second);
      separator = " ";
    }
  }
  for (const std::uint32_t wanted : {label::kAuthor, label::kTitle}) {
    const auto found = file.metaInfo.find(wanted);
    if (found != file.metaInfo.end() && !found->second.empty()) append(", ", found->second);
  }
  return summary;
}

void writeTable(const std::vector<Job>& jobs, const Context& context, Output& output) {
  Table table({"File", "Kind", "Size", "Modified", "Content"});
  bool isEmpty = true;
  for (const Job& job : jobs) {
    if (!job.failure.empty()) continue;
    isEmpty = false;
    const CFileInfo& file = job.info;
    table.add({{toUtf8(file.path)},
               {nameOf(file.category)},
               {toUtf8(hr_unitCalculator(static_cast<double>(sizeOf(file)), u"B", u"kmgtp", 1000))},
               {isoTime(file.lastWriteTime)},
               {summaryOf(file)}});
  }
  if (!isEmpty) table.print(context, output);
}

void writeRows(const std::vector<Job>& jobs, Form form, Output& output) {
  output.write(separatedRow(
      form, {"path", "kind", "size", "creationTime", "lastWriteTime", "content", "thumbnail"}));
  for (const Job& job : jobs) {
    if (!job.failure.empty()) continue;
    const CFileInfo& file = job.info;
    output.write(separatedRow(form, {toUtf8(file.path), nameOf(file.category),
                                     std::to_string(sizeOf(file)), isoTime(file.creationTime),
                                     isoTime(file.lastWriteTime), summaryOf(file), job.thumbnail}));
  }
}

void writeJson(const std::vector<CFolderInfo>& folders, const std::vector<Job>& jobs,
               Output& output) {
  auto array = nlohmann::ordered_json::array();
  for (const CFolderInfo& folder : folders) {
    array.push_back({{"id", folder.id},
                     {"parentId", folder.parentId},
                     {"path", toUtf8(folder.path)},
                     {"files", nlohmann::ordered_json::array()}});
  }
  for (const Job& job : jobs) {
    if (!job.failure.empty()) continue;
    auto file = fileJson(job.info);
    if (!job.thumbnail.empty()) file["thumbnails"].push_back(job.thumbnail);
    array[job.folder]["files"].push_back(std::move(file));
  }
  output.write(jsonText(array) + '\n');
}

void writeXml(std::vector<CFolderInfo>& folders, std::vector<Job>& jobs, Output& output) {
  for (Job& job : jobs)
    if (job.failure.empty()) folders[job.folder].files.push_back(std::move(job.info));
  TiXmlDocument document;
  appendDeclaration(document);
  TiXmlElement* root = appendElement(document, "Folders");
  for (CFolderInfo& folder : folders) folder.toElem(appendElement(*root, "Folder"));
  std::string text;
  printXml(document, text);
  output.write(text);
}

void writeDescription(Inventory& inventory, const Options& options, const Context& context) {
  Output output(options.output);
  switch (options.form) {
    case Form::Json:
      writeJson(inventory.folders, inventory.jobs, output);
      break;
    case Form::Xml:
      writeXml(inventory.folders, inventory.jobs, output);
      break;
    case Form::Csv:
    case Form::Tsv:
      writeRows(inventory.jobs, options.form, output);
      break;
    default:
      writeTable(inventory.jobs, context, output);
  }
  output.finish();
}

int scan(const Options& options, const Context& context) {
  for (const std::string& path : options.paths) requireOtherFile(options.output, path);
  if (!options.thumbnails.empty()) {
    if (const std::error_code error = createFolder(widePath(options.thumbnails)))
      throw Failure{kCannotCreate, options.thumbnails, error.message()};
  }
  Inventory inventory(options.recursive);
  for (const std::string& path : options.paths) inventory.add(path);
  ThumbnailNames names;
  if (!options.thumbnails.empty())
    for (Job& job : inventory.jobs) job.thumbnailName = names.choose(toUtf8(job.path));
  describeAll(inventory.jobs, options, context);

  std::size_t described = 0;
  for (const Job& job : inventory.jobs) {
    const std::string path = toUtf8(job.path);
    if (job.failure.empty()) {
      ++described;
    } else {
      inventory.failures.push_back({kNoInput, path, job.failure});
    }
    if (job.isUndecodable)
      warn(path + ": the picture cannot be decoded; its measures are those in its header");
  }
  for (const Failure& failure : inventory.failures) warn(failure.where + ": " + failure.reason);
  // An earlier description is worth more than one of nothing.
  if (described == 0 && !inventory.failures.empty()) return kNoInput;
  writeDescription(inventory, options, context);
  if (!options.output.empty() && options.output != "-")
    note(context,
         fmt::format("{}: {} {}", options.output, described, described == 1 ? "file" : "files"));
  return inventory.failures.empty() ? kDone : kNoInput;
}

}  // namespace

void addScan(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("scan", "Describes files, and the files in folders");
  verb->add_option("PATH", options->paths, "Files and folders")
      ->required()
      ->check([](const std::string& path) {
        return path.empty() ? std::string("a path is empty") : std::string();
      });
  verb->add_flag("-r,--recursive", options->recursive, "Also what stands in folders further down");
  addFormFlags(*verb, options->form, {Form::Json, Form::Csv, Form::Tsv, Form::Xml});
  addOutputOption(*verb, options->output);
  std::vector<std::string> names;
  for (const auto& row : kCategories) names.emplace_back(row.name);
  verb->add_option("--detect", options->detect, "The kinds to be told; all others count as other")
      ->type_name("KIND,...")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(CLI::IsMember(names));
  verb->add_option("--thumbnails", options->thumbnails, "Write the pictures, reduced, as PNG files")
      ->type_name("FOLDER");
  verb->footer(
      "In folders files come first, sorted by name as your language does, with numbers by value.\n"
      "What cannot be read is told on standard error, the rest goes on, and the exit code is 66;\n"
      "when nothing can be read, nothing is written.");
  verb->callback([&context, options] {
    context.run = [&context, options] { return scan(*options, context); };
  });
}

}  // namespace tessaron::tool
