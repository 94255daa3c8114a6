#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <string_view>

namespace evidence_test {

/// What the header of a class of the evidence plugin declares before its private part.
inline std::string PublicPart(const std::string& header) {
  std::ostringstream text;
  text << std::ifstream(EVIDENCE_SOURCES "/" + header).rdbuf();
  EXPECT_FALSE(text.str().empty()) << header;
  return text.str().substr(0, text.str().find(" private:"));
}

/// Operators search the log by the operations of the evidence plugin: a line begins with "[class::operation]", also
/// when a helper writes it; one of a test begins with the test's name.
inline void ExpectNameOfOperation(std::string_view line) {
  static const std::map<std::string, std::string, std::less<>> kOperations{
      {"Evidence", " FileBatchLinkDecode( ProcRequestSTDFlow("},
      {"PrivateEncrypt", " PrivateAESDecrypt( PrivateAESEncrypt("},
      {"Evidence::CEvidenceManager", PublicPart("impl/Evidence/EvidenceManager.h")},
      {"Evidence::CEvidenceMgrDBByPG",
       PublicPart("impl/Evidence/EvidenceSession/IEvidenceMgrDB.h") + " QueryLastSeqID("},
      {"Evidence::CEvidenceModule", PublicPart("impl/Evidence/EvidenceModule.h")},
      {"Evidence::CEvidencePduJson", PublicPart("usrservice/IEvidencePdu.h") + " UpdateEvidenceInfo("},
      {"Evidence::CTarnCommonFun", PublicPart("Common/CommonFun/TarnCommonFun.h")},
      {"Evidence::CUsrServiceEvidence",
       PublicPart("usrservice/UsrServiceEvidence.h") + " RegisterAPI( RegisterUrlToPlatform( UnRegisterAPI("}};
  if (line.starts_with("[evidence_test::")) return;
  const auto end = line.find(']');
  const auto colons = line.substr(0, end).rfind("::");
  ASSERT_TRUE(line.starts_with('[') && colons < end) << line.substr(0, 200);
  const auto found = kOperations.find(line.substr(1, colons - 1));
  const auto name = " " + std::string(line.substr(colons + 2, end - colons - 2)) + "(";
  EXPECT_TRUE(found != kOperations.end() && found->second.find(name) != std::string::npos)
      << "no operation: " << line.substr(0, 200);
}

}  // namespace evidence_test
