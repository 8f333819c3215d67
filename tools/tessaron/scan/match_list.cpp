#include "scan/match_list.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <system_error>
#include <utility>

#include "catalogue/file_links.h"
#include "cli/collection.h"
#include "cli/dates.h"
#include "cli/failures.h"
#include "cli/paths.h"
#include "output/csv.h"
#include "output/json.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

constexpr std::size_t kMaxMatches = 3;  // of a file

std::string listed(const std::vector<std::string>& texts) {
  std::string list;
  for (const std::string& text : texts) (list += list.empty() ? "" : ", ") += text;
  return list;
}

}  // namespace

MatchList::MatchList(const Options& options, Form form, const Context& context, Output& output)
    : options_(options),
      form_(form),
      context_(context),
      output_(output),
      folder_(linkFolder(widePath(options.collection))),
      table_({"File", "Score", "ASIN", "Title", "Why", "Match"},
             {Fit::Whole, Fit::Whole, Fit::Whole, Fit::Title, Fit::Wrap, Fit::Whole}) {
  CollectionReader(options.collection).forEachItem([this](const ItemStream& items) {
    matcher_.add(items);
  });
  if (form == Form::Csv || form == Form::Tsv)
    output_.write(separatedRow(form_, {"path", "score", "ASIN", "Title", "reasons", "match"}));
}

void MatchList::add(const CFileInfo& file) {
  const std::string path = toUtf8(file.path);
  if (const FileMatch* item = matcher_.linkedItem(linkPath(folder_, file.path)))
    return write(path, *item, "linked");
  // Weaker ones are asked for, too: the best is clear only if it is far ahead of them.
  std::vector<FileMatch> matches = matcher_.match(factsOf(file), 1, kMaxMatches);
  const bool isBestClear = FileMatcher::isClear(matches);
  std::erase_if(matches, [&](const FileMatch& match) { return match.score < options_.minScore; });
  const bool isClear = isBestClear && !matches.empty();
  if (matches.empty()) write(path, {}, "none");
  for (const FileMatch& match : matches)
    write(path, match, isClear && &match == &matches.front() ? "clear" : "possible");
  if (isClear && options_.links) keepLink(file, matches.front().place);
}

void MatchList::keepLink(const CFileInfo& file, std::size_t place) {
  std::error_code error;
  std::optional<CLinkedFile> link = makeLink(folder_, file.path, localToday(), error);
  if (!link) return warn(toUtf8(file.path) + ": " + error.message());
  links_[place].push_back(*std::move(link));
  ++linked_;
}

void MatchList::write(const std::string& path, const FileMatch& match, const char* state) {
  const std::string score = match.score > 0 ? std::to_string(match.score) : "";
  const std::vector<std::string> texts = {
      path, score, toUtf8(match.asin), toUtf8(match.title), listed(match.reasons), state};
  if (form_ == Form::Table) {
    table_.add({{texts[0]}, {texts[1]}, {texts[2]}, {texts[3]}, {texts[4]}, {texts[5]}});
  } else if (form_ == Form::Json) {
    nlohmann::ordered_json row = {{"path", path},     {"score", nullptr},         {"ASIN", nullptr},
                                  {"Title", nullptr}, {"reasons", match.reasons}, {"match", state}};
    if (match.score > 0) row["score"] = match.score;
    if (std::string_view(state) != "none") {
      row["ASIN"] = texts[2];
      row["Title"] = texts[3];
    }
    output_.write((isEmpty_ ? "[\n  " : ",\n  ") + indented(jsonText(row), 2));
  } else {
    output_.write(separatedRow(form_, texts));
  }
  isEmpty_ = false;
}

void MatchList::finish() {
  if (form_ == Form::Json) output_.write(isEmpty_ ? "[]\n" : "\n]\n");
  if (form_ == Form::Table && !isEmpty_) table_.print(context_, output_);
}

void MatchList::link() {
  if (links_.empty()) return note(context_, "no match is clear; nothing is linked");
  const std::size_t items = links_.size();
  LinkMatches edit(matcher_, std::exchange(links_, {}));
  changeCollection(options_.collection, EditMode::Existing, edit);
  note(context_, fmt::format("{} file{} linked to {} item{}", linked_, linked_ == 1 ? "" : "s",
                             items, items == 1 ? "" : "s"));
}

}  // namespace tessaron::tool
