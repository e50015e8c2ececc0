// Sockets, on loopback only.
#include "support/child.h"
#include "support/errors.h"
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

// A port without a listener.
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
    server = ZutSocketAccept(listener);
    ASSERT_TRUE(client >= 0 && server >= 0);
    ASSERT_EQ(ZutSocketConnectCompleteTcp(client, 5.0), 1);
  }

  const Capture capture;
  int32_t listener = -1, client = -1, server = -1, port = 0;
  char buffer[64] = {};
};

} // namespace

TEST_F(Socket, ConnectsInTwoPhasesAndKnowsItsNames) {
  connect();
  char mine[22], peers[22];
  ASSERT_EQ(ZutSocketGetNameStr(client, 1, mine) + ZutSocketGetPeerNameStr(server, 1, peers), 2);
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
  EXPECT_ERROR(4, ZutSocketConnectBeginTcp("localhost", 0, 0));
  EXPECT_ERROR(5, ZutSocketConnectBeginTcp("localhost", beyond, 0));
  EXPECT_ERROR(5, ZutSocketCreateClientTcp("localhost", beyond));
  EXPECT_ERROR(4, ZutSocketCreateServerTcpEx("_any", -2));
  EXPECT_ERROR(5, ZutSocketCreateServerTcp(65536));
  EXPECT_ERROR(5, ZutSocketCreateServerBcast(65536));
  EXPECT_ERROR(5, ZutSocketCreateClientBcast("127.0.0.1", 65537, &to));
  EXPECT_ERROR(7, ZutSocketConnectCompleteTcp(-1, 0.0));
  EXPECT_ERROR(7, ZutSocketCheck(listener, 2, 0.0));
  EXPECT_ERROR(4, ZutSocketCheck(listener, 0, -2.0));
  EXPECT_ERROR(4, ZutSocketRecvAll(listener, buffer, 0, 0));
  EXPECT_ERROR(8, ZutSocketGetBlockMode(listener, &mode));
  EXPECT_ERROR(7, ZutSocketGetPeerNameStr(listener, 2, buffer));
  EXPECT_ERROR(4, ZutSocketSetRecvBufSize(-1, 60000));
  EXPECT_EQ(ZutSocketCreateServerDecnet("object"), -1);
  EXPECT_EQ(ZutErrNumGetSocket(), 10043);
}

TEST_F(Socket, APortIsClosedOrTaken) {
  const int32_t socket = ZutSocketConnectBeginTcp("127.0.0.1", freePort(), 0);
  EXPECT_FALSE(socket >= 0 && ZutSocketConnectCompleteTcp(socket, 5.0)); // or it was known at once
  EXPECT_TRUE(ZutErrNumGet() == 29 && ZutErrNumGetSocket() == refused);
  EXPECT_ERROR(29, ZutSocketCreateServerTcpEx("127.0.0.1", port));
  EXPECT_EQ(ZutErrNumGetSocket(), inUse);
}

