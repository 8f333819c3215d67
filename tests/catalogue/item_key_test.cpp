#include "catalogue/item_key.h"

#include <gtest/gtest.h>

namespace tessaron {
namespace {

CRecord item(const std::u16string& title, const std::u16string& author, const std::u16string& ean) {
  CRecord record;
  record.Title = title;
  record.EAN = ean;
  if (!author.empty()) record.authors = {author};
  return record;
}

TEST(ItemKey, IsThatOfTheProductElseOfTitleAndPerson) {
  const std::u16string plain = madeKey(item(u"Émile", u"Rousseau", u""));
  EXPECT_EQ(plain, u"item-y194kay73y6b") << "stored in collections: it must never change";
  EXPECT_EQ(madeKey(item(u"emile", u"ROUSSEAU", u"")), plain);
  EXPECT_NE(madeKey(item(u"Emile", u"Zola", u"")), plain);
  EXPECT_NE(madeKey(item(u"Emile Rousseau", u"", u"")), plain);
  const std::u16string product = madeKey(item(u"Émile", u"Rousseau", u"978-0-306-40615-7"));
  EXPECT_NE(product, plain);
  CRecord book = item(u"Another title", u"", u"");
  book.ISBN = u"0306406152";
  EXPECT_EQ(madeKey(book), product);
  for (const std::u16string& key : {plain, product}) EXPECT_TRUE(isMadeKey(key));
  for (const char16_t* key :
       {u"", u"item-", u"B00005N5PF", u"item-ABCDEFGHJKMN", u"item-00000000000"})
    EXPECT_FALSE(isMadeKey(key));
}

}  // namespace
}  // namespace tessaron
