// Whole evidences through the real host: what is asked for is what is there afterwards, and nothing else.

#include <atomic>
#include <random>

#include "http/HostProcess.h"
#include "platform/Json.h"
#include "rest/Times.h"

namespace evidence_test {
namespace {

using platform::Json;
using testing::HasSubstr;

const std::string kDesk = "/platform/v1/evidence";
const std::string kV1 = "/TRELL/Halyard/Evidence/V1/Evidence";

Json Parsed(const std::string& text) {
  std::string fault;
  const auto json = Json::Parse(text, fault);
  if (!json) throw std::runtime_error(fault + ": " + text);
  return *json;
}

std::string TextAt(const Json& json, const std::string& name) {
  const auto* const found = json.Find(name);
  return found == nullptr || found->String() == nullptr ? "" : *found->String();
}

/// Sets `name` in an object, or removes it when `value` is null.
void Set(Json::Object& object, const std::string& name, const Json& value) {
  const auto found = std::ranges::find(object, name, &Json::Object::value_type::first);
  if (found == object.end()) {
    if (!value.IsNull()) object.emplace_back(name, value);
  } else if (value.IsNull()) {
    object.erase(found);
  } else {
    found->second = value;
  }
}

/// RFC 7396.
Json Merged(const Json& target, const Json& patch) {
  if (patch.Members() == nullptr) return patch;
  auto merged = target.Members() == nullptr ? Json::Object() : *target.Members();
  for (const auto& [name, value] : *patch.Members()) {
    const auto* const old = target.Find(name);
    Set(merged, name, value.IsNull() ? Json() : Merged(old == nullptr ? Json() : *old, value));
  }
  return merged;
}

/// A record without what says the same as the id beside it, without nothing, and without the time of its last change,
/// sorted by names.
Json Bare(const Json& json) {
  if (json.Elements() != nullptr) {
    Json::List list;
    for (const auto& element : *json.Elements())
      list.push_back(Bare(element));
    return list;
  }
  if (json.Members() == nullptr) return json;
  Json::Object object;
  for (const auto& [name, value] : *json.Members()) {
    const bool is_derived = name == "option_name" || (name == "name" && json.Find("guid") == nullptr);
    const auto bare = Bare(value);
    const bool is_nothing =
        bare.IsNull() || bare == Json("") || bare == Json(Json::Object()) || bare == Json(Json::List());
    if (!is_derived && !is_nothing && name != "update_time") object.emplace_back(name, bare);
  }
  std::ranges::sort(object, {}, &Json::Object::value_type::first);
  return object;
}

class DeskTest : public testing::Test {
 protected:
  void SetUp() override {
    EnsureUser("clara", {"--cs", "41,44", "--web", "1427,1428"});
    EnsureUser("guest");
    ResetTables();
    Postgres().Query(
        "INSERT INTO evidence.evidence_scense (ID, name) VALUES (1, 'Yard'), (2, 'Street');"
        "INSERT INTO evidence.evidence_outcome (ID, name) VALUES (1, 'Solved'), (2, 'Open')");
    host_ = std::make_unique<HostProcess>(SettingsMap());
    host_->WaitUntilListening();
    clara_ = Login(host_->port(), "clara").id;
    ASSERT_THAT(Ask(host_->port(), "PUT", kV1 + "/Custom", clara_,
                    R"({"EvidenceCustomList":{"EvidenceCustom":[{"ID":1,"CustomType":1},{"ID":2,"CustomType":0},)"
                    R"({"ID":3,"CustomType":0},{"Name":"Weather","CustomType":0,"CustomOptionList":{"CustomOption":[)"
                    R"({"OptionName":"dry"},{"OptionName":"wet"}]}},{"Name":"Officer","CustomType":1}]}})")
                    .body,
                HasSubstr(R"("ErrorCode":0)"));
  }
  void TearDown() override { EXPECT_EQ(host_->Stop().exit_code, 0); }

