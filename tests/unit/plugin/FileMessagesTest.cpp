// Bodies about files, histories and batch links, key by key.

#include "unit/plugin/MessageTest.h"
#include "usrservice/UsrServiceEvidencePDULink.h"
#include "usrservice/pdu/PduLog.h"

namespace {

using Evidence::ErrorPtr;
using Evidence::EvidenceFilePtr;
using Evidence::EvidenceFilterPtr;
using Evidence::IdList;
using messages::Answer;
using messages::Fields;
using messages::Request;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;
using Texts = std::vector<std::string>;

class FileMessagesTest : public messages::MessageTest {
 protected:
  static ErrorPtr Refused(std::int32_t id, const std::string& name, int main_code, int sub_code) {
    return std::make_shared<Evidence::_tag_Error_>(Evidence::_tag_Error_{id, name, main_code, sub_code});
  }
  static Texts Read(const std::list<EvidenceFilePtr>& files) {
    Texts read;
    for (const auto& file : files)
      read.push_back(Fields(file->id, file->delete_flag, file->file_name, file->file_type));
    return read;
  }
  static std::list<EvidenceFilePtr> TwoFiles() {
    auto full = std::make_shared<Evidence::_tag_EvidenceFile_>();
    full->id = 31;
    full->file_type = 2;
    full->file_name = "n";
    full->file_path = "p";
    full->begin_time = "b";
    full->end_time = "e";
    full->guid = "g";
    full->digest = "d";
    auto blank = std::make_shared<Evidence::_tag_EvidenceFile_>();
    blank->id = 40;
    return {full, blank};
  }
};

TEST_F(FileMessagesTest, FileBatch) {
  std::list<EvidenceFilePtr> files;
  ASSERT_TRUE(pdu_.DecodeEvidenceIDFilesPostReq(files, Request("evidence_files_post")));
  EXPECT_EQ(Read(files), (Texts{"31 1 a.mp4 1", "-1 0 b.mp4 1", "-1 0  1"}));
  const std::list<ErrorPtr> errors{Refused(31, "a", 0, 0), Refused(-1, "b", 3, 0)};
  EXPECT_TRUE(pdu_.EncodeEvidenceIDFilesPostRsp(response_, {0, 15, {}}, errors));
  EXPECT_EQ(response_, Answer("evidence_files_post"));
  EXPECT_TRUE(pdu_.EncodeEvidenceFilesRsp(response_, {0, 15, {}}, errors));
  EXPECT_EQ(response_, Answer("files_delete"));
  EXPECT_TRUE(pdu_.EncodeEvidenceIDFilesPostRsp(response_, {}, {}));
  EXPECT_EQ(response_, Answer("files_none"));
}

TEST_F(FileMessagesTest, FileLists) {
  EXPECT_TRUE(pdu_.EncodeEvidenceIDFilesGetRsp(response_, {}, TwoFiles()));
  EXPECT_EQ(response_, Answer("evidence_files_get"));
  EXPECT_TRUE(pdu_.EncodeUnrelatedFilesGetRsp(response_, {}, TwoFiles(), {7, -1, 10}, {{2, 4}, {1, 3}}, 9));
  EXPECT_EQ(response_, Answer("unrelated_files_get"));
  EXPECT_TRUE(pdu_.EncodeUnrelatedFilesGetRsp(response_, {}, {}, {7, 1, 10}, {}, 5));
  EXPECT_EQ(response_, Answer("unrelated_files_get_empty"));
}

TEST_F(FileMessagesTest, UnrelatedFilesRequest) {
  EvidenceFilterPtr f;
  ASSERT_TRUE(pdu_.DecodeUnrelatedFilesGetReq(f, Request("unrelated_files_get")));
  EXPECT_EQ(Fields(f->page_index, f->page_size, f->keyword, f->create_start_time, f->create_end_time, f->time_type,
                   f->file_type, f->assemble_types),
            "2 10 k b e 1 8 1,2");
  ASSERT_TRUE(pdu_.DecodeUnrelatedFilesGetReq(f, R"({"FileQueryReq":{"PageIndex":1,"PageSize":2}})"));
  EXPECT_EQ(Fields(f->time_type, f->file_type), "0 -1") << "without a filter the record stays as it starts";
  for (const char* body : {R"({"FileQueryReq":{"PageIndex":1}})", R"({"FileQueryReq":{"PageSize":1}})"}) {
    Orv::Base::Error::SetLastError({0, 0});
    EXPECT_FALSE(pdu_.DecodeUnrelatedFilesGetReq(f, body)) << body;
    EXPECT_EQ(GetLastError(), ErrorCode(0, 2)) << body;
  }
}

TEST_F(FileMessagesTest, UploadsDigestsAndDeletions) {
  std::map<std::string, std::int32_t> chunks;
  ASSERT_TRUE(pdu_.DecodeUploadStatusGetReq(chunks, Request("upload")));
  EXPECT_EQ(chunks, (std::map<std::string, std::int32_t>{{"g2", 7}, {"g1", -1}, {"", 9}})) << "the last chunk counts";
  std::list<std::string> guids;
  ASSERT_TRUE(pdu_.DecodeUploadCancelReq(guids, Request("upload")));
  EXPECT_EQ(guids, (std::list<std::string>{"g2", "g1", "g2", ""}));
  std::map<std::int32_t, std::string> digests;
  ASSERT_TRUE(pdu_.DecodeModifyEvidenceFilesDigestPutReq(digests, Request("files_digest_put")));
  EXPECT_EQ(digests, (std::map<std::int32_t, std::string>{{5, "first"}, {-1, "no id"}}));
  IdList ids;
  ASSERT_TRUE(pdu_.DecodeEvidenceFilesDeleteReq(ids, R"({"File":{"IDs":"4,3,,4"}})"));
  EXPECT_EQ(ids, (IdList{4, 3, 4}));
}

TEST_F(FileMessagesTest, OlderHistoryEntry) {
  std::vector<Evidence::operation_record> records(1);
  const std::string body = R"({"OperationLog":{"OperationType":4,"FileName":"a.mp4"}})";
  ASSERT_TRUE(pdu_.DecodeWriteEvidenceLogPostReq(records, "s", 11, body));
  ASSERT_EQ(records.size(), 2U);
  const auto& r = records.back();
  EXPECT_EQ(Fields(r.evidence_id, r.user_name, r.user_ip, r.operation_type), "11 alice 10.0.0.7 4");
  ASSERT_EQ(r.change_items.size(), 1U);
  const auto& item = r.change_items[0];
  EXPECT_EQ(Fields(item.mod_type, item.file_name, item.before_mod), "-1 a.mp4 a.mp4");
  EXPECT_FALSE(pdu_.DecodeWriteEvidenceLogPostReq(records, "", 11, body));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 200));
  EXPECT_EQ(records.size(), 2U);
}

