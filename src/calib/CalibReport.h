#pragma once
// The calibration certificate: one PDF page with the instrument, the conditions, the test
// instruments, the references and the verdict of each channel.

#include "calib/CalibRun.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>

namespace ferro {

struct TCalibCertificate {
    // The fields of the wizard's pages by their report names ("DeviceType", "DeviceNumber", ...).
    std::map<std::string, std::string> Fields;
    std::string Firmware, Frequency, RefU, RefI;
    std::array<TChannelVerdict, TCalibRun::CChannels> Verdicts{};
    bool Passed = false;
    // Instrument, date and a running number: unique for every certificate made.
    std::string Number;
};

class TCalibReport {
public:
    // "Kalibrierung_<serial>_<date>.pdf", with every character that a file name cannot hold replaced.
    static std::string FileName(const std::string& Serial, const std::string& Date);
    // A number that no other certificate of this computer carries.
    static std::string NewNumber(const std::string& Serial, int64_t NowMs);
    // The 16 channel names in the order of the checks.
    static std::string ChannelName(int Item);
    // Writes the certificate into `Folder`; the path on success, "" with `Error` set otherwise.
    static std::string Write(const TCalibCertificate& Cert, const std::string& Folder, std::string& Error);
};

} // namespace ferro
