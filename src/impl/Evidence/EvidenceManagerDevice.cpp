#include <algorithm>

#include "Common/EvidenceLog.h"
#include "Common/TextList.h"
#include "impl/Evidence/CameraIds.h"
#include "impl/Evidence/EvidenceManager.h"

namespace Evidence {
namespace {

/// `add_mode` of an evidence that records from cameras, and its two kinds of `upload_mode`.
constexpr std::int32_t kAddFromCameras = 2;
constexpr std::int32_t kUploadInWindow = 1;
constexpr std::int32_t kUploadByWifi = 2;

constexpr std::int32_t kNoDevice = -1;

/// The element interface is requested for each camera: the platform may have withdrawn it meanwhile.
bool ReadElement(kelp::SElementBaseInfo& element, std::int32_t element_id) {
  const auto api = kelp::IPlatformAdapterInterface::Instance()->GetElementApi(true);
  return api && api->GetElementInfo(element, element_id, 0);
}

bool IsRoamlinkCamera(std::int32_t element_id, Operation operation = Operation::current()) {
  kelp::SElementBaseInfo element;
  if (!ReadElement(element, element_id)) {
    EVIDENCE_DEVICE_LOG_OF(operation, kLogFailure, "[%s]GetElementInfo device invalid, element_id : %d[%s(%d)]",
                           element_id);
    return false;
  }
  if (!element.device_base || element.device_base->device_type == kelp::kMobileDevice) return false;
  const auto api = kelp::IPlatformAdapterInterface::Instance()->GetDeviceApi(true);
  const auto device =
      api ? api->GetDeviceObject(element.device_base->device_id, element.device_base->device_type) : nullptr;
  if (!device) {
    EVIDENCE_DEVICE_LOG_OF(operation, kLogFailure, "[%s]GetDeviceObject device failed, device : %d[%s(%d)]",
                           element.device_base->device_id);
    return false;
  }
  return device->GetProtocolType() == kelp::kRoamlinkProtocol;
}

}  // namespace

bool CEvidenceManager::CheckEvidenceAddMode(const EvidencePtr& evidence) {
  if (!evidence) return false;
  if (evidence->add_mode != kAddFromCameras) return true;
  if (evidence->releated_camera_ids.empty() || evidence->record_begin_time.empty() ||
      evidence->record_end_time.empty()) {
    return false;
  }
  if (evidence->upload_mode == kUploadInWindow) {
    return !evidence->upload_begin_time.empty() && !evidence->upload_end_time.empty();
  }
  return evidence->upload_mode == kUploadByWifi;
}

bool CEvidenceManager::HasRoamlinkCamera(const std::string& camera_ids) {
  const auto pieces = SplitText(camera_ids, kCameraSeparator);
  return std::ranges::any_of(pieces, [](const auto& piece) { return IsRoamlinkCamera(ExtractDecimal(piece)); });
}

bool CEvidenceManager::IsCamerasInSameDevice(const std::string& camera_ids) {
  std::int32_t found = kNoDevice;
  for (const auto& piece : SplitText(camera_ids, kCameraSeparator)) {
    kelp::SElementBaseInfo element;
    if (ReadElement(element, ExtractDecimal(piece))) {
      if (element.element_device_id == kNoDevice || !element.device_base) {
        EVIDENCE_DEVICE_LOG_OF(
            Operation::current(), kLogFailure,
            "[%s]GetElementInfo device invalid, device_id : %d, current element_device_id : %d[%s(%d)]", found,
            element.element_device_id);
        continue;
      }
      if (found == kNoDevice) {
        found = element.element_device_id;
        continue;
      }
    }
    if (found != element.element_device_id) {
      found = kNoDevice;
      EVIDENCE_DEVICE_LOG_OF(
          Operation::current(), kLogFailure,
          "[%s]Not all element_id in same device, device_id : %d, current element_device_id : %d[%s(%d)]", found,
          element.element_device_id);
      break;
    }
  }
  return found != kNoDevice;
}

bool CEvidenceManager::NeedsOneDevice(const _tag_Evidence_& evidence) {
  return evidence.add_mode == kAddFromCameras && evidence.upload_mode == kUploadByWifi;
}

}  // namespace Evidence
