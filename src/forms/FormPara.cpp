#include "forms/FormPara.h"

#include "forms/FerroGrid.h"
#include "forms/FormParaSettings.h"
#include "forms/FormParaTime.h"
#include "forms/FrmParaChanged.h"
#include "forms/FrmParaSelect.h"
#include "forms/Icons.h"
#include "forms/MessageDialog.h"
#include "forms/XMLTreeViewItem.h"
#include "foundation/Format.h"
#include "link/ComUnit.h"
#include "para/IcdFile.h"

#include <QAction>
#include <QComboBox>
#include <QDateTime>
#include <QDesktopServices>
#include <QFileDialog>
#include <QFutureWatcher>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QSplitter>
#include <QToolBar>
#include <QToolButton>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>
#include <QUrl>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrentRun>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace ferro {

namespace fs = std::filesystem;

namespace {

const char* const CLevelTexts[] = {"Basisansicht", "Expertenansicht", "Service"};

const char* const CServiceQuestion =
    "Achtung: Einstellungen im Servicemodus können u.U. zu Fehlfunktionen im Gerät führen!\n\n"
    "Wollen Sie den Servicemodus wirklich aktivieren?";
const char* const CResetQuestion =
    "Achtung: Es werden alle Parameter, außer den Netzwerkeinstellungen, auf ihren Defaultwert "
    "zurückgesetzt\n\nDie Einstellungen werden im Anschluss nicht direkt an das Gerät gesendet.\n\n"
    "Das Ferro Recorder muss nun erneut parametriert werden und zeichnet bis dahin keine neuen Daten auf!";
const char* const CInvalidImport =
    "Die folgenden Einstellungen hatten ungültige Werte und wurden auf ihren Defaultwert zurückgesetzt: \n\n";
const char* const CFileExists = "Die Datei %s existstiert bereits - soll diese überschrieben werden?";

std::string WithSep(std::string Dir) {
    if (!Dir.empty() && Dir.back() != '/') Dir += '/';
    return Dir;
}

std::string FolderOf(const std::string& Path) {
    return WithSep(fs::path(Path).parent_path().string());
}

// The item's id and those of its parents: one item over a rebuild of the tree.
std::string ItemKey(QTreeWidgetItem* Item) {
    std::string key;
    for (; Item; Item = Item->parent())
        key += std::to_string(static_cast<TXMLTreeViewItem*>(Item)->ID) + ".";
    return key;
}

QTreeWidgetItem* ReviewItem(const TCompareItem& Item) {
    auto* i = new QTreeWidgetItem(QStringList(QString::fromStdString(Item.Text)));
    i->setData(0, TFrmParaChanged::RoleId, uint(Item.ID));
    i->setData(0, TFrmParaChanged::RoleVisibility, Item.Visibility);
    i->setData(0, TFrmParaChanged::RoleHasValue, !Item.Key.empty());
    i->setData(0, TFrmParaChanged::RoleModule, Item.Module);
    i->setData(0, TFrmParaChanged::RoleModule + 1, QString::fromStdString(Item.Key));
    for (const TCompareItem& c : Item.Children)
        i->addChild(ReviewItem(c));
    return i;
}

void TickedKeys(QTreeWidgetItem* Item, std::set<std::string>& Keys) {
    const QString key = Item->data(0, TFrmParaChanged::RoleModule + 1).toString();
    if (!key.isEmpty() && Item->checkState(0) == Qt::Checked) Keys.insert(key.toStdString());
    for (int i = 0; i < Item->childCount(); ++i)
        TickedKeys(Item->child(i), Keys);
}

} // namespace

TFormPara::TFormPara(QWidget* Parent) : TFormBasic(Parent) {
    BuildUi();
    SetActionsEnabled(false);
    SetNewVisibility(0);
}

TFormPara::~TFormPara() = default;

QAction* TFormPara::AddAction(QToolBar* Bar, const char* Name, const char* Button, const QString& Text,
                              std::function<void()> Slot) {
    QAction* a = Bar->addAction(Text);
    a->setObjectName(Name);
    Bar->widgetForAction(a)->setObjectName(Button);
    connect(a, &QAction::triggered, this, std::move(Slot));
    return a;
}

