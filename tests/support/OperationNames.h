#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>

namespace evidence_test {

/// The operations of the evidence plugin that write lines, by class. Operators search the log by these names: a line
/// carries that of its operation, also when a helper writes it.
inline const std::map<std::string, std::string, std::less<>> kOperations{
    {"Evidence", "FileBatchLinkDecode ProcRequestSTDFlow"},
    {"Evidence::CEvidenceManager",
     "APILinkFile AddEvidence AddIncreResource DecodeLinkFileReq DelEvidences DeleteEvidenceCustoms "
     "DeleteEvidenceTypes DeleteFromMap Finalize GetDataByKey GetEvidenceByGuid GetEvidenceByID GetEvidenceByIDs "
     "GetEvidenceCustomByName GetEvidenceFileByFileID GetEvidenceFilesCount GetEvidenceLog GetEvidenceTypeByName "
     "GetEvidencesCount GetIncreEvidenceCustoms GetIncreEvidenceTypes HasRoamlinkCamera Initialize "
     "InsertEvidenceCustoms InsertEvidenceFiles InsertEvidenceTypes IsCamerasInSameDevice ModifyEvidenceCustoms "
     "ModifyEvidenceTypes QueryEvidenceFiles QueryEvidences UpdateEvidence UpdateEvidenceFiles UpdateEvidences "
     "WriteEvidenceLog"},
    {"Evidence::CEvidenceMgrDBByPG",
     "DeleteEvidenceCustomInfo DeleteEvidenceCustomInfoByCustomID DeleteEvidenceCustoms DeleteEvidenceFiles "
     "DeleteEvidenceFilesByEvidenceId DeleteEvidenceOutcomes DeleteEvidenceScenes DeleteEvidenceTypeInEvidence "
     "DeleteEvidenceTypes DeleteEvidences DeleteOptions DeleteOptionsByCustom GetEvidenceByGuid GetEvidenceByID "
     "GetEvidenceByIDs GetEvidenceCustomByID GetEvidenceCustomInfo GetEvidenceFileByFileID GetEvidenceFilesCount "
     "GetEvidenceIDAndFileNameByFileID GetEvidenceLabel GetEvidenceLog GetEvidencesCount GetFTPSettings "
     "GetOptionsByCustom InsertEvidence InsertEvidenceCustomInfo InsertEvidenceCustoms InsertEvidenceFiles "
     "InsertEvidenceOutcomes InsertEvidenceScenes InsertEvidenceTypes InsertOptions InsertOptionsByCustom "
     "ModiyfEvidenceFileDigest QueryAllEvidences QueryEvidenceCustomNameById QueryEvidenceFiles "
     "QueryEvidenceOutcomeNameById QueryEvidenceSceneNameById QueryEvidenceTypeNameById QueryEvidences QueryLastSeqID "
     "QueryUnRelatedEvidenceFiles QueryUnRelatedEvidenceFilesNum ReadAllCustomOptions ReadAllEvidenceCustoms "
     "ReadAllEvidenceOutcomes ReadAllEvidenceScenes ReadAllEvidenceTypes UpdateCameraUploadStatus "
     "UpdateCameraUploadSuccList UpdateEvidence UpdateEvidenceCustomInfo UpdateEvidenceCustoms UpdateEvidenceFiles "
     "UpdateEvidenceOutcomes UpdateEvidenceScenes UpdateEvidenceTypes UpdateFTPSettings UpdatetOptions "
     "WriteEvidenceLog"},
    {"Evidence::CEvidenceModule", "GetDbConnMaxMinNumByServerStandards Initialize LoadMultiLanguage"},
    {"Evidence::CEvidencePduJson",
     "DecodeAPIEvidencePUTReq DecodeAPIEvidenceTypePostReq DecodeEvidenceCustomGetReq DecodeEvidenceCustomPutReq "
     "DecodeEvidenceDeleteReq DecodeEvidenceFilesDeleteReq DecodeEvidenceGetReq DecodeEvidenceIDDeleteReq "
     "DecodeEvidenceIDFilesPostReq DecodeEvidenceIDGetReq DecodeEvidenceIDPutReq DecodeEvidenceOutcomeGetReq "
     "DecodeEvidenceOutcomeIDPutReq DecodeEvidenceOutcomePutReq DecodeEvidencePostReq DecodeEvidencePutReq "
     "DecodeEvidenceSceneGetReq DecodeEvidenceSceneIDPutReq DecodeEvidenceScenePutReq DecodeEvidenceSettingsPutReq "
     "DecodeEvidenceTypeGetReq DecodeEvidenceTypeIDPutReq DecodeEvidenceTypePutReq DecodeFTPSettingsPutReq "
     "DecodeModifyEvidenceFilesDigestPutReq DecodeUnrelatedFilesGetReq DecodeUploadCancelReq DecodeUploadStatusGetReq "
     "DecodeWriteEvidenceLogPostReq EncodeAPIEvidencePutRsp EncodeAPIEvidenceTypePostRsp EncodeEvidenceCustomGetRsp "
     "EncodeEvidenceGetRsp EncodeEvidenceIDGetRsp EncodeEvidenceSettingsGetRsp EncodeFTPSettingsGetRsp "
     "UpdateEvidenceInfo"},
    {"Evidence::CTarnCommonFun", "CheckConfigPermission CheckOperatePermission"},
    {"Evidence::CUsrServiceEvidence",
     "CheckUsersDelEvidencePerm DelEvidenceLog Evidence_Evidence Evidence_Evidence_API Evidence_Evidence_ID "
     "Evidence_Evidence_ID_Files Evidence_Evidence_Type_API Evidence_FilesBatchLinkEvidences "
     "FileBatchLinkEvidencesPOST FileBatchLinkEvidencesPUT FilesBatchLinkEvidence FilesBatchUnLinkEvidence Init "
     "ParseEvidenceLog ParsePutEvidenceLog ProcEvidenceCustomGet ProcEvidenceCustomPut ProcEvidenceDelete "
     "ProcEvidenceIDDelete ProcEvidenceIDFilesPost ProcEvidenceIDPut ProcEvidencePost ProcEvidencePut "
     "ProcOperationLogPost RegisterAPI RegisterUrlToPlatform UnRegisterAPI WriteLog"},
    {"PrivateEncrypt", "PrivateAESDecrypt PrivateAESEncrypt"},
};

/// A line of the plugin begins with "[class::operation]"; one of a test with the test's name.
inline void ExpectNameOfOperation(std::string_view line) {
  if (line.starts_with("[evidence_test::")) return;
  const auto end = line.find(']');
  const auto colons = line.substr(0, end).rfind("::");
  ASSERT_TRUE(line.starts_with('[') && colons < end) << line.substr(0, 200);
  const auto found = kOperations.find(line.substr(1, colons - 1));
  const auto name = " " + std::string(line.substr(colons + 2, end - colons - 2)) + " ";
  EXPECT_TRUE(found != kOperations.end() && (" " + found->second + " ").find(name) != std::string::npos)
      << "no operation: " << line.substr(0, 200);
}

}  // namespace evidence_test
