#include "forms/FrmParaChanged.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <functional>

namespace ferro {

namespace {
void ForEach(QTreeWidgetItem* Item, const std::function<void(QTreeWidgetItem*)>& Fn) {
    for (int i = 0; i < Item->childCount(); ++i) {
        Fn(Item->child(i));
        ForEach(Item->child(i), Fn);
    }
}
bool Disabled(const QTreeWidgetItem* Item) {
    return !(Item->flags() & Qt::ItemIsEnabled);
}
} // namespace

TFrmParaChanged::TFrmParaChanged(QWidget* Parent) : QDialog(Parent) {
    setObjectName("FrmParaChanged");
    setWindowTitle("Parameter übernehmen");
    ParaChangedDesc = new QLabel(this);
    ParaChangedDesc->setObjectName("ParaChangedDesc");
    ParaChangedDesc->setWordWrap(true);
    TreeView1 = new QTreeWidget(this);
    TreeView1->setObjectName("TreeView1");
    TreeView1->setHeaderHidden(true);
    chkService = new QCheckBox("Serviceparameter übertragen", this);
    chkService->setObjectName("chkService");
    auto* buttons = new QDialogButtonBox(this);
    btnOK = buttons->addButton("OK", QDialogButtonBox::AcceptRole);
    btnOK->setObjectName("btnOK");
    btnAbort = buttons->addButton("Abbrechen", QDialogButtonBox::RejectRole);
    btnAbort->setObjectName("btnAbort");
    connect(btnOK, &QPushButton::clicked, this, &QDialog::accept);
    connect(btnAbort, &QPushButton::clicked, this, &QDialog::reject);
    connect(TreeView1, &QTreeWidget::itemChanged, this,
            [this](QTreeWidgetItem* i, int) { TreeView1ChangeCheck(i); });
    // A click on a group opens or closes it.
    connect(TreeView1, &QTreeWidget::itemClicked, this, [](QTreeWidgetItem* i, int) {
        if (i->childCount() > 0) i->setExpanded(!i->isExpanded());
    });
    connect(chkService, &QCheckBox::toggled, this, &TFrmParaChanged::chkServiceChange);
    auto* lay = new QVBoxLayout(this);
    lay->addWidget(ParaChangedDesc);
    lay->addWidget(TreeView1, 1);
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(chkService);
    bottom->addStretch(1);
    bottom->addWidget(buttons);
    lay->addLayout(bottom);
    resize(640, 520);
}

void TFrmParaChanged::SetImages(const QIcon& Ok, const QIcon& Abort) {
    btnOK->setIcon(Ok);
    btnAbort->setIcon(Abort);
}

void TFrmParaChanged::SetText(const std::string& DeviceName) {
    ParaChangedDesc->setText(QString("Wähle Sie die Parameter aus, die Sie in Ihre Parametrierung vom Gerät "
                                     "[%1] übernehmen wollen. Die "
                                     "Parameterwerte in Klammern entsprechen den aktuellen Werten aus dem "
                                     "Ferro Recorder und werden bei "
                                     "Auswahl mit den neuen Werten überschrieben.")
                                 .arg(QString::fromStdString(DeviceName)));
}

// Removes the members without children and without a value of their own; ticks what stays. False
// when `Item` itself is left empty.
bool TFrmParaChanged::Clean(QTreeWidgetItem* Item) {
    for (int i = Item->childCount() - 1; i >= 0; --i)
        if (!Clean(Item->child(i))) delete Item->takeChild(i);
    const bool keep = Item->childCount() > 0 || Item->data(0, RoleHasValue).toBool();
    Qt::ItemFlags f = Qt::ItemIsUserCheckable | Qt::ItemIsEnabled;
    if (Item->data(0, RoleVisibility).toInt() >= 2) f &= ~Qt::ItemIsEnabled; // service: only through the box
    Item->setFlags(f);
    Item->setCheckState(0, Qt::Checked);
    return keep;
}

void TFrmParaChanged::InsertTV(const QList<QTreeWidgetItem*>& Items) {
    FInClick = true;
    TreeView1->setUpdatesEnabled(false);
    for (auto it = Items.rbegin(); it != Items.rend(); ++it)
        Clean(*it);
    for (QTreeWidgetItem* item : Items) {
        if (item->childCount() > 0)
            TreeView1->addTopLevelItem(item);
        else
            delete item;
    }
    FInClick = false;
    // Protected modules are taken over only when asked for.
    std::function<void(QTreeWidgetItem*)> modules = [&](QTreeWidgetItem* i) {
        if (i->data(0, RoleModule).toBool()) {
            const uint32_t id = i->data(0, RoleId).toUInt();
            i->setCheckState(0, id == CProtected1 || id == CProtected2 ? Qt::Unchecked : Qt::Checked);
        }
        for (int k = 0; k < i->childCount(); ++k)
            modules(i->child(k));
    };
    for (int i = 0; i < TreeView1->topLevelItemCount(); ++i)
        modules(TreeView1->topLevelItem(i));
    TreeView1->setUpdatesEnabled(true);
}

void TFrmParaChanged::TreeView1ChangeCheck(QTreeWidgetItem* Item) {
    if (FInClick) return;
    FInClick = true;
    const Qt::CheckState state = Item->checkState(0);
    if (Item->childCount() > 0)
        ForEach(Item, [state](QTreeWidgetItem* c) {
            if (!Disabled(c)) c->setCheckState(0, state);
        });
    ReverseTVICheck(Item);
    FInClick = false;
}

void TFrmParaChanged::ReverseTVICheck(QTreeWidgetItem* Item) {
    const bool was = FInClick;
    FInClick = true;
    for (QTreeWidgetItem* p = Item->parent(); p; p = p->parent()) {
        bool any = false;
        for (int i = 0; i < p->childCount() && !any; ++i)
            any = p->child(i)->checkState(0) == Qt::Checked;
        p->setCheckState(0, any ? Qt::Checked : Qt::Unchecked);
    }
    FInClick = was;
}

void TFrmParaChanged::chkServiceChange(bool On) {
    std::vector<QTreeWidgetItem*> service;
    for (int i = 0; i < TreeView1->topLevelItemCount(); ++i)
        ForEach(TreeView1->topLevelItem(i), [&](QTreeWidgetItem* c) {
            if (Disabled(c)) service.push_back(c);
        });
    FInClick = true;
    for (QTreeWidgetItem* c : service)
        c->setCheckState(0, On ? Qt::Checked : Qt::Unchecked);
    for (QTreeWidgetItem* c : service)
        ReverseTVICheck(c);
    FInClick = false;
}

} // namespace ferro
