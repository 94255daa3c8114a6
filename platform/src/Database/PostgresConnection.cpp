#include "PostgresConnection.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include "OrvBase/Log.h"
#include "TextCancel.h"
#include "platform/Guard.h"
#include "platform/SmallRows.h"

namespace platform::database {
namespace {

using Orv::Base::details::IsLogLevelOn;
using Orv::Base::details::ITarnFormatLog;
using enum Orv::Base::LogLevel;

// What the layers above rely on, whatever the server's defaults.
constexpr char kSqlSession[] =
    "SET standard_conforming_strings = on; SET TimeZone = 'UTC'; SET DateStyle = 'ISO, YMD'; "
    "SET default_transaction_isolation = 'read committed'";

std::string OneLine(std::string_view text) {
  while (!text.empty() && text.back() == '\n')
    text.remove_suffix(1);
  std::string line(text);
  for (char& c : line) {
    if (c == '\n') c = ' ';
  }
  return line;
}

std::string_view Field(const PGresult* result, int code) {
  const char* const value = PQresultErrorField(result, code);
  return value ? value : std::string_view();
}

/// A text of this size leaves the library's send buffer at least as large.
constexpr std::size_t kBulkyText = 1024UL * 1024;

/// A conflict with other transactions that the server ended by undoing this one.
bool IsCrossed(const PGresult* result) {
  const std::string_view state = Field(result, PG_DIAG_SQLSTATE);
  return state == "40001" || state == "40P01";
}

/// SQLSTATE and primary message; libpq's own text when the failure is not the server's.
std::string Describe(const PGresult* result) {
  const std::string_view state = Field(result, PG_DIAG_SQLSTATE);
  if (state.empty()) return OneLine(PQresultErrorMessage(result));
  return std::string(state) + ": " + OneLine(Field(result, PG_DIAG_MESSAGE_PRIMARY));
}

}  // namespace

bool PostgresConnection::MakeReady() {
  if (handle_ && ServerHasClosed()) {
    ITarnFormatLog(kLogAnomaly, kLogTag, "A database connection was lost and is renewed");
    handle_.reset();
  }
  return handle_ || Open();
}

bool PostgresConnection::Open() {
  // Values before the connection string are defaults, which it overrides; values after it override it.
  constexpr std::array kKeywords{"connect_timeout",
                                 "application_name",
                                 "keepalives_idle",
                                 "tcp_user_timeout",
                                 "dbname",
                                 "client_encoding",
                                 static_cast<const char*>(nullptr)};
  const std::array values{
      "10", "evidence", "60", "60000", connection_.c_str(), "UTF8", static_cast<const char*>(nullptr)};
  dismissed_ = false;
  is_bulky_ = false;
  handle_.reset(PQconnectdbParams(kKeywords.data(), values.data(), /*expand_dbname=*/1));
  if (!handle_ || PQstatus(handle_.get()) != CONNECTION_OK) {
    Fail(OneLine(handle_ ? PQerrorMessage(handle_.get()) : "out of memory"));
    handle_.reset();
    return false;
  }
  cancel_.reset(PQgetCancel(handle_.get()), &PQfreeCancel);
  PQsetNoticeReceiver(handle_.get(), &ReceiveNotice, this);
  if (!Run(kSqlSession)) handle_.reset();
  return handle_ != nullptr;
}

// A close that arrived while the connection was idle is still unread in the socket; a text sent now would be lost, and
// it would be unknown whether it was executed.
bool PostgresConnection::ServerHasClosed() {
  while (PQstatus(handle_.get()) == CONNECTION_OK && !dismissed_) {
    pollfd socket{PQsocket(handle_.get()), POLLIN, 0};
    const int ready = poll(&socket, 1, 0);
    if (ready < 0 && errno == EINTR) continue;
    if (ready == 0) return false;
    if (ready < 0 || PQconsumeInput(handle_.get()) == 0) return true;
    // Parses what was read, so that a shutdown message reaches ReceiveNotice.
    while (PGnotify* const notification = PQnotifies(handle_.get()))
      PQfreemem(notification);
  }
  return true;
}

PostgresResult PostgresConnection::Run(const std::string& text, Call* call, Origin origin) {
  was_crossed_ = false;
  sql_state_.clear();
  // libpq reads a text up to its first NUL: the rest would be silently cut off.
  if (text.find('\0') != std::string::npos) {
    Fail("a statement with a NUL character was not sent");
    return nullptr;
  }
  if (!handle_) {
    Fail("the connection was lost");
    return nullptr;
  }
  warnings_.clear();
  if (origin == Origin::kCaller && IsLogLevelOn(kLogStatement))
    ITarnFormatLog(kLogStatement, kLogTag, "%s", text.c_str());
  if (text.size() >= kBulkyText) is_bulky_ = true;
  if (!figures_) return Send(text, call);
  const auto begun = DatabaseFigures::Clock::now();
  auto last = Send(text, call);
  figures_->NoteText(text, DatabaseFigures::Clock::now() - begun);
  if (!last) figures_->NoteFailure(sql_state_);
  return last;
}

PostgresResult PostgresConnection::Send(const std::string& text, Call* call) {
  PostgresResult last;
  TextCancel cancel(call, cancel_);
  if (PQsendQuery(handle_.get(), text.c_str()) == 1) {
    // A read that has no room for more rows is ended while they arrive.
    if (!SmallRows::AreExpected()) PQsetSingleRowMode(handle_.get());
    try {
      last = ReadResults();
    } catch (...) {
      // Rows that nobody reads are left on it.
      static_cast<void>(cancel.Settle());
      handle_.reset();
      throw;
    }
  } else {
    Fail(OneLine(PQerrorMessage(handle_.get())));
  }
  const bool settled = cancel.Settle();
  if (!settled) {
    ITarnFormatLog(kLogAnomaly, kLogTag, "A request to cancel a text does not come back; its connection is closed");
  }
  if (PQstatus(handle_.get()) != CONNECTION_OK || dismissed_ || !settled) handle_.reset();
  return last;
}

PostgresResult PostgresConnection::ReadResults() {
  PostgresResult rows;
  bool failed = false;
  bool committed = false;
  bool more_rows = false;
  while (LibraryResult result{PQgetResult(handle_.get())}) {
    const ExecStatusType status = PQresultStatus(result.get());
    if (status == PGRES_COPY_IN || status == PGRES_COPY_OUT || status == PGRES_COPY_BOTH) {
      if (EndCopy(status)) continue;
      return nullptr;
    }
    if (status != PGRES_SINGLE_TUPLE && status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK &&
        status != PGRES_EMPTY_QUERY) {
      // Later failures are consequences of the first.
      if (!failed) Fail(Describe(result.get()));
      if (!failed) sql_state_ = Field(result.get(), PG_DIAG_SQLSTATE);
      if (!failed) was_crossed_ = !committed && IsCrossed(result.get());
      failed = true;
    } else if (status == PGRES_COMMAND_OK && std::string_view(PQcmdStatus(result.get())) == "COMMIT") {
      committed = true;
    }
    // The rows of one statement come one by one, then its end without any; or all with its end.
    const PGresult& row = *result;
    const bool is_first = !more_rows;
    if (is_first) rows = std::make_unique<ResultRows>(std::move(result));
    more_rows = status == PGRES_SINGLE_TUPLE;
    if (more_rows && !rows->Add(row)) return Abandon();
    if (!more_rows && is_first && !rows->KeepAll()) return Abandon();
    if (rows->IsBulky()) is_bulky_ = true;
  }
  return failed ? nullptr : std::move(rows);
}

/// The rest of the rows is never read: the server notices that nobody takes it.
PostgresResult PostgresConnection::Abandon() {
  fault_ = "a read was ended that needs more memory than there is";
  dismissed_ = true;
  return nullptr;
}

/// Leaves the copy state, in which libpq returns the same result forever: copying in is refused, so that the whole text
/// fails on the server; data copied out is discarded. False when the connection had to be abandoned.
bool PostgresConnection::EndCopy(ExecStatusType status) {
  if (status == PGRES_COPY_OUT) {
    char* line = nullptr;
    while (PQgetCopyData(handle_.get(), &line, /*async=*/0) > 0)
      PQfreemem(line);
    return true;
  }
  if (status == PGRES_COPY_IN && PQputCopyEnd(handle_.get(), "no data can be copied in") == 1) return true;
  Fail("a copy could not be ended");
  dismissed_ = true;
  return false;
}

PostgresConnection::CopyEnd PostgresConnection::CopyIn(const std::string& statement, std::string_view rows) {
  if (!handle_) {
    Fail("the connection was lost");
    return CopyEnd::kUndone;
  }
  if (IsLogLevelOn(kLogStatement)) ITarnFormatLog(kLogStatement, kLogTag, "%s", statement.c_str());
  if (rows.size() >= kBulkyText) is_bulky_ = true;
  const auto end = SendCopy(statement, rows);
  if (PQstatus(handle_.get()) != CONNECTION_OK || dismissed_) handle_.reset();
  return end;
}

PostgresConnection::CopyEnd PostgresConnection::SendCopy(const std::string& statement, std::string_view rows) {
  auto* const handle = handle_.get();
  const LibraryResult begun{PQexec(handle, statement.c_str())};
  if (PQresultStatus(begun.get()) != PGRES_COPY_IN) {
    Fail(Describe(begun.get()));
    return CopyEnd::kUndone;
  }
  // The length is an int there.
  for (auto rest = rows; !rest.empty(); rest.remove_prefix(std::min(rest.size(), kBulkyText))) {
    if (PQputCopyData(handle, rest.data(), static_cast<int>(std::min(rest.size(), kBulkyText))) == 1) continue;
    Fail(OneLine(PQerrorMessage(handle)));
    // Not all was sent, so the server does not commit it.
    dismissed_ = true;
    return CopyEnd::kUndone;
  }
  if (PQputCopyEnd(handle, nullptr) != 1) {
    Fail(OneLine(PQerrorMessage(handle)));
    dismissed_ = true;
    return CopyEnd::kUnknown;
  }
  auto end = CopyEnd::kUnknown;
  while (const LibraryResult result{PQgetResult(handle)}) {
    if (PQresultStatus(result.get()) == PGRES_COMMAND_OK) {
      end = CopyEnd::kCommitted;
      continue;
    }
    Fail(Describe(result.get()));
    // A failure without a state is the library's own: the server has not answered.
    if (!Field(result.get(), PG_DIAG_SQLSTATE).empty()) end = CopyEnd::kUndone;
  }
  return end;
}

bool PostgresConnection::InTransaction() const { return handle_ && PQtransactionStatus(handle_.get()) != PQTRANS_IDLE; }

std::string PostgresConnection::HostName() const {
  const char* const name = handle_ ? PQhost(handle_.get()) : nullptr;
  return name == nullptr ? std::string() : name;
}

void PostgresConnection::RollBack() {
  if (InTransaction() && !Run("ROLLBACK")) handle_.reset();
}

void PostgresConnection::ShedBuffers() {
  if (std::exchange(is_bulky_, false)) handle_.reset();
}

// libpq calls this from inside its own functions.
void PostgresConnection::ReceiveNotice(void* self, const PGresult* notice) {
  const std::string_view severity = Field(notice, PG_DIAG_SEVERITY_NONLOCALIZED);
  if (severity == "FATAL" || severity == "PANIC") static_cast<PostgresConnection*>(self)->dismissed_ = true;
  const auto keep = [self, notice, severity] {
    ITarnFormatLog(kLogTrace, kLogTag, "Server: %s", Describe(notice).c_str());
    if (severity != "WARNING") return;
    static_cast<PostgresConnection*>(self)->warnings_.push_back(OneLine(Field(notice, PG_DIAG_MESSAGE_PRIMARY)));
  };
  Guard(keep, [](const char* reason) {
    ITarnFormatLog(kLogAnomaly, kLogTag, "A message of the server was lost: %s", reason ? reason : "unknown");
  });
}

void PostgresConnection::Fail(std::string fault) {
  fault_ = std::move(fault);
  ITarnFormatLog(kLogFailure, kLogTag, "Database failure: %s", fault_.c_str());
}

}  // namespace platform::database
