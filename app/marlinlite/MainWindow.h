#pragma once
// The host's main window: the instrument list, one button per view kind, the open views in tabs,
// the log pane and the progress display that the views feed.

#include "ConnectionView.h"
#include "InstrumentStore.h"
#include "ViewRegistry.h"

#include <QMainWindow>
#include <QPointer>

#include <memory>

class QAction;
class QMenu;
class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QSettings;
class QTabWidget;
class QTableWidget;
class QToolButton;

namespace ferro {

class TFrmMassFlash;

class TMainWindow : public QMainWindow {
    Q_OBJECT
public:
    TMainWindow(std::unique_ptr<QSettings> Settings, TFolders Folders, QWidget* Parent = nullptr,
                TViewRegistry Views = ShippedViews());
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
    // The mass update over the instruments of the list (one window; raised when it is open).
    TFrmMassFlash* OpenMassFlash();
    // Opens the registered view of `Kind` on the selected instrument; nullptr when there is none.
    TFormBasic* OpenDirect(TDirectKind Kind);
    // Puts a made view into a tab, wires it to the host and opens it on the selected instrument.
    TFormBasic* OpenView(TFormBasic* View, const QString& Title, const char* ObjectName);
    // Adds a row to the table of views; its button becomes usable.
    void RegisterView(TViewRow Row);
    const TViewRegistry& Views() const { return FViews; }
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
    // A view of local files: no instrument, no session.
    TFormBasic* OpenLocalView(const TViewRow& Row, TDirectKind Kind);
    void WireView(TFormBasic* View);
    void UpdateKindButtons();
    void BuildMenus();
    static QString KindText(TDirectKind Kind);

    std::unique_ptr<QSettings> FSettings;
    TFolders FFolders;
    TInstrumentStore FStore;
    TViewRegistry FViews;

    QTableWidget* lstInstruments = nullptr;
    QTabWidget* tabViews = nullptr;
    QWidget* FEmptyPage = nullptr;
    QPlainTextEdit* memHostLog = nullptr;
    QProgressBar* pbTransfer = nullptr;
    QProgressBar* aniBusy = nullptr;
    QLabel* lblWork = nullptr;
    QToolButton* btnConnView = nullptr;
    std::map<TDirectKind, QToolButton*> FKindButtons;
    QAction* actEdit = nullptr;
    QAction* actRemove = nullptr;
    std::map<TDirectKind, QAction*> FKindActions;
    QPointer<TFrmMassFlash> FMassFlash;
};

} // namespace ferro
