// The rules of custom attributes over a store in memory.

#include <gtest/gtest.h>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceManager.h"
#include "support/StoreStub.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace {

using Evidence::ErrorPtr;
using Evidence::EvidenceCustomPtr;
using Evidence::IdList;
using Evidence::tag_EvidenceCustom_;
using Evidence::tag_EvidenceOption_;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;
using Options = std::vector<tag_EvidenceOption_>;
using Texts = std::vector<std::string>;

tag_EvidenceCustom_ Custom(std::int32_t id, const std::string& name, const Options& options = {},
                           std::int32_t type = 0) {
  return {id, name, options, type, -1};
}

/// " id=name" for each option.
std::string Text(const Options& options) {
  std::string text;
  for (const auto& option : options)
    text += " " + std::to_string(option.option_id) + "=" + option.option_name;
  return text;
}

/// Serves `rows` at the start and notes what it is asked for from then on.
class CustomStore final : public evidence_test::StoreStub {
 public:
  std::vector<tag_EvidenceCustom_> rows;
  std::int32_t next_id = 100;
  std::int32_t next_option_id = 500;
  std::set<std::string> failing;
  Texts calls;

  bool ReadAllEvidenceTypes(std::list<Evidence::EvidenceTypePtr>&) override { return true; }
  bool ReadAllEvidenceCustoms(std::list<EvidenceCustomPtr>& customs) override {
    for (const auto& row : rows)
      customs.push_back(std::make_shared<tag_EvidenceCustom_>(row));
    return true;
  }
  bool ReadAllCustomOptions(std::list<EvidenceCustomPtr>&) override { return true; }
  std::int32_t QueryEvidenceCustomSeqID() override { return failing.contains("sequence") ? -1 : next_id++; }
  std::int32_t QueryEvidenceOptionSeqID() override {
    if (failing.contains("option sequence")) return Orv::Base::Error::SetLastError({0, 15}), -1;
    return next_option_id++;
  }
  bool InsertEvidenceCustoms(const std::list<EvidenceCustomPtr>& customs) override { return Note("insert", customs); }
  bool UpdateEvidenceCustoms(const std::list<EvidenceCustomPtr>& customs) override { return Note("update", customs); }
  bool DeleteEvidenceCustoms(const IdList& ids) override { return NoteIds("delete", ids); }
  bool DeleteOptionsByCustom(const IdList& ids) override { return NoteIds("clear options", ids); }
  bool DeleteEvidenceCustomInfoByCustomID(const IdList& ids) override { return NoteIds("clear values", ids); }
  bool InsertOptionsByCustom(std::list<EvidenceCustomPtr>& customs) override {
    std::string text;
    for (const auto& custom : customs) {
      for (auto& option : custom->custom_options)
        option.option_id = next_option_id++;
      text += Text(custom->custom_options);
    }
    return Note("options", text);
  }
  bool InsertOptions(const Options& options, const EvidenceCustomPtr& custom) override {
    return NoteOptions("add", options, custom);
  }
  bool UpdatetOptions(const Options& options, const EvidenceCustomPtr& custom) override {
    return NoteOptions("rename", options, custom);
  }
  bool DeleteOptions(const Options& options, const EvidenceCustomPtr& custom) override {
    return NoteOptions("drop", options, custom);
  }

 private:
  /// A call with nothing in it sends nothing.
  bool Note(const std::string& call, const std::string& with) {
    if (with.empty()) return true;
    calls.push_back(call + with);
    return !failing.contains(call) || Refuse();
  }
  bool Note(const std::string& call, const std::list<EvidenceCustomPtr>& customs) {
    std::string text;
    for (const auto& custom : customs)
      text += " " + std::to_string(custom->custom_id) + custom->custom_name;
    return Note(call, text);
  }
  bool NoteIds(const std::string& call, const IdList& ids) {
    std::string text;
    for (const auto id : ids)
      text += " " + std::to_string(id);
    return Note(call, text);
  }
  bool NoteOptions(const std::string& call, const Options& options, const EvidenceCustomPtr& custom) {
    if (options.empty()) ADD_FAILURE() << call << " of nothing";
    return Note(call, " in " + std::to_string(custom->custom_id) + ":" + Text(options));
  }
};

