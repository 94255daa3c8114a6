#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Beginnings.h"
#include "platform/Metrics.h"

namespace {

using platform::Beginnings;
using platform::MetricFamilies;
using platform::MetricFamily;
using platform::MetricType;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Labels = std::vector<std::pair<std::string, std::string>>;

std::uint64_t Milliseconds(std::uint64_t count) { return count * 1'000'000; }

TEST(Counters, CountUnderTheirLabels) {
  platform::Counters counters("n", "h", {{"a", {"x", "y"}}, {"b", {"1", "2", "3"}}});
  EXPECT_THAT(counters.Collect().samples, IsEmpty());
  counters.Add({1, 2});
  counters.Add({0, 1}, 5);
  counters.Add({1, 2});
  const auto family = counters.Collect();
  EXPECT_EQ(family.type, MetricType::kCounter);
  ASSERT_EQ(family.samples.size(), 2U);
  EXPECT_EQ(family.samples[0].labels, (Labels{{"a", "x"}, {"b", "2"}}));
  EXPECT_EQ(family.samples[0].value, 5);
  EXPECT_EQ(family.samples[1].labels, (Labels{{"a", "y"}, {"b", "3"}}));
  EXPECT_EQ(family.samples[1].value, 2);
}

TEST(Counters, OneWithoutChoiceIsThereFromTheStart) {
  EXPECT_EQ(platform::Counters("n", "h").Collect().samples.size(), 1U);
  EXPECT_EQ(platform::Counters("n", "h", {{"a", {"x", "y"}}}).Collect().samples.size(), 2U);
}

TEST(Counters, LoseNothingBetweenThreads) {
  constexpr int kRounds = 100'000;
  platform::Counters counters("n", "h");
  platform::Histograms histograms("n", "h", std::array{1.0});
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
      threads.emplace_back([&] {
        for (int round = 0; round < kRounds; ++round) {
          counters.Add();
          histograms.Observe(Milliseconds(500));
        }
      });
    }
  }
  EXPECT_EQ(counters.Collect().samples[0].value, 4 * kRounds);
  const auto histogram = histograms.Collect().samples[0];
  EXPECT_EQ(histogram.count, 4U * kRounds);
  EXPECT_EQ(histogram.value, 2 * kRounds);
}

TEST(Histograms, BucketsHoldWhatIsNotBeyondTheirBound) {
  platform::Histograms histograms("n", "h", std::array{0.001, 0.01}, {"route", {"a", "b"}});
  for (const auto milliseconds : {0U, 1U, 2U, 10U, 11U, 5000U})
    histograms.Observe(Milliseconds(milliseconds), 1);
  const auto samples = histograms.Collect().samples;
  ASSERT_EQ(samples.size(), 1U) << "the other one observed nothing";
  EXPECT_EQ(samples[0].labels, (Labels{{"route", "b"}}));
  EXPECT_EQ(samples[0].count, 6U);
  EXPECT_DOUBLE_EQ(samples[0].value, 5.024);
  ASSERT_EQ(samples[0].buckets.size(), 2U);
  EXPECT_EQ(samples[0].buckets[0].count, 2U);
  EXPECT_EQ(samples[0].buckets[1].count, 4U);
}

MetricFamily Gauge(const std::string& name, const std::string& value, double number) {
  return {name, "h", MetricType::kGauge, {{{{"of", value}}, number}}};
}

TEST(Metrics, AllSourcesMakeOneSortedList) {
  platform::Metrics metrics;
  const platform::Metrics::Registration first(metrics, [] {
    return MetricFamilies{Gauge("b", "x", 1), Gauge("a", "x", 2)};
  });
  const platform::Metrics::Registration faulty(metrics,
                                               []() -> MetricFamilies { throw std::runtime_error("no database"); });
  {
    const platform::Metrics::Registration second(metrics, [] { return MetricFamilies{Gauge("b", "y", 3)}; });
    const auto families = metrics.Collect();
    ASSERT_EQ(families.size(), 2U);
    EXPECT_EQ(families[0].name, "a");
    EXPECT_EQ(families[1].name, "b");
    ASSERT_EQ(families[1].samples.size(), 2U);
    EXPECT_EQ(families[1].samples[1].labels, (Labels{{"of", "y"}}));
  }
  EXPECT_EQ(metrics.Collect()[1].samples.size(), 1U);
}

TEST(Beginnings, TheLongestOneNamesAText) {
  const Beginnings names({{"SELECT", "read"},
                          {"SELECT * FROM t WHERE id", "one"},
                          {"SELECT * FROM t ", "list"},
                          {"SELECT * FROM tu", "list"},
                          {"UPDATE", "change"}});
  const std::pair<const char*, const char*> kCases[] = {
      {"SELECT 1", "read"},
      {"SELECT", "read"},
      {"SELECT * FROM t WHERE id = 1", "one"},
      {"SELECT * FROM t WHERE name = 'id'", "list"},
      {"SELECT * FROM tuv", "list"},
      {"SELECT * FROM tz", "read"},
      {"UPDATE t", "change"},
      {"INSERT", "other"},
      {"ZZZ", "other"},
      {"", "other"},
  };
  for (const auto& [text, name] : kCases)
    EXPECT_EQ(names.names()[names.NumberOf(text)], name) << text;
  EXPECT_THAT(names.names(), ElementsAre("read", "list", "one", "change", "other"));
  EXPECT_EQ(Beginnings().NumberOf("x"), 0U);
}

}  // namespace
