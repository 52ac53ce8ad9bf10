#pragma once
// The parameter form: the instrument's setup as a tree of modules and groups with the grid of the
// chosen one, the user levels, the send with its module choice, the reset to defaults, templates
// (factory and own), the comparing import, the delta and CSV exports and the ICD file.

#include "forms/FormBasic.h"
#include "forms/Icons.h"
#include "para/SetupCompare.h"
#include "para/SetupDocument.h"

#include <functional>
#include <memory>

class QAction;
class QComboBox;
class QLabel;
class QMenu;
class QSplitter;
class QToolBar;
class QToolButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace ferro {

class TFerroGrid;
class TParaSettings;
class TFrmParaChanged;
class TFrmParaSelect;
class TXMLTreeViewItem;

class TFormPara : public TFormBasic {
    Q_OBJECT
public:
    explicit TFormPara(QWidget* Parent = nullptr);
    ~TFormPara() override;

    void ConnEst(TSender Sender, bool Success) override;
    void ParaToTable(const std::string& FileName) override;
    void ThreadExceptCallBack(TSender Sender) override;
    // Editing goes on without the line; only sending waits for it.
    void ConnectionLost(const std::string& Reason) override;
    // The screenshot run's pages: the expert level with its tree and grid, then the basic settings.
    QStringList Pages() const override;
    void ShowPage(int) override;
    // The time stream of the time page.
    void UpdateGrid() override;

    void ReadXMLPara();
    void ChangeCell(QObject* Sender, pugi::xml_node Node, const std::string& Value, bool Equal,
                    TGridRowTyp Typ);
    void SetNewVisibility(int Level);
    void actSendExecute();
    void CreateResetThread();
    void ImportData(const std::string& Folder);
    void ActExportExecute();
    void actExportChangedExecute();
    void ActExportParaExecute();
    void actICDLoadExecute();
    void actICDSaveExecute();
    void ICDNameChange(const std::string& Name);

    TSetupDocument& Document() { return Fxf; }
    TFerroGrid* Grid() const { return FGrd; }
    // The fixed pages of level 0.
    TParaSettings* SettingsPages() const { return FSettings; }
    const TModulList& ModulList() const { return FModulList; }
    // The factory templates (read-only copies of the instrument's) and the user's own.
    const std::string& TemplateFolder() const { return FTemplateFolderLocal; }
    const std::string& OwnTemplateFolder() const { return FOwnTemplateFolderLocal; }

    // The host's way of reading the setup anew after a sending; unset, the form reads it itself.
    std::function<void(TSender)> ReloadPara;
    // Asks for a file: folder to start in, proposed name, filter, whether to save. Empty: cancelled.
    // A file dialog unless a test puts its own choice here.
    std::function<std::string(const std::string& Folder, const std::string& Proposal,
                              const std::string& Filter, bool Save)>
        FChooseFile;
    // Opens a written file with the desktop's program (the CSV listing).
    std::function<void(const std::string& Path)> FOpenFile;
    // Called when the factory templates have arrived from the instrument (their count).
    std::function<void(int)> FTemplatesArrived;

    QComboBox* cbbVisibility = nullptr;
    QTreeWidget* TreeViewOpti = nullptr;
    QSplitter* splitPara = nullptr;
    QWidget* lytAdvanced = nullptr;
    QToolBar* tbPara = nullptr;
    QToolBar* tbFiles = nullptr;
    QAction *actSend, *ActExport, *actImport, *actImportDefault, *actExportChanged, *ActExportPara,
        *actICDLoad, *actICDSave, *actResetToDefault;
    QToolButton* btnSend = nullptr;
    QLabel* lblChanges = nullptr;

    // ---- Kept widths, the two further saves, the counting and fill menus (FormParaTools.cpp) ----
    // The host's kept widths: the tree, then the grid's five columns.
    void SetSettings(const TFrmParaSettings& S);
    // The widths as they stand now.
    TFrmParaSettings Settings() const;
    // Told the widths whenever the grid shows another item or the splitter moves.
    std::function<void(const TFrmParaSettings&)> FWriteSettings;
    // The document as a template straight into the own folder, under the proposed name.
    void btnSaveTemplateClick();
    // The document, or with an ".icd" name the ICD copy, to a file of the user's choice.
    void btnRundsteuerClick();
    // "Items: N": the recording points switched on below the counting item (FCountNode).
    void actCountAufzeichnungspunkteExecute();
    // The value of the data point row under the menu into every row below it.
    void actFuellenExecute();
    QMenu *pmAufzeichnungspunkte = nullptr, *pmGrid = nullptr;
    QAction *actCountAufzeichnungspunkte = nullptr, *actFuellen = nullptr, *actSaveTemplate = nullptr,
            *actRundsteuer = nullptr;

private:
    void BuildUi();
    QAction* AddAction(QToolBar* Bar, const char* Name, const char* Button, const QString& Text,
                       std::function<void()> Slot);
    void AddItems(QTreeWidgetItem* Parent, const std::vector<TParaTreeItem>& Items);
    void ClickParaOptions(TXMLTreeViewItem* Item);
    void RefreshGrid();
    void cbbVisibilityChange(int Index);
    void AfterVisibilityChange();
    void UploadDone(const TReply& Reply);
    void reload();
    void ResetThreadEnd(int Moved);
    void EndCompareThread(std::shared_ptr<TSetupCompare> Compare, const std::string& Error);
    void ApplyImport(std::shared_ptr<TSetupCompare> Compare, TFrmParaChanged* Dialog);
    void RequestSetup();
    void LoadLanguage(std::function<void()> Then);
    void FetchFactoryTemplates();
    void FetchTemplates(std::shared_ptr<std::vector<std::string>> Names, size_t Index);
    void SetActionsEnabled(bool On);
    void SetBusy(bool On, const std::string& Text);
    void UpdateChangeCount();
    // Level 0 shows the settings pages instead of tree and grid; they are bound to the document anew.
    void ShowSettings();
    void WireSettings();
    void Message(const std::string& Text, TMsgDlgType Type = mtInformation);
    void Ask(const std::string& Text, std::function<void()> Yes);
    std::string Choose(const std::string& Folder, const std::string& Proposal, const std::string& Filter,
                       bool Save);
    std::string DeviceName() const;

    TSetupDocument Fxf;
    pugi::xml_node FXnode;
    TFerroGrid* FGrd = nullptr;
    TParaSettings* FSettings = nullptr;
    TModulList FModulList;
    std::vector<std::string> FInvalidImportList;
    bool FFirstStart = true;
    bool FReloadMode = false;
    bool FBusy = false;
    std::string FSelectedKey; // the selected tree item's id chain, kept over a rebuild
    std::string FIcdFolder, FLastFolder;
    void BuildToolsUi();
    void WriteSettings();
    void SaveDocumentAs(const std::string& File);
    std::string TemplateProposal() const;
    pugi::xml_node FCountNode;
    // A width of 0 is not kept: the tree keeps its start width, a column fits its texts.
    TFrmParaSettings FParaEinstellungen{0, 0, 0, 0, 0, 0, 50, 0};
    std::string FTemplateFolderLocal, FOwnTemplateFolderLocal;
};

} // namespace ferro
