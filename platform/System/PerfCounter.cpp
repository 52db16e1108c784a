#include "System/PerfCounter.hpp"

#include <time.h>

long _pcounter(int) noexcept {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  const long ticks = ts.tv_sec * 1000000000L + ts.tv_nsec;
  return ticks != 0 ? ticks : 1;
}

long _pdiff_muesec(int, long from, long to) noexcept { return (to - from) / 1000; }
