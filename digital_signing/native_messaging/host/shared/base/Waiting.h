#pragma once

#include <chrono>
#include <thread>

namespace vorn {

/** Looks, once in each pause, whether it is so. False when it is not by the end of the time. */
template <typename Condition>
bool comesWithin(std::chrono::milliseconds time, std::chrono::milliseconds pause, Condition isSo) {
  const auto deadline = std::chrono::steady_clock::now() + time;
  while (!isSo()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(pause);
  }
  return true;
}

}  // namespace vorn
