// The least that a server with libmicrohttpd and worker threads does for a request: one thread reads it, suspends its
// connection and hands it to one of N threads, which answers with a fixed text. bench/type-reads compares the host with
// that.
//
//   bench_hand_off FILE THREADS      prints the port on 127.0.0.1, and serves the bytes of FILE until it is killed

#include <microhttpd.h>
#include <netinet/in.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <queue>
#include <sstream>
#include <string>
#include <thread>

namespace {

struct Request {
  MHD_Connection* connection = nullptr;
  bool is_answered = false;
};

struct Server {
  std::string body;
  std::mutex mutex;
  std::condition_variable wake;
  std::queue<Request*> queue;
};

MHD_Result Access(void* context, MHD_Connection* connection, const char*, const char*, const char*, const char*,
                  size_t* size, void** state) {
  auto& server = *static_cast<Server*>(context);
  auto* const request = static_cast<Request*>(*state);
  if (request == nullptr) {
    *state = new Request{connection};
    return MHD_YES;
  }
  if (*size != 0) {
    *size = 0;
    return MHD_YES;
  }
  if (!request->is_answered) {
    MHD_suspend_connection(connection);
    {
      const std::lock_guard lock(server.mutex);
      server.queue.push(request);
    }
    server.wake.notify_one();
    return MHD_YES;
  }
  auto* const response = MHD_create_response_from_buffer_with_free_callback_cls(
      server.body.size(), server.body.data(), [](void*) {}, nullptr);
  MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, "application/json");
  const auto queued = MHD_queue_response(connection, MHD_HTTP_OK, response);
  MHD_destroy_response(response);
  return queued;
}

void Completed(void*, MHD_Connection*, void** state, MHD_RequestTerminationCode) {
  delete static_cast<Request*>(*state);
}

void Work(Server& server) {
  for (;;) {
    std::unique_lock lock(server.mutex);
    server.wake.wait(lock, [&server] { return !server.queue.empty(); });
    auto* const request = server.queue.front();
    server.queue.pop();
    lock.unlock();
    request->is_answered = true;
    MHD_resume_connection(request->connection);
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) return 2;
  auto& server = *new Server;
  std::ostringstream body;
  if (!(body << std::ifstream(arguments[1]).rdbuf())) return 1;
  server.body = body.str();
  for (int n = std::atoi(arguments[2]); n > 0; --n)
    std::thread(Work, std::ref(server)).detach();
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  constexpr unsigned kFlags = MHD_USE_EPOLL_INTERNAL_THREAD | MHD_USE_ITC | MHD_ALLOW_SUSPEND_RESUME;
  auto* const daemon = MHD_start_daemon(kFlags, 0, nullptr, nullptr, &Access, &server,  //
                                        MHD_OPTION_SOCK_ADDR, &address,                 //
                                        MHD_OPTION_NOTIFY_COMPLETED, &Completed, nullptr, MHD_OPTION_END);
  if (daemon == nullptr) return 1;
  std::printf("%d\n", MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_BIND_PORT)->port);
  std::fflush(stdout);
  for (;;)
    pause();
}
