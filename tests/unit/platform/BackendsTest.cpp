#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <future>
#include <stdexcept>
#include <thread>

#include "OrvBase/Error.h"
#include "OrvBase/Log.h"
#include "RealBackends.h"

namespace {

using plugin_comm::CPluginCommData;
using plugin_comm::IPluginCommData;
using Data = std::shared_ptr<IPluginCommData>;

class RouteTableTest : public testing::Test {
 protected:
  RouteTableTest() {
    for (const char* const url : {"/B/E", "/B/E/ID", "/B/E/ID/Files/ID", "/B/E/7", "/B/E/7/Log", "/C/"})
      EXPECT_TRUE(Register(url, url));
  }

  /// Registers a callback that answers with `name`.
  bool Register(const std::string& url, const std::string& name, int method = kelp::kMethodGet) {
    return table_->RegisterUrl(url, method, 0, [name](auto& response, auto&) { response.response_body = name; });
  }
  /// The name of the callback at `path` with its numbers; "" when there is none.
  std::string At(std::string_view path) const {
    const auto match = table_->Find(path);
    if (!match) return {};
    kelp::SHttpResponse response;
    match->callback(response, {});
    for (const std::int32_t id : match->url_ids)
      response.response_body += " " + std::to_string(id);
    return response.response_body;
  }

  const std::shared_ptr<platform::IRouteTable> table_ = platform::MakeRouteTable();
};

TEST_F(RouteTableTest, PathsAreMatchedBySegments) {
  const std::vector<std::pair<std::string, std::string>> found{
      {"/B/E/-2147483648", "/B/E/ID -2147483648"},
      {"/B/E/3/Files/9", "/B/E/ID/Files/ID 3 9"},
      {"/C/", "/C/"},
      // A word wins over a number, and the number is still tried where the word leads nowhere.
      {"/B/E/7", "/B/E/7"},
      {"/B/E/7/Files/1", "/B/E/ID/Files/ID 7 1"},
      {"/B/E/07", "/B/E/ID 7"}};
  for (const auto& [path, name] : found)
    EXPECT_EQ(At(path), name) << path;
  const std::vector<std::string> absent{
      // Other segments.
      "", "/", "B/E", "/b/E", "/B", "/B/E/", "/B//E", "//B/E", "/B/E/ID", "/C", "/C//", "/B/E/1/Files",
      // No number of 32 bits.
      "/B/E/2147483648", "/B/E/1x", "/B/E/+1", "/B/E/-", "/B/E/1.0", std::string("/B/E/1\0", 7),
      std::string(5'000'000, '/'), "/B/E/" + std::string(5'000'000, '9')};
  for (const std::string& path : absent)
    EXPECT_EQ(At(path), "") << path.substr(0, 40);
}

TEST_F(RouteTableTest, EachMethodIsRegisteredOnceAndTheFirstCallbackServes) {
  EXPECT_FALSE(Register("/B/E", "again"));
  EXPECT_TRUE(Register("/B/E", "later", kelp::kMethodPut));
  EXPECT_EQ(At("/B/E"), "/B/E");
  EXPECT_TRUE(table_->UnRegisterUrl("/B/E"));
  EXPECT_FALSE(table_->UnRegisterUrl("/B/E"));
  EXPECT_EQ(At("/B/E"), "");
  EXPECT_FALSE(Register("D", "no path"));
}

Data Json(const std::string& text) { return std::make_shared<CPluginCommData>(text, nullptr, 0); }

void Echo(const std::string& url, const Data& request, Data& response) {
  response = Json(url + ":" + std::dynamic_pointer_cast<CPluginCommData>(request)->JsonTxt());
}

class PluginCommTest : public testing::Test {
 protected:
  /// The answer's text; "none" for a failed call, which must not leave an old answer behind.
  std::string Ask(const std::string& path) {
    Data response = Json("old");
    const bool answered = manager_->Request(response, path, Json("q"), "");
    EXPECT_EQ(answered, response != nullptr) << path;
    return answered ? std::dynamic_pointer_cast<CPluginCommData>(response)->JsonTxt() : "none";
  }

