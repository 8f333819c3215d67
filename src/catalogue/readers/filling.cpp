#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "catalogue/readers/filling_internal.h"
#include "records/product_number.h"
#include "support/ascii.h"
#include "support/text.h"

namespace tessaron {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Takes a number of up to four digits from the front of `text`; -1 when there is none.
int takeNumber(std::string_view& text) {
  std::size_t size = 0;
  int number = 0;
  while (size < text.size() && size < 4 && isDigit(text[size]))
    number = number * 10 + (text[size++] - '0');
  text.remove_prefix(size);
  return size > 0 ? number : -1;
}

// Takes "-05" or "/5" from the front of `text`; -1 when it does not begin with a separator and a
// number up to `max`.
int takePart(std::string_view& text, int max) {
  if (!text.starts_with('-') && !text.starts_with('/')) return -1;
  std::string_view rest = text.substr(1);
  const int number = takeNumber(rest);
  if (number < 0 || number > max) return -1;
  text = rest;
  return number;
}

void appendTwoDigits(std::string& out, int number) {
  out += '-';
  out += static_cast<char>('0' + number / 10 % 10);
  out += static_cast<char>('0' + number % 10);
}

// What a named reference of HTML stands for; empty for an unknown one.
std::string_view meaningOf(std::string_view name) {
  constexpr std::array<std::pair<std::string_view, std::string_view>, 6> kMeanings = {{
      {"amp", "&"},
      {"lt", "<"},
      {"gt", ">"},
      {"quot", "\""},
      {"apos", "'"},
      {"nbsp", " "},
  }};
  const auto found =
      std::ranges::find(kMeanings, name, [](const auto& pair) { return pair.first; });
  return found == kMeanings.end() ? std::string_view() : found->second;
}

// Appends the character that the reference at the front of `text` stands for, and returns its
// length; 0 when there is none.
std::size_t takeReference(std::string_view text, std::string& out) {
  constexpr std::size_t kMaxReference = 10;
  const std::size_t end = text.substr(0, kMaxReference).find(';');
  if (end == text.npos) return 0;
  std::string_view name = text.substr(1, end - 1);
  if (!name.starts_with('#')) {
    const std::string_view meaning = meaningOf(name);
    out += meaning;
    return meaning.empty() ? 0 : end + 1;
  }
  name.remove_prefix(1);
  const bool isHex = name.starts_with('x') || name.starts_with('X');
  if (isHex) name.remove_prefix(1);
  std::uint32_t code = 0;
  const auto [last, error] =
      std::from_chars(name.data(), name.data() + name.size(), code, isHex ? 16 : 10);
  if (error != std::errc() || last != name.data() + name.size()) return 0;
  appendUtf8(out, code);
  return end + 1;
}

}  // namespace

std::string_view trimmedText(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);  // npos + 1 is 0
}

std::vector<std::string> partsOf(std::string_view text, std::string_view separator) {
  std::vector<std::string> parts;
  for (;;) {
    const std::size_t end = text.find(separator);
    if (const std::string_view part = trimmedText(text.substr(0, end)); !part.empty())
      parts.emplace_back(part);
    if (end == text.npos) return parts;
    text.remove_prefix(end + separator.size());
  }
}

void addCustomField(CRecord& record, std::string_view name, std::string_view value) {
  if (value.empty()) return;
  const std::u16string wideName = fromUtf8(name);
  CRecord::Strings& names = record.customFieldNames;
  CRecord::Strings& values = record.customFieldValues;
  std::size_t slot = 0;
  while (slot < names.size() && names[slot] != wideName) ++slot;
  if (slot == names.size()) {
    slot = 0;
    while (slot < names.size() && !(names[slot].empty() && values[slot].empty())) ++slot;
  }
  if (slot == names.size()) return addNotes(record, std::string(name) + ": " + std::string(value));
  if (!values[slot].empty()) return;
  names[slot] = wideName;
  values[slot] = fromUtf8(value);
  record.customFieldFlags[slot] = true;
}

void addNotes(CRecord& record, std::string_view text) {
  if (text.empty()) return;
  if (!record.Notes.empty()) record.Notes += u"\n\n";
  record.Notes += fromUtf8(text);
  record.hasNotes = true;
}

std::string givenNameFirst(std::string_view name) {
  const std::size_t comma = name.find(',');
  if (comma == name.npos || name.find(',', comma + 1) != name.npos) return std::string(name);
  const std::string_view surname = trimmedText(name.substr(0, comma));
  const std::string_view given = trimmedText(name.substr(comma + 1));
  if (given.empty()) return std::string(surname);
  return std::string(given) + ' ' + std::string(surname);
}

std::string plainDate(std::string_view text) {
  if (text.starts_with('[') && text.ends_with(']')) text = text.substr(1, text.size() - 2);
  std::string_view rest = text;
  const int year = takeNumber(rest);
  if (text.size() - rest.size() != 4) return std::string(text);
  if (year < 1000) return {};  // the year 101 or 0 of programs that know none
  const int month = takePart(rest, 12);
  const int day = month < 0 ? -1 : takePart(rest, 31);
  if (!rest.empty() && (day < 0 || (rest[0] != 'T' && rest[0] != ' '))) return std::string(text);
  std::string date(text.substr(0, 4));
  if (month > 0) appendTwoDigits(date, month);
  if (month > 0 && day > 0) appendTwoDigits(date, day);
  return date;
}

bool addProductNumber(CRecord& record, std::string_view text) {
  const std::u16string wide = fromUtf8(text);
  const std::optional<std::u16string> number = productNumber(wide);
  if (!number) return false;
  const auto digits = std::ranges::count_if(text, isDigit);
  const bool isBook = number->starts_with(u"978") || number->starts_with(u"979");
  std::u16string plain;
  std::ranges::copy_if(wide, std::back_inserter(plain), [](char16_t c) {
    return (c >= u'0' && c <= u'9') || c == u'X' || c == u'x';
  });
  std::u16string& field = digits == 12 ? record.UPC : digits == 13 ? record.EAN : record.ISBN;
  if (field.empty()) field = plain;
  if (isBook && record.ISBN.empty()) record.ISBN = plain;
  record.hasUPC = !record.UPC.empty();
  record.hasEAN = !record.EAN.empty();
  return true;
}

std::string textOfHtml(std::string_view html) {
  std::string out;
  while (!html.empty()) {
    if (html[0] == '<') {
      const std::size_t end = html.find('>');
      if (end != html.npos) {
        const std::string tag = lowerLetters(html.substr(1, std::min<std::size_t>(end - 1, 3)));
        if (tag.starts_with("br") || tag == "/p" || tag == "/p>") out += '\n';
        html.remove_prefix(end + 1);
        continue;
      }
    }
    const std::size_t reference = html[0] == '&' ? takeReference(html, out) : 0;
    if (reference == 0) out += html[0];
    html.remove_prefix(std::max<std::size_t>(reference, 1));
  }
  return std::string(trimmedText(out));
}

}  // namespace tessaron
