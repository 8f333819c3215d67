#pragma once
// How readers of other programs' files fill records.

#include <string>
#include <string_view>
#include <vector>

#include "records/record.h"

namespace tessaron {

/// Adds a field of the owner's to a record; fills the one of that name when it is empty. A field
/// for which there is no room goes to the end of the notes.
void addCustomField(CRecord& record, std::string_view name, std::string_view value);

/// The text without white space at its ends.
std::string_view trimmedText(std::string_view text);

/// The parts of a text between separators, without white space at their ends; empty ones are left
/// out.
std::vector<std::string> partsOf(std::string_view text, std::string_view separator);

/// Adds a paragraph to the notes.
void addNotes(CRecord& record, std::string_view text);

/// "Herbert, Frank" as "Frank Herbert"; other forms, such as with two commas, as they are.
std::string givenNameFirst(std::string_view name);

/// A date in the form YYYY-MM-DD, YYYY-MM or YYYY: 2005/8/2, 2005-08-02T10:00:00 and [2005-08-02]
/// are known, too. Other texts as they are; empty for the years that stand for no date.
std::string plainDate(std::string_view text);

/// Adds the ISBN, EAN or UPC in `text` to the field for its kind unless that is filled. False when
/// it is none of these.
bool addProductNumber(CRecord& record, std::string_view text);

/// The text of a piece of HTML: line breaks where it has them, no tags.
std::string textOfHtml(std::string_view html);

}  // namespace tessaron
