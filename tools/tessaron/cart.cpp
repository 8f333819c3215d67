#include <memory>

#include "records/shopping_cart.h"
#include "support/text.h"
#include "terminal.h"
#include "verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string response;
  bool merge = false;
};

int run(const Options& options) {
  TiXmlDocument document;
  requireSound(options.response, parseXml(readInput(options.response), document));
  CShoppingCart cart;
  if (!cart.fromXml(&document) || cart.PurchaseURL.empty())
    throw Failure{kFailed, displayName(options.response), "no cart with a purchase address"};
  if (options.merge) cart.setMergeCart(true);
  print(printable(toUtf8(cart.PurchaseURL)) + '\n');
  return kDone;
}

}  // namespace

void addCart(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("cart", "Prints the purchase address of a cart response");
  verb->add_option("RESPONSE", options->response, "The response's file")->required();
  verb->add_flag("--merge", options->merge, "Make it an address that merges the cart");
  verb->callback([&context, options] { context.run = [options] { return run(*options); }; });
}

}  // namespace tessaron::tool
