#pragma once
// The review of what an import would change: a tree with ticks of modules, groups and values.
// Ticks spread down to the enabled members and up to the parents; service values (visibility 2 and
// above) are disabled and follow only the "Serviceparameter übertragen" box.

#include <QDialog>
#include <QList>

class QCheckBox;
class QLabel;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace ferro {

class TFrmParaChanged : public QDialog {
    Q_OBJECT
public:
    // What the compare walk stores in an item.
    enum { RoleId = Qt::UserRole, RoleVisibility, RoleHasValue, RoleModule };
    static constexpr uint32_t CProtected1 = 4261413829u, CProtected2 = 4261413839u;

    explicit TFrmParaChanged(QWidget* Parent = nullptr);

    void SetText(const std::string& DeviceName);
    // Takes the review items (the dialog owns them from here): empty groups go, the rest is ticked,
    // protected modules are not.
    void InsertTV(const QList<QTreeWidgetItem*>& Items);
    void SetImages(const QIcon& Ok, const QIcon& Abort);
    // Parents ticked exactly when one of their children is, from `Item` up.
    void ReverseTVICheck(QTreeWidgetItem* Item);

    QTreeWidget* TreeView1;
    QCheckBox* chkService;
    QPushButton *btnOK, *btnAbort;
    QLabel* ParaChangedDesc;

private:
    bool Clean(QTreeWidgetItem* Item);
    void TreeView1ChangeCheck(QTreeWidgetItem* Item);
    void chkServiceChange(bool On);
    bool FInClick = false;
};

} // namespace ferro
