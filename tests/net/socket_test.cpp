// Sockets, on loopback only.
#include "support/child.h"
#include "support/net.h"

#include <chrono>
#include <cstring>

namespace {

constexpr int32_t refused = 10061, timedOut = 10060, inUse = 10048, unreachable = 10065;
constexpr int32_t interrupted = 10004;

int32_t portOf(int32_t socket) {
  int32_t port = 0;
  EXPECT_EQ(ZutSocketGetPort(socket, &port), 1);
  return port;
}

// A port on which nobody listens.
int32_t freePort() {
  const int32_t socket = ZutSocketCreateServerTcpEx("127.0.0.1", 0);
  const int32_t port = portOf(socket);
  ZutWinCloseSocket(socket);
  return port;
}

class Socket : public testing::Test {
protected:
  void SetUp() override {
    ZutOutInit();
    listener = ZutSocketCreateServerTcpEx("127.0.0.1", 0);
    ASSERT_GE(listener, 0);
    port = portOf(listener);
  }
  void TearDown() override {
    for (int32_t socket : {client, server, listener}) {
      if (socket >= 0) ZutWinCloseSocket(socket);
    }
  }
  void connect() {
    client = ZutSocketConnectBeginTcp("localhost", port, 0);
    ASSERT_GE(client, 0);
    server = ZutSocketAccept(listener);
    ASSERT_GE(server, 0);
    ASSERT_EQ(ZutSocketConnectCompleteTcp(client, 5.0), 1);
  }

  int32_t listener = -1, client = -1, server = -1, port = 0;
  char buffer[64] = {};
};

} // namespace

TEST_F(Socket, ConnectsInTwoPhasesAndKnowsItsNames) {
  connect();
  char mine[22], peers[22];
  ASSERT_EQ(ZutSocketGetNameStr(client, 1, mine), 1);
  ASSERT_EQ(ZutSocketGetPeerNameStr(server, 1, peers), 1);
  EXPECT_STREQ(mine, peers);
  EXPECT_EQ(mine, "127.0.0.1:" + std::to_string(portOf(client)));
  ASSERT_TRUE(sendBytes(client, "four"));
  EXPECT_EQ(ZutSocketRecvAll(server, buffer, 4, 0), 4);
  EXPECT_STREQ(buffer, "four");
}

TEST_F(Socket, ArgumentsAreChecked) {
  const int32_t beyond = 65536 + port; // in 16 bits the listener's
  int32_t mode;
  ZutSocketAddr to;
  const struct {
    int32_t got, error, result, reason;
  } rows[] = {
      {ZutSocketConnectBeginTcp("localhost", 0, 0), ZutErrNumGet(), 0, 4},
      {ZutSocketConnectBeginTcp("localhost", beyond, 0), ZutErrNumGet(), 0, 5},
      {ZutSocketConnectBeginTcp(nullptr, 1, 0), ZutErrNumGet(), 0, 3},
      {ZutSocketCreateClientTcp("localhost", beyond), ZutErrNumGet(), -1, 5},
      {ZutSocketCreateServerTcpEx("_any", -2), ZutErrNumGet(), -1, 4},
      {ZutSocketCreateServerTcp(65536), ZutErrNumGet(), -1, 5},
      {ZutSocketCreateServerBcast(65536), ZutErrNumGet(), -1, 5},
      {ZutSocketCreateClientBcast("127.0.0.1", 65537, &to), ZutErrNumGet(), -1, 5},
      {ZutSocketConnectCompleteTcp(-1, 0.0), ZutErrNumGet(), 0, 7},
      {ZutSocketCheck(listener, 2, 0.0), ZutErrNumGet(), 0, 7},
      {ZutSocketCheck(listener, 0, -2.0), ZutErrNumGet(), 0, 4},
      {ZutSocketRecvAll(listener, buffer, 0, 0), ZutErrNumGet(), -1, 4},
      {ZutSocketGetBlockMode(listener, &mode), ZutErrNumGet(), 0, 8},
      {ZutSocketGetPeerNameStr(listener, 2, buffer), ZutErrNumGet(), 0, 7},
      {ZutSocketSetRecvBufSize(-1, 60000), ZutErrNumGet(), 0, 4},
  };
  for (const auto &row : rows) {
    EXPECT_TRUE(row.got == row.result && row.error == row.reason) << &row - rows;
  }
  EXPECT_EQ(ZutSocketCreateServerDecnet("object"), -1);
  EXPECT_EQ(ZutErrNumGetSocket(), 10043);
  EXPECT_EQ(ZutSocketConnectCompleteLocal(1), 1);
}

