#include "http/QueryFields.h"

#include <string>

#include "accounts/AuthEvents.h"

namespace host {

bool TakeNumber(const platform::HttpRequest& request, const char* name, std::optional<std::int64_t>& value) {
  if (!platform::FieldOf(request.query, name)) return true;
  const auto number = platform::NumberIn(request.query, name);
  if (number) value = *number;
  return number.has_value();
}

bool TakeTime(const platform::HttpRequest& request, const char* name, std::optional<std::int64_t>& value) {
  const auto text = platform::FieldOf(request.query, name);
  if (!text) return true;
  const auto time = ParseEventTime(std::string(*text));
  if (time) value = *time;
  return time.has_value();
}

}  // namespace host
