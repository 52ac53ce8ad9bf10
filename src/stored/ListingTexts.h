#pragma once
// The texts of the file tree: what an item of the instrument's listing shows, and where it goes.

#include "data/RecordingList.h"
#include "foundation/TimeRecords.h"

#include <functional>
#include <string>

namespace ferro {

using TToLocal = std::function<tmStamp_t(const tmStamp_t&)>;

// "dd.mm.yyyy hh:nn:ss" of local seconds.
std::string LocalDateText(uint64_t LocalSecs);
// "START - END - NKb" for sync, async and event entries, "CLASS TIME NKb" for rec entries; the
// times shifted by `ToLocal` (the instrument's zone and summer time).
std::string ListingItemText(const TListingEntry& Entry, const TToLocal& ToLocal);

// Which folder of the recording tree a sync entry goes to: the index of its class word in
// CDataObjName[0..7], -1 for a class the tree does not show.
int SyncFolderIndex(const std::string& ClassWord);

} // namespace ferro
