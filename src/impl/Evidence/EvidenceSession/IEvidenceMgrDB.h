#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "impl/Evidence/EvidenceRecords.h"

namespace Evidence {

/// The plugin's only way to its database. Each operation builds a statement text, runs it as one call
/// and maps rows; it never retries. A bool is false with the last error (0, 15) when the statement failed;
/// an empty list is true and sends nothing. Stateless: any thread.
class IEvidenceMgrDB {
 public:
  virtual ~IEvidenceMgrDB() = default;

  // Type
  /// The next key of the type table; -1 with (0, 15) on failure.
  [[nodiscard]] virtual std::int32_t QueryEvidenceTypeSeqID() = 0;
  /// Sets the type of every live evidence that has one of these types to -1.
  [[nodiscard]] virtual bool DeleteEvidenceTypeInEvidence(const std::vector<std::int32_t>& type_ids) = 0;
  /// Appends every live row.
  [[nodiscard]] virtual bool ReadAllEvidenceTypes(std::list<EvidenceTypePtr>& types) = 0;
  [[nodiscard]] virtual bool InsertEvidenceTypes(const std::list<EvidenceTypePtr>& types) = 0;
  [[nodiscard]] virtual bool UpdateEvidenceTypes(const std::list<EvidenceTypePtr>& types) = 0;
  /// Marks the rows deleted.
  [[nodiscard]] virtual bool DeleteEvidenceTypes(const std::list<std::int32_t>& type_ids) = 0;
  /// The name of a row, live or deleted; true with an empty name when there is no such row.
  [[nodiscard]] virtual bool QueryEvidenceTypeNameById(std::string& name, std::int32_t type_id) = 0;

  // Custom
  /// Appends every live row, without options.
  [[nodiscard]] virtual bool ReadAllEvidenceCustoms(std::list<EvidenceCustomPtr>& customs) = 0;
  /// Fills the options of each custom that can have any.
  [[nodiscard]] virtual bool ReadAllCustomOptions(std::list<EvidenceCustomPtr>& customs) = 0;
};

}  // namespace Evidence
