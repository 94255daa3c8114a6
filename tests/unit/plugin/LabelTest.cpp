// Counting of distinct labels.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "Common/KeyedHash.h"
#include "impl/Evidence/EvidenceManager.h"
#include "support/StoreStub.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace {

using Labels = std::list<std::string>;

Labels Numbered(int first, int count) {
  Labels labels;
  for (int n = first; n < first + count; ++n)
    labels.push_back("label" + std::to_string(n));
  return labels;
}

/// The definition, word by word.
void DiffPairByPair(const Labels& wanted, const Labels& standing, Labels& added, Labels& removed) {
  Labels common;
  for (const auto& label : wanted) {
    (std::ranges::find(standing, label) == standing.end() ? added : common).push_back(label);
  }
  for (const auto& label : standing) {
    if (std::ranges::find(common, label) == common.end()) removed.push_back(label);
  }
}

class LabelTest : public ::testing::Test {
 protected:
  /// Whether an evidence (-1: a new one) may carry these labels.
  bool Fits(const Labels& labels, std::int32_t id = -1) { return !manager_.IsLabelCountExceeded(id, labels); }

  scripted::Platform platform_;
  Evidence::CEvidenceManager manager_{std::make_shared<evidence_test::StoreStub>()};
};

TEST(LabelTextTest, SplitsWithoutTrimming) {
  EXPECT_EQ(Evidence::SplitLabels("a|b| c ||A|"), (Labels{"a", "b", " c ", "A"}));
  EXPECT_EQ(Evidence::SplitLabels("|||"), Labels{});
  EXPECT_EQ(Evidence::SplitLabels(""), Labels{});
}

TEST(LabelDiffTest, IsTheSameAsComparingPairByPair) {
  std::mt19937 random(20261122);
  for (int round = 0; round < 300; ++round) {
    const auto draw = [&random] {
      Labels labels;
      const int count = std::uniform_int_distribution(0, 12)(random);
      for (int n = 0; n < count; ++n)
        labels.push_back(std::string(1, "abcdefgh"[random() % 8]));
      return labels;
    };
    const Labels wanted = draw();
    const Labels standing = draw();
    Labels added;
    Labels removed;
    Labels expected_added;
    Labels expected_removed;
    Evidence::DiffLabels(wanted, standing, added, removed);
    DiffPairByPair(wanted, standing, expected_added, expected_removed);
    EXPECT_EQ(added, expected_added);
    EXPECT_EQ(removed, expected_removed);
  }
}

TEST(KeyedHashTest, IsStableWithinTheProcessAndSpreads) {
  const Evidence::KeyedHash first;
  const Evidence::KeyedHash second;
  std::set<std::size_t> seen;
  for (const auto& label : Numbered(0, 1000)) {
    EXPECT_EQ(first(label), second(label));
    seen.insert(first(label));
  }
  EXPECT_EQ(seen.size(), 1000U);
}

TEST_F(LabelTest, CountsEvidencesThatCarryALabel) {
  manager_.AddLabelsToMap(1, "A|B");
  manager_.AddLabelsToMap(2, "A");
  // 2 known; with 99998 more the limit is reached exactly.
  EXPECT_TRUE(Fits(Numbered(0, 99998)));
  EXPECT_FALSE(Fits(Numbered(0, 99999)));
  manager_.DeleteFromMap(2);
  EXPECT_FALSE(Fits(Numbered(0, 99999))) << "A is still carried by the first";
  manager_.DeleteFromMap(1);
  EXPECT_TRUE(Fits(Numbered(0, 100000)));
  EXPECT_FALSE(Fits(Numbered(0, 100001)));
  EXPECT_TRUE(platform_.sink->Has(3, "]DeleteFromMap id : 1.["));
  manager_.DeleteFromMap(1);
  EXPECT_TRUE(Fits(Numbered(0, 100000))) << "deleting twice counts once";
}

TEST_F(LabelTest, UpdateMovesTheCounts) {
  manager_.AddLabelsToMap(1, "A|B");
  manager_.UpdateLabelMap(1, {"D", "E"});
  manager_.UpdateLabelMap(1, {"B", "C"});
  manager_.UpdateLabelMap(2, {"C"});
  EXPECT_TRUE(Fits(Numbered(0, 99998)));
  manager_.UpdateLabelMap(1, {});
  EXPECT_TRUE(Fits(Numbered(0, 99999))) << "B is gone, C is still carried by the second";
  EXPECT_FALSE(Fits(Numbered(0, 100000)));
  manager_.DeleteFromMap(1);
  EXPECT_FALSE(Fits(Numbered(0, 100000))) << "an emptied evidence has nothing left to give back";
}

TEST_F(LabelTest, LimitIsAboutDistinctLabels) {
  std::string all;
  for (const auto& label : Numbered(0, 99999))
    all += label + "|";
  manager_.AddLabelsToMap(1, all);
  manager_.AddLabelsToMap(2, "own");
  EXPECT_FALSE(Fits({"new"}));
  EXPECT_TRUE(Fits({"label5", "own"}));
  EXPECT_TRUE(Fits({})) << "no labels are never too many";
  EXPECT_TRUE(Fits({"new"}, 2)) << "the only carrier of a label may swap it for a new one";
  EXPECT_FALSE(Fits({"new", "own"}, 2));
  manager_.AddLabelsToMap(3, "own");
  EXPECT_FALSE(Fits({"new"}, 2)) << "another evidence still carries it";
}

TEST_F(LabelTest, ALabelThatStandsTwiceCountsTwiceInTheTest) {
  std::string all;
  for (const auto& label : Numbered(0, 99999))
    all += label + "|";
  manager_.AddLabelsToMap(1, all);
  EXPECT_TRUE(Fits({"new"}));
  EXPECT_FALSE(Fits({"new", "new"}));
}

TEST_F(LabelTest, ADeletedEvidenceIsANewOneAgain) {
  std::string all;
  for (const auto& label : Numbered(0, 99999))
    all += label + "|";
  manager_.AddLabelsToMap(1, all);
  manager_.AddLabelsToMap(2, "own");
  manager_.DeleteFromMap(2);
  manager_.AddLabelsToMap(2, "");
  EXPECT_TRUE(Fits({"own"}, 2));
  EXPECT_FALSE(Fits({"own", "new"}, 2)) << "nothing of its own can be swapped any more";
}

}  // namespace
