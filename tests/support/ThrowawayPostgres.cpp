#include "support/ThrowawayPostgres.h"

#include <libpq-fe.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "DatabaseSetup.h"

namespace evidence_test {
namespace {

std::unique_ptr<ThrowawayPostgres> environment_server;

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

std::string MakeFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "evidence-pg-XXXXXX").string();
  if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder " + name);
  return name;
}

/// A process in a session of its own, which no signal to this one's group reaches. It waits for the end of its input.
/// Whoever reads this program's output to its end must not wait for it.
std::FILE* StartWatcher(const std::string& folder) {
  return Open("exec setsid sh -c 'cat; exec \"$0\" remove \"$1\"' '" PRIVATE_POSTGRES_SCRIPT "' '" + folder +
                  "' >/dev/null 2>&1",
              "we");
}

}  // namespace

ThrowawayPostgres::ThrowawayPostgres() : folder_(MakeFolder()), watcher_(StartWatcher(folder_)) { Start(); }

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

void ThrowawayPostgres::Stop() const { RunScript("stop", folder_); }

void ThrowawayPostgres::Start() { owner_connection_ = RunScript("start", folder_); }

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

void PostgresEnvironment::SetUp() {
  try {
    environment_server = std::make_unique<ThrowawayPostgres>();
    environment_server->SetUp();
  } catch (const std::exception& fault) {
    FAIL() << "no database to test with: " << fault.what();
  }
}

void PostgresEnvironment::TearDown() { environment_server.reset(); }

ThrowawayPostgres& Postgres() { return *environment_server; }

}  // namespace evidence_test
