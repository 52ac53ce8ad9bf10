#pragma once
// The time page of the basic settings: the synchronisation method with a frame of its parameters per
// method, the time zone chosen from the system's zone table, and for manual setting the instrument's
// clock live beside the PC's with "set from PC".

#include "foundation/TimeRecords.h"
#include "para/TimeZones.h"

#include <QWidget>

#include <functional>
#include <map>
#include <string>
#include <vector>

class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QVBoxLayout;

namespace ferro {

class TEasyPara;

class TParaTimePage : public QWidget {
    Q_OBJECT
public:
    TParaTimePage(TEasyPara& Easy, QWidget* Parent);
    ~TParaTimePage() override;

    // The link and the form, as the page needs them (set by the parameter form).
    std::function<void()> FStartStream, FStopStream;
    std::function<bool()> FStreamRunning;
    // A Lua line to the instrument; the callback tells success and the reply text.
    std::function<void(const std::string&, std::function<void(bool, const std::string&)>)> FSendLua;
    // The instrument's firmware: build revision and layout generation.
    std::function<TFerroFW()> FFirmware;
    // Whether the page is on show at level 0.
    std::function<bool()> FOnShow;
    // Binds the controls of a new frame (the settings page's walk); a value went into the document.
    std::function<void(QWidget*)> FBind;
    std::function<void()> FChanged;

    // The page became current: zone table on first entry, the frame of the method, the stream.
    void Entered();
    // The setup was read anew: the zone box follows the document.
    void DocumentRead();
    void ChangeTimeFrame();
    void HandleTimeStream();
    // A block of the time stream arrived; `Local` is its stamp in the instrument's local time.
    void UpdateGrid(const tmStamp_t& Local);
    void SendTimeToDevice();
    const std::vector<TTimeZoneSettings>& TimeZones() const { return FTimeZonesList; }
    QWidget* ActiveTimeFrame() const { return FactiveTimeFrame; }
    bool StreamActive() const { return FStreamActive; }

    QComboBox* CmbBox_4261413634 = nullptr;
    QComboBox* cbbZeitzone = nullptr;
    QLabel* lblZoneInfo = nullptr;
    QLineEdit *edtPCDate = nullptr, *edtPCTime = nullptr, *edtDeviceDate = nullptr, *edtDeviceTime = nullptr;
    QPushButton* btnSendPCTime = nullptr;
    QProgressBar* andctrTime = nullptr;

private:
    void ReadTimeZones();
    void cbbZeitzoneChange(int Index);
    void ShowZoneInfo();
    QGroupBox* MakeFrame(int Index);
    void SendDone(bool Ok, const std::string& Text);

    TEasyPara& FEasy;
    std::vector<TTimeZoneSettings> FTimeZonesList;
    std::map<int, QGroupBox*> FFrames;
    QWidget* FactiveTimeFrame = nullptr;
    QVBoxLayout* FFrameLay = nullptr;
    bool FStreamActive = false;
    bool FZonesRead = false;
};

} // namespace ferro
