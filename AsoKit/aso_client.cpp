#include "AsoKit/aso_client.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "AsoKit/aso_error.h"
#include "AsoKit/lookup.h"
#include "AsoKit/search_hints.h"
#include "AsoKit/store_search.h"
#include "AsoKit/storefront.h"

namespace asokit {
namespace {

bool isRetryable(std::int64_t status) {
  return status == 403 || status == 429 || (status >= 500 && status <= 599);
}

// One request of a batch: queries that differ only in the case or blanks of their country share it.
struct KeywordRun {
  std::string country;
  std::string keyword;
  std::vector<std::size_t> queryIndices;
};

std::vector<KeywordRun> planRuns(const std::vector<RankQuery>& queries) {
  std::vector<KeywordRun> runs;
  std::unordered_map<std::string, std::size_t> byKey;
  for (std::size_t i = 0; i < queries.size(); ++i) {
    auto country = storefront::normalizeCountry(queries[i].country);
    // Countries never contain a NUL, so it separates the two parts of the key unambiguously.
    auto key = country + '\0' + queries[i].keyword;
    const auto [at, inserted] = byKey.try_emplace(std::move(key), runs.size());
    if (inserted) {
      runs.push_back({std::move(country), queries[i].keyword, {}});
    }
    runs[at->second].queryIndices.push_back(i);
  }
  return runs;
}

std::int64_t queriesFrom(const std::vector<KeywordRun>& runs, std::size_t first) {
  std::int64_t count = 0;
  for (auto i = first; i < runs.size(); ++i) {
    count += static_cast<std::int64_t>(runs[i].queryIndices.size());
  }
  return count;
}

}  // namespace

std::int64_t secondsUntilRoundedUp(WallTime now, WallTime deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - now).count();
  // Integer ceiling division keeps 42.3 s → 43 and an exact 43 s → 43 without floating-point error.
  const std::int64_t perSecond = 1'000'000'000;
  return left > 0 ? (left + perSecond - 1) / perSecond : -((-left) / perSecond);
}

AsoClient::AsoClient(HTTPTransport& transport, MonotonicClock& monotonic, WallClock& wall, ClientConfig config)
    : transport_(transport),
      monotonic_(monotonic),
      wall_(wall),
      config_(std::move(config)),
      limiter_(monotonic, config_.minInterval, config_.sharedPacing.get()) {
  config_.maxAttempts = std::max(config_.maxAttempts, 1);
}

void AsoClient::hold(WallTime until) {
  std::lock_guard lock(holdMutex_);
  // A shared hold is the one truth, so that a release anywhere ends it everywhere; the process keeps the
  // hold itself only when it could not be shared.
  if (config_.sharedPacing && config_.sharedPacing->hold(until)) {
    heldUntil_.reset();
  } else {
    heldUntil_ = until;
  }
}

void AsoClient::releaseHold() {
  std::lock_guard lock(holdMutex_);
  heldUntil_.reset();
  if (config_.sharedPacing) {
    config_.sharedPacing->releaseHold();
  }
}

std::optional<WallTime> AsoClient::heldUntil() const {
  std::lock_guard lock(holdMutex_);
  auto until = heldUntil_;
  if (config_.sharedPacing) {
    if (const auto shared = config_.sharedPacing->heldUntil(); shared && (!until || *shared > *until)) {
      until = shared;
    }
  }
  return until;
}

std::optional<std::int64_t> AsoClient::cooldownSecondsLeft(WallTime now) const {
  const auto until = heldUntil();
  if (!until) {
    return std::nullopt;
  }
  const auto left = secondsUntilRoundedUp(now, *until);
  return left >= 1 ? std::optional(left) : std::nullopt;
}

std::string AsoClient::pacedFetch(const std::string& url, const Headers& headers, std::stop_token cancel) {
  for (int attempt = 1;; ++attempt) {
    if (const auto left = cooldownSecondsLeft(wall_.now())) {
      throw AsoError::coolingDown(*left);
    }
    limiter_.wait(cancel);
    const auto letThrough = monotonic_.now();
    HttpResponse response;
    try {
      response = transport_.fetch(url, headers, cancel);
    } catch (...) {
      // Whatever of the request reached the store did so before its failure came back.
      limiter_.markSent(monotonic_.now());
      throw;
    }
    const auto answered = monotonic_.now();
    // The next slot counts from when the store can have seen this request, never from an earlier moment:
    // the transport's own reading after the write, or else the answer's arrival. A reading outside the
    // request's span is not of this clock and bounds nothing.
    const bool known = response.sentBy && *response.sentBy >= letThrough && *response.sentBy <= answered;
    limiter_.markSent(known ? *response.sentBy : answered);
    if (response.status >= 200 && response.status <= 299) {
      return std::move(response.body);
    }
    if (!isRetryable(response.status) || attempt >= config_.maxAttempts) {
      throw AsoError::http(response.status, url);
    }
    const auto backoff = config_.backoffBase * (std::int64_t{1} << (attempt - 1));
    if (!monotonic_.sleepUntil(monotonic_.now() + backoff, cancel)) {
      throw Cancelled{};
    }
  }
}

