// The description of the interface in docs/openapi.yaml beside the route table and the answers of the running host.

#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <regex>
#include <set>
#include <utility>

#include "http/HttpClient.h"
#include "http/Installation.h"
#include "http/OpensslCommand.h"
#include "support/ThrowawayPostgres.h"
#include "usrservice/Routes.h"

namespace evidence_test {
namespace {

using Names = std::set<std::string>;

constexpr char kPassword[] = "clara's password";

/// The names of `all` that `others` lacks.
Names Without(const Names& all, const Names& others) {
  Names names;
  std::ranges::set_difference(all, others, std::inserter(names, names.end()));
  return names;
}

/// Puts `to` for the first `from` of `text`.
std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const auto at = text.find(from);
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

std::string Upper(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char letter) { return std::toupper(letter); });
  return text;
}

/// Whether a scalar is a number: it stands without quotes and looks like one.
bool IsNumber(const YAML::Node& node) {
  long long number = 0;
  return node.Tag() != "!" && YAML::convert<long long>::decode(node, number);
}

std::string TypeOf(const YAML::Node& node) {
  if (node.IsMap()) return "object";
  if (node.IsSequence()) return "array";
  return IsNumber(node) ? "integer" : "string";
}

std::string Json(const YAML::Node& node) {
  if (node.IsScalar()) return IsNumber(node) ? node.Scalar() : "\"" + node.Scalar() + "\"";
  std::string text;
  for (const auto& entry : node) {
    if (!text.empty()) text += ",";
    text += node.IsMap() ? Json(entry.first) + ":" + Json(entry.second) : Json(entry);
  }
  return node.IsMap() ? "{" + text + "}" : "[" + text + "]";
}

/// The description, its parts named by places: "#/components/schemas/Type/properties/ID".
class Description {
 public:
  Description() : root_(YAML::LoadFile(OPENAPI_FILE)) {}

  [[nodiscard]] YAML::Node Paths() const { return root_["paths"]; }
  /// What `node` refers to, or itself.
  [[nodiscard]] YAML::Node Resolved(const YAML::Node& node) const {
    return node["$ref"] ? Resolved(At(node["$ref"].Scalar())) : node;
  }
  /// Method and path of each operation.
  [[nodiscard]] Names Operations() const {
    Names operations;
    for (const auto& path : Paths()) {
      for (const auto& operation : Resolved(path.second)) {
        if (operation.first.Scalar() != "parameters")
          operations.insert(Upper(operation.first.Scalar()) + " " + path.first.Scalar());
      }
    }
    return operations;
  }

  /// Compares an answer with the schema at `place`; every key must be named there, every required one be here.
  void Check(const YAML::Node& answer, const std::string& place) {
    const std::string at = Followed(place);
    const YAML::Node schema = At(at);
    EXPECT_EQ(TypeOf(answer), schema["type"].Scalar()) << at;
    if (answer.IsSequence()) {
      for (const auto& item : answer)
        Check(item, at + "/items");
    }
    if (!answer.IsMap()) return;
    for (const auto& key : schema["required"])
      EXPECT_TRUE(answer[key.Scalar()]) << at << " requires " << key;
    for (const auto& entry : answer) {
      const std::string property = at + "/properties/" + entry.first.Scalar();
      if (!At(property)) {
        ADD_FAILURE() << at << " does not name " << entry.first;
        continue;
      }
      answered_.insert(property);
      Check(entry.second, property);
    }
  }
  /// Takes down the keys that the schema at `place` names.
  void TakeNames(const std::string& place) {
    const std::string at = Followed(place);
    const YAML::Node schema = At(at);
    if (schema["items"]) TakeNames(at + "/items");
    for (const auto& entry : schema["properties"]) {
      named_.insert(at + "/properties/" + entry.first.Scalar());
      TakeNames(at + "/properties/" + entry.first.Scalar());
    }
  }
  /// The keys taken down that no answer had.
  [[nodiscard]] Names NeverAnswered() const { return Without(named_, answered_); }

