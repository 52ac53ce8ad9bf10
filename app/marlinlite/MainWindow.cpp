#include "MainWindow.h"

#include "calib/FrmCalib.h"

#include "InstrumentDialog.h"
#include "flash/FormFlash.h"
#include "flash/FrmMassFlash.h"
#include "forms/FormComplete.h"
#include "forms/FormOffline.h"
#include "forms/FormOnline.h"
#include "forms/FormPara.h"
#include "forms/FormVisu.h"
#include "forms/Icons.h"
#include "forms/MessageDialog.h"
#include "status/FormStatus.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDateTime>
#include <QDir>
#include <QDockWidget>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QSettings>
#include <QSplitter>
#include <QStandardPaths>
#include <QStatusBar>
#include <QTabBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

namespace ferro {

namespace {

struct TKindButton {
    TDirectKind Kind;
    TIconKind Icon;
};

// The complete value table stands next to the live view: both show live objects.
constexpr TKindButton CKindButtons[] = {
    {dkpara, TIconKind::Parameter}, {dkparaRefresh, TIconKind::Refresh}, {dkvisu, TIconKind::Live},
    {dkcomplete, TIconKind::Live},  {dkdata, TIconKind::Data},           {dkoffline, TIconKind::Offline},
    {dkflash, TIconKind::Firmware}, {dkmassflash, TIconKind::Firmware},  {dkstatus, TIconKind::Status},
    {dkInitSSH, TIconKind::Key},    {dkUserSetup, TIconKind::User},      {dkcalib, TIconKind::Calibration},
};

enum Column { ColName, ColAddress, ColPort, ColTransport, ColIp, ColUser, ColSerial, ColCount };

QIcon TransportIcon(TTransport t) {
    switch (t) {
    case TTransport::Ssh:
        return FerroIcon(TIconKind::Secure);
    case TTransport::Serial:
        return FerroIcon(TIconKind::Serial);
    case TTransport::Tcp:
        break;
    }
    return FerroIcon(TIconKind::Network);
}

std::string WithSeparator(const QString& dir) {
    QDir().mkpath(dir);
    return QDir::toNativeSeparators(QDir(dir).absolutePath() + "/").toStdString();
}

} // namespace

QString TMainWindow::KindText(TDirectKind Kind) {
    switch (Kind) {
    case dkpara:
        return "Parametrierung";
    case dkparaRefresh:
        return "Parameter neu laden";
    case dkvisu:
        return "Live-Ansicht";
    case dkdata:
        return "Messdaten";
    case dkoffline:
        return "Offline-Daten";
    case dkflash:
        return "Firmware-Update";
    case dkmassflash:
        return "Massen-Update";
    case dkstatus:
        return "Gerätestatus";
    case dkInitSSH:
        return "SSH einrichten";
    case dkUserSetup:
        return "Benutzerverwaltung";
    case dkcalib:
        return "Kalibrierung";
    case dkcomplete:
        return "Alle Live-Werte";
    }
    return "";
}

TFolders TMainWindow::StandardFolders() {
    const QString data = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    const QString config = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    const QString cache = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    TFolders f;
    f.Data = WithSeparator(data + "/Daten");
    f.Ini = WithSeparator(config + "/ini");
    f.Tmp = WithSeparator(cache + "/tmp");
    return f;
}

TViewRegistry ShippedViews() {
    TViewRegistry views;
    views.Add(
        {dkvisu, "Live-Ansicht", TIconKind::Live, [](QWidget* Parent) { return new TFormVisu(Parent); }});
    views.Add({dkflash, "Firmware-Update", TIconKind::Firmware, [](QWidget* Parent) -> TFormBasic* {
                   const std::string archive = TFormFlash::ChooseArchive(Parent);
                   if (archive.empty()) return nullptr;
                   auto* view = new TFormFlash(Parent);
                   view->FFN = archive;
                   return view;
               }});
    views.Add({dkpara, "Parametrierung", TIconKind::Parameter,
               [](QWidget* Parent) { return new TFormPara(Parent); }});
    views.Add({dkstatus, "Gerätestatus", TIconKind::Status,
               [](QWidget* Parent) { return new TfrmStatus(Parent); }});
    views.Add(
        {dkdata, "Messdaten", TIconKind::Data, [](QWidget* Parent) { return new TFormOnline(Parent); }});
    views.Add({dkoffline, "Offline-Daten", TIconKind::Offline,
               [](QWidget* Parent) { return new TFormOffline(Parent); }, false});
    views.Add({dkcomplete, "Alle Live-Werte", TIconKind::Live,
               [](QWidget* Parent) { return new TFormComplete(Parent); }});
    views.Add({dkcalib, "Kalibrierung", TIconKind::Calibration,
               [](QWidget* Parent) { return new TFrmCalib(Parent); }});
    return views;
}

TMainWindow::TMainWindow(std::unique_ptr<QSettings> Settings, TFolders Folders, QWidget* Parent,
                         TViewRegistry Views)
    : QMainWindow(Parent), FSettings(std::move(Settings)), FFolders(std::move(Folders)),
      FViews(std::move(Views)) {
    setObjectName("MainWindow");
    setWindowTitle("Ferro Recorder");
    if (FSettings) FStore.Load(*FSettings);
    BuildMenus();
    BuildUi();
    RefreshList();
    resize(1280, 800);
}

TMainWindow::~TMainWindow() = default;

void TMainWindow::BuildUi() {
    auto* tools = addToolBar("Geräte");
    tools->setObjectName("tbInstruments");
    tools->setMovable(false);
    tools->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    tools->setIconSize(QSize(20, 20));
    auto* actAdd = tools->addAction(FerroIcon(TIconKind::Add), "Hinzufügen");
    actAdd->setObjectName("actAdd");
    actEdit = tools->addAction(FerroIcon(TIconKind::Edit), "Bearbeiten");
    actEdit->setObjectName("actEdit");
    actRemove = tools->addAction(FerroIcon(TIconKind::Remove), "Entfernen");
    actRemove->setObjectName("actRemove");
    tools->addSeparator();
    auto* actConnect = tools->addAction(FerroIcon(TIconKind::Connect), "Verbinden");
    actConnect->setObjectName("actConnect");
    connect(actAdd, &QAction::triggered, this, [this] { AddInstrument(); });
    connect(actEdit, &QAction::triggered, this, [this] { EditInstrument(); });
    connect(actRemove, &QAction::triggered, this, [this] { RemoveInstrument(); });
    connect(actConnect, &QAction::triggered, this, [this] { OpenConnectionView(); });

    auto* splitter = new QSplitter(Qt::Horizontal, this);
    splitter->setObjectName("splitMain");

    // Left: the list and the view buttons.
    auto* left = new QWidget(splitter);
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(8, 8, 4, 8);
    leftLayout->setSpacing(8);
    auto* listTitle = new QLabel("<b>Geräte</b>", left);
    leftLayout->addWidget(listTitle);
    lstInstruments = new QTableWidget(0, ColCount, left);
    lstInstruments->setObjectName("lstInstruments");
    lstInstruments->setHorizontalHeaderLabels(
        {"Name", "Adresse", "Port", "Verbindung", "IP", "Benutzer", "Schnittstelle"});
    lstInstruments->setSelectionBehavior(QAbstractItemView::SelectRows);
    lstInstruments->setSelectionMode(QAbstractItemView::SingleSelection);
    lstInstruments->setEditTriggers(QAbstractItemView::NoEditTriggers);
    lstInstruments->setAlternatingRowColors(true);
    lstInstruments->verticalHeader()->setVisible(false);
    lstInstruments->verticalHeader()->setDefaultSectionSize(24);
    lstInstruments->horizontalHeader()->setStretchLastSection(true);
    lstInstruments->horizontalHeader()->setHighlightSections(false);
    lstInstruments->setShowGrid(false);
    leftLayout->addWidget(lstInstruments, 1);
    connect(lstInstruments, &QTableWidget::itemSelectionChanged, this, [this] { UpdateActions(); });
    connect(lstInstruments, &QTableWidget::cellDoubleClicked, this, [this] { OpenConnectionView(); });

    auto* views = new QGroupBox("Ansicht öffnen", left);
    auto* grid = new QGridLayout(views);
    grid->setSpacing(4);
    btnConnView = new QToolButton(views);
    btnConnView->setObjectName("btnConnView");
    btnConnView->setText("Verbindung und Identität");
    btnConnView->setIcon(FerroIcon(TIconKind::Connect));
    btnConnView->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    btnConnView->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    btnConnView->setIconSize(QSize(20, 20));
    QFont bold = btnConnView->font();
    bold.setBold(true);
    btnConnView->setFont(bold);
    grid->addWidget(btnConnView, 0, 0, 1, 2);
    connect(btnConnView, &QToolButton::clicked, this, [this] { OpenConnectionView(); });
    int i = 0;
    for (const TKindButton& k : CKindButtons) {
        auto* b = new QToolButton(views);
        b->setObjectName(QString("btn_%1").arg(DirectKindName(k.Kind)));
        b->setText(KindText(k.Kind));
        b->setIcon(FerroIcon(k.Icon));
        b->setIconSize(QSize(18, 18));
        b->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        b->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        grid->addWidget(b, 1 + i / 2, i % 2);
        const TDirectKind kind = k.Kind;
        connect(b, &QToolButton::clicked, this, [this, kind] { OpenDirect(kind); });
        FKindButtons[kind] = b;
        ++i;
    }
    leftLayout->addWidget(views);

    // Right: the open views.
    tabViews = new QTabWidget(splitter);
    tabViews->setObjectName("tabViews");
    tabViews->setTabsClosable(true);
    tabViews->setDocumentMode(true);
    FEmptyPage = new QLabel("Kein Gerät geöffnet.\n\nWählen Sie links ein Gerät und eine Ansicht.", tabViews);
    static_cast<QLabel*>(FEmptyPage)->setAlignment(Qt::AlignCenter);
    FEmptyPage->setStyleSheet("color: palette(mid); font-size: 12pt;");
    ShowStartPage();
    connect(tabViews, &QTabWidget::tabCloseRequested, this, [this](int idx) { CloseViewAt(idx); });
    splitter->addWidget(left);
    splitter->addWidget(tabViews);
    splitter->setStretchFactor(0, 0);
    splitter->setStretchFactor(1, 1);
    // The views get the larger part: a parameter page needs about 800 pixels.
    splitter->setSizes({440, 840});
    setCentralWidget(splitter);

    // Bottom: the log pane.
    auto* dock = new QDockWidget("Protokoll", this);
    dock->setObjectName("dockLog");
    dock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable);
    memHostLog = new QPlainTextEdit(dock);
    memHostLog->setObjectName("memHostLog");
    memHostLog->setReadOnly(true);
    memHostLog->setMaximumBlockCount(10000);
    memHostLog->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    dock->setWidget(memHostLog);
    addDockWidget(Qt::BottomDockWidgetArea, dock);
    resizeDocks({dock}, {140}, Qt::Vertical);

