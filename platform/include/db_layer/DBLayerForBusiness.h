#pragma once

#include "OrvBase/Export.h"

namespace db_layer {

class CDBLayerForBusiness {
 public:
  /// The server's size class: 1 high, 2 middle, 3 lower. False, with `standard` untouched, when it
  /// is not known.
  PLATFORM_API static bool GetServerStandardsForDBConnect(int& standard);
};

}  // namespace db_layer
