// The rules of the evidence type dictionary over a store in memory.

#include <gtest/gtest.h>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceManager.h"
#include "support/StoreStub.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace {

using Evidence::ErrorPtr;
using Evidence::EvidenceTypePtr;
using Evidence::LogFunction;
using Evidence::page_info;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;
using Texts = std::vector<std::string>;

/// Keeps live names by id and notes what it is asked for.
class MemoryStore final : public evidence_test::StoreStub {
 public:
  std::map<std::int32_t, std::string> rows;
  std::int32_t next_id = 100;
  std::set<std::string> failing;
  Texts calls;

  std::int32_t QueryEvidenceTypeSeqID() override { return failing.contains("sequence") ? -1 : next_id++; }
  bool DeleteEvidenceTypeInEvidence(const std::vector<std::int32_t>& ids) override {
    return ids.empty() || Note("clear", ids);
  }
  bool ReadAllEvidenceTypes(std::list<EvidenceTypePtr>& types) override {
    for (const auto& [id, name] : rows)
      types.push_back(Type(id, name));
    return true;
  }
  bool InsertEvidenceTypes(const std::list<EvidenceTypePtr>& types) override { return Write("insert", types); }
  bool UpdateEvidenceTypes(const std::list<EvidenceTypePtr>& types) override { return Write("update", types); }
  bool DeleteEvidenceTypes(const std::list<std::int32_t>& ids) override {
    if (ids.empty()) return true;
    if (!Note("delete", ids)) return false;
    for (const auto id : ids)
      rows.erase(id);
    return true;
  }
  bool QueryEvidenceTypeNameById(std::string& name, std::int32_t id) override {
    name = rows[id];
    return true;
  }
  bool ReadAllEvidenceCustoms(std::list<Evidence::EvidenceCustomPtr>&) override { return true; }
  bool ReadAllCustomOptions(std::list<Evidence::EvidenceCustomPtr>&) override { return true; }

  static EvidenceTypePtr Type(std::int32_t id, const std::string& name) {
    return std::make_shared<Evidence::_tag_EvidenceType_>(Evidence::_tag_EvidenceType_{id, name});
  }

 private:
  template <class Ids>
  bool Note(const std::string& call, const Ids& ids) {
    std::string text = call;
    for (const auto id : ids)
      text += " " + std::to_string(id);
    calls.push_back(text);
    if (!failing.contains(call)) return true;
    Orv::Base::Error::SetLastError({0, 15});
    return false;
  }
  bool Write(const std::string& call, const std::list<EvidenceTypePtr>& types) {
    if (types.empty()) return true;
    std::vector<std::int32_t> ids;
    for (const auto& type : types)
      ids.push_back(type->type_id);
    if (!Note(call, ids)) return false;
    for (const auto& type : types)
      rows[type->type_id] = type->type_name;
    return true;
  }
};

class TypeManagerTest : public ::testing::Test {
 protected:
  /// Starts the manager over these rows.
  void Start(std::map<std::int32_t, std::string> rows) {
    store_->rows = std::move(rows);
    ASSERT_TRUE(manager_.Initialize());
    platform_.sink->Clear();
  }

  /// Sets entries in a session; entries are {id, name}.
  bool Set(const std::vector<std::pair<std::int32_t, std::string>>& entries, bool full_set,
           const std::string& session = "session") {
    std::list<EvidenceTypePtr> types;
    for (const auto& [id, name] : entries)
      types.push_back(MemoryStore::Type(id, name));
    errors_.clear();
    return manager_.SetEvidenceTypes(
        errors_, types, session,
        [this](const Texts& names, int log_type) {
          std::string line = std::to_string(log_type);
          for (const auto& name : names)
            line += " " + name;
          logged_.push_back(line);
        },
        full_set);
  }

  Texts Errors() const { return evidence_test::ErrorTexts(errors_); }

  /// What the cache serves, as "id name".
  Texts Cached() {
    std::list<EvidenceTypePtr> types;
    page_info page;
    EXPECT_TRUE(manager_.GetEvidenceTypes(types, page, nullptr));
    return Names(types);
  }

