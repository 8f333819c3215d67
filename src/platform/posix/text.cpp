#include "platform/text.h"

#include <langinfo.h>
#include <locale.h>
#include <unicode/datefmt.h>
#include <unicode/dtptngen.h>
#include <unicode/normalizer2.h>
#include <unicode/smpdtfmt.h>
#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <chrono>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <utility>

namespace tessaron {
namespace {

struct ConverterCloser {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, ConverterCloser>;

// The character set of the user's locale, whatever the program has made of setlocale.
Converter openCodePage() {
  std::string name = "UTF-8";
  if (const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr)) {
    // The plain C locale names ASCII, which says nothing about the user.
    const std::string codeset = nl_langinfo_l(CODESET, locale);
    if (codeset != "ANSI_X3.4-1968") name = codeset;
    freelocale(locale);
  }
  UErrorCode error = U_ZERO_ERROR;
  Converter converter(ucnv_open(name.c_str(), &error));
  if (U_FAILURE(error)) {
    error = U_ZERO_ERROR;
    converter.reset(ucnv_open("UTF-8", &error));
  }
  if (converter) ucnv_setSubstChars(converter.get(), "?", 1, &error);
  return converter;
}

// Writes U+FFFD for bytes without a meaning. ICU's own substitute is a control character in some
// character sets.
void writeReplacement(const void*, UConverterToUnicodeArgs* args, const char*, std::int32_t,
                      UConverterCallbackReason reason, UErrorCode* error) {
  if (reason > UCNV_IRREGULAR) return;
  *error = U_ZERO_ERROR;
  ucnv_cbToUWriteUChars(args, u"\uFFFD", 1, 0, error);
}

class IcuDecoder : public CharsetDecoder {
 public:
  explicit IcuDecoder(Converter converter) : converter_(std::move(converter)) {}

  void decode(std::string_view bytes, bool isLast, std::u16string& out) override {
    char16_t buffer[4096];
    const char* from = bytes.data();
    const char* const end = from + bytes.size();
    UErrorCode error = U_ZERO_ERROR;
    do {  // in parts: ICU counts in 32 bits
      error = U_ZERO_ERROR;
      char16_t* to = buffer;
      ucnv_toUnicode(converter_.get(), &to, std::end(buffer), &from, end, nullptr, isLast, &error);
      out.append(buffer, to);
    } while (error == U_BUFFER_OVERFLOW_ERROR);
    if (U_FAILURE(error)) out += u'\uFFFD';
  }

 private:
  Converter converter_;
};

// The short date of the user's locale, with the year in full; null when ICU has no data for it.
std::unique_ptr<icu::DateFormat> makeShortDateFormat() {
  UErrorCode error = U_ZERO_ERROR;
  const icu::Locale& locale = icu::Locale::getDefault();
  const std::unique_ptr<icu::DateTimePatternGenerator> generator(
      icu::DateTimePatternGenerator::createInstance(locale, error));
  if (U_FAILURE(error)) return nullptr;
  auto format = std::make_unique<icu::SimpleDateFormat>(generator->getBestPattern(u"yMd", error),
                                                        locale, error);
  if (U_FAILURE(error)) return nullptr;
  format->setTimeZone(*icu::TimeZone::getGMT());  // as the days that it is given are counted
  return format;
}

// The text as it is where ICU has no data for a form.
std::u16string normalized(std::u16string_view text,
                          std::initializer_list<const icu::Normalizer2*> forms) {
  UErrorCode error = U_ZERO_ERROR;
  icu::UnicodeString result(text.data(), static_cast<std::int32_t>(text.size()));
  for (const icu::Normalizer2* form : forms)
    if (form) result = form->normalize(result, error);
  if (U_FAILURE(error)) return std::u16string(text);
  return {result.getBuffer(), static_cast<std::size_t>(result.length())};
}

}  // namespace

std::u16string fromCodePage(std::string_view bytes) {
  const Converter converter = openCodePage();
  UErrorCode error = U_ZERO_ERROR;
  const icu::UnicodeString wide(bytes.data(), static_cast<std::int32_t>(bytes.size()),
                                converter.get(), error);
  return {wide.getBuffer(), static_cast<std::size_t>(wide.length())};
}

std::string toCodePage(std::u16string_view text) {
  const Converter converter = openCodePage();
  UErrorCode error = U_ZERO_ERROR;
  const icu::UnicodeString wide(false, text.data(), static_cast<std::int32_t>(text.size()));
  std::string out(UCNV_GET_MAX_BYTES_FOR_STRING(text.size(), ucnv_getMaxCharSize(converter.get())),
                  '\0');
  const std::int32_t length =
      wide.extract(out.data(), static_cast<std::int32_t>(out.size()), converter.get(), error);
  out.resize(static_cast<std::size_t>(std::max(length, 0)));
  return out;
}

std::unique_ptr<CharsetDecoder> CharsetDecoder::open(std::string_view name) {
  // ICU takes options behind a comma, and nothing behind a NUL.
  if (name.empty() || name.find_first_of(std::string_view(",\0", 2)) != name.npos) return nullptr;
  UErrorCode error = U_ZERO_ERROR;
  Converter converter(ucnv_open(std::string(name).c_str(), &error));
  ucnv_setToUCallBack(converter.get(), writeReplacement, nullptr, nullptr, nullptr, &error);
  if (U_FAILURE(error)) return nullptr;
  return std::make_unique<IcuDecoder>(std::move(converter));
}

bool equalIgnoringCase(std::u16string_view left, std::u16string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char16_t a, char16_t b) { return a == b || u_toupper(a) == u_toupper(b); });
}

char16_t systemUpperCase(char16_t unit) { return static_cast<char16_t>(u_toupper(unit)); }

char16_t systemLowerCase(char16_t unit) { return static_cast<char16_t>(u_tolower(unit)); }

std::u16string decomposed(std::u16string_view text) {
  UErrorCode error = U_ZERO_ERROR;
  const icu::Normalizer2* fold = icu::Normalizer2::getNFKCCasefoldInstance(error);
  return normalized(text, {fold, icu::Normalizer2::getNFDInstance(error)});
}

std::u16string composed(std::u16string_view text) {
  UErrorCode error = U_ZERO_ERROR;
  return normalized(text, {icu::Normalizer2::getNFCInstance(error)});
}

std::u16string shortDate(const SYSTEMTIME& date) {
  namespace chrono = std::chrono;
  const chrono::year_month_day day = chrono::year{date.wYear} / date.wMonth / date.wDay;
  // Making a formatter costs a thousand times what using it does.
  thread_local const std::unique_ptr<icu::DateFormat> format = makeShortDateFormat();
  if (!format || !day.ok()) return {};
  const UDate when =
      chrono::duration<double, std::milli>(chrono::sys_days(day).time_since_epoch()).count();
  icu::UnicodeString text;
  format->format(when, text);
  return {text.getBuffer(), static_cast<std::size_t>(text.length())};
}

}  // namespace tessaron
