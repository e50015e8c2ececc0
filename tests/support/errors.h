// A call that has to fail: it gives 0, null or -1 and sets the error number.
#pragma once

#include "zut.h"

#include <gtest/gtest.h>

// EXPECT_ERROR(3, ZutHashDestroy(nullptr));
#define EXPECT_ERROR(number, call) EXPECT_TRUE((ZutErrNumSet(0), hasFailed(number, call))) << #call

// For the result of a call that was made with the number 0.
template <class Result>
testing::AssertionResult hasFailed(int32_t number, Result result) {
  const int32_t error = ZutErrNumGet();
  bool failed = result == Result{};
  if constexpr (std::is_integral_v<Result>) failed = failed || result == static_cast<Result>(-1);
  if (failed && error == number) return testing::AssertionSuccess();
  return testing::AssertionFailure() << (failed ? "failed" : "did not fail") << ", error " << error
                                     << " where " << number << " is expected";
}

template <class Call>
testing::AssertionResult failsWith(int32_t number, Call call) {
  ZutErrNumSet(0);
  return hasFailed(number, call());
}