class CustomManagerTest : public ::testing::Test {
 protected:
  void Start(const std::vector<tag_EvidenceCustom_>& rows) {
    store_->rows = rows;
    ASSERT_TRUE(manager_.Initialize());
    platform_.sink->Clear();
  }

  bool Set(const std::vector<tag_EvidenceCustom_>& entries, bool full_set, const std::string& session = "session") {
    errors_.clear();
    return manager_.SetEvidenceCustoms(
        errors_, Shared(entries), session,
        [this](const Texts& names, int log_type) {
          std::string line = std::to_string(log_type);
          for (const auto& name : names)
            line += " " + name;
          logged_.push_back(line);
        },
        full_set);
  }

  static std::list<EvidenceCustomPtr> Shared(const std::vector<tag_EvidenceCustom_>& entries) {
    std::list<EvidenceCustomPtr> customs;
    for (const auto& entry : entries)
      customs.push_back(std::make_shared<tag_EvidenceCustom_>(entry));
    return customs;
  }

  Texts Errors() const { return evidence_test::ErrorTexts(errors_); }

  /// What the cache serves as "id name/type options".
  Texts Cached(const std::string& part = "") {
    const auto filter = std::make_shared<Evidence::_tag_EvidenceAttributeFilterInfo_>();
    filter->name = part;
    // What stands in the list beforehand is replaced.
    auto customs = Shared({Custom(77, "earlier")});
    EXPECT_TRUE(manager_.GetEvidenceCustoms(customs, filter));
    Texts texts;
    for (const auto& custom : customs) {
      texts.push_back(std::to_string(custom->custom_id) + " " + custom->custom_name + "/" +
                      std::to_string(custom->custom_type) + Text(custom->custom_options));
    }
    return texts;
  }

  bool Logged(const std::string& text) const { return platform_.sink->Has(5, text); }
  const Texts& Increments() const { return platform_.system_and_log->increments; }

  scripted::Platform platform_;
  std::shared_ptr<CustomStore> store_ = std::make_shared<CustomStore>();
  Evidence::CEvidenceManager manager_{store_};
  std::list<ErrorPtr> errors_;
  Texts logged_;
};

TEST_F(CustomManagerTest, FullSetDeletesChangesAndAdds) {
  Start({Custom(6, "a"), Custom(7, "b", {{1, "x"}}), Custom(8, "c", {{2, "y"}})});
  EXPECT_TRUE(Set({Custom(6, "a"), Custom(7, "B", {{1, "x"}}), Custom(-1, "c", {{-1, "p"}, {-1, "q"}})}, true));
  EXPECT_EQ(Errors(), Texts{});
  EXPECT_EQ(store_->calls, (Texts{"delete 8", "clear options 8", "clear values 8", "update 7B", "rename in 7: 1=x",
                                  "insert 100c", "options 500=p 501=q"}));
  EXPECT_EQ(Cached(), (Texts{"6 a/0", "7 B/0 1=x", "100 c/0 500=p 501=q"}));
  EXPECT_EQ(logged_, (Texts{"306016 c", "306015 B", "306014 c"}));
  EXPECT_EQ(Increments(), (Texts{"13005 8 2", "13005 7 1", "13005 100 0"}));
}

TEST_F(CustomManagerTest, UnchangedFullSetTouchesNothing) {
  Start({Custom(6, "a", {{1, "x"}, {2, "y"}}), Custom(7, "text", {}, 1)});
  EXPECT_TRUE(Set({Custom(6, "a", {{2, "y"}, {1, "x"}}), Custom(7, "text", {{-1, "new"}}, 1)}, true));
  EXPECT_EQ(store_->calls, Texts{});
  EXPECT_EQ(logged_, Texts{});
  EXPECT_EQ(Increments(), Texts{});
}