TEST_F(Socket, NobodyListensOrThePortIsTaken) {
  const int32_t nobody = freePort();
  const Capture capture;
  const int32_t socket = ZutSocketConnectBeginTcp("127.0.0.1", nobody, 0);
  if (socket >= 0) { // else the system knew at once
    EXPECT_EQ(ZutSocketConnectCompleteTcp(socket, 5.0), 0);
  }
  EXPECT_EQ(ZutErrNumGet(), 29);
  EXPECT_EQ(ZutErrNumGetSocket(), refused);
  EXPECT_EQ(ZutSocketCreateServerTcpEx("127.0.0.1", port), -1);
  EXPECT_EQ(ZutErrNumGetSocket(), inUse);
}

TEST_F(Socket, AddressesAndNodes) {
  const Capture capture;
  uint32_t address = 0;
  EXPECT_EQ(ZutSocketParseIpAddr("127.0.0.1", &address), 1);
  uint8_t bytes[4];
  std::memcpy(bytes, &address, 4);
  EXPECT_TRUE(bytes[0] == 127 && bytes[3] == 1);
  EXPECT_EQ(ZutSocketParseIpAddr("localhost", &address), 1);
  EXPECT_EQ(std::memcmp(bytes, &address, 4), 0);
  EXPECT_EQ(ZutSocketParseIpAddr("255.255.255.255", &address), 1);
  for (const char *form : {"127.0.1", "127.0.0.01"}) {
    ZutErrNumSetC(0);
    EXPECT_EQ(ZutSocketParseIpAddr(form, &address), 0) << form;
    EXPECT_EQ(ZutErrNumGetC(), 22) << form;
  }
  for (const char *none : {"", "300.1.1.1", "1.2.3.4.5"}) {
    EXPECT_EQ(ZutSocketParseIpAddr(none, &address), 0) << none;
    EXPECT_EQ(ZutErrNumGetSocket(), unreachable) << none;
  }
  int32_t same = 0;
  EXPECT_TRUE(ZutCompareNodeNames("Some.Where", "some.where", &same) && same == 1);
  EXPECT_TRUE(ZutCompareNodeNames("localhost", "127.0.0.1", &same) && same == 1);
  EXPECT_TRUE(ZutCompareNodeNames("127.0.0.2", "127.0.0.1", &same) && same == 0);
}

TEST_F(Socket, WaitsAndTimeOuts) {
  connect();
  EXPECT_EQ(ZutSocketCheck(server, 1, 0.0), 1);
  EXPECT_EQ(ZutSocketCheck(server, 0, 0.0), 0);
  EXPECT_EQ(ZutErrNumGet(), 9);
  ASSERT_TRUE(sendBytes(client, "abc"));
  int32_t late = -1;
  EXPECT_EQ(ZutSocketRecvTimeout(server, buffer, 8, 0, 0.05, &late), 3);
  EXPECT_EQ(late, 1);
  EXPECT_EQ(ZutSocketRecvTimeout(server, buffer, 8, 0, 0.05, &late), 0);
  EXPECT_EQ(late, 1);
  ASSERT_TRUE(sendUrgent(client)); // which no receiving here takes: a wait goes on to its end
  EXPECT_EQ(ZutSocketCheck(server, 0, 1.0), 0);
  EXPECT_EQ(ZutErrNumGet(), 29);
  EXPECT_EQ(ZutSocketRecvTimeout(server, buffer, 8, 0, 0.05, &late), 0);
  EXPECT_EQ(late, 1);
  ASSERT_TRUE(sendBytes(client, "end"));
  ZutWinCloseSocket(client);
  client = -1;
  EXPECT_EQ(ZutSocketRecvTimeout(server, buffer, 8, 0, 5.0, &late), 3);
  EXPECT_EQ(late, 0);
  EXPECT_EQ(ZutSocketRecvAll(server, buffer, 8, 0), 0);
  EXPECT_EQ(ZutSocketCheck(server, 0, -1.0), 1); // the end can be read for ever
}

