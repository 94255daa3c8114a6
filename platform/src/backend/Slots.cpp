#include <mutex>
#include <utility>

#include "Backend.h"

namespace platform {
namespace {

template <class Interface>
struct Place {
  std::mutex mutex;
  std::shared_ptr<Interface> object;
};

/// Never destroyed: threads that outlive main may still log.
template <class Interface>
Place<Interface>& PlaceOf() {
  static auto* const place = new Place<Interface>();
  return *place;
}

}  // namespace

template <class Interface>
std::shared_ptr<Interface> Slot<Interface>::Get() {
  auto& place = PlaceOf<Interface>();
  const std::lock_guard lock(place.mutex);
  return place.object;
}

template <class Interface>
std::shared_ptr<Interface> Slot<Interface>::Exchange(std::shared_ptr<Interface> next) {
  auto& place = PlaceOf<Interface>();
  const std::lock_guard lock(place.mutex);
  return std::exchange(place.object, std::move(next));
}

template class Slot<kelp::IDBManager>;
template class Slot<kelp::IThreadManager>;
template class Slot<kelp::IMultiLanguageMgr>;
template class Slot<kelp::IPlatformAdapterInterface>;
template class Slot<plugin_comm::IPluginCommManager>;
template class Slot<IAuthenticationBackend>;
template class Slot<IIncreResourceBackend>;
template class Slot<ILogBackend>;
template class Slot<ISystemBackend>;
template class Slot<ILogSink>;
template class Slot<IHttpRoutes>;

}  // namespace platform