TEST_F(CustomManagerTest, BuiltInsKeepTheNameOfTheReadersLanguage) {
  for (const auto& [key, text] : {std::pair{"label", "Label"}, {"scene", "Scene"}, {"outcome", "Outcome"}})
    platform_.language->texts[std::string("casefile.s/en/update_src_name/evidence_update_") + key] = text;
  Start({Custom(1, "", {}, 1), Custom(2, ""), Custom(3, "Own")});
  EXPECT_EQ(Cached(), (Texts{"1 Label/1", "2 Scene/0", "3 Own/0"})) << "a name that a user gave stays";
  EXPECT_TRUE(Set({Custom(1, "", {}, 1), Custom(2, "", {{-1, "street"}}), Custom(3, "Own")}, true));
  EXPECT_EQ(Errors(), Texts{});
  EXPECT_EQ(store_->calls, (Texts{"update 2", "add in 2: 500=street"})) << "the row keeps no name";
  EXPECT_EQ(Cached(), (Texts{"1 Label/1", "2 Scene/0 500=street", "3 Own/0"}));
  EXPECT_TRUE(Set({Custom(1, "Scene", {}, 1), Custom(2, ""), Custom(3, "Own"), Custom(-1, "Label")}, true));
  EXPECT_EQ(Errors(), (Texts{"1 Scene 0-120013", "-1 Label 0-120013"})) << "a shown name is as taken as any other";
  logged_.clear();
  EXPECT_TRUE(Set({}, true));
  EXPECT_EQ(logged_, Texts{"306016 Label Scene Own"});
}

TEST_F(CustomManagerTest, BuiltInsCanBeChangedWithoutALanguage) {
  Start({Custom(1, "", {}, 1), Custom(2, ""), Custom(3, "")});
  EXPECT_TRUE(Set({Custom(1, "", {}, 1), Custom(2, "", {{-1, "s"}}), Custom(3, "", {{-1, "o"}})}, true));
  EXPECT_EQ(Errors(), Texts{});
  EXPECT_EQ(Cached(), (Texts{"1 /1", "2 /0 500=s", "3 /0 501=o"}));
  EXPECT_TRUE(Set({Custom(1, "", {}, 1), Custom(-1, "")}, true));
  EXPECT_EQ(Errors(), Texts{"-1  0-2"}) << "a new attribute needs a name";
}

TEST_F(CustomManagerTest, PermissionsEndTheCallWhereTheyAreMissing) {
  Start({Custom(6, "a"), Custom(7, "b")});
  struct Case {
    int denied;
    std::vector<tag_EvidenceCustom_> entries;
    Texts store_calls;
  };
  for (const Case& c :
       {Case{1429, {Custom(6, "A"), Custom(-1, "n")}, {}},
        // Asked for before it is known that nothing changes.
        Case{1428, {Custom(6, "a"), Custom(-1, "n")}, {"delete 7", "clear options 7", "clear values 7"}},
        Case{1427, {Custom(6, "A"), Custom(-1, "n")}, {"update 6A"}}}) {
    store_->calls.clear();
    platform_.permissions->denied = {c.denied};
    EXPECT_FALSE(Set(c.entries, true));
    EXPECT_EQ(GetLastError(), ErrorCode(0, 10));
    EXPECT_EQ(store_->calls, c.store_calls);
    EXPECT_TRUE(Logged("]session Not Have WebClient Permission: " + std::to_string(c.denied) + ".["));
  }
  EXPECT_TRUE(Set({Custom(-1, "n")}, true, "")) << "a caller inside the system";
  EXPECT_EQ(Cached(), Texts{"100 n/0"});
}

