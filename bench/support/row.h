// How a row of the table is written. One row measures one piece of work, done by the library and by
// its peers:
//
//   void appendOurs(benchmark::State &state) {
//     for (auto _ : state) ...the work...
//   }
//   void addRows() {
//     Row("safe string: append", "words")  // row, parameter
//         .ours(appendOurs)
//         .peer("std::string", appendStd);
//   }
//
// Every function of a row does the same work on the same data; what is not the work (making keys,
// opening files) stays outside the loop, and what is dear to make is made once, in a static: a
// function is called again for each repetition. A lambda that captures a size gives the same row
// for several parameters. `threads(2)` measures the functions added after it on two threads at
// once, by the clock; `clock()` on one thread by the clock (files, processes).
//
// Programs run in a directory of their own, which is removed afterwards.
//
// The limit of each row stands in targets.txt as "row/parameter<TAB>limit"; tools/bench_table.py
// runs the programs and prints the table.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

// Each program's own.
void addRows();

class Row {
public:
  using Function = std::function<void(benchmark::State &)>;

  Row(const std::string &row, const std::string &parameter);
  Row &threads(int count);
  Row &clock();
  Row &ours(Function function);
  Row &peer(const std::string &name, Function function);

private:
  Row &add(const std::string &who, Function function);

  std::string prefix_;
  int threads_ = 1;
  bool clock_ = false;
};