void TFormPara::BuildUi() {
    auto* lay = new QVBoxLayout(lytBase);
    lay->setContentsMargins(0, 0, 0, 0);
    lay->setSpacing(0);
    // Two rows, so that the view fits the host's tab: the level and what acts on the instrument,
    // then the files.
    tbPara = new QToolBar(lytBase);
    tbPara->setObjectName("tbPara");
    tbPara->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    tbPara->setIconSize(QSize(18, 18));
    tbPara->addWidget(new QLabel(" Ansicht: ", tbPara));
    cbbVisibility = new QComboBox(tbPara);
    cbbVisibility->setObjectName("cbbVisibility");
    cbbVisibility->setToolTip("Basisansicht, Expertenansicht oder Service (mit Rückfrage)");
    for (const char* t : CLevelTexts)
        cbbVisibility->addItem(t);
    connect(cbbVisibility, qOverload<int>(&QComboBox::currentIndexChanged), this,
            &TFormPara::cbbVisibilityChange);
    tbPara->addWidget(cbbVisibility);
    tbPara->addSeparator();
    // The send button turns into "Reload" after a sending; it is a button of its own for that.
    btnSend = new QToolButton(tbPara);
    btnSend->setObjectName("btnSend");
    btnSend->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    actSend = new QAction(FerroIcon(TIconKind::Firmware), "Senden", this);
    actSend->setObjectName("actSend");
    actSend->setToolTip("Das Setup an das Gerät senden");
    btnSend->setDefaultAction(actSend);
    connect(btnSend, &QToolButton::clicked, this, [this] {
        if (FReloadMode) reload();
    });
    connect(actSend, &QAction::triggered, this, [this] {
        if (!FReloadMode) actSendExecute();
    });
    tbPara->addWidget(btnSend);
    actResetToDefault = AddAction(tbPara, "actResetToDefault", "spdbtnResetToDefault", "Standardwerte",
                                  [this] { Ask(CResetQuestion, [this] { CreateResetThread(); }); });
    actResetToDefault->setIcon(FerroIcon(TIconKind::Refresh));
    actResetToDefault->setToolTip(
        "Alle Parameter außer den Netzwerkeinstellungen auf ihre Standardwerte setzen");
    tbPara->addSeparator();
    actICDLoad =
        AddAction(tbPara, "actICDLoad", "btnICDImport", "ICD Import", [this] { actICDLoadExecute(); });
    actICDSave =
        AddAction(tbPara, "actICDSave", "btnICDExport", "ICD Export", [this] { actICDSaveExecute(); });
    actICDLoad->setToolTip("Die ICD-Datei (IEC 61850) laden und ihre Kennwerte übernehmen");
    actICDSave->setToolTip("Die Kopie der ICD-Datei speichern");
    auto* spacer = new QWidget(tbPara);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    tbPara->addWidget(spacer);
    lblChanges = new QLabel(tbPara);
    lblChanges->setObjectName("lblChanges");
    // Room for the longest count, so that the tool bar never hides it behind its extension.
    lblChanges->setMinimumWidth(lblChanges->fontMetrics().horizontalAdvance("99999 geänderte Werte  "));
    tbPara->addWidget(lblChanges);
    lay->addWidget(tbPara);

    tbFiles = new QToolBar(lytBase);
    tbFiles->setObjectName("tbFiles");
    tbFiles->setToolButtonStyle(Qt::ToolButtonTextOnly);
    ActExport = AddAction(tbFiles, "ActExport", "btnTemplateSave", "Vorlage Speichern",
                          [this] { ActExportExecute(); });
    actImportDefault = AddAction(tbFiles, "actImportDefault", "btnTempl", "Normvorlage Öffnen",
                                 [this] { ImportData(TemplateFolder()); });
    actImport = AddAction(tbFiles, "actImport", "btnTemplOwn", "Vorlage Öffnen",
                          [this] { ImportData(OwnTemplateFolder()); });
    actExportChanged = AddAction(tbFiles, "actExportChanged", "btnExportChanged", "Delta Export",
                                 [this] { actExportChangedExecute(); });
    ActExportPara = AddAction(tbFiles, "ActExportPara", "btnCSVExport", "Setup CSV Export",
                              [this] { ActExportParaExecute(); });
    ActExport->setToolTip("Das Setup als eigene Vorlage speichern");
    actImportDefault->setToolTip("Eine Werksvorlage des Geräts mit dem Setup vergleichen und übernehmen");
    actImport->setToolTip("Eine eigene Vorlage mit dem Setup vergleichen und übernehmen");
    actExportChanged->setToolTip("Nur die geänderten Werte als Vorlage speichern");
    ActExportPara->setToolTip("Das Setup als CSV-Liste öffnen");
    lay->addWidget(tbFiles);

    lytAdvanced = new QWidget(lytBase);
    lytAdvanced->setObjectName("lytAdvanced");
    auto* adv = new QHBoxLayout(lytAdvanced);
    adv->setContentsMargins(4, 4, 4, 4);
    splitPara = new QSplitter(Qt::Horizontal, lytAdvanced);
    splitPara->setObjectName("splitPara");
    TreeViewOpti = new QTreeWidget(splitPara);
    TreeViewOpti->setObjectName("TreeViewOpti");
    TreeViewOpti->setHeaderLabel("Module und Gruppen");
    TreeViewOpti->setMinimumWidth(220);
    // A group of groups opens on a click; one with values shows them as soon as it is current.
    connect(TreeViewOpti, &QTreeWidget::itemClicked, this, [](QTreeWidgetItem* i, int) {
        if (!static_cast<TXMLTreeViewItem*>(i)->Leaf) i->setExpanded(!i->isExpanded());
    });
    connect(TreeViewOpti, &QTreeWidget::currentItemChanged, this,
            [this](QTreeWidgetItem* i, QTreeWidgetItem*) {
                if (i && static_cast<TXMLTreeViewItem*>(i)->Leaf)
                    ClickParaOptions(static_cast<TXMLTreeViewItem*>(i));
            });
    FGrd = new TFerroGrid(splitPara);
    FGrd->setObjectName("FGrd");
    FGrd->SetLanguage(&FLangXML);
    FGrd->Model().FOnGridRowChange = [this](QObject* S, pugi::xml_node N, const std::string& V, bool E,
                                            TGridRowTyp T) { ChangeCell(S, N, V, E, T); };
    FGrd->Model().FICDCallBack = [this](const std::string& Name) { ICDNameChange(Name); };
    splitPara->addWidget(TreeViewOpti);
    splitPara->addWidget(FGrd);
    splitPara->setStretchFactor(0, 0);
    splitPara->setStretchFactor(1, 1);
    // The host's kept widths (SetSettings) replace these.
    splitPara->setSizes({260, 1000});
    adv->addWidget(splitPara);
    lay->addWidget(lytAdvanced, 1);
    BuildToolsUi();
    FSettings = new TParaSettings(lytBase);
    lay->addWidget(FSettings, 1);
    WireSettings();
}

