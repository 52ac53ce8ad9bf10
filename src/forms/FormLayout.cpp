// The stored-data form: its controls, the file tree with the instrument's listings, and the three
// table builders. Download and delete are in FormLayoutDownload.cpp, the chart in
// FormLayoutGraph.cpp.
#include "forms/FormLayout.h"

#include "data/RecordingList.h"
#include "forms/FrmMemo.h"
#include "forms/PaintBoxWidget.h"
#include "forms/ValueGridModel.h"
#include "foundation/Format.h"
#include "foundation/records/Units.h"
#include "stored/ListingTexts.h"
#include "stored/StoredTexts.h"

#include <QAction>
#include <QApplication>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QPushButton>
#include <QScrollArea>
#include <QSplitter>
#include <QStackedWidget>
#include <QStyle>
#include <QTabWidget>
#include <QTableView>
#include <QToolBar>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace ferro {

namespace {

enum TItemKind { ikNone, ikRootRec, ikRootEvt, ikFolder };
constexpr int CKindRole = Qt::UserRole + 3;

QIcon ImageIcon(int Image) {
    QStyle* s = QApplication::style();
    switch (Image) {
    case 2:
        return s->standardIcon(QStyle::SP_DriveHDIcon);
    case 3:
        return s->standardIcon(QStyle::SP_DialogApplyButton);
    case 4:
        return s->standardIcon(QStyle::SP_DirIcon);
    default:
        return s->standardIcon(QStyle::SP_ArrowDown);
    }
}

// The event table reports presses with their button, which QTableView's signals do not carry.
class TEventGrid : public QTableView {
public:
    std::function<void(int Row, Qt::MouseButton Button)> OnPress;
    using QTableView::QTableView;

protected:
    void mousePressEvent(QMouseEvent* E) override {
        QTableView::mousePressEvent(E);
        if (OnPress) OnPress(indexAt(E->position().toPoint()).row(), E->button());
    }
};

} // namespace

void TFormLayout::SetItemImage(QTreeWidgetItem* Item, int Image) {
    Item->setData(0, CImageRole, Image);
    Item->setIcon(0, ImageIcon(Image));
}

TFormLayout::TFormLayout(QWidget* Parent) : TFormBasic(Parent) {
    FGridModel = std::make_unique<TValueGridModel>();
    FMarkerModel = std::make_unique<TValueGridModel>();
    BuildActions();
    BuildUi();
    BuildReports();
    SetSettings(FOnOfflineEinstellungen);
    HideActions();
    // A long message in the status bar is cut, it never widens the window; nor does the connection
    // text, which asks for its whole length: it keeps that length while there is room.
    if (LabSBar) LabSBar->setSizePolicy(QSizePolicy::Ignored, LabSBar->sizePolicy().verticalPolicy());
    if (PanelBack) PanelBack->setMinimumWidth(1);
}

TFormLayout::~TFormLayout() {
    JoinReader();
    ClearGrid();
    FOnOfflineEinstellungen.LytWth = Layout->width() > 0 ? Layout->width() : FOnOfflineEinstellungen.LytWth;
    if (FWriteSettings) FWriteSettings(FOnOfflineEinstellungen);
}

