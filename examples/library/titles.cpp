// Prints title and status of each item of a collection: titles FILE
#include <tessaron/records/record_set.h>
#include <tessaron/support/text.h>

#include <iostream>

int main(int argc, char** argv) {
  CRecordSet set;
  if (argc != 2 || !set.fromFile(utf82wchar(argv[1]))) return 1;
  for (CRecord& record : set.records) {
    std::u16string status;
    record.getStatusString(status);
    std::cout << wchar2utf8(record.Title) << '\t' << wchar2utf8(status) << '\n';
  }
}
