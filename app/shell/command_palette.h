#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/shell/tovra_action.h"

namespace tovra::shell {

inline constexpr std::string_view kPaletteFooter = "↑↓ move · ↩ run · esc close";

// "no command matches “gx”"
std::string noCommandMatches(std::string_view query);

// How well `query` matches `title` as a subsequence, compared case- and diacritic-insensitively with the
// root locale; none when it does not match. A query of white space only matches everything with 0.
std::optional<int> paletteScore(std::string_view query, std::string_view title);

struct PaletteMatch {
  TovraActionID id;
  int score = 0;
  bool operator==(const PaletteMatch&) const = default;
};

// The actions whose titles match, the best first; equal scores keep table order.
std::vector<PaletteMatch> paletteMatches(std::string_view query);

// The palette's state: open or not, what is typed, and which match is highlighted. Main thread only.
class CommandPaletteModel final {
 public:
  bool isOpen() const { return isOpen_; }
  const std::string& query() const { return query_; }
  int selection() const { return selection_; }
  const std::vector<PaletteMatch>& matches() const { return matches_; }

  // Opens with an empty query and the first match highlighted.
  void open();
  void close();
  // A new query highlights its best match again.
  void setQuery(std::string query);
  // Moves the highlight by `step`, staying within the matches.
  void move(int step);
  std::optional<TovraActionID> selected() const;
  // Runs the highlighted action through the handler and closes; a disabled one leaves the palette open
  // (its row already says why). Returns whether it ran.
  bool runSelected(const TovraActionHandler& handler);

 private:
  bool isOpen_ = false;
  std::string query_;
  int selection_ = 0;
  std::vector<PaletteMatch> matches_ = paletteMatches("");
};

}  // namespace tovra::shell
