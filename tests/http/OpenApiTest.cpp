// The description of the interface in docs/openapi.yaml beside the route table and the answers of the running host.

#include <yaml-cpp/yaml.h>

#include <boost/algorithm/string/case_conv.hpp>
#include <regex>

#include "http/AllRoutes.h"
#include "http/HostProcess.h"
#include "http/InstalledCopy.h"

namespace evidence_test {
namespace {

const YAML::Node kDescription = YAML::LoadFile(OPENAPI_FILE);

/// What is no text has no quotes.
std::string TypeOf(const YAML::Node& node) {
  if (node.IsNull()) return "null";
  if (!node.IsScalar()) return node.IsMap() ? "object" : "array";
  long long number = 0;
  if (node.Tag() == "!") return "string";
  if (node.Scalar() == "true" || node.Scalar() == "false") return "boolean";
  return YAML::convert<long long>::decode(node, number) ? "integer" : "string";
}

std::string Json(const YAML::Node& node) {
  if (node.IsScalar()) return TypeOf(node) == "string" ? "\"" + node.Scalar() + "\"" : node.Scalar();
  std::string text;
  for (const auto& entry : node) {
    text += text.empty() ? "" : ",";
    text += node.IsMap() ? "\"" + entry.first.Scalar() + "\":" + Json(entry.second) : Json(entry);
  }
  return node.IsMap() ? "{" + text + "}" : "[" + text + "]";
}

/// What `node` refers to, or itself.
YAML::Node Resolved(const YAML::Node& node) {
  if (!node["$ref"]) return node;
  std::istringstream place(node["$ref"].Scalar().substr(2));
  YAML::Node found;
  found.reset(kDescription);
  for (std::string key; std::getline(place, key, '/');)
    found.reset(YAML::Node(found[key]));
  return Resolved(found);
}

struct Operation {
  std::string method;
  std::string path;
  YAML::Node description;
  /// Those of the path and its own.
  std::vector<YAML::Node> parameters;
};

std::vector<Operation> Operations() {
  std::vector<Operation> operations;
  for (const auto& path : kDescription["paths"]) {
    const auto item = Resolved(path.second);
    for (const auto& entry : item) {
      const auto method = boost::to_upper_copy(entry.first.Scalar());
      if (method == "PARAMETERS") continue;
      operations.push_back({method, path.first.Scalar(), entry.second, {}});
      for (const auto& list : {item["parameters"], entry.second["parameters"]})
        for (const auto& parameter : list)
          operations.back().parameters.push_back(Resolved(parameter));
    }
  }
  return operations;
}

TEST(OpenApiTest, NamesTheRoutesOfTheTableAndOfTheHost) {
  auto expected = RoutesOfTheTable();
  expected.merge(RoutesOfThePlugin());
  std::set<std::string> described;
  for (const auto& operation : Operations())
    described.insert(operation.method + " " + operation.path);
  EXPECT_EQ(described, expected);
}

/// Each path of the file on a host of its own, with the same dictionaries, evidences and files.
class OpenApiAnswersTest : public testing::Test {
 protected:
  void SetUp() override {
    EnsureUser("clara", {"--web", "1423,1424,1425,1427,1428,1429", "--cs", "41,44", "--control", "43", "--role",
                         "administrator", "--role", "auditor"});
    EnsureUser("guest");
    ASSERT_EQ(RunHost({"cameras", "load", CAMERA_SAMPLE}).exit_code, 0);
  }

  void StartAnew() {
    host_.reset();
    ResetTables();
    host_ = std::make_unique<HostProcess>(SettingsMap(), std::vector<std::string>(), "", copy_.Host());
    session_ = Login(host_->WaitUntilListening(), "clara");
    guest_ = Login(host_->port(), "guest").id;
    const std::tuple<const char*, const char*, const char*> calls[] = {
        {"PUT", "/Custom",
         R"({"EvidenceCustomList":{"EvidenceCustom":[{"ID":1,"CustomType":1},{"ID":2,"CustomType":0},)"
         R"({"ID":3,"CustomType":0},{"Name":"Weather","CustomType":0,"CustomOptionList":{"CustomOption":[)"
         R"({"OptionName":"dry"},{"OptionName":"wet"}]}},{"Name":"Officer","CustomType":1}]}})"},
        {"PUT", "/Type",
         R"({"EvidenceTypeList":{"EvidenceType":[{"ID":0},{"ID":1},{"ID":2},{"ID":3},{"ID":4},{"ID":5},)"
         R"({"Name":"Arson"}]}})"},
        {"POST", "",
         R"({"Evidence":{"Guid":"1","Name":"One","EvidenceType":{"ID":1},"Status":1,"EvidenceCustomList":)"
         R"({"EvidenceCustom":[{"ID":6,"CustomOptionID":1}]}}})"},
        {"POST", "", R"({"Evidence":{"Guid":"2","Name":"Two","Status":1}})"},
        {"POST", "/1/Files",
         R"({"FileList":{"File":[{"ID":11,"FileName":"gate.mp4"},{"ID":1,"FileName":"a"},{"ID":3,"FileName":"b"}]}})"},
    };
    AddFiles();
    for (const auto& [method, path, body] : calls)
      ASSERT_TRUE(Succeeds(
          Ask(host_->port(), method, Evidence::kBaseV1 + ("/Evidence" + std::string(path)), session_.id, body)));
  }

