// Trace lines to a file, each flushed, against spdlog and against fprintf and fflush under a mutex.
#include "support/row.h"
#include "zut.h"

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdio>
#include <ctime>
#include <mutex>

namespace {

using Trace = struct ZutTrace;

enum class Stamp { none, time };

template <Stamp S>
Trace *theTrace() {
  static Trace *const trace = [] {
    constexpr bool stamped = S == Stamp::time;
    Trace *made = ZutTraceCreate("bench", stamped ? "ours_stamped.log" : "ours.log",
                                 stamped ? Z_TRACE_FLAG_TIMESTAMP : Z_TRACE_FLAG_PREFIX, nullptr);
    ZutTraceLevelSet(made, Z_TRACE_LEVEL_INFO);
    return made;
  }();
  return trace;
}

template <Stamp S>
void lineOurs(benchmark::State &state) {
  Trace *trace = theTrace<S>();
  long number = 0;
  for (auto _ : state)
    ZutTrace(trace, Z_TRACE_LEVEL_INFO, "connection %s: message %ld sent\n", "alpha", ++number);
}

void disabledOurs(benchmark::State &state) {
  Trace *trace = theTrace<Stamp::none>();
  long number = 0;
  for (auto _ : state)
    ZutTrace(trace, Z_TRACE_LEVEL_DEBUG, "connection %s: message %ld sent\n", "alpha", ++number);
}

template <Stamp S>
spdlog::logger &theLogger() {
  static const auto logger = [] {
    constexpr bool stamped = S == Stamp::time;
    auto made = stamped ? spdlog::basic_logger_mt("stamped", "spdlog_stamped.log")
                        : spdlog::basic_logger_mt("plain", "spdlog.log");
    made->set_pattern(stamped ? "%H:%M:%S: %v" : "%v");
    made->flush_on(spdlog::level::info);
    return made;
  }();
  return *logger;
}

template <Stamp S>
void lineSpdlog(benchmark::State &state) {
  spdlog::logger &logger = theLogger<S>();
  long number = 0;
  for (auto _ : state) logger.info("connection {}: message {} sent", "alpha", ++number);
}

void disabledSpdlog(benchmark::State &state) {
  spdlog::logger &logger = theLogger<Stamp::none>();
  long number = 0;
  for (auto _ : state) logger.debug("connection {}: message {} sent", "alpha", ++number);
}

void printTime(std::FILE *file) {
  const std::time_t now = std::time(nullptr);
  struct tm fields;
  localtime_r(&now, &fields);
  char text[16];
  std::strftime(text, sizeof text, "%H:%M:%S", &fields);
  std::fprintf(file, "%s: ", text);
}

template <Stamp S>
void lineStdio(benchmark::State &state) {
  static std::mutex mutex;
  static std::FILE *const file =
      std::fopen(S == Stamp::time ? "stdio_stamped.log" : "stdio.log", "w");
  long number = 0;
  for (auto _ : state) {
    const std::lock_guard guard(mutex);
    if (S == Stamp::time) printTime(file);
    std::fprintf(file, "connection %s: message %ld sent\n", "alpha", ++number);
    std::fflush(file);
  }
}

template <Stamp S>
void addLines(const std::string &parameter) {
  const auto add = [](Row row) {
    row.ours(lineOurs<S>).peer("spdlog", lineSpdlog<S>).peer("fprintf, fflush", lineStdio<S>);
  };
  add(Row("trace", parameter));
  add(Row("trace", parameter + ", two threads").threads(2));
}

} // namespace

void addRows() {
  addLines<Stamp::none>("plain");
  addLines<Stamp::time>("stamped");
  Row("trace", "disabled level").ours(disabledOurs).peer("spdlog", disabledSpdlog);
}
