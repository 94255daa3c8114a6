#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace FileManager {

/// Where an S3-compatible object store is, and who asks.
struct S3Settings {
  /// With the bucket at its end, such as https://store.example:9000/evidence.
  std::string endpoint;
  std::string region;
  std::string access_key;
  std::string secret;
};

/// Objects of one bucket, over HTTP with AWS's signature of version 4. Keys are of letters, digits, `/` and `_`.
/// Thread-safe. What is safe to repeat is tried again a few times when the server fails or is away.
class S3Client {
 public:
  explicit S3Client(S3Settings settings);

  struct Reply {
    /// Of HTTP; 0 when there was no answer.
    long status = 0;
    std::string body;
    std::string etag;
    /// Of a HEAD, the object's size; -1 when it is not known.
    std::int64_t length = -1;

    [[nodiscard]] bool Succeeded() const { return status >= 200 && status < 300; }
  };

  /// Gets each piece of a body; false ends the reading.
  using Sink = std::function<bool(std::string_view bytes)>;

  [[nodiscard]] Reply Head(const std::string& key) const;
  [[nodiscard]] Reply Put(const std::string& key, std::string_view bytes) const;
  [[nodiscard]] Reply Delete(const std::string& key) const;
  /// Gives `size` bytes from `offset` on to `sink`, all when `size` is negative; not tried again once it has begun.
  [[nodiscard]] Reply Get(const std::string& key, std::int64_t offset, std::int64_t size, const Sink& sink) const;
  /// One page of the keys that begin with `prefix`, as XML, after `after`.
  [[nodiscard]] Reply List(const std::string& prefix, const std::string& after) const;

  // An object made of others, on the server.
  [[nodiscard]] Reply BeginMultipart(const std::string& key) const;
  [[nodiscard]] Reply CopyPart(const std::string& key, const std::string& upload, int number,
                               const std::string& from) const;
  [[nodiscard]] Reply CompleteMultipart(const std::string& key, const std::string& upload,
                                        const std::string& parts) const;
  [[nodiscard]] Reply AbortMultipart(const std::string& key, const std::string& upload) const;
  [[nodiscard]] Reply Copy(const std::string& key, const std::string& from) const;

 private:
  struct Request {
    const char* method;
    std::string path;
    std::string query = {};
    std::string_view body = {};
    std::vector<std::string> headers = {};
    const Sink* sink = nullptr;
    bool may_repeat = true;
  };

  Reply Send(const Request& request) const;
  Reply SendOnce(const Request& request, bool& has_begun) const;
  [[nodiscard]] std::string SourceHeader(const std::string& from) const;

  const S3Settings settings_;
  /// "name:secret", as the HTTP library wants it.
  const std::string user_;
  const std::string signature_;
  /// Of the endpoint.
  const std::string bucket_;
};

}  // namespace FileManager