void TFormLayout::BuildActions() {
    auto make = [this](QAction*& a, const char* name, const QString& text) {
        a = new QAction(text, this);
        a->setObjectName(name);
    };
    make(actDownLoadClsRecorder, "actDownLoadClsRecorder", "Klasse herunterladen");
    make(actDownloadSelectedRec, "actDownloadSelectedRec", "Auswahl herunterladen");
    make(actDownloadAllRecorder, "actDownloadAllRecorder", "Alle Aufzeichnungen herunterladen");
    make(actDelRecorder, "actDelRecorder", "Aufzeichnung löschen");
    make(actDelAllClsRecorder, "actDelAllClsRecorder", "Klasse löschen");
    make(actDelAllRecorder, "actDelAllRecorder", "Alle Aufzeichnungen löschen");
    make(actDownLoadAllEvent, "actDownLoadAllEvent", "Alle Ereignisse herunterladen");
    make(actDelEvent, "actDelEvent", "Ereignis löschen");
    make(actDelAllEvent, "actDelAllEvent", "Alle Ereignisse löschen");
    make(actDownloadSelectedEvt, "actDownloadSelectedEvt", "Ausgewählte Ereignisse herunterladen");
    make(ActDelSelectedRecorder, "ActDelSelectedRecorder", "Ausgewählte Aufzeichnungen löschen");
    make(actDelSelectedEvt, "actDelSelectedEvt", "Ausgewählte Ereignisse löschen");
    make(actMultiSelect, "actMultiSelect", "Mehrfachauswahl");
    make(actRefresh, "actRefresh", "Aktualisieren");
    make(actReport, "actReport", "Bericht");
    make(actMarker1, "actMarker1", "Marker 1 setzen");
    make(actMarker2, "actMarker2", "Marker 2 setzen");
    make(ActScale, "ActScale", "Skalierung");
    make(ActStack, "ActStack", "Stapeln");
    make(ActCopyImage, "ActCopyImage", "Bild kopieren");
    make(ActCopyData, "ActCopyData", "Daten kopieren");
    actMultiSelect->setCheckable(true);
    // Short texts for the tool bar; the menus keep the long ones.
    actDownloadAllRecorder->setIconText("Alle Aufzeichnungen");
    actDownLoadAllEvent->setIconText("Alle Ereignisse");
    actDownloadAllRecorder->setIcon(style()->standardIcon(QStyle::SP_ArrowDown));
    actDownLoadAllEvent->setIcon(style()->standardIcon(QStyle::SP_ArrowDown));
    actDownloadAllRecorder->setToolTip("Alle Aufzeichnungen des Geräts herunterladen (erst nach der Liste)");
    actDownLoadAllEvent->setToolTip("Alle Ereignisse des Geräts herunterladen (erst nach der Liste)");
    actRefresh->setIcon(style()->standardIcon(QStyle::SP_BrowserReload));
    actReport->setToolTip("Berichte gibt es für 10-Minuten-Aufzeichnungen");
    actReport->setEnabled(false);

    connect(actRefresh, &QAction::triggered, this, [this] {
        ClickRecOverview();
        ClickEvtOverview();
    });
    connect(actMultiSelect, &QAction::toggled, this, [this](bool on) { SetChecking(on); });
    connect(actDownloadAllRecorder, &QAction::triggered, this,
            [this] { StartMassDownload(FAllRecLst, FDLAllRec); });
    connect(actDownLoadAllEvent, &QAction::triggered, this,
            [this] { StartMassDownload(FAllEvtLst, FDLAllEvt); });
    connect(actDownLoadClsRecorder, &QAction::triggered, this, [this] {
        if (!FTVIRec || !FTVIRec->parent()) return;
        QTreeWidgetItem* p = FTVIRec->parent();
        for (int i = 0; i < p->childCount(); ++i)
            if (auto* f = dynamic_cast<TRecTreeViewItem*>(p->child(i)))
                FClassRecLst.push_back(
                    Fmt("%s=%llu", f->HelpKeyword.c_str(), (unsigned long long)f->FileSize));
        StartMassDownload(FClassRecLst, FDLClassRec);
    });
    connect(actDownloadSelectedRec, &QAction::triggered, this, [this] {
        FAllRecLst.clear();
        std::vector<TRecTreeViewItem*> items;
        CollectChecked(FRecTreeView, items);
        for (auto* f : items)
            FAllRecLst.push_back(Fmt("%s=%llu", f->HelpKeyword.c_str(), (unsigned long long)f->FileSize));
        StartMassDownload(FAllRecLst, FDLAllRec);
    });
    connect(actDownloadSelectedEvt, &QAction::triggered, this, [this] {
        FAllEvtLst.clear();
        std::vector<TRecTreeViewItem*> items;
        CollectChecked(FEvtTreeView, items);
        for (auto* f : items)
            FAllEvtLst.push_back(Fmt("%s=%llu", f->HelpKeyword.c_str(), (unsigned long long)f->FileSize));
        StartMassDownload(FAllEvtLst, FDLAllEvt);
    });
    connect(actDelRecorder, &QAction::triggered, this, [this] { DeleteOne(true); });
    connect(actDelEvent, &QAction::triggered, this, [this] { DeleteOne(false); });
    connect(actDelAllClsRecorder, &QAction::triggered, this, [this] {
        if (!FTVIRec || !FTVIRec->parent()) return;
        QTreeWidgetItem* p = FTVIRec->parent();
        for (int i = 0; i < p->childCount(); ++i)
            if (auto* f = dynamic_cast<TRecTreeViewItem*>(p->child(i))) RecDel(this, f->HelpKeyword);
        ClickRecOverview();
    });
    connect(actDelAllRecorder, &QAction::triggered, this, [this] {
        RecDelAll(this);
        RecUebClick(this);
    });
    connect(actDelAllEvent, &QAction::triggered, this, [this] {
        EvtDelAll(this);
        EvtUebClick(this);
    });
    connect(ActDelSelectedRecorder, &QAction::triggered, this, [this] { DeleteChecked(true); });
    connect(actDelSelectedEvt, &QAction::triggered, this, [this] { DeleteChecked(false); });
}

