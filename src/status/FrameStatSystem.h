#pragma once
// The system page: the load of the instrument's parts as bars, and its current recording files.

#include "status/FrameStatRows.h"

namespace ferro {

class TFrameSystem : public TFrameStatRows {
    Q_OBJECT
public:
    explicit TFrameSystem(QWidget* Parent = nullptr) : TFrameStatRows("FrameSystem", Parent) {}
    void SetSystemData();

    std::vector<TSysloadRec> FLstSysLoad;
    TNameValueList FLstLog;

protected:
    void ClearLists() override {
        FLstSysLoad.clear();
        FLstLog.clear();
    }
};

} // namespace ferro
