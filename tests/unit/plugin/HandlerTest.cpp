// What each route of evidences, files and histories calls, in which order, and what it answers.

#include "unit/plugin/ServiceTest.h"

namespace {

using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;
using scripted::Calls;
using scripted::Row;
using scripted::Words;
using Texts = std::vector<std::string>;

/// The pieces of `text` between matches of `separator`.
Texts Split(const std::string& text, const char* separator) {
  const std::regex pattern(separator);
  return {std::sregex_token_iterator(text.begin(), text.end(), pattern, -1), {}};
}

/// `element` with each of the ids of a comma list in the place of "%".
std::string List(const std::string& ids, const std::string& element) {
  static const std::regex place("%");
  std::string text;
  for (const auto& id : ids.empty() ? Texts() : Split(ids, ","))
    text += (text.empty() ? "" : ",") + std::regex_replace(element, place, id);
  return text;
}

/// A body by its name in the table: "files 1,2 to 7" is a batch link, "delete 7,8 by right" a confirmed deletion, "@x"
/// a file; what is none of these stands for itself.
std::string Body(const std::string& word) {
  const std::map<std::string, std::string> bodies{
      {"new", R"({"Evidence":{"Guid":"G","Name":"New","Status":1}})"},
      {"same", R"({"Evidence":{"Guid":"G7","Name":"Seven","Status":1}})"},
      {"renamed", R"({"Evidence":{"ID":5,"Guid":"G7","Name":"7","Status":1}})"},
      {"c on, b off", R"({"FileList":{"File":[{"ID":2,"Delete":1,"FileName":"b"},{"ID":1,"FileName":"c"},{"ID":3}]}})"},
      {"b off", R"({"FileList":{"File":[{"ID":2,"Delete":1,"FileName":"b"}]}})"},
      {"c on", R"({"FileList":{"File":[{"ID":1,"FileName":"c"}]}})"},
      {"empty", ""}};
  if (const auto found = bodies.find(word); found != bodies.end()) return found->second;
  const auto words = Split(word, " ");
  if (words[0] == "files") {
    const std::string evidences = words.size() > 3 ? List(words[3], R"({"EvidenceID":%})") : "";
    return R"({"Request":{"EvidenceList":{"Evidence":[)" + evidences + R"(]},"FileList":{"File":[)" +
           List(words.size() > 1 ? words[1] : "", R"({"FileID":%,"FileName":"%"})") + "]}}}";
  }
  if (words[0] == "delete") {
    return R"({"EvidenceDeleteReq":{"IDs":")" + words[1] + R"(","UserList":{"User":[{"UserName":"alice","Password":")" +
           words[3] + "\"}]}}}";
  }
  return word.starts_with("@") ? service_test::Request(word.substr(1)) : word;
}

/// The calls of a table's cell. "=link 1,2>7 Seven" is all that linking two files of the names "1" and "2" leaves.
Calls CallsOf(const std::string& cell) {
  Calls calls;
  if (cell.empty() || cell == "-") return calls;
  for (const auto& call : Split(cell, "; ")) {
    std::smatch part;
    if (!std::regex_match(call, part, std::regex(R"(=((?:un)?link) (.*)>(\d+) (\w+)(?: (.*))?)"))) {
      calls.push_back(call);
      continue;
    }
    const bool off = part[1] == "unlink";
    const std::string names = part[5].matched ? part[5] : part[2];
    const auto joined = [&names](const char* separator) {
      return std::regex_replace(names, std::regex(","), separator);
    };
    for (const auto& id : Split(part[2], ","))
      calls.push_back(Words(part[1], id + ">" + part[3].str()));
    calls.push_back(Words("log 306018", part[4].str() + "/"));
    calls.push_back(Words(off ? "log 306022" : "log 306021", joined(";") + "/" + part[4].str()));
    calls.push_back(Words("history", (off ? "7:" : "4:") + part[3].str(), "[" + joined("|") + "]"));
  }
  return calls;
}

