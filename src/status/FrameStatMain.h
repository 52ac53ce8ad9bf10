#pragma once
// The overview page: who the instrument is, its clock and running time, and how full its system
// drive and card are. It has no logic of its own; the view fills it.

#include "status/StatusReport.h"

#include <QWidget>

#include <functional>

class QLabel;
class QLineEdit;
class QProgressBar;
class QGroupBox;

namespace ferro {

class TFrameMain : public QWidget {
    Q_OBJECT
public:
    explicit TFrameMain(QWidget* Parent = nullptr);
    // Puts the overview's texts into the controls; an empty text leaves a control as it was.
    void SetOverview(const TStatusOverview& O);
    std::function<void()> FOnRefresh;

    QLineEdit *edtTime, *edtAnlage, *edtFeld, *edtGeraet, *edtFirmware, *edtRevNum, *edtArtikelNum,
        *edtSerial, *edtLaufzeit;
    QProgressBar *pbSystem, *pbSDKarte;
    QLabel *lblSystemText, *lblSDKarteText;
};

} // namespace ferro
