// The display's fatal conditions (25 protocol errors, a broken connection) end
// a helper program, run as a child against the test's Xvfb, with status 4.
#include <sys/wait.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "../common/files.h"
#include "../common/xvfb_env.h"

namespace {

const auto* const g_env = zor::test::add_xvfb_environment();

TEST(X11Exit, ProtocolErrorsOrABrokenConnectionEndTheProgramWithStatus4) {
  // Ending from a handler leaves the connection's client-side records to the
  // process's end on purpose: a leak check would only change the status.
  const char* asan = std::getenv("ASAN_OPTIONS");
  const std::string env = "ASAN_OPTIONS='" + std::string(asan != nullptr ? asan : "") + ":detect_leaks=0' ";
  const struct {
    const char *mode, *message;
  } cases[] = {{"errors", "X11 error: too many errors\n"}, {"fatal", "Fatal X11 Error\n"}};
  for (const auto& k : cases) {
    SCOPED_TRACE(k.mode);
    const std::string out = zor::test::scratch(std::string("x11_exit_") + k.mode);
    const std::string cmd = env + "timeout 60 '" + X11_EXIT_HELPER + "' " + k.mode + " >'" + out + "' 2>&1";
    const int status = std::system(cmd.c_str());
    const std::string text = zor::test::slurp(out);
    ASSERT_TRUE(WIFEXITED(status)) << text;
    EXPECT_EQ(WEXITSTATUS(status), 4) << text;  // 124: it did not end
    EXPECT_NE(text.find("ready\n"), std::string::npos) << text;
    EXPECT_NE(text.find(k.message), std::string::npos) << text;
    EXPECT_EQ(text.find("survived"), std::string::npos) << text;
  }
  // Every error is reported, the 25th too.
  EXPECT_EQ(zor::test::count_of(zor::test::slurp(zor::test::scratch("x11_exit_errors")), " in X_FreePixmap\n"), 25);
}

}  // namespace