  /// A whole file, an unfinished one and one with another digest than was expected.
  void AddFiles() {
    const std::string files = "/platform/v1/files";
    const auto add = [&](const std::string& method, const std::string& path, const std::string& headers,
                         const std::string& body) {
      auto text = RequestText(method, path, session_.id, body);
      text.insert(text.find("\r\n") + 2, headers);
      const HttpConnection connection(host_->port());
      connection.Send(text);
      return connection.ReadReply();
    };
    const std::string wrong(64, 'a');
    const std::string times = "&source_begin=2026-11-22T20:00:00Z&source_end=2026-11-22T21:00:00Z&camera_id=11";
    ASSERT_EQ(add("PUT", files + "?name=note.txt&media_type=text/plain" + times, "", "data").status, 201);
    ASSERT_EQ(add("POST", files, "", R"({"name":"gate.mp4","bytes":6})").status, 201);
    ASSERT_EQ(add("PUT", files + "?name=yard.mp4&sha256=" + wrong, "", "data").status, 409);
    const auto ticket = add("POST", files + "/1/ticket", "", "").body;
    ticket_ = ticket.substr(ticket.find("/t/") + 3, ticket.find('"', ticket.find("/t/")) - ticket.find("/t/") - 3);
  }

  static bool Succeeds(const HttpReply& reply) {
    return reply.body.starts_with(R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0)");
  }

  /// Compares an answer with its schema: every key must be named there, every required one be here.
  void Check(const YAML::Node& answer, const YAML::Node& described, std::string place) {
    if (described["$ref"]) place = described["$ref"].Scalar();
    const YAML::Node schema = Resolved(described);
    const YAML::Node types = schema["type"];
    const auto is_type = [type = TypeOf(answer)](const YAML::Node& allowed) { return allowed.Scalar() == type; };
    EXPECT_TRUE(types.IsScalar() ? is_type(types) : std::any_of(types.begin(), types.end(), is_type)) << place;
    if (answer.IsSequence()) {
      seen_[place + "[]"] |= answer.size() != 0;
      for (const auto& item : answer)
        Check(item, schema["items"], place);
    }
    if (!answer.IsMap()) return;
    if (const YAML::Node others = schema["additionalProperties"]) {
      seen_[place + "{}"] |= answer.size() != 0;
      for (const auto& entry : answer)
        Check(entry.second, others, place);
      return;
    }
    for (const auto& key : schema["required"])
      EXPECT_TRUE(answer[key.Scalar()]) << place << " requires " << key;
    for (const auto& entry : answer)
      EXPECT_TRUE(schema["properties"][entry.first.Scalar()]) << place << " does not name " << entry.first;
    for (const auto& property : schema["properties"]) {
      const auto key = property.first.Scalar();
      seen_[place + "/" + key] |= answer[key].IsDefined();
      if (answer[key]) Check(answer[key], property.second, place + "/" + key);
    }
  }

  /// The reply must have one of the statuses and the schema of it that the operation names.
  void CheckReply(const HttpReply& reply, const YAML::Node& operation) {
    const auto status = std::to_string(reply.status);
    const YAML::Node responses = operation["responses"];
    const auto key = responses[status] ? status : status.substr(0, 1) + "XX";
    ASSERT_TRUE(responses[key]) << "the status " << status << " is not described";
    const YAML::Node content = Resolved(responses[key])["content"];
    ASSERT_EQ(reply.body.empty(), !content) << status;
    if (!content) return;
    const auto type = content.begin()->first.Scalar();
    EXPECT_EQ(reply.headers.at("Content-Type"), type);
    Check(YAML::Load(reply.body), content[type]["schema"], "");
  }

  /// The path with the examples of its parameters, 1 for those without; `headers` gets those of the header.
  std::string FilledPath(const Operation& operation, std::string& headers) const {
    std::string path = operation.path;
    std::string query;
    for (const auto& parameter : operation.parameters) {
      const auto name = parameter["name"].Scalar();
      const auto place = parameter["in"].Scalar();
      const YAML::Node example = parameter["example"];
      const auto value = name == "ticket" ? ticket_ : example.as<std::string>("1");
      if (place == "path") path = std::regex_replace(path, std::regex("\\{" + name + "\\}"), value);
      if (place == "header") headers += name + ": " + example.Scalar() + "\r\n";
      if (place == "query" && example) query += (query.empty() ? "?" : "&") + name + "=" + example.Scalar();
    }
    return path + query;
  }

