#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <utility>

#include "platform/directory.h"
#include "support/ascii.h"
#include "support/byte_reader.h"
#include "support/text.h"
#include "support/xml/xml.h"
#include "support/zlib.h"
#include "themes/file_names.h"
#include "themes/package_reader_internal.h"

namespace tessaron {
namespace {

constexpr std::size_t kHeaderSize = 1044, kEntryHeaderSize = 76;
// A parsed document takes up to forty times the memory of its text.
constexpr std::size_t kMaxDocumentSize = std::size_t{4} << 20;
constexpr std::size_t kMaxDocumentBytes = 4 * kMaxDocumentSize;  // of all documents together
constexpr int kMaxFailedReads = 16;
// Limits beside the PackageLimits, against hostile packages.
constexpr std::size_t kMaxHeaders = 1 << 20;  // including entries without data
constexpr std::size_t kMaxNames = 16;         // of one entry
constexpr std::size_t kMaxNameSize = 1024;    // bytes; longer names are refused in any case
constexpr std::size_t kMaxProblems = 1000;

void writeHex(std::span<const std::uint8_t> bytes, char16_t* out) {
  for (const std::uint8_t byte : bytes) {
    *out++ = u"0123456789ABCDEF"[byte >> 4];
    *out++ = u"0123456789ABCDEF"[byte & 15];
  }
}

// Accepts what TinyXML accepts as an integer, and numbers above its range.
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

std::string mebibytes(std::uint64_t bytes) { return std::to_string(bytes >> 20) + " MiB"; }

}  // namespace

bool isMainName(std::string_view name) { return equalIgnoringCase(name, "main.xml"); }

PackageReader::PackageReader(CPackage& package, File& file, const PackageLimits& limits)
    : package_(package), file_(file), limits_(limits), in_(512 << 10), out_(512 << 10) {}

void PackageReader::unpack(const std::u16string& destination, bool extractAll) {
  if (!readHeader()) return;
  if (!destination.empty()) {
    use_ = Use::Unpack;
    openFolder(destination);
  }
  readEntries(extractAll);
  if (folder_ && package_.report.failure != Failure::None) {
    folder_->discard();
  } else if (folder_) {
    if (StagedFolder::Error error = folder_->commit()) fail(error.failure, std::move(error.reason));
  }
  if (package_.report.failure != Failure::None) package_.extractionFolder.clear();
}

void PackageReader::inspect(bool readAll) {
  if (!readHeader()) return;
  use_ = Use::Inspect;
  readEntries(readAll);
}

void PackageReader::measure() {
  if (!readHeader()) return;
  use_ = Use::Measure;
  readEntries(true);
}

// QUIRK: A header that ends early counts as one with zeros behind it. It is cut off. Kept: only a
// read that fails is a failure, as with all reads here.
bool PackageReader::readHeader() {
  std::array<std::byte, kHeaderSize> header{};
  if (!fill(header) || failedReads_ > 0) {
    failReading();
    return false;
  }
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
  folder_ = std::make_unique<StagedFolder>(destination, package_.identifierText, limits_.spareSpace,
                                           error);
  if (!error) return;
  folder_.reset();
  fail(Failure::CannotCreate, "its folder \"" + toUtf8(package_.extractionFolder) +
                                  "\" cannot be used: " + describeFileError(error));
}

void PackageReader::readEntries(bool all) {
  std::array<std::byte, kEntryHeaderSize> header{};
  for (;;) {
    Entry entry;
    const Header found = readEntryHeader(header, entry);
    if (found == Header::End) return;
    if (found == Header::Skip) continue;
    if (++entries_ > limits_.entries)
      return giveUp(Failure::TooLarge,
                    "it has more than " + std::to_string(limits_.entries) + " entries");
    if (!readEntry(std::move(entry), all)) return;
  }
}

// Reads the next header over the previous one.
// QUIRK: After a read that failed or came short, the rest of the previous header counts as the next
// one. It is no entry. Kept: a device that fails now and then is read on. Nothing is unpacked then:
// the data of such an entry is not its own.
PackageReader::Header PackageReader::readEntryHeader(std::span<std::byte> header, Entry& entry) {
  if (fill(header) == 0u) return Header::End;
  if (failedReads_ == kMaxFailedReads) {
    failReading();
    return Header::End;
  }
  if (++headers_ > kMaxHeaders) {
    giveUp(Failure::TooLarge, "it has more than " + std::to_string(kMaxHeaders) + " entries");
    return Header::End;
  }
  ByteReader reader(header);
  entry.id = reader.u32le();
  entry.packedSize = static_cast<std::int32_t>(reader.u32le());
  entry.size = static_cast<std::int32_t>(reader.u32le());
  // QUIRK: The data of an entry without a size is not skipped, but read as the next header. That
  // is none. Kept: packages in use are read in this way.
  const bool hasData = entry.packedSize > 0 && entry.size > 0;
  if (!hasData && (entry.packedSize != 0 || entry.size != 0))
    addProblem(entry, u"", "it has no size; the bytes after it are read as an entry");
  if (hasData && failedReads_ > 0) failReading();
  return hasData ? Header::Entry : Header::Skip;
}

// False when reading ends here.
bool PackageReader::readEntry(Entry entry, bool all) {
  const auto packedSize = static_cast<std::size_t>(entry.packedSize);
  const std::size_t firstBlock = fillData(std::span(in_).first(std::min(in_.size(), packedSize)));
  if (firstBlock == 0) {
    if (failedReads_ == 0) addProblem(entry, u"", "the file ends where its data should be");
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
    openFiles(entry, plan.names, sinks);
  }
  if (!isGivenUp_) inflateData(entry, firstBlock, sinks);
  if (isGivenUp_) return false;
  if (entry.id == 0) {
    parse(entry, sinks, *package_.index);
    readIndex();
  } else if (plan.isMain) {
    parse(entry, sinks, *package_.mainDocument);
    plan.names.emplace_back(u"main.xml");
  }
  entry.names = std::move(plan.names);
  package_.report.entries.push_back(std::move(entry));
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
    if (id && name) addName(names_[*id], *name);
  }
}