TEST_F(FileMessagesTest, HistoryRequests) {
  pdu::COperationLogPostSvrPDU post;
  ASSERT_TRUE(post.DecodeReq(Request("operation_log_post")));
  Texts read;
  for (const auto& entry : post.Request()->OperationLog) {
    read.push_back(Fields(entry.EvidenceID, entry.UserName, entry.UserIP, entry.OperationType));
    for (const auto& detail : entry.Details)
      read.push_back(Fields(detail.Type, detail.Name));
  }
  EXPECT_EQ(read, (Texts{"4 camera 10.0.0.9 5", "2 a", "-1 b", "-1   -1", "3 "}));
  ASSERT_TRUE(post.DecodeReq("{}"));
  EXPECT_TRUE(post.Request()->OperationLog.empty());
  pdu::COperationLogGetSvrPDU get;
  EXPECT_FALSE(get.DecodeReq("{"));
  EXPECT_FALSE(get.Request());
  EXPECT_TRUE(get.DecodeReq("[]"));
  EXPECT_TRUE(get.Request());
}

TEST_F(FileMessagesTest, HistoryAnswers) {
  pdu::COperationLogGetSvrPDU get;
  const auto history = std::make_shared<pdu::SRspOperationLogGet>();
  history->main_code = -1;
  history->sub_code = 9820;
  EXPECT_TRUE(get.EncodeRsp(history));
  EXPECT_EQ(get.Text(), Answer("operation_log_get_empty"));
  history->main_code = history->sub_code = 0;
  history->OperationLogList = {{"t", 2, {1, "camera", "device", "10.0.0.9", 3}, {{2, 6, "before", 7, "after"}, {}}},
                               {}};
  EXPECT_TRUE(get.EncodeRsp(history));
  EXPECT_EQ(get.Text(), Answer("operation_log_get"));
  EXPECT_FALSE(get.EncodeRsp(nullptr));
  pdu::COperationLogPostSvrPDU post;
  const auto written = std::make_shared<pdu::SRspOperationLogPost>();
  written->main_code = -1;
  written->sub_code = 2;
  EXPECT_TRUE(post.EncodeRsp(written));
  EXPECT_EQ(post.Text(), Answer("operation_log_post"));
  EXPECT_FALSE(post.EncodeRsp(nullptr));
}

TEST_F(FileMessagesTest, BatchLinks) {
  std::list<EvidenceFilePtr> files;
  IdList ids;
  ASSERT_TRUE(Evidence::FileBatchLinkDecode(files, ids, Request("batch_links")));
  EXPECT_EQ(Read(files), (Texts{"51 0 a 1", "-1 0 b 1"}));
  EXPECT_EQ(ids, (IdList{6, 5, 6, -1}));
  EXPECT_FALSE(Evidence::FileBatchLinkDecode(files, ids, "{x"));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 10002));
  EXPECT_TRUE(platform_.sink->Has(5, "[Evidence::FileBatchLinkDecode]FileBatchLinkEvidences failed, request:[{x].\n["));

  response_ = "untouched";
  EXPECT_TRUE(Evidence::FileBatchLinkEncode(response_, {}, user_interface_));
  EXPECT_EQ(response_, "untouched");
  const Evidence::LinkFailures failures{{11, {Refused(51, "", 0, 9807), Refused(52, "", 0, 2)}},
                                        {5, {Refused(-1, "", 3, 15)}}};
  EXPECT_TRUE(Evidence::FileBatchLinkEncode(response_, failures, user_interface_));
  EXPECT_EQ(response_, Answer("batch_links"));
  EXPECT_TRUE(Evidence::FileBatchLinkEncode(response_, failures, {}));
  EXPECT_NE(response_.find(R"("EvidenceID":11,"EvidenceName":"","ErrorList")"), std::string::npos);
}

}  // namespace