  static Texts Names(const std::list<EvidenceTypePtr>& types) {
    Texts texts;
    for (const auto& type : types)
      texts.push_back(std::to_string(type->type_id) + " " + type->type_name);
    return texts;
  }

  scripted::Platform platform_;
  std::shared_ptr<MemoryStore> store_ = std::make_shared<MemoryStore>();
  Evidence::CEvidenceManager manager_{store_};
  std::list<ErrorPtr> errors_;
  Texts logged_;
};

TEST_F(TypeManagerTest, FullSetAddsChangesAndDeletes) {
  Start({{6, "a"}, {7, "b"}, {8, "c"}});
  EXPECT_TRUE(Set({{6, "a"}, {7, "B"}, {-1, "new"}}, true));
  EXPECT_EQ(Errors(), Texts{});
  EXPECT_EQ(store_->calls, (Texts{"delete 8", "clear 8", "update 7", "insert 100"}));
  EXPECT_EQ(Cached(), (Texts{"6 a", "7 B", "100 new"}));
  EXPECT_EQ(logged_, (Texts{"306013 c", "306012 B", "306011 new"}));
  EXPECT_EQ(platform_.system_and_log->increments, (Texts{"13001 8 2", "13001 7 1", "13001 100 0"}));
}

TEST_F(TypeManagerTest, UnchangedFullSetTouchesNothing) {
  platform_.language->texts["casefile.s/en/update_src_name/evidence_update_other"] = "Other";
  Start({{0, ""}, {1, ""}, {6, "a"}});
  EXPECT_EQ(Cached(), (Texts{"0 Other", "1 ", "6 a"})) << "a language that lacks a key leaves the name empty";
  EXPECT_TRUE(Set({{0, "Other"}, {1, ""}, {6, "a"}}, true));
  EXPECT_TRUE(Set({{0, ""}, {1, ""}, {6, "a"}}, true)) << "an empty built-in name says: as it is";
  EXPECT_EQ(Errors(), Texts{});
  EXPECT_EQ(store_->calls, Texts{});
  EXPECT_EQ(logged_, Texts{});
  EXPECT_EQ(platform_.system_and_log->increments, Texts{});
}

TEST_F(TypeManagerTest, EmptyFullSetDeletesEverythingUnderItsNames) {
  platform_.language->texts["casefile.s/en/update_src_name/evidence_update_theft"] = "Theft";
  Start({{1, ""}, {6, "a"}});
  EXPECT_TRUE(Set({}, true));
  EXPECT_EQ(logged_, Texts{"306013 Theft a"});
  EXPECT_EQ(Cached(), Texts{});
}

TEST_F(TypeManagerTest, PermissionsEndTheCallWhereTheyAreMissing) {
  Start({{6, "a"}, {7, "b"}});
  struct Case {
    int denied;
    Texts store_calls;
  };
  for (const Case& c : {Case{1425, {}}, Case{1424, {"delete 7", "clear 7"}}, Case{1423, {"update 6"}}}) {
    store_->calls.clear();
    platform_.permissions->denied = {c.denied};
    EXPECT_FALSE(Set({{6, "a" + std::to_string(c.denied)}, {-1, "n"}}, true));
    EXPECT_EQ(GetLastError(), ErrorCode(0, 10));
    EXPECT_EQ(store_->calls, c.store_calls);
    EXPECT_TRUE(platform_.sink->Has(5, "]session Not Have WebClient Permission: " + std::to_string(c.denied) + ".["));
  }
  // The empty session is a caller inside the system; each use leaves a line.
  EXPECT_TRUE(Set({{-1, "n"}}, true, ""));
  EXPECT_TRUE(platform_.sink->Has(5, "]session is empty and 1423 has permission["));
}

TEST_F(TypeManagerTest, WithoutPermissionApiNobodyPasses) {
  Start({{6, "a"}});
  platform_.adapter->permissions = nullptr;
  EXPECT_FALSE(Set({{6, "b"}}, false));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 10));
  EXPECT_EQ(Cached(), Texts{"6 a"});
}

