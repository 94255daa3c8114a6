// The rules under which evidences are created, changed, read and deleted, down to the statements.

#include "support/AuthenticationStub.h"
#include "unit/plugin/ManagerTest.h"

namespace {

using namespace evidence_test;

class EvidenceRulesTest : public ManagerTest {
 protected:
  static EvidencePtr Valid(std::int32_t id = -1) {
    auto evidence = std::make_shared<_tag_Evidence_>();
    evidence->id = id;
    evidence->guid = "G";
    evidence->name = "n";
    evidence->evidence_type.type_id = 0;
    return evidence;
  }
  static void RecordByWifi(_tag_Evidence_& evidence) {
    evidence.add_mode = evidence.upload_mode = 2;
    evidence.releated_camera_ids = evidence.record_begin_time = evidence.record_end_time = "1";
  }
  /// The table has a row `id`, "n" with this guid, with fields of its own.
  void Stands(std::int32_t id, const std::string& guid, const Row& fields = {}) {
    Row row = {{"ID", std::to_string(id)}, {"guid", guid}, {"name", "n"}, {"evidence_status", "1"}};
    row.insert(fields.begin(), fields.end());
    rows_["read evidence " + std::to_string(id)] = rows_["read evidence guid = '" + guid + "'"] = {row};
  }
  static std::string Repeated(const std::string& text, int count) {
    std::string all;
    for (int n = 0; n < count; ++n)
      all += text;
    return all;
  }
  /// 100000 labels, all of evidence 1.
  void FillLabels() {
    for (int n = 0; n < 100'000; ++n)
      labels_ += std::to_string(n) + "|";
    manager_.AddLabelsToMap(1, labels_);
  }
  /// What a creation does, and the id that it gives.
  std::string Added(const EvidencePtr& evidence) {
    const auto id = manager_.AddEvidence(evidence);
    return Did(IsEvidenceId(id)) + " " + std::to_string(static_cast<std::int32_t>(id));
  }
  /// What a change does, and its items as "type before_id/before_mod after_id/after_mod".
  std::string Changed(const EvidencePtr& evidence) {
    operation_record record;
    const std::string done = Did(manager_.UpdateEvidence(evidence, record));
    return done + ItemTexts(record);
  }
  static std::string ItemTexts(const operation_record& record) {
    std::string texts;
    for (const auto& item : record.change_items) {
      texts += ", " + std::to_string(item.mod_type) + " " + std::to_string(item.before_id) + "/" + item.before_mod +
               " " + std::to_string(item.after_id) + "/" + item.after_mod;
    }
    return texts;
  }
  /// Cameras as "id/device/element", then values as "attribute=option:name".
  static std::string Text(const _tag_Evidence_& evidence) {
    std::string text;
    for (const auto& camera : evidence.camera_infos)
      text += std::to_string(camera.camera_id) + "/" + camera.device_name + "/" + camera.element_name;
    for (const auto& value : evidence.evidence_customs) {
      for (const auto& [id, name] : value.custom_options)
        text += " " + std::to_string(value.custom_id) + "=" + std::to_string(id) + ":" + name;
    }
    return text;
  }

  std::string labels_;
};

TEST_F(EvidenceRulesTest, OutsideTheRunningTimeNothingReachesTheStore) {
  std::list<ErrorPtr> errors;
  operation_record record;
  const std::function<bool()> calls[] = {[&] { return manager_.AddEvidence(nullptr) != 0; },
                                         [&] { return manager_.UpdateEvidence(nullptr, record); },
                                         [&] { return manager_.DelEvidences({1}); },
                                         [&] { return manager_.InsertEvidenceFiles(errors, {}); },
                                         [&] { return manager_.SetEvidenceTypes(errors, {}, "", nullptr, true); },
                                         [&] { return manager_.SetEvidenceCustoms(errors, {}, "", nullptr, true); },
                                         [&] { return manager_.WriteEvidenceLog({}, "ended"); }};
  const auto refused = [&] {
    for (const auto& call : calls)
      EXPECT_EQ(Did(call()), "0-9820");
  };
  refused();
  Start();
  EXPECT_EQ(Did(calls[0]()), "0-2");
  EXPECT_EQ(Did(manager_.Finalize()), "end multi loop casefile.s.upload_mobile_task | ok");
  refused();
}

TEST_F(EvidenceRulesTest, FieldsAtTheirLimits) {
  Start();
  Stands(5, "old");
  platform_.elements->Add(1, 10);
  const auto values = [](std::size_t count, const std::string& text) {
    return std::vector<tag_EvidenceCustom_>(count, {8, "x", {{1, text}}, 0, -1});
  };
  const std::string umlaut = "\xC3\xA4";
  struct Case {
    const char* name;
    int added;
    std::function<void(_tag_Evidence_&)> change;
    bool recorded = false;  ///< such fields count when an evidence is added only
  };
  for (const auto& [name, added, change, recorded] : {
           Case{"guid of 64 characters", 0, [&](auto& e) { e.guid = Repeated(umlaut, 64); }},
           Case{"guid of 65", 2, [&](auto& e) { e.guid = Repeated("x", 65); }},
           Case{"no guid", 2, [](auto& e) { e.guid.clear(); }},
           Case{"no name", 0, [](auto& e) { e.name.clear(); }},
           Case{"name of 65", 2, [&](auto& e) { e.name = Repeated(umlaut, 65); }},
           Case{"control character in the guid", 2, [](auto& e) { e.guid = "a\x01"; }},
           Case{"control character in the name", 2, [](auto& e) { e.name = "a\x7F"; }},
           Case{"description of 20000", 0, [&](auto& e) { e.evidence_desc = Repeated(umlaut, 20'000); }},
           Case{"description of 20001", 2, [&](auto& e) { e.evidence_desc = Repeated("x", 20'001); }},
           Case{"broken text in the description", 2, [](auto& e) { e.evidence_desc = "\xFF"; }},
           Case{"status 0", 0, [](auto& e) { e.evidence_status = 0; }},
           Case{"status 2", 2, [](auto& e) { e.evidence_status = 2; }},
           Case{"status -1", 2, [](auto& e) { e.evidence_status = -1; }},
           Case{"5000 values", 0, [&](auto& e) { e.evidence_customs = values(5'000, "v"); }},
           Case{"5001 values", 2, [&](auto& e) { e.evidence_customs = values(5'001, "v"); }},
           Case{"recorded", 0, [](auto&) {}, true},
           Case{"no cameras", 2, [](auto& e) { e.releated_camera_ids.clear(); }, true},
           Case{"no begin", 2, [](auto& e) { e.record_begin_time.clear(); }, true},
           Case{"no end", 2, [](auto& e) { e.record_end_time.clear(); }, true},
           Case{"unknown upload", 2, [](auto& e) { e.upload_mode = 3; }, true},
           Case{"half a window", 2, [](auto& e) { e.upload_mode = 1, e.upload_begin_time = "b"; }, true},
           Case{"cameras of 10002 bytes", 2, [](auto& e) { e.releated_camera_ids = "1" + std::string(10'001, ','); },
                true},
           Case{"100001 labels", 120005, [](auto& e) { e.label = Repeated("a|", 100'001); }, true},
       }) {
    const auto evidence = Valid(5);
    if (recorded) RecordByWifi(*evidence);
    change(*evidence);
    operation_record record;
    EXPECT_TRUE(recorded || manager_.UpdateEvidence(evidence, record) == (added == 0)) << "changed: " << name;
    EXPECT_EQ(IsEvidenceId(manager_.AddEvidence(evidence)) ? 0 : LastCode(), added) << name;
  }
  std::list<EvidenceErrInfoPtr> results;
  std::vector<operation_record> records;
  for (const std::size_t count : {10'000UL, 10'001UL}) {
    const bool accepted = count == 10'000;
    EXPECT_EQ(manager_.DelEvidences(IdList(count, 3)), accepted);
    EXPECT_EQ(manager_.UpdateEvidences(results, std::list<EvidencePtr>(count, Valid(5)), records), accepted);
    EXPECT_TRUE(accepted || LastCode() == 2);
  }
}

TEST_F(EvidenceRulesTest, RulesOnTheDevicesOfCameras) {
  auto& elements = *platform_.elements;
  for (const auto& [camera, device] : {std::pair{1, 10}, {2, 10}, {3, 11}, {4, -1}})
    elements.Add(camera, device);
  elements.Add(5, 12, 1, kelp::kRoamlinkProtocol);
  elements.Add(6, 13, kelp::kMobileDevice, kelp::kRoamlinkProtocol);
  elements.Add(7, 14, 1, kelp::kRoamlinkProtocol);
  elements.Disconnect(14);
  const std::tuple<const char*, bool, bool> cases[] = {
      {"", false, false},   {" 1,,2x", false, true}, {"1,3", false, false}, {"4,1,2", false, true},
      {"99,5", true, true}, {"6", false, true},      {"7", false, true},    {"7,5,1", true, false}};
  for (const auto& [cameras, roamlink, same_device] : cases) {
    EXPECT_EQ(CEvidenceManager::HasRoamlinkCamera(cameras), roamlink) << cameras;
    EXPECT_EQ(CEvidenceManager::IsCamerasInSameDevice(cameras), same_device) << cameras;
  }
}

// Each fault stands before those below it: with all of them from one on, that one is told.
TEST_F(EvidenceRulesTest, ChecksOfCreationInTheirOrder) {
  Start();
  for (const auto& [camera, protocol] : {std::pair{1, 1}, {2, 1}, {5, kelp::kRoamlinkProtocol}})
    platform_.elements->Add(camera, 10 + camera, 1, protocol);
  FillLabels();
  Stands(7, "G");
  rows_["count evidence"] = {{{"count", "100000"}}};
  failing_ = {"count evidence", "add evidence", "add custom_info"};
  const auto evidence = Valid();
  RecordByWifi(*evidence);
  evidence->label = "one more";
  evidence->evidence_customs = {{8, "", {{1, ""}}, 0, -1}};
  evidence->record_end_time.clear();
  evidence->releated_camera_ids = "1,2,5";
  const std::pair<const char*, std::function<void()>> steps[] = {
      {"!Input param error. | 0-2 -1", [&] { evidence->record_end_time = "t"; }},
      {"!Has Roamlink device camera, except mobilesurveillance , cameras : 1,2,5. | 0-120003 -1",
       [&] { evidence->releated_camera_ids = "1,2"; }},
      {"!WIFI upload not in same device, cameras : 1,2. | 0-120002 -1",
       [&] { evidence->upload_mode = 1, evidence->upload_begin_time = evidence->upload_end_time = "t"; }},
      {"!The evidence already exists, evidence-guid[G]. | 0-9805 -1", [&] { rows_.erase("read evidence guid = 'G'"); }},
      {"!Get Evidence count failed. | 0-15 -1", [&] { failing_.erase("count evidence"); }},
      {"!The number of evidences exceeds the limit, count : 100000. | 0-120004 -1",
       [&] { rows_["count evidence"].front()["count"] = "99999"; }},
      {"!The number of labels exceeds the limit, labels_in : one more. | 0-120005 -1", [&] { evidence->label = "17"; }},
      {"key evidence | add evidence 100 | !Insert Evidence failed. | 0-15 -1", [&] { failing_.erase("add evidence"); }},
      {"key evidence | add evidence 101 | key custom_info | add custom_info (102, 101,8, 1, '',0); | !Insert Evidence "
       "custom info failed. | 0-15 -1",
       [&] { failing_.clear(); }},
      // A look-up of the guid that fails counts as free, and there may be no values.
      {"key evidence | add evidence 103 | key custom_info | add custom_info (104, 103,8, 1, '',0); | ok 103",
       [&] { failing_ = {"read evidence"}, evidence->evidence_customs.clear(); }},
      {"key evidence | add evidence 105 | ok 105", [] {}}};
  for (const auto& [expected, mend] : steps) {
    EXPECT_EQ(Added(evidence), expected);
    mend();
  }
  manager_.DeleteFromMap(1);
  auto others = SplitLabels(labels_ + "new");
  others.remove("17");
  EXPECT_TRUE(manager_.IsLabelCountExceeded(-1, others)) << "the label of the new evidence counts";
}

TEST_F(EvidenceRulesTest, ChecksOfAChangeInTheirOrder) {
  Start();
  FillLabels();
  Stands(6, "G");
  failing_ = {"change evidence", "delete custom_info"};
  const auto wanted = Valid(5);
  wanted->label = "one more";
  wanted->evidence_status = 2;
  const std::pair<const char*, std::function<void()>> steps[] = {
      {"!Input param error, guid[G], name[n], desc[], status[2]. | 0-2", [&] { wanted->evidence_status = 1; }},
      {"!The evidence not exists, evidence-id[5]. | 0-9804", [&] { Stands(5, "old"); }},
      {"!The evidence already exists, evidence-guid[G]. | 0-9805, 7 -1/ -1/one more, 14 -1/old -1/G",
       [&] { Stands(5, "G"); }},
      {"!The number of labels exceeds the limit, labels_in : one more. | 0-120005, 7 -1/ -1/one more",
       [&] { wanted->label = "17"; }},
      {"change evidence 5 'G' status 1; | !Insert Evidence failed. | 0-15, 7 -1/ -1/17",
       [&] { failing_.erase("change evidence"); }},
      {"change evidence 5 'G' status 1; | delete custom_info evidence_id = 5; | !Insert Evidence custom info failed. | "
       "0-15, 7 -1/ -1/17",
       [&] { failing_.clear(); }},
      {"change evidence 5 'G' status 1; | delete custom_info evidence_id = 5; | ok, 7 -1/ -1/17", [] {}}};
  for (const auto& [expected, mend] : steps) {
    EXPECT_EQ(Changed(wanted), expected);
    mend();
  }
}

TEST_F(EvidenceRulesTest, ChangesAreListedFieldByField) {
  rows_["read type"] = {{{"ID", "1"}, {"name", "theft"}}, {{"ID", "2"}, {"name", "fire"}}};
  Start();
  Stands(5, "G", {{"evidence_type_id", "1"}, {"label", "old"}});
  const auto wanted = Valid(5);
  wanted->guid = "H", wanted->name = "m", wanted->label = "new", wanted->evidence_desc = "d", wanted->cad_id = "c";
  wanted->evidence_begin_time = "b", wanted->evidence_end_time = "e", wanted->evidence_status = 0;
  wanted->evidence_type.type_id = 2, wanted->scene.scene_id = 9999, wanted->outcome.outcome_id = 3;
  EXPECT_EQ(Changed(wanted),
            "change evidence 5 'H' status 0; | delete custom_info evidence_id = 5; | ok, 7 -1/old -1/new, 6 -1/ -1/d, "
            "1 -1/n -1/m, 10 -1/ -1/c, 14 -1/G -1/H, 11 -1/ -1/b, 12 -1/ -1/e, 5 1/ 0/, 2 1/theft 2/fire");
  Stands(5, "G", {{"evidence_type_id", "66"}});
  EXPECT_EQ(Changed(Valid(5)), "change evidence 5 'G' status 1; | delete custom_info evidence_id = 5; | ok, 2 66/ 0/")
      << "types that are not there";
}

TEST_F(EvidenceRulesTest, ChangedValuesOfAttributes) {
  rows_["read custom"] = {{{"ID", "8"}, {"name", "colour"}}};
  rows_["read option custom_id = 8"] = {{{"ID", "1"}, {"name", "red"}}, {{"ID", "2"}, {"name", "blue"}}};
  Start();
  Stands(5, "G");
  /// Standing and wanted values as "attribute=option:text of its own"; what is listed.
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"8=1:", "8=2:", ", 13 -1/red -1/blue"},
      {"8=1:", "8=2:own", ", 13 -1/red -1/own"},
      {"", "8=2:", ", 13 -1/ -1/blue"},
      {"9=-1:t", "8=2:", ""},  // the names are unknown, and so the same
      {"8=1:|8=2:", "8=1:", ", 13 -1/blue -1/red"}};
  const auto parsed = [](const std::string& texts) {
    std::vector<tag_EvidenceCustom_> values;
    for (const auto& text : SplitText(texts, '|')) {
      const auto option = text.substr(2);
      values.push_back(
          {ExtractDecimal(text), "", {{ExtractDecimal(option), option.substr(option.find(':') + 1)}}, 0, -1});
    }
    return values;
  };
  for (const auto& [before, after, items] : cases) {
    auto& stored = rows_["read custom_info evidence_id = 5"] = {};
    for (const auto& value : parsed(before)) {
      const auto& [id, text] = value.custom_options.front();
      stored.push_back(
          {{"custom_id", std::to_string(value.custom_id)}, {"option_id", std::to_string(id)}, {"option_text", text}});
    }
    const auto wanted = Valid(5);
    wanted->evidence_customs = parsed(after);
    const std::string changed = Changed(wanted);
    EXPECT_EQ(changed.substr(changed.find("ok") + 2), items) << before << " " << after;
  }
}

TEST_F(EvidenceRulesTest, AnEditOfManyValuesIsTakenAndItsHistoryStaysSmall) {
  Start();
  Stands(5, "G");
  // Stands with the values 0 to 999 of one attribute, and becomes first to first + count - 1.
  const auto items = [this](int first, int count) {
    auto& stored = rows_["read custom_info evidence_id = 5"] = {};
    for (int n = 0; n < 1'000; ++n)
      stored.push_back({{"custom_id", "8"}, {"option_id", "1"}, {"option_text", std::to_string(n)}});
    const auto wanted = Valid(5);
    for (int n = first; n < first + count; ++n)
      wanted->evidence_customs.push_back({8, "x", {{1, std::to_string(n)}}, 0, -1});
    operation_record record;
    EXPECT_TRUE(manager_.UpdateEvidence(wanted, record));
    return record.change_items;
  };
  EXPECT_TRUE(items(0, 1'000).empty()) << "nothing changed";
  EXPECT_EQ(items(0, 100).size(), 100U * 999) << "each with each, as long as these are not too many";
  const auto changes = items(2, 1'000);
  ASSERT_EQ(changes.size(), 4U) << "two went and two came";
  EXPECT_EQ(changes[1].before_mod + ">" + changes[1].after_mod, "1>");
  EXPECT_EQ(changes[2].before_mod + ">" + changes[2].after_mod, ">1000");
}

TEST_F(EvidenceRulesTest, AStatusBatchTellsOfEachEvidence) {
  Start();
  for (const std::int32_t id : {1, 2, 3})
    Stands(id, "G" + std::to_string(id));
  failing_ = {"change evidence 3"};
  std::list<EvidencePtr> batch;
  for (const auto& [id, status] : {std::pair{1, 0}, {2, 1}, {3, 0}, {4, 0}, {-1, 0}, {1, 2}})
    batch.emplace_back(Valid(id))->evidence_status = status;
  std::list<EvidenceErrInfoPtr> results;
  std::vector<operation_record> records;
  EXPECT_EQ(Did(manager_.UpdateEvidences(results, batch, records)),
            "change evidence 1 'G1' status 0; | change evidence 3 'G3' status 0; | !Input param error. | 0-2");
  std::string rows;
  for (const auto& row : results)
    rows += std::to_string(row->id) + row->guid + row->name + " " + std::to_string(row->sub_code) + ", ";
  for (const auto& record : records)
    rows += std::to_string(record.evidence_id) + ItemTexts(record) + "; ";
  EXPECT_EQ(rows, "1G1n 0, 2G2n 0, 3G3n 15, 4 9804, -1 2, 1 2, 1, 5 1/ 0/; 3, 5 1/ 0/; ");
}

TEST_F(EvidenceRulesTest, OneEvidenceIsNamedFromTheTableAndAListFromTheCache) {
  rows_["read custom"] = {{{"ID", "8"}, {"name", "colour"}}};
  rows_["read option custom_id = 8"] = {{{"ID", "1"}, {"name", "cached red"}}};
  platform_.elements->Add(11, 10);
  platform_.elements->Add(12, -1);
  Start();
  Stands(2, "G2", {{"releated_camera_ids", "11,99,12"}});
  rows_["read option custom_id = 8"] = {{{"ID", "1"}, {"name", "stored red"}}};
  rows_["read custom_info evidence_id = 2"] = rows_["read custom_info evidence_id IN (1,2)"] = {
      {{"evidence_id", "2"}, {"custom_id", "8"}, {"option_id", "1"}},
      {{"evidence_id", "2"}, {"custom_id", "9"}, {"option_id", "-1"}, {"option_text", "text"}}};
  const auto read = [this](std::int32_t id) {
    EvidencePtr evidence;
    const std::string done = Did(manager_.GetEvidenceByID(evidence, id));
    return done + (evidence ? " " + evidence->name + Text(*evidence) : "");
  };
  EXPECT_EQ(read(2),
            "!GetPyIDByEleID not find element ele_id = 99 | ok n11/device 10/camera 11 8=1:stored red 9=-1:text");
  failing_ = {"read option custom_id = 8"};
  EXPECT_EQ(read(2), "!get custom option failed, evidence-id[2]. | ok n11/device 10/camera 11 8=1: 9=-1:text");
  failing_ = {"read custom_info evidence_id = 2"};
  EXPECT_EQ(read(2), "!The evidence not exists, evidence-id[2]. | 0-9804 n") << "nobody may take it for whole";
  rows_["read evidence ID in (1,2)"] = {{{"ID", "1"}}, {{"ID", "2"}}};
  std::list<EvidencePtr> evidences;
  page_info page{0, 1, 1};
  bool has_more = false;
  const auto filter = std::make_shared<_tag_EvidenceFilterInfo_>();
  EXPECT_EQ(Did(manager_.QueryEvidences(evidences, page, has_more, nullptr, {1, 2})), "0-1");
  EXPECT_EQ(Did(manager_.QueryEvidences(evidences, page, has_more, filter, {1, 2})),
            "!get evidence custom name failed, evidence-id[2]. | ok");
  EXPECT_EQ(Text(*evidences.back()), " 8=1:cached red 9=-1:text");
  failing_ = {"read evidence"};
  EXPECT_EQ(Did(manager_.QueryEvidences(evidences, page, has_more, filter, {})), "!Query evidences failed. | 0-15");
}

TEST_F(EvidenceRulesTest, EachUnlinkNamesTheFilesOfTheEvidencesBeforeToo) {
  Start();
  for (const char* id : {"1", "2", "-1"})
    rows_["read file evidence_id = " + std::string(id)] = {{{"ID", "5" + std::string(id).substr(0, 1)}}};
  manager_.UpdateLabelMap(2, {"own"});
  FillLabels();
  EXPECT_EQ(
      Did(manager_.DelEvidences({1, -5, 1, -1, 2})),
      "delete evidence 1;delete evidence -5;delete evidence -1;delete evidence 2; | delete custom_info evidence_id = 1;"
      "delete custom_info evidence_id = -5;delete custom_info evidence_id = -1;delete custom_info evidence_id = 2; | "
      "unlink 51 of 1 | delete file evidence_id = 1; | unlink 51,51,52 of 2 | delete file evidence_id = 2; | ok")
      << "each once; the files under -1 belong to nobody";
  EXPECT_FALSE(manager_.IsLabelCountExceeded(-1, {"new"})) << "its labels are free again";
  // A refused call leaves the files of the rest as they were; the evidences are gone already.
  reply_ = R"({"ResponseStatus":{"ErrorModule":31,"ErrorCode":7}})";
  EXPECT_EQ(Did(manager_.DelEvidences({1, 2})),
            "delete evidence 1;delete evidence 2; | delete custom_info evidence_id = 1;delete custom_info evidence_id "
            "= 2; | unlink 51 of 1 | !Delete evidences files failed. | 31-7");
  reply_ = kOneRefused;
  EXPECT_EQ(Did(manager_.DelEvidences({1})),
            "delete evidence 1; | delete custom_info evidence_id = 1; | unlink 51 of 1 | !Delete evidences files "
            "failed. | 0-9999");
}

TEST_F(EvidenceRulesTest, ADeletionThatWouldNameTooManyFilesWritesNothing) {
  Start();
  IdList ids;
  for (int id = 1; id <= 210; ++id) {
    ids.push_back(id);
    rows_["count file evidence_id = " + std::to_string(id)] = {{{"count", "128"}}};
  }
  EXPECT_EQ(Did(manager_.DelEvidences(ids)),
            "!Input param error, file ids to unlink in one deletion: 200399360, at most 200000000. | 0-2");
  rows_["count file evidence_id = 1"].clear();
  EXPECT_TRUE(manager_.DelEvidences(ids)) << "so few files";
  failing_ = {"count file"};
  (void)Did(true);
  EXPECT_EQ(Did(manager_.DelEvidences(ids)), "!Delete evidences failed. | 0-15");
  ids.pop_back();
  EXPECT_TRUE(manager_.DelEvidences(ids)) << "so few evidences need no count";
}

/// Somebody could be found under each name, the empty one too.
class Sessions final : public evidence_test::AuthenticationStub {
 public:
  std::shared_ptr<TarnPlatform::Authentication::CUserSession> FindSession(const std::string& session) override {
    if (session == "ended") return nullptr;
    return std::make_shared<TarnPlatform::Authentication::CUserSession>(7, "alice", "10.0.0.7", 4);
  }
};

TEST_F(EvidenceRulesTest, AHistoryCarriesTheClientTypeOfItsSession) {
  const platform::ScopedBackend<platform::IAuthenticationBackend> sessions(std::make_shared<Sessions>());
  Start();
  const std::vector<operation_record> records(1);
  EXPECT_EQ(Did(manager_.WriteEvidenceLog(records, "web")), "key operation_log | add operation_log by client 4 | ok");
  EXPECT_EQ(Did(manager_.WriteEvidenceLog(records, "")), "key operation_log | add operation_log by client -1 | ok")
      << "a caller inside the system";
  EXPECT_EQ(Did(manager_.WriteEvidenceLog(records, "ended")), "0-200");
  failing_ = {"add operation_log"};
  EXPECT_EQ(Did(manager_.WriteEvidenceLog(records, "")),
            "key operation_log | add operation_log by client -1 | !WriteEvidenceLog failed. | 0-15");
}

}  // namespace
