// Sessions: their tokens and handles, their ends, and their routes.

#include <algorithm>
#include <regex>

#include "RealBackends.h"
#include "accounts/AccountStates.h"
#include "accounts/Authentication.h"
#include "accounts/SessionRoutes.h"
#include "accounts/SessionTokens.h"
#include "accounts/Users.h"
#include "http/HostProcess.h"
#include "http/RouteTable.h"
#include "platform/RequestContext.h"

namespace evidence_test {
namespace {

using host::Sessions;
using host::UserRecord;
using std::chrono::hours;
using std::chrono::minutes;
using testing::HasSubstr;
using testing::Not;

constexpr char kSiteKey[] = "0123456789abcdef0123456789abcdef";
constexpr char kAddress[] = "10.0.0.7";

/// Sessions under a clock that only a test moves.
class SessionsTest : public testing::Test {
 protected:
  Sessions::Opened Open(int user) { return sessions_.Open({.id = user, .name = std::to_string(user)}, kAddress); }
  /// How many sessions a user has.
  std::ptrdiff_t Count(int user) const {
    return std::ranges::count(sessions_.List(), user, [](const auto& state) { return state.session->user.id; });
  }

  Sessions::Clock::time_point now_{};
  Sessions sessions_{
      kSiteKey, {.idle = minutes(30), .age = hours(12), .limit = 30, .per_user = 20}, [this] { return now_; }};
};

TEST_F(SessionsTest, OnlyTheTokenItselfIsOne) {
  const auto opened = Open(1);
  ASSERT_TRUE(sessions_.Use(opened.token, kAddress));
  for (std::size_t bit = 0; bit < 8 * opened.token.size(); ++bit) {
    auto changed = opened.token;
    changed.at(bit / 8) = static_cast<char>(changed.at(bit / 8) ^ 1 << bit % 8);
    EXPECT_FALSE(sessions_.Use(changed, kAddress)) << bit;
  }
  const auto zeros = std::string(64, '0');
  for (const auto& other :
       {std::string(), opened.handle, opened.key, opened.token + "0", opened.handle + zeros, zeros + opened.handle,
        opened.token.substr(1), Open(1).token.substr(0, 64) + opened.token.substr(64)})
    EXPECT_FALSE(sessions_.Use(other, kAddress)) << other;
  EXPECT_TRUE(sessions_.Find(opened.handle));
  EXPECT_FALSE(sessions_.Find(opened.token));
  EXPECT_FALSE(sessions_.Find(""));
  const host::SessionTokens tokens(kSiteKey);
  EXPECT_TRUE(tokens.Check(opened.token));
  EXPECT_FALSE(host::SessionTokens(std::string(kSiteKey) + "x").Check(opened.token));
}

TEST_F(SessionsTest, EndWhenIdleAndWhenOld) {
  const auto used = Open(1);
  const auto found = Open(2);
  for (int time = 1; time <= 24; ++time) {
    now_ += minutes(29);
    EXPECT_TRUE(sessions_.Use(used.token, kAddress)) << time;
    EXPECT_EQ(sessions_.Find(found.handle) != nullptr, time == 1) << "finding does not put the end off";
  }
  now_ += minutes(24);
  EXPECT_FALSE(sessions_.Find(used.handle)) << "it is 12 hours old";
  EXPECT_FALSE(sessions_.Use(used.token, kAddress));
  EXPECT_FALSE(sessions_.End(used.handle));
}

TEST_F(SessionsTest, LoginsOfOneUserEndNoOthersSession) {
  for (const int user : {2, 3, 4})
    static_cast<void>(Open(user));
  const auto oldest = Open(1);
  const auto idle = Open(1);
  for (int login = 0; login < 10'000; ++login) {
    now_ += std::chrono::milliseconds(1);
    ASSERT_TRUE(sessions_.Use(oldest.token, kAddress)) << "of his own the longest idle one goes";
    ASSERT_EQ(sessions_.Find(idle.handle) != nullptr, login < 19);
    static_cast<void>(Open(1));
  }
  EXPECT_EQ(Count(1), 20);
  for (const int user : {2, 3, 4})
    EXPECT_EQ(Count(user), 1);
}

TEST_F(SessionsTest, WhenAllAreTakenHeWhoHasMostGivesWay) {
  for (int number = 0; number < 10; ++number)
    static_cast<void>(Open(1));
  for (int user = 2; user <= 21; ++user)
    static_cast<void>(Open(user));
  static_cast<void>(Open(2));
  EXPECT_EQ(Count(2), 1) << "who has one loses his own";
  EXPECT_EQ(Count(1), 10);
  static_cast<void>(Open(22));
  EXPECT_EQ(Count(22), 1);
  EXPECT_EQ(Count(1), 9);
}

TEST_F(SessionsTest, FollowTheirUsers) {
  const auto first = Open(1);
  const auto second = Open(2);
  const auto third = Open(3);
  const auto before = sessions_.Find(first.handle);
  UserRecord changed = before->user;
  changed.permissions = {{host::ClientKind::kWeb, 7}};
  sessions_.Follow({1, 2}, {{1, changed}, {3, {.id = 3, .session_epoch = 9}}});
  EXPECT_EQ(sessions_.Find(first.handle)->user.permissions, changed.permissions);
  EXPECT_EQ(sessions_.Find(first.handle)->key, first.key);
  EXPECT_THAT(before->user.permissions, testing::IsEmpty()) << "whoever holds one sees no change";
  EXPECT_FALSE(sessions_.Find(second.handle)) << "no longer enabled";
  EXPECT_TRUE(sessions_.Find(third.handle)) << "not asked for";
  sessions_.Follow({3}, {{3, {.id = 3, .session_epoch = 9}}});
  EXPECT_FALSE(sessions_.Find(third.handle));
}

TEST_F(SessionsTest, AnAddressBelongsToTheRequest) {
  const std::shared_ptr<Sessions> sessions(&sessions_, [](Sessions*) {});
  const auto backend = host::MakeAuthentication(sessions, nullptr);
  const auto handle = Open(1).handle;
  const auto addresses = [&] {
    const auto seen = backend->FindSession(handle);
    return seen->GetValClientAddress() + " " + seen->GetValLoginAddress();
  };
  EXPECT_EQ(addresses(), "10.0.0.7 10.0.0.7");
  const platform::RequestContext elsewhere{"10.0.0.8", "id"};
  const platform::RequestScope scope(elsewhere);
  EXPECT_EQ(addresses(), "10.0.0.8 10.0.0.7");
}

TEST_F(SessionsTest, ATextIsSealedOnPrivateConnectionsOnly) {
  host::RouteTable table(nullptr);
  host::RegisterSessionRoutes(table, std::shared_ptr<Sessions>(&sessions_, [](Sessions*) {}));
  EXPECT_EQ(table.Close(), "");
  const auto found = table.Find("POST", "/platform/v1/session/sealed");
  platform::HttpRequest request;
  request.session = Open(1).handle;
  request.body = R"({"Text":"secret"})";
  for (const bool is_private : {false, true}) {
    request.is_private = is_private;
    EXPECT_EQ(std::get<host::RouteTable::Match>(found).route->run(request).status, is_private ? 200U : 403U);
  }
}

/// With the accounts of a database.
class AccountStatesTest : public SessionsTest {
 protected:
  void SetUp() override {
    EnsureUser("wanda");
    Set("enabled = true");
    ASSERT_TRUE(manager_->Initialize(platform::kPlatformDbId, 2, 2, true));
  }
  static void Set(const std::string& what) {
    Postgres().Query("UPDATE platform.users SET " + what + " WHERE name = 'wanda'");
  }
  std::string OpenAfterTheCheck() {
    UserRecord user;
    EXPECT_EQ(host::CheckPassword("wanda", kPassword, user), host::PasswordOutcome::kRight);
    return sessions_.Open(user, kAddress).handle;
  }

