#include "status/FrameStatPCAP.h"

#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QScrollArea>
#include <QSpinBox>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace ferro {

namespace {
constexpr int CAccessoryColumn = 2;
}

TFramePCAP::TFramePCAP(QWidget* Parent) : QWidget(Parent) {
    setObjectName("FramePCAP");
    // One column in a scroll box: the page fits the narrow view without widening the window.
    auto* top = new QVBoxLayout(this);
    top->setContentsMargins(0, 0, 0, 0);
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    top->addWidget(scroll);
    auto* inner = new QWidget;
    scroll->setWidget(inner);
    auto* outer = new QVBoxLayout(inner);

    auto* start = new QGroupBox("Aufzeichnung starten", inner);
    start->setObjectName("grpboxStart");
    auto* f = new QFormLayout(start);
    f->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    f->setRowWrapPolicy(QFormLayout::DontWrapRows);
    edtDevice = new QLineEdit("emac", start);
    edtDevice->setObjectName("edtDevice");
    edtFilename = new QLineEdit(start);
    edtFilename->setObjectName("edtFilename");
    f->addRow("Schnittstelle", edtDevice);
    f->addRow("Dateiname", edtFilename);

    cboxDuration = new QComboBox(start);
    cboxDuration->setObjectName("cboxDuration");
    cboxDuration->addItems({"Zeit", "Pakete"});
    f->addRow("Begrenzung", cboxDuration);
    auto* time = new QWidget(start);
    auto* th = new QHBoxLayout(time);
    th->setContentsMargins(0, 0, 0, 0);
    auto spin = [&](const char* name, int max, int value, const char* suffix) {
        auto* s = new QSpinBox(time);
        s->setObjectName(name);
        s->setRange(0, max);
        s->setValue(value);
        s->setSuffix(suffix);
        th->addWidget(s);
        return s;
    };
    nboxHours = spin("nboxHours", 23, 1, " h");
    nboxMinutes = spin("nboxMinutes", 59, 0, " min");
    nboxSeconds = spin("nboxSeconds", 59, 0, " s");
    f->addRow("Dauer", time);
    sboxDuraPakets = new QSpinBox(start);
    sboxDuraPakets->setObjectName("sboxDuraPakets");
    sboxDuraPakets->setRange(1, 10000000);
    sboxDuraPakets->setValue(100);
    sboxDuraPakets->setEnabled(false);
    f->addRow("Pakete", sboxDuraPakets);

    auto* filterRow = new QWidget(start);
    auto* fh = new QHBoxLayout(filterRow);
    fh->setContentsMargins(0, 0, 0, 0);
    cboxFilter = new QComboBox(filterRow);
    cboxFilter->setObjectName("cboxFilter");
    cboxFilter->addItems({"all", "src", "dst", ""});
    edtFilter = new QLineEdit("255.255.255.255", filterRow);
    edtFilter->setObjectName("edtFilter");
    edtFilter->setMinimumWidth(120);
    btnAddFilter = new QPushButton("Hinzufügen", filterRow);
    btnAddFilter->setObjectName("btnAddFilter");
    fh->addWidget(cboxFilter);
    fh->addWidget(edtFilter, 1);
    fh->addWidget(btnAddFilter);
    f->addRow("Filter", filterRow);
    lboxFilter = new QListWidget(start);
    lboxFilter->setObjectName("lboxFilter");
    lboxFilter->setMaximumHeight(64);
    btnRemoveFilter = new QPushButton("Entfernen", start);
    btnRemoveFilter->setObjectName("btnRemoveFilter");
    f->addRow(QString(), lboxFilter);
    f->addRow(QString(), btnRemoveFilter);
    edtFinalCommand = new QLineEdit(start);
    edtFinalCommand->setObjectName("edtFinalCommand");
    edtFinalCommand->setReadOnly(true);
    f->addRow("Befehl", edtFinalCommand);
    btnSend = new QPushButton("Aufzeichnung starten", start);
    btnSend->setObjectName("btnSend");
    f->addRow(QString(), btnSend);
    outer->addWidget(start);

    auto* files = new QGroupBox("Aufzeichnungen auf dem Gerät", inner);
    files->setObjectName("grpboxFiles");
    auto* v = new QVBoxLayout(files);
    Button1 = new QPushButton("Liste aktualisieren", files);
    Button1->setObjectName("Button1");
    ListView1 = new QTreeWidget(files);
    ListView1->setObjectName("ListView1");
    ListView1->setHeaderLabels({"Datei", "Details", ""});
    ListView1->setRootIsDecorated(false);
    ListView1->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    ListView1->header()->setSectionResizeMode(1, QHeaderView::Stretch);
    ListView1->header()->setSectionResizeMode(CAccessoryColumn, QHeaderView::ResizeToContents);
    ListView1->header()->setStretchLastSection(false);
    ListView1->setContextMenuPolicy(Qt::CustomContextMenu);
    v->addWidget(Button1);
    ListView1->setMinimumHeight(160);
    v->addWidget(ListView1, 1);
    outer->addWidget(files, 1);

    PopupMenu1 = new QMenu(this);
    PopupMenu1->setObjectName("PopupMenu1");
    miDownloadPCAP = PopupMenu1->addAction("Herunterladen");
    miDownloadPCAP->setObjectName("miDownloadPCAP");
    miDeletePCAP = PopupMenu1->addAction("Löschen");
    miDeletePCAP->setObjectName("miDeletePCAP");

    connect(cboxDuration, &QComboBox::currentIndexChanged, this, [this] { cboxDurationChange(); });
    for (QSpinBox* s : {nboxHours, nboxMinutes, nboxSeconds, sboxDuraPakets})
        connect(s, &QSpinBox::valueChanged, this, [this] { GenText(); });
    connect(edtDevice, &QLineEdit::textEdited, this, [this] { GenText(); });
    // A name being typed is not replaced halfway; an emptied one comes back when the field is left.
    connect(edtFilename, &QLineEdit::editingFinished, this, [this] { GenText(); });
    connect(btnAddFilter, &QPushButton::clicked, this, [this] { btnAddFilterClick(); });
    connect(btnRemoveFilter, &QPushButton::clicked, this, [this] { btnRemoveFilterClick(); });
    connect(btnSend, &QPushButton::clicked, this, [this] { btnSendClick(); });
    connect(Button1, &QPushButton::clicked, this, [this] {
        if (FGetPCAPListing) FGetPCAPListing();
    });
    connect(ListView1, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* item, int column) {
        ItemClickEx(item, column == CAccessoryColumn, QCursor::pos());
    });
    connect(ListView1, &QTreeWidget::customContextMenuRequested, this, [this](const QPoint& p) {
        if (QTreeWidgetItem* item = ListView1->itemAt(p))
            ItemClickEx(item, true, ListView1->viewport()->mapToGlobal(p));
    });
    connect(miDownloadPCAP, &QAction::triggered, this, [this] { Interact(PCAPDownload); });
    connect(miDeletePCAP, &QAction::triggered, this, [this] { Interact(PCAPDelete); });
}

