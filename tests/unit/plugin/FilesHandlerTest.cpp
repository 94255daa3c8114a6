// What the routes of files call, in which order, and what they answer.

#include "unit/plugin/HandlerTest.h"

namespace {

using namespace handler_test;

const std::string kChange = "POST /Evidence/7/Files";
const std::string kAdd = "POST /Evidence/Files/BatchLinks";
const std::string kSet = "PUT /Evidence/Files/BatchLinks";
const std::string kOn = R"({"FileList":{"File":[{"ID":1,"FileName":"c"}]}})";
const std::string kOff = R"({"FileList":{"File":[{"ID":2,"Delete":1,"FileName":"f2"}]}})";
const std::string kOnAndOff =
    R"({"FileList":{"File":[{"ID":2,"Delete":1,"FileName":"f2"},{"ID":1,"FileName":"c"},{"ID":3}]}})";

using FilesHandlerTest = ExchangeTest;
TEST_P(FilesHandlerTest, AnswersAndCalls) { Play(GetParam()); }

const Exchange kExchanges[] = {
    On("LinkedAndTakenOff", kChange, kOnAndOff, "0",
       {"link 1,3 of 7", "add file 1 'c' of 7", "add file 3 '' of 7", "unlink 2 of 7", "delete file 2",
        "log 306018 Seven/", "log 306021 c;/Seven", History(4, 7, "-1 'c|' '' ''"), "log 306022 f2/Seven",
        History(7, 7, "-1 'f2' '' ''")},
       {.links = {{2, 7}}}),
    On("TakenOff", kChange, kOff, "0",
       {"unlink 2 of 7", "delete file 2", "log 306018 Seven/", "log 306022 f2/Seven", History(7, 7, "-1 'f2' '' ''")},
       {.links = {{2, 7}}}),
    On("LinkedWithoutHistory", kChange, kOn, "15",
       {"link 1 of 7", "add file 1 'c' of 7", "log 306018 Seven/", "log 306021 c/Seven", History(4, 7, "-1 'c' '' ''")},
       {.failing = "history", .says = R"("ErrorCode":15}})"}),
    On("LinkedFromInside", kChange, kOn, "0",
       {"link 1 of 7", "add file 1 'c' of 7", "log 306018 Seven/", "log 306021 c/Seven",
        History(4, 7, "-1 'c' '' ''", "'' at '' on -1")},
       {.session = ""}),
    On("NoFiles", kChange, "{}", "2", {}, {.says = R"("FileErrorList":{})"}),
    On("FilesNeedAPermission", kChange, kOn, "10", {}, {.denied = 41}),
    On("AllLinked", kAdd, Links("1,2", "8,7,8"), "0",
       Then(Linked({"1", "2"}, 7, "Seven"), Linked({"1", "2"}, 8, "Eight"))),
    On("LinksNeedAPermission", kAdd, Links("1", "7"), "", {}, {.denied = 41}),
    On("LinksOfNothing", kAdd, Links("1"), "10002", {}, {.says = "]FileBatchLinkEvidences failed, request:[{"}),
    On("LinksToAnUnknownOne", kAdd, Links("1,2", "6,8"), "@batch_links", Linked({"1", "2"}, 8, "Eight")),
    On("LinksRefused", kAdd, Links("1,2", "7"), "@batch_links_refused", {"link 1,2 of 7"}, {.file_2_refused = true}),
    On("AHistoryThatFailsEndsTheBatch", kAdd, Links("1", "7,8"), "15", Linked({"1"}, 7, "Seven"),
       {.failing = "history"}),
    On("FailuresBeforeItAreAnswered", kAdd, Links("1", "6,7,8"), "9999", Linked({"1"}, 7, "Seven"),
       {.failing = "history"}),
    On("TooManyPairs", kAdd, Links(Numbers(363), Numbers(362)), "10002"),
    // A name is written into each evidence.
    On("TooLongNames", kAdd,
       R"({"Request":{"EvidenceList":{"Evidence":[)" + List(Numbers(1'000), R"({"EvidenceID":%})") +
           R"(]},"FileList":{"File":[{"FileID":1,"FileName":")" + std::string(40'000, 'x') + R"("}]}}})",
       "10002"),
    // Links of each file become those of the request.
    On("EqualNeedsAPermission", kSet, Links("1", "7"), "", {}, {.denied = 41}),
    On("UnreadableLinks", kSet, "{", "10002"),
    On("AsTheyAre", kSet, Links("1", "7,8"), "0", {}, {.links = {{1, 7}, {1, 8}}}),
    On("Moved", kSet, Links("1,2", "9"), "0",
       Then(Unlinked("1", "1", 7, "Seven"), Linked({"1"}, 9, "Nine"), Linked({"2"}, 9, "Nine")), {.links = {{1, 7}}}),
    On("AllTakenOff", kSet, Links("1,2"), "0", Then(Unlinked("1", "f1", 7, "Seven"), Unlinked("2", "f2", 7, "Seven")),
       {.links = {{1, 7}, {2, -1}, {2, 7}}}),
    On("TakenOffWithoutHistory", kSet, Links("1"), "0", Unlinked("1", "f1", 7, "Seven"),
       {.failing = "history", .links = {{1, 7}}}),
    On("UnreadLinkEndsTheRequest", kSet, Links("1,2,3", "7"), "15", Linked({"1"}, 7, "Seven"),
       {.failing = "read links of 2"}),
    On("UnreadLinks", kSet, Links("1,2"), "15", {}, {.failing = "read links of 1"}),
    On("TheLastFileDecides", kSet, Links("1,2", "7"), "0", Then(Linked({"1"}, 7, "Seven"), Linked({"2"}, 7, "Seven")),
       {.failing = "history 4 of 7 by 'alice' at '10.0.0.7' on 1: -1 '1"}),
    On("AFileOfNobodyIsNoLink", kSet, Links("1", "7,8"), "15", Linked({"1"}, 7, "Seven"),
       {.failing = "history", .links = {{1, -1}}}),
    On("EachFileKeepsItsFailure", kSet, Links("1,2", "6"), "9999", {},
       {.says = R"([{"FileID":1,"ErrorCode":9804,"ErrorModule":0},{"F)"}),
    On("TooManyFiles", kSet, Links(Numbers(10'001), "7"), "10002"),
};
INSTANTIATE_TEST_SUITE_P(Routes, FilesHandlerTest, ::testing::ValuesIn(kExchanges), NameOf);

}  // namespace
