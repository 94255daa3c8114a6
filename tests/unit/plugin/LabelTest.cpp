// Counting of distinct labels.

#include "unit/plugin/ManagerTest.h"

namespace {

using namespace evidence_test;
using Labels = std::list<std::string>;

class LabelTest : public ManagerTest {
 protected:
  static Labels Numbered(int count) {
    Labels labels;
    for (int n = 0; n < count; ++n)
      labels.push_back("label" + std::to_string(n));
    return labels;
  }
  /// Whether an evidence (-1: a new one) may carry these labels.
  bool Fits(const Labels& labels, std::int32_t id = -1) { return !manager_.IsLabelCountExceeded(id, labels); }
};

TEST_F(LabelTest, TheLimitIsAboutDistinctLabelsOfOthers) {
  manager_.UpdateLabelMap(1, Numbered(99'999));
  EXPECT_TRUE(Fits({"new"}));
  EXPECT_FALSE(Fits({"new", "new"})) << "a label that occurs twice counts twice";
  manager_.AddLabelsToMap(2, "|own||");
  EXPECT_FALSE(Fits({"new"}));
  EXPECT_TRUE(Fits({"label5", "own"}));
  EXPECT_TRUE(Fits({})) << "no labels are never too many";
  EXPECT_TRUE(Fits({"new"}, 2)) << "the only carrier of a label may swap it for a new one";
  EXPECT_FALSE(Fits({"new", "own"}, 2));
  manager_.AddLabelsToMap(3, "own");
  EXPECT_FALSE(Fits({"new"}, 2)) << "another evidence still carries it";
  manager_.DeleteFromMap(3);
  manager_.DeleteFromMap(3);
  manager_.UpdateLabelMap(2, {});
  EXPECT_TRUE(Fits({"new"})) << "nobody carries it any more";
}

}  // namespace
