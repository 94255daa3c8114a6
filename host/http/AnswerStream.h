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

/// The body of an answer on its way from the thread that writes it to the connection's thread, a bounded part of it at
/// a time.
class AnswerStream final : public platform::HttpSink {
 public:
  /// `filled` is called on the writing thread, without a lock, when there is something to take, or an end, after Take
  /// found nothing.
  explicit AnswerStream(std::function<void()> filled) : filled_(std::move(filled)) {}

  bool Write(std::string_view text) override;
  /// Nothing more is written; what was is not the whole body unless `is_whole`.
  void End(bool is_whole);

  enum class State { kMore, kNothingYet, kEnd, kCutOff };
  /// Copies up to `size` bytes to `to`. With kMore `taken` is at least 1.
  [[nodiscard]] State Take(char* to, std::size_t size, std::size_t& taken);
  /// The client has gone, or the server ends: nobody takes any more.
  void Close();

 private:
  const std::function<void()> filled_;
  std::mutex mutex_;
  std::condition_variable changed_;
  // Guarded by mutex_:
  std::string held_;
  /// Of held_, already taken.
  std::size_t taken_ = 0;
  bool is_awaited_ = false;
  bool ended_ = false;
  bool cut_off_ = false;
  bool closed_ = false;
};

}  // namespace host
