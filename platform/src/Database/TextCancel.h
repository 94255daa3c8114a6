#pragma once

#include <libpq-fe.h>

#include <memory>
#include <optional>

#include "platform/Call.h"

namespace platform::database {

/// Ends the running text of a connection when the call that it runs for is cancelled. Made before the text is sent.
class TextCancel {
 public:
  /// `call` is null for a text that nobody may cancel. `connection` is what PQgetCancel gives, null when it failed.
  TextCancel(Call* call, const std::shared_ptr<PGcancel>& connection);
  ~TextCancel();
  TextCancel(const TextCancel&) = delete;
  TextCancel& operator=(const TextCancel&) = delete;

  /// Called when the text has ended: afterwards the server gets no request for this connection any more, which
  /// would hit its next text. False when one is under way that does not come back: the connection must be closed.
  [[nodiscard]] bool Settle();

 private:
  struct Requests;

  void Ask();

  const std::shared_ptr<PGcancel> connection_;
  /// Null until the call is cancelled, and once settled.
  std::shared_ptr<Requests> requests_;
  std::optional<WhenCancelled> watch_;
};

}  // namespace platform::database
