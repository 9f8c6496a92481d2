// One Xvfb server for a whole test program: started before its first test,
// stopped after its last, DISPLAY naming it meanwhile. A test file registers it once at namespace scope:
//   const auto* const g_env = zor::test::add_xvfb_environment();
#pragma once

#include <gtest/gtest.h>

#include "xvfb.h"

namespace zor::test {

inline Xvfb*& shared_xvfb() {
  static Xvfb* server = nullptr;
  return server;
}

class XvfbEnvironment : public ::testing::Environment {
 public:
  explicit XvfbEnvironment(int depth) : depth_(depth) {}
  void SetUp() override {
    shared_xvfb() = new Xvfb;
    ASSERT_TRUE(shared_xvfb()->start(depth_)) << "Xvfb did not start";
  }
  void TearDown() override {
    delete shared_xvfb();
    shared_xvfb() = nullptr;
  }

 private:
  int depth_;
};

inline ::testing::Environment* add_xvfb_environment(int depth = 24) {
  return ::testing::AddGlobalTestEnvironment(new XvfbEnvironment(depth));
}

}  // namespace zor::test
