// A plugin with routes of the table: they show what a request has, and answer in each way there is.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/HttpRoutes.h"

namespace {

using platform::FieldOf;
using platform::HttpAccess;
using platform::HttpPool;
using platform::HttpRequest;
using platform::HttpResponse;
using platform::HttpRoute;

constexpr std::uint64_t kStreamLimit = 20'000'000;

std::string QueryText(const HttpRequest& request, const char* name) {
  return std::string(FieldOf(request.query, name).value_or(""));
}

std::uint64_t QueryNumber(const HttpRequest& request, const char* name) {
  const auto text = QueryText(request, name);
  return text.empty() ? 0 : std::stoull(text);
}

HttpResponse Seen(const HttpRequest& request) {
  std::string text = request.method + " " + std::string(FieldOf(request.values, "name").value_or("?"));
  text += " " + std::to_string(request.NumberOf("id").value_or(-1));
  for (const auto& [name, value] : request.query)
    text += " " + name + "=" + value;
  text += " " + std::string(FieldOf(request.headers, "x-extra").value_or("-")) + " " + request.client_address;
  text += request.is_private ? " private" : " open";
  HttpResponse response = HttpResponse::Json(200, text + " [" + request.body + "]");
  response.content_type = "text/plain";
  response.headers.emplace_back("X-Seen", request.request_id);
  return response;
}

HttpResponse Refused(const HttpRequest&) { return HttpResponse::Problem(422, "too_blue", "It is \"too\" blue."); }

HttpResponse Throw(const HttpRequest&) { throw std::runtime_error("thrown on purpose"); }

HttpResponse PartOfFile(const HttpRequest& request) {
  const int fd = open(QueryText(request, "file").c_str(), O_RDONLY | O_CLOEXEC);
  HttpResponse response;
  response.status = 206;
  response.body =
      std::make_shared<platform::HttpFile>(fd, QueryNumber(request, "offset"), QueryNumber(request, "size"));
  return response;
}

/// `blocks` of 1000 bytes, each of a letter of its own; `cut` ends them as if they were not all.
HttpResponse Blocks(const HttpRequest& request) {
  HttpResponse response;
  response.body = [blocks = QueryNumber(request, "blocks"), cut = QueryText(request, "cut")](platform::HttpSink& sink) {
    for (std::uint64_t block = 0; block < blocks; ++block) {
      if (!sink.Write(std::string(1000, static_cast<char>('a' + block % 26)))) return false;
    }
    if (cut == "throw") throw std::runtime_error("thrown on purpose");
    return cut.empty();
  };
  return response;
}

/// The size of the body and the sum of its bytes; after `stop` bytes a refusal.
HttpResponse Sum(const HttpRequest& request) {
  const auto stop = FieldOf(request.query, "stop") ? QueryNumber(request, "stop") : kStreamLimit;
  std::array<char, 10'000> part{};
  std::uint64_t size = 0;
  std::uint64_t sum = 0;
  while (const auto count = request.reader->Read(part.data(), part.size())) {
    if (count < 0) return HttpResponse::Problem(400, "not_whole", "The body is not whole.");
    size += static_cast<std::uint64_t>(count);
    std::for_each_n(part.begin(), count, [&sum](char c) { sum += static_cast<unsigned char>(c); });
    if (size > stop) return HttpResponse::Problem(422, "enough", "This is enough.");
  }
  return HttpResponse::Json(200, std::to_string(size) + " " + std::to_string(sum));
}

bool Add(
    const char* method, const char* path, const std::function<HttpResponse(const HttpRequest&)>& run,
    const std::function<void(HttpRoute&)>& change = [](HttpRoute&) {}) {
  HttpRoute route;
  route.method = method;
  route.path = path;
  route.run = run;
  change(route);
  return platform::IHttpRoutes::Instance()->Register(std::move(route));
}

}  // namespace

extern "C" PLATFORM_API bool Init() {
#ifdef WRONG_ROUTE
  // And does not look at the result.
  static_cast<void>(Add("GET", "/elsewhere", Seen));
#endif
  const auto for_role = [](HttpRoute& route) { route.access = {HttpAccess::Who::kRole, {"auditor"}}; };
  const auto streams = [](HttpRoute& route) { route.pool = HttpPool::kStreams; };
  return Add("GET", "/platform/v1/test/{name}/{id}", Seen) &&
         Add("PATCH", "/platform/v1/test/{name}/{id}", Seen, [](HttpRoute& route) { route.body_limit = 10; }) &&
         Add("GET", "/platform/v1/test/audit", Seen, for_role) && Add("GET", "/platform/v1/test/refused", Refused) &&
         Add("GET", "/platform/v1/test/throw", Throw) && Add("GET", "/platform/v1/test/file", PartOfFile) &&
         Add("GET", "/platform/v1/test/blocks", Blocks, streams) &&
         Add("PUT", "/platform/v1/test/sum", Sum, [&streams](HttpRoute& route) {
           streams(route);
           route.streams = true;
           route.body_limit = kStreamLimit;
         });
}

extern "C" PLATFORM_API bool UnInit() { return true; }