  HttpReply Send(const std::string& method, const std::string& path, const std::string& headers,
                 const std::string& body = {}, const std::string& session = {}) const {
    const HttpConnection connection(host_->port());
    const auto length = body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n";
    connection.Send(RequestHead(method, path, session.empty() ? clara_ : session) + headers + length + "\r\n" + body);
    return connection.ReadReply();
  }
  HttpReply Get(const std::string& path) const { return Send("GET", path, ""); }
  HttpReply Create(const std::string& body) const { return Send("POST", kDesk, kIsJson, body); }
  HttpReply Patch(int id, const std::string& etag, const std::string& body) const {
    return Send("PATCH", kDesk + "/" + std::to_string(id), kIsPatch + "If-Match: " + etag + "\r\n", body);
  }
  std::string ETag(int id) const { return Get(kDesk + "/" + std::to_string(id)).headers["ETag"]; }

  static inline const std::string kIsJson = "Content-Type: application/json\r\n";
  static inline const std::string kIsPatch = "Content-Type: application/merge-patch+json; charset=utf-8\r\n";
  std::unique_ptr<HostProcess> host_;
  std::string clara_;
};

constexpr char kWhole[] =
    R"({"guid":"g1","name":"Fire","description":"bus 12","status":1,"type":{"id":1},"scene":{"id":2},)"
    R"("outcome":{"id":1},"attributes":{"6":{"values":[{"option_id":2}]},"7":{"values":[{"text":"Miller"}]}},)"
    R"("label":"fire|night","begin_time":"2026-11-22T21:40:00+02:00","cad_id":"C-1","camera_ids":"11,12",)"
    R"("record_begin_time":"2026-11-22T20:00:00.25Z"})";

TEST_F(DeskTest, AChangeOfTheNameKeepsAllElse) {
  const auto created = Create(kWhole);
  ASSERT_EQ(created.status, 201) << created.body;
  EXPECT_EQ(created.headers.at("Location"), kDesk + "/1");
  const auto row = [] {
    return Postgres().Value(
        "SELECT concat(to_jsonb(e) - 'name' - 'update_time' - 'local_update_time', (SELECT json_agg((custom_id, "
        "option_id, option_text) ORDER BY ID) FROM evidence.evidence_custom_info WHERE deleted = 0)) "
        "FROM evidence.evidence e");
  };
  const auto before = row();
  const auto changed = Patch(1, created.headers.at("ETag"), R"({"name":"Arson"})");
  ASSERT_EQ(changed.status, 200) << changed.body;
  EXPECT_EQ(row(), before);
  auto expected = *Parsed(created.body).Members();
  Set(expected, "name", "Arson");
  EXPECT_EQ(Bare(Parsed(changed.body)).Text(), Bare(expected).Text());
  EXPECT_EQ(Postgres().Value("SELECT string_agg(mod_type || '', ',') FROM evidence.operation_log WHERE mod_type <> -1"),
            "1");
  // Everything by its name, and times with zones.
  for (const char* const part :
       {R"("type":{"id":1,"name":"Theft"},"scene":{"id":2,"name":"Street"},"outcome":{"id":1,"name":"Solved"})",
        R"("6":{"name":"Weather","values":[{"option_id":2,"option_name":"wet"}]},"7":{"name":"Officer",)",
        R"("begin_time":"2026-11-22T21:40:00+02:00","end_time":null)", R"("cameras":[{"id":11,"name":""},{"id":12,)",
        R"("name":"clara"},"create_time":"20)", R"("record_begin_time":"2026-11-22T20:00:00.25Z")",
        R"("file_count":0,"files":[]})"})
    EXPECT_THAT(changed.body, HasSubstr(part));
  const auto path = kDesk + "/1";
  const auto etag = changed.headers.at("ETag");
  EXPECT_EQ(Get(path).body, changed.body);
  EXPECT_EQ(Send("GET", path, "If-None-Match: \"x\", W/" + etag + "\r\n").status, 304);
  Postgres().Query("INSERT INTO evidence.evidence_file (ID, evidence_id) VALUES (5, 1)");
  EXPECT_EQ(ETag(1), etag) << "the tag is of the row and its values";
  EXPECT_THAT(Get(path).body, HasSubstr(R"("file_count":1,"files":[{"id":5,"name":"","state":"unknown"}]})"));
  Postgres().Query(
      "UPDATE evidence.evidence_custom_info SET option_text = 'Smith' WHERE custom_id = 7 AND deleted = 0");
  EXPECT_NE(ETag(1), etag);
}

/// Random members of a record, as a patch or for a new one.
class RandomBody {
 public:
  explicit RandomBody(unsigned seed) : random_(seed) {}

