#pragma once

#include "unit/plugin/ServiceTest.h"

/// One request to a fresh service, and all that comes of it.
namespace handler_test {

using scripted::Calls;

/// What is not as always.
struct Given {
  std::string session = "s";
  int denied = 0;                                                 ///< a permission of CS clients
  int denied_on_web = 0;                                          ///< one of web clients
  std::string failing = {};                                       ///< how the call of the store begins that fails
  std::vector<std::pair<std::int32_t, std::int32_t>> links = {};  ///< files "f<id>" and their evidences
  bool file_2_refused = false;                                    ///< by the file manager
  int tries_left = 2;
  std::string says = {};  ///< what the answer or a line of failure must hold, too
};

struct Exchange {
  const char* name;
  std::string route;   ///< "PUT /Evidence/7"
  std::string body;    ///< "@x" for the file x
  std::string answer;  ///< its code; "" for none, "@x" for the file x
  Calls calls;         ///< without reads and keys
  Given given;
};
inline void PrintTo(const Exchange& exchange, std::ostream* out) { *out << exchange.name; }
inline std::string NameOf(const ::testing::TestParamInfo<Exchange>& exchange) { return exchange.param.name; }

/// To write the rows of a table in.
inline Exchange On(const char* name, const std::string& route, const std::string& body, const std::string& answer,
                   const Calls& calls = {}, const Given& given = {}) {
  return {name, route, body, answer, calls, given};
}

/// The row of an evidence's history; `item` is kind, file names, before and after.
inline std::string History(int type, std::int32_t evidence_id, const std::string& item = "-1 '' '' ''",
                           const std::string& who = "'alice' at '10.0.0.7' on 1") {
  return scripted::Words("history", type, "of", evidence_id, "by", who) + ": " + item;
}

/// All that comes of linking files, or taking them off, with a call of the store for each.
inline Calls Changed(bool link, const Calls& files, const Calls& names, std::int32_t id, const std::string& evidence) {
  using evidence_test::Joined;
  const std::string of = " of " + std::to_string(id);
  Calls calls{(link ? "link " : "unlink ") + Joined(files, ",") + of};
  for (const auto& file : files)
    calls.push_back((link ? "add file " + file + " '" + file + "'" : "delete file " + file) + of);
  calls.push_back("log 306018 " + evidence + "/");
  calls.push_back((link ? "log 306021 " : "log 306022 ") + Joined(names, ";") + "/" + evidence);
  calls.push_back(History(link ? 4 : 7, id, "-1 '" + Joined(names, "|") + "' '' ''"));
  return calls;
}
/// Files are named as their ids are written.
inline Calls Linked(const Calls& files, std::int32_t id, const std::string& evidence) {
  return Changed(true, files, files, id, evidence);
}
inline Calls Unlinked(const std::string& file, const std::string& name, std::int32_t id, const std::string& evidence) {
  return Changed(false, {file}, {name}, id, evidence);
}
template <class... More>
Calls Then(Calls calls, const More&... more) {
  (calls.insert(calls.end(), more.begin(), more.end()), ...);
  return calls;
}

/// "1,2,…" up to `last`.
inline std::string Numbers(int last) {
  std::string text = "1";
  for (int n = 2; n <= last; ++n)
    text += "," + std::to_string(n);
  return text;
}
/// `element` with each of the ids of a comma list in the place of "%".
inline std::string List(const std::string& ids, const std::string& element) {
  std::string text;
  for (const auto& id : Evidence::SplitText(ids, ','))
    text += (text.empty() ? "" : ",") + Orv::Base::StringUtil::StringReplace(element, "%", id);
  return text;
}
/// The body that links files, named as their ids are written, to evidences.
inline std::string Links(const std::string& files, const std::string& evidences = "") {
  return R"({"Request":{"EvidenceList":{"Evidence":[)" + List(evidences, R"({"EvidenceID":%})") +
         R"(]},"FileList":{"File":[)" + List(files, R"({"FileID":%,"FileName":"%"})") + "]}}}";
}
/// The body of a deletion that alice confirms.
inline std::string Deletion(const std::string& ids, const std::string& password) {
  return R"({"EvidenceDeleteReq":{"IDs":")" + ids + R"(","UserList":{"User":[{"UserName":"alice","Password":")" +
         password + "\"}]}}}";
}

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
  std::string Send(const std::string& route, const std::string& body, const std::string& session = "s") {
    const std::map<std::string, int> methods{{"PUT", 1}, {"POST", 2}, {"DELETE", 3}, {"GET", 4}};
    std::string path = route.substr(route.find('/'));
    std::vector<std::int32_t> ids;
    if (std::smatch number; std::regex_search(path, number, std::regex("/(-?[0-9]+)"))) {
      ids = {std::stoi(number[1])};
      path = std::string(number.prefix()) + "/ID" + std::string(number.suffix());
    }
    const bool first = platform_.bus->callbacks.contains(kBase + "V1" + path);
    return Call((first ? "V1" : "V2") + path, methods.at(route.substr(0, route.find(' '))), ids, body, session);
  }
  /// The code in an answer; "" when it has none.
  static std::string CodeOf(const std::string& answer) {
    std::smatch code;
    return std::regex_search(answer, code, std::regex(R"("ErrorCode":(\d+))")) ? code[1].str() : answer;
  }

  void Arrange(const Given& given) {
    if (!given.failing.empty()) tables_.failing = {given.failing};
    for (const auto& [file, evidence] : given.links)
      AddFile(file, evidence);
    platform_.permissions->denied_cs = {given.denied};
    platform_.permissions->denied = {given.denied_on_web};
    accounts_->user_left = given.tries_left;
    if (given.file_2_refused) {
      reply_ = R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"LinkFileErrorList":[{}],)"
               R"("LinkFileError":[{"ID":2,"Error":{"ErrorCode":5}}]}}})";
    }
    platform_.sink->Clear();
    platform_.calls.clear();
  }
  void Play(const Exchange& exchange) {
    Arrange(exchange.given);
    const auto& [name, route, body, expected, calls, given] = exchange;
    const bool whole = expected.starts_with("@");
    const std::string answer =
        Send(route, body.starts_with("@") ? service_test::Request(body.substr(1)) : body, given.session);
    EXPECT_EQ(whole ? answer : CodeOf(answer), whole ? service_test::Answer(expected.substr(1)) : expected);
    EXPECT_EQ(evidence_test::Lines(TakeCalls()), evidence_test::Lines(calls));
    EXPECT_TRUE(answer.find(given.says) != std::string::npos || platform_.sink->Has(5, given.says)) << answer;
  }

  const std::string kBase = "/TRELL/Halyard/Evidence/";
};

class ExchangeTest : public HandlerTest, public ::testing::WithParamInterface<Exchange> {};

}  // namespace handler_test