// Keeps each name once, and of names above the limit the first, which is reported, and main.xml.
void PackageReader::addName(std::vector<std::string>& names, const std::string& name) {
  const std::string kept = name.substr(0, kMaxNameSize);
  const bool isKnown = isMainName(name) ? std::ranges::any_of(names, isMainName)
                                        : std::ranges::find(names, kept) != names.end();
  const auto isFull = [&] {
    return std::ranges::count_if(names, std::not_fn(isMainName)) > std::ptrdiff_t{kMaxNames};
  };
  if (!isKnown && (isMainName(name) || !isFull())) names.push_back(kept);
}

void PackageReader::parse(const Entry& entry, Sinks& sinks, TiXmlDocument& document) {
  const std::u16string_view name = entry.id == 0 ? u"" : u"main.xml";
  if (sinks.documentTooLong)
    return addProblem(entry, name, "the document is larger than " + mebibytes(kMaxDocumentSize));
  const XmlError error = parseXml(std::move(sinks.document), document);
  if (!error) return;
  addProblem(entry, name,
             "line " + std::to_string(error.line) + ", column " + std::to_string(error.column) +
                 ": " + error.message);
}

bool PackageReader::accepts(const Entry& entry, const std::u16string& name) {
  const char* fault = faultOfFileName(name);
  if (!fault && StagedFolder::isReserved(name)) fault = "the name is reserved for unpacking";
  if (fault) {
    addProblem(entry, name, fault);
    return false;
  }
  const auto [first, isNew] = taken_.emplace(inCapitals(name), name);
  if (isNew || first->second == name) return true;
  addProblem(entry, name, "the name differs only in case from " + toUtf8(first->second));
  return false;
}

void PackageReader::openFiles(const Entry& entry, const std::vector<std::u16string>& names,
                              Sinks& sinks) {
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i == kMaxNames) return addProblem(entry, names[i], "the index lists the entry too often");
    if (++nameCount_ > limits_.names)
      return giveUp(Failure::TooLarge,
                    "its entries have more than " + std::to_string(limits_.names) + " names");
    if (accepts(entry, names[i])) openFile(entry, names[i], sinks);
  }
}

