#pragma once
// The instrument's IEC 61850 description (an SCL file of the kind ICD): its seven identifying values
// go into the setup document, and the IED name in the file follows the parameter. The model itself
// is not read.

#include <array>
#include <cstdint>
#include <string>

namespace ferro {

class TSetupDocument;

struct TICDInfo {
    // In the order of CICDIds: IED name, file name, Header version, revision, IED
    // originalSclVersion, originalSclRevision, Header id. A missing attribute is an empty text.
    std::array<std::string, 7> Values;
    static constexpr std::array<uint32_t, 7> CICDIds = {4278190467u, 4278190468u, 4278190469u, 4278190470u,
                                                        4278190471u, 4278190472u, 4278190473u};
};

// Reads the values of `Path`; false with the reason (German) when the file is no SCL file or lacks
// its Header or IED.
bool ReadICDFile(const std::string& Path, TICDInfo& Info, std::string& Error);

// Writes the values into the document through its change list; a value that is the same (ignoring
// case) or whose parameter is missing is left. The count of values that moved.
int ApplyICDInfo(TSetupDocument& Doc, const TICDInfo& Info);

// Sets the IED name of the file at `Path`: the first ConnectedAP's iedName and the first IED's
// name, where they are there. False when the file cannot be read or written.
bool RenameICDIed(const std::string& Path, const std::string& Name);

} // namespace ferro
