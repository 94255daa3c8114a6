#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "RealBackends.h"

namespace {

class RouteTableTest : public testing::Test {
 protected:
  RouteTableTest() {
    for (const char* const url :
         {"/B/E", "/B/E/ID", "/B/E/Type", "/B/E/Type/ID", "/B/E/ID/Files/ID", "/B/E/7", "/B/E/7/Log", "/C/"})
      EXPECT_TRUE(Register(url, url));
  }

  /// Registers a callback that answers with `name`.
  bool Register(const std::string& url, const std::string& name, int method = kelp::kMethodGet) {
    const auto serve = [name](kelp::SHttpResponse& response, const kelp::SHttpRequest&) {
      response.response_body = name;
    };
    return table_->RegisterUrlWithCapability(url, method, 2, serve, "capability of " + name);
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
      {"/B/E", "/B/E"},
      {"/B/E/-2147483648", "/B/E/ID -2147483648"},
      {"/B/E/Type", "/B/E/Type"},
      {"/B/E/Type/4", "/B/E/Type/ID 4"},
      {"/B/E/3/Files/9", "/B/E/ID/Files/ID 3 9"},
      {"/C/", "/C/"},
      // A word wins over a number, and the number is still tried where the word leads nowhere.
      {"/B/E/7", "/B/E/7"},
      {"/B/E/7/Log", "/B/E/7/Log"},
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
  const auto registered = table_->RegistrationsOf("/B/E");
  ASSERT_EQ(registered.size(), 2U);
  EXPECT_EQ(registered[0].method_code, kelp::kMethodPut);
  EXPECT_EQ(registered[0].capability, "capability of later");
  EXPECT_TRUE(table_->UnRegisterUrl("/B/E"));
  EXPECT_FALSE(table_->UnRegisterUrl("/B/E"));
  EXPECT_EQ(At("/B/E"), "");
  EXPECT_EQ(At("/B/E/12"), "/B/E/ID 12");
  EXPECT_FALSE(Register("D", "no path"));
  EXPECT_FALSE(table_->RegisterUrl("/D", kelp::kMethodGet, 0, nullptr));
  EXPECT_EQ(At("/D"), "");
}

TEST_F(RouteTableTest, RoutesComeAndGoWhileOthersAreFound) {
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::vector<std::jthread> readers;
  for (int reader = 0; reader < 2; ++reader) {
    readers.emplace_back([&] {
      while (!stop) {
        const std::string moving = At("/B/E/Moving/3");
        if (At("/B/E/5") != "/B/E/ID 5" || (!moving.empty() && moving != "moving 3")) ++wrong;
      }
    });
  }
  for (int round = 0; round < 2'000; ++round) {
    EXPECT_TRUE(Register("/B/E/Moving/ID", "moving"));
    EXPECT_TRUE(table_->UnRegisterUrl("/B/E/Moving/ID"));
  }
  stop = true;
  readers.clear();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
