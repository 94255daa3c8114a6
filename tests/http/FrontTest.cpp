// Who gets to the host, and how: TLS, addresses, proxies, clients that take their answers slowly.

#include <cstdlib>
#include <filesystem>

#include "Settings.h"
#include "http/Certificate.h"
#include "http/ConnectionCounts.h"
#include "http/HostProcess.h"
#include "http/TrustedProxies.h"

namespace evidence_test {
namespace {

using host::TrustedProxies;
using testing::HasSubstr;
using testing::Not;

TrustedProxies Proxies(const std::string& text) {
  TrustedProxies proxies;
  EXPECT_EQ(TrustedProxies::Read(text, proxies), "");
  return proxies;
}

TEST(TrustedProxiesTest, OnlyTheirWordCountsAndOnlyAsFarAsItCanBeRead) {
  const auto proxies = Proxies("10.0.0.0/8, 192.0.2.1,2001:db8:0:1::/64");
  using Lines = std::vector<std::string_view>;
  const struct {
    std::string peer;
    Lines forwarded_for;
    std::string client;
  } kCases[] = {
      {"198.51.100.9", {"203.0.113.5"}, "198.51.100.9"},
      {"192.0.2.2", {"203.0.113.5"}, "192.0.2.2"},
      {"192.0.2.1", {}, "192.0.2.1"},
      {"192.0.2.1", {"203.0.113.5"}, "203.0.113.5"},
      {"2001:db8:0:1::9", {"2001:DB8:0:0:0::7"}, "2001:db8::7"},
      {"2001:db8:0:2::9", {"203.0.113.5"}, "2001:db8:0:2::9"},
      // What a client sends itself stands to the left.
      {"10.1.2.3", {"127.0.0.1, 203.0.113.5"}, "203.0.113.5"},
      {"10.1.2.3", {"203.0.113.5 ,\t192.0.2.1,10.9.9.9"}, "203.0.113.5"},
      {"10.1.2.3", {"203.0.113.6", "203.0.113.5", "10.9.9.9"}, "203.0.113.5"},
      {"10.1.2.3", {"10.7.7.7, 10.9.9.9"}, "10.7.7.7"},
      // What cannot be read ends the search.
      {"10.1.2.3", {"203.0.113.5, unknown"}, "10.1.2.3"},
      {"10.1.2.3", {"203.0.113.5, garbage, 10.9.9.9"}, "10.9.9.9"},
      {"10.1.2.3", {"203.0.113.5:8080"}, "10.1.2.3"},
      {"10.1.2.3", {"[2001:db8::7]"}, "10.1.2.3"},
      {"10.1.2.3", {"fe80::1%eth0"}, "10.1.2.3"},
      {"10.1.2.3", {"203.0.113.5,"}, "10.1.2.3"},
      {"10.1.2.3", {"203.0.113.5", ""}, "10.1.2.3"},
      {"10.1.2.3", {"203.0.113.005"}, "10.1.2.3"},
      {"10.1.2.3", {"3405803781"}, "10.1.2.3"},
      {"10.1.2.3", {std::string_view("203.0.113.5\0x", 13)}, "10.1.2.3"},
      // IPv4 inside IPv6 is IPv4.
      {"::ffff:10.1.2.3", {"::ffff:203.0.113.5"}, "203.0.113.5"},
      {"10.1.2.3", {"203.0.113.5, ::ffff:10.0.0.1"}, "203.0.113.5"},
      {"::10.1.2.3", {"203.0.113.5"}, "::10.1.2.3"},
  };
  for (const auto& [peer, lines, client] : kCases)
    EXPECT_EQ(proxies.ClientOf({peer, false, lines, {}}).address, client) << peer << testing::PrintToString(lines);
  EXPECT_EQ(TrustedProxies().ClientOf({"10.1.2.3", false, {"203.0.113.5"}, {}}).address, "10.1.2.3");
}

TEST(TrustedProxiesTest, WhatIsPrivate) {
  const auto proxies = Proxies("127.0.0.2");
  const struct {
    std::string peer;
    bool is_tls;
    std::vector<std::string_view> forwarded_proto;
    bool is_private;
  } kCases[] = {
      {"198.51.100.9", false, {"https"}, false},
      {"198.51.100.9", true, {}, true},
      {"127.0.0.1", false, {"http"}, true},
      {"::1", false, {}, true},
      {"127.0.0.2", false, {}, false},
      {"127.0.0.2", true, {"http"}, false},
      {"127.0.0.2", false, {" HTTPS "}, true},
      {"127.0.0.2", false, {"https", "http"}, false},
      {"127.0.0.2", false, {"https, http"}, false},
  };
  for (const auto& [peer, is_tls, forwarded_proto, is_private] : kCases) {
    EXPECT_EQ(proxies.ClientOf({peer, is_tls, {"127.0.0.1"}, forwarded_proto}).is_private, is_private)
        << peer << is_tls << testing::PrintToString(forwarded_proto);
  }
}

TEST(TrustedProxiesTest, AnUnclearListIsRefused) {
  const std::pair<std::string, std::string> kCases[] = {
      {"", ""},
      {" 10.0.0.0/8 , ::1 ", ""},
      {"10.0.0.1/8", "10.0.0.1/8 begins with 10.0.0.0"},
      {"0.0.0.0/0", "no length from 1 to 32: 0.0.0.0/0"},
      {"::/0", "no length from 1 to 128: ::/0"},
      {"::ffff:10.0.0.0/104", "no length from 1 to 32: ::ffff:10.0.0.0/104"},
      {"10.0.0.0/+8", "no length from 1 to 32: 10.0.0.0/+8"},
      {"10.0.0.0/", "no length from 1 to 32: 10.0.0.0/"},
      {"10.0.0.1,,10.0.0.2", "no address or network: "},
      {"10.0.0.1 10.0.0.2", "no address or network: 10.0.0.1 10.0.0.2"},
      {"localhost", "no address or network: localhost"},
  };
  for (const auto& [text, fault] : kCases) {
    TrustedProxies proxies;
    EXPECT_EQ(TrustedProxies::Read(text, proxies), fault);
  }
}

TEST(ConnectionCountsTest, AClientIsAnAddressOrANetworkOfIpv6) {
  host::ConnectionCounts counts(2);
  for (const char* const address : {"192.0.2.1", "2001:db8::1", "2001:db8::2:1", "192.0.2.1"})
    counts.Add(address);
  EXPECT_FALSE(counts.HasRoom("192.0.2.1"));
  EXPECT_TRUE(counts.HasRoom("192.0.2.2"));
  EXPECT_FALSE(counts.HasRoom("2001:db8::9"));
  EXPECT_TRUE(counts.HasRoom("2001:db8:0:1::9"));
  counts.Remove("2001:db8::2:1");
  EXPECT_TRUE(counts.HasRoom("2001:db8::9"));
  host::ConnectionCounts unbound(0);
  unbound.Add("192.0.2.1");
  EXPECT_TRUE(unbound.HasRoom("192.0.2.1"));
}

class FrontTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { EnsureTester(); }

