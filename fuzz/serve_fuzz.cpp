// Gives bytes to the server as a request, with the secret of a client that was let in or without.
// What comes back is an answer that names no file, and the collection stays one.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz.h"
#include "serve/request_head.h"
#include "serve/site.h"
#include "support/text.h"

namespace {

namespace fs = std::filesystem;
namespace http = boost::beast::http;
using namespace tessaron::tool;

constexpr const char* kItems =
    "<PriceTracker><Items><Item><ASIN>A1</ASIN><ItemAttributes><Title>Tides</Title></"
    "ItemAttributes>"
    "</Item><Item><ItemAttributes><Title>No "
    "key</Title></ItemAttributes></Item></Items></PriceTracker>";
const std::string kHost = "127.0.0.1:8000";

fs::path folder() {
  const fs::path memory = "/dev/shm";  // nothing is flushed to a disk there
  return (fs::exists(memory) ? memory : fs::temp_directory_path()) /
         ("serve_fuzz." + std::to_string(getpid()));
}

fs::path collectionPath() {
  fs::create_directories(folder());
  setenv("XDG_STATE_HOME", folder().c_str(), 1);
  setenv("TESSARON_SETTINGS", (folder() / "settings.db").c_str(), 1);
  return folder() / "c.xml";
}

AccessOptions accessOptions() {
  AccessOptions options;
  options.port = 8000;
  return options;
}

RequestHead plainHead(const std::string& target) {
  RequestHead head;
  head.method = "GET";
  head.target = target;
  head.host = kHost;
  return head;
}

// Of a server that is open to others, nobody but who knows the password is let in.
void checkPassword(const RequestHead& head) {
  AccessOptions options;
  options.port = 8443;
  options.isSecure = true;
  options.isLoopback = false;
  options.names = {"shelf.example"};
  options.password = "tide";
  Access access(options);
  if (const auto target = parseTarget(head.target)) {
    const auto refusal = access.refuse(head, *target);
    const bool isKnown = std::ranges::any_of(  // ":tide" in Base64, at each place in a group
        std::array{"OnRpZG", "p0aWRl", "6dGlkZ"},
        [&](const char* part) { return head.authorization.find(part) != std::string::npos; });
    CHECK(refusal || isKnown);
  }
  // A token is good for one time.
  const std::string address = access.addressToOpen();
  CHECK(address.starts_with("https://"));
}

// Names of the server's files and folders tell nothing to a client who does not know them.
void checkAnswer(const Response& response, const std::string& asked) {
  CHECK(response.status >= 200 && response.status < 600 && response.status != 500);
  if (!response.body) return;
  const std::string secret = folder().string();
  CHECK(asked.find(secret) != std::string::npos ||
        response.body->find(secret) == std::string::npos);
  CHECK(tessaron::findIllFormed(*response.body) == std::string::npos);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fs::path path = collectionPath();
  static Access access(accessOptions());
  static const std::string cookie = [] {
    const std::string address = access.address();
    const std::string target = address.substr(address.find("/?"));
    const auto first = access.refuse(plainHead(target), *parseTarget(target));
    CHECK(first && first->status == 303);
    for (const auto& [name, value] : first->headers)
      if (name == "Set-Cookie") return value.substr(0, value.find(';'));
    return std::string();
  }();
  if (size < 1) return 0;
  const bool isLetIn = data[0] % 8 != 0, isReadOnly = data[0] % 8 == 1;
  std::ofstream(path, std::ios::binary) << kItems;
  ServedCollection collection(path);
  Site site(collection, access, {"c", isReadOnly});

  http::request_parser<http::string_body> parser;
  parser.eager(true);
  parser.header_limit(16 << 10);
  parser.body_limit(Site::kMaxImport);
  boost::system::error_code error;
  const std::string text = asText(data + 1, size - 1);
  for (std::size_t at = 0; at < text.size() && !parser.is_done();) {
    const std::size_t count =
        parser.put(boost::asio::buffer(text.data() + at, text.size() - at), error);
    if (error || count == 0) break;
    at += count;
  }
  if (!parser.is_header_done()) return 0;
  Request request;
  request.head = headOf(parser.get());
  request.head.hasBody = !parser.get().body().empty();
  if (!isLetIn) checkPassword(request.head);
  if (isLetIn) {
    request.head.host = kHost;
    request.head.isHostUnique = true;
    request.head.cookie = cookie;
    if (request.head.ifMatch == "*")  // as one who knows the item would send it
      request.head.ifMatch = '"' + collection.item("A1")->version + '"';
  }
  Admission admission = site.admit(request.head);
  CHECK(isLetIn || admission.refusal);
  if (admission.refusal) {
    checkAnswer(*admission.refusal, text);
    return 0;
  }
  request.target = admission.target;
  request.body = parser.get().body();
  CHECK(request.body.size() <= admission.maxBody);
  CHECK(!isReadOnly || admission.work == Work::Reading);
  checkAnswer(site.answer(request), text);
  if (admission.work == Work::Reading) checkAnswer(site.answer(request), text);  // now from memory
  std::string version;
  collection.expire();
  const std::size_t count = collection.count(version);  // fails for what is no collection any more
  CHECK(collection.list({{}, {}, 0, ServedCollection::kMaxCount}).json->size() > count);
  return 0;
}
