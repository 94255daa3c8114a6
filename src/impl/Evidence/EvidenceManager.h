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

/// `added`: the labels of `wanted` that `standing` lacks, in the order of `wanted`; `removed`: the labels of `standing`
/// that `wanted` lacks, in the order of `standing`. A label that stands twice in one list stands twice in the
/// result. Takes time in proportion to the lists.
void DiffLabels(const std::list<std::string>& wanted, const std::list<std::string>& standing,
                std::list<std::string>& added, std::list<std::string>& removed);

/// Whether AddEvidence stored: it gives 0 when nothing was begun, -1 when the evidence was refused.
[[nodiscard]] constexpr bool IsEvidenceId(std::uint32_t id) { return id != 0 && id != 0xFFFFFFFF; }

/// The rules, the limits and the in-memory state. Made once by the module and held for the life of the
/// library. Every operation may be called on any thread; Initialize and Finalize come on the host's.
///
/// Unless said otherwise an operation begins with two tests: outside the running time it fails with
/// (0, 9820), without a store with (0, 1). A bool is false on failure, with the pair in the thread's last
/// error. Batches report refused entries in their error list and go on.
class CEvidenceManager : public Orv::Base::CNoncopyable {
 public:
  /// With the store on PostgreSQL. Touches no database.
  CEvidenceManager();
  /// With a store of the caller's; an empty one makes every operation fail with (0, 1). A deletion logs its progress
  /// once an interval.
  explicit CEvidenceManager(std::shared_ptr<IEvidenceMgrDB> store,
                            std::chrono::milliseconds progress_interval = std::chrono::seconds(5));

  /// Loads the dictionaries and makes the worker loop. After a failed read the loop is made all the same and
  /// the manager stays closed. A second call on a running manager reloads nothing and asks for the loop again.
  [[nodiscard]] bool Initialize();

  /// Closes the manager; always true. Calls that passed the entry test go on.
  bool Finalize();

  // Evidence

  /// Stores a new evidence with its attribute values and gives its id, which stands in `evidence` too. Failures give 0
  /// for (0, 9820), (0, 2) without a record and (0, 1), and -1 for all others: (0, 2) for a field against its rule, (0,
  /// 9805) for a guid that stands, (0, 120002) to (0, 120005), (0, 15) when it could not be stored. An evidence whose
  /// values were refused by the store stands without them.
  [[nodiscard]] std::uint32_t AddEvidence(const EvidencePtr& evidence);

  /// Replaces an evidence by `evidence`, found by its id; cameras, upload and record fields stay. `record` receives
  /// what changes, also when the change then fails. (0, 2), (0, 9804), (0, 9805), (0, 120005), (0, 15).
  [[nodiscard]] bool UpdateEvidence(const EvidencePtr& evidence, operation_record& record);

  /// Changes the status of each evidence (id and status are read). One row for each in `results`, refused or not; one
  /// record in `records` for each status that differs. False when any was refused, or (0, 2) when they are more than
  /// Limits::kChangedEvidences.
  [[nodiscard]] bool UpdateEvidences(std::list<EvidenceErrInfoPtr>& results, const std::list<EvidencePtr>& evidences,
                                     std::vector<operation_record>& records);

  /// With cameras and attribute values, the options by their names in the table. (0, 9804) when there is no such live
  /// evidence or it cannot be read.
  [[nodiscard]] bool GetEvidenceByID(EvidencePtr& evidence, std::int32_t evidence_id);
  /// Without cameras and values. An id of -1 sets (0, 2) and is looked for all the same.
  [[nodiscard]] bool GetEvidenceByIDs(std::list<EvidencePtr>& evidences, IdList evidence_ids);
  /// Without cameras and values; (0, 9804) when the guid is free.
  [[nodiscard]] bool GetEvidenceByGuid(EvidencePtr& evidence, const std::string& guid);
  /// Not bound to a store error pair of its own: what the store set stands.
  [[nodiscard]] bool GetEvidencesCount(std::int32_t& count);

  // Delete

  /// Marks evidences deleted, then takes away their values, links, files and labels. No compensation: after a failed
  /// link call the evidences are gone and the files of the remaining ones stay linked.
  /// An id that is repeated counts once. More than Limits::kChangedEvidences are (0, 2).
  [[nodiscard]] bool DelEvidences(const IdList& asked_ids);

  // Query

