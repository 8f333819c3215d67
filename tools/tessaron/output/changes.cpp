#include "output/changes.h"

#include <nlohmann/json.hpp>

#include "output/csv.h"
#include "output/json.h"

namespace tessaron::tool {
namespace {

const char* nameOf(Change change) {
  switch (change) {
    case Change::New:
      return "new";
    case Change::Changed:
      return "changed";
    case Change::Moved:
      return "moved";
    case Change::Gone:
      return "gone";
    case Change::None:
      break;
  }
  return "";
}

}  // namespace

ChangeList::ChangeList(Form form, const Context& context, Output& output)
    : form_(form), context_(context), output_(output) {
  if (form == Form::Csv || form == Form::Tsv)
    output_.write(separatedRow(form_, {"change", "path", "before"}));
}

void ChangeList::add(Change change, const std::string& path, const std::string& before) {
  if (change == Change::None) return;
  if (form_ == Form::Table) {
    table_.add({{nameOf(change)}, {path}, {before}});
  } else if (form_ == Form::Json) {
    nlohmann::ordered_json json{{"change", nameOf(change)}, {"path", path}};
    if (!before.empty()) json["before"] = before;
    output_.write((isEmpty_ ? "[\n  " : ",\n  ") + indented(jsonText(json), 2));
  } else {
    output_.write(separatedRow(form_, {nameOf(change), path, before}));
  }
  isEmpty_ = false;
}

void ChangeList::finish() {
  if (form_ == Form::Json) output_.write(isEmpty_ ? "[]\n" : "\n]\n");
  if (form_ == Form::Table && !isEmpty_) table_.print(context_, output_);
}

}  // namespace tessaron::tool
