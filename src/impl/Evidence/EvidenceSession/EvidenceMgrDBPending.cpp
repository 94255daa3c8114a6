// Operations that are not built yet: (0, 1).

#include "Common/ErrorCodes.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"

namespace Evidence {

bool CEvidenceMgrDBByPG::GetFTPSettings(FTPSettingsPtr&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::UpdateFTPSettings(const FTPSettingsPtr&) { return Fail(kObjectMissing); }

}  // namespace Evidence
