// Keyword research on the command line: discover a term's results in the store's order, read a keyword's
// signals, and check one keyword once for a tracked app.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <atomic>

#include "AsoKit/aso_error.h"
#include "AsoKit/json_codec.h"
#include "AsoKit/text.h"
#include "app/base/keyword_key.h"
#include "app/base/main_queue.h"
#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/cli/measure_output.h"
#include "app/cli/output.h"
#include "app/cli/research_cli.h"
#include "app/cli/usage.h"
#include "app/cli/watchlist_cli.h"
#include "app/cli/watchlist_json.h"
#include "app/measure/measurement_runner.h"
#include "app/research/app_reference.h"
#include "app/research/discover_model.h"
#include "app/research/error_lead.h"
#include "app/research/keep_term.h"
#include "app/research/keyword_check_model.h"
#include "app/research/research_texts.h"
#include "app/research/signals_check.h"
#include "app/research/signals_texts.h"
#include "app/store/dates.h"
#include "app/store/store.h"

namespace tovra::cli {
namespace {

std::string countText(const std::optional<std::int64_t>& value) {
  return value ? std::to_string(*value) : std::string(kEmDash);
}

std::string averageText(const std::optional<double>& value) {
  return value ? fmt::format("{:.2f}", *value) : std::string(kEmDash);
}

std::string requireKeyword(const std::string& text, std::string_view what) {
  requireUtf8(text, what);
  auto keyword = base::collapseWhitespace(text);
  if (keyword.empty()) {
    throw CommandError(Exit::usage, std::string(what) + " is blank.");
  }
  return keyword;
}

// ---- discover ----

struct DiscoverArgs {
  std::string term;
  std::string country;
  std::int64_t limit = 25;
  std::string track;
  bool mine = false;
};

// The app `--track` names: a row of the results by its number, an app of the results by its id or link,
// or a tracked app however requireApp names it. Either an app of the results (`resultId`), or a tracked
// app that is not among them.
struct TrackTarget {
  std::optional<std::string> resultId;
  std::optional<store::TrackedApp> tracked;
};

TrackTarget trackTarget(Watchlist& watchlist, const research::DiscoverModel& model, const std::string& named) {
  const auto& rows = model.results();
  // Row numbers stay below the largest --limit; App Store ids are far longer.
  if (!named.empty() && named.size() <= 3 && named.find_first_not_of("0123456789") == std::string::npos) {
    const auto row = std::stoul(named);
    if (row < 1 || row > rows.size()) {
      throw CommandError(Exit::usage, fmt::format("There is no row {} to track: the results have {} {}.", named,
                                                  rows.size(), rows.size() == 1 ? "row" : "rows"));
    }
    return {rows[row - 1].id, std::nullopt};
  }
  const auto inResults = [&](const std::string& id) {
    return std::any_of(rows.begin(), rows.end(), [&](const asokit::RankedApp& app) { return app.id == id; });
  };
  if (const auto id = research::appStoreIdIn(named); id && inResults(*id)) {
    return {*id, std::nullopt};
  }
  auto app = requireApp(watchlist.store(), named);
  if (inResults(app.appStoreId)) {
    return {app.appStoreId, std::nullopt};
  }
  return {std::nullopt, std::move(app)};
}

// Tracks the searched term for the app `--track` names: an app of the results opens a track draft
// (tracking the app when it is not yet), a tracked app elsewhere gets the term; both carry it from the
// search. An app's "mine" mark changes only with --mine, which sets it.
std::string trackFromDiscover(Watchlist& watchlist, const research::DiscoverModel& model, Context& context,
                              const std::string& named, bool mine, nlohmann::json& json) {
  const auto target = trackTarget(watchlist, model, named);
  if (target.resultId) {
    auto draft = model.openTrackDraft(*target.resultId, context.monotonic());
    if (mine) {
      draft->setIsMine(true);
    }
    store::WatchlistWriter::Receipt receipt;
    watchlist.edit([&] { receipt = research::confirmTrackDraft(watchlist.store(), watchlist.writer(), *draft); });
    const auto kept = research::keptByTrackDraft(receipt, *model.searchedTerm(), *model.searchedCountry());
    json = {{"app", toJson(watchlist.store(), receipt.app)},
            {"createdApp", receipt.createdApp},
            {"alreadyAdded", kept.alreadyThere}};
    return research::trackedText(receipt, kept);
  }
  auto app = *target.tracked;
  research::KeptTerm kept;
  watchlist.edit([&] {
    if (mine && !app.isMine) {
      app.isMine = true;
      watchlist.store().apps().update(app);
    }
    kept = research::keepTerm(watchlist.writer(), research::KeepTarget{app}, *model.searchedTerm(),
                              *model.searchedCountry(), store::KeywordProvenance::carriedFromSearch);
  });
  json = {{"app", toJson(watchlist.store(), app)}, {"createdApp", false}, {"alreadyAdded", kept.alreadyThere}};
  return research::keptText(kept, research::KeepTarget{app});
}

void runDiscover(Context& context, const DiscoverArgs& args) {
  const auto term = requireKeyword(args.term, "The term");
  const auto country = requireCountry(args.country);
  Watchlist watchlist(context);
  auto& client = context.client();
  base::LoopQueue queue;
  research::DiscoverModel model([&](const std::string& t, const std::string& c,
                                    std::stop_token stop) { return client.search(t, c, args.limit, stop); },
                                watchlist.store(), context.wall(), queue);
  model.setOnForbidden(holdOnRefusal(context));
  model.setTerm(term);
  model.setCountry(country);
  model.search();
  queue.runUntil([&] { return !model.isSearching(); });
  if (!model.hasSearched()) {
    throw asokit::Cancelled();
  }
  if (model.failure()) {
    const auto lines = model.statusLines();
    const auto text = research::withErrorLead(fmt::format("{}", fmt::join(lines, "\n")));
    throw model.refused() ? CommandError::storeRefused(text) : CommandError(Exit::failed, text);
  }

  nlohmann::json tracked = nullptr;
  std::optional<std::string> trackLine;
  if (!args.track.empty()) {
    trackLine = trackFromDiscover(watchlist, model, context, std::string(asokit::text::trimWhitespace(args.track)),
                                  args.mine, tracked);
  }

  if (context.json) {
    nlohmann::json apps = nlohmann::json::array();
    for (const auto& app : model.results()) {
      apps.push_back(app);
    }
    printJson(context.out(), {{"term", *model.searchedTerm()},
                              {"country", *model.searchedCountry()},
                              {"resultCount", *model.resultCount()},
                              {"source", *model.source()},
                              {"searchedAt", store::isoUtc(*model.lastSearchAt())},
                              {"unchanged", model.unchanged()},
                              {"saveFailure", orNull(model.saveFailure())},
                              {"apps", apps},
                              {"tracked", tracked}});
  } else {
    auto& out = context.out();
    out << research::discoverHeadline(*model.searchedTerm(), *model.searchedCountry(), *model.resultCount()) << "\n";
    if (!model.results().empty()) {
      Table table({"#", "App", "Developer", "Ratings", "Average", "Id"});
      for (const auto& app : model.results()) {
        table.add({std::to_string(app.position), app.name, app.developer.empty() ? std::string(kEmDash) : app.developer,
                   countText(app.ratingCount), averageText(app.averageRating), app.id});
      }
      table.print(out, context.tableWidth());
    }
    for (const auto& line : model.statusLines()) {
      if (!model.saveFailure() || line != *model.saveFailure()) {
        out << line << "\n";
      }
    }
    if (trackLine) {
      out << *trackLine << "\n";
    }
  }
  if (model.saveFailure()) {
    throw CommandError(Exit::failed, *model.saveFailure());
  }
}

// ---- signals ----

struct SignalsArgs {
  std::string keyword;
  std::string country;
  bool explain = false;
};

void runSignals(Context& context, const SignalsArgs& args) {
  const auto keyword = requireKeyword(args.keyword, "The keyword");
  const auto country = requireCountry(args.country);
  auto& store = context.store();
  auto& client = context.client();
  const auto& calendar = context.calendar();
  base::LoopQueue queue;
  research::SignalsCheck check(
      [&](const std::string& t, const std::string& c, std::stop_token stop) {
        return client.search(t, c, static_cast<std::int64_t>(research::kDifficultySample), stop);
      },
      [&](const std::string& p, const std::string& c, std::stop_token stop) { return client.hints(p, c, stop); }, store,
      requestGate(context), context.wall(), calendar, queue);
  check.setOnForbidden(holdOnRefusal(context));
  // Up to six requests 1.2 s apart: a person at a terminal sees which one the check is at.
  const bool showProgress = context.stderrIsTerminal();
  const auto showStep = [&] {
    if (std::holds_alternative<research::SignalsCheck::Running>(check.phase())) {
      context.err() << "\r\x1b[K" << research::signalsProgress(keyword, country, check.steps()) << std::flush;
    }
  };
  base::Subscription progressShown;
  if (showProgress) {
    progressShown = check.changes().subscribe(showStep);
  }
  if (check.start(keyword, country) == research::SignalsCheck::Start::waiting) {
    throw CommandError(Exit::refused, *check.waitReason());
  }
  if (showProgress) {
    showStep();
  }
  queue.runUntil([&] { return !std::holds_alternative<research::SignalsCheck::Running>(check.phase()); });
  if (showProgress) {
    context.err() << "\r\x1b[K" << std::flush;
  }
  const auto* finished = std::get_if<research::SignalsCheck::Finished>(&check.phase());
  if (!finished) {
    throw asokit::Cancelled();
  }
  const auto& summary = finished->summary;
  const auto& signals = *check.signals();

  if (context.json) {
    nlohmann::json probes = nlohmann::json::array();
    for (const auto& step : check.steps()) {
      probes.push_back(toJson(step));
    }
    nlohmann::json out{{"signals", toJson(signals)},
                       {"summary", toJson(summary)},
                       {"probes", probes},
                       {"saveFailure", orNull(check.saveFailure())}};
    if (args.explain) {
      out["help"] = research::signalsHelp();
    }
    printJson(context.out(), out);
  } else {
    auto& out = context.out();
    out << research::termInCountry(signals.keyword, signals.country) << "\n";
    Table table({"Signal", "Reading"});
    table.add({"Difficulty", research::difficultyLine(signals.difficulty)});
    table.add({"Reach", research::reachLine(signals.reach)});
    table.print(out, context.tableWidth());
    out << research::probesLine(summary) << "\n";
    if (!check.steps().empty()) {
      Table probes({"Prefix", "Letters", "Keyword"});
      for (const auto& step : check.steps()) {
        probes.add({"“" + step.prefix + "”", std::to_string(step.letters), research::probeStepText(step)});
      }
      probes.print(out, context.tableWidth());
    }
    if (args.explain) {
      out << "\n";
      for (const auto& line : research::signalsHelp()) {
        out << line << "\n";
      }
    }
  }
  const auto problems = research::signalsProblems(summary, check.saveFailure());
  if (summary.halted) {
    throw CommandError(Exit::refused, research::withErrorLead(fmt::format("{}", fmt::join(problems, "\n"))));
  }
  if (!problems.empty()) {
    throw CommandError(Exit::failed, research::withErrorLead(fmt::format("{}", fmt::join(problems, "\n"))));
  }
}

// ---- check ----

struct CheckArgs {
  std::string appStoreId;
  std::string keyword;
  std::string country;
  bool track = false;
};

void runCheck(Context& context, const CheckArgs& args) {
  const auto keyword = requireKeyword(args.keyword, "The keyword");
  const auto country = requireCountry(args.country);
  Watchlist watchlist(context);
  const auto app = requireApp(watchlist.store(), args.appStoreId);
  const auto stop = context.userStop().get_token();
  auto& client = context.client();
  base::LoopQueue queue;
  std::optional<research::KeptTerm> kept;
  // Set on the request's worker, read once the main-thread loop has brought the answer back.
  std::atomic<bool> refused = false;
  research::KeywordCheckModel model(
      [&](const std::vector<asokit::RankQuery>& queries, std::stop_token cancel) {
        auto outcome = client.rank(
            queries, measure::MeasurementRunner::kMaxConsecutiveFailures, {}, [&] { return stop.stop_requested(); },
            cancel);
        refused = outcome.refused;
        return outcome;
      },
      [&] { return context.services().presence().running(); }, [&] { return client.cooldownSecondsLeft(); },
      [&](const research::KeywordCheckRequest& request) {
        watchlist.edit([&] {
          kept = research::keepTerm(watchlist.writer(), research::KeepTarget{request.app}, request.keyword,
                                    request.country, store::KeywordProvenance::typedByUser);
        });
      },
      queue);
  if (const auto reason = model.unavailableReason()) {
    throw CommandError(Exit::refused, std::string(*reason));
  }
  const research::KeywordCheckRequest request{store::randomUuid(), app, keyword, country};
  model.check(request);
  queue.runUntil([&] { return !std::holds_alternative<research::KeywordCheckModel::Checking>(model.phase()); });
  const auto checked = model.phase();
  if (args.track && model.canTrack()) {
    model.track();
  }

  const auto text = research::KeywordCheckModel::text(checked).value_or("");
  if (context.json) {
    nlohmann::json out{{"appStoreId", app.appStoreId},
                       {"keyword", keyword},
                       {"country", country},
                       {"phase", research::KeywordCheckModel::phaseName(checked)},
                       {"text", text},
                       {"rank", nullptr},
                       {"depth", nullptr},
                       {"source", nullptr},
                       {"message", nullptr},
                       {"tracked", kept.has_value()},
                       {"alreadyAdded", kept && kept->alreadyThere}};
    if (const auto* measured = std::get_if<research::KeywordCheckModel::Measured>(&checked)) {
      out["rank"] = measured->rank;
      out["depth"] = measured->depth;
      out["source"] = measured->source;
    } else if (const auto* notIn = std::get_if<research::KeywordCheckModel::NotInTopN>(&checked)) {
      out["depth"] = notIn->depth;
      out["source"] = notIn->source;
    } else if (const auto* failed = std::get_if<research::KeywordCheckModel::Failed>(&checked)) {
      out["message"] = failed->message;
    }
    printJson(context.out(), out);
  } else {
    auto& out = context.out();
    out << research::checkHeadline(app.displayName, keyword, country) << "\n";
    out << research::withErrorLead(text) << "\n";
    if (kept) {
      out << research::checkTrackedText(*kept, app) << "\n";
    }
  }

  using Model = research::KeywordCheckModel;
  if (refused) {
    context.services().holdAfterRefusal();
    throw CommandError::storeRefused(research::cooldownShort(client.cooldownSecondsLeft().value_or(0)));
  }
  if (std::holds_alternative<Model::Halted>(checked)) {
    throw CommandError(Exit::refused, "");
  }
  if (std::holds_alternative<Model::Stopped>(checked)) {
    throw CommandError(Exit::stoppedByUser, "");
  }
  if (std::holds_alternative<Model::Failed>(checked) || std::holds_alternative<Model::Skipped>(checked)) {
    throw CommandError(Exit::failed, "");
  }
}

const bool registered = [] {
  registerCommand(
      {"discover",
       [](CLI::App& app, Context& context) {
         auto args = std::make_shared<DiscoverArgs>();
         auto* sub = app.add_subcommand("discover",
                                        "The App Store's own results for a term, in its order, kept as a saved search");
         sub->add_option("term", args->term, "The search term")->required();
         sub->add_option("--country", args->country, "Storefront country code, e.g. us")
             ->required()
             ->check(countryCheck());
         sub->add_option("--limit", args->limit, "How many results to show with details")
             ->check(CLI::Range(1, 200))
             ->capture_default_str();
         auto* track = sub->add_option(
             "--track", args->track,
             "Track the term for an app: a row number of the results, or an app (id, link, bundle id or name)");
         sub->add_flag("--mine", args->mine, "With --track: mark the app as yours")->needs(track);
         sub->callback([args, &context] { runDiscover(context, *args); });
       },
       60});
  registerCommand({"signals",
                   [](CLI::App& app, Context& context) {
                     auto args = std::make_shared<SignalsArgs>();
                     auto* sub = app.add_subcommand(
                         "signals", "Difficulty and autocomplete reach of a keyword, with at most 5 hint probes");
                     sub->add_option("keyword", args->keyword, "The keyword")->required();
                     sub->add_option("--country", args->country, "Storefront country code, e.g. us")
                         ->required()
                         ->check(countryCheck());
                     sub->add_flag("--explain", args->explain, "Say how the signals are read");
                     sub->callback([args, &context] { runSignals(context, *args); });
                   },
                   61});
  registerCommand(
      {"check",
       [](CLI::App& app, Context& context) {
         auto args = std::make_shared<CheckArgs>();
         auto* sub =
             app.add_subcommand("check", "Check once where a tracked app ranks for a keyword, with one request");
         sub->add_option("app", args->appStoreId, "The tracked app: id, App Store link, bundle id or name")->required();
         sub->add_option("keyword", args->keyword, "The keyword")->required();
         sub->add_option("--country", args->country, "Storefront country code, e.g. us")
             ->required()
             ->check(countryCheck());
         sub->add_flag("--track", args->track, "Track the keyword for the app after the check");
         sub->callback([args, &context] { runCheck(context, *args); });
       },
       62});
  return true;
}();

}  // namespace
}  // namespace tovra::cli
