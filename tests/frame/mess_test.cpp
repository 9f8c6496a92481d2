// Messages (levels, sinks, paging) and process utilities; prompts run in a
// child whose standard input is a real pipe.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <utility>
#include <thread>

#include "../common/files.h"
#include "captured.h"
#include "zor/date.h"
#include "zor/flag.h"
#include "zor/mess.h"
#include "zor/res.h"
#include "zor/reset.h"

namespace {

using namespace zor::test;

struct ChildResult {
  int status = -1;
  std::string out;
};

// Runs `body` in a child whose standard input is a pipe holding `input` and
// whose standard output goes to a file; the child's exit status is what
// `body` returns, or what the code under test exits with.
ChildResult run_child(const std::string& input, const std::function<int()>& body) {
  static int count = 0;
  std::string out_path = scratch("child_out_" + std::to_string(++count) + ".txt");
  int fds[2];
  if (pipe(fds) != 0) return {};
  if (write(fds[1], input.data(), input.size()) != static_cast<ssize_t>(input.size())) return {};
  close(fds[1]);
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    alarm(20);  // a prompt loop that spins on end of input fails the test, never hangs it
    dup2(fds[0], 0);
    close(fds[0]);
    if (std::freopen(out_path.c_str(), "w", stdout) == nullptr) _exit(90);
    int rc = body();
    std::fflush(nullptr);
    _exit(rc);
  }
  close(fds[0]);
  int st = 0;
  waitpid(pid, &st, 0);
  ChildResult r;
  r.status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
  r.out = slurp(out_path);
  return r;
}

class MessTest : public ::testing::Test {
 protected:
  void SetUp() override { zor::reset_all(); }
  void TearDown() override { zor::reset_all(); }
};

TEST_F(MessTest, DefaultLevelShowsUpToOut2) {
  EXPECT_EQ(MESS_get(), 0x000FFFFFu);
  EXPECT_EQ(std::tuple(MESS_check(0x40000000), MESS_check(61440), MESS_check_set()), std::tuple(0, 1, 0));

  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_EQ(MESS_print(61440, "out1 %d\n", 5), 1);
  EXPECT_EQ(MESS_print(0x40000000, "debug c\n"), 0);
  EXPECT_EQ(MESS_print(48, "an error %s\n", "here"), 1);
  EXPECT_EQ(MESS_print(64, "a warning\n"), 1);
  EXPECT_EQ(MESS_print(15, "prompt: "), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "out1 5\nprompt: ");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "an error here\na warning\n");

  EXPECT_EQ(stdout_of([] { MESS_print_prog("RADAR DATA PLOTTING"); }),
            "      RADAR DATA PLOTTING (Ver 5.59-LINUX-X11)\n\n");
}

TEST_F(MessTest, MessageResourceItems) {
  // "out" alone names no class; warnings have sub-levels c and d only.
  const std::pair<const char*, M_type> cases[] = {
      {"out1", 0x0000FFFF},     {"+debug", 0xF00FFFFF},      {"-warn", 0x000FFF3F},      {"mess,-print", 0x00000FF0},
      {" mess , -print ", 0x00000FF0}, {"warn", 0x000000FF}, {"Warnings", 0x000000FF},   {"messages", 0x00000FFF},
      {"none", 0},              {"bogus", 0},                {"debugc", 0x7FFFFFFF},     {"+debugc", 0x400FFFFF},
      {"-outd", 0x000FFFFF},    {"print,+out2a", 0x0001000F}, {"error,+WARNd", 0x000000BF},
      {"error,+warnb", 0x0000003F}, {"out4,-out3,-out2d", 0x0F07FFFF},
  };
  for (const auto& [str, level] : cases) {
    zor::mess::reset();
    EXPECT_EQ(MESS_set_str(str), 0) << str;
    EXPECT_EQ(MESS_get(), level) << str;
    EXPECT_EQ(MESS_check_set(), 1) << str;
  }
}

TEST_F(MessTest, LevelOperationsAndDefaultsThatGiveWay) {
  // Operations 19 and 20 set defaults that give way once a level is chosen; 7 is no operation.
  const std::tuple<int, M_type, M_type> steps[] = {
      {20, 255, 0xFF},          {0, 0x800, 0xFFF},         {19, 0xF, 0xFFF},
      {1, M_DEBUG, 0xF0000FFF}, {-1, M_PRINT, 0xF0000FF0}, {9, M_ERROR, 0xF0000FC0},
      {11, M_PRINT, 0xF0000FCF}, {7, 0, 0xF0000FCF},       {10, 0, 0}};
  for (const auto& [op, mask, want] : steps) {
    MESS_set(op, mask);
    EXPECT_EQ(MESS_get(), want) << op;
    if (op == 20 || op == 0) { EXPECT_EQ(MESS_check_set(), op == 0 ? 1 : 0); }
  }
  EXPECT_EQ(MESS_check_set(), 3);  // operations below 5 count
}

