#pragma once

#include <libpq-fe.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "DatabaseFigures.h"
#include "PostgresResultSet.h"
#include "platform/Call.h"

namespace platform::database {

/// The tag of this layer's log lines: statement texts at level 1, failures at level 5.
inline constexpr char kLogTag[] = "db_layer";

/// One connection, used by one thread at a time, opened on first use and reopened after a loss. Failures are logged
/// without the statement, whose values are confidential.
class PostgresConnection {
 public:
  /// `connection` is any libpq connection string; options it omits get this layer's defaults. `figures`, null for none,
  /// are told of each text.
  explicit PostgresConnection(std::string connection, std::shared_ptr<DatabaseFigures> figures = nullptr)
      : connection_(std::move(connection)), figures_(std::move(figures)) {}
  PostgresConnection(const PostgresConnection&) = delete;
  PostgresConnection& operator=(const PostgresConnection&) = delete;

  /// Opens the connection when there is none, or the server has closed it. False, logged, when the database
  /// cannot be reached. Call it before each text; a text is never sent on a connection known to be lost.
  [[nodiscard]] bool MakeReady();

  /// Whose text it is: the log shows what callers sent, and not what this layer puts around it.
  enum class Origin { kCaller, kLayer };

  /// Sends `text` once and reads all of its results. The last one, or null when any statement failed. The text is ended
  /// when `call` (null for none) is cancelled. Its rows count for the thread's call: when that has no room for them,
  /// the connection is closed and the result is null.
  [[nodiscard]] PostgresResult Run(const std::string& text, Call* call = nullptr, Origin origin = Origin::kCaller);

  /// What became of rows that were copied in.
  enum class CopyEnd {
    kCommitted,
    kUndone,
    /// The connection was lost before the answer to all of them.
    kUnknown
  };
  /// Runs `statement`, a COPY … FROM STDIN, with `rows` in the form that it names, as a transaction of its own.
  [[nodiscard]] CopyEnd CopyIn(const std::string& statement, std::string_view rows);

  /// Whether the texts so far have left a transaction open, failed or not.
  [[nodiscard]] bool InTransaction() const;

  /// False once the connection was lost; MakeReady opens another one.
  [[nodiscard]] bool IsOpen() const { return handle_ != nullptr; }

  /// Whether the server undid all of the last text because other transactions changed or locked its rows, and would do
  /// it if it was sent again.
  [[nodiscard]] bool WasCrossed() const { return was_crossed_; }

  /// Rolls back an open transaction.
  void RollBack();

  /// Closes the connection when a large text or row has passed through it, as the client library keeps its buffers as
  /// large as they ever were. Call it when nothing more is to be sent.
  void ShedBuffers();

  /// The server's name, address or socket folder, as it was connected to; "" without a connection.
  [[nodiscard]] std::string HostName() const;

  /// Why the last call failed; one line.
  [[nodiscard]] const std::string& Fault() const { return fault_; }

  /// The server's warnings on the last text, one line each.
  [[nodiscard]] const std::vector<std::string>& Warnings() const { return warnings_; }

 private:
  struct Finish {
    void operator()(PGconn* connection) const { PQfinish(connection); }
  };

  static void ReceiveNotice(void* self, const PGresult* notice);

  bool Open();
  bool ServerHasClosed();
  PostgresResult Send(const std::string& text, Call* call);
  PostgresResult ReadResults();
  PostgresResult Abandon();
  bool EndCopy(ExecStatusType status);
  CopyEnd SendCopy(const std::string& statement, std::string_view rows);
  void Fail(std::string fault);

  const std::string connection_;
  const std::shared_ptr<DatabaseFigures> figures_;
  std::unique_ptr<PGconn, Finish> handle_;
  // How the server is asked to end a text of this connection.
  std::shared_ptr<PGcancel> cancel_;
  // The server has announced that it closes this connection.
  bool dismissed_ = false;
  // A large text or row has passed through it.
  bool is_bulky_ = false;
  bool was_crossed_ = false;
  // Of the last failure; "" when the server gave none.
  std::string sql_state_;
  std::string fault_;
  std::vector<std::string> warnings_;
};

}  // namespace platform::database