// Route, body, code of the answer ("-": no answer; "@x": the file), calls ("-": none, "...": any); then what is set:
// the session, permissions denied, calls of the store refused, links that stand, tries left, and what the answer or the
// log must hold.
constexpr char kEvidences[] = R"(
POST /Evidence   | new     | 0     | insert New; log 306017 New/; history 1:9
POST /Evidence   | new     | 10    | - | denied=44
POST /Evidence   | new     | 15    | insert New | refused=insert
POST /Evidence   | new     | 200   | - | session=
POST /Evidence   | new     | -     | insert New; log 306017 New/; history 1:9 | refused=history
PUT /Evidence | @evidence_put | @evidence_put | update 7; log 306018 Seven/; log 306018 /; history 2:7 [5 :1:>0:]
PUT /Evidence | @evidence_put | 99999 | update 7; log 306018 Seven/; log 306018 /; history 2:7 [5 :1:>0:] | )"
                              R"(refused=history
PUT /Evidence | @evidence_put | - | update 7; log 306018 Seven/; log 306018 / | session=
PUT /Evidence | @evidence_put | 10 | - | denied=41
PUT /Evidence    | {"EvidenceList":{"Evidence":[]}} | 2 | -
PUT /Evidence/7  | renamed | 0     | update 7; log 306018 7/; history 2:7 [1 :-1:Seven>-1:7]
PUT /Evidence/7  | same    | 0     | update 7; log 306018 Seven/
PUT /Evidence/7  | renamed | 0     | update 7; log 306018 7/; history 2:7 by @ [1 :-1:Seven>-1:7] | session=
PUT /Evidence/7  | renamed | 15    | update 7; log 306018 7/; history 2:7 [1 :-1:Seven>-1:7] | refused=update
PUT /Evidence/7  | renamed | 10    | log 306018 / | denied=41
PUT /Evidence/7  | {       | 2     | log 306018 /
DELETE /Evidence | delete 8,7 by right | 0 | read 8,7; delete 8; delete 7; log 306019 Seven;Eight/; )"
                              R"(history 3:8; history 3:7
DELETE /Evidence | delete 7 by right | 15 | read 7; delete 7; failed 306019 -1 Seven 15; history 3:7 | refused=delete
DELETE /Evidence | delete 8,7 by 201 | @evidence_delete | history 3:8; history 3:7 | tries=0
DELETE /Evidence | delete  by right  | @evidence_delete_done | -
DELETE /Evidence/7 | delete  by right | 0 | delete 7; log 306019 Seven/; history 3:7
DELETE /Evidence/7 | delete  by 201 | 201 | failed 306019 7  201; history 3:7
DELETE /Evidence/7 | {     | 2     | failed 306019 7  2; history 3:7
GET /Evidence    | {"EvidenceQueryReq":{"EvidenceIDS":"8","Filter":{}}} | 0 | read 8; log 306020 /; files 8
GET /Evidence    | {"EvidenceQueryReq":{"PageIndex":5,"Filter":{}}} | 2 | log 306020 / | says="PageIndex":5,"Tot
GET /Evidence    | {       | 2     | log 306020 /
GET /Evidence/99 | {}      | 9804
DELETE /Evidence/Type/6 | empty | - | - | denied on web=1425
PUT /Evidence/Type/6 | {"EvidenceType":{"ID":5,"Name":"x"}} | 15 | type 6 x | refused=type | )"
                              R"(says={"ErrorModule":0,"ErrorCode":15}}
PUT /Evidence/Type/6 | {"EvidenceType":{"Name":"Other"}} | 9808 | ...
GET /Evidence/Custom | {       | 2
)";

constexpr char kFiles[] = R"(
POST /Evidence/7/Files | c on, b off | 0 | link 1>7; link 3>7; unlink 2; log 306018 Seven/; log 306021 c;/Seven; )"
                          R"(history 4:7 [c|]; log 306022 b/Seven; history 7:7 [b] | links=2>7
