// Who may call what: every path, every method, every kind of caller.

#include <array>

#include "http/AllRoutes.h"
#include "http/HostProcess.h"

namespace evidence_test {
namespace {

/// Who gets to a route.
enum class Who {
  kNobody,
  kAnybody,
  kSession,
  /// Also who must change the password first.
  kAnySession,
  /// Who may add or change evidence.
  kUploader,
  kAdministrator,
  kAuditor
};
using enum Who;

constexpr std::array kMethods = {"GET", "HEAD", "QUERY", "PUT", "POST", "PATCH", "DELETE", "OPTIONS", "BREW"};

struct Row {
  std::string path;
  /// In the order of kMethods.
  std::array<Who, kMethods.size()> who;
};

const Row kHostRows[] = {
    // clang-format off
    //                                GET             HEAD            QUERY    PUT          POST            PATCH           DELETE          OPTIONS  BREW
    {"/login",                       {kNobody,        kNobody,        kNobody, kNobody,     kAnybody,       kNobody,        kNobody,        kNobody, kNobody}},
    {"/live",                        {kAnybody,       kAnybody,       kNobody, kNobody,     kNobody,        kNobody,        kNobody,        kNobody, kNobody}},
    {"/ready",                       {kAnybody,       kAnybody,       kNobody, kNobody,     kNobody,        kNobody,        kNobody,        kNobody, kNobody}},
    {"/platform/v1/session",         {kSession,       kSession,       kNobody, kNobody,     kNobody,        kNobody,        kAnySession,    kNobody, kNobody}},
    {"/platform/v1/session/sealed",  {kNobody,        kNobody,        kNobody, kNobody,     kSession,       kNobody,        kNobody,        kNobody, kNobody}},
    {"/platform/v1/session/password",{kNobody,        kNobody,        kNobody, kAnySession, kNobody,        kNobody,        kNobody,        kNobody, kNobody}},
    {"/platform/v1/sessions",        {kAdministrator, kAdministrator, kNobody, kNobody,     kNobody,        kNobody,        kAdministrator, kNobody, kNobody}},
    {"/platform/v1/sessions/{n}",    {kAdministrator, kAdministrator, kNobody, kNobody,     kNobody,        kNobody,        kAdministrator, kNobody, kNobody}},
    {"/platform/v1/users",           {kAdministrator, kAdministrator, kNobody, kNobody,     kAdministrator, kNobody,        kNobody,        kNobody, kNobody}},
    {"/platform/v1/users/{id}",      {kAdministrator, kAdministrator, kNobody, kNobody,     kNobody,        kAdministrator, kNobody,        kNobody, kNobody}},
    {"/platform/v1/auth-events",     {kAuditor,       kAuditor,       kNobody, kNobody,     kNobody,        kNobody,        kNobody,        kNobody, kNobody}},
    {"/platform/v1/requests",        {kAuditor,       kAuditor,       kNobody, kNobody,     kNobody,        kNobody,        kNobody,        kNobody, kNobody}},
    {"/platform/v1/evidence",        {kSession,       kSession,       kNobody, kNobody,     kSession,       kNobody,        kNobody,        kNobody, kNobody}},
    {"/platform/v1/evidence/{id}",   {kSession,       kSession,       kNobody, kNobody,     kNobody,        kSession,       kNobody,        kNobody, kNobody}},
    {"/platform/v1/statistics",      {kSession,       kSession,       kNobody, kNobody,     kNobody,        kNobody,        kNobody,        kNobody, kNobody}},
    {"/platform/v1/files",           {kSession,       kSession,       kNobody, kUploader,   kUploader,      kNobody,        kNobody,        kNobody, kNobody}},
    {"/platform/v1/files/{id}",      {kSession,       kSession,       kNobody, kNobody,     kNobody,        kUploader,      kUploader,      kNobody, kNobody}},
    {"/platform/v1/files/{id}/info", {kSession,       kSession,       kNobody, kNobody,     kNobody,        kNobody,        kNobody,        kNobody, kNobody}},
    {"/platform/v1/files/{id}/ticket",{kNobody,       kNobody,        kNobody, kNobody,     kSession,       kNobody,        kNobody,        kNobody, kNobody}},
    {"/platform/v1/files/t/{ticket}",{kAnybody,       kAnybody,       kNobody, kNobody,     kNobody,        kNobody,        kNobody,        kNobody, kNobody}},
    // clang-format on
};
/// The plugin gets these for each of its paths, and answers itself for those that it does not serve.
constexpr std::array<Who, kMethods.size()> kPluginRow = {kSession, kNobody,  kSession, kSession, kSession,
                                                         kNobody,  kSession, kNobody,  kNobody};

enum class Token { kNone, kWrong, kHandle, kEnded, kOfUser };

struct Caller {
  std::string name;
  Token token = Token::kOfUser;
  std::set<Who> is = {};
  bool must_change = false;
};
const Caller kCallers[] = {
    {"nobody", Token::kNone},
    {"a wrong token", Token::kWrong},
    {"operator", Token::kHandle},
    {"operator", Token::kEnded},
    {"newcomer", Token::kOfUser, {}, true},
    {"plain"},
    {"operator", Token::kOfUser, {kUploader}},
    {"supervisor", Token::kOfUser, {kUploader}},
    {"custodian"},
    {"auditor", Token::kOfUser, {kAuditor}},
    {"administrator", Token::kOfUser, {kAdministrator}},
    {"tester", Token::kOfUser, {kUploader, kAuditor, kAdministrator}},
};

constexpr int kGetsThere = 0;

/// The status of the refusal, or kGetsThere.
int Expected(const Caller& caller, Who who, const std::string& path) {
  const bool has_session = caller.token == Token::kOfUser;
  const bool is_of_table = path.starts_with("/platform/v1/");
  if (who == kAnybody) return kGetsThere;
  if (who == kNobody) return is_of_table && !has_session ? 401 : 405;
  if (!has_session) return 401;
  if (caller.must_change && who != kAnySession) return 403;
  const bool needs_role = who == kUploader || who == kAdministrator || who == kAuditor;
  return needs_role && !caller.is.contains(who) ? 403 : kGetsThere;
}

class AccessTest : public testing::Test {
 protected:
  void SetUp() override {
    EnsureTester();
    EnsureUser("plain");
    EnsureUser("newcomer", {"--must-change"});
    for (const char* const role : {"operator", "supervisor", "custodian", "auditor", "administrator"})
      EnsureUser(role, {"--role", role});
    ResetTables();
    host_.WaitUntilListening();
  }

