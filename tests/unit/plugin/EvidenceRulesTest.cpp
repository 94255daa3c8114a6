// The rules under which evidences are created and changed.

#include "unit/plugin/EvidencesInMemory.h"

namespace {

using namespace Evidence;
using evidence_test::Texts;

constexpr std::uint32_t kNotAdded = 0xFFFFFFFF;

class EvidenceRulesTest : public evidence_test::EvidenceManagerFixture {
 protected:
  static EvidencePtr Valid() {
    auto evidence = std::make_shared<_tag_Evidence_>();
    evidence->guid = "G";
    evidence->name = "n";
    return evidence;
  }
  static EvidencePtr ByWifi(const std::string& cameras) {
    auto evidence = Valid();
    evidence->add_mode = evidence->upload_mode = 2;
    evidence->releated_camera_ids = cameras;
    evidence->record_begin_time = evidence->record_end_time = "t";
    return evidence;
  }
  /// A change item as "type before_id/before_mod after_id/after_mod".
  static Texts Items(const operation_record& record) {
    Texts texts;
    for (const auto& item : record.change_items) {
      texts.push_back(std::to_string(item.mod_type) + " " + std::to_string(item.before_id) + "/" + item.before_mod +
                      " " + std::to_string(item.after_id) + "/" + item.after_mod);
    }
    return texts;
  }
  /// 100000 labels, all of evidence 1.
  void FillLabels() {
    std::string labels;
    for (int n = 0; n < 100'000; ++n)
      labels += std::to_string(n) + "|";
    manager_.AddLabelsToMap(1, labels);
  }
  std::uint32_t Add(const EvidencePtr& evidence) {
    Forget();
    return manager_.AddEvidence(evidence);
  }
};

TEST_F(EvidenceRulesTest, EntryTestsGiveZeroInTheirOrder) {
  CEvidenceManager without_store(nullptr);
  EXPECT_EQ(without_store.AddEvidence(nullptr), 0u);
  EXPECT_EQ(LastCode(), 9820);
  Start();
  EXPECT_EQ(Add(nullptr), 0u);
  EXPECT_EQ(LastCode(), 2);
  EXPECT_EQ(store_->TakeCalls(), Texts{});
}

TEST_F(EvidenceRulesTest, FieldsAtTheirLimits) {
  Start();
  const std::string two_bytes = "\xC3\xA4";
  const auto repeated = [](const std::string& text, int count) {
    std::string all;
    for (int n = 0; n < count; ++n)
      all += text;
    return all;
  };
  struct Case {
    const char* name;
    std::function<void(_tag_Evidence_&)> change;
    bool accepted;
  };
  const Case cases[] = {
      {"guid of 64 characters", [&](auto& e) { e.guid = repeated(two_bytes, 64); }, true},
      {"guid of 65", [&](auto& e) { e.guid = repeated("x", 65); }, false},
      {"no guid", [](auto& e) { e.guid.clear(); }, false},
      {"name of 64 characters", [&](auto& e) { e.name = repeated(two_bytes, 64); }, true},
      {"name of 65", [&](auto& e) { e.name = repeated(two_bytes, 65); }, false},
      {"no name", [](auto& e) { e.name.clear(); }, true},
      {"description of 20000", [&](auto& e) { e.evidence_desc = repeated(two_bytes, 20'000); }, true},
      {"description of 20001", [&](auto& e) { e.evidence_desc = repeated("x", 20'001); }, false},
      {"control character in the guid", [](auto& e) { e.guid = "a\x01"; }, false},
      {"control character in the name", [](auto& e) { e.name = "a\x7F"; }, false},
      {"broken text in the description", [](auto& e) { e.evidence_desc = "\xFF"; }, false},
      {"status 0", [](auto& e) { e.evidence_status = 0; }, true},
      {"status 2", [](auto& e) { e.evidence_status = 2; }, false},
      {"status -1", [](auto& e) { e.evidence_status = -1; }, false},
  };
  for (const auto& [name, change, accepted] : cases) {
    store_->rows.clear();
    const auto evidence = Valid();
    change(*evidence);
    EXPECT_EQ(Add(evidence) != kNotAdded, accepted) << name;
    if (!accepted) {
      EXPECT_EQ(LastCode(), 2) << name;
    }
    EXPECT_EQ(Logged("Input param error."), !accepted) << name;

    Forget();
    store_->rows[5] = *Valid();
    store_->rows[5].id = 5;
    evidence->id = 5;
    operation_record record;
    EXPECT_EQ(manager_.UpdateEvidence(evidence, record), accepted) << "changed: " << name;
  }
}

TEST_F(EvidenceRulesTest, CameraFieldsMustBeThere) {
  const auto with = [](auto change) {
    auto evidence = ByWifi("1");
    change(*evidence);
    return CEvidenceManager::CheckEvidenceAddMode(evidence);
  };
  EXPECT_FALSE(CEvidenceManager::CheckEvidenceAddMode(nullptr));
  EXPECT_TRUE(with([](auto&) {}));
  EXPECT_TRUE(with([](auto& e) { e = _tag_Evidence_(); }));
  EXPECT_FALSE(with([](auto& e) { e.releated_camera_ids.clear(); }));
  EXPECT_FALSE(with([](auto& e) { e.record_begin_time.clear(); }));
  EXPECT_FALSE(with([](auto& e) { e.record_end_time.clear(); }));
  EXPECT_FALSE(with([](auto& e) { e.upload_mode = 3; }));
  EXPECT_FALSE(with([](auto& e) { e.upload_mode = 1; }));
  EXPECT_FALSE(with([](auto& e) { e.upload_mode = 1, e.upload_begin_time = "b"; }));
  EXPECT_TRUE(with([](auto& e) { e.upload_mode = 1, e.upload_begin_time = "b", e.upload_end_time = "e"; }));
}

TEST_F(EvidenceRulesTest, RulesOnTheDevicesOfCameras) {
  auto& elements = *platform_.elements;
  elements.Add(1, 10);
  elements.Add(2, 10);
  elements.Add(3, 11);
  elements.Add(4, -1);
  elements.Add(5, 12, 1, kelp::kRoamlinkProtocol);
  elements.Add(6, 13, kelp::kMobileDevice, kelp::kRoamlinkProtocol);
  elements.Add(7, 14, 1, kelp::kRoamlinkProtocol);
  elements.Disconnect(14);
  struct Case {
    const char* cameras;
    bool roamlink;
    bool same_device;
    const char* line;
  };
  const Case cases[] = {
      {"", false, false, ""},
      {"1,,2", false, true, ""},
      {" 1,2x", false, true, ""},
      {"1,3", false, false, "Not all element_id in same device, device_id : -1, current element_device_id : 11["},
      {"4", false, false, "GetElementInfo device invalid, device_id : -1, current element_device_id : -1["},
      {"4,1,2", false, true, "GetElementInfo device invalid, device_id : -1, current element_device_id : -1["},
      {"1,99", false, false, "GetElementInfo device invalid, element_id : 99["},
      {"99,1", false, true, "GetElementInfo device invalid, element_id : 99["},
      {"zero", false, false, "GetElementInfo device invalid, element_id : 0["},
      {"99,5", true, true, "GetElementInfo device invalid, element_id : 99["},
      {"6", false, true, ""},
      {"7", false, true, "GetDeviceObject device failed, device : 14["},
      {"7,5,1", true, false, "GetDeviceObject device failed, device : 14["},
  };
  for (const auto& [cameras, roamlink, same_device, line] : cases) {
    Forget();
    EXPECT_EQ(CEvidenceManager::HasRoamlinkCamera(cameras), roamlink) << cameras;
    EXPECT_EQ(CEvidenceManager::IsCamerasInSameDevice(cameras), same_device) << cameras;
    const auto lines = platform_.sink->Texts(5, "casefile.s.taskcenter");
    EXPECT_EQ(std::ranges::any_of(lines, [&](const auto& text) { return text.find(line) != std::string::npos; }),
              !lines.empty())
        << cameras;
    EXPECT_EQ(lines.empty(), std::string(line).empty()) << cameras;
  }
}

// Each fault stands before those below it: with all of them from one on, that one is told.
TEST_F(EvidenceRulesTest, ChecksOfCreationInTheirOrder) {
  Start();
  platform_.elements->Add(1, 10);
  platform_.elements->Add(2, 11);
  platform_.elements->Add(5, 12, 1, kelp::kRoamlinkProtocol);
  FillLabels();
  store_->rows[7] = *Valid();
  store_->count = 100'000;
  store_->failing = {"count", "insert", "insert values"};
  const auto evidence = ByWifi("1,2,5");
  evidence->label = "one more";
  evidence->evidence_customs.resize(1);
  evidence->record_end_time.clear();

  struct Step {
    const char* name;
    int code;
    const char* line;
    std::function<void()> mend;
    Texts calls;
  };
  const Step steps[] = {
      {"fields", 2, "Input param error.", [&] { evidence->record_end_time = "t"; }, {}},
      {"protocol",
       120003,
       "Has Roamlink device camera, except mobilesurveillance , cameras : 1,2,5.",
       [&] { evidence->releated_camera_ids = "1,2"; },
       {}},
      {"one device",
       120002,
       "WIFI upload not in same device, cameras : 1,2.",
       [&] { evidence->releated_camera_ids = "1,1"; },
       {}},
      {"guid", 9805, "The evidence already exists, evidence-guid[G].", [&] { store_->rows.clear(); }, {"guid G"}},
      {"count not read",
       15,
       "Get Evidence count failed.",
       [&] { store_->failing.erase("count"); },
       {"guid G", "count"}},
      {"count",
       120004,
       "The number of evidences exceeds the limit, count : 100000.",
       [&] { store_->count = 99'999; },
       {"guid G", "count"}},
      {"labels",
       120005,
       "The number of labels exceeds the limit, labels_in : one more.",
       [&] { evidence->label = "17"; },
       {"guid G", "count"}},
      {"insert",
       15,
       "Insert Evidence failed.",
       [&] { store_->failing.erase("insert"); },
       {"guid G", "count", "key", "insert 100"}},
      {"values",
       15,
       "Insert Evidence custom info failed.",
       [&] { store_->failing.clear(); },
       {"guid G", "count", "key", "insert 101", "insert values 101"}},
  };
  for (const auto& [name, code, line, mend, calls] : steps) {
    EXPECT_EQ(Add(evidence), kNotAdded) << name;
    EXPECT_EQ(LastCode(), code) << name;
    EXPECT_TRUE(Logged(line)) << name;
    EXPECT_EQ(store_->TakeCalls(), calls) << name;
    mend();
  }
  EXPECT_EQ(Add(evidence), 102u);
  EXPECT_EQ(evidence->id, 102);
  // A lookup of the guid that fails counts as free, and the values of an evidence without any are not written.
  store_->failing = {"guid G"};
  evidence->evidence_customs.clear();
  EXPECT_EQ(Add(evidence), 103u);
  EXPECT_EQ(store_->TakeCalls(), (Texts{"guid G", "count", "key", "insert 103"}));
}

TEST_F(EvidenceRulesTest, ChangesAreListedFieldByField) {
  store_->types = {{1, "theft"}, {2, "fire"}};
  Start();
  auto& row = store_->rows[5] = *Valid();
  row.id = 5;
  row.evidence_type.type_id = 1;
  row.label = "old";
  const auto wanted = std::make_shared<_tag_Evidence_>(row);
  operation_record unchanged;
  EXPECT_TRUE(manager_.UpdateEvidence(wanted, unchanged));
  EXPECT_EQ(Items(unchanged), Texts{});
  EXPECT_EQ(store_->TakeCalls(), (Texts{"read 5", "values 5", "guid G", "update 5", "update values 5"}));

  wanted->guid = "H", wanted->name = "m", wanted->label = "new", wanted->evidence_desc = "d", wanted->cad_id = "c";
  wanted->evidence_begin_time = "b", wanted->evidence_end_time = "e", wanted->evidence_status = 0;
  wanted->evidence_type.type_id = 2, wanted->scene.scene_id = 9999, wanted->outcome.outcome_id = 3;
  operation_record all;
  EXPECT_TRUE(manager_.UpdateEvidence(wanted, all));
  EXPECT_EQ(Items(all), (Texts{"7 -1/old -1/new", "6 -1/ -1/d", "1 -1/n -1/m", "10 -1/ -1/c", "14 -1/G -1/H",
                               "11 -1/ -1/b", "12 -1/ -1/e", "5 1/ 0/", "2 1/theft 2/fire"}));
  EXPECT_EQ(store_->rows[5].scene.scene_id, 9999);

  Forget();
  wanted->evidence_type.type_id = 77;
  store_->rows[5].evidence_type.type_id = 66;
  operation_record unknown_types;
  EXPECT_TRUE(manager_.UpdateEvidence(wanted, unknown_types));
  EXPECT_EQ(Items(unknown_types), (Texts{"2 66/ 77/"}));
  EXPECT_TRUE(Logged("Get before evidence type failed, evidence-type-id[66].", 4));
}

TEST_F(EvidenceRulesTest, ChangedValuesOfAttributes) {
  store_->customs = {{8, "colour", {{1, "red"}, {2, "blue"}}, 0, -1}};
  store_->options[8] = store_->customs[0].custom_options;
  Start();
  const auto value = [](std::int32_t id, std::int32_t option, const std::string& text, const std::string& name = "x") {
    return tag_EvidenceCustom_{id, name, {{option, text}}, 0, -1};
  };
  struct Case {
    const char* name;
    std::vector<tag_EvidenceCustom_> before;
    std::vector<tag_EvidenceCustom_> after;
    Texts items;
  };
  const Case cases[] = {
      {"another option, named by the cache", {value(8, 1, "")}, {value(8, 2, "")}, {"13 -1/red -1/blue"}},
      {"the same option", {value(8, 1, "")}, {value(8, 1, "")}, {}},
      {"a text of its own comes first", {value(8, 1, "")}, {value(8, 2, "own")}, {"13 -1/red -1/own"}},
      {"a new value", {}, {value(8, 2, "")}, {"13 -1/ -1/blue"}},
      {"a new value of an unknown option", {}, {value(8, 3, "")}, {}},
      {"a nameless one counts as standing when anything stands", {value(9, -1, "t")}, {value(8, 2, "", "")}, {}},
      {"each standing row of the attribute",
       {value(8, 1, ""), value(8, 2, "")},
       {value(8, 1, "")},
       {"13 -1/blue -1/red"}},
      {"no option chosen", {value(8, 1, "")}, {{8, "x", {}, 0, -1}}, {}},
      {"left out", {value(8, 1, "")}, {}, {}},
  };
  for (const auto& [name, before, after, items] : cases) {
    store_->rows[5] = *Valid();
    store_->rows[5].id = 5;
    store_->values[5] = before;
    for (auto& stored : store_->values[5])
      stored.custom_name.clear();
    const auto wanted = std::make_shared<_tag_Evidence_>(store_->rows[5]);
    wanted->evidence_customs = after;
    operation_record record;
    EXPECT_TRUE(manager_.UpdateEvidence(wanted, record)) << name;
    EXPECT_EQ(Items(record), items) << name;
  }
}

// One small body must not make a history of gigabytes: each new value is compared with all that stand.
TEST_F(EvidenceRulesTest, WhatOneRequestMayAskForIsBounded) {
  Start();
  const auto values = [](int count, const std::string& text) {
    return std::vector<tag_EvidenceCustom_>(static_cast<std::size_t>(count), {8, "x", {{1, text}}, 0, -1});
  };
  store_->rows[5] = *Valid();
  store_->rows[5].id = 5;
  store_->values[5] = values(5'000, "old");
  const auto wanted = std::make_shared<_tag_Evidence_>(store_->rows[5]);
  wanted->evidence_customs = values(5'000, "new");
  wanted->name = "changed";
  operation_record record;
  EXPECT_FALSE(manager_.UpdateEvidence(wanted, record));
  EXPECT_EQ(LastCode(), 2);
  EXPECT_EQ(Items(record), (Texts{"1 -1/n -1/changed"}));
  EXPECT_EQ(store_->TakeCalls(), (Texts{"read 5", "values 5", "options 8"}));

  const std::pair<int, std::function<void(_tag_Evidence_&)>> too_much[] = {
      {2, [&](auto& e) { e.evidence_customs = values(5'001, ""); }},
      {2, [&](auto& e) { e.evidence_customs = values(1, std::string(1, '\0')); }},
      {2, [](auto& e) { e.releated_camera_ids = std::string(10'001, ','); }},
      {120005, [](auto& e) {
         for (int n = 0; n <= 100'000; ++n)
           e.label += "a|";
       }}};
  for (const auto& [code, grow] : too_much) {
    const auto evidence = Valid();
    evidence->guid = "H";
    grow(*evidence);
    EXPECT_EQ(Add(evidence), kNotAdded);
    EXPECT_EQ(LastCode(), code);
  }
  std::list<EvidenceErrInfoPtr> results;
  std::vector<operation_record> records;
  EXPECT_FALSE(manager_.UpdateEvidences(results, std::list<EvidencePtr>(10'001, Valid()), records));
  EXPECT_EQ(LastCode(), 2);
}

TEST_F(EvidenceRulesTest, ChecksOfAChangeInTheirOrder) {
  Start();
  FillLabels();
  store_->rows[6] = *Valid();
  store_->rows[6].id = 6;
  store_->failing = {"update", "update values"};
  const auto wanted = Valid();
  wanted->id = 5;
  wanted->name = "changed";
  wanted->label = "one more";
  struct Step {
    const char* name;
    int code;
    const char* line;
    std::function<void()> mend;
    std::size_t items;
  };
  const Step steps[] = {
      {"not there", 9804, "The evidence not exists, evidence-id[5].",
       [&] {
         store_->rows[5] = *Valid();
         store_->rows[5].id = 5;
         store_->rows[5].guid = "old";
       },
       0},
      {"guid of another", 9805, "The evidence already exists, evidence-guid[G].", [&] { store_->rows.erase(6); }, 3},
      {"labels", 120005, "The number of labels exceeds the limit, labels_in : one more.", [&] { wanted->label = "17"; },
       3},
      {"update", 15, "Insert Evidence failed.", [&] { store_->failing.erase("update"); }, 3},
      {"values", 15, "Insert Evidence custom info failed.", [&] { store_->failing.clear(); }, 3},
  };
  for (const auto& [name, code, line, mend, items] : steps) {
    Forget();
    operation_record record;
    EXPECT_FALSE(manager_.UpdateEvidence(wanted, record)) << name;
    EXPECT_EQ(LastCode(), code) << name;
    EXPECT_TRUE(Logged(line)) << name;
    EXPECT_EQ(record.change_items.size(), items) << name;
    mend();
  }
  operation_record record;
  EXPECT_TRUE(manager_.UpdateEvidence(wanted, record));
}

TEST_F(EvidenceRulesTest, AStatusBatchTellsOfEachEvidence) {
  Start();
  for (const std::int32_t id : {1, 2, 3}) {
    auto& row = store_->rows[id] = *Valid();
    row.id = id;
    row.guid = "G" + std::to_string(id);
  }
  store_->failing = {"update 3"};
  std::list<EvidencePtr> batch;
  for (const auto& [id, status] : {std::pair{1, 0}, {2, 1}, {3, 0}, {4, 0}, {-1, 0}, {1, 2}}) {
    auto& evidence = batch.emplace_back(std::make_shared<_tag_Evidence_>());
    evidence->id = id;
    evidence->evidence_status = status;
  }
  std::list<EvidenceErrInfoPtr> results;
  std::vector<operation_record> records;
  EXPECT_FALSE(manager_.UpdateEvidences(results, batch, records));
  Texts rows;
  for (const auto& row : results)
    rows.push_back(std::to_string(row->id) + row->guid + row->name + " " + std::to_string(row->sub_code));
  EXPECT_EQ(rows, (Texts{"1G1n 0", "2G2n 0", "3G3n 15", "4 9804", "-1 2", "1 2"}));
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].evidence_id, 1);
  EXPECT_EQ(records[1].evidence_id, 3);
  EXPECT_EQ(Items(records[1]), (Texts{"5 1/ 0/"}));
  EXPECT_EQ(store_->rows[1].evidence_status, 0);

  results.clear();
  EXPECT_TRUE(manager_.UpdateEvidences(results, {}, records));
  EXPECT_TRUE(results.empty());
}

}  // namespace
