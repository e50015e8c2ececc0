// The shipped catalog is the message table, no more and no less.

#include "base/messages.h"
#include "support/child.h"

TEST(Messages, ShippedCatalogIsTheTable) {
  ZutOutInit();
  const char *name = nullptr;
  ASSERT_EQ(ZutOptionGetStr(ZutOptionLookup("catalog_file"), &name), 1);
  const Capture output;
  ZutCatalog *catalog = ZutCatCreate(name);
  for (const Message &row : utMessages) {
    ZutCatMsgKey *key = nullptr;
    ASSERT_EQ(ZutCatLookup(catalog, row.number, &key), 1) << row.number << " in " << name;
    EXPECT_EQ(key->display, std::string(row.text) + "\n");
    EXPECT_EQ(key->complete_id, "ORL-WL-0" + std::to_string(row.number) + "-" + row.severity);
  }
  EXPECT_EQ(output.text(), "") << "bad or repeated lines";
  ZutCatDestroy(catalog);

  size_t messages = 0, at = 0;
  for (const std::string text = readFile(name); (at = text.find("\nORL-", at) + 1);) ++messages;
  EXPECT_EQ(messages, std::size(utMessages)) << "numbers that are not in the table";
}
