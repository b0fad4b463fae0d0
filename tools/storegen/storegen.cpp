#include "tools/storegen/storegen.h"

#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <set>
#include <string_view>
#include <vector>

#include "app/base/zoned_calendar.h"
#include "app/store/app_releases.h"
#include "app/store/transaction.h"

namespace tovra::storegen {
namespace {

using namespace std::chrono;
using store::RecordId;
using store::WallTime;

constexpr std::array<std::string_view, 16> kFirst{"photo", "budget", "habit",   "sleep", "recipe",  "travel",
                                                  "piano", "yoga",   "weather", "money", "fitness", "study",
                                                  "calm",  "chess",  "pixel",   "focus"};
constexpr std::array<std::string_view, 12> kSecond{"editor",  "planner", "tracker", "sounds", "book",  "guide",
                                                   "lessons", "timer",   "radar",   "coach",  "notes", "lab"};
// Keywords outside ASCII keep the export's text handling honest.
constexpr std::array<std::string_view, 6> kNative{"fotoğraf düzenleme", "straßenkarte",   "写真 編集",
                                                  "éditeur photo",      "gastos diários", "ıslak imza"};
constexpr std::array<std::string_view, 8> kCountries{"us", "gb", "de", "fr", "tr", "jp", "br", "ca"};
// Apps are named like apps, not like keywords, so that a view never reads an app as a search term.
constexpr std::array<std::string_view, 16> kBrands{
    "Lumen", "Tallyo",  "Streakly", "Driftwood", "Saffra",     "Wanderly", "Keysmith",  "Stretchy",
    "Nimbo", "Coinjar", "Pulsebox", "Crammer",   "Stillwater", "Gambito",  "Pixelnest", "Deepfocus"};
// Rivals: an adjective and the kind of app, by one of a few makers.
constexpr std::array<std::string_view, 10> kRivalWords{"Snap",  "Bright", "Pocket", "Daily", "Smart",
                                                       "Quick", "Simple", "Happy",  "Zen",   "Pro"};
constexpr std::array<std::string_view, 8> kRivalMakers{"Appfield",      "Cobalt Soft", "Dune Digital", "Everleaf",
                                                       "Foxglove Apps", "Grain Labs",  "Hilltop",      "Ironwood"};
constexpr std::array<std::string_view, 7> kStudios{"Harbor Labs", "Quiet Pixel", "Maple & Oak", "Bright Loop",
                                                   "Tin Roof",    "Paper Kite",  "North Bay"};

// The lists hold lower-case ASCII words.
std::string capitalized(std::string_view word) {
  std::string out(word);
  out[0] = static_cast<char>(out[0] - 'a' + 'A');
  return out;
}

// Deterministic whatever the standard library: distributions are implementation-defined, plain
// arithmetic on the engine's output is not.
class Random final {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}
  std::int64_t below(std::int64_t bound) {
    return static_cast<std::int64_t>(engine_() % static_cast<std::uint64_t>(bound));
  }
  std::int64_t between(std::int64_t low, std::int64_t high) { return low + below(high - low + 1); }
  bool chance(double share) { return static_cast<double>(engine_() >> 11) * 0x1.0p-53 < share; }

 private:
  std::mt19937_64 engine_;
};

struct Keyword {
  store::TrackedQuery query;
  std::string appStoreId;
  std::string appName;
  std::string developer;
  std::int64_t rank = 0;
  std::int64_t resultCount = 0;
};

class Generator final {
 public:
  Generator(store::Store& store, const GeneratorOptions& options)
      : store_(store), options_(options), random_(options.seed), calendar_(options.zone) {}

  GeneratedCounts run() {
    store::Transaction transaction(store_);
    firstDay_ = calendar_.addDays(options_.lastDay, static_cast<int>(1 - options_.days));
    apps();
    spaces();
    readings();
    searches();
    transaction.commit();
    return counts_;
  }

 private:
  WallTime dayStart(std::int64_t day) const { return calendar_.addDays(firstDay_, static_cast<int>(day)); }

  std::string keywordText(std::int64_t index) {
    if (index % 10 == 7) {
      return std::string(kNative[static_cast<std::size_t>(random_.below(kNative.size()))]);
    }
    return std::string(kFirst[static_cast<std::size_t>(random_.below(kFirst.size()))]) + " " +
           std::string(kSecond[static_cast<std::size_t>(random_.below(kSecond.size()))]);
  }

