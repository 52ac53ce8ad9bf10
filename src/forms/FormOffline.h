#pragma once
// The offline archive: every station ever downloaded, read from the local data folder without an
// instrument, grouped by plant and field. A station opens on its first click; recordings and
// events show as in the online view. Files are imported from a card or folder, exported into a
// folder the import reads back, and deleted by file, class, selection or station.

#include "forms/FormLayout.h"
#include "stored/OfflineArchive.h"

#include <functional>
#include <string>
#include <thread>

namespace ferro {

class TFormOffline : public TFormLayout {
    Q_OBJECT
public:
    explicit TFormOffline(QWidget* Parent = nullptr);
    ~TFormOffline() override;

    // The data root and the folder of the language files; the scan starts at once.
    void SetFolders(const TFolders& Folders);
    const std::string& DataRoot() const { return FDataRoot; }

    // Rebuilds the tree from the disk on a scanning thread (on start and after any deletion).
    void CheckData() override;
    void HideActions() override;
    bool Busy() const { return FWorker.joinable(); }

    // The popup's rules by the tag of the item under the mouse.
    void OfflineRecMouseDown(QTreeWidgetItem* Item);
    // A station's click: lists its folders on a thread the first time, then opens and closes.
    void CheckTreeViewOfflineData(QTreeWidgetItem* Station);
    void OfflineRecordClick(TRecTreeViewItem* Item);
    void OfflineEventClick(TRecTreeViewItem* Item);

    QTreeWidgetItem* FClickedTVI = nullptr;
    // The serial number of the station to open at start; 0 for none.
    uint32_t FSelectedStation = 0;
    QTreeWidgetItem* FStartDevice = nullptr;
    // The folder of the last import.
    std::string FSrcDir;
    // Asks for a folder (caption, start); empty when cancelled. Tests put their own in.
    std::function<std::string(const std::string& Caption, const std::string& Start)> FSelectDir;

    QAction *actDelOfflineRekorder = nullptr, *actDelOfflineEvent = nullptr, *actDelClass = nullptr,
            *actDelOfflineAllFiles = nullptr, *ActDeleteSelected = nullptr, *actImportFromSD = nullptr,
            *actOfflineExport = nullptr;
    QMenu* PopUpOffline = nullptr;

signals:
    void ScanFinished();
    void StationOpened(QTreeWidgetItem* Station);
    void ImportFinished(int Count);
    void ExportFinished(int Count);

protected:
    void ItemClicked(QTreeWidgetItem* Item) override;
    void TreeContextMenu(const QPoint& Pos) override;
    // Nothing is fetched here: a file in the tree is on the disk.
    void RequestFile(bool, const std::string&, uint64_t) override { EndWork(); }

private:
    void BuildOfflineActions();
    // Runs `Work` on the one worker thread; what it returns runs on the main thread afterwards,
    // after the lines it logged.
    void RunWorker(std::function<std::function<void()>(TReaderLog Log)> Work);
    void JoinWorker();
    void BuildStationTree(const std::vector<TOfflineStation>& Stations);
    void ClearStationTree();
    void BuildStationItems(QTreeWidgetItem* Station, const std::vector<TOfflineFile>& Files);
    void CheckTerminate();
    void DelClass(QTreeWidgetItem* Class);
    void DeleteChecked(QTreeWidgetItem* Under);
    void ImportFromSD();
    void OfflineExport();
    void LoadLanguage();
    void LogLines(const std::vector<std::string>& Lines);

    std::string FDataRoot, FXmlDir;
    std::thread FWorker;
    bool FScanPending = false;
};

} // namespace ferro
