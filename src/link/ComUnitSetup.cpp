// Setup transfer, scratchpad files and the check of the instrument's XML versions.
#include "link/Archive.h"
#include "link/ComUnit.h"
#include "link/Messages.h"
#include "link/XmlNames.h"

#include "foundation/Format.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace ferro {

namespace fs = std::filesystem;

namespace {
std::string sep() {
    return std::string(1, char(fs::path::preferred_separator));
}
} // namespace

std::string TComUnit::SetupExtension() const {
    return FTGZ ? ".tgz" : (FGZ ? ".gz" : ".xml");
}

void TComUnit::ReportUnpackFailure(const std::string& file, const std::string& why) {
    WriteLog("UnZip failed: " + file + " " + why, true);
    if (FDisplayConnMessage)
        FDisplayConnMessage(Fmt(_SEntpackenFehler, file.c_str()), mtError, nullptr, Buttons({mbOK}), mbOK);
}

void TComUnit::SetupCommand(MemStream& Stream) {
    WriteLog(Fmt("Setup=%d", FHead.ExtCmd));
    const size_t end = FHead.Size;
    if (FHead.ExtCmd == 3) {
        FRequestClose = nullptr;
        if (FSendParaDone) FSendParaDone(this);
        Stream.setPosition(end);
        return;
    }
    if (FHead.ExtCmd > 2) {
        Stream.setPosition(end);
        return;
    }
    static const char* suffix[] = {"_Setup_LS", "_Setup_RD_ALL", "_SetupRDOne"};
    std::string local = Fmt("%s%s%s", FTmpDir.c_str(), (std::to_string(FSN) + suffix[FHead.ExtCmd]).c_str(),
                            SetupExtension().c_str());
    Stream.setPosition(CHeadSize);
    if (FFTP) {
        std::string remote = Stream.readText(end - CHeadSize);
        Stream.setPosition(end);
        if (!GetFTPFile(remote, local)) {
            FReplyError = "FTP: " + remote;
            return;
        }
    } else {
        MemStream file(Stream.data() + CHeadSize, end - CHeadSize);
        Stream.setPosition(end);
        if (!file.saveToFile(local)) {
            WriteLog("Cannot write " + local, true);
            FReplyError = "Die Datei " + local + " kann nicht geschrieben werden.";
            return;
        }
        WriteLog(Fmt("SaveToFile=%s", local.c_str()));
    }
    if (FTGZ) {
        MemStream archive;
        archive.loadFromFile(local);
        std::string folder = FTmpDir + std::to_string(FSN) + sep();
        std::string setup, icd, ecdsa, rsa;
        if (!UnTarFile(archive, folder, setup, icd, ecdsa, rsa)) {
            ReportUnpackFailure(local, "(tar)");
            FReplyError = Fmt(_SEntpackenFehler, local.c_str());
            return;
        }
        FICDFile = icd;
        FECDSAKeyFile = ecdsa;
        FRSAKeyFile = rsa;
        if (!setup.empty()) local = setup;
    } else if (FGZ) {
        std::string xml = ChangeFileExt(local, ".xml");
        std::string why;
        if (!UnZipFile(local, xml, &why)) {
            ReportUnpackFailure(local, why);
            FReplyError = Fmt(_SEntpackenFehler, local.c_str());
            return;
        }
        local = xml;
    }
    FReplyFile = local;
    if (FOnNewXMLFile) FOnNewXMLFile(this, local, FHead.ExtCmd == 0 ? 0 : 1);
}

bool TComUnit::UnTarFile(const MemStream& Stream, const std::string& Folder, std::string& Setup,
                         std::string& ICD, std::string& ECDSAKey, std::string& RSAKey) {
    Setup.clear();
    ICD.clear();
    ECDSAKey.clear();
    RSAKey.clear();
    TUntarResult r;
    if (!ExtractTar(Stream, Folder, r, [this](const std::string& s) { WriteLog(s, true); })) return false;
    for (const std::string& path : r.Written) {
        std::string ext = ToLower(ExtractFileExt(path));
        std::string name = ExtractFileName(path);
        if (ext == ".icd")
            ICD = path;
        else if (ext == ".xml")
            Setup = path;
        else if (ext.empty() && name.find("ecdsa_host_key") != std::string::npos)
            ECDSAKey = path;
        else if (ext.empty() && name.find("rsa_host_key") != std::string::npos)
            RSAKey = path;
    }
    return true;
}

