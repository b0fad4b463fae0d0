#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The App Store client's error texts are fixed, terse and partly Turkish. Where one reaches a person it is
// led by one plain line saying what happened and what to do, and the error's own text follows as the
// detail. Both front ends take the line from here.
namespace tovra::research {

namespace leadText {
inline constexpr std::string_view kUnreadable = "The App Store's answer could not be read; try again later.";
inline constexpr std::string_view kRefused =
    "The App Store is refusing requests from this address; Tovra waits 15 minutes before asking again.";
inline constexpr std::string_view kCoolingDown =
    "Tovra is waiting after the App Store refused its requests; try again when the wait is over.";
inline constexpr std::string_view kHalted =
    "Several requests in a row failed, so Tovra stopped asking; what was measured is kept — try again later.";
inline constexpr std::string_view kUnknownStorefront =
    "That country is not one of the 27 App Store countries Tovra knows; choose one of them.";
inline constexpr std::string_view kTooMany = "The App Store asked for fewer requests; try again in a few minutes.";
inline constexpr std::string_view kServerTrouble = "The App Store had a problem answering; try again later.";
inline constexpr std::string_view kHttpError = "The App Store answered with an error; try again later.";
}  // namespace leadText

// The lead line for a text that holds one of the client's error texts, alone or inside a longer line (a
// batch's "us/maps: HTTP 500 — …", a stored outcome's message). The text is all there is of a failure
// kept in the store, so the error is known by its fixed wording. None for any other text.
std::optional<std::string_view> errorLead(std::string_view text);

// The distinct lead lines of several failures (a run's, a today queue's), in the order first met: one plain
// line per kind of failure above a list of them.
std::vector<std::string_view> errorLeads(const std::vector<std::string>& texts);

// The lead line, a line break and `text`; `text` alone when it has no lead.
std::string withErrorLead(std::string_view text);

}  // namespace tovra::research
