#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "platform/HttpRoutes.h"

namespace host {

/// A body on its way from the connection's thread to the thread of its route, a bounded part of it at a time.
class BodyStream final : public platform::HttpBodyReader {
 public:
  /// `drained` is called on the reading thread, without a lock, when there is room again after Put took less than it
  /// was given.
  explicit BodyStream(std::function<void()> drained) : drained_(std::move(drained)) {}

  std::int64_t Read(char* to, std::size_t size) override;

  /// Takes as much of `data` as there is room for; the number of bytes taken. After a break it takes and drops all.
  [[nodiscard]] std::size_t Put(std::string_view data);
  /// The body is whole.
  void End();
  /// Nothing more will come.
  void Break() override;

 private:
  const std::function<void()> drained_;
  std::mutex mutex_;
  std::condition_variable changed_;
  // Guarded by mutex_:
  std::string held_;
  /// Of held_, already read.
  std::size_t read_ = 0;
  bool has_rest_ = false;
  bool ended_ = false;
  bool broken_ = false;
};

}  // namespace host
