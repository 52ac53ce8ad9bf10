#include "status/FrameStatMain.h"
#include "status/FrameStatRows.h"

#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace ferro {

namespace {

QLineEdit* ValueEdit(const char* Name, QWidget* Parent) {
    auto* e = new QLineEdit(Parent);
    e->setObjectName(Name);
    e->setReadOnly(true);
    e->setProperty("style", "transparentedit");
    e->setStyleSheet("QLineEdit { background: transparent; border: none; }");
    return e;
}

void SetIfAny(QLineEdit* e, const std::string& text) {
    if (!text.empty()) e->setText(QString::fromStdString(text));
}

} // namespace

TFrameMain::TFrameMain(QWidget* Parent) : QWidget(Parent) {
    setObjectName("FrameMain");
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(10, 10, 10, 10);
    AddRefreshBar(this, outer, [this] {
        if (FOnRefresh) FOnRefresh();
    });

    auto* device = new QGroupBox("Ferro Recorder", this);
    device->setObjectName("grpboxDevice");
    auto* f = new QFormLayout(device);
    f->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    f->setRowWrapPolicy(QFormLayout::DontWrapRows);
    edtTime = ValueEdit("edtTime", device);
    edtAnlage = ValueEdit("edtAnlage", device);
    edtFeld = ValueEdit("edtFeld", device);
    edtGeraet = ValueEdit("edtGeraet", device);
    edtFirmware = ValueEdit("edtFirmware", device);
    edtRevNum = ValueEdit("edtRevNum", device);
    edtArtikelNum = ValueEdit("edtArtikelNum", device);
    edtSerial = ValueEdit("edtSerial", device);
    edtLaufzeit = ValueEdit("edtLaufzeit", device);
    f->addRow("Uhrzeit des Ferro Recorders", edtTime);
    f->addRow("Betriebsname", edtAnlage);
    f->addRow("Messfeld", edtFeld);
    f->addRow("Gerätename", edtGeraet);
    f->addRow("Firmwareversion", edtFirmware);
    f->addRow("Releaseversion", edtRevNum);
    f->addRow("Artikel Nummer", edtArtikelNum);
    f->addRow("Seriennummer", edtSerial);
    f->addRow("Laufzeit:", edtLaufzeit);
    outer->addWidget(device);

    auto* memory = new QGroupBox("Speicherinformation", this);
    memory->setObjectName("grpboxMemory");
    auto* m = new QFormLayout(memory);
    m->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    m->setRowWrapPolicy(QFormLayout::DontWrapRows);
    auto bar = [&](const char* name, const char* label, QProgressBar*& pb, QLabel*& text) {
        auto* row = new QWidget(memory);
        auto* h = new QHBoxLayout(row);
        h->setContentsMargins(0, 0, 0, 0);
        pb = new QProgressBar(row);
        pb->setObjectName(name);
        pb->setRange(0, 100);
        pb->setValue(0);
        pb->setTextVisible(false);
        text = new QLabel(row);
        text->setObjectName(label);
        text->setMinimumWidth(60);
        h->addWidget(pb, 1);
        h->addWidget(text);
        return row;
    };
    m->addRow("System", bar("pbSystem", "lblSystemText", pbSystem, lblSystemText));
    m->addRow("SD-Karte", bar("pbSDKarte", "lblSDKarteText", pbSDKarte, lblSDKarteText));
    auto* note = new QLabel("Anteil freien Speichers", memory);
    note->setEnabled(false);
    m->addRow(QString(), note);
    outer->addWidget(memory);
    outer->addStretch();
}

void TFrameMain::SetOverview(const TStatusOverview& O) {
    SetIfAny(edtTime, O.Time);
    SetIfAny(edtAnlage, O.Anlage);
    SetIfAny(edtFeld, O.Feld);
    SetIfAny(edtGeraet, O.Geraet);
    SetIfAny(edtFirmware, O.Firmware);
    SetIfAny(edtRevNum, O.RevNum);
    SetIfAny(edtArtikelNum, O.ArtikelNum);
    SetIfAny(edtSerial, O.Serial);
    SetIfAny(edtLaufzeit, O.Laufzeit);
    if (O.SystemPercent) {
        pbSystem->setValue(*O.SystemPercent);
        lblSystemText->setText(QString("%1%").arg(*O.SystemPercent));
    }
    pbSDKarte->setValue(O.CardShown ? O.CardPercent : 0);
    lblSDKarteText->setText(QString::fromStdString(O.CardText));
}

} // namespace ferro
