// Couriers that talk to each other, and peers that do not play by the rules.
#include "support/child.h"
#include "support/net.h"

#include <future>

namespace {

int32_t freePort() {
  const int32_t socket = ZutSocketCreateServerTcpEx("127.0.0.1", 0);
  int32_t port = 0;
  EXPECT_EQ(ZutSocketGetPort(socket, &port), 1);
  ZutWinCloseSocket(socket);
  return port;
}

// Connects as soon as somebody listens.
int32_t connectTo(int32_t port) {
  const Capture capture;
  for (int tries = 0; tries < 200; ++tries) {
    const int32_t socket = ZutSocketCreateClientTcp("127.0.0.1", port);
    if (socket >= 0) return socket;
    ZutSleep(0.05);
  }
  return -1;
}

std::future<Result> courier(const std::string &commands) {
  return std::async(std::launch::async,
                    [commands] { return runProgram("courier", {}, {}, commands); });
}

std::string message(const std::string &text, char kind = 0) {
  std::string bytes(5, '\0');
  bytes[2] = static_cast<char>(text.size() >> 8);
  bytes[3] = static_cast<char>(text.size());
  bytes[4] = kind;
  return bytes + text;
}

bool has(const Result &result, const std::string &text) {
  return result.out.find(text) != std::string::npos;
}

class Courier : public testing::Test {
protected:
  void SetUp() override {
    ZutOutInit();
    port = freePort();
    name = std::to_string(port);
  }
  int32_t port = 0;
  std::string name;
};

} // namespace

TEST_F(Courier, TwoTalkCompressedAndPlain) {
  auto server = courier("listen " + name + "\nawait 3 20\nsetopt Compression true\n" +
                        "broadcast \"well received\"\nstats\nclients\n");
  const int32_t watcher = connectTo(port); // from here on the server listens
  ASSERT_GE(watcher, 0);
  auto client = courier("setopt Compression true\nconnect localhost " + name +
                        "\nsend \"first of two\"\nsetopt Compression false\n"
                        "send \"\"\nsend second\n"
                        "await 1 20\nstats\ndisconnect\n");
  const Result said = client.get(), heard = server.get();
  EXPECT_EQ(said.code, 0) << said.out << said.err;
  EXPECT_EQ(heard.code, 0) << heard.out << heard.err;
  EXPECT_TRUE(has(heard, "says: first of two") && has(heard, "says: second")) << heard.out;
  EXPECT_TRUE(has(said, "says: well received")) << said.out;
  EXPECT_TRUE(has(heard, "received 3 messages")) << heard.out;
  EXPECT_TRUE(has(said, "sent 3 messages")) << said.out;
  ZutWinCloseSocket(watcher);
}

TEST_F(Courier, BadPeersAreDroppedAndDisturbNobody) {
  auto server = courier("setopt courier_patience 1\nsetopt courier_silence 2\nlisten " + name +
                        "\nawait 2 30\n_sleep 3\nclients\n");
  const int32_t good = connectTo(port);
  ASSERT_GE(good, 0);
  const std::string bads[] = {
      "GET / HTTP/1.0\r\n\r\n",          // no message of ours
      std::string("\x80\0\0\0\0abc", 8), // 2 GiB to come
      message("never finished").substr(0, 9),
      message("not compressed at all", 1),
  };
  std::vector<int32_t> sockets{connectTo(port)}; // says nothing
  for (const std::string &bad : bads) {
    sockets.push_back(connectTo(port));
    EXPECT_TRUE(sendBytes(sockets.back(), bad));
  }
  const int32_t resetting = connectTo(port);
  sendBytes(resetting, message("in the middle").substr(0, 7));
  closeWithReset(resetting);
  EXPECT_TRUE(sendBytes(good, message("still\xC3\xA9 \x1b[2J\xC2\x9B\xFF\nhere")));
  EXPECT_TRUE(sendBytes(good, message("and again")));
  const Result heard = server.get();
  EXPECT_EQ(heard.code, 0) << heard.out << heard.err;
  EXPECT_TRUE(has(heard, "says: still\xC3\xA9 \\x1b[2J\\xc2\\x9b\\xff\\x0ahere\n")) << heard.out;
  EXPECT_TRUE(has(heard, "says: and again")) << heard.out;
  for (const char *why : {"this is no message", "half a message",
                          "a message that cannot be unpacked", "silent for too long"}) {
    EXPECT_TRUE(has(heard, std::string("dropped: ") + why)) << why << "\n" << heard.out;
  }
  EXPECT_TRUE(has(heard, "0 connected")) << heard.out;
  sockets.push_back(good);
  for (const int32_t socket : sockets) ZutWinCloseSocket(socket);
}

TEST_F(Courier, SlowReaderHoldsUpNobody) {
  std::string commands = "setopt _socket_buffer_size 65536\nlisten " + name +
                         "\nlisten 99999\nawait 2 20\n"; // the first one goes on
  const std::string big(3000, 'x');
  for (int i = 0; i < 1000; ++i) commands += "broadcast \"" + big + "\"\n";
  commands += "await 3 30\nsetopt courier_max_queue 10\nbroadcast more\n";
  auto server = courier(commands);
  const int32_t slow = connectTo(port), quick = connectTo(port);
  ASSERT_TRUE(slow >= 0 && quick >= 0);
  sendBytes(slow, message("I read nothing"));
  sendBytes(quick, message("I read it all"));
  std::string received(1000 * (big.size() + 5), '\0');
  int32_t late = 0;
  EXPECT_EQ(ZutSocketRecvTimeout(quick, received.data(), static_cast<int32_t>(received.size()), 0,
                                 20.0, &late),
            static_cast<int32_t>(received.size()));
  sendBytes(quick, message("All of it"));
  const Result said = server.get();
  EXPECT_EQ(said.code, 1);
  EXPECT_TRUE(has(said, "cannot listen") && has(said, "dropped: it reads too slowly")) << said.out;
  for (int32_t socket : {quick, slow}) ZutWinCloseSocket(socket);
}