// ---------------------------------------------------------------- connection and reading

void TFormPara::ConnEst(TSender Sender, bool Success) {
    TFormBasic::ConnEst(Sender, Success);
    LogPrepare(this, "Connection Done From Para", false);
    const std::string where = Connection().Where();
    if (!Success || !FComUnit) {
        SetCapt(Fmt("%s @ %s - DISCONNECTED", DeviceName().c_str(), where.c_str()));
        actSend->setEnabled(false);
        return;
    }
    SetCapt(Fmt("%s @ %s", DeviceName().c_str(), where.c_str()));
    if (FOwnTemplateFolderLocal.empty())
        FOwnTemplateFolderLocal = WithSep(
            Connection().Folders.Data.empty() ? FComUnit->FTmpDir : Connection().Folders.Data + "Vorlagen");
    FTemplateFolderLocal = WithSep(FComUnit->FDatadir + "Werksvorlagen");
    FComUnit->FOwnTemplateFolder = FOwnTemplateFolderLocal;
    FComUnit->FTemplateFolder = FTemplateFolderLocal;
    std::error_code ec;
    fs::create_directories(FComUnit->FTmpDir, ec); // the setup and the CSV listing land there
    if (FFirstStart) {
        FFirstStart = false;
        StartWork("Anfordern");
        LoadLanguage([this] { RequestSetup(); });
    } else if (Fxf.Loaded()) {
        SetActionsEnabled(true);
    }
}

void TFormPara::LoadLanguage(std::function<void()> Then) {
    if (FLangXML.Count() > 0) return Then();
    const std::string ini = Connection().Folders.Ini + "lang_de.XML";
    if (fs::exists(ini) && FLangXML.SetLangFile(ini)) return Then();
    // Not fetched yet: the instrument's own German file from its scratchpad.
    FComUnit->ScratchpadGet("lang/lang_de.xml", [this, ini, Then](const TReply& r) {
        if (r.Ok && FLangXML.SetLangFile(r.File)) {
            std::error_code ec;
            if (!Connection().Folders.Ini.empty())
                fs::copy_file(r.File, ini, fs::copy_options::overwrite_existing, ec);
        } else {
            LogPrepare(this, "Sprachdatei nicht geladen: " + r.Text, true);
        }
        Then();
    });
}

void TFormPara::RequestSetup() {
    if (!FComUnit) return;
    // The file comes through the link's setup callback (ParaToTable); the reply only tells failures.
    FComUnit->ReadSetup([this](const TReply& r) {
        if (r.Ok) return;
        EndWork();
        Message("Das Setup konnte nicht vom Gerät gelesen werden: " + r.Text +
                    (r.Code ? Fmt(" (Code %u)", r.Code) : std::string()),
                mtError);
    });
}

void TFormPara::ParaToTable(const std::string& FileName) {
    const bool first = !Fxf.Loaded();
    if (!Fxf.LoadFromFile(FileName)) {
        LogPrepare(this, Fxf.LastError(), true);
        Message(Fxf.LastError(), mtError);
        EndWork();
        return;
    }
    FReloadMode = false;
    btnSend->setDefaultAction(actSend);
    SetActionsEnabled(true);
    SetLabConText(this, "");
    ReadXMLPara();
    AfterVisibilityChange();
    UpdateChangeCount();
    EndWork();
    if (first) FetchFactoryTemplates();
}

