// A call that has to fail: it gives 0, null or -1 and sets the error number.
#pragma once

#include "zut.h"

#include <gtest/gtest.h>

// EXPECT_ERROR(3, ZutHashDestroy(nullptr));
#define EXPECT_ERROR(number, call) EXPECT_TRUE(failsWith(number, [&] { return call; })) << #call

template <class Call>
testing::AssertionResult failsWith(int32_t number, Call call) {
  ZutErrNumSet(0);
  const auto result = call();
  using Result = std::decay_t<decltype(result)>;
  bool failed = result == Result{};
  if constexpr (std::is_integral_v<Result>) failed = failed || result == static_cast<Result>(-1);
  const int32_t error = ZutErrNumGet();
  if (failed && error == number) return testing::AssertionSuccess();
  return testing::AssertionFailure() << (failed ? "failed" : "did not fail") << ", error " << error
                                     << " where " << number << " is expected";
}