  /// A session of the caller's own, as DELETE ends it.
  std::string TokenOf(const Caller& caller) {
    if (caller.token == Token::kNone) return "";
    if (caller.token == Token::kWrong) return std::string(96, 'a');
    const auto token = Login(host_.port(), caller.name).id;
    if (caller.token == Token::kEnded) {
      EXPECT_EQ(Ask(host_.port(), "DELETE", "/platform/v1/session", token).status, 204);
    }
    return caller.token == Token::kHandle ? NewestHandleOf(caller.name) : token;
  }
  std::string NewestHandleOf(const std::string& name) {
    std::string handle;
    EXPECT_TRUE(Eventually([&] {
      const auto log = host_.Log();
      const auto at = log.rfind("login: user " + name + ", ");
      if (at != std::string::npos) handle = log.substr(log.find("session ", at) + 8, 32);
      return at != std::string::npos;
    }));
    return handle;
  }

  void Call(const Caller& caller, const Row& row) {
    const auto path = std::regex_replace(row.path, std::regex("\\{[a-z]+\\}"), "999999999");
    auto token = TokenOf(caller);
    for (std::size_t i = 0; i < kMethods.size(); ++i) {
      const std::string method = kMethods[i];
      const HttpConnection connection(host_.port());
      connection.Send(RequestText(method, path, token, method == "HEAD" || method == "GET" ? "" : "{}"));
      const int status = method == "HEAD" ? connection.ReadHead().status : connection.ReadReply().status;
      const bool refused = status == 401 || status == 403 || status == 405 || status == 0;
      const bool ended_itself = row.path == "/platform/v1/session" && method == "DELETE" && status == 204;
      // A login of nobody is refused, too.
      const bool is_login = row.path == "/login" && method == "POST";
      EXPECT_EQ(refused && !is_login ? status : kGetsThere, Expected(caller, row.who[i], row.path))
          << caller.name << " " << static_cast<int>(caller.token) << ": " << method << " " << row.path << " " << status;
      if (ended_itself) token = TokenOf(caller);
    }
  }

  HostProcess host_{SettingsMap{{"log_level", "3"}}};
};

TEST_F(AccessTest, EachCallerGetsWhereHeMay) {
  std::vector<Row> rows(std::begin(kHostRows), std::end(kHostRows));
  std::set<std::string> of_table;
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < kMethods.size(); ++i) {
      // GET answers HEAD, too.
      if (row.who[i] != kNobody && std::string_view(kMethods[i]) != "HEAD")
        of_table.insert(kMethods[i] + (" " + row.path));
    }
  }
  EXPECT_EQ(of_table, RoutesOfTheTable()) << "a route has no row here";
  std::set<std::string> plugin_paths;
  for (const auto& route : RoutesOfThePlugin())
    plugin_paths.insert(route.substr(route.find('/')));
  for (const auto& path : plugin_paths)
    rows.push_back({path, kPluginRow});
  for (const auto& caller : kCallers) {
    for (const auto& row : rows)
      Call(caller, row);
  }
}

TEST_F(AccessTest, PathsThatAreNotThereTellNothingWithoutASession) {
  const auto session = Login(host_.port(), "plain").id;
  for (const char* const path : {"/platform/v1/", "/platform/v1/nothing", "/platform/v1/users/1/x", "/x",
                                 "/TRELL/Halyard/Evidence/V1/Evidence/x", "/login/", "/platform/v1/session/"}) {
    EXPECT_EQ(Ask(host_.port(), "GET", path, "").status, 401) << path;
    EXPECT_EQ(Ask(host_.port(), "GET", path, session).status, 404) << path;
  }
}

}  // namespace
}  // namespace evidence_test
