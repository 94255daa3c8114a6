// Bodies of the calls from other plugins.

#include "unit/plugin/MessageTest.h"
#include "usrservice/pdu/PduApi.h"

namespace {

using Evidence::EvidenceFilesMap;
using messages::Answer;
using messages::Fields;
using messages::Request;
using Texts = std::vector<std::string>;

class ApiMessagesTest : public messages::MessageTest {};

TEST_F(ApiMessagesTest, EvidencesComeAndGoInTheOrderOfTheRequest) {
  EvidenceFilesMap evidences;
  std::string reserved = "left alone";
  ASSERT_TRUE(pdu_.DecodeAPIEvidencePUTReq(evidences, reserved, Request("api_evidence_put")));
  EXPECT_EQ(reserved, "left alone");
  Texts read;
  for (const auto& [e, files] : evidences) {
    read.push_back(Fields(e->id, e->guid, e->name, e->evidence_type.type_id, e->scene.scene_id, e->outcome.outcome_id,
                          e->evidence_desc, e->evidence_status, e->label, e->evidence_begin_time, e->evidence_end_time,
                          e->cad_id));
    for (const auto& f : files)
      read.push_back(Fields("-", f->begin_time, f->end_time, f->file_name, f->file_path, f->file_type, f->guid,
                            f->digest, f->delete_flag));
  }
  EXPECT_EQ(read, (Texts{"-1 g1 zebra 6 2 3 d 0 a|b t1 t2 ", "- b e one.mp4 p 2 fg fd 0", "-     -1   0",
                         "-1  ant -1 -1 -1  -1    ", "-1  bee -1 -1 -1  -1    ", "-   two.mp4  -1   0"}));

  evidences[0].first->id = 5;
  evidences[0].second.front()->id = 31;
  evidences[2].first = nullptr;
  EXPECT_TRUE(pdu_.EncodeAPIEvidencePutRsp(response_, {0, 15, {}}, evidences));
  EXPECT_EQ(response_, Answer("api_evidence_put"));
  EXPECT_TRUE(platform_.sink->Has(5, "]Evidence obj is empty.["));
  EXPECT_TRUE(pdu_.EncodeAPIEvidencePutRsp(response_, {3, -1, {}}, {}));
  EXPECT_EQ(response_, Answer("api_evidence_put_none"));
}

TEST_F(ApiMessagesTest, TypesByTheirIds) {
  Evidence::page_info page;
  std::shared_ptr<Evidence::_tag_EvidenceAttributeFilterInfo_> filter;
  std::string reserved;
  ASSERT_TRUE(pdu_.DecodeAPIEvidenceTypePostReq(page, filter, reserved, Request("api_type_post")));
  EXPECT_EQ(Fields(page.PageIndex, page.PageSize), "2 5");
  ASSERT_NE(filter, nullptr);
  EXPECT_EQ(filter->ids, (Evidence::IdVector{6, 1, -1}));
  filter.reset();
  ASSERT_TRUE(pdu_.DecodeAPIEvidenceTypePostReq(page, filter, reserved, "{}"));
  EXPECT_EQ(Fields(page.PageIndex, page.PageSize), "-1 -1");
  EXPECT_EQ(filter, nullptr) << "without ids all types are asked for";

  const auto type = std::make_shared<Evidence::_tag_EvidenceType_>(Evidence::_tag_EvidenceType_{6, "Burglary"});
  EXPECT_TRUE(pdu_.EncodeAPIEvidenceTypePostRsp(response_, {2, -1, 5}, {},
                                                {type, nullptr, std::make_shared<Evidence::_tag_EvidenceType_>()}));
  EXPECT_EQ(response_, Answer("api_type_post"));
  EXPECT_TRUE(platform_.sink->Has(5, "]Evidence type obj is empty.["));
  EXPECT_TRUE(pdu_.EncodeAPIEvidenceTypePostRsp(response_, {}, {0, 9820, {}}, {}));
  EXPECT_EQ(response_, Answer("api_type_post_none"));
}

}  // namespace
