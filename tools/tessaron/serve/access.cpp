#include "serve/access.h"

#include <fmt/format.h>

#include <algorithm>
#include <random>
#include <utility>

#include "support/ascii.h"

namespace tessaron::tool {
namespace {

/// 32 bytes that nobody can guess, in hexadecimal digits.
std::string makeSecret() {
  std::random_device random;
  std::string secret;
  for (int i = 0; i < 8; ++i) secret += fmt::format("{:08x}", static_cast<std::uint32_t>(random()));
  return secret;
}

/// Compares in a time that does not depend on where the texts differ.
bool isSecret(std::string_view given, std::string_view secret) {
  if (secret.empty() || given.size() != secret.size()) return false;
  unsigned difference = 0;
  for (std::size_t i = 0; i < secret.size(); ++i)
    difference |= static_cast<unsigned char>(given[i]) ^ static_cast<unsigned char>(secret[i]);
  return difference == 0;
}

std::string decodeBase64(std::string_view text) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    const std::size_t digit = kDigits.find(c);
    if (digit == kDigits.npos) break;  // the padding
    bits = bits << 6 | static_cast<std::uint32_t>(digit);
    if ((count += 6) < 8) continue;
    count -= 8;
    out += static_cast<char>(bits >> count & 0xFF);
  }
  return out;
}

/// Whether a host is written as a number: no name server has a say in it then.
bool isNumeric(std::string_view host) {
  if (host.starts_with('['))
    return host.ends_with(']') && host.find_first_not_of("0123456789abcdefABCDEF:.[]") == host.npos;
  return !host.empty() && host.find_first_not_of("0123456789.") == host.npos;
}

}  // namespace

Access::Access(AccessOptions options)
    : options_(std::move(options)), token_(makeSecret()), secret_(makeSecret()) {}

std::string Access::base() const {
  const std::string host = options_.names.empty() ? "127.0.0.1" : options_.names.front();
  return fmt::format("http{}://{}:{}/", options_.isSecure ? "s" : "", host, options_.port);
}

std::string Access::address() const {
  return options_.password ? base() : base() + "?token=" + token_;
}

std::string Access::addressToOpen() {
  if (options_.password) return base();
  onceToken_ = makeSecret();
  return base() + "?token=" + onceToken_;
}

bool Access::isHostKnown(std::string_view host) const {
  const std::string port = fmt::format(":{}", options_.port);
  const bool isUsualPort = options_.port == (options_.isSecure ? 443 : 80);
  if (host.ends_with(port))
    host.remove_suffix(port.size());
  else if (!isUsualPort)
    return false;
  if (options_.isLoopback && (host == "127.0.0.1" || equalIgnoringCase(host, "localhost")))
    return true;
  if (!options_.isLoopback && isNumeric(host)) return true;
  return std::ranges::any_of(
      options_.names, [&](const std::string& name) { return equalIgnoringCase(name, host); });
}

bool Access::comesFromElsewhere(const RequestHead& head) const {
  const std::string own = (options_.isSecure ? "https://" : "http://") + head.host;
  if (!head.origin.empty() && head.origin != own) return true;
  if (head.fetchSite.empty() || head.fetchSite == "same-origin" || head.fetchSite == "none")
    return false;
  // A link elsewhere may lead to the page itself, which shows nothing without the cookie.
  return head.fetchMode != "navigate" || head.method != "GET";
}

std::string Access::cookieName() const { return fmt::format("tessaron-{}", options_.port); }

bool Access::hasCookie(std::string_view cookies) const {
  const std::string start = cookieName() + '=';
  while (!cookies.empty()) {
    const std::size_t end = std::min(cookies.find(';'), cookies.size());
    std::string_view cookie = cookies.substr(0, end);
    cookies.remove_prefix(std::min(end + 1, cookies.size()));
    cookie.remove_prefix(std::min(cookie.find_first_not_of(' '), cookie.size()));
    if (cookie.starts_with(start) && isSecret(cookie.substr(start.size()), secret_)) return true;
  }
  return false;
}

bool Access::takeToken(const std::string& token) {
  if (isSecret(token, token_)) return !options_.password;
  if (!isSecret(token, onceToken_)) return false;
  onceToken_.clear();
  return true;
}

Response Access::withCookie(Response response) const {
  response.headers.emplace_back(
      "Set-Cookie", fmt::format("{}={}; Path=/; HttpOnly; SameSite=Strict{}", cookieName(), secret_,
                                options_.isSecure ? "; Secure" : ""));
  return response;
}

std::optional<Response> Access::checkPassword(const RequestHead& head) {
  constexpr std::string_view kBasic = "basic ";
  Response ask = errorResponse(401, "the password is required");
  ask.headers.emplace_back("WWW-Authenticate", "Basic realm=\"tessaron\", charset=\"UTF-8\"");
  const std::string_view given = head.authorization;
  if (given.size() < kBasic.size() || !equalIgnoringCase(given.substr(0, kBasic.size()), kBasic))
    return ask;
  // One wrong attempt a second, whoever makes it.
  const auto now = std::chrono::steady_clock::now();
  if (now < nextAttempt_) {
    Response wait = errorResponse(429, "there was a wrong password a moment ago; try again");
    wait.headers.emplace_back("Retry-After", "1");
    return wait;
  }
  const std::string user = decodeBase64(given.substr(kBasic.size()));  // NAME:PASSWORD
  const std::size_t colon = user.find(':');
  if (colon != user.npos && isSecret(std::string_view(user).substr(colon + 1), *options_.password))
    return std::nullopt;
  nextAttempt_ = now + std::chrono::seconds(1);
  ask.isDelayed = true;
  return ask;
}

std::optional<Response> Access::refuse(const RequestHead& head, const Target& target) {
  if (!head.isHostUnique || !isHostKnown(head.host))
    return errorResponse(421, "this server is not known by that name");
  if (comesFromElsewhere(head)) return errorResponse(403, "the request comes from another site");
  const bool isFirst = target.path == std::vector<std::string>{""} && head.method == "GET";
  if (const std::string token = target.parameter("token"); isFirst && !token.empty()) {
    // Without it in the address, the token is in no history and no link.
    if (hasCookie(head.cookie) || takeToken(token)) {
      Response response = textResponse(303, "text/plain; charset=utf-8", "");
      response.headers.emplace_back("Location", "/");
      return withCookie(std::move(response));
    }
  }
  if (hasCookie(head.cookie)) return std::nullopt;
  if (options_.password) {
    if (auto refusal = checkPassword(head)) return refusal;
    if (!isFirst || !target.parameters.empty()) return std::nullopt;
    // The parameter ends the redirections of a client that keeps no cookies.
    Response response = textResponse(303, "text/plain; charset=utf-8", "");
    response.headers.emplace_back("Location", "/?signedin");
    return withCookie(std::move(response));
  }
  const char* reason = "open the address that tessaron serve has printed";
  if (isFirst) return textResponse(401, "text/plain; charset=utf-8", std::string(reason) + '\n');
  return errorResponse(401, reason);
}

}  // namespace tessaron::tool
