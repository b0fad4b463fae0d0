#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "AsoKit/types.h"
#include "app/base/observable.h"
#include "app/base/thread_affinity.h"
#include "app/research/app_resolver_input.h"
#include "app/research/discovered_app.h"

namespace tovra::research {

namespace resolverText {
inline constexpr std::string_view kFieldPlaceholder = "App name, URL, ID, or bundle ID";
inline constexpr std::string_view kPrompt = "Enter an app name, App Store URL, numeric App Store ID, or bundle ID.";
inline constexpr std::string_view kReturnResolves = "Return also resolves.";
inline constexpr std::string_view kStorefrontHint =
    "Each country has its own App Store — names and rankings differ. A link or bundle ID finds the app anywhere; "
    "a name is searched in this country only.";
inline constexpr std::string_view kResolving = "Resolving App Store match…";
inline constexpr std::string_view kPickNote = "Picked because the name matches — check the developer.";
inline constexpr std::string_view kClickYourApp = "Click your app in the list above.";
inline constexpr std::string_view kReturnAdds = "Return also adds the selected app.";
inline constexpr std::string_view kNoBundleId = "No bundle ID returned";
inline constexpr std::string_view kUseCopiedLink = "Use the copied link";
inline constexpr std::string_view kNotAnAppStoreLink = "The copied text is not an App Store link.";
inline constexpr std::string_view kNoMatchPrefix = "No matching app was found in the ";
inline constexpr std::string_view kNamesDiffer =
    "Names differ per country. Try another country, or paste the App Store link or bundle ID — they find the app "
    "whatever its local name.";
inline constexpr std::string_view kTryAnotherCountry = "Try another country";
inline constexpr std::string_view kTryAnotherCountryHelp = "Looks up the same input in the country you pick.";
}  // namespace resolverText

// The store operations the resolver asks, given the storefront code as the user picked it. They throw
// asokit::AsoError or asokit::TransportError on failure (asokit::Cancelled when the process quits).
// An ID or bundle-ID lookup: the app, or none when the store lists none.
using ResolverLookup = std::function<std::optional<asokit::AppInfo>(const AppResolverInput&, const std::string&)>;
// A store search for a name (term, country): the results in store order.
using ResolverSearch = std::function<asokit::SearchOutcome(const std::string&, const std::string&)>;
// Warms the icon cache with the results' artwork addresses.
using ResolverPrefetchIcons = std::function<void(const std::vector<std::string>&)>;

// One store request of the resolver, made by begin() and answered by finish().
struct ResolveRequest {
  std::uint64_t generation = 0;
  AppResolverInput input;
  std::string country;
};
struct ResolveFailure {
  std::string message;
  bool operator==(const ResolveFailure&) const = default;
};
using ResolveAnswer = std::variant<std::vector<DiscoveredApp>, ResolveFailure>;

// Runs the request's lookup (ID, bundle ID) or search (name, with the trimmed name as the term). A store
// error becomes a failure carrying its text; asokit::Cancelled goes through to the caller.
ResolveAnswer fetchCandidates(const ResolveRequest& request, const ResolverLookup& lookup,
                              const ResolverSearch& search);

// Turns what the user entered into one App Store app. Main thread only; every change goes to its
// subscribers. resolve() runs the store request synchronously; a front end that wants it off the main
// thread calls begin(), runs fetchCandidates() elsewhere and hands the answer to finish() back on the
// main thread (an answer overtaken by a newer resolve is dropped).
class AppResolverModel final {
 public:
  struct Idle {
    bool operator==(const Idle&) const = default;
  };
  struct Resolving {
    bool operator==(const Resolving&) const = default;
  };
  struct Results {
    std::vector<DiscoveredApp> apps;  // store order, never empty
    bool operator==(const Results&) const = default;
  };
  struct Absent {
    bool operator==(const Absent&) const = default;
  };
  struct Failed {
    std::string message;
    bool operator==(const Failed&) const = default;
  };
  using Phase = std::variant<Idle, Resolving, Results, Absent, Failed>;

  struct Resolved {
    std::string raw;
    std::string country;
    bool operator==(const Resolved&) const = default;
  };

  AppResolverModel(ResolverLookup lookup, ResolverSearch search, ResolverPrefetchIcons prefetchIcons = {});

  // Tells every subscriber after each change of what the model shows.
  const base::Observable<>& changes() const { return changes_; }

  // Classifies and asks the store; invalid (blank) input does nothing.
  void resolve(std::string_view raw, std::string_view country);
  // Resolves the last raw input again in another country; nothing when nothing was resolved yet.
  void retryInCountry(std::string_view country);
  // "Use the copied link": resolves the trimmed pasteboard text when it is an App Store link; otherwise
  // returns kNotAnAppStoreLink for the sheet to show and changes nothing.
  std::optional<std::string_view> useCopiedLink(std::string_view pasteboard, std::string_view country);
  // The user chose a result.
  void select(DiscoveredApp app);

  std::optional<ResolveRequest> begin(std::string_view raw, std::string_view country);
  void finish(const ResolveRequest& request, ResolveAnswer answer);

  const Phase& phase() const;
  std::int64_t requestCount() const;  // store requests this model started
  const std::optional<Resolved>& resolved() const;
  const std::optional<DiscoveredApp>& selected() const;
  bool pickedByNameAmongSeveral() const;
  // kPickNote while the selection is the automatic pick by name among several results.
  std::optional<std::string_view> pickNote() const;
  // After a name found nothing: kNoMatchPrefix + the country's name (kNamesDiffer goes beneath).
  std::optional<std::string> noMatchText() const;

 private:
  void autoPick(const AppResolverInput& input, const std::vector<DiscoveredApp>& apps);
  void changed();

  base::ThreadAffinity thread_;
  ResolverLookup lookup_;
  ResolverSearch search_;
  ResolverPrefetchIcons prefetchIcons_;
  base::Observable<> changes_;
  Phase phase_ = Idle{};
  std::int64_t requestCount_ = 0;
  std::optional<Resolved> resolved_;
  std::optional<AppResolverInput> input_;
  std::optional<DiscoveredApp> selected_;
  bool pickedByNameAmongSeveral_ = false;
  std::uint64_t generation_ = 0;
};

}  // namespace tovra::research