TEST_F(TypeManagerTest, RefusedEntriesAreListedAndOthersStored) {
  Start({{6, "a"}, {7, "b"}, {8, "c"}});
  const std::string longest = [] {
    std::string text;
    for (int n = 0; n < 64; ++n)
      text += "\xE4\xB8\xAD";
    return text;
  }();
  EXPECT_TRUE(Set({{6, "b"},
                   {7, "a"},
                   {8, "c"},
                   {9, "x"},
                   {-1, longest},
                   {-1, longest + "x"},
                   {-1, ""},
                   {-1, "tab\tis legal"},
                   {-1, "bell\a"},
                   {-1, "\xff"},
                   {-1, "twin"},
                   {-1, "twin"},
                   {-1, "O'Brien"}},
                  true));
  EXPECT_EQ(Errors(), (Texts{"6 b 0-9808", "7 a 0-9808", "9 x 0-9809", "-1 " + longest + "x 0-2", "-1  0-2",
                             "-1 bell\a 0-2", "-1 \xff 0-2", "-1 twin 0-9808"}));
  EXPECT_EQ(Cached(), (Texts{"6 a", "7 b", "8 c", "100 " + longest, "101 tab\tis legal", "102 twin", "103 O'Brien"}));
  EXPECT_EQ(store_->calls, Texts{"insert 100 101 102 103"});
  EXPECT_TRUE(platform_.sink->Has(5, "]The evidence type name repeat, evidence-type-name[twin].["));
  EXPECT_TRUE(platform_.sink->Has(5, "]The evidence type not exists, evidence-type-id[9].["));
}

TEST_F(TypeManagerTest, ANameFreedByADeletionCanBeAdded) {
  Start({{6, "a"}});
  EXPECT_TRUE(Set({{-1, "a"}}, true));
  EXPECT_EQ(Errors(), Texts{});
  EXPECT_EQ(Cached(), Texts{"100 a"});
}

TEST_F(TypeManagerTest, OwnNameIsWrittenAgain) {
  Start({{6, "a"}});
  EXPECT_TRUE(Set({{6, "a"}}, false));
  EXPECT_EQ(store_->calls, Texts{"update 6"});
  EXPECT_EQ(platform_.system_and_log->increments, Texts{"13001 6 1"});
}

TEST_F(TypeManagerTest, RepeatedIdIsWrittenOnceAsItEnds) {
  Start({{6, "a"}, {7, "b"}});
  EXPECT_TRUE(Set({{6, "x"}, {7, "y"}, {6, "z"}, {7, "x"}}, true));
  EXPECT_EQ(Errors(), Texts{"7 x 0-9808"}) << "a name accepted once in the batch stays taken";
  EXPECT_EQ(store_->calls, Texts{"update 6 7"});
  EXPECT_EQ(Cached(), (Texts{"6 z", "7 y"}));
}

TEST_F(TypeManagerTest, LimitRefusesTheWholeBatch) {
  for (const int cached : {28, 29}) {
    std::map<std::int32_t, std::string> rows;
    for (int n = 0; n < cached; ++n)
      rows[10 + n] = "old" + std::to_string(n);
    auto store = std::make_shared<MemoryStore>();
    store->rows = rows;
    store->next_id = 1000;
    Evidence::CEvidenceManager manager(store);
    ASSERT_TRUE(manager.Initialize());
    std::list<EvidenceTypePtr> types;
    for (int n = 0; n < 100; ++n)
      types.push_back(MemoryStore::Type(-1, "new" + std::to_string(n)));
    std::list<ErrorPtr> errors;
    EXPECT_EQ(manager.InsertEvidenceTypes(errors, types), cached == 28);
    EXPECT_EQ(store->rows.size(), cached == 28 ? 128U : 29U);
    if (cached == 29) {
      EXPECT_EQ(GetLastError(), ErrorCode(0, 9810));
      EXPECT_EQ(store->next_id, 1000) << "no key may be drawn for a refused batch";
    }
  }
}