void TFormPara::FetchFactoryTemplates() {
    if (!FComUnit) return;
    // The instrument keeps its factory templates in its scratchpad; they become read-only files here.
    FComUnit->Lua("fs.ls(\"~/templates/*.xml\")", [this](const TReply& r) {
        if (!r.Ok || !FComUnit) return;
        std::vector<std::string> names;
        std::istringstream in(r.Text);
        for (std::string line; std::getline(in, line);) {
            std::istringstream words(line);
            std::string kind, size, date, time, name;
            if (words >> kind >> size >> date >> time >> name && kind == "file" &&
                name.find('/') == std::string::npos)
                names.push_back(name);
        }
        std::error_code ec;
        fs::create_directories(FTemplateFolderLocal, ec);
        FetchTemplates(std::make_shared<std::vector<std::string>>(std::move(names)), 0);
    });
}

// One file after the other: each arrives before the next is asked for.
void TFormPara::FetchTemplates(std::shared_ptr<std::vector<std::string>> Names, size_t Index) {
    if (Index >= Names->size() || !FComUnit) {
        if (FTemplatesArrived) FTemplatesArrived(int(Index));
        return;
    }
    const std::string name = (*Names)[Index];
    FComUnit->ScratchpadGet("templates/" + name, [this, name, Names, Index](const TReply& f) {
        if (f.Ok) {
            const std::string target = FTemplateFolderLocal + name;
            std::error_code e;
            fs::permissions(target, fs::perms::owner_write, fs::perm_options::add, e);
            fs::copy_file(f.File, target, fs::copy_options::overwrite_existing, e);
            fs::permissions(target, fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read,
                            fs::perm_options::replace, e);
            fs::remove(f.File, e);
            LogPrepare(this, "Werksvorlage " + name, false);
        }
        FetchTemplates(Names, Index + 1);
    });
}

void TFormPara::ReadXMLPara() {
    const std::string keep = FSelectedKey;
    TreeViewOpti->setUpdatesEnabled(false);
    TreeViewOpti->clear();
    FModulList.clear();
    FXnode = pugi::xml_node();
    FGrd->ClearList();
    FGrd->SetRowCnt();
    try {
        if (Fxf.Loaded()) AddItems(nullptr, Fxf.BuildTree(FVisibility, &FLangXML, FModulList));
    } catch (const TParaError& e) {
        SetLabConText(this, e.what());
    }
    FGrd->HideColumns(FVisibility);
    TreeViewOpti->setUpdatesEnabled(true);
    // The item shown before, when it still shows at this level.
    QTreeWidgetItemIterator it(TreeViewOpti);
    for (; *it; ++it)
        if (ItemKey(*it) == keep) {
            for (QTreeWidgetItem* p = (*it)->parent(); p; p = p->parent())
                p->setExpanded(true);
            TreeViewOpti->setCurrentItem(*it);
            break;
        }
    ShowSettings();
}

void TFormPara::AddItems(QTreeWidgetItem* Parent, const std::vector<TParaTreeItem>& Items) {
    for (const TParaTreeItem& t : Items) {
        auto* item = Parent ? new TXMLTreeViewItem(Parent) : new TXMLTreeViewItem(TreeViewOpti);
        item->setText(0, QString::fromStdString(t.Text));
        item->setToolTip(0, QString::fromStdString(Fmt("%s (%u)", t.Text.c_str(), t.ID)));
        item->Node = t.Node;
        item->ID = t.ID;
        item->Tag = t.Tag;
        item->Leaf = t.Leaf;
        AddItems(item, t.Children);
    }
}

void TFormPara::ClickParaOptions(TXMLTreeViewItem* Item) {
    WriteSettings();
    FSelectedKey = ItemKey(Item);
    FXnode = Item->Node;
    RefreshGrid();
}

void TFormPara::RefreshGrid() {
    FGrd->ClearList();
    if (FXnode) {
        try {
            for (const TGridRow& r : Fxf.Rows(FXnode, FVisibility, &FLangXML))
                FGrd->AddRowVal(r);
        } catch (const TParaError& e) {
            SetLabConText(this, e.what());
        }
    }
    FGrd->SetRowCnt();
    FGrd->setVisible(true);
    // A reset or an import changed the document under the settings pages.
    if (FVisibility == 0 && Fxf.Loaded()) ShowSettings();
}

void TFormPara::ChangeCell(QObject*, pugi::xml_node Node, const std::string& Value, bool Equal,
                           TGridRowTyp Typ) {
    Fxf.ChangeCell(Node, Value, Equal, Typ);
    UpdateChangeCount();
}

