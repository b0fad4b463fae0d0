#pragma once

#include <algorithm>
#include <chrono>
#include <ctime>
#include <vector>

namespace tovra::bench {

// The median wall time of `rounds` calls, in seconds: the median shrugs off a round that the other
// core's work slowed down.
template <class F>
double medianSeconds(int rounds, F&& body) {
  std::vector<double> times;
  times.reserve(static_cast<std::size_t>(rounds));
  for (int i = 0; i < rounds; ++i) {
    const auto start = std::chrono::steady_clock::now();
    body();
    times.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
  return times[static_cast<std::size_t>(rounds / 2)];
}

inline double processCpuSeconds() {
  timespec ts{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

template <class T>
void keep(T&& value) {
  asm volatile("" : : "g"(&value) : "memory");
}

}  // namespace tovra::bench