  /// A page of the evidences that `filter` lets through, or, when `evidence_ids` is not empty, the evidences of these
  /// ids. `page.total` receives the number before paging, `has_more` whether a row follows. Evidences with attribute
  /// values come with cameras and options, named from the cache; the others without, leaving (0, 9804) behind. (0, 1)
  /// without a filter.
  [[nodiscard]] bool QueryEvidences(std::list<EvidencePtr>& evidences, page_info& page, bool& has_more,
                                    const EvidenceFilterPtr& filter, const IdList& evidence_ids);

  // Device: rules on the cameras of an evidence, ids joined by ",". Not bound to the running time.

  /// Whether the fields are there that recording from cameras needs.
  [[nodiscard]] static bool CheckEvidenceAddMode(const EvidencePtr& evidence);
  /// Whether any camera, those of mobile devices aside, is connected by the Roamlink protocol; unknown ones are not.
  [[nodiscard]] static bool HasRoamlinkCamera(const std::string& camera_ids);
  /// Whether all cameras lie on one device; cameras without a device are passed over.
  [[nodiscard]] static bool IsCamerasInSameDevice(const std::string& camera_ids);

  // File

  /// Links files to an evidence, or takes those with `delete_flag` 1 off it. An `id` of -1 receives a key. Refused
  /// files stand in `failures`, then (0, 9999). (0, 9807) above 128 files.
  [[nodiscard]] bool InsertEvidenceFiles(std::list<ErrorPtr>& failures, const std::list<EvidenceFilePtr>& files);
  /// Takes files off an evidence; the rows stay, marked deleted.
  [[nodiscard]] bool UpdateEvidenceFiles(std::list<ErrorPtr>& failures, const std::list<EvidenceFilePtr>& files,
                                         std::int32_t evidence_id);
  /// The files of an evidence, with `file_name` and `guid` when these are not empty.
  [[nodiscard]] bool QueryEvidenceFiles(std::list<EvidenceFilePtr>& files, std::int32_t evidence_id,
                                        const std::string& file_name, const std::string& guid);
  /// The files of many evidences by evidence id; each holds its `id` and `evidence_id` alone.
  [[nodiscard]] bool QueryEvidenceFiles(std::map<std::int32_t, std::list<EvidenceFilePtr>>& files,
                                        const IdVector& evidence_ids);
  [[nodiscard]] bool GetEvidenceFilesCount(std::int32_t& count, std::int32_t evidence_id);
  /// The rows of these files, one for each evidence that holds them.
  [[nodiscard]] bool GetEvidenceFileByFileID(std::list<EvidenceFilePtr>& files, const IdVector& file_ids);

  // Type

  /// The live types by id, filtered when `filter` is not null, and the page of `page`; page.total receives
  /// their number before paging. A PageIndex or PageSize of 0 is (0, 2). Needs no store.
  [[nodiscard]] bool GetEvidenceTypes(std::list<EvidenceTypePtr>& types, page_info& page,
                                      const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& filter);

  /// What changed since a client's version: record n changed by method n (0 add, 1 modify, 2 delete). A
  /// deleted type has only its id. Needs no store.
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

  /// Deletes types and takes them out of the evidences that have them; an empty list means all. An id that
  /// is not there counts as deleted.
  [[nodiscard]] bool DeleteEvidenceTypes(std::list<ErrorPtr>& errors, const std::list<std::int32_t>& type_ids,
                                         const LogFunction& log);

  /// The name of a type, live or deleted, from the table.
  [[nodiscard]] bool QueryEvidenceTypeNameById(std::string& name, std::int32_t type_id);

  // Custom

  /// The attributes by id, those whose name contains the filter's when it has one. Needs no store.
  [[nodiscard]] bool GetEvidenceCustoms(std::list<EvidenceCustomPtr>& customs,
                                        const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& filter);

  /// As GetIncreEvidenceTypes: what changed since a client's version.
  [[nodiscard]] bool GetIncreEvidenceCustoms(std::list<EvidenceCustomPtr>& customs, std::list<std::int32_t>& methods,
                                             std::int32_t client_resource_version);

