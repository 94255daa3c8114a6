#include "DatabaseSetup.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>

#include "Characters.h"
#include "PostgresConnection.h"

namespace platform {
namespace database {
namespace {

/// The scripts' paths by number.
using Scripts = std::map<int, std::filesystem::path>;

/// The number of a name of the form NNN_*.sql.
std::optional<int> ScriptNumber(const std::filesystem::path& path) {
  constexpr std::size_t kDigits = 3;
  const std::string name = path.filename().string();
  int number = 0;
  const auto [end, fault] = std::from_chars(name.data(), name.data() + std::min(kDigits, name.size()), number);
  if (fault != std::errc() || end != name.data() + kDigits || name.size() <= kDigits || name[kDigits] != '_' ||
      path.extension() != ".sql" || number < 1) {
    return std::nullopt;
  }
  return number;
}

std::string ListScripts(const std::string& directory, Scripts& scripts) {
  std::error_code fault;
  std::filesystem::directory_iterator entry(directory, fault);
  for (; !fault && entry != std::filesystem::directory_iterator(); entry.increment(fault)) {
    const auto number = entry->is_regular_file(fault) ? ScriptNumber(entry->path()) : std::nullopt;
    if (number && !scripts.emplace(*number, entry->path()).second) {
      return "two scripts have the number of " + entry->path().string();
    }
  }
  if (fault) return directory + ": " + fault.message();
  return scripts.empty() ? directory + ": no scripts NNN_*.sql" : std::string();
}

/// One set-up run; each step returns its fault, or "".
class Setup {
 public:
  Setup(const std::string& connection, const Scripts& scripts, std::filesystem::path every_time)
      : connection_(connection), scripts_(scripts), every_time_(std::move(every_time)) {}

  std::string Run();
  int Version() const { return scripts_.rbegin()->first; }
  int Applied() const { return applied_; }
  const std::vector<std::string>& Remarks() const { return remarks_; }

 private:
  std::string RunText(const std::string& text) { return connection_.Run(text) ? std::string() : connection_.Fault(); }
  std::string ReadApplied(std::set<int>& numbers);
  std::string RunScript(const std::filesystem::path& path);
  std::string NoteApplied(int number);

  PostgresConnection connection_;
  const Scripts& scripts_;
  const std::filesystem::path every_time_;
  int applied_ = 0;
  std::vector<std::string> remarks_;
};

// The first key identifies this program, the second one of its locks. The role may be one with time limits.
constexpr char kSqlTakeTurn[] =
    "BEGIN ISOLATION LEVEL READ COMMITTED; SET LOCAL statement_timeout = 0; SET LOCAL lock_timeout = 0; "
    "SELECT pg_advisory_xact_lock(711, 1)";

std::string Setup::Run() {
  if (!connection_.MakeReady()) return connection_.Fault();
  std::set<int> done;
  if (auto fault = RunText(kSqlTakeTurn); !fault.empty()) return fault;
  if (auto fault = CheckCharacters(connection_); !fault.empty()) return fault;
  if (auto fault = ReadApplied(done); !fault.empty()) return fault;
  for (const auto& [number, path] : scripts_) {
    if (done.contains(number)) continue;
    if (auto fault = RunScript(path); !fault.empty()) return fault;
    if (auto fault = NoteApplied(number); !fault.empty()) return fault;
  }
  if (auto fault = RunScript(every_time_); !fault.empty()) return fault;
  remarks_ = connection_.Warnings();
  return RunText("COMMIT");
}

constexpr char kSqlHasVersions[] = "SELECT count(to_regclass('platform.schema_version')) AS tables";
constexpr char kSqlVersions[] = "SELECT version FROM platform.schema_version";

std::string Setup::ReadApplied(std::set<int>& numbers) {
  const PostgresResult made = connection_.Run(kSqlHasVersions);
  if (!made) return connection_.Fault();
  if (PostgresResultSet(made.get()).GetInt("tables") == 0) return {};
  const PostgresResult versions = connection_.Run(kSqlVersions);
  if (!versions) return connection_.Fault();
  for (PostgresResultSet rows(versions.get()); !rows.IsEof(); rows.Next())
    numbers.insert(rows.GetInt("version"));
  if (!numbers.empty() && *numbers.rbegin() > Version()) {
    return "the database is at version " + std::to_string(*numbers.rbegin()) + ", newer than this program's " +
           std::to_string(Version());
  }
  return {};
}

std::string Setup::RunScript(const std::filesystem::path& path) {
  const std::string name = path.filename().string() + ": ";
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  if (!file.is_open() || text.fail()) return name + "cannot be read, or is empty";
  if (auto fault = RunText(text.str()); !fault.empty()) return name + fault;
  return connection_.InTransaction() ? std::string() : name + "the script ended the transaction";
}

std::string Setup::NoteApplied(int number) {
  ++applied_;
  return RunText("INSERT INTO platform.schema_version (version) VALUES (" + std::to_string(number) + ")");
}

}  // namespace
}  // namespace database

SetupResult SetUpDatabase(const std::string& owner_connection, const std::string& sql_directory) {
  database::Scripts scripts;
  SetupResult result;
  result.fault = database::ListScripts(sql_directory, scripts);
  if (!result.fault.empty()) return result;
  database::Setup setup(owner_connection, scripts, std::filesystem::path(sql_directory) / "every_setup.sql");
  result.fault = setup.Run();
  result.ok = result.fault.empty();
  if (!result.ok) return result;
  result.version = setup.Version();
  result.applied = setup.Applied();
  result.remarks = setup.Remarks();
  return result;
}

std::string NewestSchemaVersion(const std::string& sql_directory, int& version) {
  database::Scripts scripts;
  if (auto fault = database::ListScripts(sql_directory, scripts); !fault.empty()) return fault;
  version = scripts.rbegin()->first;
  return {};
}

}  // namespace platform
