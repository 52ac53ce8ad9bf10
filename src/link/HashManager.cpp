#include "link/HashManager.h"

#include "foundation/Format.h"

#include <filesystem>
#include <fstream>

namespace ferro {

std::string THashManager::key(const std::string& Host, int Port) {
    return Fmt("%s:%d", Host.c_str(), Port);
}

void THashManager::SetHashStore(const std::string& FileName) {
    FHashStoreFile = FileName;
    FEntries.clear();
    if (FileName.empty()) return;
    std::ifstream in(FileName);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        size_t eq = line.find('=');
        if (eq == std::string::npos) continue;
        FEntries.emplace_back(line.substr(0, eq), line.substr(eq + 1));
    }
}

std::string THashManager::GetFingerprint(const std::string& Host, int Port) const {
    const std::string k = key(Host, Port);
    for (const auto& e : FEntries)
        if (e.first == k) return e.second;
    return std::string();
}

void THashManager::StoreFingerprint(const std::string& Host, int Port, const std::string& Fingerprint) {
    const std::string k = key(Host, Port);
    for (auto& e : FEntries)
        if (e.first == k) {
            e.second = Fingerprint;
            SaveHashStore();
            return;
        }
    FEntries.emplace_back(k, Fingerprint);
    SaveHashStore();
}

bool THashManager::RemoveFingerprint(const std::string& Host, int Port, const std::string& Fingerprint) {
    const std::string k = key(Host, Port);
    for (auto it = FEntries.begin(); it != FEntries.end(); ++it)
        if (it->first == k && CompareFingerprints(it->second, Fingerprint)) {
            FEntries.erase(it);
            SaveHashStore();
            return true;
        }
    return false;
}

bool THashManager::SaveHashStore() const {
    if (FHashStoreFile.empty()) return false;
    std::error_code ec;
    std::filesystem::path p(FHashStoreFile);
    if (p.has_parent_path()) std::filesystem::create_directories(p.parent_path(), ec);
    std::ofstream out(FHashStoreFile, std::ios::trunc);
    for (const auto& e : FEntries)
        out << Fmt("%s=%s", e.first.c_str(), e.second.c_str()) << "\n";
    return bool(out);
}

bool THashManager::CompareFingerprints(const std::string& A, const std::string& B) {
    return EqualsNoCase(A, B);
}

namespace {
std::vector<std::string> parts(const std::string& s) {
    std::vector<std::string> out;
    size_t from = 0;
    for (;;) {
        size_t c = s.find(':', from);
        out.push_back(s.substr(from, c == std::string::npos ? std::string::npos : c - from));
        if (c == std::string::npos) break;
        from = c + 1;
    }
    return out;
}

long hexPart(const std::string& p, long bad) {
    if (p.empty() || p.size() > 8) return bad;
    char* end = nullptr;
    long v = std::strtol(p.c_str(), &end, 16);
    return *end ? bad : v;
}
} // namespace

bool compareHash(const std::string& A, const std::string& B) {
    std::vector<std::string> a = parts(A), b = parts(B);
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (hexPart(a[i], 32767) != hexPart(b[i], -32768)) return false;
    return true;
}

} // namespace ferro
