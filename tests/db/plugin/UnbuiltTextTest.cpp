// What the store answers when the text of a statement cannot be built.

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "support/NoFormatFor.h"
#include "support/RunningPlugin.h"

namespace {

using namespace Evidence;
using evidence_test::NoFormatFor;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;

class UnbuiltTextTest : public evidence_test::PluginTest {
 protected:
  bool InsertOfTwoTypes() {
    return store_.InsertEvidenceTypes({std::make_shared<_tag_EvidenceType_>(_tag_EvidenceType_{8, "a"}),
                                       std::make_shared<_tag_EvidenceType_>(_tag_EvidenceType_{9, "b"})});
  }
  bool QueryByKeyword() {
    const auto filter = std::make_shared<_tag_EvidenceFilterInfo_>();
    filter->keyword = "knife";
    filter->keyword_type = 0;
    std::list<EvidencePtr> found;
    page_info page{0, 1, 10};
    bool more = false;
    return store_.QueryEvidences(found, page, more, filter);
  }
  bool ReadOfOne() {
    EvidencePtr evidence;
    return store_.GetEvidenceByID(evidence, 1);
  }
  bool History() {
    operation_record record;
    record.evidence_id = 1;
    return store_.WriteEvidenceLog({record}, 0);
  }

  CEvidenceMgrDBByPG store_;
};

TEST_F(UnbuiltTextTest, IsAFailureAndNeverTheEmptyTextNorARestOfIt) {
  const struct {
    const char* part;
    std::function<bool()> operation;
  } cases[] = {
      {"INSERT INTO evidence.evidence_type ", [this] { return InsertOfTwoTypes(); }},
      {"deleted = 1 WHERE id = %d;", [this] { return store_.DeleteEvidenceTypes({8}); }},
      {"deleted = 1 WHERE evidence_id = %d;", [this] { return store_.DeleteEvidenceFilesByEvidenceId(1); }},
      {"name ilike", [this] { return QueryByKeyword(); }},
      {"WHERE ID = %d AND deleted = 0", [this] { return ReadOfOne(); }},
      {"INSERT INTO evidence.operation_log ", [this] { return History(); }},
  };
  for (const auto& [part, operation] : cases) {
    const NoFormatFor unbuilt(part);
    Orv::Base::Error::SetLastError({});
    EXPECT_FALSE(operation()) << part;
    EXPECT_EQ(GetLastError(), ErrorCode(0, 15)) << part;
  }
}

}  // namespace
