#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file.h"
#include "support/xml/scanner.h"
#include "support/xml/tree.h"

namespace tessaron {

/// The elements at chosen places of an XML document in UTF-8, one after another, through a window:
/// memory depends on the largest one alone. Accepts and refuses what XmlScanner does. For one
/// thread at a time.
class ElementStream {
 public:
  /// The most that an element, or a token between two, may have, in bytes.
  static constexpr std::size_t kMaxElement = std::size_t{64} << 20;
  using Choice =
      std::function<bool(const XmlScanner& scanner, std::string_view text, std::size_t depth)>;

  /// Reads `file`, which must outlive the stream, from its position on. `choose` tells whether the
  /// start tag at which the scanner of `text` is begins one of those, the root having the depth 0;
  /// what is in it is not asked about.
  ElementStream(File& file, Choice choose);

  /// Moves to the next element. False after the last one and at an error.
  bool next();
  /// The element; valid until the next call of `next`.
  XmlTree::Element element() const { return tree_.root(); }
  /// The line on which it begins, from 1.
  std::size_t line() const { return line_; }
  /// The name of the document's root, as soon as it was seen.
  const std::string& rootName() const { return rootName_; }
  /// With line and column of the whole text.
  const XmlError& error() const { return error_; }

 private:
  using Token = XmlScanner::Token;
  bool refill();
  bool stop(XmlError error);
  std::string_view view() const { return std::string_view(window_).substr(0, size_); }
  void count(std::size_t to);

  File& file_;
  Choice choose_;
  std::string window_;
  std::size_t size_ = 0;     // of what is in the window
  std::size_t keep_ = 0;     // it is needed from here on
  std::size_t counted_ = 0;  // lines and columns are known up to here
  std::size_t lines_ = 1;
  std::size_t column_ = 1;
  std::size_t line_ = 0;
  XmlScanner scanner_;
  XmlTree tree_;
  std::string rootName_;
  XmlError error_;
  bool stopped_ = false;
};

}  // namespace tessaron
