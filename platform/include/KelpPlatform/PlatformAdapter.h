#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "KelpPlatform/MsgBus.h"
#include "OrvBase/Export.h"

namespace kelp {

/// Permission codes of a session's user, by the kind of client they apply to.
class IClientPermissionApi {
 public:
  virtual ~IClientPermissionApi() = default;

  /// Both false for an unknown or empty session.
  [[nodiscard]] virtual bool HaveWebClientPermission(const std::string& session, int code) = 0;
  [[nodiscard]] virtual bool HaveCSClientPermission(const std::string& session, int code) = 0;
};

/// A device that elements belong to.
struct SDeviceBaseInfo {
  std::int32_t device_id = -1;
  /// Rules distinguish only kMobileDevice; the other values are the platform's own.
  std::int32_t device_type = -1;
  std::string device_name;
};

/// `device_type` of a mobile surveillance device.
inline constexpr std::int32_t kMobileDevice = 2026;

/// A camera or another element of a device.
struct SElementBaseInfo {
  std::int32_t element_id = -1;
  std::string element_name;
  /// -1 when the element belongs to no device.
  std::int32_t element_device_id = -1;
  /// Null when the element belongs to no device or its device is unknown.
  std::shared_ptr<SDeviceBaseInfo> device_base;
};

/// Cameras and other elements. Served from memory; thread-safe.
class IElementApi {
 public:
  virtual ~IElementApi() = default;

  /// False, with `out` untouched, when there is no such element. `reserved` is always 0.
  [[nodiscard]] virtual bool GetElementInfo(SElementBaseInfo& out, std::int32_t element_id, std::int32_t reserved) = 0;
};

/// A device as it is connected.
class IDeviceObject {
 public:
  virtual ~IDeviceObject() = default;
  [[nodiscard]] virtual std::int32_t GetProtocolType() = 0;
};

/// `GetProtocolType` of the Roamlink protocol.
inline constexpr std::int32_t kRoamlinkProtocol = 3;

/// Devices. Served from memory; thread-safe.
class IDeviceApi {
 public:
  virtual ~IDeviceApi() = default;

  /// Null when there is no device of that id and type.
  [[nodiscard]] virtual std::shared_ptr<IDeviceObject> GetDeviceObject(std::int32_t device_id,
                                                                       std::int32_t device_type) = 0;
};

/// Change versions of dictionaries, and the platform's log of failed operations.
class ISystemAndLogAPI {
 public:
  virtual ~ISystemAndLogAPI() = default;

  /// Records that a resource changed; methods: 0 add, 1 modify, 2 delete. Versions follow the commit order.
  [[nodiscard]] virtual bool AddIncreResouce(int resource_type, std::uint64_t resource_id, int method) = 0;  // sic

  /// Logs a failed operation with its (main, sub) error pair; returns 0 on success. `sub_type` is always -1 and
  /// `reserved` always empty.
  [[nodiscard]] virtual int WriteOperatorLog(const std::string& session, int log_type, std::int64_t object_id,
                                             const std::string& object_name, int sub_type, const std::string& reserved,
                                             int main_code, int sub_code) = 0;
};

/// Access to the platform's interfaces. Each result may be null; `wait` is always true.
class IPlatformAdapterInterface {
 public:
  virtual ~IPlatformAdapterInterface() = default;

  /// The process's adapter; never null. Until one is installed, a placeholder returns null for every interface.
  PLATFORM_API static std::shared_ptr<IPlatformAdapterInterface> Instance();

  virtual void GetMsgBus(std::shared_ptr<IMsgBus>& bus, bool wait) = 0;
  virtual void GetClientPermissionApi(std::shared_ptr<IClientPermissionApi>& api, bool wait) = 0;
  [[nodiscard]] virtual std::shared_ptr<IElementApi> GetElementApi(bool wait) = 0;
  [[nodiscard]] virtual std::shared_ptr<IDeviceApi> GetDeviceApi(bool wait) = 0;
  [[nodiscard]] virtual std::shared_ptr<ISystemAndLogAPI> GetSystemAndLogApi(bool wait) = 0;
};

}  // namespace kelp