void TFormPara::UpdateChangeCount() {
    const size_t n = Fxf.ChangeList().size();
    lblChanges->setText(n == 0 ? QString() : QString("%1 geänderte Werte  ").arg(n));
}

// ---------------------------------------------------------------- levels

void TFormPara::cbbVisibilityChange(int Index) {
    if (Index == FVisibility) return;
    // The transformers leave the basic settings only as a plausible set.
    if (FVisibility == 0 && Fxf.Loaded() && !FSettings->WriteWandler()) {
        const QSignalBlocker block(cbbVisibility);
        cbbVisibility->setCurrentIndex(FVisibility);
        return;
    }
    if (Index == 2) {
        OpenMessageBox(this, CServiceQuestion, mtWarning, Buttons({mbYes, mbNo}), mbNo, [this](int r) {
            if (r == mrYes) {
                SetNewVisibility(2);
            } else {
                const QSignalBlocker block(cbbVisibility);
                cbbVisibility->setCurrentIndex(FVisibility);
            }
            AfterVisibilityChange();
        });
        return;
    }
    SetNewVisibility(Index);
    AfterVisibilityChange();
}

void TFormPara::SetNewVisibility(int Level) {
    FVisibility = Level;
    if (FComUnit) FComUnit->FVisibility = Level;
    {
        const QSignalBlocker block(cbbVisibility);
        cbbVisibility->setCurrentIndex(Level);
    }
    actExportChanged->setVisible(Level >= 2);
    FGrd->SetVisibility(Level);
    if (Fxf.Loaded())
        ReadXMLPara();
    else
        FGrd->HideColumns(Level);
}

void TFormPara::AfterVisibilityChange() {
    // The tree serves level 0 as well, so it opens on its first item there too.
    if (!TreeViewOpti->currentItem() && TreeViewOpti->topLevelItemCount() > 0) {
        QTreeWidgetItem* first = TreeViewOpti->topLevelItem(0);
        TreeViewOpti->setCurrentItem(first);
        if (!static_cast<TXMLTreeViewItem*>(first)->Leaf) first->setExpanded(true);
    }
    actICDLoad->setVisible(FVisibility > 0);
    actICDSave->setVisible(FVisibility > 0);
    FSettings->TimePage()->HandleTimeStream();
}

// ---------------------------------------------------------------- sending

void TFormPara::actSendExecute() {
    if (!Fxf.Loaded() || FBusy) return;
    LogPrepare(this, "Sending Para", false);
    if (FVisibility == 0 && !FSettings->WriteWandler()) return;
    CheckAllMandatoryNodes(Fxf.Doc());
    const std::string sn = FComUnit ? std::to_string(FComUnit->FSN) : FSN;
    const std::string temp = Fmt("%s%s_TempPara.XML", FolderOf(Fxf.FileName()).c_str(), sn.c_str());
    // The module list afresh: a cancelled or refused sending must not leave modules unticked.
    auto moduls = std::make_shared<TModulList>();
    try {
        Fxf.BuildTree(FVisibility, &FLangXML, *moduls);
    } catch (const TParaError& e) {
        return Message(e.what(), mtError);
    }
    auto send = [this, temp, moduls] {
        SetLabConText(this, Fxf.FileName());
        if (!Fxf.SaveToFile(Fxf.FileName()) || !Fxf.SaveForSend(temp, *moduls, &FLangXML)) {
            return Message("Das Setup kann nicht gespeichert werden: " +
                               (Fxf.LastError().empty() ? temp : Fxf.LastError()),
                           mtError);
        }
        LogPrepare(this, Fmt("SaveTo=%s", temp.c_str()), false);
        if (!FComUnit || !Established())
            return Message("Keine Verbindung zum Gerät: das Setup wurde nicht gesendet.", mtError);
        SetBusy(true, "Hochladen");
        // A loaded ICD copy travels with the setup, so that the instrument's server has it too.
        const bool icd = !FComUnit->FICDFile.empty() && fs::exists(FComUnit->FICDFile);
        FComUnit->WriteSetup(
            temp, [this](const TReply& r) { UploadDone(r); }, icd);
        LogPrepare(this, Fmt("SendTo=%s", temp.c_str()), false);
    };
    if (FVisibility == 0) return send();
    auto* dlg = new TFrmParaSelect(*moduls, this);
    dlg->setAttribute(Qt::WA_DeleteOnClose);
    dlg->CreateSelect(DeviceName());
    connect(dlg, &QDialog::finished, this, [send, moduls](int result) {
        if (result == QDialog::Accepted) send();
    });
    dlg->open();
}

