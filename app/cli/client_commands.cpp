// The commands that ask the App Store directly: search, hints and lookup.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>

#include "AsoKit/aso_error.h"
#include "AsoKit/json_codec.h"
#include "AsoKit/text.h"
#include "app/base/main_queue.h"
#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/cli/measure_output.h"
#include "app/cli/output.h"
#include "app/cli/research_cli.h"
#include "app/cli/usage.h"
#include "app/cli/watchlist_cli.h"
#include "app/research/app_reference.h"
#include "app/research/app_resolver_input.h"
#include "app/research/error_lead.h"
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
    throw CommandError(model.waited() ? Exit::refused : Exit::failed, research::withErrorLead(*model.failure()));
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

using research::AppResolverInput;

// What was asked and not found ends the command with status 1, after the apps that were found.
[[noreturn]] void missing(const std::vector<AppResolverInput>& notFound, const std::string& country) {
  std::string text;
  for (const auto& input : notFound) {
    text += (text.empty() ? "" : "\n") + research::noAppText(input, country);
  }
  throw CommandError(Exit::failed, text);
}

void runLookup(Context& context, const LookupArgs& args) {
  if (args.ids.empty() && args.bundleId.empty()) {
    throw CommandError(Exit::usage, "Give the app ids to look up, or --bundle-id.");
  }
  if (!args.ids.empty() && !args.bundleId.empty()) {
    throw CommandError(Exit::usage, "Give app ids or --bundle-id, not both.");
  }
  const auto cancel = context.cancel().get_token();
  if (!args.bundleId.empty()) {
    requireUtf8(args.bundleId, "The bundle id");
    const auto app = context.client().lookupBundle(args.bundleId, args.country, cancel);
    if (!app) {
      missing({AppResolverInput{AppResolverInput::Kind::bundleId, args.bundleId}}, args.country);
    }
    // One app: the app itself, not a list.
    if (context.json) {
      printJson(context.out(), nlohmann::json(*app));
      return;
    }
    printApps(context, {*app});
    return;
  }
  // Each app as the user has it at hand: an id, an App Store link, a bundle id, or a tracked app's name.
  std::vector<AppResolverInput> asked;
  std::vector<std::string> ids;
  for (const auto& given : args.ids) {
    requireUtf8(given, "The app");
    const std::string text(asokit::text::trimWhitespace(given));
    auto id = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos ? std::optional(text)
                                                                                         : research::appStoreIdIn(text);
    if (!id && AppResolverInput::classify(text).kind == AppResolverInput::Kind::bundleId) {
      asked.push_back({AppResolverInput::Kind::bundleId, text});
      continue;
    }
    if (!id) {
      id = requireApp(context.store(), text).appStoreId;
    }
    ids.push_back(*id);
    asked.push_back({AppResolverInput::Kind::appStoreId, *id});
  }
  std::vector<asokit::AppInfo> apps;
  if (!ids.empty()) {
    apps = context.client().lookup(ids, args.country, cancel);
  }
  std::vector<AppResolverInput> notFound;
  for (const auto& input : asked) {
    if (input.kind == AppResolverInput::Kind::bundleId) {
      if (auto app = context.client().lookupBundle(input.text, args.country, cancel)) {
        apps.push_back(std::move(*app));
      } else {
        notFound.push_back(input);
      }
    } else if (std::none_of(apps.begin(), apps.end(),
                            [&](const asokit::AppInfo& app) { return app.id == input.text; })) {
      notFound.push_back(input);
    }
  }
  if (apps.empty()) {
    missing(notFound, args.country);
  }
  printApps(context, apps);
  if (!notFound.empty()) {
    missing(notFound, args.country);
  }
}

const bool registered = [] {
  registerCommand({"search",
                   [](CLI::App& app, Context& context) {
                     auto args = std::make_shared<SearchArgs>();
                     auto* sub = app.add_subcommand("search", "Search the App Store for a term, in store order");
                     sub->add_option("term", args->term, "The search term, sent exactly as given")->required();
                     sub->add_option("--country", args->country, "Storefront country code, e.g. us")
                         ->required()
                         ->check(countryCheck());
                     sub->add_option("--limit", args->limit, "How many apps to show with details")
                         ->check(CLI::Range(0, 200))
                         ->capture_default_str();
                     sub->callback([args, &context] { runSearch(context, *args); });
                   },
                   10});
  registerCommand(
      {"hints",
       [](CLI::App& app, Context& context) {
         auto args = std::make_shared<HintsArgs>();
         auto* sub = app.add_subcommand("hints", "The store's autocomplete hints for a prefix");
         sub->add_option("prefix", args->prefix, "The typed prefix, sent exactly as given")->required();
         sub->add_option("--country", args->country, "Storefront country code, e.g. us")
             ->required()
             ->check(countryCheck());
         auto* keep = sub->add_option(
             "--keep", args->keep,
             "Keep a hint for a tracked app (id, link, bundle id or name) or in a research space (space:NAME)");
         sub->add_option("--pick", args->pick, "The position of the hint to keep (default: the first)")
             ->needs(keep)
             ->check(hintPosition());
         sub->callback([args, &context] { runHints(context, *args); });
       },
       11});
  registerCommand(
      {"lookup",
       [](CLI::App& app, Context& context) {
         auto args = std::make_shared<LookupArgs>();
         auto* sub = app.add_subcommand("lookup", "Look apps up by store id or bundle id");
         sub->add_option("ids", args->ids, "Apps by store id, App Store link, bundle id or tracked name");
         sub->add_option("--bundle-id", args->bundleId, "A bundle identifier instead of ids");
         sub->add_option("--country", args->country, "Country code, e.g. us")->required()->check(countryCheck());
         sub->callback([args, &context] { runLookup(context, *args); });
       },
       12});
  return true;
}();

}  // namespace
}  // namespace tovra::cli
