#include "catalogue/loans.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

#include "support/fold.h"
#include "support/text.h"

namespace tessaron {
namespace {

bool isOpen(const CLoan& loan) { return isLoan(loan.status) && loan.returned == 0; }

// Whether the item is somebody else's.
bool isFromOthers(const CLoan& loan) { return loan.status == 1 || loan.status == 3; }

// Loans come before what waits for their end, those that are due first in front; one without an end
// is due last.
bool goesBefore(const CLoan& a, const CLoan& b) {
  const auto rank = [](const CLoan& loan) {
    constexpr std::uint16_t kNever = std::numeric_limits<std::uint16_t>::max();
    return std::pair(!isLoan(loan.status), loan.end == 0 ? kNever : loan.end);
  };
  return rank(a) < rank(b);
}

// Takes all that is not over out of the record: the status, open loans and what waits.
std::vector<CLoan> takePending(CRecord& record) {
  std::vector<CLoan> pending;
  if (record.hasStatus)
    pending.push_back(
        {record.status, record.StatusTarget, record.StatusBeginDate, record.StatusEndDate, 0});
  std::vector<CLoan> ended;
  for (CLoan& loan : record.loans)
    (loan.returned == 0 ? pending : ended).push_back(std::move(loan));
  record.loans = std::move(ended);
  return pending;
}

// Puts back what `takePending` has taken: the first becomes the status.
void putPending(CRecord& record, std::vector<CLoan> pending) {
  std::stable_sort(pending.begin(), pending.end(), goesBefore);
  const CLoan status = pending.empty() ? CLoan() : pending.front();
  record.hasStatus = !pending.empty();
  record.status = status.status;
  record.StatusTarget = status.who;
  record.StatusBeginDate = status.begin;
  record.StatusEndDate = status.end;
  if (pending.empty()) return;
  record.loans.insert(record.loans.end(), std::make_move_iterator(pending.begin() + 1),
                      std::make_move_iterator(pending.end()));
}

// Such as "lent to Mira".
std::string describe(const CLoan& loan) {
  constexpr std::string_view kWords[] = {"lent to", "borrowed from", "rented out to",
                                         "rented from"};
  return std::string(kWords[loan.status]) + ' ' +
         (loan.who.empty() ? "somebody" : toUtf8(loan.who));
}

std::string describe(const std::vector<CLoan>& loans) {
  std::string text;
  for (std::size_t i = 0; i < loans.size(); ++i)
    text += (i == 0 ? "" : i + 1 == loans.size() ? " and " : ", ") + describe(loans[i]);
  return text;
}

bool isSamePerson(std::u16string_view a, std::u16string_view b) {
  return foldText(a) == foldText(b);
}

}  // namespace

std::vector<CLoan> openLoans(const CRecord& record) {
  std::vector<CLoan> open;
  if (record.hasStatus && isLoan(record.status))
    open.push_back(
        {record.status, record.StatusTarget, record.StatusBeginDate, record.StatusEndDate, 0});
  std::copy_if(record.loans.begin(), record.loans.end(), std::back_inserter(open), isOpen);
  std::stable_sort(open.begin(), open.end(), goesBefore);
  return open;
}

std::vector<CLoan> endedLoans(const CRecord& record) {
  std::vector<CLoan> ended;
  std::copy_if(record.loans.begin(), record.loans.end(), std::back_inserter(ended),
               [](const CLoan& loan) { return loan.returned != 0; });
  return ended;
}

std::string beginLoan(CRecord& record, const CLoan& loan) {
  const std::vector<CLoan> open = openLoans(record);
  const bool isBorrowed = std::any_of(open.begin(), open.end(), isFromOthers);
  const std::size_t copies = static_cast<std::size_t>(std::max(record.copies, 1));
  const std::size_t allowed = isFromOthers(loan) || isBorrowed ? 1 : copies;
  if (open.size() >= allowed) {
    const std::string all = copies > 1 && !isBorrowed && open.size() >= copies
                                ? "all " + std::to_string(copies) + " copies are away: "
                                : "it is ";
    return all + describe(open) + (all == "it is " ? " already" : "");
  }
  if (loan.begin != 0 && loan.end != 0 && loan.end < loan.begin)
    return "the loan would end before it begins";
  std::vector<CLoan> pending = takePending(record);
  pending.push_back(loan);
  putPending(record, std::move(pending));
  return {};
}

std::string endLoan(CRecord& record, std::u16string_view who, std::uint16_t returned) {
  const std::vector<CLoan> open = openLoans(record);
  if (open.empty()) return "it is neither lent nor borrowed";
  std::optional<CLoan> ending;
  for (const CLoan& loan : open) {
    if (!who.empty() && !isSamePerson(loan.who, who)) continue;
    if (!ending) {
      ending = loan;  // the first that is due, where one person has several copies
    } else if (who.empty()) {
      return "it is " + describe(open) + "; tell who returns it";
    }
  }
  if (!ending) return "it is not with " + toUtf8(who) + " but " + describe(open);
  if (returned < ending->begin) return "it would be returned before the loan began";
  std::vector<CLoan> pending = takePending(record);
  pending.erase(std::find(pending.begin(), pending.end(), *ending));
  ending->returned = returned;
  record.loans.push_back(*std::move(ending));
  putPending(record, std::move(pending));
  return {};
}

}  // namespace tessaron
