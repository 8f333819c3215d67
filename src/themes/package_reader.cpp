#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "platform/directory.h"
#include "platform/text.h"
#include "support/byte_reader.h"
#include "support/text.h"
#include "support/xml.h"
#include "support/zlib.h"
#include "themes/file_names.h"
#include "themes/package_reader_internal.h"

namespace tessaron {
namespace {

constexpr std::size_t kHeaderSize = 1044, kEntryHeaderSize = 76;
// A document in memory is forty times as large as the shortest text for it.
constexpr std::size_t kDocumentLimit = std::size_t{4} << 20;
constexpr int kMostFailedReads = 16;
// What hostile packages could otherwise multiply.
constexpr std::size_t kMostCopies = 16, kMostEntries = 1 << 16, kMostProblems = 1000;

void writeHex(std::span<const std::uint8_t> bytes, char16_t* out) {
  for (const std::uint8_t byte : bytes) {
    *out++ = u"0123456789ABCDEF"[byte >> 4];
    *out++ = u"0123456789ABCDEF"[byte & 15];
  }
}

// Takes what the XML library takes for an integer, also where numbers are larger than it can hold.
std::optional<std::uint32_t> entryId(const TiXmlElement& element) {
  const std::string* text = element.Attribute(std::string("id"));
  if (!text) return {};
  const char* begin = text->data() + std::min(text->find_first_not_of(" \t\r\n"), text->size());
  if (begin != text->data() + text->size() && *begin == '+') ++begin;
  std::int64_t value = 0;
  if (std::from_chars(begin, text->data() + text->size(), value).ec != std::errc()) return {};
  if (value < INT32_MIN || value > UINT32_MAX) return {};
  return static_cast<std::uint32_t>(value);
}

bool isMainName(std::string_view name) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::ranges::equal(name, std::string_view("main.xml"), {}, lower);
}

std::u16string inCapitals(std::u16string name) {
  std::ranges::transform(name, name.begin(), upperCase);
  return name;
}

std::string describe(const std::error_code& error) {
  if (error == std::errc::too_many_symbolic_link_levels || error == std::errc::too_many_links)
    return "a link stands there";
  return error.message();
}

}  // namespace

PackageReader::PackageReader(CPackage& package, File& file, std::size_t entryLimit)
    : package_(package), file_(file), entryLimit_(entryLimit), in_(512 << 10), out_(512 << 10) {}

void PackageReader::unpack(const std::u16string& destination, bool extractAll) {
  if (!readHeader()) return;
  if (!destination.empty()) {
    use_ = Use::Unpack;
    openFolder(destination);
  }
  readEntries(extractAll);
}

void PackageReader::inspect(bool readAll) {
  if (!readHeader()) return;
  use_ = Use::Inspect;
  readEntries(readAll);
}

// QUIRK: A header that ends early counts as one with zeros behind it. It is cut off. Kept: only a
// read that fails is a failure, as with all reads here.
bool PackageReader::readHeader() {
  std::array<std::byte, kHeaderSize> header{};
  if (!fill(header)) return false;
  ByteReader reader(header);
  constexpr std::uint16_t kSignature = 'T' | 'P' << 8, kVersion = 1;
  if (reader.u16le() != kSignature || reader.u16le() != kVersion) return false;
  const auto identifier = reader.bytes(std::size(package_.identifier));
  std::ranges::transform(identifier, package_.identifier, std::to_integer<std::uint8_t>);
  writeHex(package_.identifier, package_.identifierText);
  package_.report.isPackage = true;
  return true;
}

void PackageReader::openFolder(const std::u16string& destination) {
  package_.extractionFolder = joinPath(destination, package_.identifierText);
  std::error_code error;
  folder_ = std::make_unique<OutputFolder>(destination, package_.identifierText, error);
  if (!error) return;
  folder_.reset();
  addProblem({}, package_.identifierText, "the folder cannot be used: " + describe(error));
}

