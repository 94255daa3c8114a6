#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "Common/Operation.h"
#include "KelpPlatform/PlatformAdapter.h"
#include "OrvBase/Noncopyable.h"
#include "impl/Evidence/EvidenceRecords.h"
#include "impl/Evidence/EvidenceSession/IEvidenceMgrDB.h"

namespace Evidence {

/// Writes a line of the platform's log for a change: the names that changed and the log type.
using LogFunction = std::function<void(const std::vector<std::string>&, int)>;

/// The labels of a label text, "a|b|c"; empty pieces are dropped.
[[nodiscard]] std::list<std::string> SplitLabels(const std::string& text);

/// `added`: the labels of `wanted` that `current` lacks, in the order of `wanted`; `removed`: the labels of `current`
/// that `wanted` lacks, in the order of `current`. A label that occurs twice in one list occurs twice in the result.
/// Linear in the length of the lists.
void DiffLabels(const std::list<std::string>& wanted, const std::list<std::string>& current,
                std::list<std::string>& added, std::list<std::string>& removed);

/// Whether AddEvidence stored the evidence: it returns 0 when it did not start, -1 when the evidence was refused.
[[nodiscard]] constexpr bool IsEvidenceId(std::uint32_t id) { return id != 0 && id != 0xFFFFFFFF; }

/// The rules, the limits and the in-memory state. Created once by the module; lives until the library is unloaded.
/// Operations may be called on any thread, Initialize and Finalize on the host's.
///
/// Unless documented otherwise an operation has two preconditions: it fails with (0, 9820) while the manager is not
/// running, and with (0, 1) without a store. A bool is false on failure, with the pair in the thread's last error.
/// Batches report refused entries in their error list and continue.
class CEvidenceManager : public Orv::Base::CNoncopyable {
 public:
  /// Uses the PostgreSQL store. Does not access the database.
  CEvidenceManager();
  /// Uses the caller's store; with null every operation fails with (0, 1). A deletion logs its progress once per
  /// interval.
  explicit CEvidenceManager(std::shared_ptr<IEvidenceMgrDB> store,
                            std::chrono::milliseconds progress_interval = std::chrono::seconds(5));

  /// Loads the dictionaries and creates the worker loop. After a failed read the loop is created nevertheless and the
  /// manager stays closed; without the platform's element interface neither is there. A second call on a running
  /// manager reloads nothing and requests the loop again.
  [[nodiscard]] bool Initialize();

  /// Closes the manager; always true. Calls that have passed the entry test continue.
  bool Finalize();

  // Evidence

  /// Stores a new evidence with its attribute values and returns its id, also set in `evidence`. On failure it returns
  /// 0 for (0, 9820), (0, 2) without a record and (0, 1), and -1 for all others: (0, 2) for an invalid field, (0, 9805)
  /// for a guid in use, (0, 120002) to (0, 120005), (0, 15) when it could not be stored. An evidence whose values were
  /// refused by the store remains without them.
  [[nodiscard]] std::uint32_t AddEvidence(const EvidencePtr& evidence);

  /// Replaces the evidence with the id of `evidence`; its camera, upload and record fields are kept. `record` receives
  /// the changes, even when storing them fails. (0, 2), (0, 9804), (0, 9805), (0, 120005), (0, 15).
  [[nodiscard]] bool UpdateEvidence(const EvidencePtr& evidence, operation_record& record);

  /// Changes the status of each evidence (id and status are read). `results` receives one entry per evidence, refused
  /// or not; `records` one record per status that differs. False when any was refused, or with (0, 2) for more than
  /// Limits::kChangedEvidences.
  [[nodiscard]] bool UpdateEvidences(std::list<EvidenceErrInfoPtr>& results, const std::list<EvidencePtr>& evidences,
                                     std::vector<operation_record>& records);

  /// With cameras and attribute values; the options are named from the table. (0, 9804) when there is no such live
  /// evidence or it cannot be read, (0, 2) for an id of -1.
  [[nodiscard]] bool GetEvidenceByID(EvidencePtr& evidence, std::int32_t evidence_id);
  /// Without cameras and values. An id of -1 sets (0, 2) and is queried nevertheless; more ids than
  /// Limits::kReadEvidences are (0, 2).
  [[nodiscard]] bool GetEvidenceByIDs(std::list<EvidencePtr>& evidences, IdList evidence_ids);
  /// Without cameras and values; (0, 9804) when the guid is not in use.
  [[nodiscard]] bool GetEvidenceByGuid(EvidencePtr& evidence, const std::string& guid);
  /// Sets no error for a failed read; the error of the store is kept.
  [[nodiscard]] bool GetEvidencesCount(std::int32_t& count);