  HttpReply Send(const Operation& operation, const std::string& session, const std::string& body,
                 const std::string& type) const {
    std::string headers = body.empty() ? "" : "Content-Type: " + type + "\r\n";
    const auto path = FilledPath(operation, headers);
    auto text = RequestText(operation.method, path, session, body);
    text.insert(text.find("\r\n") + 2, headers);
    const HttpConnection connection(host_->port());
    connection.Send(text);
    return connection.ReadReply();
  }

  /// Sends one example; one whose name begins with "refused" must be refused, any other succeed.
  void Play(const Operation& operation, const std::string& name, const std::string& example, const std::string& type) {
    SCOPED_TRACE("example " + name);
    const bool refused = name.starts_with("refused");
    auto body = std::regex_replace(example, std::regex("clara's password"), kPassword);
    const std::regex sealed("U2F[^\"]*");
    if (std::regex_search(body, sealed))
      body = std::regex_replace(body, sealed, Openssl("-A", refused ? "guessed" : kPassword, session_.key));
    const auto reply = Send(operation, session_.id, body, type);
    const bool is_pair = operation.path.starts_with("/TRELL");
    EXPECT_EQ(reply.status < 300, is_pair || !refused) << reply.body;
    EXPECT_EQ(reply.body.starts_with("{\"ResponseStatus\"") && !Succeeds(reply), is_pair && refused) << reply.body;
    CheckReply(reply, operation.description);
    EXPECT_TRUE(reply.headers.contains("X-Request-Id"));
    EXPECT_EQ(reply.headers.contains("Evidence-Error"), is_pair && refused) << reply.body;
    std::string none;
    if (operation.method == "GET" && is_pair) CheckAlsoAsGet(FilledPath(operation, none), body, reply.body);
  }

  /// But for a new guid, the answers are the same.
  void CheckAlsoAsGet(const std::string& path, const std::string& body, const std::string& answer) {
    const auto masked = [](const std::string& text) {
      return std::regex_replace(text, std::regex("[0-9A-F]{8}(-[0-9A-F]+){4}"), "(guid)");
    };
    for (const auto& way : kDescription["x-also-as-get"]) {
      auto text = RequestText(way["method"].Scalar(), path, session_.id, body);
      if (way["header"]) text.insert(text.find("\r\n") + 2, way["header"].Scalar() + "\r\n");
      const HttpConnection connection(host_->port());
      connection.Send(text);
      EXPECT_EQ(masked(connection.ReadReply().body), masked(answer)) << way["method"].Scalar();
    }
  }

  /// Sends all examples, and asks as somebody without a session and as somebody without permissions.
  void PlayAll(const Operation& operation) {
    SCOPED_TRACE(operation.method + " " + operation.path);
    const YAML::Node body = operation.description["requestBody"];
    const auto type = body ? body["content"].begin()->first.Scalar() : "application/json";
    if (body) {
      for (const auto& example : body["content"][type]["examples"])
        Play(operation, example.first.Scalar(), Json(example.second["value"]), type);
    } else {
      Play(operation, "", "", type);
    }
    if (operation.description["security"]) return;
    for (const auto& session : {std::string(), guest_}) {
      const auto reply = Send(operation, session, operation.path.starts_with("/TRELL") || body ? "{}" : "", type);
      EXPECT_EQ(reply.status == 401, session.empty());
      CheckReply(reply, operation.description);
    }
  }

  const InstalledCopy copy_{EVIDENCE_HOST};
  std::unique_ptr<HostProcess> host_;
  OpenedSession session_;
  std::string guest_;
  std::string ticket_;
  /// Each key and list that the schemas name, and whether an answer had it.
  std::map<std::string, bool> seen_;
};

bool RequestsAreNoted() {
  return Postgres().Value("SELECT count(*) > 0 FROM platform.request_log WHERE path LIKE '%/Files'") == "t";
}

TEST_F(OpenApiAnswersTest, EveryExampleIsAnsweredWithTheKeysOfItsSchema) {
  std::string former;
  for (const auto& operation : Operations()) {
    if (operation.path != std::exchange(former, operation.path)) {
      ASSERT_NO_FATAL_FAILURE(StartAnew());
    }
    // They are there a moment after their answers.
    if (operation.path.ends_with("/requests")) {
      ASSERT_TRUE(Eventually(&RequestsAreNoted));
    }
    PlayAll(operation);
  }
  for (const auto& [key, seen] : seen_)
    EXPECT_TRUE(seen) << "no answer has " << key;
}

}  // namespace
}  // namespace evidence_test