void PackageReader::openFile(const Entry& entry, const std::u16string& name, Sinks& sinks) {
  if (use_ == Use::Measure) sinks.files.push_back({name, nullptr, nullptr});
  if (!folder_) return;
  std::error_code error;
  Target target = folder_->open(name, error);
  if (error) return addProblem(entry, name, describeFileError(error));
  sinks.files.push_back(std::move(target));
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

// Reads data of an entry, which is not read again after a failure.
std::size_t PackageReader::fillData(std::span<std::byte> buffer) {
  const std::optional<std::size_t> count = fill(buffer);
  if (failedReads_ > 0) failReading();
  return count.value_or(0);
}

// The next block of compressed data; zeros stand for what the file lacks.
std::span<const std::byte> PackageReader::nextBlock(Data& data) {
  const auto block = std::span(in_).first(std::min(in_.size(), data.left));
  const std::size_t got = data.got > 0 ? data.got : data.isCut ? 0 : fillData(block);
  data.got = 0;
  data.isCut = data.isCut || got < block.size();
  std::ranges::fill(block.subspan(got), std::byte{0});
  data.left -= block.size();
  return block;
}

// Gives the sinks what inflates before the first error.
void PackageReader::inflateData(const Entry& entry, std::size_t firstBlock, Sinks& sinks) {
  Inflater inflater;
  Data data{static_cast<std::size_t>(entry.packedSize), firstBlock};
  bool isOpen = !sinks.isEmpty();
  while (data.left > 0 && !(data.isCut && !isOpen)) {
    const std::span<const std::byte> block = nextBlock(data);
    if (isOpen) isOpen = inflateBlock(inflater, block, data, sinks);
    if (isGivenUp_) return;
  }
  finishData(entry, data, inflater.state() == Inflater::State::Damaged || isOpen, sinks);
}

// False when the sinks take no more data.
bool PackageReader::inflateBlock(Inflater& inflater, std::span<const std::byte> input, Data& data,
                                 Sinks& sinks) {
  for (;;) {
    const std::size_t count = inflater.inflate(input, out_);
    data.inflated += count;
    give(std::span(out_).first(count), sinks);
    if (isGivenUp_ || inflater.state() != Inflater::State::Open ||
        data.inflated > limits_.fileSize || (sinks.documentTooLong && sinks.files.empty()))
      return false;
    if (count < out_.size() && input.empty()) return true;
  }
}

void PackageReader::finishData(const Entry& entry, const Data& data, bool isDamaged, Sinks& sinks) {
  if (data.isCut && package_.report.failure != Failure::CannotRead)
    addProblem(entry, u"", "the file ends inside its data");
  if (sinks.isEmpty()) return;
  if (data.inflated > limits_.fileSize) {
    std::ranges::for_each(sinks.files, StagedFolder::clear);
    addProblem(entry, u"", "it is larger than " + mebibytes(limits_.fileSize));
  } else if (isDamaged && !data.isCut) {
    addProblem(entry, u"", "its data is damaged");
  }
  if (!folder_) return;
  for (Target& target : sinks.files)
    if (StagedFolder::Error error = folder_->finish(target))
      return giveUp(error.failure, std::move(error.reason));
}

void PackageReader::give(std::span<const std::byte> bytes, Sinks& sinks) {
  if (sinks.isDocument && !sinks.documentTooLong) giveDocument(bytes, sinks);
  if (!isGivenUp_) giveFiles(bytes, sinks);
}

void PackageReader::giveDocument(std::span<const std::byte> bytes, Sinks& sinks) {
  documentBytes_ += bytes.size();
  if (documentBytes_ > kMaxDocumentBytes)
    return giveUp(Failure::TooLarge,
                  "its documents are larger than " + mebibytes(kMaxDocumentBytes));
  sinks.documentTooLong = bytes.size() > kMaxDocumentSize - sinks.document.size();
  if (!sinks.documentTooLong)
    sinks.document.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

void PackageReader::giveFiles(std::span<const std::byte> bytes, Sinks& sinks) {
  for (Target& target : sinks.files) {
    fileBytes_ += bytes.size();
    if (fileBytes_ > limits_.total)
      return giveUp(Failure::TooLarge, "it unpacks to more than " + mebibytes(limits_.total));
    if (!folder_) continue;
    if (StagedFolder::Error error = folder_->append(target, bytes))
      return giveUp(error.failure, std::move(error.reason));
  }
}

void PackageReader::addProblem(const Entry& entry, std::u16string_view name, std::string reason) {
  auto& problems = package_.report.problems;
  if (problems.size() == kMaxProblems) return;
  problems.push_back({entry.id, std::u16string(name), std::move(reason)});
}

// Reports the first failure; reading goes on, but nothing is unpacked.
void PackageReader::fail(Failure failure, std::string reason) {
  PackageReport& report = package_.report;
  if (report.failure != Failure::None) return;
  report.failure = failure;
  report.failureReason = std::move(reason);
}

void PackageReader::failReading() { fail(Failure::CannotRead, "an error while reading"); }

// Reports a failure and ends reading.
void PackageReader::giveUp(Failure failure, std::string reason) {
  fail(failure, std::move(reason));
  isGivenUp_ = true;
}

}  // namespace tessaron
