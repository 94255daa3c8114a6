// Bodies of the type messages, key by key.

#include <gtest/gtest.h>

#include "unit/plugin/ScriptedPlatform.h"
#include "usrservice/UsrServiceEvidencePDU.h"

namespace {

using Evidence::ErrorPtr;
using Evidence::EvidenceTypePtr;
using Evidence::page_info;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;

class TypeMessagesTest : public ::testing::Test {
 protected:
  static EvidenceTypePtr Type(std::int32_t id, const std::string& name) {
    return std::make_shared<Evidence::_tag_EvidenceType_>(Evidence::_tag_EvidenceType_{id, name});
  }
  static ErrorPtr Refused(std::int32_t id, const std::string& name, int main_code, int sub_code) {
    return std::make_shared<Evidence::_tag_Error_>(Evidence::_tag_Error_{id, name, main_code, sub_code});
  }

  scripted::Platform platform_;
  Evidence::CEvidencePduJson pdu_{std::weak_ptr<Evidence::CEvidenceUserInterface>()};
  std::string body_;
};

TEST_F(TypeMessagesTest, GetRequest) {
  struct Case {
    std::string body;
    int index;
    int size;
    int version;
  };
  for (const Case& c :
       {Case{"{}", -1, -1, 0}, Case{"[]", -1, -1, 0},
        Case{R"({"EvidenceTypeQueryReq":{"PageIndex":2,"PageSize":"10","ClientResourceVersion":7}})", 2, 10, 7},
        Case{R"({"EvidenceTypeQueryReq":{"PageIndex":4294967295,"PageSize":1e300,"pagesize":3}})", -1, -1, 0},
        Case{R"({"evidenceTypeQueryReq":{"PageIndex":2}})", -1, -1, 0}}) {
    page_info page;
    std::int32_t version = -5;
    EXPECT_TRUE(pdu_.DecodeEvidenceTypeGetReq(page, nullptr, version, c.body)) << c.body;
    EXPECT_EQ(page.PageIndex, c.index) << c.body;
    EXPECT_EQ(page.PageSize, c.size) << c.body;
    EXPECT_EQ(version, c.version) << c.body;
  }
}

TEST_F(TypeMessagesTest, BodiesThatAreNoJson) {
  page_info page;
  std::int32_t version = 0;
  std::list<EvidenceTypePtr> types;
  EvidenceTypePtr type;
  for (const std::string& body : {std::string(), std::string("{"), std::string("{} x"), std::string("{\"a\":\"\xff\"}"),
                                  std::string("{}\0", 3), std::string(100000, '['), std::string(400, '9') + "e400"}) {
    EXPECT_FALSE(pdu_.DecodeEvidenceTypeGetReq(page, nullptr, version, body));
    EXPECT_FALSE(pdu_.DecodeEvidenceTypePutReq(types, body));
    EXPECT_FALSE(pdu_.DecodeEvidenceTypeIDPutReq(type, body));
    EXPECT_EQ(GetLastError(), ErrorCode(0, 2));
  }
  for (const char* decoder : {"DecodeEvidenceTypeGetReq", "DecodeEvidenceTypePutReq", "DecodeEvidenceTypeIDPutReq"}) {
    EXPECT_TRUE(platform_.sink->Has(
        5, std::string("[Evidence::CEvidencePduJson::") + decoder + "]Data Parse failed, data invalid!["));
  }
}

TEST_F(TypeMessagesTest, PutRequest) {
  std::list<EvidenceTypePtr> types;
  EXPECT_TRUE(pdu_.DecodeEvidenceTypePutReq(
      types, R"({"EvidenceTypeList":{"EvidenceType":[{"ID":3,"Name":"a/\u00e9"},{"Name":"b"},7,{"ID":4294967295}]}})"));
  ASSERT_EQ(types.size(), 4U);
  const std::vector<std::pair<int, std::string>> expected{{3, "a/\xC3\xA9"}, {-1, "b"}, {-1, ""}, {-1, ""}};
  auto row = expected.begin();
  for (const auto& type : types) {
    EXPECT_EQ(type->type_id, row->first);
    EXPECT_EQ(type->type_name, row->second);
    ++row;
  }
  types.clear();
  EXPECT_TRUE(pdu_.DecodeEvidenceTypePutReq(types, R"({"EvidenceTypeList":{"EvidenceType":{"ID":3,"Name":"one"}}})"));
  ASSERT_EQ(types.size(), 1U) << "a single entry may stand without its list";
  EXPECT_EQ(types.front()->type_name, "one");
  types.clear();
  EXPECT_TRUE(pdu_.DecodeEvidenceTypePutReq(types, "{}"));
  EXPECT_TRUE(types.empty());
}

TEST_F(TypeMessagesTest, GetAnswer) {
  const std::list<EvidenceTypePtr> types{Type(0, "Other"), Type(6, ""), Type(7, "a\"/\\\n")};
  EXPECT_TRUE(pdu_.EncodeEvidenceTypeGetRsp(body_, {}, {3, -1, 10}, types, {}));
  EXPECT_EQ(body_,
            R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"TotalNum":3,"PageSize":10,)"
            R"("EvidenceTypeList":{"EvidenceType":[{"ID":0,"Name":"Other"},{"ID":6},{"ID":7,"Name":"a\"/\\\n"}]}}}})");
  EXPECT_TRUE(pdu_.EncodeEvidenceTypeGetRsp(body_, {}, {-1, -1, -1}, {Type(8, "")}, {2}));
  EXPECT_EQ(body_, R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"TotalNum":1,)"
                   R"("EvidenceTypeList":{"EvidenceType":[{"ID":8,"Method":2}]}}}})");
  EXPECT_TRUE(pdu_.EncodeEvidenceTypeGetRsp(body_, {0, 9820, {}}, {-1, 1, 0}, {}, {}));
  EXPECT_EQ(body_, R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":9820,"Data":{"PageIndex":1,"PageSize":0,)"
                   R"("EvidenceTypeList":{}}}})");
}

