#include "app/research/keep_term.h"

#include <fmt/format.h>

#include "app/base/keyword_key.h"
#include "app/research/keyword_check_model.h"
#include "app/research/research_texts.h"
#include "app/store/watchlist_writer.h"

namespace tovra::research {
std::string KeepTarget::label() const {
  if (const auto* app = std::get_if<store::TrackedApp>(&owner)) {
    return app->displayName;
  }
  return std::get<store::ResearchSpace>(owner).name;
}

KeptTerm keepTerm(store::WatchlistWriter& writer, const KeepTarget& target, std::string_view term,
                  std::string_view country, store::KeywordProvenance provenance) {
  KeptTerm kept{base::collapseWhitespace(term), base::normalizedCountry(country), false, std::nullopt};
  if (kept.keyword.empty()) {
    throw KeepTargetError("There is no keyword to keep: the term is empty.");
  }
  const std::vector<store::KeywordDraft> drafts{
      store::KeywordDraft{store::randomUuid(), kept.keyword, kept.country, provenance}};
  const auto inserted = std::visit(
      [&](const auto& owner) {
        using Owner = std::decay_t<decltype(owner)>;
        if constexpr (std::is_same_v<Owner, store::TrackedApp>) {
          return writer.addKeywords(owner, drafts);
        } else {
          return writer.parkKeywords(owner, drafts);
        }
      },
      target.owner);
  if (inserted.empty()) {
    kept.alreadyThere = true;
  } else {
    kept.inserted = inserted.front();
  }
  return kept;
}

std::string keptText(const KeptTerm& kept, const KeepTarget& target) {
  const auto what = termInCountry(kept.keyword, kept.country);
  const bool isApp = std::holds_alternative<store::TrackedApp>(target.owner);
  if (kept.alreadyThere) {
    return fmt::format("{} was already added to {}", what, target.label());
  }
  return isApp ? fmt::format("{} is now tracked for {}", what, target.label())
               : fmt::format("{} is now kept in {}", what, target.label());
}

std::string checkTrackedText(const KeptTerm& kept, const store::TrackedApp& app) {
  return kept.alreadyThere ? keptText(kept, KeepTarget{app}) : std::string(checkText::kTracked);
}

KeptTerm keptByTrackDraft(const store::WatchlistWriter::Receipt& receipt, std::string_view term,
                          std::string_view country) {
  KeptTerm kept{std::string(term), std::string(country), receipt.createdQueries.empty(), std::nullopt};
  if (!receipt.createdQueries.empty()) {
    kept.inserted = receipt.createdQueries.front();
  }
  return kept;
}

std::string trackedText(const store::WatchlistWriter::Receipt& receipt, const KeptTerm& kept) {
  const auto line = keptText(kept, KeepTarget{receipt.app});
  return receipt.createdApp ? receipt.app.displayName + " is now tracked · " + line : line;
}

}  // namespace tovra::research
