// Sockets over loopback. The other end of a pair is a thread of bare calls, the same for everybody.
#include "support/row.h"

#include "zut.h"

#include <apr_network_io.h>
#include <apr_portable.h>
#include <uv.h>

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int32_t messageSize = 64;
constexpr int32_t bulkSize = 256 << 20;

apr_pool_t *aprPool() {
  static apr_pool_t *pool = [] {
    apr_initialize();
    apr_pool_t *made = nullptr;
    apr_pool_create(&made, nullptr);
    return made;
  }();
  return pool;
}

struct Pair {
  int client, server;
};

Pair makePair() {
  const int32_t listener = ZutSocketCreateServerTcpEx("127.0.0.1", 0);
  int32_t port = 0;
  ZutSocketGetPort(listener, &port);
  const int32_t client = ZutSocketCreateClientTcp("127.0.0.1", port);
  const int32_t server = ZutSocketAccept(listener);
  const int on = 1;
  setsockopt(server, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  close(listener);
  return {client, server};
}

bool receiveBare(int socket, char *bytes, int32_t size) {
  for (int32_t got = 0; got < size;) {
    const ssize_t count = recv(socket, bytes + got, static_cast<size_t>(size - got), 0);
    if (count <= 0) return false;
    got += static_cast<int32_t>(count);
  }
  return true;
}

// A pair with a thread that sends every message back.
class Echo {
public:
  Echo() : pair_(makePair()), thread_([this] { run(); }) {}
  ~Echo() {
    shutdown(pair_.client, SHUT_RDWR);
    thread_.join();
    close(pair_.client);
    close(pair_.server);
  }
  int socket() const { return pair_.client; }

private:
  void run() const {
    char bytes[messageSize];
    while (receiveBare(pair_.server, bytes, messageSize)) send(pair_.server, bytes, messageSize, 0);
  }
  Pair pair_;
  std::thread thread_;
};

void echoOurs(benchmark::State &state) {
  const Echo echo;
  char bytes[messageSize] = {};
  int32_t late;
  for (auto _ : state) {
    send(echo.socket(), bytes, messageSize, 0);
    ZutSocketRecvTimeout(echo.socket(), bytes, messageSize, 0, 5.0, &late);
  }
}

void echoApr(benchmark::State &state) {
  const Echo echo;
  char bytes[messageSize] = {};
  apr_socket_t *socket = nullptr;
  int descriptor = echo.socket();
  apr_os_sock_put(&socket, &descriptor, aprPool());
  apr_socket_opt_set(socket, APR_SO_NONBLOCK, 1);
  apr_socket_timeout_set(socket, 5000000);
  for (auto _ : state) {
    apr_size_t size = messageSize;
    apr_socket_send(socket, bytes, &size);
    for (apr_size_t got = 0; got < messageSize; got += size) {
      size = messageSize - got;
      apr_socket_recv(socket, bytes + got, &size);
    }
  }
}

struct UvReceiver {
  std::vector<char> bytes;
  size_t got = 0;
  size_t wanted = 0;
};

// A loop around one socket that stops when `wanted` bytes have come.
class UvSocket {
public:
  explicit UvSocket(int socket, size_t room) {
    uv_loop_init(&loop_);
    uv_tcp_init(&loop_, &tcp_);
    uv_tcp_open(&tcp_, dup(socket));
    receiver_.bytes.resize(room);
    tcp_.data = &receiver_;
    uv_read_start(reinterpret_cast<uv_stream_t *>(&tcp_), allocate, receive);
  }
  ~UvSocket() {
    uv_close(reinterpret_cast<uv_handle_t *>(&tcp_), nullptr);
    uv_run(&loop_, UV_RUN_DEFAULT);
    uv_loop_close(&loop_);
  }
  void write(char *bytes, unsigned size) {
    uv_buf_t buffer = uv_buf_init(bytes, size);
    uv_try_write(reinterpret_cast<uv_stream_t *>(&tcp_), &buffer, 1);
  }
  void read(size_t size) {
    receiver_.wanted = size;
    receiver_.got = 0;
    uv_run(&loop_, UV_RUN_DEFAULT);
  }

private:
  static void allocate(uv_handle_t *handle, size_t, uv_buf_t *buffer) {
    auto &receiver = *static_cast<UvReceiver *>(handle->data);
    *buffer = uv_buf_init(receiver.bytes.data() + receiver.got,
                          static_cast<unsigned>(receiver.bytes.size() - receiver.got));
  }
  static void receive(uv_stream_t *stream, ssize_t count, const uv_buf_t *) {
    auto &receiver = *static_cast<UvReceiver *>(stream->data);
    if (count > 0) receiver.got += static_cast<size_t>(count);
    if (count < 0 || receiver.got >= receiver.wanted) uv_stop(stream->loop);
  }
  uv_loop_t loop_;
  uv_tcp_t tcp_;
  UvReceiver receiver_;
};

void echoUv(benchmark::State &state) {
  const Echo echo;
  UvSocket socket(echo.socket(), messageSize);
  char bytes[messageSize] = {};
  for (auto _ : state) {
    socket.write(bytes, messageSize);
    socket.read(messageSize);
  }
}

void readyOurs(benchmark::State &state) {
  const Pair pair = makePair();
  char bytes[messageSize] = {};
  int32_t late;
  for (auto _ : state) {
    send(pair.server, bytes, messageSize, 0);
    ZutSocketRecvTimeout(pair.client, bytes, messageSize, 0, 5.0, &late);
  }
  close(pair.client);
  close(pair.server);
}

void readyBare(benchmark::State &state) {
  const Pair pair = makePair();
  char bytes[messageSize] = {};
  for (auto _ : state) {
    send(pair.server, bytes, messageSize, 0);
    recv(pair.client, bytes, messageSize, 0);
  }
  close(pair.client);
  close(pair.server);
}

// Receives all that a thread sends, with `receive`(socket, memory).
template <class Receive>
void bulk(benchmark::State &state, Receive receive) {
  static std::vector<char> memory(bulkSize);
  for (auto _ : state) {
    const Pair pair = makePair();
    std::thread sender([&pair] {
      static const std::vector<char> piece(1 << 20, 'x');
      for (int64_t left = bulkSize; left > 0;) {
        const size_t size = left < static_cast<int64_t>(piece.size()) ? left : piece.size();
        left -= send(pair.server, piece.data(), size, 0);
      }
    });
    receive(pair.client, memory);
    sender.join();
    close(pair.client);
    close(pair.server);
  }
}

void bulkOurs(benchmark::State &state) {
  bulk(state,
       [](int socket, auto &memory) { ZutSocketRecvAll(socket, memory.data(), bulkSize, 0); });
}

void bulkApr(benchmark::State &state) {
  bulk(state, [](int socket, auto &memory) {
    apr_socket_t *handle = nullptr;
    apr_os_sock_put(&handle, &socket, aprPool());
    apr_size_t size;
    for (apr_size_t got = 0; got < bulkSize; got += size) {
      size = bulkSize - got;
      apr_socket_recv(handle, memory.data() + got, &size);
    }
  });
}

void bulkUv(benchmark::State &state) {
  bulk(state, [](int socket, auto &) { UvSocket(socket, bulkSize).read(bulkSize); });
}

void connectOurs(benchmark::State &state) {
  const int32_t listener = ZutSocketCreateServerTcpEx("127.0.0.1", 0);
  int32_t port = 0;
  ZutSocketGetPort(listener, &port);
  for (auto _ : state) {
    const int32_t client = ZutSocketCreateClientTcp("127.0.0.1", port);
    const int32_t server = ZutSocketAccept(listener);
    close(client);
    close(server);
  }
  close(listener);
}

// The same calls with the same settings: no delay, linger, a time-out for the connection.
void connectApr(benchmark::State &state) {
  apr_pool_t *pool = nullptr;
  apr_pool_create(&pool, aprPool());
  apr_sockaddr_t *address = nullptr;
  apr_sockaddr_info_get(&address, "127.0.0.1", APR_INET, 0, 0, pool);
  apr_socket_t *listener = nullptr;
  apr_socket_create(&listener, APR_INET, SOCK_STREAM, APR_PROTO_TCP, pool);
  apr_socket_bind(listener, address);
  apr_socket_listen(listener, 100);
  apr_socket_addr_get(&address, APR_LOCAL, listener);
  const apr_port_t port = address->port;
  apr_pool_t *inner = nullptr;
  apr_pool_create(&inner, pool);
  for (auto _ : state) {
    apr_sockaddr_t *peer = nullptr;
    apr_sockaddr_info_get(&peer, "127.0.0.1", APR_INET, port, 0, inner);
    apr_socket_t *client = nullptr, *server = nullptr;
    apr_socket_create(&client, APR_INET, SOCK_STREAM, APR_PROTO_TCP, inner);
    const linger lingering{1, 10};
    apr_os_sock_t descriptor;
    apr_os_sock_get(&descriptor, client);
    setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &lingering, sizeof lingering);
    apr_socket_opt_set(client, APR_TCP_NODELAY, 1);
    apr_socket_timeout_set(client, 5000000);
    apr_socket_connect(client, peer);
    apr_socket_accept(&server, listener, inner);
    apr_socket_close(client);
    apr_socket_close(server);
    apr_pool_clear(inner);
  }
  apr_socket_close(listener);
  apr_pool_destroy(pool);
}

} // namespace

void addRows() {
  Row("socket", "echo").clock().ours(echoOurs).peer("APR", echoApr).peer("libuv", echoUv);
  Row("socket", "data ready").ours(readyOurs).peer("bare calls", readyBare);
  Row("socket", "receive 256 MB").clock().ours(bulkOurs).peer("APR", bulkApr).peer("libuv", bulkUv);
  Row("socket", "connect and accept").clock().ours(connectOurs).peer("APR", connectApr);
}
