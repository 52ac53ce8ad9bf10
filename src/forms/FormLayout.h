#pragma once
// The common form of every view on stored measurement data (on an instrument, in local folders,
// the complete value table). Left a file tree of recordings and events; right either a table
// (events, binary inputs) or the groups of a recording with a time chart, its markers and scales.
// Descendants fill the tree (the instrument's listings, local folders) and decide what a click
// fetches; the base turns files into tables and curves, runs bulk downloads and deletes.

#include "charts/PQPaintBoxCrvTime.h"
#include "data/DataFileReader.h"
#include "forms/FormBasic.h"
#include "forms/JoiningThread.h"

#include <QTreeWidgetItem>

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

class QAction;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QScrollArea;
class QSplitter;
class QStackedWidget;
class QTabWidget;
class QTableView;
class QToolBar;
class QTreeWidget;

namespace ferro {

class PaintBoxWidget;
class TPQPaintBoxHarm;
class TValueGridModel;
struct TGraphSeries;

// A file of the tree: its listed name (with the leading folder), size and whether it holds binary
// inputs. Folders and roots are plain items.
class TRecTreeViewItem : public QTreeWidgetItem {
public:
    TRecTreeViewItem() : QTreeWidgetItem(UserType + 1) {}
    uint64_t FileSize = 0;
    bool isAsync = false;
    bool isEvent = false;
    std::string HelpKeyword;
};

struct TMarkerRecord {
    std::string Name;
    float M1 = 0, M2 = 0, Dif = 0;
};
struct TMarkerTimeRecord {
    uint64_t StartTime = 0, EndTime = 0;
};
struct TClickRecord {
    float x = 0, y = 0;
    TShiftState shift = 0;
};

class TFormLayout : public TFormBasic {
    Q_OBJECT
public:
    explicit TFormLayout(QWidget* Parent = nullptr);
    ~TFormLayout() override;

    // Item data: the image index (0 incomplete, 2 root, 3 complete, 4 folder) and the tag.
    static constexpr int CImageRole = Qt::UserRole + 1;
    static constexpr int CTagRole = Qt::UserRole + 2;
    static void SetItemImage(QTreeWidgetItem* Item, int Image);

    // ---- Settings handed over by the host ----
    void SetSettings(const TFrmOnOfflineSettings& S);
    const TFrmOnOfflineSettings& Settings() const { return FOnOfflineEinstellungen; }
    std::function<void(const TFrmOnOfflineSettings&)> FWriteSettings;

    // ---- Lists and tables ----
    void RecOverView(const std::vector<std::string>& Lines) override;
    void EvtOverView(const std::vector<std::string>& Lines) override;
    // Reads the recording on a worker; the groups appear (and a single group is drawn) when it is
    // read. `RecordingShown` follows either way.
    void RecToTable(const std::string& Path) override;
    void EvtToTable(const std::string& Path) override;
    void AsyncToTable(const std::string& Path) override;
    void ClickRecOverview();
    void ClickEvtOverview();
    virtual void ClearLists();
    virtual void HideActions();
    void ClearGrid();
    // Cell texts of the event and binary-input tables; empty beyond the lists.
    std::string EvtGetValue(int Col, int Row) const;
    std::string AsyncGetValue(int Col, int Row) const;
    std::string grdMarkerGetValue(int Col, int Row) const;
    // A press on a row of the event table; the right button opens the event's detail lines.
    void EvtOnMouseDown(int Row, Qt::MouseButton Button);
    // The report actions (the PDF report and the six statistics) on or off; a 10-minute recording
    // turns them on.
    void Enable10MinReports(bool On);

    // ---- Reports on the 10-minute recording FRepFN (FormLayoutReports.cpp) ----
    // Maximum and 95 % values of a family (display 5 to 13) on the harmonic chart; read on a worker.
    void GeneENCompleteRep(const std::string& FileName, int Disp);
    // The EN 50160 report of FRepFN as PDF, with the local events of its period.
    void actReportExecute();
    TPQPaintBoxHarm* HarmChart() const { return FPQPaintBoxHarm; }
    std::string FRepFN;
    // Where the PDF goes; empty cancels. Unset: a save dialog. Tests put their own answer here.
    std::function<std::string(const std::string& Suggested)> FAskReportPath;