TEST_F(CustomManagerTest, TheSixthAttributeRefusesTheBatch) {
  Start({Custom(1, "x"), Custom(2, "y"), Custom(3, "z")});
  EXPECT_FALSE(manager_.InsertEvidenceCustoms(errors_, Shared({Custom(-1, "a"), Custom(-1, "b"), Custom(-1, "c")})));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 120012));
  EXPECT_TRUE(Logged("]The number of evidence custom exceeds the limit.["));
  EXPECT_EQ(Errors(), Texts{});
  EXPECT_EQ(store_->next_id, 100) << "no key may be drawn for a refused batch";
  EXPECT_FALSE(manager_.InsertEvidenceCustoms(errors_, {}));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 2));
  EXPECT_TRUE(Logged("]Input param error.["));
  EXPECT_TRUE(manager_.InsertEvidenceCustoms(errors_, Shared({Custom(-1, "a"), Custom(-1, "b")})));
  EXPECT_EQ(Cached().size(), 5U);
  EXPECT_TRUE(Set({Custom(-1, "c"), Custom(-1, "d"), Custom(-1, "e"), Custom(-1, "f"), Custom(-1, "x")}, true))
      << "what the same request deletes makes room, and frees its names";
  EXPECT_EQ(Errors(), Texts{});
}

TEST_F(CustomManagerTest, NewEntriesAreRefusedOneByOne) {
  Start({Custom(6, "taken")});
  const std::string longest = [] {
    std::string text;
    for (int n = 0; n < 64; ++n)
      text += "\xE4\xB8\xAD";
    return text;
  }();
  const Options too_many(1001, {-1, "o"});
  const auto tried = [&](const std::vector<tag_EvidenceCustom_>& entries) {
    EXPECT_TRUE(Set({Custom(6, "taken")}, true)) << "as it was";
    platform_.sink->Clear();
    store_->next_id = 100;
    EXPECT_TRUE(manager_.InsertEvidenceCustoms(errors_, Shared(entries)));
    Texts texts = Errors();
    texts.push_back(std::to_string(Cached().size() - 1) + " added");
    return texts;
  };
  EXPECT_EQ(tried({Custom(-1, longest + "x", too_many), Custom(-1, longest), Custom(-1, ""), Custom(-1, "bell\a")}),
            (Texts{"-1 " + longest + "x 0-2", "-1  0-2", "-1 bell\a 0-2", "1 added"}));
  EXPECT_TRUE(Logged("]Input param error.["));
  EXPECT_EQ(tried({Custom(-1, "taken"), Custom(-1, "taken", too_many)}),
            (Texts{"-1 taken 0-120013", "-1 taken 0-120013", "0 added"}));
  EXPECT_TRUE(Logged("]The evidence custom exists, evidence-custom-name[taken].["));
  EXPECT_EQ(tried({Custom(-1, "twin"), Custom(-1, "twin", too_many)}), (Texts{"-1 twin 0-120013", "1 added"}));
  EXPECT_TRUE(Logged("]The evidence custom name repeat, evidence-custom-name[twin].["));
  EXPECT_EQ(tried({Custom(-1, "n", too_many), Custom(-1, "n", Options(1000, {-1, "o"}))}),
            (Texts{"100 n 0-120012", "1 added"}))
      << "the key of a refused entry is lost, its name stays free";
  EXPECT_TRUE(Logged("]option lst out limit: 1001.["));
  // An option that the table would refuse must not leave its attribute behind.
  EXPECT_EQ(tried({Custom(-1, "n", {{-1, "fine"}, {-1, std::string("a\0b", 3)}})}), (Texts{"-1 n 0-2", "0 added"}));
  store_->failing = {"sequence"};
  EXPECT_EQ(tried({Custom(-1, "n", too_many)}), (Texts{"-1 n 0-15", "0 added"}));
  EXPECT_TRUE(Logged("]Get Last Seq ID Failed.["));
}

