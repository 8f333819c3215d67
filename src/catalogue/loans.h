#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "records/record.h"
#include "tessaron_export.h"

namespace tessaron {

// An item has as many open loans as copies of it are away. The status of the record is that of the
// open loan which is due first: it is what every reader of a collection knows, and lists of what is
// due tell the day that matters. The others wait in `CRecord::loans`, and so does a status of
// another kind (bought, favorite) until the last loan has ended. There the loans that ended stay,
// too.
//
// Any thread may call these functions with a record that it has to itself.

/// Whether the status is one of a loan: lent, borrowed, rented out, rented.
constexpr bool isLoan(std::int32_t status) { return status >= 0 && status <= 3; }

/// The open loans of the record, the one that is due first in front.
TESSARON_API std::vector<CLoan> openLoans(const CRecord& record);
/// The loans that ended, oldest first.
TESSARON_API std::vector<CLoan> endedLoans(const CRecord& record);

/// Adds an open loan: a copy that is there goes to somebody (lent, rented out), or one comes from
/// somebody (borrowed, rented), which an item allows that has no other open loan. Returns why it
/// cannot be, as a clause ("it is lent to Mira already"); empty when done.
TESSARON_API std::string beginLoan(CRecord& record, const CLoan& loan);

/// Ends the open loan of `who`, or the only one for an empty `who`, on the day `returned`. Returns
/// why it cannot be, as a clause; empty when done. Case does not matter in `who`.
TESSARON_API std::string endLoan(CRecord& record, std::u16string_view who, std::uint16_t returned);

}  // namespace tessaron