  /// (0, 120010) when there is no such attribute. Needs no store.
  [[nodiscard]] bool GetEvidenceCustomById(EvidenceCustomPtr& custom, std::int32_t custom_id);
  /// The first by id. Not bound to the running time.
  [[nodiscard]] bool GetEvidenceCustomByName(EvidenceCustomPtr& custom, const std::string& name);
  /// A copy of the attribute's cached options; false without a pair when it is not cached. Not bound to the running
  /// time.
  [[nodiscard]] bool GetCustomOptionList(std::vector<tag_EvidenceOption_>& options, const tag_EvidenceCustom_& custom);
  /// Leaves `option` as it was when the attribute has none of that id. Needs no store.
  [[nodiscard]] bool GetCustomOptionById(tag_EvidenceOption_& option, std::int32_t option_id, std::int32_t custom_id);

  /// As SetEvidenceTypes, with the attributes' options.
  [[nodiscard]] bool SetEvidenceCustoms(std::list<ErrorPtr>& errors, const std::list<EvidenceCustomPtr>& customs,
                                        const std::string& session, LogFunction log, bool full_set);
  /// Adds attributes and their options; ids are filled in.
  [[nodiscard]] bool InsertEvidenceCustoms(std::list<ErrorPtr>& errors, const std::list<EvidenceCustomPtr>& customs);
  /// Changes attributes; their options are added (id -1), renamed, or deleted when left out. An option with an id that
  /// does not stand is ignored.
  [[nodiscard]] bool ModifyEvidenceCustoms(std::list<ErrorPtr>& errors, const std::list<EvidenceCustomPtr>& customs);
  /// Deletes attributes with their options and values; an empty list means all but id 0. An unknown id counts as
  /// deleted.
  [[nodiscard]] bool DeleteEvidenceCustoms(std::list<ErrorPtr>& errors, const IdList& custom_ids);

  // Link: the call to the file manager

  /// Operations of APILinkFile.
  static constexpr std::int32_t kLinkFiles = 0;
  static constexpr std::int32_t kUnlinkFiles = 1;

  /// Tells the file manager which files an evidence holds from now on. False: (0, 1) when it could not be asked, its
  /// own pair when it refused, or `failures` holds entries, each a file with its own codes. `failures` must be empty
  /// before. Blocks until the reply. Not bound to the running time.
  [[nodiscard]] bool APILinkFile(std::list<ErrorPtr>& failures, const IdVector& file_ids, std::int32_t evidence_id,
                                 std::int32_t operation);
  /// Reads the reply's text; entries for single files are no failure here.
  [[nodiscard]] bool DecodeLinkFileReq(std::list<ErrorPtr>& failures, const std::string& text);

  // Label: the labels of the evidences that were added or changed since the start. Not bound to the running time.

  /// Whether `labels` in place of the evidence's own (-1: a new evidence) would bring the number of distinct labels
  /// above 100000. Changes nothing. An empty list never does.
  [[nodiscard]] bool IsLabelCountExceeded(std::int32_t evidence_id, const std::list<std::string>& labels);
  void AddLabelsToMap(std::int32_t evidence_id, const std::string& label_text);
  /// Replaces the evidence's labels.
  void UpdateLabelMap(std::int32_t evidence_id, const std::list<std::string>& labels);
  void DeleteFromMap(std::int32_t evidence_id);

  // Incre

  /// Tells the platform that an entry of a dictionary changed. Not bound to the running time.
  bool AddIncreResource(std::int32_t resource_type, std::int64_t resource_id, std::int32_t method);

  // Log

  /// Writes entries of histories, with the kind of client of the session; (0, 200) for an unknown session. The empty
  /// session writes -1.
  [[nodiscard]] bool WriteEvidenceLog(const std::vector<operation_record>& records, const std::string& session);

  /// The history of an evidence, the entries of one write and user folded into one. `reserved` is passed through.
  [[nodiscard]] bool GetEvidenceLog(std::map<std::string, operation_record>& records, IdList& reserved,
                                    std::int32_t evidence_id);

  /// Kinds of built-in entries for GetDataByKey.
  static constexpr int kTypeNames = 0;
  static constexpr int kCustomNames = 1;

  /// The localised name of a built-in entry; "" when it has none. Not bound to the running time.
  [[nodiscard]] std::string GetDataByKey(int kind, std::int32_t id);

 private:
  [[nodiscard]] bool EntryTest() const;

  // State
  /// Reads both dictionaries into the caches; the caller holds cache_lock_.
  [[nodiscard]] bool LoadDictionaries(Operation operation = Operation::current());
  [[nodiscard]] bool TakeElementApi();
  void InitLogKeyMaps();
  /// Gives each cached built-in entry without a name of its own its localised one; the table keeps none.
  void NameBuiltInEntries();