TEST_F(CustomManagerTest, ChangesAreRefusedOneByOne) {
  Start({Custom(6, "a"), Custom(7, "b"), Custom(8, "c"), Custom(9, "d")});
  const Options too_many(1001, {-1, "o"});
  EXPECT_TRUE(Set({Custom(-1, "x"), Custom(99, "a"), Custom(6, "b", too_many), Custom(7, "new"), Custom(8, "new"),
                   Custom(9, "d", too_many), Custom(98, "bell\a"), Custom(9, "d", Options(1000, {-1, "o"}))},
                  false));
  EXPECT_EQ(Errors(),
            (Texts{"-1 x 0-2", "99 a 0-120010", "6 b 0-120013", "8 new 0-120013", "9 d 0-120012", "98 bell\a 0-2"}));
  for (const char* line :
       {"]Input param error.[", "]The evidence custom not exists, evidence-outcome-id[99].[",
        "]The evidence custom name repeat, evidence-custom-name[b].[",
        "]The evidence custom name repeat, evidence-custom-name[new].[", "]option lst out limit: 1001.["}) {
    EXPECT_TRUE(Logged(line)) << line;
  }
  EXPECT_EQ(store_->calls.front(), "update 7new 9d");
  EXPECT_EQ(Cached("a"), Texts{"6 a/0"});
  EXPECT_EQ(Cached("e"), Texts{"7 new/0"});
  EXPECT_EQ(Increments(), (Texts{"13005 7 1", "13005 9 1"}));
}

TEST_F(CustomManagerTest, OptionsAreAddedRenamedDroppedOrIgnored) {
  Start({Custom(6, "a", {{1, "x"}, {2, "y"}, {3, "z"}}), Custom(7, "b", {{4, "p"}})});
  EvidenceCustomPtr earlier;
  ASSERT_TRUE(manager_.GetEvidenceCustomById(earlier, 6));
  EXPECT_TRUE(Set({Custom(6, "a", {{-1, "new"}, {1, "X"}, {4, "of 7"}, {3, "z"}}), Custom(7, "b", {}, 1)}, true));
  EXPECT_EQ(Errors(), Texts{});
  EXPECT_EQ(store_->calls,
            (Texts{"update 6a 7b", "rename in 6: 1=X 3=z", "drop in 6: 2=y", "add in 6: 500=new", "drop in 7: 4=p"}));
  EXPECT_EQ(Cached(), (Texts{"6 a/0 500=new 1=X 3=z", "7 b/1"})) << "in the order of the request";
  EXPECT_EQ(Text(earlier->custom_options), " 1=x 2=y 3=z") << "a reader's record may not change under it";
}

TEST_F(CustomManagerTest, ARepeatedOptionIsServedAsItsRowEnds) {
  Start({Custom(6, "a", {{1, "x"}})});
  EXPECT_TRUE(Set({Custom(6, "a", {{1, "y"}, {1, "z"}})}, true));
  EXPECT_EQ(Cached(), Texts{"6 a/0 1=z"});
}

TEST_F(CustomManagerTest, AFailedOptionStepEndsTheBatch) {
  Start({Custom(6, "a", {{1, "x"}, {2, "y"}}), Custom(7, "b", {{3, "z"}})});
  struct Case {
    std::string step;
    Texts store_calls;
    std::string line;
  };
  const Texts all{"update 6A 7B", "rename in 6: 1=X", "drop in 6: 2=y", "add in 6: 500=n"};
  for (const Case& c : {Case{"rename", {all[0], all[1]}, "]Update custom option failed.["},
                        Case{"drop", {all[0], all[1], all[2]}, "]Delete custom option failed.["},
                        Case{"add", all, "]Insert custom option failed.["}}) {
    store_->failing = {c.step};
    store_->calls.clear();
    store_->next_option_id = 500;
    EXPECT_FALSE(Set({Custom(6, "A", {{1, "X"}, {-1, "n"}}), Custom(7, "B", {{3, "z"}})}, true));
    EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
    EXPECT_EQ(Errors(), Texts{"6 A 0-15"});
    EXPECT_EQ(store_->calls, c.store_calls);
    EXPECT_TRUE(Logged(c.line));
  }
  EXPECT_EQ(Cached(), (Texts{"6 a/0 1=x 2=y", "7 b/0 3=z"}));
  EXPECT_EQ(logged_, Texts{});
  EXPECT_EQ(Increments(), Texts{});
}