  int Below(int limit) { return std::uniform_int_distribution<>(0, limit - 1)(random_); }
  std::string Text() {
    constexpr const char* kPieces[] = {"a", "Ä", "日本", "'", "\"", "\\", "\n", "%s", "|", ",", "\t", "🔥", " ", "é"};
    std::string text;
    for (int n = Below(9); n > 0; --n)
      text += kPieces[Below(std::size(kPieces))];
    return text;
  }
  std::string Time() {
    const auto two = [this](int limit) { return std::to_string(10 + Below(limit - 10)); };
    return "20" + two(99) + "-" + two(13) + "-" + two(29) + "T" + two(24) + ":" + two(60) + ":" + two(60) +
           (Below(2) != 0   ? "Z"
            : Below(2) != 0 ? "+05:30"
                            : ".125-11:00");
  }
  Json Entry() { return Below(4) == 0 ? Json() : Json(Json::Object{{"id", 1 + Below(2)}}); }
  Json Values(bool is_choice) {
    Json::List list;
    for (int n = Below(3); n > 0; --n) {
      auto text = Text();
      std::erase(text, '\'');
      list.push_back(is_choice ? Json::Object{{"option_id", 1 + Below(2)}} : Json::Object{{"text", "v" + text}});
    }
    return Json::Object{{"values", list}};
  }
  Json Attributes() {
    if (Below(6) == 0) return {};
    Json::Object attributes;
    for (const char* const id : {"6", "7"})
      if (Below(2) != 0) attributes.emplace_back(id, Below(4) == 0 ? Json() : Values(id == std::string("6")));
    return attributes;
  }
  Json::Object Body(const std::string& guid) {
    Json::Object body{{"guid", guid}, {"status", Below(2)}};
    for (const char* const name : {"name", "description", "label", "cad_id"})
      if (Below(2) != 0) body.emplace_back(name, Below(5) == 0 ? Json() : Json(Text()));
    for (const char* const name : {"begin_time", "end_time"})
      if (Below(2) != 0) body.emplace_back(name, Below(5) == 0 ? Json() : Json(Time()));
    for (const char* const name : {"type", "scene", "outcome"})
      if (Below(2) != 0) body.emplace_back(name, Entry());
    if (Below(2) != 0) body.emplace_back("attributes", Attributes());
    return body;
  }

