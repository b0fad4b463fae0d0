#include "app/store/watchlist_editor.h"

#include "app/store/integrity.h"
#include "app/store/store_error.h"

namespace tovra::store {

std::string saveFailureText(const StoreError& error) {
  std::string text = std::string(kSaveFailed) + ": " + error.description();
  if (error.kind() == StoreError::Kind::damaged) {
    text += "\n" + std::string(kSalvageAtNextLaunch);
  }
  return text;
}

WatchlistEditor::WatchlistEditor(Store& store, WatchlistWriter& writer) : store_(&store), writer_(&writer) {}

const std::optional<DeletionPlan>& WatchlistEditor::pendingDeletion() const {
  thread_.check();
  return pendingDeletion_;
}

const std::optional<ResearchSpace>& WatchlistEditor::renaming() const {
  thread_.check();
  return renaming_;
}

bool WatchlistEditor::isRenaming() const {
  thread_.check();
  return isRenaming_;
}

const std::string& WatchlistEditor::draftName() const {
  thread_.check();
  return draftName_;
}

const std::optional<std::string>& WatchlistEditor::failure() const {
  thread_.check();
  return failure_;
}

void WatchlistEditor::beginRename(const ResearchSpace& space) {
  thread_.check();
  renaming_ = space;
  draftName_ = space.name;
  isRenaming_ = true;
  changed();
}

void WatchlistEditor::setDraftName(std::string name) {
  thread_.check();
  draftName_ = std::move(name);
  changed();
}

bool WatchlistEditor::commitRename() {
  thread_.check();
  if (!renaming_) {
    return false;
  }
  const bool saved = attempt([&] { writer_->renameSpace(*renaming_, draftName_); });
  if (saved) {
    renaming_.reset();
    isRenaming_ = false;
    draftName_.clear();
  }
  changed();
  return saved;
}

void WatchlistEditor::cancelRename() {
  thread_.check();
  renaming_.reset();
  isRenaming_ = false;
  draftName_.clear();
  changed();
}

void WatchlistEditor::askToDelete(DeletionPlan plan) {
  thread_.check();
  pendingDeletion_ = std::move(plan);
  changed();
}

bool WatchlistEditor::confirmDeletion() {
  thread_.check();
  if (!pendingDeletion_) {
    return false;
  }
  const auto plan = std::move(*pendingDeletion_);
  pendingDeletion_.reset();
  const bool deleted = attempt([&] { StoreDeletion(*store_).carryOut(plan); });
  changed();
  return deleted;
}

void WatchlistEditor::cancelDeletion() {
  thread_.check();
  pendingDeletion_.reset();
  changed();
}

bool WatchlistEditor::apply(const std::function<void()>& edit) {
  thread_.check();
  const bool done = attempt(edit);
  changed();
  return done;
}

void WatchlistEditor::dismissFailure() {
  thread_.check();
  failure_.reset();
  changed();
}

bool WatchlistEditor::attempt(const std::function<void()>& edit) {
  try {
    edit();
  } catch (const WatchlistWriter::EditError& error) {
    failure_ = error.description();
    return false;
  } catch (const StoreError& error) {
    failure_ = saveFailureText(error);
    return false;
  }
  failure_.reset();
  return true;
}

void WatchlistEditor::changed() {
  changes_.notify();
}

}  // namespace tovra::store