TEST_F(CustomManagerTest, FailedStoreStepsStopNoOtherAndLeaveTheCache) {
  Start({Custom(6, "a"), Custom(7, "b"), Custom(8, "c")});
  struct Case {
    std::set<std::string> failing;
    Texts errors;
    Texts lines;
  };
  const std::string not_added = "]Insert evidences custom failed.[";
  const std::string no_options = "]Insert custom option failed.[";
  for (const Case& c :
       {Case{{"delete", "update", "insert"},
             {"8 c 0-15", "6 A 0-15", "7 B 0-15", "100 n 0-15", "101 m 0-15"},
             {"]Delete evidences customs failed.[", "]Update evidences custom failed.[", not_added}},
        Case{{"clear options", "update", "options"},
             {"8 c 0-15", "6 A 0-15", "7 B 0-15", "100 n 0-15", "101 m 0-15"},
             {"]Delete evidences custom options failed.[", no_options}},
        Case{{"delete", "update", "insert", "options"},
             {"8 c 0-15", "6 A 0-15", "7 B 0-15", "100 n 0-15", "101 m 0-15", "100 n 0-15", "101 m 0-15"},
             {not_added, no_options}}}) {
    store_->failing = c.failing;
    store_->calls.clear();
    store_->next_id = 100;
    platform_.sink->Clear();
    EXPECT_FALSE(Set({Custom(6, "A"), Custom(7, "B"), Custom(-1, "n", {{-1, "o"}}), Custom(-1, "m")}, true));
    EXPECT_EQ(Errors(), c.errors);
    EXPECT_EQ(store_->calls.back().substr(0, 8), "options ") << "the options go out behind a failed insert too";
    for (const auto& line : c.lines)
      EXPECT_TRUE(Logged(line)) << line;
  }
  EXPECT_EQ(Cached(), (Texts{"6 a/0", "7 b/0", "8 c/0"}));
  EXPECT_EQ(logged_, Texts{});
  EXPECT_EQ(Increments(), Texts{});
}

TEST_F(CustomManagerTest, FailedNotificationIsOnlyLogged) {
  Start({Custom(6, "a"), Custom(7, "b")});
  platform_.system_and_log->accept = false;
  EXPECT_TRUE(Set({Custom(6, "A"), Custom(-1, "n")}, true));
  EXPECT_EQ(Cached(), (Texts{"6 A/0", "100 n/0"}));
  for (const char* line : {"b] delete", "A] modify", "n] add"}) {
    EXPECT_TRUE(Logged(std::string("]Notify IncreResource evidence-custom-name[") + line + " failed.[")) << line;
  }
}

TEST_F(CustomManagerTest, DeletesAllSomeOrNothing) {
  Start({Custom(0, "zero"), Custom(1, ""), Custom(6, "a"), Custom(7, "b")});
  struct Case {
    IdList ids;
    bool done;
    Texts errors;
    Texts store_calls;
    Texts increments;
  };
  const auto gone = [](const std::string& ids) {
    return Texts{"delete" + ids, "clear options" + ids, "clear values" + ids};
  };
  for (const Case& c : {Case{{99}, true, {}, {}, {}}, Case{{-1, 6, 99}, true, {"-1  0-2"}, gone(" 6"), {"13005 6 2"}},
                        // The values outlive their attribute, which is gone all the same.
                        Case{{7}, false, {"7 b 0-15"}, gone(" 7"), {"13005 7 2"}},
                        Case{{}, true, {}, gone(" 1"), {"13005 1 2"}}, Case{{}, true, {}, {}, {}}}) {
    errors_.clear();
    store_->calls.clear();
    store_->failing = c.done ? std::set<std::string>{} : std::set<std::string>{"clear values"};
    platform_.system_and_log->increments.clear();
    EXPECT_EQ(manager_.DeleteEvidenceCustoms(errors_, c.ids), c.done);
    EXPECT_EQ(Errors(), c.errors);
    EXPECT_EQ(store_->calls, c.store_calls);
    EXPECT_EQ(Increments(), c.increments);
  }
  EXPECT_EQ(Cached(), Texts{"0 zero/0"});
  EXPECT_TRUE(Logged("]Input param error.["));
  EXPECT_TRUE(Logged("]Delete evidences custom options failed.["));
  EXPECT_TRUE(platform_.sink->Has(
      3, "]The evidence outcome not exists, Delete succeeded by default, evidence_custom_id[99].["));
}

