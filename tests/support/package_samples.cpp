#include "support/package_samples.h"

#include "support/bytes.h"

namespace samples {

std::string packageHeader() {
  std::string header("TP\1\0", 4);
  for (char byte = 0; byte < 16; ++byte) header += byte;
  return header + std::string(1024, '\x55');
}

std::string rawEntry(std::uint32_t id, std::int32_t packedSize, std::int32_t size,
                     const std::string& data) {
  return le32(id) + le32(static_cast<std::uint32_t>(packedSize)) +
         le32(static_cast<std::uint32_t>(size)) + std::string(64, '\x55') + data;
}

std::string entry(std::uint32_t id, const std::string& content) {
  const std::string data = deflated(content);
  return rawEntry(id, static_cast<std::int32_t>(data.size()),
                  static_cast<std::int32_t>(content.size()), data);
}

std::string indexXml(const std::vector<std::pair<std::uint32_t, std::string>>& files) {
  std::string xml = "<index>";
  for (const auto& [id, name] : files)
    xml += "<f id=\"" + std::to_string(id) + "\" filename=\"" + name + "\"/>";
  return xml + "</index>";
}

std::string mainXml() {
  return "<main><info><author>Ada \xC3\x84</author><email>a@example.org</email>"
         "<url>http://example.org</url><name>Shelves</name><description>Two of them</description>"
         "</info><theme name=\"Dark\" screenshot=\"back.png\"/><other name=\"No\"/>"
         "<theme name=\"Light\"><virtualshelf background=\"back.png\"/></theme></main>";
}

std::string package(const std::vector<std::pair<std::string, std::string>>& files) {
  std::vector<std::pair<std::uint32_t, std::string>> names = {{1, "main.xml"}};
  std::string entries = entry(1, mainXml());
  for (const auto& [name, content] : files) {
    const auto id = static_cast<std::uint32_t>(names.size() + 1);
    names.push_back({id, name});
    entries += entry(id, content);
  }
  return packageHeader() + entry(0, indexXml(names)) + entries;
}

}  // namespace samples
