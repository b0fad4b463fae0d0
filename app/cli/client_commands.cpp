// The commands that ask the App Store directly: search, hints and lookup.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>

#include "AsoKit/aso_error.h"
#include "AsoKit/json_codec.h"
#include "app/base/main_queue.h"
#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/cli/measure_output.h"
#include "app/cli/output.h"
#include "app/cli/research_cli.h"
#include "app/cli/watchlist_cli.h"
#include "app/research/hint_probe_model.h"
#include "app/research/keep_term.h"
#include "app/research/research_texts.h"
#include "app/store/dates.h"
#include "app/store/hint_probe_store.h"
#include "app/store/store.h"

namespace tovra::cli {
namespace {

std::string optionalText(const std::optional<std::int64_t>& value) {
  return value ? std::to_string(*value) : std::string(kEmDash);
}

std::string ratingText(const std::optional<double>& value) {
  return value ? fmt::format("{:.2f}", *value) : std::string(kEmDash);
}

struct SearchArgs {
  std::string term;
  std::string country;
  std::int64_t limit = 10;
};

void runSearch(Context& context, const SearchArgs& args) {
  requireUtf8(args.term, "The term");
  const auto outcome = context.client().search(args.term, args.country, args.limit, context.cancel().get_token());
  if (context.json) {
    printJson(context.out(), outcome);
    return;
  }
  auto& out = context.out();
  out << research::resultsHeadline(outcome.term, outcome.country, outcome.resultCount) << "\n";
  if (outcome.apps.empty()) {
    return;
  }
  Table table({"#", "App", "Developer", "Ratings", "Average", "Id"});
  for (const auto& app : outcome.apps) {
    table.add({std::to_string(app.position), app.name, app.developer.empty() ? std::string(kEmDash) : app.developer,
               optionalText(app.ratingCount), ratingText(app.averageRating), app.id});
  }
  table.print(out, context.tableWidth());
}

// Hint positions count from 1; a bad one is told in those words rather than as a range of doubles.
CLI::Validator hintPosition() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        std::int64_t position = 0;
        if (!CLI::detail::lexical_cast(text, position) || position < 1) {
          return "“" + text + "” is not a hint's position: positions start at 1.";
        }
        return {};
      },
      "POSITION");
}

struct HintsArgs {
  std::string prefix;
  std::string country;
  std::string keep;                   // an app's id or "space:NAME"
  std::vector<std::int64_t> pick{1};  // the positions of the hints to keep
};

// Keeps the picked hints for an app (which then measures them) or in a research space, carried from a
// store hint.
std::vector<std::string> keepHints(Context& context, const HintsArgs& args, const asokit::HintsOutcome& outcome,
                                   nlohmann::json& json) {
  Watchlist watchlist(context);
  const auto owner = requireOwner(watchlist.store(), args.keep);
  const auto target = owner.app ? research::KeepTarget{*owner.app} : research::KeepTarget{*owner.space};
  std::vector<std::string> lines;
  json = nlohmann::json::array();
  for (const auto position : args.pick) {
    const auto term = std::find_if(outcome.terms.begin(), outcome.terms.end(),
                                   [&](const asokit::HintTerm& t) { return t.position == position; });
    if (term == outcome.terms.end()) {
      throw CommandError(Exit::usage, fmt::format("There is no hint at position {} to keep.", position));
    }
    research::KeptTerm kept;
    watchlist.edit([&] {
      kept = research::keepTerm(watchlist.writer(), target, term->term, outcome.country,
                                store::KeywordProvenance::carriedFromStoreHint);
    });
    lines.push_back(research::keptText(kept, target));
    json.push_back({{"term", kept.keyword}, {"country", kept.country}, {"alreadyAdded", kept.alreadyThere}});
  }
  return lines;
}

void runHints(Context& context, const HintsArgs& args) {
  requireUtf8(args.prefix, "The prefix");
  // The answer is kept as a probe, and today's probe of the same prefix answers again without a request.
  auto& store = context.store();
  store::HintProbeStore probes(store);
  auto& client = context.client();
  const auto& calendar = context.calendar();
  base::LoopQueue queue;
  research::HintProbeModel model(
      [&](const std::string& p, const std::string& c, std::stop_token stop) { return client.hints(p, c, stop); },
      probes, requestGate(context), context.wall(), calendar, queue);
  model.setOnForbidden(holdOnRefusal(context));
  model.ask(args.prefix, args.country);
  queue.runUntil([&] { return !model.isProbing(); });
  if (!model.failure() && !model.outcome()) {
    throw asokit::Cancelled();
  }
  if (model.failure()) {
    if (model.refused()) {
      throw CommandError::storeRefused(*model.failure());
    }
    throw CommandError(model.waited() ? Exit::refused : Exit::failed, *model.failure());
  }
  const auto& outcome = *model.outcome();
  nlohmann::json kept = nullptr;
  std::vector<std::string> keptLines;
  if (!args.keep.empty()) {
    keptLines = keepHints(context, args, outcome, kept);
  }
  const auto saveFailure = model.saveFailure();
  if (context.json) {
    nlohmann::json out = outcome;
    out["servedFromStore"] = model.servedFromStore();
    out["observedAt"] = store::isoUtc(*model.observedAt());
    out["saveFailure"] = saveFailure ? nlohmann::json(*saveFailure) : nlohmann::json(nullptr);
    out["kept"] = kept;
    printJson(context.out(), out);
  } else {
    auto& out = context.out();
    out << research::hintsHeadline(outcome.prefix, outcome.country, static_cast<std::int64_t>(outcome.terms.size()))
        << "\n";
    if (model.servedFromStore()) {
      out << *model.storeNote() << "\n";
    }
    if (!outcome.terms.empty()) {
      std::vector<std::string> headers{"#", "Hint"};
      if (outcome.carriesPriority) {
        headers.emplace_back("Priority");
      }
      Table table(headers);
      for (const auto& term : outcome.terms) {
        table.add({std::to_string(term.position), term.term, optionalText(term.priority)});
      }
      table.print(out, context.tableWidth());
    }
    for (const auto& line : keptLines) {
      out << line << "\n";
    }
  }
  if (saveFailure) {
    throw CommandError(Exit::failed, *saveFailure);
  }
}

