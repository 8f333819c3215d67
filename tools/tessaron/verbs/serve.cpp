#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/failures.h"
#include "cli/input.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "platform/browser.h"
#include "serve/server.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::uint16_t port = 0;
  std::optional<std::string> listen;
  std::vector<std::string> names;
  std::string passwordFile;
  std::string certificate;
  std::string key;
  bool isReadOnly = false;
  bool opens = false;
};

/// The first line of a file that only its owner may read. Fails with kNoInput or kUsage.
std::string readPassword(const std::string& path) {
  constexpr std::size_t kMinPassword = 8;
  namespace fs = std::filesystem;
  std::error_code error;
  constexpr fs::perms kOthers = fs::perms::group_all | fs::perms::others_all;
  const fs::file_status status = fs::status(filePath(path), error);
  if (!error && fs::is_regular_file(status) && (status.permissions() & kOthers) != fs::perms::none)
    throw Failure{kUsage, path,
                  "others may read the password; make it a file of yours (chmod 600)"};
  std::string password = readInput(path);
  password.resize(std::min(password.find_first_of("\r\n"), password.size()));
  if (password.size() < kMinPassword || findIllFormed(password) != password.npos)
    throw Failure{kUsage, path,
                  fmt::format("the first line must be a password of {} characters or more in UTF-8",
                              kMinPassword)};
  return password;
}

/// Whoever is let in from elsewhere needs a password, and nobody may listen to it.
void requireProtection(const Options& options) {
  const bool hasTls = !options.certificate.empty() && !options.key.empty();
  if (options.listen && (options.passwordFile.empty() || !hasTls))
    throw Failure{kUsage, {}, "--listen needs --password-file, --certificate and --key"};
  const bool isLoose = !options.passwordFile.empty() || !options.certificate.empty() ||
                       !options.key.empty() || !options.names.empty();
  if (!options.listen && isLoose)
    throw Failure{
        kUsage, {}, "--password-file, --certificate, --key and --name go with --listen only"};
}

AccessOptions accessOptions(const Options& options, std::uint16_t port) {
  AccessOptions access;
  access.port = port;
  access.names = options.names;
  if (!options.listen) return access;
  access.isSecure = true;
  access.isLoopback = false;
  access.password = readPassword(options.passwordFile);
  if (access.names.empty())
    access.names.push_back(options.listen->find(':') == std::string::npos
                               ? *options.listen
                               : '[' + *options.listen + ']');
  return access;
}

int run(const Options& options, const Context& context) {
  requireProtection(options);
  if (options.collection == "-")
    throw Failure{kUsage, {}, "only a collection in a file can be served"};
  ServedCollection collection(options.collection);
  std::string version;
  const std::size_t count = collection.count(version);
  ServerOptions serverOptions;
  serverOptions.port = options.port;
  if (options.listen) {
    serverOptions.address = *options.listen;
    serverOptions.tls = TlsFiles{options.certificate, options.key};
  }
  Server server(serverOptions);
  Access access(accessOptions(options, server.port()));
  SiteOptions siteOptions;
  siteOptions.title = pathText(filePath(options.collection).stem());
  siteOptions.isReadOnly = options.isReadOnly;
  Site site(collection, access, siteOptions);
  print(access.address() + '\n');
  flushOutput();
  note(context, fmt::format("{}: serving {} {}{}; Ctrl+C ends it", options.collection, count,
                            count == 1 ? "item" : "items", options.isReadOnly ? " to read" : ""));
  if (options.opens)
    if (const std::error_code error = openInBrowser(access.addressToOpen()))
      warn("no browser can be opened (is xdg-open installed?): " + error.message());
  server.run(site, collection);
  return kDone;
}

}  // namespace

void addServe(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb =
      app.add_subcommand("serve", "Shows the collection to a browser, to edit it there");
  verb->footer(
      "Prints the address of the page. Its token lets in whoever opens it: keep it to yourself. "
      "Only\n"
      "this machine can reach the server, unless --listen names an address of it to others, which\n"
      "needs a password and TLS. Several may edit at once, also by the other verbs: who comes "
      "second\n"
      "is told what has changed. Edits can be undone here and there. Ctrl+C ends the server.");
  addCollectionOption(*verb, options->collection, false);
  verb->add_option("--port", options->port, "The port; without it a free one")
      ->check(CLI::Range(1, 65535))
      ->type_name("N");
  verb->add_flag("--open", options->opens, "Open the page in your browser");
  verb->add_flag("--read-only", options->isReadOnly, "Refuse all edits");
  verb->add_option("--listen", options->listen,
                   "Serve others on this numeric address, such as 0.0.0.0 for all of the machine's")
      ->type_name("ADDRESS");
  verb->add_option("--name", options->names,
                   "A name by which others call the machine; again for more")
      ->type_name("HOST")
      ->allow_extra_args(false);
  verb->add_option("--password-file", options->passwordFile,
                   "A file of yours with the password in its first line; any user name will do")
      ->type_name("FILE");
  verb->add_option("--certificate", options->certificate, "The certificates for TLS, in PEM")
      ->type_name("FILE");
  verb->add_option("--key", options->key, "The key of the first certificate, in PEM")
      ->type_name("FILE");
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