  void apps() {
    for (std::int64_t a = 0; a < options_.apps; ++a) {
      store::TrackedApp app;
      app.appStoreId = std::to_string(1'000'000'000 + a * 7919 + random_.below(7000));
      app.displayName = appName(a);
      app.developer = std::string(kStudios[static_cast<std::size_t>(a) % kStudios.size()]);
      if (random_.chance(0.8)) {
        app.bundleId = "com.studio" + std::to_string(a % 7) + ".app" + std::to_string(a);
      }
      if (random_.chance(0.7)) {
        app.artworkUrl512 =
            "https://is1-ssl.mzstatic.com/image/thumb/Purple/v4/" + std::to_string(a) + "/512x512bb.jpg";
      }
      app.isMine = a < 2;
      app.addedAt = dayStart(0) - hours{24 * 3} + minutes{a};
      app = store_.apps().insert(app);
      ++counts_.apps;
      // A release every month or two, as the store's lookups would have shown them.
      std::int64_t version = 0;
      for (std::int64_t day = random_.below(40); day < options_.days; day += random_.between(25, 60)) {
        const auto released = dayStart(day) + hours{random_.between(6, 20)};
        store::Releases(store_).record(
            store::AppRelease{app.appStoreId, "1." + std::to_string(version++), released, released + hours{2}});
        ++counts_.releases;
      }
      std::set<std::string> seen;
      std::set<std::string> countries;
      for (std::int64_t k = 0; k < options_.keywordsPerApp; ++k) {
        store::TrackedQuery query;
        query.country = std::string(kCountries[static_cast<std::size_t>(random_.below(kCountries.size()))]);
        query.keyword = keywordText(k);
        while (!seen.insert(query.keyword + "|" + query.country).second) {
          query.keyword += " " + std::to_string(random_.below(100));
        }
        query.setProvenance(k % 5 == 0 ? store::KeywordProvenance::carriedFromSearch
                                       : store::KeywordProvenance::typedByUser);
        query.addedAt = app.addedAt + minutes{k};
        query.isPaused = random_.chance(0.03);
        query.app = app.rowId;
        countries.insert(query.country);
        Keyword keyword{
            store_.queries().insert(query), app.appStoreId, app.displayName, app.developer, random_.between(1, 150), 0};
        keyword.resultCount = resultCount(keyword.query.keyword, keyword.query.country);
        keywords_.push_back(keyword);
        ++counts_.queries;
      }
      // The app's name as the store's lookup gave it in each country it is watched in.
      for (const auto& country : countries) {
        store_.localizations().insert(
            store::AppLocalization{{}, country, app.displayName, app.developer, app.addedAt, app.rowId});
        ++counts_.localizations;
      }
    }
  }

  static std::string appName(std::int64_t index) {
    const auto at = static_cast<std::size_t>(index);
    // 5 and the 12 kinds share no factor, so the kinds come round in a shuffled order; every pair of brand
    // and kind comes once in 48 apps, then again with a number.
    const std::string name =
        std::string(kBrands[at % kBrands.size()]) + " " + capitalized(kSecond[at * 5 % kSecond.size()]);
    const auto round = at / 48;
    return round == 0 ? name : name + " " + std::to_string(round + 1);
  }

  // Every app watching a keyword in a country reads the same result count.
  std::int64_t resultCount(const std::string& keyword, const std::string& country) {
    auto [it, added] = resultCounts_.try_emplace(keyword + "|" + country, 0);
    if (added) {
      it->second = random_.between(40, 250);
    }
    return it->second;
  }

  void spaces() {
    for (std::int64_t s = 0; s < options_.researchSpaces; ++s) {
      char id[40];
      std::snprintf(id, sizeof id, "%08llX-%04llX-4%03llX-A%03llX-%012llX",
                    static_cast<unsigned long long>(random_.below(0xFFFFFFFF)),
                    static_cast<unsigned long long>(random_.below(0xFFFF)),
                    static_cast<unsigned long long>(random_.below(0xFFF)),
                    static_cast<unsigned long long>(random_.below(0xFFF)),
                    static_cast<unsigned long long>(random_.below(0xFFFFFFFFFFFF)));
      store::ResearchSpace space{{}, id, "Ideas " + std::to_string(s), std::nullopt, dayStart(0) + hours{s}, {}, {}};
      if (s == 0) {
        space.note = "keywords to try next / before launch";
      }
      if (s == 1 && !keywords_.empty()) {
        space.promotedToAppStoreId = keywords_.front().appStoreId;
        space.promotedAt = dayStart(1);
      }
      space = store_.spaces().insert(space);
      ++counts_.spaces;
      for (std::int64_t k = 0; k < 5; ++k) {
        store::TrackedQuery query;
        query.keyword = keywordText(k + 3) + " " + std::to_string(s);
        query.country = std::string(kCountries[static_cast<std::size_t>(k) % kCountries.size()]);
        query.setProvenance(store::KeywordProvenance::carriedFromStoreHint);
        query.addedAt = space.createdAt + minutes{k};
        query.space = space.rowId;
        store_.queries().insert(query);
        ++counts_.queries;
      }
    }
  }

  void readings() {
    const auto measured = static_cast<std::int64_t>(
        std::count_if(keywords_.begin(), keywords_.end(), [](const Keyword& k) { return !k.query.isPaused; }));
    const std::int64_t outcomeFrom =
        options_.outcomeDays <= 0 ? 0 : std::max<std::int64_t>(0, options_.days - options_.outcomeDays);
    for (std::int64_t day = 0; day < options_.days; ++day) {
      const WallTime startedAt = dayStart(day) + hours{9} + minutes{random_.below(120)};
      const WallTime finishedAt = startedAt + milliseconds{1200 * static_cast<std::int64_t>(keywords_.size())};
      const WallTime readingDay = calendar_.startOfDay(finishedAt);
      const bool halted = random_.chance(0.01);
      const std::size_t haltAt = halted ? static_cast<std::size_t>(random_.below(
                                              std::max<std::int64_t>(1, static_cast<std::int64_t>(keywords_.size()))))
                                        : keywords_.size();
      auto run = store_.runs().insert(store::MeasurementRun{{}, startedAt, finishedAt, halted, false, 0, measured});
      ++counts_.runs;
      std::int64_t requests = 0;
      for (std::size_t i = 0; i < keywords_.size(); ++i) {
        auto& keyword = keywords_[i];
        if (keyword.query.isPaused) {
          continue;
        }
        store::RunOutcome outcome;
        outcome.run = run.rowId;
        outcome.query = keyword.query.rowId;
        if (i >= haltAt) {
          outcome.setStatus(store::RunOutcomeStatus::skipped);
          outcome.message = "the failure guard stopped the run before this query";
        } else if (random_.chance(options_.missingShare)) {
          ++requests;
          outcome.setStatus(store::RunOutcomeStatus::failed);
          outcome.message = "HTTP 503 — https://search.itunes.apple.com/WebObjects/MZStore.woa/wa/search";
        } else {
          ++requests;
          keyword.rank = std::clamp<std::int64_t>(keyword.rank + random_.between(-3, 3), 1, keyword.resultCount);
          store::StoredObservation reading{
              {},
              readingDay,
              finishedAt,
              random_.chance(options_.unrankedShare) ? std::nullopt : std::optional(keyword.rank),
              keyword.resultCount,
              "appstore",
              keyword.query.rowId};
          outcome.setStatus(store::RunOutcomeStatus::measured);
          outcome.observation = store_.observations().insert(reading).rowId;
          ++counts_.observations;
          if (day >= options_.days - 3 && random_.chance(0.3)) {
            store_.reviewMarks().insert(store::ReviewMark{{}, readingDay, finishedAt + hours{1}, keyword.query.rowId});
            ++counts_.reviewMarks;
          }
        }
        if (day >= outcomeFrom) {
          store_.outcomes().insert(outcome);
          ++counts_.outcomes;
        }
      }
      run.requestCount = requests;
      store_.runs().update(run);
    }
  }

  void searches() {
    std::set<std::string> done;
    for (const auto& keyword : keywords_) {
      const std::string& text = keyword.query.keyword;
      if (!done.insert(text + "|" + keyword.query.country).second) {
        continue;
      }
      // The same rivals come back in every saved search of a keyword, a few of them trading places each
      // time, so the rivals board has overtakes to tell; the keyword's app starts third.
      const std::int64_t size = random_.between(10, 25);
      const std::int64_t depth = std::min<std::int64_t>(size, 10);
      std::vector<store::LadderEntry> pool;
      for (std::int64_t p = 1; p <= size; ++p) {
        store::LadderEntry entry;
        if (p == 3) {
          entry.appStoreId = keyword.appStoreId;
          entry.name = keyword.appName;
          entry.developer = keyword.developer;
        } else {
          entry.appStoreId = std::to_string(300'000'000 + random_.below(900'000'000));
          const auto word = kRivalWords[static_cast<std::size_t>(random_.below(kRivalWords.size()))];
          entry.name =
              std::string(word) + " " + capitalized(kSecond[static_cast<std::size_t>(random_.below(kSecond.size()))]);
          entry.developer = std::string(kRivalMakers[static_cast<std::size_t>(random_.below(kRivalMakers.size()))]);
        }
        entry.iconUrl = "https://is1-ssl.mzstatic.com/image/thumb/" + entry.appStoreId + "/100x100bb.png";
        pool.push_back(entry);
      }
      std::vector<WallTime> times;
      for (std::int64_t l = 0; l < options_.laddersPerKeyword; ++l) {
        times.push_back(dayStart(random_.below(std::max<std::int64_t>(1, options_.days))) + hours{14} + minutes{l});
      }
      std::sort(times.begin(), times.end());
      for (const auto fetchedAt : times) {
        for (std::int64_t swaps = random_.between(0, 3); swaps > 0; --swaps) {
          const auto at = static_cast<std::size_t>(random_.below(size - 1));
          std::swap(pool[at], pool[at + 1]);
        }
        std::vector<store::LadderEntry> entries;
        for (std::int64_t p = 1; p <= size; ++p) {
          store::LadderEntry entry = pool[static_cast<std::size_t>(p - 1)];
          entry.position = p;
          if (p <= depth) {
            entry.ratingCount = random_.below(250'000);
            entry.averageRating = static_cast<double>(random_.between(10, 50)) / 10.0;
          }
          entries.push_back(entry);
        }
        const auto saved = store_.ladders().insertWithEntries(
            store::StoredLadder{{}, text, keyword.query.country, fetchedAt, depth, keyword.resultCount, "discover"},
            entries);
        ++counts_.ladders;
        counts_.ladderEntries += static_cast<std::int64_t>(saved.entries.size());
      }
      if (random_.chance(0.5)) {
        probes(text, keyword.query.country);
      }
    }
  }

  void probes(const std::string& keyword, const std::string& country) {
    const bool priority = random_.chance(0.5);
    for (std::size_t length = 2; length <= std::min<std::size_t>(keyword.size(), 5); ++length) {
      const std::string prefix = keyword.substr(0, length);
      if (prefix.back() == ' ' || (static_cast<unsigned char>(prefix.back()) & 0x80) != 0) {
        continue;  // a prefix ending in a space is never asked; nor is half a character
      }
      std::vector<store::StoreHint> hints;
      for (std::int64_t h = 1; h <= 8; ++h) {
        hints.push_back(
            store::StoreHint{{},
                             h,
                             h == static_cast<std::int64_t>(length) ? keyword : prefix + " hint " + std::to_string(h),
                             priority ? std::optional<std::int64_t>(100 - h) : std::nullopt,
                             {}});
      }
      const auto saved = store_.probes().insertWithHints(
          store::HintProbe{{},
                           prefix,
                           country,
                           dayStart(options_.days - 1) + hours{15} + minutes{static_cast<int>(length)},
                           "appstore-hints",
                           priority},
          hints);
      ++counts_.probes;
      counts_.hints += static_cast<std::int64_t>(saved.hints.size());
    }
  }

  store::Store& store_;
  const GeneratorOptions& options_;
  Random random_;
  base::ZonedCalendar calendar_;
  WallTime firstDay_;
  std::vector<Keyword> keywords_;
  std::map<std::string, std::int64_t> resultCounts_;
  GeneratedCounts counts_;
};

}  // namespace

GeneratedCounts generateStore(store::Store& store, const GeneratorOptions& options) {
  return Generator(store, options).run();
}

}  // namespace tovra::storegen
