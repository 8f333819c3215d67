#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <utility>

#include "platform/directory.h"
#include "platform/text.h"
#include "support/byte_reader.h"
#include "support/text.h"
#include "support/xml/xml.h"
#include "support/zlib.h"
#include "themes/file_names.h"
#include "themes/package_reader_internal.h"

namespace tessaron {
namespace {

constexpr std::size_t kHeaderSize = 1044, kEntryHeaderSize = 76;
// A document in memory is forty times as large as the shortest text for it.
constexpr std::size_t kMaxDocumentSize = std::size_t{4} << 20;
constexpr std::size_t kMaxDocumentBytes = 4 * kMaxDocumentSize;  // of all documents together
constexpr int kMaxFailedReads = 16;
// What hostile packages could otherwise multiply, beside the PackageLimits.
constexpr std::size_t kMaxHeaders = 1 << 20;  // entries without data included
constexpr std::size_t kMaxNames = 16;         // of one entry
constexpr std::size_t kMaxNameSize = 1024;    // bytes; such a name is refused anyhow
constexpr std::size_t kMaxProblems = 1000;
// The files that are being written, in the folder in which they will stand.
constexpr std::u16string_view kStagedPrefix = u".tessaron-", kStagedSuffix = u".tmp";

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

std::string describe(const std::error_code& error) {
  if (error == std::errc::too_many_symbolic_link_levels || error == std::errc::too_many_links)
    return "a link stands there";
  return error.message();
}

bool isStagedName(std::u16string_view name) {
  return name.starts_with(kStagedPrefix) && name.ends_with(kStagedSuffix);
}

std::string mebibytes(std::uint64_t bytes) { return std::to_string(bytes >> 20) + " MiB"; }

}  // namespace

PackageReader::PackageReader(CPackage& package, File& file, const PackageLimits& limits)
    : package_(package),
      file_(file),
      limits_(limits),
      in_(512 << 10),
      out_(512 << 10),
      old_(512 << 10) {}

void PackageReader::unpack(const std::u16string& destination, bool extractAll) {
  if (!readHeader()) return;
  if (!destination.empty()) {
    use_ = Use::Unpack;
    openFolder(destination);
  }
  readEntries(extractAll);
  if (folder_) commit();
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
  if (error) {
    folder_.reset();
    return fail(Failure::CannotCreate, "its folder \"" + toUtf8(package_.extractionFolder) +
                                           "\" cannot be used: " + describe(error));
  }
  // Others who unpack the same package would write the same files. Where the file system knows no
  // locks, each file is still locked while it is written.
  lock_.emplace(joinPath(package_.extractionFolder, kStagedSuffix), error);
  removeStaged();
}

void PackageReader::readEntries(bool all) {
  std::array<std::byte, kEntryHeaderSize> header{};
  for (;;) {
    // QUIRK: After a read that failed, or came short, the header is what is left of the one before.
    // It is no entry. Kept: a device that fails now and then is read on.
    const std::optional<std::size_t> count = fill(header);
    if (count == 0u) return;
    if (failedReads_ == kMaxFailedReads)
      return addProblem({}, u"", "the file cannot be read any further");
    if (++headers_ > kMaxHeaders)
      return giveUp(Failure::TooLarge,
                    "it has more than " + std::to_string(kMaxHeaders) + " entries");
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
    if (++entries_ > limits_.entries)
      return giveUp(Failure::TooLarge,
                    "it has more than " + std::to_string(limits_.entries) + " entries");
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
  if (!isGivenUp_) inflateData(entry, firstPiece, sinks);
  if (isGivenUp_) return false;
  if (entry.id == 0) {
    parse(entry, sinks, *package_.index);
    readIndex();
  } else if (plan.isMain) {
    parse(entry, sinks, *package_.mainDocument);
    plan.names.push_back(u"main.xml");
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
    if (!id || !name) continue;
    // A name that is given twice would be written twice with the same bytes. Of too many, one stays
    // to be told, and main.xml.
    std::vector<std::string>& names = names_[*id];
    const bool isMain = isMainName(*name);
    const std::string kept = name->substr(0, kMaxNameSize);
    if (isMain
            ? std::ranges::any_of(names, isMainName)
            : std::ranges::find(names, kept) != names.end() ||
                  std::ranges::count_if(names, std::not_fn(isMainName)) > std::ptrdiff_t{kMaxNames})
      continue;
    names.push_back(kept);
  }
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
  if (!fault && isStagedName(name)) fault = "the name is one that unpacking uses itself";
  if (fault) {
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
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::u16string& name = names[i];
    if (i == kMaxNames) return addProblem(entry, name, "the index lists the entry too often");
    if (++nameCount_ > limits_.names)
      return giveUp(Failure::TooLarge,
                    "its entries have more than " + std::to_string(limits_.names) + " names");
    if (!accepts(entry, name) || !takesFiles()) continue;
    Target target{name, nullptr, nullptr};
    std::error_code error;
    if (folder_ && !staged_.contains(name)) target.old = folder_->openFile(name, error);
    if (error && error != std::errc::no_such_file_or_directory) {
      addProblem(entry, name, describe(error));
    } else {
      sinks.files.push_back(std::move(target));
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
  std::size_t left = static_cast<std::size_t>(entry.packedSize), got = firstPiece;
  std::uint64_t total = 0;
  bool isCut = false, isOpen = isWanted;
  while (left > 0) {
    const auto piece = std::span(in_).first(std::min(in_.size(), left));
    if (left != static_cast<std::size_t>(entry.packedSize))
      got = isCut ? 0 : fill(piece).value_or(0);
    isCut = isCut || got < piece.size();
    std::ranges::fill(piece.subspan(got), std::byte{0});
    left -= piece.size();
    std::span<const std::byte> input = piece;
    while (isOpen) {
      const std::size_t count = inflater.inflate(input, out_);
      total += count;
      give(entry, std::span(out_).first(count), sinks);
      if (isGivenUp_) return;
      isOpen = inflater.state() == State::Open && total <= limits_.fileSize &&
               !(sinks.documentTooLong && sinks.files.empty());
      if (count < out_.size() && input.empty()) break;
    }
    if (isCut && !isOpen) break;
  }
  if (isCut) addProblem(entry, u"", "the file ends inside its data");
  if (!isWanted) return;
  if (total > limits_.fileSize) {
    for (Target& target : sinks.files) {
      target.size = 0;
      target.staged.reset();
    }
    addProblem(entry, u"", "it is larger than " + mebibytes(limits_.fileSize));
  } else if (inflater.state() == State::Damaged || isOpen) {
    if (!isCut) addProblem(entry, u"", "its data is damaged");
  }
  if (folder_) finishFiles(entry, sinks);
}

void PackageReader::give(const Entry& entry, std::span<const std::byte> bytes, Sinks& sinks) {
  if (sinks.isDocument && !sinks.documentTooLong) {
    documentBytes_ += bytes.size();
    if (documentBytes_ > kMaxDocumentBytes)
      return giveUp(Failure::TooLarge,
                    "its documents are larger than " + mebibytes(kMaxDocumentBytes));
    sinks.documentTooLong = bytes.size() > kMaxDocumentSize - sinks.document.size();
    if (!sinks.documentTooLong)
      sinks.document.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  }
  for (Target& target : sinks.files) {
    fileBytes_ += bytes.size();
    if (fileBytes_ > limits_.total)
      return giveUp(Failure::TooLarge, "it unpacks to more than " + mebibytes(limits_.total));
    if (folder_ && !matchesOld(target, bytes)) {
      if (!target.staged && !stage(entry, target)) return;
      if (!hasSpace(bytes.size()))
        return giveUp(Failure::CannotWrite, "the disk has no space left for it");
      if (!target.staged->write(bytes))
        return giveUp(Failure::CannotWrite,
                      "\"" + toUtf8(target.name) + "\" cannot be written to its folder");
    }
    target.size += bytes.size();
  }
}

// Whether the bytes are what the file that is there goes on with.
bool PackageReader::matchesOld(Target& target, std::span<const std::byte> bytes) {
  if (!target.old) return false;
  const auto own = std::span(old_).first(bytes.size());
  return readFully(*target.old, target.size, own) == bytes.size() && std::ranges::equal(own, bytes);
}

// Begins a new file with what the old one has in common with it.
bool PackageReader::stage(const Entry& entry, Target& target) {
  const auto [place, isNew] = staged_.try_emplace(target.name);
  Staged& staged = place->second;
  staged.entry = entry.id;
  if (isNew) {
    staged.file = kStagedPrefix;
    staged.file.append(fromUtf8(std::to_string(staged_.size()))).append(kStagedSuffix);
  } else {
    folder_->removeFile(staged.file);  // some file systems flush one that was emptied
  }
  const auto refuse = [&](Failure failure, const std::string& reason) {
    giveUp(failure, "\"" + toUtf8(target.name) + "\": " + reason);
    return false;
  };
  std::error_code error;
  target.staged = folder_->createFile(staged.file, error);
  if (!target.staged) {
    const bool isFull = error == std::errc::no_space_on_device;
    return refuse(isFull ? Failure::CannotWrite : Failure::CannotCreate, describe(error));
  }
  if (target.old && target.size > 0 &&
      (!hasSpace(target.size) ||
       copyBytes(*target.old, 0, *target.staged, 0, target.size) != target.size ||
       !target.staged->seek(target.size)))
    return refuse(Failure::CannotWrite, "it cannot be written beside the one that is there");
  target.old.reset();
  return true;
}

void PackageReader::finishFiles(const Entry& entry, Sinks& sinks) {
  for (Target& target : sinks.files) {
    const bool isSame = target.old && target.old->size() == target.size;
    if (!isSame && !target.staged && !stage(entry, target)) return;
  }
}

bool PackageReader::hasSpace(std::uint64_t bytes) const {
  const std::optional<std::uint64_t> free = folder_->freeSpace();
  return !free || (*free >= bytes && *free - bytes >= limits_.spareSpace);
}

// Puts all files in their places, or removes them when the package was given up.
void PackageReader::commit() {
  for (const auto& [name, staged] : staged_) {
    std::error_code error;
    if (!isGivenUp_) error = folder_->replaceFile(staged.file, name);
    if (!isGivenUp_ && !error) continue;
    folder_->removeFile(staged.file);
    if (error) addProblem({staged.entry, 0, 0, {}}, name, describe(error));
  }
  if (isGivenUp_) folder_->discard();
}

// What a process that was killed has left.
void PackageReader::removeStaged() {
  std::error_code error;
  for (const FolderEntry& entry : readFolder(package_.extractionFolder, error))
    if (isStagedName(entry.name)) folder_->removeFile(entry.name);
}

void PackageReader::addProblem(const Entry& entry, std::u16string_view name, std::string reason) {
  auto& problems = package_.report.problems;
  if (problems.size() == kMaxProblems) return;
  problems.push_back({entry.id, std::u16string(name), std::move(reason)});
}

void PackageReader::fail(Failure failure, std::string reason) {
  PackageReport& report = package_.report;
  if (report.failure != Failure::None) return;
  report.failure = failure;
  report.failureReason = std::move(reason);
}

// The package is not read on.
void PackageReader::giveUp(Failure failure, std::string reason) {
  fail(failure, std::move(reason));
  isGivenUp_ = true;
}

}  // namespace tessaron
