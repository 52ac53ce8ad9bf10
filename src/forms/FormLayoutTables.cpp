// The three table builders of the stored-data form: a recording's groups for the chart, the event
// table with its detail dialog, and the binary-input table.
#include "forms/FormLayout.h"

#include "forms/FrmMemo.h"
#include "forms/ValueGridModel.h"
#include "foundation/Format.h"
#include "foundation/records/Units.h"
#include "stored/GraphAssembly.h"
#include "stored/ListingTexts.h"
#include "stored/StoredTexts.h"

#include <QAction>
#include <QLabel>
#include <QTableView>
#include <QTreeWidget>

#include <algorithm>

namespace ferro {

namespace {

// The housekeeping groups are not offered: high byte 0 to 7, next byte 0 or 1, low word FFFF.
bool Housekeeping(uint32_t GrpId) {
    return (GrpId & 0xFFFF) == 0xFFFF && (GrpId >> 24) <= 7 && ((GrpId >> 16) & 0xFF) <= 1;
}

// The value columns of a group, in the order tvSelect lists them.
std::vector<int> GroupColumns(const TRecData& Rec, uint32_t Idx) {
    std::vector<int> rows;
    for (size_t r = 0; r < Rec.RecDataLst.size(); ++r) {
        const TTblStrc& c = Rec.RecDataLst[r];
        if ((c.getVecIdx() & 0xFF) == Idx && c.ObjId != CTimeColumnId) rows.push_back(int(r));
    }
    return rows;
}

} // namespace

// ---- Tables ----

void TFormLayout::ClearGrid() {
    // Only an event table's widths are kept.
    if (FGridModel->columnCount() == 6) {
        int* w[] = {&FOnOfflineEinstellungen.Ereignis, &FOnOfflineEinstellungen.Zeit,
                    &FOnOfflineEinstellungen.Max,      &FOnOfflineEinstellungen.Einheit,
                    &FOnOfflineEinstellungen.Harm,     &FOnOfflineEinstellungen.Dauer};
        for (int c = 0; c < 6; ++c)
            if (GridData->columnWidth(c) > 0) *w[c] = GridData->columnWidth(c);
    }
    FGridModel->Reset({}, 0, nullptr);
}

void TFormLayout::ClearLists() {
    FPaintLst.clear();
    FPrepared.reset();
    FRec = TRecData();
    FEvtLst.clear();
    FAsyncLst.clear();
    FAsyncDPLst.clear();
    CreateDestroyPQPaintBoxCurve();
    UpdateMIColor();
}

void TFormLayout::HideActions() {
    for (QAction* a : {actDownLoadClsRecorder, actDownloadSelectedRec, actDownloadAllRecorder, actDelRecorder,
                       actDelAllClsRecorder, actDelAllRecorder, actDownLoadAllEvent, actDelEvent,
                       actDelAllEvent, actDownloadSelectedEvt, ActDelSelectedRecorder, actDelSelectedEvt,
                       actMarker1, actMarker2, ActScale, ActStack, ActCopyImage, ActCopyData})
        a->setEnabled(false);
}

void TFormLayout::ShowRefusal(const std::string& Path, const std::string& Why) {
    const std::string text = Fmt("Die Datei %s kann nicht angezeigt werden: %s", LocalFileName(Path).c_str(),
                                 ReaderReason(Why, Path).c_str());
    FLastRefusal = text;
    if (LabSBar) LabSBar->setText(QString::fromStdString(text));
    LogPrepare(this, text, true);
    emit FileRefused(QString::fromStdString(text));
}

void TFormLayout::ShowTable(int Columns, const std::vector<std::pair<std::string, int>>& Headers,
                            std::function<std::string(int, int)> Getter, int Rows) {
    QStringList h;
    for (int c = 0; c < Columns; ++c)
        h << QString::fromStdString(Headers[size_t(c)].first);
    FGridModel->Reset(h, Rows, std::move(Getter));
    for (int c = 0; c < Columns; ++c)
        GridData->setColumnWidth(c, Headers[size_t(c)].second);
}

void TFormLayout::JoinReader() {
    if (FReader.joinable()) FReader.join();
}

void TFormLayout::RecToTable(const std::string& Path) {
    JoinReader();
    ClearLists();
    tvSelect->clear();
    FGrpLst.clear();
    Enable10MinReports(EqualsNoCase(ClassWordOfName(Path), "10min"));
    if (actReport->isEnabled()) FRepFN = Path;
    const int seq = ++FReadSeq;
    FReader = std::thread([this, seq, Path] {
        auto data = std::make_shared<TRecData>();
        std::string why;
        const bool ok = AnalyseRecData(Path, FerroClsFromNam(ClassWordOfName(Path)), *data,
                                       [&](const std::string& s) { why = s; });
        // A single group is drawn at once: its curves are decoded here too, so the window only
        // takes the finished records.
        std::shared_ptr<TGraphSeries> series;
        if (ok) {
            std::vector<uint32_t> shown;
            for (const TVecIdxStruct& g : data->GrpLst)
                if (!Housekeeping(g.GrpId)) shown.push_back(g.Idx);
            if (shown.size() == 1) {
                series = std::make_shared<TGraphSeries>();
                if (!TGraphAssembly::Assemble(*data, GroupColumns(*data, shown[0]), *series, nullptr))
                    series.reset();
            }
        }
        // The form joins this thread before it goes, so the queued call finds it alive.
        QMetaObject::invokeMethod(
            this,
            [this, seq, Path, data, series, ok, why] {
                if (seq == FReadSeq) RecToTableRead(Path, data, series, ok, why);
            },
            Qt::QueuedConnection);
    });
}

void TFormLayout::RecToTableRead(const std::string& Path, std::shared_ptr<TRecData> Data,
                                 std::shared_ptr<TGraphSeries> Series, bool Ok, const std::string& Why) {
    JoinReader();
    FRec = std::move(*Data);
    FPrepared = std::move(Series);
    SetNewSizeToTVI(Path);
    if (!Ok) {
        FRec = TRecData();
        ShowRefusal(Path, Why);
        EndWork();
        emit RecordingShown(false);
        return;
    }
    FGrpLst = FRec.GrpLst;
    Ftme = FRec.TimeZone;
    FInClick = true;
    QTreeWidgetItem* only = nullptr;
    int groups = 0;
    for (const TVecIdxStruct& g : FGrpLst) {
        if (Housekeeping(g.GrpId)) continue;
        std::string text = FLangXML.IdToText(g.GrpId);
        if (text.empty()) text = Fmt("Gruppe %u", g.Idx);
        auto* grp = new QTreeWidgetItem(tvSelect, {QString::fromStdString(text)});
        grp->setData(0, CTagRole, int(g.Idx));
        grp->setFlags(grp->flags() | Qt::ItemIsUserCheckable);
        grp->setCheckState(0, Qt::Unchecked);
        for (int r : GroupColumns(FRec, g.Idx)) {
            const TTblStrc& c = FRec.RecDataLst[size_t(r)];
            std::string name = FLangXML.IdToText(c.ObjId);
            if (name.empty()) name = Fmt("0x%X", c.ObjId);
            auto* leaf = new QTreeWidgetItem(grp, {QString::fromStdString(name + " [" + c.UnitTxt + "]")});
            leaf->setData(0, CTagRole, r);
            leaf->setCheckState(0, Qt::Unchecked);
        }
        only = grp;
        ++groups;
    }
    FInClick = false;
    SwitchGridPB(true);
    if (groups == 1 && only) {
        // One group is drawn at once; with more the user chooses.
        only->setExpanded(true);
        only->setCheckState(0, Qt::Checked);
    }
    FPrepared.reset();
    EndWork();
    // A file refused before this one no longer stands in the footer.
    if (LabSBar && LabSBar->text() == QString::fromStdString(FLastRefusal)) LabSBar->clear();
    emit RecordingShown(true);
}

void TFormLayout::EvtToTable(const std::string& Path) {
    ClearGrid();
    ClearLists();
    SwitchGridPB(false);
    TEvtData data;
    std::string why;
    const bool ok = AnalyseEventData(Path, data, [&](const std::string& s) { why = s; });
    SetNewSizeToTVI(Path);
    if (!ok) {
        ShowRefusal(Path, why);
        ShowTable(0, {}, nullptr, 0);
        EndWork();
        return;
    }
    FRec.Context = data.Context;
    Ftme = data.TimeZone;
    FEvtLst = std::move(data.EvtLst);
    // The event kinds of the interval and stop evaluations (types 1 to 14), external trigger and
    // binary input; others are service information.
    const uint32_t shown = 0x7FFEu | (1u << 15) | (1u << 16);
    for (size_t i = FEvtLst.size(); i-- > 0;) {
        const uint8_t t = FEvtLst[i].EvtType;
        const bool known = t <= CLastUserEvtType && (shown >> t) & 1u;
        // Service mode keeps every event.
        if (FVisibility < 2 && (t > CLastUserEvtType || !known)) FEvtLst.erase(FEvtLst.begin() + long(i));
    }
    const TFrmOnOfflineSettings& s = FOnOfflineEinstellungen;
    ShowTable(
        6,
        {{_SEvent, s.Ereignis},
         {_SZeit, s.Zeit},
         {_SMaxwert, s.Max},
         {_SEinheit, s.Einheit},
         {_SHarmonische, s.Harm},
         {_SDauer, s.Dauer}},
        [this](int c, int r) { return EvtGetValue(c, r); }, int(FEvtLst.size()));
    EndWork();
}

std::string TFormLayout::EvtGetValue(int Col, int Row) const {
    if (Row < 0 || size_t(Row) >= FEvtLst.size()) return {};
    const TEvtStrc& e = FEvtLst[size_t(Row)];
    switch (Col) {
    case 0: {
        uint32_t id = uint32_t(std::strtoul(e.IdTxt.c_str(), nullptr, 10));
        std::string t = FLangXMLFN.IdToText(id);
        if (t.empty()) t = e.IdTxt;
        if (e.Phase) t = Fmt("%s %s", t.c_str(), CPhaseTxt[size_t(std::clamp<int>(e.Phase, 1, 7))]);
        return t;
    }
    case 1: {
        if (e.Stamp.sec == 0) return _SNoValue;
        tmStamp_t l;
        UTCtoLocal(e.Stamp, Ftme, l);
        return LocalDateText(l.sec) + Fmt(",%03u", (l.frac & ~CSummerTimeFlag) / 1000000u);
    }
    case 2:
        if (FRec.Context.Valid != 0 && e.ObjId == CVoltPercentId) {
            const double factor = FRec.Context.VoltageFactor() / 100.0;
            return Fmt("%.4f", double(e.MaxVal) * factor / 100.0);
        }
        return e.MaxVal == 0.0f ? _SNoValue : Fmt("%.4f", double(e.MaxVal));
    case 3:
        if (FRec.Context.Valid != 0 && e.ObjId == CVoltPercentId) return "[V]";
        return Fmt("[%s]", e.UnitTxt.c_str());
    case 4:
        return e.Harm == 0 ? _SNoValue : std::to_string(e.Harm);
    case 5:
        return e.Duration == 0.0f ? _SNoValue : Fmt("%.4f", double(e.Duration));
    default:
        return {};
    }
}

void TFormLayout::EvtOnMouseDown(int Row, Qt::MouseButton Button) {
    if (Button != Qt::RightButton || Row < 0 || size_t(Row) >= FEvtLst.size()) return;
    // The table may hide events: find the row's event in the file by its stamp and object.
    TEvtData all;
    if (!AnalyseEventData(FLastUseEvtFile, all, nullptr)) return;
    const TEvtStrc& e = FEvtLst[size_t(Row)];
    size_t index = 0;
    for (size_t i = 0; i < all.EvtLst.size(); ++i)
        if (all.EvtLst[i].ObjId == e.ObjId && all.EvtLst[i].Stamp.sec == e.Stamp.sec &&
            all.EvtLst[i].Stamp.frac == e.Stamp.frac && all.EvtLst[i].EvtType == e.EvtType)
            index = i;
    uint32_t objId = 0;
    std::vector<std::string> lines;
    std::string why;
    const bool ok = ReadEventDetail(
        FLastUseEvtFile, index, objId, lines, [this](uint32_t id) { return FLangXMLFN.IdToText(id); },
        [&](const std::string& s) { why = s; });
    auto* memo = new TFrmMemo(this);
    memo->setObjectName("FrmEventDetail");
    memo->setAttribute(Qt::WA_DeleteOnClose);
    memo->setWindowTitle(QString::fromStdString(EvtGetValue(0, Row) + " – " + EvtGetValue(1, Row)));
    if (!ok) lines = {why};
    for (const std::string& l : lines)
        memo->AddLine(l);
    memo->setModal(true);
    memo->show();
}

void TFormLayout::AsyncToTable(const std::string& Path) {
    ClearGrid();
    ClearLists();
    SwitchGridPB(false);
    tmStamp_t stamp{};
    std::string why;
    const bool ok =
        AnalyseAsyncData(Path, FAsyncLst, FAsyncDPLst, false, stamp, [&](const std::string& s) { why = s; });
    SetNewSizeToTVI(Path);
    if (!ok) {
        ShowRefusal(Path, why);
        ShowTable(0, {}, nullptr, 0);
        EndWork();
        return;
    }
    std::vector<std::pair<std::string, int>> headers = {{_SZeit, 200}};
    for (uint32_t id : FAsyncDPLst) {
        std::string t = FLangXML.IdToText(id);
        headers.push_back({t.empty() ? Fmt("%u", id) : t, 50});
    }
    ShowTable(
        int(headers.size()), headers, [this](int c, int r) { return AsyncGetValue(c, r); },
        int(FAsyncLst.size()));
    EndWork();
}

std::string TFormLayout::AsyncGetValue(int Col, int Row) const {
    if (Row < 0 || size_t(Row) >= FAsyncLst.size()) return {};
    const TAsyncRecord& a = FAsyncLst[size_t(Row)];
    if (Col == 0) {
        tmStamp_t l;
        UTCtoLocal(a.Stamp, Ftme, l);
        return LocalDateText(l.sec) + Fmt(",%03u", (l.frac & ~CSummerTimeFlag) / 1000000u);
    }
    if (Col < 1 || Col > 16) return {};
    return std::string(1, CEnum_0_1[(a.Bits >> (Col - 1)) & 1u]);
}

} // namespace ferro
