#include "support/ThrowawayPostgres.h"

#include <gtest/gtest.h>
#include <libpq-fe.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "DatabaseSetup.h"

namespace evidence_test {
namespace {

std::unique_ptr<ThrowawayPostgres> environment_server;

/// Starts the server of a test program that is linked with this file.
class PostgresEnvironment final : public testing::Environment {
 public:
  void SetUp() override try {
    environment_server = std::make_unique<ThrowawayPostgres>();
    environment_server->SetUp();
  } catch (const std::exception& fault) {
    FAIL() << "no database to test with: " << fault.what();
  }
  void TearDown() override { environment_server.reset(); }
};
const auto* const kEnvironment = testing::AddGlobalTestEnvironment(new PostgresEnvironment);

/// A process with one end of a pipe.
std::FILE* Open(const std::string& command, const char* mode) {
  std::FILE* const pipe = popen(command.c_str(), mode);
  if (!pipe) throw std::runtime_error("no process for " + command);
  return pipe;
}

/// The script's first line of output.
std::string RunScript(const std::string& command, const std::string& folder) {
  const std::string line = "PRIVATE_POSTGRES_FAST=1 '" PRIVATE_POSTGRES_SCRIPT "' " + command + " '" + folder + "'";
  std::FILE* const output = Open(line, "re");
  std::array<char, 4096> buffer{};
  const std::string text = std::fgets(buffer.data(), static_cast<int>(buffer.size()), output) ? buffer.data() : "";
  if (pclose(output) != 0) throw std::runtime_error(line + " failed");
  return text.substr(0, text.find('\n'));
}

/// A process in a session of its own, which no signal to this one's group reaches. It waits for the end of its input,
/// and does not keep this program's output open.
std::FILE* StartWatcher(const std::string& folder) {
  return Open("exec setsid sh -c 'cat; exec \"$0\" remove \"$1\"' '" PRIVATE_POSTGRES_SCRIPT "' '" + folder +
                  "' >/dev/null 2>&1",
              "we");
}

}  // namespace

ThrowawayPostgres::ThrowawayPostgres() : watcher_(StartWatcher(folder_.path())) { Start(); }

ThrowawayPostgres::~ThrowawayPostgres() { pclose(watcher_); }

std::string ThrowawayPostgres::ConnectionTo(const std::string& database, const std::string& user) const {
  // The host is the owner's first word.
  return owner_connection_.substr(0, owner_connection_.find(' ')) + " dbname=" + database + " user=" + user;
}

std::string ThrowawayPostgres::Scripts() { return DATABASE_SCRIPTS; }

void ThrowawayPostgres::SetUp() const {
  const auto result = platform::SetUpDatabase(owner_connection_, Scripts());
  if (!result.ok) throw std::runtime_error(result.fault);
}

std::string ThrowawayPostgres::Value(const std::string& sql) const {
  const Rows rows = Query(sql);
  if (rows.size() != 1 || rows.front().size() != 1) throw std::runtime_error("not one value: " + sql);
  return rows.front().front();
}

void ThrowawayPostgres::Stop() const { RunScript("stop", folder_.path()); }

void ThrowawayPostgres::Start() { owner_connection_ = RunScript("start", folder_.path()); }

Session::Session(const std::string& connection) : handle_(PQconnectdb(connection.c_str())) {
  if (PQstatus(handle_) != CONNECTION_OK) {
    const std::string fault = PQerrorMessage(handle_);
    PQfinish(handle_);
    throw std::runtime_error(fault);
  }
  PQsetNoticeProcessor(
      handle_, [](void*, const char*) {}, nullptr);
}

Session::~Session() { PQfinish(handle_); }

Rows Session::Query(const std::string& sql) const {
  const std::unique_ptr<PGresult, decltype(&PQclear)> result(PQexec(handle_, sql.c_str()), &PQclear);
  const ExecStatusType status = PQresultStatus(result.get());
  if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) throw std::runtime_error(PQerrorMessage(handle_));
  Rows rows;
  for (int row = 0; row < PQntuples(result.get()); ++row) {
    auto& values = rows.emplace_back();
    for (int column = 0; column < PQnfields(result.get()); ++column) {
      values.emplace_back(PQgetvalue(result.get(), row, column));
    }
  }
  return rows;
}

ThrowawayPostgres& Postgres() { return *environment_server; }

void ResetTables() {
  Postgres().Query(R"(
DO $$
DECLARE
  name text;
BEGIN
  FOR name IN SELECT schemaname || '.' || tablename FROM pg_tables WHERE (schemaname IN ('evidence', 'filemanager') AND tablename <> 'site')
              OR tablename IN ('incre_resource', 'operation_log') LOOP
    EXECUTE 'DELETE FROM ' || name;
  END LOOP;
  FOR name IN SELECT schemaname || '.' || sequencename FROM pg_sequences WHERE
              sequencename NOT IN ('users_id_seq', 'auth_event_id_seq') LOOP
    EXECUTE 'ALTER SEQUENCE ' || name || ' RESTART';
  END LOOP;
  INSERT INTO evidence.evidence_type (id) SELECT generate_series(0, 5);
  INSERT INTO evidence.evidence_custom (id, types) VALUES (1, 1), (2, 0), (3, 0);
  INSERT INTO evidence.ftp_setting (id) VALUES (0);
END $$)");
}

}  // namespace evidence_test
