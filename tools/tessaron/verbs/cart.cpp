#include <memory>
#include <nlohmann/json.hpp>

#include "cli/failures.h"
#include "cli/input.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/terminal.h"
#include "output/html_text.h"
#include "output/json.h"
#include "records/shopping_cart.h"
#include "support/text.h"
#include "support/xml/xml.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string response;
  std::string output;
  Form form = Form::Table;
  bool merge = false;
};

int run(const Options& options) {
  requireOtherFile(options.output, options.response);
  TiXmlDocument document;
  requireSound(options.response, parseXml(readInput(options.response), document));
  CShoppingCart cart;
  if (!cart.fromXml(&document) || cart.PurchaseURL.empty())
    throw Failure{kFailed, displayName(options.response), "no cart with a purchase address"};
  if (options.merge) cart.setMergeCart(true);
  const std::string address = toUtf8(cart.PurchaseURL);
  if (!isWebAddress(address))
    throw Failure{kBadData, displayName(options.response),
                  "the purchase address is refused, it is none of http or https: " + address};
  writeResult(options.output, options.form == Form::Json
                                  ? jsonText({{"PurchaseURL", address}}) + '\n'
                                  : printable(address) + '\n');
  return kDone;
}

}  // namespace

void addCart(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("cart", "Prints the purchase address of a cart response");
  verb->add_option("RESPONSE", options->response, "The response's file")->required();
  verb->add_flag("--merge", options->merge, "Make it an address that merges the cart");
  addFormFlags(*verb, options->form, {Form::Json});
  addOutputOption(*verb, options->output);
  verb->callback([&context, options] { context.run = [options] { return run(*options); }; });
}

}  // namespace tessaron::tool
