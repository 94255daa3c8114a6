// Bodies of the storage settings in both generations.

#include "unit/plugin/MessageTest.h"

namespace {

using Evidence::CEvidencePduJson;
using Evidence::FTPSettingsPtr;
using messages::Answer;
using messages::Fields;
using messages::Request;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;

/// Opens and seals for the session "s" alone; one text and its seal.
class Sealer final : public evidence_test::AuthenticationStub {
 public:
  bool AESEncryptClient(std::string& cipher, const std::string& plain, const std::string& session) override {
    if (session == "s") cipher = plain + " by " + session;
    return session == "s";
  }
  bool AESDecrypt(std::string& plain, const std::string& cipher, const std::string& session) override {
    if (session == "s" && cipher == "sealed") plain = "opened";
    return session == "s" && cipher == "sealed";
  }
};

class SettingsMessagesTest : public messages::MessageTest {
 protected:
  using Decoder = bool (CEvidencePduJson::*)(FTPSettingsPtr&, const std::string&, const std::string&);
  static constexpr Decoder kOlder = &CEvidencePduJson::DecodeFTPSettingsPutReq;
  static constexpr Decoder kNewer = &CEvidencePduJson::DecodeEvidenceSettingsPutReq;

  /// The record as one text, or the code of the refusal.
  std::string Decoded(Decoder decode, const std::string& body, const std::string& session = "s") {
    FTPSettingsPtr s;
    if (!(pdu_.*decode)(s, session, body)) return std::to_string(GetLastError().SubCode());
    return Fields(s->enable, s->type, s->address, s->port, s->username, s->password, s->path, s->storage_type,
                  s->pool_name);
  }

  platform::ScopedBackend<platform::IAuthenticationBackend> sealer_{std::make_shared<Sealer>()};
};

TEST_F(SettingsMessagesTest, PutRequests) {
  EXPECT_EQ(Decoded(kOlder, Request("ftp_settings_put")), "1 1 10.0.0.9 21 keeper opened /in 1 ");
  EXPECT_EQ(Decoded(kNewer, Request("evidence_settings_put")), "1 0 10.0.0.9 21 keeper opened /in 1 pool");
  EXPECT_TRUE(platform_.sink->Has(3, "]Put FTPSETTING: FTP enable : true, storage_type : 1, poolname : pool!["));
  for (const auto& [decoder, request] : {std::pair{kOlder, "ftp_settings_put"}, {kNewer, "evidence_settings_put"}})
    EXPECT_EQ(Decoded(decoder, Request(request), "stranger"), "253") << request;
  EXPECT_TRUE(platform_.sink->Has(5, "]AESDecrypt failed.["));
}

TEST_F(SettingsMessagesTest, PutRequestsAreChecked) {
  struct Case {
    Decoder decode;
    std::string body;
    std::string outcome;
    const char* log = "";
  };
  for (const Case& c : {
           Case{kOlder, R"({"FTPSettings":{}})", "2", "]DecodeFTPSettingsGetReq failed, Enable node is not exist!["},
           Case{kOlder, R"({"FTPSettings":{"Enable":"2"}})", "2",
                "]DecodeFTPSettingsGetReq failed, Enable is not 0 or 1!["},
           Case{kOlder, R"({"FTPSettings":{"Enable":true}})", "2"},
           Case{kOlder, R"({"FTPSettings":{"Enable":"0","FTPType":"9","StorageInfo":{"Type":1}}})", "0 0  0    1 "},
           Case{kOlder, R"({"FTPSettings":{"Enable":1,"FTPType":"9","StorageInfo":{"Type":0,"PoolName":"p"}}})",
                "1 0  0    0 "},
           Case{kOlder, R"({"FTPSettings":{"Enable":1,"StorageInfo":{"Type":1}}})", "2",
                "]DecodeFTPSettingsGetReq failed, FTPType is not 0 or 1!["},
           Case{kNewer, "{}", "0 0  0    -1 ", "]Put FTPSETTING: FTP enable : false, storage_type : -1, poolname : !["},
           Case{kNewer, R"({"EvidenceSettings":{"Type":0,"FTPInfo":{"FTPType":1},"LocalInfo":{"PoolName":"p"}}})",
                "0 0  0    0 p"},
           Case{kNewer, R"({"EvidenceSettings":{"Type":1,"FTPInfo":{"FTPType":"01"}}})", "2"},
           Case{kNewer, R"({"EvidenceSettings":{"Type":1,"FTPInfo":{"FTPType":1,"Password":""}}})", "2",
                "]DecodeFTPSettingsGetReq failed, Password is empty!["},
       }) {
    EXPECT_EQ(Decoded(c.decode, c.body), c.outcome) << c.body;
    EXPECT_TRUE(*c.log == '\0' || platform_.sink->Has(5, c.log) || platform_.sink->Has(3, c.log)) << c.body;
  }
}

TEST_F(SettingsMessagesTest, GetAnswers) {
  const auto settings = std::make_shared<Evidence::_tag_FTPSettings_>(
      Evidence::_tag_FTPSettings_{true, -1, "10.0.0.9", -1, "keeper", "opened", "/in", -1, "pool"});
  EXPECT_TRUE(pdu_.EncodeFTPSettingsGetRsp(response_, "s", {}, settings));
  EXPECT_EQ(response_, Answer("ftp_settings_get"));
  EXPECT_TRUE(pdu_.EncodeEvidenceSettingsGetRsp(response_, "stranger", {}, settings));
  EXPECT_EQ(response_, Answer("evidence_settings_get"));
  EXPECT_TRUE(platform_.sink->Has(5, "]AESEncryptClient failed.["));
  settings->password.clear();
  EXPECT_TRUE(pdu_.EncodeEvidenceSettingsGetRsp(response_, "stranger", {0, 15, {}}, settings));
  EXPECT_NE(response_.find(R"("ErrorCode":15,)"), std::string::npos) << "nothing to seal";
  for (const auto encode :
       {&CEvidencePduJson::EncodeFTPSettingsGetRsp, &CEvidencePduJson::EncodeEvidenceSettingsGetRsp}) {
    EXPECT_TRUE((pdu_.*encode)(response_, "s", {0, 15, {}}, nullptr));
    EXPECT_EQ(response_, R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":15}})");
  }
}

}  // namespace
