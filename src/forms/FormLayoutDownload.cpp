// Bringing listed files to the local disk, one by one or in bulk, resuming where a file stopped,
// and removing files from the instrument. The local file is the whole state of a download.
#include "data/LocalCopy.h"
#include "forms/FormLayout.h"
#include "foundation/Format.h"
#include "stored/StoredTexts.h"

#include <QAction>
#include <QLabel>
#include <QPointer>
#include <QScrollArea>
#include <QTreeWidget>

#include <cstdlib>
#include <filesystem>

namespace ferro {

namespace {

bool SplitLine(const std::string& Line, std::string& Name, uint64_t& Size) {
    const size_t eq = Line.rfind('=');
    if (eq == std::string::npos) return false;
    Name = Line.substr(0, eq);
    char* end = nullptr;
    const std::string num = Line.substr(eq + 1);
    Size = std::strtoull(num.c_str(), &end, 10);
    if (end == num.c_str() || *end) Size = 0; // a bad number reads as 0
    return true;
}

} // namespace

bool TFormLayout::DoesFileExist(const std::string& Name, std::string& Path, bool Log, bool IsRec,
                                uint64_t& Size) {
    const TLocalCopy c = CheckLocalCopy(Name, Size, IsRec, RecDir(), EvtDir());
    Path = c.Path;
    Size = c.LocalSize;
    if (Log) LogPrepare(this, c.LogLine, false);
    return c.Complete;
}

void TFormLayout::SetNewSizeToTVI(const std::string& Path) {
    std::error_code ec;
    const uint64_t size = std::filesystem::file_size(Path, ec);
    if (ec || !FSelectedRec || FSelectedRec->FileSize >= size) return;
    FSelectedRec->FileSize = size;
    LogPrepare(this,
               Fmt("New Filesize: %llu Recsize: %u FN: %s", static_cast<unsigned long long>(size),
                   FRec.RecMemSize, Path.c_str()),
               false);
}

void TFormLayout::RequestFile(bool IsRec, const std::string& Name, uint64_t Offset) {
    if (!FComUnit || !CheckConnection()) {
        // The link reconnects first; the user clicks again when it stands.
        if (FDLAllRec || FDLAllEvt || FDLClassRec) MassDownLoad();
        EndWork();
        return;
    }
    QPointer<TFormLayout> self(this);
    // The table builder or the next step of a bulk run follows the file through the link's
    // callbacks; a refusal or a lost line comes back here, so that neither waits for ever.
    FComUnit->ReadFile(!IsRec, Name, uint32_t(Offset), [self, Name](const TReply& R) {
        if (!self || R.Ok) return;
        self->LogPrepare(self, Fmt("Download %s: %s", Name.c_str(), R.Text.c_str()), true);
        if (self->LabSBar)
            self->LabSBar->setText(QString::fromStdString(
                Fmt("Die Datei %s ist nicht vollständig angekommen: %s", Name.c_str(), R.Text.c_str())));
        if (self->FDLAllRec || self->FDLAllEvt || self->FDLClassRec)
            self->MassDownLoad();
        else
            self->EndWork();
    });
}

void TFormLayout::RecordClick(TRecTreeViewItem* Item) {
    if (!Item || FInClick) return;
    FInClick = true;
    ScrollPaintBox->hide();
    StartWork(_SAnfordern);
    SetNewSelectedRec(Item);
    const std::string name = Item->HelpKeyword;
    uint64_t size = Item->FileSize;
    SetItemImage(Item, 3);
    if (FComUnit) {
        const bool async = Item->isAsync;
        FComUnit->FRecToTable = [this, async](TSender S, const std::string& F) {
            if (async)
                FileAsyncToTable(S, F);
            else
                FileRecToTable(S, F);
        };
    }
    std::string path;
    if (size != 0 && !DoesFileExist(name, path, true, true, size)) {
        RequestFile(true, name, size);
        FInClick = false;
        return;
    }
    if (path.empty()) DoesFileExist(name, path, false, true, size);
    // A file listed with size 0 is never fetched: it goes to the reader as it is.
    if (Item->isAsync)
        AsyncToTable(path);
    else
        RecToTable(path);
    FInClick = false;
}

void TFormLayout::EventClick(TRecTreeViewItem* Item) {
    if (!Item || FInClick) return;
    actReport->setEnabled(false);
    Enable10MinReports(false);
    FInClick = true;
    ScrollPaintBox->hide();
    StartWork(_SAnfordern);
    SetNewSelectedRec(Item);
    uint64_t size = Item->FileSize;
    std::string path;
    const bool complete = DoesFileExist(Item->HelpKeyword, path, false, false, size);
    FLastUseEvtFile = path;
    if (Item->FileSize == 0 || complete)
        EvtToTable(path);
    else
        RequestFile(false, Item->HelpKeyword, size);
    FInClick = false;
}

void TFormLayout::StartMassDownload(std::vector<std::string>& List, bool& Flag) {
    if (FComUnit)
        FComUnit->FMassDLNext = [this](TSender) {
            // The link is inside its dispatcher: the next file is asked for after it returns.
            QPointer<TFormLayout> self(this);
            QMetaObject::invokeMethod(
                this,
                [self] {
                    if (self) self->MassDownLoad();
                },
                Qt::QueuedConnection);
        };
    Flag = true;
    StartWork(_SHerunterladen);
    FMassDownloadCnt = int(List.size());
    MassDownLoad();
}

void TFormLayout::MassDownLoad() {
    // Complete files are passed in a loop, not by recursion: a list of thousands stays flat.
    for (;;) {
        std::vector<std::string>* list = nullptr;
        bool isRec = true;
        if (FDLAllRec && !FAllRecLst.empty()) {
            list = &FAllRecLst;
        } else if (FDLAllEvt && !FAllEvtLst.empty()) {
            list = &FAllEvtLst;
            isRec = false;
        } else if (FDLClassRec && !FClassRecLst.empty()) {
            list = &FClassRecLst;
        }
        if (!list) break;
        if (LabSBar) LabSBar->setText(QString::number(list->size()));
        // Files go last first.
        std::string name;
        uint64_t size = 0;
        const std::string line = list->back();
        list->pop_back();
        SplitLine(line, name, size);
        const int done = FMassDownloadCnt - int(list->size());
        if (FSetGlobalProg) FSetGlobalProg(this, true, Fmt("%d / %d", done, FMassDownloadCnt));
        std::string path;
        if (size > 0 && !name.empty() && !DoesFileExist(name, path, true, isRec, size)) {
            RequestFile(isRec, name, size);
            return;
        }
    }
    const bool recs = FDLAllRec || FDLClassRec;
    FDLAllRec = FDLAllEvt = FDLClassRec = false;
    if (FComUnit) FComUnit->FMassDLNext = nullptr;
    if (recs)
        ClickRecOverview();
    else
        ClickEvtOverview();
    if (LabSBar) LabSBar->clear();
    if (FSetGlobalProg) FSetGlobalProg(this, false, std::string());
    EndWork();
}

// ---- Popups ----

void TFormLayout::SetRecActions(bool Cls, bool Sel, bool All, bool Del, bool DelCls, bool DelAll) {
    actDownLoadClsRecorder->setEnabled(Cls);
    actDownloadSelectedRec->setEnabled(Sel);
    actDownloadAllRecorder->setEnabled(All);
    actDelRecorder->setEnabled(Del);
    actDelAllClsRecorder->setEnabled(DelCls);
    actDelAllRecorder->setEnabled(DelAll);
    ActDelSelectedRecorder->setEnabled(Sel && FChecking);
}

void TFormLayout::SetEvtActions(bool All, bool Del, bool DelAll) {
    actDownLoadAllEvent->setEnabled(All);
    actDelEvent->setEnabled(Del);
    actDelAllEvent->setEnabled(DelAll);
    actDownloadSelectedEvt->setEnabled(true);
    actDelSelectedEvt->setEnabled(FChecking);
}

void TFormLayout::RecMouseDown(TRecTreeViewItem* Item) {
    SetRecActions(true, true, true, true, true, true);
    SetEvtActions(false, false, false);
    actDownloadSelectedEvt->setEnabled(false);
    actDelSelectedEvt->setEnabled(false);
    FTVIRec = Item;
    TreeViewOpti->setCurrentItem(Item);
}

void TFormLayout::RecAllMouseDown() {
    SetRecActions(false, true, true, false, false, true);
    SetEvtActions(false, false, false);
    actDownloadSelectedEvt->setEnabled(false);
    actDelSelectedEvt->setEnabled(false);
}

void TFormLayout::EvtMouseDown(TRecTreeViewItem* Item) {
    const bool sel = actDownloadSelectedRec->isEnabled();
    SetRecActions(false, sel, false, false, false, false);
    SetEvtActions(true, true, true);
    FTVIEvt = Item;
    TreeViewOpti->setCurrentItem(Item);
}

void TFormLayout::EvtAllMouseDown() {
    const bool sel = actDownloadSelectedRec->isEnabled();
    SetRecActions(false, sel, false, false, false, false);
    SetEvtActions(true, false, true);
}

// ---- Deleting: no question asked, the local copies stay ----

void TFormLayout::DeleteOne(bool IsRec) {
    TRecTreeViewItem*& item = IsRec ? FTVIRec : FTVIEvt;
    if (!item) return;
    TRecTreeViewItem* gone = item;
    QTreeWidgetItem* parent = gone->parent();
    item = nullptr;
    if (IsRec)
        RecDel(this, gone->HelpKeyword);
    else
        EvtDel(this, gone->HelpKeyword);
    if (FSelectedRec == gone) FSelectedRec = nullptr;
    delete gone;
    if (parent) {
        parent->setExpanded(false);
        parent->setExpanded(true);
    }
    for (QAction* a : {actDownLoadClsRecorder, actDownloadAllRecorder, actDelRecorder, actDelAllClsRecorder,
                       actDelAllRecorder, actDownLoadAllEvent, actDelEvent, actDelAllEvent})
        a->setEnabled(false);
}

void TFormLayout::DeleteChecked(bool IsRec) {
    StartWork(_SLoeschen);
    std::vector<TRecTreeViewItem*> items;
    CollectChecked(IsRec ? FRecTreeView : FEvtTreeView, items);
    if (IsRec) {
        for (QAction* a : {actDownLoadClsRecorder, actDownloadAllRecorder, actDelRecorder,
                           actDelAllClsRecorder, actDelAllRecorder})
            a->setEnabled(false);
        for (auto* f : items)
            RecDel(this, f->HelpKeyword);
        ClickRecOverview();
    } else {
        for (auto* f : items)
            EvtDel(this, f->HelpKeyword);
        for (QAction* a : {actDownLoadAllEvent, actDelEvent, actDelAllEvent})
            a->setEnabled(false);
        ClickEvtOverview();
    }
    EndWork();
}

} // namespace ferro