void TFormLayout::BuildUi() {
    auto* outer = new QVBoxLayout(lytBase);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);
    ToolBar = new QToolBar(lytBase);
    ToolBar->setObjectName("ToolBar");
    ToolBar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    ToolBar->addAction(actRefresh);
    ToolBar->addAction(actDownloadAllRecorder);
    ToolBar->addAction(actDownLoadAllEvent);
    ToolBar->addAction(actMultiSelect);
    ToolBar->addSeparator();
    ToolBar->addAction(ActStack);
    ToolBar->addAction(ActScale);
    outer->addWidget(ToolBar);

    SplittOpti = new QSplitter(Qt::Horizontal, lytBase);
    SplittOpti->setObjectName("SplittOpti");
    outer->addWidget(SplittOpti, 1);

    Layout = new QWidget(SplittOpti);
    Layout->setObjectName("Layout");
    auto* left = new QVBoxLayout(Layout);
    left->setContentsMargins(0, 0, 0, 0);
    TreeViewOpti = new QTreeWidget(Layout);
    TreeViewOpti->setObjectName("TreeViewOpti");
    TreeViewOpti->setHeaderHidden(true);
    TreeViewOpti->setContextMenuPolicy(Qt::CustomContextMenu);
    TreeViewOpti->setMinimumWidth(120);
    left->addWidget(TreeViewOpti);

    // The right side shows either the chart with its tabs or a table, never both.
    FRightStack = new QStackedWidget(SplittOpti);
    QWidget* right = FRightStack;
    SplittPaintBox = new QSplitter(Qt::Vertical, right);
    SplittPaintBox->setObjectName("SplittPaintBox");
    FRightStack->addWidget(SplittPaintBox);
    tbcSettings = new QTabWidget(SplittPaintBox);
    tbcSettings->setObjectName("tbcSettings");
    BuildSettingsTabs(tbcSettings);
    ScrollPaintBox = new QScrollArea(SplittPaintBox);
    ScrollPaintBox->setObjectName("ScrollPaintBox");
    ScrollPaintBox->setWidgetResizable(true);
    ScrollPaintBox->setBackgroundRole(QPalette::Base);
    SplittPaintBox->setStretchFactor(0, 1);
    SplittPaintBox->setStretchFactor(1, 3);

    auto* grid = new TEventGrid(right);
    grid->OnPress = [this](int Row, Qt::MouseButton B) { EvtOnMouseDown(Row, B); };
    GridData = grid;
    GridData->setObjectName("GridData");
    GridData->setModel(FGridModel.get());
    GridData->setSelectionBehavior(QAbstractItemView::SelectRows);
    GridData->setEditTriggers(QAbstractItemView::NoEditTriggers);
    GridData->setAlternatingRowColors(true);
    FRightStack->addWidget(GridData);
    lblHint = new QLabel("Links eine Aufzeichnung oder ein Ereignis anklicken: hier erscheinen dann "
                         "die Kurven oder die Ereignistabelle.",
                         right);
    lblHint->setObjectName("lblHint");
    lblHint->setAlignment(Qt::AlignCenter);
    lblHint->setWordWrap(true);
    lblHint->setMargin(24);
    lblHint->setStyleSheet("color: palette(mid); font-size: 12pt;");
    FRightStack->addWidget(lblHint);
    FRightStack->setCurrentWidget(lblHint);
    SplittOpti->setStretchFactor(1, 1);

    PopUpRek = new QMenu(this);
    PopUpRek->setObjectName("PopUpRek");
    PopUpRek->addActions({actDownLoadClsRecorder, actDownloadSelectedRec, actDownloadAllRecorder});
    PopUpRek->addSeparator();
    PopUpRek->addActions({actDelRecorder, actDelAllClsRecorder, ActDelSelectedRecorder, actDelAllRecorder});
    PopUpRek->addSeparator();
    PopUpRek->addAction(actMultiSelect);
    PopUpAllRekorder = new QMenu(this);
    PopUpAllRekorder->setObjectName("PopUpAllRekorder");
    PopUpAllRekorder->addActions(
        {actDownloadSelectedRec, actDownloadAllRecorder, actDelAllRecorder, actMultiSelect});
    PopUpEvt = new QMenu(this);
    PopUpEvt->setObjectName("PopUpEvt");
    PopUpEvt->addActions({actDownLoadAllEvent, actDownloadSelectedEvt, actDelEvent, actDelSelectedEvt,
                          actDelAllEvent, actMultiSelect});
    PopUpAllEvt = new QMenu(this);
    PopUpAllEvt->setObjectName("PopUpAllEvt");
    PopUpAllEvt->addActions({actDownLoadAllEvent, actDownloadSelectedEvt, actDelAllEvent, actMultiSelect});
    PopUpPaintBoxCurve = new QMenu(this);
    PopUpPaintBoxCurve->setObjectName("PopUpPaintBoxCurve");
    PopUpPaintBoxCurve->addActions({actMarker1, actMarker2, ActStack, ActScale, ActCopyImage, ActCopyData});
    WireTree();
    WireGraphActions();
}