  // Delete

  /// Marks evidences deleted, then removes their values, links, files and labels. There is no rollback: after a failed
  /// link call the evidences are deleted and the files of the remaining ones stay linked. A repeated id counts once.
  /// More than Limits::kChangedEvidences are (0, 2).
  [[nodiscard]] bool DelEvidences(const IdList& asked_ids);

  // Query

  /// A page of the evidences that match `filter`, or, when `evidence_ids` is not empty, the evidences with these ids.
  /// `page.total` receives the number before paging, `has_more` whether more rows follow. Evidences with attribute
  /// values come with cameras and options, named from the cache; the others without, and they set (0, 9804). (0, 1)
  /// without a filter, (0, 2) for a NUL in it and for more ids than Limits::kReadEvidences.
  [[nodiscard]] bool QueryEvidences(std::list<EvidencePtr>& evidences, page_info& page, bool& has_more,
                                    const EvidenceFilterPtr& filter, const IdList& evidence_ids);

  // Device: rules on the cameras of an evidence, ids joined by ",". Does not require a running manager.

  /// Whether the fields required to record from cameras are set.
  [[nodiscard]] static bool CheckEvidenceAddMode(const EvidencePtr& evidence);
  /// Whether any camera, except those of mobile devices, uses the Roamlink protocol; unknown ones do not.
  [[nodiscard]] static bool HasRoamlinkCamera(const std::string& camera_ids);
  /// Whether all cameras belong to one device. Cameras without a device are skipped; an unknown
  /// camera is of no device, and so not of the one of a camera before it.
  [[nodiscard]] static bool IsCamerasInSameDevice(const std::string& camera_ids);

  // File

  /// Links files to an evidence, or unlinks those with `delete_flag` 1. An `id` of -1 receives a key. Refused files are
  /// added to `failures`, then (0, 9999). (0, 9807) above 128 files.
  [[nodiscard]] bool InsertEvidenceFiles(std::list<ErrorPtr>& failures, const std::list<EvidenceFilePtr>& files);
  /// Unlinks files from an evidence; the rows remain, marked deleted.
  [[nodiscard]] bool UpdateEvidenceFiles(std::list<ErrorPtr>& failures, const std::list<EvidenceFilePtr>& files,
                                         std::int32_t evidence_id);
  /// The files of an evidence, filtered by `file_name` and `guid` unless these are empty.
  [[nodiscard]] bool QueryEvidenceFiles(std::list<EvidenceFilePtr>& files, std::int32_t evidence_id,
                                        const std::string& file_name, const std::string& guid);
  /// The files of many evidences by evidence id; each has only its `id` and `evidence_id`.
  [[nodiscard]] bool QueryEvidenceFiles(std::map<std::int32_t, std::list<EvidenceFilePtr>>& files,
                                        const IdVector& evidence_ids);
  [[nodiscard]] bool GetEvidenceFilesCount(std::int32_t& count, std::int32_t evidence_id);
  /// The rows of these files, one per evidence that holds them.
  [[nodiscard]] bool GetEvidenceFileByFileID(std::list<EvidenceFilePtr>& files, const IdVector& file_ids);

  // Type

  /// The live types by id, filtered when `filter` is not null and reduced to the page in `page`; page.total receives
  /// their number before paging. A PageIndex or PageSize of 0 is (0, 2). Needs no store.
  [[nodiscard]] bool GetEvidenceTypes(std::list<EvidenceTypePtr>& types, page_info& page,
                                      const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& filter);

  /// What changed since a client's version: record n changed by method n (0 add, 1 modify, 2 delete;
  /// others are passed through). A deleted type has only its id; one that is gone meanwhile is left out.
  [[nodiscard]] bool GetIncreEvidenceTypes(std::list<EvidenceTypePtr>& types, std::list<std::int32_t>& methods,
                                           std::int32_t client_resource_version);

  /// (0, 9809) when there is no such live type.
  [[nodiscard]] bool GetEvidenceTypeById(EvidenceTypePtr& type, std::int32_t type_id);
  [[nodiscard]] bool GetEvidenceTypeByName(EvidenceTypePtr& type, const std::string& name);

  /// Changes the dictionary for a session. With `full_set` the list is the whole dictionary: entries with
  /// id -1 are added, others changed, and live types that are not in the list deleted. Without it every entry
  /// is changed. A missing permission ends the call; any other failed step does not stop the next.
  [[nodiscard]] bool SetEvidenceTypes(std::list<ErrorPtr>& errors, const std::list<EvidenceTypePtr>& types,
                                      const std::string& session, LogFunction log, bool full_set);

