// Message queues to a resource server, over System V message queues or TCP
// sockets on 127.0.0.1.
//
// Every wait is bounded twice: by the alarm of `timeout` seconds, whose
// handler only raises a flag that interrupts a sleep or a blocking call, and
// by a deadline on the monotonic clock, so that a wait ends on time even
// when the alarm signal is ignored or taken by someone else. What happens on
// a timeout (the installed function, or the message and exit 7) runs in the
// ordinary flow, never inside the signal handler.
#include "zor/mq.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "zor/mess.h"

namespace zor::mq {

namespace {

constexpr int kDefaultTimeout = 20;
// Accepted sockets that have not sent their connect request yet.
constexpr int kPending = 5;

struct Slot {
  bool used = false;
  int fd = -1;   // socket of the connection (socket mode)
  int uid = -1;  // user id the client gave when connecting
};

struct State {
  int msgqid = -1;
  int offset = 0;
  int timeout = kDefaultTimeout;
  MQ_timeout_handler to_func = nullptr;
  int type = 0;  // 0 System V queue, otherwise TCP socket
  std::array<Slot, MQ_CONN_MAX> conn{};
  std::array<int, kPending> pending{};
  int sock1 = -1;  // the client's last connected socket
  int sock2 = -1;  // the server's listening socket

  State() { pending.fill(-1); }
  void close_connections() {
    for (auto& c : conn) {
      if (c.fd >= 0) close(c.fd);
      c = Slot{};
    }
    for (int& fd : pending) {
      if (fd >= 0) close(fd);
      fd = -1;
    }
  }
  void reset() {
    alarm(0);
    close_connections();
    if (sock1 >= 0) close(sock1);
    if (sock2 >= 0) close(sock2);
    *this = State{};
  }
};

State& state() {
  static State s;
  return s;
}

volatile std::sig_atomic_t g_alarm = 0;

// One bounded wait: arms the alarm on entry and disarms it on exit.
class Wait {
 public:
  Wait() : limited_(state().timeout > 0) {
    deadline_ = std::chrono::steady_clock::now() + std::chrono::seconds(state().timeout);
    MQ_enable_alarm();
  }
  ~Wait() { MQ_disable_alarm(); }
  Wait(const Wait&) = delete;
  Wait& operator=(const Wait&) = delete;

  bool expired() const {
    return g_alarm != 0 || (limited_ && std::chrono::steady_clock::now() >= deadline_);
  }
  // Milliseconds left for poll(), -1 without limit.
  int poll_ms() const {
    if (!limited_) return -1;
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline_ - std::chrono::steady_clock::now());
    return left.count() < 0 ? 0 : static_cast<int>(left.count()) + 1;
  }
  void nap(long us) const {
    if (us <= 0) return;
    int ms = poll_ms();
    if (ms >= 0 && static_cast<long>(ms) * 1000 < us) us = static_cast<long>(ms) * 1000;
    timespec ts{us / 1000000, (us % 1000000) * 1000};
    nanosleep(&ts, nullptr);  // the alarm cuts it short
  }