void TFormLayout::BuildSettingsTabs(QWidget* Parent) {
    tbtmTV = new QWidget(Parent);
    tbtmTV->setObjectName("tbtmTV");
    auto* l1 = new QVBoxLayout(tbtmTV);
    l1->setContentsMargins(2, 2, 2, 2);
    tvSelect = new QTreeWidget(tbtmTV);
    tvSelect->setObjectName("tvSelect");
    tvSelect->setHeaderHidden(true);
    l1->addWidget(tvSelect);
    tbcSettings->addTab(tbtmTV, "Kurven");

    tbtmMarker = new QWidget(Parent);
    tbtmMarker->setObjectName("tbtmMarker");
    auto* l2 = new QVBoxLayout(tbtmMarker);
    l2->setContentsMargins(2, 2, 2, 2);
    grdMarker = new QTableView(tbtmMarker);
    grdMarker->setObjectName("grdMarker");
    grdMarker->setModel(FMarkerModel.get());
    grdMarker->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grdMarker->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    FMarkerModel->Reset({"Name", "M1", "M2", "Differenz"}, 0,
                        [this](int c, int r) { return grdMarkerGetValue(c, r); });
    l2->addWidget(grdMarker);
    tbcSettings->addTab(tbtmMarker, "Marker");

    tbtmScale = new QWidget(Parent);
    tbtmScale->setObjectName("tbtmScale");
    auto* grid = new QGridLayout(tbtmScale);
    lblScaleType = new QLabel(tbtmScale);
    lblScaleType->setObjectName("lblScaleType");
    lblScaleUnit = new QLabel(tbtmScale);
    lblScaleUnit->setObjectName("lblScaleUnit");
    edtScaleMax = new QLineEdit(tbtmScale);
    edtScaleMax->setObjectName("edtScaleMax");
    edtScaleMin = new QLineEdit(tbtmScale);
    edtScaleMin->setObjectName("edtScaleMin");
    btnSetScale = new QPushButton("Übernehmen", tbtmScale);
    btnSetScale->setObjectName("btnSetScale");
    btnScaleAutoscale = new QPushButton("Automatisch", tbtmScale);
    btnScaleAutoscale->setObjectName("btnScaleAutoscale");
    grid->addWidget(new QLabel("Bereich:", tbtmScale), 0, 0);
    grid->addWidget(lblScaleType, 0, 1);
    grid->addWidget(lblScaleUnit, 0, 2);
    grid->addWidget(new QLabel("Maximum:", tbtmScale), 1, 0);
    grid->addWidget(edtScaleMax, 1, 1);
    grid->addWidget(new QLabel("Minimum:", tbtmScale), 2, 0);
    grid->addWidget(edtScaleMin, 2, 1);
    grid->addWidget(btnSetScale, 3, 1);
    grid->addWidget(btnScaleAutoscale, 3, 2);
    grid->setColumnStretch(3, 1);
    grid->setRowStretch(4, 1);
    tbcSettings->addTab(tbtmScale, "Skalierung");
}

