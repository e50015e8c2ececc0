// A connection is known by its number, from 1. The table of connections is guarded by `tableLock`,
// the queue of one by its own lock; no lock is held while a socket is waited for. The reading
// thread owns the record: it takes it out of the table, waits for the writing thread and frees it.
#include "connection.h"

#include "message.h"

#include <algorithm>
#include <atomic>
#include <cstdio>

#ifdef _WIN32
#  include <winsock2.h>
#else
#  include <sys/socket.h>
#endif

namespace {

constexpr double forEver = -1.0;
constexpr double glance = 0.25;  // seconds between checks whether the connection is closing
constexpr double farewell = 5.0; // seconds for sending the rest at the end

enum class State { open, finishing, closing }; // finishing: the queue is still sent

struct Connection {
  int32_t number;
  int32_t socket;
  char peer[22];
  std::atomic<State> state;
  const char *why; // it is closing, when not because it was asked to; under the lock
  ZutMutex *lock;
  ZutCond *changed; // the queue or the state
  ZutPq queue;      // ZutBuf, to be sent; under the lock
  ZutThreadId writer;
  std::atomic<int64_t> messagesIn, messagesOut, bytesIn, bytesOut;
};

ZutMutex *tableLock;
ZutCond *tableChanged;
ZutPtrAry *table; // Connection, oldest first
int32_t lastNumber = 0;
struct ZutTrace *connectionTrace;

class Guard {
public:
  explicit Guard(ZutMutex *mutex) : mutex_(mutex) { ZutMutexLock(mutex_, forEver); }
  ~Guard() { ZutMutexUnlock(mutex_); }
  Guard(const Guard &) = delete;
  Guard &operator=(const Guard &) = delete;

private:
  ZutMutex *mutex_;
};

double number(const char *option) { return ZutOptionGetNumValue(option); }

void makeNumber(const char *name, double value) {
  ZutOption *option = ZutOptionCreate(name, Z_OPTION_NUM);
  ZutOptionSetNum(option, value);
  ZutOptionSetRequired(option, 1);
  ZutOptionSetVerifyFunc(option, ZutOptionVerifyNonNeg, 0);
}

Connection *connectionAt(int32_t index) {
  ZutWord item = 0;
  ZutPtrAryGetItemAtIndex(table, index, &item);
  return reinterpret_cast<Connection *>(item);
}

// The first reason to close is kept.
void setState(Connection &connection, State state, const char *why = nullptr) {
  const Guard guard(connection.lock);
  if (connection.state != State::closing) {
    connection.state = state;
    connection.why = why;
  }
  ZutCondWakeAll(connection.changed);
}

const char *reasonToClose(Connection &connection) {
  const Guard guard(connection.lock);
  return connection.why ? connection.why : "closed";
}

// After a wait that failed: there was nothing in time, or a signal ended it.
bool mayWaitAgain() {
  constexpr int32_t timeout = 9, interrupted = 16, socket = 29, brokenOff = 10004;
  const int32_t error = ZutErrNumGet();
  if (error == socket) return ZutErrNumGetSocket() == brokenOff;
  return error == timeout || error == interrupted;
}

// --- Writing ---

// Takes over the message.
bool enqueue(Connection &connection, ZutBuf *message) {
  const double longest = number("courier_max_queue");
  const Guard guard(connection.lock);
  if (ZutPqCount(&connection.queue) >= longest)
    setState(connection, State::closing, "dropped: it reads too slowly");
  if (connection.state != State::open) {
    ZutBufDestroy(message);
    return false;
  }
  ZutPqAdd(&connection.queue, reinterpret_cast<ZutWord>(message));
  ZutCondWakeAll(connection.changed);
  return true;
}

// The next message to send; a sign of life when there was none for a while; null at the end.
ZutBuf *nextMessage(Connection &connection) {
  const double interval = number("courier_silence") / 3.0 + 0.05;
  const Guard guard(connection.lock);
  for (;;) {
    if (connection.state == State::closing) return nullptr;
    if (const ZutWord item = ZutPqPop(&connection.queue)) return reinterpret_cast<ZutBuf *>(item);
    if (connection.state == State::finishing) return nullptr;
    if (!ZutCondWait(connection.changed, connection.lock, interval)) return messageAlive();
  }
}

// The count sent, 0 when the socket would block, -1 on failure. The library has no operation that
// sends: programs use the system's.
int32_t sendSome(int32_t socket, const uint8_t *bytes, int32_t length) {
#ifdef _WIN32
  const int count =
      send(static_cast<SOCKET>(socket), reinterpret_cast<const char *>(bytes), length, 0);
  return count < 0 && WSAGetLastError() == WSAEWOULDBLOCK ? 0 : count;
#else
  const ssize_t count = send(socket, bytes, static_cast<size_t>(length), 0);
  return count < 0 && (errno == EAGAIN || errno == EINTR) ? 0 : static_cast<int32_t>(count);
#endif
}

bool sendAll(Connection &connection, const ZutBuf &message) {
  int32_t sent = 0;
  while (sent < message.size) {
    if (connection.state == State::closing) return false;
    if (!ZutSocketCheck(connection.socket, 1, glance)) {
      if (mayWaitAgain()) continue;
      return false;
    }
    const int32_t count = sendSome(connection.socket, message.data + sent, message.size - sent);
    if (count < 0) return false;
    sent += count;
  }
  connection.bytesOut += sent;
  return true;
}

ZutWord Z_CALL writeMessages(ZutWord argument) {
  auto &connection = *reinterpret_cast<Connection *>(argument);
  bool good = true;
  while (ZutBuf *message = good ? nextMessage(connection) : nullptr) {
    good = sendAll(connection, *message);
    if (good && messageHead(message->data).kind != MessageKind::alive) ++connection.messagesOut;
    ZutBufDestroy(message);
  }
  setState(connection, State::closing, good ? nullptr : "dropped: the connection failed");
  return 0;
}

// --- Reading. The peer is not trusted: each function returns null on success, else why the
// connection has to end. ---

const char *waitForData(Connection &connection) {
  const double longest = number("courier_silence");
  for (double silence = 0.0; !ZutSocketCheck(connection.socket, 0, glance); silence += glance) {
    if (!mayWaitAgain()) return "dropped: the connection failed";
    if (connection.state == State::closing) break;
    if (silence >= longest) return "dropped: silent for too long";
  }
  return connection.state == State::closing ? reasonToClose(connection) : nullptr;
}

const char *receive(Connection &connection, void *bytes, int32_t length, const char *atEnd) {
  int32_t late = 0;
  const int32_t count =
      ZutSocketRecvTimeout(connection.socket, bytes, length, 0, number("courier_patience"), &late);
  if (count < 0) return "dropped: the peer reset the connection";
  connection.bytesIn += count;
  if (count == length) return nullptr;
  return count == 0 && !late ? atEnd : "dropped: half a message";
}

void announce(Connection &connection, const ZutBuf &text) {
  ++connection.messagesIn;
  const std::string shown = messagePrintable(text);
  Arrival arrival{nullptr, connection.peer, shown.c_str()};
  ZutCbTypeCall(ZutCbTypeNumLookup(arrivalType), nullptr, &arrival);
}

const char *receiveData(Connection &connection, const MessageHead &head) {
  const auto length = static_cast<int32_t>(head.length);
  ZutBuf *data = ZutBufCreate(length);
  void *place = ZutBufAllocAligned(data, length, 1);
  const char *why = nullptr;
  if (length > 0) why = receive(connection, place, length, "dropped: half a message");
  ZutBuf *text = why ? nullptr : messageText(head, data, number("compression_max_size"));
  if (text) announce(connection, *text);
  else if (!why) why = "dropped: a message that cannot be unpacked";
  if (text) ZutBufDestroy(text);
  ZutBufDestroy(data);
  return why;
}

const char *readMessage(Connection &connection) {
  if (const char *why = waitForData(connection)) return why;
  uint8_t bytes[messageHeadSize];
  if (const char *why = receive(connection, bytes, messageHeadSize, "closed by the peer"))
    return why;
  const MessageHead head = messageHead(bytes);
  constexpr double longest = 1e9;
  if (!messageIsSound(head, std::min(number("courier_max_size"), longest)))
    return "dropped: this is no message";
  return head.kind == MessageKind::alive ? nullptr : receiveData(connection, head);
}

// Not under the lock of the table: closing waits while the peer does not read what was sent.
void freeConnection(Connection &connection) {
  while (const ZutWord item = ZutPqPop(&connection.queue)) {
    ZutBufDestroy(reinterpret_cast<ZutBuf *>(item));
  }
  ZutWinCloseSocket(connection.socket);
  ZutCondDestroy(connection.changed);
  ZutMutexDestroy(connection.lock);
  delete &connection;
}

void forget(const Connection &connection) {
  const Guard guard(tableLock);
  ZutPtrAryRemove(table, reinterpret_cast<ZutWord>(&connection));
  ZutCondWakeAll(tableChanged);
}

void retire(Connection &connection, const char *why) {
  ZutTrace(connectionTrace, Z_TRACE_LEVEL_INFO, "%s: %s\n", connection.peer, why);
  ZutOut("%s %s\n", connection.peer, why);
  setState(connection, State::closing);
  if (connection.writer) ZutThreadWait(connection.writer, nullptr);
  forget(connection);
  freeConnection(connection);
}

ZutWord Z_CALL readMessages(ZutWord argument) {
  auto &connection = *reinterpret_cast<Connection *>(argument);
  const char *why = nullptr;
  while (!why) why = readMessage(connection);
  retire(connection, why);
  return 0;
}

} // namespace

