#pragma once

#include "records/record.h"
#include "support/sort_form.h"
#include "tessaron_export.h"

namespace tessaron {

/// The language that a record's title is in: the only one of its languages that has rules, or that
/// in which it was published. Null when the record does not tell. For any thread.
TESSARON_API const SortLanguage* languageOf(const CRecord& record);

/// Gives a record's people and title their sort forms as `CCollationSystem::ApplyToRecord` does,
/// but by the rules of a language; the setting CollationOption still tells what is converted. Under
/// option 1, and without a language, it does what that does. For one thread at a time.
TESSARON_API void applySortForms(CRecord& record, const SortLanguage* language);

}  // namespace tessaron