std::string TComUnit::TarFile(const std::string& File) {
    std::vector<TTarEntry> entries = {{"setup.xml", File}};
    for (const std::string* extra : {&FICDFile, &FECDSAKeyFile, &FRSAKeyFile})
        if (!extra->empty() && fs::exists(*extra)) entries.push_back({ExtractFileName(*extra), *extra});
    std::string target = ChangeFileExt(File, ".tgz");
    std::string why;
    if (!WriteTarGz(target, entries, &why)) {
        WriteLog("Tar failed: " + why, true);
        return std::string();
    }
    return target;
}

std::string TComUnit::PrepareSetupUpload(const std::string& File, bool Tar) {
    if (FTGZ || Tar) return TarFile(File);
    if (FGZ) {
        if (EqualsNoCase(ExtractFileExt(File), ".gz")) return File;
        WriteLog("Before Zip");
        std::string gz = ChangeFileExt(File, ".gz");
        if (!ZipFile(File, gz)) {
            WriteLog("Zip failed: " + File, true);
            return std::string();
        }
        WriteLog("After Zip " + gz);
        return gz;
    }
    return File;
}

// ---------------------------------------------------------------- scratchpad

void TComUnit::ScratchPadCommand(MemStream& Stream) {
    const size_t end = FHead.Size;
    MemStream payload(Stream.data() + CHeadSize, end - CHeadSize);
    Stream.setPosition(end);
    switch (FHead.ExtCmd) {
    case 0:
        // A device that sends this is out of step; a line in the log is the only sign.
        WriteLog("\aScratchpad out of step", true);
        break;
    case 1: {
        // The reply answers the oldest read still waiting; the name of the read sent last may
        // already be another file's.
        const TPendingReply* read = WaitingScratchRead();
        if (!read) {
            WriteLog("Scratchpad reply without a read, dropped", true);
            break;
        }
        switch (read->Scratch) {
        case spNone: {
            // A plain request for a file: it goes into the temporary folder under its own name.
            const std::string name = LocalFileName(read->Name);
            if (name.empty()) break;
            std::string path = FTmpDir + name;
            if (payload.saveToFile(path))
                FReplyFile = path;
            else
                FReplyError = "Die Datei " + path + " kann nicht geschrieben werden.";
            break;
        }
        case spFlushLog:
            break;
        case spLangTXT:
            CheckXMLVersion(std::string(payload.bytes().begin(), payload.bytes().end()));
            break;
        case spXML:
            ScratchpadXmlArrived(payload);
            break;
        case spGetLog: {
            std::string path = FTmpDir + "Dlog.log";
            payload.saveToFile(path);
            if (FOpenWithViewer) FOpenWithViewer(path);
            break;
        }
        case spStatus: {
            std::string path = FTmpDir + std::to_string(FSN) + "_status.txt";
            payload.saveToFile(path);
            FReplyFile = path;
            break;
        }
        case spPCAP: {
            if (FScratchpadFleLst.empty()) break;
            std::string name = FScratchpadFleLst.front();
            FScratchpadFleLst.erase(FScratchpadFleLst.begin());
            std::string path = FTmpDir + ExtractFileName(name);
            payload.saveToFile(path);
            FReplyFile = path;
            // The capture is removed from the instrument once it is here.
            SendCommand("CCC_SCRATCH_PAD_RM", CmdScratchPad, 0, 3, name, false);
            break;
        }
        }
        break;
    }
    case 2:
        if (FSendCCCIFileNext) FSendCCCIFileNext(this, FNAK);
        break;
    default:
        break;
    }
}

void TComUnit::ScratchpadXmlArrived(const MemStream& payload) {
    if (FScratchpadFleLst.empty()) return;
    std::string entry = FScratchpadFleLst.front();
    std::string name = ChangeFileExt(ExtractFileName(entry), ".XML");
    bool isLanguage = false;
    for (const char* lang : CLanguXML)
        if (EqualsNoCase(name, lang)) isLanguage = true;
    MemStream xml;
    std::string why;
    std::string path = FIniFolder + name;
    if (!UnZipFile(payload, xml, &why)) {
        ReportUnpackFailure(entry, why);
    } else if (!xml.saveToFile(path)) {
        WriteLog("Cannot write " + path, true);
    } else if (isLanguage && FOnNewXMLFile) {
        FOnNewXMLFile(this, path, 2);
    }
    FScratchpadFleLst.erase(FScratchpadFleLst.begin());
    if (!FScratchpadFleLst.empty())
        GetNewXMLFilesFromScratchpad();
    else if (FOnConnDone)
        FOnConnDone(this, true);
}

