#include "catalogue/readers/json_source.h"

#include <optional>
#include <utility>

#include "catalogue/text_encoding.h"
#include "records/record_from_json.h"

namespace tessaron {
namespace {

using Kind = SourceError::Kind;
using Token = JsonReader::Token;

class JsonSource : public RecordSource {
 public:
  explicit JsonSource(std::unique_ptr<File> text) {
    Utf8Text utf8 = asUtf8(std::move(text), Unmarked::Utf8);
    summary_.format = "JSON";
    summary_.program = "TessaronBF";
    summary_.encoding = encodingName(utf8.encoding);
    summary_.isOwn = true;
    file_ = std::move(utf8.file);
    if (file_)
      json_.emplace(*file_);
    else
      fail(Kind::Unreadable, "the file cannot be read");
  }

  bool next(SourceItem& item) override {
    if (error_ || isEnded_) return false;
    Token token = json_->next();
    if (!isOpen_) {
      isOpen_ = true;
      isList_ = token == Token::BeginArray;
      const bool isKnown = isList_ || token == Token::BeginObject || token == Token::Error;
      if (!isKnown)
        return fail(Kind::Foreign, "this is no list of items", json_->place().line,
                    json_->place().column);
      if (isList_) token = json_->next();
    } else if (!isList_) {
      return end(token);
    }
    if (isList_ && token == Token::EndArray) return end(json_->next());
    if (token == Token::Error) return end(token);
    item.line = json_->place().line;
    readItem(token, item);
    return json_->token() == Token::Error ? end(Token::Error) : true;
  }

 private:
  void readItem(Token token, SourceItem& item) {
    if (token != Token::BeginObject) {
      item.error = "it is no object";
      json_->skipValue();
      return;
    }
    item.error = recordFromJson(
        *json_, item.record, [this](const std::string& key) { ignore(key); }, &item.isDated);
  }

  // The end of the document, or an error.
  bool end(Token token) {
    isEnded_ = true;
    if (token != Token::Error) return false;
    return fail(json_->isUnreadable() ? Kind::Unreadable : Kind::Damaged, json_->error(),
                json_->place().line, json_->place().column);
  }

  std::unique_ptr<File> file_;
  std::optional<JsonReader> json_;
  bool isOpen_ = false;
  bool isList_ = false;
  bool isEnded_ = false;
};

}  // namespace

std::unique_ptr<RecordSource> openJson(std::unique_ptr<File> text) {
  return std::make_unique<JsonSource>(std::move(text));
}

}  // namespace tessaron
