#include "measure/fakes.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

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

void ScriptedStore::failEverythingWith(std::int64_t status) {
  std::lock_guard lock(mutex_);
  failStatus_ = status;
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
  if (failStatus_ != 0) {
    return {"", failStatus_};
  }
  const auto found = answers_.find(decodedTerm(url));
  return {searchAnswer(found == answers_.end() ? std::vector<std::string>{} : found->second), 200};
}

std::vector<ScriptedStore::Request> ScriptedStore::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

void ManualQueue::post(std::function<void()> task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  ready_.notify_all();
}

int ManualQueue::drain() {
  std::deque<std::function<void()>> batch;
  {
    std::lock_guard lock(mutex_);
    batch.swap(tasks_);
  }
  for (auto& task : batch) {
    task();
  }
  return static_cast<int>(batch.size());
}

void ManualQueue::runUntil(const std::function<bool()>& done) {
  // A safety limit in real time, so a broken runner fails the test instead of hanging it; no test
  // waits for time to pass.
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!done()) {
    std::function<void()> task;
    {
      std::unique_lock lock(mutex_);
      if (!ready_.wait_until(lock, limit, [this] { return !tasks_.empty(); })) {
        ADD_FAILURE() << "the main-thread queue waited too long for work";
        return;
      }
      task = std::move(tasks_.front());
      tasks_.pop_front();
    }
    task();
  }
}

std::size_t ManualQueue::pending() const {
  std::lock_guard lock(mutex_);
  return tasks_.size();
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