TEST_F(Socket, PeerResetsOrTheSocketIsDead) {
  connect();
  const Capture capture;
  int32_t late = 0;
  EXPECT_EQ(ZutSocketRecvTimeout(server, buffer, 8, 0, -3.0, &late), -1);
  closeWithReset(client);
  client = -1;
  EXPECT_EQ(ZutSocketCheck(server, 0, 5.0), 1);
  const int32_t got = ZutSocketRecvAll(server, buffer, 8, 0);
  if (got != 0) { // some systems make a plain end of it
    EXPECT_EQ(got, -1);
    EXPECT_EQ(ZutErrNumGetSocket(), 10054);
  }
  for (int i = 0; i < 3; ++i) sendBytes(server, "to nobody"); // and the process lives
  closeBare(server);
  EXPECT_EQ(ZutSocketRecvTimeout(server, buffer, 8, 0, 0.2, &late), -1);
  EXPECT_EQ(ZutErrNumGet(), 29);
  server = -1;
}

TEST_F(Socket, AcceptWithoutWaiting) {
  ASSERT_EQ(ZutSocketSetBlockMode(listener, 0), 1);
  EXPECT_EQ(ZutSocketAccept(listener), -1);
  EXPECT_EQ(ZutErrNumGet(), 25);
  client = ZutSocketCreateClientTcp("127.0.0.1", port);
  ASSERT_EQ(ZutSocketCheck(listener, 0, 5.0), 1);
  server = ZutSocketAccept(listener); // which does not wait either
  EXPECT_EQ(ZutSocketRecvAll(server, buffer, 1, 0), -1);
  EXPECT_EQ(ZutErrNumGetSocket(), 10035);
}

TEST_F(Socket, OptionsReachTheSocket) {
  ZutOptionSetNumValue("_socket_buffer_size", 50000);
  connect();
  int32_t size = 0;
  EXPECT_EQ(ZutSocketGetSendBufSize(server, &size), 1);
  EXPECT_GE(size, 50000);
  EXPECT_EQ(ZutSocketGetRecvBufSize(client, &size), 1);
  EXPECT_GE(size, 50000);
  ZutOptionSetNumValue("_socket_buffer_size", 0);
  EXPECT_EQ(ZutSocketSetRecvBufSize(client, 60000), 1);
}

TEST_F(Socket, NoDescriptorIsLost) {
  const int32_t nobody = freePort();
  const Capture capture;
  connect();
  const int before = openDescriptors();
  const double closing = ZutOptionGetNumValue("_winsock_close_timeout");
  ZutOptionSetNumValue("_winsock_close_timeout", 0.5); // closes nothing, but what is not handed out
  EXPECT_EQ(ZutWinCloseSocket(client), -1);
  EXPECT_EQ(ZutSocketCheck(client, 1, 0.0), 1);
  ZutSocketAddr destination;
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(ZutSocketCreateServerTcpEx("1.2.3", 0), -1);
    EXPECT_EQ(ZutErrNumGetC(), 22);
    EXPECT_EQ(ZutSocketCreateServerTcpEx("192.0.2.1", 0), -1); // not an address of ours
    EXPECT_EQ(ZutSocketCreateServerTcp(port), -1);
    EXPECT_EQ(ZutSocketCreateClientTcp("127.0.0.1", nobody), -1);
    EXPECT_EQ(ZutSocketCreateClientBcast("1.2.3.4.5", 1, &destination), -1);
    EXPECT_EQ(ZutErrNumGetSocket(), unreachable);
  }
  ZutOptionSetNumValue("_winsock_close_timeout", closing);
  for (int i = 0; i < 1000; ++i) {
    const int32_t one = ZutSocketCreateClientTcp("127.0.0.1", port);
    const int32_t other = ZutSocketAccept(listener);
    ASSERT_TRUE(one >= 0 && other >= 0) << i;
    closeWithReset(one); // leaves no connection waiting for its end
    ZutWinCloseSocket(other);
  }
  EXPECT_LE(openDescriptors(), before + 2); // the system may keep something of its own
}

