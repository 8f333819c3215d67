#pragma once

#include <string>

#include "records/simple_record.h"

/// The shop's answer to a cart operation, reduced to the address where the purchase is completed.
class TESSARON_API CShoppingCart : public CSimpleRecord {
 public:
  std::u16string PurchaseURL;

  CShoppingCart();
  CShoppingCart(const CShoppingCart&);
  CShoppingCart(CShoppingCart&&) noexcept;
  CShoppingCart& operator=(const CShoppingCart&);
  CShoppingCart& operator=(CShoppingCart&&) noexcept;
  ~CShoppingCart();

  /// Takes "PurchaseURL" from the first "Cart" below the root that has children. False, and the
  /// address unchanged, when there is none.
  bool fromXml(TiXmlDocument* document) override;
  /// Always false, and nothing is written: a cart is never saved.
  bool toXml(TiXmlDocument* document) override;
  /// Turns the address into one that merges the cart, whatever is passed. Always true.
  bool setMergeCart(bool merge);
};