    // Status bar: what runs, busy indicator, transfer progress.
    lblWork = new QLabel(this);
    lblWork->setObjectName("lblWork");
    aniBusy = new QProgressBar(this);
    aniBusy->setObjectName("aniBusy");
    aniBusy->setRange(0, 0);
    aniBusy->setTextVisible(false);
    aniBusy->setFixedSize(70, 12);
    aniBusy->setVisible(false);
    pbTransfer = new QProgressBar(this);
    pbTransfer->setObjectName("pbTransfer");
    pbTransfer->setRange(0, 100);
    pbTransfer->setValue(0);
    pbTransfer->setFixedSize(180, 14);
    pbTransfer->setFormat("%p%");
    pbTransfer->setVisible(false);
    statusBar()->addWidget(lblWork, 1);
    statusBar()->addPermanentWidget(aniBusy);
    statusBar()->addPermanentWidget(pbTransfer);
}

void TMainWindow::ShowStartPage() {
    const int idx = tabViews->addTab(FEmptyPage, "Start");
    // The start page is not a view: it has nothing to close.
    tabViews->tabBar()->setTabButton(idx, QTabBar::RightSide, nullptr);
    tabViews->tabBar()->setTabButton(idx, QTabBar::LeftSide, nullptr);
}

void TMainWindow::RefreshList() {
    const int keep = SelectedInstrument();
    lstInstruments->setRowCount(int(FStore.Count()));
    for (size_t r = 0; r < FStore.Count(); ++r) {
        const TInstrument& e = FStore.At(r);
        const bool serial = e.Transport == TTransport::Serial;
        auto set = [&](int col, const QString& text) {
            auto* item = new QTableWidgetItem(text);
            if (col == ColPort) item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            lstInstruments->setItem(int(r), col, item);
            return item;
        };
        set(ColName, QString::fromStdString(e.Name))->setIcon(TransportIcon(e.Transport));
        set(ColAddress, serial ? QString("–") : QString::fromStdString(e.Address));
        set(ColPort, serial ? QString("–") : QString::number(e.Port));
        set(ColTransport, TransportText(e.Transport));
        set(ColIp, serial ? QString("–") : QString(IpVerText(e.IpVer)));
        set(ColUser, e.Transport == TTransport::Ssh ? QString::fromStdString(e.SshUser) : QString("–"));
        set(ColSerial, serial ? QString::fromStdString(e.SerialDevice) : QString("–"));
    }
    lstInstruments->resizeColumnsToContents();
    if (keep >= 0 && keep < int(FStore.Count()))
        SelectInstrument(keep);
    else if (FStore.Count() > 0)
        SelectInstrument(0);
    UpdateActions();
}

