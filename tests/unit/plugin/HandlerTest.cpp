// What each route of evidences, files and histories calls, in which order, and what it answers.

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "impl/Evidence/EvidenceUserInterface.h"
#include "support/AuthenticationStub.h"
#include "support/StoreStub.h"
#include "unit/plugin/ScriptedPlatform.h"
#include "usrservice/UsrServiceEvidence.h"

namespace {

using namespace Evidence;
using scripted::Calls;
using TarnPlatform::Authentication::CLoginRequest;
using TarnPlatform::Authentication::CLoginResponse;
using TarnPlatform::Authentication::CUserSession;

/// The evidences 7 "Seven", 8 "Eight" and 9 "Nine", and what is linked; notes each write. Calls that begin with
/// `refused` fail.
class Store final : public evidence_test::StoreStub {
 public:
  explicit Store(Calls& calls) : calls_(calls) {}
  std::string refused;
  std::map<std::int32_t, std::string> names{{7, "Seven"}, {8, "Eight"}, {9, "Nine"}};
  std::set<std::pair<std::int32_t, std::int32_t>> links;  ///< file and evidence
  std::map<std::string, operation_record> history;

  bool ReadAllEvidenceTypes(std::list<EvidenceTypePtr>&) override { return true; }
  bool ReadAllEvidenceCustoms(std::list<EvidenceCustomPtr>&) override { return true; }
  bool ReadAllCustomOptions(std::list<EvidenceCustomPtr>&) override { return true; }
  bool GetEvidenceCustomByID(std::list<EvidenceCustomPtr>&, std::int32_t) override { return true; }
  bool GetEvidenceCustomInfo(std::map<std::int32_t, std::vector<tag_EvidenceCustom_>>&, const IdVector&) override {
    return true;
  }
  bool UpdateEvidenceCustomInfo(const EvidencePtr&) override { return true; }
  bool DeleteEvidenceCustomInfo(const IdList&) override { return true; }
  bool GetEvidencesCount(std::int32_t& count) override { return count = 2, true; }
  bool GetEvidenceFilesCount(std::int32_t& count, std::int32_t) override { return count = 0, true; }
  std::int32_t QueryEvidenceSeqID() override { return 9; }

  bool GetEvidenceByID(EvidencePtr& evidence, std::int32_t id) override {
    if (!names.contains(id)) return Refuse();
    evidence = std::make_shared<_tag_Evidence_>();
    evidence->id = id;
    evidence->guid = "G" + std::to_string(id);
    evidence->name = names[id];
    return true;
  }
  bool GetEvidenceByIDs(std::list<EvidencePtr>& evidences, const IdList& ids) override {
    calls_.push_back("read");
    for (const auto id : ids)
      if (EvidencePtr evidence; GetEvidenceByID(evidence, id)) evidences.push_back(evidence);
    return true;
  }
  bool GetEvidenceByGuid(EvidencePtr&, const std::string&) override { return false; }
  bool InsertEvidence(const EvidencePtr& evidence) override { return Note("insert " + evidence->name); }
  bool UpdateEvidence(const EvidencePtr& evidence) override { return Note("update " + std::to_string(evidence->id)); }
  bool DeleteEvidences(const IdList& ids) override {
    std::string call = "delete";
    for (const auto id : ids)
      call += " " + std::to_string(id);
    return Note(call);
  }
  bool QueryEvidenceFiles(std::list<EvidenceFilePtr>& files, std::int32_t evidence_id, const std::string&,
                          const std::string&) override {
    for (const auto& [file, evidence] : links)
      if (evidence == evidence_id) AppendFile(files, file, evidence);
    return true;
  }
  bool InsertEvidenceFiles(const std::list<EvidenceFilePtr>& files) override {
    return Note("link " + std::to_string(files.front()->id) + ">" + std::to_string(files.front()->evidence_id));
  }
  bool UpdateEvidenceFiles(const IdVector& ids, std::int32_t evidence_id) override {
    return Note("unlink " + std::to_string(ids.front()) + ">" + std::to_string(evidence_id));
  }
  bool DeleteEvidenceFiles(const IdList& ids) override { return Note("unlink " + std::to_string(ids.front())); }
  bool DeleteEvidenceFilesByEvidenceId(std::int32_t) override { return true; }
  bool GetEvidenceFileByFileID(std::list<EvidenceFilePtr>& files, const IdVector& ids) override {
    if (refused == "links of " + std::to_string(ids.front())) return Refuse();
    for (const auto& [file, evidence] : links)
      if (std::ranges::find(ids, file) != ids.end()) AppendFile(files, file, evidence);
    return true;
  }
  /// "history type:evidence user@address" and the texts of its items.
  bool WriteEvidenceLog(const std::vector<operation_record>& records, std::int32_t) override {
    std::string call = "history";
    for (const auto& record : records) {
      call += " " + std::to_string(record.operation_type) + ":" + std::to_string(record.evidence_id) + " " +
              record.user_name + "@" + record.user_ip;
      for (const auto& item : record.change_items)
        call += " [" + item.file_name + ":" + item.before_mod + ">" + item.after_mod + "]";
    }
    return Note(call);
  }
  bool GetEvidenceLog(std::map<std::string, operation_record>& records, IdList&, std::int32_t) override {
    records = history;
    return refused != "read history" || Refuse();
  }

