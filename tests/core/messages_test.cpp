// The shipped catalog is the message table, no more and no less.

#include "core/messages.h"
#include "support/child.h"

#include <sstream>

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
    const std::string id = key->complete_id;
    EXPECT_EQ(id, "ORL-WL-0" + std::to_string(row.number) + "-" + row.severity);
    const MessageKinds kinds = utMessageKinds(row.text);
    EXPECT_EQ(kinds.list().find('?'), std::string_view::npos)
        << "a conversion that no call can be checked against";
  }
  EXPECT_EQ(output.text(), "") << "bad or repeated lines";
  ZutCatDestroy(catalog);

  std::istringstream lines(readFile(name));
  size_t messages = 0;
  for (std::string line; std::getline(lines, line);) messages += !line.starts_with("#");
  EXPECT_EQ(messages, std::size(utMessages)) << "numbers that are not in the table";
}
