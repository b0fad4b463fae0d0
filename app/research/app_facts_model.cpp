#include "app/research/app_facts_model.h"

#include <fmt/format.h>

#include <algorithm>

#include "AsoKit/aso_error.h"
#include "app/research/keyword_difficulty.h"
#include "app/research/request_gate.h"
#include "app/store/app_releases.h"
#include "app/store/store_error.h"

namespace tovra::research {

FactsLookup clientFactsLookup(asokit::AsoClient& client) {
  return [&client](const std::string& appStoreId, const std::string& country, std::stop_token cancel) {
    return client.lookup({appStoreId}, country, cancel);
  };
}

AppFactsModel::AppFactsModel(FactsLookup lookup, store::Store& store, const asokit::WallClock& clock,
                             base::MainQueue& queue)
    : lookup_(std::move(lookup)), store_(&store), clock_(&clock), requests_(queue) {}

void AppFactsModel::setOnForbidden(std::function<void()> onForbidden) {
  thread_.check();
  onForbidden_ = std::move(onForbidden);
}

void AppFactsModel::lookUp(std::string appStoreId, std::string country) {
  thread_.check();
  appStoreId_ = appStoreId;
  state_ = State::lookingUp;
  facts_.reset();
  failure_.reset();
  changes_.notify();
  requests_.start<std::vector<asokit::AppInfo>>(
      [this, appStoreId, country](std::stop_token stop) { return lookup_(appStoreId, country, stop); },
      [this, appStoreId](base::Answer<std::vector<asokit::AppInfo>> answer) { finish(appStoreId, std::move(answer)); });
}

void AppFactsModel::reset() {
  thread_.check();
  requests_.cancel();
  state_ = State::idle;
  appStoreId_.clear();
  facts_.reset();
  failure_.reset();
  changes_.notify();
}

void AppFactsModel::finish(std::string id, base::Answer<std::vector<asokit::AppInfo>> answer) {
  try {
    const auto apps = answer.take();
    const auto found = std::find_if(apps.begin(), apps.end(), [&](const auto& app) { return app.id == id; });
    if (found == apps.end()) {
      state_ = State::notInStore;
    } else {
      facts_ = *found;
      state_ = State::found;
      try {
        store::keepTrackedReleases(*store_, {*found}, clock_->now());
      } catch (const store::StoreError& error) {
        failure_ = saveFailedText(error.description());
      }
    }
  } catch (const asokit::Cancelled&) {
    state_ = State::idle;
  } catch (const std::exception& error) {
    const auto* aso = dynamic_cast<const asokit::AsoError*>(&error);
    const auto* cooling = aso ? aso->as<asokit::AsoError::CoolingDown>() : nullptr;
    failure_ = cooling ? cooldownShort(cooling->secondsLeft) : asokit::describe(error);
    state_ = State::failed;
    if (isRefusal(error) && !cooling && onForbidden_) {
      onForbidden_();
    }
  }
  changes_.notify();
}

std::string AppFactsModel::statusLine() const {
  switch (state_) {
    case State::idle:
      return std::string(factsText::kFromSavedSearch);
    case State::lookingUp:
      return std::string(factsText::kLookingUp);
    case State::notInStore:
      return std::string(factsText::kNotInStore);
    case State::failed:
      return failure_.value_or("");
    case State::found:
      return failure_.value_or("");
  }
  return {};
}

std::vector<std::string> AppFactsModel::factLines(const store::LocalTimeFormat& localTime) const {
  if (!facts_) {
    return {};
  }
  const auto& app = *facts_;
  std::vector<std::string> lines;
  lines.push_back(app.developer.empty() ? app.name : app.name + " · " + app.developer);
  lines.push_back("Bundle id " + app.bundleId.value_or("—"));
  if (app.version && app.versionReleasedAt) {
    lines.push_back(fmt::format("Version {} · released {}", *app.version, localTime.date(*app.versionReleasedAt)));
  } else {
    lines.emplace_back("Version —");
  }
  if (app.averageUserRating && app.userRatingCount) {
    lines.push_back(fmt::format("Rating {:.1f} from {} {}", *app.averageUserRating,
                                ratingCountText(static_cast<double>(*app.userRatingCount)),
                                *app.userRatingCount == 1 ? "rating" : "ratings"));
  } else {
    lines.emplace_back("Rating —");
  }
  return lines;
}

}  // namespace tovra::research