void TFormPara::UploadDone(const TReply& Reply) {
    SetBusy(false, "");
    if (!Reply.Ok) {
        // Nothing is lost: the document and the change list stay for another try.
        LogPrepare(this, "Para: Upload failed " + Reply.Text, true);
        return Message("Das Gerät hat das Setup nicht übernommen: " + Reply.Text +
                           (Reply.Code ? Fmt(" (Code %u)", Reply.Code) : std::string()) +
                           "\nDie Änderungen bleiben erhalten; bitte prüfen und erneut senden.",
                       mtError);
    }
    LogPrepare(this, "Para: Upload Done", false);
    SetLabConText(this, "");
    actImport->setEnabled(false);
    actImportDefault->setEnabled(false);
    FReloadMode = true;
    btnSend->removeAction(actSend);
    btnSend->setDefaultAction(nullptr);
    btnSend->setText("Reload");
    btnSend->setToolTip("Das Setup neu vom Gerät lesen");
    btnSend->setEnabled(true);
    Message("Übertragung abgeschlossen");
    Fxf.ChangeList().clear();
    UpdateChangeCount();
    ReadXMLPara();
}

void TFormPara::reload() {
    if (ReloadPara) return ReloadPara(this);
    StartWork("Anfordern");
    RequestSetup();
}

// ---------------------------------------------------------------- reset

void TFormPara::CreateResetThread() {
    if (!Fxf.Loaded() || FBusy) return;
    SetBusy(true, "Standardwerte");
    auto* watcher = new QFutureWatcher<int>(this);
    connect(watcher, &QFutureWatcher<int>::finished, this, [this, watcher] {
        ResetThreadEnd(watcher->result());
        watcher->deleteLater();
    });
    // The form is blocked while the walk runs: nothing else touches the document.
    watcher->setFuture(QtConcurrent::run([doc = &Fxf] { return doc->ResetToDefaults(); }));
}

void TFormPara::ResetThreadEnd(int Moved) {
    SetBusy(false, "");
    LogPrepare(this, Fmt("Reset: %d values to default", Moved), false);
    RefreshGrid();
    UpdateChangeCount();
}

// ---------------------------------------------------------------- templates and import

void TFormPara::ImportData(const std::string& Folder) {
    if (!Fxf.Loaded() || FBusy) return;
    const std::string file = Choose(Folder, "", "Vorlagen (*.xml *.XML)", false);
    if (file.empty()) return;
    // The folder is remembered for the own templates; the read-only factory folder is not one.
    if (FolderOf(file) != FTemplateFolderLocal) FOwnTemplateFolderLocal = FolderOf(file);
    SetBusy(true, "Importieren");
    auto compare = std::make_shared<TSetupCompare>();
    auto error = std::make_shared<std::string>();
    auto* watcher = new QFutureWatcher<void>(this);
    connect(watcher, &QFutureWatcher<void>::finished, this, [this, watcher, compare, error] {
        watcher->deleteLater();
        EndCompareThread(compare, *error);
    });
    // The thread reads both documents only; every change happens on the main thread at the end.
    const char sep = FGrd->Model().FDecimalSep;
    watcher->setFuture(QtConcurrent::run([this, file, compare, error, sep] {
        TSetupDocument doc;
        if (!doc.LoadFromFile(file))
            *error = doc.LastError();
        else if (!compare->Run(doc.Doc(), Fxf, &FLangXML, sep))
            *error = compare->Error();
    }));
}

void TFormPara::EndCompareThread(std::shared_ptr<TSetupCompare> Compare, const std::string& Error) {
    SetBusy(false, "");
    LogPrepare(this, Fmt("Log After %zu - %d", Compare->FCompareDictOri.size(), Compare->FRunCount), false);
    if (!Error.empty()) return Message(Error, mtError);
    FInvalidImportList = Compare->FInvalidImportList;
    if (!FInvalidImportList.empty()) {
        std::string text = CInvalidImport;
        for (const std::string& l : FInvalidImportList)
            text += l + "\n";
        Message(text, mtWarning);
    }
    if (Compare->FCompareDictOri.empty()) return Message("Keine geänderten Daten gefunden");
    auto* dlg = new TFrmParaChanged(this);
    dlg->setAttribute(Qt::WA_DeleteOnClose);
    QList<QTreeWidgetItem*> items;
    for (const TCompareItem& m : Compare->FSWModulTVList)
        items.push_back(ReviewItem(m));
    dlg->InsertTV(items);
    dlg->SetText(DeviceName());
    connect(dlg, &QDialog::accepted, this, [this, Compare, dlg] { ApplyImport(Compare, dlg); });
    dlg->open();
}

void TFormPara::ApplyImport(std::shared_ptr<TSetupCompare> Compare, TFrmParaChanged* Dialog) {
    std::set<std::string> ticked;
    for (int i = 0; i < Dialog->TreeView1->topLevelItemCount(); ++i)
        TickedKeys(Dialog->TreeView1->topLevelItem(i), ticked);
    std::vector<std::string> log;
    Compare->Apply(ticked, Fxf, log);
    for (const std::string& l : log)
        LogPrepare(this, l, false);
    RefreshGrid();
    UpdateChangeCount();
}

