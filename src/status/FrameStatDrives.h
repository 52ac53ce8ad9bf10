#pragma once
// The drive page: total, used, free and bad space of the flash drive, the RAM drive and the card,
// each with a bar and a ring of the shares drawn through the chart canvas.

#include "status/StatusReport.h"

#include <QImage>
#include <QWidget>

#include <functional>

class QGroupBox;
class QLabel;

namespace ferro {

class TFrameDrives : public QWidget {
    Q_OBJECT
public:
    explicit TFrameDrives(QWidget* Parent = nullptr);
    // The four values of each drive in megabytes (the texts below); the card's group is shown only
    // when the card reports them.
    void SetDrive(const std::string& Name, const TDriveValues& Bytes);
    void ShowCard(bool Shown);
    // Draws the bars and rings from the value texts.
    void PrepareBitmaps();
    std::function<void()> FOnRefresh;

    QLabel *txtFlashTotalVal, *txtFlashUsedVal, *txtFlashFreeVal, *txtFlashBadVal;
    QLabel *txtRamTotalVal, *txtRamUsedVal, *txtRamFreeVal, *txtRamBadVal;
    QLabel *txtSDTotalVal, *txtSDUsedVal, *txtSDFreeVal, *txtSDBadVal;
    QGroupBox* grpboxSD = nullptr;
    // The pictures as last drawn (device pixels); a drive with total 0 keeps an empty one.
    QImage FBMPFlash, FBMPRam, FBMPSD;

private:
    struct TDriveUi {
        QLabel *Total, *Used, *Free, *Bad;
        QLabel *Bar, *Ring;
        QImage* Bitmap;
    };
    QGroupBox* MakeDrive(const QString& Title, const QString& Key, TDriveUi& Ui, QImage* Bitmap);
    void Paint(TDriveUi& Ui);
    TDriveUi FFlash{}, FRam{}, FSD{};
};

} // namespace ferro
