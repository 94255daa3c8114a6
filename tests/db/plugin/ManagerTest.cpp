// Many writers at once on a real PostgreSQL.

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <thread>

#include "impl/Evidence/EvidenceManager.h"
#include "support/StoreFixture.h"

namespace evidence_test {
namespace {

using namespace Evidence;
using Names = std::map<std::int32_t, std::string>;

class ManagerTest : public StoreFixture {
 protected:
  void SetUp() override { ASSERT_TRUE(manager_.Initialize()); }
  void TearDown() override { manager_.Finalize(); }

  static EvidenceTypePtr Type(std::int32_t id, const std::string& name) {
    return std::make_shared<_tag_EvidenceType_>(_tag_EvidenceType_{id, name});
  }

  static Names TypeRows() {
    Names names;
    for (const auto& row : Postgres().Query("SELECT id, name FROM evidence.evidence_type WHERE deleted = 0 AND id > 5"))
      names[std::stoi(row[0])] = row[1];
    return names;
  }

  CEvidenceManager manager_;
};

/// Asks for what changed since the version that it holds, and holds the newest version there is from then on.
struct Client {
  void Poll(CEvidenceManager& manager) {
    const std::string newest = Postgres().Value("SELECT coalesce(max(version), 0) FROM platform.incre_resource");
    std::list<EvidenceTypePtr> changed;
    std::list<std::int32_t> methods;
    EXPECT_TRUE(manager.GetIncreEvidenceTypes(changed, methods, version));
    ASSERT_EQ(changed.size(), methods.size());
    auto method = methods.begin();
    for (const auto& type : changed) {
      types[type->type_id] = type->type_name;
      if (*method++ == 2) types.erase(type->type_id);
    }
    version = std::stoi(newest);
  }

