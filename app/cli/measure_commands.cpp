// One measurement run: every keyword of every tracked app that is not paused.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <stop_token>

#include "app/base/main_queue.h"
#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/cli/measure_output.h"
#include "app/cli/output.h"
#include "app/measure/measure_texts.h"
#include "app/measure/measurement_runner.h"
#include "app/measure/run_notification.h"
#include "app/research/error_lead.h"
#include "app/shell/command_line_texts.h"
#include "app/store/store.h"

namespace tovra::cli {
namespace {

namespace texts = measure::texts;
using measure::RunReport;

void printProgress(Context& context, const measure::CompletedRequest& request, std::int64_t total) {
  // One line rewritten in place: carriage return, then erase to the end of the line.
  context.err() << "\r\x1b[K" << texts::progressLine(request, total) << std::flush;
}

void printReport(Context& context, const RunReport& report) {
  auto& out = context.out();
  if (!report.ranked.empty()) {
    out << "\nRanked\n";
    Table table({"Rank", "App · keyword · country"});
    for (const auto& line : report.ranked) {
      table.add({std::to_string(line.rank), line.label});
    }
    table.print(out, context.tableWidth());
  }
  if (!report.outside.empty()) {
    out << "\nOutside the results\n";
    Table table({"App · keyword · country", "Reading"});
    for (const auto& line : report.outside) {
      table.add({line.label, texts::notFound(line.depth)});
    }
    table.print(out, context.tableWidth());
  }
  if (const auto failures = measure::failureRows(report); !failures.empty()) {
    out << "\nNot measured\n";
    std::vector<std::string> messages;
    for (const auto& failure : failures) {
      messages.push_back(failure.message);
    }
    for (const auto lead : research::errorLeads(messages)) {
      out << lead << "\n";
    }
    Table table({"App", "Keyword", "Country", "Why"});
    for (const auto& failure : failures) {
      table.add({failure.app, failure.target.keyword, upperCountry(failure.target.country), failure.message});
    }
    table.print(out, context.tableWidth());
  }
  out << "\n" << texts::sourceLine(report.source) << "\n";
  out << measure::countsLine(report) << kDot << texts::keywordTally(report.queryCount) << "\n";
  if (report.isFirstMeasurement) {
    out << texts::kFirstRanks << "\n";
  }
  const auto notification = measure::notificationFor(report);
  out << "\n" << notification.title << "\n" << notification.body << "\n";
}

void runMeasure(Context& context, bool quiet) {
  auto& store = context.store();
  auto& client = context.client();
  const auto& calendar = context.calendar();
  base::LoopQueue queue;
  measure::MeasurementRunner runner(
      {queue, client, store, context.wall(), context.monotonic(), calendar, &context.services().presence()});

  std::optional<RunReport> report;
  const auto reported = runner.reports().subscribe(
      [&](const RunReport& finished, const std::vector<store::TrackedQuery>&) { report = finished; });
  const bool showProgress = !quiet && context.stderrIsTerminal();
  std::int64_t total = 0;
  base::Subscription progressShown;
  if (showProgress) {
    progressShown = runner.progress().subscribe(
        [&](const measure::CompletedRequest& request) { printProgress(context, request, total); });
  }

  const auto queries = store.queries().measurable();
  const auto lastRun = store.runs().latest();
  // The first Ctrl-C asks the run to stop after the request in flight; the runner hears it on the main
  // thread, like any other change. Listening starts before the run does, so no Ctrl-C finds it deaf.
  const std::stop_callback onStop(context.userStop().get_token(), [&] {
    queue.post([&] {
      runner.stop();
      context.err() << texts::kStopping << "\n";
    });
  });
  switch (runner.start(queries)) {
    case measure::MeasurementRunner::StartResult::coolingDown:
      throw CommandError(Exit::refused, texts::cooldownShort(runner.cooldownSecondsLeft().value_or(0)));
    case measure::MeasurementRunner::StartResult::runningElsewhere:
      // Not the store's refusal: nothing holds, and the run can be tried again once the other one ends.
      throw CommandError(Exit::failed, std::string(texts::kRunningElsewhere));
    case measure::MeasurementRunner::StartResult::nothingToMeasure:
      if (context.json) {
        printJson(context.out(), nullptr);
      } else if (!quiet) {
        context.out() << texts::kNothingToMeasure << "\n";
      }
      return;
    case measure::MeasurementRunner::StartResult::alreadyLive:
    case measure::MeasurementRunner::StartResult::started:
      break;
  }
  const auto& live = *runner.live();
  total = static_cast<std::int64_t>(live.plan.size());
  // The explanation is given once, here, before the run; the counts after it do not repeat it.
  if (!context.json && !quiet) {
    const auto offer = measure::measureOffer(true, true, lastRun ? lastRun->finishedAt : std::nullopt);
    if (offer.kind == measure::MeasureOffer::Kind::due) {
      context.out() << texts::lastMeasured(*offer.lastFinishedAt, live.startedAt, calendar) << " ";
    }
    context.out() << texts::kOfferExplanation << "\n"
                  << texts::planCounts(live.queryCount, total) << "\n"
                  << texts::pacingNote(total) << kDot << texts::kRanksLand << "\n"
                  << std::flush;
  }

  queue.runUntil([&] { return !runner.isLive(); });
  if (showProgress) {
    context.err() << "\n";
  }

  if (context.json) {
    printJson(context.out(), toJson(*report));
  } else if (quiet) {
    context.out() << measure::countsLine(*report) << kDot << texts::keywordTally(report->queryCount) << "\n";
  } else {
    printReport(context, *report);
  }
  if (report->ending == RunReport::Ending::halted) {
    throw CommandError(Exit::refused, texts::cooldownLong(runner.cooldownSecondsLeft().value_or(0), report->haltCause));
  }
  if (report->refused) {
    throw CommandError(Exit::refused, texts::cooldownShort(runner.cooldownSecondsLeft().value_or(0)));
  }
  if (report->saveFailure) {
    throw CommandError(Exit::failed, measure::saveFailedText(*report));
  }
  if (report->ending == RunReport::Ending::stopped) {
    throw CommandError(Exit::stoppedByUser, "");
  }
  if (const auto unmeasured = report->failed + report->skipped; unmeasured > 0) {
    throw CommandError(Exit::notAllMeasured, shell::commandLineText::notAllMeasured(unmeasured));
  }
}

const bool registered = registerCommand(
    {"measure",
     [](CLI::App& app, Context& context) {
       auto* sub = app.add_subcommand("measure", "Measure every keyword of every tracked app, once");
       auto quiet = std::make_shared<bool>(false);
       sub->add_flag("--quiet,-q", *quiet, "Print only the run's counts (default: the plan, the ranks and the report)");
       sub->callback([&context, quiet] { runMeasure(context, *quiet); });
     },
     40});

}  // namespace
}  // namespace tovra::cli