TPcapSettings TFramePCAP::Settings() const {
    TPcapSettings s;
    s.Device = edtDevice->text().toStdString();
    s.FileName = edtFilename->text().toStdString();
    s.ByPackets = cboxDuration->currentIndex() == 1;
    s.Hours = nboxHours->value();
    s.Minutes = nboxMinutes->value();
    s.Seconds = nboxSeconds->value();
    s.Packets = sboxDuraPakets->value();
    for (int i = 0; i < lboxFilter->count(); ++i)
        s.Filters.push_back(lboxFilter->item(i)->text().toStdString());
    return s;
}

void TFramePCAP::GenText() {
    TPcapSettings s = Settings();
    const std::string line = GenPcapCommand(s, FNow());
    if (edtFilename->text().toStdString() != s.FileName)
        edtFilename->setText(QString::fromStdString(s.FileName));
    edtFinalCommand->setText(QString::fromStdString(line));
    edtFinalCommand->setCursorPosition(0);
}

void TFramePCAP::cboxDurationChange() {
    const bool byTime = cboxDuration->currentIndex() == 0;
    nboxHours->setEnabled(byTime);
    nboxMinutes->setEnabled(byTime);
    nboxSeconds->setEnabled(byTime);
    sboxDuraPakets->setEnabled(!byTime);
    GenText();
}

void TFramePCAP::btnAddFilterClick() {
    const std::string entry =
        PcapFilterText(cboxFilter->currentText().toStdString(), edtFilter->text().trimmed().toStdString());
    if (!entry.empty()) lboxFilter->addItem(QString::fromStdString(entry));
    GenText();
}

void TFramePCAP::btnRemoveFilterClick() {
    if (QListWidgetItem* item = lboxFilter->currentItem()) delete item;
    GenText();
}

void TFramePCAP::btnSendClick() {
    GenText();
    if (FSendLuaStart) FSendLuaStart(edtFinalCommand->text().toStdString());
}

void TFramePCAP::SetListing(const std::vector<TPcapListItem>& Items) {
    ListView1->clear();
    for (const TPcapListItem& i : Items) {
        auto* item = new QTreeWidgetItem(ListView1);
        item->setText(0, QString::fromStdString(i.Name));
        item->setText(1, QString::fromStdString(i.Detail));
        item->setText(CAccessoryColumn, QStringLiteral("⋯"));
        item->setToolTip(CAccessoryColumn, "Herunterladen oder Löschen");
    }
}

void TFramePCAP::ItemClickEx(QTreeWidgetItem* Item, bool Accessory, const QPoint& At) {
    if (!Item || !Accessory) return;
    FRemembered = Item->text(0).toStdString();
    PopupMenu1->popup(At);
}

void TFramePCAP::Interact(TPCAPInteractType Kind) {
    if (!FRemembered.empty() && FInteractFiles) FInteractFiles(Kind, FRemembered);
}

} // namespace ferro
