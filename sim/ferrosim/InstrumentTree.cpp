#include "ferrosim/InstrumentTree.h"

#include "data/DataFileReader.h"
#include "ferrosim/Compression.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace ferro::sim {

namespace {

std::vector<std::string> splitPath(const std::string& p) {
    std::vector<std::string> parts;
    std::string cur;
    for (char c : p) {
        if (c == '/') {
            if (!cur.empty()) parts.push_back(cur);
            cur.clear();
        } else {
            cur += c;
        }
    }
    if (!cur.empty()) parts.push_back(cur);
    return parts;
}

uint32_t modifiedUnix(const fs::path& p) {
    std::error_code ec;
    auto t = fs::last_write_time(p, ec);
    if (ec) return 0;
    auto sys = std::chrono::time_point_cast<std::chrono::seconds>(t - fs::file_time_type::clock::now() +
                                                                  std::chrono::system_clock::now());
    return uint32_t(sys.time_since_epoch().count());
}

constexpr uint64_t kNs = 1000000000ull;

// Digits only, at most 19 of them; anything else is no number.
std::optional<uint64_t> decimal(const std::string& s) {
    if (s.empty() || s.size() > 19 || s.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    return std::stoull(s);
}

std::vector<std::string> splitOn(const std::string& s, char c) {
    std::vector<std::string> parts;
    std::string cur;
    std::istringstream in(s);
    while (std::getline(in, cur, c))
        parts.push_back(cur);
    return parts;
}

// "2.300" seconds as nanoseconds, without a detour through floating point.
std::optional<uint64_t> secondsAsNs(const std::string& text) {
    const size_t dot = text.find('.');
    const auto whole = decimal(dot == std::string::npos ? text : text.substr(0, dot));
    if (!whole) return std::nullopt;
    uint64_t ns = *whole * kNs;
    if (dot != std::string::npos) {
        std::string frac = text.substr(dot + 1, 9);
        if (frac.empty() || !decimal(frac)) return std::nullopt;
        frac.append(9 - frac.size(), '0');
        ns += *decimal(frac);
    }
    return ns;
}

// Time between two records of a recording, by the class word of its name: the stream intervals
// for the periodic classes, half periods for Hp, cycles for Osc, a second for anything else.
uint64_t recordIntervalNs(const std::string& cls) {
    static const std::pair<const char*, uint64_t> intervals[] = {
        {"10T", kNs / 5},  {"150T", 3 * kNs}, {"10min", 600 * kNs}, {"2h", 7200 * kNs}, {"1s", kNs},
        {"10s", 10 * kNs}, {"Ns", 5 * kNs},   {"Mmin", 60 * kNs},   {"Hp", kNs / 100},  {"Osc", kNs / 50}};
    for (const auto& [name, ns] : intervals)
        if (cls == name) return ns;
    return kNs;
}

// The number of the last record: the simulator's recordings are text, one record per line
// ("NAME line 0039: ..."), so the last line tells it. Nothing readable there: the first record.
uint64_t lastRecordIndex(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    if (!in) return 0;
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    const std::streamoff take = std::min<std::streamoff>(size, 4096);
    std::string tail(size_t(take), '\0');
    in.seekg(size - take);
    in.read(tail.data(), take);
    while (!tail.empty() && (tail.back() == '\n' || tail.back() == '\r'))
        tail.pop_back();
    const size_t newline = tail.find_last_of('\n');
    const std::string last = newline == std::string::npos ? tail : tail.substr(newline + 1);
    const size_t at = last.find(" line ");
    if (at == std::string::npos) return 0;
    const size_t colon = last.find(':', at);
    if (colon == std::string::npos) return 0;
    return decimal(last.substr(at + 6, colon - at - 6)).value_or(0);
}

// "duration 0.120 s" in an event file; none given: an event without length.
uint64_t eventDurationNs(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::string line;
    for (int n = 0; n < 64 && std::getline(in, line); ++n) {
        if (line.rfind("duration ", 0) != 0) continue;
        std::istringstream words(line.substr(9));
        std::string value;
        words >> value;
        return secondsAsNs(value).value_or(0);
    }
    return 0;
}

} // namespace

std::optional<uint64_t> InstrumentTree::listedEnd(const std::string& path, const std::string& relName) {
    // Files of the recording format know their own end: the last record, or an event's end.
    time_tz_t tz;
    envMan_usrDat_t env;
    tmStamp_t end;
    if (relName.size() > 4 && relName.compare(relName.size() - 4, 4, ".log") == 0 &&
        ReadOfflineSysEnvHead(path, tz, env, true, end, nullptr))
        return uint64_t(end.sec) + (end.frac ? 1 : 0);
    const std::vector<std::string> folders = splitOn(relName, '/');
    if (folders.empty()) return std::nullopt;
    std::string stem = folders.back();
    const bool event = stem.size() > 4 && stem.compare(stem.size() - 4, 4, ".evt") == 0;
    if (stem.rfind('.') != std::string::npos) stem.erase(stem.rfind('.'));
    const std::vector<std::string> parts = splitOn(stem, '-');
    uint64_t endNs = 0;
    if (event) {
        // NAME-SEC-NSEC
        if (parts.size() < 3) return std::nullopt;
        const auto sec = decimal(parts[parts.size() - 2]), ns = decimal(parts.back());
        if (!sec || !ns || *ns >= kNs) return std::nullopt;
        endNs = *sec * kNs + *ns + eventDurationNs(path);
    } else {
        // sync/CLASS-X-START, async/CLASS-X-START, rec/CLASS-A-B-START
        const size_t startAt = folders.size() > 1 && folders[0] == "rec" ? 3 : 2;
        if (parts.size() <= startAt) return std::nullopt;
        const auto start = decimal(parts[startAt]);
        if (!start) return std::nullopt;
        endNs = *start * kNs + lastRecordIndex(path) * recordIntervalNs(parts[0]);
    }
    // Whole seconds, rounded up: a listed end is never before the real one.
    return (endNs + kNs - 1) / kNs;
}

InstrumentTree::InstrumentTree(std::string root) {
    std::error_code ec;
    fs::path p = fs::absolute(root, ec);
    root_ = p.lexically_normal().string();
    while (root_.size() > 1 && root_.back() == '/')
        root_.pop_back();
}

std::vector<std::string> InstrumentTree::fixtureCandidates(const std::string& binaryDir) {
    std::vector<std::string> dirs;
    if (!binaryDir.empty()) {
        dirs.push_back(binaryDir + "/fixtures/instrument");
        dirs.push_back(binaryDir + "/../share/ferrosim/instrument");
    }
    dirs.push_back(FERROSIM_FIXTURE_DIR);
    return dirs;
}

bool InstrumentTree::prepare(const std::vector<std::string>& fixtureDirs, std::string& error) {
    std::error_code ec;
    fs::create_directories(root_, ec);
    if (!fs::is_directory(root_)) {
        error = "cannot create root " + root_;
        return false;
    }
    if (fs::directory_iterator(root_, ec) != fs::directory_iterator()) return true;
    for (const std::string& dir : fixtureDirs) {
        if (dir.empty() || !fs::is_directory(dir)) continue;
        fs::copy(dir, root_, fs::copy_options::recursive, ec);
        if (ec) {
            error = "cannot fill root from " + dir + ": " + ec.message();
            return false;
        }
        return true;
    }
    error = "root is empty and no fixture folder was found";
    return false;
}

void InstrumentTree::packScratchpadXml() const {
    std::error_code ec;
    std::vector<fs::path> sources;
    for (auto it = fs::recursive_directory_iterator(scratchpadDir(), ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec))
        if (it->is_regular_file(ec) && it->path().extension() == ".xml") sources.push_back(it->path());
    for (const fs::path& xml : sources) {
        fs::path gz = xml;
        gz.replace_extension(".gz");
        if (fs::exists(gz, ec) && fs::last_write_time(gz, ec) >= fs::last_write_time(xml, ec)) continue;
        std::vector<uint8_t> plain;
        if (readFile(xml.string(), plain, 64u << 20)) writeFile(gz.string(), Compression::gzip(plain));
    }
}

std::string InstrumentTree::profilePath() const {
    return root_ + "/profile.json";
}
std::string InstrumentTree::setupDir() const {
    return root_ + "/flashdrive0/data/setup";
}
std::string InstrumentTree::setupFile() const {
    return setupDir() + "/setup.xml";
}
std::string InstrumentTree::scratchpadDir() const {
    return root_ + "/flashdrive0/data/ccci/scratchpad";
}
std::string InstrumentTree::recDir() const {
    return root_ + "/flashdrive0/data/rec";
}
std::string InstrumentTree::evtDir() const {
    return root_ + "/flashdrive0/data/evt";
}
std::string InstrumentTree::logFile() const {
    return root_ + "/flashdrive0/data/logd.log";
}

bool InstrumentTree::insideRoot(const std::string& path) const {
    std::error_code ec;
    fs::path real = fs::weakly_canonical(path, ec);
    if (ec) return false;
    // The root never moves: resolve its real path once, not on every request.
    if (realRoot_.empty()) {
        fs::path realRoot = fs::weakly_canonical(root_, ec);
        if (ec) return false;
        realRoot_ = realRoot.string();
    }
    const std::string p = real.string();
    auto within = [&p](const std::string& dir) {
        return p == dir ||
               (p.size() > dir.size() && p.compare(0, dir.size(), dir) == 0 && p[dir.size()] == '/');
    };
    // The simulator's own files in the root (SSH keys, the profile with its passwords) are no
    // instrument files.
    if (within(realRoot_ + "/ssh") || p == realRoot_ + "/profile.json") return false;
    return within(realRoot_);
}

std::optional<std::string> InstrumentTree::resolve(const std::string& baseDir,
                                                   const std::string& name) const {
    if (name.empty() || name.size() > 1024) return std::nullopt;
    if (name[0] == '/' || name.find('\\') != std::string::npos || name.find(':') != std::string::npos ||
        name.find('\0') != std::string::npos)
        return std::nullopt;
    std::vector<std::string> parts = splitPath(name);
    if (parts.empty()) return std::nullopt;
    for (const std::string& part : parts)
        if (part == ".." || part == ".") return std::nullopt;
    std::string out = baseDir;
    for (const std::string& part : parts)
        out += "/" + part;
    if (!insideRoot(out)) return std::nullopt;
    return out;
}

std::optional<std::string> InstrumentTree::resolveInstrumentPath(const std::string& path,
                                                                 const std::string& cwd) const {
    if (path.size() > 1024 || path.find('\0') != std::string::npos || path.find('\\') != std::string::npos)
        return std::nullopt;
    std::vector<std::string> parts;
    if (path.rfind("~", 0) == 0) {
        parts = splitPath(instrumentPathOf(scratchpadDir()));
        for (const std::string& p : splitPath(path.substr(1)))
            parts.push_back(p);
    } else if (!path.empty() && path[0] == '/') {
        parts = splitPath(path);
    } else {
        parts = splitPath(cwd);
        for (const std::string& p : splitPath(path))
            parts.push_back(p);
    }
    // The instrument's file systems hang below /mnt; the root folder stands for it.
    if (!parts.empty() && parts[0] == "mnt") parts.erase(parts.begin());
    std::vector<std::string> clean;
    for (const std::string& p : parts) {
        if (p == ".") continue;
        if (p == "..") {
            if (clean.empty()) return std::nullopt;
            clean.pop_back();
            continue;
        }
        clean.push_back(p);
    }
    std::string out = root_;
    for (const std::string& p : clean)
        out += "/" + p;
    if (!insideRoot(out)) return std::nullopt;
    return out;
}

std::string InstrumentTree::ftpStageDir() const {
    return root_ + "/ramdrive0/ccci";
}

std::string InstrumentTree::ftpPathOf(const std::string& hostPath) const {
    if (hostPath.compare(0, root_.size(), root_) != 0) return std::string();
    std::string rest = hostPath.substr(root_.size());
    while (!rest.empty() && rest.front() == '/')
        rest.erase(0, 1);
    return rest;
}

std::string InstrumentTree::instrumentPathOf(const std::string& hostPath) const {
    if (hostPath.compare(0, root_.size(), root_) != 0) return "/mnt";
    std::string rest = hostPath.substr(root_.size());
    return "/mnt" + rest;
}

std::string InstrumentTree::listing(const std::string& dir) const {
    std::vector<std::string> lines;
    std::error_code ec;
    if (!fs::is_directory(dir, ec)) return std::string();
    for (auto it = fs::recursive_directory_iterator(dir, ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec)) {
        if (!it->is_regular_file(ec)) continue;
        std::string rel = fs::relative(it->path(), dir, ec).generic_string();
        std::ostringstream line;
        // A file whose name tells no time ends when it was last written.
        line << rel << ';' << listedEnd(it->path().string(), rel).value_or(modifiedUnix(it->path())) << ';'
             << it->file_size(ec);
        lines.push_back(line.str());
    }
    std::sort(lines.begin(), lines.end());
    std::string out;
    for (const std::string& l : lines)
        out += l + "\r\n";
    return out;
}

bool InstrumentTree::readFile(const std::string& path, std::vector<uint8_t>& out, uint64_t maxBytes) {
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) return false;
    uint64_t size = fs::file_size(path, ec);
    if (ec || size > maxBytes) return false;
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    out.resize(size_t(size));
    in.read(reinterpret_cast<char*>(out.data()), std::streamsize(size));
    return bool(in) || size == 0;
}

bool InstrumentTree::writeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::error_code ec;
    fs::create_directories(fs::path(path).parent_path(), ec);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    return bool(out);
}

} // namespace ferro::sim
