#pragma once
// The host's main window: the instrument list, one button per view kind, the open views in tabs,
// the log pane and the progress display that the views feed.

#include "ConnectionView.h"
#include "InstrumentStore.h"

#include <QMainWindow>

#include <memory>

class QAction;
class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QSettings;
class QTabWidget;
class QTableWidget;
class QToolButton;

namespace ferro {

class TMainWindow : public QMainWindow {
    Q_OBJECT
public:
    TMainWindow(std::unique_ptr<QSettings> Settings, TFolders Folders, QWidget* Parent = nullptr);
    ~TMainWindow() override;

    // The folders in the user's standard locations, made if missing.
    static TFolders StandardFolders();

    TInstrumentStore& Store() { return FStore; }
    // Adds the entries (the demo's) and shows them.
    void AddInstruments(const std::vector<TInstrument>& Entries);
    void SelectInstrument(int Row);
    int SelectedInstrument() const;

    void AddInstrument();
    void EditInstrument();
    void RemoveInstrument();
    // Opens the connection view on the selected instrument; nullptr when none is selected.
    TConnectionView* OpenConnectionView();
    // The other kinds: a note until their views exist.
    void OpenDirect(TDirectKind Kind);
    void CloseViewAt(int Index);

    QTabWidget* Tabs() const { return tabViews; }
    QString LogText() const;
    void AppendLog(const QString& Line);

protected:
    void closeEvent(QCloseEvent* Event) override;

private:
    void BuildUi();
    void RefreshList();
    void SaveList();
    void UpdateActions();
    void ShowNote(const QString& Text);
    void ShowStartPage();
    void WireView(TConnectionView* View);
    static QString KindText(TDirectKind Kind);

    std::unique_ptr<QSettings> FSettings;
    TFolders FFolders;
    TInstrumentStore FStore;

    QTableWidget* lstInstruments = nullptr;
    QTabWidget* tabViews = nullptr;
    QWidget* FEmptyPage = nullptr;
    QPlainTextEdit* memHostLog = nullptr;
    QProgressBar* pbTransfer = nullptr;
    QProgressBar* aniBusy = nullptr;
    QLabel* lblWork = nullptr;
    QToolButton* btnConnView = nullptr;
    std::vector<QToolButton*> FKindButtons;
    QAction* actEdit = nullptr;
    QAction* actRemove = nullptr;
};

} // namespace ferro
