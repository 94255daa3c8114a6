// The rules of files that need no server: ranges, names, tickets, descriptions.

#include <gtest/gtest.h>

#include "store/Delivery.h"
#include "store/Digest.h"
#include "store/NewFile.h"
#include "store/Ranges.h"
#include "store/Tickets.h"

namespace evidence_test {
namespace {

using namespace FileManager;

TEST(RangesTest, OneRangeCountsAndAllElseIsTheWholeOrNothing) {
  using Asked = std::variant<WholeFile, ByteRange, NoBytes>;
  struct Case {
    const char* header;
    std::int64_t total;
    Asked asked;
  };
  for (const auto& row : std::vector<Case>{
           {"bytes=0-499", 1000, ByteRange{0, 499}},
           {"bytes=500-", 1000, ByteRange{500, 999}},
           {"bytes=-1", 1000, ByteRange{999, 999}},
           {"BYTES= 1-1 ", 1000, ByteRange{1, 1}},
           {"bytes=0-99999999999999999999", 1000, ByteRange{0, 999}},
           {"bytes=-99999999999999999999", 1000, ByteRange{0, 999}},
           {"bytes=999-1000", 1000, ByteRange{999, 999}},
           {"bytes=1000-", 1000, NoBytes{}},
           {"bytes=99999999999999999999-", 1000, NoBytes{}},
           {"bytes=-0", 1000, NoBytes{}},
           {"bytes=0-", 0, NoBytes{}},
           {"bytes=-1", 0, NoBytes{}},
           {"bytes=5-4", 1000, WholeFile{}},
           {"bytes=-", 1000, WholeFile{}},
           {"bytes=", 1000, WholeFile{}},
           {"bytes", 1000, WholeFile{}},
           {"bytes=1-2,4-5", 1000, WholeFile{}},
           {"bytes=+1-2", 1000, WholeFile{}},
           {"bytes=1--2", 1000, WholeFile{}},
           {"lines=1-2", 1000, WholeFile{}},
       }) {
    EXPECT_EQ(ReadRange(row.header, row.total), row.asked) << row.header;
  }
}

TEST(DeliveryTest, NothingThatRunsIsShownAndNoNameLeavesItsQuotes) {
  EXPECT_EQ(Disposition("a.mp4", "video/mp4"), "inline; filename=\"a.mp4\"; filename*=UTF-8''a.mp4");
  for (const auto* const type : {"text/html", "image/svg+xml", "application/pdf", "text/xml", "application/javascript"})
    EXPECT_TRUE(Disposition("a", type).starts_with("attachment;")) << type;
  EXPECT_TRUE(Disposition("a", "image/png", false).starts_with("attachment;"));
  EXPECT_EQ(Disposition("\"\\%; é\r\n", "a/b"),
            "attachment; filename=\"___; ___\"; filename*=UTF-8''%22%5C%25%3B%20%C3%A9%0D%0A");
  EXPECT_EQ(NameFault(std::string(255, 'n')), "");
  for (const std::string name : {"a\x7f", "a\xc2\x85", "a\tb", "..", "a/b", "\xff"})
    EXPECT_NE(NameFault(name), "") << name;
  EXPECT_EQ(MediaTypeOf("Video/MP4"), "video/mp4");
  for (const auto* const type : {"", "video", "/mp4", "video/", "a/b/c", "a/b c", "a/b;c=d", "a/b\r\n"})
    EXPECT_EQ(MediaTypeOf(type), "") << type;
}

TEST(TicketsTest, OnlyTheSiteMakesThemAndOnlyForTheirTime) {
  using std::chrono::minutes;
  const Tickets tickets("0123456789abcdef");
  const Tickets::Clock::time_point now{std::chrono::seconds(1'800'000'000)};
  const auto text = tickets.Make({7, "a.b", now + minutes(10)});
  const auto ticket = tickets.Check(text, now + minutes(9));
  ASSERT_TRUE(ticket);
  EXPECT_EQ(ticket->file_id, 7);
  EXPECT_EQ(ticket->session, "a.b");
  EXPECT_FALSE(tickets.Check(text, now + minutes(10)));
  EXPECT_FALSE(Tickets("0123456789abcdeg").Check(text, now));
  for (std::size_t at = 0; at < text.size(); ++at) {
    auto other = text;
    other[at] = other[at] == '0' ? '1' : '0';
    EXPECT_FALSE(tickets.Check(other, now)) << at;
    EXPECT_FALSE(tickets.Check(text.substr(0, at), now)) << at;
  }
  EXPECT_FALSE(tickets.Check(tickets.Make({7, "", now + minutes(10)}), now)) << "no session is none that is trusted";
}

TEST(NewFileTest, MetadataOfTheResumableProtocolIsReadAsItsClientsSendIt) {
  platform::HttpFields texts;
  EXPECT_EQ(TextsOfMetadata(texts, "filename Z2F0ZS5tcDQ=, filetype dmlkZW8vbXA0,camera_id Nw=="), "");
  FileRow file;
  EXPECT_EQ(ReadNewFile(file, texts), "");
  EXPECT_EQ(file.name, "gate.mp4");
  EXPECT_EQ(file.media_type, "video/mp4");
  EXPECT_EQ(file.camera_id, 7);
  for (const auto* const header : {"filename Z2F0Z", "filename ????", "filename Z=F0", "filename ===="})
    EXPECT_NE(TextsOfMetadata(texts, header), "") << header;
  EXPECT_EQ(Base64(BytesOfBase64("Z2F0ZS5tcA==")), "Z2F0ZS5tcA==");
  EXPECT_EQ(BytesOfHex("4a4B"), "JK");
  EXPECT_EQ(BytesOfHex("4g"), "");
}

TEST(NewFileTest, JsonIsTakenMemberByMember) {
  for (const auto* const body : {"", "[]", "1", "{\"name\":[\"a\"]}", "{\"name\":true}", "{\"bytes\":1.5}"}) {
    platform::HttpFields texts;
    EXPECT_NE(TextsOfJson(texts, body), "") << body;
  }
  platform::HttpFields texts;
  EXPECT_EQ(TextsOfJson(texts, R"({"name":"a","bytes":3,"sha256":null})"), "");
  EXPECT_EQ(texts, (platform::HttpFields{{"name", "a"}, {"bytes", "3"}}));
}

}  // namespace
}  // namespace evidence_test
