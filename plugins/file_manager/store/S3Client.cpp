#include "store/S3Client.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <mutex>
#include <thread>

#include "FileManagerLog.h"

namespace FileManager {
namespace {

constexpr long kConnectMs = 5'000;
/// A server that sends or takes less than this for so long is given up.
constexpr long kLeastBytesPerSecond = 1'024;
constexpr long kPatienceSeconds = 30;
constexpr int kTries = 4;
constexpr std::chrono::milliseconds kFirstPause{200};
constexpr long kServerFault = 500;
constexpr long kTooManyRequests = 429;

void InitLibrary() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

/// Each thread keeps its connection.
CURL* Handle() {
  InitLibrary();
  thread_local const std::unique_ptr<CURL, void (*)(CURL*)> handle(curl_easy_init(), &curl_easy_cleanup);
  if (handle) curl_easy_reset(handle.get());
  return handle.get();
}

/// What the library's functions get of one transfer.
struct Transfer {
  std::string_view body;
  const S3Client::Sink* sink = nullptr;
  CURL* handle = nullptr;
  S3Client::Reply reply{};
  bool has_begun = false;
};

std::size_t Take(char* data, std::size_t, std::size_t size, void* to) {
  auto& transfer = *static_cast<Transfer*>(to);
  long status = 0;
  curl_easy_getinfo(transfer.handle, CURLINFO_RESPONSE_CODE, &status);
  // The body of a failure is the server's reason.
  if (transfer.sink == nullptr || status >= 300) {
    constexpr std::size_t kLongest = std::size_t{16} << 20;
    if (transfer.reply.body.size() + size > kLongest) return 0;
    transfer.reply.body.append(data, size);
    return size;
  }
  transfer.has_begun = true;
  return (*transfer.sink)({data, size}) ? size : 0;
}

std::size_t Give(char* to, std::size_t, std::size_t size, void* from) {
  auto& body = static_cast<Transfer*>(from)->body;
  const auto count = body.copy(to, size);
  body.remove_prefix(count);
  return count;
}

std::size_t TakeHeader(char* data, std::size_t, std::size_t size, void* to) {
  constexpr std::string_view kName = "etag:";
  std::string line(data, size);
  std::ranges::transform(line, line.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  if (line.starts_with(kName)) {
    const auto first = line.find('"');
    const auto last = line.rfind('"');
    if (first < last) static_cast<Transfer*>(to)->reply.etag = std::string(data, size).substr(first, last - first + 1);
  }
  return size;
}

std::string BucketOf(const std::string& endpoint) { return endpoint.substr(endpoint.rfind('/') + 1); }

}  // namespace

S3Client::S3Client(S3Settings settings)
    : settings_(std::move(settings)),
      user_(settings_.access_key + ":" + settings_.secret),
      signature_("aws:amz:" + settings_.region + ":s3"),
      bucket_(BucketOf(settings_.endpoint)) {}

S3Client::Reply S3Client::SendOnce(const Request& request, bool& has_begun) const {
  Transfer transfer{request.body, request.sink, Handle()};
  auto* const handle = transfer.handle;
  if (handle == nullptr) return {};
  const auto url = settings_.endpoint + request.path + (request.query.empty() ? "" : "?" + request.query);
  curl_slist* headers = curl_slist_append(nullptr, "x-amz-content-sha256: UNSIGNED-PAYLOAD");
  for (const auto& header : request.headers)
    headers = curl_slist_append(headers, header.c_str());
  const std::unique_ptr<curl_slist, void (*)(curl_slist*)> owned(headers, &curl_slist_free_all);
  curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(handle, CURLOPT_USERPWD, user_.c_str());
  curl_easy_setopt(handle, CURLOPT_AWS_SIGV4, signature_.c_str());
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, kConnectMs);
  curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, kLeastBytesPerSecond);
  curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME, kPatienceSeconds);
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &Take);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, &TakeHeader);
  curl_easy_setopt(handle, CURLOPT_HEADERDATA, &transfer);
  const std::string_view method = request.method;
  if (method == "HEAD") curl_easy_setopt(handle, CURLOPT_NOBODY, 1L);
  if (method == "PUT" || method == "POST") {
    curl_easy_setopt(handle, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(handle, CURLOPT_READFUNCTION, &Give);
    curl_easy_setopt(handle, CURLOPT_READDATA, &transfer);
    curl_easy_setopt(handle, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
  }
  if (method != "HEAD") curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, request.method);
  const auto code = curl_easy_perform(handle);
  has_begun = transfer.has_begun;
  auto& reply = transfer.reply;
  curl_off_t length = -1;
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &reply.status);
  curl_easy_getinfo(handle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  reply.length = length;
  if (code == CURLE_OK) return std::move(reply);
  // A sink that wants no more has what it wanted.
  if (code != CURLE_WRITE_ERROR) {
    FILE_MANAGER_LOG(kLogAnomaly, "%s of the object store: %s", request.method, curl_easy_strerror(code));
  }
  reply.status = 0;
  return std::move(reply);
}

