// The rules of the two dictionaries, types and custom attributes, down to the statements.

#include "unit/plugin/ManagerTest.h"

namespace {

using namespace evidence_test;

/// "6:a|7:b:0:1=x,2=y": id, name, and of an attribute its kind and options.
std::list<EvidenceCustomPtr> CustomList(const std::string& text) {
  std::list<EvidenceCustomPtr> customs;
  for (const auto& entry : SplitText(text, '|')) {
    const auto parts = SplitKeepingEmpty(entry + "::", ':');
    auto& custom = *customs.emplace_back(std::make_shared<tag_EvidenceCustom_>());
    custom.custom_id = ExtractDecimal(parts[0]);
    custom.custom_name = parts[1];
    custom.custom_type = ExtractDecimal(parts[2]);
    for (const auto& option : SplitText(parts[3], ','))
      custom.custom_options.push_back({ExtractDecimal(option), option.substr(option.find('=') + 1)});
  }
  return customs;
}

std::list<EvidenceTypePtr> TypeList(const std::string& text) {
  std::list<EvidenceTypePtr> types;
  for (const auto& entry : CustomList(text))
    types.push_back(std::make_shared<_tag_EvidenceType_>(_tag_EvidenceType_{entry->custom_id, entry->custom_name}));
  return types;
}

enum Kind { kType, kCustom };

class DictionaryTest : public ManagerTest {
 protected:
  /// Starts the manager over these types or attributes; two built-in ones have names in the reader's language.
  void Start(Kind kind, const std::string& current) {
    const std::string start = "casefile.s/en/update_src_name/evidence_update_";
    platform_.language->texts = {{start + "theft", "Theft"}, {start + "scene", "Scene"}};
    for (const auto& entry : CustomList(current)) {
      const std::string id = std::to_string(entry->custom_id);
      tables_.Add(kind == kType ? "evidence_type" : "evidence_custom",
                  {{"id", id}, {"name", entry->custom_name}, {"types", std::to_string(entry->custom_type)}});
      for (const auto& option : entry->custom_options) {
        tables_.Add("evidence_option",
                    {{"id", std::to_string(option.option_id)}, {"custom_id", id}, {"name", option.option_name}});
      }
    }
    ManagerTest::Start();
  }
  /// Changes the dictionary and returns what was done, what was refused, and what is served then.
  std::string Set(Kind kind, const std::string& wanted, bool full = true, const std::string& session = "s") {
    std::list<ErrorPtr> errors;
    const bool ok = kind == kType ? manager_.SetEvidenceTypes(errors, TypeList(wanted), session, log_, full)
                                  : manager_.SetEvidenceCustoms(errors, CustomList(wanted), session, log_, full);
    return Did(ok, errors) + "\nnow:" + Served(kind);
  }
  std::string Served(Kind kind) {
    std::string text;
    std::list<EvidenceTypePtr> types;
    page_info page;
    if (kind == kType) (void)manager_.GetEvidenceTypes(types, page, nullptr);
    for (const auto& type : types)
      text += " " + std::to_string(type->type_id) + ":" + type->type_name;
    std::list<EvidenceCustomPtr> customs;
    if (kind == kCustom) (void)manager_.GetEvidenceCustoms(customs, nullptr);
    for (const auto& custom : customs) {
      text += " " + std::to_string(custom->custom_id) + ":" + custom->custom_name;
      for (const auto& option : custom->custom_options)
        text += "," + std::to_string(option.option_id) + "=" + option.option_name;
    }
    return text;
  }