class AsoClient::Turn final {
 public:
  Turn(AsoClient& client, std::stop_token cancel) : client_(client) {
    std::unique_lock lock(client_.turnMutex_);
    if (!client_.turnFree_.wait(lock, cancel, [this] { return !client_.turnTaken_; })) {
      throw Cancelled{};
    }
    client_.turnTaken_ = true;
  }
  ~Turn() {
    {
      std::lock_guard lock(client_.turnMutex_);
      client_.turnTaken_ = false;
    }
    client_.turnFree_.notify_one();
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  AsoClient& client_;
};

BatchOutcome AsoClient::rank(const std::vector<RankQuery>& queries, int maxConsecutiveFailures,
                             const ProgressFn& progress, const StopFn& shouldStop, std::stop_token cancel) {
  const auto runs = planRuns(queries);
  const auto total = static_cast<std::int64_t>(runs.size());
  std::vector<std::optional<RankStatus>> slots(queries.size());
  BatchOutcome outcome;
  outcome.requestCount = total;
  FailureGuard guard(maxConsecutiveFailures);
  std::optional<Turn> turn;
  try {
    turn.emplace(*this, cancel);
  } catch (const Cancelled&) {
    // Cancelled while another caller had the client: nothing was asked.
    outcome.stopped = true;
    outcome.skipped = queriesFrom(runs, 0);
    outcome.requestCount = 0;
    for (const auto& query : queries) {
      outcome.results.push_back({query, RankStatus{RankStatus::Skipped{}}});
    }
    return outcome;
  }

  for (std::size_t i = 0; i < runs.size(); ++i) {
    const auto& run = runs[i];
    if ((shouldStop && shouldStop()) || cancel.stop_requested()) {
      outcome.stopped = true;
      outcome.skipped = queriesFrom(runs, i);
      outcome.requestCount = static_cast<std::int64_t>(i);
      break;
    }
    bool succeeded = false;
    try {
      const auto header = storefront::headerValue(run.country);
      const auto body = pacedFetch(store_search::url(config_.endpoints.search, run.keyword),
                                   {{"X-Apple-Store-Front", header}}, cancel);
      const auto result = store_search::parse(body);
      const auto top = result.topApps(10);
      for (const auto index : run.queryIndices) {
        RankObservation observation;
        observation.query = queries[index];
        const auto found = std::find(result.orderedIds.begin(), result.orderedIds.end(), queries[index].appId);
        if (found != result.orderedIds.end()) {
          observation.rank = (found - result.orderedIds.begin()) + 1;
        }
        observation.resultCount = static_cast<std::int64_t>(result.orderedIds.size());
        observation.topApps = top;
        outcome.observations.push_back(observation);
        slots[index] = RankStatus{RankStatus::Measured{std::move(observation)}};
      }
      guard.recordSuccess();
      succeeded = true;
    } catch (const Cancelled&) {
      // Quitting: the request in flight is abandoned and counts as never made.
      outcome.stopped = true;
      outcome.skipped = queriesFrom(runs, i);
      outcome.requestCount = static_cast<std::int64_t>(i);
      break;
    } catch (const std::exception& error) {
      const auto description = describe(error);
      outcome.lastFailureCause = shortCause(error);
      outcome.lastFailureRefused = isStoreRefusal(error);
      outcome.refused = outcome.refused || outcome.lastFailureRefused;
      outcome.errors.push_back(run.country + "/" + run.keyword + ": " + description);
      for (const auto index : run.queryIndices) {
        slots[index] = RankStatus{RankStatus::Failed{description}};
      }
    }
    if (progress) {
      progress({static_cast<std::int64_t>(i) + 1, total, run.country, run.keyword, succeeded});
    }
    if (!succeeded && guard.recordFailure()) {
      outcome.halted = true;
      outcome.skipped = queriesFrom(runs, i + 1);
      outcome.requestCount = static_cast<std::int64_t>(i) + 1;
      outcome.errors.push_back(AsoError::halted(guard.consecutive(), outcome.skipped).description());
      break;
    }
  }

  outcome.results.reserve(queries.size());
  for (std::size_t i = 0; i < queries.size(); ++i) {
    outcome.results.push_back({queries[i], slots[i] ? std::move(*slots[i]) : RankStatus{RankStatus::Skipped{}}});
  }
  return outcome;
}

SearchOutcome AsoClient::search(const std::string& term, const std::string& country, std::int64_t limit,
                                std::stop_token cancel) {
  const Turn turn(*this, cancel);
  return searchLocked(term, country, limit, cancel);
}

SearchOutcome AsoClient::searchLocked(const std::string& term, const std::string& country, std::int64_t limit,
                                      std::stop_token cancel) {
  const auto header = storefront::headerValue(country);
  const auto result = store_search::parse(
      pacedFetch(store_search::url(config_.endpoints.search, term), {{"X-Apple-Store-Front", header}}, cancel));
  std::vector<std::string> head;
  if (limit > 0) {
    const auto n = std::min<std::size_t>(static_cast<std::size_t>(limit), result.orderedIds.size());
    head.assign(result.orderedIds.begin(), result.orderedIds.begin() + static_cast<std::ptrdiff_t>(n));
  }
  std::unordered_map<std::string, AppInfo> known;
  for (auto& app : lookupLocked(head, country, cancel)) {
    known.try_emplace(app.id, std::move(app));
  }

  SearchOutcome outcome{term, country, static_cast<std::int64_t>(result.orderedIds.size()), {}, "appstore"};
  outcome.apps.reserve(head.size());
  for (std::size_t i = 0; i < head.size(); ++i) {
    RankedApp app;
    app.id = head[i];
    app.position = static_cast<std::int64_t>(i) + 1;
    if (const auto info = known.find(head[i]); info != known.end()) {
      app.name = info->second.name;
      app.developer = info->second.developer;
      app.bundleId = info->second.bundleId;
      app.iconURL = info->second.iconURL();
      app.artworkUrl512 = info->second.artworkUrl512;
      app.ratingCount = info->second.userRatingCount;
      app.averageRating = info->second.averageUserRating;
      app.version = info->second.version;
      app.versionReleasedAt = info->second.versionReleasedAt;
    } else {
      const auto name = result.names.find(head[i]);
      app.name = name == result.names.end() ? "?" : name->second;
    }
    outcome.apps.push_back(std::move(app));
  }
  return outcome;
}

HintsOutcome AsoClient::hints(const std::string& prefix, const std::string& country, std::stop_token cancel) {
  const Turn turn(*this, cancel);
  const auto header = storefront::headerValue(country);
  auto parsed = search_hints::parse(
      pacedFetch(search_hints::url(config_.endpoints.search, prefix), {{"X-Apple-Store-Front", header}}, cancel));
  HintsOutcome outcome{prefix, country, std::move(parsed.terms), false, "appstore-hints"};
  outcome.carriesPriority =
      std::any_of(outcome.terms.begin(), outcome.terms.end(), [](const HintTerm& t) { return t.priority.has_value(); });
  return outcome;
}

std::vector<AppInfo> AsoClient::lookup(const std::vector<std::string>& ids, const std::string& country,
                                       std::stop_token cancel) {
  const Turn turn(*this, cancel);
  return lookupLocked(ids, country, cancel);
}

std::vector<AppInfo> AsoClient::lookupLocked(const std::vector<std::string>& ids, const std::string& country,
                                             std::stop_token cancel) {
  std::vector<AppInfo> apps;
  for (std::size_t start = 0; start < ids.size(); start += lookup::kChunkSize) {
    const auto end = std::min(ids.size(), start + lookup::kChunkSize);
    const std::vector<std::string> chunk(ids.begin() + static_cast<std::ptrdiff_t>(start),
                                         ids.begin() + static_cast<std::ptrdiff_t>(end));
    auto parsed = lookup::parse(pacedFetch(lookup::idsUrl(config_.endpoints.lookup, chunk, country), {}, cancel));
    std::move(parsed.begin(), parsed.end(), std::back_inserter(apps));
  }
  return apps;
}

std::optional<AppInfo> AsoClient::lookupBundle(const std::string& bundleId, const std::string& country,
                                               std::stop_token cancel) {
  const Turn turn(*this, cancel);
  auto apps = lookup::parse(pacedFetch(lookup::bundleUrl(config_.endpoints.lookup, bundleId, country), {}, cancel));
  if (apps.empty()) {
    return std::nullopt;
  }
  return std::move(apps.front());
}

}  // namespace asokit