  /// What a command prints, both of its outputs.
  std::string Printed(const std::string& command) const {
    const auto file = folder_.path() + "/printed";
    last_code_ = std::system((command + " >" + file + " 2>&1").c_str());
    return folder_.Read("printed");
  }
  /// The settings of a host with a certificate of its own.
  SettingsMap WithTls() const {
    EXPECT_THAT(Printed(std::string(MAKE_CERTIFICATE) + " " + tls_), HasSubstr("made "));
    return {{"plugins", ""}, {"tls_certificate", tls_ + "/certificate.pem"}, {"tls_key", tls_ + "/key.pem"}};
  }

  const ScratchFolder folder_;
  const std::string tls_ = folder_.path() + "/tls";
  mutable int last_code_ = -1;
};

TEST_F(FrontTest, OldVersionsOfTlsAreRefusedAndBrowsersKeptToTls) {
  HostProcess host(WithTls());
  const auto request = "printf 'GET /live HTTP/1.1\\r\\nHost: a\\r\\nConnection: close\\r\\n\\r\\n' | ";
  const auto client = "openssl s_client -quiet -verify_return_error -verify_ip 127.0.0.1 -CAfile " + tls_ +
                      "/certificate.pem -connect 127.0.0.1:" + std::to_string(host.WaitUntilListening()) + " ";
  for (const char* const version : {"-tls1", "-tls1_1"}) {
    EXPECT_THAT(Printed(request + client + version + " -cipher ALL@SECLEVEL=0"),
                HasSubstr("unexpected eof while reading"));
  }
  for (const char* const version : {"-tls1_2", "-tls1_3"}) {
    const auto answer = Printed(request + client + version);
    EXPECT_THAT(answer, HasSubstr("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(answer, HasSubstr("\r\nStrict-Transport-Security: max-age=31536000\r\n"));
  }
  EXPECT_EQ(host.Stop().exit_code, 0);
  EXPECT_THAT(host.Log(), Not(HasSubstr("certificate.pem")));
}

TEST_F(FrontTest, ACertificateIsMadeOnceAndItsEndIsTold) {
  WithTls();
  const auto key = folder_.Read("tls/key.pem");
  const auto certificate = folder_.Read("tls/certificate.pem");
  for (const char* const file : {"/key.pem", "/certificate.pem"})
    EXPECT_EQ(std::filesystem::status(tls_ + file).permissions(), std::filesystem::perms(0600));
  const auto names = Printed("openssl x509 -in " + tls_ + "/certificate.pem -noout -ext subjectAltName");
  EXPECT_THAT(names, HasSubstr("DNS:localhost, IP Address:127.0.0.1, IP Address:0:0:0:0:0:0:0:1"));
  EXPECT_EQ(host::CertificateRemark(certificate), "");

  const auto make = std::string(MAKE_CERTIFICATE) + " " + tls_;
  EXPECT_EQ(Printed(make), "");
  EXPECT_EQ(folder_.Read("tls/key.pem"), key);
  const auto renew = "openssl req -x509 -subj /CN=a -key " + tls_ + "/key.pem -out " + tls_ + "/certificate.pem -days ";
  Printed(renew + "10");
  EXPECT_THAT(host::CertificateRemark(folder_.Read("tls/certificate.pem")), testing::StartsWith("expires on "));
  const auto end = "openssl x509 -days -1 -signkey " + tls_ + "/key.pem -in " + tls_ + "/certificate.pem -out ";
  Printed(end + tls_ + "/ended && mv " + tls_ + "/ended " + tls_ + "/certificate.pem");
  EXPECT_THAT(Printed(make), HasSubstr("has expired"));
  EXPECT_THAT(host::CertificateRemark(folder_.Read("tls/certificate.pem")), testing::StartsWith("has expired on "));
  std::filesystem::remove(tls_ + "/certificate.pem");
  EXPECT_THAT(Printed(make), HasSubstr("only " + tls_ + "/key.pem is there"));
  EXPECT_NE(last_code_, 0);
}

TEST_F(FrontTest, OtherMachinesAreServedOverTlsUnlessTheSettingsSayOtherwise) {
  const SettingsMap open{{"plugins", ""}, {"listen", "0.0.0.0:0"}};
  const auto refused = HostProcess(open).Wait();
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_THAT(refused.err,
              testing::MatchesRegex("evidence-host: listen = 0\\.0\\.0\\.0:0 lets other machines connect, "
                                    "[^\n]*set tls_certificate and tls_key, [^\n]*insecure_http = on [^\n]*\n"));
  EXPECT_EQ(HostProcess(open, {"--check-config"}).Wait().exit_code, 1);
  EXPECT_EQ(HostProcess(open, {"user", "list"}).Wait().exit_code, 0);
  auto insecure = open;
  insecure["insecure_http"] = "on";
  HostProcess host(insecure);
  EXPECT_EQ(Ask(host.WaitUntilListening(), "GET", "/live", "").status, 200);
  host.Stop();
  auto secure = WithTls();
  secure["listen"] = "0.0.0.0:0";
  EXPECT_NO_THROW(HostProcess(secure).WaitUntilListening());

  for (const auto& [listen, is_local] : std::map<std::string, bool>{{"127.8.8.8:1", true},
                                                                    {"[::1]:1", true},
                                                                    {"[::ffff:127.0.0.1]:1", true},
                                                                    {"[::]:1", false},
                                                                    {"10.0.0.1:1", false},
                                                                    {"[::127.0.0.1]:1", false}}) {
    auto settings = host::DefaultSettings();
    EXPECT_EQ(host::SetSetting(settings, "listen", listen), "");
    EXPECT_EQ(host::PlainHttpFault(settings).empty(), is_local) << listen;
  }
}

TEST_F(FrontTest, WrongPasswordsThroughAProxyFreezeOneClientOfIt) {
  HostProcess host(SettingsMap{
      {"plugins", "test_show.s.so"}, {"trusted_proxies", "127.0.0.2"}, {"client_tries", "10"}, {"user_tries", "100"}});
  const int port = host.WaitUntilListening();
  const auto ask = [port](const std::string& source, const std::string& forwarded, const std::string& head,
                          const std::string& body) {
    const HttpConnection connection(port, source);
    connection.Send(head + "X-Forwarded-For: " + forwarded + "\r\nContent-Length: " + std::to_string(body.size()) +
                    "\r\n\r\n" + body);
    return connection.ReadReply();
  };
  const auto login = [&](const std::string& source, const std::string& forwarded, const std::string& password) {
    return ask(source, forwarded, RequestHead("POST", "/login", ""), LoginText("tester", password)).status;
  };
  for (int n = 0; n < 10; ++n)
    ASSERT_EQ(login("127.0.0.2", "10.0.0." + std::to_string(n) + ", 203.0.113.5", "mistyped"), 401);
  EXPECT_EQ(login("127.0.0.2", "203.0.113.5", kPassword), 429);
  EXPECT_EQ(login("127.0.0.2", "203.0.113.6", kPassword), 200);
  EXPECT_EQ(login("127.0.0.2", "203.0.113.5, no address", kPassword), 200) << "the proxy itself";
  EXPECT_EQ(login("127.0.0.1", "203.0.113.5", kPassword), 200) << "nobody's word";
  EXPECT_THAT(host.Log(), HasSubstr("login refused: client 203.0.113.5"));
}

TEST_F(FrontTest, WhoTakesNoneOfManySmallAnswersIsCutOff) {
  HostProcess host(SettingsMap{{"plugins", "test_show.s.so"}, {"idle_timeout_s", "1"}});
  const int port = host.WaitUntilListening();
  const auto request = RequestText("GET", "/Echo", Login(port).id, std::string(60'000, 'x'));
  // More than fits between the two.
  constexpr int kRequests = 200;
  std::string requests;
  for (int n = 0; n < kRequests; ++n)
    requests += request;
  const HttpConnection connection(port);
  const auto start = std::chrono::steady_clock::now();
  connection.Send(requests);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15)) << "the host holds the connection";
  int answers = 0;
  while (connection.ReadReply().status == 200)
    ++answers;
  EXPECT_LT(answers, kRequests);
}

}  // namespace
}  // namespace evidence_test