  /// Adds entries, whose `type_id` receives their key. False only when the batch as a whole was refused or
  /// not stored.
  [[nodiscard]] bool InsertEvidenceTypes(std::list<ErrorPtr>& errors, const std::list<EvidenceTypePtr>& types);
  [[nodiscard]] bool ModifyEvidenceTypes(std::list<ErrorPtr>& errors, const std::list<EvidenceTypePtr>& types);

  /// Deletes types and clears them in the evidences that have them; an empty list means all. An unknown id counts as
  /// deleted.
  [[nodiscard]] bool DeleteEvidenceTypes(std::list<ErrorPtr>& errors, const std::list<std::int32_t>& type_ids,
                                         const LogFunction& log);

  /// The name of a type, live or deleted, from the table.
  [[nodiscard]] bool QueryEvidenceTypeNameById(std::string& name, std::int32_t type_id);

  // Custom

  /// The attributes by id, filtered by the part of the name in `filter`, if any. Needs no store.
  [[nodiscard]] bool GetEvidenceCustoms(std::list<EvidenceCustomPtr>& customs,
                                        const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& filter);

  /// As GetIncreEvidenceTypes: what changed since a client's version.
  [[nodiscard]] bool GetIncreEvidenceCustoms(std::list<EvidenceCustomPtr>& customs, std::list<std::int32_t>& methods,
                                             std::int32_t client_resource_version);

  /// (0, 120010) when there is no such attribute. Needs no store.
  [[nodiscard]] bool GetEvidenceCustomById(EvidenceCustomPtr& custom, std::int32_t custom_id);
  /// The first by id. Does not require a running manager.
  [[nodiscard]] bool GetEvidenceCustomByName(EvidenceCustomPtr& custom, const std::string& name);
  /// A copy of the attribute's cached options; false without a pair when it is not cached. Does not require a running
  /// manager.
  [[nodiscard]] bool GetCustomOptionList(std::vector<tag_EvidenceOption_>& options, const tag_EvidenceCustom_& custom);
  /// `option` is unchanged when the attribute has none with that id. Needs no store.
  [[nodiscard]] bool GetCustomOptionById(tag_EvidenceOption_& option, std::int32_t option_id, std::int32_t custom_id);

  /// As SetEvidenceTypes, with the attributes' options.
  [[nodiscard]] bool SetEvidenceCustoms(std::list<ErrorPtr>& errors, const std::list<EvidenceCustomPtr>& customs,
                                        const std::string& session, LogFunction log, bool full_set);
  /// Adds attributes and their options; ids are filled in.
  [[nodiscard]] bool InsertEvidenceCustoms(std::list<ErrorPtr>& errors, const std::list<EvidenceCustomPtr>& customs);
  /// Changes attributes; their options are added (id -1), renamed, or deleted when left out. An option with an unknown
  /// id is ignored.
  [[nodiscard]] bool ModifyEvidenceCustoms(std::list<ErrorPtr>& errors, const std::list<EvidenceCustomPtr>& customs);
  /// Deletes attributes with their options and values; an empty list means all but id 0. An unknown id counts as
  /// deleted.
  [[nodiscard]] bool DeleteEvidenceCustoms(std::list<ErrorPtr>& errors, const IdList& custom_ids);

  // Link: the call to the file manager

  /// Operations of APILinkFile.
  static constexpr std::int32_t kLinkFiles = 0;
  static constexpr std::int32_t kUnlinkFiles = 1;

  /// Asks the file manager to link files to an evidence or to unlink them. False: (0, 1) when the call failed, its own
  /// pair when it refused, or `failures` has entries, each a file with its own codes. `failures` must be empty before.
  /// Blocks until the reply. Does not require a running manager.
  [[nodiscard]] bool APILinkFile(std::list<ErrorPtr>& failures, const IdVector& file_ids, std::int32_t evidence_id,
                                 std::int32_t operation);
  /// Parses the reply; refused files are added to `failures` and are no failure here.
  [[nodiscard]] bool DecodeLinkFileReq(std::list<ErrorPtr>& failures, const std::string& text);

  // Label: the labels of the evidences that were added or changed since the start. Does not require a running manager.

