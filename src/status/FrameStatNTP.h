#pragma once
// The time page: the clock's details (sync source, quality, zone) and the four NTP servers.

#include "status/FrameStatRows.h"

#include <map>

namespace ferro {

class TFrameNTP : public TFrameStatRows {
    Q_OBJECT
public:
    explicit TFrameNTP(QWidget* Parent = nullptr) : TFrameStatRows("FrameNTP", Parent) {}
    void SetNTPData();

    TNameValueList FLstNTP1, FLstNTP2, FLstNTP3, FLstNTP4;
    std::map<std::string, std::string> FLstTime;

protected:
    void ClearLists() override {
        FLstNTP1.clear();
        FLstNTP2.clear();
        FLstNTP3.clear();
        FLstNTP4.clear();
        FLstTime.clear();
    }
};

} // namespace ferro