void connectionsInit() {
  makeNumber("courier_max_size", 1048576);
  makeNumber("compression_max_size", 4194304);
  makeNumber("courier_max_queue", 10000);
  makeNumber("courier_patience", 5);
  makeNumber("courier_silence", 60);
  tableLock = ZutMutexCreateFast(0);
  tableChanged = ZutCondCreate();
  table = ZutPtrAryCreate(16);
  ZutCbTypeCreate(arrivalType, "courier_arrival");
  connectionTrace = ZutTraceCreate("courier", "stderr", Z_TRACE_FLAG_TIMESTAMP, nullptr);
  ZutTraceLevelDefaultOptionCreate(connectionTrace);
  ZutTraceFileDefaultOptionCreate(connectionTrace);
}

void connectionBegin(int32_t socket) {
  auto *connection = new Connection{};
  connection->socket = socket;
  if (!ZutSocketGetPeerNameStr(socket, 1, connection->peer)) {
    std::snprintf(connection->peer, sizeof connection->peer, "a peer");
  }
  ZutSocketSetBlockMode(socket, 0); // a write never waits
  connection->lock = ZutMutexCreateFast(0);
  connection->changed = ZutCondCreate();
  ZutTrace(connectionTrace, Z_TRACE_LEVEL_INFO, "%s: connected\n", connection->peer);
  ZutOut("%s connected\n", connection->peer);
  const auto argument = reinterpret_cast<ZutWord>(connection);
  const Guard guard(tableLock);
  connection->number = ++lastNumber;
  ZutPtrAryAppend(table, argument, nullptr);
  connection->writer = ZutThreadCreate(writeMessages, argument, 0);
  const ZutThreadId reader = connection->writer ? ZutThreadCreate(readMessages, argument, 0) : 0;
  if (reader) ZutThreadDetach(reader);
  else retire(*connection, "dropped: too many threads");
}

