#include "stored/OfflineArchive.h"

#include "foundation/Format.h"
#include "link/Archive.h"
#include "link/XmlNames.h"
#include "stored/ListingTexts.h"
#include "stored/StoredTexts.h"
#include "stored/XmlVersions.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

namespace ferro {

namespace fs = std::filesystem;

namespace {

// A card or a copied tree is walked only this far; nothing real comes near it.
constexpr int CMaxWalkDepth = 16;
constexpr size_t CMaxWalkEntries = 200000;

void Say(const TReaderLog& Log, const std::string& Line) {
    if (Log) Log(Line);
}

std::string Slashed(const fs::path& p) {
    std::string s = p.string();
    if (s.empty() || s.back() != char(fs::path::preferred_separator))
        s += char(fs::path::preferred_separator);
    return s;
}

bool IsLogFile(const fs::directory_entry& e) {
    std::error_code ec;
    if (!e.is_regular_file(ec)) return false;
    std::string ext = e.path().extension().string();
    return EqualsNoCase(ext, ".log");
}

// The "*.log" files of one folder, sorted; none when the folder is missing.
std::vector<fs::path> LogFilesIn(const fs::path& Dir) {
    std::vector<fs::path> out;
    std::error_code ec;
    for (fs::directory_iterator it(Dir, ec), end; !ec && it != end; it.increment(ec))
        if (IsLogFile(*it)) out.push_back(it->path());
    std::sort(out.begin(), out.end());
    return out;
}

bool AllDigits(const std::string& s) {
    return !s.empty() && s.size() <= 10 &&
           std::all_of(s.begin(), s.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

std::string LocalText(const tmStamp_t& Utc, const time_tz_t& Tz) {
    return LocalDateText(uint64_t(int64_t(Utc.sec) + Tz.offsetSeconds()));
}

// Copies through a temporary name, so that a file cut short never stands under its real name.
bool CopyWhole(const fs::path& From, const fs::path& To, std::string& Why) {
    std::error_code ec;
    if (fs::exists(To, ec) && fs::equivalent(From, To, ec)) return true;
    const fs::path part = To.string() + ".part";
    fs::copy_file(From, part, fs::copy_options::overwrite_existing, ec);
    if (!ec) fs::rename(part, To, ec);
    if (ec) {
        Why = ec.message();
        fs::remove(part, ec);
        return false;
    }
    return true;
}

// The three files of "xml-versions.txt" as the instrument names them, and their local names.
struct TXmlTarget {
    std::string Listed; // "ferro_struct.gz", "lang/lang_de.gz"
    std::string Local;  // "ferro_struct.XML", "lang_de.XML"
};

std::vector<TXmlTarget> XmlTargets() {
    std::vector<TXmlTarget> t;
    t.push_back({ChangeFileExt(CObjPropsXML, ".gz"), ChangeFileExt(CObjPropsXML, ".XML")});
    t.push_back({ChangeFileExt(CStructXML, ".gz"), ChangeFileExt(CStructXML, ".XML")});
    for (const char* lang : CLanguXML)
        t.push_back({std::string("lang/") + ChangeFileExt(lang, ".gz"), ChangeFileExt(lang, ".XML")});
    return t;
}

std::map<std::string, int> ReadVersions(const fs::path& File) {
    // A list is a few lines; anything larger is not one.
    std::error_code ec;
    const uintmax_t size = fs::file_size(File, ec);
    if (ec || size > 64 * 1024) return {};
    std::ifstream in(File, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    return ParseXmlVersions(text);
}

void WriteVersions(const fs::path& File, const std::map<std::string, int>& Versions) {
    std::ofstream(File, std::ios::binary | std::ios::trunc) << FormatXmlVersions(Versions);
}

std::string Lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return s;
}

// Takes over the files of a version list in `Dir` that are newer than the local ones (or missing
// here). Only the known names are looked at, so a list cannot point outside its folder.
void TakeNewerXml(const fs::path& Dir, const fs::path& XmlDir, const TReaderLog& Log) {
    const std::map<std::string, int> offered = ReadVersions(Dir / CXmlVersionsFile);
    std::map<std::string, int> local = ReadVersions(XmlDir / CXmlVersionsFile);
    bool changed = false;
    for (const TXmlTarget& t : XmlTargets()) {
        const auto it = offered.find(Lower(t.Listed));
        if (it == offered.end()) continue;
        std::error_code ec;
        const fs::path source = Dir / t.Listed;
        const fs::path target = XmlDir / t.Local;
        const auto known = local.find(Lower(t.Listed));
        const bool newer = !fs::exists(target, ec) || known == local.end() || known->second < it->second;
        if (!newer || !fs::is_regular_file(source, ec)) continue;
        fs::create_directories(XmlDir, ec);
        std::string why;
        const std::string part = target.string() + ".part";
        if (!UnZipFile(source.string(), part, &why)) {
            Say(Log, Fmt("Import: %s: %s", source.string().c_str(), why.c_str()));
            fs::remove(part, ec);
            continue;
        }
        fs::rename(part, target, ec);
        if (ec) continue;
        Say(Log, Fmt("ComUnit: New Version %d for %s", it->second, t.Listed.c_str()));
        local[Lower(t.Listed)] = it->second;
        changed = true;
    }
    if (changed) WriteVersions(XmlDir / CXmlVersionsFile, local);
}

// The station a file belongs to: the serial of its head, else a numeric folder it lies in
// (ROOT/<serial>/Recorder/x.log). Empty when neither tells.
std::string StationOf(const fs::path& File) {
    time_tz_t tz;
    envMan_usrDat_t user;
    tmStamp_t stamp;
    if (ReadOfflineSysEnvHead(File.string(), tz, user, false, stamp, nullptr) && user.SN != 0)
        return std::to_string(user.SN);
    fs::path dir = File.parent_path();
    const std::string leaf = dir.filename().string();
    if (EqualsNoCase(leaf, CRekorder) || EqualsNoCase(leaf, CEvent)) dir = dir.parent_path();
    const std::string name = dir.filename().string();
    return AllDigits(name) ? name : std::string();
}

} // namespace

bool IsStationFolderName(const std::string& Name) {
    return !Name.empty() && Name != "." && Name != ".." && !EqualsNoCase(Name, "tmp") &&
           !EqualsNoCase(Name, "log");
}

bool IsRecordingName(const std::string& FileName) {
    const std::string word = ClassWordOfName(FileName);
    for (const char* w : CDataStrArray)
        if (EqualsNoCase(word, w)) return true;
    return FerroClsFromNam(word) != dcUnknown;
}

std::vector<TOfflineStation> ScanOfflineStations(const std::string& Root, const TReaderLog& Log) {
    std::vector<TOfflineStation> out;
    std::error_code ec;
    for (fs::directory_iterator it(Root, ec), end; !ec && it != end; it.increment(ec)) {
        std::error_code ec2;
        const std::string name = it->path().filename().string();
        if (!it->is_directory(ec2) || !IsStationFolderName(name)) continue;
        TOfflineStation s;
        s.Key = name;
        const std::vector<fs::path> recs = LogFilesIn(it->path() / CRekorder);
        const std::vector<fs::path> evts = LogFilesIn(it->path() / CEvent);
        s.RecFiles = int(recs.size());
        s.EvtFiles = int(evts.size());
        Say(Log, Fmt("Found %d rekords in %s", s.RecFiles, Slashed(it->path() / CRekorder).c_str()));
        Say(Log, Fmt("Found %d eventfiles in %s", s.EvtFiles, Slashed(it->path() / CEvent).c_str()));
        // The plant data from the first file whose head reads.
        std::vector<fs::path> all = recs;
        all.insert(all.end(), evts.begin(), evts.end());
        for (const fs::path& f : all) {
            tmStamp_t stamp;
            if (ReadOfflineSysEnvHead(f.string(), s.Tz, s.User, false, stamp, Log)) break;
        }
        s.SN = s.User.SN;
        s.Text =
            Fmt("%s: %s", s.Key.c_str(), s.User.Geraet.empty() ? "Ferro Recorder" : s.User.Geraet.c_str());
        out.push_back(std::move(s));
    }
    std::sort(out.begin(), out.end(),
              [](const TOfflineStation& a, const TOfflineStation& b) { return a.Key < b.Key; });
    return out;
}

std::vector<TOfflineFile> ListOfflineStation(const std::string& Root, const std::string& Key,
                                             const TIdText& Names, const TReaderLog& Log) {
    std::vector<TOfflineFile> out;
    if (!IsStationFolderName(Key) || Key.find_first_of("/\\") != std::string::npos) return out;
    const fs::path station = fs::path(Root) / Key;
    for (bool rec : {true, false}) {
        for (const fs::path& p : LogFilesIn(station / (rec ? CRekorder : CEvent))) {
            TOfflineFile f;
            f.Path = p.string();
            f.Name = p.filename().string();
            f.IsRec = rec;
            std::error_code ec;
            f.Size = fs::file_size(p, ec);
            const std::string word = ClassWordOfName(f.Name);
            if (rec) {
                const TDataClass cls = FerroClsFromNam(word);
                f.IsAsync = cls == dcBinIn;
                f.Group = 11;
                for (int k = 0; k < 8; ++k)
                    if (EqualsNoCase(word, CDataObjName[size_t(k)])) f.Group = k;
                if (f.IsAsync) f.Group = 8;
                if (EqualsNoCase(word, "Osc")) f.Group = 9;
                if (EqualsNoCase(word, "Hp")) f.Group = 10;
            }
            time_tz_t tz;
            envMan_usrDat_t user;
            tmStamp_t start, end;
            if (f.Group >= 8 && f.Group <= 10) {
                std::string name, text;
                if (ReadOfflineContextHeader(f.Path, tz, Names, name, text, start, Log))
                    f.Text = Fmt("%s %s", word.c_str(), LocalText(start, tz).c_str());
            } else if (ReadOfflineSysEnvHead(f.Path, tz, user, false, start, Log)) {
                // A file whose end cannot be read (no record yet) shows its start alone.
                if (ReadOfflineSysEnvHead(f.Path, tz, user, true, end, nullptr) && end.sec >= start.sec)
                    f.Text = Fmt("%s - %s", LocalText(start, tz).c_str(), LocalText(end, tz).c_str());
                else
                    f.Text = LocalText(start, tz);
            }
            out.push_back(std::move(f));
        }
    }
    std::stable_sort(out.begin(), out.end(), [](const TOfflineFile& a, const TOfflineFile& b) {
        const int ga = a.Group < 0 ? 100 : a.Group, gb = b.Group < 0 ? 100 : b.Group;
        return ga != gb ? ga < gb : a.Name < b.Name;
    });
    return out;
}

int ImportOfflineFolder(const std::string& Src, const std::string& Root, const std::string& XmlDir,
                        const TReaderLog& Log, const TOfflineProgress& Progress) {
    std::vector<fs::path> files, versionDirs;
    std::error_code ec;
    if (fs::is_regular_file(fs::path(Src) / CXmlVersionsFile, ec)) versionDirs.push_back(Src);
    fs::recursive_directory_iterator it(Src, fs::directory_options::skip_permission_denied, ec), end;
    size_t seen = 0;
    for (; !ec && it != end && ++seen < CMaxWalkEntries; it.increment(ec)) {
        std::error_code ec2;
        if (it->is_directory(ec2)) {
            if (it.depth() >= CMaxWalkDepth) it.disable_recursion_pending();
            // The scratchpad carries language files, not data.
            if (EqualsNoCase(it->path().filename().string(), "scratchpad")) {
                it.disable_recursion_pending();
                if (fs::is_regular_file(it->path() / CXmlVersionsFile, ec2))
                    versionDirs.push_back(it->path());
            }
            continue;
        }
        if (IsLogFile(*it)) files.push_back(it->path());
    }
    if (Progress.Start) Progress.Start(int(files.size()));
    int count = 0;
    for (const fs::path& f : files) {
        const std::string station = StationOf(f);
        if (station.empty()) {
            Say(Log, Fmt("Import: no station for %s", f.string().c_str()));
        } else {
            const fs::path dir =
                fs::path(Root) / station / (IsRecordingName(f.filename().string()) ? CRekorder : CEvent);
            std::error_code ec2;
            fs::create_directories(dir, ec2);
            std::string why;
            if (CopyWhole(f, dir / f.filename(), why))
                ++count;
            else
                Say(Log, Fmt("Import: %s: %s", f.string().c_str(), why.c_str()));
        }
        if (Progress.Step) Progress.Step();
    }
    for (const fs::path& d : versionDirs)
        TakeNewerXml(d, XmlDir, Log);
    return count;
}

int ExportOfflineFiles(const std::vector<std::string>& Paths, const std::string& Target,
                       const std::string& XmlDir, const TReaderLog& Log) {
    int count = 0;
    std::error_code ec;
    const fs::path target(Target);
    for (const std::string& p : Paths) {
        std::string why;
        if (CopyWhole(p, target / fs::path(p).filename(), why))
            ++count;
        else
            Say(Log, Fmt("Export: %s: %s", p.c_str(), why.c_str()));
    }
    const fs::path pad = target / "scratchpad";
    fs::create_directories(pad / "lang", ec);
    const std::map<std::string, int> known = ReadVersions(fs::path(XmlDir) / CXmlVersionsFile);
    std::map<std::string, int> lines;
    for (const TXmlTarget& t : XmlTargets()) {
        const fs::path source = fs::path(XmlDir) / t.Local;
        if (!fs::is_regular_file(source, ec)) continue;
        if (!ZipFile(source.string(), (pad / t.Listed).string())) {
            Say(Log, Fmt("Export: cannot pack %s", source.string().c_str()));
            continue;
        }
        const auto v = known.find(Lower(t.Listed));
        lines[t.Listed] = v == known.end() ? 0 : v->second;
    }
    WriteVersions(pad / CXmlVersionsFile, lines);
    return count;
}

bool DeleteOfflineFile(const std::string& Path, const TReaderLog& Log) {
    std::error_code ec;
    if (!fs::is_regular_file(Path, ec)) return false;
    Say(Log, Fmt("Deleting %s", Path.c_str()));
    return fs::remove(Path, ec);
}

bool DeleteOfflineStation(const std::string& Root, const std::string& Key, const TReaderLog& Log) {
    // Only a folder directly below the root: a key never climbs out of it.
    if (!IsStationFolderName(Key) || Key.find_first_of("/\\") != std::string::npos) return false;
    const fs::path dir = fs::path(Root) / Key;
    std::error_code ec;
    if (!fs::is_directory(dir, ec)) return false;
    Say(Log, Fmt("Deleting %s", dir.string().c_str()));
    fs::remove_all(dir, ec);
    return !ec;
}

} // namespace ferro
