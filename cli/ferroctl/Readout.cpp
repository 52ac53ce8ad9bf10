// ferroctl ls and get: listings of recordings and events, and downloads that resume.
#include "Commands.h"

#include "data/RecordingList.h"
#include "foundation/Clock.h"
#include "foundation/Format.h"
#include "link/Messages.h"

#include <QDateTime>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace ferroctl {

namespace fs = std::filesystem;

namespace {

bool kindArg(const CliOptions& opt, size_t want, bool& events) {
    if (opt.args.size() != want || (opt.args[0] != "rec" && opt.args[0] != "evt")) return false;
    events = opt.args[0] == "evt";
    return true;
}

std::string timeText(uint64_t secs) {
    if (secs == 0) return "-";
    return QDateTime::fromSecsSinceEpoch(qint64(secs), Qt::UTC)
        .toString("yyyy-MM-ddTHH:mm:ssZ")
        .toStdString();
}

} // namespace

bool FetchListing(ferro::TDeviceSession& session, bool events, std::vector<ferro::TListingEntry>& out) {
    ferro::TComUnit& l = session.Link();
    bool done = false;
    auto take = [&](ferro::TSender, ferro::MemStream& s) {
        out = ferro::TRecordingList::Parse(std::string(s.bytes().begin(), s.bytes().end()), events);
        done = true;
    };
    if (events) {
        l.FEvtOverview = take;
        l.SendNamed("CCC_READOUT_EVT_LS");
    } else {
        l.FRecOverview = take;
        l.SendNamed("CCC_READOUT_REC_LS");
    }
    // A refused listing ends the wait at once, with the instrument's reason.
    return session.WaitFor([&] { return done; }, 30000, ferro::CmdReadout);
}

// Waits while the file keeps arriving: gives up after a minute without progress, not after a fixed
// time, so a large file over a slow line gets through; `deadlineMs` (0: none) bounds the whole file,
// for a line that drips. On a terminal the progress is shown. `seen` tells how far it came.
bool WaitForDownload(ferro::TDeviceSession& session, const bool& done, uint64_t expected, int64_t deadlineMs,
                     uint64_t& seen) {
    const ferro::TComUnit& link = session.Link();
    auto arrived = [&link]() -> uint64_t { return link.ReadArrived(); };
    const bool show = isatty(STDERR_FILENO);
    const int64_t end = ferro::clock().nowMs() + deadlineMs;
    seen = 0;
    while (!done) {
        int64_t wait = 60000;
        if (deadlineMs > 0) wait = std::min<int64_t>(wait, end - ferro::clock().nowMs());
        if (wait <= 0 || !session.WaitFor([&] { return done || arrived() != seen; }, int(wait))) break;
        seen = arrived();
        if (show && !done)
            std::fprintf(stderr, "\r%llu / %llu Bytes", static_cast<unsigned long long>(seen),
                         static_cast<unsigned long long>(expected));
    }
    if (show && seen > 0) std::fprintf(stderr, "\n");
    return done;
}

bool TakeDeadline(std::vector<std::string>& args, long& seconds) {
    seconds = 0;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] != "--deadline") continue;
        char* endp = nullptr;
        const std::string v = i + 1 < args.size() ? args[i + 1] : std::string();
        seconds = std::strtol(v.c_str(), &endp, 10);
        if (v.empty() || *endp || seconds < 1 || seconds > 86400) {
            std::fprintf(stderr, "--deadline erwartet Sekunden (1 bis 86400)%s%s.\n",
                         v.empty() ? "" : ", nicht ", v.c_str());
            return false;
        }
        args.erase(args.begin() + long(i), args.begin() + long(std::min(i + 2, args.size())));
        return true;
    }
    return true;
}

void GiveUpAfterDeadline(ferro::TDeviceSession& session, const std::string& name, long seconds, uint64_t have,
                         uint64_t seen, uint64_t size) {
    // The frame in flight is dropped with the line; the local file stays as it was.
    const uint64_t inFlight = seen > ferro::CHeadSize ? seen - ferro::CHeadSize : 0;
    std::fprintf(stderr,
                 "Die Übertragung von %s ist nach %ld s abgebrochen (--deadline): %llu von %llu Bytes "
                 "angekommen, die lokale Datei hat weiter %llu Bytes.\n",
                 name.c_str(), seconds, static_cast<unsigned long long>(have + inFlight),
                 static_cast<unsigned long long>(size), static_cast<unsigned long long>(have));
    ferro::TComUnit& l = session.Link();
    l.FailPendingReplies(ferro::_SVerbindungBeendet);
    l.ClearStreamAndBuffer();
    session.CloseAndWait(2000);
}

