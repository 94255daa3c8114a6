#include "TextCancel.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

#include "OrvBase/Log.h"
#include "PostgresConnection.h"

namespace platform::database {
namespace {

using Orv::Base::details::ITarnFormatLog;
using enum Orv::Base::LogLevel;

/// How long a request to the server may take once its text has ended.
constexpr std::chrono::seconds kPatience{5};
/// A request that comes before the server has read the text is lost: it is repeated.
constexpr std::chrono::milliseconds kPeriod{200};

}  // namespace

/// The requests to end one text. They have a thread of their own, as each makes a connection, which may hang.
struct TextCancel::Requests {
  explicit Requests(std::shared_ptr<PGcancel> connection) : cancel(std::move(connection)) {}

  /// Asks the server again and again until the text has ended.
  void Run() {
    std::unique_lock lock(mutex);
    while (!text_ended) {
      lock.unlock();
      std::array<char, 256> fault{};
      PQcancel(cancel.get(), fault.data(), fault.size());
      lock.lock();
      changed.wait_for(lock, kPeriod, [this] { return text_ended; });
    }
    running = false;
    changed.notify_all();
  }

  const std::shared_ptr<PGcancel> cancel;
  std::mutex mutex;
  std::condition_variable changed;
  // Guarded by mutex:
  bool running = false;
  bool text_ended = false;
};

TextCancel::TextCancel(Call* call, const std::shared_ptr<PGcancel>& connection) : connection_(connection) {
  if (call == nullptr || !connection_) return;
  watch_.emplace(call, [this] { Ask(); });
}

void TextCancel::Ask() {
  try {
    requests_ = std::make_shared<Requests>(connection_);
    const std::lock_guard lock(requests_->mutex);
    std::thread([requests = requests_] { requests->Run(); }).detach();
    requests_->running = true;
  } catch (const std::exception&) {
    ITarnFormatLog(kLogAnomaly, kLogTag, "A text is not cancelled: no thread can be made");
  }
}

TextCancel::~TextCancel() { static_cast<void>(Settle()); }

bool TextCancel::Settle() {
  // From here on no thread is started.
  watch_.reset();
  const auto requests = std::exchange(requests_, nullptr);
  if (!requests) return true;
  std::unique_lock lock(requests->mutex);
  requests->text_ended = true;
  requests->changed.notify_all();
  return requests->changed.wait_for(lock, kPatience, [&requests] { return !requests->running; });
}

}  // namespace platform::database