 private:
  static void AppendFile(std::list<EvidenceFilePtr>& files, std::int32_t id, std::int32_t evidence_id) {
    files.push_back(std::make_shared<_tag_EvidenceFile_>());
    files.back()->id = id;
    files.back()->evidence_id = evidence_id;
    files.back()->file_name = "f" + std::to_string(id);
  }
  bool Note(const std::string& call) {
    calls_.push_back(call);
    return refused.empty() || !call.starts_with(refused) || Refuse();
  }

  Calls& calls_;
};

/// One session, "s", of "alice", who may confirm with the password "right".
class Alice final : public evidence_test::AuthenticationStub {
 public:
  std::shared_ptr<CUserSession> FindSession(const std::string& session) override {
    return session == "s" ? std::make_shared<CUserSession>(3, "alice", "10.0.0.7", 1) : nullptr;
  }
  bool CheckPassword(std::shared_ptr<CLoginResponse>& out, const CLoginRequest& request) override {
    const bool right = request.GetValPassword() == "right";
    out = std::make_shared<CLoginResponse>(right ? 0 : 201, 3);
    return right;
  }
  int ClientTriesLeft(const std::string&) override { return 5; }
  int UserTriesLeft(int, const std::string&) override { return 2; }
  bool HaveControlClientPermission(int, int) override { return true; }
};

/// Notes the lines of both logs of the platform among the other calls.
class Logs final : public platform::ILogBackend, public kelp::ISystemAndLogAPI {
 public:
  explicit Logs(Calls& calls) : calls_(calls) {}
  bool WriteLog(const std::string&, const TarnPlatform::Log::COperationLogStruct& line) override {
    calls_.push_back("log " + std::to_string(line.GetVallog_type()) + " " + line.GetValelement_name() + "/" +
                     line.GetValdescription());
    return false;
  }
  int WriteOperatorLog(const std::string&, int type, std::int64_t id, const std::string& name, int, const std::string&,
                       int, int code) override {
    calls_.push_back("failed " + std::to_string(type) + " " + std::to_string(id) + " " + name + " " +
                     std::to_string(code));
    return 1;
  }
  bool AddIncreResouce(int, std::uint64_t, int) override { return true; }