 private:
  bool limited_;
  std::chrono::steady_clock::time_point deadline_;
};

// The end of a wait that ran out: the installed function, else the end of
// the program.
int timed_out() {
  MQ_disable_alarm();
  if (auto func = state().to_func) {
    func(SIGALRM);
    return -1;
  }
  MESS_print(M_ERROR, "Queue not responding!!\n");
  ZOR_exit(7);
}

int code_of(const char* body) { return static_cast<unsigned char>(body[0]) - '0'; }

// The text of a body of `n` bytes, up to its zero or the end of the body,
// whichever comes first, so a body without a zero cannot overrun `item`.
void copy_text(const char* body, std::size_t n, char* item) {
  std::size_t len = 0;
  if (n > 1) {
    const void* zero = std::memchr(body + 1, '\0', n - 1);
    len = zero ? static_cast<std::size_t>(static_cast<const char*>(zero) - (body + 1)) : n - 1;
  }
  std::memcpy(item, body + 1, len);
  item[len] = '\0';
}

// Code character and formatted text into a zeroed body; a text that does
// not fit is refused rather than sent cut.
bool format_body(char* body, int code, const char* who, const char* format, va_list ap) {
  std::memset(body, 0, MQ_TEXT_SIZE);
  if (code < 1 - '0' || code > '~' - '0') {
    MESS_print(M_ERROR, "%s: code %d cannot be sent\n", who, code);
    return false;
  }
  body[0] = static_cast<char>('0' + code);
  int n = std::vsnprintf(body + 1, MQ_TEXT_SIZE - 1, format ? format : "", ap);
  if (n < 0 || n > MQ_TEXT_SIZE - 2) {
    MESS_print(M_ERROR, "%s: message longer than %d characters not sent\n", who, MQ_TEXT_SIZE - 2);
    return false;
  }
  return true;
}

// --- System V queues -------------------------------------------------------

// 1 sent, 0 timed out, -1 failed. A full queue is waited on in steps.
int queue_send(int id, long mtype, const char* body, const Wait& w) {
  mqueuebuf buf{mtype, {}};
  std::memcpy(buf.mtext, body, MQ_TEXT_SIZE);
  for (;;) {
    if (msgsnd(id, &buf, MQ_TEXT_SIZE, IPC_NOWAIT) == 0) return 1;
    if (errno != EAGAIN && errno != EINTR) {
      MESS_print(M_ERROR, "MQ_put: %s\n", std::strerror(errno));
      return -1;
    }
    if (w.expired()) return 0;
    w.nap(100000);
  }
}

// 1 received (`n` bytes), 0 timed out, -1 failed.
int queue_receive(int id, long msgtyp, char* body, std::size_t& n, const Wait& w) {
  for (int attempt = 1;; ++attempt) {
    w.nap(poll_delay_us(attempt));
    mqueuebuf buf{0, {}};
    // MSG_NOERROR: a longer foreign message is cut to the body instead of
    // staying at the head of the queue for ever.
    ssize_t got = msgrcv(id, &buf, MQ_TEXT_SIZE, msgtyp, IPC_NOWAIT | MSG_NOERROR);
    if (got >= 0) {
      std::memcpy(body, buf.mtext, MQ_TEXT_SIZE);
      n = static_cast<std::size_t>(got);
      return 1;
    }
    if (errno != ENOMSG && errno != EINTR) {
      MESS_print(M_ERROR, "MQ_get: %s\n", std::strerror(errno));
      return -1;
    }
    if (w.expired()) return 0;
  }
}

// --- Sockets ---------------------------------------------------------------

bool port_of(int num, sockaddr_in& addr) {
  long port = static_cast<long>(state().offset) + num;
  if (port < 1 || port > 65535) {
    MESS_print(M_ERROR, "MQ: port %ld out of range\n", port);
    return false;
  }
  addr = sockaddr_in{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(static_cast<std::uint16_t>(port));
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return true;
}

// One length byte, then the code, the text and its zero.
int socket_send(int fd, const char* body) {
  std::size_t len = 2 + strnlen(body + 1, MQ_TEXT_SIZE - 1);
  if (len > MQ_TEXT_SIZE) len = MQ_TEXT_SIZE;
  unsigned char frame[MQ_TEXT_SIZE + 1];
  frame[0] = static_cast<unsigned char>(len);
  std::memcpy(frame + 1, body, len);
  std::size_t sent = 0;
  while (sent < len + 1) {
    ssize_t r = send(fd, frame + sent, len + 1 - sent, MSG_NOSIGNAL);
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) {
      MESS_print(M_ERROR, "Client disconnect\n");
      return -1;
    }
    sent += static_cast<std::size_t>(r);
  }
  return 1;
}

// Exactly `len` bytes: 1 read, 0 timed out, -1 peer gone or failed.
int read_exact(int fd, char* out, std::size_t len, const Wait& w) {
  std::size_t got = 0;
  while (got < len) {
    pollfd p{fd, POLLIN, 0};
    int r = poll(&p, 1, w.poll_ms());
    if (r < 0 && errno != EINTR) return -1;
    if (r <= 0) {
      if (w.expired()) return 0;
      continue;
    }
    ssize_t n = recv(fd, out + got, len - got, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      MESS_print(M_ERROR, "Client disconnect\n");
      return -1;
    }
    got += static_cast<std::size_t>(n);
  }
  return 1;
}

int socket_receive(int fd, char* body, std::size_t& n, const Wait& w) {
  std::memset(body, 0, MQ_TEXT_SIZE);
  unsigned char len = 0;
  int r = read_exact(fd, reinterpret_cast<char*>(&len), 1, w);
  if (r <= 0) return r;
  if (len == 0 || len > MQ_TEXT_SIZE) {
    MESS_print(M_ERROR, "MQ_get: bad message length %d\n", len);
    return -1;
  }
  n = len;
  return read_exact(fd, body, len, w);
}

// --- Both ------------------------------------------------------------------

int transport_send(int msqid, long mtype, int fd, const char* body, const Wait& w) {
  return state().type == 0 ? queue_send(msqid, mtype, body, w) : socket_send(fd, body);
}

Slot* slot_of(int conn_id) {
  int s = conn_id - 2;
  if (s < 1 || s > MQ_SLOTS || !state().conn[static_cast<std::size_t>(s)].used) return nullptr;
  return &state().conn[static_cast<std::size_t>(s)];
}

void release(Slot& slot) {
  if (slot.fd >= 0) close(slot.fd);
  slot = Slot{};
}

int reply(int msqid, long mtype, int fd, int code, const char* format, ...)
    __attribute__((format(printf, 5, 6)));
int reply(int msqid, long mtype, int fd, int code, const char* format, ...) {
  char body[MQ_TEXT_SIZE];
  va_list ap;
  va_start(ap, format);
  bool ok = format_body(body, code, "MQ_sget", format, ap);
  va_end(ap);
  if (!ok) return -1;
  Wait w;
  int r = transport_send(msqid, mtype, fd, body, w);
  return r == 0 ? timed_out() : r;
}

// A connect request: the lowest free slot, answered with its connection id;
// with every slot taken the client is refused at once rather than left to
// time out.
int accept_connect(int msqid, int fd, char* item, int* conn_id) {
  auto& conn = state().conn;
  int s = 1;
  while (s <= MQ_SLOTS && conn[static_cast<std::size_t>(s)].used) ++s;
  if (s > MQ_SLOTS) {
    MESS_print(M_WARN, "MQ_sget: all %d connection slots taken\n", MQ_SLOTS);
    reply(msqid, MQ_TYPE_CONNECT, fd, MQ_CODE_CLOSE, "all connection slots taken");
    if (fd >= 0) close(fd);
    item[0] = '\0';
    return -1;
  }
  Slot& slot = conn[static_cast<std::size_t>(s)];
  slot = Slot{true, fd, std::atoi(item)};
  if (reply(msqid, MQ_TYPE_CONNECT, fd, MQ_CODE_CONNECT, "%d", s + 2) < 0) {
    release(slot);
    item[0] = '\0';
    return -1;
  }
  *conn_id = s + 2;
  return MQ_CODE_CONNECT;
}

// A request from connection `from` (socket mode; -1 for a queue, where the
// code names the sender).
int serve(const char* body, std::size_t n, int from, char* item, int* conn_id) {
  int code = code_of(body);
  copy_text(body, n, item);
  if ((from < 0 || code == from) && slot_of(code)) {
    *conn_id = code;
    return code;
  }
  MESS_print(M_WARN, "MQ_sget: request with code %d from no open connection ignored\n", code);
  item[0] = '\0';
  return -1;
}

int queue_sget(int msqid, char* item, int* conn_id, const Wait& w) {
  char body[MQ_TEXT_SIZE];
  std::size_t n = 0;
  int r = queue_receive(msqid, MQ_TYPE_SERVER, body, n, w);
  if (r == 0) return timed_out();
  if (r < 0) return -1;
  if (code_of(body) == MQ_CODE_CLOSE) {
    copy_text(body, n, item);
    return accept_connect(msqid, -1, item, conn_id);
  }
  return serve(body, n, -1, item, conn_id);
}

int socket_sget(int listen_fd, char* item, int* conn_id, const Wait& w) {
  auto& s = state();
  char body[MQ_TEXT_SIZE];
  std::size_t n = 0;
  for (;;) {
    // Open connections first, then sockets still to connect, then new ones.
    std::array<pollfd, MQ_CONN_MAX + kPending + 1> fds{};
    std::array<int, MQ_CONN_MAX + kPending + 1> owner{};  // slot, or -1 - pending index
    std::size_t count = 0;
    for (int i = 1; i <= MQ_SLOTS; ++i)
      if (s.conn[static_cast<std::size_t>(i)].used) {
        owner[count] = i;
        fds[count++] = {s.conn[static_cast<std::size_t>(i)].fd, POLLIN, 0};
      }
    for (int i = 0; i < kPending; ++i)
      if (s.pending[static_cast<std::size_t>(i)] >= 0) {
        owner[count] = -1 - i;
        fds[count++] = {s.pending[static_cast<std::size_t>(i)], POLLIN, 0};
      }
    fds[count++] = {listen_fd, POLLIN, 0};
    int r = poll(fds.data(), count, w.poll_ms());
    if (r < 0 && errno != EINTR) {
      MESS_print(M_ERROR, "MQ_sget: %s\n", std::strerror(errno));
      return -1;
    }
    if (r <= 0) {
      if (w.expired()) return timed_out();
      continue;
    }
    // A client that stops in the middle of a message is dropped, so that it
    // cannot take the server down with it.
    for (std::size_t i = 0; i + 1 < count; ++i) {
      if (fds[i].revents == 0) continue;
      int got = socket_receive(fds[i].fd, body, n, w);
      if (owner[i] > 0) {
        if (got <= 0) {
          *conn_id = owner[i] + 2;
          release(s.conn[static_cast<std::size_t>(owner[i])]);
          return -1;
        }
        return serve(body, n, owner[i] + 2, item, conn_id);
      }
      int& fd = s.pending[static_cast<std::size_t>(-1 - owner[i])];
      int sock = fd;
      fd = -1;
      if (got > 0 && code_of(body) == MQ_CODE_CLOSE) {
        copy_text(body, n, item);
        return accept_connect(listen_fd, sock, item, conn_id);
      }
      if (got > 0) MESS_print(M_WARN, "MQ_sget: request before connect refused\n");
      close(sock);
      return -1;
    }
    if ((fds[count - 1].revents & POLLIN) == 0) {
      MESS_print(M_ERROR, "Accept failed\n");
      return -1;
    }
    int sock = accept4(listen_fd, nullptr, nullptr, SOCK_CLOEXEC);
    if (sock < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) continue;
    if (sock < 0) {
      MESS_print(M_ERROR, "Accept failed\n");
      return -1;
    }
    int* free_pending = nullptr;
    for (int& fd : s.pending)
      if (fd < 0 && !free_pending) free_pending = &fd;
    if (free_pending) {
      *free_pending = sock;
    } else {
      MESS_print(M_WARN, "MQ_sget: too many connections waiting, one refused\n");
      close(sock);
    }
  }
}

}  // namespace