CHILD(exhausted) {
  ZutOutInit();
  const int32_t listener = ZutSocketCreateServerTcpEx("127.0.0.1", 0);
  const int32_t port = portOf(listener);
  if (!allowDescriptors(1)) std::exit(77);
  const int32_t client = ZutSocketCreateClientTcp("127.0.0.1", port);
  const int32_t none = ZutSocketAccept(listener);
  const int32_t reason = ZutErrNumGetSocket();
  allowDescriptors(1);
  const int32_t server = ZutSocketAccept(listener);
  ZutOut("%d %d %d", none, reason, client >= 0 && server >= 0);
}

TEST(SocketLimits, AcceptRecoversFromExhaustedDescriptors) {
  const Result result = runChild("exhausted");
  if (result.code == 77) GTEST_SKIP() << "descriptors cannot be limited here";
  EXPECT_EQ(result.out.substr(result.out.rfind('\n') + 1), "-1 10024 1");
}

TEST_F(Socket, SignalEndsCallsOnlyWhileTheCounterSaysStop) {
  connect();
  const Capture capture;
  int32_t got = 0, other = -1, accepted = -1, waited = -1, taken = -1;
  const bool possible = runInterrupted([&] { got = ZutSocketRecvAll(server, buffer, 4, 0); },
                                       [&] { sendBytes(client, "four"); });
  if (!possible) GTEST_SKIP() << "calls are not interrupted here";
  EXPECT_EQ(got, 4);
  runInterrupted([&] { accepted = ZutSocketAccept(listener); },
                 [&] { other = ZutSocketConnectBeginTcp("127.0.0.1", port, 1); });
  EXPECT_GE(accepted, 0);
  ZutOptionSetNumValue("_socket_listen_backlog", 0);
  const int32_t full = ZutSocketCreateServerTcpEx("_ANY", 0), target = portOf(full);
  ZutOptionSetNumValue("_socket_listen_backlog", 100);
  const int32_t first = ZutSocketCreateClientTcp("127.0.0.1", target); // a second one has to wait
  const auto hang = [&](double timeout) {
    runInterrupted([&] {
      const int32_t socket = ZutSocketConnectBeginTcp("127.0.0.1", target, 0);
      got = ZutSocketConnectCompleteTcp(socket, timeout);
    });
    return got ? 0 : ZutErrNumGetSocket();
  };
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(hang(0.3), timedOut);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(300));
  runInterrupted([&] { waited = ZutSocketConnectBeginTcp("127.0.0.1", target, 1); },
                 [&] { taken = ZutSocketAccept(full); });
  EXPECT_GE(waited, 0);
  ZutInterruptSet(1);
  EXPECT_EQ(hang(5.0), interrupted);
  runInterrupted([&] { got = ZutSocketCheck(listener, 0, 5.0); });
  EXPECT_TRUE(got == 0 && ZutErrNumGet() == 16) << ZutErrNumGet();
  ZutInterruptReset();
  for (int32_t socket : {accepted, other, full, first, waited, taken}) ZutWinCloseSocket(socket);
}

TEST_F(Socket, Broadcast) {
  const int32_t receiver = ZutSocketCreateServerBcast(0);
  ASSERT_GE(receiver, 0);
  ZutSocketAddr destination;
  const int32_t sender = ZutSocketCreateClientBcast("127.0.0.1", portOf(receiver), &destination);
  ASSERT_GE(sender, 0);
  EXPECT_EQ(destination.family, 2);
  ASSERT_TRUE(sendDatagram(sender, &destination, "hello"));
  ASSERT_EQ(ZutSocketCheck(receiver, 0, 5.0), 1);
  EXPECT_EQ(ZutSocketRecvAll(receiver, buffer, 5, 0), 5);
  EXPECT_STREQ(buffer, "hello");
  ZutWinCloseSocket(sender);
  ZutWinCloseSocket(receiver);
}