int RunList(const CliOptions& opt) {
    bool events = false;
    if (!kindArg(opt, 1, events)) {
        std::fprintf(stderr, "ls erwartet rec oder evt.\n");
        return 2;
    }
    auto session = OpenSession(opt, false);
    if (!session) return 1;
    std::vector<ferro::TListingEntry> list;
    if (!FetchListing(*session, events, list)) {
        std::fprintf(stderr, "Die Liste ist nicht angekommen.%s\n", LastReason(*session).c_str());
        return 1;
    }
    // Event names carry nanoseconds: the start keeps them (trailing zeros dropped, milliseconds at
    // least), so two events in the same second stay apart.
    auto startText = [](const ferro::TListingEntry& e) {
        std::string t = timeText(e.Start);
        if (e.Start == 0 || e.StartNs == 0) return t;
        std::string frac = ferro::Fmt("%09u", e.StartNs);
        while (frac.size() > 3 && frac.back() == '0')
            frac.pop_back();
        return t.insert(t.size() - 1, "." + frac);
    };
    for (const auto& e : list)
        std::printf("%s\t%llu\t%s\t%s\n", e.Name.c_str(), static_cast<unsigned long long>(e.Size),
                    startText(e).c_str(), timeText(e.End).c_str());
    session->CloseAndWait();
    return 0;
}

int RunGet(const CliOptions& opt) {
    CliOptions plain = opt;
    long deadlineS = 0;
    if (!TakeDeadline(plain.args, deadlineS)) return 2;
    bool events = false;
    if (!kindArg(plain, 2, events)) {
        std::fprintf(stderr, "get erwartet rec oder evt und den Namen der Datei.\n");
        return 2;
    }
    const std::string name = plain.args[1];
    if (ferro::TRecordingList::LocalName(name).empty()) {
        std::fprintf(stderr, "%s\n", ferro::Fmt(ferro::_SKeinDateiname, name.c_str()).c_str());
        return 2;
    }
    auto session = OpenSession(opt, true);
    if (!session) return 1;
    ferro::TComUnit& l = session->Link();
    std::vector<ferro::TListingEntry> list;
    if (!FetchListing(*session, events, list)) {
        std::fprintf(stderr, "Die Liste ist nicht angekommen.%s\n", LastReason(*session).c_str());
        return 1;
    }
    const ferro::TListingEntry* entry = nullptr;
    for (const auto& e : list)
        if (e.Name == name) entry = &e;
    if (!entry) {
        std::fprintf(stderr, "Die Datei %s ist auf dem Gerät nicht vorhanden.\n", name.c_str());
        return 1;
    }
    const std::string local = (events ? l.FEvtDir : l.FRecDir) + ferro::TRecordingList::LocalName(name);
    std::error_code ec;
    if (fs::exists(local, ec) && !fs::is_regular_file(local, ec)) {
        std::fprintf(stderr, "%s ist keine Datei; %s wird nicht geladen.\n", local.c_str(), name.c_str());
        return 1;
    }
    uint64_t have = fs::exists(local, ec) ? fs::file_size(local, ec) : 0;
    if (have >= entry->Size && fs::exists(local, ec)) {
        std::printf("%s\n", local.c_str());
        session->CloseAndWait();
        return 0;
    }
    if (opt.ftp) {
        // FTP brings the whole file again.
        have = 0;
        fs::remove(local, ec);
    }
    bool done = false;
    ferro::TReply reply;
    l.ReadFile(events, name, uint32_t(have), [&](const ferro::TReply& r) {
        reply = r;
        done = true;
    });
    l.ManualTimer(nullptr);
    uint64_t seen = 0;
    const bool arrived = WaitForDownload(*session, done, entry->Size - have, deadlineS * 1000, seen);
    if (!arrived && deadlineS > 0 && session->Established()) {
        GiveUpAfterDeadline(*session, name, deadlineS, have, seen, entry->Size);
        return 1;
    }
    if (!arrived || !reply.Ok) {
        const std::string why = done ? " " + reply.Text : LastReason(*session);
        std::fprintf(stderr, "Die Übertragung von %s ist abgebrochen.%s\n", name.c_str(), why.c_str());
        return 1;
    }
    uint64_t now = fs::file_size(local, ec);
    if (now != entry->Size) {
        std::fprintf(stderr, "%s: %llu von %llu Bytes angekommen.\n", local.c_str(),
                     static_cast<unsigned long long>(now), static_cast<unsigned long long>(entry->Size));
        return 1;
    }
    std::printf("%s\n", local.c_str());
    session->CloseAndWait();
    return 0;
}

} // namespace ferroctl
