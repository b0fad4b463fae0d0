#include "app/base/terminal_text.h"

#include <gtest/gtest.h>

namespace tovra::base {
namespace {

TEST(TerminalText, WideCharactersTakeTwoCellsAndMarksNone) {
  struct Case {
    const char* text;
    std::size_t columns;
  };
  for (const auto& c : std::vector<Case>{
           {"", 0},
           {"photo editor", 12},
           {"café", 4},
           {"cafe\u0301", 4},  // a combining accent rides on its letter
           {"東京 地図", 9},
           {"ＡＢ", 4},                // full-width Latin
           {"👨‍👩‍👧", 2},  // one family joined by ZWJ
           {"\u2764\ufe0f ok", 5},     // a heart shown as a picture
           {"Fotoğraf · İstanbul", 19},
       }) {
    EXPECT_EQ(terminalColumns(c.text), c.columns) << c.text;
  }
}

TEST(TerminalText, CutsWholeCharactersAndEndsInAnEllipsis) {
  struct Case {
    const char* text;
    std::size_t columns;
    const char* cut;
  };
  for (const auto& c : std::vector<Case>{
           {"photo editor", 12, "photo editor"},
           {"photo editor", 11, "photo edit…"},
           {"photo editor", 1, "…"},
           {"photo editor", 0, ""},
           {"東京地図", 6, "東京…"},
           {"東京地図", 4, "東…"},  // the next wide character would not leave room for the ellipsis
           {"cafe\u0301 noir", 5, "cafe\u0301…"},
       }) {
    EXPECT_EQ(cutToColumns(c.text, c.columns), c.cut) << c.text << " in " << c.columns;
    EXPECT_LE(terminalColumns(cutToColumns(c.text, c.columns)), c.columns);
  }
}

}  // namespace
}  // namespace tovra::base
