#include "forms/FormComplete.h"

#include "charts/DateText.h"
#include "forms/ValueGridModel.h"
#include "foundation/MemStream.h"
#include "foundation/records/ObjectHeader.h"

#include <QApplication>
#include <QBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QStyle>
#include <QTableView>
#include <QTimer>
#include <QToolBar>
#include <QTreeWidget>

#include <functional>

namespace ferro {

namespace {

// Marks the tree items that choose a sub-record (the groups only open and close).
constexpr int CLeafRole = Qt::UserRole + 4;

// The pages the screenshot run shows: one leaf of each kind of table.
const QStringList CPageLeaves[] = {
    {},
    {"1 Sec", "Spannungsmessgroessen", "Messwerte"},
    {"3 Sec", "Spannungsmessgroessen", "Harmonische"},
    {"10 Min", "Spannungsmessgroessen", "10min-Spannungs-Extremwerte", "Spannungs-Extremwerte"},
    {"Oszilloskopischen Online Streams"},
};

// A number read from the object in the user's decimal separator; stamps and bit texts stay.
std::string Localized(std::string Text) {
    const QChar point = QLocale().decimalPoint().at(0);
    if (point == '.' || Text.find('.') == std::string::npos) return Text;
    for (char c : Text)
        if (!(c == '-' || c == '.' || (c >= '0' && c <= '9'))) return Text;
    return QString::fromStdString(Text).replace('.', point).toStdString();
}

} // namespace

TFormComplete::TFormComplete(QWidget* Parent) : TFormLayout(Parent) {
    setObjectName("FormComplete");
    FFrmCapt = "Alle Live-Werte";
    FStreamModel = std::make_unique<TValueGridModel>();
    FStreamModel->Reset({}, 0, nullptr);
    GridData->setModel(FStreamModel.get());
    GridData->setSelectionBehavior(QAbstractItemView::SelectItems);
    GridData->setWordWrap(false);
    GridData->verticalHeader()->hide();
    // Rows of one height: a block of 4096 samples scrolls without measuring each row.
    GridData->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    GridData->verticalHeader()->setDefaultSectionSize(GridData->fontMetrics().height() + 6);

    // No listings, downloads or curves here: in place of their tool bar a line tells what is shown.
    ToolBar->hide();
    lblStream = new QLabel(lytBase);
    lblStream->setObjectName("lblStream");
    lblStream->setContentsMargins(6, 4, 6, 4);
    // A long leaf name is cut, it never widens the window.
    lblStream->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    if (auto* outer = qobject_cast<QBoxLayout*>(lytBase->layout())) outer->insertWidget(0, lblStream);
    TreeViewOpti->setContextMenuPolicy(Qt::NoContextMenu);
    connect(TreeViewOpti, &QTreeWidget::itemClicked, this,
            [this](QTreeWidgetItem* It, int) { ClickTreeView(It); });

    FPendingTimer = new QTimer(this);
    FPendingTimer->setInterval(200);
    connect(FPendingTimer, &QTimer::timeout, this, [this] { ApplyPendingLeaf(); });
    ShowStreamInfo();
}

TFormComplete::~TFormComplete() {
    if (FComUnit) FComUnit->FUpdateGrid = nullptr;
    GridData->setModel(nullptr);
}

QStringList TFormComplete::Pages() const {
    return {"Baum", "1 Sec Messwerte", "3 Sec Harmonische", "10 Min Extremwerte", "Oszilloskop"};
}

void TFormComplete::ShowPage(int Index) {
    if (Index < 1 || Index >= int(std::size(CPageLeaves))) return;
    QTreeWidgetItem* it = FindItem(CPageLeaves[Index]);
    if (!it) return;
    TreeViewOpti->collapseAll();
    for (QTreeWidgetItem* p = it->parent(); p; p = p->parent())
        p->setExpanded(true);
    TreeViewOpti->setCurrentItem(it);
    ClickTreeView(it);
}

// ---- Connection ----

void TFormComplete::ConnEst(TSender Sender, bool Success) {
    TFormLayout::ConnEst(Sender, Success);
    if (!Success || !FComUnit) return;
    FGen = FComUnit->Identity().Rev.Gen;
    // A new session has no stream of ours yet.
    FStreamRunning = false;
    FPending.reset();
    FillTreeView();
}

void TFormComplete::ConnectionLost(const std::string& Reason) {
    TFormLayout::ConnectionLost(Reason);
    FStreamRunning = false;
    FPending.reset();
    FPendingTimer->stop();
    ShowStreamInfo();
}

void TFormComplete::PrepareShutdown() {
    TFormLayout::PrepareShutdown();
    FPending.reset();
    FPendingTimer->stop();
    if (FStreamRunning) StopStream(this);
}

// ---- Tree ----

void TFormComplete::FillTreeView() {
    FInClick = true;
    TreeViewOpti->clear();
    FRecTreeView = FEvtTreeView = nullptr;
    const TCompleteNode root = TCompleteTable::FillTreeView(FGen);
    FStreamTreeView = AddRoot(root.Caption);
    const QIcon leafIcon = QApplication::style()->standardIcon(QStyle::SP_FileDialogDetailedView);
    std::function<void(QTreeWidgetItem*, const TCompleteNode&)> add = [&](QTreeWidgetItem* Parent,
                                                                          const TCompleteNode& Node) {
        for (const TCompleteNode& c : Node.Children) {
            auto* it = new QTreeWidgetItem(Parent, {QString::fromStdString(c.Caption)});
            if (c.Leaf) {
                it->setData(0, CTagRole, c.Tag.ToTag());
                it->setData(0, CLeafRole, true);
                it->setIcon(0, leafIcon);
            } else {
                SetItemImage(it, 4);
                add(it, c);
            }
        }
    };
    add(FStreamTreeView, root);
    FStreamTreeView->setExpanded(true);
    FInClick = false;
    FLeafChosen = false;
    FStreamModel->Reset({}, 0, nullptr);
    ShowStreamInfo();
}

QTreeWidgetItem* TFormComplete::FindItem(const QStringList& Path) const {
    QTreeWidgetItem* at = FStreamTreeView;
    for (const QString& caption : Path) {
        QTreeWidgetItem* next = nullptr;
        for (int i = 0; at && i < at->childCount() && !next; ++i)
            if (at->child(i)->text(0) == caption) next = at->child(i);
        at = next;
    }
    return at;
}

void TFormComplete::ClickTreeView(QTreeWidgetItem* Item) {
    if (!Item || FInClick) return;
    if (!Item->data(0, CLeafRole).toBool()) {
        Item->setExpanded(!Item->isExpanded());
        return;
    }
    if (!Established()) {
        lblStream->setText("Keine Verbindung zum Gerät: die Werte kommen, sobald die Verbindung steht.");
        return;
    }
    QStringList path;
    for (QTreeWidgetItem* p = Item; p && p != FStreamTreeView; p = p->parent())
        path.prepend(p->text(0));
    const TFerroTag tag = TFerroTag::FromTag(Item->data(0, CTagRole).toUInt());
    if (StartInFlight()) {
        // The stream before has no handle yet, so it could not be stopped: the new leaf waits for it.
        FPending = std::make_pair(tag, path.join(" › "));
        FPendingTimer->start();
        return;
    }
    SelectLeaf(tag, path.join(" › "));
}

bool TFormComplete::StartInFlight() const {
    if (!FStreamRunning || !FComUnit || FComUnit->FStreamRec.ObjHdl > 1) return false;
    return !FComUnit->SendList().empty() || FComUnit->FWaitForAnswer;
}

void TFormComplete::ApplyPendingLeaf() {
    if (!FPending) {
        FPendingTimer->stop();
        return;
    }
    if (!Established() || StartInFlight()) return;
    FPendingTimer->stop();
    const auto [tag, caption] = *FPending;
    SelectLeaf(tag, caption);
}

void TFormComplete::SelectLeaf(const TFerroTag& Tag, const QString& Caption) {
    FPending.reset();
    if (FStreamRunning) {
        // A start the instrument refused left no handle: there is nothing to stop.
        if (FComUnit && FComUnit->FStreamRec.ObjHdl > 1)
            StopStream(this);
        else
            FStreamRunning = false;
    }
    FTable.Select(Tag, FGen);
    FLeafChosen = true;
    FLeafCaption = Caption;
    FObjects = 0;
    CreateCols();
    StartStream(this, Tag.FerroDataObj);
    ShowStreamInfo();
}

// ---- Grid ----

void TFormComplete::CreateCols() {
    QStringList headers;
    for (const TCompleteCol& c : FTable.Cols())
        headers << QString::fromStdString(c.Caption);
    const int rows = ObjectFitsLeaf() ? FTable.RowCount(FComUnit->FBytes.FBytes) : FTable.RowCount({});
    FStreamModel->Reset(headers, rows, [this](int Col, int Row) { return StreamGetValue(Col, Row); });
    for (size_t i = 0; i < FTable.Cols().size(); ++i)
        GridData->setColumnWidth(int(i), FTable.Cols()[i].Width);
    GridData->scrollToTop();
}

bool TFormComplete::ObjectFitsLeaf() const {
    if (!FComUnit || !FLeafChosen) return false;
    const std::vector<uint8_t>& b = FComUnit->FBytes.FBytes;
    return b.size() >= 4 &&
           TObjectHeader::DataObjOf(MemStream::peekU32(b.data())) == FTable.FFerrotag().FerroDataObj;
}

std::string TFormComplete::StreamGetValue(int Col, int Row) const {
    if (!ObjectFitsLeaf()) return std::string();
    std::string text;
    FTable.GetValueFromBytes(FComUnit->FBytes.FBytes, Row, Col, text);
    return Localized(text);
}

void TFormComplete::UpdateGrid() {
    if (!FComUnit || !FStreamRunning || !ObjectFitsLeaf()) return;
    ++FObjects;
    FStreamModel->Refresh(FTable.RowCount(FComUnit->FBytes.FBytes));
    ShowStreamInfo();
    emit GridUpdated();
}

void TFormComplete::ShowStreamInfo() {
    if (!FLeafChosen) {
        lblStream->setText(
            "Links eine Messgröße wählen: ihr Stream startet, und die Tabelle zeigt jeden Wert "
            "des neuesten Objekts.");
        return;
    }
    if (!Established()) {
        lblStream->setText(FLeafCaption + " – keine Verbindung, die Tabelle zeigt das letzte Objekt.");
        return;
    }
    if (!ObjectFitsLeaf()) {
        lblStream->setText(FLeafCaption + " – warte auf das erste Objekt …");
        return;
    }
    const tmStamp_t& ts = FComUnit->FBytes.TS_Mess;
    lblStream->setText(
        QString("%1 – Objekt %3 vom %2 (Gerätezeit)")
            .arg(FLeafCaption, QString::fromStdString(FormatDateTimeSecs("dd.mm.yyyy hh:nn:ss", ts.sec)))
            .arg(FObjects));
}

} // namespace ferro
