#include "ferrosim/Compression.h"

#include <archive.h>
#include <archive_entry.h>
#include <zlib.h>

#include <ctime>
#include <memory>

namespace ferro::sim {

Bytes Compression::gzip(const Bytes& plain) {
    z_stream zs{};
    // 16 + 15 window bits asks zlib for the gzip wrapper.
    if (deflateInit2(&zs, Z_BEST_COMPRESSION, Z_DEFLATED, 16 + 15, 8, Z_DEFAULT_STRATEGY) != Z_OK) return {};
    Bytes out(deflateBound(&zs, uLong(plain.size())) + 32);
    zs.next_in = const_cast<Bytef*>(plain.data());
    zs.avail_in = uInt(plain.size());
    zs.next_out = out.data();
    zs.avail_out = uInt(out.size());
    int rc = deflate(&zs, Z_FINISH);
    out.resize(zs.total_out);
    deflateEnd(&zs);
    return rc == Z_STREAM_END ? out : Bytes();
}

bool Compression::gunzip(const Bytes& packed, Bytes& out, size_t maxOut) {
    out.clear();
    z_stream zs{};
    if (inflateInit2(&zs, 16 + 15) != Z_OK) return false;
    zs.next_in = const_cast<Bytef*>(packed.data());
    zs.avail_in = uInt(packed.size());
    uint8_t chunk[65536];
    int rc = Z_OK;
    while (rc != Z_STREAM_END) {
        zs.next_out = chunk;
        zs.avail_out = sizeof(chunk);
        rc = inflate(&zs, Z_NO_FLUSH);
        if (rc != Z_OK && rc != Z_STREAM_END) break;
        size_t got = sizeof(chunk) - zs.avail_out;
        if (out.size() + got > maxOut) {
            rc = Z_MEM_ERROR;
            break;
        }
        out.insert(out.end(), chunk, chunk + got);
        if (rc == Z_OK && got == 0 && zs.avail_in == 0) break; // truncated input
    }
    inflateEnd(&zs);
    return rc == Z_STREAM_END;
}

namespace {

struct ArchiveWriteFree {
    void operator()(archive* a) const { archive_write_free(a); }
};
struct ArchiveReadFree {
    void operator()(archive* a) const { archive_read_free(a); }
};
struct EntryFree {
    void operator()(archive_entry* e) const { archive_entry_free(e); }
};

la_ssize_t appendBytes(archive*, void* client, const void* buf, size_t len) {
    auto* out = static_cast<Bytes*>(client);
    const auto* p = static_cast<const uint8_t*>(buf);
    out->insert(out->end(), p, p + len);
    return la_ssize_t(len);
}

} // namespace

Bytes Compression::tarGz(const std::vector<ArchiveEntry>& entries) {
    Bytes out;
    std::unique_ptr<archive, ArchiveWriteFree> a(archive_write_new());
    archive_write_set_format_ustar(a.get());
    archive_write_add_filter_gzip(a.get());
    if (archive_write_open(a.get(), &out, nullptr, appendBytes, nullptr) != ARCHIVE_OK) return {};
    for (const ArchiveEntry& e : entries) {
        std::unique_ptr<archive_entry, EntryFree> entry(archive_entry_new());
        archive_entry_set_pathname(entry.get(), e.name.c_str());
        archive_entry_set_size(entry.get(), la_int64_t(e.data.size()));
        archive_entry_set_filetype(entry.get(), AE_IFREG);
        archive_entry_set_perm(entry.get(), 0644);
        archive_entry_set_mtime(entry.get(), std::time(nullptr), 0);
        if (archive_write_header(a.get(), entry.get()) != ARCHIVE_OK) return {};
        if (!e.data.empty() && archive_write_data(a.get(), e.data.data(), e.data.size()) < 0) return {};
    }
    archive_write_close(a.get());
    return out;
}

bool Compression::untarGz(const Bytes& packed, std::vector<ArchiveEntry>& out, size_t maxTotal) {
    out.clear();
    std::unique_ptr<archive, ArchiveReadFree> a(archive_read_new());
    archive_read_support_filter_gzip(a.get());
    archive_read_support_format_tar(a.get());
    if (archive_read_open_memory(a.get(), packed.data(), packed.size()) != ARCHIVE_OK) return false;
    size_t total = 0;
    archive_entry* entry = nullptr;
    int rc;
    while ((rc = archive_read_next_header(a.get(), &entry)) == ARCHIVE_OK) {
        if (archive_entry_filetype(entry) != AE_IFREG) continue;
        ArchiveEntry e;
        const char* name = archive_entry_pathname(entry);
        e.name = name ? name : "";
        uint8_t buf[65536];
        la_ssize_t n;
        while ((n = archive_read_data(a.get(), buf, sizeof(buf))) > 0) {
            total += size_t(n);
            if (total > maxTotal) return false;
            e.data.insert(e.data.end(), buf, buf + n);
        }
        if (n < 0) return false;
        out.push_back(std::move(e));
    }
    return rc == ARCHIVE_EOF;
}

} // namespace ferro::sim