void printApps(Context& context, const std::vector<asokit::AppInfo>& apps) {
  if (context.json) {
    printJson(context.out(), apps);
    return;
  }
  if (apps.empty()) {
    context.out() << "The store knows no app by that id in this country.\n";
    return;
  }
  Table table({"Id", "App", "Developer", "Bundle id", "Ratings", "Average"});
  for (const auto& app : apps) {
    table.add({app.id, app.name, app.developer.empty() ? std::string(kEmDash) : app.developer,
               app.bundleId.value_or(std::string(kEmDash)), optionalText(app.userRatingCount),
               ratingText(app.averageUserRating)});
  }
  table.print(context.out(), context.tableWidth());
}

struct LookupArgs {
  std::vector<std::string> ids;
  std::string bundleId;
  std::string country;
};

void runLookup(Context& context, const LookupArgs& args) {
  if (args.ids.empty() && args.bundleId.empty()) {
    throw CommandError(Exit::usage, "Give the app ids to look up, or --bundle-id.");
  }
  if (!args.ids.empty() && !args.bundleId.empty()) {
    throw CommandError(Exit::usage, "Give app ids or --bundle-id, not both.");
  }
  for (const auto& id : args.ids) {
    if (id.empty() || id.find_first_not_of("0123456789") != std::string::npos) {
      throw CommandError(Exit::usage, "“" + id + "” is not an app id: app ids are digits only.");
    }
  }
  const auto cancel = context.cancel().get_token();
  if (!args.bundleId.empty()) {
    requireUtf8(args.bundleId, "The bundle id");
    const auto app = context.client().lookupBundle(args.bundleId, args.country, cancel);
    // One app or none: the app itself, or null when the store knows no app by that bundle id.
    if (context.json) {
      printJson(context.out(), app ? nlohmann::json(*app) : nlohmann::json(nullptr));
      return;
    }
    if (!app) {
      context.out() << "The store knows no app with the bundle id " << args.bundleId << " in this country.\n";
      return;
    }
    printApps(context, {*app});
    return;
  }
  printApps(context, context.client().lookup(args.ids, args.country, cancel));
}

const bool registered = [] {
  registerCommand({"search",
                   [](CLI::App& app, Context& context) {
                     auto args = std::make_shared<SearchArgs>();
                     auto* sub = app.add_subcommand("search", "Search the App Store for a term, in store order");
                     sub->add_option("term", args->term, "The search term, sent exactly as given")->required();
                     sub->add_option("--country", args->country, "Storefront country code, e.g. us")->required();
                     sub->add_option("--limit", args->limit, "How many apps to show with details")
                         ->check(CLI::Range(0, 200))
                         ->capture_default_str();
                     sub->callback([args, &context] { runSearch(context, *args); });
                   },
                   10});
  registerCommand({"hints",
                   [](CLI::App& app, Context& context) {
                     auto args = std::make_shared<HintsArgs>();
                     auto* sub = app.add_subcommand("hints", "The store's autocomplete hints for a prefix");
                     sub->add_option("prefix", args->prefix, "The typed prefix, sent exactly as given")->required();
                     sub->add_option("--country", args->country, "Storefront country code, e.g. us")->required();
                     auto* keep =
                         sub->add_option("--keep", args->keep,
                                         "Keep a hint for a tracked app (its id) or in a research space (space:NAME)");
                     sub->add_option("--pick", args->pick, "The position of the hint to keep (default: the first)")
                         ->needs(keep)
                         ->check(hintPosition());
                     sub->callback([args, &context] { runHints(context, *args); });
                   },
                   11});
  registerCommand({"lookup",
                   [](CLI::App& app, Context& context) {
                     auto args = std::make_shared<LookupArgs>();
                     auto* sub = app.add_subcommand("lookup", "Look apps up by store id or bundle id");
                     sub->add_option("ids", args->ids, "Store ids of apps");
                     sub->add_option("--bundle-id", args->bundleId, "A bundle identifier instead of ids");
                     sub->add_option("--country", args->country, "Country code, e.g. us")->required();
                     sub->callback([args, &context] { runLookup(context, *args); });
                   },
                   12});
  return true;
}();

}  // namespace
}  // namespace tovra::cli
