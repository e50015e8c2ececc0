// courier: sends messages between programs over TCP, server and client in one, driven by commands
// at the library's prompt, in a start-up file (courier.cm) or in the files named as arguments.
//
//   listen [PORT]       takes connections (port 4100 when none is given, the system's choice for 0)
//   connect NODE PORT   makes one
//   send TEXT           to the newest connection; texts of several words stand in quotes
//   broadcast TEXT      to all
//   await COUNT SECONDS waits until so many messages have come in all, for scripts
//   clients, stats      the connections; what they carried
//   disconnect [NUMBER] ends one connection or all
//
// Options: Compression (compress what is sent), courier_max_size and compression_max_size (the
// longest message, as received and unpacked), courier_max_queue (messages that may wait for one
// peer to read), courier_patience (seconds a message may pause), courier_silence (seconds a peer
// may say nothing), trace_level_courier, trace_file_courier.
#include "connection.h"

#include <atomic>
#include <cstring>

namespace {

constexpr int32_t defaultPort = 4100;
constexpr double glance = 0.25;

int32_t listener = -1; // the main thread's and, until it ends, the listening thread's
int32_t listenerPort = 0;
ZutThreadId listenerThread = 0;
std::atomic<bool> listens{false};
std::atomic<int32_t> arrivals{0};

bool atEnd(const ZutLexer *lexer) {
  return lexer->token == Z_LEX_END || lexer->token == Z_LEX_SEMICOLON;
}

// For a text that is no port: a number that the library refuses.
int32_t portOf(double number) {
  constexpr int32_t beyond = 65536;
  return number < beyond ? static_cast<int32_t>(number) : beyond;
}

ZutWord Z_CALL takeConnections(ZutWord) {
  while (listens) {
    if (!ZutSocketCheck(listener, 0, glance)) continue;
    const int32_t socket = ZutSocketAccept(listener);
    if (socket >= 0) connectionBegin(socket);
    else ZutSleep(glance); // descriptors are used up, say
  }
  return 0;
}

void stopListening() {
  if (!listens) return;
  listens = false;
  ZutThreadWait(listenerThread, nullptr);
  ZutWinCloseSocket(listener);
}

// The old listener goes on until the new socket is open.
bool startListening(int32_t port) {
  const int32_t socket = ZutSocketCreateServerTcp(port);
  if (socket < 0) return false;
  stopListening();
  listener = socket;
  ZutSocketGetPort(listener, &listenerPort);
  listens = true;
  listenerThread = ZutThreadCreate(takeConnections, 0, 0);
  return true;
}

void Z_CALL listenCommand(ZutLexer *lexer) {
  int32_t port = defaultPort;
  if (!atEnd(lexer)) {
    ZutLexAcceptUnsignedInt(lexer);
    port = portOf(lexer->number_value);
  }
  const bool already = listens && port == listenerPort;
  if (!already && !startListening(port)) {
    ZutOut("cannot listen: %s\n", ZutErrNumToStr(ZutErrNumGet()));
    ZutCommandFailed();
    return;
  }
  ZutOut("listening on port %d\n", listenerPort);
}

void Z_CALL connectCommand(ZutLexer *lexer) {
  char node[256] = "";
  ZutLexAcceptFileName(lexer);
  std::strncpy(node, lexer->string_value.str, sizeof node - 1);
  ZutLexAcceptUnsignedInt(lexer);
  const int32_t socket = ZutSocketCreateClientTcp(node, portOf(lexer->number_value));
  if (socket >= 0) {
    connectionBegin(socket);
  } else {
    ZutOut("cannot connect to %s: %s\n", node, ZutErrNumToStr(ZutErrNumGet()));
    ZutCommandFailed();
  }
}

void tellReached(int32_t count) {
  ZutCommandPrintFeedback("given to %d\n", count);
  if (count > 0) return;
  ZutOut("there is no connection\n");
  ZutCommandFailed();
}

void Z_CALL sendCommand(ZutLexer *lexer) {
  ZutLexAcceptFileName(lexer);
  tellReached(connectionSend(lexer->string_value.str));
}

void Z_CALL broadcastCommand(ZutLexer *lexer) {
  ZutLexAcceptFileName(lexer);
  tellReached(connectionBroadcast(lexer->string_value.str));
}

void Z_CALL awaitCommand(ZutLexer *lexer) {
  ZutLexAcceptUnsignedInt(lexer);
  const double count = lexer->number_value;
  ZutLexAcceptSignedReal(lexer);
  const double end = ZutGetWallTime() + lexer->number_value;
  while (arrivals < count && ZutGetWallTime() < end) ZutSleep(0.01);
  if (arrivals >= count) return;
  ZutOut("only %d of %.0f messages came\n", arrivals.load(), count);
  ZutCommandFailed();
}

void Z_CALL clientsCommand(ZutLexer *) { connectionsPrint(); }

void Z_CALL statsCommand(ZutLexer *) { connectionsPrintStats(); }

void Z_CALL disconnectCommand(ZutLexer *lexer) {
  if (atEnd(lexer)) {
    connectionsEnd();
    return;
  }
  ZutLexAcceptUnsignedInt(lexer);
  const double number = lexer->number_value;
  if (number <= 1e9 && connectionEnd(static_cast<int32_t>(number))) return;
  ZutOut("there is no connection %.0f\n", number);
  ZutCommandFailed();
}

void Z_CALL printArrival(void *, void *data, ZutWord) {
  const auto &arrival = *static_cast<const Arrival *>(data);
  ZutOut("%s says: %s\n", arrival.from, arrival.text);
}

void Z_CALL countArrival(void *, void *, ZutWord) { ++arrivals; }

void Z_CALL leave(void *, void *, ZutWord) {
  stopListening();
  connectionsEnd();
}

// Some names are those of built-in commands, which they replace.
void makeCommand(const char *name, ZutCommandFunc function) {
  if (!ZutCommandCreate(name, function)) ZutCommandSetParseFunc(ZutCommandLookup(name), function);
}

} // namespace

int main(int argc, char **argv) {
  ZutPutenv("VNDEBUGFILENAME=stderr"); // no debug file in the working directory
  ZutInit("courier");
  ZutInitThreads();
  ZutOutInit();
  connectionsInit();
  ZutCbType *type = ZutCbTypeNumLookup(arrivalType);
  ZutCbCreateGlobal(type, printArrival, 0);
  ZutCbCreateGlobal(type, countArrival, 0);
  ZutQuitCbCreate(leave, 0);
  makeCommand("listen", listenCommand);
  makeCommand("connect", connectCommand);
  makeCommand("send", sendCommand);
  makeCommand("broadcast", broadcastCommand);
  makeCommand("await", awaitCommand);
  makeCommand("clients", clientsCommand);
  makeCommand("stats", statsCommand);
  makeCommand("disconnect", disconnectCommand);
  ZutCommandParseStd2("courier", 0, "courier.cm", 0);
  for (int i = 1; i < argc; ++i) ZutCommandParseFile(argv[i]);
  ZutCommandMainLoop();
  leave(nullptr, nullptr, 0);
  ZutExit(ZutCommandGetFailures() > 0 ? 1 : 0);
}
