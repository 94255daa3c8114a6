// Files through the real host: what is sent is what comes back, once, to whom it should, and nothing else.

#include <openssl/sha.h>

#include <filesystem>
#include <random>

#include "http/HostProcess.h"
#include "platform/Json.h"

namespace evidence_test {
namespace {

namespace fs = std::filesystem;
using platform::Json;
using testing::HasSubstr;
using testing::Not;

const std::string kFiles = "/platform/v1/files";

std::string Sha256(const std::string& bytes) {
  std::array<unsigned char, SHA256_DIGEST_LENGTH> digest;
  SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest.data());
  std::string hex;
  for (const auto byte : digest) {
    constexpr char kDigits[] = "0123456789abcdef";
    hex += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return hex;
}

std::string Noise(std::size_t size) {
  std::mt19937 random(static_cast<unsigned>(size));
  std::string bytes(size, '\0');
  for (auto& byte : bytes)
    byte = static_cast<char>(random());
  return bytes;
}

Json Parsed(const std::string& text) {
  std::string fault;
  return platform::Json::Parse(text, fault).value_or(Json());
}

std::string TextAt(const HttpReply& reply, const std::string& name) {
  const auto json = Parsed(reply.body);
  const auto* const found = json.Find(name);
  return found == nullptr || found->String() == nullptr ? "" : *found->String();
}

class FilesTest : public testing::Test {
 protected:
  void SetUp() override {
    EnsureUser("clara", {"--cs", "41,44"});
    EnsureUser("bert", {"--web", "41"});
    EnsureUser("guest");
    ResetTables();
    Start({});
  }
  void TearDown() override {
    if (host_) {
      EXPECT_EQ(host_->Stop().exit_code, 0);
    }
  }

  void Start(SettingsMap settings) {
    host_.reset();
    settings.merge(SettingsMap{{"files", folder_.path() + "/files"},
                               {"file_strict", "on"},
                               {"files_reserve_mb", "1"},
                               {"admin_listen", "127.0.0.1:0"}});
    host_ = std::make_unique<HostProcess>(std::move(settings));
    host_->WaitUntilListening();
    clara_ = Login(host_->port(), "clara").id;
  }

  HttpReply Send(const std::string& method, const std::string& path, const std::string& headers = {},
                 const std::string& body = {}, const std::string& session = {}) const {
    const HttpConnection connection(host_->port());
    const bool has_body = !body.empty() || method == "PATCH" || method == "PUT";
    const auto length = has_body ? "Content-Length: " + std::to_string(body.size()) + "\r\n" : "";
    connection.Send(RequestHead(method, path, session.empty() ? clara_ : session) + headers + length + "\r\n" + body);
    return method == "HEAD" ? connection.ReadHead() : connection.ReadReply();
  }
  HttpReply Put(const std::string& query, const std::string& bytes, const std::string& session = {}) const {
    return Send("PUT", kFiles + "?" + query, "", bytes, session);
  }
  static std::string PatchHeaders(std::size_t offset) {
    return "Content-Type: application/offset+octet-stream\r\nUpload-Offset: " + std::to_string(offset) + "\r\n";
  }
  HttpReply Patch(const std::string& path, std::size_t offset, const std::string& bytes,
                  const std::string& session = {}) const {
    return Send("PATCH", path, PatchHeaders(offset), bytes, session);
  }
  /// The path of a new upload.
  std::string Open(std::size_t bytes, const std::string& more = {}) const {
    const auto reply =
        Send("POST", kFiles, "Content-Type: application/json\r\n",
             R"({"name":"gate.mp4","media_type":"video/mp4","bytes":)" + std::to_string(bytes) + more + "}");
    EXPECT_EQ(reply.status, 201) << reply.body;
    return reply.headers.contains("Location") ? reply.headers.at("Location") : "";
  }
  std::string PlaceOf(const std::string& sha256) const {
    return folder_.path() + "/files/" + sha256.substr(0, 2) + "/" + sha256.substr(2, 2) + "/" + sha256;
  }
  /// Files in the store, whole ones and parts.
  std::size_t Stored() const {
    std::size_t count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(folder_.path() + "/files"))
      count += entry.is_regular_file() ? 1 : 0;
    return count;
  }