 private:
  [[nodiscard]] YAML::Node At(const std::string& place) const {
    YAML::Node node = root_;
    for (std::size_t at = place.find('/'); at != std::string::npos;) {
      const auto end = place.find('/', at + 1);
      const auto key = place.substr(at + 1, end - at - 1);
      const YAML::Node child = node.IsMap() ? std::as_const(node)[key] : YAML::Node(YAML::NodeType::Undefined);
      if (!child) return child;
      node.reset(child);
      at = end;
    }
    return node;
  }
  [[nodiscard]] std::string Followed(const std::string& place) const {
    const YAML::Node reference = At(place)["$ref"];
    return reference ? Followed(reference.Scalar()) : place;
  }

  const YAML::Node root_;
  Names named_;
  Names answered_;
};

TEST(OpenApiTest, NamesTheRoutesOfTheTableAndOfTheHost) {
  Names expected{"POST /login", "GET /live", "GET /ready"};
  constexpr const char* kMethods[] = {"PUT", "POST", "DELETE", "GET"};
  for (const auto& route : Evidence::kRoutes) {
    expected.insert(kMethods[route.method_code - 1] + (" " + std::string(route.base)) +
                    std::regex_replace(route.sub_path, std::regex("/ID(?=/|$)"), "/{id}"));
  }
  const Names described = Description().Operations();
  EXPECT_EQ(Without(expected, described), Names{}) << "routes that the file lacks";
  EXPECT_EQ(Without(described, expected), Names{}) << "operations that are no routes";
}

