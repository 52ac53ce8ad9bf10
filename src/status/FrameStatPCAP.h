#pragma once
// The capture page: builds the "ips.pcapStart" line from its controls, sends it, and lists,
// fetches and removes the instrument's capture files. It never touches the link: the view hands
// it the procedures.

#include "status/PcapCommand.h"

#include <QWidget>

#include <functional>

class QComboBox;
class QLineEdit;
class QListWidget;
class QMenu;
class QPushButton;
class QSpinBox;
class QAction;
class QTreeWidget;
class QTreeWidgetItem;

namespace ferro {

class TFramePCAP : public QWidget {
    Q_OBJECT
public:
    explicit TFramePCAP(QWidget* Parent = nullptr);

    // Builds edtFinalCommand from the controls (also fills an empty file name).
    void GenText();
    // The settings as the controls hold them.
    TPcapSettings Settings() const;
    void SetListing(const std::vector<TPcapListItem>& Items);
    // A click on an item; on its accessory it is remembered and the popup opens at `At`.
    void ItemClickEx(QTreeWidgetItem* Item, bool Accessory, const QPoint& At);

    std::function<void(const std::string&)> FSendLuaStart;
    std::function<void()> FGetPCAPListing;
    std::function<void(TPCAPInteractType, const std::string&)> FInteractFiles;
    // The clock for the generated file name; tests set it.
    std::function<QDateTime()> FNow = [] { return QDateTime::currentDateTime(); };

    QLineEdit *edtDevice, *edtFilename, *edtFinalCommand, *edtFilter;
    QComboBox *cboxDuration, *cboxFilter;
    QSpinBox *nboxHours, *nboxMinutes, *nboxSeconds, *sboxDuraPakets;
    QListWidget* lboxFilter;
    QPushButton *btnAddFilter, *btnRemoveFilter, *btnSend, *Button1;
    QTreeWidget* ListView1;
    QMenu* PopupMenu1;
    QAction *miDownloadPCAP, *miDeletePCAP;

private:
    void cboxDurationChange();
    void btnAddFilterClick();
    void btnRemoveFilterClick();
    void btnSendClick();
    void Interact(TPCAPInteractType Kind);
    std::string FRemembered;
};

} // namespace ferro