  /// Whether replacing the labels of the evidence by `labels` (-1: a new evidence) would raise the number of distinct
  /// labels above 100000. Changes nothing. An empty list never does.
  [[nodiscard]] bool IsLabelCountExceeded(std::int32_t evidence_id, const std::list<std::string>& labels);
  void AddLabelsToMap(std::int32_t evidence_id, const std::string& label_text);
  /// Replaces the evidence's labels.
  void UpdateLabelMap(std::int32_t evidence_id, const std::list<std::string>& labels);
  void DeleteFromMap(std::int32_t evidence_id);

  // Incre

  /// Notifies the platform of a changed dictionary entry. Does not require a running manager.
  bool AddIncreResource(std::int32_t resource_type, std::int64_t resource_id, std::int32_t method);

  // Log

  /// Writes history entries, with the client type of the session; (0, 200) for an unknown session. An empty session
  /// writes -1.
  [[nodiscard]] bool WriteEvidenceLog(const std::vector<operation_record>& records, const std::string& session);

  /// The history of an evidence; the entries of one write and user are merged into one. `reserved` is passed through.
  [[nodiscard]] bool GetEvidenceLog(std::map<std::string, operation_record>& records, IdList& reserved,
                                    std::int32_t evidence_id);

  /// Kinds of built-in entries for GetDataByKey.
  static constexpr int kTypeNames = 0;
  static constexpr int kCustomNames = 1;

  /// The localised name of a built-in entry; "" when it has none. Does not require a running manager.
  [[nodiscard]] std::string GetDataByKey(int kind, std::int32_t id);

 private:
  [[nodiscard]] bool EntryTest() const;

  // State
  /// Reads both dictionaries into the caches; the caller holds cache_lock_.
  [[nodiscard]] bool LoadDictionaries(Operation operation = Operation::current());
  [[nodiscard]] bool TakeElementApi();
  void InitLogKeyMaps();
  /// Sets the localised name in each cached built-in entry without a name; the table is unchanged.
  void NameBuiltInEntries();

  // Evidence
  /// Checks the rules for a new evidence, in their order.
  [[nodiscard]] bool CheckNewEvidence(const EvidencePtr& evidence, Operation operation = Operation::current());
  /// Gets the key from the sequence and writes the rows; rows written before a failure remain.
  [[nodiscard]] bool StoreNewEvidence(const EvidencePtr& evidence, Operation operation = Operation::current());
  [[nodiscard]] bool StoreChangedEvidence(const EvidencePtr& evidence, Operation operation = Operation::current());
  [[nodiscard]] bool CheckLabels(std::int32_t evidence_id, const std::string& label_text,
                                 Operation operation = Operation::current());
  void AddTypeChange(std::vector<change_item>& changes, std::int32_t before_id, std::int32_t after_id,
                     Operation operation = Operation::current());
  /// Changes one evidence of a status batch; `stored` receives the stored evidence, or null.
  [[nodiscard]] bool ChangeStatus(EvidencePtr& stored, const _tag_Evidence_& wanted,
                                  std::vector<operation_record>& records, Operation operation = Operation::current());

  // Delete
  /// Fails when the link calls of this deletion would name more file ids than Limits::kUnlinkedIds.
  [[nodiscard]] bool CheckFilesToUnlink(const IdList& evidence_ids, Operation operation = Operation::current());
  /// Unlinks the files of `evidence_id`. `files` and `file_ids` also hold those of the evidences before: each call to
  /// the file manager names them all.
  [[nodiscard]] bool UnlinkAllFiles(std::int32_t evidence_id, std::list<EvidenceFilePtr>& files, IdVector& file_ids,
                                    Operation operation = Operation::current());

  // Query
  /// Adds the cameras that the platform knows.
  void ResolveCameras(_tag_Evidence_& evidence, Operation operation = Operation::current());
  void AddValues(_tag_Evidence_& evidence, const std::list<EvidenceCustomPtr>& values,
                 Operation operation = Operation::current());
  void AddValuesFromCache(const std::list<EvidencePtr>& evidences, Operation operation = Operation::current());

  // Device
  [[nodiscard]] static bool NeedsOneDevice(const _tag_Evidence_& evidence);