void TFormLayout::SetSettings(const TFrmOnOfflineSettings& S) {
    FOnOfflineEinstellungen = S;
    const int total = std::max(SplittOpti->width(), FOnOfflineEinstellungen.LytWth + 600);
    SplittOpti->setSizes({FOnOfflineEinstellungen.LytWth, total - FOnOfflineEinstellungen.LytWth});
}

tmStamp_t TFormLayout::ToLocal(const tmStamp_t& Utc) const {
    return FComUnit ? FComUnit->CorrectUTCtoLocal(Utc) : Utc;
}

std::string TFormLayout::RecDir() const {
    return FComUnit ? FComUnit->FRecDir : std::string();
}

std::string TFormLayout::EvtDir() const {
    return FComUnit ? FComUnit->FEvtDir : std::string();
}

// ---- The tree ----

QTreeWidgetItem* TFormLayout::AddRoot(const std::string& Text) {
    auto* root = new QTreeWidgetItem(TreeViewOpti, {QString::fromStdString(Text)});
    SetItemImage(root, 2);
    root->setData(0, CTagRole, 3);
    return root;
}

QTreeWidgetItem* TFormLayout::AddFolder(QTreeWidgetItem* Parent, const std::string& Caption,
                                        const std::string& Name) {
    auto* f = new QTreeWidgetItem(Parent, {QString::fromStdString(Caption)});
    SetItemImage(f, 4);
    f->setData(0, CKindRole, ikFolder);
    f->setData(0, Qt::UserRole, QString::fromStdString(Name));
    if (FChecking) f->setCheckState(0, Qt::Unchecked);
    return f;
}

void TFormLayout::ClearTreeView(QTreeWidgetItem* Root) {
    if (!Root) return;
    LogPrepare(this, "Before_ClearTree", false);
    std::function<void(QTreeWidgetItem*)> dispose = [&](QTreeWidgetItem* it) {
        for (int i = it->childCount() - 1; i >= 0; --i) {
            QTreeWidgetItem* c = it->child(i);
            dispose(c);
            if (c == FSelectedRec) FSelectedRec = nullptr;
            if (c == FTVIRec) FTVIRec = nullptr;
            if (c == FTVIEvt) FTVIEvt = nullptr;
            delete c;
        }
    };
    dispose(Root);
    LogPrepare(this, "After_ClearTree", false);
}

void TFormLayout::WireTree() {
    connect(TreeViewOpti, &QTreeWidget::itemClicked, this,
            [this](QTreeWidgetItem* it, int) { ItemClicked(it); });
    connect(TreeViewOpti, &QTreeWidget::customContextMenuRequested, this,
            [this](const QPoint& p) { TreeContextMenu(p); });
    connect(TreeViewOpti, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* it, int) {
        if (!FInClick) TreeViewOptiChangeCheck(it);
    });
    connect(tvSelect, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* it, int) {
        if (!FInClick) tvSelectChangeCheck(it);
    });
}

void TFormLayout::ItemClicked(QTreeWidgetItem* Item) {
    auto* f = dynamic_cast<TRecTreeViewItem*>(Item);
    if (!f) {
        // A folder or a root opens and closes with a click.
        if (Item->data(0, CKindRole).toInt() == ikFolder) Item->setExpanded(!Item->isExpanded());
        return;
    }
    if (f->isEvent)
        EventClick(f);
    else
        RecordClick(f);
}

