// The rules under which evidences are created and changed, down to the statements.

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
  static std::string Repeated(const std::string& text, std::size_t count) { return Joined(Texts(count + 1), text); }
  /// 100000 labels, all of evidence 1.
  void FillLabels() {
    for (int n = 0; n < 100'000; ++n)
      labels_ += std::to_string(n) + "|";
    manager_.AddLabelsToMap(1, labels_);
  }
  /// What a creation does, and the id that it gives.
  std::string Added(const EvidencePtr& evidence) {
    const auto id = manager_.AddEvidence(evidence);
    return Did(IsEvidenceId(id)) + "\nid " + std::to_string(static_cast<std::int32_t>(id));
  }
  /// What a change does, and its items.
  std::string Changed(const EvidencePtr& evidence) {
    operation_record record;
    Texts texts{Did(manager_.UpdateEvidence(evidence, record))};
    std::ranges::move(ItemTexts(record), std::back_inserter(texts));
    return Lines(texts);
  }

  std::string labels_;
};

TEST_F(EvidenceRulesTest, OutsideTheRunningTimeNothingReachesTheStore) {
  std::list<ErrorPtr> errors;
  std::list<EvidenceTypePtr> types;
  page_info page;
  operation_record record;
  const std::function<bool()> calls[] = {[&] { return manager_.AddEvidence(nullptr) != 0; },
                                         [&] { return manager_.UpdateEvidence(nullptr, record); },
                                         [&] { return manager_.DelEvidences({1}); },
                                         [&] { return manager_.InsertEvidenceFiles(errors, {}); },
                                         [&] { return manager_.GetEvidenceTypes(types, page, nullptr); },
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
  EXPECT_EQ(Did(manager_.Finalize()), Lines({"end multi loop casefile.s.upload_mobile_task", "ok"}));
  refused();
}

TEST_F(EvidenceRulesTest, FieldsAtTheirLimits) {
  Start();
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
           Case{"quotes", 0, [](auto& e) { e.guid = e.name = e.label = e.cad_id = "O'B"; }},
           Case{"quote in a value", 15, [&](auto& e) { e.evidence_customs = values(1, "'"); }},
           Case{"NUL in a value", 2, [&](auto& e) { e.evidence_customs = values(1, std::string(1, '\0')); }},
           Case{"recorded", 0, [](auto&) {}, true},
           Case{"no cameras", 2, [](auto& e) { e.releated_camera_ids.clear(); }, true},
           Case{"no begin", 2, [](auto& e) { e.record_begin_time.clear(); }, true},
           Case{"no end", 2, [](auto& e) { e.record_end_time.clear(); }, true},
           Case{"unknown upload", 2, [](auto& e) { e.upload_mode = 3; }, true},
           Case{"half a window", 2, [](auto& e) { e.upload_mode = 1, e.upload_begin_time = "b"; }, true},
           Case{"10000 cameras", 0, [](auto& e) { e.releated_camera_ids = Repeated("1,", 10'000); }, true},
           Case{"10001 cameras", 2, [](auto& e) { e.releated_camera_ids = Repeated("1,", 10'001); }, true},
           Case{"100001 labels", 120005, [](auto& e) { e.label = Repeated("a|", 100'001); }, true},
       }) {
    const auto evidence = Valid(5);
    if (recorded) RecordByWifi(*evidence);
    change(*evidence);
    tables_.rows.clear();
    PutEvidence(5, "old");
    operation_record record;
    EXPECT_TRUE(recorded || manager_.UpdateEvidence(evidence, record) == (added == 0)) << "changed: " << name;
    tables_.rows.clear();
    EXPECT_EQ(IsEvidenceId(manager_.AddEvidence(evidence)) ? 0 : LastCode(), added) << name;
  }
  PutEvidence(5, "G");
  std::list<EvidenceErrInfoPtr> results;
  std::vector<operation_record> records;
  for (const std::size_t count : {10'000U, 10'001U}) {
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

TEST_F(EvidenceRulesTest, TheLimitIsAboutDistinctLabelsOfOthers) {
  const auto fits = [this](const std::list<std::string>& labels, std::int32_t id = -1) {
    return !manager_.IsLabelCountExceeded(id, labels);
  };
  FillLabels();
  auto others = SplitLabels(labels_);
  others.pop_front();
  manager_.UpdateLabelMap(1, others);
  EXPECT_TRUE(fits({"new"}));
  EXPECT_FALSE(fits({"new", "new"})) << "a label that occurs twice counts twice";
  manager_.AddLabelsToMap(2, "|own||");
  EXPECT_FALSE(fits({"new"}));
  EXPECT_TRUE(fits({"5", "own"}));
  EXPECT_TRUE(fits({})) << "no labels are never too many";
  EXPECT_TRUE(fits({"new"}, 2)) << "the only carrier of a label may swap it for a new one";
  EXPECT_FALSE(fits({"new", "own"}, 2));
  manager_.AddLabelsToMap(3, "own");
  EXPECT_FALSE(fits({"new"}, 2)) << "another evidence still carries it";
  manager_.DeleteFromMap(3);
  manager_.DeleteFromMap(3);
  manager_.UpdateLabelMap(2, {});
  EXPECT_TRUE(fits({"new"})) << "nobody carries it any more";
}

// Each fault is found before those below it: with all of them from one on, that one is reported.
TEST_F(EvidenceRulesTest, ChecksOfCreationInTheirOrder) {
  Start();
  for (const auto& [camera, protocol] : {std::pair{1, 1}, {2, 1}, {5, kelp::kRoamlinkProtocol}})
    platform_.elements->Add(camera, 10 + camera, 1, protocol);
  FillLabels();
  PutEvidence(7, "G");
  tables_.others["evidence"] = 100'000;
  tables_.failing = {"count evidences", "add evidence", "add value"};
  const auto evidence = Valid();
  RecordByWifi(*evidence);
  evidence->label = "one more";
  evidence->evidence_customs = {{8, "", {{1, ""}}, 0, -1}};
  evidence->record_end_time.clear();
  evidence->releated_camera_ids = "1,2,5";
  const std::pair<Texts, std::function<void()>> steps[] = {
      {{"!Input param error.", "0-2", "id -1"}, [&] { evidence->record_end_time = "t"; }},
      {{"!Has Roamlink device camera, except mobilesurveillance , cameras : 1,2,5.", "0-120003", "id -1"},
       [&] { evidence->releated_camera_ids = "1,2"; }},
      {{"!WIFI upload not in same device, cameras : 1,2.", "0-120002", "id -1"},
       [&] { evidence->upload_mode = 1, evidence->upload_begin_time = evidence->upload_end_time = "t"; }},
      {{"!The evidence already exists, evidence-guid[G].", "0-9805", "id -1"}, [&] { tables_.rows.clear(); }},
      {{"!Get Evidence count failed.", "0-15", "id -1"}, [&] { tables_.failing.erase("count evidences"); }},
      {{"!The number of evidences exceeds the limit, count : 100000.", "0-120004", "id -1"},
       [&] { tables_.others["evidence"] = 99'999; }},
      {{"!The number of labels exceeds the limit, labels_in : one more.", "0-120005", "id -1"},
       [&] { evidence->label = "17"; }},
      {{"add evidence 100 'G' 'n'", "!Insert Evidence failed.", "0-15", "id -1"},
       [&] { tables_.failing.erase("add evidence"); }},
      {{"add evidence 101 'G' 'n'", "add value 102 of 101: 8 1 ''", "!Insert Evidence custom info failed.", "0-15",
        "id -1"},
       [&] { tables_.failing.clear(), tables_.rows.clear(); }},
      {{"add evidence 103 'G' 'n'", "add value 104 of 103: 8 1 ''", "ok", "id 103"},
       // A look-up of the guid that fails counts as free, and there may be no values.
       [&] { tables_.failing = {"read evidence 'G'"}, evidence->evidence_customs.clear(), tables_.rows.clear(); }},
      {{"add evidence 105 'G' 'n'", "ok", "id 105"}, [] {}}};
  for (const auto& [expected, mend] : steps) {
    EXPECT_EQ(Added(evidence), Lines(expected));
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
  PutEvidence(6, "G");
  tables_.failing = {"change evidence", "delete values"};
  const auto wanted = Valid(5);
  wanted->label = "one more";
  wanted->evidence_status = 2;
  const std::string to_17 = "7 -1/ -1/17";
  const std::pair<Texts, std::function<void()>> steps[] = {
      {{"!Input param error, guid[G], name[n], desc[], status[2].", "0-2"}, [&] { wanted->evidence_status = 1; }},
      {{"!The evidence not exists, evidence-id[5].", "0-9804"}, [&] { PutEvidence(5, "old"); }},
      {{"!The evidence already exists, evidence-guid[G].", "0-9805", "7 -1/ -1/one more", "14 -1/old -1/G"},
       [&] { tables_.rows.clear(), PutEvidence(5, "G"); }},
      {{"!The number of labels exceeds the limit, labels_in : one more.", "0-120005", "7 -1/ -1/one more"},
       [&] { wanted->label = "17"; }},
      {{"change evidence 5 'G' 'n' status 1", "!Insert Evidence failed.", "0-15", to_17},
       [&] { tables_.failing.erase("change evidence"); }},
      {{"change evidence 5 'G' 'n' status 1", "delete values of 5", "!Insert Evidence custom info failed.", "0-15",
        to_17},
       [&] { tables_.failing.clear(), PutEvidence(5, "G"); }},
      {{"change evidence 5 'G' 'n' status 1", "delete values of 5", "ok", to_17}, [] {}}};
  for (const auto& [expected, mend] : steps) {
    EXPECT_EQ(Changed(wanted), Lines(expected));
    mend();
  }
  // All labels there may be; its own is replaced by the new one, which counts from then on.
  auto others = SplitLabels(labels_);
  others.remove("17");
  manager_.UpdateLabelMap(1, others);
  wanted->label = "new";
  operation_record record;
  EXPECT_TRUE(manager_.UpdateEvidence(wanted, record));
  EXPECT_TRUE(manager_.IsLabelCountExceeded(-1, {"another"}));
}

TEST_F(EvidenceRulesTest, ChangesAreListedFieldByField) {
  tables_.Add("evidence_type", {{"id", "1"}, {"name", "theft"}});
  tables_.Add("evidence_type", {{"id", "2"}, {"name", "fire"}});
  Start();
  PutEvidence(5, "G", {{"evidence_type_id", "1"}, {"label", "old"}});
  const auto wanted = Valid(5);
  wanted->guid = "H", wanted->name = "m", wanted->label = "new", wanted->evidence_desc = "d", wanted->cad_id = "c";
  wanted->evidence_begin_time = "b", wanted->evidence_end_time = "e", wanted->evidence_status = 0;
  wanted->evidence_type.type_id = 2, wanted->scene.scene_id = 9999, wanted->outcome.outcome_id = 3;
  EXPECT_EQ(Changed(wanted), Lines({"change evidence 5 'H' 'm' status 0", "delete values of 5", "ok", "7 -1/old -1/new",
                                    "6 -1/ -1/d", "1 -1/n -1/m", "10 -1/ -1/c", "14 -1/G -1/H", "11 -1/ -1/b",
                                    "12 -1/ -1/e", "5 1/ 0/", "2 1/theft 2/fire"}));
  const Row& row = tables_.rows["evidence"].front();
  EXPECT_EQ(scripted::Words(row.at("evidence_type_id"), row.at("scene_id"), row.at("outcome_id"), row.at("label"),
                            row.at("evidence_desc"), row.at("cad_id")),
            "2 9999 3 new d c");
  PutEvidence(5, "G", {{"evidence_type_id", "66"}});
  EXPECT_EQ(Changed(Valid(5)), Lines({"change evidence 5 'G' 'n' status 1", "delete values of 5", "ok", "2 66/ 0/"}))
      << "types that are not there";
}

TEST_F(EvidenceRulesTest, ChangedValuesOfAttributes) {
  PutColour("red");
  Start();
  PutEvidence(5, "G");
  /// Current and wanted values as "attribute=option:text of its own"; what is listed.
  const std::tuple<const char*, const char*, Texts> cases[] = {
      {"8=1:", "8=2:", {"13 -1/red -1/blue"}},
      {"8=1:", "8=2:own", {"13 -1/red -1/own"}},
      {"", "8=2:", {"13 -1/ -1/blue"}},
      {"9=-1:t", "8=2:", {}},  // the names are unknown, and so the same
      {"8=1:|8=2:", "8=1:", {"13 -1/blue -1/red"}}};
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
    tables_.rows["evidence_custom_info"].clear();
    for (const auto& value : parsed(before)) {
      const auto& [id, text] = value.custom_options.front();
      AddValue(5, value.custom_id, id, text);
    }
    const auto wanted = Valid(5);
    wanted->evidence_customs = parsed(after);
    operation_record record;
    EXPECT_TRUE(manager_.UpdateEvidence(wanted, record));
    EXPECT_EQ(Lines(ItemTexts(record)), Lines(items)) << before << " " << after;
  }
}

TEST_F(EvidenceRulesTest, AnEditOfManyValuesIsTakenAndItsHistoryStaysSmall) {
  Start();
  PutEvidence(5, "G");
  // Has the values 0 to 999 of one attribute, modulo `period`, and gets first to first + count - 1.
  const auto items = [this](int first, int count, int period = 1'000'000) {
    tables_.rows["evidence_custom_info"].clear();
    for (int n = 0; n < 1'000; ++n)
      AddValue(5, 8, 1, std::to_string(n % period));
    const auto wanted = Valid(5);
    for (int n = first; n < first + count; ++n)
      wanted->evidence_customs.push_back({8, "x", {{1, std::to_string(n % period)}}, 0, -1});
    operation_record record;
    EXPECT_TRUE(manager_.UpdateEvidence(wanted, record));
    return ItemTexts(record);
  };
  EXPECT_EQ(Lines(items(0, 1'000)), "") << "nothing changed";
  EXPECT_EQ(items(0, 10).size(), 10U * 999) << "each with each, as long as these are not too many";
  EXPECT_EQ(items(0, 11).size(), 1'000U - 11);
  EXPECT_EQ(Lines(items(2, 1'000)), Lines({"13 -1/0 -1/", "13 -1/1 -1/", "13 -1/ -1/1000", "13 -1/ -1/1001"}));
  EXPECT_EQ(Lines(items(1, 999, 500)), "13 -1/0 -1/") << "one of two equal values";
}

TEST_F(EvidenceRulesTest, ATextWithNulIsRefusedBeforeAnythingIsWrittenAndALongSearchToo) {
  Start();
  const std::string nul("a\0b", 3);
  const std::string refused = Lines({"!Input param error.", "0-2"});
  using E = _tag_Evidence_;
  for (const auto text : {&E::guid, &E::name, &E::evidence_desc, &E::evidence_begin_time, &E::evidence_end_time,
                          &E::label, &E::cad_id, &E::releated_camera_ids, &E::upload_begin_time, &E::upload_end_time,
                          &E::record_begin_time, &E::record_end_time}) {
    const auto evidence = Valid(5);
    (*evidence).*text = nul;
    EXPECT_EQ(Did(IsEvidenceId(manager_.AddEvidence(evidence))), refused);
  }
  PutEvidence(5, "G");
  const auto evidence = Valid(5);
  evidence->cad_id = nul;
  operation_record record;
  EXPECT_FALSE(manager_.UpdateEvidence(evidence, record));
  (void)Did(true);
  using F = _tag_EvidenceFile_;
  for (const auto text : {&F::file_name, &F::file_path, &F::guid, &F::digest}) {
    const auto file = std::make_shared<F>();
    (*file).*text = nul;
    std::list<ErrorPtr> failures;
    EXPECT_EQ(Did(manager_.UpdateEvidenceFiles(failures, {file}, 5)), refused);
  }
  const auto filter = std::make_shared<_tag_EvidenceFilterInfo_>();
  const auto search = [&](const IdList& ids = {}) {
    std::list<EvidencePtr> found;
    page_info page;
    bool has_more = false;
    return Did(manager_.QueryEvidences(found, page, has_more, filter, ids));
  };
  for (const auto text : {&_tag_EvidenceFilterInfo_::guid, &_tag_EvidenceFilterInfo_::keyword}) {
    *filter = {};
    (*filter).*text = nul;
    EXPECT_EQ(search(), refused);
  }
  filter->keyword = Repeated("\xC3\xA4", 1'001);
  EXPECT_EQ(search(), Lines({"!Input param error, characters of a keyword: 1001, at most 1000.", "0-2"}));
  *filter = {};
  filter->guid.assign(1'001, '\'');
  EXPECT_EQ(search(), Lines({"!Input param error, characters of a guid: 1001, at most 1000.", "0-2"}));
  EXPECT_EQ(search(IdList(100'001, 1)),
            Lines({"!Input param error, evidences asked for by id: 100001, at most 100000.", "0-2"}));
  for (const auto text : {&operation_record::user_name, &operation_record::user_ip, &operation_record::dev_name}) {
    record = {};
    record.*text = nul;
    EXPECT_EQ(Did(manager_.WriteEvidenceLog({{}, record}, "")), refused);
  }
  for (const auto text : {&change_item::file_name, &change_item::before_mod, &change_item::after_mod}) {
    record = {};
    record.change_items.emplace_back().*text = nul;
    EXPECT_EQ(Did(manager_.WriteEvidenceLog({{}, record}, "")), refused);
  }
}

TEST_F(EvidenceRulesTest, AStatusBatchReportsEachEvidence) {
  Start();
  for (const std::int32_t id : {1, 2, 3})
    PutEvidence(id, "G" + std::to_string(id));
  tables_.failing = {"change evidence 3"};
  std::list<EvidencePtr> batch;
  for (const auto& [id, status] : {std::pair{1, 0}, {2, 1}, {3, 0}, {4, 0}, {-1, 0}, {1, 2}})
    batch.emplace_back(Valid(id))->evidence_status = status;
  std::list<EvidenceErrInfoPtr> results;
  std::vector<operation_record> records;
  EXPECT_EQ(Did(manager_.UpdateEvidences(results, batch, records)),
            Lines({"change evidence 1 'G1' 'n' status 0", "change evidence 3 'G3' 'n' status 0", "!Input param error.",
                   "0-2"}));
  Texts reported;
  for (const auto& row : results)
    reported.push_back(scripted::Words(row->id, row->guid, row->name, row->sub_code));
  for (const auto& record : records)
    reported.push_back(std::to_string(record.evidence_id) + ": " + Lines(ItemTexts(record)));
  EXPECT_EQ(Lines(reported),
            Lines({"1 G1 n 0", "2 G2 n 0", "3 G3 n 15", "4   9804", "-1   2", "1   2", "1: 5 1/ 0/", "3: 5 1/ 0/"}));
}

}  // namespace
