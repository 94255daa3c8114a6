#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <thread>

namespace host {

/// A thread that calls `refresh` every `interval` until it is asked to stop, which cancels the statement that a refresh
/// waits for. One that fails is tried again; of an exception the log says that `what` cannot be read.
[[nodiscard]] std::jthread Every(std::chrono::seconds interval, std::string what, std::function<void()> refresh);

}  // namespace host
