// Pipes, and a storm of signals, for the tests.
#pragma once

#include <atomic>
#include <csignal>
#include <thread>

#ifdef _WIN32
#  include <fcntl.h>
#  include <io.h>
#else
#  include <unistd.h>
#endif

struct Pipe {
  int in = -1; // to read from
  int out = -1;

  Pipe() {
    int ends[2];
#ifdef _WIN32
    if (_pipe(ends, 4096, _O_BINARY) != 0) return;
#else
    if (pipe(ends) != 0) return;
#endif
    in = ends[0];
    out = ends[1];
  }
  ~Pipe() {
    close(in);
    close(out);
  }
  Pipe(const Pipe &) = delete;
  Pipe &operator=(const Pipe &) = delete;
};

// While it lives, another thread sends the process SIGINT and, where there is such a thing, a
// signal that breaks off what the main thread waits for in the system.
class SignalStorm {
public:
  SignalStorm() {
#ifndef _WIN32
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
#endif
    thread_ = std::thread([this] {
      while (!over_) {
#ifdef _WIN32
        std::raise(SIGINT);
#else
        kill(getpid(), SIGINT);
        kill(getpid(), SIGUSR1);
#endif
        ++count_;
      }
    });
  }
  ~SignalStorm() {
    over_ = true;
    thread_.join();
  }
  long count() const { return count_; }

private:
  std::atomic<bool> over_{false};
  std::atomic<long> count_{0};
  std::thread thread_;
};
