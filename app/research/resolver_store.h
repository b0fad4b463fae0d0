#pragma once

#include <cstdint>
#include <stop_token>

#include "AsoKit/aso_client.h"
#include "app/research/app_resolver_model.h"

namespace tovra::research {

// The resolver's store operations over the process's one client, so every front end asks the same way.
// An ID is looked up by id (the answer's first app), a bundle ID by bundle lookup; a name is searched with
// at most `limit` results dressed with their details. `cancel` interrupts a wait or a request (quitting).
ResolverLookup clientLookup(asokit::AsoClient& client, std::stop_token cancel = {});
ResolverSearch clientSearch(asokit::AsoClient& client, std::int64_t limit, std::stop_token cancel = {});

}  // namespace tovra::research
