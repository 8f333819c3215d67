// Uses classes, a function, an XML element and a picture of the installed library.
#include <tessaron/tessaron.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

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

  // A TIFF file with one entry, the camera's maker. What decodes it comes with the library.
  const auto path = std::filesystem::temp_directory_path() / "tessaron-consumer.tif";
  constexpr char kPicture[] = "II*\0\x08\0\0\0\x01\0\x0F\x01\x02\0\x02\0\0\0A\0\0\0\0\0\0";
  std::ofstream(path, std::ios::binary).write(kPicture, sizeof kPicture);
  PropertyMap properties;
  CGPImageMDParser().parseByFileName(path.u16string(), properties);
  std::filesystem::remove(path);

  TiXmlElement element("Item");
  composeTextNode(&element, "Title", copy.Title);
  std::printf("%s %ux%u %s %s\n", wchar2utf8(copy.Title).c_str(), copy.coverImage.getWidth(),
              copy.coverImage.getHeight(), element.FirstChildElement()->GetText(),
              wchar2utf8(properties[40209]).c_str());
}
