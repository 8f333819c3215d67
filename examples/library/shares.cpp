// Draws a pie of the groups of a collection: shares COLLECTION PICTURE.png
#include <tessaron/graphics/pie_chart.h>
#include <tessaron/records/record_set.h>
#include <tessaron/support/text.h>

int main(int argc, char** argv) {
  CRecordSet set;
  if (argc != 3 || !set.fromFile(utf82wchar(argv[1]))) return 1;
  GPPieChart chart(600, 400);
  for (const CRecord& record : set.records) chart.feed(scdata(record.ProductGroup, 1, 1));
  // Items of one name become one; from the twelfth on they share a slice.
  if (!chart.merge(true) || !chart.sortdata() || !chart.normalize(true) || !chart.draw()) return 1;
  return chart.writePng(utf82wchar(argv[2])) ? 0 : 1;
}