void TMainWindow::SaveList() {
    if (FSettings) FStore.Save(*FSettings);
}

void TMainWindow::UpdateActions() {
    const bool any = SelectedInstrument() >= 0;
    actEdit->setEnabled(any);
    actRemove->setEnabled(any);
    btnConnView->setEnabled(any);
    btnConnView->setToolTip(any ? QString("Verbindung und Identität des gewählten Geräts")
                                : QString("Bitte zuerst ein Gerät in der Liste wählen"));
    UpdateKindButtons();
}

void TMainWindow::UpdateKindButtons() {
    const bool any = SelectedInstrument() >= 0;
    for (auto& [kind, button] : FKindButtons) {
        if (kind == dkmassflash) {
            // The mass update works on the whole list, not on the selected instrument.
            const bool list = FStore.Count() > 0;
            button->setEnabled(list);
            if (QAction* act = FKindActions[kind]) act->setEnabled(list);
            button->setToolTip(list ? "Firmware-Update mehrerer Geräte der Liste"
                                    : "Bitte zuerst Geräte in die Liste aufnehmen");
            continue;
        }
        const TViewRow* row = FViews.Find(kind);
        const bool open = row && (any || !row->NeedsInstrument);
        button->setEnabled(open);
        if (QAction* act = FKindActions[kind]) act->setEnabled(open);
        if (!row)
            button->setToolTip(KindText(kind) + ": diese Ansicht ist noch nicht verfügbar");
        else if (!row->NeedsInstrument)
            button->setToolTip(row->Title + " öffnen: alle heruntergeladenen Daten, ohne Gerät");
        else if (!any)
            button->setToolTip("Bitte zuerst ein Gerät in der Liste wählen");
        else
            button->setToolTip(row->Title + " des gewählten Geräts öffnen");
    }
}