long poll_delay_us(int attempt) {
  if (attempt <= 2) return 0;
  return attempt <= 200 ? 100000 : 1000000;
}

void reset() {
  state().reset();
  g_alarm = 0;
}

}  // namespace zor::mq

using zor::mq::state;

void MQ_intrp(int /*sig*/) { zor::mq::g_alarm = 1; }

int MQ_enable_alarm() {
  struct sigaction sa {};
  sa.sa_handler = MQ_intrp;
  sigemptyset(&sa.sa_mask);
  sa.sa_flags = 0;  // no restart: the alarm must cut a blocking call short
  sigaction(SIGALRM, &sa, nullptr);
  zor::mq::g_alarm = 0;
  alarm(state().timeout > 0 ? static_cast<unsigned>(state().timeout) : 0);
  return 0;
}

int MQ_disable_alarm() {
  alarm(0);
  return 0;
}

int MQ_timeout(int seconds) {
  int previous = state().timeout;
  state().timeout = seconds < 0 ? 0 : seconds;
  return previous;
}

MQ_timeout_handler MQ_timeout_func(MQ_timeout_handler func) {
  MQ_timeout_handler previous = state().to_func;
  state().to_func = func;
  return previous;
}

int MQ_offset(int n) {
  state().offset = n;
  return 0;
}

