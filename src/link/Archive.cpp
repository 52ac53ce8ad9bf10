#include "link/Archive.h"

#include "foundation/Format.h"

#include <archive.h>
#include <archive_entry.h>
#include <zlib.h>

#include <filesystem>
#include <fstream>
#include <memory>

namespace ferro {

namespace fs = std::filesystem;

bool ZipFile(const MemStream& Source, MemStream& Target) {
    z_stream z{};
    // windowBits 15 + 16: a gzip wrapper, so that the instrument's gunzip reads it.
    if (deflateInit2(&z, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return false;
    std::vector<uint8_t> out(deflateBound(&z, uLong(Source.size())) + 64);
    z.next_in = const_cast<Bytef*>(Source.data());
    z.avail_in = uInt(Source.size());
    z.next_out = out.data();
    z.avail_out = uInt(out.size());
    int rc = deflate(&z, Z_FINISH);
    out.resize(z.total_out);
    deflateEnd(&z);
    if (rc != Z_STREAM_END) return false;
    Target = MemStream(std::move(out));
    return true;
}

bool UnZipFile(const MemStream& Source, MemStream& Target, std::string* error) {
    z_stream z{};
    // 15 + 32: accept a gzip or a zlib wrapper.
    if (inflateInit2(&z, 15 + 32) != Z_OK) return false;
    std::vector<uint8_t> out;
    out.reserve(Source.size() * 4 + 1024);
    uint8_t chunk[65536];
    z.next_in = const_cast<Bytef*>(Source.data());
    z.avail_in = uInt(Source.size());
    int rc = Z_OK;
    while (rc != Z_STREAM_END) {
        z.next_out = chunk;
        z.avail_out = sizeof chunk;
        rc = inflate(&z, Z_NO_FLUSH);
        if (rc != Z_OK && rc != Z_STREAM_END) {
            if (error) *error = Fmt("gzip: %s", z.msg ? z.msg : "data error");
            inflateEnd(&z);
            return false;
        }
        out.insert(out.end(), chunk, chunk + (sizeof chunk - z.avail_out));
        if (out.size() > CMaxUnpackedSize) {
            if (error) *error = "gzip: unpacked size beyond the limit";
            inflateEnd(&z);
            return false;
        }
        if (rc == Z_OK && z.avail_in == 0 && z.avail_out != 0) {
            if (error) *error = "gzip: data ends early";
            inflateEnd(&z);
            return false;
        }
    }
    inflateEnd(&z);
    Target = MemStream(std::move(out));
    return true;
}

bool ZipFile(const std::string& Source, const std::string& Target) {
    MemStream in, out;
    if (!in.loadFromFile(Source)) return false;
    return ZipFile(in, out) && out.saveToFile(Target);
}

bool UnZipFile(const std::string& Source, const std::string& Target, std::string* error) {
    MemStream in, out;
    if (!in.loadFromFile(Source)) {
        if (error) *error = "cannot read " + Source;
        return false;
    }
    return UnZipFile(in, out, error) && out.saveToFile(Target);
}

bool WriteTarGz(const std::string& target, const std::vector<TTarEntry>& entries, std::string* error) {
    std::unique_ptr<archive, decltype(&archive_write_free)> a(archive_write_new(), archive_write_free);
    archive_write_add_filter_gzip(a.get());
    archive_write_set_format_pax_restricted(a.get());
    if (archive_write_open_filename(a.get(), target.c_str()) != ARCHIVE_OK) {
        if (error) *error = archive_error_string(a.get()) ? archive_error_string(a.get()) : "open failed";
        return false;
    }
    for (const TTarEntry& e : entries) {
        MemStream data;
        if (!data.loadFromFile(e.FilePath)) {
            if (error) *error = "cannot read " + e.FilePath;
            return false;
        }
        std::unique_ptr<archive_entry, decltype(&archive_entry_free)> entry(archive_entry_new(),
                                                                            archive_entry_free);
        archive_entry_set_pathname(entry.get(), e.Name.c_str());
        archive_entry_set_size(entry.get(), la_int64_t(data.size()));
        archive_entry_set_filetype(entry.get(), AE_IFREG);
        archive_entry_set_perm(entry.get(), 0644);
        if (archive_write_header(a.get(), entry.get()) != ARCHIVE_OK ||
            (data.size() && archive_write_data(a.get(), data.data(), data.size()) < 0)) {
            if (error)
                *error = archive_error_string(a.get()) ? archive_error_string(a.get()) : "write failed";
            return false;
        }
    }
    return archive_write_close(a.get()) == ARCHIVE_OK;
}

namespace {
// A name is safe when it is relative and none of its parts climbs out.
bool safeName(const std::string& name) {
    if (name.empty() || name[0] == '/' || name[0] == '\\' || name.find(':') != std::string::npos)
        return false;
    fs::path p(name);
    for (const auto& part : p)
        if (part == "..") return false;
    return true;
}
} // namespace

bool ExtractTar(const MemStream& archiveBytes, const std::string& folder, TUntarResult& result,
                const TArchiveLog& log) {
    auto say = [&](const std::string& s) {
        if (log) log(s);
    };
    std::error_code ec;
    fs::create_directories(folder, ec);
    const fs::path base = fs::weakly_canonical(fs::path(folder), ec);
    std::unique_ptr<archive, decltype(&archive_read_free)> a(archive_read_new(), archive_read_free);
    archive_read_support_filter_gzip(a.get());
    archive_read_support_filter_none(a.get());
    archive_read_support_format_tar(a.get());
    if (archive_read_open_memory(a.get(), archiveBytes.data(), archiveBytes.size()) != ARCHIVE_OK) {
        say(std::string("Untar: ") +
            (archive_error_string(a.get()) ? archive_error_string(a.get()) : "bad archive"));
        return false;
    }
    size_t total = 0;
    archive_entry* entry = nullptr;
    for (;;) {
        int rc = archive_read_next_header(a.get(), &entry);
        if (rc == ARCHIVE_EOF) break;
        if (rc != ARCHIVE_OK && rc != ARCHIVE_WARN) {
            say(std::string("Untar: ") +
                (archive_error_string(a.get()) ? archive_error_string(a.get()) : "broken archive"));
            return false;
        }
        const char* raw = archive_entry_pathname(entry);
        std::string name = raw ? raw : "";
        auto refuse = [&](const char* why) {
            say(Fmt("Untar: entry \"%s\" refused: %s", name.c_str(), why));
            result.Refused.push_back(name + ": " + why);
            archive_read_data_skip(a.get());
        };
        if (archive_entry_filetype(entry) == AE_IFDIR) {
            archive_read_data_skip(a.get());
            continue;
        }
        if (archive_entry_filetype(entry) != AE_IFREG || archive_entry_hardlink(entry) ||
            archive_entry_symlink(entry)) {
            refuse("not a plain file");
            continue;
        }
        if (!safeName(name)) {
            refuse("path leaves the target folder");
            continue;
        }
        fs::path target = base / fs::path(name);
        fs::path canon = fs::weakly_canonical(target, ec);
        auto rel = canon.lexically_relative(base);
        if (rel.empty() || *rel.begin() == "..") {
            refuse("path leaves the target folder");
            continue;
        }
        la_int64_t announced = archive_entry_size(entry);
        if (announced < 0 || size_t(announced) > CMaxUnpackedSize ||
            total + size_t(announced) > CMaxUnpackedSize) {
            refuse("size beyond the limit");
            continue;
        }
        std::vector<uint8_t> data;
        data.reserve(size_t(announced) < (1u << 20) ? size_t(announced) : (1u << 20));
        uint8_t chunk[65536];
        la_ssize_t n;
        bool broken = false;
        while ((n = archive_read_data(a.get(), chunk, sizeof chunk)) > 0) {
            data.insert(data.end(), chunk, chunk + n);
            if (data.size() > size_t(announced)) break;
        }
        if (n < 0) broken = true;
        if (broken || data.size() != size_t(announced)) {
            say(Fmt("Untar: entry \"%s\" refused: size does not match its header", name.c_str()));
            result.Refused.push_back(name + ": size does not match its header");
            continue;
        }
        fs::create_directories(canon.parent_path(), ec);
        MemStream out(std::move(data));
        if (!out.saveToFile(canon.string())) {
            refuse("cannot write");
            continue;
        }
        total += out.size();
        result.Written.push_back(canon.string());
    }
    return true;
}

} // namespace ferro
