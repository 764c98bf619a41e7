// Polls instead of sleeping a fixed time; reaching the generous limit means
// the behaviour is wrong, not that the machine is slow.
#ifndef SARVIK_TESTS_PLATFORM_WAIT_UNTIL_H
#define SARVIK_TESTS_PLATFORM_WAIT_UNTIL_H

#include <chrono>
#include <thread>

namespace sarvik_test {

constexpr std::chrono::milliseconds kGenerousLimit(10000);

template <typename Condition>
bool waitUntil(Condition condition, std::chrono::milliseconds limit = kGenerousLimit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// Gives another thread a fair chance to do the wrong thing.
inline void allowTimeToMisbehave() { std::this_thread::sleep_for(std::chrono::milliseconds(100)); }

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_PLATFORM_WAIT_UNTIL_H
