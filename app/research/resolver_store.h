#pragma once

#include <cstdint>

#include "AsoKit/aso_client.h"
#include "app/research/app_resolver_model.h"

namespace tovra::research {

// The resolver's store operations over the process's one client, so every front end asks the same way.
// An ID is looked up by id (the answer's first app), a bundle ID by bundle lookup; a name is searched with
// at most `limit` results dressed with their details. The resolver's stop token interrupts a wait or a
// request.
ResolverLookup clientLookup(asokit::AsoClient& client);
ResolverSearch clientSearch(asokit::AsoClient& client, std::int64_t limit);

}  // namespace tovra::research
