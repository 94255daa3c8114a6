#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "support/ScratchFolder.h"

struct pg_conn;

namespace evidence_test {

/// Rows of texts; NULL reads as "".
using Rows = std::vector<std::vector<std::string>>;

/// One connection, for tests that hold a lock or a transaction. Failures throw std::runtime_error with
/// the server's message.
class Session {
 public:
  explicit Session(const std::string& connection);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Runs `sql` and gives the rows of its last statement.
  Rows Query(const std::string& sql) const;

 private:
  pg_conn* handle_;
};

/// A PostgreSQL server of this test program's own, in a folder of its own, behind a unix socket. It is deleted
/// when this object ends and when the program does, however that comes about: a watcher process holds
/// the other end of a pipe, and cleans up once the pipe is closed.
class ThrowawayPostgres {
 public:
  /// Starts the server, with an empty database. Throws std::runtime_error with the cause.
  ThrowawayPostgres();
  ~ThrowawayPostgres();
  ThrowawayPostgres(const ThrowawayPostgres&) = delete;
  ThrowawayPostgres& operator=(const ThrowawayPostgres&) = delete;

  /// Connection strings of the superuser, and of the role that the set-up makes for the application.
  const std::string& OwnerConnection() const { return owner_connection_; }
  std::string AppConnection() const { return ConnectionTo("evidence", "evidence_app"); }
  std::string ConnectionTo(const std::string& database, const std::string& user) const;

  /// Applies the program's database scripts; throws std::runtime_error with the fault.
  void SetUp() const;

  /// The folder of those scripts.
  static std::string Scripts();

  /// Session::Query as the superuser, over a connection of its own.
  Rows Query(const std::string& sql) const { return Session(owner_connection_).Query(sql); }
  /// The one value that `sql` gives.
  std::string Value(const std::string& sql) const;

  /// Shuts the server down and brings the same one up again, in the middle of a test.
  void Stop() const;
  void Start();

 private:
  const ScratchFolder folder_;
  std::FILE* watcher_;
  std::string owner_connection_;
};

/// The set-up server that a whole test program shares.
ThrowawayPostgres& Postgres();

/// Leaves the plugins' tables, the changes and the platform's log of Postgres() as the set-up makes them.
void ResetTables();

}  // namespace evidence_test
