#pragma once
// The CCCI page: the instrument's protocol workers and its network settings.

#include "status/FrameStatRows.h"

namespace ferro {

class TFrameCCCI : public TFrameStatRows {
    Q_OBJECT
public:
    explicit TFrameCCCI(QWidget* Parent = nullptr) : TFrameStatRows("FrameCCCI", Parent) {}
    void SetData();

    TNameValueList CCCILst, FLstNetwork;

protected:
    void ClearLists() override {
        CCCILst.clear();
        FLstNetwork.clear();
    }
};

} // namespace ferro