  const std::shared_ptr<kelp::IDBManager> manager_ =
      platform::MakePostgresDBManager({.connection = Postgres().AppConnection()});
  const platform::ScopedBackend<kelp::IDBManager> installed_manager_{manager_};
  host::AccountStates accounts_{std::shared_ptr<Sessions>(&sessions_, [](Sessions*) {})};
};

TEST_F(AccountStatesTest, AChangeBetweenPasswordAndSessionCounts) {
  UserRecord user;
  ASSERT_EQ(host::CheckPassword("wanda", kPassword, user), host::PasswordOutcome::kRight);
  for (const char* const change : {"enabled = false", "session_epoch = session_epoch + 1"}) {
    Set(change);
    ASSERT_TRUE(accounts_.Refresh()) << "the follower is done with the change before there is a session";
    const auto late = sessions_.Open(user, kAddress).handle;
    ASSERT_TRUE(accounts_.Refresh());
    EXPECT_TRUE(sessions_.Find(late)) << "nothing has changed since: only the login itself can find out";
    ASSERT_TRUE(accounts_.RefreshUser(user.id));
    EXPECT_FALSE(sessions_.Find(late)) << change;
    Set("enabled = true");
  }
  manager_->UnInitialize(platform::kPlatformDbId);
  EXPECT_FALSE(accounts_.RefreshUser(user.id));
  EXPECT_FALSE(accounts_.Refresh());
}

TEST_F(AccountStatesTest, WhatRolesGiveReachesTheSession) {
  const auto handle = OpenAfterTheCheck();
  ASSERT_TRUE(accounts_.Refresh());
  Postgres().Query(
      "INSERT INTO platform.user_roles SELECT id, 'custodian' FROM platform.users WHERE name = 'wanda'"
      " ON CONFLICT (user_id, role) DO UPDATE SET granted = true");
  ASSERT_TRUE(accounts_.Refresh());
  EXPECT_TRUE(sessions_.Find(handle)->user.permissions.contains({host::ClientKind::kControl, 43}));
  EXPECT_TRUE(sessions_.Find(handle)->user.roles.contains("custodian"));
  Postgres().Query("UPDATE platform.user_roles SET granted = false");
  ASSERT_TRUE(accounts_.Refresh());
  EXPECT_FALSE(sessions_.Find(handle)->user.roles.contains("custodian"));
}

/// The routes, on a host whose log shows all there is.
class SessionRoutesTest : public testing::Test {
 protected:
  SessionRoutesTest() {
    EnsureTester();
    EnsureUser("boss");
    EnsureUser("olga", {"--web", "1423,9", "--control", "43"});
    Postgres().Query(
        "INSERT INTO platform.user_roles SELECT id, 'administrator' FROM platform.users WHERE name = 'boss'"
        " ON CONFLICT DO NOTHING");
    port_ = host_.WaitUntilListening();
    olga_ = Login(port_, "olga");
    boss_ = Login(port_, "boss");
  }