 private:
  Calls& calls_;
};

/// The pieces of `text`, without blanks around them.
std::vector<std::string> Split(std::string text, const std::string& separator) {
  std::vector<std::string> pieces;
  for (std::size_t end = 0; end != std::string::npos && !text.empty();) {
    end = text.find(separator);
    const std::string piece = text.substr(0, end);
    const auto begin = piece.find_first_not_of(' ');
    pieces.push_back(begin == std::string::npos ? "" : piece.substr(begin, piece.find_last_not_of(' ') + 1 - begin));
    if (end != std::string::npos) text.erase(0, end + separator.size());
  }
  return pieces;
}

/// Bodies by the names that the table has for them; `confirm` and `wrong` delete 7 and 8 with a password.
std::string Body(const std::string& word) {
  const std::string users = R"(","UserList":{"User":[{"UserName":"alice","Password":")";
  const std::map<std::string, std::string> bodies{
      {"new", R"({"Evidence":{"Guid":"G","Name":"New","Status":1}})"},
      {"same", R"({"Evidence":{"Guid":"G7","Name":"Seven","Status":1}})"},
      {"renamed", R"({"Evidence":{"ID":5,"Guid":"G7","Name":"7","Status":1}})"},
      {"closed", R"({"EvidenceList":{"Evidence":[{"ID":7,"Status":0},{"ID":99,"Status":0},{"Status":0}]}})"},
      {"confirm", R"({"EvidenceDeleteReq":{"IDs":"7,8)" + users + R"(right"}]}}})"},
      {"confirm none", R"({"EvidenceDeleteReq":{"IDs":")" + users + R"(right"}]}}})"},
      {"wrong", R"({"EvidenceDeleteReq":{"IDs":"7,8)" + users + R"(no"}]}}})"},
      {"empty", ""}};
  if (const auto found = bodies.find(word); found != bodies.end()) return found->second;
  const auto lists = Split(word, " to ");  // "files 1,2 to 7,8": a batch link; file n is named "n"
  if (!word.starts_with("files")) return word;
  std::string files;
  std::string evidences;
  for (const auto& id : Split(lists[0].substr(5), ","))
    files.append(files.empty() ? "" : ",").append(R"({"FileID":)" + id + R"(,"FileName":")" + id + R"("})");
  for (const auto& id : lists.size() > 1 ? Split(lists[1], ",") : std::vector<std::string>())
    evidences.append(evidences.empty() ? "" : ",").append(R"({"EvidenceID":)" + id + "}");
  return R"({"Request":{"EvidenceList":{"Evidence":[)" + evidences + R"(]},"FileList":{"File":[)" + files + "]}}}";
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
    calls.push_back(words[0] + " " + words[1]);
    calls.push_back("log 306018 " + words[2] + "/");
    calls.push_back((off ? "log 306022 " : "log 306021 ") + names + "/" + words[2]);
    calls.push_back((off ? "history 7:" : "history 4:") + words[1].substr(words[1].find('>') + 1) +
                    " alice@10.0.0.7 [:" + words[3] + ">]");
  }
  return calls;
}

// Route, body, code of the answer ("-": no answer), calls ("-": none); then what is set: the session, permissions
// denied, calls of the store refused, links that stand, and what the answer or the log must hold.
constexpr char kEvidences[] = R"(
POST /Evidence   | new     | 0     | insert New; log 306017 New/; history 1:9 alice@10.0.0.7
POST /Evidence   | new     | 10    | - | denied=44
POST /Evidence   | new     | 15    | insert New | refused=insert
POST /Evidence   | new     | 200   | - | session=
POST /Evidence   | new     | -     | insert New; log 306017 New/; history 1:9 alice@10.0.0.7 | refused=history | says=]WriteEvidenceLog failed.[
PUT /Evidence    | closed  | 99999 | update 7; log 306018 Seven/; log 306018 /; history 2:7 alice@10.0.0.7 [:>]
PUT /Evidence    | closed  | 99999 | update 7; log 306018 Seven/; log 306018 /; history 2:7 alice@10.0.0.7 [:>] | refused=history
PUT /Evidence    | closed  | -     | update 7; log 306018 Seven/; log 306018 / | session=
PUT /Evidence    | closed  | 10    | history | denied=41
PUT /Evidence/7  | renamed | 0     | update 7; log 306018 7/; history 2:7 alice@10.0.0.7 [:Seven>7]
PUT /Evidence/7  | same    | 0     | update 7; log 306018 Seven/
PUT /Evidence/7  | renamed | 0     | update 7; log 306018 7/; history 2:7 @ [:Seven>7] | session=
PUT /Evidence/7  | renamed | 15    | update 7; log 306018 7/; history 2:7 alice@10.0.0.7 [:Seven>7] | refused=update
PUT /Evidence/7  | renamed | 0     | update 7; log 306018 7/; history 2:7 alice@10.0.0.7 [:Seven>7] | refused=history | says=]WriteEvidenceLog failed when ProcEvidenceIDPut.[
PUT /Evidence/7  | renamed | 10    | log 306018 / | denied=41
PUT /Evidence/7  | {       | 2     | log 306018 /
DELETE /Evidence | confirm | 0     | read; delete 7 8; log 306019 Seven;Eight/; history 3:7 alice@10.0.0.7 3:8 alice@10.0.0.7
DELETE /Evidence | confirm | 15    | read; delete 7 8; failed 306019 -1 Seven;Eight 15; history 3:7 alice@10.0.0.7 3:8 alice@10.0.0.7 | refused=delete
DELETE /Evidence | wrong   | 201   | history 3:7 alice@10.0.0.7 3:8 alice@10.0.0.7 | says={"RemainTimes":2,"RemainType":1,"Username":"alice"}
DELETE /Evidence | confirm none | 0 | delete
DELETE /Evidence | {       | 2
DELETE /Evidence/7 | confirm | 0   | delete 7; log 306019 Seven/; history 3:7 alice@10.0.0.7
DELETE /Evidence/7 | wrong | 201   | failed 306019 7  201; history 3:7 alice@10.0.0.7 | says=]The user does not have permission to remove evidence.[
DELETE /Evidence/7 | {     | 2     | failed 306019 7  2; history 3:7 alice@10.0.0.7
GET /Evidence    | {"EvidenceQueryReq":{"EvidenceIDS":"8","Filter":{"Status":1}}} | 0 | read; log 306020 /
GET /Evidence    | {"EvidenceQueryReq":{"PageIndex":2,"PageSize":5,"Filter":{"Status":1}}} | 15 | log 306020 / | says="PageIndex":2,"PageSize":5,"TotalNum":0
GET /Evidence    | {       | 2     | log 306020 /
GET /Evidence/7  | {}      | 0
GET /Evidence/99 | {}      | 9804
)";

constexpr char kFiles[] = R"(
POST /Evidence/7/Files | {"FileList":{"File":[{"ID":2,"Delete":1,"FileName":"b"},{"ID":1,"FileName":"a"},{"ID":3}]}} | 0 | link 1>7; unlink 2; log 306018 Seven/; log 306021 a;/Seven; history 4:7 alice@10.0.0.7 [:a|>]; log 306022 b/Seven; history 7:7 alice@10.0.0.7 [:b>] | links=2>7
POST /Evidence/7/Files | {"FileList":{"File":[{"ID":2,"Delete":1,"FileName":"b"}]}} | 0 | unlink 2; log 306018 Seven/; log 306022 b/Seven; history 7:7 alice@10.0.0.7 [:b>] | links=2>7
POST /Evidence/7/Files | {"FileList":{"File":[{"ID":1,"FileName":"a"}]}} | 15 | =link 1>7 Seven a | refused=history | says={"ResponseStatus":{"ErrorModule":0,"ErrorCode":15}}
POST /Evidence/7/Files | {} | 2 | - | says="FileErrorList":{}
POST /Evidence/7/Files | {"FileList":{"File":[{"ID":1}]}} | 10 | - | denied=41
POST /Evidence/Files/BatchLinks | files 1,2 to 8,7,8 | 0 | =link 1>7 Seven 1|2; =link 1>8 Eight 1|2
POST /Evidence/Files/BatchLinks | files 1 to 7   | -     | - | denied=41
PUT /Evidence/Files/BatchLinks  | files 1 to 7   | -     | - | denied=41
PUT /Evidence/Files/BatchLinks  | {              | 10002
PUT /Evidence/Files/BatchLinks  | files          | 10002
POST /Evidence/Files/BatchLinks | files 1        | 10002 | - | says=]FileBatchLinkEvidences failed, request:[{
POST /Evidence/Files/BatchLinks | files 1,2 to 6,8 | 9999 | =link 1>8 Eight 1|2 | says="EvidenceID":6,"EvidenceName":"","ErrorList":[{"FileID":1,"ErrorCode":9804,"ErrorModule":0},{"FileID":2,"ErrorCode":9804,"ErrorModule":0}]
POST /Evidence/Files/BatchLinks | files 1,2 to 7 | 9999  | - | files="LinkFileErrorList":[{}],"LinkFileError":[{"ID":2,"Error":{"ErrorModule":31,"ErrorCode":5}}] | says="EvidenceID":7,"EvidenceName":"Seven","ErrorList":[{"FileID":2,"ErrorCode":5,"ErrorModule":31}]
POST /Evidence/Files/BatchLinks | files 1 to 7,8 | 15    | =link 1>7 Seven 1 | refused=history
POST /Evidence/Files/BatchLinks | files 1 to 6,7,8 | 9999 | =link 1>7 Seven 1 | refused=history
PUT /Evidence/Files/BatchLinks  | files 1 to 7,8 | 0     | - | links=1>7,1>8 | says=]file [1-1] need delete evidence id is: , need add evidence id is: .[
PUT /Evidence/Files/BatchLinks  | files 1,2 to 9 | 0     | =unlink 1>7 Seven 1; =unlink 1>8 Eight 1; =link 1>9 Nine 1; =link 2>9 Nine 2 | links=1>7,1>8 | says=]file [1-1] need delete evidence id is: 7,8, need add evidence id is: 9.[
PUT /Evidence/Files/BatchLinks  | files 1,2      | 0     | =unlink 1>7 Seven f1; =unlink 1>8 Eight f1; =unlink 2>7 Seven f2 | links=1>7,1>8,2>7 | refused=history 7:7 alice@10.0.0.7 [:f2
PUT /Evidence/Files/BatchLinks  | files 1,2,3 to 7 | 15  | =link 1>7 Seven 1 | refused=links of 2 | says=]GetEvidenceFileByFileID failed.[
PUT /Evidence/Files/BatchLinks  | files 1,2      | 15    | - | refused=links of 1
PUT /Evidence/Files/BatchLinks  | files 1,2 to 7 | 0     | =link 1>7 Seven 1; =link 2>7 Seven 2 | refused=history 4:7 alice@10.0.0.7 [:1>
PUT /Evidence/Files/BatchLinks  | files 1,2 to 7,8 | 15  | =link 1>7 Seven 1; =link 1>8 Eight 1; =link 2>7 Seven 2 | refused=history 4:7 alice@10.0.0.7 [:2>
PUT /Evidence/Files/BatchLinks  | files 1,2 to 6 | 9999  | - | says=[{"FileID":1,"ErrorCode":9804,"ErrorModule":0},{"FileID":2,
)";

constexpr char kHistories[] = R"(
POST /Evidence/OperationLog | {"OperationLog":[{"EvidenceID":7,"UserName":"Gate","UserIP":"10.1.1.1","OperationType":5,"Details":[{"Name":"a"},{"Type":2,"Name":"x"}]},{"EvidenceID":8}]} | 0 | history 5:7 Gate@10.1.1.1 [a:a>] [x:x>] -1:8 @
POST /Evidence/OperationLog | {"OperationLog":[{"EvidenceID":8}]} | 15 | history -1:8 @ | refused=history | says=]Batch WriteEvidenceLog failed vec_evidence_log size : 1.[
POST /Evidence/OperationLog | empty | 1
POST /Evidence/OperationLog | {     | 2 | - | says=]Request param error. req-data:
GET /Evidence/7/OperationLog | {   | 15 | - | refused=read history
)";

constexpr char kWithoutUserInterface[] = R"(
POST /Evidence   | new | -
GET /Evidence    | {}  | -
DELETE /Evidence/7 | confirm | -
PUT /Evidence/Files/BatchLinks  | files 1 to 7 | -
POST /Evidence/Files/BatchLinks | files 1 to 7 | 1
POST /Evidence/7/Files | {} | 1
POST /Evidence/OperationLog | {"OperationLog":[]} | 1
GET /Evidence/7/OperationLog | empty | 1
GET /Evidence/GUID | empty | 0
)";

class HandlerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform_.adapter->system_and_log = logs_;
    platform_.comm->answer = [this](const auto&, const auto&, auto& reply) {
      reply = std::make_shared<plugin_comm::CPluginCommData>(
          R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{)" + refused_files_ + "}}}", nullptr, 0);
    };
    ASSERT_TRUE(manager_->Initialize());
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
    kelp::SHttpResponse response;
    const auto& callbacks = platform_.bus->callbacks;
    callbacks.at(callbacks.contains(base + "V1" + url) ? base + "V1" + url : base + "V2" + url)(response, request);
    return response.response_body;
  }

  void Play(const std::string& row) {
    SCOPED_TRACE(row);
    const auto cells = Split(row, " | ");
    std::map<std::string, std::string> set{{"session", "s"}};
    for (std::size_t i = 4; i < cells.size(); ++i)
      set[cells[i].substr(0, cells[i].find('='))] = cells[i].substr(cells[i].find('=') + 1);
    store_->refused = set["refused"];
    store_->links.clear();
    for (const auto& link : Split(set["links"], ","))
      store_->links.emplace(std::stoi(link), std::stoi(link.substr(link.find('>') + 1)));
    platform_.permissions->denied_cs.clear();
    if (!set["denied"].empty()) platform_.permissions->denied_cs = {std::stoi(set["denied"])};
    refused_files_ = set["files"];
    platform_.sink->Clear();
    calls_.clear();

    const std::string answer = Send(cells[0], Body(cells[1]), set["session"]);
    std::smatch code;
    const bool has_code = std::regex_search(answer, code, std::regex(R"("ErrorCode":(\d+))"));
    EXPECT_EQ(has_code ? code[1].str() : answer.empty() ? "-" : answer, cells[2]) << answer;
    EXPECT_EQ(calls_, CallsOf(cells.size() > 3 ? cells[3] : "-"));
    const std::string& says = set["says"];
    EXPECT_TRUE(answer.find(says) != std::string::npos || platform_.sink->Has(3, says) || platform_.sink->Has(5, says))
        << answer;
  }

  void PlayAll(const std::string& table) {
    std::istringstream rows(table);
    for (std::string row; std::getline(rows, row);)
      if (!row.empty()) Play(row);
  }

  scripted::Platform platform_;
  Calls calls_;
  std::string refused_files_;  ///< in the file manager's words
  const std::shared_ptr<Store> store_ = std::make_shared<Store>(calls_);
  const std::shared_ptr<Logs> logs_ = std::make_shared<Logs>(calls_);
  const platform::ScopedBackend<platform::ILogBackend> log_slot_{logs_};
  const platform::ScopedBackend<platform::IAuthenticationBackend> alice_{std::make_shared<Alice>()};
  const std::shared_ptr<CEvidenceManager> manager_ = std::make_shared<CEvidenceManager>(store_);
  const std::shared_ptr<CEvidenceUserInterface> user_interface_ = std::make_shared<CEvidenceUserInterface>(manager_);
  CUsrServiceEvidence service_;
};

TEST_F(HandlerTest, Evidences) { PlayAll(kEvidences); }
TEST_F(HandlerTest, Files) { PlayAll(kFiles); }
TEST_F(HandlerTest, Histories) { PlayAll(kHistories); }

TEST_F(HandlerTest, RequestsForMoreThanOneCallDoesAreRefused) {
  const auto list = [](int count, const std::string& element) {
    std::string text = element + "1";
    for (int n = 2; n <= count; ++n)
      text += "," + element + std::to_string(n);
    return text;
  };
  const std::string batch = "/Evidence/Files/BatchLinks | files " + list(363, "");
  Play("POST " + batch + " to " + list(363, "") + " | 10002");
  Play("PUT " + batch + " to " + list(363, "") + " | 10002");
  Play("PUT /Evidence/Files/BatchLinks | files " + list(10'001, "") + " to 7 | 10002");
  Play(R"(DELETE /Evidence | {"EvidenceDeleteReq":{"IDs":")" + list(10'001, "") +
       R"(","UserList":{"User":[{"UserName":"alice","Password":"right"}]}}} | 2)");
  Play(R"(POST /Evidence/OperationLog | {"OperationLog":[{"Details":[)" + list(5'000, "") + "]},{}," +
       R"({"Details":[)" + list(5'000, "") + "]}]} | 2");
  // A name is written into each row and each evidence.
  const std::string long_name(40'000, 'x');
  Play(R"(POST /Evidence/OperationLog | {"OperationLog":[{"UserName":")" + long_name + R"(","Details":[)" +
       list(500, "") + "]}]} | 2");
  Play(R"(POST /Evidence/Files/BatchLinks | {"Request":{"EvidenceList":{"Evidence":[{"EvidenceID":)" +
       list(1'000, R"(1},{"EvidenceID":)") + R"(}]},"FileList":{"File":[{"FileID":1,"FileName":")" + long_name +
       R"("}]}}} | 10002)");
}

TEST_F(HandlerTest, WithoutAUserInterfaceOnlySomeAnswer) {
  service_.Init(std::weak_ptr<CEvidenceUserInterface>());
  PlayAll(kWithoutUserInterface);
}

TEST_F(HandlerTest, AHistoryShowsEachEditAsOneItem) {
  const auto add = [this](const std::string& key, int type, const std::vector<std::string>& items) {
    auto& record = store_->history[key];
    record.operation_type = type;
    for (const auto& item : items) {  // its guid and its name
      record.change_items.emplace_back().before_mod = item;
      record.change_items.back().guid = item.substr(0, 1);
    }
  };
  add("a", 2, {"B1", "A1", "B2"});
  add("b", 1, {"hidden"});
  add("c", 4, {"B3", "A2"});
  const std::string answer = Send("GET /Evidence/7/OperationLog", "");
  std::string names;
  const std::regex shown(R"re("OperationType":(\d)|"Name":"(\w+)")re");
  for (auto at = std::sregex_iterator(answer.begin(), answer.end(), shown); at != std::sregex_iterator(); ++at)
    names += (*at)[1].matched ? " " + (*at)[1].str() : ":" + (*at)[2].str();
  EXPECT_EQ(names, " 2:A1 2:B1:B2 1 4:B3:A2");
}

}  // namespace
