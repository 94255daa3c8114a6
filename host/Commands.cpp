#include "Commands.h"

#include <cstdio>

#include "Backend.h"
#include "Database.h"
#include "OpenCommand.h"
#include "Serve.h"
#include "cameras/CameraFile.h"
#include "cameras/Cameras.h"

namespace host {

int FinishCommand(const std::string& fault) {
  platform::Slot<kelp::IDBManager>::Exchange(nullptr);
  platform::Slot<platform::ILogSink>::Exchange(nullptr);
  if (fault.empty()) return 0;
  std::fprintf(stderr, "evidence-host: %s\n", fault.c_str());
  return 1;
}

std::string OpenForCommand(const Settings& settings) {
  auto fault = OpenLog(settings);
  if (fault.empty()) fault = OpenDatabase(settings);
  return fault.empty() ? CheckSchemaVersion(SqlDirectory(settings)) : fault;
}

int RunSetup(const Settings& settings) {
  auto fault = OpenLog(settings);
  int version = 0;
  if (fault.empty()) fault = SetUpSchema(OwnerConnection(settings), SqlDirectory(settings), version);
  if (fault.empty()) std::printf("schema version %d\n", version);
  return FinishCommand(fault);
}

int RunCamerasLoad(const Settings& settings, const std::string& file) {
  CameraList list;
  auto fault = ReadCameraFile(file, list);
  if (fault.empty()) fault = OpenForCommand(settings);
  if (fault.empty()) fault = ReplaceCameras(list);
  if (fault.empty()) std::printf("%zu devices, %zu elements\n", list.devices.size(), list.elements.size());
  return FinishCommand(fault);
}

int RunCamerasList(const Settings& settings) {
  auto fault = OpenForCommand(settings);
  CameraList list;
  if (fault.empty() && !ReadCameras(list)) fault = "the cameras cannot be read";
  for (const auto& device : list.devices) {
    std::printf("device\t%d\ttype %d\tprotocol %d\t%s\n", device.id, device.type, device.protocol, device.name.c_str());
  }
  for (const auto& element : list.elements) {
    const auto device = element.device_id == kNoDevice ? "-" : std::to_string(element.device_id);
    std::printf("element\t%d\tdevice %s\t%s\n", element.id, device.c_str(), element.name.c_str());
  }
  return FinishCommand(fault);
}

}  // namespace host