    // ---- Download ----
    // True when the local copy is complete; `Path` the local file, `Size` its length (the offset
    // to resume at).
    bool DoesFileExist(const std::string& Name, std::string& Path, bool Log, bool IsRec, uint64_t& Size);
    void SetNewSizeToTVI(const std::string& Path);
    void SetNewSelectedRec(TRecTreeViewItem* Item) { FSelectedRec = Item; }
    void RecordClick(TRecTreeViewItem* Item);
    void EventClick(TRecTreeViewItem* Item);
    void MassDownLoad();
    // The mouse handlers of the tree: which actions a popup offers.
    void RecMouseDown(TRecTreeViewItem* Item);
    void RecAllMouseDown();
    void EvtMouseDown(TRecTreeViewItem* Item);
    void EvtAllMouseDown();

    // ---- Graph ----
    void PaintGraph();
    void MarkerNotify(int Mark, uint64_t TS, const std::vector<std::string>& SL, const TSingleArray& Vals);
    TPQPaintBoxCrvTime* Chart() const { return FPQPaintBoxCrvTime; }

    // ---- What tests and the host look at ----
    QTreeWidget* TreeViewOpti = nullptr;
    QTreeWidget* tvSelect = nullptr;
    QTableView* GridData = nullptr;
    QTableView* grdMarker = nullptr;
    QTabWidget* tbcSettings = nullptr;
    QScrollArea* ScrollPaintBox = nullptr;
    QTreeWidgetItem* FRecTreeView = nullptr;
    QTreeWidgetItem* FEvtTreeView = nullptr;
    QTreeWidgetItem* FStreamTreeView = nullptr;
    std::vector<std::string> FAllRecLst, FAllEvtLst, FClassRecLst;
    bool FDLAllRec = false, FDLAllEvt = false, FDLClassRec = false;
    int FMassDownloadCnt = 0;
    std::vector<TEvtStrc> FEvtLst;
    std::vector<TAsyncRecord> FAsyncLst;
    std::vector<uint32_t> FAsyncDPLst;
    std::vector<TMarkerRecord> FMarkerList;
    TMarkerTimeRecord FMarkerTimeRecord;
    std::string FLastUseEvtFile;
    // The recording in view, as the reader gave it.
    TRecData FRec;
    TRecTreeViewItem* FSelectedRec = nullptr;
    TRecTreeViewItem* FTVIRec = nullptr;
    TRecTreeViewItem* FTVIEvt = nullptr;
    std::vector<QTreeWidgetItem*> FPaintLst;

signals:
    // A file could not be shown; the German reason is also in the status bar.
    void FileRefused(const QString& Reason);
    // A recording was read (Ok) or refused, and the view shows it.
    void RecordingShown(bool Ok);
    // The statistic chart shows display `Disp` (after the three-wire rule); Ok false: unreadable.
    void StatisticShown(int Disp, bool Ok);
    // The PDF report was written (Ok) or not; `Text` is the message of the status bar.
    void ReportWritten(bool Ok, const QString& Path, const QString& Text);

protected:
    // The tree's roots and folders; descendants add the roots in ConnEst or their scan.
    QTreeWidgetItem* AddRoot(const std::string& Text);
    void ClearTreeView(QTreeWidgetItem* Root);
    void SwitchGridPB(bool DoPaint);
    void ShowChartPane();
    // The local folders of recordings and events (the link's, or a descendant's own).
    virtual std::string RecDir() const;
    virtual std::string EvtDir() const;
    // Sends the download of one file; the table builder follows when it has arrived.
    virtual void RequestFile(bool IsRec, const std::string& Name, uint64_t Offset);
    // A file the reader refused: the reason in the status bar and a message.
    void ShowRefusal(const std::string& Path, const std::string& Why);
    tmStamp_t ToLocal(const tmStamp_t& Utc) const;
    // A click and a right click on the tree; a view whose tree is not the instrument's overrides
    // them.
    virtual void ItemClicked(QTreeWidgetItem* Item);
    virtual void TreeContextMenu(const QPoint& Pos);

