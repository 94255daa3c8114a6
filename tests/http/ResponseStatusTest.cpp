#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "http/ResponseStatus.h"

namespace {

using host::ErrorPair;
using host::PairOf;

TEST(ResponseStatusTest, ThePairIsReadFromTheBeginningOnly) {
  const struct {
    const char* body;
    std::optional<ErrorPair> pair;
  } cases[] = {
      {R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":9804}})", ErrorPair{0, 9804}},
      {R"({"ResponseStatus":{"ErrorModule":4294967295,"ErrorCode":0,"Data":{}}})", ErrorPair{4294967295, 0}},
      {R"({"ResponseStatus":{"ErrorModule":-1,"ErrorCode":5,"CascadingErrorInfo":""}})", ErrorPair{-1, 5}},
      {R"({"ResponseStatus":{"ErrorModule":1,"ErrorCode":2,not JSON)", ErrorPair{1, 2}},
      {"", {}},
      {"{}", {}},
      {R"({"ResponseStatus":{"ErrorModule":1,"ErrorCode":2)", {}},
      {R"({"ResponseStatus":{"ErrorModule":1,"ErrorCode":2e1}})", {}},
      {R"({"ResponseStatus":{"ErrorModule":"1","ErrorCode":2}})", {}},
      {R"({"ResponseStatus":{"ErrorModule":,"ErrorCode":2}})", {}},
      {R"({"ResponseStatus":{"ErrorCode":2,"ErrorModule":1}})", {}},
      {R"({"ResponseStatus":{"ErrorModule":9223372036854775808,"ErrorCode":2}})", {}},
      {R"({"Data":"{\"ResponseStatus\":{\"ErrorModule\":1,\"ErrorCode\":2}}"})", {}},
  };
  for (const auto& [body, pair] : cases)
    EXPECT_EQ(PairOf(body), pair) << body;
}

TEST(ResponseStatusTest, EachAnswerOfThePluginHasAPair) {
  int answers = 0;
  for (const auto& entry : std::filesystem::directory_iterator(ANSWER_BODIES)) {
    const auto name = entry.path().filename().string();
    // Of a call inside the system, which no client sees.
    if (!name.ends_with(".answer.json") || name.starts_with("api_type_post")) continue;
    std::ostringstream text;
    text << std::ifstream(entry.path()).rdbuf();
    EXPECT_TRUE(PairOf(text.view())) << name;
    ++answers;
  }
  EXPECT_GT(answers, 20);
}

}  // namespace