TEST_F(TypeMessagesTest, PutAnswerReportsPartialFailure) {
  EXPECT_TRUE(pdu_.EncodeEvidenceTypePutRsp(body_, {}, {}));
  EXPECT_EQ(body_, R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"EvidenceTypeErrorList":{}}}})");
  EXPECT_TRUE(pdu_.EncodeEvidenceTypePutRsp(body_, {0, 10, {}}, {Refused(6, "a", 0, 0)}));
  EXPECT_NE(body_.find(R"("ErrorCode":10,)"), std::string::npos) << "an entry without a code is no failure";
  EXPECT_TRUE(pdu_.EncodeEvidenceTypePutRsp(
      body_, {0, 15, {}}, {Refused(0, "zero", 0, 9808), Refused(-1, "new", 3, 0), Refused(7, "", 0, 2)}));
  EXPECT_EQ(body_, R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":99999,"Data":{"EvidenceTypeErrorList":)"
                   R"({"EvidenceTypeError":[{"ID":0,"Error":{"ErrorModule":0,"ErrorCode":9808}},)"
                   R"({"Name":"new","Error":{"ErrorModule":3,"ErrorCode":0}},)"
                   R"({"ID":7,"Name":"","Error":{"ErrorModule":0,"ErrorCode":2}}]}}}})");
}

TEST_F(TypeMessagesTest, SingleAnswers) {
  EXPECT_TRUE(pdu_.EncodeEvidenceTypeIDGetRsp(body_, {}, Type(6, "a")));
  EXPECT_EQ(body_, R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"EvidenceType":{"ID":6,"Name":"a"}}}})");
  EXPECT_TRUE(pdu_.EncodeEvidenceTypeIDGetRsp(body_, {}, Type(0, "Other")));
  EXPECT_EQ(body_, R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"EvidenceType":{"ID":0}}}})");
  EXPECT_TRUE(pdu_.EncodeEvidenceTypeIDGetRsp(body_, {0, 9809, {}}, nullptr));
  EXPECT_EQ(body_, R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":9809,"Data":{}}})");
  EXPECT_TRUE(pdu_.EncodeEvidenceTypeIDPutRsp(body_, {0, -1, {}}));
  EXPECT_EQ(body_, R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":4294967295}})");
}

}  // namespace