TEST_F(TypeManagerTest, StoreFailuresReachEveryEntryAndLeaveTheCache) {
  Start({{6, "a"}, {7, "b"}});
  store_->failing = {"delete", "update", "insert"};
  EXPECT_FALSE(Set({{6, "A"}, {-1, "n"}, {-1, "m"}}, true));
  EXPECT_EQ(Errors(), (Texts{"7 b 0-15", "6 A 0-15", "-1 n 0-15", "-1 m 0-15"})) << "a failed step stops no other";
  EXPECT_EQ(Cached(), (Texts{"6 a", "7 b"}));
  EXPECT_EQ(logged_, Texts{});
  EXPECT_EQ(platform_.system_and_log->increments, Texts{});
  for (const char* line :
       {"]Insert evidences types failed.[", "]Update evidences types failed.[", "]Delete evidences types failed.["}) {
    EXPECT_TRUE(platform_.sink->Has(5, line)) << line;
  }
}

TEST_F(TypeManagerTest, FailedSequenceRefusesTheEntry) {
  Start({});
  store_->failing = {"sequence"};
  EXPECT_TRUE(Set({{-1, "n"}}, true));
  EXPECT_EQ(Errors(), Texts{"-1 n 0-15"});
  EXPECT_TRUE(platform_.sink->Has(5, "]Get Last Seq ID Failed.["));
  EXPECT_EQ(Cached(), Texts{});
}

TEST_F(TypeManagerTest, FailedNotificationAndCleanupAreOnlyLogged) {
  Start({{6, "a"}, {7, "b"}});
  platform_.system_and_log->accept = false;
  store_->failing = {"clear"};
  EXPECT_TRUE(Set({{6, "A"}, {-1, "n"}}, true));
  EXPECT_EQ(Cached(), (Texts{"6 A", "100 n"}));
  for (const char* line :
       {"evidence-type-name[b] delete failed.[", "evidence-type-name[A] modify failed.[",
        "evidence-type-name[n] add failed.[", "]delete evidence type in evidence failed.[",
        "]Failed to add incremental resources, resource-type[13001], resource-id[7], incre-method[2].["}) {
    EXPECT_TRUE(platform_.sink->Has(5, line)) << line;
  }
}

TEST_F(TypeManagerTest, DeletesById) {
  Start({{1, ""}, {6, "a"}});
  struct Case {
    std::list<std::int32_t> ids;
    Texts errors;
    Texts store_calls;
    Texts logged;
    std::size_t increments;
  };
  for (const Case& c : {Case{{99}, {}, {}, {""}, 0}, Case{{-1, 6}, {"-1  0-2"}, {"delete 6", "clear 6"}, {"a"}, 1},
                        Case{{6}, {}, {}, {""}, 0}, Case{{}, {}, {"delete 1", "clear 1"}, {""}, 1}}) {
    errors_.clear();
    store_->calls.clear();
    platform_.system_and_log->increments.clear();
    Texts logged;
    EXPECT_TRUE(manager_.DeleteEvidenceTypes(errors_, c.ids, [&](const Texts& names, int log_type) {
      EXPECT_EQ(log_type, 306013);
      logged.push_back(names.empty() ? std::string() : names.front());
    }));
    EXPECT_EQ(Errors(), c.errors);
    EXPECT_EQ(store_->calls, c.store_calls);
    EXPECT_EQ(logged, c.logged);
    EXPECT_EQ(platform_.system_and_log->increments.size(), c.increments);
  }
  EXPECT_TRUE(
      platform_.sink->Has(3, "]The evidence type not exists, Delete succeeded by default, evidence-type-id[99].["));
}