int32_t connectionSend(const char *text) {
  const Guard guard(tableLock);
  Connection *newest = connectionAt(table->count - 1);
  return newest && enqueue(*newest, messageOfText(text)) ? 1 : 0;
}

int32_t connectionBroadcast(const char *text) {
  const Guard guard(tableLock);
  int32_t count = 0;
  for (int32_t i = 0; i < table->count; ++i)
    count += enqueue(*connectionAt(i), messageOfText(text));
  return count;
}

bool connectionEnd(int32_t number) {
  const Guard guard(tableLock);
  for (int32_t i = 0; i < table->count; ++i) {
    if (connectionAt(i)->number != number) continue;
    setState(*connectionAt(i), State::finishing);
    return true;
  }
  return false;
}

void connectionsEnd() {
  const Guard guard(tableLock);
  for (int32_t i = 0; i < table->count; ++i) setState(*connectionAt(i), State::finishing);
  const double end = ZutGetWallTime() + farewell;
  while (table->count > 0 && ZutGetWallTime() < end) {
    ZutCondWait(tableChanged, tableLock, glance);
  }
}

void connectionsPrint() {
  const Guard guard(tableLock);
  for (int32_t i = 0; i < table->count; ++i) {
    ZutOut("%d %s\n", connectionAt(i)->number, connectionAt(i)->peer);
  }
  ZutOut("%d connected\n", table->count);
}

void connectionsPrintStats() {
  const Guard guard(tableLock);
  for (int32_t i = 0; i < table->count; ++i) {
    const Connection &connection = *connectionAt(i);
    ZutOut("%s received %lld messages, %lld bytes; sent %lld messages, %lld bytes\n",
           connection.peer, static_cast<long long>(connection.messagesIn),
           static_cast<long long>(connection.bytesIn),
           static_cast<long long>(connection.messagesOut),
           static_cast<long long>(connection.bytesOut));
  }
}