  // Evidence
  /// The rules of a new evidence, in their order.
  [[nodiscard]] bool CheckNewEvidence(const EvidencePtr& evidence, Operation operation = Operation::current());
  /// Draws the key and writes the rows; what was written before a failure stays.
  [[nodiscard]] bool StoreNewEvidence(const EvidencePtr& evidence, Operation operation = Operation::current());
  [[nodiscard]] bool StoreChangedEvidence(const EvidencePtr& evidence, Operation operation = Operation::current());
  [[nodiscard]] bool CheckLabels(std::int32_t evidence_id, const std::string& label_text,
                                 Operation operation = Operation::current());
  void AddTypeChange(std::vector<change_item>& changes, std::int32_t before_id, std::int32_t after_id,
                     Operation operation = Operation::current());
  /// One evidence of a status batch; `standing` receives it as it stood, or null.
  [[nodiscard]] bool ChangeStatus(EvidencePtr& standing, const _tag_Evidence_& wanted,
                                  std::vector<operation_record>& records, Operation operation = Operation::current());

  // Delete
  /// Refused when the link calls of this deletion would name more file ids than is bearable.
  [[nodiscard]] bool CheckFilesToUnlink(const IdList& evidence_ids, Operation operation = Operation::current());
  /// Takes the files of `evidence_id` off it. `files` and `file_ids` hold those of the evidences before, too: each call
  /// to the file manager names them all.
  [[nodiscard]] bool UnlinkAllFiles(std::int32_t evidence_id, std::list<EvidenceFilePtr>& files, IdVector& file_ids,
                                    Operation operation = Operation::current());

  // Query
  /// Fills the cameras that the platform knows.
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
    std::int32_t evidence_id = -1;  ///< of the last file: link calls name it
  };
  /// False with the pair when the batch as a whole is refused.
  [[nodiscard]] bool CheckFileBatch(const std::list<EvidenceFilePtr>& files,
                                    Operation operation = Operation::current());
  /// Decides what becomes of one file. False when it is refused: with the pair of the read that failed, or, for a file
  /// of no evidence, with whatever pair stands.
  [[nodiscard]] bool SortFile(FileBatch& batch, const EvidenceFilePtr& file,
                              Operation operation = Operation::current());
  /// Gives a key to each new file that has none; those that get none go to `failures`.
  void DrawFileKeys(std::list<ErrorPtr>& failures, std::list<EvidenceFilePtr>& files);
  /// APILinkFile, judged by its own failures, which join those that stand.
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
  /// Draws the key of an entry that passes the checks of names.
  [[nodiscard]] bool CheckNewCustom(tag_EvidenceCustom_& custom, const std::set<std::string>& accepted_names,
                                    Operation operation = Operation::current());
  [[nodiscard]] bool CheckChangedCustom(const tag_EvidenceCustom_& custom, const std::set<std::string>& accepted_names,
                                        Operation operation = Operation::current());
  /// Writes the options and leaves in `custom` those that stand from now on.
  [[nodiscard]] bool StoreChangedOptions(const EvidenceCustomPtr& custom, Operation operation = Operation::current());
  [[nodiscard]] std::string DisplayName(const tag_EvidenceCustom_& custom);
  void NotifyCustoms(const std::list<EvidenceCustomPtr>& customs, std::int32_t method,
                     Operation operation = Operation::current());

  // Label
  /// Counts `added` up and `removed` down; the caller holds label_lock_.
  void ApplyLabelDelta(const std::list<std::string>& added, const std::list<std::string>& removed);

  /// Serialises the operations that change a dictionary, their store calls included: of two changes of one entry the
  /// same one must end in the table and in the cache. Readers do not take it. Recursive: Set… calls the other
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
  /// Held for one copy alone, also by those who hold file_lock_.
  std::mutex element_lock_;
  std::shared_ptr<kelp::IElementApi> element_api_;  ///< guarded by element_lock_; set while running
  std::int32_t upload_thread_count_;
  std::string upload_loop_key_;
  /// Serialises the operations that write files, their call to the file manager included.
  std::mutex file_lock_;
  std::map<std::int32_t, std::string> type_key_map_;    ///< guarded by cache_lock_
  std::map<std::int32_t, std::string> custom_key_map_;  ///< guarded by cache_lock_
};

}  // namespace Evidence
