// Message queues against a server in a forked child, on a System V queue and
// a loopback socket, and the resource layer's loop-window exchange.
#include "zor/mq.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/msg.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include "../common/files.h"
#include "zor/flag.h"
#include "zor/mess.h"
#include "zor/res.h"

namespace {

constexpr int kQueue = 0;
constexpr int kSocket = 1;

// Answers like a loop window, writing every request to `log_fd` first;
// "die" ends it without a reply. Idle for 5 s, it ends by itself.
[[noreturn]] void serve(int q, int log_fd) {
  MQ_timeout(5);
  MQ_timeout_func([](int) { _exit(0); });
  int bad = 0;
  char item[MQ_TEXT_SIZE];
  for (;;) {
    int id = -1;
    int code = MQ_sget(q, item, &id);
    if (code < 0) ++bad;
    if (code < 0 || code == MQ_CODE_CONNECT) continue;
    dprintf(log_fd, "%s\n", item);
    std::string t = item;
    if (t == "die") _exit(0);
    if (t == "quit") {
      MQ_sput(q, id, MQ_CODE_CLOSE, "bye");
    } else if (t == "query res plot_type") {
      MQ_sput(q, id, MQ_CODE_REPLY, "cf\n");
      MQ_sput(q, id, MQ_CODE_END, "%s", "");
    } else if (t.starts_with("query res")) {
      MQ_sput(q, id, MQ_CODE_END, "%s", "");
    } else if (t.starts_with("set res")) {
      MQ_sput(q, id, MQ_CODE_REPLY, "ok");
    } else {
      MQ_sput(q, id, MQ_CODE_REPLY, "%zu:%.100s bad=%d", t.size(), item, bad);
      MQ_sput(q, id, MQ_CODE_END, "end");
    }
  }
}

// The server as a child process on queue or port number 1 (offset from the
// process id); killed, and its queue removed, however the test ends.
class Server {
 public:
  explicit Server(int type) : type_(type) {
    zor::mq::reset();
    MQ_settype(type);
    for (int i = 0; i < 16 && q_ < 0; ++i) {
      MQ_offset(type == kQueue ? static_cast<int>(key() - 1)
                               : 20000 + (getpid() % 2000) * 16 + i * 2);
      q_ = MQ_screate(1);
    }
    if (q_ < 0 || pipe(log_) != 0) return;
    pid_ = fork();
    if (pid_ == 0) serve(q_, log_[1]);
    close(log_[1]);
    fcntl(log_[0], F_SETFL, O_NONBLOCK);
    if (type == kSocket) MQ_remove(q_);  // only this process's copy of the socket
  }
  ~Server() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    if (type_ == kQueue && q_ >= 0) msgctl(q_, IPC_RMID, nullptr);
    if (log_[0] >= 0) close(log_[0]);
    zor::mq::reset();
  }
  bool ok() const { return pid_ > 0; }
  int client() const { return type_ == kQueue ? q_ : MQ_open(1); }
  long key() const { return 0x30000000L + (getpid() & 0x3FFFFF) * 4 + 1; }
  std::string log() const {
    std::string text;
    char buf[4096];
    for (ssize_t n; (n = read(log_[0], buf, sizeof buf)) > 0;) text.append(buf, n);
    return text;
  }

 private:
  int type_;
  int q_ = -1;
  int log_[2] = {-1, -1};
  pid_t pid_ = -1;
};

int g_timeouts = 0;

struct QueueGuard {
  int q = msgget(IPC_PRIVATE, IPC_CREAT | 0600);
  ~QueueGuard() { msgctl(q, IPC_RMID, nullptr); }
};

class MqTransport : public ::testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.ok());
    MQ_timeout(2);
    g_timeouts = 0;
    MQ_timeout_func([](int) { ++g_timeouts; });
  }
  // A reply stream, joined by "|".
  static std::string replies(int q, int id) {
    std::string out;
    char item[MQ_TEXT_SIZE];
    while (MQ_get(q, id, item) == MQ_CODE_REPLY) out += std::string(item) + "|";
    return out;
  }
  static std::string ask(int q, int id, const char* text) {
    return MQ_put(q, id, "%s", text) == 0 ? replies(q, id) : "put failed";
  }
  Server server_{GetParam()};
};

TEST_P(MqTransport, ConversationAndBadMessages) {
  int a = server_.client(), b = server_.client();
  int ida = MQ_connect(a);
  ASSERT_EQ(ida, 3);
  EXPECT_EQ(ask(a, ida, "hello"), "5:hello bad=0|");
  EXPECT_EQ(MQ_connect(b), 4);
  // A sender that holds no connection is ignored, and counted by the server.
  EXPECT_EQ(MQ_put(a, 9, "who"), 0);
  // A body without its terminating zero is cut at the end of the message.
  if (GetParam() == kQueue) {
    mqueuebuf raw{MQ_TYPE_SERVER, {}};
    std::memset(raw.mtext, 'x', MQ_TEXT_SIZE);
    raw.mtext[0] = static_cast<char>('0' + ida);
    ASSERT_EQ(msgsnd(a, &raw, MQ_TEXT_SIZE, 0), 0);
    EXPECT_EQ(replies(a, ida).substr(0, 8), "119:xxxx");
  } else {
    const char raw[] = {3, static_cast<char>('0' + ida), 'a', 'b'};
    ASSERT_EQ(send(a, raw, sizeof raw, 0), 4);
    EXPECT_EQ(replies(a, ida), "2:ab bad=1|");
  }
  EXPECT_EQ(ask(a, ida, "again"), "5:again bad=1|");
  EXPECT_EQ(MQ_put(a, ida, "%s", std::string(MQ_TEXT_SIZE - 1, 'z').c_str()), -1);
  // Quitting releases the slot for the next client.
  char item[MQ_TEXT_SIZE];
  ASSERT_EQ(MQ_put(a, ida, "quit"), 0);
  EXPECT_EQ(MQ_get(a, ida, item), MQ_CODE_CLOSE);
  EXPECT_STREQ(item, "bye");
  if (GetParam() == kSocket) {
    MQ_close(a);
    a = server_.client();
  }
  EXPECT_EQ(MQ_connect(a), 3);
  EXPECT_EQ(g_timeouts, 0);
}

