#pragma once

#include <thread>
#include <vector>

namespace evidence_test {

inline constexpr int kThreads = 16;

/// `work` on kThreads threads at once.
template <class Work>
void OnManyThreads(const Work& work) {
  std::vector<std::jthread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&work] { work(); });
}

}  // namespace evidence_test
