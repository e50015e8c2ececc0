// Pointer arrays against std::vector and the heap algorithms.
#include "support/row.h"
#include "zut.h"

#include <algorithm>
#include <random>
#include <vector>

namespace {

constexpr int32_t items = 100000;

int32_t Z_CALL compare(ZutWord a, ZutWord b) { return a < b ? -1 : a > b; }

std::vector<ZutWord> randomItems() {
  std::mt19937 random(1);
  std::vector<ZutWord> made(items);
  for (ZutWord &item : made) item = static_cast<ZutWord>(random());
  return made;
}

void appendOurs(benchmark::State &state) {
  for (auto _ : state) {
    ZutPtrAry *array = ZutPtrAryCreate(1024);
    for (int32_t i = 0; i < items; ++i) ZutPtrAryAppend(array, i, nullptr);
    benchmark::DoNotOptimize(array->items);
    ZutPtrAryDestroy(array, nullptr, 0);
  }
}

void appendVector(benchmark::State &state) {
  for (auto _ : state) {
    std::vector<ZutWord> array;
    for (int32_t i = 0; i < items; ++i) array.push_back(i);
    benchmark::DoNotOptimize(array.data());
  }
}

void sortOurs(benchmark::State &state) {
  const std::vector<ZutWord> unsorted = randomItems();
  ZutPtrAry *array = ZutPtrAryCreate(items);
  for (ZutWord item : unsorted) ZutPtrAryAppend(array, item, nullptr);
  for (auto _ : state) {
    std::copy(unsorted.begin(), unsorted.end(), array->items);
    ZutPtrArySort(array, compare);
  }
  ZutPtrAryDestroy(array, nullptr, 0);
}

void sortStd(benchmark::State &state) {
  const std::vector<ZutWord> unsorted = randomItems();
  std::vector<ZutWord> array(items);
  for (auto _ : state) {
    std::copy(unsorted.begin(), unsorted.end(), array.begin());
    std::make_heap(array.begin(), array.end());
    std::sort_heap(array.begin(), array.end());
    benchmark::DoNotOptimize(array.data());
  }
}

} // namespace

void addRows() {
  Row("pointer array: append", "1e5").ours(appendOurs).peer("std::vector", appendVector);
  Row("pointer array: sort", "1e5").ours(sortOurs).peer("std::sort_heap", sortStd);
}