TEST_P(MqTransport, TwentiethConnectIsRefusedAtOnce) {
  std::vector<int> clients;
  for (int i = 0; i < MQ_SLOTS; ++i) {
    clients.push_back(server_.client());
    ASSERT_EQ(MQ_connect(clients.back()), i + 3);
  }
  int extra = server_.client();
  EXPECT_EQ(MQ_connect(extra), -1);
  EXPECT_EQ(g_timeouts, 0);  // refused by the server, not given up on by the client
  if (GetParam() == kSocket)
    for (int fd : clients) MQ_close(fd);
}

TEST_P(MqTransport, ServerDyingOrMissing) {
  int q = server_.client();
  int id = MQ_connect(q);
  ASSERT_GT(id, 0);
  ASSERT_EQ(MQ_put(q, id, "die"), 0);
  MQ_timeout(1);
  char item[MQ_TEXT_SIZE] = "stale";
  EXPECT_EQ(MQ_get(q, id, item), -1);
  EXPECT_STREQ(item, "");
  // A queue outlives its server, so the client waits out its timeout; a socket is closed at once.
  EXPECT_EQ(g_timeouts, GetParam() == kQueue ? 1 : 0);
  // A missing queue or server fails at once, not after a wait.
  g_timeouts = 0;
  const int missing = MQ_open(2);
  EXPECT_EQ(missing, -1);
  EXPECT_EQ(MQ_get(missing, MQ_TYPE_CONNECT, item), -1);
  EXPECT_EQ(g_timeouts, 0);
}

TEST_P(MqTransport, LoopWindowResources) {
  zor::res::reset();
  zor::def::reset();
  zor::flag::reset();
  zor::mess::reset();
  const res_type keys[] = {RES_plot_type, RES_plot_scale, RES_null};
  const res_type pos[] = {RES_filenames, RES_null};
  std::vector<std::string> args = {"radar", "-df", "#2:#1", "-sc", "2"};
  std::vector<char*> argv;
  for (auto& s : args) argv.push_back(s.data());
  RES_init(static_cast<int>(argv.size()), argv.data(), keys, pos);
  EXPECT_STREQ(RES_get("plot_type"), "cf");
  EXPECT_EQ(FLAG_get(11), 15);
  EXPECT_EQ(server_.log(),
            "query res plot_type\nquery res plot_scale\nquery res filename\n"
            "set res plot_scale 2\nquit\n");
}

INSTANTIATE_TEST_SUITE_P(Both, MqTransport, ::testing::Values(kQueue, kSocket),
                         [](const auto& info) {
                           return info.param == kQueue ? "queue" : "socket";
                         });

// A reply without its zero is cut to the item; a silent queue ends the
// program with status 7.
TEST(MqDeathTest, ReplyWithoutZeroIsCutAndTimeoutEndsTheProgram) {
  zor::mq::reset();
  QueueGuard queue;
  ASSERT_GE(queue.q, 0);
  mqueuebuf raw{7, {}};
  std::memset(raw.mtext, 'y', MQ_TEXT_SIZE);
  raw.mtext[0] = '0';
  ASSERT_EQ(msgsnd(queue.q, &raw, MQ_TEXT_SIZE, 0), 0);
  std::vector<char> item(MQ_TEXT_SIZE);  // exactly the documented size, for ASan
  EXPECT_EQ(MQ_get(queue.q, 7, item.data()), 0);
  EXPECT_EQ(std::string(item.data()), std::string(MQ_TEXT_SIZE - 1, 'y'));
  EXPECT_EXIT(
      {
        MQ_timeout(1);
        MQ_get(queue.q, 3, item.data());
      },
      ::testing::ExitedWithCode(7), "Queue not responding!!");
}

TEST(MqProgram, RadarAsksTheLoopWindowAndTellsItTheCommandLine) {
  Server server(kQueue);
  ASSERT_TRUE(server.ok());
  const zor::test::TempDir dir("mq_program");
  auto run =
      zor::test::run_radar(dir.path(), "", "-df '#" + std::to_string(server.key()) + "' -pl cf -h");
  EXPECT_EQ(run.status, 0);
  std::string log = server.log();
  EXPECT_NE(log.find("query res plot_type\n"), std::string::npos);
  EXPECT_TRUE(log.ends_with("set res plot_type cf\nset res help \nquit\n")) << log;
}

}  // namespace