void TFormLayout::TreeContextMenu(const QPoint& Pos) {
    QTreeWidgetItem* it = TreeViewOpti->itemAt(Pos);
    if (!it) return;
    QMenu* menu = nullptr;
    auto* f = dynamic_cast<TRecTreeViewItem*>(it);
    bool underEvt = false;
    for (QTreeWidgetItem* p = it; p; p = p->parent())
        underEvt = underEvt || p == FEvtTreeView;
    if (f && f->isEvent) {
        EvtMouseDown(f);
        menu = PopUpEvt;
    } else if (f) {
        RecMouseDown(f);
        menu = PopUpRek;
    } else if (underEvt) {
        EvtAllMouseDown();
        menu = PopUpAllEvt;
    } else {
        RecAllMouseDown();
        menu = PopUpAllRekorder;
    }
    menu->popup(TreeViewOpti->viewport()->mapToGlobal(Pos));
}

void TFormLayout::TreeViewOptiChangeCheck(QTreeWidgetItem* Item) {
    if (Item->childCount() == 0) return;
    FInClick = true;
    const Qt::CheckState s = Item->checkState(0);
    std::function<void(QTreeWidgetItem*)> down = [&](QTreeWidgetItem* it) {
        for (int i = 0; i < it->childCount(); ++i) {
            it->child(i)->setCheckState(0, s);
            down(it->child(i));
        }
    };
    down(Item);
    FInClick = false;
}

void TFormLayout::SetChecking(bool On) {
    FChecking = On;
    FInClick = true;
    std::function<void(QTreeWidgetItem*)> walk = [&](QTreeWidgetItem* it) {
        for (int i = 0; i < it->childCount(); ++i) {
            QTreeWidgetItem* c = it->child(i);
            if (On)
                c->setCheckState(0, Qt::Unchecked);
            else
                c->setData(0, Qt::CheckStateRole, QVariant());
            walk(c);
        }
    };
    for (int i = 0; i < TreeViewOpti->topLevelItemCount(); ++i)
        walk(TreeViewOpti->topLevelItem(i));
    FInClick = false;
    if (actMultiSelect->isChecked() != On) actMultiSelect->setChecked(On);
}

void TFormLayout::CollectChecked(QTreeWidgetItem* Under, std::vector<TRecTreeViewItem*>& Out) const {
    if (!Under) return;
    for (int i = 0; i < Under->childCount(); ++i) {
        QTreeWidgetItem* c = Under->child(i);
        auto* f = dynamic_cast<TRecTreeViewItem*>(c);
        if (f && c->checkState(0) == Qt::Checked && !f->HelpKeyword.empty()) Out.push_back(f);
        CollectChecked(c, Out);
    }
}

// ---- Overviews ----

void TFormLayout::ClickRecOverview() {
    if (FInClick) return;
    FInClick = true;
    StartWork(_SAnfordern);
    if (FStreamRunning) StopStream(this);
    RecUebClick(this);
    FInClick = false;
}

void TFormLayout::ClickEvtOverview() {
    if (FInClick) return;
    FInClick = true;
    StartWork(_SAnfordern);
    if (FStreamRunning) StopStream(this);
    EvtUebClick(this);
    FInClick = false;
}

