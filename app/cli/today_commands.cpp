// The today queue with its review marks, and one keyword's day series.
#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/cli/measure_output.h"
#include "app/cli/output.h"
#include "app/cli/usage.h"
#include "app/cli/watchlist_cli.h"
#include "app/measure/keyword_history.h"
#include "app/measure/measure_texts.h"
#include "app/measure/run_report.h"
#include "app/measure/today_board.h"
#include "app/research/error_lead.h"
#include "app/store/dates.h"
#include "app/store/store.h"

namespace tovra::cli {
namespace {

using measure::TodayRow;

struct TodayArgs {
  std::vector<std::string> review;    // APP_ID KEYWORD
  std::vector<std::string> unreview;  // APP_ID KEYWORD
  std::string country;
  std::string app;  // only this app's keywords
};

void printRows(Context& context, const store::LocalTimeFormat& localTime, const std::string& heading,
               const std::vector<TodayRow>& rows) {
  auto& out = context.out();
  out << "\n" << heading << " (" << rows.size() << ")\n";
  if (rows.empty()) {
    return;
  }
  Table table({"Change", "Rank", "Keyword", "Country", "App", "Measured"});
  for (const auto& row : rows) {
    table.add({measure::changeText(row.change), measure::rankText(row.rank, row.resultCount), row.keyword,
               upperCountry(row.country), row.appLabel, localTime.minute(row.measuredAt)});
  }
  table.print(out, context.tableWidth());
}

void printWaiting(Context& context, const std::string& heading, const std::vector<measure::WaitingRow>& rows) {
  if (rows.empty()) {
    return;
  }
  auto& out = context.out();
  out << "\n" << heading << " (" << rows.size() << ")\n";
  Table table({"Keyword", "Country", "App"});
  for (const auto& row : rows) {
    table.add({row.keyword, upperCountry(row.country), row.appLabel});
  }
  table.print(out, context.tableWidth());
}

void printQueue(Context& context, const store::LocalTimeFormat& localTime, const measure::TodayQueue& queue) {
  auto& out = context.out();
  out << measure::lastRunLine(queue, localTime) << "\n";
  printRows(context, localTime, "Pending", queue.pending);
  printRows(context, localTime, "Reviewed", queue.reviewed);
  printRows(context, localTime, "Held", queue.held);
  if (!queue.notMeasured.empty()) {
    out << "\nNot measured in the last run (" << queue.notMeasured.size() << ")\n";
    std::vector<std::string> reasons;
    for (const auto& row : queue.notMeasured) {
      reasons.push_back(row.reason);
    }
    for (const auto lead : research::errorLeads(reasons)) {
      out << lead << "\n";
    }
    Table table({"Keyword", "Country", "App", "Why"});
    for (const auto& row : queue.notMeasured) {
      table.add({row.keyword, upperCountry(row.country), row.appLabel, row.reason});
    }
    table.print(out, context.tableWidth());
  }
  printWaiting(context, "Not measured yet", queue.notMeasuredYet);
  printWaiting(context, "Paused", queue.paused);
  out << "\n" << measure::summaryLine(queue) << "\n";
}

// The keyword the user named, as a row of the queue.
const TodayRow& requireRow(Context& context, measure::TodayBoard& board, const std::vector<std::string>& named,
                           const std::string& countryText) {
  if (countryText.empty()) {
    throw CommandError(Exit::usage, "Name the keyword's country with --country.");
  }
  requireUtf8(named[1], "The keyword");
  const auto country = requireCountry(countryText);
  auto& store = context.store();
  const auto app = requireApp(store, named[0]);
  const auto query = findKeyword(store.queries().ofApp(app.rowId), named[1], country);
  if (!query) {
    throw CommandError(Exit::failed,
                       fmt::format("{} tracks no keyword {}.", app.displayName, describeKeyword(named[1], country)));
  }
  const auto* row = board.row(query->rowId.value);
  if (!row) {
    throw CommandError(Exit::failed, fmt::format("{} has no reading yet, so there is no day to review.",
                                                 describeKeyword(query->keyword, query->country)));
  }
  return *row;
}

void runToday(Context& context, const TodayArgs& args) {
  const auto& calendar = context.calendar();
  measure::TodayBoard board(context.store(), calendar, context.wall());
  board.refresh();
  if (!args.review.empty() || !args.unreview.empty()) {
    const bool marking = !args.review.empty();
    const auto& row = requireRow(context, board, marking ? args.review : args.unreview, args.country);
    const auto id = row.id;
    const auto label = describeKeyword(row.keyword, row.country);
    const auto day = context.services().localTime().date(row.day);
    if (marking) {
      board.review(id);
      if (!context.json) {
        context.out() << fmt::format("Marked {} reviewed for {}.\n", label, day);
      }
    } else if (!board.unreview(id)) {
      if (!context.json) {
        context.out() << fmt::format("{} was not marked reviewed for {}.\n", label, day);
      }
    } else if (!context.json) {
      context.out() << fmt::format("Took back the review mark of {} for {}.\n", label, day);
    }
  }
  std::optional<std::string> appStoreId;
  if (!args.app.empty()) {
    appStoreId = requireApp(context.store(), args.app).appStoreId;
  }
  // With --review or --unreview, --country names the keyword's country and the whole queue is shown.
  const bool marks = !args.review.empty() || !args.unreview.empty();
  const auto queue = measure::narrowedQueue(
      board.queue(), args.country.empty() || marks ? std::nullopt : std::optional(args.country), appStoreId);
  if (context.json) {
    printJson(context.out(), toJson(queue));
  } else {
    printQueue(context, context.services().localTime(), queue);
  }
}

struct HistoryArgs {
  std::string appStoreId;
  std::string keyword;
  std::string country;
};

void runHistory(Context& context, const HistoryArgs& args) {
  requireUtf8(args.keyword, "The keyword");
  const auto country = requireCountry(args.country);
  auto& store = context.store();
  const auto app = requireApp(store, args.appStoreId);
  const auto query = findKeyword(store.queries().ofApp(app.rowId), args.keyword, country);
  if (!query) {
    throw CommandError(
        Exit::failed, fmt::format("{} tracks no keyword {}.", app.displayName, describeKeyword(args.keyword, country)));
  }
  const auto series = measure::keywordHistory(store, app, *query, context.calendar());
  const auto& localTime = context.services().localTime();

  if (context.json) {
    nlohmann::json points = nlohmann::json::array();
    for (const auto& [day, reading] : series.readings) {
      points.push_back({{"day", store::isoUtc(day)},
                        {"rank", reading.rank ? nlohmann::json(*reading.rank) : nlohmann::json(nullptr)},
                        {"resultCount", reading.resultCount},
                        {"source", reading.source},
                        {"measuredAt", store::isoUtc(reading.measuredAt)}});
    }
    nlohmann::json dayRuns = nlohmann::json::array();
    for (const auto& run : series.dayRuns) {
      nlohmann::json days = nlohmann::json::array();
      for (const auto& point : run) {
        days.push_back(toJson(point));
      }
      dayRuns.push_back(days);
    }
    const auto latest = series.history.change();
    printJson(context.out(), {{"appStoreId", app.appStoreId},
                              {"keyword", query->keyword},
                              {"country", query->country},
                              {"label", series.label},
                              {"readingCount", series.history.readingCount()},
                              {"points", points},
                              {"change", latest ? nlohmann::json(*latest) : nlohmann::json(nullptr)},
                              {"todayChange", toJson(series.change)},
                              {"dayRuns", dayRuns}});
    return;
  }
  auto& out = context.out();
  out << measure::historyHeadline(series) << "\n";
  if (series.readings.empty()) {
    out << measure::historyText::kNoReadingYet << "\n";
    return;
  }
  Table table({"Day", "Rank", "Results", "Measured"});
  for (const auto& entry : series.readings) {
    const auto& reading = entry.observation;
    table.add({localTime.date(reading.day), measure::rankText(reading.rank, reading.resultCount),
               std::to_string(reading.resultCount), localTime.minute(reading.measuredAt)});
  }
  table.print(out, context.tableWidth());
  out << measure::dayRunsLine(series, localTime) << "\n";
}

const bool registered = [] {
  registerCommand({"today",
                   [](CLI::App& app, Context& context) {
                     auto args = std::make_shared<TodayArgs>();
                     auto* sub = app.add_subcommand("today", "The today queue: latest ranks, biggest moves first");
                     auto* review = sub->add_option("--review", args->review, "Mark a keyword's day reviewed")
                                        ->expected(2)
                                        ->type_name("APP KEYWORD");
                     auto* unreview = sub->add_option("--unreview", args->unreview, "Take a review mark back")
                                          ->expected(2)
                                          ->type_name("APP KEYWORD");
                     review->excludes(unreview);
                     sub->add_option("--country", args->country,
                                     "Only this country's keywords; with --review, the keyword's country instead")
                         ->check(countryCheck());
                     sub->add_option("--app", args->app,
                                     "Only this app's keywords (id, bundle id, App Store link or name)");
                     sub->callback([args, &context] { runToday(context, *args); });
                   },
                   41});
  registerCommand(
      {"history",
       [](CLI::App& app, Context& context) {
         auto args = std::make_shared<HistoryArgs>();
         auto* sub = app.add_subcommand("history", "One keyword's readings, day by day");
         sub->add_option("app", args->appStoreId, "The app: id, App Store link, bundle id or name")->required();
         sub->add_option("keyword", args->keyword, "The tracked keyword")->required();
         sub->add_option("--country", args->country, "Storefront country code")->required()->check(countryCheck());
         sub->callback([args, &context] { runHistory(context, *args); });
       },
       42});
  return true;
}();

}  // namespace
}  // namespace tovra::cli