void TFormPara::ActExportExecute() {
    if (!Fxf.Loaded()) return;
    LogPrepare(this, "Exporting Para", false);
    CheckAllMandatoryNodes(Fxf.Doc());
    const TIdentity id = FComUnit ? FComUnit->Identity() : TIdentity();
    const std::string proposal =
        Fmt("Ferro_%s_%s_%s_%s.xml", id.Device.c_str(), id.Plant.c_str(), id.Field.c_str(),
            QDateTime::currentDateTime().toString("yyMMdd").toStdString().c_str());
    const std::string file = Choose(OwnTemplateFolder(), proposal, "Vorlagen (*.xml)", true);
    if (file.empty()) return;
    if (!FTemplateFolderLocal.empty() && FolderOf(file) == FTemplateFolderLocal)
        return Message("Die Werksvorlagen sind schreibgeschützt. Bitte speichern Sie die Vorlage in einem "
                       "anderen Ordner.",
                       mtWarning);
    auto save = [this, file] {
        FOwnTemplateFolderLocal = FolderOf(file);
        if (!Fxf.SaveToFile(file))
            return Message("Die Vorlage " + file + " kann nicht geschrieben werden. " + Fxf.LastError(),
                           mtError);
        LogPrepare(this, "Exporting Para " + file, false);
    };
    if (fs::exists(file)) return Ask(Fmt(CFileExists, file.c_str()), save);
    save();
}

void TFormPara::actExportChangedExecute() {
    pugi::xml_document delta;
    try {
        if (!DeltaDocument(Fxf, delta)) return Message("Keine Änderungen");
    } catch (const TParaError& e) {
        return Message(e.what(), mtError);
    }
    const std::string proposal = Fmt(
        "ChangeExport_%s.xml", QDateTime::currentDateTime().toString("yyMMdd_hhmmss").toStdString().c_str());
    const std::string file = Choose(OwnTemplateFolder(), proposal, "Vorlagen (*.xml)", true);
    if (file.empty()) return;
    FOwnTemplateFolderLocal = FolderOf(file);
    if (!delta.save_file(file.c_str(), "  ", pugi::format_indent, pugi::encoding_utf8))
        Message("Die Datei " + file + " kann nicht geschrieben werden.", mtError);
}

void TFormPara::ActExportParaExecute() {
    if (!Fxf.Loaded()) return;
    auto lines = std::make_shared<TModulList>();
    for (pugi::xml_node m : Fxf.Sys().children("swmodule")) {
        const std::string id = m.attribute("id").value();
        const std::string text = FLangXML.IdToText(id);
        lines->emplace_back(id, text.empty() ? id : text);
    }
    auto* dlg = new TFrmParaSelect(*lines, this);
    dlg->setAttribute(Qt::WA_DeleteOnClose);
    dlg->CreateCopySelect();
    connect(dlg, &QDialog::finished, this, [this, lines](int result) {
        if (result != QDialog::Accepted) return;
        std::set<std::string> moduls;
        for (const auto& l : *lines)
            moduls.insert(l.second);
        const char sep = FGrd->Model().FDecimalSep;
        std::string csv;
        try {
            csv = SetupCsv(Fxf, &FLangXML, moduls, sep);
        } catch (const TParaError& e) {
            return Message(e.what(), mtError);
        }
        const std::string dir = FComUnit ? FComUnit->FTmpDir : Connection().Folders.Tmp;
        const std::string path = Fmt("%spara_%u.csv", dir.c_str(), FComUnit ? FComUnit->FSN : 0u);
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        if (!out || !out.write(csv.data(), std::streamsize(csv.size())) || !out.flush())
            return Message("Die CSV-Datei " + path +
                               " kann nicht geschrieben werden. Bitte prüfen Sie den Ordner "
                               "für temporäre Dateien.",
                           mtError);
        if (FOpenFile)
            FOpenFile(path);
        else
            QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(path)));
    });
    dlg->open();
}

// ---------------------------------------------------------------- ICD

void TFormPara::actICDLoadExecute() {
    if (!Fxf.Loaded()) return;
    const std::string file = Choose(FIcdFolder, "", "ICD-Dateien (*.icd *.ICD)", false);
    if (!file.empty()) {
        FIcdFolder = FolderOf(file);
        TICDInfo info;
        std::string why;
        if (!ReadICDFile(file, info, why)) {
            LogPrepare(this, "Error ICD File: " + why, true);
            return Message("Ungülige ICD Datei\n" + why, mtError);
        }
        const std::string copy = FolderOf(Fxf.FileName()) + fs::path(file).filename().string();
        std::error_code ec;
        if (fs::absolute(copy) != fs::absolute(file))
            fs::copy_file(file, copy, fs::copy_options::overwrite_existing, ec);
        if (ec)
            return Message(Fmt("Error Exporting ICD File %s %s", copy.c_str(), ec.message().c_str()),
                           mtError);
        if (FComUnit) FComUnit->FICDFile = copy;
        ApplyICDInfo(Fxf, info);
    }
    RefreshGrid();
    UpdateChangeCount();
}