  // File
  /// Files of one batch that passed its checks.
  struct FileBatch {
    std::list<EvidenceFilePtr> to_insert;
    IdList to_delete;
    std::int32_t evidence_id = -1;  ///< of the last file; named in the link calls
  };
  /// False with the pair when the batch as a whole is refused.
  [[nodiscard]] bool CheckFileBatch(const std::list<EvidenceFilePtr>& files,
                                    Operation operation = Operation::current());
  /// Classifies one file. False when it is refused: with the pair of the failed read, with (0, 2) for a NUL in
  /// its texts, or, for a file without an evidence, with the last error unchanged.
  [[nodiscard]] bool ClassifyFile(FileBatch& batch, const EvidenceFilePtr& file,
                                  Operation operation = Operation::current());
  /// Assigns a key to each new file without one; those that get none are moved to `failures`.
  void AssignFileKeys(std::list<ErrorPtr>& failures, std::list<EvidenceFilePtr>& files);
  /// Calls APILinkFile with a list of its own, which is then appended to `failures`.
  [[nodiscard]] bool LinkBatch(std::list<ErrorPtr>& failures, const IdVector& file_ids, std::int32_t evidence_id,
                               std::int32_t operation);

  // Type
  [[nodiscard]] std::list<EvidenceTypePtr> CopyCachedEvidenceTypes();
  void CacheInsertEvidenceTypes(const std::list<EvidenceTypePtr>& types);
  void CacheRenameEvidenceTypes(const std::list<EvidenceTypePtr>& types);
  void CacheRemoveEvidenceTypes(const std::list<EvidenceTypePtr>& types);
  [[nodiscard]] bool CheckNewType(const _tag_EvidenceType_& type, const std::set<std::string>& accepted_names,
                                  Operation operation = Operation::current());
  [[nodiscard]] bool CheckChangedType(const _tag_EvidenceType_& type, const std::set<std::string>& accepted_names,
                                      Operation operation = Operation::current());
  [[nodiscard]] std::string DisplayName(const _tag_EvidenceType_& type);
  void NotifyTypes(const std::list<EvidenceTypePtr>& types, std::int32_t method,
                   Operation operation = Operation::current());

  // Custom
  [[nodiscard]] std::list<EvidenceCustomPtr> CopyCachedEvidenceCustoms();
  void CacheInsertEvidenceCustoms(const std::list<EvidenceCustomPtr>& customs);
  void CacheUpdateEvidenceCustoms(const std::list<EvidenceCustomPtr>& customs);
  void CacheRemoveEvidenceCustoms(const std::list<EvidenceCustomPtr>& customs);
  /// Checks the name of an entry and sets its key.
  [[nodiscard]] bool CheckNewCustom(tag_EvidenceCustom_& custom, const std::set<std::string>& accepted_names,
                                    Operation operation = Operation::current());
  [[nodiscard]] bool CheckChangedCustom(const tag_EvidenceCustom_& custom, const std::set<std::string>& accepted_names,
                                        Operation operation = Operation::current());
  /// Writes the options and sets those of `custom` to the resulting ones.
  [[nodiscard]] bool StoreChangedOptions(const EvidenceCustomPtr& custom, Operation operation = Operation::current());
  [[nodiscard]] std::string DisplayName(const tag_EvidenceCustom_& custom);
  void NotifyCustoms(const std::list<EvidenceCustomPtr>& customs, std::int32_t method,
                     Operation operation = Operation::current());

  // Label
  /// Increments the counts of `added` and decrements those of `removed`; the caller holds label_lock_.
  void ApplyLabelDelta(const std::list<std::string>& added, const std::list<std::string>& removed);

  /// Serialises the operations that change a dictionary, their store calls included: of two changes of one entry the
  /// same one must win in the table and in the cache. Readers do not take it. Recursive: Set… calls the other
  /// operations.
  std::recursive_mutex dictionary_lock_;
  std::map<std::int32_t, EvidenceTypePtr> type_cache_;      ///< guarded by cache_lock_
  std::map<std::int32_t, EvidenceCustomPtr> custom_cache_;  ///< guarded by cache_lock_
  std::mutex label_lock_;
  std::map<std::int32_t, std::list<std::string>> evidence_labels_;  ///< guarded by label_lock_
  std::map<std::string, std::int32_t> label_counts_;                ///< guarded by label_lock_; at least 1
  std::mutex cache_lock_;
  const std::shared_ptr<IEvidenceMgrDB> store_;
  const std::chrono::milliseconds progress_interval_;
  std::atomic<bool> not_running_{true};
  /// Held only to copy the pointer.
  std::mutex element_lock_;
  std::shared_ptr<kelp::IElementApi> element_api_;  ///< guarded by element_lock_; set while running
  std::int32_t upload_thread_count_;
  std::string upload_loop_key_;
  std::map<std::int32_t, std::string> type_key_map_;    ///< guarded by cache_lock_
  std::map<std::int32_t, std::string> custom_key_map_;  ///< guarded by cache_lock_
};

}  // namespace Evidence
