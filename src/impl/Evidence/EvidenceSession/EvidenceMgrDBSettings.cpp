#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "Common/NewRecord.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/EvidenceSession/Statement.h"
#include "impl/Evidence/PrivateAESEncrypt.h"

namespace Evidence {
namespace {

/// `storage_type` of enabled settings, whatever the row says.
constexpr std::int32_t kStorageTypeWhenEnabled = 1;

/// Reads the row into `settings`; false with its pair when the password cannot be decrypted, everything else read.
bool ReadSettings(_tag_FTPSettings_& settings, const kelp::IDBResultSet& row,
                  Operation operation = Operation::current()) {
  settings.enable = row.GetInt("enable") == 1;
  settings.type = row.GetInt("type");
  settings.address = row.GetString("address");
  settings.port = row.GetInt("port");
  settings.username = row.GetString("username");
  const std::string password = row.GetString("password");
  settings.path = row.GetString("path");
  settings.storage_type = settings.enable ? kStorageTypeWhenEnabled : row.GetInt("storage_type");
  settings.pool_name = row.GetString("pool_name");
  if (password.empty() || PrivateEncrypt::PrivateAESDecrypt(settings.password, password)) return true;
  EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]PrivateEncrypt::PrivateAESDecrypt failed[%s(%d)]");
  return Fail(kDecryptionFailed);
}

}  // namespace

constexpr char kSqlReadSettings[] = "SELECT * FROM evidence.ftp_setting WHERE ID = 0 AND deleted = 0";

bool CEvidenceMgrDBByPG::GetFTPSettings(FTPSettingsPtr& settings) {
  bool found = false;
  const bool done = Statement::Query(kSqlReadSettings, [&](const kelp::IDBResultSet* rows) {
    if (rows == nullptr) {
      Orv::Base::Error::SetLastError({0, kStatementFailed});
      EVIDENCE_LOG(kLogFailure, "[%s]Query ftp settings failed.[%s(%d)]");
      return;
    }
    settings = NewRecord<_tag_FTPSettings_>();
    found = settings && ReadSettings(*settings, *rows);
  });
  if (done) return found;
  EVIDENCE_LOG(kLogFailure, "[%s]Query ftp settings failed.[%s(%d)]");
  return Fail(kStatementFailed);
}

constexpr char kSqlUpdateSettings[] =
    "UPDATE evidence.ftp_setting SET enable = %d, type = %d, address = '%s', port = %d, username = '%s', password = "
    "'%s', path = '%s', storage_type = %d, pool_name = '%s' , update_time = '%s' WHERE ID = 0 AND deleted = 0";

bool CEvidenceMgrDBByPG::UpdateFTPSettings(const FTPSettingsPtr& settings) {
  if (!settings) return Fail(kBadInput);
  const std::string now = Statement::UtcStampNow();
  std::string stored;
  if (!settings->password.empty() && !PrivateEncrypt::PrivateAESEncrypt(stored, settings->password)) {
    EVIDENCE_LOG(kLogFailure, "[%s]PrivateEncrypt::PrivateAESEncrypt failed[%s(%d)]");
    return Fail(kEncryptionFailed);
  }
  using Statement::Escaped;
  using Statement::Format;
  const std::string sql = Statement::Format(
      kSqlUpdateSettings, settings->enable ? 1 : 0, settings->type, Escaped(settings->address).c_str(), settings->port,
      Escaped(settings->username).c_str(), Escaped(stored).c_str(), Escaped(settings->path).c_str(),
      settings->storage_type, Escaped(settings->pool_name).c_str(), now.c_str());
  if (Statement::Execute(sql)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Update FTP settings failed, sql[%s].[%s(%d)]", sql.c_str());
  return Fail(kStatementFailed);
}

}  // namespace Evidence
