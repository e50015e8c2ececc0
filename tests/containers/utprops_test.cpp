#include "support/errors.h"

#include <map>

namespace {

using Texts = std::map<std::string, std::string>;

int32_t Z_CALL collect(const char *name, ZutProperty *property, ZutWord texts) {
  EXPECT_EQ(name, property->name);
  (*reinterpret_cast<Texts *>(texts))[name] = property->value;
  return 0;
}

class Properties : public testing::Test {
protected:
  ~Properties() override { EXPECT_EQ(ZutPropertiesDestroy(list), 1); }
  Texts all(ZutProperties *of) {
    Texts texts;
    EXPECT_ERROR(18, ZutPropertiesTraverse(of, collect, reinterpret_cast<ZutWord>(&texts)));
    return texts;
  }
  ZutProperties *list = ZutPropertiesCreate();
};

TEST_F(Properties, KeepCopiesUnderNamesOfAnyCase) {
  char name[] = "Colour", value[] = "red";
  EXPECT_EQ(ZutPropertiesSet(list, name, value), 1);
  name[0] = value[0] = '?';
  EXPECT_STREQ(ZutPropertiesGet(list, "COLOUR"), "red");
  ZutPropertiesSet(list, "cOLOUR", "blue");
  ZutPropertiesSet(list, "cOLOUR", ZutPropertiesGet(list, "cOLOUR")); // a text of its own
  EXPECT_EQ(all(list), (Texts{{"cOLOUR", "blue"}}));
  ZutErrNumSet(0);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(ZutPropertiesSet(list, "colour", nullptr), 1);
  EXPECT_STREQ(ZutPropertiesGetDefault(list, "colour", "none"), "none");
  EXPECT_EQ(ZutErrNumGet(), 0);
  EXPECT_ERROR(0, ZutPropertiesGet(list, "colour"));
}

TEST_F(Properties, MayBeDroppedByATraversal) {
  ZutPropertiesSet(list, "name", "text");
  const auto drop = [](const char *name, ZutProperty *, ZutWord of) -> int32_t {
    ZutPropertiesSet(reinterpret_cast<ZutProperties *>(of), name, nullptr);
    return 5;
  };
  EXPECT_EQ(ZutPropertiesTraverse(list, drop, reinterpret_cast<ZutWord>(list)), 5);
  EXPECT_TRUE(all(list).empty());
}

TEST_F(Properties, AreCopiedAndReset) {
  ZutProperties *other = ZutPropertiesCreate();
  ZutPropertiesSet(list, "a", "1");
  ZutPropertiesSet(list, "b", "2");
  ZutPropertiesSet(other, "B", "old");
  ZutPropertiesSet(other, "c", "3");
  ZutErrNumSet(0);
  EXPECT_EQ(ZutPropertiesCopy(list, other) + ZutPropertiesCopy(other, other), 2);
  EXPECT_EQ(ZutErrNumGet(), 0);
  EXPECT_EQ(all(other), (Texts{{"a", "1"}, {"b", "2"}, {"c", "3"}}));
  int32_t count = -1;
  EXPECT_EQ(ZutPropertiesReset(list) + ZutPropertiesGetCount(list, &count), 2);
  EXPECT_EQ(count, 0);
  ZutPropertiesDestroy(other);
}

} // namespace
