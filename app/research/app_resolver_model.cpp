#include "app/research/app_resolver_model.h"

#include "AsoKit/aso_error.h"
#include "AsoKit/text.h"
#include "app/base/text_fold.h"
#include "app/research/country_name.h"

namespace tovra::research {

ResolveAnswer fetchCandidates(const ResolveRequest& request, const ResolverLookup& lookup, const ResolverSearch& search,
                              std::stop_token stop) {
  try {
    std::vector<DiscoveredApp> apps;
    if (request.input.kind == AppResolverInput::Kind::name) {
      const auto outcome = search(request.input.text, request.country, stop);
      for (const auto& app : outcome.apps) {
        apps.push_back(discoveredFromSearch(app, request.country));
      }
    } else if (const auto info = lookup(request.input, request.country, stop)) {
      apps.push_back(discoveredFromLookup(*info, request.country));
    }
    return apps;
  } catch (const asokit::Cancelled&) {
    throw;
  } catch (const std::exception& error) {
    return ResolveFailure{asokit::describe(error)};
  }
}

AppResolverModel::AppResolverModel(ResolverLookup lookup, ResolverSearch search, base::MainQueue& queue,
                                   ResolverPrefetchIcons prefetchIcons)
    : lookup_(std::move(lookup)),
      search_(std::move(search)),
      prefetchIcons_(std::move(prefetchIcons)),
      requests_(queue) {}

void AppResolverModel::resolve(std::string_view raw, std::string_view country) {
  thread_.check();
  auto input = AppResolverInput::classify(raw);
  if (input.kind == AppResolverInput::Kind::invalid) {
    return;
  }
  resolved_ = Resolved{std::string(raw), std::string(country)};
  input_ = input;
  phase_ = Resolving{};
  selected_.reset();
  pickedByNameAmongSeveral_ = false;
  ++requestCount_;
  changed();
  requests_.start<ResolveAnswer>(
      [this, request = ResolveRequest{input, std::string(country)}](std::stop_token stop) {
        return fetchCandidates(request, lookup_, search_, stop);
      },
      [this, request = ResolveRequest{input, std::string(country)}](base::Answer<ResolveAnswer> answer) {
        try {
          finish(request, answer.take());
        } catch (const asokit::Cancelled&) {
          // Quitting: the question was never answered, so nothing about the app is claimed.
          phase_ = Idle{};
          changed();
        }
      });
}

void AppResolverModel::retryInCountry(std::string_view country) {
  thread_.check();
  if (!resolved_) {
    return;
  }
  const auto raw = resolved_->raw;
  resolve(raw, country);
}

std::optional<std::string_view> AppResolverModel::useCopiedLink(std::string_view pasteboard, std::string_view country) {
  thread_.check();
  const auto link = copiedAppStoreLink(pasteboard);
  if (!link) {
    return resolverText::kNotAnAppStoreLink;
  }
  resolve(*link, country);
  return std::nullopt;
}

void AppResolverModel::select(DiscoveredApp app) {
  thread_.check();
  selected_ = std::move(app);
  pickedByNameAmongSeveral_ = false;
  changed();
}

void AppResolverModel::finish(const ResolveRequest& request, ResolveAnswer answer) {
  if (auto* failure = std::get_if<ResolveFailure>(&answer)) {
    phase_ = Failed{std::move(failure->message)};
    changed();
    return;
  }
  auto& apps = std::get<std::vector<DiscoveredApp>>(answer);
  if (apps.empty()) {
    phase_ = Absent{};
    changed();
    return;
  }
  if (prefetchIcons_) {
    std::vector<std::string> icons;
    for (const auto& app : apps) {
      if (app.iconUrl) {
        icons.push_back(*app.iconUrl);
      }
    }
    prefetchIcons_(icons);
  }
  autoPick(request.input, apps);
  phase_ = Results{std::move(apps)};
  changed();
}

void AppResolverModel::autoPick(const AppResolverInput& input, const std::vector<DiscoveredApp>& apps) {
  if (input.kind == AppResolverInput::Kind::invalid || apps.empty()) {
    return;
  }
  if (apps.size() == 1) {
    selected_ = apps.front();
    return;
  }
  if (input.kind != AppResolverInput::Kind::name) {
    return;
  }
  // Only the store's first result is compared: picking a lower one by name would override the store's
  // own judgement of which app the name means.
  const auto wanted = base::foldCaseDiacriticsWidth(asokit::text::trimWhitespace(input.text));
  if (wanted.empty() || wanted != base::foldCaseDiacriticsWidth(asokit::text::trimWhitespace(apps.front().name))) {
    return;
  }
  selected_ = apps.front();
  pickedByNameAmongSeveral_ = true;
}

const AppResolverModel::Phase& AppResolverModel::phase() const {
  thread_.check();
  return phase_;
}

std::int64_t AppResolverModel::requestCount() const {
  thread_.check();
  return requestCount_;
}

const std::optional<AppResolverModel::Resolved>& AppResolverModel::resolved() const {
  thread_.check();
  return resolved_;
}

const std::optional<DiscoveredApp>& AppResolverModel::selected() const {
  thread_.check();
  return selected_;
}

bool AppResolverModel::pickedByNameAmongSeveral() const {
  thread_.check();
  return pickedByNameAmongSeveral_;
}

std::optional<std::string_view> AppResolverModel::pickNote() const {
  thread_.check();
  if (!pickedByNameAmongSeveral_) {
    return std::nullopt;
  }
  return resolverText::kPickNote;
}

std::optional<std::string> AppResolverModel::noMatchText() const {
  thread_.check();
  if (!std::holds_alternative<Absent>(phase_) || !input_ || input_->kind != AppResolverInput::Kind::name ||
      !resolved_) {
    return std::nullopt;
  }
  return std::string(resolverText::kNoMatchPrefix) + countryDisplayName(resolved_->country);
}

void AppResolverModel::changed() {
  changes_.notify();
}

}  // namespace tovra::research
