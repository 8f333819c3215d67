// Uses a class, a function, an XML element and a picture of the installed library.
#include <tessaron/records/record_set.h>
#include <tessaron/support/text.h>
#include <tessaron/support/xml.h>

#include <cstdio>

int main() {
  CRecordSet set;
  if (!set.fromString("<R><Items><Item><ASIN>1</ASIN><ItemAttributes><Title>Größe</Title>"
                      "</ItemAttributes></Item></Items></R>") ||
      set.records.size() != 1) {
    std::puts("no record");
    return 1;
  }
  CRecord record = set.records.front();
  record.coverImage = fipWinImage(FIT_BITMAP, 4, 3, 24);
  const CRecord copy = record;

  TiXmlElement element("Item");
  composeTextNode(&element, "Title", copy.Title);
  std::printf("%s %ux%u %s\n", wchar2utf8(copy.Title).c_str(), copy.coverImage.getWidth(),
              copy.coverImage.getHeight(), element.FirstChildElement()->GetText());
}
