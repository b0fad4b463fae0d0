#pragma once

#include <QDialog>
#include <memory>
#include <vector>

#include "app/research/keyword_entry.h"
#include "app/store/records.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QListView;
class QPushButton;
class QStandardItemModel;

namespace tovra::gui {

class AppServices;

// The add-keywords sheet: one field for one keyword or a pasted list, the drafts beneath with their
// cost, the notice of what was dropped, and the button that adds the drafts to the chosen app (or parks
// them in the chosen research space) through the page's editor. A paste commits at once; Return commits
// what is typed; a Return right after a paste does not add the list again.
class AddKeywordsSheet final : public QDialog {
  Q_OBJECT
 public:
  struct Owner {
    std::optional<store::TrackedApp> app;
    std::optional<store::ResearchSpace> space;
  };

  // `owners` in the board's order; `chosen` the one selected on the board.
  AddKeywordsSheet(AppServices& services, std::vector<Owner> owners, std::size_t chosen, QWidget* parent);

  QLineEdit* field() const { return field_; }
  QComboBox* countryBox() const { return country_; }
  QComboBox* ownerBox() const { return owner_; }
  QListView* draftList() const { return drafts_; }
  QLabel* noticeLabel() const { return notice_; }
  QLabel* costLabel() const { return cost_; }
  QPushButton* confirmButton() const { return confirm_; }
  const research::KeywordEntry& entry() const { return *entry_; }
  const Owner& owner() const;
  // The board could not write the drafts: the sheet stays open with them and says why.
  void showFailure(const QString& text);

 signals:
  // The user confirmed: the drafts go to the owner; the page writes them and closes the sheet.
  void confirmed(const std::vector<store::KeywordDraft>& drafts);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void ownerChanged();
  void fieldEdited(const QString& text);
  void commitTyped();
  void removeSelected();
  void render();
  std::string country() const;

  AppServices& services_;
  std::vector<Owner> owners_;
  std::unique_ptr<research::KeywordEntry> entry_;
  QComboBox* owner_;
  QComboBox* country_;
  QLineEdit* field_;
  QPushButton* add_;
  QListView* drafts_;
  QStandardItemModel* draftModel_;
  QPushButton* remove_;
  QLabel* notice_;
  QLabel* failure_;
  QLabel* cost_;
  QLabel* costHint_;
  QPushButton* confirm_;
  QString lastText_;
  bool draftsChanged_ = true;
};

// The country choices of every sheet: each known storefront by its name, its code as data.
void fillCountries(QComboBox& box, const std::string& chosen);

}  // namespace tovra::gui
