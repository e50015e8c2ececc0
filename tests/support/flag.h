// A flag that threads wait for. The C++ library's atomic wait loses wake-ups on Windows.
#pragma once

#include <condition_variable>
#include <mutex>

class Flag {
public:
  void set(bool value = true) {
    const std::lock_guard guard(lock_);
    value_ = value;
    changed_.notify_all();
  }
  bool get() {
    const std::lock_guard guard(lock_);
    return value_;
  }
  void wait(bool value = true) {
    std::unique_lock guard(lock_);
    changed_.wait(guard, [&] { return value_ == value; });
  }

private:
  std::mutex lock_;
  std::condition_variable changed_;
  bool value_ = false;
};
