#pragma once

namespace tovra::store {

class Store;

// Whether the engine reported a store's file as damaged (or an integrity check found it so) since the
// store opened. From then on the store refuses every change: writing into a damaged file can spread the
// damage, and the file is to be moved aside whole and salvaged. Kept beside the store rather than in it,
// for the store's own readers and writers to note and the front ends to ask. Main thread only, like the
// store.
bool damageReported(const Store& store);
void noteDamage(const Store& store);
// Notes the damage when `resultCode` (an engine result code) says the file is malformed.
void noteResult(const Store& store, int resultCode);
// Closing a store folds its log into the file; a damaged file is to be moved aside as it was found, with
// its log beside it, so the store is told not to.
void leaveLogOnClose(Store& store);

}  // namespace tovra::store