  const std::shared_ptr<plugin_comm::IPluginCommManager> manager_ = platform::MakePluginCommManager();
};

TEST_F(PluginCommTest, APathBelongsToItsPublisherAndAFailedCallCountsAsLeft) {
  EXPECT_TRUE(manager_->PublishApi("p", "/files", Echo));
  EXPECT_FALSE(manager_->PublishApi("other", "/files", Echo));
  EXPECT_FALSE(manager_->RecoverApi("other", "/files"));
  EXPECT_EQ(Ask("/files"), "/files:q");
  EXPECT_TRUE(manager_->RecoverApi("p", "/files"));
  EXPECT_FALSE(manager_->RecoverApi("p", "/files"));
  EXPECT_EQ(Ask("/files"), "none");
  EXPECT_TRUE(manager_->PublishApi("p", "/throws", [](const std::string&, const Data&, Data& response) {
    response = Json("half");
    throw std::runtime_error("fault");
  }));
  EXPECT_EQ(Ask("/throws"), "none");
  EXPECT_TRUE(manager_->RecoverApi("p", "/throws"));
}

TEST_F(PluginCommTest, RecoverWaitsForTheCallInsideAndDestroysTheCallback) {
  const auto captured = std::make_shared<int>(0);
  std::atomic<bool> left{false};
  std::promise<void> entered;
  std::promise<void> go_on;
  EXPECT_TRUE(manager_->PublishApi("p", "/inner", Echo));
  EXPECT_TRUE(manager_->PublishApi(
      "p", "/slow",
      [&, captured, may_go = go_on.get_future().share()](const std::string&, const Data&, Data& response) {
        entered.set_value();
        may_go.wait();
        response = Json("slow " + Ask("/inner"));
        left = true;
      }));
  auto caller = std::async(std::launch::async, [&] { return Ask("/slow"); });
  entered.get_future().wait();
  auto recovered = std::async(std::launch::async, [&] {
    EXPECT_TRUE(manager_->RecoverApi("p", "/slow"));
    EXPECT_TRUE(left);
    return captured.use_count();
  });
  // The path is free at once; only then is it sure that recovering has begun.
  while (!manager_->PublishApi("q", "/slow", Echo))
    std::this_thread::yield();
  EXPECT_EQ(Ask("/slow"), "/slow:q");
  go_on.set_value();
  EXPECT_EQ(recovered.get(), 1);
  EXPECT_EQ(caller.get(), "slow /inner:q");
}

TEST(Backends, WithoutAnyoneWhoKnowsNothingIsAllowed) {
  namespace Authentication = TarnPlatform::Authentication;
  std::shared_ptr<Authentication::CUserSession> session;
  EXPECT_FALSE(Authentication::GetUserSession(session, "session"));
  EXPECT_FALSE(Authentication::IsSuperUser("session"));
  EXPECT_FALSE(Authentication::HaveControlClientPermission(1, 1));
  EXPECT_TRUE(Authentication::IsClientFreeze("10.0.0.1"));
  EXPECT_TRUE(Authentication::IsUserFreeze(1, "user"));
}

/// Leaves another failure behind, and throws.
struct SpoilingSink final : platform::ILogSink {
  void Write(int, std::string_view, std::string_view) override {
    errno = EPIPE;
    Orv::Base::Error::SetLastError({9, 9});
    throw std::runtime_error("full");
  }
};

TEST(Log, LeavesTheCallersFailureAsItWas) {
  const platform::ScopedBackend<platform::ILogSink> installed(std::make_shared<SpoilingSink>());
  Orv::Base::Error::SetLastError({0, 15});
  errno = ENOENT;
  EXPECT_NO_THROW(Orv::Base::details::ITarnFormatLog(5, "tag", "line"));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(Orv::Base::Error::GetLastError(), Orv::Base::Error::ErrorCode(0, 15));
}

}  // namespace
