#pragma once

#include <memory>
#include <string>

#include "OrvBase/Noncopyable.h"
#include "impl/Evidence/EvidenceManager.h"
#include "impl/Evidence/EvidenceUserInterface.h"

namespace Evidence {

/// Owns the plugin's two long-lived objects, starts and stops them. Initialize and Finalize are called once each, in
/// this order, on the host's thread.
class CEvidenceModule : public Orv::Base::CNoncopyable {
 public:
  /// The singleton, created on first use; lives until the library is unloaded.
  static const std::shared_ptr<CEvidenceModule>& Instance();

  /// Creates the manager and the user interface. Does not access the database.
  CEvidenceModule();

  /// Starts, in this order: connection numbers, database, language table, manager, message loop, request service. False
  /// when the database, the manager or the loop fails; Finalize then cleans up.
  [[nodiscard]] bool Initialize();

  /// Stops them in reverse order. Safe after a failed Initialize.
  void Finalize();

  /// Loads the plugin's texts and selects English. `file_name` is ignored: the texts come from the locale directory
  /// next to the executable.
  [[nodiscard]] bool LoadMultiLanguage(const std::string& file_name);

  /// The numbers of connections from ConnsLimit.xml for the server's size class; 5 and 10 by default. False only when
  /// the file cannot be read.
  [[nodiscard]] bool GetDbConnMaxMinNumByServerStandards(int& config_connections, int& log_connections);

 private:
  const std::shared_ptr<CEvidenceManager> manager_;
  const std::shared_ptr<CEvidenceUserInterface> user_interface_;
};

}  // namespace Evidence