TEST_F(Socket, AddressesAndNodes) {
  uint32_t address = 0;
  for (const char *text : {"127.0.0.1", "localhost"}) {
    EXPECT_EQ(ZutSocketParseIpAddr(text, &address), 1);
    EXPECT_EQ(std::memcmp(&address, "\x7f\0\0\1", 4), 0) << text;
  }
  EXPECT_EQ(ZutSocketParseIpAddr("255.255.255.255", &address), 1);
  for (const char *form : {"127.0.1", "127.0.0.01"}) {
    ZutErrNumSetC(0);
    EXPECT_TRUE(!ZutSocketParseIpAddr(form, &address) && ZutErrNumGetC() == 22) << form;
  }
  for (const char *none : {"", "300.1.1.1", "1.2.3.4.5"}) {
    EXPECT_ERROR(29, ZutSocketParseIpAddr(none, &address)) << none;
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
  EXPECT_ERROR(9, ZutSocketCheck(server, 0, 0.0));
  int32_t late = -1;
  const auto got = [&](double timeout) {
    return ZutSocketRecvTimeout(server, buffer, 8, 0, timeout, &late) + late * 100;
  };
  ASSERT_TRUE(sendBytes(client, "abc"));
  EXPECT_EQ(got(0.05), 103);
  EXPECT_EQ(got(0.05), 100);
  ASSERT_TRUE(sendUrgent(client)); // which no receiving here takes: a wait goes on to its end
  EXPECT_ERROR(29, ZutSocketCheck(server, 0, 1.0));
  EXPECT_EQ(got(0.05), 100);
  ASSERT_TRUE(sendBytes(client, "end"));
  ZutWinCloseSocket(client);
  client = -1;
  EXPECT_EQ(got(5.0), 3);
  EXPECT_EQ(ZutSocketRecvAll(server, buffer, 8, 0), 0);
  EXPECT_EQ(ZutSocketCheck(server, 0, -1.0), 1); // the end can be read for ever
}

TEST_F(Socket, PeerResetsOrTheSocketIsDead) {
  connect();
  int32_t late = 0;
  EXPECT_EQ(ZutSocketRecvTimeout(server, buffer, 8, 0, -3.0, &late), -1);
  closeWithReset(client);
  client = -1;
  EXPECT_EQ(ZutSocketCheck(server, 0, 5.0), 1);
  const int32_t got = ZutSocketRecvAll(server, buffer, 8, 0);
  if (got != 0) { // some systems make a plain end of it
    EXPECT_TRUE(got == -1 && ZutErrNumGetSocket() == 10054);
  }
  for (int i = 0; i < 3; ++i) sendBytes(server, "lost"); // and the process lives
  closeBare(server);
  EXPECT_ERROR(29, ZutSocketRecvTimeout(server, buffer, 8, 0, 0.2, &late));
  server = -1;
}

TEST_F(Socket, AcceptWithoutWaiting) {
  ASSERT_EQ(ZutSocketSetBlockMode(listener, 0), 1);
  EXPECT_ERROR(25, ZutSocketAccept(listener));
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
  EXPECT_TRUE(ZutSocketGetSendBufSize(server, &size) == 1 && size >= 50000) << size;
  EXPECT_TRUE(ZutSocketGetRecvBufSize(client, &size) == 1 && size >= 50000) << size;
  ZutOptionSetNumValue("_socket_buffer_size", 0);
  EXPECT_EQ(ZutSocketSetRecvBufSize(client, 60000), 1);
}

TEST_F(Socket, NoDescriptorIsLost) {
  const int32_t closed = freePort();
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
    EXPECT_EQ(ZutSocketCreateClientTcp("127.0.0.1", closed), -1);
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

TEST_F(Socket, AcceptRecoversFromExhaustedDescriptors) {
  if (!allowDescriptors(1)) GTEST_SKIP() << "descriptors cannot be limited here";
  client = ZutSocketCreateClientTcp("127.0.0.1", port);
  EXPECT_ERROR(29, ZutSocketAccept(listener));
  EXPECT_EQ(ZutErrNumGetSocket(), 10024);
  allowDescriptors(1000);
  server = ZutSocketAccept(listener);
  EXPECT_TRUE(client >= 0 && server >= 0);
}

TEST_F(Socket, SignalEndsCallsOnlyWhileTheCounterSaysStop) {
  connect();
  int32_t got = 0, other = -1, accepted = -1, waited = -1, taken = -1;
  const bool possible = runInterrupted([&] { got = ZutSocketRecvAll(server, buffer, 4, 0); },
                                       [&] { sendBytes(client, "four"); });
  if (!possible) GTEST_SKIP() << "calls are not interrupted here";
  runInterrupted([&] { accepted = ZutSocketAccept(listener); },
                 [&] { other = ZutSocketConnectBeginTcp("127.0.0.1", port, 1); });
  EXPECT_TRUE(got == 4 && accepted >= 0);
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
  ZutSocketAddr to;
  const int32_t sender = ZutSocketCreateClientBcast("127.0.0.1", portOf(receiver), &to);
  ASSERT_TRUE(receiver >= 0 && sender >= 0 && to.family == 2);
  ASSERT_TRUE(sendDatagram(sender, &to, "hello"));
  ASSERT_EQ(ZutSocketCheck(receiver, 0, 5.0), 1);
  EXPECT_EQ(ZutSocketRecvAll(receiver, buffer, 5, 0), 5);
  EXPECT_STREQ(buffer, "hello");
  ZutWinCloseSocket(sender);
  ZutWinCloseSocket(receiver);
}
