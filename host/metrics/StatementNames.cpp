#include "metrics/StatementNames.h"

namespace host {

platform::Beginnings StatementNames() {
  return platform::Beginnings({
      {"SELECT * FROM evidence.evidence WHERE ", "list_evidences"},
      {"SELECT COUNT(id)  FROM evidence.evidence ", "count_evidences"},
      {"SELECT * FROM evidence.evidence WHERE ID = ", "read_evidence"},
      {"SELECT * FROM evidence.evidence WHERE guid = ", "read_evidence"},
      {"SELECT ID, name FROM evidence.evidence ", "read_evidence"},
      {"SELECT count(*) FROM evidence.evidence ", "count_evidences"},
      {"SELECT label FROM evidence.evidence ", "read_labels"},
      {"INSERT INTO evidence.evidence ", "add_evidence"},
      {"UPDATE evidence.evidence SET ", "change_evidence"},
      {"SELECT * FROM evidence.evidence_custom_info ", "read_values"},
      {"INSERT INTO evidence.evidence_custom_info ", "add_values"},
      {"UPDATE evidence.evidence_custom_info ", "change_values"},
      {"SELECT * FROM evidence.evidence_file ", "read_files"},
      {"SELECT id, evidence_id FROM evidence.evidence_file ", "read_files"},
      {"SELECT evidence_id, file_name FROM evidence.evidence_file ", "read_files"},
      {"SELECT ID, evidence_id, file_name FROM evidence.evidence_file ", "read_files"},
      {"SELECT count(*) FROM evidence.evidence_file ", "count_files"},
      {"SELECT file_type, count(*) FROM evidence.evidence_file ", "count_files"},
      {"INSERT INTO evidence.evidence_file ", "add_files"},
      {"UPDATE evidence.evidence_file ", "change_files"},
      {"SELECT * FROM evidence.operation_log ", "read_history"},
      {"INSERT INTO evidence.operation_log ", "add_history"},
      {"SELECT NEXTVAL(", "next_id"},
      {"SELECT * FROM evidence.evidence_", "read_dictionary"},
      {"INSERT INTO evidence.evidence_", "change_dictionary"},
      {"UPDATE evidence.evidence_", "change_dictionary"},
      {"SELECT pg_advisory_xact_lock(711, 2); INSERT INTO platform.incre_resource ", "add_change_notice"},
      {"SELECT pg_advisory_xact_lock(713, 0); INSERT INTO filemanager.file ", "open_upload"},
      {"UPDATE filemanager.file ", "change_file"},
      {"SELECT f.id AS id", "read_file"},
      {"SELECT l.file_id AS id", "read_file"},
      {"INSERT INTO platform.operation_log ", "add_operation"},
      {"INSERT INTO platform.auth_event ", "add_auth_event"},
      {"SELECT revision FROM platform.", "poll_revision"},
      {"BEGIN", "transaction"},
      {"COMMIT", "transaction"},
      {"ROLLBACK", "transaction"},
  });
}

}  // namespace host
