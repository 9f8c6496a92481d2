// Several floats of one record compared at once, each pair as
// EXPECT_FLOAT_EQ compares them: EXPECT_TRUE(floats_eq({r.x, r.y}, {1, 2})).
#pragma once

#include <gtest/gtest.h>

#include <vector>

namespace zor::test {

inline ::testing::AssertionResult floats_eq(const std::vector<float>& got, const std::vector<float>& want) {
  if (got.size() != want.size()) return ::testing::AssertionFailure() << got.size() << " values, not " << want.size();
  for (std::size_t i = 0; i < got.size(); ++i) {
    const ::testing::internal::FloatingPoint<float> a(got[i]), b(want[i]);
    if (!a.AlmostEquals(b)) return ::testing::AssertionFailure() << "value " << i << ": " << got[i] << ", not " << want[i];
  }
  return ::testing::AssertionSuccess();
}

}  // namespace zor::test