  ScratchFolder folder_;
  std::unique_ptr<HostProcess> host_;
  std::string clara_;
};

TEST_F(FilesTest, AFileComesInPartsAndIsWholeUnderItsDigest) {
  const auto bytes = Noise(3'000'000);
  const auto sha256 = Sha256(bytes);
  const auto path =
      Open(bytes.size(), R"(,"sha256":")" + sha256 + R"(","source_begin":"2026-11-22T21:40:00+02:00","camera_id":7)");
  EXPECT_EQ(Send("GET", path).status, 409) << "unfinished";
  EXPECT_EQ(Patch(path, 0, bytes.substr(0, 1'000'000)).headers["Upload-Offset"], "1000000");
  const auto wrong = Patch(path, 999'999, "x");
  EXPECT_EQ(wrong.status, 409);
  EXPECT_EQ(wrong.headers.at("Upload-Offset"), "1000000");
  // As after a crash: the part is there, what the process knew of it is not.
  host_->Signal(SIGKILL);
  Start({});
  EXPECT_EQ(Send("HEAD", path).headers["Upload-Offset"], "1000000");
  EXPECT_EQ(Patch(path, 1'000'000, bytes.substr(1'000'000)).status, 204);

  const auto whole = Send("GET", path);
  EXPECT_EQ(whole.status, 200);
  EXPECT_EQ(whole.body, bytes);
  EXPECT_EQ(whole.headers.at("ETag"), '"' + sha256 + '"');
  EXPECT_EQ(whole.headers.at("Content-Type"), "video/mp4");
  EXPECT_EQ(whole.headers.at("X-Content-Type-Options"), "nosniff");
  const auto info = Send("GET", path + "/info");
  EXPECT_EQ(TextAt(info, "state"), "whole");
  EXPECT_EQ(TextAt(info, "sha256"), sha256);
  EXPECT_EQ(TextAt(info, "source_begin"), "2026-11-22T19:40:00.000Z");
  EXPECT_TRUE(fs::exists(PlaceOf(sha256)));
  EXPECT_EQ(Patch(path, bytes.size(), "more").status, 413);
  EXPECT_EQ(Patch(path, bytes.size(), "").status, 204) << "whose answer was lost";
  EXPECT_EQ(Send("GET", path).body, bytes);
  EXPECT_EQ(Send("DELETE", path).status, 409);

  // Equal contents lie there once, under two ids.
  const auto again = Put("name=copy.mp4", bytes);
  EXPECT_EQ(again.status, 201);
  EXPECT_NE(again.headers.at("Location"), path);
  EXPECT_EQ(Stored(), 1U);
  EXPECT_EQ(
      Postgres().Value("SELECT string_agg(description, '|' ORDER BY id) FROM platform.operation_log WHERE user_name = "
                       "'clara' AND log_type = 3101"),
      "File 1: uploaded, 3000000 bytes, SHA-256 " + sha256 + "|File 2: uploaded, 3000000 bytes, SHA-256 " + sha256);
  EXPECT_EQ(
      Postgres().Value("SELECT description FROM platform.operation_log WHERE log_type = 3102 ORDER BY id LIMIT 1"),
      "File 1: downloaded, 3000000 bytes, 0-2999999/3000000");
}

TEST_F(FilesTest, WhatIsNotAsAnnouncedIsNeverWhole) {
  const auto bytes = Noise(1000);
  const auto path = Open(1000, R"(,"sha256":")" + std::string(64, 'a') + '"');
  EXPECT_EQ(Patch(path, 0, bytes).status, 409);
  EXPECT_EQ(TextAt(Send("GET", path + "/info"), "state"), "receiving");
  EXPECT_EQ(TextAt(Send("GET", path + "/info"), "sha256"), Sha256(bytes));
  EXPECT_EQ(Stored(), 1U) << "kept for an hour";

  const auto longer = Open(10);
  EXPECT_EQ(Patch(longer, 0, bytes).status, 413);
  EXPECT_EQ(Patch(longer, 0, bytes.substr(0, 10)).status, 204) << "what was too much is not there";
  EXPECT_EQ(Send("GET", longer).body, bytes.substr(0, 10));

  const auto files = Stored();
  EXPECT_EQ(Put("name=a&sha256=" + std::string(64, 'b'), bytes).status, 409);
  {
    const HttpConnection cut(host_->port());
    cut.Send(RequestHead("PUT", kFiles + "?name=cut", clara_) + "Content-Length: 5000\r\n\r\n" + bytes);
    const auto is_in = [](const std::string& state) {
      return Postgres().Value("SELECT count(*) FROM filemanager.file WHERE name = 'cut' AND state = '" + state + "'") ==
             "1";
    };
    EXPECT_TRUE(Eventually([&] { return is_in("receiving"); }));
    cut.Reset();
    EXPECT_TRUE(Eventually([&] { return is_in("removed"); }));
  }
  EXPECT_EQ(Stored(), files + 1) << "the one with another digest";

  EXPECT_EQ(
      Send("POST", kFiles, "Upload-Length: 0\r\nTus-Resumable: 1.0.0\r\nUpload-Metadata: filename ZW1wdHk=\r\n").status,
      201);
  EXPECT_EQ(Postgres().Value("SELECT state || bytes FROM filemanager.file WHERE name = 'empty'"), "whole0");
}

TEST_F(FilesTest, ANewerRequestEndsAnOlderOneOfTheSameUpload) {
  const auto bytes = Noise(100'000);
  const auto path = Open(bytes.size());
  const HttpConnection hanging(host_->port());
  hanging.Send(RequestHead("PATCH", path, clara_) + PatchHeaders(0) + "Content-Length: 100000\r\n\r\n" +
               bytes.substr(0, 40'000));
  ASSERT_TRUE(Eventually([&] {
    return fs::exists(folder_.path() + "/files/incoming/1") &&
           fs::file_size(folder_.path() + "/files/incoming/1") == 40'000;
  }));
  EXPECT_EQ(Send("HEAD", path).headers["Upload-Offset"], "40000");
  EXPECT_EQ(Patch(path, 40'000, bytes.substr(40'000)).status, 204);
  EXPECT_EQ(Send("GET", path).body, bytes);
}

TEST_F(FilesTest, TwoUploadsOfOneContentAtOnceAreBothWhole) {
  const auto bytes = Noise(500'000);
  std::atomic<int> created = 0;
  OnManyThreads([&] {
    const auto session = Login(host_->port(), "clara").id;
    if (Put("name=same", bytes, session).status == 201) ++created;
  });
  EXPECT_EQ(created, kThreads);
  EXPECT_EQ(Stored(), 1U);
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM filemanager.file WHERE state = 'whole'"), std::to_string(kThreads));
}

TEST_F(FilesTest, WhoMayDoWhat) {
  const auto bert = Login(host_->port(), "bert").id;
  const auto guest = Login(host_->port(), "guest").id;
  const auto path = Open(4);
  EXPECT_EQ(Patch(path, 0, "data", bert).status, 403) << "another opened it";
  EXPECT_EQ(Send("DELETE", path, "", "", bert).status, 403);
  EXPECT_EQ(Send("HEAD", path, "", "", bert).status, 403);
  EXPECT_EQ(Put("name=a", "data", guest).status, 403);
  EXPECT_EQ(Put("name=a", "data", bert).status, 201);
  EXPECT_EQ(Patch(path, 0, "data").status, 204);
  EXPECT_EQ(Send("GET", path, "", "", guest).body, "data");
  EXPECT_EQ(Ask(host_->port(), "GET", path, "").status, 401);

  const auto ended = Open(4);
  EXPECT_EQ(Send("DELETE", ended).status, 204);
  EXPECT_EQ(Patch(ended, 0, "data").status, 410);
}

TEST_F(FilesTest, ATicketReadsOneFileInTheNameOfOneSessionWhileThatLives) {
  const auto path = Put("name=a.txt&media_type=text/plain", "data").headers["Location"];
  const auto other = Put("name=b.txt", "other").headers["Location"];
  const auto ticket = TextAt(Send("POST", path + "/ticket"), "path");
  const auto read = [&](const std::string& way) { return Ask(host_->port(), "GET", way, ""); };
  EXPECT_EQ(read(ticket).body, "data");
  EXPECT_THAT(read(ticket).headers["Content-Disposition"], HasSubstr("inline"));
  auto forged = ticket;
  forged[forged.find("/t/1.") + 3] = '2';
  EXPECT_EQ(read(forged).status, 404) << "the other file";
  forged = ticket;
  forged.back() = forged.back() == '0' ? '1' : '0';
  EXPECT_EQ(read(forged).status, 404);
  EXPECT_EQ(Ask(host_->port(), "GET", "/platform/v1/session", ticket.substr(ticket.rfind('/') + 1)).status, 401);
  EXPECT_EQ(Send("DELETE", "/platform/v1/session").status, 204);
  EXPECT_EQ(read(ticket).status, 404) << "the session has ended";
  const auto log = host_->Log();
  EXPECT_THAT(log, Not(HasSubstr(ticket.substr(ticket.size() - 64))));
}

TEST_F(FilesTest, RangesAndConditionsGiveTheVeryBytes) {
  const auto bytes = Noise(10'000);
  const auto path = Put("name=clip.mp4&media_type=video/mp4", bytes).headers["Location"];
  const auto tag = '"' + Sha256(bytes) + '"';
  struct Case {
    std::string headers;
    int status;
    std::size_t first;
    std::size_t size;
  };
  for (const auto& row : std::vector<Case>{{"Range: bytes=0-0\r\n", 206, 0, 1},
                                           {"Range: bytes=9000-\r\n", 206, 9000, 1000},
                                           {"Range: bytes=-500\r\n", 206, 9500, 500},
                                           {"Range: bytes=10-20\r\nIf-Range: " + tag + "\r\n", 206, 10, 11},
                                           {"Range: bytes=10-20\r\nIf-Range: \"x\"\r\n", 200, 0, 10'000},
                                           {"Range: bytes=1-2,5-6\r\n", 200, 0, 10'000},
                                           {"If-None-Match: " + tag + "\r\n", 304, 0, 0},
                                           {"If-Match: \"x\"\r\n", 412, 0, 0},
                                           {"Range: bytes=10000-\r\n", 416, 0, 0}}) {
    const auto reply = Send("GET", path, row.headers);
    EXPECT_EQ(reply.status, row.status) << row.headers;
    if (row.size != 0) {
      EXPECT_EQ(reply.body, bytes.substr(row.first, row.size)) << row.headers;
    }
    if (row.status == 206) {
      EXPECT_EQ(reply.headers.at("Content-Range"),
                "bytes " + std::to_string(row.first) + "-" + std::to_string(row.first + row.size - 1) + "/10000");
    }
    if (row.status == 416) {
      EXPECT_EQ(reply.headers.at("Content-Range"), "bytes */10000");
    }
  }
  EXPECT_EQ(Send("HEAD", path).headers["Content-Length"], "10000");
}

TEST_F(FilesTest, AnEvidenceTakesOnlyFilesThatAreWholeAndACallWithARefusedOneChangesNothing) {
  const std::string evidence = "/TRELL/Halyard/Evidence/V1/Evidence";
  ASSERT_THAT(Send("POST", evidence, "", R"({"Evidence":{"Guid":"g1","Name":"Fire","Status":1}})").body,
              HasSubstr(R"("ErrorCode":0)"));
  // Ids that a link or an evidence names already are passed over.
  Postgres().Query(
      "INSERT INTO filemanager.link (file_id, evidence_id, linked) VALUES (1, 1, FALSE);"
      "INSERT INTO evidence.evidence_file (ID) VALUES (2)");
  EXPECT_EQ(Put("name=a", "data").headers["Location"], kFiles + "/3");
  const auto unfinished = Open(5);
  const auto link = [&](const std::string& ids) {
    return Send("POST", evidence + "/1/Files", "", R"({"FileList":{"File":[)" + ids + "]}}").body;
  };
  const auto linked = [] { return Postgres().Value("SELECT count(*) FROM filemanager.link WHERE linked"); };
  EXPECT_THAT(link(R"({"ID":3,"FileName":"a"},{"ID":4,"FileName":"b"})"),
              Not(HasSubstr(R"("ErrorModule":0,"ErrorCode":0,)")));
  EXPECT_THAT(link(R"({"ID":99,"FileName":"a"})"), HasSubstr(R"("ErrorModule":31,"ErrorCode":3)"));
  EXPECT_EQ(linked(), "0");
  EXPECT_THAT(link(R"({"ID":3,"FileName":"a"})"), HasSubstr(R"({"ErrorModule":0,"ErrorCode":0)"));
  EXPECT_EQ(linked(), "1");
  EXPECT_THAT(Send("GET", kFiles + "?evidence=1").body, HasSubstr(R"("id":3,"state":"whole","name":"a")"));
  // Taking off is never refused.
  Postgres().Query("UPDATE filemanager.file SET state = 'missing' WHERE id = 3");
  EXPECT_THAT(link(R"({"ID":3,"FileName":"a","Delete":1})"), HasSubstr(R"({"ErrorModule":0,"ErrorCode":0)"));
  EXPECT_EQ(linked(), "0");
}

TEST_F(FilesTest, LimitsAreToldAndAFullDiskLeavesWhatIsThere) {
  const auto path = Open(8);
  EXPECT_EQ(Patch(path, 0, "half").status, 204);
  Start({{"files_reserve_mb", "1048576"}, {"file_max_bytes", "1000"}, {"uploads_per_user", "1"}});
  EXPECT_EQ(Patch(path, 4, "rest").status, 507);
  EXPECT_EQ(Put("name=a", "data").status, 507);
  EXPECT_EQ(Put("name=a", Noise(2000)).status, 413);
  Start({{"uploads_per_user", "1"}});
  EXPECT_EQ(Put("name=a", "data").status, 429) << "one is unfinished";
  EXPECT_EQ(Patch(path, 4, "rest").status, 204);
  EXPECT_EQ(Send("GET", path).body, "halfrest");
}

TEST_F(FilesTest, AlteredBytesAreNeverDeliveredSilently) {
  const auto bytes = Noise(1000);
  const auto path = Put("name=a", bytes).headers["Location"];
  const auto place = PlaceOf(Sha256(bytes));
  fs::permissions(place, fs::perms(0600));
  fs::resize_file(place, 999);
  EXPECT_EQ(Send("GET", path).status, 409);
  EXPECT_EQ(TextAt(Send("GET", path + "/info"), "state"), "altered");
  fs::resize_file(place, 1000);
  const auto altered = Send("GET", path + "?altered=1");
  EXPECT_EQ(altered.status, 200);
  EXPECT_FALSE(altered.headers.contains("ETag"));
  fs::remove(place);
  EXPECT_EQ(Send("GET", path + "?altered=1").status, 410);
  EXPECT_EQ(TextAt(Send("GET", path + "/info"), "state"), "missing");
  EXPECT_THAT(host_->Log(), HasSubstr("File 1 is missing"));
  EXPECT_TRUE(Eventually([&] { return host_->Log().find("metrics on") != std::string::npos; }));
  const auto log = host_->Log();
  const auto port = log.find("metrics on http://127.0.0.1:") + 28;
  const auto metrics = Ask(std::stoi(log.substr(port)), "GET", "/metrics", "").body;
  EXPECT_THAT(metrics, HasSubstr("evidence_file_faults{state=\"missing\"} 1\n"));
  EXPECT_THAT(metrics, HasSubstr("evidence_files_received_bytes_total 1000\n"));
  EXPECT_EQ(Put("name=b", bytes).status, 201) << "the same bytes once more";
  EXPECT_EQ(Send("GET", kFiles + "/2").body, bytes);
}

TEST_F(FilesTest, TheCommandsTakeInAFolderAndFindWhatTheDiskChanged) {
  const ScratchFolder folder;
  fs::create_directory(folder.path() + "/yard");
  folder.Write("a.mp4", "first");
  folder.Write("yard/b.mp4", "second");
  folder.Write("yard/c\nd", "control");
  fs::create_symlink("/etc/passwd", folder.path() + "/link");
  const auto run = [&](const std::vector<std::string>& arguments) {
    SettingsMap settings{{"files", folder_.path() + "/files"}, {"files_reserve_mb", "1"}};
    return HostProcess(settings, arguments).Wait();
  };
  const auto taken = run({"files", "import", folder.path()});
  EXPECT_EQ(taken.exit_code, 1) << "one name is none of a file";
  EXPECT_EQ(taken.out, "1\t5 bytes\t" + Sha256("first") + "\t" + folder.path() + "/a.mp4\n2\t6 bytes\t" +
                           Sha256("second") + "\t" + folder.path() + "/yard/b.mp4\n");
  EXPECT_THAT(taken.err, HasSubstr("control character"));
  EXPECT_EQ(Send("GET", kFiles + "/2").body, "second");
  EXPECT_EQ(run({"files", "check", "--now"}).exit_code, 0);
  std::ofstream(PlaceOf(Sha256("first"))) << "f1rst";
  EXPECT_EQ(run({"files", "check"}).out, "2 whole\n") << "not read again";
  const auto found = run({"files", "check", "--now"});
  EXPECT_EQ(found.exit_code, 1);
  EXPECT_THAT(found.out, testing::StartsWith("1\taltered\t" + Sha256("first")));
  EXPECT_THAT(found.out, HasSubstr("1 altered\n1 whole\n"));
  EXPECT_EQ(Send("GET", kFiles + "/1").status, 409);
  EXPECT_EQ(Send("GET", kFiles + "/1?altered=1").body, "f1rst");
  EXPECT_THAT(run({"files", "list", "--state", "altered"}).out, HasSubstr("a.mp4"));
}

TEST_F(FilesTest, NoDescriptionGetsPastItsRules) {
  for (const auto& [query, status] : std::vector<std::pair<std::string, int>>{
           {"", 422},
           {"name=", 422},
           {"name=..%2Fa", 422},
           {"name=a%5Cb", 422},
           {"name=" + std::string(256, 'n'), 422},
           {"name=a%00b", 400},
           {"name=a%0Ab", 422},
           {"name=%FF", 400},
           {"name=a&media_type=text", 422},
           {"name=a&media_type=text/plain;x", 422},
           {"name=a&sha256=12", 422},
           {"name=a&camera_id=-1", 422},
           {"name=a&source_begin=yesterday", 422},
           {"name=a&source_begin=2026-01-02T00:00:00Z&source_end=2026-01-01T00:00:00Z", 422},
           {"name=a&name=b", 422},
           {"name=a&color=red", 422}}) {
    EXPECT_EQ(Put(query, "data").status, status) << query;
  }
  EXPECT_EQ(Stored(), 0U);
  const auto name = Put("name=%22%3B%20filename%3Dx.exe%3B%20%E5%81%9C%27%25", "data");
  EXPECT_EQ(name.status, 201);
  EXPECT_EQ(Send("GET", name.headers.at("Location")).headers["Content-Disposition"],
            "attachment; filename=\"_; filename=x.exe; _'_\"; "
            "filename*=UTF-8''%22%3B%20filename%3Dx.exe%3B%20%E5%81%9C%27%25");
}

}  // namespace
}  // namespace evidence_test