void TMainWindow::RegisterView(TViewRow Row) {
    FViews.Add(std::move(Row));
    UpdateKindButtons();
}

void TMainWindow::BuildMenus() {
    auto* file = menuBar()->addMenu("&Datei");
    file->setObjectName("mnuFile");
    auto* quit = file->addAction("&Beenden");
    quit->setObjectName("actQuit");
    quit->setShortcut(QKeySequence::Quit);
    connect(quit, &QAction::triggered, this, &QWidget::close);
    auto* device = menuBar()->addMenu("&Gerät");
    device->setObjectName("mnuDevice");
    connect(device->addAction("&Verbinden"), &QAction::triggered, this, [this] { OpenConnectionView(); });
    auto* view = menuBar()->addMenu("&Ansicht");
    view->setObjectName("mnuView");
    // The same views as the buttons, enabled alike.
    for (const TKindButton& k : CKindButtons) {
        QAction* act = view->addAction(FerroIcon(k.Icon), KindText(k.Kind));
        act->setObjectName(QString("act_%1").arg(DirectKindName(k.Kind)));
        act->setEnabled(false);
        const TDirectKind kind = k.Kind;
        connect(act, &QAction::triggered, this, [this, kind] { OpenDirect(kind); });
        FKindActions[kind] = act;
    }
    auto* help = menuBar()->addMenu("&Hilfe");
    help->setObjectName("mnuHelp");
    auto* about = help->addAction("Ü&ber");
    about->setObjectName("actAbout");
    connect(about, &QAction::triggered, this, [this] {
        OpenMessageBox(
            this,
            "Marlin Lite " + QApplication::applicationVersion().toStdString() +
                "\nDesktop-Begleiter des Ferro Recorders: Parametrierung, Live-Ansicht, Messdaten, "
                "Firmware-Update, Gerätestatus und Kalibrierung.",
            mtInformation, Buttons({mbOK}), mbOK, nullptr);
    });
}