S3Client::Reply S3Client::Send(const Request& request) const {
  auto pause = kFirstPause;
  Reply reply;
  for (int n = 0; n < kTries; ++n, pause *= 2) {
    if (n != 0) std::this_thread::sleep_for(pause);
    bool has_begun = false;
    reply = SendOnce(request, has_begun);
    const bool has_failed = reply.status == 0 || reply.status >= kServerFault || reply.status == kTooManyRequests;
    if (!has_failed || !request.may_repeat || has_begun) break;
  }
  if (!reply.Succeeded() && reply.status != 404 && reply.status != 0) {
    FILE_MANAGER_LOG(kLogFailure, "The object store answers %ld to %s %s: %.200s", reply.status, request.method,
                     request.path.c_str(), reply.body.c_str());
  }
  return reply;
}

S3Client::Reply S3Client::Head(const std::string& key) const { return Send({"HEAD", "/" + key}); }

S3Client::Reply S3Client::Put(const std::string& key, std::string_view bytes) const {
  return Send({"PUT", "/" + key, {}, bytes});
}

S3Client::Reply S3Client::Delete(const std::string& key) const { return Send({"DELETE", "/" + key}); }

S3Client::Reply S3Client::Get(const std::string& key, std::int64_t offset, std::int64_t size, const Sink& sink) const {
  Request request{"GET", "/" + key, {}, {}, {}, &sink};
  if (size >= 0)
    request.headers.push_back("Range: bytes=" + std::to_string(offset) + "-" + std::to_string(offset + size - 1));
  return Send(request);
}

S3Client::Reply S3Client::List(const std::string& prefix, const std::string& after) const {
  std::string encoded;
  for (const char c : prefix)
    encoded += c == '/' ? "%2F" : std::string(1, c);
  std::string marker;
  for (const char c : after)
    marker += c == '/' ? "%2F" : std::string(1, c);
  // In the order in which they are signed.
  return Send({"GET", "", "list-type=2&prefix=" + encoded + (after.empty() ? "" : "&start-after=" + marker)});
}

std::string S3Client::SourceHeader(const std::string& from) const {
  return "x-amz-copy-source: /" + bucket_ + "/" + from;
}

S3Client::Reply S3Client::BeginMultipart(const std::string& key) const { return Send({"POST", "/" + key, "uploads="}); }

S3Client::Reply S3Client::CopyPart(const std::string& key, const std::string& upload, int number,
                                   const std::string& from) const {
  return Send(
      {"PUT", "/" + key, "partNumber=" + std::to_string(number) + "&uploadId=" + upload, {}, {SourceHeader(from)}});
}

S3Client::Reply S3Client::CompleteMultipart(const std::string& key, const std::string& upload,
                                            const std::string& parts) const {
  return Send({"POST", "/" + key, "uploadId=" + upload, parts, {"Content-Type: application/xml"}, nullptr, false});
}

S3Client::Reply S3Client::AbortMultipart(const std::string& key, const std::string& upload) const {
  return Send({"DELETE", "/" + key, "uploadId=" + upload});
}

S3Client::Reply S3Client::Copy(const std::string& key, const std::string& from) const {
  return Send({"PUT", "/" + key, {}, {}, {SourceHeader(from)}});
}

}  // namespace FileManager
