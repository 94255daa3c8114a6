// What a request changes in the custom attributes: the pure rules.

#include <gtest/gtest.h>

#include "impl/Evidence/CustomChanges.h"

namespace {

using Evidence::EvidenceCustomPtr;
using Evidence::tag_EvidenceCustom_;
using Evidence::tag_EvidenceOption_;
using Options = std::vector<tag_EvidenceOption_>;
using Texts = std::vector<std::string>;

tag_EvidenceCustom_ Custom(std::int32_t id, const std::string& name, std::int32_t type, const Options& options) {
  return {id, name, options, type, -1};
}

EvidenceCustomPtr Named(std::int32_t id, const std::string& name) {
  return std::make_shared<tag_EvidenceCustom_>(Custom(id, name, 0, {}));
}

Texts Ids(const std::list<EvidenceCustomPtr>& customs) {
  Texts texts;
  for (const auto& custom : customs)
    texts.push_back(std::to_string(custom->custom_id) + custom->custom_name);
  return texts;
}

TEST(CustomRules, SameMeansEveryFieldThatCounts) {
  const Options two{{1, "x"}, {2, "y"}};
  const auto own = Custom(6, "a", 0, two);
  const auto built_in = Custom(2, "Scene", 0, two);
  struct Case {
    const char* what;
    tag_EvidenceCustom_ incoming;
    tag_EvidenceCustom_ cached;
    bool same;
  };
  for (const Case& c : {
           Case{"equal", own, own, true},
           Case{"another order", Custom(6, "a", 0, {{2, "y"}, {1, "x"}}), own, true},
           Case{"id", Custom(7, "a", 0, two), own, false},
           Case{"name", Custom(6, "A", 0, two), own, false},
           Case{"kind", Custom(6, "a", 2, two), own, false},
           Case{"from free text", own, Custom(6, "a", 1, two), false},
           Case{"an option less", Custom(6, "a", 0, {{1, "x"}}), own, false},
           Case{"an option more", Custom(6, "a", 0, {{1, "x"}, {2, "y"}, {-1, "z"}}), own, false},
           Case{"an option renamed", Custom(6, "a", 0, {{1, "x"}, {2, "Y"}}), own, false},
           Case{"names swapped", Custom(6, "a", 0, {{1, "y"}, {2, "x"}}), own, false},
           Case{"another option id", Custom(6, "a", 0, {{1, "x"}, {3, "y"}}), own, false},
           Case{"options of free text", Custom(6, "a", 1, {{-1, "new"}}), Custom(6, "a", 1, two), true},
           Case{"built-in as it is", Custom(2, "", 0, two), built_in, true},
           Case{"built-in option", Custom(2, "", 0, {{1, "x"}}), built_in, false},
           Case{"built-in name", Custom(2, "S", 0, two), built_in, false},
           Case{"own name emptied", Custom(6, "", 0, two), own, false},
       }) {
    EXPECT_EQ(Evidence::IsSameCustom(c.incoming, c.cached), c.same) << c.what;
  }
}

TEST(CustomRules, SplitGoesByIdAlone) {
  // The kind of change that a request names is no one's business here.
  auto odd = std::make_shared<tag_EvidenceCustom_>(Custom(8, "c", 0, {}));
  odd->modify_type = 2;
  const auto changes =
      Evidence::SplitCustomChanges({Named(-1, "n"), Named(7, "B"), odd, Named(-1, "m"), Named(99, "unknown")},
                                   {Named(1, ""), Named(6, "a"), Named(7, "b"), Named(8, "c")});
  EXPECT_EQ(Ids(changes.to_add), (Texts{"-1n", "-1m"}));
  EXPECT_EQ(Ids(changes.to_change), (Texts{"7B", "8c", "99unknown"}));
  EXPECT_EQ(Ids(changes.to_delete), (Texts{"1", "6a"}));
}

}  // namespace
