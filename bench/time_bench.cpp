// Time texts against strftime, apr_rfc822_date and strptime.
#include "support/row.h"
#include "zut.h"

#include <apr_time.h>

#include <array>
#include <ctime>
#include <random>

namespace {

// Within some sixty years, without order.
const std::array<double, 4096> &randomTimes() {
  static const auto times = [] {
    std::array<double, 4096> made;
    std::mt19937 random(3);
    for (double &time : made) time = random() % 2000000000u;
    return made;
  }();
  return times;
}

// Four in a second, as a busy log asks.
class Consecutive {
public:
  double next() { return now_ += 0.25; }

private:
  double now_ = 1.7e9;
};

class Random {
public:
  double next() { return times_[++at_ % times_.size()]; }

private:
  const std::array<double, 4096> &times_ = randomTimes();
  size_t at_ = 0;
};

template <class Times>
void format(benchmark::State &state, const char *name) {
  ZutTimeCvt *converter = ZutTimeCvtLookup(name);
  Times times;
  for (auto _ : state) {
    const char *text = nullptr;
    ZutTimeCvtNumToStr(converter, times.next(), &text);
    benchmark::DoNotOptimize(text);
  }
}

template <class Times>
void hms(benchmark::State &state) {
  format<Times>(state, "hms");
}

void http(benchmark::State &state) { format<Random>(state, "http"); }

template <class Times>
void hmsStrftime(benchmark::State &state) {
  Times times;
  char text[16];
  for (auto _ : state) {
    const auto seconds = static_cast<std::time_t>(times.next());
    struct tm fields;
    localtime_r(&seconds, &fields);
    benchmark::DoNotOptimize(std::strftime(text, sizeof text, "%H:%M:%S", &fields));
  }
}

void httpApr(benchmark::State &state) {
  Random times;
  char text[APR_RFC822_DATE_LEN];
  for (auto _ : state) {
    apr_rfc822_date(text, static_cast<apr_time_t>(times.next() * 1e6));
    benchmark::DoNotOptimize(text);
  }
}

constexpr const char *date = "Sun, 06 Nov 1994 08:49:37 GMT";

void parseHttp(benchmark::State &state) {
  ZutTimeCvt *converter = ZutTimeCvtLookup("http");
  double time = 0;
  for (auto _ : state) {
    ZutTimeCvtStrToNum(converter, date, &time);
    benchmark::DoNotOptimize(time);
  }
}

// Only to fields: turning them into a number would be our gain.
void parseStrptime(benchmark::State &state) {
  struct tm fields {};
  for (auto _ : state) {
    benchmark::DoNotOptimize(strptime(date, "%a, %d %b %Y %H:%M:%S GMT", &fields));
    benchmark::DoNotOptimize(fields);
  }
}

} // namespace

void addRows() {
  Row("time", "hms consecutive").ours(hms<Consecutive>).peer("strftime", hmsStrftime<Consecutive>);
  Row("time", "hms random").ours(hms<Random>).peer("strftime", hmsStrftime<Random>);
  Row("time", "http").ours(http).peer("apr_rfc822_date", httpApr);
  Row("time", "parse http").ours(parseHttp).peer("strptime", parseStrptime);
}
