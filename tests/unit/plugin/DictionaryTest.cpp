// The rules of the two dictionaries, types and custom attributes, down to the statements.

#include "unit/plugin/ManagerTest.h"

namespace {

using namespace evidence_test;

/// "6:a|7:b:0:1=x,2=y": id, name, and of an attribute its kind and options.
std::list<EvidenceCustomPtr> Customs(const std::string& text) {
  std::list<EvidenceCustomPtr> customs;
  for (const auto& entry : SplitText(text, '|')) {
    const auto parts = SplitKeepingEmpty(entry + "::", ':');
    auto& custom = *customs.emplace_back(std::make_shared<tag_EvidenceCustom_>());
    custom.custom_id = ExtractDecimal(parts[0]);
    custom.custom_name = parts[1];
    custom.custom_type = ExtractDecimal(parts[2]);
    for (const auto& option : SplitText(parts[3], ','))
      custom.custom_options.push_back({ExtractDecimal(option), option.substr(option.find('=') + 1)});
  }
  return customs;
}

std::list<EvidenceTypePtr> Types(const std::string& text) {
  std::list<EvidenceTypePtr> types;
  for (const auto& entry : Customs(text))
    types.push_back(std::make_shared<_tag_EvidenceType_>(_tag_EvidenceType_{entry->custom_id, entry->custom_name}));
  return types;
}

enum Kind { kType, kCustom };

class DictionaryTest : public ManagerTest {
 protected:
  /// Starts the manager over these types or attributes; two built-in ones have names in the reader's language.
  void Start(Kind kind, const std::string& standing) {
    const std::string start = "casefile.s/en/update_src_name/evidence_update_";
    platform_.language->texts = {{start + "theft", "Theft"}, {start + "scene", "Scene"}};
    for (const auto& entry : Customs(standing)) {
      const std::string id = std::to_string(entry->custom_id);
      rows_[kind == kType ? "read type" : "read custom"].push_back(
          {{"ID", id}, {"name", entry->custom_name}, {"types", std::to_string(entry->custom_type)}});
      for (const auto& option : entry->custom_options) {
        rows_["read option custom_id = " + id].push_back(
            {{"ID", std::to_string(option.option_id)}, {"name", option.option_name}});
      }
    }
    ManagerTest::Start();
  }
  /// Changes the dictionary and tells what was done, what was refused, and what is served then.
  std::string Set(Kind kind, const std::string& wanted, bool full = true, const std::string& session = "s") {
    std::list<ErrorPtr> errors;
    const bool ok = kind == kType ? manager_.SetEvidenceTypes(errors, Types(wanted), session, log_, full)
                                  : manager_.SetEvidenceCustoms(errors, Customs(wanted), session, log_, full);
    const std::string done = Did(ok);
    return done + (errors.empty() ? "" : " | refused: " + ErrorTexts(errors)) + " | now: " + Served(kind);
  }
  std::string Served(Kind kind) {
    std::string text;
    std::list<EvidenceTypePtr> types;
    page_info page;
    if (kind == kType) (void)manager_.GetEvidenceTypes(types, page, nullptr);
    for (const auto& type : types)
      text += " " + std::to_string(type->type_id) + ":" + type->type_name;
    std::list<EvidenceCustomPtr> customs;
    if (kind == kCustom) (void)manager_.GetEvidenceCustoms(customs, nullptr);
    for (const auto& custom : customs) {
      text += " " + std::to_string(custom->custom_id) + ":" + custom->custom_name;
      for (const auto& option : custom->custom_options)
        text += "," + std::to_string(option.option_id) + "=" + option.option_name;
    }
    return text;
  }

