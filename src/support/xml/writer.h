#pragma once
// Two outputs for those who write XML: elements of a TinyXML document, and text. Both have
//
//   out.attribute(name, value);                     // before any content
//   out.text(name, value, before, behind);          // a child with that text; none for an empty
//   one out.element(name, [&](auto& child) { ... });    // a child that `child` fills
//   out.foreign(name, [&](TiXmlElement& e) { ... });  // a child that is filled as a TinyXML
//   element
//
// and give the same text: that of `printXml`. `before` and `behind` tell how many units of white
// space at the ends of a value are written as CDATA, because readers take them for indentation
// otherwise.

#include <tinyxml.h>

#include <string>
#include <string_view>

#include "support/xml/xml.h"

namespace tessaron {

/// Writes children and attributes into a TinyXML element.
class ElementOutput {
 public:
  explicit ElementOutput(TiXmlElement& element) : element_(element) {}

  void attribute(const char* name, int value) { element_.SetAttribute(name, value); }
  void attribute(const char* name, std::u16string_view value) {
    setAttribute(element_, name, value);
  }
  void text(const char* name, std::u16string_view value, std::size_t before = 0,
            std::size_t behind = 0);
  template <typename Fill>
  void element(const char* name, Fill fill) {
    ElementOutput child(*appendElement(element_, name));
    fill(child);
  }
  template <typename Fill>
  void foreign(const char* name, Fill fill) {
    fill(*appendElement(element_, name));
  }

 private:
  TiXmlElement& element_;
};

/// Writes an element as text, from its start tag to what `end` writes.
class TextOutput {
 public:
  /// Appends to `out`, which must outlive it.
  TextOutput(std::string& out, const char* name) : out_(out), name_(name) {
    (out_ += '<') += name_;
  }
  TextOutput(const TextOutput&) = delete;
  TextOutput& operator=(const TextOutput&) = delete;
  /// Writes the end of the element, after which nothing more can be written to it.
  void end();

  void attribute(const char* name, int value);
  void attribute(const char* name, std::u16string_view value);
  void text(const char* name, std::u16string_view value, std::size_t before = 0,
            std::size_t behind = 0);
  template <typename Fill>
  void element(const char* name, Fill fill) {
    beginContent();
    TextOutput child(out_, name);
    fill(child);
    child.end();
  }
  template <typename Fill>
  void foreign(const char* name, Fill fill) {
    beginContent();
    TiXmlElement child(name);
    fill(child);
    printXml(child, out_);
  }

 private:
  void writeCData(std::u16string_view blank);
  void beginContent() {
    if (!hasContent_) out_ += '>';
    hasContent_ = true;
  }

  std::string& out_;
  std::string_view name_;
  bool hasContent_ = false;
};

}  // namespace tessaron
