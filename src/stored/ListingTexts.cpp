#include "stored/ListingTexts.h"

#include "foundation/Format.h"
#include "stored/StoredTexts.h"

#include <QDateTime>

namespace ferro {

std::string LocalDateText(uint64_t LocalSecs) {
    return QDateTime::fromSecsSinceEpoch(qint64(LocalSecs), Qt::UTC)
        .toString("dd.MM.yyyy HH:mm:ss")
        .toStdString();
}

std::string ListingItemText(const TListingEntry& Entry, const TToLocal& ToLocal) {
    auto local = [&](uint64_t secs, uint32_t ns) {
        tmStamp_t s{uint32_t(secs), ns};
        return LocalDateText(ToLocal ? ToLocal(s).sec : s.sec);
    };
    const unsigned long long kb = Entry.Size / 1024;
    if (Entry.Folder == "rec")
        return Fmt("%s %s %lluKb", Entry.Class.c_str(), local(Entry.Start, 0).c_str(), kb);
    return Fmt("%s - %s - %lluKb", local(Entry.Start, Entry.StartNs).c_str(), local(Entry.End, 0).c_str(),
               kb);
}

int SyncFolderIndex(const std::string& ClassWord) {
    for (int i = 0; i < 8; ++i)
        if (ClassWord == CDataObjName[size_t(i)]) return i;
    return -1;
}

} // namespace ferro