  const LogFunction log_ = [this](const Texts& names, int type) {
    Note("log " + std::to_string(type) + " " + Joined(names, " "));
  };
};

struct Change {
  const char* name;
  Kind kind;
  const char* current;
  const char* wanted;
  Texts expected;
  /// Beginnings of the calls that fail, or the code of a permission that is missing.
  const char* fault;
  bool full;
};
Change Types(const char* name, const char* current, const char* wanted, const Texts& expected, const char* fault = "",
             bool full = true) {
  return {name, kType, current, wanted, expected, fault, full};
}
Change Customs(const char* name, const char* current, const char* wanted, const Texts& expected,
               const char* fault = "") {
  return {name, kCustom, current, wanted, expected, fault, true};
}
void PrintTo(const Change& change, std::ostream* out) { *out << change.name; }

class DictionaryChange : public DictionaryTest, public ::testing::WithParamInterface<Change> {};

TEST_P(DictionaryChange, EndsAsExpected) {
  const Change& change = GetParam();
  Start(change.kind, change.current);
  for (const auto& fault : SplitText(change.fault, '|'))
    tables_.failing.insert(fault);
  platform_.permissions->denied = {ExtractDecimal(change.fault)};
  EXPECT_EQ(Set(change.kind, change.wanted, change.full), Lines(change.expected));
}

const Change kChanges[] = {
    Types("TypesAreAddedChangedDeleted", "6:a|7:b|8:c", "6:a|7:O'B|-1:c",
          {"delete type 8", "clear type 8 of evidences", "log 306013 c", "name type 7 'O''B'", "log 306012 O'B",
           "add type 100 'c'", "log 306011 c", "incre 13001 8 2", "incre 13001 7 1", "incre 13001 100 0", "ok",
           "now: 6:a 7:O'B 100:c"}),
    Types("UnchangedTypesAreNotWritten", "0:|1:|6:a", "0:|1:|6:a", {"ok", "now: 0: 1:Theft 6:a"}),
    Types("AllTypesAreDeletedUnderTheNamesShown", "1:|6:a", "",
          {"delete type 1", "delete type 6", "clear type 1,6 of evidences", "log 306013 Theft a",
           "!delete evidence type in evidence failed.", "incre 13001 1 2", "incre 13001 6 2", "ok", "now:"},
          "clear type"),
    Types("TypesMayNotBeDeleted", "6:a|7:b", "6:A|-1:n", {"0-10", "now: 6:a 7:b"}, "1425"),
    Types("TypesMayNotBeChanged", "6:a|7:b", "6:a|-1:n",
          {"delete type 7", "clear type 7 of evidences", "log 306013 b", "incre 13001 7 2", "0-10", "now: 6:a"},
          "1424"),
    Types("TypesAreRefusedOneByOne", "6:a|7:b|8:c", "6:b|7:a|8:c|9:x|-1:|-1:\t|-1:\a|-1:\xff|-1:n|-1:n|-1:O'B",
          {"log 306012 b a x", "add type 100 '\t'", "add type 101 'n'", "add type 102 'O''B'",
           "log 306011  \t \a \xFF n n O'B", "!The evidence type name repeat, evidence-type-name[n].",
           "incre 13001 100 0", "incre 13001 101 0", "incre 13001 102 0", "ok", "refused 6 b 0-9808",
           "refused 7 a 0-9808", "refused 9 x 0-9809", "refused -1  0-2", "refused -1 \a 0-2", "refused -1 \xFF 0-2",
           "refused -1 n 0-9808", "now: 6:a 7:b 8:c 100:\t 101:n 102:O'B"}),
    Types("ARepeatedTypeIsWrittenOnceAsItEnds", "6:a|7:b", "6:x|7:y|6:z|7:x",
          {"name type 6 'z'", "name type 7 'y'", "log 306012 x y z x",
           "!The evidence type name repeat, evidence-type-name[x].", "incre 13001 6 1", "incre 13001 7 1", "ok",
           "refused 7 x 0-9808", "now: 6:z 7:y"}),
    Types(
        "AFailedStepOfTypesStopsNoOther", "6:a|7:b", "6:A|-1:n|-1:m",
        {"delete type 7", "name type 6 'A'", "add type 100 'n'", "add type 101 'm'", "!Insert evidences types failed.",
         "0-15", "refused 7 b 0-15", "refused 6 A 0-15", "refused -1 n 0-15", "refused -1 m 0-15", "now: 6:a 7:b"},
        "delete type|name type|add type"),
    Types("AFailedDeletionIsReportedThoughTheRestWasDone", "6:a|7:b", "6:A|-1:n",
          {"delete type 7", "name type 6 'A'", "log 306012 A", "add type 100 'n'", "log 306011 n",
           "!Delete evidences types failed.", "incre 13001 6 1", "incre 13001 100 0", "0-9809", "refused 7 b 0-15",
           "now: 6:A 7:b 100:n"},
          "delete type"),
    Types("ANewTypeMayNotBeNamedAsAnother", "6:taken", "6:taken|-1:taken",
          {"log 306011 taken", "!The evidence type name repeat, evidence-type-name[taken].", "ok",
           "refused -1 taken 0-9808", "now: 6:taken"}),
    Types("APartOfTheTypesIsAllChanges", "6:a|7:b", "6:a|-1:n",
          {"name type 6 'a'", "log 306012 a n", "!Input param error.", "incre 13001 6 1", "ok", "refused -1 n 0-2",
           "now: 6:a 7:b"},
          "", false),
    Customs(
        "CustomsAreAddedChangedDeleted", "6:a|7:b:0:1=x|8:c", "6:a|7:B:0:1=x|-1:c:0:-1=o|-1:text:1|-1:d",
        {"delete custom 8", "delete options of 8", "delete values of custom 8", "log 306016 c", "name custom 7 'B' 0",
         "name option 1 'x'", "log 306015 B", "add custom 100 'c' 0", "add custom 101 'text' 1", "add custom 102 'd' 0",
         "add option 103 'o' of 100", "log 306014 c text d", "incre 13005 8 2", "incre 13005 7 1", "incre 13005 100 0",
         "incre 13005 101 0", "incre 13005 102 0", "ok", "now: 6:a 7:B,1=x 100:c,103=o 101:text 102:d"}),
    Customs("OnlyCustomsThatDifferAreWritten", "2::0:5=s|6:a:0:1=x,2=y|7:t:1|8:b:0:3=x|9:c:0:4=x,10=y",
            "2::0:5=s|6:a:0:2=y,1=x|7:t:1:-1=o|8:b:2:3=x|9:c:0:4=x",
            {"name custom 8 'b' 2", "name custom 9 'c' 0", "name option 3 'x'", "name option 4 'x'", "delete option 10",
             "log 306015 b c", "incre 13005 8 1", "incre 13005 9 1", "ok",
             "now: 2:Scene,5=s 6:a,1=x,2=y 7:t 8:b,3=x 9:c,4=x"}),
    Customs(
        "BuiltInCustomsKeepTheNameShown", "1::1|2:|3:", "1::1|2::0:-1=s|3::0:-1=o|-1:Scene",
        {"name custom 2 '' 0", "name custom 3 '' 0", "add option 100 's' of 2", "add option 101 'o' of 3",
         "log 306015  ", "log 306014 Scene", "!The evidence custom exists, evidence-custom-name[Scene].",
         "incre 13005 2 1", "incre 13005 3 1", "ok", "refused -1 Scene 0-120013", "now: 1: 2:Scene,100=s 3:,101=o"}),
    Customs("CustomsMayNotBeDeleted", "6:a|7:b", "6:A|-1:n", {"0-10", "now: 6:a 7:b"}, "1429"),
    Customs("CustomsMayNotBeChanged", "6:a|7:b", "6:a|-1:n",
            {"delete custom 7", "delete options of 7", "delete values of custom 7", "log 306016 b", "incre 13005 7 2",
             "0-10", "now: 6:a"},
            "1428"),
    Customs("TheSixthCustomRefusesTheBatch", "6:a|7:b|8:c", "6:a|7:b|8:c|-1:d|-1:e|-1:f",
            {"!The number of evidence custom exceeds the limit.", "0-120012", "now: 6:a 7:b 8:c"}),
    Customs("NewCustomsAreRefusedOneByOne", "6:taken", "6:taken|-1:taken|-1:|-1:twin|-1:twin",
            {"add custom 100 'twin' 0", "log 306014 taken  twin twin",
             "!The evidence custom name repeat, evidence-custom-name[twin].", "incre 13005 100 0", "ok",
             "refused -1 taken 0-120013", "refused -1  0-2", "refused -1 twin 0-120013", "now: 6:taken 100:twin"}),
    Customs("ChangedCustomsAreRefusedAlsoForNamesOfReplacedOnes", "6:a|7:b|8:c", "6:b|7:x|7:y|8:x|99:a|98:\a",
            {"name custom 7 'y' 0", "log 306015 b x y x a \a", "!Input param error.", "incre 13005 7 1", "ok",
             "refused 6 b 0-120013", "refused 8 x 0-120013", "refused 99 a 0-120010", "refused 98 \a 0-2",
             "now: 6:a 7:y 8:c"}),
    Customs("OptionsAreAddedRenamedDroppedOrIgnored", "6:a:0:1=x,2=y,3=z|7:b:0:4=p", "6:a:0:-1=n,1=X,4=of 7,3=z|7:b:1",
            {"name custom 6 'a' 0", "name custom 7 'b' 1", "name option 1 'X'", "name option 3 'z'", "delete option 2",
             "add option 100 'n' of 6", "delete option 4", "log 306015 a b", "incre 13005 6 1", "incre 13005 7 1", "ok",
             "now: 6:a,100=n,1=X,3=z 7:b"}),
    Customs("AnOptionGivenTwiceEndsAsGivenLast", "6:a:0:1=x", "6:a:0:1=y,1=z",
            {"name custom 6 'a' 0", "name option 1 'z'", "log 306015 a", "incre 13005 6 1", "ok", "now: 6:a,1=z"}),
    Customs("AFailedRenamingOfOptionsEndsTheBatch", "6:a:0:1=x,2=y|7:b:0:3=z", "6:A:0:1=X,-1=n|7:B:0:3=z",
            {"name custom 6 'A' 0", "name custom 7 'B' 0", "name option 1 'X'", "!Update custom option failed.", "0-15",
             "refused 6 A 0-15", "now: 6:a,1=x,2=y 7:b,3=z"},
            "name option"),
    Customs("AnOptionWithoutAKeyIsNotStored", "6:a:0:1=x", "6:a:0:1=x,-1=n",
            {"name custom 6 'a' 0", "!Get Last Seq ID Failed.", "0-15", "refused 6 a 0-15", "now: 6:a,1=x"},
            "key evidence_option"),
    Customs("AFailedStepOfCustomsStopsNoOther", "6:a|8:c", "6:A|-1:n:0:-1=o|-1:m",
            {"delete custom 8", "name custom 6 'A' 0", "add custom 100 'n' 0", "add custom 101 'm' 0",
             "add option 102 'o' of 100", "!Insert evidences custom failed.", "0-15", "refused 8 c 0-15",
             "refused 6 A 0-15", "refused 100 n 0-15", "refused 101 m 0-15", "now: 6:a 8:c"},
            "delete custom|name custom|add custom"),
    Customs("CustomsThatKeepTheirOptionsAreStillServed", "6:a:0:1=x|7:b", "7:b",
            {"delete custom 6", "delete options of 6", "!Delete evidences custom options failed.", "0-15",
             "refused 6 a 0-15", "now: 6:a,1=x 7:b"},
            "delete options"),
    Customs("OptionsThatCannotBeAddedEndTheBatch", "6:a:0:1=x|7:b:0:2=y", "6:a:0:1=x,-1=n|7:b:1",
            {"name custom 6 'a' 0", "name custom 7 'b' 1", "name option 1 'x'", "add option 100 'n' of 6",
             "!Insert custom option failed.", "0-15", "refused 6 a 0-15", "now: 6:a,1=x 7:b,2=y"},
            "add option"),
    Customs("ValuesStayOfWhatIsGone", "2:|6:a", "",
            {"delete custom 2", "delete custom 6", "delete options of 2", "delete options of 6",
             "delete values of custom 2", "delete values of custom 6", "!Delete evidences custom options failed.",
             "incre 13005 2 2", "incre 13005 6 2", "0-15", "refused 2 Scene 0-15", "refused 6 a 0-15", "now:"},
            "delete values"),
};
INSTANTIATE_TEST_SUITE_P(Changes, DictionaryChange, ::testing::ValuesIn(kChanges),
                         [](const auto& change) { return std::string(change.param.name); });

TEST_F(DictionaryTest, NamesAndOptionsAtTheirLimits) {
  Start(kCustom, "6:a|7:b");
  std::string longest;
  std::string options;
  for (int n = 0; n < 64; ++n)
    longest += "\xE4\xB8\xAD";
  for (int n = 0; n < 1000; ++n)
    options += "-1=o,";
  std::string types;
  for (int n = 0; n < 128; ++n)
    types += "-1:" + std::to_string(n) + "|";
  const std::string nul(1, '\0');
  const std::tuple<Kind, std::string, bool, const char*> cases[] = {
      {kType, "-1:" + longest, true, "ok"},
      {kType, "-1:" + longest + "x", true, "0-2"},
      {kType, types + "-1:n", true, "0-9810"},
      {kType, types, true, "ok"},
      {kCustom, "6:" + longest + "x", false, "0-2"},
      {kCustom, "6:a:0:" + options + "-1=o", false, "0-120012"},
      {kCustom, "6:" + longest + ":0:" + options, false, "ok"},
      {kCustom, "6:a|-1:n:0:" + options + "-1=o", true, "0-120012"},
      {kCustom, "6:a|-1:n:0:" + options, true, "ok"},
      // An option that the table would refuse must not leave its attribute or the other options behind.
      {kCustom, "6:a:0:-1=fine,-1=n" + nul, false, "0-2"},
      {kCustom, "6:a|-1:n:0:-1=fine,-1=n" + nul, true, "0-2"}};
  for (const auto& [kind, wanted, full, end] : cases) {
    const std::string done = Set(kind, wanted, full);
    const std::string last = "\n" + done.substr(0, done.rfind("\nnow:"));
    EXPECT_TRUE(last.ends_with("\n" + std::string(end)) || last.ends_with(" " + std::string(end)))
        << last << " for " << wanted.substr(0, 99);
  }
}

TEST_F(DictionaryTest, DeletesAllSomeOrNothing) {
  tables_.Add("evidence_type", {{"id", "1"}});
  tables_.Add("evidence_type", {{"id", "6"}, {"name", "a"}});
  Start(kCustom, "0:zero|6:a");
  const auto deleted = [this](Kind kind, const IdList& ids) {
    std::list<ErrorPtr> errors;
    const bool ok =
        kind == kType ? manager_.DeleteEvidenceTypes(errors, ids, log_) : manager_.DeleteEvidenceCustoms(errors, ids);
    return Did(ok, errors) + "\nnow:" + Served(kind);
  };
  EXPECT_EQ(deleted(kType, {-1, 6, 99}),
            Lines({"delete type 6", "log 306013 a", "clear type 6 of evidences", "!Input param error.",
                   "incre 13001 6 2", "ok", "refused -1  0-2", "now: 1:Theft"}));
  EXPECT_EQ(deleted(kType, {}),
            Lines({"delete type 1", "log 306013 Theft", "clear type 1 of evidences", "incre 13001 1 2", "ok", "now:"}));
  EXPECT_EQ(deleted(kCustom, {}), Lines({"delete custom 6", "delete options of 6", "delete values of custom 6",
                                         "incre 13005 6 2", "ok", "now: 0:zero"}))
      << "all but 0";
}

TEST_F(DictionaryTest, PagesAndFilters) {
  Start(kType, "6:north|7:south|8:northwest|9:east");
  constexpr std::int32_t kMax = 2147483647;
  constexpr std::int32_t kMin = -2147483647 - 1;
  const auto page = [this](std::int32_t index, std::int32_t size, const std::string& name = "", IdVector ids = {}) {
    const auto filter = std::make_shared<_tag_EvidenceAttributeFilterInfo_>();
    filter->name = name;
    filter->ids = std::move(ids);
    std::list<EvidenceTypePtr> types;
    page_info asked{0, index, size};
    std::string text = manager_.GetEvidenceTypes(types, asked, filter) ? "" : std::to_string(LastCode()) + ":";
    for (const auto& type : types)
      text += std::to_string(type->type_id) + " ";
    return text + "of " + std::to_string(asked.total);
  };
  EXPECT_EQ(page(1, 2) + ", " + page(2, 3) + ", " + page(3, 2), "6 7 of 4, 9 of 4, of 4");
  EXPECT_EQ(page(-1, 2) + ", " + page(2, -1), "6 7 8 9 of 4, 6 7 8 9 of 4");
  EXPECT_EQ(page(0, 5) + ", " + page(2, 0), "2:of 4, 2:of 4");
  EXPECT_EQ(page(1, kMax) + ", " + page(kMax, kMax) + ", " + page(kMin, kMin), "6 7 8 9 of 4, of 4, of 4");
  EXPECT_EQ(page(-1, -1, "nor") + ", " + page(-1, -1, "nor", {8, 9, 77}), "6 8 of 2, 8 of 1");
}

TEST_F(DictionaryTest, ChangesThatCannotBeWrittenOrReadAreLogged) {
  Start(kType, "6:a");
  platform_.system_and_log->refused = platform_.increments->refused = true;
  EXPECT_EQ(Did(manager_.AddIncreResource(1, 2, 0)),
            Lines({"!Failed to add incremental resources, resource-type[1], resource-id[2], incre-method[0].",
                   "incre 1 2 0", "77-77"}));
  std::list<EvidenceTypePtr> types;
  std::list<EvidenceCustomPtr> customs;
  std::list<std::int32_t> methods;
  EXPECT_FALSE(manager_.GetIncreEvidenceTypes(types, methods, 1));
  EXPECT_TRUE(platform_.sink->Has(4, "GetIncreEvidenceTypes]Get IncreResource evidence-types failed."));
  EXPECT_FALSE(manager_.GetIncreEvidenceCustoms(customs, methods, 1));
  EXPECT_TRUE(platform_.sink->Has(4, "GetIncreEvidenceCustoms]Get IncreResource evidence-customs failed."));
}

TEST_F(DictionaryTest, ReadersKeepWhatTheyHave) {
  Start(kCustom, "9:same:0:5=late|7:same:0:1=x,2=y|8:other");
  std::list<ErrorPtr> errors;
  const auto type = std::make_shared<_tag_EvidenceType_>(_tag_EvidenceType_{-1, "as read"});
  ASSERT_TRUE(manager_.InsertEvidenceTypes(errors, {type}));
  EvidenceTypePtr read;
  ASSERT_TRUE(manager_.GetEvidenceTypeByName(read, "as read"));
  (void)Set(kType, std::to_string(read->type_id) + ":renamed", false);
  EXPECT_EQ(read->type_name, "as read");
  EvidenceCustomPtr custom;
  ASSERT_TRUE(manager_.GetEvidenceCustomByName(custom, "same"));
  EXPECT_EQ(custom->custom_id, 7) << "the first by id";
  (void)Set(kCustom, "7:new:0:1=X", false);
  EXPECT_EQ(custom->custom_options[0].option_name, "x") << "a reader's record may not change under it";
  tag_EvidenceOption_ option{77, "as it was"};
  EXPECT_TRUE(manager_.GetCustomOptionById(option, 5, 7));
  EXPECT_EQ(option.option_name, "as it was") << "the option belongs to another attribute";
  EXPECT_TRUE(manager_.GetCustomOptionById(option, 1, 7));
  EXPECT_EQ(option.option_name, "X");
}

}  // namespace
