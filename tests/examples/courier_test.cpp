// Couriers that talk to each other, and peers that do not play by the rules.
#include "support/child.h"
#include "support/net.h"

#include <future>

namespace {

// Connects as soon as there is a listener.
int32_t connectTo(int32_t port) {
  const Capture capture;
  int32_t socket = -1;
  for (int tries = 0; socket < 0 && tries < 200; ++tries) {
    socket = ZutSocketCreateClientTcp("127.0.0.1", port);
    if (socket < 0) ZutSleep(0.05);
  }
  EXPECT_GE(socket, 0);
  return socket;
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

void expectTexts(const Result &result, const std::vector<std::string> &texts) {
  for (const std::string &text : texts) {
    EXPECT_NE(result.out.find(text), std::string::npos) << text << "\n" << result.out << result.err;
  }
}

class Courier : public testing::Test {
protected:
  void SetUp() override {
    ZutOutInit();
    const int32_t socket = ZutSocketCreateServerTcpEx("127.0.0.1", 0);
    ASSERT_EQ(ZutSocketGetPort(socket, &port), 1);
    ZutWinCloseSocket(socket);
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
  auto client = courier("setopt Compression true\nconnect localhost " + name +
                        "\nsend \"first of two\"\nsetopt Compression false\n"
                        "send \"\"\nsend second\n"
                        "await 1 20\nstats\ndisconnect\n");
  const Result said = client.get(), heard = server.get();
  EXPECT_EQ(said.code + heard.code, 0);
  expectTexts(heard, {"says: first of two", "says: second", "received 3 messages"});
  expectTexts(said, {"says: well received", "sent 3 messages"});
  ZutWinCloseSocket(watcher);
}

TEST_F(Courier, BadPeersAreDroppedAndDisturbNoOther) {
  auto server = courier("setopt courier_patience 1\nsetopt courier_silence 2\nlisten " + name +
                        "\nawait 2 30\n_sleep 3\nclients\n");
  const int32_t good = connectTo(port);
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
  EXPECT_EQ(heard.code, 0);
  expectTexts(heard, {"says: still\xC3\xA9 \\x1b[2J\\xc2\\x9b\\xff\\x0ahere\n", "says: and again",
                      "dropped: this is no message", "dropped: half a message",
                      "dropped: a message that cannot be unpacked", "dropped: silent for too long",
                      "0 connected"});
  sockets.push_back(good);
  for (const int32_t socket : sockets) ZutWinCloseSocket(socket);
}

TEST_F(Courier, ASlowReaderDelaysNoOther) {
  std::string commands = "setopt _socket_buffer_size 65536\nlisten " + name +
                         "\nlisten 99999\nawait 2 20\n"; // the first one goes on
  const std::string big(3000, 'x');
  for (int i = 0; i < 1000; ++i) commands += "broadcast \"" + big + "\"\n";
  commands += "await 3 30\nsetopt courier_max_queue 10\nbroadcast more\n";
  auto server = courier(commands);
  const int32_t slow = connectTo(port), quick = connectTo(port);
  sendBytes(slow, message("I read nothing"));
  sendBytes(quick, message("I read it all"));
  std::string received(1000 * (big.size() + 5), '\0');
  int32_t late = 0;
  const auto size = static_cast<int32_t>(received.size());
  EXPECT_EQ(ZutSocketRecvTimeout(quick, received.data(), size, 0, 20.0, &late), size);
  sendBytes(quick, message("All of it"));
  const Result said = server.get();
  EXPECT_EQ(said.code, 1);
  expectTexts(said, {"cannot listen", "dropped: it reads too slowly"});
  for (int32_t socket : {quick, slow}) ZutWinCloseSocket(socket);
}