// ---------------------------------------------------------------- XML versions

void TComUnit::CheckFileVersions() {
    if (!FFTP) {
        FCCCISratchpad = spLangTXT;
        SendCommand("CCC_SCRATCH_PAD_RD", CmdScratchPad, 0, 1, "xml-versions.txt", false);
        return;
    }
    MemStream list;
    if (!GetFTPFile("flashdrive0/data/ccci/scratchpad/xml-versions.txt", list)) return;
    CheckXMLVersion(std::string(list.bytes().begin(), list.bytes().end()));
}

void TComUnit::ReadXMLVersion(const std::string& Text, int& ObjPropsVer, int& StrucVer, int& LangVer) const {
    ObjPropsVer = StrucVer = LangVer = 0;
    const std::string objName = ChangeFileExt(CObjPropsXML, ".gz");
    const std::string strucName = ChangeFileExt(CStructXML, ".gz");
    const std::string langName = LanguageGzName();
    std::istringstream in(Text);
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream words(line);
        std::string first, file, version;
        if (!(words >> first >> file)) continue;
        words >> version;
        char* endp = nullptr;
        long v = std::strtol(version.c_str(), &endp, 10);
        int ver = (version.empty() || *endp || v < 0 || v > 0x7FFFFFFF) ? 0 : int(v);
        if (EqualsNoCase(file, objName)) ObjPropsVer = ver;
        if (EqualsNoCase(file, strucName)) StrucVer = ver;
        if (EqualsNoCase(file, langName)) LangVer = ver;
    }
}

std::string TComUnit::LanguageGzName() const {
    return "lang/" + ChangeFileExt(CLanguXML[FXMLLang < CLanguXML.size() ? FXMLLang : 0], ".gz");
}

void TComUnit::CheckXMLVersion(const std::string& Text) {
    int obj = 0, struc = 0, lang = 0;
    ReadXMLVersion(Text, obj, struc, lang);
    auto consider = [this](int& local, int remote, const std::string& file) {
        // With no local file there is nothing to update: version 0 never asks.
        if (local != 0 && local < remote) {
            FScratchpadFleLst.push_back(file);
            WriteLog(Fmt("ComUnit: New Version %d for %s", remote, file.c_str()));
            local = remote;
        }
    };
    consider(FObjPropsVer, obj, ChangeFileExt(CObjPropsXML, ".gz"));
    consider(FstrucVer, struc, ChangeFileExt(CStructXML, ".gz"));
    consider(FLangVer, lang, LanguageGzName());
    if (!FScratchpadFleLst.empty()) {
        GetNewXMLFiles();
    } else if (FOnConnDone) {
        WriteLog("Connection Done Assigend");
        FOnConnDone(this, true);
    } else {
        WriteLog("Connection Done not assigend");
    }
}

void TComUnit::GetNewXMLFiles() {
    if (FDisplayConnMessage)
        FDisplayConnMessage(
            _SNeueSprachdateien, mtConfirmation, [this](TSender s, int r) { NewXMLFilesResult(s, r); },
            Buttons({mbYes, mbNo}), mbYes);
    else
        NewXMLFilesResult(this, mrYes);
}

void TComUnit::NewXMLFilesResult(TSender, int Result) {
    if (Result != mrYes) {
        WriteLog("Connection Done Assigned");
        if (FOnConnDone) FOnConnDone(this, true);
        return;
    }
    FNewXMLFiles = true;
    if (!FFTP) {
        GetNewXMLFilesFromScratchpad();
        return;
    }
    for (const std::string& entry : FScratchpadFleLst) {
        MemStream gz, xml;
        if (!GetFTPFile("flashdrive0/data/ccci/scratchpad/" + entry, gz)) break;
        std::string why;
        if (!UnZipFile(gz, xml, &why)) {
            ReportUnpackFailure(entry, why);
            break;
        }
        xml.saveToFile(FIniFolder + ChangeFileExt(ExtractFileName(entry), ".XML"));
    }
}

void TComUnit::GetNewXMLFilesFromScratchpad() {
    if (FScratchpadFleLst.empty()) return;
    FCCCISratchpad = spXML;
    SendCommand("CCC_SCRATCH_PAD_RD", CmdScratchPad, 0, 1, FScratchpadFleLst.front(), false);
}

} // namespace ferro
