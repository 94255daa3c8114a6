// docs/api.md beside what a host answers: its examples, sent in the order of the page, its scripts and its tables.

#include <array>
#include <cstdlib>
#include <regex>

#include "http/ApiPage.h"
#include "http/HostProcess.h"
#include "http/InstalledCopy.h"
#include "impl/Evidence/Limits.h"
#include "platform/ErrorWords.h"

namespace evidence_test {
namespace {

/// The key that the page shows, under which the sealed texts of its requests are enciphered.
constexpr char kShownKey[] = "10e7fb5a105790f2a571778d1fd1a00014b3c31cdc746c3db9a7392b262d9d5c";
constexpr char kShownTicket[] = "/platform/v1/files/t/1.1795512000.0f8c...";
constexpr char kShownETag[] = "\"shown-tag\"";
constexpr char kShownHost[] = "http://127.0.0.1:8080";

/// What differs from run to run, and what the page shows instead.
std::string Masked(std::string text) {
  const std::pair<const char*, std::string> masks[] = {
      {R"("SessionID":"[^"]*")", R"("SessionID":"...")"},
      {R"("SessionKey":"[^"]*")", R"("SessionKey":")" + std::string(kShownKey) + "\""},
      {R"("GUID":"[^"]*")", R"("GUID":"763DDA2B-C439-4C27-8CD2-A6340909DC7D")"},
      {R"("Sealed":"[^"]*")", R"("Sealed":"U2FsdGVkX19Iv3/xIvMjeQxxwMzTg+prHXLGr1YU7AR0Ql1M0KrwGkgDjAJNGe8i")"},
      {R"re("(CreateTime|Time)":"\d[^"]*")re", R"("$1":"2026-11-23T09:30:00+00:00")"},
      {R"re("(created|create_time|update_time|time|as_of|opened_at|received_at|checked_at)":"\d[^"]*")re",
       R"("$1":"2026-11-23T09:30:00Z")"},
      {R"("path":"/platform/v1/files/t/[^"]*")", "\"path\":\"" + std::string(kShownTicket) + "\""},
      {R"("day":"[^"]*")", R"("day":"2026-11-23")"},
      {R"("password":"[^"]*")", R"("password":"...")"},
      {R"("session":"[0-9a-f]{32}")", R"("session":"0f8c1e5b7a2d4936b1c07e9d5a3f2846")"},
      {R"("id":"\d+")", R"("id":"17")"},
      {R"re(\{"id":\d+,"time")re", R"({"id":41,"time")"},
      {R"("idle_ends":"[^"]*")", R"("idle_ends":"2026-11-23T10:00:00Z")"},
      {R"("ends":"[^"]*")", R"("ends":"2026-11-23T21:30:00Z")"},
      {R"("idle_seconds":\d+)", R"("idle_seconds":0)"},
      {R"("request_id":"[^"]*")", R"("request_id":"5b1f0c7d2a9e-1f")"},
      {"ETag: .*", "ETag: " + std::string(kShownETag)},
      {"X-Request-Id: [0-9a-f]{12}-[0-9a-f]+", "X-Request-Id: 5b1f0c7d2a9e-1f"},
  };
  for (const auto& [pattern, shown] : masks)
    text = std::regex_replace(text, std::regex(pattern), shown);
  return text;
}

Lines Split(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);)
    lines.push_back(line);
  return lines;
}

/// Method and path, headers, a body, an empty line, the answer with headers that matter.
struct Example {
  std::string method;
  std::string path;
  Lines headers;
  std::string body;
  /// Index of the first line of the answer.
  std::size_t answer_at = 0;
  Lines answer;
};

Example ExampleOf(const Lines& lines) {
  Example example;
  std::istringstream(lines.at(0)) >> example.method >> example.path;
  std::size_t i = 1;
  static const std::regex kHeader("[A-Z][A-Za-z-]+: .*");
  for (; i < lines.size() && std::regex_match(lines[i], kHeader); ++i)
    example.headers.push_back(lines[i]);
  for (; i < lines.size() && !lines[i].empty(); ++i)
    example.body += (example.body.empty() ? "" : "\n") + lines[i];
  example.answer_at = std::min(i + 1, lines.size());
  example.answer.assign(lines.begin() + static_cast<std::ptrdiff_t>(example.answer_at), lines.end());
  return example;
}

class ExamplesTest : public testing::Test {
 protected:
  void SetUp() override {
    AddUser("clara", {"--web", "1423,1424,1425,1427,1428,1429", "--cs", "41,44", "--control", "43"});
    AddUser("guest", {});
    AddUser("anna", {"--role", "administrator", "--role", "auditor"});
    ASSERT_EQ(RunHost({"cameras", "load", CAMERA_SAMPLE}).exit_code, 0);
  }
  void TearDown() override { page_.Finish(); }

  static std::string PasswordOf(const std::string& name) { return name + "'s password"; }

  static void AddUser(const std::string& name, std::vector<std::string> options) {
    options.insert(options.begin(), {"user", "add", name, "--password-stdin"});
    const auto added = RunHost(options, PasswordOf(name));
    ASSERT_TRUE(added.exit_code == 0 || added.err.find("already") != std::string::npos) << added.err;
  }

  /// The lines of the host that ends now are kept, with what must be in none of them.
  void KeepLog() {
    if (!host_) return;
    for (const auto& [user, session] : sessions_)
      secrets_.insert({session.id, session.id.substr(0, session.id.size() / 2),
                       session.id.substr(session.id.size() / 2), session.key});
    host_->Stop();
    log_ += host_->Log();
  }

  void StartAnew() {
    KeepLog();
    host_.reset();
    ResetTables();
    Postgres().Query("DELETE FROM platform.request_log");
    sessions_.clear();
    user_ = "clara";
    host_ =
        std::make_unique<HostProcess>(SettingsMap{{"log_level", "1"}}, std::vector<std::string>(), "", copy_.Host());
    host_->WaitUntilListening();
  }

  /// The session of `user_`, opened when there is none.
  OpenedSession SessionNow() {
    if (user_.empty()) return {};
    auto& session = sessions_[user_];
    if (session.id.empty()) {
      const auto answer = Ask(host_->port(), "POST", "/login", "", LoginText(user_, PasswordOf(user_))).body;
      std::smatch found;
      EXPECT_TRUE(std::regex_search(answer, found, std::regex(R"re("SessionID":"(.*?)","SessionKey":"(.*?)")re")));
      session = {found[1], found[2]};
    }
    return session;
  }

  /// The text with what is sealed under the shown key sealed under that of the session.
  static std::string SealedAnew(const std::string& text, const std::string& key) {
    std::smatch found;
    if (!std::regex_search(text, found, std::regex("U2F[^\"]*"))) return text;
    const auto plain = Openssl("-A -d", found[0], kShownKey);
    return found.prefix().str() + Openssl("-A", plain, key) + found.suffix().str();
  }

  HttpReply Send(const Example& example) {
    const auto session = SessionNow();
    auto head = RequestHead(example.method, example.path == kShownTicket ? ticket_ : example.path, session.id);
    for (const auto& header : example.headers)
      head += std::regex_replace(header, std::regex(kShownETag), tag_) + "\r\n";
    const HttpConnection connection(host_->port());
    if (example.body == "(a body of 9 MB)") {
      connection.Send(head + "Content-Length: 9000000\r\n\r\n");
    } else {
      const auto body = SealedAnew(example.body, session.key);
      connection.Send(head + (body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n") + "\r\n" +
                      body);
    }
    auto reply = connection.ReadReply();
    std::smatch made;
    if (std::regex_search(reply.body, made, std::regex(R"re("password":"(.*?)")re"))) secrets_.insert(made[1]);
    if (std::regex_search(reply.body, made, std::regex(R"re("path":"(/platform/v1/files/t/.*?)")re"))) {
      ticket_ = made[1];
      secrets_.insert(ticket_);
    }
    last_path_ = example.path;
    if (reply.headers.contains("ETag")) tag_ = reply.headers["ETag"];
    return reply;
  }

  void Play(const ApiPage::Step& step) {
    const auto example = ExampleOf(step.lines);
    for (; times_before_ > 0; --times_before_)
      Send(example);
    auto reply = Send(example);
    auto answer = std::to_string(reply.status) + (reply.body.empty() ? "" : " " + reply.body);
    for (std::size_t i = 1; i < example.answer.size(); ++i) {
      const auto name = example.answer[i].substr(0, example.answer[i].find(": "));
      answer.append("\n").append(name).append(": ").append(reply.headers[name]);
    }
    page_.Expect(step.begin + example.answer_at, example.answer, Split(Masked(answer)));
  }

  /// What a comment of the page says: requests that the reader need not see, or who and where the next examples are.
  void Obey(const Lines& lines) {
    static const std::map<std::string, void (ExamplesTest::*)()> kWords{
        {"a fresh host", &ExamplesTest::StartAnew},
        {"without a session", &ExamplesTest::LeaveOut},
        {"without the database", &ExamplesTest::StopDatabase},
        {"with the database", &ExamplesTest::StartDatabase},
        {"when that is noted", &ExamplesTest::WaitForNote},
    };
    const auto& word = lines.at(0);
    if (word.starts_with("as ")) {
      user_ = word.substr(3);
    } else if (word.ends_with(" times before")) {
      times_before_ = std::stoi(word);
    } else if (const auto found = kWords.find(word); found != kWords.end()) {
      (this->*found->second)();
    } else {
      for (auto line = lines.begin(); line != lines.end();) {
        const auto end = std::find(line, lines.end(), "");
        const auto reply = Send(ExampleOf({line, end}));
        EXPECT_TRUE(reply.status < 300 && reply.body.find(R"("ErrorCode":)") == reply.body.find(R"("ErrorCode":0)"))
            << *line << "\n"
            << reply.status << reply.body;
        line = end == lines.end() ? end : end + 1;
      }
    }
  }

  void LeaveOut() { user_.clear(); }
  void WaitForState(int status) {
    ASSERT_TRUE(Eventually([&] { return Ask(host_->port(), "GET", "/ready", "").status == status; }));
  }
  void StopDatabase() {
    SessionNow();
    Postgres().Stop();
    WaitForState(503);
  }
  void StartDatabase() {
    Postgres().Start();
    WaitForState(200);
  }

  void WaitForNote() {
    ASSERT_TRUE(Eventually([this] {
      return Postgres().Value("SELECT count(*) FROM platform.request_log WHERE path = '" + last_path_ + "'") != "0";
    }));
  }

  std::string Address() const { return "http://127.0.0.1:" + std::to_string(host_->port()); }

  /// Tokens, keys, passwords and their hashes, in the forms in which they travel or are stored.
  void ExpectNoSecretInTheLog() {
    for (const char* const name : {"clara", "guest", "anna"})
      secrets_.insert({PasswordOf(name), Run("base64 -w 0 " + scripts_.Write("plain", PasswordOf(name)))});
    for (const auto& row : Postgres().Query("SELECT password_hash FROM platform.users"))
      secrets_.insert({row.at(0), row.at(0).substr(row.at(0).rfind('$') + 1)});
    secrets_.insert("0123456789abcdef0123456789abcdef");  // PutTestKey
    EXPECT_THAT(log_, testing::HasSubstr("INSERT INTO platform.users")) << "statements are logged";
    EXPECT_GT(secrets_.size(), 20U);
    for (const auto& secret : secrets_) {
      ASSERT_GT(secret.size(), 8U) << secret;
      EXPECT_EQ(log_.find(secret), std::string::npos) << secret;
    }
  }

  /// What a command prints, on standard error, too, and its exit code when that is not 0. There is no terminal.
  std::string Run(const std::string& command) {
    const int status = std::system((command + " </dev/null >" + scripts_.path() + "/out 2>&1").c_str());
    return scripts_.Read("out") + (status == 0 ? "" : "exit " + std::to_string(WEXITSTATUS(status)));
  }
  std::string Run(const std::string& program, const Lines& script) {
    return Run(program + " " +
               scripts_.Write("script", std::regex_replace(Joined(script), std::regex(kShownHost), Address())));
  }

  ApiPage page_{API_PAGE};
  /// Of all hosts so far, at level 1.
  std::string log_;
  std::set<std::string> secrets_;
  const ScratchFolder scripts_;
  const InstalledCopy copy_{EVIDENCE_HOST};
  std::unique_ptr<HostProcess> host_;
  /// Who asks; nobody when it is empty.
  std::string user_;
  std::map<std::string, OpenedSession> sessions_;
  /// How often the next example's request is sent before.
  int times_before_ = 0;
  std::string last_path_;
  /// The newest path with a ticket, for which the page shows kShownTicket.
  std::string ticket_;
  /// The newest ETag, for which the page shows kShownETag.
  std::string tag_;
};

TEST_F(ExamplesTest, EachExampleIsWhatAHostAnswers) {
  StartAnew();
  int examples = 0;
  int scripts = 0;
  std::string printed;
  for (const auto& step : page_.Steps()) {
    SCOPED_TRACE(API_PAGE ":" + std::to_string(step.begin + 1));
    if (step.kind == "comment") {
      ASSERT_NO_FATAL_FAILURE(Obey(step.lines));
    }
    if (step.kind == "sh") printed = Run("bash -euo pipefail", step.lines);
    if (step.kind == "python") printed = Run("python3", step.lines);
    if (step.kind == "text") {
      page_.Expect(step.begin, step.lines, Split(printed));
      ++scripts;
    }
    if (step.kind.empty()) Play(step), ++examples;
  }
  EXPECT_GT(examples, 60);
  EXPECT_EQ(scripts, 2);
  KeepLog();
  ExpectNoSecretInTheLog();
}

TEST_F(ExamplesTest, TheDemoNeedsNoTerminal) {
  StartAnew();
  const auto demo = "DEMO_USER=clara " DEMO " " + Address();
  EXPECT_THAT(Run("DEMO_PASSWORD=\"clara's password\" " + demo), testing::EndsWith("\ndone\n"));
  EXPECT_EQ(Run(demo),
            "demo: no password for clara: set DEMO_PASSWORD, or send it as a line to standard input\nexit 1");
  EXPECT_THAT(Run("DEMO_PASSWORD=guessed " + demo), testing::StartsWith("demo: clara cannot log in at "));
}

TEST_F(ExamplesTest, TheTablesOfErrorsAndLimitsAreThoseOfTheProgram) {
  Lines errors;
  for (const auto& row : platform::AllErrorWords()) {
    errors.push_back("| " + (row.module == 0 ? "" : std::to_string(row.module) + "/") + std::to_string(row.code) +
                     " | " + std::to_string(row.status) + " | " + row.words + " | " + row.what_to_do + " |");
  }
  Lines limits;
  namespace Limits = Evidence::Limits;
  for (const auto& limit :
       {Limits::kValuesOfEvidence, Limits::kCamerasOfEvidence, Limits::kLabelsOfEvidence, Limits::kChangedEvidences,
        Limits::kReadEvidences, Limits::kKeywordChars, Limits::kGuidPartChars, Limits::kLinkedFiles, Limits::kLinkPairs,
        Limits::kLinkedNameBytes, Limits::kUnlinkedIds, Limits::kWrittenEntries, Limits::kWrittenUserBytes,
        Limits::kConfirmingUsers})
    limits.push_back("| " + std::string(limit.of) + " | " + std::to_string(limit.most) + " |");
  for (const auto& [head, right] : {std::pair("| pair |", errors), std::pair("| of one request |", limits)}) {
    const auto at = page_.RowsBelow(head);
    page_.Expect(at, page_.Rows(at), right);
  }
}

}  // namespace
}  // namespace evidence_test