POST /Evidence/7/Files | b off | 0   | unlink 2; log 306018 Seven/; log 306022 b/Seven; history 7:7 [b] | links=2>7
POST /Evidence/7/Files | c on  | 15  | =link 1>7 Seven c | refused=history | says="ErrorCode":15}}
POST /Evidence/7/Files | {}    | 2   | - | says="FileErrorList":{}
POST /Evidence/7/Files | c on  | 10  | - | denied=41
POST /Evidence/Files/BatchLinks | files 1,2 to 8,7,8 | 0 | =link 1,2>7 Seven; =link 1,2>8 Eight
POST /Evidence/Files/BatchLinks | files 1 to 7   | -     | - | denied=41
PUT /Evidence/Files/BatchLinks | files 1 to 7   | -     | - | denied=41
PUT /Evidence/Files/BatchLinks | {              | 10002
POST /Evidence/Files/BatchLinks | files 1        | 10002 | - | says=]FileBatchLinkEvidences failed, request:[{
POST /Evidence/Files/BatchLinks | files 1,2 to 6,8 | @batch_links | =link 1,2>8 Eight
POST /Evidence/Files/BatchLinks | files 1,2 to 7 | @batch_links_refused | - | links refused=2
POST /Evidence/Files/BatchLinks | files 1 to 7,8 | 15    | =link 1>7 Seven | refused=history
POST /Evidence/Files/BatchLinks | files 1 to 6,7,8 | 9999 | =link 1>7 Seven | refused=history
PUT /Evidence/Files/BatchLinks | files 1 to 7,8 | 0     | - | links=1>7,1>8
PUT /Evidence/Files/BatchLinks | files 1,2 to 9 | 0 | =unlink 1>7 Seven; =link 1>9 Nine; =link 2>9 Nine | links=1>7
PUT /Evidence/Files/BatchLinks | files 1,2 | 0 | =unlink 1>7 Seven f1; =unlink 2>7 Seven f2 | links=1>7,2>-1,2>7
PUT /Evidence/Files/BatchLinks | files 1 | 0 | =unlink 1>7 Seven f1 | links=1>7 | refused=history
PUT /Evidence/Files/BatchLinks | files 1,2,3 to 7 | 15  | =link 1>7 Seven | refused=links of 2
PUT /Evidence/Files/BatchLinks | files 1,2      | 15    | - | refused=links of 1
PUT /Evidence/Files/BatchLinks | files 1,2 to 7 | 0 | =link 1>7 Seven; =link 2>7 Seven | refused=history 4:7 [1
PUT /Evidence/Files/BatchLinks | files 1 to 7,8 | 15    | =link 1>7 Seven | refused=history 4:7 [1 | links=1>-1
PUT /Evidence/Files/BatchLinks | files 1,2 to 6 | 9999  | - | says=[{"FileID":1,"ErrorCode":9804,"ErrorModule":0},{"F
)";

constexpr char kHistories[] = R"(
POST /Evidence/OperationLog | @operation_log_post | 0 | history 5:4 by camera@10.0.0.9 [2 a:-1:a>-1:]; )"
                              R"(history 5:4 by camera@10.0.0.9 [b]; history -1:-1 by @ [3 :-1:>-1:]
POST /Evidence/OperationLog | {"OperationLog":[{}]} | 15 | history -1:-1 by @ | refused=history
POST /Evidence/OperationLog | {     | @operation_log_post | - | says=]Request param error. req-data:
GET /Evidence/7/OperationLog | {    | 15 | - | refused=history
)";

class HandlerTest : public service_test::ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    service_.Init(user_interface_);
  }

  /// The answer of a path, from its version on. Methods: 1 PUT, 2 POST, 3 DELETE, 4 GET.
  std::string Call(const std::string& path, int method, const std::vector<std::int32_t>& ids = {},
                   const std::string& body = {}, const std::string& session = {}) {
    kelp::SHttpResponse response;
    platform_.bus->callbacks.at(kBase + path)(response, {method, session, ids, body});
    return response.response_body;
  }

  /// The answer to "METHOD /path", which may hold one number where the route has an id.
  std::string Send(const std::string& route, const std::string& body, const std::string& session) {
    const std::map<std::string, int> methods{{"PUT", 1}, {"POST", 2}, {"DELETE", 3}, {"GET", 4}};
    std::string path = route.substr(route.find('/'));
    std::vector<std::int32_t> ids;
    if (std::smatch number; std::regex_search(path, number, std::regex("/([0-9]+)"))) {
      ids = {std::stoi(number[1])};
      path = std::string(number.prefix()) + "/ID" + std::string(number.suffix());
    }
    const bool first = platform_.bus->callbacks.contains(kBase + "V1" + path);
    return Call((first ? "V1" : "V2") + path, methods.at(route.substr(0, route.find(' '))), ids, body, session);
  }

  void Play(const std::string& row) {
    SCOPED_TRACE(row.substr(0, 300));
    auto cells = Split(row, " +\\| +");
    cells.resize(std::max<std::size_t>(cells.size(), 4));
    std::map<std::string, std::string> set{{"session", "s"}, {"tries", "2"}};
    for (std::size_t i = 4; i < cells.size(); ++i)
      set[cells[i].substr(0, cells[i].find('='))] = cells[i].substr(cells[i].find('=') + 1);
    tables_.refused = set["refused"];
    tables_.Link(set["links"]);
    platform_.permissions->denied_cs = {std::atoi(set["denied"].c_str())};
    platform_.permissions->denied = {std::atoi(set["denied on web"].c_str())};
    accounts_->user_left = std::stoi(set["tries"]);
    links_refused_ = set["links refused"];
    platform_.sink->Clear();
    platform_.calls.clear();

    const std::string answer = Send(cells[0], Body(cells[1]), set["session"]);
    std::smatch code;
    const bool has_code = std::regex_search(answer, code, std::regex(R"("ErrorCode":(\d+))"));
    const bool whole = cells[2].starts_with("@");
    EXPECT_EQ(whole || !has_code ? answer : code[1].str(), whole             ? service_test::Answer(cells[2].substr(1))
                                                           : cells[2] == "-" ? ""
                                                                             : cells[2]);
    if (cells[3] != "...") {
      EXPECT_EQ(platform_.calls, CallsOf(cells[3]));
    }
    const std::string& says = set["says"];
    EXPECT_TRUE(answer.find(says) != std::string::npos || platform_.sink->Has(5, says)) << answer;
  }

  void PlayAll(const std::string& table) {
    for (const auto& row : Split(table, "\n"))
      if (!row.empty()) Play(row);
  }

  const std::string kBase = "/TRELL/Halyard/Evidence/";
  std::string links_refused_;  ///< ids of files
};

TEST_F(HandlerTest, Evidences) { PlayAll(kEvidences); }

TEST_F(HandlerTest, Files) {
  platform_.comm->answer = [this](const auto&, const auto&, auto& reply) {
    reply = std::make_shared<plugin_comm::CPluginCommData>(
        R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{)" +
            List(links_refused_, R"("LinkFileErrorList":[{}],"LinkFileError":[{"ID":%,"Error":{"ErrorCode":5}}])") +
            "}}}",
        nullptr, 0);
  };
  PlayAll(kFiles);
}

TEST_F(HandlerTest, Histories) { PlayAll(kHistories); }

TEST_F(HandlerTest, RequestsForMoreThanOneCallDoesAreRefused) {
  const auto count = [](int last) {
    std::string text = "1";
    for (int n = 2; n <= last; ++n)
      text += "," + std::to_string(n);
    return text;
  };
  const auto post = [](const std::string& entries) {
    return R"(POST /Evidence/OperationLog | {"OperationLog":[)" + entries + "]} | ";
  };
  const std::string links = " /Evidence/Files/BatchLinks | ";
  const std::string half = R"({"Details":[)" + count(5'000) + "]}";
  // A name is written into each row and each evidence.
  const std::string name(40'000, 'x');
  for (const auto& row :
       {"POST" + links + "files " + count(363) + " to " + count(362) + " | 10002",
        "PUT" + links + "files " + count(10'001) + " to 7 | 10002", post(half + ",{}," + half) + "2",
        "POST" + links + R"({"Request":{"EvidenceList":{"Evidence":[)" + List(count(1'000), R"({"EvidenceID":%})") +
            R"(]},"FileList":{"File":[{"FileID":1,"FileName":")" + name + R"("}]}}} | 10002)",
        post(R"({"UserName":")" + name + R"(","Details":[)" + count(500) + "]}") + "2",
        "DELETE /Evidence | delete " + count(10'001) + " by right | 2"})
    Play(row);
  platform_.db->answer = [](const auto&) { return std::vector<Row>(); };
  Play("DELETE /Evidence | delete " + count(10'000) + " by right | 0 | ...");
  Play(post(half + "," + half) + "0 | ...");
}

TEST_F(HandlerTest, AHistoryShowsEachWriteAsOneItem) {
  const auto add = [this](const std::string& type, Row row) {
    row.insert({{"operation_type", type}, {"occur_local_time", "2026-01-02 03:04:05"}, {"occur_time_offset", "60"}});
    row.insert({{"evidence_id", "7"}, {"user_name", "alice"}, {"user_ip", "10.0.0.7"}, {"client_type", "3"}});
    tables_.Add("operation_log", row);
  };
  add("2", {{"mod_type", "2"}, {"before_mod", "6:before"}, {"after_mod", "7:after"}});
  add("2", {{"mod_type", "3"}, {"file_name", "A1"}});
  add("1", {{"mod_type", "1"}, {"file_name", "not shown"}});
  add("4", {{"mod_type", "-1"}, {"file_name", "f1"}});
  add("4", {{"mod_type", "-1"}, {"file_name", "f2"}});
  add("5", {{"file_name", "f3"}, {"camera_name", "camera"}, {"dev_name", "device"}, {"dev_ip", "10.0.0.9"}});
  Play("GET /Evidence/7/OperationLog | { | @operation_log_get");
}

TEST_F(HandlerTest, NamesInThePlatformsLogAreJoinedUpToTheLimit) {
  const std::string half(128, 'h');
  const std::string most(127, 'h');
  for (const auto& [names, lines] : std::map<Texts, Texts>{{{half, most, "b"}, {half + ";" + most, "b"}},
                                                           {{half, half}, {half, half}},
                                                           {{half + half, "b"}, {half + half, "b"}},
                                                           {{"", ""}, {""}},
                                                           {{}, {}}}) {
    platform_.calls.clear();
    EXPECT_TRUE(service_.WriteLog("s", 306013, -1, names, {}, ""));
    Calls expected;
    for (const auto& line : lines)
      expected.push_back("log 306013 " + line + "/");
    EXPECT_EQ(platform_.calls, expected);
  }
  EXPECT_FALSE(service_.WriteLog("s", 1, 2, Texts{"refused"}, {}, ""));
  EXPECT_TRUE(service_.WriteLog("s", 1, 2, Texts{"refused" + half + half, "b"}, {}, "")) << "one of two was written";
  EXPECT_TRUE(platform_.sink->Has(5, "session-id[s], log-type[1], object-id[2], object-name[refused].["));
}

TEST_F(HandlerTest, EveryPathIsRemovedAndTypesCarryTheCapability) {
  std::set<std::string> urls;
  for (const auto& [url, method, mode, capability] : platform_.bus->registrations) {
    urls.insert(url);
    EXPECT_EQ(capability, url.ends_with("/Evidence/Type") ? "s_basevideo_evidence_support" : "") << url;
    const bool writes = method != 4 && url.find("/V2/") == std::string::npos && !url.ends_with("/Files");
    EXPECT_EQ(mode, writes || url.ends_with("/GUID") ? 2 : 0) << url << " " << method;
  }
  EXPECT_EQ(platform_.bus->registrations.size(), 33U);
  service_.UnInit();
  std::ranges::sort(platform_.bus->removed);
  EXPECT_EQ(platform_.bus->removed, Texts(urls.begin(), urls.end()));
  EXPECT_EQ(Call("V1/Evidence/Type", 2), "") << "without a message object nothing is written";
}

// For no id, one and two: the codes of methods 0 to 5, with "!" where an answer is written.
TEST_F(HandlerTest, MethodsAndNumbersOfIdsAreCheckedAndWithoutAUserInterfaceOnlySomeAnswer) {
  service_.Init(std::weak_ptr<Evidence::CEvidenceUserInterface>());
  std::string told;
  for (const auto& [url, callback] : platform_.bus->callbacks) {
    if (!url.starts_with(kBase)) continue;
    told += "\n" + url.substr(kBase.size());
    for (const auto& ids : {std::vector<std::int32_t>(), {7}, {7, 8}}) {
      told += " |";
      for (int method = 0; method <= 5; ++method) {
        Orv::Base::Error::SetLastError({});
        const bool answered = !Call(url.substr(kBase.size()), method, ids, Body("files 1 to 7")).empty();
        told += " " + std::to_string(GetLastError().SubCode()) + (answered ? "!" : "");
      }
    }
  }
  EXPECT_EQ(told, R"(
V1/Evidence | 0 1 1 1 1 0 | 0 1 1 1 1 0 | 0 1 1 1 1 0
V1/Evidence/Custom | 6 1 6 6 1 6 | 6 1 6 6 1 6 | 6 1 6 6 1 6
V1/Evidence/ID | 2! 2! 2! 2! 2! 2! | 0 1 8! 1 1 0 | 2! 2! 2! 2! 2! 2!
V1/Evidence/ID/Files | 2! 2! 2! 2! 2! 2! | 0 8! 1! 8! 8! 0 | 2! 2! 2! 2! 2! 2!
V1/Evidence/Type | 0 1 8! 8! 1 0 | 0 1 8! 8! 1 0 | 0 1 8! 8! 1 0
V1/Evidence/Type/ID | 2! 2! 2! 2! 2! 2! | 0 1 8! 1 1 0 | 2! 2! 2! 2! 2! 2!
V2/Evidence/Files/BatchLinks | 0 1 1! 8! 8! 0 | 0 1 1! 8! 8! 0 | 0 1 1! 8! 8! 0
V2/Evidence/GUID | 0 8! 8! 8! 0! 0 | 0 8! 8! 8! 0! 0 | 0 8! 8! 8! 0! 0
V2/Evidence/ID/OperationLog | 0 8! 1! 8! 2! 0 | 0 8! 1! 8! 1! 0 | 0 8! 1! 8! 2! 0
V2/Evidence/OperationLog | 0 8! 1! 8! 2! 0 | 0 8! 1! 8! 1! 0 | 0 8! 1! 8! 2! 0)");
}

TEST_F(HandlerTest, RequestLinesSpareTheDeletion) {
  for (const int method : {2, 3})
    Call("V1/Evidence", method, {}, "{\"Password\":1}");
  const std::string line = "Evidence_Evidence]Merhod : 2, request json [{\"Password\":1}], session : .[";
  for (const auto& [level, tag, text] : platform_.sink->Lines())
    EXPECT_EQ(text.find("Password") == std::string::npos, text.find(line) == std::string::npos) << text;
  EXPECT_TRUE(platform_.sink->Has(3, line));
}

TEST_F(HandlerTest, FaultsGetAPair) {
  platform_.db->answer = [](const auto&) -> std::optional<std::vector<Row>> { throw std::runtime_error("broken"); };
  Play("GET /Evidence/7 | {} | 1 | - | says=[Evidence::GuardEdge]Unexpected exception: broken.[");
  const auto orphan = std::make_shared<Evidence::CEvidenceUserInterface>(std::weak_ptr<Evidence::CEvidenceManager>());
  service_.Init(orphan);
  Play(R"(PUT /Evidence/Type | {} | 1 | - | says="Data":{"EvidenceTypeErrorList":{}}}})");
}

}  // namespace
