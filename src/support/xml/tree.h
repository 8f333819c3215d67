#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/xml/scanner.h"

namespace tessaron {

/// A light tree over the text of one element: where each part of it is. It copies no text, and
/// keeps its memory for the next element, so that reading many costs no allocations. Positions are
/// bytes from the start of the element's text, which may have up to 4 GiB and must outlive the
/// tree.
class XmlTree {
 public:
  class Element;
  enum class Kind : std::uint8_t {
    Element,
    Text,  ///< decoded, more than white space
    CData,
    Other,  ///< comments and the like
  };

  /// Takes over the element that `text` begins with. On an error the tree is empty.
  XmlError parse(std::string_view text);

  // Built token by token by whoever runs the scanner: `clear`, then `add` until it returns true,
  // then `setText`.
  void clear();
  /// Adds the scanner's token; `origin` is where the root element begins in the scanner's text.
  /// True when the root element is complete. `clear`ed, it expects a Start or Empty token.
  bool add(const XmlScanner& scanner, XmlScanner::Token token, std::string_view text,
           std::size_t origin);
  /// Adds what an error at `end` leaves of a token of character data or CDATA; nothing of others.
  void addCut(std::string_view token, std::size_t begin);
  /// Elements that are still open end here.
  void setText(std::string_view text);

  /// The element that was parsed; null for an empty tree.
  Element root() const;
  std::string_view text() const { return text_; }

 private:
  using Index = std::uint32_t;

  struct Node {
    Kind kind = Kind::Other;
    bool emptyTag = false;
    bool hasReferences = false;              // in the text of a Text
    Index begin = 0, end = 0;                // both tags included
    Index contentBegin = 0, contentEnd = 0;  // between the tags, or inside of <![CDATA[ ]]>
    Index nameSize = 0;
    Index after = 0;  // the node that follows it and all that it contains
    Index firstAttribute = 0, attributeCount = 0;
  };
  struct Attribute {
    Index nameBegin, nameEnd, valueBegin, valueEnd, end;
    bool quoted;
  };

  Node& append(Kind kind, Index begin, Index end);
  void addElement(const XmlScanner& scanner, bool emptyTag, std::size_t origin);

  std::string_view text_;
  std::vector<Node> nodes_;  // in the order of the text
  std::vector<Attribute> attributes_;
  std::vector<Index> open_;  // the path to where the next node goes
};

/// A node of an XmlTree, or null. Light: pass by value. Valid as long as the tree is not changed.
class XmlTree::Element {
 public:
  struct Attribute {
    std::string_view name;
    TextRange range;  ///< from the name to after the value's closing quotation mark
  };

  Element() = default;
  explicit operator bool() const { return tree_ != nullptr; }
  bool operator==(const Element&) const = default;

  std::string_view name() const { return text().substr(node().begin + 1, node().nameSize); }
  TextRange range() const { return {node().begin, node().end}; }
  /// Between the tags; for an empty tag nothing, after it.
  TextRange content() const { return {node().contentBegin, node().contentEnd}; }
  bool isEmptyTag() const { return node().emptyTag; }

  /// The first child element, or the next one of the same parent; null when there is none.
  Element firstChild() const { return elementFrom(index_ + 1, node().after); }
  Element nextSibling() const { return elementFrom(node().after, end_); }
  /// The first child element of that name, or null.
  Element child(std::string_view childName) const;
  std::vector<Element> children() const;
  std::vector<Element> childrenNamed(std::string_view childName) const;

  /// All text and CDATA directly in it, decoded. Empty when there is none.
  std::u16string elementText() const;
  /// Whether its first child, comments included, is text or CDATA.
  bool beginsWithText() const;
  /// Whether the first text directly in it, or the last one, is CDATA of white space only.
  bool beginsWithBlankCData() const;
  bool endsWithBlankCData() const;
  /// Text and CDATA directly in it.
  std::vector<TextRange> texts() const;
  bool hasText() const;
  /// Whether comments and the like stand directly in it.
  bool hasOthers() const;

  /// The value, decoded to UTF-8; nothing when there is no such attribute.
  std::optional<std::string> attribute(std::string_view attributeName) const;
  std::vector<Attribute> attributes() const;
  std::optional<Attribute> findAttribute(std::string_view attributeName) const;

 private:
  friend class XmlTree;
  /// Calls `visit` with each node directly in it, in order.
  template <typename Visit>
  void forEachNode(Visit visit) const {
    const std::vector<Node>& nodes = tree_->nodes_;
    for (Index at = index_ + 1; at != node().after; at = nodes[at].after) visit(nodes[at]);
  }
  bool isBlankCData(const Node* text) const;
  Element(const XmlTree* tree, Index index, Index end) : tree_(tree), index_(index), end_(end) {}
  const Node& node() const { return tree_->nodes_[index_]; }
  std::string_view text() const { return tree_->text_; }
  Element elementFrom(Index index, Index end) const {
    const std::vector<Node>& nodes = tree_->nodes_;
    while (index != end && nodes[index].kind != Kind::Element) index = nodes[index].after;
    return index == end ? Element() : Element(tree_, index, end);
  }

  const XmlTree* tree_ = nullptr;  // null for no node
  Index index_ = 0;
  Index end_ = 0;  // the node behind its parent's last
};

inline XmlTree::Element XmlTree::root() const {
  return nodes_.empty() ? Element() : Element(this, 0, nodes_.front().after);
}

/// Text with its references resolved, as TinyXML and `parseXml` do; in UTF-8.
std::string resolveReferences(std::string_view text);

/// The white space before `at`, up to the markup or text in front of it.
TextRange blankBefore(std::string_view text, std::size_t at);

}  // namespace tessaron
