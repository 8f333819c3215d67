#include "output/description.h"

#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "mediainfo/category.h"
#include "mediainfo/file_json.h"
#include "mediainfo/folder_info.h"
#include "mediainfo/labels.h"
#include "output/csv.h"
#include "output/json.h"
#include "output/table.h"
#include "support/json_writer.h"
#include "support/text.h"
#include "support/units.h"
#include "support/xml/xml.h"

namespace tessaron::tool {
namespace {

/// A summary of the content: "1920 x 1080 24 bit", "MPEG-2 720 x 576".
std::string summaryOf(const CFileInfo& file) {
  static constexpr std::uint32_t kWanted[] = {label::kKind,  label::kFormat,    label::kDimensions,
                                              label::kColor, label::kFrameRate, label::kSample,
                                              label::kMode,  label::kRunTime};
  std::vector<const PropertyMap*> maps{&file.info};
  for (const PropertyMap& stream : file.videoStreams) maps.push_back(&stream);
  for (const PropertyMap& stream : file.audioStreams) maps.push_back(&stream);
  std::string summary;
  const auto append = [&](const PropertyMap& map, std::uint32_t wanted, const char* separator) {
    const auto found = map.find(wanted);
    if (found == map.end() || found->second.empty()) return false;
    // The streams of a file have run times of their own.
    if (wanted == label::kRunTime && &map == &file.info && maps.size() > 1) return false;
    if (!summary.empty()) summary += separator;
    summary += toUtf8(found->second);
    return true;
  };
  for (const PropertyMap* map : maps) {
    const char* separator = ", ";
    for (const std::uint32_t wanted : kWanted)
      if (append(*map, wanted, separator)) separator = " ";
  }
  for (const std::uint32_t wanted : {label::kAuthor, label::kTitle})
    append(file.metaInfo, wanted, ", ");
  return summary;
}

class TableDescription : public Description {
 public:
  TableDescription(const Context& context, Output& output) : context_(context), output_(output) {}

  void addFolder(const Inventory::Folder&) override {}
  void addFile(CFileInfo&& file, const std::string&) override {
    const auto size = static_cast<double>(sizeOf(file));
    table_.add({{toUtf8(file.path)},
                {nameOfMediaCategory(file.category)},
                {toUtf8(hr_unitCalculator(size, u"B", u"kmgtp", 1000))},
                {isoTime(file.lastWriteTime)},
                {summaryOf(file)}});
    isEmpty_ = false;
  }
  void finish() override {
    if (!isEmpty_) table_.print(context_, output_);
  }

 private:
  const Context& context_;
  Output& output_;
  Table table_{{"File", "Kind", "Size", "Modified", "Content"}};
  bool isEmpty_ = true;
};

class RowDescription : public Description {
 public:
  RowDescription(Form form, Output& output) : form_(form), output_(output) {}

  void addFolder(const Inventory::Folder&) override {}
  void addFile(CFileInfo&& file, const std::string& thumbnail) override {
    writeHeading();
    output_.write(separatedRow(form_, {toUtf8(file.path), nameOfMediaCategory(file.category),
                                       std::to_string(sizeOf(file)), isoTime(file.creationTime),
                                       isoTime(file.lastWriteTime), summaryOf(file), thumbnail}));
  }
  void finish() override { writeHeading(); }

 private:
  void writeHeading() {
    if (std::exchange(hasHeading_, true)) return;
    output_.write(separatedRow(
        form_, {"path", "kind", "size", "creationTime", "lastWriteTime", "content", "thumbnail"}));
  }

  Form form_;
  Output& output_;
  bool hasHeading_ = false;
};

class JsonDescription : public Description {
 public:
  explicit JsonDescription(Output& output) : output_(output) {}

  void addFolder(const Inventory::Folder& folder) override {
    endFolder();
    // Ends in `"files": []` and the closing brace; both come when the folder ends.
    constexpr std::string_view kEnd = "]\n}";
    std::string text = jsonText({{"id", folder.id},
                                 {"parentId", folder.parentId},
                                 {"path", toUtf8(folder.path)},
                                 {"files", nlohmann::ordered_json::array()}});
    text.resize(text.size() - kEnd.size());
    pending_ += (isEmpty_ ? "[\n  " : ",\n  ") + indented(text, 2);
    isEmpty_ = false;
    isInFolder_ = true;
    hasFiles_ = false;
  }

  void addFile(CFileInfo&& file, const std::string& thumbnail) override {
    pending_ += hasFiles_ ? ",\n      " : "\n      ";
    constexpr std::size_t kDepth = 3;
    JsonWriter json(pending_, kDepth);
    writeFileInfo(file, json, [&](JsonWriter& thumbnails) {
      if (!thumbnail.empty()) thumbnails.text(fromUtf8(thumbnail));
    });
    hasFiles_ = true;
    output_.write(pending_);
    pending_.clear();
  }

  void finish() override {
    endFolder();
    output_.write(pending_ + (isEmpty_ ? "[]\n" : "\n]\n"));
  }

 private:
  void endFolder() {
    if (isInFolder_) pending_ += hasFiles_ ? "\n    ]\n  }" : "]\n  }";
    isInFolder_ = false;
  }

  Output& output_;
  std::string pending_;  // written with the first file
  bool isEmpty_ = true;
  bool isInFolder_ = false;
  bool hasFiles_ = false;
};

class XmlDescription : public Description {
 public:
  explicit XmlDescription(Output& output) : output_(output) {}

  void addFolder(const Inventory::Folder& folder) override {
    CFolderInfo& added = folders_.emplace_back();
    added.id = folder.id;
    added.parentId = folder.parentId;
    added.path = folder.path;
  }
  void addFile(CFileInfo&& file, const std::string&) override {
    folders_.back().files.push_back(std::move(file));
  }
  void finish() override {
    TiXmlDocument document;
    appendDeclaration(document);
    TiXmlElement* root = appendElement(document, "Folders");
    for (CFolderInfo& folder : folders_) folder.toElem(appendElement(*root, "Folder"));
    std::string text;
    printXml(document, text);
    output_.write(text);
  }

 private:
  Output& output_;
  std::vector<CFolderInfo> folders_;
};

}  // namespace

std::unique_ptr<Description> newDescription(Form form, const Context& context, Output& output) {
  switch (form) {
    case Form::Json:
      return std::make_unique<JsonDescription>(output);
    case Form::Xml:
      return std::make_unique<XmlDescription>(output);
    case Form::Csv:
    case Form::Tsv:
      return std::make_unique<RowDescription>(form, output);
    default:
      return std::make_unique<TableDescription>(context, output);
  }
}

}  // namespace tessaron::tool
