#pragma once

#include <chrono>
#include <thread>

namespace evidence_test {

/// Asks again and again until `holds` gives true; false when it has not within a time that only a fault takes.
template <class Condition>
[[nodiscard]] bool Eventually(const Condition& holds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!holds()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  return true;
}

}  // namespace evidence_test
