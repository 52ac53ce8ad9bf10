#include "forms/FormOffline.h"

#include "foundation/Format.h"
#include "link/XmlNames.h"
#include "stored/StoredTexts.h"

#include <QAction>
#include <QApplication>
#include <QFileDialog>
#include <QMenu>
#include <QScrollArea>
#include <QStyle>
#include <QToolBar>
#include <QTreeWidget>

#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <typeinfo>

namespace ferro {

namespace {

const std::string _SUeberpruefung = "Überprüfung";
const std::string _SAnalysieren = "Analysieren";
const std::string _SImportieren = "Importieren";
const std::string _SExportieren = "Exportieren";

int TagOf(const QTreeWidgetItem* Item) {
    const QVariant v = Item ? Item->data(0, TFormLayout::CTagRole) : QVariant();
    return v.isValid() ? v.toInt() : -1;
}

QTreeWidgetItem* AddItem(QTreeWidgetItem* Parent, QTreeWidget* Tree, const std::string& Text, int Tag,
                         int Image) {
    auto* it = Parent ? new QTreeWidgetItem(Parent) : new QTreeWidgetItem(Tree);
    it->setText(0, QString::fromStdString(Text));
    TFormLayout::SetItemImage(it, Image);
    it->setData(0, TFormLayout::CTagRole, Tag);
    return it;
}

} // namespace

TFormOffline::TFormOffline(QWidget* Parent) : TFormLayout(Parent) {
    setObjectName("FormOffline");
    OfflineMode = true;
    SetCapt("Messdaten Auswertung Offline");
    FSelectDir = [this](const std::string& Caption, const std::string& Start) {
        return QFileDialog::getExistingDirectory(this, QString::fromStdString(Caption),
                                                 QString::fromStdString(Start))
            .toStdString();
    };
    BuildOfflineActions();
    HideActions();
}

TFormOffline::~TFormOffline() {
    JoinWorker();
}

void TFormOffline::BuildOfflineActions() {
    auto make = [this](QAction*& a, const char* name, const char* text) {
        a = new QAction(QString::fromUtf8(text), this);
        a->setObjectName(name);
    };
    make(actDelOfflineRekorder, "actDelOfflineRekorder", "Rekorderdatei Löschen");
    make(actDelOfflineEvent, "actDelOfflineEvent", "Eventdatei Löschen");
    make(actDelClass, "actDelClass", "Alle Dateien dieser Klasse löschen");
    make(actDelOfflineAllFiles, "actDelOfflineAllFiles", "Alle Dateien dieser Station löschen");
    make(ActDeleteSelected, "ActDeleteSelected", "Ausgewählte Dateien löschen");
    make(actImportFromSD, "actImportFromSD", "Dateien Import");
    make(actOfflineExport, "actOfflineExport", "Ausgewählte Dateien Exportieren");
    actImportFromSD->setIcon(style()->standardIcon(QStyle::SP_DialogOpenButton));
    actImportFromSD->setToolTip(
        "Aufzeichnungen und Ereignisse von einer Karte oder aus einem Ordner übernehmen");
    actOfflineExport->setIcon(style()->standardIcon(QStyle::SP_DialogSaveButton));
    actOfflineExport->setIconText("Exportieren");
    actOfflineExport->setToolTip("Die in der Mehrfachauswahl angehakten Dateien in einen Ordner kopieren");

    // The tool bar of the archive: nothing to download, the refresh reads the disk again.
    ToolBar->removeAction(actDownloadAllRecorder);
    ToolBar->removeAction(actDownLoadAllEvent);
    QAction* first = ToolBar->actions().value(1);
    ToolBar->insertAction(first, actImportFromSD);
    ToolBar->insertAction(first, actOfflineExport);
    actRefresh->setToolTip("Den Datenordner neu einlesen");
    disconnect(actRefresh, &QAction::triggered, this, nullptr);
    connect(actRefresh, &QAction::triggered, this, [this] { CheckData(); });

    PopUpOffline = new QMenu(this);
    PopUpOffline->setObjectName("PopUpOffline");
    PopUpOffline->addActions(
        {actDelOfflineRekorder, actDelOfflineEvent, actDelClass, actDelOfflineAllFiles, ActDeleteSelected});
    PopUpOffline->addSeparator();
    PopUpOffline->addActions({actOfflineExport, actImportFromSD, actMultiSelect});

    const TReaderLog log = [this](const std::string& l) { LogPrepare(this, l, false); };
    auto delFile = [this, log] {
        auto* f = dynamic_cast<TRecTreeViewItem*>(FClickedTVI);
        if (!f) return;
        DeleteOfflineFile(f->HelpKeyword, log);
        CheckData();
    };
    connect(actDelOfflineRekorder, &QAction::triggered, this, delFile);
    connect(actDelOfflineEvent, &QAction::triggered, this, delFile);
    connect(actDelClass, &QAction::triggered, this, [this] {
        StartWork(_SLoeschen);
        const int tag = TagOf(FClickedTVI);
        if (tag == otClassFolder || tag == otAsyncFolder || tag == otOscFolder || tag == otHpFolder)
            DelClass(FClickedTVI);
        else if (tag == otRecording || tag == otEvent)
            DelClass(FClickedTVI->parent());
        EndWork();
        CheckData();
    });
    connect(ActDeleteSelected, &QAction::triggered, this, [this] {
        StartWork(_SLoeschen);
        for (int i = TreeViewOpti->topLevelItemCount() - 1; i >= 0; --i)
            DeleteChecked(TreeViewOpti->topLevelItem(i));
        EndWork();
        CheckData();
    });
    connect(actDelOfflineAllFiles, &QAction::triggered, this, [this, log] {
        StartWork(_SLoeschen);
        const std::string text = FClickedTVI ? FClickedTVI->text(0).toStdString() : std::string();
        if (text.empty()) {
            EndWork();
            return;
        }
        // The station is the item's text up to the colon; the folder goes without a question.
        DeleteOfflineStation(FDataRoot, text.substr(0, text.find(':')), log);
        EndWork();
        CheckData();
    });
    connect(actImportFromSD, &QAction::triggered, this, [this] { ImportFromSD(); });
    connect(actOfflineExport, &QAction::triggered, this, [this] { OfflineExport(); });
}

void TFormOffline::HideActions() {
    TFormLayout::HideActions();
    for (QAction* a :
         {actDelOfflineRekorder, actDelOfflineEvent, actDelClass, actDelOfflineAllFiles, ActDeleteSelected})
        if (a) a->setEnabled(false);
}

void TFormOffline::SetFolders(const TFolders& Folders) {
    FDataRoot = Folders.Data;
    FXmlDir = Folders.Ini;
    LoadLanguage();
    CheckData();
}

void TFormOffline::LoadLanguage() {
    // The language file that a connection or an import left; without one, ids name the curves.
    const std::string file = FXmlDir + ChangeFileExt(CLanguXML[0], ".XML");
    std::error_code ec;
    if (FXmlDir.empty() || !std::filesystem::exists(file, ec)) return;
    FLangXML.SetLangFile(file);
    FLangXMLFN.SetLangFile(file);
}

void TFormOffline::LogLines(const std::vector<std::string>& Lines) {
    for (const std::string& l : Lines)
        LogPrepare(this, l, false);
}

void TFormOffline::JoinWorker() {
    if (FWorker.joinable()) FWorker.join();
}

void TFormOffline::RunWorker(std::function<std::function<void()>(TReaderLog Log)> Work) {
    JoinWorker();
    FWorker = std::thread([this, Work] {
        // The log belongs to the main thread: lines are kept and handed over with the result.
        auto lines = std::make_shared<std::vector<std::string>>();
        auto mutex = std::make_shared<std::mutex>();
        const TReaderLog log = [lines, mutex](const std::string& l) {
            std::lock_guard<std::mutex> lock(*mutex);
            lines->push_back(l);
        };
        std::function<void()> finish;
        try {
            finish = Work(log);
        } catch (const std::exception& e) {
            log(Fmt("OfflineCheckExcept: %s", Fmt("%s: %s", typeid(e).name(), e.what()).c_str()));
        }
        // The form joins this thread before it goes, so the queued call finds it alive.
        QMetaObject::invokeMethod(
            this,
            [this, lines, finish] {
                JoinWorker();
                LogLines(*lines);
                if (finish) {
                    finish();
                } else {
                    // The work broke off: the tree keeps what was built, the view is usable again.
                    SynchStoppProgress();
                    EndWork();
                    actImportFromSD->setEnabled(true);
                    if (FEnableDisableBar) FEnableDisableBar(this, true);
                }
                if (FScanPending && !Busy()) {
                    FScanPending = false;
                    CheckData();
                }
            },
            Qt::QueuedConnection);
    });
}

// ---- The scan ----

void TFormOffline::CheckData() {
    if (Busy()) {
        // One scan at a time; the one asked for meanwhile follows.
        FScanPending = true;
        return;
    }
    StartWork(_SUeberpruefung);
    LogPrepare(this, "Offline: Check Data begin", false);
    if (FEnableDisableBar) FEnableDisableBar(this, false);
    actImportFromSD->setEnabled(false);
    const std::string root = FDataRoot;
    RunWorker([this, root](TReaderLog Log) -> std::function<void()> {
        auto stations = std::make_shared<std::vector<TOfflineStation>>(ScanOfflineStations(root, Log));
        return [this, stations] {
            BuildStationTree(*stations);
            CheckTerminate();
        };
    });
}

void TFormOffline::BuildStationTree(const std::vector<TOfflineStation>& Stations) {
    TreeViewOpti->setUpdatesEnabled(false);
    FInClick = true;
    ClearStationTree();
    // Stations of one plant hang under one item, and below it under their field.
    std::map<std::string, QTreeWidgetItem*> plants, fields;
    const QIcon stationIcon = style()->standardIcon(QStyle::SP_ComputerIcon);
    for (const TOfflineStation& s : Stations) {
        QTreeWidgetItem* parent = nullptr;
        if (!s.User.Anlage.empty()) {
            QTreeWidgetItem*& p = plants[s.User.Anlage];
            if (!p) p = AddItem(nullptr, TreeViewOpti, s.User.Anlage, otFolder, 2);
            parent = p;
        }
        if (!s.User.Feld.empty()) {
            QTreeWidgetItem*& f = fields[s.User.Anlage + '\n' + s.User.Feld];
            if (!f) f = AddItem(parent, TreeViewOpti, s.User.Feld, otFolder, 4);
            parent = f;
        }
        QTreeWidgetItem* station = AddItem(parent, TreeViewOpti, s.Text, otStation, 5);
        station->setIcon(0, stationIcon);
        station->setData(0, Qt::UserRole, QString::fromStdString(s.Key));
        station->setToolTip(0,
                            QString::fromStdString(Fmt("%s / %s / %s, %d Aufzeichnungen, %d Ereignisdateien",
                                                       s.User.Anlage.c_str(), s.User.Feld.c_str(),
                                                       s.User.Geraet.c_str(), s.RecFiles, s.EvtFiles)));
        if (actMultiSelect->isChecked()) station->setCheckState(0, Qt::Unchecked);
        if (FSelectedStation != 0 && s.SN == FSelectedStation) FStartDevice = station;
    }
    // Plants and fields stand open; stations open on a click.
    TreeViewOpti->expandAll();
    FInClick = false;
    TreeViewOpti->setUpdatesEnabled(true);
    TreeViewOpti->update();
}

void TFormOffline::ClearStationTree() {
    // Nothing may point into the items that go.
    FClickedTVI = nullptr;
    FStartDevice = nullptr;
    FTVIRec = FTVIEvt = FSelectedRec = nullptr;
    FRecTreeView = FEvtTreeView = FStreamTreeView = nullptr;
    TreeViewOpti->clear();
}

void TFormOffline::CheckTerminate() {
    SynchStoppProgress();
    EndWork();
    actImportFromSD->setEnabled(true);
    LogPrepare(this, "Offline: Check Data end", false);
    if (FScanPending) return; // the next scan follows at once
    if (FStartDevice)
        CheckTreeViewOfflineData(FStartDevice);
    else if (FEnableDisableBar)
        FEnableDisableBar(this, true);
    emit ScanFinished();
}

// ---- A station opens ----

void TFormOffline::CheckTreeViewOfflineData(QTreeWidgetItem* Station) {
    if (!Station) return;
    LogPrepare(this, "OfflineClick: " + Station->text(0).toStdString(), false);
    if (Station->childCount() > 0) {
        Station->setExpanded(!Station->isExpanded());
        return;
    }
    if (Busy()) return; // a scan replaces the tree anyway
    StartWork(_SUeberpruefung);
    const std::string root = FDataRoot, key = Station->data(0, Qt::UserRole).toString().toStdString();
    // The item may be gone when the thread is done (a scan cleared the tree): it is found again by key.
    RunWorker([this, root, key](TReaderLog Log) -> std::function<void()> {
        const TIdText names = [this](uint32_t id) { return FLangXML.IdToText(id); };
        auto files = std::make_shared<std::vector<TOfflineFile>>(ListOfflineStation(root, key, names, Log));
        return [this, key, files] {
            QTreeWidgetItem* station = nullptr;
            for (QTreeWidgetItemIterator it(TreeViewOpti); *it && !station; ++it)
                if (TagOf(*it) == otStation && (*it)->data(0, Qt::UserRole).toString().toStdString() == key)
                    station = *it;
            if (station && station->childCount() == 0) BuildStationItems(station, *files);
            EndWork();
            if (FEnableDisableBar) FEnableDisableBar(this, true);
            if (station) emit StationOpened(station);
        };
    });
}

void TFormOffline::BuildStationItems(QTreeWidgetItem* Station, const std::vector<TOfflineFile>& Files) {
    FInClick = true;
    TreeViewOpti->setUpdatesEnabled(false);
    const bool checking = actMultiSelect->isChecked();
    QTreeWidgetItem *recRoot = nullptr, *evtRoot = nullptr, *stoer = nullptr;
    std::map<int, QTreeWidgetItem*> groups;
    auto groupItem = [&](int g) -> QTreeWidgetItem* {
        QTreeWidgetItem*& item = groups[g];
        if (item) return item;
        if (!recRoot) recRoot = AddItem(Station, nullptr, _SRekorderDaten, otFolder, 2);
        if ((g == 9 || g == 10 || g == 11) && !stoer)
            stoer = AddItem(recRoot, nullptr, _SStoerschrieb, otRecFolder, 4);
        if (g < 8)
            item = AddItem(recRoot, nullptr, CStringArray[size_t(g)], otClassFolder, 4);
        else if (g == 8)
            item = AddItem(recRoot, nullptr, _SAsync, otAsyncFolder, 4);
        else if (g == 9)
            item = AddItem(stoer, nullptr, _SOszilloskop, otOscFolder, 4);
        else if (g == 10)
            item = AddItem(stoer, nullptr, _S10msTRMS, otHpFolder, 4);
        else
            item = stoer;
        return item;
    };
    for (const TOfflineFile& f : Files) {
        QTreeWidgetItem* parent = nullptr;
        if (f.IsRec) {
            parent = groupItem(f.Group);
        } else {
            if (!evtRoot) evtRoot = AddItem(Station, nullptr, _SPQEreignisse, otEventFolder, 2);
            parent = evtRoot;
        }
        auto* item = new TRecTreeViewItem;
        item->HelpKeyword = f.Path;
        item->FileSize = f.Size;
        item->isAsync = f.IsAsync;
        item->isEvent = !f.IsRec;
        item->setText(0, QString::fromStdString(f.Text.empty() ? f.Name : f.Text));
        item->setToolTip(0, QString::fromStdString(
                                Fmt("%s, %llu Kb", f.Name.c_str(), (unsigned long long)(f.Size / 1024))));
        SetItemImage(item, 3);
        item->setData(0, CTagRole, f.IsRec ? otRecording : otEvent);
        if (checking) item->setCheckState(0, Qt::Unchecked);
        parent->addChild(item);
    }
    if (Files.empty()) {
        QTreeWidgetItem* none = AddItem(Station, nullptr, "Keine Dateien", otFolder, 4);
        none->setFlags(Qt::ItemIsEnabled);
    }
    if (checking)
        for (QTreeWidgetItemIterator it(Station); *it; ++it)
            if ((*it)->data(0, Qt::CheckStateRole).isNull() && *it != Station)
                (*it)->setCheckState(0, Qt::Unchecked);
    // The recordings stand open; a long list of events waits for its click.
    Station->setExpanded(true);
    for (QTreeWidgetItem* r : {recRoot, stoer})
        if (r) r->setExpanded(true);
    for (const auto& [g, item] : groups)
        item->setExpanded(true);
    if (evtRoot) evtRoot->setExpanded(evtRoot->childCount() <= 20);
    TreeViewOpti->setUpdatesEnabled(true);
    FInClick = false;
}

// ---- Clicks ----

void TFormOffline::ItemClicked(QTreeWidgetItem* Item) {
    if (!Item) return;
    if (auto* f = dynamic_cast<TRecTreeViewItem*>(Item)) {
        if (f->isEvent)
            OfflineEventClick(f);
        else
            OfflineRecordClick(f);
        return;
    }
    if (TagOf(Item) == otStation)
        CheckTreeViewOfflineData(Item);
    else if (Item->childCount() > 0)
        Item->setExpanded(!Item->isExpanded());
}

void TFormOffline::OfflineRecordClick(TRecTreeViewItem* Item) {
    if (!Item || FInClick) return;
    FInClick = true;
    ScrollPaintBox->hide();
    StartWork(_SAnalysieren);
    SetNewSelectedRec(Item);
    if (Item->isAsync) {
        AsyncToTable(Item->HelpKeyword);
    } else {
        RecToTable(Item->HelpKeyword);
        SwitchGridPB(true);
    }
    FInClick = false;
}

void TFormOffline::OfflineEventClick(TRecTreeViewItem* Item) {
    if (!Item || FInClick) return;
    FInClick = true;
    StartWork(_SAnalysieren);
    SetNewSelectedRec(Item);
    EvtToTable(Item->HelpKeyword);
    FLastUseEvtFile = Item->HelpKeyword;
    FInClick = false;
}

void TFormOffline::TreeContextMenu(const QPoint& Pos) {
    QTreeWidgetItem* it = TreeViewOpti->itemAt(Pos);
    if (!it) return;
    OfflineRecMouseDown(it);
    PopUpOffline->popup(TreeViewOpti->viewport()->mapToGlobal(Pos));
}

void TFormOffline::OfflineRecMouseDown(QTreeWidgetItem* Item) {
    FClickedTVI = Item;
    HideActions();
    switch (TagOf(Item)) {
    case otStation:
        actDelOfflineAllFiles->setEnabled(true);
        break;
    case otClassFolder:
    case otAsyncFolder:
    case otOscFolder:
    case otHpFolder:
        actDelClass->setEnabled(true);
        break;
    case otRecording:
        actDelClass->setEnabled(true);
        actDelOfflineRekorder->setEnabled(true);
        break;
    case otEvent:
        actDelOfflineEvent->setEnabled(true);
        actDelClass->setEnabled(true);
        break;
    default:
        break;
    }
    ActDeleteSelected->setEnabled(actMultiSelect->isChecked());
    if (Item) TreeViewOpti->setCurrentItem(Item);
}

// ---- Deleting: no question asked, the tree is read again afterwards ----

void TFormOffline::DelClass(QTreeWidgetItem* Class) {
    if (!Class) return;
    const TReaderLog log = [this](const std::string& l) { LogPrepare(this, l, false); };
    for (int i = Class->childCount() - 1; i >= 0; --i)
        if (auto* f = dynamic_cast<TRecTreeViewItem*>(Class->child(i)))
            DeleteOfflineFile(f->HelpKeyword, log);
}

void TFormOffline::DeleteChecked(QTreeWidgetItem* Under) {
    const TReaderLog log = [this](const std::string& l) { LogPrepare(this, l, false); };
    for (int i = Under->childCount() - 1; i >= 0; --i) {
        QTreeWidgetItem* c = Under->child(i);
        DeleteChecked(c);
        auto* f = dynamic_cast<TRecTreeViewItem*>(c);
        if (f && c->checkState(0) == Qt::Checked) DeleteOfflineFile(f->HelpKeyword, log);
    }
}

// ---- Import and export ----

void TFormOffline::ImportFromSD() {
    StartWork(_SImportieren);
    const std::string dir =
        FSelectDir ? FSelectDir("Bitte wählen Sie den zu importierenden Ordner aus:", FSrcDir) : "";
    if (dir.empty() || Busy()) {
        EndWork();
        return;
    }
    FSrcDir = dir;
    actImportFromSD->setEnabled(false);
    const std::string root = FDataRoot, xml = FXmlDir;
    TOfflineProgress progress;
    // Progress hops to the main thread; the form outlives the worker (it joins it).
    progress.Start = [this](int Total) {
        QMetaObject::invokeMethod(
            this, [this, Total] { SynchStartProgress(uint64_t(Total)); }, Qt::QueuedConnection);
    };
    progress.Step = [this] {
        QMetaObject::invokeMethod(
            this, [this] { SynchSendProgress(); }, Qt::QueuedConnection);
    };
    RunWorker([this, dir, root, xml, progress](TReaderLog Log) -> std::function<void()> {
        const int count = ImportOfflineFolder(dir, root, xml, Log, progress);
        return [this, count] {
            // ImportThreadEnd
            ClearStationTree();
            LoadLanguage();
            CheckData();
            SynchStoppProgress();
            DisplayMessage(Fmt("Es wurden %d Dateien importiert", count), mtInformation, Buttons({mbOK}),
                           mbOK, nullptr);
            EndWork();
            emit ImportFinished(count);
        };
    });
}

void TFormOffline::OfflineExport() {
    std::vector<std::string> paths;
    for (QTreeWidgetItemIterator it(TreeViewOpti); *it; ++it)
        if (auto* f = dynamic_cast<TRecTreeViewItem*>(*it); f && (*it)->checkState(0) == Qt::Checked)
            paths.push_back(f->HelpKeyword);
    if (paths.empty()) {
        DisplayMessage(
            "Bitte haken Sie zuerst in der Mehrfachauswahl die Dateien an, die exportiert werden sollen.",
            mtInformation, Buttons({mbOK}), mbOK, nullptr);
        return;
    }
    const std::string dir =
        FSelectDir
            ? FSelectDir(
                  "Bitte wählen Sie den Ordner, in den die ausgewählten Dateien exportiert werden sollen:",
                  FSrcDir)
            : "";
    if (dir.empty() || Busy()) return;
    StartWork(_SExportieren);
    const std::string xml = FXmlDir;
    RunWorker([this, paths, dir, xml](TReaderLog Log) -> std::function<void()> {
        const int count = ExportOfflineFiles(paths, dir, xml, Log);
        return [this, count, dir] {
            EndWork();
            DisplayMessage(Fmt("Es wurden %d Dateien nach %s exportiert.", count, dir.c_str()), mtInformation,
                           Buttons({mbOK}), mbOK, nullptr);
            emit ExportFinished(count);
        };
    });
}

} // namespace ferro