    // Width of the tree pane and the six column widths of the event table.
    TFrmOnOfflineSettings FOnOfflineEinstellungen{300, 300, 160, 140, 80, 80, 360};
    bool FInClick = false;
    QToolBar* ToolBar = nullptr;
    QWidget* Layout = nullptr;
    QSplitter* SplittOpti = nullptr;
    QSplitter* SplittPaintBox = nullptr;
    QWidget* tbtmTV = nullptr;
    QWidget* tbtmMarker = nullptr;
    QWidget* tbtmScale = nullptr;
    QLabel* lblScaleType = nullptr;
    QLabel* lblScaleUnit = nullptr;
    QLineEdit* edtScaleMax = nullptr;
    QLineEdit* edtScaleMin = nullptr;
    QPushButton* btnSetScale = nullptr;
    QPushButton* btnScaleAutoscale = nullptr;
    QMenu* PopUpRek = nullptr;
    QMenu* PopUpAllRekorder = nullptr;
    QMenu* PopUpEvt = nullptr;
    QMenu* PopUpAllEvt = nullptr;
    QMenu* PopUpPaintBoxCurve = nullptr;
    // What the right side says until a file is shown; descendants tell where their files come from.
    QLabel* lblHint = nullptr;

public:
    QAction *actDownLoadClsRecorder = nullptr, *actDownloadSelectedRec = nullptr,
            *actDownloadAllRecorder = nullptr;
    QAction *actDelRecorder = nullptr, *actDelAllClsRecorder = nullptr, *actDelAllRecorder = nullptr;
    QAction *actDownLoadAllEvent = nullptr, *actDelEvent = nullptr, *actDelAllEvent = nullptr;
    QAction *actDownloadSelectedEvt = nullptr, *ActDelSelectedRecorder = nullptr,
            *actDelSelectedEvt = nullptr;
    QAction *actMultiSelect = nullptr, *actRefresh = nullptr, *actReport = nullptr;
    QAction *actMarker1 = nullptr, *actMarker2 = nullptr, *ActScale = nullptr, *ActStack = nullptr;
    QAction *ActCopyImage = nullptr, *ActCopyData = nullptr;
    QAction *ActRepHrmsSpannung = nullptr, *ActRepHrmsStrom = nullptr, *ActRepIntHrmsSpannung = nullptr,
            *actRepIntHrmsStrom = nullptr, *ActRepFrqBndSpannung = nullptr, *ActRepFrqBndStrom = nullptr;

private:
    void BuildUi();
    void BuildActions();
    void BuildSettingsTabs(QWidget* Parent);
    void WireTree();
    void WireGraphActions();
    QTreeWidgetItem* AddFolder(QTreeWidgetItem* Parent, const std::string& Caption, const std::string& Name);
    void TreeViewOptiChangeCheck(QTreeWidgetItem* Item);
    void tvSelectChangeCheck(QTreeWidgetItem* Item);
    void AddRemovePaintLst(QTreeWidgetItem* Item);
    void CreateDestroyPQPaintBoxCurve();
    void SwitchActionsForPB();
    void MousePaintBoxNoti(const TPointF& P1, const TPointF& P2, TMouseButton Button, TShiftState Shift);
    void FillScaleControls(const TRectF& Region);
    void StartMassDownload(std::vector<std::string>& List, bool& Flag);
    void SetRecActions(bool Cls, bool Sel, bool All, bool Del, bool DelCls, bool DelAll);
    void SetEvtActions(bool All, bool Del, bool DelAll);
    void DeleteOne(bool IsRec);
    void DeleteChecked(bool IsRec);
    void CollectChecked(QTreeWidgetItem* Under, std::vector<TRecTreeViewItem*>& Out) const;
    void SetChecking(bool On);
    void ShowTable(int Columns, const std::vector<std::pair<std::string, int>>& Headers,
                   std::function<std::string(int, int)> Getter, int Rows);

    QStackedWidget* FRightStack = nullptr;
    PaintBoxWidget* FChartWidget = nullptr;
    TPQPaintBoxCrvTime* FPQPaintBoxCrvTime = nullptr;
    std::unique_ptr<TValueGridModel> FGridModel, FMarkerModel;
    TClickRecord FClickRecord;
    bool FChecking = false;
    std::string FLastRefusal;
    // A recording is read on this thread, so the window keeps turning while a large file loads;
    // joined before the next read and when the form goes.
    std::thread FReader;
    int FReadSeq = 0;
    // The curves of a recording with one group, assembled on the reader thread while the tree
    // would check them; PaintGraph takes them instead of decoding again.
    std::shared_ptr<TGraphSeries> FPrepared;
    void RecToTableRead(const std::string& Path, std::shared_ptr<TRecData> Data,
                        std::shared_ptr<TGraphSeries> Series, bool Ok, const std::string& Why);
    void JoinReader();

    // Reports: the actions with their menu, and the harmonic chart in place of the curves.
    void BuildReports();
    void CreateDestroyPQPaintBoxHarm();
    PaintBoxWidget* FHarmWidget = nullptr;
    TPQPaintBoxHarm* FPQPaintBoxHarm = nullptr;
    QMenu* PopUpReport = nullptr;
    int FStatSeq = 0;
    TJoiningThread FStatThread, FReportThread;
};

} // namespace ferro