/// Each path of the file on a host of its own, with the same dictionaries, evidences and files.
class OpenApiAnswersTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    const std::vector<std::string> all{"--web", "1423,1424,1425,1427,1428,1429", "--cs", "41,44", "--control", "43"};
    for (const std::string name : {"clara", "guest"}) {
      std::vector<std::string> arguments{"user", "add", name, "--password-stdin"};
      if (name == "clara") arguments.insert(arguments.end(), all.begin(), all.end());
      const auto added = RunHost(arguments, std::string(kPassword) + "\n");
      ASSERT_EQ(added.exit_code, 0) << added.err;
    }
  }

  void SetUp() override { installation_.WriteSettings(R"({"RefusedFileIDs":[13]})"); }

  void StartAnew() {
    host_.reset();
    Postgres().Query(
        "DELETE FROM evidence.evidence_type WHERE id > 5; UPDATE evidence.evidence_type SET name = '', deleted = 0;"
        "DELETE FROM evidence.evidence_custom WHERE id > 3; DELETE FROM evidence.evidence_option;"
        "DELETE FROM evidence.evidence_custom_info; DELETE FROM evidence.evidence; DELETE FROM evidence.evidence_file;"
        "DELETE FROM evidence.operation_log; DELETE FROM filemanager.link;"
        "ALTER SEQUENCE evidence.evidence_type_id_seq RESTART; ALTER SEQUENCE evidence.evidence_custom_id_seq RESTART;"
        "ALTER SEQUENCE evidence.evidence_option_id_seq RESTART; ALTER SEQUENCE evidence.evidence_id_seq RESTART");
    host_ =
        std::make_unique<HostProcess>(HostProcess::SettingsMap{}, std::vector<std::string>(), "", installation_.Host());
    host_->WaitUntilListening();
    const YAML::Node login = YAML::Load(
        Ask(host_->port(), "POST", "/login", "", std::string(R"({"UserName":"clara","Password":")") + kPassword + "\"}")
            .body);
    session_ = login["SessionID"].Scalar();
    key_ = login["SessionKey"].Scalar();
    const std::string base = "/TRELL/Halyard/Evidence/V1/Evidence";
    const auto call = [&](const char* method, const std::string& path, const std::string& body) {
      const auto reply = Ask(host_->port(), method, base + path, session_, body);
      ASSERT_NE(reply.body.find(R"("ErrorCode":0)"), std::string::npos) << path << ": " << reply.body;
    };
    call("PUT", "/Custom",
         R"({"EvidenceCustomList":{"EvidenceCustom":[{"ID":1,"CustomType":1},{"ID":2,"CustomType":0},)"
         R"({"ID":3,"CustomType":0},{"Name":"Weather","CustomType":0,"CustomOptionList":{"CustomOption":[)"
         R"({"OptionName":"dry"},{"OptionName":"wet"}]}},{"Name":"Officer","CustomType":1}]}})");
    call("PUT", "/Type",
         R"({"EvidenceTypeList":{"EvidenceType":[{"ID":0},{"ID":1},{"ID":2},{"ID":3},{"ID":4},{"ID":5},)"
         R"({"Name":"Arson"}]}})");
    call("POST", "",
         R"({"Evidence":{"Guid":"1","Name":"One","EvidenceType":{"ID":1},"Status":1,"EvidenceCustomList":)"
         R"({"EvidenceCustom":[{"ID":6,"CustomOptionID":1}]}}})");
    call("POST", "", R"({"Evidence":{"Guid":"2","Name":"Two","Status":1}})");
    call("POST", "/1/Files", R"({"FileList":{"File":[{"ID":11,"FileName":"gate.mp4"}]}})");
  }

  /// The reply must have one of the statuses and the schema of it that the operation names.
  void CheckReply(const HttpReply& reply, const YAML::Node& operation) {
    const auto status = std::to_string(reply.status);
    const YAML::Node responses = operation["responses"];
    const auto key = responses[status] ? status : status.substr(0, 1) + "XX";
    ASSERT_TRUE(responses[key]) << "the status " << status << " is not described";
    const YAML::Node content = description_.Resolved(responses[key])["content"];
    ASSERT_EQ(reply.body.empty(), !content) << status;
    if (!content) return;
    const std::string schema = content["application/json"]["schema"]["$ref"].Scalar();
    description_.TakeNames(schema);
    description_.Check(YAML::Load(reply.body), schema);
  }

  /// Sends one example; one whose name begins with "refused" must be refused, any other succeed.
  void Play(const std::string& method, const std::string& path, const YAML::Node& operation, const std::string& name,
            std::string body) {
    SCOPED_TRACE("example " + name);
    const bool refused = name.starts_with("refused");
    const std::regex sealed(R"(U2F[^"]*)");
    if (std::regex_search(body, sealed))
      body = std::regex_replace(body, sealed, SealedByOpenssl(refused ? "guessed" : kPassword, key_));
    const auto reply = Ask(host_->port(), method, path, session_, body);
    EXPECT_LT(reply.status, 300) << reply.body;
    CheckReply(reply, operation);
    const std::string envelope = R"({"ResponseStatus":{"ErrorModule":)";
    if (reply.body.starts_with(envelope)) {
      EXPECT_EQ(!reply.body.starts_with(envelope + R"(0,"ErrorCode":0)"), refused) << reply.body;
    }
  }

  /// Sends all examples, and asks as somebody without a session and as somebody without permissions.
  void PlayAll(const std::string& method, const std::string& path, const YAML::Node& operation) {
    SCOPED_TRACE(method);
    if (const YAML::Node body = operation["requestBody"]) {
      for (const auto& example : body["content"]["application/json"]["examples"])
        Play(method, path, operation, example.first.Scalar(), Json(example.second["value"]));
    } else {
      Play(method, path, operation, "", "");
    }
    if (operation["security"]) return;
    for (const auto& session : {std::string(), Login(host_->port(), "guest", kPassword)}) {
      SCOPED_TRACE(session.empty() ? "without a session" : "without permissions");
      const auto reply = Ask(host_->port(), method, path, session, "{}");
      EXPECT_EQ(reply.status == 401, session.empty());
      CheckReply(reply, operation);
    }
  }

  const Installation installation_;
  std::unique_ptr<HostProcess> host_;
  std::string session_;
  std::string key_;
  Description description_;
};

TEST_F(OpenApiAnswersTest, EveryExampleIsAnsweredWithTheKeysOfItsSchema) {
  for (const auto& path : description_.Paths()) {
    SCOPED_TRACE(path.first.Scalar());
    ASSERT_NO_FATAL_FAILURE(StartAnew());
    for (const auto& operation : description_.Resolved(path.second)) {
      if (operation.first.Scalar() != "parameters")
        PlayAll(Upper(operation.first.Scalar()), Replaced(path.first.Scalar(), "{id}", "1"), operation.second);
    }
  }
  EXPECT_EQ(description_.NeverAnswered(), Names{});
}

}  // namespace
}  // namespace evidence_test