void TFormLayout::RecOverView(const std::vector<std::string>& Lines) {
    if (!FRecTreeView) {
        EndWork();
        return;
    }
    TreeViewOpti->setCurrentItem(FRecTreeView);
    FAllRecLst.clear();
    SetNewSelectedRec(nullptr);
    SwitchGridPB(false);
    TreeViewOpti->setUpdatesEnabled(false);
    FInClick = true;
    ClearTreeView(FRecTreeView);
    std::vector<QTreeWidgetItem*> classes;
    for (size_t i = 0; i < 8; ++i)
        classes.push_back(AddFolder(FRecTreeView, CStringArray[i], CDataObjName[i]));
    QTreeWidgetItem* async = AddFolder(FRecTreeView, _SAsync, "async");
    QTreeWidgetItem* stoer = AddFolder(FRecTreeView, _SStoerschrieb, "rec");
    QTreeWidgetItem* osc = AddFolder(stoer, _SOszilloskop, "Osc");
    QTreeWidgetItem* hp = AddFolder(stoer, _S10msTRMS, "Hp");
    auto toLocal = [this](const tmStamp_t& s) { return ToLocal(s); };
    for (const std::string& line : Lines) {
        const TListingEntry e = TRecordingList::ParseLine(line, false);
        if (e.Name.empty() || (e.Folder != "sync" && e.Folder != "async" && e.Folder != "rec")) continue;
        QTreeWidgetItem* parent = nullptr;
        if (e.Folder == "sync") {
            const int k = SyncFolderIndex(e.Class);
            parent = k >= 0 ? classes[size_t(k)] : nullptr;
        } else if (e.Folder == "async") {
            parent = async;
        } else {
            parent = e.Class == "Hp" ? hp : e.Class == "Osc" ? osc : stoer;
        }
        // A class the tree does not show still counts for the bulk download.
        if (parent) {
            auto* item = new TRecTreeViewItem;
            item->HelpKeyword = e.Name;
            item->FileSize = e.Size;
            item->isAsync = e.Folder == "async";
            item->setText(0, QString::fromStdString(ListingItemText(e, toLocal)));
            item->setToolTip(0, QString::fromStdString(e.Name));
            std::string path;
            uint64_t size = e.Size;
            SetItemImage(item, DoesFileExist(e.Name, path, false, true, size) ? 3 : 0);
            if (FChecking) item->setCheckState(0, Qt::Unchecked);
            parent->addChild(item);
        }
        FAllRecLst.push_back(Fmt("%s=%llu", e.Name.c_str(), static_cast<unsigned long long>(e.Size)));
    }
    FInClick = false;
    TreeViewOpti->setUpdatesEnabled(true);
    TreeViewOpti->collapseAll();
    FRecTreeView->setExpanded(true);
    TreeViewOpti->setEnabled(true);
    EndWork();
}

void TFormLayout::EvtOverView(const std::vector<std::string>& Lines) {
    if (!FEvtTreeView) {
        EndWork();
        return;
    }
    FAllEvtLst.clear();
    SetNewSelectedRec(nullptr);
    FInClick = true;
    ClearTreeView(FEvtTreeView);
    auto toLocal = [this](const tmStamp_t& s) { return ToLocal(s); };
    for (const std::string& line : Lines) {
        const TListingEntry e = TRecordingList::ParseLine(line, true);
        if (e.Name.empty()) continue;
        auto* item = new TRecTreeViewItem;
        item->HelpKeyword = e.Name;
        item->FileSize = e.Size;
        item->isEvent = true;
        item->setText(0, QString::fromStdString(ListingItemText(e, toLocal)));
        item->setToolTip(0, QString::fromStdString(e.Name));
        std::string path;
        uint64_t size = e.Size;
        SetItemImage(item, DoesFileExist(e.Name, path, false, false, size) ? 3 : 0);
        if (FChecking) item->setCheckState(0, Qt::Unchecked);
        FEvtTreeView->addChild(item);
        FAllEvtLst.push_back(Fmt("%s=%llu", e.Name.c_str(), static_cast<unsigned long long>(e.Size)));
    }
    FInClick = false;
    FEvtTreeView->setExpanded(true);
    EndWork();
}

void TFormLayout::ShowChartPane() {
    // A pane that was hidden when the splitter first laid out has no height of its own yet.
    const QList<int> sizes = SplittPaintBox->sizes();
    if (sizes.size() == 2 && sizes[1] < 100) {
        const int h = std::max(SplittPaintBox->height(), 500);
        SplittPaintBox->setSizes({h / 4, h - h / 4});
    }
}

void TFormLayout::SwitchGridPB(bool DoPaint) {
    if (DoPaint) {
        FRightStack->setCurrentWidget(SplittPaintBox);
        ScrollPaintBox->show();
        tvSelect->show();
        tbcSettings->setCurrentWidget(tbtmTV);
        ShowChartPane();
    } else {
        FRightStack->setCurrentWidget(GridData);
    }
    if (QTreeWidgetItem* cur = TreeViewOpti->currentItem()) TreeViewOpti->scrollToItem(cur);
}

} // namespace ferro