TEST_F(MessTest, LogOnlySinkKeepsTheTerminalQuiet) {
  std::string log = scratch("run.log");
  ASSERT_EQ(MESS_set_str(("mess,fi=" + log).c_str()), 0);
  EXPECT_EQ(MESS_get(), 0xFFFu);
  EXPECT_EQ(zor::mess::out(), 0);
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_EQ(MESS_print(3840, "to log %s\n", "only"), 0);
  EXPECT_EQ(MESS_print(48, "error too\n"), 0);
  EXPECT_EQ(MESS_print(61440, "hidden class\n"), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(slurp(log), "to log only\nerror too\n");
}

TEST_F(MessTest, TruncateAppendStampedAndReopenedLogs) {
  std::string log = scratch("trunc.log");
  write_file(log, "old line\n");
  testing::internal::CaptureStdout();
  MESS_set_str(("-fi=" + log).c_str());
  EXPECT_EQ(MESS_print(15, "new\n"), 1);  // terminal and log
  MESS_set_str(("+FI=" + log).c_str());
  MESS_print(15, "more\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "new\nmore\n");
  EXPECT_EQ(slurp(log), "new\nmore\n");

  std::string stamped = scratch("stamped.log");
  zor::date::set_clock(1709647439);
  testing::internal::CaptureStdout();
  MESS_set_str(("@fi:" + stamped).c_str());
  EXPECT_EQ(zor::mess::out(), -1);
  EXPECT_EQ(MESS_print(15, "stamped %d\n", 1), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "stamped 1\n");
  EXPECT_EQ(slurp(stamped), "24 MAR 05  14:03:59Z -- stamped 1\n");

  // A reopened log is closed after every message.
  const std::string reopened = scratch("reopen.log");
  testing::internal::CaptureStdout();
  MESS_set_str(("dfi=" + reopened).c_str());
  EXPECT_EQ(zor::mess::out(), 2);
  MESS_print(15, "first\n");
  EXPECT_EQ(slurp(reopened), "first\n");
  std::remove(reopened.c_str());
  MESS_print(15, "second\n");
  EXPECT_EQ(slurp(reopened), "second\n");

  std::string copy = scratch("copy.txt");
  ASSERT_EQ(MESS_file(copy.c_str(), "w"), 0);
  MESS_print(15, "copied %s\n", "text");
  MESS_print(M_DEBUG, "never shown\n");
  MESS_file_close();
  MESS_print(15, "after close\n");
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(slurp(copy), "copied text\n");
}

TEST_F(MessTest, UnopenableLogLeavesMessagesOnTheTerminal) {
  std::string blocker = scratch("not_a_dir");
  write_file(blocker, "x");
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  MESS_set_str(("mess,fi=" + blocker + "/sub/run.log").c_str());
  EXPECT_EQ(MESS_print(3840, "still seen\n"), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "still seen\n");
  EXPECT_NE(testing::internal::GetCapturedStderr().find("run.log"), std::string::npos);
  // A file item without a name is refused, not read as a class.
  zor::mess::reset();
  stderr_of([] { MESS_set_str("fi"); });
  EXPECT_EQ(MESS_get(), 0x000FFFFFu);
}

TEST_F(MessTest, PagingCountsFormatLines) {
  MESS_set_str("line=0,page");
  EXPECT_EQ(MESS_get_max_lines(), 22);
  EXPECT_EQ(zor::mess::page(), 2);
  FLAG_set_batch(1);  // holds never wait in batch mode
  stdout_of([] { MESS_print(15, "%s\n%s\n%s\n", "a\n\nb", "c", "d\n"); });
  EXPECT_EQ(zor::mess::lines(), 3);
  stdout_of([] { for (int i = 0; i < 30; ++i) MESS_print(15, "x\n"); });
  EXPECT_EQ(zor::mess::lines(), 33);
  MESS_set_str("line=5,nopage");
  EXPECT_EQ(std::pair(MESS_get_max_lines(), zor::mess::page()), std::pair(5, 0));
}

TEST_F(MessTest, HoldWaitsForReturnUnlessBatch) {
  ChildResult r = run_child("\nleft\n", [] {
    MESS_set_str("page,line=2");
    MESS_print(15, "a\nb\nc\n");  // three lines exceed two: hold
    if (zor::mess::lines() != 0) return 1;
    return std::getchar() == 'l' ? 0 : 2;  // only the first line was taken
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "a\nb\nc\nPress return to continue\n");

  r = run_child("x\n", [] {
    FLAG_set_batch(1);
    MESS_hold(15, "wait\n");
    return std::getchar() == 'x' ? 0 : 1;
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
}

TEST_F(MessTest, PromptsConvertAndRetry) {
  // Each answer, as its prompt reads it, makes the child exit with 0.
  const std::pair<std::string, std::function<int()>> cases[] = {
      {"\n", [] { return ZOR_promptf("Value: ") == 0.0f ? 0 : 1; }},  // an empty answer is 0
      {"abcdefgh\n\n",
       [] {
         char s[5] = "keep";
         ZOR_prompts("Name: ", s, 5);
         if (std::strcmp(s, "abcd") != 0) return 1;
         std::strcpy(s, "keep");
         ZOR_prompts("Name: ", s, 5);  // empty line leaves the buffer
         return std::strcmp(s, "keep") == 0 ? 0 : 2;
       }},
      // A line longer than 79 characters is cut, and its rest is not the next answer.
      {std::string(90, 'a') + " tail\nnext\n",
       [] {
         char s[200];
         ZOR_prompts("Long: ", s, 200);
         if (std::string(s) != std::string(79, 'a')) return 1;
         ZOR_prompts("Long: ", s, 200);
         return std::string(s) == "next" ? 0 : 2;
       }},
      {"abcdefghijklmnopqrstuvwxyz more\n",
       [] {
         char* s = ZOR_promptl("Word: ", nullptr);  // a buffer the caller owns
         int rc = s != nullptr && std::strcmp(s, "abcdefghijklmnopqrs") == 0 ? 0 : 1;
         delete[] s;
         return rc;
       }},
      {"7", [] { return ZOR_promptd("Last line without end: ") == 7 ? 0 : 1; }},
  };
  for (const auto& [input, body] : cases) EXPECT_EQ(run_child(input, body).status, 0) << input;
  ChildResult r = run_child("abc\n12\n", [] { return ZOR_promptd("Enter number: ") == 12 ? 0 : 1; });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(count_of(r.out, "Enter number: "), 2);
}

TEST_F(MessTest, SetAndExitAtPrompts) {
  ChildResult r = run_child("set region=us\n2.5\n", [] {
    float v = ZOR_promptf("Scale: ");
    const char* region = RES_get("region");
    return v == 2.5f && region != nullptr && std::strcmp(region, "us") == 0 ? 0 : 1;
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(count_of(r.out, "Scale: "), 2);

  r = run_child("set\n3\n", [] {
    RES_put("plot_param", "rings");
    return ZOR_promptd("Number: ") == 3 ? 0 : 1;
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("Set resources\n"), std::string::npos);
  EXPECT_NE(r.out.find("plot_param: rings\n"), std::string::npos);

  // ZOR_promptl looks at the word only, so "set x=1" lists rather than stores.
  r = run_child("set\nnids extra\n", [] {
    char s[20] = "";
    ZOR_promptl("Type: ", s);
    return std::strcmp(s, "nids") == 0 ? 0 : 1;
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("Set resources\n"), std::string::npos);

  // "exit", and end of input like it, end the program: 3 is never reached.
  for (const char* input : {"exit\n5\n", ""}) {
    r = run_child(input, [] { return ZOR_promptd("Number: ") * 0 + 3; });
    EXPECT_EQ(r.status, 0) << input;
    EXPECT_EQ(count_of(r.out, "Number: "), 1) << input;
  }
}

TEST_F(MessTest, SetCommandParsing) {
  EXPECT_EQ(ZOR_set_command("set plot_param  ==  rings 5") + ZOR_set_command("SET region us"), 2);
  EXPECT_STREQ(RES_get("plot_param"), "rings 5");
  EXPECT_STREQ(RES_get("region"), "us");
  for (const char* c : {"hello", "", static_cast<const char*>(nullptr)}) EXPECT_EQ(ZOR_set_command(c), 0);

  EXPECT_NE(stderr_of([] { EXPECT_EQ(ZOR_set_command("set abcdefghijklmnopqrstuvwxyz=1"), 1); }).find("too long"),
            std::string::npos);
  EXPECT_TRUE(RES_get("abcdefghijklmnopqrstuvwxyz") == nullptr && RES_get("abcdefghijklmnopqrs") == nullptr);
  EXPECT_EQ(ZOR_set_command("set abcdefghijklmnopqrs=1"), 1);  // 19 characters fit
  EXPECT_STREQ(RES_get("abcdefghijklmnopqrs"), "1");
}

TEST_F(MessTest, BackgroundProcessSleepAndElapsedTime) {
  std::string marker = scratch("back_proc.txt");
  ChildResult r = run_child("", [marker] {
    int ret = ZOR_back_proc();
    // Only the detached child gets here.
    struct stat st {};
    bool null_out = fstat(1, &st) == 0 && S_ISCHR(st.st_mode);
    std::string tmp = marker + ".part";
    if (std::FILE* f = std::fopen(tmp.c_str(), "w")) {
      std::fprintf(f, "ret=%d leader=%d null=%d\n", ret, getpgrp() == getpid() ? 1 : 0, null_out ? 1 : 0);
      std::fclose(f);
      std::rename(tmp.c_str(), marker.c_str());
    }
    return 9;
  });
  EXPECT_EQ(r.status, 0);  // the parent side exits with 0
  std::string text;
  for (int i = 0; i < 100 && text.empty(); ++i) {
    text = slurp(marker);
    if (text.empty()) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_EQ(text, "ret=1 leader=1 null=1\n");
  // Sleeping and the elapsed time.
  EXPECT_EQ(ZOR_sleep(0.0f), -1);
  EXPECT_EQ(ZOR_sleep(-1.0f), -1);
  ZOR_init_time();
  EXPECT_EQ(ZOR_sleep(0.02f), 0);
  EXPECT_GE(ZOR_elapse_time(), 0.0199f);
}

}  // namespace
