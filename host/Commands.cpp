#include "Commands.h"

#include <cstdio>
#include <iostream>

#include "Backend.h"
#include "Database.h"
#include "Serve.h"
#include "accounts/Users.h"
#include "cameras/CameraFile.h"
#include "cameras/Cameras.h"

namespace host {
namespace {

/// Prints `fault` if there is one; returns the exit code.
int Finish(const std::string& fault) {
  platform::Slot<kelp::IDBManager>::Exchange(nullptr);
  platform::Slot<platform::ILogSink>::Exchange(nullptr);
  if (fault.empty()) return 0;
  std::fprintf(stderr, "evidence-host: %s\n", fault.c_str());
  return 1;
}

std::string Open(const Settings& settings) {
  auto fault = OpenLog(settings);
  if (fault.empty()) fault = OpenDatabase(settings);
  return fault.empty() ? CheckSchemaVersion(SqlDirectory(settings)) : fault;
}

std::set<std::pair<ClientKind, int>> Permissions(const PermissionCodes& codes) {
  std::set<std::pair<ClientKind, int>> permissions;
  for (const int code : codes.web)
    permissions.emplace(ClientKind::kWeb, code);
  for (const int code : codes.cs)
    permissions.emplace(ClientKind::kCs, code);
  for (const int code : codes.control)
    permissions.emplace(ClientKind::kControl, code);
  return permissions;
}

std::string CodeList(const UserRecord& user, ClientKind kind) {
  std::string list;
  for (const auto& [code_kind, code] : user.permissions) {
    if (code_kind == kind) list += (list.empty() ? "" : ",") + std::to_string(code);
  }
  return list.empty() ? "-" : list;
}

}  // namespace

int RunSetup(const Settings& settings) {
  auto fault = OpenLog(settings);
  int version = 0;
  if (fault.empty()) fault = SetUpSchema(OwnerConnection(settings), SqlDirectory(settings), version);
  if (fault.empty()) std::printf("schema version %d\n", version);
  return Finish(fault);
}

int RunUserAdd(const Settings& settings, const UserAddOptions& options) {
  NewUser user;
  user.record.name = StoredName(options.name);
  user.record.super_user = options.super_user;
  user.record.permissions = Permissions(options.codes);
  if (options.password_stdin) {
    std::getline(std::cin, user.password);
  } else {
    user.password = GeneratedPassword();
  }
  auto fault = Open(settings);
  if (fault.empty()) fault = AddUser(user);
  if (fault.empty() && !options.password_stdin) {
    std::printf("%s password: %s\n", user.record.name.c_str(), user.password.c_str());
  }
  return Finish(fault);
}

int RunUserList(const Settings& settings) {
  auto fault = Open(settings);
  if (fault.empty()) {
    const auto users = ListUsers();
    if (!users) fault = "the users cannot be read";
    for (const auto& [user, enabled, own_permissions] : users.value_or(std::vector<ListedUser>())) {
      std::printf("%d\t%s\t%s\t%s\tweb %s\tcs %s\tcontrol %s\n", user.id, user.name.c_str(),
                  user.super_user ? "super" : "user", enabled ? "enabled" : "disabled",
                  CodeList(user, ClientKind::kWeb).c_str(), CodeList(user, ClientKind::kCs).c_str(),
                  CodeList(user, ClientKind::kControl).c_str());
    }
  }
  return Finish(fault);
}

int RunUserPermissions(const Settings& settings, const std::string& name, const PermissionCodes& codes) {
  auto fault = Open(settings);
  if (fault.empty()) fault = SetPermissions(StoredName(name), Permissions(codes));
  return Finish(fault);
}

int RunCamerasLoad(const Settings& settings, const std::string& file) {
  CameraList list;
  auto fault = ReadCameraFile(file, list);
  if (fault.empty()) fault = Open(settings);
  if (fault.empty()) fault = ReplaceCameras(list);
  if (fault.empty()) std::printf("%zu devices, %zu elements\n", list.devices.size(), list.elements.size());
  return Finish(fault);
}

int RunCamerasList(const Settings& settings) {
  auto fault = Open(settings);
  CameraList list;
  if (fault.empty() && !ReadCameras(list)) fault = "the cameras cannot be read";
  for (const auto& device : list.devices) {
    std::printf("device\t%d\ttype %d\tprotocol %d\t%s\n", device.id, device.type, device.protocol, device.name.c_str());
  }
  for (const auto& element : list.elements) {
    const auto device = element.device_id == kNoDevice ? "-" : std::to_string(element.device_id);
    std::printf("element\t%d\tdevice %s\t%s\n", element.id, device.c_str(), element.name.c_str());
  }
  return Finish(fault);
}

}  // namespace host
