// What each route of evidences and their dictionaries calls, in which order, and what it answers.

#include "unit/plugin/HandlerTest.h"

namespace {

using namespace handler_test;

const std::string kNew = R"({"Evidence":{"Guid":"G","Name":"New","Status":1}})";
const std::string kAdded = "add evidence 100 'G' 'New'";
const std::string kSame = R"({"Evidence":{"Guid":"G7","Name":"Seven","Status":1}})";
const std::string kRenamed = R"({"Evidence":{"ID":5,"Guid":"G7","Name":"7","Status":1}})";
const std::string kRename = "change evidence 7 'G7' '7' status 1";
const std::string kRenamedRow = History(2, 7, "1 '' '-1:Seven' '-1:7'");
const std::string kStatus = "change evidence 7 'G7' 'Seven' status 0";
const std::string kStatusRow = History(2, 7, "5 '' '1:' '0:'");

using EvidenceHandlerTest = ExchangeTest;
TEST_P(EvidenceHandlerTest, AnswersAndCalls) { Play(GetParam()); }

const Exchange kExchanges[] = {
    On("Created", "POST /Evidence", kNew, "0", {kAdded, "log 306017 New/", History(1, 100)}),
    On("CreatingNeedsItsPermission", "POST /Evidence", kNew, "10", {}, {.denied = 44}),
    On("NotStored", "POST /Evidence", kNew, "15", {kAdded}, {.failing = "add evidence"}),
    On("CreatingNeedsASession", "POST /Evidence", kNew, "200", {}, {.session = ""}),
    On("CreatedWithoutHistory", "POST /Evidence", kNew, "", {kAdded, "log 306017 New/", History(1, 100)},
       {.failing = "history"}),
    On("StatusBatch", "PUT /Evidence", "@evidence_put", "@evidence_put",
       {kStatus, "log 306018 Seven/", "log 306018 /", kStatusRow}),
    On("StatusBatchWithoutHistory", "PUT /Evidence", "@evidence_put", "99999",
       {kStatus, "log 306018 Seven/", "log 306018 /", kStatusRow}, {.failing = "history"}),
    On("StatusBatchWithoutSession", "PUT /Evidence", "@evidence_put", "",
       {kStatus, "log 306018 Seven/", "log 306018 /"}, {.session = ""}),
    On("StatusBatchNeedsItsPermission", "PUT /Evidence", "@evidence_put", "10", {}, {.denied = 41}),
    On("EmptyStatusBatch", "PUT /Evidence", R"({"EvidenceList":{"Evidence":[]}})", "2"),
    On("Renamed", "PUT /Evidence/7", kRenamed, "0", {kRename, "delete values of 7", "log 306018 7/", kRenamedRow}),
    On("RenamedWithoutHistory", "PUT /Evidence/7", kRenamed, "0",
       {kRename, "delete values of 7", "log 306018 7/", kRenamedRow},
       {.failing = "history", .says = "ProcEvidenceIDPut]WriteEvidenceLog failed when"}),
    On("UnchangedHasNoHistory", "PUT /Evidence/7", kSame, "0",
       {"change evidence 7 'G7' 'Seven' status 1", "delete values of 7", "log 306018 Seven/"}),
    On("RenamedWithoutSession", "PUT /Evidence/7", kRenamed, "0",
       {kRename, "delete values of 7", "log 306018 7/", History(2, 7, "1 '' '-1:Seven' '-1:7'", "'' at '' on -1")},
       {.session = ""}),
    On("ChangeNotStoredHasAHistory", "PUT /Evidence/7", kRenamed, "15", {kRename, "log 306018 7/", kRenamedRow},
       {.failing = "change"}),
    On("ChangeNeedsItsPermission", "PUT /Evidence/7", kRenamed, "10", {"log 306018 /"}, {.denied = 41}),
    On("UnreadableChange", "PUT /Evidence/7", "{", "2", {"log 306018 /"}),
    On("DeletedUnderTheirNames", "DELETE /Evidence", Deletion("8,7", "right"), "0",
       {"delete evidence 8", "delete evidence 7", "delete values of 8", "delete values of 7", "log 306019 Seven;Eight/",
        History(3, 8), History(3, 7)}),
    On("NotDeleted", "DELETE /Evidence", Deletion("7", "right"), "15",
       {"delete evidence 7", "failed 306019 -1 Seven 15", History(3, 7)}, {.failing = "delete"}),
    On("NotConfirmed", "DELETE /Evidence", Deletion("8,7", "201"), "@evidence_delete", {History(3, 8), History(3, 7)},
       {.tries_left = 0}),
    On("NothingToDelete", "DELETE /Evidence", Deletion("", "right"), "@evidence_delete_done"),
    On("OneDeletedUnderItsName", "DELETE /Evidence/7", Deletion("", "right"), "0",
       {"delete evidence 7", "delete values of 7", "log 306019 Seven/", History(3, 7)}),
    On("OneNotConfirmed", "DELETE /Evidence/7", Deletion("", "201"), "201", {"failed 306019 7  201", History(3, 7)}),
    On("UnreadableDeletion", "DELETE /Evidence/7", "{", "2", {"failed 306019 7  2", History(3, 7)}),
    On("TooManyToDelete", "DELETE /Evidence", Deletion(Numbers(10'001), "right"), "2"),
    On("ById", "GET /Evidence", R"({"EvidenceQueryReq":{"EvidenceIDS":"8","Filter":{}}})", "0", {"log 306020 /"},
       {.says = R"("Name":"Eight")"}),
    On("APage", "GET /Evidence", R"({"EvidenceQueryReq":{"PageIndex":2,"PageSize":1,"Filter":{}}})", "0",
       {"log 306020 /"}, {.says = R"("Completeness":0,"PageIndex":2,"PageSize":1,"TotalNum":4})"}),
    On("PageWithoutSize", "GET /Evidence", R"({"EvidenceQueryReq":{"PageIndex":5,"Filter":{}}})", "2", {"log 306020 /"},
       {.says = R"("PageIndex":5,"Tot)"}),
    On("UnreadableQuery", "GET /Evidence", "{", "2", {"log 306020 /"}),
    On("Unknown", "GET /Evidence/99", "{}", "9804"),
    On("DeletingATypeNeedsItsPermission", "DELETE /Evidence/Type/6", "", "", {}, {.denied_on_web = 1425}),
    On("NoTypeHasTheId", "DELETE /Evidence/Type/-1", "", "2", {"log 306013 /"}),
    On("TypeNotStored", "PUT /Evidence/Type/6", R"({"EvidenceType":{"ID":5,"Name":"x"}})", "15", {"name type 6 'x'"},
       {.failing = "name type", .says = R"({"ErrorModule":0,"ErrorCode":15}})"}),
    On("TypeNameTaken", "PUT /Evidence/Type/6", R"({"EvidenceType":{"Name":"Other"}})", "9808", {"log 306012 Other/"}),
    On("AddingATypeNeedsItsPermission", "PUT /Evidence/Type",
       R"({"EvidenceTypeList":{"EvidenceType":[{"ID":0},{"ID":6,"Name":"Burglary"},{"Name":"x"}]}})", "10", {},
       {.denied_on_web = 1423}),
    On("AddingACustomNeedsItsPermission", "PUT /Evidence/Custom",
       R"({"EvidenceCustomList":{"EvidenceCustom":[{"Name":"x"}]}})", "10", {}, {.denied_on_web = 1427}),
    On("CustomsOneRefused", "PUT /Evidence/Custom",
       R"({"EvidenceCustomList":{"EvidenceCustom":[{"Name":"x"},{"Name":"x"}]}})", "99999",
       {"add custom 100 'x' -1", "log 306014 x;x/"}),
    On("UnreadableCustomsBeforeAnyPermission", "PUT /Evidence/Custom", "{", "2", {}, {.denied_on_web = 1427}),
    On("UnreadableCustomQuery", "GET /Evidence/Custom", "{", "2"),
};
INSTANTIATE_TEST_SUITE_P(Routes, EvidenceHandlerTest, ::testing::ValuesIn(kExchanges), NameOf);

TEST_F(HandlerTest, AsManyAsAreAllowedAreDeleted) {
  EXPECT_EQ(CodeOf(Send("DELETE /Evidence", Deletion(Numbers(10'000), "right"))), "0");
}

}  // namespace