void TMainWindow::SelectInstrument(int Row) {
    if (Row < 0 || Row >= lstInstruments->rowCount()) return;
    lstInstruments->selectRow(Row);
}

int TMainWindow::SelectedInstrument() const {
    const auto rows = lstInstruments->selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.first().row();
}

void TMainWindow::AddInstruments(const std::vector<TInstrument>& Entries) {
    for (const TInstrument& e : Entries)
        FStore.AddOrReplace(e);
    SaveList();
    RefreshList();
}

void TMainWindow::AddInstrument() {
    TInstrument fresh;
    fresh.Address = "";
    auto* dlg = new TInstrumentDialog(fresh, this);
    dlg->setAttribute(Qt::WA_DeleteOnClose);
    connect(dlg, &QDialog::accepted, this, [this, dlg] {
        std::string error;
        if (FStore.Add(dlg->Entry(), error)) {
            SaveList();
            RefreshList();
            SelectInstrument(int(FStore.Count()) - 1);
            AppendLog("Gerät hinzugefügt: " + QString::fromStdString(dlg->Entry().Name));
        }
    });
    dlg->open();
}

void TMainWindow::EditInstrument() {
    const int row = SelectedInstrument();
    if (row < 0) return;
    auto* dlg = new TInstrumentDialog(FStore.At(size_t(row)), this);
    dlg->setAttribute(Qt::WA_DeleteOnClose);
    connect(dlg, &QDialog::accepted, this, [this, dlg, row] {
        std::string error;
        if (FStore.Update(size_t(row), dlg->Entry(), error)) {
            SaveList();
            RefreshList();
        }
    });
    dlg->open();
}

void TMainWindow::RemoveInstrument() {
    const int row = SelectedInstrument();
    if (row < 0) return;
    const std::string name = FStore.At(size_t(row)).Name;
    OpenMessageBox(this, "Soll das Gerät \"" + name + "\" aus der Liste entfernt werden?", mtConfirmation,
                   Buttons({mbYes, mbNo}), mbNo, [this, row, name](int result) {
                       if (result != mrYes || row >= int(FStore.Count()) ||
                           FStore.At(size_t(row)).Name != name)
                           return;
                       FStore.Remove(size_t(row));
                       SaveList();
                       RefreshList();
                   });
}

void TMainWindow::ShowNote(const QString& Text) {
    statusBar()->showMessage(Text, 8000);
    AppendLog(Text);
}

TFormBasic* TMainWindow::OpenDirect(TDirectKind Kind) {
    if (Kind == dkmassflash) {
        OpenMassFlash();
        return nullptr;
    }
    const TViewRow* row = FViews.Find(Kind);
    if (!row) {
        ShowNote(KindText(Kind) + ": diese Ansicht ist noch nicht verfügbar");
        return nullptr;
    }
    if (!row->NeedsInstrument) return OpenLocalView(*row, Kind);
    if (SelectedInstrument() < 0) {
        ShowNote("Bitte wählen Sie zuerst ein Gerät aus der Liste.");
        return nullptr;
    }
    const QString name = QString("View_%1").arg(DirectKindName(Kind));
    return OpenView(row->Create(tabViews), row->Title, name.toUtf8().constData());
}

