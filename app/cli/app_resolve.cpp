#include "app/cli/app_resolve.h"

#include <fmt/format.h>

#include "AsoKit/aso_error.h"
#include "app/base/main_queue.h"
#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/cli/output.h"
#include "app/cli/watchlist_json.h"
#include "app/research/app_reference.h"
#include "app/research/app_resolver_model.h"
#include "app/research/error_lead.h"
#include "app/research/request_gate.h"
#include "app/research/resolver_store.h"

namespace tovra::cli {
namespace {

using research::AppResolverInput;
using research::AppResolverModel;
using research::DiscoveredApp;

// How many results of a name search are shown to pick from, with their details.
constexpr std::int64_t kNameResults = 10;

// The resolver turns a store error into its failed phase with the error's words; a hold is kept aside as
// well, so the command can end with the status of a refused request rather than a plain failure.
template <class Operation>
Operation keepingRefusal(Operation operation, std::optional<asokit::AsoError>& refusal) {
  return [operation = std::move(operation), &refusal](const auto& first, const std::string& country,
                                                      std::stop_token stop) {
    try {
      return operation(first, country, stop);
    } catch (const asokit::AsoError& error) {
      if (research::isRefusal(error)) {
        refusal = error;
      }
      throw;
    }
  };
}

void listCandidates(Context& context, const std::vector<DiscoveredApp>& apps) {
  if (context.json) {
    nlohmann::json list = nlohmann::json::array();
    for (std::size_t i = 0; i < apps.size(); ++i) {
      const auto& app = apps[i];
      list.push_back({{"position", app.position.value_or(static_cast<std::int64_t>(i + 1))},
                      {"id", app.id},
                      {"name", app.name},
                      {"developer", app.developer},
                      {"bundleId", orNull(app.bundleId)}});
    }
    printJson(context.out(), {{"candidates", std::move(list)}});
    return;
  }
  Table table({"#", "App", "Developer", "Id"});
  for (std::size_t i = 0; i < apps.size(); ++i) {
    const auto& app = apps[i];
    table.add({std::to_string(app.position.value_or(static_cast<std::int64_t>(i + 1))), app.name,
               app.developer.empty() ? std::string(kEmDash) : app.developer, app.id});
  }
  table.print(context.out(), context.tableWidth());
}

std::string absentText(const AppResolverModel& model, const AppResolverInput& input, const std::string& country) {
  if (auto text = model.noMatchText()) {
    return *text + "\n" + std::string(research::resolverText::kNamesDiffer);
  }
  return research::noAppText(input, country);
}

}  // namespace

research::DiscoveredApp resolveApp(Context& context, const std::string& input, const std::string& country,
                                   std::optional<std::int64_t> pick, std::optional<std::string>& pickNote) {
  requireUtf8(input, "The app");
  // A link without its scheme or "id123…" names an app as well as the bare id does.
  const auto text = research::resolverTextFor(input);
  const auto classified = AppResolverInput::classify(text);
  if (classified.kind == AppResolverInput::Kind::invalid) {
    throw CommandError(Exit::failed, std::string(research::resolverText::kPrompt));
  }
  auto& client = context.client();
  // Written by the request on its worker, read here once the main-thread loop has brought the answer.
  std::optional<asokit::AsoError> refusal;
  base::LoopQueue queue;
  AppResolverModel model(keepingRefusal(research::clientLookup(client), refusal),
                         keepingRefusal(research::clientSearch(client, kNameResults), refusal), queue);
  model.resolve(text, country);
  queue.runUntil([&] { return !std::holds_alternative<AppResolverModel::Resolving>(model.phase()); });
  if (std::holds_alternative<AppResolverModel::Idle>(model.phase())) {
    throw asokit::Cancelled();
  }

  const auto& phase = model.phase();
  if (const auto* failure = std::get_if<AppResolverModel::Failed>(&phase)) {
    if (refusal) {
      throw *refusal;
    }
    throw CommandError(Exit::failed, research::withErrorLead(failure->message));
  }
  const auto* results = std::get_if<AppResolverModel::Results>(&phase);
  if (!results) {
    throw CommandError(Exit::failed, absentText(model, classified, country));
  }
  const auto& apps = results->apps;
  if (pick) {
    if (*pick < 1 || *pick > static_cast<std::int64_t>(apps.size())) {
      throw CommandError(Exit::usage, fmt::format("--pick must be between 1 and {}: the store found {} {}.",
                                                  apps.size(), apps.size(), apps.size() == 1 ? "app" : "apps"));
    }
    return apps[static_cast<std::size_t>(*pick - 1)];
  }
  if (const auto& selected = model.selected()) {
    if (const auto note = model.pickNote()) {
      pickNote = std::string(*note);
    }
    return *selected;
  }
  listCandidates(context, apps);
  throw CommandError(Exit::failed,
                     fmt::format("{} apps match; run the command again with --pick N to choose one.", apps.size()));
}

}  // namespace tovra::cli
