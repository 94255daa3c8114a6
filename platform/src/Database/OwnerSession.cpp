#include "OwnerSession.h"

#include <libpq-fe.h>

#include <cstdlib>
#include <string_view>

#include "Characters.h"
#include "PostgresConnection.h"

namespace platform {
namespace {

struct FreeOptions {
  void operator()(PQconninfoOption* options) const { PQconninfoFree(options); }
};

/// A value of a connection string.
std::string Quoted(std::string_view value) {
  std::string quoted = "'";
  for (const char c : value) {
    if (c == '\'' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "'";
}

}  // namespace

OwnerSession::OwnerSession(const std::string& connection)
    : connection_(connection), session_(std::make_unique<database::PostgresConnection>(connection)) {}

OwnerSession::~OwnerSession() = default;

// A command takes as long as it takes, whatever the role is granted.
constexpr char kSqlNoLimits[] =
    "SET statement_timeout = 0; SET lock_timeout = 0; SET idle_in_transaction_session_timeout = 0";

std::string OwnerSession::Open() {
  if (!session_->MakeReady() || !session_->Run(kSqlNoLimits)) return session_->Fault();
  return database::CheckCharacters(*session_);
}

std::string OwnerSession::Run(const std::string& sql, Rows* rows) {
  const database::PostgresResult result = session_->Run(sql);
  if (!result) return session_->Fault();
  if (rows == nullptr) return {};
  rows->assign(result->Rows(), {});
  for (std::size_t row = 0; row < result->Rows(); ++row) {
    for (std::size_t column = 0; column < result->Columns(); ++column)
      rows->at(row).emplace_back(result->Field(row, column));
  }
  return {};
}

std::string OwnerSession::ReadAccess(Access& access) const {
  access = {.words = "application_name='evidence-host'", .environment = {}};
  // The client programs of Debian else look for a server of this machine, and for the version of that one.
  if (std::getenv("PGHOST") == nullptr) access.environment.emplace_back("PGHOST", session_->HostName());
  // Like a connection: without an equals sign and no address, the text is a database's name.
  const bool is_name = !connection_.empty() && connection_.find('=') == std::string::npos &&
                       connection_.find("://") == std::string::npos;
  const auto text = is_name ? "dbname=" + Quoted(connection_) : connection_;
  const std::unique_ptr<PQconninfoOption, FreeOptions> options(PQconninfoParse(text.c_str(), nullptr));
  if (!options) return "the connection string cannot be read";
  for (const PQconninfoOption* option = options.get(); option->keyword != nullptr; ++option) {
    if (option->val == nullptr) continue;
    if (std::string_view(option->dispchar) != "*") {
      access.words += std::string(" ") + option->keyword + "=" + Quoted(option->val);
    } else if (option->envvar != nullptr) {
      access.environment.emplace_back(option->envvar, option->val);
    } else {
      return std::string(option->keyword) + " in a connection string cannot be handed to another program";
    }
  }
  return {};
}

std::string SqlName(const std::string& name) {
  std::string quoted = "\"";
  for (const char c : name)
    quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

}  // namespace platform
