#include "status/FrameStatNTP.h"

namespace ferro {

void TFrameNTP::SetNTPData() {
    CheckDCF(FLstTime);
    QGroupBox* details = AddSection("Details", "grpboxDetails");
    for (auto& [key, value] : FLstTime) {
        // These two hold Unix seconds; they are shown as a date (UTC).
        if (key == "lastsync" || key == "utc.soc") {
            const std::string date = UnixSecondsText(value);
            if (date != value) value = date + " (UTC)";
        }
        AddRow(details, key, value);
    }
    const TNameValueList* lists[4] = {&FLstNTP1, &FLstNTP2, &FLstNTP3, &FLstNTP4};
    for (int i = 0; i < 4; ++i)
        AddRows(AddSection(QString("NTP %1").arg(i + 1), QString("grpboxNTP%1").arg(i + 1)), *lists[i]);
}

} // namespace ferro
