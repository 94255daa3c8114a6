#include "support/ThrowawayPostgres.h"

namespace {

const auto* const kPostgres = testing::AddGlobalTestEnvironment(new evidence_test::PostgresEnvironment);

}  // namespace
