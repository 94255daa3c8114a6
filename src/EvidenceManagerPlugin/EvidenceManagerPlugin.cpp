#include "Common/Barrier.h"
#include "Common/EvidenceLog.h"
#include "impl/Evidence/EvidenceModule.h"

using Evidence::CEvidenceModule;

/// Starts the plugin; the host calls it once. False: the plugin must not be used, and UnInit may follow.
extern "C" __attribute__((visibility("default"))) bool Init() {
  EVIDENCE_LOG(Evidence::kLogProgress, "[%s]Evidence start init.[%s(%d)]");
  const bool started =
      Evidence::GuardEdge([] { return CEvidenceModule::Instance()->Initialize(); }, [] { return false; });
  if (started) {
    EVIDENCE_LOG(Evidence::kLogProgress, "[%s]Evidence Plugin Initialize success.[%s(%d)]");
  } else {
    EVIDENCE_LOG(Evidence::kLogFailure, "[%s]CEvidenceModule Initialize failed.[%s(%d)]");
  }
  return started;
}

/// Stops the plugin, also after a failed start; always true.
extern "C" __attribute__((visibility("default"))) bool UnInit() {
  Evidence::GuardEdge([] { CEvidenceModule::Instance()->Finalize(); }, [] {});
  EVIDENCE_LOG(Evidence::kLogProgress, "[%s]Evidence Plugin UnInit success.[%s(%d)]");
  return true;
}