TFormBasic* TMainWindow::OpenLocalView(const TViewRow& Row, TDirectKind Kind) {
    TFormBasic* view = Row.Create(tabViews);
    if (!view) return nullptr;
    view->setObjectName(QString("View_%1").arg(DirectKindName(Kind)));
    WireView(view);
    if (FEmptyPage && tabViews->indexOf(FEmptyPage) >= 0) tabViews->removeTab(tabViews->indexOf(FEmptyPage));
    const int idx = tabViews->addTab(view, FerroIcon(Row.Icon), Row.Title);
    tabViews->setCurrentIndex(idx);
    AppendLog("Öffne " + Row.Title);
    // The archive reads the data folder that every connection downloads into.
    if (auto* offline = dynamic_cast<TFormOffline*>(view)) offline->SetFolders(FFolders);
    return view;
}

TFrmMassFlash* TMainWindow::OpenMassFlash() {
    if (FMassFlash) {
        FMassFlash->raise();
        FMassFlash->activateWindow();
        return FMassFlash;
    }
    FMassFlash = new TFrmMassFlash(FStore.Items(), FFolders, this);
    FMassFlash->setAttribute(Qt::WA_DeleteOnClose);
    FMassFlash->FLog = [this](const QString& Line) { AppendLog("Massen-Update: " + Line); };
    FMassFlash->show();
    return FMassFlash;
}

TConnectionView* TMainWindow::OpenConnectionView() {
    if (SelectedInstrument() < 0) {
        ShowNote("Bitte wählen Sie zuerst ein Gerät aus der Liste.");
        return nullptr;
    }
    return static_cast<TConnectionView*>(
        OpenView(new TConnectionView(tabViews), "Verbindung", "ConnectionView"));
}

TFormBasic* TMainWindow::OpenView(TFormBasic* View, const QString& Title, const char* ObjectName) {
    const int row = SelectedInstrument();
    if (!View || row < 0) {
        delete View;
        return nullptr;
    }
    TInstrument entry = FStore.At(size_t(row));
    entry.Folders = FFolders;
    View->setObjectName(ObjectName);
    WireView(View);
    if (FEmptyPage && tabViews->indexOf(FEmptyPage) >= 0) tabViews->removeTab(tabViews->indexOf(FEmptyPage));
    const int idx = tabViews->addTab(View, TransportIcon(entry.Transport),
                                     QString::fromStdString(entry.Name) + " – " + Title);
    tabViews->setCurrentIndex(idx);
    AppendLog("Öffne " + Title + ": " + QString::fromStdString(entry.Name));
    View->Open(entry);
    return View;
}