int MQ_settype(int n) {
  state().type = n;
  return 0;
}

int MQ_open(int num) {
  auto& s = state();
  if (s.type == 0) {
    long key = static_cast<long>(s.offset) + num;
    if (key == IPC_PRIVATE) return -1;  // msgget would make a new private queue
    struct sigaction sa {};
    sa.sa_handler = MQ_intrp;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGALRM, &sa, nullptr);
    int id = msgget(static_cast<key_t>(key), 0);
    if (id < 0) return -1;
    s.msgqid = id;
    return id;
  }
  sockaddr_in addr;
  if (!zor::mq::port_of(num, addr)) return -1;
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  MESS_print(M_MESS, "Opened socket\n");
  if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
    close(fd);
    return -1;
  }
  MESS_print(M_MESS, "Connected to socket\n");
  s.sock1 = fd;
  s.msgqid = fd;
  return fd;
}

int MQ_close(int msqid) {
  auto& s = state();
  if (s.type == 0 || msqid < 0) return 0;
  if (s.sock1 == msqid) s.sock1 = -1;
  return close(msqid);
}

int MQ_put(int msqid, int conn_id, const char* format, ...) {
  using namespace zor::mq;
  if (msqid < 0) return -1;
  char body[MQ_TEXT_SIZE];
  va_list ap;
  va_start(ap, format);
  bool ok = format_body(body, conn_id, "MQ_put", format, ap);
  va_end(ap);
  if (!ok) return -1;
  Wait w;
  int r = transport_send(msqid, MQ_TYPE_SERVER, msqid, body, w);
  if (r == 0) return timed_out();
  return r > 0 ? 0 : -1;
}

