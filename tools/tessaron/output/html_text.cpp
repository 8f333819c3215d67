#include "output/html_text.h"

#include <algorithm>
#include <vector>

#include "support/ascii.h"
#include "support/escape.h"

namespace tessaron::tool {

namespace {

constexpr std::size_t kNestingLimit = 32;

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Whether the texts of such elements are to be separated.
bool isBlock(std::string_view name) {
  return name == "div" || name == "tr" || name == "td" || (name.size() == 2 && name[0] == 'h');
}

/// The replacement of a character in a page; empty when it is kept.
std::string_view escapeOf(char16_t c) {
  switch (c) {
    case u'&':
      return "&amp;";
    case u'<':
      return "&lt;";
    case u'>':
      return "&gt;";
    case u'"':
      return "&quot;";
    case u'\'':
      return "&#39;";
    case u'\t':
    case u'\n':
    case u'\r':
      return {};
    default:
      return c < u' ' || c == 0x7F ? "\uFFFD" : std::string_view();
  }
}

void appendEscaped(std::string& out, char c) {
  const std::string_view escape = escapeOf(static_cast<unsigned char>(c));
  escape.empty() ? out += c : out += escape;
}

/// The length of the character reference at the start of `text`; 0 when there is none.
std::size_t referenceLength(std::string_view text) {
  std::size_t at = 1;
  if (at < text.size() && text[at] == '#') ++at;
  const std::size_t begin = at;
  while (at < text.size() && at < 34 && (isLetter(text[at]) || isDigit(text[at]))) ++at;
  return at > begin && at < text.size() && text[at] == ';' ? at + 1 : 0;
}

/// The output name of an element that is kept; empty for all others.
std::string_view keptName(std::string_view name) {
  if (name == "b" || name == "strong") return "b";
  if (name == "i" || name == "em") return "i";
  for (const std::string_view kept : {"p", "br", "ul", "ol", "li"})
    if (name == kept) return kept;
  return {};
}

class Tidier {
 public:
  explicit Tidier(std::string_view html) : html_(html) {}

  std::string run() {
    while (at_ < html_.size()) {
      if (html_[at_] == '<') {
        takeTag();
      } else {
        takeText();
      }
    }
    closeTo(0);
    return std::move(out_);
  }

 private:
  void takeText() {
    const std::size_t length =
        html_[at_] == '&' ? referenceLength(html_.substr(at_)) : std::size_t{0};
    if (length == 0) {
      appendEscaped(out_, html_[at_++]);
    } else {
      out_ += html_.substr(at_, length);
      at_ += length;
    }
  }

  void takeTag() {
    if (html_.substr(at_, 4) == "<!--") return skipBehind("-->");
    std::size_t begin = at_ + 1;
    const bool closing = begin < html_.size() && html_[begin] == '/';
    if (closing) ++begin;
    if (begin >= html_.size() || !(isLetter(html_[begin]) || html_[begin] == '!'))
      return appendEscaped(out_, html_[at_++]);
    std::size_t end = begin;
    while (end < html_.size() && (isLetter(html_[end]) || isDigit(html_[end]))) ++end;
    const std::string name = lowerLetters(html_.substr(begin, end - begin));
    skipBehind(">");
    if (!closing && (name == "script" || name == "style")) return skipElement(name);
    const std::string_view kept = keptName(name);
    if (kept.empty()) {
      if (isBlock(name)) out_ += ' ';
    } else if (closing) {
      close(kept);
    } else {
      open(kept);
    }
  }

  void open(std::string_view name) {
    if (name == "br") {
      out_ += "<br>";
      return;
    }
    if (name == "p" || name == "ul" || name == "ol") close("p");
    if (name == "li") closeItem();
    if (open_.size() >= kNestingLimit) return;
    open_.push_back(name);
    out_.append("<").append(name).append(">");
  }

  void close(std::string_view name) {
    const auto found = std::find(open_.rbegin(), open_.rend(), name);
    if (found != open_.rend()) closeTo(static_cast<std::size_t>(open_.rend() - found) - 1);
  }

  /// Closes the open item of the innermost list.
  void closeItem() {
    for (std::size_t i = open_.size(); i-- > 0;) {
      if (open_[i] == "ul" || open_[i] == "ol") return;
      if (open_[i] == "li") return closeTo(i);
    }
  }

  void closeTo(std::size_t depth) {
    while (open_.size() > depth) {
      out_.append("</").append(open_.back()).append(">");
      open_.pop_back();
    }
  }

  void skipBehind(std::string_view mark) {
    const std::size_t found = html_.find(mark, at_);
    at_ = found == html_.npos ? html_.size() : found + mark.size();
  }

  void skipElement(const std::string& name) {
    while (at_ < html_.size()) {
      skipBehind("</");
      if (lowerLetters(html_.substr(at_, name.size())) == name) return skipBehind(">");
    }
  }

  std::string_view html_;
  std::size_t at_ = 0;
  std::string out_;
  std::vector<std::string_view> open_;
};

}  // namespace

std::string escapeHtml(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) appendEscaped(out, c);
  return out;
}

std::string escapeHtml(std::u16string_view text) {
  std::string out;
  tessaron::appendEscaped<'&', '<', '>', '"', '\''>(out, text, escapeOf);
  return out;
}

std::string tidyHtml(std::string_view html) { return Tidier(html).run(); }

bool isWebAddress(std::string_view address) {
  const std::string head = lowerLetters(address.substr(0, 8));
  return head.starts_with("http://") || head.starts_with("https://");
}

}  // namespace tessaron::tool
