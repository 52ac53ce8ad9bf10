#pragma once
// The SCADA page: Modbus and the first IEC 60870-5-104 client.

#include "status/FrameStatRows.h"

namespace ferro {

class TFrameModBus : public TFrameStatRows {
    Q_OBJECT
public:
    explicit TFrameModBus(QWidget* Parent = nullptr) : TFrameStatRows("FrameModBus", Parent) {}
    void SetModbusData();

    TNameValueList FLstModBus, FLstIEC104;

protected:
    void ClearLists() override {
        FLstModBus.clear();
        FLstIEC104.clear();
    }
};

} // namespace ferro