void TFormPara::actICDSaveExecute() {
    const std::string icd = FComUnit ? FComUnit->FICDFile : std::string();
    if (icd.empty() || !fs::exists(icd)) return Message("Es ist noch keine ICD-Datei geladen.", mtWarning);
    const std::string file =
        Choose(FIcdFolder, fs::path(icd).filename().string(), "ICD-Dateien (*.icd)", true);
    if (file.empty()) return;
    FIcdFolder = FolderOf(file);
    auto copy = [this, icd, file](bool Overwrite) {
        std::error_code ec;
        fs::copy_file(icd, file, Overwrite ? fs::copy_options::overwrite_existing : fs::copy_options::none,
                      ec);
        if (ec) Message(Fmt("Error Exporting ICD File %s %s", file.c_str(), ec.message().c_str()), mtError);
    };
    if (fs::exists(file)) return Ask(Fmt(CFileExists, file.c_str()), [copy] { copy(true); });
    copy(false);
}

void TFormPara::ICDNameChange(const std::string& Name) {
    if (FComUnit && !FComUnit->FICDFile.empty() && !RenameICDIed(FComUnit->FICDFile, Name))
        LogPrepare(this, "ICD: " + FComUnit->FICDFile + " not renamed", false);
}

// ---------------------------------------------------------------- helpers

QStringList TFormPara::Pages() const {
    QStringList pages{"Expertenansicht"};
    for (int i = 0; i < FSettings->count(); ++i)
        pages << FSettings->tabText(i);
    return pages;
}

void TFormPara::ShowPage(int Page) {
    cbbVisibility->setCurrentIndex(Page == 0 ? 1 : 0);
    if (Page > 0) FSettings->setCurrentIndex(Page - 1);
}

void TFormPara::ConnectionLost(const std::string& Reason) {
    TFormBasic::ConnectionLost(Reason);
    SetCapt(Fmt("%s @ %s - DISCONNECTED", DeviceName().c_str(), Connection().Where().c_str()));
    actSend->setEnabled(false);
    actSend->setToolTip("Keine Verbindung zum Gerät");
}

void TFormPara::ThreadExceptCallBack(TSender) {
    actSend->setEnabled(false);
}

void TFormPara::SetActionsEnabled(bool On) {
    const bool loaded = On && Fxf.Loaded();
    for (QAction* a : {ActExport, actImport, actImportDefault, actExportChanged, ActExportPara, actICDLoad,
                       actICDSave, actResetToDefault})
        a->setEnabled(loaded);
    actSend->setEnabled(loaded && !OfflineMode);
    const QString why = loaded ? QString() : QString("Erst verfügbar, wenn das Setup vom Gerät gelesen ist");
    for (QAction* a : {actSend, actImport, actImportDefault, ActExport})
        if (!loaded) a->setToolTip(why);
}

void TFormPara::SetBusy(bool On, const std::string& Text) {
    FBusy = On;
    lytAdvanced->setEnabled(!On);
    tbPara->setEnabled(!On);
    tbFiles->setEnabled(!On);
    if (On)
        StartWork(Text);
    else
        EndWork();
}

void TFormPara::Message(const std::string& Text, TMsgDlgType Type) {
    OpenMessageBox(this, Text, Type, Buttons({mbOK}), mbOK, nullptr);
}

void TFormPara::Ask(const std::string& Text, std::function<void()> Yes) {
    OpenMessageBox(this, Text, mtConfirmation, Buttons({mbYes, mbNo}), mbNo, [Yes](int r) {
        if (r == mrYes) Yes();
    });
}

std::string TFormPara::Choose(const std::string& Folder, const std::string& Proposal,
                              const std::string& Filter, bool Save) {
    if (FChooseFile) return FChooseFile(Folder, Proposal, Filter, Save);
    const QString start = QString::fromStdString(Folder + Proposal);
    const QString f = QString::fromStdString(Filter);
    // The overwrite question is the form's own (with its text), not the dialog's.
    const QString chosen = Save ? QFileDialog::getSaveFileName(this, "Speichern", start, f, nullptr,
                                                               QFileDialog::DontConfirmOverwrite)
                                : QFileDialog::getOpenFileName(this, "Öffnen", start, f);
    return chosen.toStdString();
}

std::string TFormPara::DeviceName() const {
    if (FComUnit && !FComUnit->Identity().Device.empty()) return FComUnit->Identity().Device;
    return Connection().Name.empty() ? Connection().Where() : Connection().Name;
}

} // namespace ferro
