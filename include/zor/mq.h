// Message queues to a resource server: short coded texts over System V
// message queues or, as the alternative transport, TCP sockets on
// 127.0.0.1. The client side connects and exchanges requests; the server
// side hands out connection slots and answers them.
#pragma once

#include <cstddef>

// Every message body is this many bytes: the code character, the text and
// its terminating zero. Buffers receiving a text (`item`) must hold this many
// characters; a sent text may hold MQ_TEXT_SIZE - 2 characters.
inline constexpr int MQ_TEXT_SIZE = 120;
// Connection slots 1..MQ_SLOTS of a server; slot s is connection id s + 2.
inline constexpr int MQ_SLOTS = 19;
inline constexpr int MQ_CONN_MAX = 25;

// Message types: requests to the server, and connect replies.
inline constexpr long MQ_TYPE_SERVER = 1;
inline constexpr long MQ_TYPE_CONNECT = 2;

// Codes (the first byte of a body less '0'). A reply stream to one request
// is MQ_CODE_REPLY lines ended by MQ_CODE_END; MQ_CODE_CLOSE asks for a
// connection when a client sends it and, sent by the server, refuses a
// connection or says the server is leaving (it releases the slot).
inline constexpr int MQ_CODE_REPLY = 0;
inline constexpr int MQ_CODE_END = 1;
inline constexpr int MQ_CODE_CONNECT = 2;
inline constexpr int MQ_CODE_CLOSE = -1;

struct mqueuebuf {
  long mtype;                // MQ_TYPE_SERVER, MQ_TYPE_CONNECT or a connection id
  char mtext[MQ_TEXT_SIZE];  // code character, text, zero
};

// An installed timeout function is called with SIGALRM when a wait runs out;
// the operation then fails (-1) instead of ending the program.
using MQ_timeout_handler = void (*)(int);

// Client side. MQ_open returns the queue id (socket mode: the connected
// socket), or -1 when no such queue or server exists.
int MQ_open(int num);
int MQ_close(int msqid);
int MQ_put(int msqid, int conn_id, const char* format, ...) __attribute__((format(printf, 3, 4)));
// The code of the next message of type `msgtyp`, its text in `item`
// (MQ_TEXT_SIZE characters); -1 and an empty item on failure or timeout.
int MQ_get(int msqid, long msgtyp, char* item);
int MQ_clear(int msqid, long msgtyp);
// The new connection id, or -1 when the server refused or did not answer.
int MQ_connect(int msqid);

// Server side. MQ_screate makes the queue (socket mode: the listening
// socket) for `num` and MQ_remove takes it away with every connection.
// MQ_sget waits for the next request: MQ_CODE_CONNECT with the new id in
// `conn_id` and the client's user id in `item` for a connect, else the
// sender's connection id (its code) and text; -1 when nothing usable came
// (a refused connect, an unknown sender, a client gone, a timeout).
int MQ_screate(int num);
int MQ_remove(int msqid);
int MQ_sget(int msqid, char* item, int* conn_id);
// Sends `code` and the text to connection `conn_id`; a negative code
// releases the connection's slot.
int MQ_sput(int msqid, int conn_id, int code, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

// Settings. MQ_timeout (seconds; 0 waits without limit) and
// MQ_timeout_func return the previous setting.
int MQ_timeout(int seconds);
MQ_timeout_handler MQ_timeout_func(MQ_timeout_handler func);
int MQ_offset(int n);
int MQ_settype(int n);
int MQ_enable_alarm();
int MQ_disable_alarm();
void MQ_intrp(int sig);

namespace zor::mq {
// Microseconds slept before receive attempt `attempt` (1, 2, ...) of a wait.
long poll_delay_us(int attempt);
// Back to the start-up state: sockets closed, no alarm, default settings.
void reset();
}  // namespace zor::mq