  /// "status body", times, request ids and numbers of users masked.
  std::string Answer(const std::string& method, const std::string& path, const std::string& session,
                     const std::string& body = "", const std::string& address = "127.0.0.1") const {
    const HttpConnection connection(port_, address);
    connection.Send(RequestText(method, path, session, body));
    const auto reply = connection.ReadReply();
    auto text = std::to_string(reply.status) + " " + reply.body;
    text = std::regex_replace(text, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ)"), "TIME");
    return std::regex_replace(text, std::regex(R"re("(user_id|idle_seconds)":\d+)re"), R"("$1":N)");
  }

  HostProcess host_{SettingsMap{{"plugins", "test_show.s.so"}, {"log_level", "1"}}};
  int port_ = 0;
  OpenedSession olga_;
  OpenedSession boss_;
};

TEST_F(SessionRoutesTest, EachRequestHasItsAnswer) {
  const std::string own = "/platform/v1/session";
  const std::string all = "/platform/v1/sessions";
  const std::string ends = R"("created":"TIME","idle_ends":"TIME","ends":"TIME"})";
  const std::string olgas =
      R"({"session":1,"user_name":"olga","login_address":"127.0.0.1","last_address":"127.0.0.2","idle_seconds":N,)" +
      ends;
  const std::string bosss =
      R"({"session":2,"user_name":"boss","login_address":"127.0.0.1","last_address":"127.0.0.1","idle_seconds":N,)" +
      ends;
  EXPECT_EQ(Answer("GET", own, olga_.id, "", "127.0.0.2"),
            R"(200 {"user_id":N,"user_name":"olga","must_change_password":false,"super_user":false,"permissions":[)"
            R"({"kind":"web","code":9,"words":""},{"kind":"web","code":1423,"words":"add evidence types"},)"
            R"({"kind":"control","code":43,"words":"confirm deletions"}],"roles":[],)" +
                ends);
  EXPECT_THAT(Answer("GET", own, boss_.id), HasSubstr(R"("permissions":[],"roles":["administrator"],)"));
  EXPECT_THAT(Answer("GET", own, Login(port_).id), HasSubstr(R"("super_user":true,"permissions":[{"kind":"web")"));
  EXPECT_EQ(Answer("GET", all + "?limit=2", boss_.id), R"(200 {"items":[)" + olgas + "," + bosss + R"(],"next":"2"})");
  EXPECT_THAT(Answer("GET", all + "?after=2", boss_.id),
              testing::AllOf(HasSubstr(R"("session":3,"user_name":"tester")"), Not(HasSubstr("next"))));
  EXPECT_EQ(Answer("GET", all + "?after=99", boss_.id), R"(200 {"items":[]})");
  EXPECT_EQ(Answer("GET", all + "/1", boss_.id), "200 " + olgas);
  const std::tuple<std::string, std::string, std::string, std::string, const char*> refused[] = {
      {"GET", own, "", "", "401"},
      {"GET", all, olga_.id, "", "403"},
      {"DELETE", all + "/2", olga_.id, "", "403"},
      {"GET", all + "?limit=0", boss_.id, "", "400"},
      {"GET", all + "?after=-1", boss_.id, "", "400"},
      {"GET", all + "/99", boss_.id, "", "404"},
      {"DELETE", all + "/x", boss_.id, "", "404"},
      {"POST", own + "/sealed", olga_.id, "{}", "400"},
      {"POST", own + "/sealed", olga_.id, "no json", "400"},
      {"POST", own + "/sealed", olga_.id, R"({"Text":")" + std::string(4097, 'x') + R"("})", "422"},
      {"POST", own + "/sealed", olga_.id, std::string(40'000, ' '), "413"},
  };
  for (const auto& [method, path, session, body, status] : refused)
    EXPECT_THAT(Answer(method, path, session, body), testing::StartsWith(std::string(status) + " ")) << method << path;
}

TEST_F(SessionRoutesTest, ALoginSaysThatThePasswordMustBeChanged) {
  EnsureUser("nina");
  Postgres().Query("UPDATE platform.users SET must_change_password = true WHERE name = 'nina'");
  EXPECT_THAT(Answer("POST", "/login", "", LoginText("nina", kPassword)),
              testing::MatchesRegex(R"(200 .*,"SessionKey":"[0-9a-f]+","MustChangePassword":true.)"));
}

TEST_F(SessionRoutesTest, ASealedTextIsOfTheSessionsOwnKey) {
  const auto answer = Answer("POST", "/platform/v1/session/sealed", olga_.id, R"({"Text":"it's \"mine\""})");
  std::smatch found;
  ASSERT_TRUE(std::regex_match(answer, found, std::regex(R"re(200 \{"Sealed":"([A-Za-z0-9+/=]+)"\})re"))) << answer;
  EXPECT_EQ(Openssl("-d -A", found[1], olga_.key), "it's \"mine\"");
}

TEST_F(SessionRoutesTest, AnAdministratorEndsAllButHisOwn) {
  const auto second = Login(port_, "olga");
  const std::string all = "/platform/v1/sessions";
  EXPECT_EQ(Answer("DELETE", all + "?user=nobody", boss_.id), R"(200 {"ended":0})");
  EXPECT_EQ(Answer("DELETE", all + "?user=olga", boss_.id), R"(200 {"ended":2})");
  for (const auto& session : {olga_, second})
    EXPECT_THAT(Answer("GET", all, session.id), testing::StartsWith("401 "));
  const auto other = Login(port_);
  EXPECT_EQ(Answer("DELETE", all, boss_.id), R"(200 {"ended":1})");
  EXPECT_THAT(Answer("GET", all, other.id), testing::StartsWith("401 "));
  EXPECT_THAT(Answer("GET", all, boss_.id), testing::StartsWith("200 "));
}

TEST_F(SessionRoutesTest, EndsAreAtOnceAndNoSecretIsLogged) {
  EXPECT_EQ(Answer("POST", "/Note", olga_.id), "200 noted");
  EXPECT_EQ(Answer("POST", "/Note", olga_.id, "", "127.0.0.2"), "200 noted");
  EXPECT_EQ(Postgres().Query("SELECT user_name || '@' || client_address FROM platform.operation_log"
                             " WHERE log_type = 77 ORDER BY id"),
            (Rows{{"olga@127.0.0.1"}, {"olga@127.0.0.2"}}));
  Postgres().Query("DELETE FROM platform.auth_event");
  const auto second = Login(port_, "olga");
  EXPECT_EQ(Answer("DELETE", "/platform/v1/session", olga_.id), "204 ");
  EXPECT_EQ(Answer("DELETE", "/platform/v1/sessions/3", boss_.id), "204 ");
  for (const auto& session : {olga_, second})
    EXPECT_EQ(Answer("GET", "/Echo", session.id), R"(401 {"Error":"no session"})");
  EXPECT_EQ(Answer("GET", "/Echo", boss_.id), "200 4 []");
  EXPECT_EQ(host_.Stop().exit_code, 0);
  EXPECT_EQ(Postgres().Query("SELECT concat_ws('|', kind, user_name, done_by, client_address) FROM platform.auth_event"
                             " ORDER BY id"),
            (Rows{{"login|olga||127.0.0.1"}, {"logout|olga||127.0.0.1"}, {"session_ended|olga|boss|127.0.0.1"}}));
  const auto log = host_.Log();
  std::smatch found;
  ASSERT_TRUE(std::regex_search(log, found, std::regex("login: user olga, client 127.0.0.1, session ([0-9a-f]{32})")));
  EXPECT_THAT(log, HasSubstr("log-out: user olga, client 127.0.0.1, session " + found[1].str()));
  for (const auto& session : {olga_, second, boss_}) {
    for (const auto& secret : {session.id, session.id.substr(0, 64), session.id.substr(64), session.key})
      EXPECT_THAT(log, Not(HasSubstr(secret)));
  }
}

}  // namespace
}  // namespace evidence_test
