#include "measure/fakes.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "AsoKit/aso_error.h"

namespace tovra::measure::testing {
namespace {

std::string decodedTerm(const std::string& url) {
  const auto at = url.find("term=");
  if (at == std::string::npos) {
    return {};
  }
  std::string term;
  for (auto i = at + 5; i < url.size() && url[i] != '&'; ++i) {
    if (url[i] == '%' && i + 2 < url.size()) {
      term += static_cast<char>(std::stoi(url.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      term += url[i];
    }
  }
  return term;
}

std::string itemOf(const std::string& url, const std::string& name) {
  const auto at = url.find(name + "=");
  if (at == std::string::npos) {
    return {};
  }
  const auto from = at + name.size() + 1;
  const auto end = url.find('&', from);
  return url.substr(from, end == std::string::npos ? std::string::npos : end - from);
}

std::string xmlEscaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

}  // namespace

std::string searchAnswer(const std::vector<std::string>& ids) {
  nlohmann::json results = nlohmann::json::array();
  nlohmann::json names = nlohmann::json::object();
  for (const auto& id : ids) {
    results.push_back({{"id", id}, {"type", 0}});
    names[id] = {{"id", id}, {"name", "App " + id}};
  }
  return nlohmann::json{{"bubbles", {{{"name", "software"}, {"results", results}}}},
                        {"storePlatformData", {{"native-search-lockup-search", {{"results", names}}}}}}
      .dump();
}

void ScriptedStore::answer(const std::string& term, std::vector<std::string> ids) {
  std::lock_guard lock(mutex_);
  answers_[term] = std::move(ids);
}

void ScriptedStore::facts(const std::string& id, Facts facts) {
  std::lock_guard lock(mutex_);
  facts_[id] = std::move(facts);
}

void ScriptedStore::hints(const std::string& prefix, std::vector<std::string> terms) {
  std::lock_guard lock(mutex_);
  hints_[prefix] = std::move(terms);
}

void ScriptedStore::failEverythingWith(std::int64_t status) {
  std::lock_guard lock(mutex_);
  failStatus_ = status;
}

void ScriptedStore::failEverythingBelowHttp(std::string message) {
  std::lock_guard lock(mutex_);
  transportFailure_ = std::move(message);
}

asokit::HttpResponse ScriptedStore::fetch(const std::string& url, const asokit::Headers& headers, std::stop_token) {
  int number = 0;
  {
    std::lock_guard lock(mutex_);
    const auto storefront = headers.find("X-Apple-Store-Front");
    requests_.push_back({decodedTerm(url), storefront == headers.end() ? "" : storefront->second, clock_.now()});
    number = static_cast<int>(requests_.size());
  }
  if (beforeAnswer) {
    beforeAnswer(number);
  }
  std::lock_guard lock(mutex_);
  if (!transportFailure_.empty()) {
    throw asokit::TransportError(transportFailure_);
  }
  if (failStatus_ != 0) {
    return {"", failStatus_};
  }
  if (url.find("/lookup?") != std::string::npos) {
    nlohmann::json results = nlohmann::json::array();
    const auto ids = itemOf(url, "id");
    for (std::size_t at = 0; at <= ids.size();) {
      const auto comma = std::min(ids.find(',', at), ids.size());
      const auto found = facts_.find(ids.substr(at, comma - at));
      if (found != facts_.end()) {
        nlohmann::json entry{{"trackId", found->first}, {"trackName", found->second.name}};
        entry["artistName"] = found->second.developer;
        if (found->second.ratingCount) {
          entry["userRatingCount"] = *found->second.ratingCount;
        }
        if (found->second.averageRating) {
          entry["averageUserRating"] = *found->second.averageRating;
        }
        results.push_back(std::move(entry));
      }
      at = comma + 1;
    }
    return {nlohmann::json{{"resultCount", results.size()}, {"results", results}}.dump(), 200};
  }
  if (url.find("MZSearchHints") != std::string::npos) {
    std::string body = R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)"
                       "<key>title</key><string>Suggestions</string><key>hints</key><array>";
    const auto found = hints_.find(decodedTerm(url));
    for (const auto& term : found == hints_.end() ? std::vector<std::string>{} : found->second) {
      body += "<dict><key>term</key><string>" + xmlEscaped(term) + "</string></dict>";
    }
    return {body + "</array></dict></plist>", 200};
  }
  const auto found = answers_.find(decodedTerm(url));
  return {searchAnswer(found == answers_.end() ? std::vector<std::string>{} : found->second), 200};
}

std::vector<ScriptedStore::Request> ScriptedStore::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

bool ParkedClock::sleepUntil(asokit::MonoTime, std::stop_token stop) {
  std::mutex mutex;
  std::condition_variable_any wake;
  std::unique_lock lock(mutex);
  wake.wait(lock, stop, [] { return false; });
  return false;
}

void Gate::arriveAndWait() {
  std::unique_lock lock(mutex_);
  arrived_ = true;
  changed_.notify_all();
  changed_.wait(lock, [this] { return open_; });
}

void Gate::waitForArrival() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return arrived_; });
}

void Gate::open() {
  std::lock_guard lock(mutex_);
  open_ = true;
  changed_.notify_all();
}

}  // namespace tovra::measure::testing
