#include "support/row.h"

#include "zut.h"

#include <utility>

Row::Row(const std::string &row, const std::string &parameter)
    : prefix_(row + "/" + parameter + "/") {}

Row &Row::threads(int count) {
  threads_ = count;
  return clock();
}

Row &Row::clock() {
  clock_ = true;
  return *this;
}

Row &Row::ours(Function function) { return add("ours", std::move(function)); }

Row &Row::peer(const std::string &name, Function function) {
  return add("peer:" + name, std::move(function));
}

Row &Row::add(const std::string &who, Function function) {
  auto *benchmark = benchmark::RegisterBenchmark((prefix_ + who).c_str(), std::move(function));
  if (threads_ > 1) benchmark->Threads(threads_);
  if (clock_) benchmark->UseRealTime();
  return *this;
}

int main(int argc, char **argv) {
  ZutInitThreads(); // everything is measured with locks that lock
  addRows();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
}