  const LogFunction log_ = [this](const Texts& names, int type) {
    Note("log " + std::to_string(type) + " " + Joined(names, " "));
  };
};

struct Change {
  const char* what;
  Kind kind;
  const char* standing;
  const char* wanted;
  const char* expected;
  /// Beginnings of statements that fail, or the code of a permission that is missing.
  const char* fault = "";
  bool full = true;
};
void PrintTo(const Change& change, std::ostream* out) { *out << change.what; }

class DictionaryChange : public DictionaryTest, public ::testing::WithParamInterface<Change> {};

TEST_P(DictionaryChange, EndsAsTold) {
  const Change& change = GetParam();
  Start(change.kind, change.standing);
  for (const auto& fault : SplitText(change.fault, '|'))
    failing_.insert(fault);
  platform_.permissions->denied = {ExtractDecimal(change.fault)};
  EXPECT_EQ(Set(change.kind, change.wanted, change.full), change.expected);
}

const Change kChanges[] = {
    {"adds, changes, deletes", kType, "6:a|7:b|8:c", "6:a|7:B|-1:c",
     "delete type 8; | no type of (8); | log 306013 c | name type 7 'B'; | log 306012 B | key type | add type (100, "
     "'c'); | log 306011 c | incre 13001 8 2 | incre 13001 7 1 | incre 13001 100 0 | ok | now:  6:a 7:B 100:c"},
    {"nothing new", kType, "0:|1:|6:a", "0:|1:|6:a", "ok | now:  0: 1:Theft 6:a"},
    {"deletes all under the names shown", kType, "1:|6:a", "",
     "delete type 1;delete type 6; | no type of (1,6); | log 306013 Theft a | !delete evidence type in evidence "
     "failed. | incre 13001 1 2 | incre 13001 6 2 | ok | now: ",
     "no type"},
    {"may not delete", kType, "6:a|7:b", "6:A|-1:n", "0-10 | now:  6:a 7:b", "1425"},
    {"may not change", kType, "6:a|7:b", "6:a|-1:n",
     "delete type 7; | no type of (7); | log 306013 b | incre 13001 7 2 | 0-10 | now:  6:a", "1424"},
    {"may not add", kType, "6:a", "6:A|-1:n", "name type 6 'A'; | log 306012 A | incre 13001 6 1 | 0-10 | now:  6:A",
     "1423"},
    {"refuses one by one", kType, "6:a|7:b|8:c", "6:b|7:a|8:c|9:x|-1:|-1:\t|-1:\a|-1:\xff|-1:n|-1:n|-1:O'B",
     "log 306012 b a x | key type | key type | key type | add type (100, '\t');add type (101, 'n');add type (102, "
     "'O''B'); | log 306011  \t \a \xFF n n O'B | !The evidence type name repeat, evidence-type-name[n]. | incre 13001 "
     "100 0 | incre 13001 101 0 | incre 13001 102 0 | ok | refused: 6 b 0-9808 | 7 a 0-9808 | 9 x 0-9809 | -1  0-2 | "
     "-1 \a 0-2 | -1 \xFF 0-2 | -1 n 0-9808 | now:  6:a 7:b 8:c 100:\t 101:n 102:O'B"},
    {"writes a repeated entry once, as it ends", kType, "6:a|7:b", "6:x|7:y|6:z|7:x",
     "name type 6 'z';name type 7 'y'; | log 306012 x y z x | !The evidence type name repeat, evidence-type-name[x]. | "
     "incre 13001 6 1 | incre 13001 7 1 | ok | refused: 7 x 0-9808 | now:  6:z 7:y"},
    {"a failed step stops no other", kType, "6:a|7:b", "6:A|-1:n|-1:m",
     "delete type 7; | name type 6 'A'; | key type | key type | add type (100, 'n');add type (101, 'm'); | !Insert "
     "evidences types failed. | 0-15 | refused: 7 b 0-15 | 6 A 0-15 | -1 n 0-15 | -1 m 0-15 | now:  6:a 7:b",
     "delete type|name type|add type"},
    {"a part of the dictionary: all are changes", kType, "6:a|7:b", "6:a|-1:n",
     "name type 6 'a'; | log 306012 a n | !Input param error. | incre 13001 6 1 | ok | refused: -1 n 0-2 | now:  6:a "
     "7:b",
     "", false},

    {"adds, changes, deletes", kCustom, "6:a|7:b:0:1=x|8:c", "6:a|7:B:0:1=x|-1:c:0:-1=o|-1:text:1|-1:d",
     "delete custom 8; | delete option custom_id = 8; | delete custom_info custom_id = 8; | log 306016 c | name custom "
     "7 'B', 0; | name option 1 'x'; | log 306015 B | key custom | key custom | key custom | add custom (100, "
     "'c',0);add custom (101, 'text',1);add custom (102, 'd',0); | key option | add option (103, 'o',100,0); | log "
     "306014 c text d | incre 13005 8 2 | incre 13005 7 1 | incre 13005 100 0 | incre 13005 101 0 | incre 13005 102 0 "
     "| ok | now:  6:a 7:B,1=x 100:c,103=o 101:text 102:d"},
    {"writes only what differs", kCustom, "2::0:5=s|6:a:0:1=x,2=y|7:t:1|8:b:0:3=x|9:c:0:4=x,10=y",
     "2::0:5=s|6:a:0:2=y,1=x|7:t:1:-1=o|8:b:2:3=x|9:c:0:4=x",
     "name custom 8 'b', 2;name custom 9 'c', 0; | name option 3 'x'; | name option 4 'x'; | delete option 10; | log "
     "306015 b "
     "c | incre 13005 8 1 | incre 13005 9 1 | ok | now:  2:Scene,5=s 6:a,1=x,2=y 7:t 8:b,3=x 9:c,4=x"},
    {"built-ins keep the name they have in the reader's language", kCustom,
     "1::1|2:|3:", "1::1|2::0:-1=s|3::0:-1=o|-1:Scene",
     "name custom 2 '', 0;name custom 3 '', 0; | key option | add option (100, 's',2,0); | key option | add option "
     "(101, 'o',3,0); | log 306015   | log 306014 Scene | !The evidence custom exists, evidence-custom-name[Scene]. | "
     "incre 13005 2 1 | incre 13005 3 1 | ok | refused: -1 Scene 0-120013 | now:  1: 2:Scene,100=s 3:,101=o"},
    {"may not delete", kCustom, "6:a|7:b", "6:A|-1:n", "0-10 | now:  6:a 7:b", "1429"},
    {"may not change", kCustom, "6:a|7:b", "6:a|-1:n",
     "delete custom 7; | delete option custom_id = 7; | delete custom_info custom_id = 7; | log 306016 b | incre 13005 "
     "7 2 | 0-10 | now:  6:a",
     "1428"},
    {"may not add", kCustom, "6:a", "6:A|-1:n",
     "name custom 6 'A', 0; | log 306015 A | incre 13005 6 1 | 0-10 | now:  6:A", "1427"},
    {"the sixth refuses the batch", kCustom, "6:a|7:b|8:c", "6:a|7:b|8:c|-1:d|-1:e|-1:f",
     "!The number of evidence custom exceeds the limit. | 0-120012 | now:  6:a 7:b 8:c"},
    {"refuses new ones one by one", kCustom, "6:taken", "6:taken|-1:taken|-1:|-1:twin|-1:twin",
     "key custom | add custom (100, 'twin',0); | log 306014 taken  twin twin | !The evidence custom name repeat, "
     "evidence-custom-name[twin]. | incre 13005 100 0 | ok | refused: -1 taken 0-120013 | -1  0-2 | -1 twin 0-120013 | "
     "now:  6:taken 100:twin"},
    {"refuses changes one by one, also for names of replaced ones", kCustom, "6:a|7:b|8:c",
     "6:b|7:x|7:y|8:x|99:a|98:\a",
     "name custom 7 'y', 0; | log 306015 b x y x a \a | !Input param error. | incre 13005 7 1 | ok | refused: 6 b "
     "0-120013 | 8 x 0-120013 | 99 a 0-120010 | 98 \a 0-2 | now:  6:a 7:y 8:c"},
    {"options are added, renamed, dropped or ignored", kCustom, "6:a:0:1=x,2=y,3=z|7:b:0:4=p",
     "6:a:0:-1=n,1=X,4=of 7,3=z|7:b:1",
     "name custom 6 'a', 0;name custom 7 'b', 1; | key option | name option 1 'X';name option 3 'z'; | delete option "
     "2; | add option (100, 'n',6,0); | delete option 4; | log 306015 a b | incre 13005 6 1 | incre 13005 7 1 | ok | "
     "now:  6:a,100=n,1=X,3=z 7:b"},
    {"an option told twice stands as told last", kCustom, "6:a:0:1=x", "6:a:0:1=y,1=z",
     "name custom 6 'a', 0; | name option 1 'z'; | log 306015 a | incre 13005 6 1 | ok | now:  6:a,1=z"},
    {"a failed renaming ends the batch", kCustom, "6:a:0:1=x,2=y|7:b:0:3=z", "6:A:0:1=X,-1=n|7:B:0:3=z",
     "name custom 6 'A', 0;name custom 7 'B', 0; | key option | name option 1 'X'; | !Update custom option failed. | "
     "0-15 | refused: 6 A 0-15 | now:  6:a,1=x,2=y 7:b,3=z",
     "name option"},
    {"an option without a key is not stored", kCustom, "6:a:0:1=x", "6:a:0:1=x,-1=n",
     "name custom 6 'a', 0; | key option | !Get Last Seq ID Failed. | 0-15 | refused: 6 a 0-15 | now:  6:a,1=x",
     "key option"},
    {"a failed step stops no other", kCustom, "6:a|8:c", "6:A|-1:n:0:-1=o|-1:m",
     "delete custom 8; | name custom 6 'A', 0; | key custom | key custom | add custom (100, 'n',0);add custom (101, "
     "'m',0); | key option | add option (102, 'o',100,0); | !Insert evidences custom failed. | 0-15 | refused: 8 c "
     "0-15 | 6 A 0-15 | 100 n 0-15 | 101 m 0-15 | now:  6:a 8:c",
     "delete custom|name custom|add custom"},
    {"what keeps its options is still served", kCustom, "6:a:0:1=x|7:b", "7:b",
     "delete custom 6; | delete option custom_id = 6; | !Delete evidences custom options failed. | 0-15 | refused: 6 a "
     "0-15 "
     "| now:  6:a,1=x 7:b",
     "delete option custom_id"},
    {"options that cannot be added end the batch", kCustom, "6:a:0:1=x|7:b:0:2=y", "6:a:0:1=x,-1=n|7:b:1",
     "name custom 6 'a', 0;name custom 7 'b', 1; | key option | name option 1 'x'; | add option (100, 'n',6,0); | "
     "!Insert "
     "custom option failed. | 0-15 | refused: 6 a 0-15 | now:  6:a,1=x 7:b,2=y",
     "add option"},
    {"values stay of what is gone", kCustom, "2:|6:a", "",
     "delete custom 2;delete custom 6; | delete option custom_id = 2;delete option custom_id = 6; | delete custom_info "
     "custom_id = 2;delete custom_info custom_id = 6; | !Delete evidences custom options failed. | incre 13005 2 2 | "
     "incre 13005 6 2 | 0-15 | refused: 2 Scene 0-15 | 6 a 0-15 | now: ",
     "delete custom_info"},
};
INSTANTIATE_TEST_SUITE_P(Changes, DictionaryChange, ::testing::ValuesIn(kChanges));

TEST_F(DictionaryTest, NamesAndOptionsAtTheirLimits) {
  Start(kCustom, "6:a|7:b");
  std::string longest;
  std::string options;
  for (int n = 0; n < 64; ++n)
    longest += "\xE4\xB8\xAD";
  for (int n = 0; n < 1000; ++n)
    options += "-1=o,";
  std::string types;
  for (int n = 0; n < 128; ++n)
    types += "-1:" + std::to_string(n) + "|";
  const std::string nul(1, '\0');
  const std::tuple<Kind, std::string, bool, const char*> cases[] = {
      {kType, "-1:" + longest, true, "ok"},
      {kType, "-1:" + longest + "x", true, "0-2"},
      {kType, types + "-1:n", true, "0-9810"},
      {kType, types, true, "ok"},
      {kCustom, "6:" + longest + "x", false, "0-2"},
      {kCustom, "6:a:0:" + options + "-1=o", false, "0-120012"},
      {kCustom, "6:" + longest + ":0:" + options, false, "ok"},
      {kCustom, "6:a|-1:n:0:" + options + "-1=o", true, "0-120012"},
      {kCustom, "6:a|-1:n:0:" + options, true, "ok"},
      // An option that the table would refuse must not leave its attribute or the other options behind.
      {kCustom, "6:a:0:-1=fine,-1=n" + nul, false, "0-2"},
      {kCustom, "6:a|-1:n:0:-1=fine,-1=n" + nul, true, "0-2"}};
  for (const auto& [kind, wanted, full, end] : cases) {
    const std::string done = Set(kind, wanted, full);
    const auto at = done.find(" | now");
    EXPECT_EQ(done.substr(done.rfind(' ', at - 1) + 1, at - done.rfind(' ', at - 1) - 1), end) << wanted.substr(0, 99);
  }
}

TEST_F(DictionaryTest, WithoutASessionACallIsFromInsideAndWithoutTheApiNobodyMay) {
  Start(kType, "6:a");
  platform_.adapter->permissions = nullptr;
  EXPECT_EQ(Set(kType, "6:b", false), "0-10 | now:  6:a");
  EXPECT_EQ(Set(kType, "6:b", false, ""), "name type 6 'b'; | log 306012 b | incre 13001 6 1 | ok | now:  6:b");
}

TEST_F(DictionaryTest, DeletesAllSomeOrNothing) {
  rows_["read type"] = {{{"ID", "1"}}, {{"ID", "6"}, {"name", "a"}}};
  Start(kCustom, "0:zero|6:a");
  const auto deleted = [this](Kind kind, const IdList& ids) {
    std::list<ErrorPtr> errors;
    const std::string done = Did(kind == kType ? manager_.DeleteEvidenceTypes(errors, ids, log_)
                                               : manager_.DeleteEvidenceCustoms(errors, ids));
    return done + ", " + ErrorTexts(errors) + Served(kind);
  };
  EXPECT_EQ(
      deleted(kType, {-1, 6, 99}),
      "delete type 6; | log 306013 a | no type of (6); | !Input param error. | incre 13001 6 2 | ok, -1  0-2 1:Theft");
  EXPECT_EQ(deleted(kType, {}), "delete type 1; | log 306013 Theft | no type of (1); | incre 13001 1 2 | ok, ");
  EXPECT_EQ(deleted(kCustom, {}),
            "delete custom 6; | delete option custom_id = 6; | delete custom_info custom_id = 6; | incre 13005 6 2 | "
            "ok,  0:zero")
      << "all but 0";
}

TEST_F(DictionaryTest, PagesAndFilters) {
  Start(kType, "6:north|7:south|8:northwest|9:east");
  constexpr std::int32_t kMax = 2147483647;
  constexpr std::int32_t kMin = -2147483647 - 1;
  const auto page = [this](std::int32_t index, std::int32_t size, const std::string& name = "", IdVector ids = {}) {
    const auto filter = std::make_shared<_tag_EvidenceAttributeFilterInfo_>();
    filter->name = name;
    filter->ids = std::move(ids);
    std::list<EvidenceTypePtr> types;
    page_info asked{0, index, size};
    std::string text = manager_.GetEvidenceTypes(types, asked, filter) ? "" : std::to_string(LastCode()) + ":";
    for (const auto& type : types)
      text += std::to_string(type->type_id) + " ";
    return text + "of " + std::to_string(asked.total);
  };
  EXPECT_EQ(page(1, 2) + ", " + page(2, 3) + ", " + page(3, 2), "6 7 of 4, 9 of 4, of 4");
  EXPECT_EQ(page(-1, 2) + ", " + page(2, -1), "6 7 8 9 of 4, 6 7 8 9 of 4");
  EXPECT_EQ(page(0, 5) + ", " + page(2, 0), "2:of 4, 2:of 4");
  EXPECT_EQ(page(1, kMax) + ", " + page(kMax, kMax) + ", " + page(kMin, kMin), "6 7 8 9 of 4, of 4, of 4");
  EXPECT_EQ(page(-1, -1, "nor") + ", " + page(-1, -1, "nor", {8, 9, 77}), "6 8 of 2, 8 of 1");
}

TEST_F(DictionaryTest, ReadersKeepWhatTheyHave) {
  Start(kCustom, "9:same:0:5=late|7:same:0:1=x,2=y|8:other");
  EvidenceCustomPtr custom;
  ASSERT_TRUE(manager_.GetEvidenceCustomByName(custom, "same"));
  EXPECT_EQ(custom->custom_id, 7) << "the first by id";
  (void)Set(kCustom, "7:new:0:1=X", false);
  EXPECT_EQ(custom->custom_options[0].option_name, "x") << "a reader's record may not change under it";
  tag_EvidenceOption_ option{77, "as it was"};
  EXPECT_TRUE(manager_.GetCustomOptionById(option, 5, 7));
  EXPECT_EQ(option.option_name, "as it was") << "the option belongs to another attribute";
  EXPECT_TRUE(manager_.GetCustomOptionById(option, 1, 7));
  EXPECT_EQ(option.option_name, "X");
}

}  // namespace
