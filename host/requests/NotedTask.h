#pragma once

#include <memory>

#include "http/HttpServer.h"
#include "requests/RequestLog.h"

namespace host {

/// 503: nothing was done, as it could not be noted.
[[nodiscard]] HttpAnswer NotNoted();

/// Makes `task` note how it ended: also one that threw, or that a stop gave up, whose client is told 503 whatever
/// becomes of it. `request` has who and where; time, ids, status, pair and sizes are filled. One that finds no room in
/// the log is answered with 503 and does nothing. `bytes_out` does not count the few of an error that the host itself
/// makes.
void NoteTask(std::shared_ptr<RequestLog> log, HttpTask& task, NotedRequest request);

}  // namespace host
