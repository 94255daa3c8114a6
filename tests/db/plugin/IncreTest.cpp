// A client that keeps the dictionaries by asking for changes, against the rows, on a real PostgreSQL.

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>

#include "RealBackends.h"
#include "impl/Evidence/EvidenceManager.h"
#include "support/ThrowawayPostgres.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace {

using namespace Evidence;
using evidence_test::Postgres;
using Entries = std::map<std::int32_t, std::string>;

constexpr std::int32_t kDeleted = 2;

std::string TextOf(const _tag_EvidenceType_& type) { return type.type_name; }

std::string TextOf(const tag_EvidenceCustom_& custom) {
  std::map<std::int32_t, std::string> options;
  for (const auto& option : custom.custom_options)
    options[option.option_id] = option.option_name;
  std::string text = custom.custom_name + "/" + std::to_string(custom.custom_type);
  for (const auto& [id, name] : options)
    text += " " + std::to_string(id) + "=" + name;
  return text;
}

/// Asks for what changed since the version that it holds, and holds the newest version there is from then on.
class Client {
 public:
  void Poll(CEvidenceManager& manager) {
    const std::string newest = Postgres().Value("SELECT coalesce(max(version), 0) FROM platform.incre_resource");
    std::list<EvidenceTypePtr> changed_types;
    std::list<EvidenceCustomPtr> changed_customs;
    std::list<std::int32_t> type_methods;
    std::list<std::int32_t> custom_methods;
    EXPECT_TRUE(manager.GetIncreEvidenceTypes(changed_types, type_methods, version_));
    EXPECT_TRUE(manager.GetIncreEvidenceCustoms(changed_customs, custom_methods, version_));
    Take<&_tag_EvidenceType_::type_id>(types, changed_types, type_methods);
    Take<&tag_EvidenceCustom_::custom_id>(customs, changed_customs, custom_methods);
    version_ = std::stoi(newest);
  }

  Entries types;
  Entries customs;

 private:
  template <auto kId, class Record>
  static void Take(Entries& entries, const std::list<std::shared_ptr<Record>>& changed,
                   const std::list<std::int32_t>& methods) {
    ASSERT_EQ(changed.size(), methods.size());
    auto method = methods.begin();
    for (const auto& record : changed) {
      if (*method++ == kDeleted) {
        EXPECT_EQ(TextOf(*record), TextOf(Record()));
        entries.erase((*record).*kId);
      } else {
        entries[(*record).*kId] = TextOf(*record);
      }
    }
  }

  std::int32_t version_ = 0;
};

Entries Rows(const std::string& query) {
  Entries entries;
  for (const auto& row : Postgres().Query(query))
    entries[std::stoi(row[0])] = row[1];
  return entries;
}

/// Built-in entries that nobody changed are in no list of changes.
Entries TypeRows() { return Rows("SELECT id, name FROM evidence.evidence_type WHERE deleted = 0 AND id > 5"); }
Entries CustomRows() {
  return Rows(
      "SELECT c.id, c.name || '/' || c.types || coalesce((SELECT string_agg(' ' || o.id || '=' || o.name, '' "
      "ORDER BY o.id) FROM evidence.evidence_option o WHERE o.custom_id = c.id AND o.deleted = 0), '') "
      "FROM evidence.evidence_custom c WHERE c.deleted = 0 AND c.id > 1");
}

class IncreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Postgres().Query(
        "DELETE FROM evidence.evidence_type WHERE id > 5; DELETE FROM evidence.evidence_custom WHERE id > 5;"
        "DELETE FROM evidence.evidence_option; DELETE FROM platform.incre_resource;"
        "UPDATE evidence.evidence_type SET name = '', deleted = 0;"
        "UPDATE evidence.evidence_custom SET name = '', deleted = 0;"
        // Holds some changes between drawing their version and their commit, so that later versions that could be seen
        // ahead of them would be.
        "CREATE FUNCTION public.linger() RETURNS trigger LANGUAGE plpgsql AS "
        "'BEGIN PERFORM pg_sleep(CASE WHEN random() < 0.2 THEN 0.03 ELSE 0 END); RETURN NEW; END';"
        "CREATE TRIGGER linger AFTER INSERT ON platform.incre_resource FOR EACH ROW EXECUTE FUNCTION public.linger()");
    platform_.adapter->system_and_log = platform::MakeSystemAndLogApi();
    Start();
  }
  void TearDown() override {
    Stop();
    Postgres().Query("DROP TRIGGER linger ON platform.incre_resource; DROP FUNCTION public.linger()");
  }

  void Start() {
    ASSERT_TRUE(kelp::IDBManager::Instance()->Initialize("casefile.s", 8, 1, true));
    ASSERT_TRUE(kelp::IDBManager::Instance()->Initialize(platform::kPlatformDbId, 8, 1, true));
    ASSERT_TRUE(manager_.emplace().Initialize());
  }
  void Stop() {
    manager_.reset();
    kelp::IDBManager::Instance()->UnInitialize("casefile.s");
    kelp::IDBManager::Instance()->UnInitialize(platform::kPlatformDbId);
  }

  std::int32_t AddType(const std::string& name) {
    std::list<ErrorPtr> errors;
    const auto type = std::make_shared<_tag_EvidenceType_>(_tag_EvidenceType_{-1, name});
    EXPECT_TRUE(manager_->InsertEvidenceTypes(errors, {type}) && errors.empty());
    return type->type_id;
  }
  /// Replaces the attribute `id` (-1: none yet) by a new one with one option; its id.
  std::int32_t ReplaceCustom(std::int32_t id, const std::string& name) {
    std::list<ErrorPtr> errors;
    EXPECT_TRUE(id == -1 || manager_->DeleteEvidenceCustoms(errors, {id}));
    const auto custom = std::make_shared<tag_EvidenceCustom_>(tag_EvidenceCustom_{-1, name, {{-1, name}}, 0, -1});
    EXPECT_TRUE(manager_->InsertEvidenceCustoms(errors, {custom}) && errors.empty());
    return custom->custom_id;
  }
  /// Gives a built-in attribute one option in place of those it has.
  void ChangeCustom(std::int32_t id, const std::string& option) {
    std::list<ErrorPtr> errors;
    const auto custom = std::make_shared<tag_EvidenceCustom_>(tag_EvidenceCustom_{id, "", {{-1, option}}, 0, -1});
    EXPECT_TRUE(manager_->ModifyEvidenceCustoms(errors, {custom}) && errors.empty());
  }

  /// Adds types, renames some and deletes some; the first four writers change an attribute of their own as well.
  void Write(int writer) {
    std::list<ErrorPtr> errors;
    std::int32_t own_custom = -1;
    for (int round = 0; round < 10; ++round) {
      const std::string name = "w" + std::to_string(writer) + "r" + std::to_string(round);
      const std::int32_t type = AddType(name);
      if (round % 3 == 1) {
        const auto renamed = std::make_shared<_tag_EvidenceType_>(_tag_EvidenceType_{type, name + "x"});
        EXPECT_TRUE(manager_->ModifyEvidenceTypes(errors, {renamed}));
      }
      EXPECT_TRUE(round % 3 != 2 || manager_->DeleteEvidenceTypes(errors, {type}, nullptr));
      if (writer < 2) own_custom = ReplaceCustom(own_custom, name);
      if (writer == 2 || writer == 3) ChangeCustom(writer, name);
    }
    EXPECT_TRUE(errors.empty());
  }

  scripted::Platform platform_;
  platform::ScopedBackend<kelp::IDBManager> db_{
      platform::MakePostgresDBManager({.connection = Postgres().AppConnection()})};
  platform::ScopedBackend<platform::IIncreResourceBackend> increments_{platform::MakeIncreResourceBackend()};
  std::optional<CEvidenceManager> manager_;
};

TEST_F(IncreTest, AClientOfChangesEndsWithTheRowsOfEightWriters) {
  constexpr int kWriters = 8;
  Client client;
  std::atomic<int> writing = kWriters;
  {
    std::vector<std::jthread> writers;
    for (int n = 0; n < kWriters; ++n) {
      writers.emplace_back([&, n] {
        Write(n);
        --writing;
      });
    }
    while (writing > 0)
      client.Poll(*manager_);
  }
  client.Poll(*manager_);
  EXPECT_EQ(client.types.size(), 8U * 7U);
  EXPECT_EQ(client.types, TypeRows());
  EXPECT_EQ(client.customs, CustomRows());

  // The version that the client holds means the same after a restart.
  Stop();
  Start();
  std::list<ErrorPtr> errors;
  EXPECT_TRUE(manager_->DeleteEvidenceTypes(errors, {client.types.begin()->first}, nullptr));
  AddType("after");
  ChangeCustom(3, "after");
  client.Poll(*manager_);
  EXPECT_EQ(client.types, TypeRows());
  EXPECT_EQ(client.customs, CustomRows());
}

TEST_F(IncreTest, OfChangesOfOneEntryTheSameOneEndsInTheTableAndInTheCache) {
  constexpr int kRounds = 15;
  const std::int32_t type_id = AddType("before");
  for (int round = 0; round < kRounds; ++round) {
    std::vector<std::jthread> writers;
    for (const char* const name : {"a", "b", "c", "d"}) {
      writers.emplace_back([this, type_id, name = name + std::to_string(round)] {
        std::list<ErrorPtr> errors;
        const auto type = std::make_shared<_tag_EvidenceType_>(_tag_EvidenceType_{type_id, name});
        EXPECT_TRUE(manager_->ModifyEvidenceTypes(errors, {type}));
        ChangeCustom(2, name);
      });
    }
    writers.clear();
    EvidenceTypePtr type;
    ASSERT_TRUE(manager_->GetEvidenceTypeById(type, type_id));
    EXPECT_EQ(TypeRows()[type_id], type->type_name);
    EvidenceCustomPtr custom;
    ASSERT_TRUE(manager_->GetEvidenceCustomById(custom, 2));
    ASSERT_EQ(custom->custom_options.size(), 1u);
    EXPECT_TRUE(CustomRows()[2].ends_with("=" + custom->custom_options[0].option_name)) << CustomRows()[2];
    EXPECT_EQ(std::ranges::count(CustomRows()[2], '='), 1);
  }
}

}  // namespace
