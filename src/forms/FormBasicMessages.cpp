// TFormBasic: messages from any thread, the busy indicator, transfer progress, caption and log.
#include "forms/FormBasic.h"

#include "forms/MessageDialog.h"
#include "foundation/Clock.h"
#include "foundation/Format.h"
#include "foundation/MainThread.h"
#include "link/RSComUnit.h"

#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>

#include <algorithm>
#include <cmath>

namespace ferro {

// ---------------------------------------------------------------- messages

void TFormBasic::DisplayConnMessage(const std::string& Text, TMsgDlgType MsgType,
                                    TThreadedMessageCallBack Callback, TMsgDlgButtons Buttons,
                                    TMsgDlgBtn DefaultButton) {
    std::string text;
    if (FRSComUnit) {
        const TIdentity& id = FRSComUnit->Identity();
        text = Fmt("%s:%s%s %s %s %s", Text.c_str(), "\r\n", "\r\n", id.Plant.c_str(), id.Field.c_str(),
                   id.Device.c_str());
    } else if (FComUnit) {
        const TIdentity& id = FComUnit->Identity();
        text = Fmt("%s:%s%s%s %d - %s %s %s", Text.c_str(), "\r\n", "\r\n", FComUnit->FIP.c_str(),
                   int(FComUnit->FPort), id.Plant.c_str(), id.Field.c_str(), id.Device.c_str());
    }
    if (text.empty()) return;
    DisplayMessage(text, MsgType, Buttons, DefaultButton, std::move(Callback));
}

void TFormBasic::DisplayMessage(const std::string& Text, TMsgDlgType MsgType, TMsgDlgButtons Buttons,
                                TMsgDlgBtn DefaultButton, TThreadedMessageCallBack Callback) {
    auto show = [this, Text, MsgType, Buttons, DefaultButton, Callback = std::move(Callback)] {
        if (FCntDlgBoxes) FCntDlgBoxes(true);
        window()->raise();
        ShowDLG(Text, MsgType, Buttons, DefaultButton, Callback);
    };
    if (IsMainThread()) {
        LogPrepare(this, "Show Message: " + Text, false);
        Postpone(this, show);
        return;
    }
    // From a link thread: the caller waits until the box is up, as the message belongs to its step.
    RunOnMainAndWait([this, Text, show] {
        LogPrepare(this, "Show Message*: " + Text, false);
        show();
    });
}

void TFormBasic::ShowDLG(const std::string& Text, TMsgDlgType MsgType, TMsgDlgButtons Buttons,
                         TMsgDlgBtn DefaultButton, TThreadedMessageCallBack Callback) {
    QPointer<TFormBasic> self(this);
    const bool awaited = bool(Callback);
    // On the top window, so that a message about a lost line outlives the view that it closes.
    QMessageBox* box = OpenMessageBox(window(), Text, MsgType, Buttons, DefaultButton,
                                      [self, Callback = std::move(Callback)](int Result) {
                                          if (self && self->FCntDlgBoxes) self->FCntDlgBoxes(false);
                                          if (Callback) Callback(nullptr, Result);
                                      });
    FOpenBoxes.erase(std::remove(FOpenBoxes.begin(), FOpenBoxes.end(), nullptr), FOpenBoxes.end());
    if (awaited) FOpenBoxes.emplace_back(box);
}

void TFormBasic::DisplayAsyncConnMessage(const std::string& Text, TMsgDlgType MsgType, TMsgDlgButtons Buttons,
                                         TMsgDlgBtn DefaultButton, TThreadedMessageCallBack Callback) {
    OpenMessageBox(window(), Text, MsgType, Buttons, DefaultButton,
                   [Callback = std::move(Callback)](int Result) {
                       if (Callback) Callback(nullptr, Result);
                   });
}

// A closing form answers the boxes whose answer someone awaits with Cancel/No so that no waiting caller is
// left hanging.
void TFormBasic::FinishPendingDialogs() {
    auto boxes = std::move(FOpenBoxes);
    FOpenBoxes.clear();
    for (auto& box : boxes)
        if (box && box->isVisible()) box->reject();
}

void TFormBasic::SetLabConText(TSender, const std::string& Text) {
    lblCon->setText(QString::fromStdString(Text));
    lblCon->setMinimumWidth(lblCon->fontMetrics().horizontalAdvance(lblCon->text()) + 8);
}

void TFormBasic::SetCapt(const std::string& Text) {
    FFrmCapt = Fmt("%s - %s", FVerInfo.c_str(), Text.c_str());
    setWindowTitle(QString::fromStdString(FFrmCapt));
}

std::string TFormBasic::GetAppVersionStr() const {
    return Fmt("V%d.%d %s", 1, 0, FVerInfo.c_str());
}

void TFormBasic::LogPrepare(TSender, const std::string& Text, bool ToMemo) {
    LogCallBack(Text, ToMemo);
}

void TFormBasic::LogCallBack(const std::string& Text, bool ToMemo) {
    if (FOnLogCallBack) FOnLogCallBack(this, "Ferro: " + Text, ToMemo);
}

// ---------------------------------------------------------------- busy indicator

void TFormBasic::StartWork(const std::string& Text) {
    AniIndi->setVisible(true);
    if (FWorkCallback) FWorkCallback(this, Text, true, false);
}

void TFormBasic::EndWork() {
    AniIndi->setVisible(false);
    if (FWorkCallback) FWorkCallback(this, "", false, false);
}

void TFormBasic::StopWork() {
    AniIndi->setVisible(false);
    if (FWorkCallback) FWorkCallback(this, "", false, false);
}

void TFormBasic::ClearWork() {
    AniIndi->setVisible(false);
    if (FWorkCallback) FWorkCallback(this, "", false, true);
}

void TFormBasic::EndWork(TSender) {
    EndWork();
}

// ---------------------------------------------------------------- transfer progress

void TFormBasic::ShowProgressPercent(int Percent) {
    ProgressBar1->setValue(Percent);
    txtProgress->setText(QString::fromStdString(Fmt("%d%%", Percent)));
}

void TFormBasic::WorkBegin(TWorkMode, uint64_t Max) {
    if (!FComUnit || FComUnit->FShutDown) return;
    FWorkMax = Max;
    ShowProgressPercent(0);
    // The bar shows only while a transfer runs.
    ProgressBar1->setVisible(true);
    txtProgress->setVisible(true);
    TProgressRecord rec;
    rec.start = true;
    rec.Max = Max;
    if (FSetProg) FSetProg(this, rec);
}

void TFormBasic::SetWorkProg(TWorkMode, uint64_t Count) {
    // The link has pushed its time-outs on already; while it shuts down the bar stays as it is.
    if (!FComUnit || FComUnit->FShutDown || FWorkMax == 0) return;
    double percent = std::round(double(Count) * 100.0 / double(FWorkMax));
    ShowProgressPercent(int(std::min(percent, 100.0)));
    TProgressRecord rec;
    rec.Progress = Count;
    rec.Max = FWorkMax;
    if (FSetProg) FSetProg(this, rec);
}

void TFormBasic::WorkEnd(TWorkMode) {
    ShowProgressPercent(0);
    ProgressBar1->setVisible(false);
    txtProgress->setVisible(false);
    FWorkMax = 0;
    TProgressRecord rec;
    rec.stop = true;
    if (FSetProg) FSetProg(this, rec);
}

// The link threads post and do not wait: a thread blocked on the main thread while the form closes
// and stops that thread would hold both.
void TFormBasic::ComUnitOnWorkBegin(TWorkMode Mode, uint64_t Max) {
    if (IsMainThread())
        WorkBegin(Mode, Max);
    else
        Postpone(this, [this, Mode, Max] { WorkBegin(Mode, Max); });
}

void TFormBasic::ComUnitOnWork(TWorkMode Mode, uint64_t Count) {
    if (IsMainThread())
        SetWorkProg(Mode, Count);
    else
        Postpone(this, [this, Mode, Count] { SetWorkProg(Mode, Count); });
}

void TFormBasic::ComUnitOnWorkEnd(TWorkMode Mode) {
    if (IsMainThread())
        WorkEnd(Mode);
    else
        Postpone(this, [this, Mode] { WorkEnd(Mode); });
}

void TFormBasic::SynchStartProgress(uint64_t Total) {
    FGesamtCount = Total;
    FCnt = 0;
    TProgressRecord rec;
    rec.start = true;
    rec.Max = Total;
    if (FSetProg) FSetProg(this, rec);
    if (FSetGlobalProg) FSetGlobalProg(this, true, Fmt("%u / %u", unsigned(FCnt), unsigned(FGesamtCount)));
}

void TFormBasic::SynchSendProgress() {
    ++FCnt;
    TProgressRecord rec;
    rec.Progress = FCnt;
    rec.Max = FGesamtCount;
    if (FSetProg) FSetProg(this, rec);
    if (FSetGlobalProg) FSetGlobalProg(this, true, Fmt("%u / %u", unsigned(FCnt), unsigned(FGesamtCount)));
}

void TFormBasic::SynchStoppProgress() {
    TProgressRecord rec;
    rec.stop = true;
    if (FSetProg) FSetProg(this, rec);
    if (FSetGlobalProg) FSetGlobalProg(this, false, "");
}

} // namespace ferro