void PackageReader::readEntries(bool all) {
  std::array<std::byte, kEntryHeaderSize> header{};
  for (;;) {
    // QUIRK: After a read that failed, or came short, the header is what is left of the one before.
    // It is no entry. Kept: a device that fails now and then is read on.
    const std::optional<std::size_t> count = fill(header);
    if (count == 0u) return;
    if (failedReads_ == kMostFailedReads)
      return addProblem({}, u"", "the file cannot be read any further");
    ByteReader reader(header);
    Entry entry;
    entry.id = reader.u32le();
    entry.packedSize = static_cast<std::int32_t>(reader.u32le());
    entry.size = static_cast<std::int32_t>(reader.u32le());
    // QUIRK: The data of an entry without a size is not skipped, but read as the next header. That
    // is none. Kept: packages in use are read in this way.
    if (entry.packedSize <= 0 || entry.size <= 0) {
      if (entry.packedSize != 0 || entry.size != 0)
        addProblem(entry, u"", "it has no size; what follows is taken for an entry");
      continue;
    }
    if (!readEntry(std::move(entry), all)) return;
  }
}

// False when the package is not to be read on.
bool PackageReader::readEntry(Entry entry, bool all) {
  const auto packedSize = static_cast<std::size_t>(entry.packedSize);
  const auto piece = std::span(in_).first(std::min(in_.size(), packedSize));
  const std::size_t firstPiece = fill(piece).value_or(0);
  if (firstPiece == 0) {
    addProblem(entry, u"", "the file ends where its data should be");
    return false;
  }
  Sinks sinks;
  Plan plan;
  if (entry.id == 0) {
    sinks.isDocument = true;
  } else if (use_ != Use::Index) {
    // QUIRK: Without a destination main.xml is not read either. It would not have to be written.
    // Kept: callers that want the index alone ask for it in this way.
    plan = planFor(entry, all);
    sinks.isDocument = plan.isMain;
    createFiles(entry, plan.names, sinks);
  }
  inflateData(entry, firstPiece, sinks);
  if (entry.id == 0) {
    parse(entry, sinks, *package_.index);
    readIndex();
  } else if (plan.isMain) {
    parse(entry, sinks, *package_.mainDocument);
    plan.names.push_back(u"main.xml");
  }
  entry.names = std::move(plan.names);
  auto& entries = package_.report.entries;
  if (entries.size() < kMostEntries) entries.push_back(std::move(entry));
  return !plan.isLast;
}

PackageReader::Plan PackageReader::planFor(const Entry& entry, bool all) {
  Plan plan;
  const auto found = names_.find(entry.id);
  if (found == names_.end()) {
    addProblem(entry, u"", "the index in front of it does not name it");
    return plan;
  }
  // QUIRK: An entry that the index lists twice is written twice, also when it is main.xml. One of
  // them may be a mistake. Kept: packages share one picture between two names.
  for (const std::string& name : found->second) {
    if (!isMainName(name)) {
      plan.names.push_back(fromUtf8(name));
      continue;
    }
    plan.isMain = true;
    plan.isLast = !all;
    if (plan.isLast) break;
  }
  return plan;
}

void PackageReader::readIndex() {
  names_.clear();
  const TiXmlElement* root = package_.index->RootElement();
  if (!root) return;
  for (auto child = root->FirstChildElement(); child; child = child->NextSiblingElement()) {
    const std::optional<std::uint32_t> id = entryId(*child);
    const std::string* name = child->Attribute(std::string("filename"));
    if (id && name) names_[*id].push_back(*name);
  }
}

void PackageReader::parse(const Entry& entry, Sinks& sinks, TiXmlDocument& document) {
  const std::u16string_view name = entry.id == 0 ? u"" : u"main.xml";
  if (sinks.documentTooLong) return addProblem(entry, name, "the document is larger than 4 MiB");
  const XmlFault fault = parseXml(std::move(sinks.document), document);
  if (!fault) return;
  addProblem(entry, name,
             "line " + std::to_string(fault.line) + ", column " + std::to_string(fault.column) +
                 ": " + fault.message);
}

