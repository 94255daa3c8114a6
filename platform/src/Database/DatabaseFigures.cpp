#include "DatabaseFigures.h"

#include <array>
#include <utility>

namespace platform::database {
namespace {

/// Seconds: most statements take less than a millisecond, and none more than the 30 s that the role may.
constexpr std::array kBounds = {0.0001, 0.00025, 0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.1, 0.5, 2.5, 10.0};

/// What a failure is called: by its SQLSTATE (appendix A of the server's manual), or by one of these words.
constexpr char kLost[] = "lost";
constexpr char kNoneFree[] = "none_free";
Beginnings ErrorClasses() {
  return Beginnings({{"57014", "cancelled"},
                     {"55P03", "lock_timeout"},
                     {"57", "connection"},
                     {"08", "connection"},
                     {"40", "conflict"},
                     {"23", "constraint"},
                     {"22", "data"},
                     {"42", "text"},
                     {"53", "resources"},
                     {"25006", "read_only"},
                     {kLost, kLost},
                     {kNoneFree, kNoneFree}});
}

}  // namespace

DatabaseFigures::DatabaseFigures(Beginnings statements)
    : statements_(std::move(statements)),
      error_classes_(ErrorClasses()),
      acquire_("evidence_db_acquire_seconds", "Time that callers waited for a connection of a pool.", kBounds),
      statement_("evidence_db_statement_duration_seconds", "Time that statements took, by what they do.", kBounds,
                 {"statement", statements_.names()}),
      errors_("evidence_db_errors_total", "Statements that failed, by the class of the fault.",
              {{"class", error_classes_.names()}}) {}

void DatabaseFigures::NoteFailure(std::string_view sql_state) {
  errors_.Add({error_classes_.NumberOf(sql_state.empty() ? kLost : sql_state)});
}

void DatabaseFigures::NoteStarved() { errors_.Add({error_classes_.NumberOf(kNoneFree)}); }

MetricFamilies DatabaseFigures::Collect() const {
  MetricFamilies families;
  families.push_back(acquire_.Collect());
  families.push_back(statement_.Collect());
  families.push_back(errors_.Collect());
  return families;
}

}  // namespace platform::database