TEST_F(TypeManagerTest, PagesAndFilters) {
  Start({{6, "north"}, {7, "south"}, {8, "northwest"}, {9, "east"}});
  struct Case {
    std::int32_t index;
    std::int32_t size;
    Texts names;
  };
  constexpr std::int32_t kMax = 2147483647;
  constexpr std::int32_t kMin = -2147483647 - 1;
  for (const Case& c : {Case{1, 2, {"6 north", "7 south"}}, Case{2, 3, {"9 east"}}, Case{3, 2, {}},
                        Case{-1, 2, {"6 north", "7 south", "8 northwest", "9 east"}},
                        Case{2, -1, {"6 north", "7 south", "8 northwest", "9 east"}},
                        Case{1, kMax, {"6 north", "7 south", "8 northwest", "9 east"}}, Case{kMax, kMax, {}},
                        Case{kMin, kMin, {}}, Case{kMin, kMax, {}}, Case{kMax, kMin, {}}}) {
    std::list<EvidenceTypePtr> types;
    page_info page{0, c.index, c.size};
    EXPECT_TRUE(manager_.GetEvidenceTypes(types, page, nullptr));
    EXPECT_EQ(Names(types), c.names) << c.index << " " << c.size;
    EXPECT_EQ(page.total, 4);
  }
  for (const auto& [index, size] : {std::pair{0, 5}, std::pair{2, 0}}) {
    std::list<EvidenceTypePtr> types;
    page_info page{0, index, size};
    EXPECT_FALSE(manager_.GetEvidenceTypes(types, page, nullptr));
    EXPECT_EQ(GetLastError(), ErrorCode(0, 2));
    EXPECT_TRUE(types.empty());
  }
  auto filter = std::make_shared<Evidence::_tag_EvidenceAttributeFilterInfo_>();
  filter->name = "nor";
  std::list<EvidenceTypePtr> types;
  page_info page;
  EXPECT_TRUE(manager_.GetEvidenceTypes(types, page, filter));
  EXPECT_EQ(Names(types), (Texts{"6 north", "8 northwest"}));
  EXPECT_EQ(page.total, 2);
  filter->ids = {8, 9, 77};
  EXPECT_TRUE(manager_.GetEvidenceTypes(types, page, filter));
  EXPECT_EQ(Names(types), Texts{"8 northwest"});
}

TEST_F(TypeManagerTest, IncrementsBecomeRecords) {
  Start({{6, "a"}, {7, "b"}});
  using Change = scripted::Increments::Change;
  for (const auto& [method, id] : std::vector<std::pair<int, std::uint64_t>>{{0, 6}, {1, 8}, {2, 8}, {3, 6}, {4, 7}}) {
    platform_.increments->changes.push_back(std::make_shared<Change>(method, id));
  }
  platform_.increments->changes.push_back(nullptr);
  std::list<EvidenceTypePtr> types;
  std::list<std::int32_t> methods;
  EXPECT_TRUE(manager_.GetIncreEvidenceTypes(types, methods, -1));
  EXPECT_EQ(Names(types), (Texts{"6 a", "8 ", "7 b"}));
  EXPECT_EQ(methods, (std::list<std::int32_t>{0, 2, 4}));
  EXPECT_EQ(platform_.increments->asked.front(), (std::pair<std::uint32_t, int>{4294967295U, 13001}));
  EXPECT_TRUE(platform_.sink->Has(4, "]iter is null.["));

  platform_.increments->readable = false;
  EXPECT_FALSE(manager_.GetIncreEvidenceTypes(types, methods, 1));
  EXPECT_TRUE(platform_.sink->Has(4, "]Get IncreResource evidence-types failed.["));
}

TEST_F(TypeManagerTest, StoppedManagerRefuses) {
  Start({{6, "a"}});
  EXPECT_TRUE(manager_.Finalize());
  EXPECT_FALSE(Set({{6, "b"}}, false));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 9820));
  std::string name;
  EXPECT_FALSE(manager_.QueryEvidenceTypeNameById(name, 6));
  Evidence::CEvidenceManager storeless(nullptr);
  EXPECT_FALSE(storeless.Initialize());
  EXPECT_EQ(GetLastError(), ErrorCode(0, 1));
}

TEST_F(TypeManagerTest, BuiltInNamesLeaveATrace) {
  Start({});
  EXPECT_EQ(manager_.GetDataByKey(2, 1), "");
  EXPECT_TRUE(platform_.sink->Has(5, "]not support type: 2.["));
  EXPECT_TRUE(platform_.sink->Has(2, "]get name is: [], and input type: 2, id: 1.["));
  EXPECT_EQ(manager_.GetDataByKey(1, 0), "");
  EXPECT_TRUE(platform_.sink->Has(5, "]not find id: 0 in type: 1.["));
  platform_.language->texts["casefile.s/en/update_src_name/evidence_update_outcome"] = "\xff";
  EXPECT_EQ(manager_.GetDataByKey(1, 3), "");
  EXPECT_TRUE(platform_.sink->Has(5, "]Conversion evidence_update_outcome to UTF-8 failed.["));
}

}  // namespace
