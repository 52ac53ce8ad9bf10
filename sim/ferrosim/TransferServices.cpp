#include "ferrosim/TransferServices.h"

#include "ferrosim/Compression.h"
#include "ferrosim/DisplayRenderer.h"
#include "ferrosim/Instrument.h"
#include "ferrosim/SetupCheck.h"
#include "ferrosim/SetupMerge.h"
#include "ferrosim/SetupTime.h"
#include "foundation/Format.h"
#include "foundation/MemStream.h"

#include <QXmlStreamReader>

#include <filesystem>

namespace fs = std::filesystem;

namespace ferro::sim {

namespace {

constexpr uint64_t kMaxFile = 1ull << 30;
constexpr size_t kMaxUnpacked = 64u << 20;

bool nameFrame(const std::vector<uint8_t>& frame, std::string& name, uint32_t& pos) {
    if (frame.size() < frames::CNameFrameSize) return false;
    const char* p = reinterpret_cast<const char*>(frame.data() + CHeadSize);
    name.assign(p, strnlen(p, frames::CNameWidth));
    pos = MemStream::peekU32(frame.data() + CHeadSize + frames::CNameWidth);
    return true;
}

std::string baseName(const std::string& path) {
    size_t p = path.find_last_of("/\\");
    return p == std::string::npos ? path : path.substr(p + 1);
}

bool wellFormedXml(const Bytes& bytes) {
    QXmlStreamReader r(
        QByteArray::fromRawData(reinterpret_cast<const char*>(bytes.data()), int(bytes.size())));
    bool sawElement = false;
    while (!r.atEnd()) {
        if (r.readNext() == QXmlStreamReader::StartElement) sawElement = true;
    }
    return !r.hasError() && sawElement;
}

// An IEC 61850 description as the instrument takes it: an SCL document with its Header and an IED.
bool sclWithIed(const Bytes& bytes) {
    QXmlStreamReader r(
        QByteArray::fromRawData(reinterpret_cast<const char*>(bytes.data()), int(bytes.size())));
    bool root = false, header = false, ied = false;
    int depth = 0;
    while (!r.atEnd()) {
        const auto t = r.readNext();
        if (t == QXmlStreamReader::StartElement) {
            if (depth == 0) root = r.name() == QLatin1String("SCL");
            if (depth == 1 && r.name() == QLatin1String("Header")) header = true;
            if (depth == 1 && r.name() == QLatin1String("IED")) ied = true;
            ++depth;
        } else if (t == QXmlStreamReader::EndElement) {
            --depth;
        }
    }
    return !r.hasError() && root && header && ied;
}

bool isHostKeyName(const std::string& name) {
    return name.find('.') == std::string::npos && (name.find("ecdsa_host_key") != std::string::npos ||
                                                   name.find("rsa_host_key") != std::string::npos);
}

bool endsWith(const std::string& s, const std::string& tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

Answer fromPos(Bytes bytes, uint32_t pos) {
    if (pos > bytes.size()) return Answer::Refuse(CodeBadFrame, "position beyond end of file");
    bytes.erase(bytes.begin(), bytes.begin() + pos);
    return Answer::File(std::move(bytes));
}

Answer pathText(const std::string& path) {
    return Answer::Data(Bytes(path.begin(), path.end()));
}

bool wantsFtp(const ccc_head_t& head) {
    return head.FTPNAK & CFlagFTP;
}

} // namespace

Answer TransferServices::setup(const ccc_head_t& head, const std::vector<uint8_t>& frame) {
    const InstrumentTree& tree = instrument_.tree();
    switch (head.ExtCmd) {
    case 0:
        return setupRead(head, tree.setupDir() + "/setup-listing.xml", 0);
    case 1:
        return setupRead(head, tree.setupFile(), 0);
    case 2: {
        std::string name;
        uint32_t pos = 0;
        if (!nameFrame(frame, name, pos)) return Answer::Refuse(CodeBadFrame, "name frame too short");
        // The client names the setup by its path in the listing; the last part is the file.
        std::string file = baseName(name);
        if (file.find('.') == std::string::npos) file += ".xml";
        auto path = tree.resolve(tree.setupDir(), file);
        if (!path) return Answer::Refuse(CodeBadName, "bad file name");
        return setupRead(head, *path, pos);
    }
    case 3:
        return setupWrite(head, frame);
    default:
        return Answer::Refuse(CodeUnknownCommand, "unknown setup command");
    }
}

Answer TransferServices::setupRead(const ccc_head_t& head, const std::string& file, uint32_t pos) {
    Bytes xml;
    if (!InstrumentTree::readFile(file, xml, kMaxFile))
        return Answer::Refuse(CodeNotFound, "setup not found");
    Bytes out;
    if (head.FTPNAK & CFlagTGZ) {
        std::vector<ArchiveEntry> entries{{"setup.xml", xml}};
        std::error_code ec;
        for (const auto& e : fs::directory_iterator(instrument_.tree().setupDir(), ec)) {
            std::string name = e.path().filename().string();
            if (!e.is_regular_file() || !(endsWith(name, ".icd") || isHostKeyName(name))) continue;
            Bytes data;
            if (InstrumentTree::readFile(e.path().string(), data, kMaxFile)) entries.push_back({name, data});
        }
        out = Compression::tarGz(entries);
    } else if (head.FTPNAK & CFlagGZ) {
        out = Compression::gzip(xml);
    } else {
        out = std::move(xml);
    }
    if (wantsFtp(head)) {
        std::string name = fs::path(file).filename().string();
        if (head.FTPNAK & CFlagTGZ)
            name = fs::path(name).stem().string() + ".tgz";
        else if (head.FTPNAK & CFlagGZ)
            name += ".gz";
        return staged(name, out);
    }
    return fromPos(std::move(out), pos);
}

Answer TransferServices::staged(const std::string& name, const Bytes& content) {
    const InstrumentTree& tree = instrument_.tree();
    const std::string path = tree.ftpStageDir() + "/" + name;
    if (!InstrumentTree::writeFile(path, content)) return Answer::Refuse(CodeWriteFailed, "staging failed");
    return pathText(tree.ftpPathOf(path));
}

Answer TransferServices::setupWrite(const ccc_head_t& head, const std::vector<uint8_t>& frame) {
    if (head.Priv < 1) return Answer::Refuse(CodeNoAccess, "setup write needs privilege 1");
    if (!wantsFtp(head)) return applySetup(head, Bytes(frame.begin() + CHeadSize, frame.end()));
    // Over FTP the file was uploaded into the staging folder first; the frame names it.
    std::string name;
    uint32_t pos = 0;
    if (!nameFrame(frame, name, pos)) return Answer::Refuse(CodeBadFrame, "name frame too short");
    const InstrumentTree& tree = instrument_.tree();
    auto path = tree.resolve(tree.ftpStageDir(), baseName(name));
    if (!path) return Answer::Refuse(CodeBadName, "bad file name");
    Bytes payload;
    if (!InstrumentTree::readFile(*path, payload, kMaxFile))
        return Answer::Refuse(CodeNotFound, "file not found");
    return applySetup(head, std::move(payload));
}

Answer TransferServices::applySetup(const ccc_head_t& head, Bytes payload) {
    Bytes xml;
    std::vector<ArchiveEntry> companions;
    if (head.FTPNAK & CFlagTGZ) {
        std::vector<ArchiveEntry> entries;
        if (!Compression::untarGz(payload, entries, kMaxUnpacked))
            return Answer::Refuse(CodeBadContent, "archive damaged");
        for (ArchiveEntry& e : entries) {
            std::string name = baseName(e.name);
            if (endsWith(name, ".xml") && xml.empty())
                xml = std::move(e.data);
            else if (endsWith(name, ".icd") || isHostKeyName(name))
                companions.push_back({name, std::move(e.data)});
        }
    } else if (Compression::looksGzip(payload)) {
        if (!Compression::gunzip(payload, xml, kMaxUnpacked))
            return Answer::Refuse(CodeBadContent, "gzip damaged");
    } else {
        xml = std::move(payload);
    }
    if (!wellFormedXml(xml)) return Answer::Refuse(CodeBadContent, "setup is not well-formed XML");
    for (const ArchiveEntry& c : companions)
        if (endsWith(c.name, ".icd") && !sclWithIed(c.data)) {
            instrument_.log("setup refused: " + c.name + " is no SCL file with an IED");
            return Answer::Refuse(CodeBadContent, c.name + " is no SCL file with an IED");
        }
    // A real instrument keeps its old setup rather than take a value it cannot run with.
    if (std::string reason; !SetupWithinLimits(xml, reason)) {
        instrument_.log("setup refused: " + reason);
        return Answer::Refuse(CodeBadContent, reason);
    }
    const InstrumentTree& tree = instrument_.tree();
    // The modules the client left out stay as the instrument has them.
    if (Bytes stored; InstrumentTree::readFile(tree.setupFile(), stored, kMaxFile)) {
        std::vector<std::string> kept;
        xml = KeepMissingModules(stored, xml, kept);
        for (const std::string& id : kept)
            instrument_.log("setup: module " + id + " not sent, kept");
    }
    if (!InstrumentTree::writeFile(tree.setupFile(), xml))
        return Answer::Refuse(CodeWriteFailed, "write failed");
    for (const ArchiveEntry& c : companions) {
        auto path = tree.resolve(tree.setupDir(), c.name);
        if (!path || !InstrumentTree::writeFile(*path, c.data)) continue;
        if (!endsWith(c.name, ".icd")) continue;
        // The server runs one model: a new ICD file replaces the one before, whatever its name.
        std::error_code ec;
        for (const auto& e : fs::directory_iterator(tree.setupDir(), ec)) {
            const std::string name = e.path().filename().string();
            if (e.is_regular_file() && endsWith(name, ".icd") && name != c.name) fs::remove(e.path(), ec);
        }
        instrument_.log("setup: ICD file " + c.name + " stored, " + std::to_string(c.data.size()) + " bytes");
    }
    instrument_.log("setup written, " + std::to_string(xml.size()) + " bytes");
    // The clock runs by the zone of the setup from now on; the identity reports it.
    time_set_t& ts = instrument_.profile().timeSet;
    if (ApplySetupTime(xml, ts))
        instrument_.log(Fmt("setup: time zone %+d min, daylight saving %u", ts.tz.offsetSeconds() / 60, ts.dstmode));
    return Answer::Ack();
}

Answer TransferServices::scratchpad(const ccc_head_t& head, const std::vector<uint8_t>& frame) {
    const InstrumentTree& tree = instrument_.tree();
    switch (head.ExtCmd) {
    case 1:
        return readFile(tree.scratchpadDir(), frame, false);
    case 2: {
        if (frame.size() < frames::CScratchHeadSize)
            return Answer::Refuse(CodeBadFrame, "write frame too short");
        const char* p = reinterpret_cast<const char*>(frame.data() + CHeadSize);
        std::string name(p, strnlen(p, frames::CScratchNameWidth));
        auto path = tree.resolve(tree.scratchpadDir(), name);
        if (!path) return Answer::Refuse(CodeBadName, "bad file name");
        Bytes body(frame.begin() + frames::CScratchHeadSize, frame.end());
        // The damaged-upload fault: the file lands with one byte changed, as after a bad transfer.
        if (instrument_.faults().flipUpload() && !body.empty()) body[body.size() / 2] ^= 0x5a;
        if (!InstrumentTree::writeFile(*path, body)) return Answer::Refuse(CodeWriteFailed, "write failed");
        instrument_.log("scratchpad: " + name + " written, " + std::to_string(body.size()) + " bytes");
        return Answer::Ack();
    }
    case 3:
        return removeFile(tree.scratchpadDir(), frame);
    default:
        return Answer::Refuse(CodeUnknownCommand, "unknown scratchpad command");
    }
}

Answer TransferServices::readout(const ccc_head_t& head, const std::vector<uint8_t>& frame) {
    const InstrumentTree& tree = instrument_.tree();
    const std::string dir = head.ExtCmd >= 0x10 ? tree.evtDir() : tree.recDir();
    switch (head.ExtCmd) {
    case 0x00:
    case 0x10: {
        std::string text = tree.listing(dir);
        Bytes bytes(text.begin(), text.end());
        if (wantsFtp(head)) return staged(head.ExtCmd ? "evt-listing.txt" : "rec-listing.txt", bytes);
        return Answer::Data(std::move(bytes));
    }
    case 0x01:
    case 0x11:
        return readFile(dir, frame, wantsFtp(head));
    case 0x02:
    case 0x12:
        return removeFile(dir, frame);
    case 0x03:
    case 0x13:
        return removeAll(dir);
    case 0x21:
        if (wantsFtp(head)) return staged("display.png", DisplayRenderer(instrument_).png());
        return Answer::Data(DisplayRenderer(instrument_).png());
    case 0x22: {
        if (wantsFtp(head)) return pathText(tree.ftpPathOf(tree.logFile()));
        return Answer::FileFrom(tree.logFile(), 0);
    }
    default:
        return Answer::Refuse(CodeUnknownCommand, "unknown readout command");
    }
}

std::optional<Answer> TransferServices::namedFile(const std::string& dir, const std::vector<uint8_t>& frame,
                                                  NamedFile& out) const {
    if (!nameFrame(frame, out.name, out.pos)) return Answer::Refuse(CodeBadFrame, "name frame too short");
    auto path = instrument_.tree().resolve(dir, out.name);
    if (!path) return Answer::Refuse(CodeBadName, "bad file name");
    std::error_code ec;
    if (!fs::is_regular_file(*path, ec)) return Answer::Refuse(CodeNotFound, "file not found");
    out.path = *path;
    return std::nullopt;
}

Answer TransferServices::readFile(const std::string& dir, const std::vector<uint8_t>& frame, bool viaFtp) {
    NamedFile f;
    if (auto refused = namedFile(dir, frame, f)) return *refused;
    if (viaFtp) return pathText(instrument_.tree().ftpPathOf(f.path));
    std::error_code ec;
    const uint64_t size = fs::file_size(f.path, ec);
    if (ec || size > kMaxFile) return Answer::Refuse(CodeNotFound, "file not found");
    if (f.pos > size) return Answer::Refuse(CodeBadFrame, "position beyond end of file");
    return Answer::FileFrom(f.path, f.pos);
}

Answer TransferServices::removeFile(const std::string& dir, const std::vector<uint8_t>& frame) {
    NamedFile f;
    if (auto refused = namedFile(dir, frame, f)) return *refused;
    std::error_code ec;
    if (!fs::remove(f.path, ec)) return Answer::Refuse(CodeNotFound, "file not found");
    instrument_.log("removed " + f.name);
    return Answer::Ack();
}

Answer TransferServices::removeAll(const std::string& dir) {
    std::error_code ec;
    std::vector<fs::path> files;
    for (auto it = fs::recursive_directory_iterator(dir, ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec))
        if (it->is_regular_file(ec)) files.push_back(it->path());
    for (const fs::path& f : files)
        fs::remove(f, ec);
    instrument_.log("removed all files below " + instrument_.tree().instrumentPathOf(dir));
    return Answer::Ack();
}

} // namespace ferro::sim
