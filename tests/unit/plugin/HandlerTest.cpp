// What each route of evidences, files and histories calls, in which order, and what it answers.

#include "unit/plugin/ServiceTest.h"

namespace {

using scripted::Calls;
using service_test::Fields;
using Texts = std::vector<std::string>;

/// Notes the lines of both logs of the platform among the other calls. The first refuses names that begin with "a".
class Logs final : public platform::ILogBackend, public kelp::ISystemAndLogAPI {
 public:
  explicit Logs(Calls& calls) : calls_(calls) {}
  bool WriteLog(const std::string&, const TarnPlatform::Log::COperationLogStruct& line) override {
    calls_.push_back(Fields("log", line.GetVallog_type(), line.GetValelement_name() + "/" + line.GetValdescription()));
    return !line.GetValelement_name().starts_with("a");
  }
  int WriteOperatorLog(const std::string&, int type, std::int64_t id, const std::string& name, int, const std::string&,
                       int, int code) override {
    calls_.push_back(Fields("failed", type, id, name, code));
    return 1;
  }
  bool AddIncreResouce(int, std::uint64_t, int) override { return true; }

 private:
  Calls& calls_;
};

/// The pieces of `text`, without blanks around them.
Texts Split(const std::string& text, const std::string& separator) {
  Texts pieces;
  for (std::size_t begin = 0, end = 0; end != std::string::npos && !text.empty(); begin = end + separator.size()) {
    end = text.find(separator, begin);
    const std::string piece = text.substr(begin, end - begin);
    const auto first = piece.find_first_not_of(' ');
    pieces.push_back(first == std::string::npos ? "" : piece.substr(first, piece.find_last_not_of(' ') + 1 - first));
  }
  return pieces;
}

/// `element` with each of the ids of a comma list in the place of "%".
std::string List(const std::string& ids, const std::string& element) {
  std::string text;
  for (const auto& id : Split(ids, ",")) {
    text += (text.empty() ? "" : ",") + element;
    for (auto at = text.find('%'); at != std::string::npos; at = text.find('%'))
      text.replace(at, 1, id);
  }
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

/// The calls of a table's cell. "=link 1>7 Seven 1|2" is all that linking the files of names "1" and "2" leaves.
Calls CallsOf(const std::string& cell) {
  Calls calls;
  if (cell == "-") return calls;
  for (const auto& call : Split(cell, "; ")) {
    if (!call.starts_with("=")) {
      calls.push_back(call);
      continue;
    }
    const auto words = Split(call.substr(1), " ");
    const bool off = words[0] == "unlink";
    std::string names = words[3];
    std::ranges::replace(names, '|', ';');
    calls.push_back(Fields(words[0], words[1]));
    calls.push_back(Fields("log 306018", words[2] + "/"));
    calls.push_back(Fields(off ? "log 306022" : "log 306021", names + "/" + words[2]));
    calls.push_back(Fields("history", (off ? "7:" : "4:") + Split(words[1], ">")[1], "[:" + words[3] + ">]"));
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
PUT /Evidence | @evidence_put | @evidence_put | update 7; log 306018 Seven/; log 306018 /; history 2:7 [5 :>]
PUT /Evidence | @evidence_put | 99999 | update 7; log 306018 Seven/; log 306018 /; history 2:7 [5 :>] | refused=history
PUT /Evidence | @evidence_put | - | update 7; log 306018 Seven/; log 306018 / | session=
PUT /Evidence | @evidence_put | 10 | history | denied=41
PUT /Evidence    | {"EvidenceList":{"Evidence":[]}} | 2 | history
PUT /Evidence/7  | renamed | 0     | update 7; log 306018 7/; history 2:7 [1 :Seven>7]
PUT /Evidence/7  | same    | 0     | update 7; log 306018 Seven/
PUT /Evidence/7  | renamed | 0     | update 7; log 306018 7/; history 2:7 by @ [1 :Seven>7] | session=
PUT /Evidence/7  | renamed | 15    | update 7; log 306018 7/; history 2:7 [1 :Seven>7] | refused=update
PUT /Evidence/7  | renamed | 0     | update 7; log 306018 7/; history 2:7 [1 :Seven>7] | refused=history
PUT /Evidence/7  | renamed | 10    | log 306018 / | denied=41
PUT /Evidence/7  | {       | 2     | log 306018 /
DELETE /Evidence | delete 8,7 by right | 0 | read 8 7; delete 8 7; log 306019 Eight;Seven/; history 3:8 3:7
DELETE /Evidence | delete 7 by right | 15 | read 7; delete 7; failed 306019 -1 Seven 15; history 3:7 | refused=delete
DELETE /Evidence | delete 8,7 by 201 | @evidence_delete | history 3:8 3:7 | tries=0
DELETE /Evidence | delete  by right  | @evidence_delete_done | delete
DELETE /Evidence | {       | 2
DELETE /Evidence/7 | delete  by right | 0 | delete 7; log 306019 Seven/; history 3:7
DELETE /Evidence/7 | delete  by 201 | 201 | failed 306019 7  201; history 3:7
DELETE /Evidence/7 | {     | 2     | failed 306019 7  2; history 3:7
GET /Evidence    | {"EvidenceQueryReq":{"EvidenceIDS":"8","Filter":{}}} | 0 | read 8; log 306020 /; files 8
GET /Evidence    | {"EvidenceQueryReq":{"PageIndex":5,"Filter":{}}} | 15 | log 306020 / | says="PageIndex":5,"Tot
GET /Evidence    | {       | 2     | log 306020 /
GET /Evidence/7  | {}      | 0
GET /Evidence/99 | {}      | 9804
DELETE /Evidence/Type/6 | empty | - | - | denied on web=1425
PUT /Evidence/Type/6 | {"EvidenceType":{"ID":5,"Name":"x"}} | 15 | - | says={"ErrorModule":0,"ErrorCode":15}}
GET /Evidence/Custom | {       | 2
)";

constexpr char kFiles[] = R"(
POST /Evidence/7/Files | c on, b off | 0 | link 1>7; unlink 2; log 306018 Seven/; log 306021 c;/Seven; )"
                          R"(history 4:7 [:c|>]; log 306022 b/Seven; history 7:7 [:b>] | links=2>7
POST /Evidence/7/Files | b off | 0   | unlink 2; log 306018 Seven/; log 306022 b/Seven; history 7:7 [:b>] | links=2>7
POST /Evidence/7/Files | c on  | 15  | =link 1>7 Seven c | refused=history | says="ErrorCode":15}}
POST /Evidence/7/Files | {}    | 2   | - | says="FileErrorList":{}
POST /Evidence/7/Files | c on  | 10  | - | denied=41
POST /Evidence/Files/BatchLinks | files 1,2 to 8,7,8 | 0 | =link 1>7 Seven 1|2; =link 1>8 Eight 1|2
POST /Evidence/Files/BatchLinks | files 1 to 7   | -     | - | denied=41
PUT /Evidence/Files/BatchLinks | files 1 to 7   | -     | - | denied=41
PUT /Evidence/Files/BatchLinks | {              | 10002
PUT /Evidence/Files/BatchLinks | files          | 10002
POST /Evidence/Files/BatchLinks | files 1        | 10002 | - | says=]FileBatchLinkEvidences failed, request:[{
POST /Evidence/Files/BatchLinks | files 1,2 to 6,8 | @batch_links | =link 1>8 Eight 1|2
POST /Evidence/Files/BatchLinks | files 1,2 to 7 | @batch_links_refused | - | links refused=2
POST /Evidence/Files/BatchLinks | files 1 to 7,8 | 15    | =link 1>7 Seven 1 | refused=history
POST /Evidence/Files/BatchLinks | files 1 to 6,7,8 | 9999 | =link 1>7 Seven 1 | refused=history
PUT /Evidence/Files/BatchLinks | files 1 to 7,8 | 0     | - | links=1>7,1>8
PUT /Evidence/Files/BatchLinks | files 1,2 to 9 | 0 | =unlink 1>7 Seven 1; =link 1>9 Nine 1; =link 2>9 Nine 2 | links=1>7
PUT /Evidence/Files/BatchLinks | files 1,2 | 0 | =unlink 1>7 Seven f1; =unlink 2>7 Seven f2 | links=1>7,2>-1,2>7
PUT /Evidence/Files/BatchLinks | files 1 | 0 | =unlink 1>7 Seven f1 | links=1>7 | refused=history
PUT /Evidence/Files/BatchLinks | files 1,2,3 to 7 | 15  | =link 1>7 Seven 1 | refused=links of 2
PUT /Evidence/Files/BatchLinks | files 1,2      | 15    | - | refused=links of 1
PUT /Evidence/Files/BatchLinks | files 1,2 to 7 | 0 | =link 1>7 Seven 1; =link 2>7 Seven 2 | refused=history 4:7 [:1>
PUT /Evidence/Files/BatchLinks | files 1 to 7,8 | 15    | =link 1>7 Seven 1 | refused=history 4:7 [:1> | links=1>-1
PUT /Evidence/Files/BatchLinks | files 1,2 to 6 | 9999  | - | says=[{"FileID":1,"ErrorCode":9804,"ErrorModule":0},{"F
)";

constexpr char kHistories[] = R"(
POST /Evidence/OperationLog | @operation_log_post | 0 | history 5:4 by camera@10.0.0.9 [2 a:a>] [b:b>] -1:-1 by @ [3 :>]
POST /Evidence/OperationLog | {"OperationLog":[{}]} | 15 | history -1:-1 by @ | refused=history
POST /Evidence/OperationLog | empty | 1
POST /Evidence/OperationLog | {     | @operation_log_post | - | says=]Request param error. req-data:
GET /Evidence/7/OperationLog | {    | 15 | - | refused=read history
)";

constexpr char kWithoutUserInterface[] = R"(
POST /Evidence   | new | -
GET /Evidence    | {}  | -
DELETE /Evidence/7 | delete 7 by right | -
PUT /Evidence/Files/BatchLinks | files 1 to 7 | -
POST /Evidence/Files/BatchLinks | files 1 to 7 | 1
POST /Evidence/7/Files | {} | 1
POST /Evidence/OperationLog | {"OperationLog":[]} | 1
GET /Evidence/7/OperationLog | empty | 1
GET /Evidence/GUID | empty | 0
)";

class HandlerTest : public service_test::ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    platform_.adapter->system_and_log = logs_;
    service_.Init(user_interface_);
  }

  /// The answer to "METHOD /path", which may hold one number where the route has an id.
  std::string Send(const std::string& route, const std::string& body, const std::string& session = "s") {
    const std::map<std::string, int> methods{{"PUT", 1}, {"POST", 2}, {"DELETE", 3}, {"GET", 4}};
    std::string url = route.substr(route.find('/'));
    kelp::SHttpRequest request{methods.at(Split(route, " ")[0]), session, {}, body};
    if (std::smatch number; std::regex_search(url, number, std::regex("/([0-9]+)"))) {
      request.url_ids = {std::stoi(number[1])};
      url = std::string(number.prefix()) + "/ID" + std::string(number.suffix());
    }
    const std::string base = "/TRELL/Halyard/Evidence/";
    const auto& callbacks = platform_.bus->callbacks;
    kelp::SHttpResponse response;
    callbacks.at(callbacks.contains(base + "V1" + url) ? base + "V1" + url : base + "V2" + url)(response, request);
    return response.response_body;
  }

  void Play(const std::string& row) {
    SCOPED_TRACE(row.substr(0, 300));
    auto cells = Split(row, " | ");
    cells.resize(std::max<std::size_t>(cells.size(), 4));
    std::map<std::string, std::string> set{{"session", "s"}, {"tries", "2"}};
    for (std::size_t i = 4; i < cells.size(); ++i)
      set[cells[i].substr(0, cells[i].find('='))] = cells[i].substr(cells[i].find('=') + 1);
    store_->refused = set["refused"];
    store_->links.clear();
    for (const auto& link : Split(set["links"], ","))
      store_->links.emplace(std::stoi(link), std::stoi(link.substr(link.find('>') + 1)));
    platform_.permissions->denied_cs = {std::atoi(set["denied"].c_str())};
    platform_.permissions->denied = {std::atoi(set["denied on web"].c_str())};
    accounts_->user_left = std::stoi(set["tries"]);
    links_refused_ = set["links refused"];
    platform_.sink->Clear();
    calls_.clear();

    const std::string answer = Send(cells[0], Body(cells[1]), set["session"]);
    std::smatch code;
    const bool has_code = std::regex_search(answer, code, std::regex(R"("ErrorCode":(\d+))"));
    const bool whole = cells[2].starts_with("@");
    EXPECT_EQ(whole || !has_code ? answer : code[1].str(), whole             ? service_test::Answer(cells[2].substr(1))
                                                           : cells[2] == "-" ? ""
                                                                             : cells[2]);
    if (cells[3] != "...") {
      EXPECT_EQ(calls_, CallsOf(cells[3]));
    }
    const std::string& says = set["says"];
    EXPECT_TRUE(answer.find(says) != std::string::npos || platform_.sink->Has(5, says)) << answer;
  }

  void PlayAll(const std::string& table) {
    for (const auto& row : Split(table, "\n"))
      if (!row.empty()) Play(row);
  }

  std::string links_refused_;  ///< ids of files
  const std::shared_ptr<Logs> logs_ = std::make_shared<Logs>(calls_);
  const platform::ScopedBackend<platform::ILogBackend> log_slot_{logs_};
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

TEST_F(HandlerTest, WithoutAUserInterfaceOnlySomeAnswer) {
  service_.Init(std::weak_ptr<Evidence::CEvidenceUserInterface>());
  PlayAll(kWithoutUserInterface);
}

TEST_F(HandlerTest, RequestsForMoreThanOneCallDoesAreRefused) {
  const auto count = [](int last) {
    std::string text = "1";
    for (int n = 2; n <= last; ++n)
      text += "," + std::to_string(n);
    return text;
  };
  const std::string links = " /Evidence/Files/BatchLinks | ";
  Play("POST" + links + "files " + count(363) + " to " + count(362) + " | 10002");
  Play("PUT" + links + "files " + count(10'001) + " to 7 | 10002");
  Play("DELETE /Evidence | delete " + count(10'001) + " by right | 2");
  Play("DELETE /Evidence | delete " + count(10'000) + " by right | 0 | ...");
  const auto post = [](const std::string& entries) {
    return R"(POST /Evidence/OperationLog | {"OperationLog":[)" + entries + "]} | ";
  };
  const std::string half = R"({"Details":[)" + count(5'000) + "]}";
  Play(post(half + ",{}," + half) + "2");
  Play(post(half + "," + half) + "0 | ...");
  // A name is written into each row and each evidence.
  const std::string name(40'000, 'x');
  Play(post(R"({"UserName":")" + name + R"(","Details":[)" + count(500) + "]}") + "2");
  Play("POST" + links + R"({"Request":{"EvidenceList":{"Evidence":[)" + List(count(1'000), R"({"EvidenceID":%})") +
       R"(]},"FileList":{"File":[{"FileID":1,"FileName":")" + name + R"("}]}}} | 10002)");
}

TEST_F(HandlerTest, AHistoryShowsEachEditAsOneItem) {
  auto& edits = store_->history["a"];
  edits = {7, "t", 1, "camera", "device", "10.0.0.9", 3, 2, {}};
  // By their guids, the last text, these are two edits.
  edits.change_items = {
      {"", 2, 6, "before", 7, "after", "B"}, {"", 3, -1, "A1", -1, "", "A"}, {"", 5, 1, "", 0, "", "B"}};
  store_->history["b"].operation_type = 1;
  store_->history["b"].change_items = {{"", 1, 1, "not shown", 1, "", ""}};
  store_->history["c"].operation_type = 4;
  store_->history["c"].change_items = {{"", -1, -1, "f1", -1, "", "B"}, {"", -1, -1, "f2", -1, "", "A"}};
  EXPECT_EQ(Send("GET /Evidence/7/OperationLog", ""), service_test::Answer("operation_log_get"));
}

TEST_F(HandlerTest, NamesInThePlatformsLogAreJoinedUpToTheLimit) {
  const std::string half(128, 'h');
  const std::string most(127, 'h');
  for (const auto& [names, lines] : std::map<Texts, Texts>{{{half, most, "b"}, {half + ";" + most, "b"}},
                                                           {{half, half}, {half, half}},
                                                           {{half + half, "b"}, {half + half, "b"}},
                                                           {{"", ""}, {""}},
                                                           {{}, {}}}) {
    calls_.clear();
    EXPECT_TRUE(service_.WriteLog("s", 306013, -1, names, {}, ""));
    Calls expected;
    for (const auto& line : lines)
      expected.push_back("log 306013 " + line + "/");
    EXPECT_EQ(calls_, expected);
  }
  EXPECT_FALSE(service_.WriteLog("s", 1, 2, Texts{"a"}, {}, ""));
  EXPECT_TRUE(service_.WriteLog("s", 1, 2, Texts{std::string(256, 'a'), "b"}, {}, "")) << "one of two was written";
  EXPECT_TRUE(platform_.sink->Has(5, "session-id[s], log-type[1], object-id[2], object-name[a].["));
}

}  // namespace