bool PackageReader::accepts(const Entry& entry, const std::u16string& name) {
  if (const char* fault = faultOfFileName(name)) {
    addProblem(entry, name, fault);
    return false;
  }
  const auto [first, isNew] = taken_.emplace(inCapitals(name), name);
  if (isNew || first->second == name) return true;
  addProblem(entry, name, "the name differs only in case from " + toUtf8(first->second));
  return false;
}

void PackageReader::createFiles(const Entry& entry, const std::vector<std::u16string>& names,
                                Sinks& sinks) {
  std::vector<std::u16string_view> done;
  for (const std::u16string& name : names) {
    if (std::ranges::find(done, name) != done.end()) continue;
    if (done.size() == kMostCopies)
      return addProblem(entry, name, "the index lists the entry too often");
    done.push_back(name);
    if (!accepts(entry, name) || !folder_) continue;
    std::error_code error;
    std::unique_ptr<File> file = folder_->createFile(name, error);
    if (file) {
      sinks.files.push_back({name, std::move(file)});
    } else {
      addProblem(entry, name, describe(error));
    }
  }
}

// Reads until the buffer is full, the file ends, or a read fails. Nothing when the first read did.
std::optional<std::size_t> PackageReader::fill(std::span<std::byte> buffer) {
  std::size_t done = 0;
  while (done < buffer.size()) {
    const std::optional<std::size_t> count = file_.read(buffer.subspan(done));
    failedReads_ = count ? 0 : failedReads_ + 1;
    if (!count && done == 0) return std::nullopt;
    if (count.value_or(0) == 0) break;
    done += *count;
  }
  return done;
}

// Where data is missing, zeros stand for it; what inflates without fault before the first one is
// taken.
void PackageReader::inflateData(const Entry& entry, std::size_t firstPiece, Sinks& sinks) {
  using State = Inflater::State;
  const bool isWanted = sinks.isDocument || !sinks.files.empty();
  Inflater inflater;
  std::size_t left = static_cast<std::size_t>(entry.packedSize), total = 0, got = firstPiece;
  bool isCut = false;
  while (left > 0) {
    const auto piece = std::span(in_).first(std::min(in_.size(), left));
    if (left != static_cast<std::size_t>(entry.packedSize))
      got = isCut ? 0 : fill(piece).value_or(0);
    isCut = isCut || got < piece.size();
    std::ranges::fill(piece.subspan(got), std::byte{0});
    left -= piece.size();
    std::span<const std::byte> input = piece;
    for (bool more = isWanted; more && total <= entryLimit_;) {
      const std::size_t count = inflater.inflate(input, out_);
      total += count;
      give(entry, std::span(out_).first(count), sinks);
      more = inflater.state() == State::Open && (count == out_.size() || !input.empty());
    }
    if (isCut && (!isWanted || inflater.state() != State::Open || total > entryLimit_)) break;
  }
  if (isCut) addProblem(entry, u"", "the file ends inside its data");
  if (!isWanted) return;
  if (total > entryLimit_) {
    for (Sinks::Target& target : sinks.files)
      if (target.file && target.file->seek(0)) target.file->setEnd();
    addProblem(entry, u"", "it is larger than " + std::to_string(entryLimit_ >> 20) + " MiB");
  } else if (inflater.state() != State::Ended && !isCut) {
    addProblem(entry, u"", "its data is damaged");
  }
}

void PackageReader::give(const Entry& entry, std::span<const std::byte> bytes, Sinks& sinks) {
  if (sinks.isDocument && !sinks.documentTooLong) {
    sinks.documentTooLong = bytes.size() > kDocumentLimit - sinks.document.size();
    if (!sinks.documentTooLong)
      sinks.document.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  }
  for (Sinks::Target& target : sinks.files) {
    if (!target.file || target.file->write(bytes)) continue;
    target.file.reset();
    addProblem(entry, target.name, "an error while writing");
  }
}

void PackageReader::addProblem(const Entry& entry, std::u16string_view name, std::string reason) {
  auto& problems = package_.report.problems;
  if (problems.size() == kMostProblems) return;
  problems.push_back({entry.id, std::u16string(name), std::move(reason)});
}

}  // namespace tessaron