void TMainWindow::WireView(TFormBasic* View) {
    if (auto* layout = dynamic_cast<TFormLayout*>(View); layout && FSettings) {
        // The stored-data views keep their tree width and event columns between runs.
        TFrmOnOfflineSettings s = layout->Settings();
        int* fields[] = {&s.LytWth, &s.Ereignis, &s.Zeit, &s.Max, &s.Einheit, &s.Harm, &s.Dauer};
        const char* keys[] = {"LytWth", "Ereignis", "Zeit", "Max", "Einheit", "Harm", "Dauer"};
        for (int i = 0; i < 7; ++i)
            *fields[i] = FSettings->value(QString("OnOffline/") + keys[i], *fields[i]).toInt();
        layout->SetSettings(s);
        // The view may outlive this window's members while the window is torn down: it writes
        // through a settings object of its own.
        const QString file = FSettings->fileName();
        const QSettings::Format format = FSettings->format();
        layout->FWriteSettings = [file, format, keys](const TFrmOnOfflineSettings& w) {
            QSettings settings(file, format);
            const int values[] = {w.LytWth, w.Ereignis, w.Zeit, w.Max, w.Einheit, w.Harm, w.Dauer};
            for (int i = 0; i < 7; ++i)
                settings.setValue(QString("OnOffline/") + keys[i], values[i]);
        };
    }
    if (auto* flash = qobject_cast<TFormFlash*>(View)) {
        // Once the user has read the update's outcome, the firmware view goes away; posted, since
        // the call comes from the message box's handler.
        QPointer<TFormFlash> f(flash);
        flash->FFlashClose = [f](TSender) {
            QTimer::singleShot(0, f, [f] {
                if (f) f->CloseView();
            });
        };
    }
    if (auto* para = dynamic_cast<TFormPara*>(View); para && FSettings) {
        // The parameter form keeps its tree width and grid columns the same way; what was never
        // stored stays fitted to the texts.
        TFrmParaSettings s = para->Settings();
        int* fields[] = {&s.LytWth,  &s.ParaInfo, &s.ParaVal, &s.ParaDef,
                         &s.ParaMin, &s.ParaMax,  &s.SelInfo, &s.SelCheck};
        static const char* const keys[] = {"LytWth",  "ParaInfo", "ParaVal", "ParaDef",
                                           "ParaMin", "ParaMax",  "SelInfo", "SelCheck"};
        for (int i = 0; i < 8; ++i)
            *fields[i] = FSettings->value(QString("Para/") + keys[i], *fields[i]).toInt();
        para->SetSettings(s);
        const QString file = FSettings->fileName();
        const QSettings::Format format = FSettings->format();
        para->FWriteSettings = [file, format](const TFrmParaSettings& w) {
            QSettings settings(file, format);
            const int values[] = {w.LytWth,  w.ParaInfo, w.ParaVal, w.ParaDef,
                                  w.ParaMin, w.ParaMax,  w.SelInfo, w.SelCheck};
            for (int i = 0; i < 8; ++i)
                settings.setValue(QString("Para/") + keys[i], values[i]);
        };
    }
    View->FOnLogCallBack = [this](TSender, const std::string& Line, bool ToMemo) {
        if (ToMemo) AppendLog(QString::fromStdString(Line));
    };
    View->FWorkCallback = [this](TSender, const std::string& Text, bool Start, bool Clear) {
        aniBusy->setVisible(Start);
        lblWork->setText(QString::fromStdString(Text));
        if (Clear) pbTransfer->setVisible(false);
    };
    View->FSetProg = [this](TSender, const TProgressRecord& Rec) {
        // The bar shows only while a transfer runs.
        if (Rec.start || Rec.stop) {
            pbTransfer->setValue(0);
            pbTransfer->setVisible(Rec.start);
            return;
        }
        pbTransfer->setVisible(true);
        if (Rec.Max > 0) pbTransfer->setValue(int(std::min<uint64_t>(100, Rec.Progress * 100 / Rec.Max)));
    };
    View->FSetGlobalProg = [this](TSender, bool Enabled, const std::string& Text) {
        lblWork->setText(Enabled ? QString::fromStdString(Text) : QString());
    };
    QPointer<TFormBasic> guard(View);
    connect(View, &TFormBasic::EstablishedChanged, this, [this, guard](bool On) {
        if (!guard) return;
        const QString name = QString::fromStdString(guard->Connection().Name);
        statusBar()->showMessage(On ? "Verbunden mit " + name : "Nicht mehr verbunden: " + name, 8000);
    });
    connect(View, &TFormBasic::ViewFinished, this, [this, guard] {
        if (!guard) return;
        const int idx = tabViews->indexOf(guard);
        if (idx >= 0) tabViews->removeTab(idx);
        AppendLog("Ansicht geschlossen: " + QString::fromStdString(guard->Connection().Name));
        guard->deleteLater();
        if (tabViews->count() == 0) ShowStartPage();
        aniBusy->setVisible(false);
        pbTransfer->setVisible(false);
    });
}

void TMainWindow::CloseViewAt(int Index) {
    auto* view = qobject_cast<TFormBasic*>(tabViews->widget(Index));
    if (view) view->CloseView();
}

QString TMainWindow::LogText() const {
    return memHostLog->toPlainText();
}

void TMainWindow::AppendLog(const QString& Line) {
    memHostLog->appendPlainText(QDateTime::currentDateTime().toString("HH:mm:ss  ") + Line);
}

void TMainWindow::closeEvent(QCloseEvent* Event) {
    SaveList();
    QMainWindow::closeEvent(Event);
}

} // namespace ferro
