#pragma once
// The archive of downloaded data on the local disk, without widgets: which stations it holds, the
// files of one station for the tree, import of a card or folder, export of chosen files into a
// folder that the import reads back, and deleting. The disk is the whole state: nothing is indexed.
//
// Layout: ROOT/<station>/Recorder/*.log and ROOT/<station>/Event/*.log, <station> the serial
// number. The language, structure and object-property files live in one folder of their own (the
// host's ini folder) with "xml-versions.txt" beside them.

#include "data/DataFileReader.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace ferro {

constexpr const char* CRekorder = "Recorder";
constexpr const char* CEvent = "Event";
constexpr const char* CXmlVersionsFile = "xml-versions.txt";

// The kinds of tree item, by which the popup and the delete rules of the offline view work.
enum TOfflineTag : int {
    otStation = 0,
    otFolder = 1,      // "Rekorder Daten", plant and field items
    otClassFolder = 2, // a class of periodic recordings
    otEventFolder = 3, // "PQ-Ereignisse"
    otAsyncFolder = 4,
    otRecFolder = 5, // "Störschrieb Rekorder"
    otOscFolder = 7,
    otHpFolder = 8,
    otRecording = 10,
    otEvent = 12,
};

struct TOfflineStation {
    std::string Key; // the folder name
    uint32_t SN = 0;
    envMan_usrDat_t User; // from the first readable file; empty names when none is
    time_tz_t Tz;
    int RecFiles = 0, EvtFiles = 0;
    std::string Text; // "KEY: DEVICE"
};

struct TOfflineFile {
    std::string Path, Name;
    bool IsRec = true, IsAsync = false;
    // Where it hangs: 0..7 the periodic classes (CDataObjName), 8 binary inputs, 9 oscilloscope,
    // 10 10-ms recorder, 11 any other recording, -1 an event file.
    int Group = -1;
    uint64_t Size = 0;
    std::string Text; // "START - END" in the file's zone, or one line for a disturbance recording
};

// Folders that are never stations.
bool IsStationFolderName(const std::string& Name);

// The stations under `Root`, sorted by key; logs "Found %d rekords in %s" and
// "Found %d eventfiles in %s" for each. An absent or empty root gives none.
std::vector<TOfflineStation> ScanOfflineStations(const std::string& Root, const TReaderLog& Log);

// The files of one station, sorted by group and name. A file with a damaged head keeps its place
// with an empty text.
std::vector<TOfflineFile> ListOfflineStation(const std::string& Root, const std::string& Key,
                                             const TIdText& Names, const TReaderLog& Log);

// Whether a file's class word names a recording (else it is an event file).
bool IsRecordingName(const std::string& FileName);

struct TOfflineProgress {
    std::function<void(int Total)> Start;
    std::function<void()> Step;
};

// Copies every "*.log" below `Src` into ROOT/<serial>/Recorder or Event (the serial from the file's
// head, else from a numeric folder it lies in) and takes over language, structure and object files
// of a "xml-versions.txt" that are newer than those in `XmlDir`. Returns the files copied; a
// failed copy is not counted. Never writes outside `Root` and `XmlDir`.
int ImportOfflineFolder(const std::string& Src, const std::string& Root, const std::string& XmlDir,
                        const TReaderLog& Log, const TOfflineProgress& Progress = {});

// Copies `Paths` into `Target`, then the station's XML files packed into Target/scratchpad (the
// language file below "lang/") with their "xml-versions.txt". Copying a file onto itself counts
// and leaves it as it is. Returns the files copied.
int ExportOfflineFiles(const std::vector<std::string>& Paths, const std::string& Target,
                       const std::string& XmlDir, const TReaderLog& Log);

// Deletes one file ("Deleting %s"); false when there was none.
bool DeleteOfflineFile(const std::string& Path, const TReaderLog& Log);
// Deletes a station's folder with everything in it.
bool DeleteOfflineStation(const std::string& Root, const std::string& Key, const TReaderLog& Log);

} // namespace ferro