  std::int32_t version = 0;
  Names types;
};

TEST_F(ManagerTest, AClientOfChangesEndsWithTheRowsOfEightWriters) {
  // Holds some changes between drawing their version and their commit, so that later versions that could be seen ahead
  // of them would be.
  Postgres().Query(
      "CREATE FUNCTION public.linger() RETURNS trigger LANGUAGE plpgsql AS "
      "'BEGIN PERFORM pg_sleep(CASE WHEN random() < 0.2 THEN 0.03 ELSE 0 END); RETURN NEW; END';"
      "CREATE TRIGGER linger AFTER INSERT ON platform.incre_resource FOR EACH ROW EXECUTE FUNCTION public.linger()");
  Client client;
  std::atomic<int> writing = 8;
  {
    std::vector<std::jthread> writers;
    for (int n = 0; n < 4; ++n) {
      writers.emplace_back([&, n] {
        std::list<ErrorPtr> errors;
        for (int round = 0; round < 10; ++round) {
          const auto type = Type(-1, "w" + std::to_string(n) + "r" + std::to_string(round));
          EXPECT_TRUE(manager_.InsertEvidenceTypes(errors, {type}));
          const auto renamed = Type(type->type_id, type->type_name + "x");
          EXPECT_TRUE(round % 3 != 1 || manager_.ModifyEvidenceTypes(errors, {renamed}));
          EXPECT_TRUE(round % 3 != 2 || manager_.DeleteEvidenceTypes(errors, {type->type_id}, nullptr));
        }
        EXPECT_TRUE(errors.empty());
        --writing;
      });
      // Changes of another kind, which take no turns with those of the dictionary.
      writers.emplace_back([&] {
        const auto api = kelp::IPlatformAdapterInterface::Instance()->GetSystemAndLogApi(true);
        for (int round = 0; round < 50; ++round)
          EXPECT_TRUE(api->AddIncreResouce(1, 1, 1));
        --writing;
      });
    }
    while (writing > 0)
      client.Poll(manager_);
  }
  client.Poll(manager_);
  Postgres().Query("DROP TRIGGER linger ON platform.incre_resource; DROP FUNCTION public.linger()");
  EXPECT_EQ(client.types.size(), 4U * 7U);
  EXPECT_EQ(client.types, TypeRows());
}

TEST_F(ManagerTest, TheRoleHasTimeLimitsAndDeletionsFromDictionariesTheirOwn) {
  Postgres().Query(R"(
    INSERT INTO evidence.evidence (id, guid, evidence_type_id) VALUES (1, 'a', 3), (2, 'b', 4);
    INSERT INTO evidence.evidence_custom_info (id, evidence_id, custom_id) VALUES (1, 1, 6), (2, 2, 7);
    CREATE FUNCTION public.note_limit() RETURNS trigger LANGUAGE plpgsql AS $$ DECLARE limits text :=
      current_setting('statement_timeout') || ' ' || current_setting('lock_timeout'); BEGIN
      IF TG_TABLE_NAME = 'evidence_custom_info' THEN NEW.option_text := limits; ELSE NEW.cad_id := limits; END IF;
      RETURN NEW; END $$;
    CREATE TRIGGER note BEFORE UPDATE ON evidence.evidence FOR EACH ROW EXECUTE FUNCTION note_limit();
    CREATE TRIGGER note BEFORE UPDATE ON evidence.evidence_custom_info FOR EACH ROW EXECUTE FUNCTION note_limit())");
  CEvidenceMgrDBByPG store;
  std::list<ErrorPtr> errors;
  EXPECT_TRUE(manager_.DeleteEvidenceTypes(errors, {3}, nullptr));
  EXPECT_TRUE(store.UpdateCameraUploadStatus(2, 1));
  EXPECT_TRUE(store.DeleteEvidenceCustomInfoByCustomID({6}));
  EXPECT_TRUE(store.DeleteEvidenceCustomInfo({2}));
  EXPECT_EQ(Postgres().Query("SELECT evidence_type_id, cad_id FROM evidence.evidence ORDER BY id"),
            (Rows{{"-1", "10min 30s"}, {"4", "30s 30s"}}));
  EXPECT_EQ(Postgres().Query("SELECT deleted, option_text FROM evidence.evidence_custom_info ORDER BY id"),
            (Rows{{"1", "10min 30s"}, {"1", "30s 30s"}}));
  Postgres().Query("DROP FUNCTION public.note_limit() CASCADE");
}

TEST_F(ManagerTest, OfChangesOfOneEntryTheSameOneEndsInTheTableAndInTheCache) {
  std::list<ErrorPtr> refused;
  const auto before = Type(-1, "before");
  ASSERT_TRUE(manager_.InsertEvidenceTypes(refused, {before}));
  for (int round = 0; round < 40; ++round) {
    std::barrier begin(4);
    std::vector<std::jthread> writers;
    for (const char* const name : {"a", "b", "c", "d"}) {
      writers.emplace_back([&, name = name + std::to_string(round)] {
        std::list<ErrorPtr> errors;
        begin.arrive_and_wait();
        EXPECT_TRUE(manager_.ModifyEvidenceTypes(errors, {Type(before->type_id, name)}));
        const tag_EvidenceCustom_ custom{2, "", {{-1, name}}, 0, -1};
        EXPECT_TRUE(manager_.ModifyEvidenceCustoms(errors, {std::make_shared<tag_EvidenceCustom_>(custom)}));
      });
    }
    writers.clear();
    EvidenceTypePtr type;
    ASSERT_TRUE(manager_.GetEvidenceTypeById(type, before->type_id));
    EXPECT_EQ(TypeRows()[before->type_id], type->type_name);
    EvidenceCustomPtr custom;
    ASSERT_TRUE(manager_.GetEvidenceCustomById(custom, 2));
    EXPECT_EQ(Postgres().Query("SELECT name FROM evidence.evidence_option WHERE custom_id = 2 AND deleted = 0"),
              (Rows{{custom->custom_options.at(0).option_name}}));
  }
}

TEST_F(ManagerTest, AnEditStaysWhenOthersOpenAndClose) {
  Postgres().Query("INSERT INTO evidence.evidence (id, guid, name, evidence_status) VALUES (1, 'g', 'n', 0)");
  for (int round = 0; round < 100; ++round) {
    const auto evidence = [round](const std::string& name) {
      auto made = std::make_shared<_tag_Evidence_>();
      made->id = 1;
      made->guid = "g";
      made->name = name;
      made->evidence_status = round % 2;
      return made;
    };
    const auto name = "edit " + std::to_string(round);
    std::barrier begin(3);
    std::vector<std::jthread> threads;
    for (int n = 0; n < 2; ++n) {
      threads.emplace_back([&] {
        std::list<EvidenceErrInfoPtr> results;
        std::vector<operation_record> records;
        begin.arrive_and_wait();
        EXPECT_TRUE(manager_.UpdateEvidences(results, {evidence("")}, records));
      });
    }
    threads.emplace_back([&] {
      operation_record record;
      begin.arrive_and_wait();
      EXPECT_TRUE(manager_.UpdateEvidence(evidence(name), record));
    });
    threads.clear();
    ASSERT_EQ(Postgres().Value("SELECT name FROM evidence.evidence"), name);
  }
}

TEST_F(ManagerTest, ADeletedEvidenceKeepsNoFiles) {
  const platform::ScopedBackend<plugin_comm::IPluginCommManager> comm(platform::MakePluginCommManager());
  // Lingers, so that a deletion could pass between the checks of a link and its row.
  const auto link = [](const auto&, const auto&, std::shared_ptr<plugin_comm::IPluginCommData>& response) {
    Postgres().Query("SELECT pg_sleep(0.01)");
    response = std::make_shared<plugin_comm::CPluginCommData>(R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0}})",
                                                              nullptr, 0);
  };
  ASSERT_TRUE(plugin_comm::IPluginCommManager::Instance()->PublishApi("files", "/API/FileManager/V1/LinkFile", link));
  for (std::int32_t id = 1; id <= 10; ++id) {
    Postgres().Query("INSERT INTO evidence.evidence (id, guid) VALUES (" + std::to_string(id) + ", 'g')");
    std::vector<std::jthread> threads;
    for (int n = 0; n < 3; ++n) {
      threads.emplace_back([this, id, n] {
        for (int file_id = 5 * n; file_id < 5 * n + 5; ++file_id) {
          const auto file = std::make_shared<_tag_EvidenceFile_>();
          file->id = file_id;
          file->evidence_id = id;
          std::list<ErrorPtr> failures;
          (void)manager_.InsertEvidenceFiles(failures, {file});
        }
      });
    }
    threads.emplace_back([this, id] { EXPECT_TRUE(manager_.DelEvidences({id})); });
    threads.clear();
    EXPECT_EQ(Postgres().Value("SELECT count(*) FROM evidence.evidence_file WHERE deleted = 0"), "0");
  }
}

}  // namespace
}  // namespace evidence_test