 private:
  std::mt19937 random_;
};

TEST_F(DeskTest, WhatIsPatchedIsReadAndNothingElseChanges) {
  const auto seed = std::random_device()();
  RandomBody random(seed);
  constexpr int kRecords = 12;
  constexpr int kPatches = 12;
  for (int id = 1; id <= kRecords; ++id) {
    const Json body(random.Body("g" + std::to_string(id)));
    const auto created = Create(body.Text());
    ASSERT_EQ(created.status, 201) << "seed " << seed << body.Text() << created.body;
    auto record = Parsed(created.body);
    ASSERT_EQ(Bare(Merged(record, body)).Text(), Bare(record).Text()) << "seed " << seed << body.Text() << created.body;
    auto etag = created.headers.at("ETag");
    for (int n = 0; n < kPatches; ++n) {
      const Json patch(random.Body("g" + std::to_string(id) + (random.Below(2) != 0 ? "x" : "")));
      const auto expected = Bare(Merged(record, patch));
      const auto changed = Patch(id, etag, patch.Text());
      ASSERT_EQ(changed.status, 200) << "seed " << seed << patch.Text() << changed.body;
      const auto read = Get(kDesk + "/" + std::to_string(id));
      ASSERT_EQ(Bare(Parsed(read.body)).Text(), expected.Text()) << "seed " << seed << patch.Text() << read.body;
      record = Parsed(read.body);
      etag = read.headers.at("ETag");
    }
  }
}

TEST_F(DeskTest, OfTwoEditorsOneSeesBothVersions) {
  const auto created = Create(kWhole);
  const auto etag = created.headers.at("ETag");
  const auto first = Patch(1, etag, R"({"name":"First"})");
  EXPECT_EQ(first.status, 200);
  const auto second = Patch(1, etag, R"({"label":"second"})");
  EXPECT_EQ(second.status, 412);
  EXPECT_EQ(second.headers.at("Content-Type"), "application/problem+json");
  const auto problem = Parsed(second.body);
  EXPECT_EQ(TextAt(problem, "code"), "changed");
  EXPECT_EQ(TextAt(problem, "request_id"), second.headers.at("X-Request-Id"));
  ASSERT_NE(problem.Find("current"), nullptr);
  EXPECT_EQ(problem.Find("current")->Text(), first.body);
  EXPECT_EQ(second.headers.at("ETag"), first.headers.at("ETag"));
  EXPECT_EQ(Patch(1, R"("a", )" + second.headers.at("ETag"), R"({"label":"second"})").status, 200);

  // Many editors, who repeat what was refused: none is lost.
  std::atomic<int> refused = 0;
  EXPECT_EQ(Patch(1, "*", R"({"description":""})").status, 200);
  OnManyThreads([this, &refused] {
    for (int status = 0; status != 200;) {
      const auto read = Get(kDesk + "/1");
      const Json longer(Json::Object{{"description", TextAt(Parsed(read.body), "description") + "x"}});
      status = Patch(1, read.headers.at("ETag"), longer.Text()).status;
      if (status != 200) ++refused;
      // 503: more wait than may.
      ASSERT_TRUE(status == 200 || status == 412 || status == 503) << status;
    }
  });
  EXPECT_EQ(TextAt(Parsed(Get(kDesk + "/1").body), "description"), std::string(kThreads, 'x')) << refused;
}

TEST_F(DeskTest, NoChangeComesBetweenItsReadAndItsOwn) {
  const auto etag = Create(kWhole).headers.at("ETag");
  const Session holder(Postgres().OwnerConnection());
  holder.Query("BEGIN; LOCK TABLE evidence.evidence IN SHARE MODE");
  std::jthread other([this] {
    EXPECT_THAT(
        Ask(host_->port(), "PUT", kV1 + "/1", clara_, R"({"Evidence":{"Guid":"g1","Name":"Other","Status":1}})").body,
        HasSubstr(R"("ErrorCode":0)"));
  });
  ASSERT_TRUE(Eventually([] { return Postgres().Value("SELECT count(*) FROM pg_locks WHERE NOT granted") == "1"; }));
  std::jthread ours([&] { EXPECT_EQ(Patch(1, etag, R"({"label":"ours"})").status, 412); });
  // Requests of one user begin in their order.
  for (int n = 0; n < 20; ++n)
    EXPECT_EQ(Get(kDesk + "/1").headers.at("ETag"), etag);
  holder.Query("COMMIT");
  other.join();
  ours.join();
  EXPECT_EQ(Postgres().Value("SELECT concat(name, label) FROM evidence.evidence"), "Other");
}

TEST_F(DeskTest, Refusals) {
  ASSERT_EQ(Create(kWhole).status, 201);
  ASSERT_EQ(Create(R"({"guid":"other","status":0})").status, 201);
  Postgres().Query("INSERT INTO evidence.evidence (ID, guid, deleted) VALUES (9, 'gone', 1)");
  const auto guest = Login(host_->port(), "guest").id;
  const std::string patch = kIsPatch + "If-Match: *\r\n";
  const struct {
    std::string method, path, headers, body;
    int status;
    std::string code, session;
  } cases[] = {
      {"GET", "/3", "", "", 404, "no_such_evidence", ""},
      {"GET", "/9", "", "", 404, "no_such_evidence", ""},
      {"GET", "/x", "", "", 404, "no_such_evidence", ""},
      {"GET", "/-1", "", "", 404, "no_such_evidence", ""},
      {"GET", "/4294967297", "", "", 404, "no_such_evidence", ""},
      {"GET", "/1", "", "", 401, "no_session", "guessed"},
      {"GET", "?colour=red", "", "", 400, "bad_request", ""},
      {"GET", "?page=1&page=2", "", "", 400, "bad_request", ""},
      {"GET", "?limit=1001", "", "", 400, "bad_request", ""},
      {"GET", "?status=1x", "", "", 400, "bad_request", ""},
      {"GET", "?creation_time_start=2026-11-22T21:40:00Z", "", "", 400, "bad_request", ""},
      {"GET", "?creation_time_start=2026-11-22T21:40:00&creation_time_end=2026-11-22T21:40:00", "", "", 400,
       "bad_request", ""},
      {"GET", "?keyword=" + std::string(1001, 'x'), "", "", 400, "bad_request", ""},
      {"PATCH", "/1", "If-Match: *\r\nContent-Type: text/plain\r\n", "{}", 415, "unsupported_media_type", ""},
      {"PATCH", "/1", kIsPatch, "{}", 428, "if_match_missing", ""},
      {"PATCH", "/1", kIsPatch + "If-Match: W/" + ETag(1) + "\r\n", "{}", 412, "changed", ""},
      {"PATCH", "/3", patch, "{}", 404, "no_such_evidence", ""},
      {"PATCH", "/1", patch, "{", 400, "bad_request", ""},
      {"PATCH", "/1", patch, R"({"name":"a","name":"b"})", 400, "bad_request", ""},
      {"PATCH", "/1", patch, "[]", 422, "wrong_type", ""},
      {"PATCH", "/1", patch, R"({"name":7})", 422, "wrong_type", ""},
      {"PATCH", "/1", patch, R"({"status":"1"})", 422, "wrong_type", ""},
      {"PATCH", "/1", patch, R"({"status":4294967295})", 422, "wrong_type", ""},
      {"PATCH", "/1", patch, R"({"type":2})", 422, "wrong_type", ""},
      {"PATCH", "/1", patch, R"({"attributes":{"6":{"values":[{}]}}})", 422, "wrong_type", ""},
      {"PATCH", "/1", patch, R"({"colour":"red"})", 422, "unknown_field", ""},
      {"PATCH", "/1", patch, R"({"attributes":{"06":null}})", 422, "unknown_field", ""},
      {"PATCH", "/1", patch, R"({"id":1})", 422, "fixed_field", ""},
      {"PATCH", "/1", patch, R"({"camera_ids":"13"})", 422, "fixed_field", ""},
      {"PATCH", "/1", patch, R"({"cameras":[]})", 422, "fixed_field", ""},
      {"PATCH", "/1", patch, R"({"creator":{"id":2}})", 422, "fixed_field", ""},
      {"PATCH", "/1", patch, R"({"record_end_time":"2026-11-22T21:40:00Z"})", 422, "fixed_field", ""},
      {"PATCH", "/1", patch, R"({"begin_time":"2026-11-22 21:40:00"})", 422, "no_time", ""},
      {"PATCH", "/1", patch, R"({"type":{"id":2,"name":"Theft"}})", 422, "not_its_name", ""},
      {"PATCH", "/1", patch, R"({"attributes":{"7":{"values":[{"text":"O'Brien"}]}}})", 422, "single_quote", ""},
      {"PATCH", "/1", patch, R"({"guid":"other"})", 409, "guid_in_use", ""},
      {"PATCH", "/1", patch, R"({"guid":null})", 422, "bad_input", ""},
      {"PATCH", "/1", patch, R"({"name":")" + std::string(65, 'x') + R"("})", 422, "bad_input", ""},
      {"PATCH", "/1", patch, R"({"label":"\u0000"})", 422, "bad_input", ""},
      {"PATCH", "/1", patch, R"({"name":"x"})", 403, "no_permission", guest},
      {"POST", "", kIsPatch, "{}", 415, "unsupported_media_type", ""},
      {"POST", "", kIsJson, "", 400, "bad_request", ""},
      {"POST", "", kIsJson, "{}", 422, "bad_input", ""},
      {"POST", "", kIsJson, R"({"guid":"g1","status":1})", 409, "guid_in_use", ""},
      {"POST", "", kIsJson, R"({"guid":"n","status":1,"file_count":1})", 422, "fixed_field", ""},
      {"POST", "", kIsJson, R"({"guid":"n","status":1})", 403, "no_permission", guest},
      {"PUT", "/1", "", "", 405, "method_not_allowed", ""},
  };
  const auto before = Get(kDesk + "/1").body + Get(kDesk + "/2").body;
  for (const auto& c : cases) {
    const auto reply = Send(c.method, kDesk + c.path, c.headers, c.body, c.session);
    EXPECT_EQ(reply.status, c.status) << c.method << c.path << c.body << reply.body;
    EXPECT_EQ(TextAt(Parsed(reply.body), "code"), c.code) << c.method << c.path << c.body << reply.body;
  }
  EXPECT_EQ(Get(kDesk + "/1").body + Get(kDesk + "/2").body, before);
  Postgres().Stop();
  EXPECT_EQ(Get(kDesk + "/1").status, 503);
  Postgres().Start();
}

TEST_F(DeskTest, ListsAreThePluginsOwn) {
  for (int n = 1; n <= 5; ++n) {
    const auto number = std::to_string(n);
    ASSERT_EQ(Create(R"({"guid":"G-)" + number + R"(","name":"n)" + std::to_string(9 - n) + R"(","status":)" +
                     std::to_string(n % 2) + R"(,"type":{"id":)" + std::to_string(n % 3) + R"(},"scene":{"id":2},)" +
                     R"("label":"Äpfel","begin_time":"2026-11-2)" + number + R"(T10:00:00Z"})")
                  .status,
              201);
  }
  const std::pair<const char*, const char*> cases[] = {
      {"", R"("Filter":{})"},
      {"?sort_type=1", R"("SortType":1,"Filter":{})"},
      {"?status=1&sort_type=8", R"("SortType":8,"Filter":{"Status":1})"},
      {"?evidence_type_id=0&sort_type=7", R"("SortType":7,"Filter":{"EvidenceTypeID":0})"},
      {"?keyword=n%38", R"("Filter":{"Keyword":"n8"})"},
      {"?keyword=%C3%84pfel&keyword_type=1&outcome_id=-1", R"("Filter":{"Keyword":"Äpfel","KeywordType":1})"},
      {"?guid=g-3&scene_id=2", R"("Filter":{"Guid":"g-3","SceneID":2})"},
      {"?evidence_begin_time_start=2026-11-22&evidence_begin_time_end=2026-11-24&sort_type=9",
       R"("SortType":9,"Filter":{"EvidenceBeginTime":{"StartTime":"2026-11-22","EndTime":"2026-11-24"}})"},
      {"?creation_time_start=2000-01-01T00:00:00%2B02:00&creation_time_end=2000-01-01T00:00:00Z",
       R"("Filter":{"Keyword":"none"})"},
  };
  for (const auto& [parameters, query] : cases) {
    const auto own = Parsed(Ask(host_->port(), "GET", kV1, clara_,
                                R"({"EvidenceQueryReq":{"PageIndex":1,"PageSize":100,)" + std::string(query) + "}}")
                                .body);
    const auto reply = Get(kDesk + parameters);
    ASSERT_EQ(reply.status, 200) << parameters << reply.body;
    const auto list = Parsed(reply.body);
    const auto* const data = own.Find("ResponseStatus")->Find("Data");
    const auto* const evidences = data->Find("EvidenceList")->Find("Evidence");
    const auto& items = *list.Find("items")->Elements();
    EXPECT_EQ(*list.Find("total"), *data->Find("TotalNum")) << parameters;
    ASSERT_EQ(items.size(), evidences == nullptr ? 0 : evidences->Elements()->size()) << parameters;
    for (std::size_t n = 0; n < items.size(); ++n) {
      const auto record = Parsed(Get(kDesk + "/" + std::to_string(*items[n].Find("id")->Integer())).body);
      EXPECT_EQ(items[n].Find("id")->Text(), (*evidences->Elements())[n].Find("ID")->Text()) << parameters;
      for (const auto& [name, value] : *items[n].Members())
        EXPECT_EQ(record.Find(name)->Text(), value.Text()) << name << record.Text();
    }
  }
  const auto page = Parsed(Get(kDesk + "?limit=2&page=2&sort_type=7").body);
  EXPECT_EQ(page.Find("next")->Text(), "3");
  EXPECT_EQ((*page.Find("items")->Elements())[0].Find("id")->Text(), "3");
  EXPECT_EQ(Parsed(Get(kDesk + "?limit=2&page=3").body).Find("next"), nullptr);
}

TEST_F(DeskTest, CountsAreRememberedForAMinute) {
  ASSERT_EQ(Create(R"({"guid":"a","status":1,"type":{"id":0}})").status, 201);
  ASSERT_EQ(Create(R"({"guid":"b","status":0})").status, 201);
  const auto counts = Get("/platform/v1/statistics");
  const auto clara = Postgres().Value("SELECT id FROM platform.users WHERE name = 'clara'");
  for (const std::string& part :
       std::vector<std::string>{R"("total":2,"days":[{"day":"20)", R"(,"count":2,"open":1}])",
                                R"("statuses":[{"status":0,"count":1},{"status":1,"count":1}])",
                                R"("types":[{"id":-1,"name":"","count":1},{"id":0,"name":"Other","count":1}])",
                                R"("creators":[{"id":)" + clara + R"(,"name":"clara","count":2}])"})
    EXPECT_THAT(counts.body, HasSubstr(part));
  ASSERT_EQ(Create(R"({"guid":"c","status":0})").status, 201);
  EXPECT_EQ(Get("/platform/v1/statistics").body, counts.body);
}

TEST(DeskTimesTest, AreThoseOfRfc3339) {
  const std::pair<const char*, const char*> times[] = {
      {"2026-11-22T21:40:00Z", "2026-11-22 21:40:00"},
      {"2026-12-31T23:40:05.250-01:30", "2027-01-01 01:10:05.250"},
      {"2026-03-01T00:00:00+00:01", "2026-02-28 23:59:00"},
  };
  for (const auto& [time, utc] : times) {
    EXPECT_TRUE(rest::IsTime(time)) << time;
    EXPECT_EQ(rest::ToUtc(time), utc);
  }
  for (const char* const text :
       {"", "2026-11-22", "2026-11-22 21:40:00Z", "2026-11-22T21:40:00", "2026-02-29T00:00:00Z", "2026-11-22T24:00:00Z",
        "2026-11-22T21:40:00+2:00", "2026-11-22T21:40:00ZZ", "2026-11-22T21:40:00.0123456789+02:00",
        "2026-11-22T21:40:00.Z"})
    EXPECT_FALSE(rest::IsTime(text)) << text;
}

}  // namespace
}  // namespace evidence_test
