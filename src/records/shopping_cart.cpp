#include "records/shopping_cart.h"

#include "platform/system.h"
#include "records/field_text.h"
#include "support/xml/tiny_element.h"

CShoppingCart::CShoppingCart() = default;
CShoppingCart::CShoppingCart(const CShoppingCart&) = default;
CShoppingCart::CShoppingCart(CShoppingCart&&) noexcept = default;
CShoppingCart& CShoppingCart::operator=(const CShoppingCart&) = default;
CShoppingCart& CShoppingCart::operator=(CShoppingCart&&) noexcept = default;
CShoppingCart::~CShoppingCart() = default;

bool CShoppingCart::fromXml(TiXmlDocument* document) {
  if (!tessaron::isReadable(document)) return false;
  const TiXmlElement* root = document->RootElement();
  const TiXmlElement* cart = root ? root->FirstChildElement("Cart") : nullptr;
  while (cart && !cart->FirstChildElement()) cart = cart->NextSiblingElement("Cart");
  const TiXmlElement* url = cart ? cart->FirstChildElement("PurchaseURL") : nullptr;
  if (url) PurchaseURL = tessaron::value(tessaron::TinyElement(url));
  return url != nullptr;
}

bool CShoppingCart::toXml(TiXmlDocument*) { return false; }

// QUIRK: the argument plays no part. It reads like a switch. Kept: a cart is only ever merged.
bool CShoppingCart::setMergeCart(bool) {
  constexpr std::u16string_view kOff = u"MergeCart=False", kOn = u"MergeCart=True";
  for (std::size_t at = 0; (at = PurchaseURL.find(kOff, at)) != PurchaseURL.npos;
       at += kOn.size()) {
    PurchaseURL.replace(at, kOff.size(), kOn);
  }
  // QUIRK: appended without a separator. An address would need one. Kept: the addresses that the
  // service gives without the parameter end in one.
  if (PurchaseURL.find(u"MergeCart=") == PurchaseURL.npos) PurchaseURL += kOn;
  return true;
}