TEST_F(CustomManagerTest, ReadsServeTheCache) {
  Start({Custom(9, "same", {{5, "late"}}), Custom(7, "same", {{1, "x"}, {2, "y"}}), Custom(8, "other")});
  EvidenceCustomPtr custom;
  ASSERT_TRUE(manager_.GetEvidenceCustomByName(custom, "same"));
  EXPECT_EQ(custom->custom_id, 7) << "the first by id";
  EXPECT_EQ(Cached("the"), Texts{"8 other/0"});
  Options options{{77, "earlier"}};
  EXPECT_TRUE(manager_.GetCustomOptionList(options, Custom(7, "any name")));
  EXPECT_EQ(Text(options), " 1=x 2=y");
  EXPECT_FALSE(manager_.GetCustomOptionList(options, Custom(99, "same")));
  tag_EvidenceOption_ option{77, "as it was"};
  EXPECT_TRUE(manager_.GetCustomOptionById(option, 5, 7));
  EXPECT_EQ(option.option_name, "as it was") << "the option belongs to another attribute";
  EXPECT_TRUE(manager_.GetCustomOptionById(option, 2, 7));
  EXPECT_EQ(option.option_name, "y");
  Orv::Base::Error::SetLastError({});
  EXPECT_FALSE(manager_.GetCustomOptionById(option, 2, 99));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 120010));
  EXPECT_FALSE(manager_.GetEvidenceCustomByName(custom, "nobody"));
  EXPECT_TRUE(platform_.sink->Has(4, "]No evidence custom found by name[nobody].["));

  EXPECT_TRUE(manager_.Finalize());
  std::list<EvidenceCustomPtr> customs;
  for (const auto& refused : std::initializer_list<std::function<bool()>>{
           [&] { return manager_.GetEvidenceCustoms(customs, nullptr); },
           [&] { return manager_.GetEvidenceCustomById(custom, 7); },
           [&] { return manager_.GetCustomOptionById(option, 1, 7); }, [&] { return Set({}, true); },
           [&] { return manager_.InsertEvidenceCustoms(errors_, Shared({Custom(-1, "n")})); },
           [&] { return manager_.ModifyEvidenceCustoms(errors_, Shared({Custom(8, "n")})); },
           [&] { return manager_.DeleteEvidenceCustoms(errors_, {8}); }}) {
    Orv::Base::Error::SetLastError({});
    EXPECT_FALSE(refused());
    EXPECT_EQ(GetLastError(), ErrorCode(0, 9820));
  }
  EXPECT_EQ(store_->calls, Texts{});
  EXPECT_TRUE(manager_.GetEvidenceCustomByName(custom, "other")) << "not bound to the running time";
  EXPECT_TRUE(manager_.GetCustomOptionList(options, Custom(9, "")));
}

TEST_F(CustomManagerTest, AnOptionWithoutAKeyIsNotStored) {
  Start({Custom(6, "a", {{1, "x"}})});
  store_->failing = {"option sequence"};
  EXPECT_FALSE(Set({Custom(6, "a", {{1, "x"}, {-1, "new"}})}, true));
  EXPECT_EQ(Errors(), Texts{"6 a 0-15"});
  EXPECT_EQ(Cached(), Texts{"6 a/0 1=x"});
}

}  // namespace
