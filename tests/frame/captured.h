// What a call writes on standard error or standard output, for checks of the messages a module prints.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <iostream>
#include <string>

namespace zor::test {

template <class F>
std::string stderr_of(F&& call) {
  ::testing::internal::CaptureStderr();
  call();
  return ::testing::internal::GetCapturedStderr();
}

template <class F>
std::string stdout_of(F&& call) {
  ::testing::internal::CaptureStdout();
  call();
  std::fflush(stdout);
  std::cout.flush();
  return ::testing::internal::GetCapturedStdout();
}

}  // namespace zor::test
