#include "status/FrameStatModBus.h"

namespace ferro {

void TFrameModBus::SetModbusData() {
    AddRows(AddSection("Modbus", "grpboxModbus"), FLstModBus);
    AddRows(AddSection("IEC 60870-5-104", "grpboxIEC104"), FLstIEC104);
}

} // namespace ferro
