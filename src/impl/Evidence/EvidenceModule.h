#pragma once

#include <memory>
#include <string>

#include "OrvBase/Noncopyable.h"
#include "impl/Evidence/EvidenceManager.h"
#include "impl/Evidence/EvidenceUserInterface.h"

namespace Evidence {

/// Owns the plugin's two long-lived objects and brings them up and down. Initialize and Finalize come
/// once each, one after the other, on the host's thread.
class CEvidenceModule : public Orv::Base::CNoncopyable {
 public:
  /// The one instance, made at first use; lives until the library is unloaded.
  static const std::shared_ptr<CEvidenceModule>& Instance();

  /// Makes the manager and the user interface. Touches no database.
  CEvidenceModule();

  /// Connection numbers, database, language table, manager, message loop, request service. False when the
  /// database, the manager or the loop does not stand; nothing is undone then, Finalize does it.
  [[nodiscard]] bool Initialize();

  /// The same backwards. Safe after a failed Initialize.
  void Finalize();

  /// Loads the plugin's texts and selects English. `file_name` is not used: the locale directory beside the
  /// executable decides what is loaded.
  [[nodiscard]] bool LoadMultiLanguage(const std::string& file_name);

  /// The numbers of connections from ConnsLimit.xml for the server's size class; 5 and 10 where it tells
  /// none. False only when the file cannot be read.
  [[nodiscard]] bool GetDbConnMaxMinNumByServerStandards(int& config_connections, int& log_connections);

 private:
  const std::shared_ptr<CEvidenceManager> manager_;
  const std::shared_ptr<CEvidenceUserInterface> user_interface_;
};

}  // namespace Evidence
