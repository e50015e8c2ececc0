#include "support/net.h"

#ifdef _WIN32
#  include <winsock2.h>
#else
#  include <atomic>
#  include <chrono>
#  include <filesystem>
#  include <pthread.h>
#  include <signal.h>
#  include <sys/resource.h>
#  include <sys/socket.h>
#  include <thread>
#  include <unistd.h>
#endif

bool sendBytes(int32_t socket, const std::string &bytes) {
  const auto size = static_cast<int>(bytes.size());
  return send(socket, bytes.data(), size, 0) == size; // which waits until all is taken
}

bool sendUrgent(int32_t socket) { return send(socket, "!", 1, MSG_OOB) == 1; }

bool sendDatagram(int32_t socket, const void *destination, const std::string &bytes) {
  return sendto(socket, bytes.data(), static_cast<int>(bytes.size()), 0,
                static_cast<const sockaddr *>(destination), 16) == static_cast<int>(bytes.size());
}

void closeWithReset(int32_t socket) {
  const linger now{1, 0};
  setsockopt(socket, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char *>(&now), sizeof now);
  closeBare(socket);
}

#ifdef _WIN32
void closeBare(int32_t socket) { closesocket(static_cast<SOCKET>(socket)); }

int openDescriptors() {
  DWORD count = 0;
  GetProcessHandleCount(GetCurrentProcess(), &count);
  return static_cast<int>(count);
}

bool allowDescriptors(int) { return false; }
bool runInterrupted(const std::function<void()> &, const std::function<void()> &) { return false; }
#else
void closeBare(int32_t socket) { close(socket); }

int openDescriptors() {
  return static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

bool allowDescriptors(int count) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  const int next = dup(0); // the lowest free one
  close(next);
  limit.rlim_cur = static_cast<rlim_t>(next + count);
  return setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

bool runInterrupted(const std::function<void()> &function, const std::function<void()> &later) {
  static std::atomic<int> caught;
  caught = 0;
  struct sigaction action = {};
  action.sa_handler = [](int) { ++caught; };
  sigaction(SIGUSR1, &action, nullptr);
  std::atomic<bool> done{false};
  std::thread storm([&, here = pthread_self()] {
    for (bool over = false; !done; std::this_thread::sleep_for(std::chrono::milliseconds(5))) {
      pthread_kill(here, SIGUSR1);
      if (caught >= 3 && !over) later(), over = true;
    }
  });
  function();
  done = true;
  storm.join();
  return true;
}
#endif
