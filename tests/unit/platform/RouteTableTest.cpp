#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "RealBackends.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A callback that answers with `name`.
kelp::UrlCallback Named(const std::string& name) {
  return [name](kelp::SHttpResponse& response, const kelp::SHttpRequest&) { response.response_body = name; };
}

/// The name of the callback found at `path` with its numbers, such as "type-id 5"; "" when there is none.
std::string FoundAt(const platform::IRouteTable& table, std::string_view path) {
  const auto match = table.Find(path);
  if (!match) return {};
  kelp::SHttpResponse response;
  match->callback(response, {});
  for (const std::int32_t id : match->url_ids)
    response.response_body += " " + std::to_string(id);
  return response.response_body;
}

class RouteTableTest : public testing::Test {
 protected:
  RouteTableTest() {
    for (const auto& [url, name] : std::vector<std::pair<std::string, std::string>>{{"/B/E", "all"},
                                                                                    {"/B/E/ID", "one"},
                                                                                    {"/B/E/Type", "type"},
                                                                                    {"/B/E/Type/ID", "type-one"},
                                                                                    {"/B/E/ID/Files/ID", "file"},
                                                                                    {"/B/E/7", "seven"},
                                                                                    {"/B/E/7/Log", "seven-log"},
                                                                                    {"/C/", "slash"}})
      EXPECT_TRUE(table_->RegisterUrl(url, kelp::kMethodGet, 0, Named(name)));
  }

  const std::shared_ptr<platform::IRouteTable> table_ = platform::MakeRouteTable();
};

TEST_F(RouteTableTest, PathsAreMatchedBySegments) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"/B/E", "all"},
      {"/B/E/Type", "type"},
      {"/B/E/12", "one 12"},
      {"/B/E/-1", "one -1"},
      {"/B/E/00012", "one 12"},
      {"/B/E/2147483647", "one 2147483647"},
      {"/B/E/-2147483648", "one -2147483648"},
      {"/B/E/Type/4", "type-one 4"},
      {"/B/E/3/Files/9", "file 3 9"},
      {"/C/", "slash"},
      // A word wins over a number, and the number is still tried where the word leads nowhere.
      {"/B/E/7", "seven"},
      {"/B/E/7/Log", "seven-log"},
      {"/B/E/7/Files/1", "file 7 1"},
      {"/B/E/07", "one 7"},
  };
  for (const auto& [path, found] : cases)
    EXPECT_EQ(FoundAt(*table_, path), found) << path;
}

TEST_F(RouteTableTest, OtherPathsHaveNoRoute) {
  const std::vector<std::string> cases{"",
                                       "/",
                                       "//",
                                       "B/E",
                                       "/b/E",
                                       "/B",
                                       "/B/E/",
                                       "/B//E",
                                       "//B/E",
                                       "/B/E/Type/",
                                       "/B/E/ID",
                                       "/B/E/types",
                                       "/C",
                                       "/C//",
                                       "/B/E/2147483648",
                                       "/B/E/-2147483649",
                                       "/B/E/99999999999999999999",
                                       "/B/E/1x",
                                       "/B/E/+1",
                                       "/B/E/-",
                                       "/B/E/ 1",
                                       "/B/E/1.0",
                                       "/B/E/0x1",
                                       "/B/E/\xC3\x28",
                                       "/B/E/1/Files",
                                       std::string("/B/E/1\0", 7),
                                       std::string("/B/E\0/", 6),
                                       std::string(5'000'000, '/'),
                                       "/B/E/" + std::string(5'000'000, '9'),
                                       std::string(1'000'000, 'x')};
  for (const std::string& path : cases)
    EXPECT_EQ(FoundAt(*table_, path), "") << path.substr(0, 40);
}

TEST_F(RouteTableTest, EachMethodIsRegisteredOnceAndTheFirstCallbackServes) {
  EXPECT_FALSE(table_->RegisterUrl("/B/E", kelp::kMethodGet, 2, Named("again")));
  EXPECT_TRUE(table_->RegisterUrlWithCapability("/B/E", kelp::kMethodPut, 2, Named("later"), "all"));
  EXPECT_EQ(FoundAt(*table_, "/B/E"), "all");
  const auto registered = table_->RegistrationsOf("/B/E");
  ASSERT_EQ(registered.size(), 2U);
  EXPECT_EQ(registered[0].method_code, kelp::kMethodPut);
  EXPECT_EQ(registered[0].route_mode, 2);
  EXPECT_EQ(registered[0].capability, "all");
  EXPECT_EQ(registered[1].method_code, kelp::kMethodGet);
  EXPECT_EQ(registered[1].route_mode, 0);
  EXPECT_EQ(registered[1].capability, "");

  EXPECT_TRUE(table_->UnRegisterUrl("/B/E"));
  EXPECT_FALSE(table_->UnRegisterUrl("/B/E"));
  EXPECT_EQ(FoundAt(*table_, "/B/E"), "");
  EXPECT_THAT(table_->RegistrationsOf("/B/E"), IsEmpty());
  EXPECT_EQ(FoundAt(*table_, "/B/E/12"), "one 12");
  EXPECT_TRUE(table_->RegisterUrl("/B/E", kelp::kMethodGet, 0, Named("anew")));
  EXPECT_EQ(FoundAt(*table_, "/B/E"), "anew");
}

TEST_F(RouteTableTest, UnusableRegistrationsAreRefusedAndLeaveNoRoute) {
  EXPECT_FALSE(table_->RegisterUrl("", kelp::kMethodGet, 0, Named("x")));
  EXPECT_FALSE(table_->RegisterUrl("D", kelp::kMethodGet, 0, Named("x")));
  EXPECT_FALSE(table_->RegisterUrl("/D", kelp::kMethodGet, 0, nullptr));
  EXPECT_FALSE(table_->UnRegisterUrl(""));
  EXPECT_FALSE(table_->UnRegisterUrl("/D"));
  EXPECT_EQ(FoundAt(*table_, "/D"), "");
  EXPECT_EQ(FoundAt(*table_, ""), "");
}

TEST_F(RouteTableTest, RoutesComeAndGoWhileOthersAreFound) {
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::vector<std::thread> readers;
  for (int reader = 0; reader < 2; ++reader) {
    readers.emplace_back([&] {
      while (!stop) {
        const std::string found = FoundAt(*table_, "/B/E/Moving/3");
        if (FoundAt(*table_, "/B/E/5") != "one 5" || (!found.empty() && found != "moving 3")) ++wrong;
      }
    });
  }
  for (int round = 0; round < 2'000; ++round) {
    EXPECT_TRUE(table_->RegisterUrl("/B/E/Moving/ID", kelp::kMethodGet, 0, Named("moving")));
    EXPECT_TRUE(table_->UnRegisterUrl("/B/E/Moving/ID"));
  }
  stop = true;
  for (auto& reader : readers)
    reader.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
