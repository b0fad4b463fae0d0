// The words of a deletion's confirmation: title, summary, explanation and warning.

#include <array>

#include "AsoKit/overloaded.h"
#include "app/base/keyword_key.h"
#include "app/store/deletion_plan.h"

namespace tovra::store {
namespace {

constexpr std::string_view kDot = " · ";

std::string counted(std::int64_t count, std::string_view singular, std::string_view plural) {
  return std::to_string(count) + " " + std::string(count == 1 ? singular : plural);
}

void join(std::string& line, const std::string& part) {
  if (!line.empty()) {
    line += kDot;
  }
  line += part;
}

using asokit::Overloaded;

}  // namespace

std::string DeletionPlan::title() const {
  return std::visit(Overloaded{
                        [](const AppSubject& s) { return "Delete " + s.name + " and its history"; },
                        [](const QuerySubject& s) {
                          return "Delete “" + s.keyword + "” in " + base::upperCountry(s.country) + " and its history";
                        },
                        [](const SpaceSubject& s) { return "Delete the research space “" + s.name + "”"; },
                        [](const EverythingSubject&) { return std::string("Delete everything"); },
                    },
                    subject);
}

std::string DeletionPlan::summary() const {
  struct Entry {
    std::size_t count;
    std::string_view singular;
    std::string_view plural;
  };
  // The order of the word table, which is not the order of the lists: runs come before their outcomes.
  const std::array<Entry, 12> entries{{
      {apps.size(), "app", "apps"},
      {spaces.size(), "research space", "research spaces"},
      {localizations.size(), "country name", "country names"},
      {queries.size(), "keyword", "keywords"},
      {observations.size(), "observation", "observations"},
      {reviewMarks.size(), "review mark", "review marks"},
      {runs.size(), "run", "runs"},
      {outcomes.size(), "run outcome", "run outcomes"},
      {ladders.size(), "search result", "search results"},
      {ladderEntries.size(), "result row", "result rows"},
      {probes.size(), "store hint list", "store hint lists"},
      {hints.size(), "hint", "hints"},
  }};
  std::string line;
  for (const auto& entry : entries) {
    if (entry.count > 0) {
      join(line, counted(static_cast<std::int64_t>(entry.count), entry.singular, entry.plural));
    }
  }
  return line.empty() ? std::string("nothing to delete") : line;
}

std::vector<std::string> DeletionPlan::explanation(Reader reader) const {
  std::vector<std::string> lines;
  std::string_view others = "other keywords";
  std::visit(
      Overloaded{
          [&](const AppSubject&) {
            lines.emplace_back(
                reader == Reader::desktop
                    ? "Search results and store hints belong to a keyword in a country, not to your app — they "
                      "stay, and Rivals keeps showing them. Delete everything clears them."
                    : "Search results and store hints belong to a keyword in a country, not to your app — they "
                      "stay, and signals keeps reading them. Delete everything clears them.");
          },
          [&](const QuerySubject&) {
            lines.emplace_back("Search results and store hints for this keyword stay; adding it again reuses them.");
          },
          [&](const SpaceSubject& s) {
            others = "other apps";
            if (s.graduatedTo) {
              lines.push_back("This space graduated to " + *s.graduatedTo +
                              ". Its moved keywords stay with that app, but this space is the only record of "
                              "where they came from — that origin goes with it.");
            }
            if (!queries.empty()) {
              lines.emplace_back(
                  "Search results and store hints for these keywords stay; adding them again reuses them.");
            }
          },
          [&](const EverythingSubject&) {
            lines.emplace_back("Every table goes back to zero · Tovra returns to its first screen.");
          },
      },
      subject);
  std::string kept;
  if (keptLadders > 0) {
    join(kept, counted(keptLadders, "search result", "search results"));
  }
  if (keptProbes > 0) {
    join(kept, counted(keptProbes, "store hint list", "store hint lists"));
  }
  if (keptRuns > 0) {
    join(kept, counted(keptRuns, "run", "runs") + " that also covered " + std::string(others));
  }
  if (!kept.empty()) {
    lines.push_back("kept: " + kept);
  }
  return lines;
}

std::string DeletionPlan::warning() const {
  if (std::holds_alternative<EverythingSubject>(subject)) {
    return "This cannot be undone. Tovra is local-first: there is no copy on a server to restore from and no account "
           "to sign back into. When these rows are gone they are gone — Tovra cannot measure the past.";
  }
  return "This cannot be undone — there is no server copy.";
}

}  // namespace tovra::store
