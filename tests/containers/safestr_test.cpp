#include "support/child.h"

#include <climits>

namespace {

// One string a test; checks that the record is sound whenever it is looked at.
struct SafeString : ZutSafeString {
  SafeString() { ZutSafeStringCreate(this); }
  explicit SafeString(int32_t size) { ZutSafeStringQCreate(this, size); }
  ~SafeString() { ZutSafeStringDestroy(*this); }
  SafeString(const SafeString &) = delete;
  SafeString &operator=(const SafeString &) = delete;
  std::string text() const {
    EXPECT_EQ(std::string(str).size(), static_cast<size_t>(length));
    EXPECT_LT(length, capacity);
    return str;
  }
};

} // namespace

TEST(SafeString, CapacityGrowsByWholeSteps) {
  const struct {
    int32_t size, step, append, capacity;
  } cases[] = {{256, 256, 255, 256}, {256, 256, 256, 512}, {256, 256, 300, 512},
               {256, 10, 300, 306},  {16, 16, 1000, 1008}, {0, 0, 5, 6},
               {0, -3, 5, 6},        {-1, 256, 0, 1}};
  for (const auto &c : cases) {
    SafeString string(c.size);
    ZutSafeStringQAppend(&string, std::string(c.append, 'x').c_str(), c.step);
    EXPECT_EQ(string.text(), std::string(c.append, 'x'));
    EXPECT_EQ(string.capacity, c.capacity);
  }
  SafeString chars(2);
  for (char c = 'a'; c <= 'z'; ++c) ZutSafeStringQAppendChar(&chars, c, 5);
  EXPECT_EQ(chars.text(), "abcdefghijklmnopqrstuvwxyz");
  EXPECT_EQ(chars.capacity, 27);
}

TEST(SafeString, TakesTextsFromItself) {
  for (int32_t size : {8, 256}) { // moved and not moved
    SafeString string(size);
    ZutSafeStringQAppend(&string, "abcdefg", 1);
    ZutSafeStringQAppend(&string, string.str + 2, 1);
    EXPECT_EQ(string.text(), "abcdefgcdefg");
    ZutSafeStringQAppend(&string, string.str, 1);
    EXPECT_EQ(string.text(), "abcdefgcdefgabcdefgcdefg");
    EXPECT_STREQ(ZutSafeStringPrepend(&string, string.str + 20), "defgabcdefgcdefgabcdefgcdefg");
    ZutSafeStringCopy(&string, string.str + 25);
    EXPECT_EQ(string.text(), "efg");
  }
}

TEST(SafeString, NumbersClearCopyResizeShorten) {
  SafeString string;
  for (int32_t number : {0, -7, INT_MAX, INT_MIN}) {
    ZutSafeStringAppendInt4(&string, number);
    ZutSafeStringAppendChar(&string, ' ');
  }
  EXPECT_EQ(string.text(), "0 -7 2147483647 -2147483648 ");
  ZutSafeStringCopy(&string, "text");
  for (int32_t count : {5, -1}) EXPECT_EQ(ZutSafeStringShorten(&string, count), 0);
  EXPECT_EQ(string.text(), "text");
  EXPECT_EQ(ZutSafeStringShorten(&string, 4), 1);
  EXPECT_EQ(string.text(), "");
  const int32_t sizes[][2] = {{100, 256}, {300, 512}, {513, 768}};
  for (const auto &[size, capacity] : sizes) {
    EXPECT_EQ(ZutSafeStringResize(&string, size), size > 256);
    EXPECT_EQ(string.capacity, capacity);
  }
  EXPECT_EQ(ZutSafeStringClear(&string)->capacity, 768);
  ZutSafeString none = {};
  EXPECT_EQ(ZutSafeStringQCopy(&none, "made", 256)->capacity, 256);
  EXPECT_STREQ(none.str, "made");
  ZutSafeStringDestroy(none);
}

CHILD(endless) {
  ZutSafeString string;
  ZutSafeStringQCreate(&string, 10);
  ZutSafeStringQAppend(&string, std::string(100, 'x').c_str(), INT_MAX); // beyond 31 bits
}

TEST(SafeString, TooLongIsExhaustedMemory) {
  const Result result = runChild("endless", {{"VN_FATAL_ERROR_ABORT", "1"}});
  EXPECT_TRUE(result.aborted());
  EXPECT_NE((result.out + result.err).find("out of heap"), std::string::npos);
}
