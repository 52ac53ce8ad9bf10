#include "status/FrameStatCCCI.h"

namespace ferro {

void TFrameCCCI::SetData() {
    AddRows(AddSection("CCCI-Worker", "grpboxWorker"), CCCILst);
    AddRows(AddSection("Netzwerk", "grpboxNetwork"), FLstNetwork);
}

} // namespace ferro
