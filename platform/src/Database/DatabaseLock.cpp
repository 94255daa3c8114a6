#include "DatabaseLock.h"

#include <libpq-fe.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "ResultRows.h"

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;
using database::LibraryResult;

/// How long the server may take for a text. Its own time-outs end none when it is halted.
constexpr std::chrono::seconds kPatience{5};

// The server's side of the connection's end: it keeps the lock until it notices.
constexpr char kSqlShortLife[] =
    "SET tcp_keepalives_idle = 5; SET tcp_keepalives_interval = 2; SET tcp_keepalives_count = 3";

// The first key identifies this program, the second one of its locks.
constexpr char kSqlTake[] =
    "SELECT CASE WHEN pg_try_advisory_lock(711, 3) THEN 0 ELSE coalesce((SELECT min(pid) FROM pg_locks WHERE "
    "locktype = 'advisory' AND classid = 711 AND objid = 3 AND objsubid = 2 AND granted AND database = (SELECT oid "
    "FROM pg_database WHERE datname = current_database())), -1) END AS holder";

/// Whether `socket` becomes readable until `deadline`.
bool AwaitInput(int socket, Clock::time_point deadline) {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd readable{socket, POLLIN, 0};
    const int ready = poll(&readable, 1, static_cast<int>(std::max<long>(left, 0)));
    if (ready >= 0) return ready != 0;
    if (errno != EINTR) return true;
  }
}

}  // namespace

class DatabaseLock::Connection {
 public:
  explicit Connection(std::string text) : text_(std::move(text)) {}

  State Take();
  bool IsKept(std::chrono::milliseconds time);
  const std::string& Fault() const { return fault_; }

 private:
  struct Finish {
    void operator()(PGconn* connection) const { PQfinish(connection); }
  };

  bool Open();
  LibraryResult Ask(const char* sql);
  void Lose();

  const std::string text_;
  std::unique_ptr<PGconn, Finish> handle_;
  bool held_ = false;
  /// The server's process of the last connection that held the lock.
  int former_process_ = 0;
  std::string fault_;
};

bool DatabaseLock::Connection::Open() {
  // What follows the connection string overrides it.
  constexpr std::array kKeywords{"dbname",           "application_name", "connect_timeout",
                                 "keepalives",       "keepalives_idle",  "keepalives_interval",
                                 "keepalives_count", "tcp_user_timeout", static_cast<const char*>(nullptr)};
  const std::array values{
      text_.c_str(), "evidence lock", "5", "1", "5", "2", "3", "10000", static_cast<const char*>(nullptr)};
  handle_.reset(PQconnectdbParams(kKeywords.data(), values.data(), /*expand_dbname=*/1));
  return handle_ != nullptr && PQstatus(handle_.get()) == CONNECTION_OK && Ask(kSqlShortLife) != nullptr;
}

LibraryResult DatabaseLock::Connection::Ask(const char* sql) {
  if (PQsendQuery(handle_.get(), sql) != 1) return nullptr;
  const auto deadline = Clock::now() + kPatience;
  LibraryResult last;
  for (;;) {
    while (PQisBusy(handle_.get()) != 0) {
      if (!AwaitInput(PQsocket(handle_.get()), deadline) || PQconsumeInput(handle_.get()) == 0) return nullptr;
    }
    LibraryResult next{PQgetResult(handle_.get())};
    if (!next) return last;
    const auto status = PQresultStatus(next.get());
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) return nullptr;
    last = std::move(next);
  }
}

void DatabaseLock::Connection::Lose() {
  fault_ = handle_ ? PQerrorMessage(handle_.get()) : "out of memory";
  std::erase_if(fault_, [](char c) { return c == '\r' || c == '\n'; });
  if (fault_.empty()) fault_ = "the database does not answer";
  handle_.reset();
}

DatabaseLock::State DatabaseLock::Connection::Take() {
  if (held_) return State::kHeld;
  const LibraryResult result = handle_ || Open() ? Ask(kSqlTake) : nullptr;
  if (!result) {
    Lose();
    return State::kUnknown;
  }
  const int holder = std::atoi(PQgetvalue(result.get(), 0, 0));
  held_ = holder == 0;
  if (held_) {
    former_process_ = PQbackendPID(handle_.get());
    return State::kHeld;
  }
  // Released between the two looks, or still held by a connection that is over.
  if (holder != -1 && holder != former_process_) return State::kHeldByAnother;
  fault_ = "the server has not noticed the end of the last connection";
  return State::kUnknown;
}

bool DatabaseLock::Connection::IsKept(std::chrono::milliseconds time) {
  if (!held_) return false;
  const auto deadline = Clock::now() + time;
  while (AwaitInput(PQsocket(handle_.get()), deadline)) {
    // Nothing is asked: what comes is the end, or a message before it.
    if (PQconsumeInput(handle_.get()) != 0 && PQstatus(handle_.get()) == CONNECTION_OK) continue;
    held_ = false;
    Lose();
    return false;
  }
  return true;
}

DatabaseLock::DatabaseLock(std::string connection) : connection_(std::make_unique<Connection>(std::move(connection))) {}
DatabaseLock::~DatabaseLock() = default;

DatabaseLock::State DatabaseLock::Take() { return connection_->Take(); }
bool DatabaseLock::IsKept(std::chrono::milliseconds time) { return connection_->IsKept(time); }
const std::string& DatabaseLock::Fault() const { return connection_->Fault(); }

}  // namespace platform