int MQ_get(int msqid, long msgtyp, char* item) {
  using namespace zor::mq;
  if (!item) return -1;
  item[0] = '\0';
  if (msqid < 0) return -1;
  char body[MQ_TEXT_SIZE];
  std::size_t n = 0;
  Wait w;
  int r = state().type == 0 ? queue_receive(msqid, msgtyp, body, n, w)
                            : socket_receive(msqid, body, n, w);
  if (r == 0) return timed_out();
  if (r < 0) return -1;
  copy_text(body, n, item);
  return code_of(body);
}

int MQ_clear(int msqid, long msgtyp) {
  if (msqid < 0) return -1;
  // A socket carries one connection's messages only; nothing waits for
  // another addressee there.
  if (state().type != 0) return 0;
  int count = 0;
  mqueuebuf buf{};
  while (msgrcv(msqid, &buf, MQ_TEXT_SIZE, msgtyp, IPC_NOWAIT | MSG_NOERROR) >= 0) ++count;
  return count;
}

int MQ_connect(int msqid) {
  if (msqid < 0) return -1;
  MQ_clear(msqid, MQ_TYPE_CONNECT);
  if (MQ_put(msqid, MQ_CODE_CLOSE, "%d", static_cast<int>(getuid())) < 0) return -1;
  char item[MQ_TEXT_SIZE];
  if (MQ_get(msqid, MQ_TYPE_CONNECT, item) != MQ_CODE_CONNECT) return -1;
  int id = std::atoi(item);
  if (id < 3 || id > MQ_SLOTS + 2) return -1;
  MQ_clear(msqid, id);
  return id;
}

int MQ_screate(int num) {
  auto& s = state();
  s.close_connections();
  if (s.type == 0) {
    // Number 0 with no offset makes a private queue, handed to clients by id.
    long key = static_cast<long>(s.offset) + num;
    int id = msgget(static_cast<key_t>(key), IPC_CREAT | 0600);
    if (id < 0) {
      MESS_print(M_ERROR, "MQ_screate: %s\n", std::strerror(errno));
      return -1;
    }
    s.msgqid = id;
    return id;
  }
  sockaddr_in addr;
  if (!zor::mq::port_of(num, addr)) return -1;
  // Non-blocking, so that a client gone between poll and accept cannot
  // block the server.
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) return -1;
  int on = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
      listen(fd, MQ_CONN_MAX) != 0) {
    close(fd);
    return -1;
  }
  if (s.sock2 >= 0) close(s.sock2);
  s.sock2 = fd;
  s.msgqid = fd;
  return fd;
}

int MQ_remove(int msqid) {
  auto& s = state();
  s.close_connections();
  if (s.type == 0) return msgctl(msqid, IPC_RMID, nullptr) == 0 ? 0 : -1;
  if (s.sock2 == msqid) s.sock2 = -1;
  return msqid >= 0 ? close(msqid) : -1;
}

int MQ_sget(int msqid, char* item, int* conn_id) {
  using namespace zor::mq;
  if (!item) return -1;
  item[0] = '\0';
  int unused = 0;
  if (!conn_id) conn_id = &unused;
  *conn_id = -1;
  if (msqid < 0) return -1;
  Wait w;
  return state().type == 0 ? queue_sget(msqid, item, conn_id, w)
                           : socket_sget(msqid, item, conn_id, w);
}

int MQ_sput(int msqid, int conn_id, int code, const char* format, ...) {
  using namespace zor::mq;
  Slot* slot = slot_of(conn_id);
  if (!slot) {
    MESS_print(M_ERROR, "MQ_sput: no open connection %d\n", conn_id);
    return -1;
  }
  char body[MQ_TEXT_SIZE];
  va_list ap;
  va_start(ap, format);
  bool ok = format_body(body, code, "MQ_sput", format, ap);
  va_end(ap);
  if (!ok) return -1;
  int r;
  {
    Wait w;
    r = transport_send(msqid, conn_id, slot->fd, body, w);
  }
  if (code < 0 || (r < 0 && state().type != 0)) release(*slot);
  if (r == 0) return timed_out();
  return r > 0 ? 0 : -1;
}
