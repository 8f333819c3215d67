// Lists what is due, what is overdue or due within a day first: due FILE
#include <tessaron/records/record_set.h>
#include <tessaron/support/dos_date.h>
#include <tessaron/support/text.h>

#include <algorithm>
#include <iostream>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: due FILE\n";
    return 2;
  }
  CRecordSet set;
  if (!set.fromFile(utf82wchar(argv[1]))) {
    std::cerr << argv[1] << ": this is no collection, or it cannot be read\n";
    return 1;
  }

  std::vector<CRecord> due;
  for (CRecord& record : set.records)
    if (record.getDueStates() != 0) due.push_back(record);
  std::ranges::stable_sort(due, {}, &CRecord::StatusEndDate);

  for (CRecord& record : due) {
    std::u16string status;
    record.getStatusString(status);
    std::cout << (record.getDueStates() == 1 ? "due   " : "soon  ") << wchar2utf8(record.Title)
              << ": " << wchar2utf8(status) << '\n';
  }
  return due.empty() ? 1 : 0;
}
