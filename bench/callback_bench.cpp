// Firing an event against std::function in a vector under std::shared_mutex and against
// boost::signals2.
#include "support/row.h"
#include "zut.h"

#include <boost/signals2.hpp>

#include <functional>
#include <mutex>
#include <shared_mutex>
#include <vector>

namespace {

int64_t sum = 0;

void Z_CALL addArgument(void *, void *, ZutWord argument) { sum += argument; }

ZutCbType *theType() {
  static ZutCbType *const type = ZutCbTypeCreate(7001, nullptr);
  return type;
}

ZutCbList *newList(void *owner, int count) {
  ZutCbList *list = ZutCbListCreate(theType(), owner);
  for (int i = 1; i <= count; ++i) ZutCbListCbCreate(list, addArgument, i);
  return list;
}

Row::Function fireOurs(int count) {
  return [count](benchmark::State &state) {
    int owner = 0;
    ZutCbList *list = newList(&owner, count);
    ZutCbCallData data{};
    for (auto _ : state) ZutCbListCall(list, &owner, &data);
    benchmark::DoNotOptimize(sum);
    ZutCbListDestroy(list);
  };
}

void mergeOurs(benchmark::State &state) {
  int owner = 0;
  ZutCbList *own = newList(&owner, 8), *global = newList(nullptr, 8);
  ZutCbCallData data{};
  for (auto _ : state) ZutCbMergeCall(own, global, &owner, &data);
  benchmark::DoNotOptimize(sum);
  ZutCbListDestroy(own);
  ZutCbListDestroy(global);
}

struct Listeners {
  explicit Listeners(int count) {
    for (int i = 1; i <= count; ++i)
      list.push_back([i](void *owner, void *data) { addArgument(owner, data, i); });
  }
  std::vector<std::function<void(void *, void *)>> list;
  std::shared_mutex mutex;
};

Row::Function fireStd(int count) {
  return [count](benchmark::State &state) {
    Listeners own(count);
    ZutCbCallData data{};
    for (auto _ : state) {
      const std::shared_lock guard(own.mutex);
      for (const auto &function : own.list) function(&own, &data);
    }
    benchmark::DoNotOptimize(sum);
  };
}

void mergeStd(benchmark::State &state) {
  Listeners own(8), global(8);
  ZutCbCallData data{};
  for (auto _ : state) {
    const std::shared_lock ownGuard(own.mutex);
    const std::shared_lock globalGuard(global.mutex);
    for (const auto &function : own.list) function(&own, &data);
    for (const auto &function : global.list) function(&own, &data);
  }
  benchmark::DoNotOptimize(sum);
}

Row::Function fireSignal(int count) {
  return [count](benchmark::State &state) {
    boost::signals2::signal<void(void *, void *)> signal;
    for (int i = 1; i <= count; ++i)
      signal.connect([i](void *owner, void *data) { addArgument(owner, data, i); });
    ZutCbCallData data{};
    for (auto _ : state) signal(&signal, &data);
    benchmark::DoNotOptimize(sum);
  };
}

} // namespace

void addRows() {
  for (int count : {1, 8, 64}) {
    Row("callback: fire", std::to_string(count))
        .ours(fireOurs(count))
        .peer("std::function, shared_mutex", fireStd(count));
    Row("callback: fire, signals2", std::to_string(count))
        .ours(fireOurs(count))
        .peer("boost::signals2", fireSignal(count));
  }
  Row("callback: merged lists", "8 + 8")
      .ours(mergeOurs)
      .peer("std::function, shared_mutex", mergeStd);
}
