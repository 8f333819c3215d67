// Edits an item as a text: the first byte chooses the item, the next two the lines that the rest of
// the input replaces.

#include <algorithm>
#include <string>
#include <vector>

#include "catalogue/item_form.h"
#include "fuzz.h"
#include "support/record_samples.h"

namespace {

using tessaron::formText;
using tessaron::readForm;

std::size_t lineBegin(const std::string& text, std::size_t line) {
  std::size_t at = 0;
  while (line-- > 0 && at < text.size()) at = std::min(text.find('\n', at), text.size() - 1) + 1;
  return at;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  const CRecord before = tessaron::asReadBack(tessaron::randomRecord(data[0]));
  const std::string form = formText(before);
  CRecord same = before;
  CHECK(readForm(form, form, same).empty());
  CHECK(tessaron::everythingOf(same) == tessaron::everythingOf(before));

  const std::size_t from = lineBegin(form, data[1]), to = lineBegin(form, data[1] + data[2] % 64u);
  const std::string text = form.substr(0, from) + asText(data + 3, size - 3) + form.substr(to);
  CRecord after = before;
  const auto errors = readForm(form, text, after);
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  std::size_t last = 1;
  for (const tessaron::FormError& error : errors) {
    CHECK(error.line >= last && error.line <= lines + 1 && !error.reason.empty());
    last = error.line;
  }
  if (!errors.empty()) return 0;
  // The form of what came of it makes the same of the item.
  const std::string changed = formText(after);
  CRecord again = before;
  CHECK(readForm(form, changed, again).empty());
  CRecord kept = after;
  CHECK(readForm(changed, formText(again), kept).empty());
  CHECK(tessaron::everythingOf(kept) == tessaron::everythingOf(after));
  return 0;
}
